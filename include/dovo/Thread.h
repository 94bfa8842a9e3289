#pragma once

#include <dovo/Export.h>
#include <dovo/LibStatic.h>
#include <dovo/Signal.h>
#include <dovo/String.h>
#include <dovo/Trigger.h>
#include <dovo/_AutoHandle.h>

#include <cstdint>

namespace dovo {

class Exception;

/// The base of every worker thread. A subclass supplies Execute, called again and again while the
/// thread runs, and may override Startup, Cleanup and OnException. Each thread runs in a fixed frame:
/// processor faults become exceptions, every stage is announced through the signals, failures are
/// logged and an abnormal end is reported to the executable. A process-wide registry names threads.
class DOVO_API Thread : public LibStatic
{
public:
    using ThreadSignal = Signal1<Thread*, ThreadPolicy::LocalThreaded>;

    explicit Thread(const String& name);
    /// Copies the name only; not meant for running threads.
    Thread(const Thread& other);
    Thread& operator=(const Thread& other);
    /// Neither stops nor waits for the thread: owners call Signal(0) and WaitFor() first. (It waits
    /// only while the library's clean-up is still touching the object, which is never for long.)
    ~Thread() override;

    void OnLibCleanup() override;
    virtual bool Startup() { return true; }
    virtual bool Execute() = 0;
    virtual void Cleanup() {}
    /// The default logs and returns false: an exception stops the thread.
    virtual bool OnException(Exception* e);

    /// Starts the thread once; does nothing while the run state is not 0.
    void Start();
    /// Waits until Startup has returned; at most 15 seconds (0 or less, or more, mean 15).
    bool WaitForStartup(float seconds);
    /// Waits for the thread to end; "Cannot wait for self" on the thread itself. A handle the system
    /// no longer knows (its object released it) counts as ended.
    void WaitFor();
    /// Stores a new run state and returns the old one; Signal(0) asks the thread to stop.
    int Signal(int state);
    bool IsRunning() const;
    std::uint32_t ThreadID() const { return m_id; }
    const String& Name() const { return m_name; }
    bool IsCurrentThread() const { return m_id == CurrentThreadID(); }
    static bool IsCurrentThread(const Thread* thread) { return thread && thread->IsCurrentThread(); }
    static bool IsCurrentThread(unsigned long id) { return id == CurrentThreadID(); }

    static std::uint32_t CurrentThreadID();
    static Thread* CurrentThread();
    static Thread* GetThread(unsigned long id);
    /// The calling thread's registered name; a thread the library did not start is registered as
    /// "Main Thread" (the first such) or "System Thread".
    static const String& CurrentThreadName();

    ThreadSignal Starting, Started, Executing, ExceptionCaught, CleaningUp, CleanedUp, WaitingFor, StateChanged;

protected:
    /// When set (the default), an exception that stops the thread is written out as a full report.
    bool reportExceptions = true;

private:
    friend struct ThreadAccess; // the library's own tests
    friend class SystemThread;
    /// A thread the library did not start stands for itself in the registry of names: not a library
    /// static (another thread's clean-up could meet it half-made).
    struct Unregistered
    {
    };
    Thread(const String& name, Unregistered);

    static void Run(void* self);
    void Body();
    void HandleException(Exception* e);
    void RefuseSelfWait() const;
    static void Report(const String& name, Exception* e, const char* context);

    _AutoHandle m_handle;
    std::uint32_t m_id = 0;
    volatile int m_runState = 0;
    volatile int m_cleanupTouching = 0; // library clean-up calls still using this object
    String m_name;
    Trigger m_startup;
};

} // namespace dovo
