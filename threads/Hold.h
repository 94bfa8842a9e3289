#pragma once

// Holds one of the library's locks (anything with Enter and Leave) for a scope.

namespace dovo {

template <typename Lock>
class Hold
{
public:
    explicit Hold(Lock& lock) : m_lock(lock) { m_lock.Enter(); }
    ~Hold() { m_lock.Leave(); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    Lock& m_lock;
};

/// Holds a lock for a scope when there is one: a null lock means nothing to hold (an object made
/// without thread safety). Given AlreadyEntered, it only leaves a lock the caller has entered.
template <typename Lock>
class HoldIf
{
public:
    struct AlreadyEntered
    {
    };
    explicit HoldIf(Lock* lock) : m_lock(lock)
    {
        if (m_lock) m_lock->Enter();
    }
    HoldIf(Lock* entered, AlreadyEntered) : m_lock(entered) {}
    ~HoldIf()
    {
        if (m_lock) m_lock->Leave();
    }
    HoldIf(const HoldIf&) = delete;
    HoldIf& operator=(const HoldIf&) = delete;

private:
    Lock* m_lock;
};

} // namespace dovo
