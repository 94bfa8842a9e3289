#pragma once

// The application's control channel and its statistics thread: listeners that take one-word commands
// from other processes over named pipes, the sending side of those commands, and the thread that writes
// the periodic statistics reports. All threads started here are stopped by StopAll.

#include <dovo/Path.h>
#include <dovo/String.h>

namespace dovo {
class Application;
class CommandLine;
} // namespace dovo

namespace dovo::control {

/// Sends message to the listener called name; true when it was sent. A failure is logged (its exception)
/// and its message given in failure when that is not null.
bool Send(const Path& name, const String& message, String* failure = nullptr);

/// Starts a listener on name for application (which must outlive it, or StopAll be called first).
void Listen(Application& application, const Path& name);

/// The report interval the ReportStatistics switch asks for: 900 seconds without an argument, 30 for an
/// argument that is not a positive number.
double StatisticsInterval(const CommandLine& commandLine);

/// Starts the thread that reports every interval seconds, first at once.
void ReportEvery(Application& application, double seconds);

/// Stops every listener and the statistics thread and waits for them.
void StopAll();

} // namespace dovo::control
