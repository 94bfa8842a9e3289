#include <dovo/Queue.h>

#include "support/Checks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <string>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

constexpr float kGenerous = 10.0f; // seconds: only a hung test ever waits this long

std::string ReportOf(const Queue& q)
{
    return Captured([&](std::FILE* f) { q.Report(f); });
}

std::string Report(const char* name, unsigned itemSize, unsigned count, unsigned capacity, unsigned initial)
{
    return SFormat("\tQueue '%s' (item size = %u):\t%u Item%s.\tCurrent size = %u (initial = %u)\n", name, itemSize,
                   count, count == 1 ? "" : "s", capacity, initial)
        .str();
}

// Items that point at themselves, as some function objects do: each move must go through CopyItem.
struct Counted
{
    int value;
    const void* self;
};
class CountingQueue : public Queue
{
public:
    CountingQueue() : Queue("Counting", 4, 0, true, sizeof(Counted)) {}
    ~CountingQueue() override { Clear(false, false); }
    std::vector<int> cleared;
    int misplaced = 0;

protected:
    void CopyItem(const void* from, void* to) override
    {
        const auto* item = static_cast<const Counted*>(from);
        if (item->self != from && item->self != nullptr) ++misplaced;
        *static_cast<Counted*>(to) = Counted{item->value, to};
    }
    void ClearItem(void* item) override
    {
        cleared.push_back(static_cast<Counted*>(item)->value);
        Queue::ClearItem(item);
    }
};

} // namespace

TEST(QueueTest, GrowsByTheStepAndKeepsTheOrderAcrossTheWrap)
{
    struct Row
    {
        unsigned initial, growBy, capacityAfterFilling;
    } rows[] = {
        {4, 0, 12},      // a quarter of 4 is below 8: 8
        {40, 0, 50},     // a quarter
        {8192, 0, 9216}, // a quarter capped at 1,024
        {4, 3, 7},       // the given step
        {0, 0, 9},       // size 0 is 1
    };
    for (bool threadSafe : {true, false}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::to_string(row.initial) + "/" + std::to_string(row.growBy));
            Queue q("Growth", row.initial, row.growBy, threadSafe, 0);
            // Move the read index off 0 first, so that growth has to unwrap the ring.
            long long v = -1, out = 0; // items of the default size, 8 bytes
            q.Add(&v);
            ASSERT_TRUE(q.Get(&out));
            const unsigned initial = row.initial ? row.initial : 1;
            for (unsigned i = 0; i < initial; ++i) {
                long long item = i;
                EXPECT_EQ(q.Add(&item), i + 1);
            }
            EXPECT_EQ(ReportOf(q), Report("Growth", 8, initial, row.capacityAfterFilling, initial));
            for (unsigned i = 0; i < initial; ++i) {
                ASSERT_TRUE(q.Get(&out, 0));
                ASSERT_EQ(out, static_cast<long long>(i));
            }
            EXPECT_FALSE(q.Get(&out));
            EXPECT_EQ(q.Count(), 0u);
        }
        // Many growths while the ring wraps: two in, one out, until 100 are held.
        for (const Row& row : {Row{4, 0, 108}, Row{4, 3, 103}}) {
            Queue q("Growth", row.initial, row.growBy, threadSafe, 0);
            long long next = 0, expected = 0, out = 0;
            while (q.Count() < 100) {
                q.Add(&next), ++next;
                q.Add(&next), ++next;
                ASSERT_TRUE(q.Get(&out));
                ASSERT_EQ(out, expected++);
            }
            EXPECT_EQ(ReportOf(q), Report("Growth", 8, 100, row.capacityAfterFilling, row.initial));
            while (q.Get(&out)) ASSERT_EQ(out, expected++);
            EXPECT_EQ(expected, next);
        }
    }
}

TEST(QueueTest, AddHeadIsTakenNextAndGrowsAFullRing)
{
    Queue q("Head", 4, 0, true, sizeof(int));
    int out = 0;
    for (int v : {1, 2, 3}) q.Add(&v);
    int head = 0;
    EXPECT_EQ(q.AddHead(&head), 4u); // the ring is full now and grows
    int last = 4;
    q.Add(&last);
    for (int expected : {0, 1, 2, 3, 4}) {
        ASSERT_TRUE(q.Get(&out, kGenerous));
        EXPECT_EQ(out, expected);
    }
    int only = 7;
    q.AddHead(&only); // on an empty queue, from read index 0 back to the end of the ring
    ASSERT_TRUE(q.Get(&out));
    EXPECT_EQ(out, 7);
}

