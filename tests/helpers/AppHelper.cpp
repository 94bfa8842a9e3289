// A program built on the library the way users build theirs: one static Application and no main of its
// own. The tests start it as a child process; the switch "-Case NAME" picks what it does, and what the
// tests cannot see in its log it prints on standard output, one line per fact.

#include <dovo/Application.h>
#include <dovo/Exception.h>
#include <dovo/HasSlots.h>
#include <dovo/Log.h>
#include <dovo/Platform.h>
#include <dovo/Thread.h>
#include <dovo/Trigger.h>

#include "app/Lifecycle.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

using namespace dovo;

// Outside the anonymous namespace: the compiler must not conclude that Derived is the only class that
// could be behind a Base, and so call Derived::Pure directly.
namespace helper {

class Base;
// Called through a pointer the compiler cannot see through, so that the call is made as written.
void CallPure(Base* base);
inline void (*volatile g_callPure)(Base*) = CallPure;

class Base
{
public:
    Base() { g_callPure(this); }
    virtual ~Base() = default;
    virtual void Pure() = 0;
};

void CallPure(Base* base) { base->Pure(); }

class Derived : public Base
{
public:
    void Pure() override {}
};

} // namespace helper

namespace {

void Say(const String& line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

class Failing : public Thread
{
public:
    Failing() : Thread("Failing Worker") {}
    // An exception the thread cannot take for a library one.
    bool Execute() override { throw 42; }
};

// Destroyed after the application object (made before it): with "-Case exit-race" its destructor widens
// the time in which the program's statics go, for an interrupt to arrive in.
bool g_slowExit = false;
struct SlowExit
{
    ~SlowExit()
    {
        if (!g_slowExit) return;
        Say("exiting");
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
} slowExit;

class Helper : public Application, public HasSlots<>
{
public:
    Helper() : Application(Info, Debug)
    {
        OnStarted.Connect(this, &Helper::Started);
        OnStopping.Connect(this, &Helper::Stopping);
        OnStopped.Connect(this, &Helper::Stopped);
    }

    bool Startup(CommandLine& commandLine) override
    {
        m_case = commandLine.GetArgument("Case", 0, String());
        m_event = commandLine.GetArgument("Event", 0, -1);
        g_slowExit = m_case == "exit-race";
        if (m_case == "startup-throws") Exception::Throw("Helper", "Startup", 0, "cannot start", 0, String(), Error);
        const bool started = Application::Startup(commandLine);
        Say("app " + AppName() + "\nlogdir " + LogDir().Text() + "\nlogfile " + Log::s_GlobalLog->Filename().Text() +
            SFormat("\nlevels %d %d", int(Log::s_GlobalLog->DisplayLevel()), int(Log::s_GlobalLog->FileLevel())) +
            "\naffinity " + Platform::GetEnvironment("VARNEL_PROC_AFFINITY"));
        if (m_case == "startup-false") return false;
        if (m_case == "thread-fails") m_worker.Start();
        return started;
    }

    bool Execute() override
    {
        ++m_passes;
        Say(SFormat("execute %d", m_passes));
        if (m_case == "throw-handled" || m_case == "throw-unhandled") {
            if (m_passes == 1) Exception::Throw("Helper", "Execute", 0x20000011, "pass failed", 0, String(), Error);
            return false;
        }
        if (m_case == "throw-unknown") throw 42;
        if (m_case == "thread-fails" || m_case == "interrupt" || m_case == "service") {
            // Until something stops the process; the interrupt cases are told that it runs.
            if (m_passes == 1) Say("running");
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            return true;
        }
        if (m_case == "console-event") {
            // The handler's decision, as the system would ask for it on a thread of its own; the run loop
            // goes on until the event stops it or for 20 passes.
            if (m_passes == 1)
                m_eventThread = std::thread([this] {
                    const bool handled = lifecycle::OnConsoleEvent(m_event);
                    Say(handled ? "event handled" : "event not handled");
                });
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            return m_passes < 20;
        }
        if (m_case == "interrupt-stuck") {
            Say("running");
            Trigger never;
            never.Wait(-1);
        }
        if (m_case == "pure-virtual") helper::Derived derived;
        if (m_case == "fault-elsewhere") {
            // Not address 0: the undefined-behaviour checker would stop the program before the processor does.
            static volatile std::uintptr_t bad = 0x40;
            std::thread worker([] { *reinterpret_cast<volatile int*>(bad) = 1; });
            worker.join();
        }
        if (m_case == "return-code") m_returnCode = 7;
        if (m_case == "statistics") Say("report " + ReportStatistics(Path()).Text());
        return false;
    }

    bool OnException(Exception* e) override
    {
        Say(e ? "exception " + e->Message() : String("unknown exception"));
        if (m_case == "throw-handled") return true;
        return Application::OnException(e);
    }

    void Cleanup() override
    {
        Say("cleanup");
        Application::Cleanup();
        if (m_eventThread.joinable()) m_eventThread.join();
        if (m_case == "cleanup-throws")
            Exception::Throw("Helper", "Cleanup", 0x20000012, "cannot clean up", 0, String(), Error);
        if (m_case == "cleanup-unknown") throw 42;
    }

    void Started() { Say("started"); }
    void Stopping() { Say("stopping"); }
    void Stopped() { Say("stopped"); }

private:
    String m_case;
    int m_event = -1;
    std::thread m_eventThread;
    int m_passes = 0;
    Failing m_worker;
};

Helper theHelper;

} // namespace
