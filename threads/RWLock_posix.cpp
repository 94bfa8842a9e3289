// RWLock on POSIX: the state of the Windows build's guard mutex and two events in one atomic word, so
// that a hold that need not wait costs one compare-and-swap. The word carries the hold count, the
// writer's thread id, and the two events as "held" bits: "readers in" (the no-reader event is reset)
// and "writer in" (the no-writer event is reset). Each operation makes the move the Windows build makes
// under its guard; a thread that would wait there for the events waits here until the bits it waits
// for are clear, then makes its move. So the results are the same in every case, unpaired releases
// included: an Unlock on a free lock leaves the count at -1 with both events signalled, and a writer's
// wait for them gets through. A waiter spins briefly, then sleeps on a futex; a release makes a system
// call only when it sets an event while the word says that someone sleeps. Copies share the whole lock (the word sits
// in an object behind the guard handle), so the object's own count and writer fields are not used here.

#include <dovo/RWLock.h>
#include <dovo/SyncException.h>

#include "threads/Kernel_posix.h"

#include <atomic>
#include <cstdint>

namespace dovo {

namespace {

using Word = std::uint64_t;
// Linux thread ids stay below 2^22, well inside the writer's field.
constexpr Word kWriterMask = (Word{1} << 29) - 1;
constexpr Word kSleepers = Word{1} << 61;  // someone sleeps until an event is set
constexpr Word kReadersIn = Word{1} << 62; // the no-reader event is reset
constexpr Word kWriterIn = Word{1} << 63;  // the no-writer event is reset

int CountOf(Word w) { return static_cast<int>(static_cast<std::uint32_t>(w)); }
std::uint32_t WriterOf(Word w) { return static_cast<std::uint32_t>((w >> 32) & kWriterMask); }
Word WithCount(Word w, int count) { return (w & ~Word{0xFFFFFFFFu}) | static_cast<std::uint32_t>(count); }
// A write hold of depth 1 by `me`; the other bits stay.
Word Written(Word w, std::uint32_t me)
{
    return (WithCount(w, -1) & ~(kWriterMask << 32)) | (static_cast<Word>(me & kWriterMask) << 32) | kWriterIn;
}

// What a move on the word makes of it.
enum class Move { Take, Wait, Refuse, Fail };

// The moves, for the calling thread `me`. First* decide on arrival; Waited* after a wait for the events.
Move FirstRead(Word w, std::uint32_t me, Word& to)
{
    const int c = CountOf(w);
    if (c < 0) return WriterOf(w) == me ? (to = WithCount(w, c - 1), Move::Take) : Move::Wait;
    if (c == 0 && (w & kWriterIn)) return Move::Fail;
    return to = WithCount(w, c + 1) | kReadersIn, Move::Take;
}

Move WaitedRead(Word w, std::uint32_t, Word& to)
{
    if (w & kWriterIn) return Move::Wait;
    return to = WithCount(w, CountOf(w) + 1) | kReadersIn, Move::Take;
}

Move TryRead(Word w, std::uint32_t me, Word& to)
{
    const int c = CountOf(w);
    if (c < 0) return WriterOf(w) == me ? (to = WithCount(w, c - 1), Move::Take) : Move::Refuse;
    if (c == 0 && (w & kWriterIn)) return Move::Fail;
    return to = WithCount(w, c + 1) | kReadersIn, Move::Take;
}

Move FirstWrite(Word w, std::uint32_t me, Word& to)
{
    const int c = CountOf(w);
    if (c < 0 && WriterOf(w) == me) return to = WithCount(w, c - 1), Move::Take;
    if (c != 0) return Move::Wait;
    return to = Written(w, me), Move::Take;
}

Move WaitedWrite(Word w, std::uint32_t me, Word& to)
{
    if (w & (kReadersIn | kWriterIn)) return Move::Wait;
    return to = Written(w, me), Move::Take;
}

Move TryWrite(Word w, std::uint32_t me, Word& to)
{
    const int c = CountOf(w);
    if (c < 0) return WriterOf(w) == me ? (to = WithCount(w, c - 1), Move::Take) : Move::Refuse;
    if (c > 0) return Move::Refuse;
    return to = Written(w, me), Move::Take;
}

using Step = Move (*)(Word, std::uint32_t, Word&);

struct Core : kernel::Custom
{
    std::atomic<Word> word{0};
    // Sleepers wait on this futex word; a release that sets an event the sleepers wait for bumps it.
    std::atomic<std::uint32_t> wakes{0};

