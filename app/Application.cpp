// Application: the executable programs derive from, and the standard set-up it makes from the
// command line.

#include <dovo/Application.h>
#include <dovo/Exception.h>
#include <dovo/File.h>
#include <dovo/LibStatic.h>
#include <dovo/Log.h>
#include <dovo/Platform.h>
#include <dovo/Socket.h>

#include "app/ControlChannel.h"
#include "app/Lifecycle.h"

#include <atomic>
#include <cstdio>
#include <memory>

namespace dovo {

namespace {

std::atomic<Application*> g_application{nullptr};

CommandLine& ProcessCommandLine()
{
    static auto* commandLine = new CommandLine;
    return *commandLine;
}

// A level switch is taken when it names a level from -1 (nothing) to 7.
void ApplyLevel(const CommandLine& commandLine, const char* name, LogLevel& level)
{
    if (!commandLine.HasSwitch(name)) return;
    const int value = commandLine.GetArgument(name, 0, 100);
    if (value >= -1 && value <= 7) level = static_cast<LogLevel>(value);
}

} // namespace

Application::Application(LogLevel displayLevel, LogLevel fileLevel)
    : Executable(this), m_startTime(Time::CurrentTime()), m_machineName(Platform::ComputerName())
{
    g_application = this;
    Log::LogStartup(displayLevel, fileLevel);
    try {
        Socket::SocketStartup();
    } catch (Exception* e) {
        // (logged as it was thrown) The program runs on; its sockets will fail with the system's reason.
        std::unique_ptr<Exception> owned(e);
    }
    Log::s_GlobalLog->SetFile(Path(SFormat("Startup-%04x.log", Platform::ProcessId())), fileLevel);
}

Application::~Application()
{
    Socket::SocketCleanup();
    Application* self = this;
    g_application.compare_exchange_strong(self, nullptr);
}

Application* Application::GetApplication() { return g_application; }

String Application::GetAppName()
{
    const Application* application = g_application;
    return application ? application->m_appName : String();
}

Path Application::GetLogDir()
{
    const Application* application = g_application;
    return application ? application->m_logDir : Path();
}

String Application::GetMachineName()
{
    const Application* application = g_application;
    return application ? application->m_machineName : Platform::ComputerName();
}

const CommandLine& Application::GetCommandLine() { return ProcessCommandLine(); }

namespace {
bool Request(const Path& pipe, const char* word, const char* logged, String* failure = nullptr)
{
    LogInfo(logged + pipe.Text());
    return control::Send(pipe, word, failure);
}
const char* const kShutdownLine = "Sending shutdown request to: ";
const char* const kLogDumpLine = "Sending log dump reqeust to: ";
} // namespace

bool Application::SendShutdownRequest(Path pipe) { return Request(pipe, "STOP", kShutdownLine); }

bool Application::SendLogDumpRequest(Path pipe) { return Request(pipe, "DUMP", kLogDumpLine); }

// A run that only sends a request to another process: the send is all it does, so the run loop never
// starts and nothing more goes to the start-up log file.
bool Application::SendRequest(const CommandLine& commandLine)
{
    bool sent = false;
    String failure;
    if (commandLine.GetArgumentCount("SendShutdown") > 0) {
        sent = Request(Path(commandLine.GetArgument("SendShutdown", 0, String())), "STOP", kShutdownLine, &failure);
    } else if (commandLine.GetArgumentCount("SendLogDump") > 0) {
        sent = Request(Path(commandLine.GetArgument("SendLogDump", 0, String())), "DUMP", kLogDumpLine, &failure);
    } else if (commandLine.GetArgumentCount("SendToProc") > 0) {
        const Path pipe(commandLine.GetArgument("SendToProc", 0, String()));
        String message;
        for (int i = 1; i < commandLine.GetArgumentCount("SendToProc"); ++i)
            message += (i > 1 ? " " : "") + commandLine.GetArgument("SendToProc", i, String());
        LogSystem("Sending request to: " + pipe.Text() + "\n\t" + message);
        sent = control::Send(pipe, message, &failure);
    } else {
        return false;
    }
    // The log of a run that only sends stays in its start-up log file: the user is told here.
    if (!sent) std::fprintf(stderr, "%s\n", failure.c_str());
    m_returnCode = sent ? 0 : 1;
    Signal(0);
    if (Log::s_GlobalLog) Log::s_GlobalLog->SetFile(Path(), Log::s_GlobalLog->FileLevel());
    return true;
}

bool Application::Startup(CommandLine& commandLine)
{
    try {
        if (SendRequest(commandLine)) return m_returnCode == 0;
        ProcessCommandLine() = commandLine;
        File::Startup(Path(commandLine.GetArgument(nullptr, -1, String("DovoApp"))));
        m_appName = File::ApplicationName();
        SetLogDir(commandLine);

        Log& log = *Log::s_GlobalLog;
        LogLevel displayLevel = log.DisplayLevel();
        LogLevel fileLevel = log.FileLevel();
        ApplyLevel(commandLine, "LogDisplayLevel", displayLevel);
        ApplyLevel(commandLine, "LogFileLevel", fileLevel);
        log.SetDisplayLevel(displayLevel);
        File::CreateDirectory(m_logDir, true);
        Log::SetLogFolder(m_logDir);
        // Each run starts a new log file; the previous run's is kept as "<name>_old.log".
        log.SetFile(m_logDir / Path(m_appName + ".log"), fileLevel, /*append=*/false);

        if (commandLine.HasSwitch("ListenForShutdown"))
            control::Listen(*this, Path(commandLine.GetArgument("ListenForShutdown", 0, String())));
        control::Listen(*this, Path(SFormat("%u", Platform::ProcessId())));
        if (commandLine.HasSwitch("ReportStatistics"))
            control::ReportEvery(*this, control::StatisticsInterval(commandLine));

        if (commandLine.HasSwitch("SetProcAffinity"))
            Platform::SetEnvironment("VARNEL_PROC_AFFINITY", commandLine.GetAllArguments("SetProcAffinity"), false);

        LibStatic::NotifyStartup(commandLine);
        return true;
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        lifecycle::ReportStartFailure("application", *e, m_returnCode);
        return false;
    }
}

void Application::SetLogDir(CommandLine& commandLine)
{
    File::Startup(Path(commandLine.GetArgument(nullptr, -1, String("DovoApp"))));
    m_appName = File::ApplicationName();

    Path fallback;
    const String machineLogs = Platform::GetEnvironment("VARNEL_MACHINE_LOGS");
    if (!machineLogs.Empty()) fallback = Path(machineLogs) / Path(m_appName);
    Path folder(commandLine.GetArgument("LogFolder", 0, fallback.Text()));
    if (folder.Empty()) folder = File::GetUserDir() / Path("VarnelLogs") / Path(m_appName);
    if (commandLine.HasSwitch("LogSubFolder"))
        folder /= Path(Path::MakeSafe(commandLine.GetAllArguments("LogSubFolder")));
    if (commandLine.HasSwitch("LogWithPID")) folder /= Path(SFormat("%u", Platform::ProcessId()));
    m_logDir = folder;
    LogDebug("Set Log directory to " + m_logDir.Text());
}

void Application::Cleanup()
{
    m_finished.Signal();
    LogSystem(m_appName + " Shut down");
    control::StopAll();
    Log::LogCleanup();
}

void Application::OnStatistics(FILE* out)
{
    const Time now = Time::CurrentTime();
    const char* stamp = "%Y/%m/%d %H:%M:%S.%F";
    const Time elapsed = now - m_startTime;
    std::fprintf(out, "%s: Started %s, Analyzed %s, Elapsed %s\n", m_appName.c_str(), m_startTime.Format(stamp).c_str(),
                 now.Format(stamp).c_str(), elapsed.Format("%H:%m:%s.%x").c_str());
    unsigned long long kernelMs = 0, userMs = 0;
    Platform::ProcessCpuTimes(kernelMs, userMs);
    const unsigned long long totalMs = kernelMs + userMs;
    std::fputs(SFormat("CPU Usage: %llu ms total CPU time (%llu ms kernel time %llu ms user time)\n", totalMs, kernelMs,
                       userMs)
                   .c_str(),
               out);
    const long long elapsedMs = elapsed.TotalMilliseconds();
    std::fprintf(out, "Average: %d%%\n", elapsedMs > 0 ? static_cast<int>(totalMs * 100 / elapsedMs) : 0);
}

Path Application::ReportStatistics(const Path& file)
{
    Path path = file.Empty() ? m_logDir / Path("Statistics.log") : file;
    if (path.IsRelative()) path = File::GetCurrentDir() / path;
    File::CreateDirectory(path.Branch(), true);
    FILE* out = std::fopen(path.c_str(), "a");
    if (!out) return path;
    OnStatistics(out);
    ReportingStatistics(out);
    Log::ReportStatistics(out);
    std::fclose(out);
    return path;
}

bool Application::OnException(Exception* e)
{
    const String heading = "<h1>" + m_appName + " Exception</h1>\r\n";
    if (e) {
        LogFatal("\n\n\t*** Unhandled Exception! Exiting.\n" + e->DisplayAsString());
        Log::DumpAll(heading + e->DisplayAsHtml(), Excessive);
    } else {
        LogFatal("\n\n\t*** Unhandled UNKNOWN Exception! Exiting.\n");
        Log::DumpAll(heading + "<i>Unhandled unknown Exception!</i>", Excessive);
    }
    return false;
}

} // namespace dovo
