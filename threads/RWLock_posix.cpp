// RWLock on POSIX: one mutex and a condition variable stand for the guard mutex and the wait-all on
// the "no reader" and "no writer" events: a thread that must wait sleeps on the condition variable
// and wakes owning the mutex with the lock's state as it needs it. The state shared by copies (the
// two events) sits in an object behind the guard handle; each copy keeps its own count.

#include <dovo/RWLock.h>
#include <dovo/SyncException.h>

#include "threads/Kernel_posix.h"

#include <condition_variable>
#include <mutex>

namespace dovo {

namespace {

struct Core : kernel::Custom
{
    std::mutex guard;
    std::condition_variable changed;
    bool noReader = true; // the read event
    bool noWriter = true; // the write event
};

Core& CoreOf(const _AutoHandle& handle) { return *static_cast<Core*>(kernel::GetCustom(handle)); }

} // namespace

RWLock::RWLock() : m_guard(kernel::CreateCustom(new Core)) {}

// The guard is taken by each operation itself.
void RWLock::TakeGuard() {}
void RWLock::ReleaseGuard() {}

void RWLock::Fail(const char* method, const char* message)
{
    SyncException::Throw("RWLock", method, 0x2000000E, message, -1, String());
}

void RWLock::GetReadLock()
{
    Core& core = CoreOf(m_guard);
    std::unique_lock<std::mutex> lock(core.guard);
    const std::uint32_t me = kernel::CurrentThreadId();
    if (m_count < 0 && m_writer == me) {
        --m_count; // a read inside one's own write deepens the write hold
        return;
    }
    if (m_count > 0) {
        ++m_count;
        return;
    }
    if (m_count < 0) {
        // Readers wait for the writer only, never for writers that are waiting themselves.
        core.changed.wait(lock, [&] { return core.noWriter; });
    } else if (!core.noWriter) {
        lock.unlock();
        Fail("GetReadLock", "Line 88: Could not lock write event");
    }
    core.noReader = false;
    ++m_count;
}

void RWLock::GetWriteLock()
{
    Core& core = CoreOf(m_guard);
    std::unique_lock<std::mutex> lock(core.guard);
    const std::uint32_t me = kernel::CurrentThreadId();
    if (m_count < 0 && m_writer == me) {
        --m_count;
        return;
    }
    if (m_count != 0) core.changed.wait(lock, [&] { return core.noReader && core.noWriter; });
    core.noWriter = false;
    m_count = -1;
    m_writer = me;
}

bool RWLock::TryReadLock()
{
    Core& core = CoreOf(m_guard);
    std::unique_lock<std::mutex> lock(core.guard);
    if (m_count < 0) {
        const bool mine = m_writer == kernel::CurrentThreadId();
        if (mine) --m_count;
        return mine;
    }
    if (m_count == 0 && !core.noWriter) {
        lock.unlock();
        Fail("TryReadLock", "Line 126: Could not lock write event");
    }
    core.noReader = false;
    ++m_count;
    return true;
}

bool RWLock::TryWriteLock()
{
    Core& core = CoreOf(m_guard);
    std::lock_guard<std::mutex> lock(core.guard);
    if (m_count < 0) {
        const bool mine = m_writer == kernel::CurrentThreadId();
        if (mine) --m_count;
        return mine;
    }
    if (m_count > 0) return false;
    core.noWriter = false;
    m_count = -1;
    m_writer = kernel::CurrentThreadId();
    return true;
}

void RWLock::Unlock()
{
    Core& core = CoreOf(m_guard);
    std::lock_guard<std::mutex> lock(core.guard);
    if (m_count < 0) {
        if (++m_count == 0) { // the outermost write hold ends
            core.noWriter = true;
            core.changed.notify_all();
        }
    } else if (m_count-- == 1) { // the last reader leaves
        core.noReader = true;
        core.changed.notify_all();
    }
    // (On a free lock the count becomes -1 without a signal: holds and releases must pair.)
}

} // namespace dovo
