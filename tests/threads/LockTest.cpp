#include <dovo/RWLock.h>
#include <dovo/Semaphore.h>
#include <dovo/SyncException.h>
#include <dovo/Trigger.h>
#include <dovo/_AutoHandle.h>

#include "support/Checks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

constexpr float kGenerous = 10.0f; // seconds: only a hung test ever waits this long

template <typename F>
auto OnOtherThread(F f)
{
    return std::async(std::launch::async, f).get();
}

// Runs f on a thread of its own; the future's destructor waits for it.
template <typename F>
std::future<void> Background(F f)
{
    return std::async(std::launch::async, f);
}

bool Done(const std::future<void>& f, float seconds)
{
    return f.wait_for(std::chrono::duration<float>(seconds)) == std::future_status::ready;
}

} // namespace

TEST(RWLock, ReadersAreNotHeldBackByAWaitingWriter)
{
    RWLock lock;
    lock.GetReadLock();
    std::atomic<bool> writing{false};
    auto writer = Background([&] {
        lock.GetWriteLock();
        writing = true;
        lock.Unlock();
    });
    EXPECT_FALSE(Done(writer, 0.05f));
    EXPECT_TRUE(OnOtherThread([&] { return lock.TryReadLock(); })); // more readers come in at once
    lock.GetReadLock();
    EXPECT_FALSE(writing);
    EXPECT_FALSE(OnOtherThread([&] { return lock.TryWriteLock(); }));
    lock.Unlock(), lock.Unlock();
    EXPECT_FALSE(Done(writer, 0.05f)) << "in with a reader left";
    lock.Unlock();
    EXPECT_TRUE(Done(writer, kGenerous));
    EXPECT_TRUE(writing);
}

TEST(RWLock, AWriterHoldsReadersOffAndNestsItsOwnHolds)
{
    RWLock lock;
    lock.GetWriteLock();
    lock.GetReadLock(); // a read inside one's own write
    lock.GetWriteLock();
    EXPECT_TRUE(lock.TryReadLock());
    EXPECT_TRUE(lock.TryWriteLock());
    std::atomic<bool> reading{false};
    auto reader = Background([&] {
        lock.GetReadLock();
        reading = true;
        lock.Unlock();
    });
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(OnOtherThread([&] { return lock.TryReadLock() || lock.TryWriteLock(); })) << i << " unlocks";
        EXPECT_FALSE(reading);
        lock.Unlock();
    }
    EXPECT_TRUE(Done(reader, kGenerous));
    EXPECT_TRUE(reading);
    EXPECT_TRUE(lock.TryWriteLock());
    lock.Unlock();
}

TEST(RWLock, AnUnpairedUnlockLetsTheNextWriterThrough)
{
    auto lock = std::make_shared<RWLock>();
    lock->Unlock(); // on a free lock: the count goes below 0, but no writer holds it
    auto done = std::make_shared<Trigger>();
    // (Detached: a writer blocked for ever must not hang the test program.)
    std::thread([lock, done] { lock->GetWriteLock(), lock->Unlock(), done->Signal(); }).detach();
    ASSERT_TRUE(done->Wait(kGenerous)) << "the writer is still waiting";
    EXPECT_TRUE(lock->TryWriteLock());
}

TEST(RWLock, ManyThreadsKeepTheDataConsistent)
{
    RWLock lock;
    int a = 0, b = 0; // written together, always equal when read
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                const bool write = (i + t) % 4 == 0;
                write ? lock.GetWriteLock() : lock.GetReadLock();
                if (write) ++a, ++b;
                else if (a != b) ++mismatches;
                lock.Unlock();
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(a, 2000);
}

