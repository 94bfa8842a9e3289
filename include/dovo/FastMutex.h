#pragma once

#include <dovo/Export.h>

namespace dovo {

/// A process-local lock over the system's critical section (recursive, as a critical section is).
class DOVO_API FastMutex
{
public:
    FastMutex();
    ~FastMutex();

    void Enter();
    void Leave();
    /// Takes the lock if no other thread holds it.
    bool TryEnter();

private:
    friend class StaticFastMutex;
    struct NoInit
    {
    };
    /// Leaves the native lock alone: its owner sets it up.
    explicit FastMutex(NoInit) {}
    // Copies make a fresh, unlocked lock; assignment changes nothing.
    FastMutex(const FastMutex&);
    FastMutex& operator=(const FastMutex&) { return *this; }

    /// Sets up the native lock in this storage (also for storage never constructed).
    void Initialize();
    void Destroy();

    // The native critical section (CRITICAL_SECTION or a recursive pthread mutex), held opaquely.
    alignas(8) unsigned char m_native[40];
};

} // namespace dovo
