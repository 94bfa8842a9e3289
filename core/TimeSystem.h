#pragma once

// What Time needs from the operating system; Time_posix.cpp and Time_win32.cpp provide it.

#include <cstdint>

namespace dovo::timesystem {

/// Milliseconds since 1970-01-01 00:00:00 UTC from the system clock.
std::int64_t UnixMilliseconds();
/// The local zone's current offset from UTC in milliseconds (positive east of Greenwich).
std::int64_t LocalOffset();
/// Whether daylight saving time is in force locally at the given Unix second.
bool DaylightAt(std::int64_t unixSeconds);

} // namespace dovo::timesystem