TEST(Semaphore, CountsUpToItsMaximum)
{
    Semaphore s(0, 5);
    EXPECT_EQ(s.Post(2), 0);
    EXPECT_EQ(s.Post(1), 2);
    std::unique_ptr<Exception> e; // the OS error is the platform's own
    const std::string thrown = Thrown([&] { s.Post(3); }, &e);
    EXPECT_EQ(thrown, SFormat("Semaphore|Post|0x2000000E|%d|1|ReleaseSemaphore failed", e ? e->OSError() : -1).str());
    EXPECT_TRUE(dynamic_cast<SyncException*>(e.get()) && e->OSError() != 0);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(s.Wait(0)) << i;
    EXPECT_FALSE(s.Wait(0));
    Semaphore copy(s);
    auto waiter = Background([&] { EXPECT_TRUE(copy.Wait(kGenerous)); });
    s.Post(1);
    EXPECT_TRUE(Done(waiter, kGenerous));
}

namespace {

// The waitable objects of the tests below behind one face; copies share the object.
struct Waitable
{
    enum Kind { AutoReset, ManualReset, SemaphoreOfOne, SemaphoreOfTwo };
    static constexpr const char* kNames[] = {"auto-reset trigger", "manual-reset trigger", "semaphore of one",
                                             "semaphore of two"};

    explicit Waitable(Kind kind)
    {
        if (kind <= ManualReset) trigger = std::make_shared<Trigger>(kind == AutoReset, false);
        else semaphore = std::make_shared<Semaphore>(0, kind == SemaphoreOfOne ? 1 : 2);
    }
    bool Wait(float seconds) const { return trigger ? trigger->Wait(seconds) : semaphore->Wait(seconds); }
    /// Signals or posts one; a semaphore's count before (-1 when the post failed), else 0.
    int Release() const
    {
        if (trigger) return trigger->Signal(), 0;
        try {
            return semaphore->Post(1);
        } catch (SyncException* e) {
            delete e;
            return -1;
        }
    }

    std::shared_ptr<Trigger> trigger;
    std::shared_ptr<Semaphore> semaphore;
};

} // namespace

TEST(Trigger, ReleasesInARowLetOneWaiterThroughEach)
{
    constexpr int kWaiters = 5, kInARow = 4;
    for (const auto kind : {Waitable::AutoReset, Waitable::SemaphoreOfOne}) {
        SCOPED_TRACE(Waitable::kNames[kind]);
        const Waitable object(kind);
        Semaphore done(0, kWaiters);
        std::vector<std::thread> waiters;
        for (int i = 0; i < kWaiters; ++i)
            waiters.emplace_back([&] {
                if (object.Wait(kGenerous)) done.Post(1);
            });
        EXPECT_FALSE(done.Wait(0.05f)) << "through without a release";         // (and the waiters settle)
        for (int i = 0; i < kInARow; ++i) EXPECT_EQ(object.Release(), 0) << i; // before the waiters run
        for (int i = 0; i < kInARow; ++i) EXPECT_TRUE(done.Wait(kGenerous)) << "release " << i << " was lost";
        EXPECT_FALSE(done.Wait(0.05f)) << "more through than releases";
        for (int i = kInARow; i < kWaiters; ++i) {
            EXPECT_EQ(object.Release(), 0);
            EXPECT_TRUE(done.Wait(kGenerous));
        }
        EXPECT_FALSE(object.Wait(0));
        for (auto& t : waiters) t.join();
    }
}

// Waiters on copies of one manual-reset event (copies share it, as duplicated handles do) are all let through by
// one signal, even when it is reset at once.
TEST(Trigger, ManualResetReleasesEveryWaiterOnCopiesEvenWhenResetAtOnce)
{
    Trigger trigger, copy(trigger), assigned(true, true);
    assigned = trigger;
    Semaphore done(0, 2);
    std::vector<std::thread> waiters;
    for (Trigger* t : {&copy, &assigned})
        waiters.emplace_back([&, t] {
            if (t->Wait(t == &copy ? -1.0f : 6 * kGenerous)) done.Post(1); // (longer than the waits for them)
        });
    EXPECT_FALSE(done.Wait(0.05f));
    trigger.Signal();
    trigger.Reset();
    EXPECT_TRUE(done.Wait(kGenerous) && done.Wait(kGenerous)) << "a waiter missed the signal";
    copy.Signal();
    EXPECT_TRUE(trigger.Wait(0) && assigned.Wait(0)); // stays signalled, for all
    assigned.Reset();
    EXPECT_FALSE(trigger.Wait(0) || copy.Wait(0));
    for (auto& t : waiters) t.join();
}

