#include <dovo/Exception.h>
#include <dovo/FastMutex.h>
#include <dovo/Mutex.h>
#include <dovo/StaticFastMutex.h>
#include <dovo/_AutoInitialized.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <new>
#include <thread>
#include <tuple>

using namespace dovo;

namespace {
// Takes the lock twice (each kind is recursive): others get it only after the second Leave.
// Then two threads count under it and lose nothing.
template <typename Lock>
void CheckHoldsAndExclusion(Lock& lock)
{
    const auto freeForOthers = [&] {
        bool taken = false;
        std::thread([&] { taken = lock.TryEnter() ? (lock.Leave(), true) : false; }).join();
        return taken;
    };
    EXPECT_TRUE(lock.TryEnter());
    lock.Enter();
    for (int leaves = 0; leaves < 2; ++leaves, lock.Leave()) EXPECT_FALSE(freeForOthers()) << leaves << " leaves";
    EXPECT_TRUE(freeForOthers());
    long long counter = 0;
    std::thread threads[2];
    for (auto& t : threads)
        t = std::thread([&] {
            for (int i = 0; i < 50000; ++i) lock.Enter(), ++counter, lock.Leave();
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(counter, 100000);
}
} // namespace

TEST(Locks, EveryEnterNeedsItsLeaveAndOthersWait)
{
    Mutex mutex;
    CheckHoldsAndExclusion(mutex);
    FastMutex fast;
    CheckHoldsAndExclusion(fast);
    // A StaticFastMutex in zeroed storage works before its constructor has run, and after.
    alignas(StaticFastMutex) unsigned char storage[sizeof(StaticFastMutex)];
    std::memset(storage, 0, sizeof storage);
    auto* lock = reinterpret_cast<StaticFastMutex*>(storage);
    CheckHoldsAndExclusion(*lock);
    FastMutex& asFast = *lock;
    EXPECT_TRUE(asFast.TryEnter());
    asFast.Leave();
    new (storage) StaticFastMutex(); // the constructor running late sets it up again
    CheckHoldsAndExclusion(*lock);
    lock->~StaticFastMutex();
}

TEST(AutoInitialized, ExactlyOneInitialiserAndAGiveUpForLateComers)
{
    _AutoInitialized once;
    EXPECT_TRUE(once.NeedInitialization());
    try {
        once.NeedInitialization(); // while the first has not finished: waits, then gives up
        FAIL() << "a second initialiser was let through";
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        EXPECT_EQ(e->Module() + "/" + e->Method(), "_AutoInitialized/NeedInitialization");
        EXPECT_EQ(e->Message(), "Failed to initialize static object. Are you sure it's a static object?");
        EXPECT_EQ(std::make_tuple(e->Error(), e->OSError(), int(e->Level())), std::make_tuple(0x20000006, 0, 1));
    }
    once.DoneInitialization();
}
