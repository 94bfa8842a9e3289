// Kernel objects for POSIX systems: mutexes (owned, recursive), events (manual or auto reset) and
// semaphores with a maximum, with the waits of the Windows kernel including wait-all. All object
// state is guarded by one process-wide lock, so that a wait on several objects sees and takes them at
// one instant; each waiting thread has a condition variable of its own and is woken only by the
// objects it waits on.

#include "threads/Kernel_posix.h"
#include "threads/Kernel.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace dovo::kernel {

namespace {

std::mutex g_lock;

struct Waiter
{
    std::condition_variable wake;
};

struct Object : ObjectHead
{
    enum Kind { MutexKind, EventKind, SemaphoreKind, CustomKind } kind;
    int handles = 1; // open handles, plus one per wait in progress
    std::vector<Waiter*> waiters;
    bool signalled = false, manualReset = false; // events
    int count = 0, maximum = 0;                  // semaphores
    std::uint32_t owner = 0;                     // mutexes
    int recursion = 0;

    explicit Object(Kind k) : kind(k) {}
    ~Object() { delete custom; }

    bool Ready(std::uint32_t thread) const
    {
        switch (kind) {
        case MutexKind: return owner == 0 || owner == thread;
        case EventKind: return signalled;
        case SemaphoreKind: return count > 0;
        default: return false;
        }
    }
    void Take(std::uint32_t thread)
    {
        switch (kind) {
        case MutexKind:
            owner = thread;
            ++recursion;
            break;
        case EventKind:
            if (!manualReset) signalled = false;
            break;
        case SemaphoreKind: --count; break;
        default: break;
        }
    }
    void Wake()
    {
        for (Waiter* w : waiters) w->wake.notify_one();
    }
};

Object* Get(Handle h) { return IsValid(h) ? static_cast<Object*>(static_cast<ObjectHead*>(h)) : nullptr; }

// Drops one reference; the last one deletes the object. Called with g_lock held.
void Unref(Object* o)
{
    if (--o->handles == 0) delete o;
}

bool Fail(int error)
{
    errno = error;
    return false;
}

Handle Make(Object* o) { return static_cast<Handle>(static_cast<ObjectHead*>(o)); }

std::uint32_t WaitMany(const Handle* handles, int count, bool all, std::uint32_t milliseconds);

} // namespace

Handle CreateCustom(Custom* custom)
{
    auto* o = new Object(Object::CustomKind);
    o->custom = custom;
    return Make(o);
}

Handle NewMutex() { return Make(new Object(Object::MutexKind)); }

Handle NewEvent(bool manualReset, bool signalled)
{
    auto* o = new Object(Object::EventKind);
    o->manualReset = manualReset;
    o->signalled = signalled;
    return Make(o);
}

Handle NewSemaphore(int initial, int maximum)
{
    if (maximum <= 0 || initial < 0 || initial > maximum) return Fail(EINVAL), nullptr;
    auto* o = new Object(Object::SemaphoreKind);
    o->count = initial;
    o->maximum = maximum;
    return Make(o);
}

bool SetEvent(Handle event)
{
    std::lock_guard<std::mutex> lock(g_lock);
    Object* o = Get(event);
    if (!o || o->kind != Object::EventKind) return Fail(EBADF);
    o->signalled = true;
    o->Wake();
    return true;
}

bool ResetEvent(Handle event)
{
    std::lock_guard<std::mutex> lock(g_lock);
    Object* o = Get(event);
    if (!o || o->kind != Object::EventKind) return Fail(EBADF);
    o->signalled = false;
    return true;
}

bool ReleaseMutex(Handle mutex)
{
    std::lock_guard<std::mutex> lock(g_lock);
    Object* o = Get(mutex);
    if (!o || o->kind != Object::MutexKind) return Fail(EBADF);
    if (o->owner != CurrentThreadId() || o->recursion == 0) return Fail(EPERM);
    if (--o->recursion == 0) {
        o->owner = 0;
        o->Wake();
    }
    return true;
}

