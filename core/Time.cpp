// Time: calendar arithmetic, conversions and comparison.

#include <dovo/Time.h>

#include "core/TimeCalendar.h"
#include "core/TimeSystem.h"

#include <cstdint>
#include <ctime>

namespace dovo {

namespace calendar {

std::int64_t FloorDiv(std::int64_t a, std::int64_t b)
{
    const std::int64_t q = a / b;
    return (a % b != 0 && ((a < 0) != (b < 0))) ? q - 1 : q;
}

std::int64_t DaysBeforeYear(std::int64_t year)
{
    // Whole 400-year, 100-year and 4-year cycles, then the single years.
    const std::int64_t y = year - 1;
    const std::int64_t cycles400 = FloorDiv(y, 400);
    const std::int64_t inCycle = y - cycles400 * 400;
    const std::int64_t centuries = inCycle / 100;
    const std::int64_t rest = inCycle - centuries * 100;
    return 146097 * cycles400 + 36524 * centuries + 1461 * (rest / 4) + 365 * (rest % 4);
}

int DaysBeforeMonth(std::int64_t year, int month)
{
    static constexpr int table[13] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
    // Month 13 is the whole year; any other month out of range counts -1 day.
    int days = (month >= 1 && month <= 13) ? table[month - 1] : -1;
    if (month >= 3 && Time::IsLeapYear(static_cast<int>(year))) ++days;
    return days;
}

Fields Split(std::int64_t value)
{
    Fields f;
    const std::int64_t days = FloorDiv(value, kMsPerDay);
    std::int64_t ms = value - days * kMsPerDay;
    f.millisecond = static_cast<int>(ms % 1000);
    ms /= 1000;
    f.second = static_cast<int>(ms % 60);
    ms /= 60;
    f.minute = static_cast<int>(ms % 60);
    f.hour = static_cast<int>(ms / 60);
    f.weekday = static_cast<int>((days + 1) - FloorDiv(days + 1, 7) * 7); // 0001-01-01 was a Monday

    // Civil date from the day count, counting years from March so the leap day comes last.
    const std::int64_t z = days + 306; // days since 0000-03-01
    const std::int64_t era = FloorDiv(z, 146097);
    const std::int64_t dayOfEra = z - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t mp = (5 * dayOfYear + 2) / 153;
    f.day = static_cast<int>(dayOfYear - (153 * mp + 2) / 5 + 1);
    f.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    f.year = static_cast<int>(yearOfEra + era * 400 + (f.month <= 2 ? 1 : 0));
    f.yearDay = static_cast<int>(days - DaysBeforeYear(f.year));
    return f;
}

void ToTM(const Fields& f, struct tm& out)
{
    out = tm{};
    out.tm_year = f.year - 1900;
    out.tm_mon = f.month - 1;
    out.tm_mday = f.day;
    out.tm_hour = f.hour;
    out.tm_min = f.minute;
    out.tm_sec = f.second;
    out.tm_wday = f.weekday;
    out.tm_yday = f.yearDay;
}

} // namespace calendar

namespace {
// Milliseconds from 0001-01-01 to 1970-01-01 by the calendar (the clock's true epoch).
constexpr std::int64_t kUnixEpochMs = 719162LL * calendar::kMsPerDay;
constexpr std::int64_t kEpochMs = Time::EpochSeconds * 1000;

std::int64_t Add(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

std::int64_t Multiply(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

int Sign(std::int64_t a, std::int64_t b) { return (a > b) - (a < b); }

// Seconds to milliseconds, truncated; out-of-range values saturate and NaN is 0.
std::int64_t SecondsToMs(double seconds)
{
    const double ms = seconds * 1000.0;
    if (!(ms == ms)) return 0;
    if (ms >= 9.2e18) return INT64_MAX;
    if (ms <= -9.2e18) return INT64_MIN;
    return static_cast<std::int64_t>(ms);
}
} // namespace

Time::Time(int year, int month, int day, int hour, int minute, int second, int millisecond)
{
    // Wrapping arithmetic: absurd fields give an absurd time, never undefined behaviour.
    std::int64_t days = Add(calendar::DaysBeforeYear(year), calendar::DaysBeforeMonth(year, month));
    days = Add(days, static_cast<std::int64_t>(day) - 1);
    std::int64_t v = Add(Multiply(days, 24), hour);
    v = Add(Multiply(v, 60), minute);
    v = Add(Multiply(v, 60), second);
    m_value = Add(Multiply(v, 1000), millisecond);
}

Time Time::CurrentTime() { return Time(kUnixEpochMs + timesystem::UnixMilliseconds()); }

int Time::Year() const { return calendar::Split(m_value).year; }
int Time::Month() const { return calendar::Split(m_value).month; }
int Time::Day() const { return calendar::Split(m_value).day; }
int Time::Hour() const { return calendar::Split(m_value).hour; }
int Time::Minute() const { return calendar::Split(m_value).minute; }
int Time::Second() const { return calendar::Split(m_value).second; }
int Time::Millisecond() const { return calendar::Split(m_value).millisecond; }
int Time::DayOfWeek() const { return calendar::Split(m_value).weekday; }
int Time::DayOfYear() const { return calendar::Split(m_value).yearDay + 1; }
bool Time::LeapYear() const { return IsLeapYear(Year()); }

int Time::DaysLeftInMonth() const
{
    const calendar::Fields f = calendar::Split(m_value);
    return DaysInMonth(f.year, f.month) - f.day;
}

int Time::DaysLeftInYear() const
{
    const calendar::Fields f = calendar::Split(m_value);
    return DaysInYear(f.year, 13) - (f.yearDay + 1);
}

bool Time::DST() const { return timesystem::DaylightAt(calendar::FloorDiv(Add(m_value, -kUnixEpochMs), 1000)); }

void Time::ExtractDate(int& year, int& month, int& day) const
{
    const calendar::Fields f = calendar::Split(m_value);
    year = f.year, month = f.month, day = f.day;
}

void Time::ExtractTime(int& hour, int& minute, int& second) const
{
    const calendar::Fields f = calendar::Split(m_value);
    hour = f.hour, minute = f.minute, second = f.second;
}

void Time::ExtractTime(int& hour, int& minute, int& second, int& millisecond) const
{
    const calendar::Fields f = calendar::Split(m_value);
    hour = f.hour, minute = f.minute, second = f.second, millisecond = f.millisecond;
}

void Time::ToTM(struct tm& out) const { calendar::ToTM(calendar::Split(m_value), out); }

bool Time::IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int Time::DaysInMonth(int year, int month)
{
    if (month < 1 || month > 12) return 0;
    return calendar::DaysBeforeMonth(year, month + 1) - calendar::DaysBeforeMonth(year, month);
}

int Time::DaysInYear(int year, int month) { return calendar::DaysBeforeMonth(year, month); }

std::int64_t Time::TZOffset() { return timesystem::LocalOffset(); }

std::int64_t Time::ToTimeT() const { return Add(m_value, -kEpochMs) / 1000; }

Time& Time::FromTimeT(std::int64_t t)
{
    m_value = Multiply(Add(EpochSeconds, t), 1000);
    m_offset = 0;
    return *this;
}

Time& Time::ConvertToUTC()
{
    const std::int64_t zone = TZOffset();
    m_value = Add(m_value, -zone);
    m_offset = Add(m_offset, -zone);
    return *this;
}

Time& Time::ConvertToLocal()
{
    const std::int64_t zone = TZOffset();
    m_value = Add(m_value, zone);
    m_offset = Add(m_offset, zone);
    return *this;
}

Time Time::GetOriginalTime() const { return Time(Add(m_value, -m_offset)); }

void Time::SetOffset(std::int64_t offset)
{
    m_value = Add(Add(m_value, -m_offset), offset);
    m_offset = offset;
}

int Time::Compare(const Time& other) const { return Sign(m_value, other.m_value); }

int Time::Compare(float seconds) const { return Sign(m_value, SecondsToMs(seconds)); }

int Time::Compare(const struct tm& other) const
{
    // Narrowed through 64 bits so that absurd fields wrap instead of overflowing.
    const auto year = static_cast<int>(static_cast<std::int64_t>(other.tm_year) + 1900);
    const auto month = static_cast<int>(static_cast<std::int64_t>(other.tm_mon) + 1);
    return Compare(Time(year, month, other.tm_mday, other.tm_hour, other.tm_min, other.tm_sec, 0));
}

} // namespace dovo
