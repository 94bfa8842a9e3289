// Kernel objects for POSIX systems: mutexes (owned, recursive), events (manual or auto reset) and
// semaphores with a maximum, with the waits of the Windows kernel including wait-all.
//
// Events and semaphores keep their state in one atomic word and their waiters sleep on a futex, so
// that a signal or post nobody waits for is one atomic operation and a wait on an available count one
// compare-and-swap. Mutexes, and waits on several objects at once, use one process-wide lock instead:
// a wait-all sees and takes its objects under it, each waiting thread with a condition variable of its
// own, woken only by the objects it waits on. While such a wait is registered with an event or a
// semaphore, the object's word says so, and whoever signals or posts it does so under the lock and
// wakes the registered waits too.

#include "threads/Kernel_posix.h"
#include "threads/Kernel.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <ctime>
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

// The state word of events and semaphores. Its low half is the value futex waits compare: for a
// semaphore or an auto-reset event the counts posted and not yet taken; for a manual-reset event
// bit 0 "signalled" and above it the number of times it was set (so a waiter knows it was set even if
// reset at once). The high half counts the threads sleeping on the value, and its top bit is set while
// waits on several objects are registered.
using State = std::uint64_t;
constexpr State kSleeper = State{1} << 32;
constexpr State kRegistered = State{1} << 63;
constexpr std::uint32_t kSignalled = 1;

std::uint32_t Value(State s) { return static_cast<std::uint32_t>(s); }
std::uint32_t Sleepers(State s) { return static_cast<std::uint32_t>((s & ~kRegistered) >> 32); }

struct Object : ObjectHead
{
    enum Kind { MutexKind, ManualEventKind, AutoEventKind, SemaphoreKind, CustomKind } kind;
    std::atomic<int> handles{1}; // open handles, plus one per sleeping wait
    std::atomic<State> state{0};
    std::uint32_t maximum = 1; // counts a semaphore (an auto-reset event: one) may hold

    // Under g_lock:
    std::vector<Waiter*> waiters; // waits on several objects, and waits on mutexes
    int registered = 0;           // waits on several objects among them
    std::uint32_t owner = 0;      // mutexes
    int recursion = 0;

    explicit Object(Kind k) : kind(k) {}
    ~Object() { delete custom; }

    bool Counts() const { return kind == AutoEventKind || kind == SemaphoreKind; }
    // The futex word: the value half of the state.
    const void* Value() const
    {
        return reinterpret_cast<const std::uint32_t*>(&state) + (std::endian::native == std::endian::little ? 0 : 1);
    }
    void Wake()
    {
        for (Waiter* w : waiters) w->wake.notify_one();
    }
};
static_assert(std::atomic<State>::is_always_lock_free);

Object* Get(Handle h) { return IsValid(h) ? static_cast<Object*>(static_cast<ObjectHead*>(h)) : nullptr; }

Object* Get(Handle h, bool (*kind)(Object::Kind))
{
    Object* o = Get(h);
    return o && kind(o->kind) ? o : nullptr;
}

bool IsEvent(Object::Kind k) { return k == Object::ManualEventKind || k == Object::AutoEventKind; }
bool IsSemaphore(Object::Kind k) { return k == Object::SemaphoreKind; }
bool IsMutex(Object::Kind k) { return k == Object::MutexKind; }
bool IsWaitable(Object::Kind k) { return k != Object::CustomKind; }

// Drops one reference; the last one deletes the object.
void Unref(Object* o)
{
    if (o->handles.fetch_sub(1, std::memory_order_acq_rel) == 1) delete o;
}

bool Fail(int error)
{
    errno = error;
    return false;
}

Handle Make(Object* o) { return static_cast<Handle>(static_cast<ObjectHead*>(o)); }

// The counts a wait would find: those posted beyond what sleeping waiters are owed. (A post while
// threads sleep hands its counts to them, as the system's semaphores do, even before they run.)
std::uint32_t Available(State s) { return Value(s) > Sleepers(s) ? Value(s) - Sleepers(s) : 0; }

