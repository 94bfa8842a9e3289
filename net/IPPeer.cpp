// IPPeer: an address and a port.

#include <dovo/IPPeer.h>

#include "net/NativeSocket.h"

namespace dovo {

IPPeer::IPPeer() = default;

IPPeer::IPPeer(const sockaddr& address) { Set(address); }

IPPeer::IPPeer(const IPAddress& address, unsigned short port, bool hostOrder) : IPAddress(address)
{
    SetPort(port, hostOrder);
}

IPPeer::IPPeer(unsigned int address, unsigned short port, bool hostOrder) : IPAddress(address, hostOrder)
{
    SetPort(port, hostOrder);
}

IPPeer::IPPeer(const char* host, unsigned short port, bool hostOrder) : IPAddress(String(host))
{
    SetPort(port, hostOrder);
}

IPPeer::~IPPeer() = default;

IPPeer& IPPeer::operator=(const sockaddr& address)
{
    Set(address);
    return *this;
}

IPPeer& IPPeer::operator=(const String& peer)
{
    Set(peer);
    return *this;
}

void IPPeer::Set(const IPPeer& other) { *this = other; }

void IPPeer::Set(const sockaddr& address)
{
    std::uint32_t ip = 0;
    std::uint16_t port = 0;
    if (!sockets::FromNative(address, ip, port)) {
        Reset();
        return;
    }
    SetAddress(ip, false);
    SetPort(port, false);
}

void IPPeer::Set(const String& peer)
{
    const int colon = peer.Find(":");
    if (colon < 0) {
        SetAddress(peer);
        return;
    }
    SetAddress(peer.Left(static_cast<std::size_t>(colon)));
    SetPort(static_cast<unsigned short>(peer.Mid(static_cast<std::size_t>(colon) + 1).Uint()), true);
}

unsigned short IPPeer::Port(bool hostOrder) const { return hostOrder ? sockets::Swap16(m_port) : m_port; }

void IPPeer::SetPort(unsigned short port, bool hostOrder)
{
    m_port = hostOrder ? sockets::Swap16(port) : port;
    m_valid = true;
}

sockaddr* IPPeer::ToSockAddr(sockaddr* address) const
{
    sockets::ToNative(Address(), m_port, address);
    return address;
}

String IPPeer::PeerAsString() const
{
    if (!m_valid) return "Invalid Peer";
    if (!m_name.Empty() || m_address == 0) return HostName() + SFormat(":%u", static_cast<unsigned>(Port(true)));
    const unsigned char* b = reinterpret_cast<const unsigned char*>(&m_address);
    return SFormat("%u.%u.%u.%u:%u", b[0], b[1], b[2], b[3], static_cast<unsigned>(Port(true)));
}

bool IPPeer::operator<(const IPPeer& other) const
{
    const unsigned mine = Address(true), theirs = other.Address(true);
    return mine != theirs ? mine < theirs : Port(true) < other.Port(true);
}

void IPPeer::Reset()
{
    IPAddress::Reset();
    m_port = 0;
}

} // namespace dovo
