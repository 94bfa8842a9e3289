// Executable: registration, the run state, and the Start / Go / Stop life cycle.

#include <dovo/Application.h>
#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/Executable.h>
#include <dovo/File.h>
#include <dovo/LibStatic.h>
#include <dovo/Log.h>
#include <dovo/Thread.h>

#include "app/Lifecycle.h"
#include "app/ServiceControl.h"

#include <atomic>
#include <cstdio>
#include <memory>

namespace dovo {

namespace {

std::atomic<Executable*> g_executable{nullptr};

bool HasEither(const CommandLine& commandLine, const char* service, const char* daemon)
{
    return commandLine.HasSwitch(service) != 0 || commandLine.HasSwitch(daemon) != 0;
}

} // namespace

Executable::Executable(Application* application) : m_application(application) { g_executable = this; }

Executable::~Executable()
{
    Executable* self = this;
    g_executable.compare_exchange_strong(self, nullptr);
}

Executable* Executable::GetExecutable() { return g_executable; }

void Executable::SetThreadException(Thread* thread)
{
    Executable* executable = g_executable;
    if (!executable) {
        LogWarning((thread ? thread->Name() : String()) +
                   " reported an unhandled exception, but there's no Executable object!");
        return;
    }
    // One pointer store: the run loop handles the last reporter between two of its passes.
    __atomic_store_n(&executable->m_exceptedThread, thread, __ATOMIC_SEQ_CST);
}

bool Executable::IsService() { return service::Active(); }

bool Executable::IsDaemon() { return service::Active(); }

bool Executable::Running() const { return __atomic_load_n(&m_runState, __ATOMIC_SEQ_CST) > 0; }

bool Executable::OnInterrupt()
{
    LogFatal("Unhandled interrupt! Exiting.");
    return false;
}

bool Executable::ThreadException(Thread* thread)
{
    const String name = thread ? thread->Name() : String();
    LogFatal("Child thread unhandled exception! Exiting: " + name);
    Log::DumpAll("<h1>" + Application::GetAppName() + " Child Thread Exception</h1>\r\nThread <b>" +
                     (name.Empty() ? String("Unknown") : name) + "</b> Thread ID <b>" +
                     SFormat("%04x", thread ? thread->ThreadID() : 0u) +
                     "</b>\r\n<p>\r\nUnhandled exception\r\n<p>\r\n<b>Executable Exiting</b>\r\n",
                 Excessive);
    return false;
}

int Executable::Signal(int state)
{
    service::Report(service::StopPending);
    return __atomic_exchange_n(&m_runState, state, __ATOMIC_SEQ_CST);
}

bool Executable::Start(int argc, char** argv)
{
    m_stopped = false;
    service::Report(service::StartPending);
    try {
        CommandLine commandLine;
        if (IsService()) {
            commandLine = service::StoredCommandLine();
            LogDebug("Executable starting with Service command line parameters:\n\t" +
                     commandLine.GetCurrentCommandLine());
        } else {
            commandLine = CommandLine(argc, argv);
            LogDebug("Executable starting with its own command line parameters:\n\t" +
                     commandLine.GetCurrentCommandLine());
        }
        File::Startup(Path(argc > 0 && argv && argv[0] ? argv[0] : ""));
        m_started = true;
        if (!IsService() && RunServiceWord(commandLine)) return false;
        return m_application ? m_application->Startup(commandLine) : true;
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        lifecycle::ReportStartFailure("executable", *e, m_returnCode);
        return false;
    }
}

bool Executable::RunServiceWord(CommandLine& commandLine)
{
    if (HasEither(commandLine, "Service", "Daemon")) {
        StartAsService(commandLine);
        return true;
    }
    // In this order of precedence; only the first word present is acted on.
    static const struct
    {
        const char* service;
        const char* daemon;
        void (Executable::*operation)(CommandLine&);
    } words[] = {{"InstallService", "InstallDaemon", &Executable::InstallService},
                 {"RemoveService", "RemoveDaemon", &Executable::RemoveService},
                 {"StartService", "StartDaemon", &Executable::StartServiceA},
                 {"StopService", "StopDaemon", &Executable::StopService}};
    for (const auto& word : words) {
        if (!HasEither(commandLine, word.service, word.daemon)) continue;
        (this->*word.operation)(commandLine);
        // The operation is all this process does: it stops writing to the start-up log file.
        if (Log::s_GlobalLog) Log::s_GlobalLog->SetFile(Path(), Log::s_GlobalLog->FileLevel());
        return true;
    }
    return false;
}

void Executable::Go()
{
    service::Report(service::Running);
    if (m_application) m_application->OnStarted.Emit();
    while (__atomic_load_n(&m_runState, __ATOMIC_SEQ_CST) >= 1) {
        try {
            if (!m_application || !m_application->Execute()) Signal(0);
            if (Thread* thread = ExceptedThread()) {
                if (ThreadException(thread)) __atomic_store_n(&m_exceptedThread, nullptr, __ATOMIC_SEQ_CST);
                else Signal(0);
            }
        } catch (Exception* e) {
            std::unique_ptr<Exception> owned(e);
            if (!m_application || !m_application->OnException(e)) Signal(0);
        } catch (...) {
            if (!m_application || !m_application->OnException(nullptr)) Signal(0);
        }
    }
    service::Report(service::StopPending);
    if (m_application) m_application->OnStopping.Emit();
}

void Executable::Stop()
{
    // The service's own cycle has stopped already when the process's main comes to its Stop.
    if (m_stopped) return;
    service::Report(service::StopPending);
    try {
        if (m_application) m_application->Cleanup();
        if (m_started) File::Cleanup();
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        LogFatal("Executable threw an exception in Stop!");
        Log::DumpAll("<h1>Executable threw an Exception in Stop</h1>" + e->DisplayAsHtml() + "\r\n", Excessive);
        m_returnCode = 1;
    } catch (...) {
        GlobalLog(Error, "Caught unknown exception in Executable Cleanup handler");
        m_returnCode = 2;
    }
    // The library's clean-up: every thread still running is stopped.
    LibStatic::NotifyCleanup();
    service::SetExitCode(m_returnCode);
    service::Report(service::StopPending);
    m_stopped = true;
    if (m_application) m_application->OnStopped.Emit();
}

Thread* Executable::ExceptedThread() const { return __atomic_load_n(&m_exceptedThread, __ATOMIC_SEQ_CST); }

} // namespace dovo