enum class Change { Apply, Keep, Refuse };

// Changes an event's or semaphore's state with one compare-and-swap (again after a lost race): change
// computes the new state from the old one. Sleepers are woken by wakes(old) (a count; none for 0).
// While waits on several objects are registered, this runs under g_lock and wakes them too. After the
// swap nothing of the object is touched but the futex word's address: a woken waiter may already have
// closed the object.
template <typename ChangeOf, typename WakesOf>
Change Update(Object* o, ChangeOf change, WakesOf wakes, bool locked = false)
{
    State s = o->state.load(std::memory_order_relaxed);
    for (;;) {
        if ((s & kRegistered) && !locked) {
            std::lock_guard<std::mutex> lock(g_lock);
            const bool registered = o->state.load(std::memory_order_relaxed) & kRegistered;
            const Change result = Update(o, change, wakes, true);
            if (registered && result == Change::Apply) o->Wake(); // (the registered waits hold the object)
            return result;
        }
        State to = s;
        const Change c = change(s, to);
        if (c != Change::Apply) return c;
        if (o->state.compare_exchange_weak(s, to, std::memory_order_seq_cst, std::memory_order_relaxed)) {
            if (const int n = wakes(s)) FutexWakeAt(o->Value(), n);
            return c;
        }
    }
}

// Takes one count without waiting; false when none is there.
bool TakeCount(Object* o)
{
    State s = o->state.load(std::memory_order_relaxed);
    while (Value(s) > 0)
        if (o->state.compare_exchange_weak(s, s - 1, std::memory_order_acquire, std::memory_order_relaxed)) return true;
    return false;
}

// Adds counts; a semaphore refuses counts beyond its maximum, an auto-reset event ignores them.
bool AddCounts(Object* o, int count, int* previous, bool locked = false)
{
    std::uint32_t before = 0;
    const auto add = [&](State s, State& to) {
        before = Available(s);
        if (static_cast<std::uint32_t>(count) > o->maximum - before)
            return o->kind == Object::AutoEventKind ? Change::Keep : Change::Refuse;
        to = s + static_cast<std::uint32_t>(count);
        return Change::Apply;
    };
    // Only sleepers no earlier count was handed to need a wake: one already woken takes its count
    // when it runs, and waking it again would cost a system call per post.
    const auto wakes = [count](State s) {
        const std::uint32_t unserved = Sleepers(s) > Value(s) ? Sleepers(s) - Value(s) : 0;
        return static_cast<int>(std::min<std::uint32_t>(count, unserved));
    };
    if (Update(o, add, wakes, locked) == Change::Refuse) return Fail(EOVERFLOW);
    if (previous) *previous = static_cast<int>(before);
    return true;
}

timespec Deadline(std::uint32_t milliseconds)
{
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    t.tv_sec += milliseconds / 1000;
    t.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (t.tv_nsec >= 1000000000) t.tv_sec += 1, t.tv_nsec -= 1000000000;
    return t;
}

