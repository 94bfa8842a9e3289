// A program that logs 100,000 lines from 4 threads through the logging thread and then ends in the way
// "-End NAME" picks, for the tests that check that no line is lost whatever ends the process.

#include <dovo/Application.h>
#include <dovo/Exception.h>
#include <dovo/Log.h>

#include "log/LogFile.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

constexpr int kThreads = 4;
constexpr int kLinesEach = 25000;

void Say(const char* line)
{
    std::printf("%s\n", line);
    std::fflush(stdout);
}

void LogLines()
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < kLinesEach; ++i) LogInfo(SFormat("T%d %d", t, i));
        });
    for (std::thread& thread : threads) thread.join();
}

// Every write of the log file takes a while, so that lines are still queued when the process ends.
logfile::Calls g_calls;
bool SlowWrite(void* file, const char* data, std::size_t size)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return g_calls.write(file, data, size);
}

class Helper : public Application
{
public:
    bool Startup(CommandLine& commandLine) override
    {
        g_calls = logfile::Replace(logfile::Calls{}); // (nothing logs meanwhile)
        logfile::Replace(logfile::Calls{g_calls.open, SlowWrite, g_calls.flush, g_calls.close});
        if (!Application::Startup(commandLine)) return false;
        m_end = commandLine.GetArgument("End", 0, String());
        if (m_end == "startup-throws") {
            LogLines();
            Exception::Throw("Helper", "Startup", 77, "The start-up failed on purpose", 0, String(), 1);
        }
        return true;
    }

    bool Execute() override
    {
        if (m_answered) return false;
        if (m_logged) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            return true;
        }
        LogLines();
        m_logged = true;
        if (m_end == "fault") {
            // Not address 0: the undefined-behaviour checker would stop the program before the processor does.
            static volatile std::uintptr_t bad = 0x40;
            std::thread([] { *reinterpret_cast<volatile int*>(bad) = 1; }).join();
        } else if (m_end == "terminate") {
            std::terminate();
        } else if (m_end == "abort") {
            std::abort();
        } else if (m_end == "exit") {
            std::exit(2);
        } else if (m_end.StartsWith("interrupt")) {
            Say("logged");
            // Waits for the interrupt; "interrupt-stuck" never ends by itself.
            return true;
        }
        return false;
    }

    bool OnInterrupt() override
    {
        if (m_end == "interrupt-answered") return m_answered = true;
        if (m_end == "interrupt-stuck") m_stuck = true;
        return Application::OnInterrupt();
    }

    void Cleanup() override
    {
        while (m_stuck) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (m_end == "cleanup-throws")
            Exception::Throw("Helper", "Cleanup", 5, "The clean-up failed on purpose", 0, String(), 1);
        if (m_end == "cleanup-throws-unknown") throw 5;
        Application::Cleanup();
    }

private:
    String m_end;
    bool m_logged = false;
    std::atomic<bool> m_answered{false}, m_stuck{false};
};

Helper helper;

} // namespace
