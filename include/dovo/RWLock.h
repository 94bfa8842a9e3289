#pragma once

#include <dovo/Export.h>
#include <dovo/_AutoHandle.h>

#include <cstdint>

namespace dovo {

/// A reader/writer lock made of three kernel objects: a guard mutex, a "no reader" event and a "no
/// writer" event. Readers are not held back by a waiting writer; the writer may take further write
/// holds and read holds inside its own write; every hold needs its own Unlock.
class DOVO_API RWLock
{
public:
    RWLock();
    /// Shares the kernel objects; the counts are copied as they are (do not copy a lock in use).
    RWLock(const RWLock&) = default;
    RWLock& operator=(const RWLock&) = default;

    void GetReadLock();
    void GetWriteLock();
    bool TryReadLock();
    bool TryWriteLock();
    /// Ends one hold of whichever kind the caller has.
    void Unlock();

private:
    void TakeGuard();
    void ReleaseGuard();
    [[noreturn]] void Fail(const char* method, const char* message);

    _AutoHandle m_guard;
    _AutoHandle m_readEvent;  // signalled: no reader holds the lock
    _AutoHandle m_writeEvent; // signalled: no writer holds the lock
    std::uint32_t m_writer = 0;
    int m_count = 0; // n > 0: n read holds; -n: a write hold of depth n
};

} // namespace dovo
