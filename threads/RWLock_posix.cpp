// RWLock on POSIX: the lock's state in one atomic word (the hold count, and the writer's thread id),
// so that a hold that need not wait costs one compare-and-swap. A thread that must wait sleeps on a
// condition variable until a release changes the word; releases look for sleepers before waking any.
// The semantics are those of the kernel-object lock of the Windows build: readers are not held back
// by a waiting writer, the writer nests write holds and read holds inside its own write, and the
// try-forms never wait. Copies share the whole lock (the word sits in an object behind the guard
// handle), so the object's own count and writer fields are not used here.

#include <dovo/RWLock.h>
#include <dovo/SyncException.h>

#include "threads/Kernel_posix.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace dovo {

namespace {

// The word: the count in the low half (n > 0 read holds, -n a write hold of depth n), the writer's
// thread id in the high half.
using Word = std::uint64_t;
int CountOf(Word w) { return static_cast<int>(static_cast<std::uint32_t>(w)); }
std::uint32_t WriterOf(Word w) { return static_cast<std::uint32_t>(w >> 32); }
Word Make(int count, std::uint32_t writer)
{
    return (static_cast<Word>(writer) << 32) | static_cast<std::uint32_t>(count);
}

struct Core : kernel::Custom
{
    std::atomic<Word> word{0};
    std::atomic<int> sleepers{0};
    std::mutex sleep;
    std::condition_variable changed;

    // Tries to move the word on as `next` says; next returns false when the caller has to wait.
    template <typename Next>
    bool Try(Next next)
    {
        Word w = word.load();
        Word to;
        while (next(w, to))
            if (word.compare_exchange_weak(w, to)) return true;
        return false;
    }
    template <typename Next>
    void Take(Next next)
    {
        if (Try(next)) return;
        std::unique_lock<std::mutex> lock(sleep);
        ++sleepers;
        while (!Try(next)) changed.wait(lock);
        --sleepers;
    }
    void Released()
    {
        if (sleepers.load() == 0) return;
        std::lock_guard<std::mutex> lock(sleep);
        changed.notify_all();
    }
};

Core& CoreOf(const _AutoHandle& handle) { return *static_cast<Core*>(kernel::GetCustom(handle)); }

// The moves of the word, for the calling thread `me`.
auto ReadHold()
{
    return [](Word w, Word& to) {
        const int c = CountOf(w);
        if (c >= 0) return to = Make(c + 1, WriterOf(w)), true;
        const std::uint32_t me = kernel::CurrentThreadId();       // asked only while someone writes
        if (WriterOf(w) == me) return to = Make(c - 1, me), true; // a read inside one's own write
        return false;
    };
}

auto WriteHold(std::uint32_t me)
{
    return [me](Word w, Word& to) {
        const int c = CountOf(w);
        if (c == 0) return to = Make(-1, me), true;
        if (c < 0 && WriterOf(w) == me) return to = Make(c - 1, me), true;
        return false;
    };
}

} // namespace

RWLock::RWLock() : m_guard(kernel::CreateCustom(new Core)) {}

void RWLock::TakeGuard() {}
void RWLock::ReleaseGuard() {}

void RWLock::Fail(const char* method, const char* message)
{
    SyncException::Throw("RWLock", method, 0x2000000E, message, -1, String());
}

void RWLock::GetReadLock() { CoreOf(m_guard).Take(ReadHold()); }

void RWLock::GetWriteLock() { CoreOf(m_guard).Take(WriteHold(kernel::CurrentThreadId())); }

bool RWLock::TryReadLock() { return CoreOf(m_guard).Try(ReadHold()); }

bool RWLock::TryWriteLock() { return CoreOf(m_guard).Try(WriteHold(kernel::CurrentThreadId())); }

void RWLock::Unlock()
{
    Core& core = CoreOf(m_guard);
    bool freed = false;
    core.Try([&](Word w, Word& to) {
        const int c = CountOf(w);
        // Ends a write hold (towards 0) or a read hold; on a free lock the count becomes -1 without a
        // wake, as holds and releases must pair.
        to = Make(c < 0 ? c + 1 : c - 1, WriterOf(w));
        freed = c == -1 || c == 1;
        return true;
    });
    if (freed) core.Released();
}

} // namespace dovo
