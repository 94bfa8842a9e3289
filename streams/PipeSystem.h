#pragma once

// The system's side of pipes and named pipes (Pipe_posix.cpp and NamedPipe_posix.cpp, Pipe_win32.cpp
// and NamedPipe_win32.cpp). Handles are as Pipe keeps them: the system's own on Windows, a
// descriptor plus one on POSIX. The classes' steps, messages and log lines are in the portable files.

#include <dovo/String.h>
#include <dovo/_AutoHandle.h>

namespace dovo::pipes {

/// Makes an anonymous pipe (close-on-exec on POSIX); false with the last OS error set.
bool Create(void*& read, void*& write);
void Close(void* handle);
/// One read: the bytes read, 0 at the end (a peer that has gone, or a failure without an error code,
/// counts as the end), -1 on any other failure with error set.
int Read(void* handle, unsigned char* data, int size, int& error);
/// Writes all of data (a named pipe's connection when socket is set); false with error set.
bool Write(void* handle, const unsigned char* data, int size, bool socket, int& error);

enum class Peek { Data, Empty, InvalidFunction, BrokenPipe, Failed };
/// Waits up to seconds for data, or for the peer's end, at the handle's read side (returning at once
/// when either is there) and says which; error is set for Failed.
Peek Wait(void* handle, float seconds, int& error);

enum class Ready { Data, None, Closed, Failed };
/// Wait in the terms of a transport called what ("Pipe", "NamedPipe"): a handle whose peer has gone
/// logs "PeekNamedPipe returned ... what has closed." and gives Closed (Pipe.cpp).
Ready Poll(void* handle, float seconds, const char* what, int& error);

/// The local name of a named pipe whose last component is leaf ("Dovo: NAME").
String LocalName(const String& leaf);
/// The handle of a named pipe's connection as Read, Write and Wait take it.
void* Io(const _AutoHandle& connection);
/// Makes an accepted connection wait in reads and writes, as a client's does (a listening instance
/// does not wait, so that polling it for a client never blocks).
void Waiting(const _AutoHandle& connection);
/// Connects to the listener at local without waiting: the connection (for an _AutoHandle), or null
/// with error set and available false when no listener is there or free.
void* Connect(const String& local, bool& available, int& error);

} // namespace dovo::pipes
