#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/Executable.h>
#include <dovo/Log.h>
#include <dovo/Platform.h>
#include <dovo/Semaphore.h>
#include <dovo/Thread.h>
#include <dovo/ThreadPool.h>
#include <dovo/Trigger.h>

#include <boost/function.hpp>
#include <gtest/gtest.h>

#include "support/Checks.h"
#include "support/LibStaticAccess.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <numeric>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

constexpr float kGenerous = 10.0f; // seconds: only a hung test ever waits this long

unsigned Workers() { return static_cast<unsigned>(std::max(Platform::ProcessorThreads() - 1, 1)); }

std::string ReportOf(Executable& program)
{
    return Captured([&](std::FILE* f) { program.ReportingStatistics(f); });
}

int InLog(const std::string& part)
{
    return Occurrences(Captured([](std::FILE* f) { Log::s_GlobalLog->_SaveToFile(f, Excessive, false); }), part);
}

// Each worker's count of tasks processed, in report order; the workers must read "Pool-000", "Pool-001", ... and
// be in the state.
std::vector<unsigned long> Counts(const std::string& report, const char* state)
{
    std::vector<unsigned long> counts;
    const std::regex line("    Pool-(\\d+) (\\w+)  (\\d+) Tasks processed\n");
    for (std::sregex_iterator at(report.begin(), report.end(), line), end; at != end; ++at) {
        EXPECT_EQ((*at)[1].str() + " " + (*at)[2].str(), SFormat("%03u %s", unsigned(counts.size()), state).str());
        counts.push_back(std::stoul((*at)[3].str()));
    }
    return counts;
}

// Occupies every worker with a task that waits to be released, so that what is queued meanwhile waits
// in its order and each release frees exactly one worker. (The tasks share their semaphores with it: a
// task may still be leaving Post when the waiter goes on.)
class Occupied
{
public:
    Occupied()
    {
        for (unsigned i = 0; i < Workers(); ++i)
            ThreadPool::Enqueue([s = m_shared] {
                s->started.Post(1);
                s->release.Wait(kGenerous);
                s->ended.Post(1);
            });
        for (unsigned i = 0; i < Workers(); ++i) m_ok = m_shared->started.Wait(kGenerous) && m_ok;
    }
    ~Occupied()
    {
        if (m_released < Workers()) m_shared->release.Post(static_cast<int>(Workers() - m_released));
        for (unsigned i = 0; i < Workers(); ++i) m_shared->ended.Wait(kGenerous);
    }
    bool Ok() const { return m_ok; }
    void ReleaseOne() { m_shared->release.Post(1), ++m_released; }

private:
    struct Shared
    {
        Semaphore started{0, 1024}, release{0, 1024}, ended{0, 1024};
    };
    std::shared_ptr<Shared> m_shared = std::make_shared<Shared>();
    unsigned m_released = 0;
    bool m_ok = true;
};

} // namespace

// One worker per processor but one, each listed once (a second Initialize adds neither workers nor a
// second report), busy while its task runs and counting the tasks it has done.
TEST(ThreadPool, ReportShowsEveryWorkerBusyThenIdleWithItsCount)
{
    Log::LogStartup(Info, Excessive);
    Executable program;
    ThreadPool::Initialize();
    ThreadPool::Initialize();
    // (A worker counts a task a moment after the task's last sign of life: the last test's may be on its way out.)
    std::string report;
    Eventually([&] { return (report = ReportOf(program)).find("WORKING") == std::string::npos; });
    const std::vector<unsigned long> before = Counts(report, "waiting");
    ASSERT_EQ(before.size(), Workers()) << report;
    auto ran = std::make_shared<Semaphore>(0, 1024);
    {
        Occupied occupied;
        ASSERT_TRUE(occupied.Ok());
        for (int i = 0; i < 3; ++i) ThreadPool::Enqueue([ran] { ran->Post(1); });
        String expected = SFormat("TaskQueue has 3 tasks in it, with %u threads\n", Workers());
        for (unsigned i = 0; i < Workers(); ++i)
            expected += SFormat("    Pool-%03u WORKING  %lu Tasks processed\n", i, before[i]);
        EXPECT_EQ(ReportOf(program), (expected + "\n\n").str());
    }
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(ran->Wait(kGenerous));
    // A task is counted once it has returned, a moment after it has posted.
    const auto sum = [](const std::vector<unsigned long>& counts) {
        return std::accumulate(counts.begin(), counts.end(), 0ul);
    };
    EXPECT_TRUE(Eventually([&] {
        report = ReportOf(program);
        return report.find("WORKING") == std::string::npos &&
               sum(Counts(report, "waiting")) == sum(before) + Workers() + 3;
    })) << report;
    EXPECT_EQ(report.rfind("TaskQueue has 0 tasks", 0), 0u) << report;
}

