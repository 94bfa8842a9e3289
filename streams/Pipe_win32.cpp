// Pipes on Windows: the system's anonymous pipes, and PeekNamedPipe for what waits.

#include <dovo/Pipe.h>

#include "core/Win32Support.h"
#include "streams/PipeSystem.h"

#include <algorithm>
#include <chrono>

namespace dovo::pipes {

bool Create(void*& read, void*& write)
{
    HANDLE r = nullptr, w = nullptr;
    // Not inheritable: a child process gets an end only when it is handed one.
    if (!::CreatePipe(&r, &w, nullptr, 0)) return false;
    read = r;
    write = w;
    return true;
}

void Close(void* handle)
{
    if (handle) ::CloseHandle(handle);
}

int Read(void* handle, unsigned char* data, int size, int& error)
{
    if (size <= 0) return 0;
    DWORD got = 0;
    if (::ReadFile(handle, data, static_cast<DWORD>(size), &got, nullptr)) return static_cast<int>(got);
    error = static_cast<int>(::GetLastError());
    if (error == ERROR_BROKEN_PIPE || error == 0) return static_cast<int>(got);
    return -1;
}

bool Write(void* handle, const unsigned char* data, int size, bool socket, int& error)
{
    int done = 0;
    while (done < size) {
        DWORD put = 0;
        if (!::WriteFile(handle, data + done, static_cast<DWORD>(size - done), &put, nullptr)) {
            error = static_cast<int>(::GetLastError());
            return false;
        }
        done += static_cast<int>(put);
    }
    return true;
}

Peek Wait(void* handle, float seconds, int& error)
{
    // Tried at once, then again after sleeps that grow from 1 to 16 ms: what arrives is seen soon
    // without a wait that spins.
    const bool forever = seconds < 0;
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::microseconds(forever ? 0 : static_cast<long long>(seconds * 1e6));
    DWORD slice = 1;
    for (;;) {
        DWORD waiting = 0;
        if (!::PeekNamedPipe(handle, nullptr, 0, nullptr, &waiting, nullptr)) {
            error = static_cast<int>(::GetLastError());
            if (error == ERROR_INVALID_FUNCTION) return Peek::InvalidFunction;
            if (error == ERROR_BROKEN_PIPE) return Peek::BrokenPipe;
            return Peek::Failed;
        }
        if (waiting > 0) return Peek::Data;
        DWORD sleep = slice;
        if (!forever) {
            const long long left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
                    .count();
            if (left <= 0) return Peek::Empty;
            sleep = static_cast<DWORD>(std::min<long long>(left, slice));
        }
        ::Sleep(sleep);
        slice = std::min<DWORD>(slice * 2, 16);
    }
}

} // namespace dovo::pipes
