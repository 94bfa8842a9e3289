#pragma once

// The process-wide machinery behind main(): driving the executable, the handlers main installs, and
// the way the process ends when it must end at once. Internal to the library.

#include <dovo/Export.h>

namespace dovo {
class Exception;
class Executable;
} // namespace dovo

namespace dovo::lifecycle {

/// Start, then Go when Start succeeded, then Stop, with every failure logged and dumped. Used by main()
/// and by the service's own main.
void Drive(Executable& executable, int argc, char** argv);

/// Installs the interrupt handler: the console control handler on Windows, on POSIX handlers for
/// SIGINT, SIGQUIT, SIGHUP and SIGTERM that hand the signal to a thread of their own. false when it
/// could not be installed.
bool InstallInterruptHandler();
/// Ends the interrupt handling before the program's statics go: interrupts from then on are taken and
/// ignored, so that the process ends with its own exit code.
void RemoveInterruptHandler();
/// The fault-related set-up of main(): unhandled-exception filter, error mode, pure-virtual-call
/// handler and run-time error messages on standard error (their nearest equivalents on POSIX).
void InstallFaultHandlers();

/// What the interrupt handler does with a console control event (0 Ctrl-C, 1 Ctrl-Break, 2 close,
/// 5 log-off, 6 shutdown); true when the event is dealt with. Ends the process with exit code 3 when
/// the executable does not finish within 10 seconds of being signalled, and with -1 when there is no
/// executable. (Exported for the library's tests: most events cannot be sent from outside.)
DOVO_API bool OnConsoleEvent(int event);
/// What the pure-virtual-call handler does before the run-time takes over.
void OnPureVirtualCall();
/// From now on a pure virtual call is reported (OnPureVirtualCall) before the run-time ends the process.
void EnablePureVirtualReport();
bool PureVirtualReportEnabled();

/// Makes std::terminate and abort write out the queued log lines before the process goes.
void FlushLogsOnAbort();

/// Ends the process with code now, from any thread: the queued log lines and the streams are flushed, but neither
/// atexit handlers nor static destructors run (the main thread may still be inside the application).
[[noreturn]] void EndProcess(int code);

/// The start-up failure report of the executable ("executable") or the application ("application"):
/// logged as fatal and written to standard error; the return code becomes the exception's error number
/// (98 when it has none) unless one is set already.
void ReportStartFailure(const char* who, const Exception& e, int& returnCode);

} // namespace dovo::lifecycle
