#pragma once

// The kernel objects the lock classes are built from: anonymous, process-local mutexes, events and
// semaphores behind handles, with waits on one object or on several at once ("wait-all"). On
// Windows these are the system's own objects and calls (Kernel_win32.cpp); elsewhere an equivalent
// with the same semantics (Kernel_posix.cpp). The lock classes' logic is written once against this.

#include <dovo/Export.h>

#include <cstdint>

namespace dovo::kernel {

using Handle = void*;

/// The most objects one wait takes.
constexpr int kMaximumWaitObjects = 64;

/// Waits given in milliseconds; this one waits forever.
constexpr std::uint32_t kInfinite = 0xFFFFFFFFu;

/// The result of a wait: the index of the object that ended it, or one of these.
enum : std::uint32_t {
    kWaitObject0 = 0,
    kWaitAbandoned0 = 0x80,
    kWaitTimeout = 0x102,
    kWaitFailed = 0xFFFFFFFFu,
};

/// A handle is valid when it is neither 0 nor all ones.
inline bool IsValid(Handle h) { return h != nullptr && h != reinterpret_cast<Handle>(~std::uintptr_t{0}); }

// Each returns a null handle or false on failure, with the thread's last OS error set.
Handle NewMutex();
Handle NewEvent(bool manualReset, bool signalled);
Handle NewSemaphore(int initial, int maximum);
bool SetEvent(Handle event);
bool ResetEvent(Handle event);
bool ReleaseMutex(Handle mutex);
/// Adds count to the semaphore; previous receives the count before (may be null).
bool ReleaseSemaphore(Handle semaphore, int count, int* previous);
std::uint32_t WaitOne(Handle object, std::uint32_t milliseconds);
/// Waits until all the objects are signalled at once, and takes them together.
std::uint32_t WaitAll(const Handle* objects, int count, std::uint32_t milliseconds);
/// After a failed call: whether it failed because the system does not know the handle (closed, or never
/// one of an object that can be waited on).
bool FailedOnUnknownHandle();
/// A handle that waits fail on as one the system does not know (for the library's tests); Close takes it.
Handle UnknownHandle();
/// Another handle to the same object; null on failure.
Handle Duplicate(Handle object);
bool Close(Handle object);

/// The calling thread's system id.
std::uint32_t CurrentThreadId();

/// A float time-out in seconds as milliseconds: negative waits forever; otherwise truncated (and kept
/// short of forever).
inline std::uint32_t Milliseconds(float seconds)
{
    if (seconds < 0) return kInfinite;
    const double ms = static_cast<double>(seconds) * 1000.0;
    return ms >= static_cast<double>(kInfinite - 1) ? kInfinite - 1 : static_cast<std::uint32_t>(ms);
}

} // namespace dovo::kernel
