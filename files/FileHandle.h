#pragma once

// Open files as the system knows them (FileHandle_posix.cpp, FileHandle_win32.cpp). A failed call
// returns -1 and leaves the system's error as the thread's last OS error.

#include <cstdint>

namespace dovo::filehandle {

constexpr std::intptr_t kInvalid = -1;

/// Opens path with File's mode bits, shared for reading and writing by others.
std::intptr_t Open(const char* path, int mode);
/// Whether the last OS error says that the file or its folder does not exist.
bool LastErrorIsMissing();
/// Bytes read, 0 at the end.
int Read(std::intptr_t handle, unsigned char* data, int size);
/// Writes all of data; -1 when the system refused part of it.
int Write(std::intptr_t handle, const unsigned char* data, int size);
/// whence: 0 from the beginning, 1 from the current position, 2 from the end.
long long Seek(std::intptr_t handle, long long offset, int whence);
long long Size(std::intptr_t handle);
void Close(std::intptr_t handle);

} // namespace dovo::filehandle
