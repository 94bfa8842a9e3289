#include "core/TimeSystem.h"
#include "core/Win32Support.h"

#include <ctime>

namespace dovo::timesystem {

std::int64_t UnixMilliseconds()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    const std::int64_t ticks = (static_cast<std::int64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
    // 100-nanosecond ticks since 1601-01-01; 11644473600 seconds lie between 1601 and 1970.
    return ticks / 10000 - 11644473600000LL;
}

std::int64_t LocalOffset()
{
    TIME_ZONE_INFORMATION zone;
    const DWORD state = GetTimeZoneInformation(&zone);
    // Biases are minutes west of Greenwich; daylight counts only while in force in a zone that has it.
    if (state == TIME_ZONE_ID_DAYLIGHT && zone.DaylightDate.wMonth != 0)
        return -static_cast<std::int64_t>(zone.Bias + zone.DaylightBias) * 60000;
    return -static_cast<std::int64_t>(zone.Bias) * 60000;
}

bool DaylightAt(std::int64_t unixSeconds)
{
    // The runtime takes only 1970 to 3000; outside that range there is no daylight saving to speak of.
    if (unixSeconds < 0 || unixSeconds > 32535215999LL) return false;
    const __time64_t t = unixSeconds;
    tm local{};
    return _localtime64_s(&local, &t) == 0 && local.tm_isdst > 0;
}

} // namespace dovo::timesystem
