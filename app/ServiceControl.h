#pragma once

// The service manager seen from the library: a small interface in the service control manager's
// shape that the portable service operations (ServiceControl.cpp) drive, with one implementation per
// platform (the service control manager on Windows; unit files, systemctl and the notify socket under
// systemd). Internal to the library.

#include <dovo/CommandLine.h>
#include <dovo/String.h>

#include <memory>

namespace dovo::service {

/// The service states as the service control manager numbers them.
enum State { Stopped = 1, StartPending = 2, StopPending = 3, Running = 4 };

/// What the manager needs to register a service.
struct Config
{
    String name;
    String displayName;
    String description;
    /// The account; empty for the system's own.
    String user;
    String password;
    /// The program followed by its words, as the service is to be started.
    String program;
    String arguments;
};

/// One conversation with the service manager. Every call returns false on failure, the OS error then
/// being the thread's last error (0 when the failure has none).
class Manager
{
public:
    enum Access { ForCreate, ForRemove, ForStart, ForStop };
    Manager();
    ~Manager();
    bool Connect(Access access);
    bool Open(const String& name, Access access);
    bool Create(const Config& config);
    bool Delete();
    bool Start();
    bool Stop();
    bool QueryState(int& state);

private:
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;
    struct Native;
    std::unique_ptr<Native> m_native;
};

/// Why the platform's service manager cannot register the service as configured; empty when it can.
String Refusal(const Config& config);

/// The image path the service is registered with, as the log shows it: the quoted program, a blank and
/// the words.
String ImagePath(const Config& config);

/// Runs the dispatcher for the one service name: serviceMain is called with the service's start
/// parameters (on the dispatcher's thread on Windows, on this thread under systemd) and the call
/// returns when the service has stopped. false when no dispatcher could be started.
bool RunDispatcher(const String& name, void (*serviceMain)(int argc, char** argv));
/// Registers the control handler for the running service; false on failure.
bool RegisterControlHandler(const String& name);
/// Reports a state (and, with Stopped, the exit code) to the service manager; false on failure.
bool ReportState(State state, int exitCode);

/// The portable answer to a control request (1 stop, 4 interrogate, 5 shutdown): 0 when handled,
/// 120 (call not implemented) otherwise.
unsigned OnControl(unsigned control);

/// The command line stored for the service, and whether the process runs as one now.
CommandLine& StoredCommandLine();
bool Active();
/// Reports a state of the running service; nothing outside a service.
void Report(State state);
void SetExitCode(int code);

} // namespace dovo::service
