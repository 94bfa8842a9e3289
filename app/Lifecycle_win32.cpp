// The Windows side of main()'s handlers: the console control handler, the unhandled-exception filter,
// the error mode, the pure-virtual-call handler and run-time messages on standard error.

#include <dovo/Exception.h>

#include "app/Lifecycle.h"
#include "core/Win32Support.h"
#include "log/LoggingThread.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace dovo::lifecycle {

namespace {

std::atomic<bool> g_removed{false};
std::atomic<int> g_handling{0};

BOOL WINAPI ConsoleHandler(DWORD event)
{
    // (Counted before the flag is read: RemoveInterruptHandler sets the flag before it reads the count.)
    ++g_handling;
    const bool handled = g_removed || OnConsoleEvent(static_cast<int>(event));
    --g_handling;
    return handled ? TRUE : FALSE;
}

// Lets the search go on (the process ends as it would have), after reporting a processor fault that no
// thread translated, with the texts the fault translator gives it.
LONG WINAPI PassThrough(EXCEPTION_POINTERS* pointers)
{
    const DWORD code = pointers && pointers->ExceptionRecord ? pointers->ExceptionRecord->ExceptionCode : 0;
    if ((code & 0xF0000000u) == 0xC0000000u) {
        Exception fault(reinterpret_cast<const _EXCEPTION_POINTERS*>(pointers));
        Exception::Log(&fault);
        const String text = "Unhandled processor fault:\n\n" + fault.DisplayAsString();
        std::fputs(text.c_str(), stderr);
        std::fflush(stderr);
        logthread::Flush();
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

void PureCall() { OnPureVirtualCall(); }

} // namespace

bool InstallInterruptHandler()
{
    g_removed = false;
    return SetConsoleCtrlHandler(ConsoleHandler, TRUE) != 0;
}

void RemoveInterruptHandler()
{
    // The handler stays and takes every event from now on, so that none ends the process while its
    // static objects (the executable among them) are destroyed. A call under way finishes first; it
    // ends once the clean-up has set the finished trigger.
    g_removed = true;
    for (int waited = 0; g_handling > 0 && waited < 30000; waited += 10) Sleep(10);
}

void InstallFaultHandlers()
{
    SetUnhandledExceptionFilter(PassThrough);
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    // Code of other compilers reports pure virtual calls here; ours through __cxa_pure_virtual.
    _set_purecall_handler(PureCall);
    _set_error_mode(_OUT_TO_STDERR);
    EnablePureVirtualReport();
    FlushLogsOnAbort();
}

} // namespace dovo::lifecycle
