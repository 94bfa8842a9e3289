#pragma once

// POSIX only: objects of the library's own behind kernel handles, so that duplicated handles share
// them and the last close deletes them, as with the system's objects on Windows; and the futex calls
// the locks sleep and wake with.

#include "threads/Kernel.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace dovo::kernel {

struct Custom
{
    virtual ~Custom() = default;
};

/// What every object behind a handle starts with (a handle points at it).
struct ObjectHead
{
    Custom* custom = nullptr;
};

/// Takes ownership of the object.
Handle CreateCustom(Custom* object);
/// The object behind a valid handle made by CreateCustom (read on every operation of its owner).
inline Custom* GetCustom(Handle handle) { return static_cast<ObjectHead*>(handle)->custom; }

/// Sleeps while the 32-bit word at address holds expected, until woken or until the deadline on the
/// monotonic clock (null: none) has passed. Returns false once the deadline has passed; may return
/// true spuriously (a signal, a stale wake-up, a word that no longer held expected).
inline bool FutexWaitUntil(const void* address, std::uint32_t expected, const timespec* deadline)
{
    return syscall(SYS_futex, address, FUTEX_WAIT_BITSET_PRIVATE, expected, deadline, nullptr,
                   FUTEX_BITSET_MATCH_ANY) == 0 ||
           errno != ETIMEDOUT;
}

/// Wakes up to count threads sleeping on the 32-bit word at address.
inline void FutexWakeAt(const void* address, int count)
{
    syscall(SYS_futex, address, FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
}

/// Sleeps while the word holds expected (returns at once if it does not; may return spuriously).
template <typename Word>
void FutexWait(std::atomic<Word>& word, Word expected)
{
    static_assert(sizeof(Word) == sizeof(int) && std::atomic<Word>::is_always_lock_free);
    FutexWaitUntil(&word, static_cast<std::uint32_t>(expected), nullptr);
}

/// Wakes up to count threads sleeping on the word.
template <typename Word>
void FutexWake(std::atomic<Word>& word, int count = 1)
{
    FutexWakeAt(&word, count);
}

/// Wakes every thread sleeping on the word.
template <typename Word>
void FutexWakeAll(std::atomic<Word>& word)
{
    FutexWake(word, INT_MAX);
}

} // namespace dovo::kernel
