#include "threads/NativeThread.h"

#include "core/Win32Support.h"

#include <cstdlib>

#include <atomic>
#include <objbase.h>
#include <process.h>

namespace dovo::native {

namespace {
struct Launch
{
    Entry entry;
    void* argument;
};

unsigned __stdcall Main(void* raw)
{
    Launch launch = *static_cast<Launch*>(raw);
    delete static_cast<Launch*>(raw);
    launch.entry(launch.argument);
    return 0;
}
} // namespace

kernel::Handle CreateSuspended(Entry entry, void* argument, std::uint32_t& id, void*& resumeToken)
{
    // Through the C runtime, so that it is set up for the thread.
    auto* launch = new Launch{entry, argument};
    unsigned threadId = 0;
    const auto handle = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, Main, launch, CREATE_SUSPENDED, &threadId));
    if (!handle) {
        delete launch;
        return nullptr;
    }
    id = threadId;
    resumeToken = handle;
    return handle;
}

bool Resume(void* resumeToken) { return ResumeThread(static_cast<HANDLE>(resumeToken)) != static_cast<DWORD>(-1); }

void EnterThread() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
void LeaveThread() { CoUninitialize(); }

namespace {
std::atomic<void (*)()> g_atEnd{nullptr};
// A fiber-local slot's callback runs when each thread that set it ends.
void WINAPI RunAtEnd(void*)
{
    if (void (*atEnd)() = g_atEnd.load()) atEnd();
}
DWORD EndSlot()
{
    static const DWORD slot = ::FlsAlloc(RunAtEnd);
    return slot;
}
} // namespace

void CallAtThreadEnd(void (*atEnd)())
{
    g_atEnd = atEnd;
    const DWORD slot = EndSlot();
    if (slot != FLS_OUT_OF_INDEXES) ::FlsSetValue(slot, reinterpret_cast<void*>(1));
}

void CallAtProcessExit(void (*atExit)())
{
    // The C runtime's process-wide list, which exit() runs before it ends the other threads.
    using OnExit = void* (*)(void (*)());
    if (HMODULE runtime = ::GetModuleHandleA("msvcrt.dll"))
        if (auto onExit = reinterpret_cast<OnExit>(reinterpret_cast<void*>(::GetProcAddress(runtime, "_onexit")))) {
            onExit(atExit);
            return;
        }
    std::atexit(atExit);
}

} // namespace dovo::native
