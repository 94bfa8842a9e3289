#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/Executable.h>
#include <dovo/Log.h>
#include <dovo/Thread.h>

#include "threads/ThreadAccess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace dovo {
// The program's end calls this; the test stands in for it.
struct LibStaticAccess
{
    static void Startup(CommandLine& c) { LibStatic::NotifyStartup(c); }
    static void Cleanup() { LibStatic::NotifyCleanup(); }
};
} // namespace dovo

using namespace dovo;

namespace {

// What a test thread does, step by step.
struct Plan
{
    bool startup = true;
    int executes = 3;         // Execute returns false at this call
    int throwAt = 0;          // Execute throws at this call: 1 a library exception, 2 anything else
    bool handle = false;      // OnException says it dealt with the exception
    int cleanupThrows = 0;    // 1 a library exception, 2 anything else
    bool waitForSelf = false; // Execute calls WaitFor on its own thread
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

    bool Startup() override { return events.push_back("Startup"), m_plan.startup; }
    bool Execute() override
    {
        ++calls;
        nameInside = CurrentThreadName().str();
        self = CurrentThread();
        if (m_plan.waitForSelf) {
            try {
                WaitFor();
            } catch (Exception* e) {
                std::unique_ptr<Exception> owned(e);
                waitMessage = e->Message().str();
            }
        }
        if (calls == 1 && m_plan.throwAt == 1) Exception::Throw("Worker", "Execute", 1, "planned", 0, "", 3);
        if (calls == 1 && m_plan.throwAt == 2) throw 42;
        return calls < m_plan.executes;
    }
    bool OnException(Exception* e) override
    {
        events.push_back(e ? "library exception" : "unknown exception");
        return m_plan.handle || Thread::OnException(e);
    }
    void Cleanup() override
    {
        events.push_back("Cleanup");
        if (m_plan.cleanupThrows == 1) Exception::Throw("Worker", "Cleanup", 1, "cleanup failed", 0, "", 3);
        if (m_plan.cleanupThrows == 2) throw 7;
    }
    void Saw(Thread* t) { events.push_back(t == this ? "signal" : "signal(null)"); }

    std::vector<std::string> events;
    std::atomic<int> calls{0};
    std::string nameInside, waitMessage;
    Thread* self = nullptr;

private:
    Plan m_plan;
};

class Program : public Executable
{
};

std::string GlobalDump()
{
    std::string text;
    FILE* f = std::tmpfile();
    Log::s_GlobalLog->_SaveToFile(f, Excessive, false);
    std::rewind(f);
    for (int c; (c = std::fgetc(f)) != EOF;) text += static_cast<char>(c);
    std::fclose(f);
    return text;
}

void RunToTheEnd(Worker& w)
{
    w.Start();
    ASSERT_TRUE(w.WaitForStartup(0)); // 0 means the bounded wait, not none
    w.WaitFor();
    EXPECT_FALSE(w.IsRunning());
}

} // namespace

TEST(Thread, RunsItsStagesInOrderAndCanRunAgain)
{
    EXPECT_EQ(Thread::CurrentThreadName(), "Main Thread");
    std::string other;
    std::thread([&] { other = Thread::CurrentThreadName().str(); }).join();
    EXPECT_EQ(other, "System Thread");

    Worker w(Plan{});
    RunToTheEnd(w);
    EXPECT_EQ(w.calls, 3);
    EXPECT_EQ(w.nameInside, "Worker");
    EXPECT_EQ(w.self, &w);
    EXPECT_EQ(w.events, (std::vector<std::string>{"signal", "Startup", "signal", "signal", "signal", "signal", "signal",
                                                  "Cleanup", "signal(null)"}));
    EXPECT_EQ(Thread::GetThread(w.ThreadID()), nullptr); // gone from the registry

    w.events.clear();
    RunToTheEnd(w);        // again after its end
    EXPECT_EQ(w.calls, 4); // the fourth call says "enough" again

    Worker quitter(Plan{false});
    RunToTheEnd(quitter);
    EXPECT_EQ(quitter.calls, 0);
    EXPECT_EQ(quitter.events.back(), "signal(null)"); // cleanup still ran
    EXPECT_NE(std::find(quitter.events.begin(), quitter.events.end(), "Cleanup"), quitter.events.end());
}

TEST(Thread, ExceptionsStopTheThreadAndAreReported)
{
    Log::LogStartup(Info, Excessive);
    Program program;

    Worker handled(Plan{true, 2, 1, true});
    RunToTheEnd(handled);
    EXPECT_EQ(handled.calls, 2); // the loop went on
    EXPECT_EQ(program.ExceptedThread(), nullptr);

    Worker library(Plan{true, 5, 1});
    RunToTheEnd(library);
    EXPECT_EQ(library.calls, 1);
    EXPECT_EQ(program.ExceptedThread(), nullptr); // a library exception is only reported
    const std::string log = GlobalDump();
    EXPECT_NE(log.find("Thread Worker terminating abnormally because of exception while Running"), std::string::npos);
    EXPECT_NE(log.find("stopping because of exception caught in default OnException handler"), std::string::npos);

    Worker unknown(Plan{true, 5, 2});
    RunToTheEnd(unknown);
    EXPECT_EQ(program.ExceptedThread(), &unknown);
    EXPECT_NE(GlobalDump().find("stopping because of UNKNOWN exception"), std::string::npos);

    Worker failingCleanup(Plan{true, 1, 0, false, 1});
    RunToTheEnd(failingCleanup);
    EXPECT_NE(GlobalDump().find("Caught exception in Thread Cleanup"), std::string::npos);
    Worker crashingCleanup(Plan{true, 1, 0, false, 2});
    RunToTheEnd(crashingCleanup);
    EXPECT_EQ(program.ExceptedThread(), &crashingCleanup);
    EXPECT_NE(GlobalDump().find("Caught unknown exception in Thread Cleanup"), std::string::npos);

    Worker self(Plan{true, 1, 0, false, 0, true});
    RunToTheEnd(self);
    EXPECT_EQ(self.waitMessage, "Cannot wait for self");
}

