#pragma once

#include <dovo/Export.h>
#include <dovo/Signal.h>
#include <dovo/ThreadPolicy.h>

#include <cstdio>

namespace dovo {

class Application;
class CommandLine;
class Thread;

/// The process's one executable object: registered by its constructor, it owns the run state that
/// interrupts, the service manager and failing threads use to end the process. The library's own
/// main() finds it and drives it through Start, Go and Stop.
class DOVO_API Executable
{
public:
    explicit Executable(Application* application = nullptr);
    virtual ~Executable();

    /// Called on an interrupt (Ctrl-C, Ctrl-Break, close, shutdown; SIGINT, SIGQUIT, SIGHUP, SIGTERM).
    /// true: handled here, the process goes on. The default logs "Unhandled interrupt! Exiting." and
    /// returns false, so the process is asked to stop.
    virtual bool OnInterrupt();
    /// Handles a thread's unhandled exception; false stops the process. The default logs and dumps.
    virtual bool ThreadException(Thread* thread);
    /// Stores a new run state and returns the previous one; Signal(0) asks the process to end.
    virtual int Signal(int state);
    /// Builds the command line, starts the file layer, acts on the service words and otherwise runs
    /// the application's start-up. false: main skips Go.
    virtual bool Start(int argc, char** argv);
    /// The run loop: the application's Execute again and again while the run state is at least 1.
    virtual void Go();
    /// The application's clean-up and the file layer's.
    virtual void Stop();

    static Executable* GetExecutable();
    /// Called by a thread whose run loop met an exception it could not handle: the executable picks
    /// the thread up on the next pass of its run loop. Without an executable a warning is logged.
    static void SetThreadException(Thread* thread);
    /// True while the process runs as a service (Windows service manager, systemd).
    static bool IsService();
    /// The same question in Unix words.
    static bool IsDaemon();

    /// The thread that reported an unhandled exception and is not yet dealt with, or null.
    Thread* ExceptedThread() const;
    int ReturnCode() const { return m_returnCode; }
    bool Running() const;

    /// Emitted by Application::ReportStatistics with the open report file, after OnStatistics and
    /// before the logs' report: parts of the library (the thread pool) add their own lines here.
    Signal1<FILE*, ThreadPolicy::GlobalThreaded> ReportingStatistics;

protected:
    /// The service words. Each raises an Exception (module "Executable", the operation as method) when
    /// the service manager cannot be reached or refuses.
    void InstallService(CommandLine& commandLine);
    void RemoveService(CommandLine& commandLine);
    void StartServiceA(CommandLine& commandLine);
    void StopService(CommandLine& commandLine);
    /// Runs the process as the service: hands the command line to the service manager's dispatcher,
    /// which drives Start, Go and Stop once more as the service.
    void StartAsService(CommandLine& commandLine);

    volatile int m_runState = 1;
    int m_returnCode = 0;
    Thread* volatile m_exceptedThread = nullptr;
    Application* m_application;
    bool m_started = false;

private:
    friend struct ServiceAccess;
    Executable(const Executable&) = delete;
    Executable& operator=(const Executable&) = delete;
    /// Acts on the first service word present; false when there is none.
    bool RunServiceWord(CommandLine& commandLine);
    // Set when Stop has run for the current Start: the service's own cycle has stopped already when
    // the outer main comes to its Stop.
    bool m_stopped = false;
};

} // namespace dovo
