#pragma once

#include <dovo/Exception.h>

namespace dovo {

/// The exception of sockets: shows the peer it was connected to, and takes the OS error from the
/// socket layer.
///
/// The peer is held as its display text ("host:port"), the form the end-point type gives it.
class DOVO_API SocketException : public Exception
{
public:
    SocketException(const SocketException&) = default;
    SocketException& operator=(const SocketException&) = default;
    ~SocketException() override;

    /// The peer as "host:port" ("Invalid Peer" for none).
    const String& Peer() const { return m_peer; }
    void GetOSError() override;
    String DisplayAsString() const override;
    String DisplayAsHtml() const override;

    [[noreturn]] static void Throw(const String& peer, const String& module, const String& method, int error,
                                   const String& message, signed char level, int osError);

protected:
    SocketException(const String& peer, const String& module, const String& method, int error, const String& message,
                    signed char level, int osError);

private:
    String m_peer;
};

} // namespace dovo
