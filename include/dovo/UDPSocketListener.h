#pragma once

#include <dovo/UDPSocket.h>

namespace dovo {

/// A datagram socket bound to a local address: it waits for datagrams and answers their senders.
/// With port 0 the system chooses the port, which LocalPeer() reports after BeginUsing.
class DOVO_API UDPSocketListener : public UDPSocket
{
public:
    UDPSocketListener();
    /// Bound to local.
    explicit UDPSocketListener(const IPPeer& local);
    /// Bound to port on every address of this computer.
    UDPSocketListener(unsigned short port, bool hostOrder);
    ~UDPSocketListener() override;

    /// Creates the socket and binds it to the local peer.
    void BeginUsing() override;

    /// Waits up to seconds for one datagram and reads it as text (beginning to use the socket first
    /// if needed); false, with text empty, when none came.
    bool Listen(String& text, float seconds);
    /// Sends to the sender of the last datagram read.
    int Reply(const unsigned char* data, int size) { return SendTo(m_peer, data, size); }
    int Reply(const String& text) { return SendTo(m_peer, text); }
    /// Sends to peer; an invalid peer raises "Cannot send datagram to noone".
    int SendTo(const IPPeer& peer, const unsigned char* data, int size);
    int SendTo(const IPPeer& peer, const String& text);

protected:
    /// Throws a SocketException from "UDPSocketListener".
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;
};

} // namespace dovo
