// TransportServerThread: the accept loop over any listening transport, and the set of clients it keeps.

#include <dovo/Exception.h>
#include <dovo/Log.h>
#include <dovo/TransportServerThread.h>

#include "threads/Hold.h"

#include <chrono>
#include <memory>
#include <thread>
#include <utility>

namespace dovo {

namespace {

constexpr int kNotPossible = 0x20000003;
constexpr auto kReopenPause = std::chrono::milliseconds(250);

using Guard = HoldIf<Mutex>;

// Closing is best effort: a client that fails to close is logged and the others are still closed.
void Close(Stream::Transport& transport)
{
    try {
        transport.CeaseUsing();
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
    } catch (...) {
        LogError("Closing a client of a server thread failed");
    }
}

} // namespace

TransportServerThread::TransportServerThread(const char* name, float acceptTimeout, bool locked)
    : Thread(name ? name : "ServerThread"), m_acceptTimeout(acceptTimeout), m_lock(locked ? &m_clientsLock : nullptr)
{
}

TransportServerThread::~TransportServerThread() = default;

bool TransportServerThread::Startup()
{
    if (!m_server)
        Exception::Throw(Name(), "Startup", kNotPossible, "Cannot start a server thread without a server Transport", 0,
                         String(), 1);
    try {
        m_server->BeginUsing();
    } catch (Exception* e) {
        // (logged as it was thrown)
        std::unique_ptr<Exception> owned(e);
        Signal(0);
    }
    return true;
}

bool TransportServerThread::Execute()
{
    if (!m_pending) m_pending = NewClient();
    if (!m_server->Serve(m_pending.Get(), m_acceptTimeout)) return true;
    const Client client = std::exchange(m_pending, Client());
    if (AcceptConnection(client)) OnConnectionAccepted(client);
    else OnConnectionRejected(client);
    return true;
}

void TransportServerThread::Cleanup()
{
    CloseAll();
    if (m_server) Close(*m_server);
}

bool TransportServerThread::OnException(Exception* e)
{
    if (m_pending) CloseClient(std::exchange(m_pending, Client()));
    if (m_server) Close(*m_server);
    std::this_thread::sleep_for(kReopenPause);
    return true;
}

void TransportServerThread::OnConnectionAccepted(Client client)
{
    Guard hold(m_lock);
    m_clients.insert(std::move(client));
}

void TransportServerThread::OnConnectionRejected(Client client) { Close(*client); }

void TransportServerThread::CloseClient(Client client)
{
    {
        Guard hold(m_lock);
        m_clients.erase(client);
    }
    Close(*client);
}

void TransportServerThread::CloseAll()
{
    std::set<Client> clients;
    {
        Guard hold(m_lock);
        clients.swap(m_clients);
    }
    // Closed outside the lock: a client's handler may be closing it at the same time.
    for (const Client& client : clients) Close(*client);
    // The pending client belongs to the serving thread (it holds no connection yet): only that thread
    // lets it go.
    if (IsCurrentThread())
        if (const Client pending = std::exchange(m_pending, Client())) Close(*pending);
}

std::size_t TransportServerThread::ClientCount() const
{
    Guard hold(m_lock);
    return m_clients.size();
}

} // namespace dovo
