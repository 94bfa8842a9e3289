#pragma once

#include <dovo/IPAddress.h>

struct sockaddr;

namespace dovo {

/// An IPv4 address and a port: the end point of every socket. The port is held in network order.
class DOVO_API IPPeer : public IPAddress
{
public:
    IPPeer();
    /// From an IPv4 socket address; another family gives an invalid peer.
    IPPeer(const sockaddr& address);
    IPPeer(const IPAddress& address, unsigned short port, bool hostOrder);
    IPPeer(unsigned int address, unsigned short port, bool hostOrder);
    /// The host by name (or dotted quad) and the port.
    IPPeer(const char* host, unsigned short port, bool hostOrder);
    IPPeer(const IPPeer&) = default;
    ~IPPeer() override;

    IPPeer& operator=(const IPPeer& other) = default;
    IPPeer& operator=(const sockaddr& address);
    /// "host:port" (see Set).
    IPPeer& operator=(const String& peer);

    void Set(const IPPeer& other);
    void Set(const sockaddr& address);
    /// "host:port": the host as by SetAddress(String), the port in decimal ("host:" gives port 0). A
    /// text without ":" sets only the host and leaves the port as it was.
    void Set(const String& peer);

    unsigned short Port(bool hostOrder = false) const;
    /// Also marks the peer valid.
    void SetPort(unsigned short port, bool hostOrder);

    /// Fills an IPv4 socket address (family, port, resolved address; the rest zero) and returns it.
    sockaddr* ToSockAddr(sockaddr* address) const;
    /// "Invalid Peer"; "host:port" for a peer that holds a name or whose address is 0; otherwise
    /// "a.b.c.d:port".
    String PeerAsString() const;

    bool operator==(const IPPeer& other) const { return IPAddress::operator==(other) && m_port == other.m_port; }
    bool operator!=(const IPPeer& other) const { return !(*this == other); }
    /// By address, then by port.
    bool operator<(const IPPeer& other) const;

    /// An invalid peer with port 0.
    void Reset() override;

private:
    friend class InStream;
    friend class OutStream;

    unsigned short m_port = 0;
};

} // namespace dovo
