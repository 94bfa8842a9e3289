#include <dovo/Mutex.h>

#include "threads/Kernel.h"

namespace dovo {

void Mutex::Enter()
{
    const std::uint32_t me = kernel::CurrentThreadId();
    // Only the owner can pass this test, so it needs no lock (the fields are read atomically, as other
    // threads change them).
    if (__atomic_load_n(&m_count, __ATOMIC_RELAXED) != 0 && __atomic_load_n(&m_owner, __ATOMIC_RELAXED) == me) {
        __atomic_store_n(&m_count, m_count + 1, __ATOMIC_RELAXED);
        return;
    }
    m_section.Enter();
    __atomic_store_n(&m_count, 1u, __ATOMIC_RELAXED);
    __atomic_store_n(&m_owner, me, __ATOMIC_RELAXED);
}

bool Mutex::TryEnter()
{
    const std::uint32_t me = kernel::CurrentThreadId();
    if (__atomic_load_n(&m_count, __ATOMIC_RELAXED) != 0 && __atomic_load_n(&m_owner, __ATOMIC_RELAXED) == me) {
        __atomic_store_n(&m_count, m_count + 1, __ATOMIC_RELAXED);
        return true;
    }
    if (!m_section.TryEnter()) return false;
    __atomic_store_n(&m_count, 1u, __ATOMIC_RELAXED);
    __atomic_store_n(&m_owner, me, __ATOMIC_RELAXED);
    return true;
}

void Mutex::Leave()
{
    // A Leave by a thread that does not own the lock is not checked.
    const std::uint32_t count = m_count - 1;
    __atomic_store_n(&m_count, count, __ATOMIC_RELAXED);
    if (count == 0) {
        __atomic_store_n(&m_owner, 0u, __ATOMIC_RELAXED);
        m_section.Leave();
    }
}

} // namespace dovo
