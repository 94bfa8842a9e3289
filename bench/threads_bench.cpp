// Locks, triggers and signals against the standard library and Boost.Signals2.
//
// Locks: one thread taking and releasing a lock ("uncontended"), then two threads taking and
// releasing the same lock in a loop ("contended", Google Benchmark's Threads(2)). Triggers: two
// threads ping-ponging through two auto-reset triggers, one iteration being one round trip, against
// the same ping-pong made of a std::mutex, a std::condition_variable and a flag pair. Signals: one
// emit into three connected slots, each adding the value to a counter of its own. Semaphores: one
// thread posting one count and taking it back ("uncontended"), and two threads ping-ponging through
// two semaphores, against a counting semaphore made of a std::mutex and a std::condition_variable
// and against std::counting_semaphore.
//
// Where threads wait for each other (contended locks, round trips) the CPU time misses the time a
// thread sleeps, so those benchmarks are timed by the clock on the wall (UseRealTime) and the ratio
// table compares that time. With Threads(2) an iteration is one hold by either thread: the time is
// the wall time of the run divided by the holds of both.

#include "Ratio.h"

#include <dovo/FastMutex.h>
#include <dovo/HasSlots.h>
#include <dovo/Mutex.h>
#include <dovo/RWLock.h>
#include <dovo/Semaphore.h>
#include <dovo/Signal.h>
#include <dovo/ThreadPolicy.h>
#include <dovo/Trigger.h>

#include <boost/signals2/dummy_mutex.hpp>
#include <boost/signals2/signal.hpp>
#include <boost/signals2/signal_type.hpp>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <semaphore>
#include <shared_mutex>
#include <string>
#include <thread>
#include <type_traits>

namespace {

// ---- Locks: each kind of hold says how it takes and releases its lock.

struct FastMutexHold
{
    using Lock = dovo::FastMutex;
    static void Take(Lock& lock) { lock.Enter(); }
    static void Release(Lock& lock) { lock.Leave(); }
};

struct MutexHold
{
    using Lock = dovo::Mutex;
    static void Take(Lock& lock) { lock.Enter(); }
    static void Release(Lock& lock) { lock.Leave(); }
};

struct RWLockReadHold
{
    using Lock = dovo::RWLock;
    static void Take(Lock& lock) { lock.GetReadLock(); }
    static void Release(Lock& lock) { lock.Unlock(); }
};

struct RWLockWriteHold
{
    using Lock = dovo::RWLock;
    static void Take(Lock& lock) { lock.GetWriteLock(); }
    static void Release(Lock& lock) { lock.Unlock(); }
};

template <typename L>
struct StdHold
{
    using Lock = L;
    static void Take(Lock& lock) { lock.lock(); }
    static void Release(Lock& lock) { lock.unlock(); }
};

struct SharedMutexReadHold
{
    using Lock = std::shared_mutex;
    static void Take(Lock& lock) { lock.lock_shared(); }
    static void Release(Lock& lock) { lock.unlock_shared(); }
};

// One lock of each type for the whole program, so that the threads of a contended run share it.
template <typename Lock>
Lock& SharedLock()
{
    static Lock lock;
    return lock;
}

template <typename Hold>
void HoldAndRelease(benchmark::State& state)
{
    typename Hold::Lock& lock = SharedLock<typename Hold::Lock>();
    for (auto _ : state) {
        Hold::Take(lock);
        Hold::Release(lock);
    }
}

// The aims: uncontended holds within 1.5 times the std type's. Contended holds depend on how the
// system schedules the two threads more than on the lock, so they have no strict aim: the generous
// 2.0 only marks a large gap.
constexpr double kUncontendedAim = 1.5;
constexpr double kContendedAim = 2.0;

template <typename DovoHold, typename StdPeerHold>
void RegisterLock(const std::string& group)
{
    benchmark::RegisterBenchmark((group + "/uncontended/dovo").c_str(), HoldAndRelease<DovoHold>);
    benchmark::RegisterBenchmark((group + "/uncontended/std").c_str(), HoldAndRelease<StdPeerHold>);
    benchmark::RegisterBenchmark((group + "/contended/dovo").c_str(), HoldAndRelease<DovoHold>)
        ->Threads(2)
        ->UseRealTime();
    benchmark::RegisterBenchmark((group + "/contended/std").c_str(), HoldAndRelease<StdPeerHold>)
        ->Threads(2)
        ->UseRealTime();
    dovo::bench::SetAim(group + "/uncontended", kUncontendedAim);
    dovo::bench::SetAim(group + "/contended", kContendedAim);
}

// ---- Round trips: the main thread signals "ping" and waits for "pong"; the partner thread waits
// for "ping" and signals "pong". The partner is started before the timed loop and stopped after it.

void TriggerRoundTrip(benchmark::State& state)
{
    dovo::Trigger ping(true), pong(true);
    std::atomic<bool> stop{false};
    std::thread partner([&] {
        for (;;) {
            ping.Wait(-1);
            if (stop.load(std::memory_order_acquire)) return;
            pong.Signal();
        }
    });
    for (auto _ : state) {
        ping.Signal();
        pong.Wait(-1);
    }
    stop.store(true, std::memory_order_release);
    ping.Signal();
    partner.join();
}

// The same pair of auto-reset events from the standard library: a flag each, under one mutex, and
// one condition variable (only the other thread can be waiting when one notifies).
class CvPingPong
{
public:
    void Signal(bool& flag)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            flag = true;
        }
        m_changed.notify_one();
    }
    void Wait(bool& flag)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return flag; });
        flag = false;
    }

    bool ping = false;
    bool pong = false;

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

