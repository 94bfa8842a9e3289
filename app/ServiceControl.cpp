// The service words of Executable and the running service's side: the service main, the control
// handler's answers and the state reports. The service manager itself is reached through Manager.

#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/Executable.h>
#include <dovo/File.h>
#include <dovo/Log.h>
#include <dovo/Platform.h>

#include "app/Lifecycle.h"
#include "app/ServiceControl.h"
#include "objects/FaultTranslator.h"
#include "threads/NativeThread.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace dovo {

namespace service {

namespace {

constexpr int ErrorServiceManager = 0x20000008;
constexpr int ErrorCreate = 0x20000006;
constexpr int ErrorTimeout = 0x20000009;
constexpr int ErrorDelete = 0x2000000C;

struct Context
{
    std::atomic<int> state{StartPending};
    std::atomic<int> exitCode{0};
};
std::atomic<Context*> g_context{nullptr};

// The process's own vector, which the service's Start is given again.
int g_argc = 0;
char** g_argv = nullptr;

// The OS error is the thread's last one (-1) unless given.
[[noreturn]] void Raise(const char* method, int error, const String& message, int osError = -1)
{
    Exception::Throw("Executable", method, error, message, osError, String(), Error);
}

// The service is named after the application: the program's file name without its extension.
String ServiceName(const CommandLine& commandLine)
{
    return Path(commandLine.GetArgument(nullptr, -1, String("DovoApp"))).BaseName();
}

void PauseBetweenPolls() { std::this_thread::sleep_for(std::chrono::milliseconds(250)); }

// Polls until the service reaches the wanted state: Wait × 4 polls, 250 ms apart.
bool AwaitState(Manager& manager, int wanted, int seconds, int& state)
{
    state = 0;
    for (int poll = 1;; ++poll) {
        if (manager.QueryState(state) && state == wanted) return true;
        if (poll >= static_cast<long long>(seconds) * 4) return false;
        PauseBetweenPolls();
    }
}

void ServiceMain(int argc, char** argv)
{
    // The dispatcher's thread runs the service like one of the library's own threads.
    faults::InstallForThisThread();
    static Context context;
    context.state = StartPending;
    context.exitCode = 0;
    const String name = ServiceName(StoredCommandLine());
    if (!RegisterControlHandler(name)) {
        LogError("Could not register the service control handler");
        return;
    }
    native::EnterThread();
    g_context = &context;
    Platform::SetRunningAsService(true);

    if (argc < 2) {
        LogSystem("Service started with no custom parameters: Using service commandline:\n\t" +
                  StoredCommandLine().GetCurrentCommandLine());
    } else {
        // The manager's vector lives only as long as this call: the service keeps its own copy.
        static std::vector<std::string> words;
        static std::vector<char*> vector;
        words.assign(argv, argv + argc);
        vector.clear();
        for (std::string& word : words) vector.push_back(word.data());
        vector.push_back(nullptr);
        StoredCommandLine() = CommandLine(argc, vector.data());
        LogSystem("Service started with custom command line parameters: OVERRIDING service command line:\n\t" +
                  StoredCommandLine().GetCurrentCommandLine());
    }
    LogInfo("Set App Name '" + name + "'");

    Executable* executable = Executable::GetExecutable();
    if (executable) {
        lifecycle::Drive(*executable, g_argc, g_argv);
        context.exitCode = executable->ReturnCode();
    }
    context.state = Stopped;
    if (!ReportState(Stopped, context.exitCode)) LogError("Could not report service stopped");
    Platform::SetRunningAsService(false);
    g_context = nullptr;
    native::LeaveThread();
}

// Starting and stopping differ only in their words, the request and the state waited for.
struct Request
{
    const char* method;
    const char* verb;
    Manager::Access access;
    const char* openFailure;
    bool (Manager::*send)();
    int sendError;
    const char* sendFailure;
    State wanted;
    const char* timeOut;
    const char* done;
};

void StartOrStop(CommandLine& commandLine, const Request& request)
{
    LogInfo(String("Attempting to ") + request.verb + " service");
    const String name = ServiceName(commandLine);
    Manager manager;
    if (!manager.Connect(request.access))
        Raise(request.method, ErrorServiceManager, "Could not connect to service manager");
    if (!manager.Open(name, request.access)) Raise(request.method, ErrorServiceManager, request.openFailure);
    if (!(manager.*request.send)()) Raise(request.method, request.sendError, request.sendFailure);
    int state = 0;
    if (commandLine.HasSwitch("Wait") &&
        !AwaitState(manager, request.wanted, commandLine.GetArgument("Wait", 0, 30), state))
        Raise(request.method, ErrorTimeout, SFormat(request.timeOut, state));
    LogInfo(String("Successfully ") + request.done + " service " + name);
}

} // namespace

CommandLine& StoredCommandLine()
{
    static auto* commandLine = new CommandLine;
    return *commandLine;
}

bool Active() { return g_context.load() != nullptr; }

void Report(State state)
{
    Context* context = g_context;
    if (!context) return;
    context->state = state;
    if (!ReportState(state, context->exitCode) && state == StopPending) LogError("Could not report service stopping");
}

void SetExitCode(int code)
{
    if (Context* context = g_context) context->exitCode = code;
}

unsigned OnControl(unsigned control)
{
    switch (control) {
    case 4: // interrogate
        if (Context* context = g_context) ReportState(static_cast<State>(context->state.load()), context->exitCode);
        return 0;
    case 1: // stop
    case 5: // shutdown
        LogSystem("Service control has requested termination");
        if (Executable* executable = Executable::GetExecutable()) executable->Signal(0);
        return 0;
    default: return 120; // call not implemented
    }
}

String ImagePath(const Config& config) { return "\"" + config.program + "\" " + config.arguments; }

} // namespace service

