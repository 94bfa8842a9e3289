#include <dovo/Mutex.h>
#include <dovo/RWLock.h>
#include <dovo/Semaphore.h>
#include <dovo/SyncException.h>
#include <dovo/Trigger.h>
#include <dovo/_AutoHandle.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

constexpr float kGenerous = 10.0f; // seconds: only a hung test ever waits this long

// Runs f on another thread and returns its result.
template <typename F>
auto OnOtherThread(F f)
{
    return std::async(std::launch::async, f).get();
}

// A thread that runs f and reports, through a trigger, when f returned.
class Background
{
public:
    template <typename F>
    explicit Background(F f) : m_thread([this, f] { f(), m_done.Signal(); })
    {
    }
    ~Background() { m_thread.join(); }
    bool Done(float seconds = 0) { return m_done.Wait(seconds); }

private:
    Trigger m_done; // manual reset: stays signalled
    std::thread m_thread;
};

} // namespace

TEST(Mutex, EveryEnterNeedsItsLeave)
{
    Mutex m;
    for (int i = 0; i < 3; ++i) m.Enter();
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(OnOtherThread([&] { return m.TryEnter(); })) << "after " << i << " leaves";
        m.Leave();
    }
    EXPECT_TRUE(OnOtherThread([&] {
        const bool taken = m.TryEnter();
        if (taken) m.Leave();
        return taken;
    }));
}

TEST(RWLock, ReadersAreNotHeldBackByAWaitingWriter)
{
    RWLock lock;
    lock.GetReadLock();
    std::atomic<bool> writing{false};
    Background writer([&] {
        lock.GetWriteLock();
        writing = true;
        lock.Unlock();
    });
    EXPECT_FALSE(writer.Done(0.05f));
    // More readers come in at once while the writer waits.
    EXPECT_TRUE(OnOtherThread([&] { return lock.TryReadLock(); }));
    lock.GetReadLock();
    EXPECT_FALSE(writing);
    EXPECT_FALSE(OnOtherThread([&] { return lock.TryWriteLock(); }));
    for (int i = 0; i < 3; ++i) lock.Unlock();
    EXPECT_TRUE(writer.Done(kGenerous));
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
    Background reader([&] {
        lock.GetReadLock();
        reading = true;
        lock.Unlock();
    });
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(OnOtherThread([&] { return lock.TryReadLock(); })) << "after " << i << " unlocks";
        EXPECT_FALSE(reading);
        lock.Unlock();
    }
    EXPECT_TRUE(reader.Done(kGenerous));
    EXPECT_TRUE(reading);
    EXPECT_TRUE(lock.TryWriteLock());
    lock.Unlock();
}

TEST(RWLock, AnUnpairedUnlockLetsTheNextWriterThrough)
{
    RWLock lock;
    lock.Unlock(); // on a free lock: the count goes below 0, but no writer holds it
    Background writer([&] {
        lock.GetWriteLock();
        lock.Unlock();
    });
    if (!writer.Done(kGenerous)) {
        ADD_FAILURE() << "the writer is still waiting";
        lock.Unlock(); // the count back at 0 lets it finish
        return;
    }
    EXPECT_TRUE(lock.TryWriteLock());
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
                if ((i + t) % 4 == 0) {
                    lock.GetWriteLock();
                    ++a, ++b;
                    lock.Unlock();
                } else {
                    lock.GetReadLock();
                    if (a != b) ++mismatches;
                    lock.Unlock();
                }
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(a, 2000);
}

TEST(Trigger, AutoResetWakesExactlyOneWaiterPerSignal)
{
    Trigger trigger(true, false);
    std::atomic<int> woken{0};
    Semaphore done(0, 3);
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            if (trigger.Wait(kGenerous)) ++woken;
            done.Post(1);
        });
    for (int expected = 1; expected <= 3; ++expected) {
        trigger.Signal();
        ASSERT_TRUE(done.Wait(kGenerous));
        EXPECT_EQ(woken, expected);
        EXPECT_FALSE(done.Wait(0.05f)) << "a second waiter woke on the same signal";
        EXPECT_FALSE(trigger.Wait(0)); // the wake used the signal up
    }
    for (auto& t : waiters) t.join();
}

TEST(Trigger, ManualResetAndCopiesShareTheEvent)
{
    Trigger trigger;
    EXPECT_FALSE(trigger.Wait(0));
    EXPECT_FALSE(trigger.Wait(0.0009f)); // under a millisecond: a poll
    Trigger copy(trigger);
    Background waiter([&] { EXPECT_TRUE(copy.Wait(-1.0f)); });
    EXPECT_FALSE(waiter.Done(0.05f));
    trigger.Signal();
    EXPECT_TRUE(waiter.Done(kGenerous));
    EXPECT_TRUE(trigger.Wait(0));
    EXPECT_TRUE(copy.Wait(0)); // stays signalled
    copy.Reset();
    EXPECT_FALSE(trigger.Wait(0));

    Trigger assigned(true, true);
    assigned = trigger; // now the same event as the others
    trigger.Signal();
    EXPECT_TRUE(assigned.Wait(0));
}

TEST(Semaphore, CountsUpToItsMaximum)
{
    Semaphore s(0, 5);
    EXPECT_EQ(s.Post(2), 0);
    EXPECT_EQ(s.Post(1), 2);
    try {
        s.Post(3);
        FAIL() << "posted beyond the maximum";
    } catch (SyncException* e) {
        std::unique_ptr<SyncException> owned(e);
        EXPECT_EQ(e->Module(), "Semaphore");
        EXPECT_EQ(e->Method(), "Post");
        EXPECT_EQ(e->Error(), 0x2000000E);
        EXPECT_EQ(e->Message(), "ReleaseSemaphore failed");
        EXPECT_NE(e->OSError(), 0);
    }
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(s.Wait(0)) << i;
    EXPECT_FALSE(s.Wait(0));
    Semaphore copy(s);
    Background waiter([&] { EXPECT_TRUE(copy.Wait(kGenerous)); });
    s.Post(1);
    EXPECT_TRUE(waiter.Done(kGenerous));
}

TEST(AutoHandle, InvalidHandlesCopyAsNone)
{
    _AutoHandle none;
    _AutoHandle allOnes(reinterpret_cast<_AutoHandle::HANDLE>(~std::uintptr_t{0}));
    EXPECT_FALSE(none.IsValid());
    EXPECT_FALSE(allOnes);
    _AutoHandle copy(allOnes);
    EXPECT_TRUE(copy == nullptr);
    copy = none;
    EXPECT_FALSE(copy);
}
