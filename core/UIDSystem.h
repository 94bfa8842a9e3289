#pragma once

// The operating system's UUID generator (UID_posix.cpp, UID_win32.cpp).

namespace dovo::uidsystem {

/// Fills bytes with a new identifier in network byte order; false when the system gives none.
bool Generate(unsigned char bytes[16]);

} // namespace dovo::uidsystem