// Tasks queued while every worker is busy, then taken by the one worker released: "+x" queues x at the
// tail, "^x" at the head; a task records its letter, and T throws a library exception after recording,
// U throws something else, E is an empty function (nothing to record).
TEST(ThreadPool, PriorityTasksGoFirstAndFailuresLeaveTheWorkerGoing)
{
    Log::LogStartup(Info, Excessive);
    ThreadPool::Initialize();
    const struct
    {
        const char* queued;
        const char* ran;
        int failures;
    } rows[] = {{"+a ^p +b ^q", "qpab", 0}, {"+U +E +T +b", "UTb", 3}, {"+a +E ^U +b", "Uab", 2}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.queued);
        const int logged = InLog("Last task caused an exception: operation may not have completed correctly");
        struct Seen
        {
            std::mutex lock;
            std::string ran;
            std::vector<std::string> workers;
            Semaphore recorded{0, 1024};
        };
        auto seen = std::make_shared<Seen>();
        {
            Occupied occupied;
            ASSERT_TRUE(occupied.Ok());
            std::istringstream words(row.queued);
            for (std::string word; words >> word;) {
                const char letter = word[1];
                boost::function<void()> task;
                if (letter != 'E')
                    task = [seen, letter] {
                        {
                            std::lock_guard<std::mutex> hold(seen->lock);
                            seen->ran += letter;
                            seen->workers.push_back(Thread::CurrentThreadName().str());
                        }
                        seen->recorded.Post(1);
                        if (letter == 'T') Exception::Throw("PoolTest", "Task", 1, "planned", 0, "", 3);
                        if (letter == 'U') throw 42;
                    };
                if (word[0] == '^') ThreadPool::PriorityQueue(task);
                else ThreadPool::Enqueue(task);
            }
            occupied.ReleaseOne();
            for (std::size_t i = 0; i < std::string(row.ran).size(); ++i) ASSERT_TRUE(seen->recorded.Wait(kGenerous));
        }
        std::lock_guard<std::mutex> hold(seen->lock);
        EXPECT_EQ(seen->ran, row.ran);
        const std::vector<std::string>& workers = seen->workers;
        ASSERT_FALSE(workers.empty());
        EXPECT_EQ(workers.front().rfind("Pool-", 0), 0u) << workers.front();
        EXPECT_EQ(std::count(workers.begin(), workers.end(), workers.front()), std::ptrdiff_t(workers.size()));
        // The last task ran after every failure before it was dealt with.
        EXPECT_EQ(InLog("Last task caused an exception: operation may not have completed correctly"),
                  logged + row.failures);
    }
}

// Tasks too large for a function object's own storage (so each copy allocates) from several producers,
// a few at the head, enough to grow the queue: each runs once, and every copy is destroyed.
TEST(ThreadPool, EveryTaskRunsOnceFromSeveralProducers)
{
    ThreadPool::Initialize();
    constexpr int kProducers = 4, kEach = 1000, kTotal = kProducers * kEach;
    std::vector<std::atomic<int>> hits(kTotal);
    std::atomic<int> done{0};
    Trigger finished;
    auto token = std::make_shared<int>(0);
    const std::string padding(40, 'x');
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p)
        producers.emplace_back([&, p] {
            for (int i = p * kEach; i < (p + 1) * kEach; ++i) {
                auto task = [&, i, token, padding] {
                    hits[i].fetch_add(1);
                    if (done.fetch_add(1) + 1 == kTotal) finished.Signal();
                };
                if (i % 7 == 0) ThreadPool::PriorityQueue(task);
                else ThreadPool::Enqueue(task);
            }
        });
    for (auto& producer : producers) producer.join();
    ASSERT_TRUE(finished.Wait(3 * kGenerous)) << done.load() << " of " << kTotal;
    for (int i = 0; i < kTotal; ++i) ASSERT_EQ(hits[i].load(), 1) << "task " << i;
    // The last task is destroyed a moment after it has signalled.
    EXPECT_TRUE(Eventually([&] { return token.use_count() == 1; })) << token.use_count();
}

// Library clean-up stops workers busy with a task once it returns and destroys what is still queued
// without running it; Initialize starts the workers again.
TEST(ThreadPool, CleanUpStopsTheWorkersAndDestroysQueuedTasksUnrun)
{
    ThreadPool::Initialize();
    auto busy = std::make_shared<Semaphore>(0, 1024);
    for (unsigned i = 0; i < Workers(); ++i)
        ThreadPool::Enqueue([busy] {
            Thread* self = Thread::CurrentThread();
            busy->Post(1);
            Eventually([self] { return !self->IsRunning(); }); // until clean-up asks the worker to stop
        });
    for (unsigned i = 0; i < Workers(); ++i) ASSERT_TRUE(busy->Wait(kGenerous));
    auto token = std::make_shared<int>(0);
    auto ran = std::make_shared<std::atomic<int>>(0);
    for (int i = 0; i < 10; ++i) ThreadPool::Enqueue([token, ran] { ++*ran; });
    MustFinish("library clean-up of the pool's busy workers", [] { LibStaticAccess::Cleanup(); });
    EXPECT_EQ(ran->load(), 0);
    EXPECT_EQ(token.use_count(), 1);

    ThreadPool::Initialize();
    auto again = std::make_shared<Trigger>();
    ThreadPool::Enqueue([again] { again->Signal(); });
    EXPECT_TRUE(again->Wait(kGenerous));
}
