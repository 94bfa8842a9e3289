// Semaphore and Trigger: kernel objects behind a handle, so that copies share them.

#include <dovo/Semaphore.h>
#include <dovo/SyncException.h>
#include <dovo/Trigger.h>

#include "threads/Kernel.h"

namespace dovo {

namespace {
constexpr int kCreateFailed = 0x20000006;
constexpr int kOperationFailed = 0x2000000E;

// A wait's verdict: signalled (an abandoned object counts too), timed out, or a failure.
bool Waited(std::uint32_t result, const char* module)
{
    if (result == kernel::kWaitObject0 || result == kernel::kWaitAbandoned0) return true;
    if (result == kernel::kWaitTimeout) return false;
    SyncException::Throw(module, "Wait", kOperationFailed, "WaitForSingleObject failed", -1, String());
}
} // namespace

Semaphore::Semaphore(int initial, int maximum) : m_handle(kernel::NewSemaphore(initial, maximum))
{
    if (!m_handle.IsValid())
        SyncException::Throw("Semaphore", "Semaphore", kCreateFailed, "CreateSemaphore failed", -1, String());
}

bool Semaphore::Wait(float seconds)
{
    return Waited(kernel::WaitOne(m_handle, kernel::Milliseconds(seconds)), "Semaphore");
}

int Semaphore::Post(int count)
{
    int previous = 0;
    if (!kernel::ReleaseSemaphore(m_handle, count, &previous))
        SyncException::Throw("Semaphore", "Post", kOperationFailed, "ReleaseSemaphore failed", -1, String());
    return previous;
}

Trigger::Trigger(bool autoReset, bool signalled) : m_handle(kernel::NewEvent(!autoReset, signalled))
{
    if (!m_handle.IsValid()) SyncException::Throw("Event", "Event", kCreateFailed, "CreateEvent failed", -1, String());
}

void Trigger::Signal()
{
    if (!kernel::SetEvent(m_handle))
        SyncException::Throw("Trigger", "Signal", kOperationFailed, "SetEvent Failed", -1, String());
}

void Trigger::Reset()
{
    if (!kernel::ResetEvent(m_handle))
        SyncException::Throw("Trigger", "Reset", kOperationFailed, "ResetEvent failed", -1, String());
}

bool Trigger::Wait(float seconds)
{
    return Waited(kernel::WaitOne(m_handle, kernel::Milliseconds(seconds)), "Trigger");
}

} // namespace dovo