TEST(Thread, StopsWhenAskedAndStartsOnlyOnce)
{
    struct Looper : Thread
    {
        Looper() : Thread("Looper") {}
        bool Execute() override { return ++calls, true; }
        std::atomic<long> calls{0};
    } looper;
    looper.Start();
    looper.Start(); // running: nothing happens
    ASSERT_TRUE(looper.WaitForStartup(100));
    while (looper.calls < 10) std::this_thread::yield();
    EXPECT_TRUE(looper.IsRunning());
    EXPECT_EQ(Thread::GetThread(looper.ThreadID()), &looper);
    EXPECT_EQ(looper.Signal(0), 1);
    looper.WaitFor();
    EXPECT_FALSE(looper.IsRunning());

    // The library's clean-up stops every thread still running, and waits for it.
    Log::LogStartup(Info, Excessive);
    looper.Start();
    ASSERT_TRUE(looper.WaitForStartup(100));
    LibStaticAccess::Cleanup();
    EXPECT_FALSE(looper.IsRunning());
    EXPECT_NE(GlobalDump().find("Looper begin terminated by process cleanup"), std::string::npos);
}

namespace {

// Runs f on a thread of its own and waits a generous while: a hang ends the test program with a
// failure rather than hanging it.
void MustFinish(const char* what, std::function<void()> f)
{
    auto done = std::make_shared<Trigger>();
    std::thread([f, done] { f(), done->Signal(); }).detach();
    if (done->Wait(10.0f)) return;
    std::fprintf(stderr, "FAILED: %s hung\n", what);
    std::fflush(stderr);
    std::_Exit(EXIT_FAILURE);
}

class Idle : public Thread
{
public:
    Idle() : Thread("Idle") {}
    bool Execute() override { return !m_stop.Wait(0.001f); }

private:
    Trigger m_stop;
};

} // namespace

TEST(Thread, AHandleTheSystemNoLongerKnowsCountsAsEnded)
{
    Worker w(Plan{});
    RunToTheEnd(w);
    ThreadAccess::GiveUnknownHandle(w);
    try {
        w.WaitFor();
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        ADD_FAILURE() << e->Message().str();
    }
}

TEST(Thread, ForeignThreadsLeaveNoRecordBehind)
{
    Log::LogStartup(Info, Excessive);
    Thread::CurrentThreadName();
    const std::size_t before = ThreadAccess::RegisteredThreads();
    for (int i = 0; i < 200; ++i) {
        std::string name;
        std::thread([&] {
            LogInfo("a line from a short-lived thread");
            name = Thread::CurrentThreadName().str();
        }).join();
        ASSERT_EQ(name, "System Thread");
    }
    EXPECT_EQ(ThreadAccess::RegisteredThreads(), before);
}

TEST(LibStatic, CleanUpOfAThreadThatDeletesItself)
{
    struct SelfDeleting : Idle
    {
        void Cleanup() override { delete this; }
    };
    auto* thread = new SelfDeleting;
    thread->Start();
    ASSERT_TRUE(thread->WaitForStartup(0));
    const std::uint32_t id = thread->ThreadID();
    MustFinish("clean-up of a thread that deletes itself", [] { LibStaticAccess::Cleanup(); });
    EXPECT_EQ(Thread::GetThread(id), nullptr);
}

TEST(LibStatic, StartUpHooksThatMakeThreads)
{
    struct Maker : LibStatic
    {
        Maker() : LibStatic("Maker") {}
        void OnLibStartup(CommandLine&) override
        {
            ++startups;
            for (int i = 0; i < 50; ++i) made.push_back(std::make_unique<Idle>());
        }
        int startups = 0;
        std::vector<std::unique_ptr<Idle>> made;
    };
    std::vector<std::unique_ptr<Maker>> makers;
    for (int i = 0; i < 8; ++i) makers.push_back(std::make_unique<Maker>());
    CommandLine commandLine;
    MustFinish("start-up with hooks that make threads", [&] { LibStaticAccess::Startup(commandLine); });
    for (const auto& m : makers) EXPECT_EQ(m->startups, 1);
}

TEST(LibStatic, AThreadNamedForTheFirstTimeDuringCleanUp)
{
    struct Spawner : LibStatic
    {
        Spawner() : LibStatic("Spawner") {}
        void OnLibCleanup() override
        {
            std::thread([this] {
                LogInfo("a first line during clean-up");
                name = Thread::CurrentThreadName().str();
            }).join();
        }
        std::string name;
    } spawner;
    Log::LogStartup(Info, Excessive);
    MustFinish("clean-up whose hook starts a thread that logs", [] { LibStaticAccess::Cleanup(); });
    EXPECT_EQ(spawner.name, "System Thread");
}
