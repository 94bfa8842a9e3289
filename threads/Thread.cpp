// Thread: the life cycle of worker threads, their exception reports, and the registry of names.

#include <dovo/Exception.h>
#include <dovo/Executable.h>
#include <dovo/Log.h>
#include <dovo/Mutex.h>
#include <dovo/Thread.h>

#include "objects/ExceptionHooks.h"
#include "objects/FaultTranslator.h"
#include "threads/Hold.h"
#include "threads/NativeThread.h"
#include "threads/ThreadAccess.h"

#include <list>
#include <memory>
#include <thread>

namespace dovo {

// A thread the library did not start, registered when it first asks for its name.
class SystemThread : public Thread
{
public:
    explicit SystemThread(const String& name) : Thread(name, Unregistered{}) {}
    bool Execute() override { return false; }
};

namespace {

constexpr int kStartFailed = 0x20000006;
constexpr int kWaitFailed = 0x2000000D;
constexpr int kWaitForSelf = 0x20000010;

int Exchange(volatile int* target, int value) { return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST); }

struct Record
{
    Thread* thread;
    String name;
    std::uint32_t id;
    bool system; // stands for a thread the library did not start: its SystemThread is the record's
};

// The registry lives for the whole process (threads may ask for names during exit). Its lock is never
// held while a Thread is made or destroyed (they register as library statics) nor while calling out.
Mutex& RegistryLock()
{
    static auto* lock = new Mutex;
    return *lock;
}
std::list<Record>& Records()
{
    static auto* records = new std::list<Record>;
    return *records;
}
bool g_mainThreadNamed = false;

// Holds the registry's lock for a scope.
class RegistryHold : public Hold<Mutex>
{
public:
    RegistryHold() : Hold<Mutex>(RegistryLock()) {}
};

// The calling thread's own record. Only a thread itself adds or removes its record, so this pointer is
// current whenever it is set, and the thread's own lookups (every log line) need no lock.
thread_local const Record* t_own = nullptr;
// Set while this thread makes its record.
thread_local bool t_registering = false;

const Record& Unnamed()
{
    static const Record record{nullptr, String(), 0, false};
    return record;
}

// What a foreign thread is called while it makes its record: no record is made.
const Record& Passing()
{
    static const Record record{nullptr, String("System Thread"), 0, true};
    return record;
}

// Removes a foreign thread's record when the thread ends, with the SystemThread that stood for it. It
// runs from the system's end-of-thread hook, after the thread's own code: it touches no thread-local
// data, whose storage may already be gone there.
void EndForeign()
{
    const std::uint32_t id = Thread::CurrentThreadID();
    Thread* system = nullptr;
    {
        RegistryHold hold;
        std::list<Record>& records = Records();
        for (auto r = records.begin(); r != records.end(); ++r)
            if (r->id == id && r->system) {
                system = r->thread;
                records.erase(r);
                break;
            }
    }
    delete system;
}

const Record& RegisterForeign(std::uint32_t id)
{
    struct Registering
    {
        Registering() { t_registering = true; }
        ~Registering() { t_registering = false; }
    } registering;
    String name;
    {
        RegistryHold hold;
        name = g_mainThreadNamed ? "System Thread" : "Main Thread";
        g_mainThreadNamed = true;
    }
    Thread* system = new SystemThread(name);
    {
        RegistryHold hold;
        Records().push_front(Record{system, name, id, true});
        t_own = &Records().front();
    }
    // The first such thread is taken for the process's main thread and keeps its record for good: it
    // still logs while the process ends. Every other one's record goes with the thread.
    if (name == "System Thread") native::CallAtThreadEnd(EndForeign);
    return *t_own;
}

const Record& Own()
{
    if (t_own) return *t_own;
    const std::uint32_t id = Thread::CurrentThreadID();
    {
        RegistryHold hold;
        for (const Record& r : Records())
            if (r.id == id) return *(t_own = &r);
    }
    if (t_registering) return Passing();
    return RegisterForeign(id);
}

String NameOf(std::uint64_t id)
{
    if (id == Thread::CurrentThreadID()) return Own().name;
    RegistryHold hold;
    for (const Record& r : Records())
        if (r.id == id) return r.name;
    return Unnamed().name;
}

// Exceptions and log items name their thread from here on.
const bool g_namesHooked = (hooks::SetThreadNamer(NameOf), true);

// Waits without limit for the thread behind the handle to end.
void WaitForEnd(kernel::Handle handle)
{
    if (kernel::WaitOne(handle, kernel::kInfinite) != kernel::kWaitFailed) return;
    // A handle the system no longer knows was released by the thread's object: the thread has ended.
    if (kernel::FailedOnUnknownHandle()) return;
    Exception::Throw("Thread", "WaitFor", kWaitFailed, "WaitForSingleObject failed", -1, String(), 1);
}

} // namespace

