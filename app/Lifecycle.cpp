// The process-wide parts of a program's life: driving the executable, the interrupt handler's decision,
// the pure-virtual-call report, and the start-up failure report.

#include <dovo/Application.h>
#include <dovo/Exception.h>
#include <dovo/Executable.h>
#include <dovo/Log.h>

#include "app/Lifecycle.h"
#include "log/LoggingThread.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>

namespace dovo::lifecycle {

namespace {
std::atomic<bool> g_reportPureVirtual{false};
std::terminate_handler g_terminate = nullptr;

void OnTerminate()
{
    logthread::Flush();
    if (g_terminate) g_terminate();
    std::abort();
}

void OnAbort(int)
{
    logthread::Flush();
    std::signal(SIGABRT, SIG_DFL);
    std::raise(SIGABRT);
}
} // namespace

void FlushLogsOnAbort()
{
    g_terminate = std::set_terminate(OnTerminate);
    std::signal(SIGABRT, OnAbort);
}

bool PureVirtualReportEnabled() { return g_reportPureVirtual; }

void Drive(Executable& executable, int argc, char** argv)
{
    try {
        if (executable.Start(argc, argv)) executable.Go();
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        LogFatal("Executable threw an exception in Startup or Execute");
        Log::DumpAll("<h1>Executable threw an Exception in Startup or Execute</h1>" + e->DisplayAsHtml() + "\r\n",
                     Excessive);
    } catch (...) {
        LogFatal("Executable threw an unknown exception in Startup or Execute");
        Log::DumpAll("<h1>Executable threw an unknown Exception in Startup or Execute</h1>\r\n", Excessive);
    }
    try {
        executable.Stop();
    } catch (...) {
        RemoveInterruptHandler();
        std::exit(2);
    }
}

bool OnConsoleEvent(int event)
{
    Executable* executable = Executable::GetExecutable();
    if (!executable) EndProcess(-1);
    switch (event) {
    case 0: // Ctrl-C
    case 1: // Ctrl-Break
    case 2: // close
    case 6: // system shutdown
        break;
    case 5: // log-off: a service outlives the user's log-on
        if (Executable::IsService()) return true;
        break;
    default: return true;
    }
    if (executable->OnInterrupt()) return true;
    executable->Signal(0);
    Application* application = Application::GetApplication();
    if (!application || application->Finished().Wait(10.0f)) return true;
    LogFatal("Interrupt signaled the Executable, but timed out waiting for it to die.");
    // The "%s" belongs to the text: the pieces are joined, not formatted.
    Log::DumpAll("<h1>" + Application::GetAppName() + "%s not responding to interrupt attempt</h1>", Excessive);
    EndProcess(3);
}

void OnPureVirtualCall()
{
    LogFatal("A Pure virtual method was called.\n\tAn unhandled exception, maybe?");
    if (Executable* executable = Executable::GetExecutable()) executable->Signal(0);
    Log::DumpAll("<h1>Pure virtual method called!</h1>", Excessive);
}

void EnablePureVirtualReport() { g_reportPureVirtual = true; }

void EndProcess(int code)
{
    logthread::Flush();
    std::fflush(nullptr);
    std::_Exit(code);
}

void ReportStartFailure(const char* who, const Exception& e, int& returnCode)
{
    const String stars('*', 53);
    const Path logFile = Log::s_GlobalLog ? Log::s_GlobalLog->Filename() : Path();
    const String text = "\n\n" + stars + "\n\nThe " + who +
                        " failed to start.\nPlease check the following log file for more information\n\n\t" +
                        logFile.Text() +
                        "\n\nIf you continue to experience this problem,\nplease send the Startup log file to "
                        "Quenlith technical support\n\n" +
                        stars + "\n\n";
    LogFatal(text);
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
    if (returnCode == 0) returnCode = e.Error() != 0 ? e.Error() : 98;
}

} // namespace dovo::lifecycle