TEST(Trigger, SignalsWithoutAWaiterLeaveItSignalledOnce)
{
    struct Row
    {
        bool autoReset, initially;
        int signals, polls; // polls that succeed, of four
    } rows[] = {
        {true, false, 0, 0}, {true, false, 1, 1},  {true, false, 3, 1},  {true, true, 0, 1},
        {true, true, 2, 1},  {false, false, 0, 0}, {false, false, 3, 4}, {false, true, 0, 4},
    };
    for (const Row& row : rows) {
        Trigger trigger(row.autoReset, row.initially);
        for (int i = 0; i < row.signals; ++i) trigger.Signal();
        int polls = 0;
        for (int i = 0; i < 4; ++i) polls += trigger.Wait(0);
        EXPECT_EQ(polls, row.polls) << row.autoReset << row.initially << row.signals;
        trigger.Signal(), trigger.Reset();
        EXPECT_FALSE(trigger.Wait(0));
    }
}

TEST(Semaphore, TimedOutWaitsReturnFalseAndLeaveNoTrace)
{
    struct Row
    {
        Waitable::Kind kind;
        int polls; // after two releases, polls that succeed of four
    } rows[] = {{Waitable::AutoReset, 1}, {Waitable::ManualReset, 4}, {Waitable::SemaphoreOfTwo, 2}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Waitable::kNames[row.kind]);
        const Waitable object(row.kind);
        for (const float seconds : {0.0f, 0.0009f, 0.02f}) EXPECT_FALSE(object.Wait(seconds)) << seconds;
        EXPECT_FALSE(OnOtherThread([&] { return object.Wait(0.02f); }));
        // A waiter that timed out still counted would take a release or widen the maximum.
        EXPECT_EQ(object.Release(), 0);
        EXPECT_EQ(object.Release(), row.kind == Waitable::SemaphoreOfTwo ? 1 : 0);
        int polls = 0;
        for (int i = 0; i < 4; ++i) polls += object.Wait(0);
        EXPECT_EQ(polls, row.polls);
    }
}

TEST(Semaphore, EveryPostIsTakenExactlyOnce)
{
    constexpr int kProducers = 3, kPerProducer = 3000, kTotal = kProducers * kPerProducer;
    Semaphore s(0, kTotal);
    std::atomic<int> taken{0};
    std::vector<std::thread> threads;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60); // only if posts are lost
    // Consumers that poll, that time out often and that mostly sleep (each ends soon after the last count).
    for (const float seconds : {0.0f, 0.001f, 0.05f, 0.05f})
        threads.emplace_back([&, seconds] {
            while (taken.load() < kTotal && std::chrono::steady_clock::now() < deadline)
                if (s.Wait(seconds)) ++taken;
        });
    for (int p = 0; p < kProducers; ++p)
        threads.emplace_back([&] {
            for (int i = 0; i < kPerProducer / 3; ++i) s.Post(1), s.Post(2);
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(taken, kTotal);
    EXPECT_FALSE(s.Wait(0)) << "a count was posted twice";
    EXPECT_EQ(s.Post(1), 0);
}

TEST(AutoHandle, InvalidHandlesCopyAsNone)
{
    _AutoHandle none, allOnes(reinterpret_cast<_AutoHandle::HANDLE>(~std::uintptr_t{0}));
    EXPECT_FALSE(none.IsValid() || allOnes);
    _AutoHandle copy(allOnes);
    EXPECT_TRUE(copy == nullptr);
    copy = none;
    EXPECT_FALSE(copy);
}
