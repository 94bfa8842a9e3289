#pragma once

// What the library's own tests may reach of the threads and their registry (exported for them; not
// installed).

#include <dovo/Export.h>
#include <dovo/Thread.h>

#include <cstddef>

namespace dovo {

struct DOVO_API ThreadAccess
{
    /// How many threads the registry holds records for.
    static std::size_t RegisteredThreads();
    /// Gives the thread a handle that the system does not know, as one its object has already released.
    static void GiveUnknownHandle(Thread& thread);
};

} // namespace dovo