void ConditionRoundTrip(benchmark::State& state)
{
    CvPingPong events;
    std::atomic<bool> stop{false};
    std::thread partner([&] {
        for (;;) {
            events.Wait(events.ping);
            if (stop.load(std::memory_order_acquire)) return;
            events.Signal(events.pong);
        }
    });
    for (auto _ : state) {
        events.Signal(events.ping);
        events.Wait(events.pong);
    }
    stop.store(true, std::memory_order_release);
    events.Signal(events.ping);
    partner.join();
}

// ---- Semaphores: each kind says how it is made, posted and waited on.

struct DovoSemaphore
{
    dovo::Semaphore semaphore{0, 1 << 30};
    void Post() { semaphore.Post(1); }
    void Wait() { semaphore.Wait(-1); }
};

// The plain counting semaphore of the standard library's pieces: a count under a mutex, and a
// condition variable notified when a count is added while someone waits.
class CvSemaphore
{
public:
    void Post()
    {
        bool wake;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_count;
            wake = m_waiting > 0;
        }
        if (wake) m_changed.notify_one();
    }
    void Wait()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_waiting;
        m_changed.wait(lock, [&] { return m_count > 0; });
        --m_waiting, --m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0, m_waiting = 0;
};

struct StdSemaphore
{
    std::counting_semaphore<> semaphore{0};
    void Post() { semaphore.release(); }
    void Wait() { semaphore.acquire(); }
};

template <typename Kind>
void SemaphorePostWait(benchmark::State& state)
{
    Kind s;
    for (auto _ : state) {
        s.Post();
        s.Wait();
    }
}

// The round trip of the triggers above, through two semaphores.
template <typename Kind>
void SemaphoreRoundTrip(benchmark::State& state)
{
    Kind ping, pong;
    std::atomic<bool> stop{false};
    std::thread partner([&] {
        for (;;) {
            ping.Wait();
            if (stop.load(std::memory_order_acquire)) return;
            pong.Post();
        }
    });
    for (auto _ : state) {
        ping.Post();
        pong.Wait();
    }
    stop.store(true, std::memory_order_release);
    ping.Post();
    partner.join();
}

// ---- Signal emit: three slots, each adding the value emitted to its own total. Every total must
// come out as the sum of the values emitted, or the run is reported as failed.

constexpr int kSlots = 3;

template <typename Policy>
class DovoCounter : public dovo::HasSlots<Policy>
{
public:
    ~DovoCounter() override { this->DisconnectAll(); }
    void Add(int value) { total += value; }
    long long total = 0;
};

struct PlainCounter
{
    void Add(int value) { total += value; }
    long long total = 0;
};

template <typename Counter>
void CheckTotals(benchmark::State& state, const Counter (&counters)[kSlots], long long expected)
{
    for (const Counter& c : counters) {
        if (c.total != expected) {
            const std::string message =
                "a slot counted " + std::to_string(c.total) + " where " + std::to_string(expected) + " was emitted";
            return state.SkipWithError(message.c_str());
        }
    }
}

