#pragma once

#include <dovo/CommandLine.h>
#include <dovo/Executable.h>
#include <dovo/Export.h>
#include <dovo/LogItem.h>
#include <dovo/Path.h>
#include <dovo/Signal.h>
#include <dovo/String.h>
#include <dovo/Time.h>
#include <dovo/Trigger.h>

#include <cstdio>

namespace dovo {

class Exception;

/// The executable that programs derive from: one static object of a subclass, and the library's
/// main() runs it. It turns the command line into the process's set-up (application name, log folder,
/// log file and levels) and calls the program's Execute until that returns false or the process is
/// asked to stop.
class DOVO_API Application : public Executable
{
public:
    using StateSignal = Signal0<>;

    /// Starts the global log with the two levels and points it at "Startup-<pid in hex>.log" in the
    /// current folder until Startup chooses the real log file.
    Application(LogLevel displayLevel = Info, LogLevel fileLevel = Info);
    ~Application() override;

    /// The standard set-up from the command line; false stops the process before the run loop.
    virtual bool Startup(CommandLine& commandLine);
    /// The program's work, called again and again by the run loop until it returns false.
    virtual bool Execute() = 0;
    /// Sets the finished trigger and logs the shut-down.
    virtual void Cleanup();
    /// Called with an exception that escaped Execute (null for an unknown one); false stops the
    /// process. The default logs and dumps it and returns false.
    virtual bool OnException(Exception* e);
    /// Chooses the log folder: the LogFolder switch, else $VARNEL_MACHINE_LOGS/<application>, else a
    /// folder under the user's; then LogSubFolder and LogWithPID sub-folders.
    virtual void SetLogDir(CommandLine& commandLine);
    /// Writes the application's part of a statistics report.
    virtual void OnStatistics(FILE* out);

    /// Asks the program listening on pipe (by default a process ID) to stop; true when the request was
    /// sent.
    static bool SendShutdownRequest(Path pipe);
    /// Asks the program listening on pipe to dump its logs; true when the request was sent.
    static bool SendLogDumpRequest(Path pipe);

    /// Writes a statistics report (the application's and the logs') appended to file, "Statistics.log"
    /// in the log folder when empty, and returns the file used.
    Path ReportStatistics(const Path& file);

    static Application* GetApplication();
    const String& AppName() const { return m_appName; }
    static String GetAppName();
    const Path& LogDir() const { return m_logDir; }
    static Path GetLogDir();
    Time StartTime() const { return m_startTime; }
    const String& MachineName() const { return m_machineName; }
    static String GetMachineName();
    static const CommandLine& GetCommandLine();
    /// Set by Cleanup: the interrupt handler waits on it.
    Trigger& Finished() { return m_finished; }

    /// Emitted when the run loop begins, when it has ended, and at the very end of Stop.
    StateSignal OnStarted, OnStopping, OnStopped;

private:
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;
    /// Acts on SendShutdown, SendLogDump or SendToProc (the first present); false when none is.
    bool SendRequest(const CommandLine& commandLine);

    String m_appName;
    Path m_logDir;
    Time m_startTime;
    String m_machineName;
    Trigger m_finished;
};

} // namespace dovo
