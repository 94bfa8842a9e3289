#include "app/ControlChannel.h"

#include <dovo/Application.h>
#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/FastMutex.h>
#include <dovo/HasSlots.h>
#include <dovo/IPAddress.h>
#include <dovo/Log.h>
#include <dovo/NamedPipe.h>
#include <dovo/NamedPipeServerThread.h>
#include <dovo/Thread.h>
#include <dovo/Time.h>
#include <dovo/Trigger.h>

#include <cstdlib>
#include <memory>
#include <vector>

namespace dovo::control {

namespace {

// Takes the commands of other processes: each connection carries one word.
class ShutdownPipe : public NamedPipeServerThread
{
public:
    ShutdownPipe(Application& application, const Path& name)
        : NamedPipeServerThread(name), m_application(application), m_name(name.Text())
    {
    }

protected:
    void OnMessage(const String& message) override
    {
        LogDebug("Received ShutdownPipe message: " + message);
        if (message == "STOP") {
            LogFatal("Received Shutdown request on listening port " + m_name);
            m_application.Signal(0);
        } else if (message == "DUMP") {
            LogInfo("Received log dump reqeust on listening port " + m_name);
            Log::DumpAll("<h1>" + m_application.AppName() + " log dump on request</h1>", Excessive);
        } else if (message == "IPFLUSH") {
            LogInfo("Received request to dump the IP address name cache");
            _RFlushNameCache();
        } else if (message == "REPORT") {
            LogInfo("Received request to report statistics");
            m_application.ReportStatistics(Path());
        } else {
            LogWarning("Unknown shutdown pipe command: " + message);
        }
    }

private:
    Application& m_application;
    String m_name;
};

class StatisticsThread : public Thread, public HasSlots<>
{
public:
    StatisticsThread(Application& application, double seconds)
        : Thread("Statistics Thread"), m_application(application), m_seconds(seconds)
    {
        // Asked to stop, the thread leaves its wait at once rather than at the end of the interval.
        StateChanged.Connect(this, &StatisticsThread::Wake);
    }

    bool Startup() override
    {
        LogInfo(SFormat("Statistics will be reported every %g seconds", m_seconds));
        Report("_Startup");
        return true;
    }

    bool Execute() override
    {
        m_wake.Wait(static_cast<float>(m_seconds));
        if (!IsRunning()) return false;
        Report("");
        return true;
    }

    void Cleanup() override { LogInfo("Statistics stopped"); }

private:
    void Wake(Thread*)
    {
        if (!IsRunning()) m_wake.Signal();
    }

    void Report(const char* suffix)
    {
        LogInfo("About to report statistics");
        const Path file =
            m_application.LogDir() / Path(Time::CurrentTime().Format("%y-%m-%d-%H-%M-%S", true) + suffix + ".log");
        LogInfo("Reported: " + m_application.ReportStatistics(file).Text());
    }

    Application& m_application;
    double m_seconds;
    Trigger m_wake{false, false};
};

struct Running
{
    FastMutex lock;
    std::vector<Thread*> threads;
};
Running& Threads()
{
    static auto* running = new Running; // threads may still be stopped while the statics go
    return *running;
}

void Keep(std::unique_ptr<Thread> thread)
{
    Running& running = Threads();
    running.lock.Enter();
    running.threads.push_back(thread.get());
    running.lock.Leave();
    // Started before the caller goes on: a listener is ready for requests, and the start-up report
    // is written, when the application's start-up ends.
    Thread* started = thread.release();
    started->Start();
    started->WaitForStartup(0);
}

} // namespace

bool Send(const Path& name, const String& message, String* failure)
{
    try {
        NamedPipe pipe(name);
        pipe.BeginUsing();
        const int sent =
            pipe.Write(reinterpret_cast<const unsigned char*>(message.c_str()), static_cast<int>(message.Length()));
        pipe.CeaseUsing();
        return sent == static_cast<int>(message.Length());
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        if (failure) *failure = e->Message();
        return false;
    }
}

void Listen(Application& application, const Path& name) { Keep(std::make_unique<ShutdownPipe>(application, name)); }

double StatisticsInterval(const CommandLine& commandLine)
{
    const String text = commandLine.GetArgument("ReportStatistics", 0, String("900"));
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0' && seconds > 0 ? seconds : 30.0;
}

void ReportEvery(Application& application, double seconds)
{
    Keep(std::make_unique<StatisticsThread>(application, seconds));
}

void StopAll()
{
    std::vector<Thread*> threads;
    Running& running = Threads();
    running.lock.Enter();
    threads.swap(running.threads);
    running.lock.Leave();
    for (Thread* thread : threads) thread->Signal(0);
    for (Thread* thread : threads) {
        thread->WaitFor();
        delete thread;
    }
}

} // namespace dovo::control