using service::Manager;

void Executable::InstallService(CommandLine& commandLine)
{
    LogInfo("Attempting to install service");
    service::Config config;
    config.displayName = commandLine.GetAllArguments("Name");
    config.user = commandLine.GetAllArguments("User");
    config.password = commandLine.GetAllArguments("Password");
    config.description = commandLine.GetAllArguments("Description");
    // None of these belongs in the command line the service is started with.
    for (const char* name : {"Name", "User", "Password", "Description"}) commandLine.RemoveSwitch(name);
    const String refusal = service::Refusal(config);
    if (!refusal.Empty()) service::Raise("InstallService", service::ErrorCreate, refusal, 0);

    Manager manager;
    if (!manager.Connect(Manager::ForCreate))
        service::Raise("InstallService", service::ErrorServiceManager, "Could not connect to service manager");
    config.name = service::ServiceName(commandLine);
    config.program = File::GetExecutablePath().Text();
    config.arguments = commandLine.GetCurrentCommandLine() + " -Service";
    if (config.displayName.Empty()) config.displayName = config.name;
    if (!manager.Create(config)) service::Raise("InstallService", service::ErrorCreate, "Could not create new service");
    LogSystem("Installed " + config.name + " (" + config.displayName + ") as service:\n\n" +
              service::ImagePath(config));
}

void Executable::RemoveService(CommandLine& commandLine)
{
    LogInfo("Attempting to remove service");
    const String name = service::ServiceName(commandLine);
    Manager manager;
    if (!manager.Connect(Manager::ForRemove))
        service::Raise("RemoveService", service::ErrorServiceManager, "Could not connect to service manager");
    if (!manager.Open(name, Manager::ForRemove))
        service::Raise("RemoveService", service::ErrorServiceManager, "Could not open the service to remove it");
    if (!manager.Delete())
        service::Raise("RemoveService", service::ErrorDelete,
                       "Could not delete the service from the service control manager");
    LogInfo("Successfully removed service " + name);
}

void Executable::StartServiceA(CommandLine& commandLine)
{
    service::StartOrStop(commandLine,
                         {"StartServiceA", "start", Manager::ForStart, "Could not open the service to start it",
                          &Manager::Start, service::ErrorServiceManager, "Could not start the service",
                          service::Running, "Timed out waiting for service to start: %d", "started"});
}

void Executable::StopService(CommandLine& commandLine)
{
    // "to remove it": the manager's message for a service it cannot open, whatever was asked of it.
    service::StartOrStop(commandLine,
                         {"StopService", "stop", Manager::ForStop, "Could not open the service to remove it",
                          &Manager::Stop, service::ErrorTimeout, "Could not stop the service", service::Stopped,
                          "Timed out waiting for service to stop: %d", "stopped"});
}

void Executable::StartAsService(CommandLine& commandLine)
{
    LogInfo("   ...   Preparing to start as service   ...");
    service::StoredCommandLine() = commandLine;
    LogInfo("Storing Serivce commandline:\n\t" + commandLine.GetCurrentCommandLine());
    service::g_argc = commandLine.Argc();
    service::g_argv = commandLine.Argv();
    LogInfo(" Executable about to start service control dispather for operation as a service.");
    if (!service::RunDispatcher(service::ServiceName(commandLine), service::ServiceMain))
        service::Raise("StartAsService", service::ErrorServiceManager, "Could not start service control dispatcher");
}

} // namespace dovo
