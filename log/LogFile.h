#pragma once

// The log's file output per platform (LogFile_posix.cpp, LogFile_win32.cpp): a file opened for
// appending, shared for reading, created when missing. Logs make these calls through a table that the
// library's tests may replace (exported for them; not installed).

#include <dovo/Export.h>

#include <cstddef>

namespace dovo::logfile {

/// The open file, or null (the thread's last OS error tells why). busy is set when the file is there
/// but held by someone else for now (worth trying again at once); otherwise it cannot be opened until
/// something outside the program changes.
void* OpenAppend(const char* path, bool& busy);
/// Writes all of the bytes; false on failure.
bool Write(void* file, const char* data, std::size_t size);
/// Pushes what was written to the disk.
void Flush(void* file);
void Close(void* file);

struct Calls
{
    void* (*open)(const char* path, bool& busy);
    bool (*write)(void* file, const char* data, std::size_t size);
    void (*flush)(void* file);
    void (*close)(void* file);
};
/// Puts other calls in place of the platform's (nothing may log meanwhile); returns those in use.
DOVO_API Calls Replace(const Calls& calls);
/// How long a log waits before it tries again a file that could not be opened (5 seconds unless set).
DOVO_API void SetReopenInterval(double seconds);

} // namespace dovo::logfile
