#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/Executable.h>
#include <dovo/Log.h>
#include <dovo/Thread.h>

#include "threads/ThreadAccess.h"

#include <gtest/gtest.h>

#include "support/Checks.h"
#include "support/LibStaticAccess.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

// What a test thread does: Startup's answer; the Execute call that returns false; what the first Execute
// throws (1 a library exception, 2 anything else, 3 it calls WaitFor on its own thread); whether
// OnException deals with it; what Cleanup throws (1, 2 as before).
struct Plan
{
    bool startup = true;
    int executes = 3, throws = 0;
    bool handle = false;
    int cleanupThrows = 0;
};

class Worker : public Thread, public HasSlots<ThreadPolicy::LocalThreaded>
{
public:
    explicit Worker(Plan plan) : Thread("Worker"), m_plan(plan)
    {
        for (ThreadSignal* s : {&Starting, &Started, &Executing, &ExceptionCaught, &CleaningUp, &CleanedUp})
            s->Connect(this, &Worker::Saw);
    }
    ~Worker() override { DisconnectAll(); }

    bool Startup() override { return events += "Startup ", m_plan.startup; }
    bool Execute() override
    {
        inside = CurrentThreadName() + (CurrentThread() == this ? " itself" : " another");
        if (++calls == 1 && m_plan.throws == 1) Exception::Throw("Worker", "Execute", 1, "planned", 0, "", 3);
        if (calls == 1 && m_plan.throws == 2) throw 42;
        if (m_plan.throws == 3) WaitFor();
        return calls < m_plan.executes;
    }
    bool OnException(Exception* e) override
    {
        if (e) inside = e->Message();
        return m_plan.handle || Thread::OnException(e);
    }
    void Cleanup() override
    {
        events += "Cleanup ";
        if (m_plan.cleanupThrows == 1) Exception::Throw("Worker", "Cleanup", 1, "cleanup failed", 0, "", 3);
        if (m_plan.cleanupThrows == 2) throw 7;
    }
    void Saw(Thread* t) { events += t == this ? "s " : "null "; }

    std::string events;
    std::atomic<int> calls{0};
    String inside;

private:
    Plan m_plan;
};

int InLog(const std::string& part)
{
    return Occurrences(Captured([](std::FILE* f) { Log::s_GlobalLog->_SaveToFile(f, Excessive, false); }), part);
}

void RunToTheEnd(Thread& t)
{
    t.Start();
    ASSERT_TRUE(t.WaitForStartup(0)); // 0 means the bounded wait, not none
    t.WaitFor();
    EXPECT_FALSE(t.IsRunning());
}

class Idle : public Thread
{
public:
    Idle() : Thread("Idle") {}
    bool Execute() override { return ++calls, !m_stop.Wait(0.001f); }
    std::atomic<long> calls{0};

private:
    Trigger m_stop;
};

} // namespace

TEST(Thread, NamesComeFromTheRegistryAndForeignThreadsLeaveNone)
{
    Log::LogStartup(Info, Excessive);
    EXPECT_EQ(Thread::CurrentThreadName(), "Main Thread");
    const std::size_t before = ThreadAccess::RegisteredThreads();
    for (int i = 0; i < 200; ++i) {
        std::string name;
        std::thread([&] { LogInfo("a short-lived thread"), name = Thread::CurrentThreadName().str(); }).join();
        ASSERT_EQ(name, "System Thread");
    }
    EXPECT_EQ(ThreadAccess::RegisteredThreads(), before);
}

