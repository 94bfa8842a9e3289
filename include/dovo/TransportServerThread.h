#pragma once

#include <dovo/Export.h>
#include <dovo/Mutex.h>
#include <dovo/SmartHandle.h>
#include <dovo/Stream.h>
#include <dovo/Thread.h>

#include <set>

namespace dovo {

/// A thread that owns a listening transport and accepts clients on it one at a time: each arrived client
/// goes to AcceptConnection, and the ones it keeps are held in a set until they are closed. Subclasses
/// give the server transport (m_server), make fresh clients (NewClient) and serve what they accept,
/// usually on threads of their own.
///
/// Should accepting fail, the listener is closed and reopened by the next pass after a pause of 250 ms:
/// the thread keeps serving. Cleanup closes every client, which breaks their blocking reads.
class DOVO_API TransportServerThread : public Thread
{
public:
    using Client = SmartHandle<Stream::Transport>;

    /// A null name is "ServerThread"; each accept waits up to acceptTimeout seconds; with locked, the set
    /// of clients is guarded by a lock (for clients closed from other threads).
    TransportServerThread(const char* name, float acceptTimeout, bool locked);
    ~TransportServerThread() override;

    /// Starts listening; without a server transport it throws "Cannot start a server thread without a
    /// server Transport". A listener that cannot start stops the thread.
    bool Startup() override;
    /// One pass: waits for a connection and hands it to AcceptConnection.
    bool Execute() override;
    /// Closes every client, then the listener.
    void Cleanup() override;
    /// Closes the listener (it reopens on the next pass) after 250 ms and keeps the thread going.
    bool OnException(Exception* e) override;

    /// Decides whether an arrived client is kept.
    virtual bool AcceptConnection(Client client) = 0;
    /// Adds the client to the set.
    virtual void OnConnectionAccepted(Client client);
    /// Closes the client.
    virtual void OnConnectionRejected(Client client);
    /// A fresh transport for the next connection.
    virtual Client NewClient() = 0;
    /// Takes the client out of the set and closes it.
    virtual void CloseClient(Client client);

    /// Closes every client in the set, and on the serving thread itself (as Cleanup does) the pending one.
    void CloseAll();
    /// The clients held now.
    std::size_t ClientCount() const;

protected:
    std::set<Client> m_clients;
    mutable Mutex m_clientsLock;
    /// Not owned: the subclass's listening transport.
    Stream::Transport* m_server = nullptr;
    /// Prepared for the next connection, kept from pass to pass.
    Client m_pending;
    float m_acceptTimeout;
    /// &m_clientsLock when locked, else null.
    Mutex* m_lock;
};

} // namespace dovo