    // Makes the move `step` decides on; Wait, Refuse or Fail come back undone.
    Move Try(Step step, std::uint32_t me)
    {
        Word w = word.load(std::memory_order_relaxed);
        for (;;) {
            Word to = 0;
            const Move move = step(w, me, to);
            if (move != Move::Take) return move;
            if (word.compare_exchange_weak(w, to, std::memory_order_acquire, std::memory_order_relaxed))
                return Move::Take;
        }
    }

    // Waits until the waited move can be made, then makes it. Holds are short: a waiter first spins a
    // little (the holder usually lets go while it does), and only then marks the word and sleeps.
    void Wait(Step waited, std::uint32_t me)
    {
        for (int spin = 0; spin < kSpins; ++spin) {
            Pause();
            Word w = word.load(std::memory_order_relaxed);
            Word to = 0;
            if (waited(w, me, to) == Move::Take &&
                word.compare_exchange_weak(w, to, std::memory_order_acquire, std::memory_order_relaxed))
                return;
        }
        for (;;) {
            // Read before the word: a release after this changes it, and the futex wait returns.
            const std::uint32_t seen = wakes.load();
            Word w = word.load();
            Word to = 0;
            if (waited(w, me, to) == Move::Take) {
                if (word.compare_exchange_strong(w, to)) return;
                continue;
            }
            if (!(w & kSleepers) && !word.compare_exchange_strong(w, w | kSleepers)) continue;
            kernel::FutexWait(wakes, seen);
        }
    }

    void Wake()
    {
        wakes.fetch_add(1);
        kernel::FutexWakeAll(wakes);
    }

    static constexpr int kSpins = 100;
    static void Pause()
    {
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#endif
    }
};

Core& CoreOf(const _AutoHandle& handle) { return *static_cast<Core*>(kernel::GetCustom(handle)); }

} // namespace

RWLock::RWLock() : m_guard(kernel::CreateCustom(new Core)) {}

void RWLock::TakeGuard() {}
void RWLock::ReleaseGuard() {}

void RWLock::Fail(const char* method, const char* message)
{
    SyncException::Throw("RWLock", method, 0x2000000E, message, -1, String());
}

void RWLock::GetReadLock()
{
    Core& core = CoreOf(m_guard);
    const std::uint32_t me = kernel::CurrentThreadId();
    const Move move = core.Try(FirstRead, me);
    if (move == Move::Fail) Fail("GetReadLock", "Line 88: Could not lock write event");
    if (move == Move::Wait) core.Wait(WaitedRead, me);
}

void RWLock::GetWriteLock()
{
    Core& core = CoreOf(m_guard);
    const std::uint32_t me = kernel::CurrentThreadId();
    if (core.Try(FirstWrite, me) == Move::Wait) core.Wait(WaitedWrite, me);
}

bool RWLock::TryReadLock()
{
    const Move move = CoreOf(m_guard).Try(TryRead, kernel::CurrentThreadId());
    if (move == Move::Fail) Fail("TryReadLock", "Line 126: Could not lock write event");
    return move == Move::Take;
}

bool RWLock::TryWriteLock() { return CoreOf(m_guard).Try(TryWrite, kernel::CurrentThreadId()) == Move::Take; }

void RWLock::Unlock()
{
    Core& core = CoreOf(m_guard);
    Word w = core.word.load();
    Word to = 0;
    do {
        const int c = CountOf(w);
        // The outermost write hold ending sets the no-writer event, the last reader leaving the
        // no-reader event; on a free lock the count becomes -1 and nothing is set.
        to = WithCount(w, c < 0 ? c + 1 : c - 1);
        if (c == -1) to &= ~kWriterIn;
        if (c == 1) to &= ~kReadersIn;
        // Sleepers wait only for an event: wake them when one is set.
        if ((w & kSleepers) && ((w ^ to) & (kReadersIn | kWriterIn))) to &= ~kSleepers;
    } while (!core.word.compare_exchange_weak(w, to, std::memory_order_release, std::memory_order_relaxed));
    if ((w & kSleepers) && !(to & kSleepers)) core.Wake();
}

} // namespace dovo
