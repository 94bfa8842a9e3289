#include <dovo/Exception.h>
#include <dovo/_AutoHandle.h>

#include "threads/Kernel.h"

namespace dovo {

namespace {
// A duplicate of a valid handle; an invalid one copies as 0.
_AutoHandle::HANDLE DuplicateOf(_AutoHandle::HANDLE source)
{
    if (!kernel::IsValid(source)) return nullptr;
    _AutoHandle::HANDLE copy = kernel::Duplicate(source);
    if (!copy)
        Exception::Throw("AutoHandle", "operator=( const _AutoHandle & )", 0x20000006,
                         "DuplicateHandle failed to copy the source handle", -1, String(), 1);
    return copy;
}
} // namespace

_AutoHandle::_AutoHandle(const _AutoHandle& other) : m_handle(DuplicateOf(other.m_handle)) {}

_AutoHandle& _AutoHandle::operator=(const _AutoHandle& other)
{
    if (this == &other) return *this;
    HANDLE copy = DuplicateOf(other.m_handle); // the old handle is closed only once this has worked
    Close();
    m_handle = copy;
    return *this;
}

_AutoHandle& _AutoHandle::operator=(HANDLE handle)
{
    Set(handle);
    return *this;
}

void _AutoHandle::Set(HANDLE handle)
{
    if (handle == m_handle) return;
    Close();
    m_handle = handle;
}

void _AutoHandle::Close()
{
    if (IsValid()) kernel::Close(m_handle);
    m_handle = nullptr;
}

bool _AutoHandle::IsValid() const { return kernel::IsValid(m_handle); }

} // namespace dovo
