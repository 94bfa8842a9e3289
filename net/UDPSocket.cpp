// UDPSocket and UDPSocketListener: datagrams to a peer, from any sender, and replies.

#include <dovo/Log.h>
#include <dovo/SocketException.h>
#include <dovo/UDPSocket.h>
#include <dovo/UDPSocketListener.h>

#include "net/NativeSocket.h"

#include <vector>

namespace dovo {

namespace {
constexpr int ErrorNotPossible = 0x20000003;
constexpr int ErrorBind = 0x20000008;
constexpr int ErrorReceive = 0x2000000A;
constexpr int ErrorSend = 0x2000000B;
// The largest datagram IPv4 carries.
constexpr int kLargestDatagram = 65536;
} // namespace

// UDPSocket

UDPSocket::UDPSocket() : Socket(DatagramType) {}

UDPSocket::UDPSocket(unsigned short port, bool hostOrder) : Socket(IPPeer(0xFFFFFFFFu, port, hostOrder), DatagramType)
{
}

UDPSocket::UDPSocket(unsigned int address, unsigned short port, bool hostOrder)
    : Socket(IPPeer(address, port, hostOrder), DatagramType)
{
}

UDPSocket::UDPSocket(const String& peer) : Socket(DatagramType) { m_peer.Set(peer); }

UDPSocket::UDPSocket(const IPPeer& peer) : Socket(peer, DatagramType) {}

UDPSocket::~UDPSocket() = default;

void UDPSocket::RaiseException(const String& where, int error, const String& message, int osError) const
{
    SocketException::Throw(m_peer, "UDPSocket", where, error, message, ExceptionLevel(), osError);
}

void UDPSocket::BeginUsing()
{
    Create();
    m_local.Reset(); // the system binds the socket on its first send
    Call call(*this);
    sockets::SetOption(call.handle, sockets::Option::Broadcast, 1);
}

int UDPSocket::SendDatagrams(const char* where, const IPPeer& to, const unsigned char* data, int size)
{
    if (size < 1) return 0;
    if (!IsUsable()) BeginUsing();
    const std::uint32_t address = to.Address(false);
    Call call(*this);
    for (int done = 0; done < size;) {
        const int n = sockets::SendTo(call.handle, data + done, size - done, address, to.Port(false));
        if (n < 0) RaiseException(where, ErrorSend, "sendto failed", sockets::LastError());
        done += n;
    }
    return size;
}

int UDPSocket::ReceiveDatagram(const char* where, unsigned char* data, int size, bool peek)
{
    std::uint32_t address = 0;
    std::uint16_t port = 0;
    Call call(*this);
    const int n = sockets::ReceiveFrom(call.handle, data, size, peek, address, port);
    if (n < 0) RaiseException(where, ErrorReceive, peek ? "recv failed" : "recvfrom failed", sockets::LastError());
    m_peer.SetAddress(address, false);
    m_peer.SetPort(port, false);
    return n;
}

int UDPSocket::Write(const unsigned char* data, int size) { return SendDatagrams("Write", m_peer, data, size); }

int UDPSocket::Read(unsigned char* data, int size)
{
    if (!IsUsable()) RaiseException("Read", ErrorNotPossible, "Cannot Read until after Sending", 0);
    return ReceiveDatagram("Read", data, size, false);
}

int UDPSocket::Peek(unsigned char* data, int size)
{
    if (!IsUsable()) RaiseException("Peek", ErrorNotPossible, "Cannot Peek until after Sending", 0);
    return ReceiveDatagram("Peek", data, size, true);
}

String UDPSocket::ReadString()
{
    std::vector<unsigned char> data(kLargestDatagram);
    const int n = Read(data.data(), kLargestDatagram);
    return String(reinterpret_cast<const char*>(data.data()), static_cast<std::size_t>(n));
}

String UDPSocket::PeekString()
{
    std::vector<unsigned char> data(kLargestDatagram);
    const int n = Peek(data.data(), kLargestDatagram);
    return String(reinterpret_cast<const char*>(data.data()), static_cast<std::size_t>(n));
}

int UDPSocket::WriteString(const String& text)
{
    return Write(reinterpret_cast<const unsigned char*>(text.c_str()), text.Length());
}

// UDPSocketListener

UDPSocketListener::UDPSocketListener() = default;

UDPSocketListener::UDPSocketListener(const IPPeer& local) { m_local = local; }

UDPSocketListener::UDPSocketListener(unsigned short port, bool hostOrder)
{
    m_local = IPPeer(IPAddress(0u, false), port, hostOrder);
}

UDPSocketListener::~UDPSocketListener() = default;

void UDPSocketListener::RaiseException(const String& where, int error, const String& message, int osError) const
{
    SocketException::Throw(m_peer, "UDPSocketListener", where, error, message, ExceptionLevel(), osError);
}

void UDPSocketListener::BeginUsing()
{
    Create();
    const std::uint32_t address = m_local.IsValidAddress() ? m_local.Address(false) : 0u;
    bool bound;
    int error = 0;
    {
        Call call(*this);
        bound = sockets::Bind(call.handle, address, m_local.Port(false));
        if (!bound) error = sockets::LastError();
    }
    if (!bound) {
        Abort();
        RaiseException("BeginUsing", ErrorBind, "bind failed", error);
    }
    // The port the system chose is read back by LocalPeer.
    if (m_local.Port(false) == 0) m_local.Reset();
    LogDebug("UDPSocketServer listening at " + LocalPeer().PeerAsString());
}

bool UDPSocketListener::Listen(String& text, float seconds)
{
    text.Clear();
    if (!IsUsable()) BeginUsing();
    if (!Poll(seconds)) return false;
    text = ReadString();
    return true;
}

int UDPSocketListener::SendTo(const IPPeer& peer, const unsigned char* data, int size)
{
    if (!peer.IsValidAddress()) RaiseException("SendTo", ErrorNotPossible, "Cannot send datagram to noone", 0);
    return SendDatagrams("SendTo", peer, data, size);
}

int UDPSocketListener::SendTo(const IPPeer& peer, const String& text)
{
    return SendTo(peer, reinterpret_cast<const unsigned char*>(text.c_str()), text.Length());
}

} // namespace dovo
