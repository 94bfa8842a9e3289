#pragma once

#include <dovo/Export.h>

namespace dovo {

/// Owns one handle of a kernel object and closes it when done. Copies duplicate the handle, so that
/// both refer to the same object (waiting on one, signalling the other). A handle is valid when it is
/// neither 0 nor all ones.
class DOVO_API _AutoHandle
{
public:
    using HANDLE = void*;

    _AutoHandle(HANDLE handle = nullptr) : m_handle(handle) {}
    _AutoHandle(const _AutoHandle& other);
    _AutoHandle& operator=(const _AutoHandle& other);
    /// Closes the handle held, then takes this one.
    _AutoHandle& operator=(HANDLE handle);
    void Set(HANDLE handle);
    ~_AutoHandle() { Close(); }

    /// Closes the handle if valid and holds 0.
    void Close();
    bool IsValid() const;
    operator bool() const { return IsValid(); }
    operator HANDLE() const { return m_handle; }
    bool operator==(HANDLE handle) const { return m_handle == handle; }

private:
    HANDLE m_handle;
};

} // namespace dovo
