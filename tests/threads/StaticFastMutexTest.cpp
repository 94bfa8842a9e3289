#include <dovo/Exception.h>
#include <dovo/FastMutex.h>
#include <dovo/StaticFastMutex.h>
#include <dovo/_AutoInitialized.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <thread>

using namespace dovo;

namespace {
// True when another thread can take the lock right now.
template <typename Lock>
bool FreeForOthers(Lock& lock)
{
    bool taken = false;
    std::thread other([&] {
        taken = lock.TryEnter();
        if (taken) lock.Leave();
    });
    other.join();
    return taken;
}
} // namespace

TEST(StaticFastMutex, UsableInZeroedStorageBeforeItsConstructor)
{
    alignas(StaticFastMutex) unsigned char storage[sizeof(StaticFastMutex)];
    std::memset(storage, 0, sizeof storage);
    auto* lock = reinterpret_cast<StaticFastMutex*>(storage);

    lock->Enter();
    lock->Enter(); // recursive, as a critical section
    EXPECT_FALSE(FreeForOthers(*lock));
    lock->Leave();
    EXPECT_FALSE(FreeForOthers(*lock));
    lock->Leave();
    EXPECT_TRUE(FreeForOthers(*lock));
    FastMutex& asFast = *lock;
    EXPECT_TRUE(asFast.TryEnter());
    asFast.Leave();

    // The constructor running late sets it up again; it stays usable.
    new (storage) StaticFastMutex();
    EXPECT_TRUE(lock->TryEnter());
    EXPECT_FALSE(FreeForOthers(*lock));
    lock->Leave();
    lock->~StaticFastMutex();
}

TEST(StaticFastMutex, ExcludesOtherThreads)
{
    static StaticFastMutex lock;
    lock.Enter(); // the first use, on one thread
    lock.Leave();
    long long counter = 0;
    std::thread threads[2];
    for (auto& t : threads)
        t = std::thread([&] {
            for (int i = 0; i < 100000; ++i) {
                lock.Enter();
                ++counter;
                lock.Leave();
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(counter, 200000);
}

TEST(AutoInitialized, ExactlyOneInitialiserAndAGiveUpForLateComers)
{
    _AutoInitialized once;
    EXPECT_TRUE(once.NeedInitialization());
    // A second caller while the first has not finished waits, then gives up.
    try {
        once.NeedInitialization();
        FAIL() << "a second initialiser was let through";
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        EXPECT_EQ(e->Module(), "_AutoInitialized");
        EXPECT_EQ(e->Method(), "NeedInitialization");
        EXPECT_EQ(e->Error(), 0x20000006);
        EXPECT_EQ(e->Message(), "Failed to initialize static object. Are you sure it's a static object?");
        EXPECT_EQ(e->OSError(), 0);
        EXPECT_EQ(e->Level(), 1);
    }
    once.DoneInitialization();
}

TEST(FastMutex, RecursiveAndExclusive)
{
    FastMutex a;
    EXPECT_TRUE(a.TryEnter());
    a.Enter();
    EXPECT_FALSE(FreeForOthers(a));
    a.Leave();
    EXPECT_FALSE(FreeForOthers(a));
    a.Leave();
    EXPECT_TRUE(FreeForOthers(a));
}