template <typename Policy>
void DovoEmit(benchmark::State& state)
{
    dovo::Signal1<int, Policy> signal;
    DovoCounter<Policy> counters[kSlots];
    for (auto& c : counters) signal.Connect(&c, &DovoCounter<Policy>::Add);
    long long expected = 0;
    int value = 0;
    for (auto _ : state) {
        signal.Emit(value);
        expected += value;
        value = (value + 1) & 1023;
    }
    CheckTotals(state, counters, expected);
}

template <typename BoostSignal>
void BoostEmit(benchmark::State& state)
{
    BoostSignal signal;
    PlainCounter counters[kSlots];
    for (auto& c : counters) signal.connect([&c](int value) { c.Add(value); });
    long long expected = 0;
    int value = 0;
    for (auto _ : state) {
        signal(value);
        expected += value;
        value = (value + 1) & 1023;
    }
    CheckTotals(state, counters, expected);
}

// The default policy of Signal1 is the one measured in "SignalEmit".
static_assert(std::is_same_v<dovo::Signal1<int>, dovo::Signal1<int, dovo::ThreadPolicy::LocalThreaded>>);

using BoostSignal = boost::signals2::signal<void(int)>;
// Boost's signal with a mutex that does nothing: the peer of Dovo's single-threaded signal.
using BoostSignalNoLock =
    boost::signals2::signal_type<void(int), boost::signals2::keywords::mutex_type<boost::signals2::dummy_mutex>>::type;

[[maybe_unused]] const bool registered = [] {
    RegisterLock<FastMutexHold, StdHold<std::mutex>>("FastMutex");
    RegisterLock<MutexHold, StdHold<std::recursive_mutex>>("Mutex");
    RegisterLock<RWLockReadHold, SharedMutexReadHold>("RWLock/read");
    RegisterLock<RWLockWriteHold, StdHold<std::shared_mutex>>("RWLock/write");

    benchmark::RegisterBenchmark("Trigger/roundtrip/dovo", TriggerRoundTrip)->UseRealTime();
    benchmark::RegisterBenchmark("Trigger/roundtrip/condvar", ConditionRoundTrip)->UseRealTime();
    // A round trip is two wake-ups of a sleeping thread: the scheduler's time more than the
    // trigger's, so no strict aim either.
    dovo::bench::SetAim("Trigger/roundtrip", kContendedAim);

    benchmark::RegisterBenchmark("Semaphore/uncontended/dovo", SemaphorePostWait<DovoSemaphore>);
    benchmark::RegisterBenchmark("Semaphore/uncontended/condvar", SemaphorePostWait<CvSemaphore>);
    benchmark::RegisterBenchmark("Semaphore/uncontended/std", SemaphorePostWait<StdSemaphore>);
    benchmark::RegisterBenchmark("Semaphore/roundtrip/dovo", SemaphoreRoundTrip<DovoSemaphore>)->UseRealTime();
    benchmark::RegisterBenchmark("Semaphore/roundtrip/condvar", SemaphoreRoundTrip<CvSemaphore>)->UseRealTime();
    benchmark::RegisterBenchmark("Semaphore/roundtrip/std", SemaphoreRoundTrip<StdSemaphore>)->UseRealTime();
    dovo::bench::SetAim("Semaphore/uncontended", kUncontendedAim);
    dovo::bench::SetAim("Semaphore/roundtrip", kContendedAim);

    // The table has one Dovo row per group: the single-threaded signal has a group of its own.
    benchmark::RegisterBenchmark("SignalEmit/dovo", DovoEmit<dovo::ThreadPolicy::LocalThreaded>);
    benchmark::RegisterBenchmark("SignalEmit/boost", BoostEmit<BoostSignal>);
    benchmark::RegisterBenchmark("SignalEmitSingle/dovo", DovoEmit<dovo::ThreadPolicy::SingleThreaded>);
    benchmark::RegisterBenchmark("SignalEmitSingle/boost_nolock", BoostEmit<BoostSignalNoLock>);
    dovo::bench::SetAim("SignalEmit", 1.0);
    dovo::bench::SetAim("SignalEmitSingle", 1.0);
    return true;
}();

} // namespace
