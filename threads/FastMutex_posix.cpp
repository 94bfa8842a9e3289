// FastMutex on POSIX: a recursive lock of our own over a futex word, in the manner of a critical
// section. The word is 0 when free, 1 when held, 2 when held with waiters; the owner and the
// recursion count let the holder enter again. All-zero storage is a free lock, which is what lets a
// StaticFastMutex work before its constructor has run.

#include <dovo/FastMutex.h>

#include "threads/Kernel_posix.h"

#include <atomic>
#include <cstdint>
#include <new>

namespace dovo {

namespace {

struct Native
{
    std::atomic<int> state;
    std::atomic<std::uint32_t> owner;
    unsigned count;
};
static_assert(sizeof(Native) <= 40 && alignof(Native) <= 8, "FastMutex storage too small");

Native& Of(unsigned char* storage) { return *std::launder(reinterpret_cast<Native*>(storage)); }

void Take(Native& n, std::uint32_t me)
{
    int c = 0;
    if (!n.state.compare_exchange_strong(c, 1, std::memory_order_acquire)) {
        // Contended: mark the word as having waiters and sleep until it is handed back free.
        if (c != 2) c = n.state.exchange(2, std::memory_order_acquire);
        while (c != 0) {
            kernel::FutexWait(n.state, 2);
            c = n.state.exchange(2, std::memory_order_acquire);
        }
    }
    n.owner.store(me, std::memory_order_relaxed);
    n.count = 1;
}

} // namespace

FastMutex::FastMutex() { Initialize(); }

FastMutex::FastMutex(const FastMutex&) { Initialize(); }

FastMutex::~FastMutex() { Destroy(); }

void FastMutex::Initialize() { new (m_native) Native{{0}, {0}, 0}; }

void FastMutex::Destroy() {}

void FastMutex::Enter()
{
    Native& n = Of(m_native);
    const std::uint32_t me = kernel::CurrentThreadId();
    // Only the holder can find itself as owner.
    if (n.owner.load(std::memory_order_relaxed) == me) {
        ++n.count;
        return;
    }
    Take(n, me);
}

bool FastMutex::TryEnter()
{
    Native& n = Of(m_native);
    const std::uint32_t me = kernel::CurrentThreadId();
    if (n.owner.load(std::memory_order_relaxed) == me) {
        ++n.count;
        return true;
    }
    int c = 0;
    if (!n.state.compare_exchange_strong(c, 1, std::memory_order_acquire)) return false;
    n.owner.store(me, std::memory_order_relaxed);
    n.count = 1;
    return true;
}

void FastMutex::Leave()
{
    Native& n = Of(m_native);
    if (--n.count != 0) return;
    n.owner.store(0, std::memory_order_relaxed);
    if (n.state.exchange(0, std::memory_order_release) == 2) kernel::FutexWake(n.state);
}

} // namespace dovo
