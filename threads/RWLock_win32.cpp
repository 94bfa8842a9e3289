// RWLock on the Windows kernel: a guard mutex and two manual-reset events, "no reader" and "no
// writer". Every operation holds the guard while it reads or changes the state; a thread that must
// wait gives the guard up and waits for it together with the events it needs (wait-all), so that it
// wakes owning the guard with the lock's state already as it needs it.

#include <dovo/RWLock.h>
#include <dovo/SyncException.h>

#include "threads/Kernel.h"

namespace dovo {

namespace {
constexpr int kCreateFailed = 0x20000006;
constexpr int kOperationFailed = 0x2000000E;
} // namespace

RWLock::RWLock()
{
    m_guard = kernel::NewMutex();
    if (!m_guard.IsValid()) SyncException::Throw("Mutex", "Mutex", kCreateFailed, "CreateMutex failed", -1, String());
    m_readEvent = kernel::NewEvent(true, true);
    if (!m_readEvent.IsValid())
        SyncException::Throw("Event", "Event", kCreateFailed, "CreateEvent failed", -1, String());
    m_writeEvent = kernel::NewEvent(true, true);
    if (!m_writeEvent.IsValid())
        SyncException::Throw("Event", "Event", kCreateFailed, "CreateEvent failed", -1, String());
}

void RWLock::TakeGuard() { kernel::WaitOne(m_guard, kernel::kInfinite); }

void RWLock::ReleaseGuard() { kernel::ReleaseMutex(m_guard); }

void RWLock::Fail(const char* method, const char* message)
{
    SyncException::Throw("RWLock", method, kOperationFailed, message, -1, String());
}

void RWLock::GetReadLock()
{
    TakeGuard();
    const std::uint32_t me = kernel::CurrentThreadId();
    if (m_count < 0 && m_writer == me) {
        --m_count; // a read inside one's own write deepens the write hold
        ReleaseGuard();
        return;
    }
    if (m_count < 0) {
        if (!kernel::ReleaseMutex(m_guard)) Fail("GetReadLock", "Line 60: ReleaseMutex failed");
        const kernel::Handle objects[2] = {m_guard, m_writeEvent};
        if (kernel::WaitAll(objects, 2, kernel::kInfinite) >= 2)
            Fail("GetReadLock", "Line 65: WaitForMultipleObjects failed");
    } else if (m_count > 0) {
        ++m_count;
        ReleaseGuard();
        return;
    } else if (kernel::WaitOne(m_writeEvent, 0) != kernel::kWaitObject0) {
        ReleaseGuard();
        Fail("GetReadLock", "Line 88: Could not lock write event");
    }
    kernel::ResetEvent(m_readEvent);
    ++m_count;
    ReleaseGuard();
}

void RWLock::GetWriteLock()
{
    TakeGuard();
    const std::uint32_t me = kernel::CurrentThreadId();
    if (m_count < 0 && m_writer == me) {
        --m_count;
        ReleaseGuard();
        return;
    }
    if (m_count != 0) {
        kernel::ReleaseMutex(m_guard); // its result is of no consequence here
        const kernel::Handle objects[3] = {m_guard, m_readEvent, m_writeEvent};
        if (kernel::WaitAll(objects, 3, kernel::kInfinite) >= 3)
            Fail("GetWriteLock", "Line 176: WaitForMultipleObjects failed");
    }
    kernel::ResetEvent(m_writeEvent);
    m_count = -1;
    m_writer = me;
    ReleaseGuard();
}

bool RWLock::TryReadLock()
{
    TakeGuard();
    if (m_count < 0) {
        const bool mine = m_writer == kernel::CurrentThreadId();
        if (mine) --m_count;
        ReleaseGuard();
        return mine;
    }
    if (m_count == 0 && kernel::WaitOne(m_writeEvent, 0) != kernel::kWaitObject0) {
        ReleaseGuard();
        Fail("TryReadLock", "Line 126: Could not lock write event");
    }
    kernel::ResetEvent(m_readEvent);
    ++m_count;
    ReleaseGuard();
    return true;
}

bool RWLock::TryWriteLock()
{
    TakeGuard();
    bool taken = false;
    if (m_count < 0) {
        taken = m_writer == kernel::CurrentThreadId();
        if (taken) --m_count;
    } else if (m_count == 0) {
        kernel::ResetEvent(m_writeEvent);
        m_count = -1;
        m_writer = kernel::CurrentThreadId();
        taken = true;
    }
    ReleaseGuard();
    return taken;
}

void RWLock::Unlock()
{
    TakeGuard();
    if (m_count < 0) {
        if (++m_count == 0) kernel::SetEvent(m_writeEvent); // the outermost write hold ends
    } else if (m_count-- == 1) {
        kernel::SetEvent(m_readEvent); // the last reader leaves
    }
    // (On a free lock the count becomes -1 without a signal: holds and releases must pair.)
    ReleaseGuard();
}

} // namespace dovo
