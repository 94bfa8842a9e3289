// Named pipes on Windows: the system's own, one instance at a time per server, non-blocking.

#include <dovo/NamedPipeServer.h>

#include "core/Win32Support.h"
#include "streams/PipeSystem.h"

#include <algorithm>
#include <chrono>

namespace dovo {

namespace {
constexpr int ErrorFailed = 0x20000008;
// The longest sleep between tries while no client comes, in milliseconds.
constexpr unsigned kLongestIdleSlice = 64;
} // namespace

namespace pipes {

String LocalName(const String& leaf) { return "\\\\.\\pipe\\" + leaf; }

void* Io(const _AutoHandle& connection) { return static_cast<_AutoHandle::HANDLE>(connection); }

void Waiting(const _AutoHandle& connection)
{
    DWORD mode = PIPE_READMODE_BYTE | PIPE_WAIT;
    ::SetNamedPipeHandleState(connection, &mode, nullptr, nullptr);
}

void* Connect(const String& local, bool& available, int& error)
{
    available = false;
    // (A time-out of 0 would wait for the pipe's default time-out.)
    if (!::WaitNamedPipeA(local.c_str(), 1)) return error = static_cast<int>(::GetLastError()), nullptr;
    available = true;
    HANDLE h = ::CreateFileA(local.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (h != INVALID_HANDLE_VALUE) return h;
    error = static_cast<int>(::GetLastError());
    // Another client took the free instance meanwhile.
    if (error == ERROR_PIPE_BUSY || error == ERROR_FILE_NOT_FOUND) available = false;
    return nullptr;
}

} // namespace pipes

void NamedPipeServer::NewInstance()
{
    HANDLE h =
        ::CreateNamedPipeA(m_localName.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_NOWAIT,
                           PIPE_UNLIMITED_INSTANCES, 0, 0, 100, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        RaiseException("BeginUsing", ErrorFailed, "Could not create the named pipe " + m_localName, -1);
    m_handle = h;
}

bool NamedPipeServer::WaitForClient(float seconds)
{
    if (!m_handle.IsValid()) return false;
    // Tried at once and again after each sleep. The sleeps grow while no client comes, to the whole
    // time asked for, and start short again after one came: a busy server serves at once, an idle one
    // wakes about once per poll.
    const bool forever = seconds < 0;
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::microseconds(forever ? 0 : static_cast<long long>(seconds * 1e6));
    for (;;) {
        const BOOL connected = ::ConnectNamedPipe(m_handle, nullptr);
        const DWORD error = connected ? 0 : ::GetLastError();
        // A client that connected and closed already may have left its message.
        if (connected || error == ERROR_PIPE_CONNECTED || error == ERROR_NO_DATA) {
            m_connected = true;
            m_idleSlice = 1;
            return true;
        }
        DWORD sleep = m_idleSlice;
        if (!forever) {
            const long long left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
                    .count();
            if (left <= 0) return false;
            sleep = static_cast<DWORD>(std::min<long long>(left, m_idleSlice));
        }
        ::Sleep(sleep);
        m_idleSlice = std::min(m_idleSlice * 2, kLongestIdleSlice);
    }
}

void NamedPipeServer::RemoveListener() {}

} // namespace dovo
