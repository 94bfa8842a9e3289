#pragma once

#include <dovo/Export.h>
#include <dovo/_AutoHandle.h>

namespace dovo {

/// A counting semaphore with a maximum. Copies share the kernel object.
class DOVO_API Semaphore
{
public:
    Semaphore(int initial, int maximum);

    /// Waits up to seconds (negative: forever; milliseconds truncated); false on time-out.
    bool Wait(float seconds);
    /// Releases count and returns the count before; beyond the maximum it throws.
    int Post(int count = 1);
    operator _AutoHandle::HANDLE() const { return m_handle; }

private:
    _AutoHandle m_handle;
};

} // namespace dovo
