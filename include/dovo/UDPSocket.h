#pragma once

#include <dovo/Socket.h>

namespace dovo {

/// A datagram socket that sends to its peer. Sending creates the socket (broadcast enabled); a read
/// takes one datagram and makes its sender the peer, so a reply goes back to it.
class DOVO_API UDPSocket : public Socket
{
public:
    UDPSocket();
    /// Broadcasts to port.
    UDPSocket(unsigned short port, bool hostOrder);
    UDPSocket(unsigned int address, unsigned short port, bool hostOrder);
    /// "host:port".
    explicit UDPSocket(const String& peer);
    explicit UDPSocket(const IPPeer& peer);
    ~UDPSocket() override;

    /// One datagram (at most size bytes of it); the sender becomes the peer. Raises "Cannot Read until
    /// after Sending" before the socket exists.
    int Read(unsigned char* data, int size) override;
    /// Sends data to the peer (creating the socket first if needed).
    int Write(const unsigned char* data, int size) override;
    /// Creates the socket and enables broadcast.
    void BeginUsing() override;

    /// Read without taking the datagram.
    int Peek(unsigned char* data, int size);
    /// The next datagram as text, taken or left.
    String ReadString();
    String PeekString();
    int WriteString(const String& text);
    /// Poll: true when a datagram waits within seconds.
    bool WaitForReply(float seconds) { return Poll(seconds); }

protected:
    /// Throws a SocketException from "UDPSocket".
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;
    /// Sends data to a peer in datagrams until all of it went; raises "sendto failed" from where.
    int SendDatagrams(const char* where, const IPPeer& to, const unsigned char* data, int size);
    /// One datagram into data, peeking or taking; the sender becomes the peer.
    int ReceiveDatagram(const char* where, unsigned char* data, int size, bool peek);
};

} // namespace dovo
