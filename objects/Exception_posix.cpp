#include <dovo/Exception.h>

#include "objects/FaultTranslator.h"
#include "objects/OSError.h"

#include <cerrno>
#include <cstring>
#include <sys/syscall.h>
#include <unistd.h>

namespace dovo {

namespace oserror {
int Last() { return errno; }
void SetLast(int code) { errno = code; }
int LastSocket() { return errno; }
std::uint64_t CurrentThreadId() { return static_cast<std::uint64_t>(syscall(SYS_gettid)); }

Fault ReadFault(const _EXCEPTION_POINTERS* fault)
{
    // On POSIX the fault record is the one the signal handler fills.
    const auto* record = reinterpret_cast<const faults::Record*>(fault);
    Fault f;
    if (record) f.code = record->code, f.writing = record->writing, f.address = record->address;
    return f;
}
} // namespace oserror

String Exception::TranslateOSError(int code)
{
    // For a code it does not know, glibc makes up "Unknown error N": such a code has no text.
    if (!strerrorname_np(code)) return String();
    char buffer[256];
    // The GNU strerror_r may return a static text instead of filling the buffer.
    const char* text = strerror_r(code, buffer, sizeof buffer);
    return String(text ? text : "").TrimRight();
}

} // namespace dovo
