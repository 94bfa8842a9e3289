#pragma once

#include <dovo/Exception.h>
#include <dovo/IPPeer.h>

namespace dovo {

/// The exception of sockets: shows the peer it was connected to, and takes the OS error from the
/// socket layer.
class DOVO_API SocketException : public Exception
{
public:
    SocketException(const SocketException&) = default;
    SocketException& operator=(const SocketException&) = default;
    ~SocketException() override;

    /// The peer (invalid when the exception was given only its text).
    const IPPeer& Peer() const { return m_peer; }
    /// The peer as shown: "host:port", or "Invalid Peer".
    const String& PeerText() const { return m_peerText; }
    void GetOSError() override;
    /// The base's text and a line "\n\tConnected to: " with the peer.
    String DisplayAsString() const override;
    /// The base's table with a row "Connected to" and the peer.
    String DisplayAsHtml() const override;

    [[noreturn]] static void Throw(const IPPeer& peer, const String& module, const String& method, int error,
                                   const String& message, signed char level, int osError);
    /// With the peer's text alone.
    [[noreturn]] static void Throw(const String& peer, const String& module, const String& method, int error,
                                   const String& message, signed char level, int osError);

protected:
    SocketException(const IPPeer& peer, const String& module, const String& method, int error, const String& message,
                    signed char level, int osError);
    SocketException(const String& peer, const String& module, const String& method, int error, const String& message,
                    signed char level, int osError);

private:
    IPPeer m_peer;
    String m_peerText;
};

} // namespace dovo
