#pragma once

// Seams through which later parts of the library feed the exception machinery: the global log (where
// Exception::Log writes) and the thread registry (which names the throwing thread). Exported for the
// library's own tests; not installed.

#include <dovo/Export.h>
#include <dovo/String.h>

#include <cstdint>

namespace dovo::hooks {

/// Writes text to the global log at a level; absent while there is no global log.
using LogWriter = void (*)(signed char level, const String& text);
/// Dumps every log at a level under a heading.
using LogDumper = void (*)(signed char level, const String& heading);
/// The registered name of a thread, empty if none.
using ThreadNamer = String (*)(std::uint64_t threadId);

DOVO_API void SetExceptionLogWriter(LogWriter writer, LogDumper dumper);
DOVO_API void SetThreadNamer(ThreadNamer namer);
/// Writes out what the logs have queued: whatever ends the process at once calls it first.
using LogFlusher = void (*)();
void SetLogFlusher(LogFlusher flusher);
void FlushLogs();
String ThreadName(std::uint64_t threadId);
/// The writer plugged in, or null.
LogWriter ExceptionLogWriter();

} // namespace dovo::hooks
