#pragma once

#include <dovo/TCPSocket.h>

namespace dovo {

/// A listening stream socket. Serve (or Poll and a fresh socket's Accept) hands each connection to a
/// TCPSocket. With port 0 the system chooses the port, which LocalPeer() reports after BeginUsing.
class DOVO_API TCPSocketServer : public TCPSocket
{
public:
    TCPSocketServer();
    /// Listens at local.
    explicit TCPSocketServer(const IPPeer& local);
    /// Listens at port on every address of this computer (address 0, named after this computer).
    TCPSocketServer(unsigned short port, bool hostOrder);
    ~TCPSocketServer() override;

    /// Creates, binds to the local peer and listens with the largest backlog.
    void BeginUsing() override;

protected:
    /// Throws a SocketException from "TCPSocketServer".
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;
};

} // namespace dovo
