#include "files/FileHandle.h"

#include <dovo/File.h>

#include "core/Win32Support.h"

namespace dovo::filehandle {

namespace {
HANDLE H(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }
} // namespace

std::intptr_t Open(const char* path, int mode)
{
    DWORD access = GENERIC_READ;
    DWORD disposition = OPEN_EXISTING;
    if (mode & File::modeReadWrite) {
        access = GENERIC_READ | GENERIC_WRITE;
        disposition = OPEN_ALWAYS;
    } else if (mode & File::modeAppend) {
        access = FILE_APPEND_DATA | SYNCHRONIZE | (mode & File::modeRead ? GENERIC_READ : 0);
        disposition = OPEN_ALWAYS;
    } else if (mode & File::modeWrite) {
        access = GENERIC_WRITE | (mode & File::modeRead ? GENERIC_READ : 0);
        disposition = CREATE_ALWAYS;
    }
    HANDLE h = ::CreateFileA(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, disposition,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return kInvalid;
    return reinterpret_cast<std::intptr_t>(h);
}

bool LastErrorIsMissing()
{
    const DWORD e = ::GetLastError();
    return e == ERROR_FILE_NOT_FOUND || e == ERROR_PATH_NOT_FOUND;
}

int Read(std::intptr_t handle, unsigned char* data, int size)
{
    DWORD got = 0;
    if (!::ReadFile(H(handle), data, static_cast<DWORD>(size), &got, nullptr))
        return ::GetLastError() == ERROR_BROKEN_PIPE ? 0 : -1;
    return static_cast<int>(got);
}

int Write(std::intptr_t handle, const unsigned char* data, int size)
{
    int done = 0;
    while (done < size) {
        DWORD put = 0;
        if (!::WriteFile(H(handle), data + done, static_cast<DWORD>(size - done), &put, nullptr)) return -1;
        if (put == 0) {
            ::SetLastError(ERROR_DISK_FULL);
            return -1;
        }
        done += static_cast<int>(put);
    }
    return done;
}

long long Seek(std::intptr_t handle, long long offset, int whence)
{
    static constexpr DWORD kMethod[3] = {FILE_BEGIN, FILE_CURRENT, FILE_END};
    LARGE_INTEGER distance, result;
    distance.QuadPart = offset;
    if (!::SetFilePointerEx(H(handle), distance, &result, kMethod[whence])) return -1;
    return result.QuadPart;
}

long long Size(std::intptr_t handle)
{
    LARGE_INTEGER size;
    return ::GetFileSizeEx(H(handle), &size) ? size.QuadPart : -1;
}

void Close(std::intptr_t handle) { ::CloseHandle(H(handle)); }

} // namespace dovo::filehandle
