#pragma once

// The log's file output per platform (LogFile_posix.cpp, LogFile_win32.cpp): a file opened for
// appending, shared for reading, created when missing.

#include <cstddef>

namespace dovo::logfile {

/// The open file, or null (the thread's last OS error tells why).
void* OpenAppend(const char* path);
/// Writes all of the bytes; false on failure.
bool Write(void* file, const char* data, std::size_t size);
void Close(void* file);

} // namespace dovo::logfile
