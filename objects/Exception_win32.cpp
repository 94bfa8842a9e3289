#include <dovo/Exception.h>

#include "core/Win32Support.h"
#include "objects/OSError.h"

#include <winsock2.h>

namespace dovo {

namespace oserror {
int Last() { return static_cast<int>(GetLastError()); }
void SetLast(int code) { SetLastError(static_cast<DWORD>(code)); }
int LastSocket() { return WSAGetLastError(); }
std::uint64_t CurrentThreadId() { return GetCurrentThreadId(); }

Fault ReadFault(const _EXCEPTION_POINTERS* fault)
{
    Fault f;
    if (!fault || !fault->ExceptionRecord) return f;
    const EXCEPTION_RECORD& record = *fault->ExceptionRecord;
    f.code = record.ExceptionCode;
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2) {
        f.writing = record.ExceptionInformation[0] != 0;
        f.address = record.ExceptionInformation[1];
    }
    return f;
}
} // namespace oserror

String Exception::TranslateOSError(int code)
{
    char* buffer = nullptr;
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, static_cast<DWORD>(code), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                       reinterpret_cast<LPSTR>(&buffer), 0, nullptr);
    // No text for the code: the call fails and there is nothing to show.
    String text;
    if (length && buffer) text = String(buffer, length);
    if (buffer) LocalFree(buffer);
    return text.TrimRight();
}

} // namespace dovo
