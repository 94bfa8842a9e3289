// Socket, TCPSocket and TCPSocketServer: connecting, listening, accepting, reading and writing. What
// the system does for them is in NativeSocket_posix.cpp and NativeSocket_win32.cpp.

#include <dovo/Log.h>
#include <dovo/Socket.h>
#include <dovo/SocketException.h>
#include <dovo/TCPSocket.h>
#include <dovo/TCPSocketServer.h>

#include "net/NativeSocket.h"

namespace dovo {

namespace {
constexpr int ErrorNotPossible = 0x20000003;
constexpr int ErrorInvalidSocket = 0x20000004;
constexpr int ErrorCreate = 0x20000006;
constexpr int ErrorConnect = 0x20000008;
constexpr int ErrorReceive = 0x2000000A;
constexpr int ErrorSend = 0x2000000B;
constexpr unsigned kNone = 0xFFFFFFFFu;
} // namespace

// Socket

Socket::Socket(int type) : m_type(type) {}

Socket::Socket(const IPPeer& peer, int type) : m_type(type), m_peer(peer) {}

Socket::~Socket() { Abort(); }

void Socket::RaiseException(const String& where, int error, const String& message, int osError) const
{
    SocketException::Throw(m_peer, "Socket", where, error, message, ExceptionLevel(), osError);
}

void Socket::SocketStartup()
{
    int error = 0;
    unsigned short version = 0;
    if (!sockets::Startup(error, version))
        SocketException::Throw(IPPeer(), "Socket", "Startup", ErrorCreate, "Startup WSAStartup failed", 1, error);
    if (version != 2) {
        sockets::Cleanup();
        SocketException::Throw(IPPeer(), "Socket", "Startup", ErrorCreate, "Unable to obtain access to WinSock 2.0", 1,
                               0);
    }
}

void Socket::SocketCleanup() { sockets::Cleanup(); }

String Socket::GetName() { return m_peer.PeerAsString(); }

void Socket::Create()
{
    CeaseUsing();
    const sockets::Handle handle = sockets::Open(m_type);
    if (handle == sockets::kInvalid)
        RaiseException("Create", ErrorCreate, "Unable to create socket", sockets::LastError());
    sockets::SetOption(handle, sockets::Option::ReuseAddress, 1);
    m_handle.store(handle, std::memory_order_release);
}

void Socket::BeginUsing()
{
    const unsigned address = m_peer.Address(false);
    if (address == kNone) RaiseException("BeginUsing", ErrorConnect, "Address set to none", 0);
    if (address == 0) {
        // The word is stored as written, without byte-order conversion; kept so on purpose.
        const unsigned short port = m_peer.Port(false);
        m_peer.SetAddress(0x7F000001u, false);
        m_peer.SetPort(port, false);
    }
    Create();
    m_local.Reset(); // read anew from the connection
    bool connected;
    int error = 0;
    {
        Call call(*this);
        connected = sockets::Connect(call.handle, m_peer.Address(false), m_peer.Port(false));
        if (!connected) error = sockets::LastError();
    }
    if (!connected) {
        Abort();
        RaiseException("BeginUsing", ErrorConnect, "connect failed", error);
    }
}

void Socket::CeaseUsing()
{
    {
        Call call(*this);
        if (call.handle == sockets::kInvalid) return;
        sockets::Shutdown(call.handle);
    }
    Abort();
}

void Socket::Abort()
{
    {
        Call call(*this);
        if (call.handle == sockets::kInvalid) return;
        sockets::SetLinger(call.handle, 1);
    }
    // The exchange lets one of two concurrent Aborts close the handle.
    const sockets::Handle handle = m_handle.exchange(sockets::kInvalid);
    if (handle != sockets::kInvalid) sockets::Close(handle, m_calls);
}

int Socket::Write(const unsigned char* data, int size)
{
    if (size < 1) return 0;
    Call call(*this);
    for (int done = 0; done < size;) {
        const int n = sockets::Send(call.handle, data + done, size - done);
        if (n < 0) RaiseException("Write", ErrorSend, "write failed", sockets::LastError());
        done += n;
    }
    return size;
}

bool Socket::Poll(float timeout) const
{
    Call call(*this);
    if (call.handle == sockets::kInvalid)
        RaiseException("Poll", ErrorInvalidSocket, "Socket must be open to poll from it", 0);
    FDSet set;
    set.Add(call.handle);
    return Stream::Transport::Poll(set, timeout, true, false, false);
}

bool Socket::Accept(Stream::Transport* server)
{
    const auto* from = dynamic_cast<Socket*>(server);
    if (!from || from->Handle() == sockets::kInvalid)
        RaiseException("Accept", ErrorInvalidSocket, "Cannot Accept from invalid socket", 0);
    CeaseUsing();
    int family = 0;
    std::uint32_t address = 0;
    std::uint16_t port = 0;
    sockets::Handle handle;
    {
        Call call(*from);
        handle = sockets::Accept(call.handle, family, address, port);
    }
    if (handle == sockets::kInvalid) return false;
    m_handle.store(handle, std::memory_order_release);
    m_local.Reset(); // read anew from the connection
    if (family != 2) {
        Abort();
        RaiseException("Accept", ErrorNotPossible, "Address family not supported", 0);
    }
    // Valid and resolved; the name from the cache, or this computer's for address 0.
    m_peer.SetAddress(address, false);
    m_peer.SetPort(port, false);
    return true;
}

const IPPeer& Socket::LocalPeer() const
{
    if (!m_local.IsValidAddress()) {
        std::uint32_t address = 0;
        std::uint16_t port = 0;
        Call call(*this);
        if (!sockets::LocalName(call.handle, address, port))
            RaiseException("LocalPeer", ErrorInvalidSocket, "getsockname failed", sockets::LastError());
        m_local.SetAddress(address, false);
        m_local.SetPort(port, false);
    }
    return m_local;
}

// TCPSocket

TCPSocket::TCPSocket() : Socket(StreamType) {}

TCPSocket::TCPSocket(const IPPeer& peer) : Socket(peer, StreamType) {}

TCPSocket::~TCPSocket() = default;

int TCPSocket::Read(unsigned char* data, int size)
{
    if (size < 1) return 0;
    Call call(*this);
    const int n = sockets::Receive(call.handle, data, size, false);
    if (n < 0) RaiseException("Read", ErrorReceive, "recv failed", sockets::LastError());
    return n;
}

// TCPSocketServer

TCPSocketServer::TCPSocketServer() = default;

TCPSocketServer::TCPSocketServer(const IPPeer& local) { m_local = local; }

TCPSocketServer::TCPSocketServer(unsigned short port, bool hostOrder)
{
    m_local = IPPeer(IPAddress(0u, false), port, hostOrder);
}

TCPSocketServer::~TCPSocketServer() = default;

void TCPSocketServer::RaiseException(const String& where, int error, const String& message, int osError) const
{
    SocketException::Throw(m_peer, "TCPSocketServer", where, error, message, ExceptionLevel(), osError);
}

void TCPSocketServer::BeginUsing()
{
    Create();
    const char* failure = nullptr;
    int error = 0;
    {
        Call call(*this);
        const std::uint32_t address = m_local.IsValidAddress() ? m_local.Address(false) : 0u;
        if (!sockets::SetOption(call.handle, sockets::Option::ReuseAddress, 1))
            failure = "setsockopt to reuse local address failed";
        else if (!sockets::Bind(call.handle, address, m_local.Port(false))) failure = "bind failed";
        else if (!sockets::Listen(call.handle, 0x7FFFFFFF)) failure = "listen failed";
        if (failure) error = sockets::LastError();
    }
    if (failure) {
        // A socket that cannot listen is closed again, so that a later Serve begins anew.
        Abort();
        RaiseException("BeginUsing", ErrorConnect, failure, error);
    }
    // The port the system chose is read back by LocalPeer.
    if (m_local.Port(false) == 0) m_local.Reset();
    LogDebug("TCPSocketServer listening at " + LocalPeer().PeerAsString());
}

} // namespace dovo
