// POSIX threads started "suspended": the new thread reports its id, then waits at a gate until it is
// resumed. Its handle is an event set when it has ended, so that waiting for a thread is waiting for
// a kernel object, as on Windows.

#include "threads/NativeThread.h"

#include <atomic>
#include <cstdlib>
#include <initializer_list>
#include <pthread.h>

namespace dovo::native {

namespace {
struct Launch
{
    Entry entry;
    void* argument;
    kernel::Handle gate;    // set by Resume
    kernel::Handle ended;   // set when the thread has ended
    kernel::Handle started; // set once the id is known
    std::uint32_t id = 0;
};

void* Main(void* raw)
{
    auto* launch = static_cast<Launch*>(raw);
    launch->id = kernel::CurrentThreadId();
    kernel::SetEvent(launch->started);
    // Each side closes its own handle to the event: the last close deletes it, after both are done.
    kernel::Close(launch->started);
    kernel::WaitOne(launch->gate, kernel::kInfinite);
    launch->entry(launch->argument);
    kernel::SetEvent(launch->ended);
    kernel::Close(launch->ended);
    kernel::Close(launch->gate);
    delete launch;
    return nullptr;
}
} // namespace

kernel::Handle CreateSuspended(Entry entry, void* argument, std::uint32_t& id, void*& resumeToken)
{
    auto* launch = new Launch{entry, argument, kernel::NewEvent(true, false), kernel::NewEvent(true, false),
                              kernel::NewEvent(true, false)};
    kernel::Handle ended = kernel::Duplicate(launch->ended);
    kernel::Handle gate = kernel::Duplicate(launch->gate);
    kernel::Handle started = kernel::Duplicate(launch->started);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int failed = pthread_create(&thread, &attributes, Main, launch);
    pthread_attr_destroy(&attributes);
    if (failed) {
        for (kernel::Handle h : {launch->gate, launch->ended, launch->started, ended, gate, started}) kernel::Close(h);
        delete launch;
        return nullptr;
    }
    kernel::WaitOne(started, kernel::kInfinite);
    kernel::Close(started);
    id = launch->id; // the launch record is the thread's from here on
    resumeToken = gate;
    return ended;
}

bool Resume(void* resumeToken)
{
    const bool ok = kernel::SetEvent(resumeToken);
    kernel::Close(resumeToken);
    return ok;
}

void EnterThread() {}
void LeaveThread() {}

namespace {
std::atomic<void (*)()> g_atEnd{nullptr};
pthread_key_t g_endKey;
pthread_once_t g_endOnce = PTHREAD_ONCE_INIT;
void RunAtEnd(void*)
{
    if (void (*atEnd)() = g_atEnd.load()) atEnd();
}
void MakeEndKey() { pthread_key_create(&g_endKey, RunAtEnd); }
} // namespace

void CallAtThreadEnd(void (*atEnd)())
{
    g_atEnd = atEnd;
    pthread_once(&g_endOnce, MakeEndKey);
    pthread_setspecific(g_endKey, reinterpret_cast<void*>(1));
}

void CallAtProcessExit(void (*atExit)()) { std::atexit(atExit); }

} // namespace dovo::native
