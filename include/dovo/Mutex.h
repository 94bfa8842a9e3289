#pragma once

#include <dovo/Export.h>
#include <dovo/FastMutex.h>

#include <cstdint>

namespace dovo {

/// A recursive in-process lock that counts its owner's holds itself: the owner re-enters without
/// touching the system lock, which is entered once per outermost Enter.
class DOVO_API Mutex
{
public:
    Mutex() = default;

    void Enter();
    void Leave();
    /// Takes the lock unless another thread holds it.
    bool TryEnter();

private:
    // Copies make a fresh, unlocked lock; assignment changes nothing.
    Mutex(const Mutex&) : Mutex() {}
    Mutex& operator=(const Mutex&) { return *this; }

    FastMutex m_section;
    volatile std::uint32_t m_owner = 0;
    std::uint32_t m_count = 0;
};

} // namespace dovo
