#include "log/LogFile.h"

#include "core/Win32Support.h"

namespace dovo::logfile {

void* OpenAppend(const char* path, bool& busy)
{
    // Every write lands at the end, whoever else appends.
    HANDLE file =
        CreateFileA(path, FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        busy = error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
        return nullptr;
    }
    busy = false;
    SetFilePointer(file, 0, nullptr, FILE_END);
    return file;
}

bool Write(void* file, const char* data, std::size_t size)
{
    while (size > 0) {
        DWORD written = 0;
        const DWORD chunk = size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size);
        if (!WriteFile(file, data, chunk, &written, nullptr) || written == 0) return false;
        data += written;
        size -= written;
    }
    return true;
}

void Flush(void* file) { FlushFileBuffers(file); }

void Close(void* file) { CloseHandle(file); }

} // namespace dovo::logfile
