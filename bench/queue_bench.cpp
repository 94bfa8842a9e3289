// Hand-over of work between threads.
//
// Queue: one million 24-byte items through a thread-safe queue, by one producer to one consumer and by
// two producers to two consumers. Dovo's Queue against POCO's NotificationQueue (each item a
// Notification object, as its users queue them) and a plain std::deque under a std::mutex with a
// std::condition_variable. After the producers end, one closing item per consumer tells it to stop.
//
// Thread pool: one million tasks handed to the pool by one thread, timed until the last has run:
// tasks that only count themselves, then tasks of about a microsecond of work each. Dovo's ThreadPool
// against boost::asio::thread_pool with as many threads as Dovo has workers.
//
// Threads wait for each other, so every benchmark is timed by the clock on the wall (UseRealTime); one
// iteration is the whole million.

#include "Ratio.h"

#include <dovo/Platform.h>
#include <dovo/Queue.h>
#include <dovo/ThreadPool.h>
#include <dovo/Trigger.h>

#include <Poco/AutoPtr.h>
#include <Poco/Notification.h>
#include <Poco/NotificationQueue.h>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/function.hpp>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::int64_t kItems = 1000000;

struct Item
{
    std::int64_t value; // -1 closes a consumer
    std::int64_t a, b;
};
static_assert(sizeof(Item) == 24);

// ---- Queues: each says how an item goes in and how one comes out (waiting for it).

class DovoQueue
{
public:
    void Put(const Item& item) { m_queue.Add(&item); }
    Item Take()
    {
        Item item;
        m_queue.Get(&item, -1.0f);
        return item;
    }

private:
    dovo::Queue m_queue{"Bench", 1024, 0, true, sizeof(Item)};
};

class PocoQueue
{
public:
    void Put(const Item& item) { m_queue.enqueueNotification(new ItemNotification(item)); }
    Item Take()
    {
        Poco::AutoPtr<Poco::Notification> taken(m_queue.waitDequeueNotification());
        return static_cast<ItemNotification*>(taken.get())->item;
    }

private:
    struct ItemNotification : Poco::Notification
    {
        explicit ItemNotification(const Item& i) : item(i) {}
        Item item;
    };
    Poco::NotificationQueue m_queue;
};

class PlainQueue
{
public:
    void Put(const Item& item)
    {
        {
            std::lock_guard<std::mutex> hold(m_lock);
            m_items.push_back(item);
        }
        m_ready.notify_one();
    }
    Item Take()
    {
        std::unique_lock<std::mutex> hold(m_lock);
        m_ready.wait(hold, [this] { return !m_items.empty(); });
        const Item item = m_items.front();
        m_items.pop_front();
        return item;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_ready;
    std::deque<Item> m_items;
};

template <typename Q>
void Transfer(benchmark::State& state, int producers, int consumers)
{
    Q queue;
    for (auto _ : state) {
        std::atomic<std::int64_t> sum{0};
        std::vector<std::thread> threads;
        for (int c = 0; c < consumers; ++c)
            threads.emplace_back([&] {
                std::int64_t mine = 0;
                for (Item item; (item = queue.Take()).value >= 0;) mine += item.value;
                sum += mine;
            });
        std::vector<std::thread> feeders;
        for (int p = 0; p < producers; ++p)
            feeders.emplace_back([&, p] {
                for (std::int64_t i = p; i < kItems; i += producers) queue.Put(Item{i, i, i});
            });
        for (auto& t : feeders) t.join();
        for (int c = 0; c < consumers; ++c) queue.Put(Item{-1, 0, 0});
        for (auto& t : threads) t.join();
        if (sum != kItems * (kItems - 1) / 2) state.SkipWithError("items lost or doubled");
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}

// ---- Thread pools.

unsigned PoolThreads() { return static_cast<unsigned>(std::max(dovo::Platform::ProcessorThreads() - 1, 1)); }

// About a microsecond of arithmetic (work = 0: none).
inline void Work(int work)
{
    std::uint64_t x = 88172645463325252ull;
    for (int i = 0; i < work; ++i) x ^= x << 13, x ^= x >> 7, x ^= x << 17;
    benchmark::DoNotOptimize(x);
}

// Enough rounds of Work for about a microsecond on this machine.
int MicrosecondOfWork()
{
    static const int rounds = [] {
        int n = 1000;
        for (;;) {
            const auto start = std::chrono::steady_clock::now();
            for (int k = 0; k < 1000; ++k) Work(n);
            const double ns =
                std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
            if (ns > 5e6) return std::max(1, static_cast<int>(n * 1000.0 * 1000.0 / ns));
            n *= 2;
        }
    }();
    return rounds;
}

struct Countdown
{
    std::atomic<std::int64_t> left{kItems};
    dovo::Trigger done{false, false};
    void One()
    {
        if (left.fetch_sub(1, std::memory_order_acq_rel) == 1) done.Signal();
    }
};

void DovoPool(benchmark::State& state, bool busy)
{
    static const bool ready = (dovo::ThreadPool::Initialize(), true);
    (void)ready;
    const int work = busy ? MicrosecondOfWork() : 0;
    for (auto _ : state) {
        Countdown countdown;
        for (std::int64_t i = 0; i < kItems; ++i)
            dovo::ThreadPool::Enqueue([&countdown, work] {
                Work(work);
                countdown.One();
            });
        if (!countdown.done.Wait(600.0f)) state.SkipWithError("tasks did not all run");
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}

void AsioPool(benchmark::State& state, bool busy)
{
    boost::asio::thread_pool pool(PoolThreads());
    const int work = busy ? MicrosecondOfWork() : 0;
    for (auto _ : state) {
        Countdown countdown;
        for (std::int64_t i = 0; i < kItems; ++i)
            boost::asio::post(pool, [&countdown, work] {
                Work(work);
                countdown.One();
            });
        if (!countdown.done.Wait(600.0f)) state.SkipWithError("tasks did not all run");
    }
    pool.join();
    state.SetItemsProcessed(state.iterations() * kItems);
}

[[maybe_unused]] const bool registered = [] {
    for (const auto& [group, pairs] : {std::pair<std::string, int>{"Queue/1to1", 1}, {"Queue/2to2", 2}}) {
        benchmark::RegisterBenchmark((group + "/dovo").c_str(), Transfer<DovoQueue>, pairs, pairs)->UseRealTime();
        benchmark::RegisterBenchmark((group + "/poco").c_str(), Transfer<PocoQueue>, pairs, pairs)->UseRealTime();
        benchmark::RegisterBenchmark((group + "/plain").c_str(), Transfer<PlainQueue>, pairs, pairs)->UseRealTime();
        dovo::bench::SetAim(group, 1.0);
    }
    for (const auto& [group, busy] :
         {std::pair<std::string, bool>{"ThreadPool/empty", false}, {"ThreadPool/1us", true}}) {
        benchmark::RegisterBenchmark((group + "/dovo").c_str(), DovoPool, busy)->UseRealTime();
        benchmark::RegisterBenchmark((group + "/asio").c_str(), AsioPool, busy)->UseRealTime();
        dovo::bench::SetAim(group, 1.0);
    }
    return true;
}();

} // namespace