// A wait on one event or semaphore that found nothing to take: sleeps on the value until it can take
// (or, for a manual-reset event, until the event was set after the wait began) or the time is up.
std::uint32_t Sleep(Object* o, std::uint32_t milliseconds)
{
    o->handles.fetch_add(1, std::memory_order_relaxed); // alive for the wait, even if closed meanwhile
    const bool manual = o->kind == Object::ManualEventKind;
    std::uint32_t result = kWaitTimeout;
    State s = o->state.load(std::memory_order_acquire); // (a manual-reset event found set is taken as is)
    // Counted as a sleeper only while there is nothing to take: so a post that finds no sleeper never
    // needs to wake one.
    for (;;) {
        if (manual ? (Value(s) & kSignalled) : Value(s) > 0) {
            if (manual || o->state.compare_exchange_weak(s, s - 1, std::memory_order_acquire)) {
                result = kWaitObject0;
                break;
            }
            continue;
        }
        if (o->state.compare_exchange_weak(s, s + kSleeper, std::memory_order_seq_cst)) break;
    }
    if (result == kWaitTimeout) {
        const std::uint32_t seen = Value(s); // (a manual-reset event's: not signalled, set so many times)
        timespec deadline{};
        if (milliseconds != kInfinite) deadline = Deadline(milliseconds);
        bool timedOut = false;
        s += kSleeper;
        for (;;) {
            if (manual ? Value(s) != seen : Value(s) > 0) {
                // Taken (a count, and no longer a sleeper) or set since the wait began.
                if (o->state.compare_exchange_weak(s, s - kSleeper - (manual ? 0 : 1), std::memory_order_acquire)) {
                    result = kWaitObject0;
                    break;
                }
                continue;
            }
            if (timedOut) {
                if (o->state.compare_exchange_weak(s, s - kSleeper, std::memory_order_relaxed)) break;
                continue;
            }
            timedOut = !FutexWaitUntil(o->Value(), manual ? seen : 0, milliseconds == kInfinite ? nullptr : &deadline);
            s = o->state.load(std::memory_order_acquire);
        }
    }
    Unref(o);
    return result;
}

std::uint32_t WaitMany(const Handle* handles, int count, std::uint32_t milliseconds);

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
    auto* o = new Object(manualReset ? Object::ManualEventKind : Object::AutoEventKind);
    o->state.store(signalled ? 1 : 0, std::memory_order_relaxed);
    return Make(o);
}

Handle NewSemaphore(int initial, int maximum)
{
    if (maximum <= 0 || initial < 0 || initial > maximum) return Fail(EINVAL), nullptr;
    auto* o = new Object(Object::SemaphoreKind);
    o->state.store(static_cast<std::uint32_t>(initial), std::memory_order_relaxed);
    o->maximum = static_cast<std::uint32_t>(maximum);
    return Make(o);
}

bool SetEvent(Handle event)
{
    Object* o = Get(event, IsEvent);
    if (!o) return Fail(EBADF);
    if (o->kind == Object::AutoEventKind) return AddCounts(o, 1, nullptr);
    Update(
        o,
        [](State s, State& to) {
            if (Value(s) & kSignalled) return Change::Keep;
            to = (s & ~State{0xFFFFFFFFu}) | ((Value(s) + 2) | kSignalled); // set once more
            return Change::Apply;
        },
        [](State s) { return Sleepers(s) ? INT_MAX : 0; });
    return true;
}

bool ResetEvent(Handle event)
{
    Object* o = Get(event, IsEvent);
    if (!o) return Fail(EBADF);
    // Counts already handed to sleeping waiters of an auto-reset event stay theirs. Nobody sleeps
    // until an event is reset: no wake-ups.
    const bool manual = o->kind == Object::ManualEventKind;
    Update(
        o,
        [manual](State s, State& to) {
            to = manual ? s & ~State{kSignalled} : s - (Value(s) - std::min(Value(s), Sleepers(s)));
            return to == s ? Change::Keep : Change::Apply;
        },
        [](State) { return 0; });
    return true;
}

bool ReleaseMutex(Handle mutex)
{
    std::lock_guard<std::mutex> lock(g_lock);
    Object* o = Get(mutex, IsMutex);
    if (!o) return Fail(EBADF);
    if (o->owner != CurrentThreadId() || o->recursion == 0) return Fail(EPERM);
    if (--o->recursion == 0) {
        o->owner = 0;
        o->Wake();
    }
    return true;
}

bool ReleaseSemaphore(Handle semaphore, int count, int* previous)
{
    Object* o = Get(semaphore, IsSemaphore);
    if (!o) return Fail(EBADF);
    if (count <= 0) return Fail(EOVERFLOW);
    return AddCounts(o, count, previous);
}

std::uint32_t WaitAll(const Handle* objects, int count, std::uint32_t milliseconds)
{
    return WaitMany(objects, count, milliseconds);
}