TEST(QueueTest, TimedOutGetShrinksAGrownQueueAndClearGoesThroughClearItem)
{
    Queue q("Shrink", 4, 0, true, 0);
    for (long long i = 0; i < 5; ++i) q.Add(&i);
    long long out = 0;
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(q.Get(&out, 0));
    EXPECT_EQ(ReportOf(q), Report("Shrink", 8, 0, 12, 4));
    EXPECT_FALSE(q.Get(&out, 0.01f));
    EXPECT_EQ(ReportOf(q), Report("Shrink", 8, 0, 4, 4));

    CountingQueue c;
    for (int i = 0; i < 6; ++i) {
        Counted item{i, nullptr};
        c.Add(&item); // the fifth grows the ring
    }
    Counted taken{};
    ASSERT_TRUE(c.Get(&taken));
    c.cleared.clear(); // the taken item's slot was cleared too
    c.Clear(false, false);
    EXPECT_EQ(c.cleared, (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_EQ(c.misplaced, 0);
    EXPECT_EQ(ReportOf(c), Report("Counting", sizeof(Counted), 0, 4, 4));
    // The cleared items' counts went with them: a timed Get waits for a new item rather than waking.
    EXPECT_FALSE(c.Get(&taken, 0.01f));
    Counted again{9, nullptr};
    c.Add(&again);
    ASSERT_TRUE(c.Get(&taken, kGenerous));
    EXPECT_EQ(taken.value, 9);

    // A copy has the settings and none of the items.
    Queue copy(q);
    q.Add(&out);
    EXPECT_EQ(ReportOf(copy), Report("Shrink", 8, 0, 4, 4));
    EXPECT_EQ(ReportOf(Queue("A name of more than sixteen", 2, 0, false, 3)), Report("A name of more t", 3, 0, 2, 2));
    int one = 1;
    Queue single("One", 2, 0, true, sizeof(int));
    single.Add(&one);
    EXPECT_EQ(ReportOf(single), Report("One", 4, 1, 2, 2));
}

TEST(QueueTest, UnblockReleasesWaitersAndStaysUnblockedUntilReset)
{
    Queue q("Unblock", 4, 0, true, sizeof(int));
    int out = 0;
    auto waiter = [&q] {
        int item = 0;
        return q.Get(&item, kGenerous);
    };
    for (bool reset : {false, true}) {
        SCOPED_TRACE(reset ? "reset" : "no reset");
        std::future<bool> a = std::async(std::launch::async, waiter), b = std::async(std::launch::async, waiter);
        // Unblocking only releases threads already waiting: repeat until both were.
        const auto limit = std::chrono::steady_clock::now() + std::chrono::duration<float>(kGenerous);
        while (b.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready ||
               a.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready) {
            ASSERT_LT(std::chrono::steady_clock::now(), limit) << "a waiter was not released";
            if (reset) q.Unblock(true);
            else {
                q.Reset();
                q.Unblock(false);
            }
        }
        EXPECT_FALSE(a.get());
        EXPECT_FALSE(b.get());
        int item = 5;
        q.Add(&item);
        if (!reset) {
            EXPECT_FALSE(q.Get(&out, kGenerous)); // at once, item or not
            q.Reset();
        }
        ASSERT_TRUE(q.Get(&out, kGenerous));
        EXPECT_EQ(out, 5);
    }
}

TEST(QueueTest, ManyProducersAndConsumersTakeEveryItemOnce)
{
    constexpr int kProducers = 4, kConsumers = 4, kEach = 20000;
    Queue q("Many", 8, 0, true, sizeof(int));
    std::atomic<int> taken{0};
    std::vector<std::vector<int>> seen(kConsumers);
    std::vector<std::thread> threads;
    for (int p = 0; p < kProducers; ++p)
        threads.emplace_back([&q, p] {
            for (int i = 0; i < kEach; ++i) {
                int item = p * kEach + i;
                if (i % 1000 == 999) q.AddHead(&item);
                else q.Add(&item);
            }
        });
    for (int c = 0; c < kConsumers; ++c)
        threads.emplace_back([&, c] {
            int item = 0;
            while (taken.load() < kProducers * kEach) {
                // Short time-outs let consumers shrink the ring while producers grow it.
                if (q.Get(&item, 0.001f)) {
                    seen[c].push_back(item);
                    taken.fetch_add(1);
                }
            }
        });
    for (std::thread& t : threads) t.join();
    std::vector<int> times(kProducers * kEach, 0);
    for (const std::vector<int>& list : seen) {
        // What one consumer takes of one producer's tail additions comes in the order they were added.
        std::vector<int> last(kProducers, -1);
        for (int item : list) {
            ++times[item];
            if (item % kEach % 1000 == 999) continue;
            ASSERT_GT(item, last[item / kEach]) << "out of order";
            last[item / kEach] = item;
        }
    }
    for (int i = 0; i < kProducers * kEach; ++i) ASSERT_EQ(times[i], 1) << "item " << i;
    EXPECT_EQ(q.Count(), 0u);
    int out = 0;
    EXPECT_FALSE(q.Get(&out));
}
