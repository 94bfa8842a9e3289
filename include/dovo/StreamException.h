#pragma once

#include <dovo/Exception.h>

namespace dovo {

/// The exception thrown by streams.
class DOVO_API StreamException : public Exception
{
public:
    StreamException(const StreamException&) = default;
    StreamException& operator=(const StreamException&) = default;
    ~StreamException() override;

    [[noreturn]] static void Throw(const String& module, const String& method, int error, const String& message,
                                   int osError, const String& debugMessage, signed char level);

protected:
    StreamException(const String& module, const String& method, int error, const String& message, int osError,
                    const String& debugMessage, signed char level);
};

} // namespace dovo
