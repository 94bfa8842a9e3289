#pragma once

#include <dovo/Export.h>

namespace dovo {

class Application;
class Thread;

/// The process's one executable object: registered by its constructor, it owns the run state that
/// interrupts, the service manager and failing threads use to end the process.
class DOVO_API Executable
{
public:
    explicit Executable(Application* application = nullptr);
    virtual ~Executable();

    static Executable* GetExecutable();
    /// Called by a thread whose run loop met an exception it could not handle: the executable picks
    /// the thread up on the next pass of its run loop. Without an executable a warning is logged.
    static void SetThreadException(Thread* thread);

    /// The thread that reported an unhandled exception and is not yet dealt with, or null.
    Thread* ExceptedThread() const { return m_exceptedThread; }
    int ReturnCode() const { return m_returnCode; }
    bool Running() const;

protected:
    volatile int m_runState = 1;
    int m_returnCode = 0;
    Thread* volatile m_exceptedThread = nullptr;
    Application* m_application;
    bool m_started = false;

private:
    Executable(const Executable&) = delete;
    Executable& operator=(const Executable&) = delete;
};

} // namespace dovo