bool ReleaseSemaphore(Handle semaphore, int count, int* previous)
{
    std::lock_guard<std::mutex> lock(g_lock);
    Object* o = Get(semaphore);
    if (!o || o->kind != Object::SemaphoreKind) return Fail(EBADF);
    if (count <= 0 || count > o->maximum - o->count) return Fail(EOVERFLOW);
    if (previous) *previous = o->count;
    o->count += count;
    o->Wake();
    return true;
}

std::uint32_t WaitAll(const Handle* objects, int count, std::uint32_t milliseconds)
{
    return WaitMany(objects, count, true, milliseconds);
}

std::uint32_t WaitOne(Handle object, std::uint32_t milliseconds) { return WaitMany(&object, 1, true, milliseconds); }

namespace {
std::uint32_t WaitMany(const Handle* handles, int count, bool all, std::uint32_t milliseconds)
{
    const std::uint32_t thread = CurrentThreadId();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    if (count <= 0 || count > kMaximumWaitObjects) return errno = EINVAL, kWaitFailed;
    std::unique_lock<std::mutex> lock(g_lock);
    Object* objects[kMaximumWaitObjects];
    for (int i = 0; i < count; ++i) {
        Object* o = Get(handles[i]);
        if (!o || o->kind == Object::CustomKind) {
            for (int k = 0; k < i; ++k) Unref(objects[k]);
            errno = EBADF;
            return kWaitFailed;
        }
        ++o->handles; // alive for the wait, even if a handle is closed meanwhile
        objects[i] = o;
    }
    Object** const end = objects + count;

    Waiter me;
    bool registered = false;
    std::uint32_t result = kWaitTimeout;
    for (;;) {
        if (all) {
            if (std::all_of(objects, end, [&](Object* o) { return o->Ready(thread); })) {
                for (Object** o = objects; o != end; ++o) (*o)->Take(thread);
                result = kWaitObject0;
                break;
            }
        } else {
            Object** ready = std::find_if(objects, end, [&](Object* o) { return o->Ready(thread); });
            if (ready != end) {
                (*ready)->Take(thread);
                result = kWaitObject0 + static_cast<std::uint32_t>(ready - objects);
                break;
            }
        }
        if (milliseconds == 0) break;
        if (!registered) {
            for (Object** o = objects; o != end; ++o) (*o)->waiters.push_back(&me);
            registered = true;
        }
        if (milliseconds == kInfinite) me.wake.wait(lock);
        else if (me.wake.wait_until(lock, deadline) == std::cv_status::timeout) milliseconds = 0; // look once more
    }
    for (Object** o = objects; o != end; ++o) {
        if (registered) (*o)->waiters.erase(std::find((*o)->waiters.begin(), (*o)->waiters.end(), &me));
        Unref(*o);
    }
    return result;
}
} // namespace

bool FailedOnUnknownHandle() { return errno == EBADF; }

// An object of the library's own: no wait takes it.
Handle UnknownHandle() { return CreateCustom(new Custom); }

Handle Duplicate(Handle object)
{
    std::lock_guard<std::mutex> lock(g_lock);
    Object* o = Get(object);
    if (!o) return Fail(EBADF), nullptr;
    ++o->handles;
    return object;
}

bool Close(Handle object)
{
    std::lock_guard<std::mutex> lock(g_lock);
    Object* o = Get(object);
    if (!o) return Fail(EBADF);
    Unref(o);
    return true;
}

namespace {
// Read on every lock operation: a plain thread-local word of the executable's static TLS block.
__attribute__((tls_model("initial-exec"))) thread_local std::uint32_t t_threadId = 0;
} // namespace

std::uint32_t CurrentThreadId()
{
    if (__builtin_expect(t_threadId == 0, 0)) t_threadId = static_cast<std::uint32_t>(syscall(SYS_gettid));
    return t_threadId;
}

} // namespace dovo::kernel
