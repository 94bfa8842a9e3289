#pragma once

// The calling thread's last OS error and identity, and the processor-fault record, per platform
// (Exception_posix.cpp, Exception_win32.cpp).

#include <dovo/Export.h>

#include <cstdint>

struct _EXCEPTION_POINTERS;

namespace dovo::oserror {

/// errno, or GetLastError(). (Exported for the library's tests.)
DOVO_API int Last();
DOVO_API void SetLast(int code);
/// The socket layer's last error: errno, or WSAGetLastError().
int LastSocket();
std::uint64_t CurrentThreadId();

/// What the exception of a processor fault needs from the fault.
struct Fault
{
    unsigned code = 0;          ///< the Windows fault code (0xC0000005, ...)
    bool writing = false;       ///< an access violation while writing
    std::uintptr_t address = 0; ///< the data address of an access violation
};
Fault ReadFault(const _EXCEPTION_POINTERS* fault);

} // namespace dovo::oserror
