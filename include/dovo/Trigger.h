#pragma once

#include <dovo/Export.h>
#include <dovo/_AutoHandle.h>

namespace dovo {

/// An event: manual reset (stays signalled, wakes every waiter) or auto reset (each Signal wakes one
/// waiter). Copies share the kernel object.
class DOVO_API Trigger
{
public:
    explicit Trigger(bool autoReset = false, bool signalled = false);

    void Signal();
    void Reset();
    /// Waits up to seconds (negative: forever; milliseconds truncated); false on time-out.
    bool Wait(float seconds);

private:
    _AutoHandle m_handle;
};

} // namespace dovo
