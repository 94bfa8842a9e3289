// Thread: the life cycle of worker threads, their exception reports, and the registry of names.

#include <dovo/Exception.h>
#include <dovo/Executable.h>
#include <dovo/Log.h>
#include <dovo/Mutex.h>
#include <dovo/Thread.h>

#include "objects/ExceptionHooks.h"
#include "objects/FaultTranslator.h"
#include "threads/NativeThread.h"

#include <list>
#include <memory>

namespace dovo {

namespace {

constexpr int kStartFailed = 0x20000006;
constexpr int kWaitFailed = 0x2000000D;
constexpr int kWaitForSelf = 0x20000010;

int Exchange(volatile int* target, int value) { return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST); }

// A thread the library did not start, registered when it first asks for its name.
class SystemThread : public Thread
{
public:
    explicit SystemThread(const String& name) : Thread(name) {}
    bool Execute() override { return false; }
};

struct Record
{
    Thread* thread;
    String name;
    std::uint32_t id;
    bool system; // stands for a thread the library did not start: kept for good
};

// The registry lives for the whole process (threads may ask for names during exit).
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

class Hold
{
public:
    Hold() { RegistryLock().Enter(); }
    ~Hold() { RegistryLock().Leave(); }
};

// Finds a thread's record; the calling thread gets one made when it has none.
const Record& Lookup(std::uint32_t id)
{
    static const Record empty{nullptr, String(), 0, false};
    Hold hold;
    for (const Record& r : Records())
        if (r.id == id) return r;
    if (id != Thread::CurrentThreadID()) return empty;
    const String name = g_mainThreadNamed ? "System Thread" : "Main Thread";
    g_mainThreadNamed = true;
    // Never deleted: it stands for the thread as long as the process runs.
    Thread* system = new SystemThread(name);
    Records().push_front(Record{system, name, id, true});
    return Records().front();
}

String NameOf(std::uint64_t id) { return Lookup(static_cast<std::uint32_t>(id)).name; }

// Exceptions and log items name their thread from here on.
const bool g_namesHooked = (hooks::SetThreadNamer(NameOf), true);

} // namespace

Thread::Thread(const String& name) : LibStatic("Thread"), m_name(name) {}

Thread::Thread(const Thread& other) : LibStatic("Thread"), m_name(other.m_name) {}

Thread& Thread::operator=(const Thread& other)
{
    m_name = other.m_name;
    return *this;
}

Thread::~Thread() = default;

std::uint32_t Thread::CurrentThreadID() { return kernel::CurrentThreadId(); }

Thread* Thread::CurrentThread() { return Lookup(CurrentThreadID()).thread; }

Thread* Thread::GetThread(unsigned long id) { return Lookup(static_cast<std::uint32_t>(id)).thread; }

const String& Thread::CurrentThreadName() { return Lookup(CurrentThreadID()).name; }

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

void Thread::WaitFor()
{
    if (IsCurrentThread()) Exception::Throw("Thread", "WaitFor", kWaitForSelf, "Cannot wait for self", 0, String(), 1);
    if (!m_handle.IsValid()) return;
    WaitingFor(this);
    if (kernel::WaitOne(m_handle, kernel::kInfinite) == kernel::kWaitFailed)
        Exception::Throw("Thread", "WaitFor", kWaitFailed, "WaitForSingleObject failed", -1, String(), 1);
}

void Thread::OnLibCleanup()
{
    if (!IsRunning()) return;
    GlobalLog(Status, m_name + " begin terminated by process cleanup");
    Signal(0);
    WaitFor();
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
        Hold hold;
        Records().push_front(Record{this, m_name, id, false});
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
        Hold hold;
        Records().remove_if([id](const Record& r) { return r.id == id && !r.system; });
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
