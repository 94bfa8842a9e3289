#include <dovo/TCPServerThread.h>
#include <dovo/TCPSocket.h>

namespace dovo {

namespace {
constexpr float kAcceptSeconds = 0.15f;
}

TCPServerThread::TCPServerThread(const char* name) : TransportServerThread(name, kAcceptSeconds, true)
{
    m_server = &m_listener;
}

TCPServerThread::TCPServerThread(const char* name, const IPPeer& local)
    : TransportServerThread(name, kAcceptSeconds, true), m_listener(local)
{
    m_server = &m_listener;
}

TCPServerThread::TCPServerThread(const char* name, unsigned short port, bool hostOrder)
    : TransportServerThread(name, kAcceptSeconds, true), m_listener(port, hostOrder)
{
    m_server = &m_listener;
}

TCPServerThread::~TCPServerThread() = default;

TransportServerThread::Client TCPServerThread::NewClient() { return Client(new TCPSocket()); }

} // namespace dovo