std::uint32_t WaitOne(Handle object, std::uint32_t milliseconds)
{
    Object* o = Get(object, IsWaitable);
    if (!o) return errno = EBADF, kWaitFailed;
    if (o->kind == Object::MutexKind) return WaitMany(&object, 1, milliseconds);
    if (o->kind == Object::ManualEventKind ? (Value(o->state.load(std::memory_order_acquire)) & kSignalled)
                                           : TakeCount(o))
        return kWaitObject0;
    return milliseconds == 0 ? kWaitTimeout : Sleep(o, milliseconds);
}

namespace {

// Under g_lock: whether a wait-all could take the object now, taking it, and giving it back.
bool Ready(Object* o, std::uint32_t thread)
{
    switch (o->kind) {
    case Object::MutexKind: return o->owner == 0 || o->owner == thread;
    case Object::ManualEventKind: return Value(o->state.load()) & kSignalled;
    default: return Value(o->state.load()) > 0;
    }
}

bool Take(Object* o, std::uint32_t thread)
{
    switch (o->kind) {
    case Object::MutexKind:
        o->owner = thread;
        ++o->recursion;
        return true;
    case Object::ManualEventKind: return Value(o->state.load()) & kSignalled;
    default: return TakeCount(o); // fails when a wait on it alone took the count first
    }
}

void GiveBack(Object* o)
{
    if (o->kind == Object::MutexKind) {
        if (--o->recursion == 0) o->owner = 0;
        o->Wake();
    } else if (o->Counts()) {
        // (Posts wait for g_lock while this wait is registered: the count fits again.)
        const State before = o->state.fetch_add(1);
        if (Sleepers(before)) FutexWakeAt(o->Value(), 1);
        o->Wake();
    }
}

std::uint32_t WaitMany(const Handle* handles, int count, std::uint32_t milliseconds)
{
    const std::uint32_t thread = CurrentThreadId();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    if (count <= 0 || count > kMaximumWaitObjects) return errno = EINVAL, kWaitFailed;
    std::unique_lock<std::mutex> lock(g_lock);
    Object* objects[kMaximumWaitObjects];
    for (int i = 0; i < count; ++i) {
        Object* o = Get(handles[i], IsWaitable);
        const int error = !o ? EBADF : std::find(objects, objects + i, o) != objects + i ? EINVAL : 0;
        if (error) {
            for (int k = 0; k < i; ++k) Unref(objects[k]);
            errno = error;
            return kWaitFailed;
        }
        o->handles.fetch_add(1, std::memory_order_relaxed); // alive for the wait, even if closed meanwhile
        objects[i] = o;
    }
    Object** const end = objects + count;

    // Registered from the start: posts to the objects then wait for g_lock, so that a count taken
    // here and given back (another object was lost to a wait on it alone) still fits.
    Waiter me;
    for (Object** o = objects; o != end; ++o) {
        (*o)->waiters.push_back(&me);
        if ((*o)->kind != Object::MutexKind && (*o)->registered++ == 0) (*o)->state.fetch_or(kRegistered);
    }
    std::uint32_t result = kWaitTimeout;
    for (;;) {
        if (std::all_of(objects, end, [&](Object* o) { return Ready(o, thread); })) {
            Object** taken = objects;
            while (taken != end && Take(*taken, thread)) ++taken;
            if (taken == end) {
                result = kWaitObject0;
                break;
            }
            while (taken != objects) GiveBack(*--taken);
            continue;
        }
        if (milliseconds == 0) break;
        if (milliseconds == kInfinite) me.wake.wait(lock);
        else if (me.wake.wait_until(lock, deadline) == std::cv_status::timeout) milliseconds = 0; // look once more
    }
    for (Object** o = objects; o != end; ++o) {
        (*o)->waiters.erase(std::find((*o)->waiters.begin(), (*o)->waiters.end(), &me));
        if ((*o)->kind != Object::MutexKind && --(*o)->registered == 0) (*o)->state.fetch_and(~kRegistered);
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
    Object* o = Get(object);
    if (!o) return Fail(EBADF), nullptr;
    o->handles.fetch_add(1, std::memory_order_relaxed);
    return object;
}

bool Close(Handle object)
{
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