std::size_t ThreadAccess::RegisteredThreads()
{
    RegistryHold hold;
    return Records().size();
}

void ThreadAccess::GiveUnknownHandle(Thread& thread) { thread.m_handle = kernel::UnknownHandle(); }

Thread::Thread(const String& name) : LibStatic("Thread"), m_name(name) {}

Thread::Thread(const String& name, Unregistered) : LibStatic("Thread", false), m_name(name) {}

Thread::Thread(const Thread& other) : LibStatic("Thread"), m_name(other.m_name) {}

Thread& Thread::operator=(const Thread& other)
{
    m_name = other.m_name;
    return *this;
}

Thread::~Thread()
{
    // A thread whose Cleanup deletes it may get here while library clean-up still emits its signals.
    while (__atomic_load_n(&m_cleanupTouching, __ATOMIC_ACQUIRE) != 0) std::this_thread::yield();
}

std::uint32_t Thread::CurrentThreadID() { return kernel::CurrentThreadId(); }

Thread* Thread::CurrentThread() { return Own().thread; }

Thread* Thread::GetThread(unsigned long id)
{
    if (id == CurrentThreadID()) return Own().thread;
    RegistryHold hold;
    for (const Record& r : Records())
        if (r.id == id) return r.thread;
    return nullptr;
}

const String& Thread::CurrentThreadName() { return Own().name; }

bool Thread::IsRunning() const { return __atomic_load_n(&m_runState, __ATOMIC_SEQ_CST) > 0; }

int Thread::Signal(int state)
{
    const int previous = Exchange(&m_runState, state);
    StateChanged(this);
    return previous;
}

void Thread::Start()
{
    int expected = 0;
    if (!__atomic_compare_exchange_n(&m_runState, &expected, 1, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST)) return;
    m_startup.Reset();
    void* resume = nullptr;
    std::uint32_t id = 0;
    kernel::Handle handle = native::CreateSuspended(Run, this, id, resume);
    if (!handle) Exception::Throw("Thread", "Start", kStartFailed, "CreateThread failed", -1, String(), 1);
    m_id = id;
    m_handle = handle; // closes the handle of an earlier run
    if (!native::Resume(resume))
        Exception::Throw("Thread", "Start", kStartFailed, "Could not resume thread after creating it", -1, String(), 1);
}

bool Thread::WaitForStartup(float seconds)
{
    // There is deliberately no unbounded wait.
    if (seconds <= 0 || seconds > 15) seconds = 15;
    return m_startup.Wait(seconds);
}

void Thread::RefuseSelfWait() const
{
    if (IsCurrentThread()) Exception::Throw("Thread", "WaitFor", kWaitForSelf, "Cannot wait for self", 0, String(), 1);
}

void Thread::WaitFor()
{
    RefuseSelfWait();
    if (!m_handle.IsValid()) return;
    WaitingFor(this);
    WaitForEnd(m_handle);
}

