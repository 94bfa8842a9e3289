#include "threads/Kernel.h"

#include "core/Win32Support.h"

namespace dovo::kernel {

Handle NewMutex() { return ::CreateMutexA(nullptr, FALSE, nullptr); }

Handle NewEvent(bool manualReset, bool signalled) { return ::CreateEventA(nullptr, manualReset, signalled, nullptr); }

Handle NewSemaphore(int initial, int maximum) { return ::CreateSemaphoreA(nullptr, initial, maximum, nullptr); }

bool SetEvent(Handle event) { return ::SetEvent(event) != 0; }

bool ResetEvent(Handle event) { return ::ResetEvent(event) != 0; }

bool ReleaseMutex(Handle mutex) { return ::ReleaseMutex(mutex) != 0; }

bool ReleaseSemaphore(Handle semaphore, int count, int* previous)
{
    LONG before = 0;
    const bool ok = ::ReleaseSemaphore(semaphore, count, &before) != 0;
    if (ok && previous) *previous = before;
    return ok;
}

std::uint32_t WaitOne(Handle object, std::uint32_t milliseconds) { return ::WaitForSingleObject(object, milliseconds); }

std::uint32_t WaitAll(const Handle* objects, int count, std::uint32_t milliseconds)
{
    return ::WaitForMultipleObjects(static_cast<DWORD>(count), objects, TRUE, milliseconds);
}

bool FailedOnUnknownHandle() { return ::GetLastError() == ERROR_INVALID_HANDLE; }

// Far beyond any handle table the process has: no object ever has it.
Handle UnknownHandle() { return reinterpret_cast<Handle>(std::uintptr_t{0x3FFFFFFC}); }

Handle Duplicate(Handle object)
{
    HANDLE copy = nullptr;
    const HANDLE process = ::GetCurrentProcess();
    if (!::DuplicateHandle(process, object, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS)) return nullptr;
    return copy;
}

bool Close(Handle object) { return ::CloseHandle(object) != 0; }

std::uint32_t CurrentThreadId() { return ::GetCurrentThreadId(); }

} // namespace dovo::kernel
