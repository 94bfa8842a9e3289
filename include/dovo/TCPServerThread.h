#pragma once

#include <dovo/Export.h>
#include <dovo/IPPeer.h>
#include <dovo/TCPSocketServer.h>
#include <dovo/TransportServerThread.h>

namespace dovo {

/// A TransportServerThread over a TCPSocketServer of its own: clients arrive in fresh TCPSockets, each
/// accept waits 0.15 seconds, and the set of clients is locked. Subclasses decide in AcceptConnection
/// whether to keep a client, and serve a kept one (on a thread or a pool task, typically) from their
/// OnConnectionAccepted after calling the base's: the client is then in the set before its handler can
/// close it.
class DOVO_API TCPServerThread : public TransportServerThread
{
public:
    /// Listens on the port the system chooses (ask Listener().LocalPeer() once started).
    explicit TCPServerThread(const char* name);
    TCPServerThread(const char* name, const IPPeer& local);
    TCPServerThread(const char* name, unsigned short port, bool hostOrder);
    ~TCPServerThread() override;

    /// A new TCPSocket.
    Client NewClient() override;

    TCPSocketServer& Listener() { return m_listener; }

protected:
    TCPSocketServer m_listener;
};

} // namespace dovo