void Thread::OnLibCleanup()
{
    // Once asked to stop, the thread may delete this object from its Cleanup: the destructor waits
    // while this call still uses it, and the wait is made on a handle of this call's own.
    struct Touching
    {
        volatile int& count;
        explicit Touching(volatile int& c) : count(c) { __atomic_add_fetch(&count, 1, __ATOMIC_ACQ_REL); }
        ~Touching() { __atomic_sub_fetch(&count, 1, __ATOMIC_RELEASE); }
    };
    _AutoHandle ended;
    {
        Touching touching(m_cleanupTouching);
        if (!IsRunning()) return;
        GlobalLog(Status, m_name + " begin terminated by process cleanup");
        Signal(0);
        RefuseSelfWait();
        if (!m_handle.IsValid()) return;
        WaitingFor(this);
        // A handle that cannot be duplicated is one the system no longer knows: the thread has ended.
        ended = kernel::Duplicate(m_handle);
    }
    if (ended.IsValid()) WaitForEnd(ended);
}

bool Thread::OnException(Exception* e)
{
    LogDebug("Thread " + m_name + " stopping because of " + (e ? "" : "UNKNOWN ") +
             "exception caught in default OnException handler");
    return false;
}

void Thread::Run(void* self) { static_cast<Thread*>(self)->Body(); }

void Thread::Body()
{
    faults::InstallForThisThread();
    native::EnterThread();
    const std::uint32_t id = CurrentThreadID();
    {
        RegistryHold hold;
        Records().push_front(Record{this, m_name, id, false});
        t_own = &Records().front();
    }
    Starting(this);
    bool started = false;
    try {
        started = Startup();
    } catch (Exception* e) {
        HandleException(e);
    } catch (...) {
        HandleException(nullptr);
    }
    Started(this);
    m_startup.Signal();
    if (!started) Signal(0);

    while (IsRunning()) {
        Executing(this);
        try {
            if (!Execute()) Signal(0);
        } catch (Exception* e) {
            HandleException(e);
        } catch (...) {
            HandleException(nullptr);
        }
    }

    const String name = m_name;
    LogDebug("Thread " + name + " calling thread Cleanup");
    CleaningUp(this);
    // Cleanup may destroy this object: afterwards only the copy of CleanedUp's connections is used.
    ThreadSignal cleanedUp(CleanedUp);
    try {
        Cleanup();
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        LogWarning("Caught exception in Thread Cleanup (" + CurrentThreadName() + ")");
    } catch (...) {
        LogFatal("Caught unknown exception in Thread Cleanup");
        Report(name, nullptr, "in Cleanup");
        Executable::SetThreadException(this);
    }
    cleanedUp(nullptr);

    {
        RegistryHold hold;
        Records().remove_if([](const Record& r) { return &r == t_own; });
        t_own = nullptr;
    }
    native::LeaveThread();
}

void Thread::HandleException(Exception* e)
{
    std::unique_ptr<Exception> owned(e);
    try {
        ExceptionCaught(this);
        if (OnException(e)) return;
        if (reportExceptions) Report(m_name, e, "while Running");
        if (!e) Executable::SetThreadException(this);
        Signal(0);
    } catch (Exception* failure) {
        delete failure;
        Report(m_name, e, "handling an exception while Running");
        Executable::SetThreadException(this);
        Signal(0);
    } catch (...) {
        Report(m_name, e, "handling an exception while Running");
        Executable::SetThreadException(this);
        Signal(0);
    }
}

void Thread::Report(const String& name, Exception* e, const char* context)
{
    LogError("Thread " + (name.Empty() ? String("unknown") : name) + " terminating abnormally because of exception " +
             context);
    if (e) LogError(e->DisplayAsString());
    String html = String("<h1>Caught ") + (e ? "" : "UNKNOWN ") + "exception" + context + "</h1>\r\nThread <b>" +
                  (name.Empty() ? String("UNKNOWN") : name) + "</b> Thread ID <b>";
    html.AppendUnsigned(CurrentThreadID());
    html += "</b>\r\n";
    if (e) html += "<p><hr><p>" + e->DisplayAsHtml() + "\r\n";
    Log::DumpAll(html, Excessive);
}

} // namespace dovo
