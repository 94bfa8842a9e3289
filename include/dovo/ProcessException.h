#pragma once

#include <dovo/Exception.h>

namespace dovo {

/// The exception thrown by process control.
class DOVO_API ProcessException : public Exception
{
public:
    ProcessException(const ProcessException&) = default;
    ProcessException& operator=(const ProcessException&) = default;
    ~ProcessException() override;

    [[noreturn]] static void Throw(const String& module, const String& method, int error, const String& message,
                                   int osError, const String& debugMessage, signed char level);

protected:
    ProcessException(const String& module, const String& method, int error, const String& message, int osError,
                     const String& debugMessage, signed char level);
};

} // namespace dovo
