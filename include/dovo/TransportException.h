#pragma once

#include <dovo/Exception.h>

namespace dovo {

/// The exception thrown by transports.
class DOVO_API TransportException : public Exception
{
public:
    TransportException(const TransportException&) = default;
    TransportException& operator=(const TransportException&) = default;
    ~TransportException() override;

    [[noreturn]] static void Throw(const String& module, const String& method, int error, const String& message,
                                   signed char level, int osError);

protected:
    TransportException(const String& module, const String& method, int error, const String& message, signed char level,
                       int osError);
};

} // namespace dovo
