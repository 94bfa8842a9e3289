#pragma once

// POSIX only: objects of the library's own behind kernel handles, so that duplicated handles share
// them and the last close deletes them, as with the system's objects on Windows.

#include "threads/Kernel.h"

namespace dovo::kernel {

struct Custom
{
    virtual ~Custom() = default;
};

/// Takes ownership of the object.
Handle CreateCustom(Custom* object);
/// The object behind a handle made by CreateCustom, or null.
Custom* GetCustom(Handle handle);

} // namespace dovo::kernel