TEST(Thread, StagesSignalsExceptionsAndTheirReports)
{
    Log::LogStartup(Info, Excessive);
    Executable program;
    const struct
    {
        Plan plan;
        const char* events; // the signals ("s" with the thread, "null" without) and stages seen
        int calls;          // Execute calls made
        bool excepted;      // handed to the executable as ended abnormally
        const char* text;   // what the thread saw inside, or left in the log
    } rows[] = {
        {{}, "s Startup s s s s s Cleanup null ", 3, false, "Worker itself"},
        {{false}, "s Startup s s Cleanup null ", 0, false, "Thread Worker calling thread Cleanup"},
        {{true, 2, 1, true}, "s Startup s s s s s Cleanup null ", 2, false, "planned"}, // handled: goes on
        {{true, 5, 1}, "s Startup s s s s Cleanup null ", 1, false, "stopping because of exception caught in default"},
        {{true, 5, 1}, nullptr, 1, false, "Thread Worker terminating abnormally because of exception while Running"},
        {{true, 5, 2}, nullptr, 1, true, "stopping because of UNKNOWN exception"},
        {{true, 1, 0, false, 1}, nullptr, 1, false, "Caught exception in Thread Cleanup (Worker)"},
        {{true, 1, 0, false, 2}, nullptr, 1, true, "Caught unknown exception in Thread Cleanup"},
        {{true, 1, 3}, nullptr, 1, false, "Cannot wait for self"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const int logged = InLog(row.text);
        Worker w(row.plan);
        RunToTheEnd(w);
        if (row.events) {
            EXPECT_EQ(w.events, row.events);
        }
        EXPECT_NE(w.events.find("Cleanup null"), std::string::npos);
        EXPECT_EQ(w.calls, row.calls);
        EXPECT_EQ(program.ExceptedThread() == &w, row.excepted);
        EXPECT_TRUE(w.inside == row.text || InLog(row.text) > logged) << w.inside.str();
        EXPECT_EQ(Thread::GetThread(w.ThreadID()), nullptr); // gone from the registry
        Executable::SetThreadException(nullptr);
    }
}

TEST(Thread, StartsOnceStopsWhenAskedAndRunsAgain)
{
    Idle idle;
    idle.Start();
    idle.Start(); // running: nothing happens
    ASSERT_TRUE(idle.WaitForStartup(100));
    while (idle.calls < 10) std::this_thread::yield();
    EXPECT_TRUE(idle.IsRunning());
    EXPECT_EQ(Thread::GetThread(idle.ThreadID()), &idle);
    EXPECT_EQ(idle.Signal(0), 1);
    idle.WaitFor();
    EXPECT_FALSE(idle.IsRunning());
    idle.Start(); // again after its end
    EXPECT_TRUE(idle.WaitForStartup(0) && idle.IsRunning());
    idle.Signal(0);
    idle.WaitFor();
    // A handle the system no longer knows (its object released it) counts as ended.
    ThreadAccess::GiveUnknownHandle(idle);
    try {
        idle.WaitFor();
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        ADD_FAILURE() << e->Message().str();
    }
}

// Library clean-up stops every running thread and waits for it, also one whose Cleanup deletes it; statics
// come and go while start-up and clean-up walk them.
TEST(LibStatic, StartUpAndCleanUpWhileStaticsComeAndGo)
{
    struct SelfDeleting : Idle
    {
        void Cleanup() override { delete this; }
    };
    struct Maker : LibStatic
    {
        Maker() : LibStatic("Maker") {}
        void OnLibStartup(CommandLine&) override
        {
            for (int i = 0; i < 50; ++i) made.push_back(std::make_unique<Idle>()); // every Thread is a static
            ++startups;
        }
        void OnLibCleanup() override // a thread named for the first time registers a static of its own
        {
            std::thread([this] { LogInfo("a first line"), name = Thread::CurrentThreadName().str(); }).join();
        }
        int startups = 0;
        std::vector<std::unique_ptr<Idle>> made;
        std::string name;
    };
    Log::LogStartup(Info, Excessive);
    const int stopped = InLog("Idle begin terminated by process cleanup");
    std::vector<std::unique_ptr<Maker>> makers;
    for (int i = 0; i < 8; ++i) makers.push_back(std::make_unique<Maker>());
    CommandLine commandLine;
    MustFinish("start-up with hooks that make threads", [&] { LibStaticAccess::Startup(commandLine); });
    auto* doomed = new SelfDeleting;
    Idle kept;
    for (Thread* t : {static_cast<Thread*>(doomed), static_cast<Thread*>(&kept)}) {
        t->Start();
        ASSERT_TRUE(t->WaitForStartup(0));
    }
    const std::uint32_t id = doomed->ThreadID();
    MustFinish("clean-up of running threads and hooks that start threads", [] { LibStaticAccess::Cleanup(); });
    EXPECT_EQ(Thread::GetThread(id), nullptr);
    EXPECT_FALSE(kept.IsRunning());
    EXPECT_EQ(InLog("Idle begin terminated by process cleanup"), stopped + 2);
    for (const auto& m : makers) EXPECT_EQ(std::to_string(m->startups) + " " + m->name, "1 System Thread");
}
