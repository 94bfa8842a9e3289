#pragma once

// Threads of the system, created suspended and resumed (NativeThread_posix.cpp, _win32.cpp).

#include "threads/Kernel.h"

#include <cstdint>

namespace dovo::native {

using Entry = void (*)(void* argument);

/// Creates a thread that runs entry(argument) once resumed. Gives the handle to wait on for its end
/// (null on failure), its system id, and the token Resume needs.
kernel::Handle CreateSuspended(Entry entry, void* argument, std::uint32_t& id, void*& resumeToken);
/// Lets the thread run; false when that failed.
bool Resume(void* resumeToken);
/// Called first and last on a thread the library runs: the component object model in the
/// multi-threaded model on Windows; nothing elsewhere.
void EnterThread();
void LeaveThread();
/// Makes the system call atEnd on the calling thread when it ends (once per thread; the same function
/// for every thread). Not a C++ thread_local destructor: on some runtimes those run after the
/// thread-local storage they need is gone.
void CallAtThreadEnd(void (*atEnd)());
/// Makes exit() call atExit while the process's other threads still run (as atexit does for the
/// program itself; a library's own atexit list runs on Windows only after they were ended).
void CallAtProcessExit(void (*atExit)());

} // namespace dovo::native
