// SPoll on Windows: select with the same set as read, write and exception set as asked.

#include <dovo/Stream.h>

#include "core/Win32Support.h"

#include <winsock2.h>

#include <cstring>

namespace dovo {

int SPoll(FDSet& set, float timeout, bool read, bool write, bool except)
{
    static_assert(sizeof(fd_set) == sizeof(FDSet) && FD_SETSIZE == 64, "FDSet has the layout of fd_set");
    // Each set select asks for is a copy: select rewrites them, and the caller sees the union.
    fd_set sets[3];
    fd_set* chosen[3] = {};
    const bool wanted[3] = {read, write, except};
    for (int i = 0; i < 3; ++i)
        if (wanted[i]) std::memcpy(&sets[i], &set, sizeof(fd_set)), chosen[i] = &sets[i];
    timeval limit{};
    timeval* wait = nullptr;
    if (timeout >= 0) {
        limit.tv_sec = static_cast<long>(timeout);
        limit.tv_usec = static_cast<long>((timeout - static_cast<float>(limit.tv_sec)) * 1000000.0f);
        wait = &limit;
    }
    const int result = ::select(64, chosen[0], chosen[1], chosen[2], wait);
    if (result < 0) return result;
    FDSet ready;
    for (int i = 0; i < 3; ++i)
        if (chosen[i])
            for (unsigned j = 0; j < chosen[i]->fd_count; ++j)
                ready.Add(static_cast<std::uintptr_t>(chosen[i]->fd_array[j]));
    set = ready;
    return result;
}

} // namespace dovo
