#pragma once

#include <dovo/Exception.h>

namespace dovo {

/// The exception thrown by synchronisation objects; logged as errors.
class DOVO_API SyncException : public Exception
{
public:
    SyncException(const SyncException&) = default;
    SyncException& operator=(const SyncException&) = default;
    ~SyncException() override;

    [[noreturn]] static void Throw(const String& module, const String& method, int error, const String& message,
                                   int osError, const String& debugMessage);

protected:
    SyncException(const String& module, const String& method, int error, const String& message, int osError,
                  const String& debugMessage);
};

} // namespace dovo
