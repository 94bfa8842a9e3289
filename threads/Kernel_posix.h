#pragma once

// POSIX only: objects of the library's own behind kernel handles, so that duplicated handles share
// them and the last close deletes them, as with the system's objects on Windows; and the futex calls
// the locks sleep and wake with.

#include "threads/Kernel.h"

#include <atomic>
#include <climits>
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

/// Sleeps while the word holds expected (returns at once if it does not; may return spuriously).
template <typename Word>
void FutexWait(std::atomic<Word>& word, Word expected)
{
    static_assert(sizeof(Word) == sizeof(int) && std::atomic<Word>::is_always_lock_free);
    syscall(SYS_futex, reinterpret_cast<int*>(&word), FUTEX_WAIT_PRIVATE, static_cast<int>(expected), nullptr, nullptr,
            0);
}

/// Wakes up to count threads sleeping on the word.
template <typename Word>
void FutexWake(std::atomic<Word>& word, int count = 1)
{
    syscall(SYS_futex, reinterpret_cast<int*>(&word), FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
}

/// Wakes every thread sleeping on the word.
template <typename Word>
void FutexWakeAll(std::atomic<Word>& word)
{
    FutexWake(word, INT_MAX);
}

} // namespace dovo::kernel
