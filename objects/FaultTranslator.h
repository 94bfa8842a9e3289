#pragma once

// Processor faults (access violations, divisions by zero, illegal instructions, ...) turned into
// library exceptions on the threads that ask for it: from then on a fault on such a thread throws an
// Exception* with the fault's code and texts, which the thread's handlers catch like any other.
// Signal handlers on an alternate stack do it on POSIX, a vectored exception handler on Windows.
// Code that may fault between calls needs -fnon-call-exceptions for its own handlers to see it.

#include <dovo/Export.h>

#include <cstdint>

namespace dovo::faults {

/// The fault record the POSIX signal handler hands to Exception's fault constructor.
struct Record
{
    unsigned code;
    bool writing;
    std::uintptr_t address;
};

/// Makes processor faults on the calling thread throw library exceptions. Idempotent.
DOVO_API void InstallForThisThread();
/// Whether the calling thread translates faults.
DOVO_API bool InstalledForThisThread();

} // namespace dovo::faults
