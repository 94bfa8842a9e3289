#pragma once

// Calendar arithmetic shared by Time's calendar parts and its text forms.

#include <cstdint>

struct tm;

namespace dovo::calendar {

constexpr std::int64_t kMsPerDay = 86400000;

/// A time value broken into its calendar fields (proleptic Gregorian).
struct Fields
{
    int year = 1, month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
    int weekday = 1; ///< 0 is Sunday
    int yearDay = 0; ///< 0 for the 1st of January
};

std::int64_t FloorDiv(std::int64_t a, std::int64_t b);
std::int64_t DaysBeforeYear(std::int64_t year);
/// Days of the year before the first of month, from the 13-entry table.
int DaysBeforeMonth(std::int64_t year, int month);
Fields Split(std::int64_t value);
void ToTM(const Fields& f, struct tm& out);

} // namespace dovo::calendar
