#include "core/TimeSystem.h"

#include <ctime>
#include <time.h>

namespace dovo::timesystem {

std::int64_t UnixMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

std::int64_t LocalOffset()
{
    const time_t now = time(nullptr);
    tm local{};
    if (!localtime_r(&now, &local)) return 0;
    return static_cast<std::int64_t>(local.tm_gmtoff) * 1000;
}

bool DaylightAt(std::int64_t unixSeconds)
{
    const auto t = static_cast<time_t>(unixSeconds);
    tm local{};
    return localtime_r(&t, &local) && local.tm_isdst > 0;
}

} // namespace dovo::timesystem
