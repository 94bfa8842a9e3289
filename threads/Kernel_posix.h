#pragma once

// POSIX only: objects of the library's own behind kernel handles, so that duplicated handles share
// them and the last close deletes them, as with the system's objects on Windows.

#include "threads/Kernel.h"

namespace dovo::kernel {

struct Custom
{
    virtual ~Custom() = default;
};

/// What every object behind a handle starts with (a handle points at it).
struct ObjectHead
{
    Custom* custom = nullptr;
};

/// Takes ownership of the object.
Handle CreateCustom(Custom* object);
/// The object behind a valid handle made by CreateCustom (read on every operation of its owner).
inline Custom* GetCustom(Handle handle) { return static_cast<ObjectHead*>(handle)->custom; }

} // namespace dovo::kernel
