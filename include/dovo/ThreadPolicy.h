#pragma once

#include <dovo/Export.h>
#include <dovo/Mutex.h>

namespace dovo::ThreadPolicy {

/// No locking: for objects used by one thread only.
class DOVO_API SingleThreaded
{
public:
    void Lock() const {}
    void Unlock() const {}
};

/// One recursive lock per object.
class DOVO_API LocalThreaded
{
public:
    LocalThreaded() = default;
    /// A copy has a lock of its own.
    LocalThreaded(const LocalThreaded&) {}
    LocalThreaded& operator=(const LocalThreaded&) { return *this; }

    void Lock() const { m_mutex.Enter(); }
    void Unlock() const { m_mutex.Leave(); }

private:
    mutable Mutex m_mutex;
};

/// One recursive lock shared by every object of this policy.
class DOVO_API GlobalThreaded
{
public:
    void Lock() const { GetMutex().Enter(); }
    void Unlock() const { GetMutex().Leave(); }
    static Mutex& GetMutex();
};

} // namespace dovo::ThreadPolicy
