#pragma once

#include <dovo/Exception.h>

namespace dovo {

/// The exception thrown when a weak reference is used after its object died. It takes the thread's
/// last OS error at that moment (as an OS error of -1 does elsewhere), at level 1.
class DOVO_API WeakPointerException : public Exception
{
public:
    WeakPointerException(const WeakPointerException&) = default;
    WeakPointerException& operator=(const WeakPointerException&) = default;
    ~WeakPointerException() override;

    [[noreturn]] static void Throw(const String& module, const String& method, int error, const String& message);

protected:
    WeakPointerException(const String& module, const String& method, int error, const String& message);
};

} // namespace dovo
