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

} // namespace dovo
