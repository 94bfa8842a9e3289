#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>

#include <cstdint>

struct tm;

namespace dovo {

/// A point in time or a duration: signed milliseconds since 0001-01-01 00:00:00.000 (proleptic
/// Gregorian), plus an offset in milliseconds.
///
/// Value 0 is "no time" ("Never"); the largest value is "Far in the future". Times from the clock are
/// UTC; local time is UTC plus TZOffset().
///
/// One time per object: the value is the time the object shows. The calendar parts, ToTM(),
/// ToTimeT(), the comparisons and Format() without local conversion all read the value. The offset
/// says how far the value has been moved from the time it was made from (its original), so
/// GetOriginalTime() is the value less the offset:
/// - ConvertToLocal() and ConvertToUTC() move the value by TZOffset() one way or the other and add
///   the same move to the offset;
/// - SetOffset(o) moves the value to the original plus o (so Format() without local conversion shows
///   the original moved by o, and "%z" shows o);
/// - Format() with local conversion shows the original moved by TZOffset(), so a time already moved
///   to local time is not moved twice.
/// Times from the clock, from calendar fields, from FromTimeT() and from arithmetic are their own
/// originals (offset 0).
class DOVO_API Time
{
public:
    /// Units of FormatDuration: the long forms, then the same units in short form.
    enum DisplayUnits : int {
        Milliseconds,
        Seconds,
        Minutes,
        Hours,
        Days,
        ShortMilliseconds,
        ShortSeconds,
        ShortMinutes,
        ShortHours,
        ShortDays,
    };

    static constexpr std::int64_t Never = 0;
    static constexpr std::int64_t FarInTheFuture = INT64_MAX;
    /// Seconds from 0001-01-01 to the time_t epoch as stored values count them (50 seconds short of
    /// the calendar's distance; kept because stored values depend on it).
    static constexpr std::int64_t EpochSeconds = 62135596750LL;

    constexpr Time() = default;
    /// A raw value: milliseconds since year 1, or a duration in milliseconds.
    constexpr explicit Time(std::int64_t milliseconds) : m_value(milliseconds) {}
    /// From calendar fields. Month 13 counts as the whole year; other months outside 1..12 count
    /// one day less.
    Time(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int millisecond = 0);

    /// The system's UTC time at millisecond resolution.
    static Time CurrentTime();
    /// Back to "no time".
    void Reset() { m_value = 0, m_offset = 0; }

    int Year() const;
    int Month() const;
    int Day() const;
    int Hour() const;
    int Minute() const;
    int Second() const;
    int Millisecond() const;
    /// 0 is Sunday.
    int DayOfWeek() const;
    /// 1 for the 1st of January.
    int DayOfYear() const;
    /// Days after this one until the end of its month (0 on the last day).
    int DaysLeftInMonth() const;
    int DaysLeftInYear() const;
    bool LeapYear() const;
    /// Whether daylight saving time is in force at this time where the process runs.
    bool DST() const;
    void ExtractDate(int& year, int& month, int& day) const;
    void ExtractTime(int& hour, int& minute, int& second) const;
    void ExtractTime(int& hour, int& minute, int& second, int& millisecond) const;
    void ToTM(struct tm& out) const;

    static bool IsLeapYear(int year);
    static int DaysInMonth(int year, int month);
    /// Days of year before the first of month; month 13 gives the length of the year.
    static int DaysInYear(int year, int month);
    /// The local zone's offset from UTC in milliseconds (positive east of Greenwich).
    static std::int64_t TZOffset();

    // A duration's components: each within the next larger unit (days are whole days), truncated
    // towards zero and carrying the duration's sign.
    int GetMilliseconds() const { return static_cast<int>(m_value % 1000); }
    int GetSeconds() const { return static_cast<int>(m_value / 1000 % 60); }
    int GetMinutes() const { return static_cast<int>(m_value / 60000 % 60); }
    int GetHours() const { return static_cast<int>(m_value / 3600000 % 24); }
    std::int64_t GetDays() const { return m_value / 86400000; }
    std::int64_t TotalMilliseconds() const { return m_value; }
    std::int64_t TotalSeconds() const { return m_value / 1000; }
    std::int64_t TotalMinutes() const { return m_value / 60000; }
    std::int64_t TotalHours() const { return m_value / 3600000; }
    /// The duration in seconds.
    float ToFloat32() const { return static_cast<float>(m_value) / 1000.0f; }

    std::int64_t ToTimeT() const;
    /// Sets this time from a time_t and clears the offset.
    Time& FromTimeT(std::int64_t t);
    /// Moves a local time to UTC, or a UTC time to local time; GetOriginalTime() undoes either.
    Time& ConvertToUTC();
    Time& ConvertToLocal();
    /// The value less the offset: the time before any conversion or SetOffset.
    Time GetOriginalTime() const;
    std::int64_t GetOffset() const { return m_offset; }
    /// Shows the original time moved by offset (the value becomes original + offset).
    void SetOffset(std::int64_t offset);

    /// -1, 0 or 1 by value.
    int Compare(const Time& other) const;
    /// Compares the duration with a number of seconds.
    int Compare(float seconds) const;
    int Compare(const struct tm& other) const;

    /// strftime-style text with "%F" for zero-padded and "%#F" for unpadded milliseconds. Without local
    /// it shows the value (the original moved by the stored offset); with local, the original moved by
    /// TZOffset(). Gives "" when the text would not fit in 127 bytes.
    String Format(const String& format, bool local = false, bool showNever = false) const;
    /// The duration in units from the largest that it reaches (between first and last) down to
    /// precision, such as "1 hour 2 minutes" or "1h 02m"; "a lot" when it exceeds limit. A unit
    /// outside Milliseconds..ShortDays counts as the nearer end (Milliseconds or ShortDays).
    String FormatDuration(DisplayUnits first = Seconds, DisplayUnits last = Days, DisplayUnits precision = Seconds,
                          bool spaced = true, int width = 0, char fill = ' ', Time limit = Time(FarInTheFuture)) const;
    /// Every non-zero component from days down to milliseconds in words, joined by separator:
    /// "2 days 1 hour 5 milliseconds"; a zero duration is "0 milliseconds".
    String FormatSpan(const String& separator = " ") const;

    bool operator==(const Time& o) const { return m_value == o.m_value; }
    bool operator!=(const Time& o) const { return m_value != o.m_value; }
    bool operator<(const Time& o) const { return m_value < o.m_value; }
    bool operator>(const Time& o) const { return m_value > o.m_value; }
    bool operator<=(const Time& o) const { return m_value <= o.m_value; }
    bool operator>=(const Time& o) const { return m_value >= o.m_value; }
    Time operator+(const Time& o) const { return Time(Wrap(m_value, o.m_value)); }
    Time operator-(const Time& o) const { return Time(Wrap(m_value, 0 - static_cast<std::uint64_t>(o.m_value))); }
    Time operator-() const { return Time(static_cast<std::int64_t>(0 - static_cast<std::uint64_t>(m_value))); }
    Time& operator+=(const Time& o) { return m_value = Wrap(m_value, o.m_value), *this; }
    Time& operator-=(const Time& o) { return *this = *this - o; }

private:
    // Values beyond the calendar's range wrap instead of overflowing.
    static constexpr std::int64_t Wrap(std::int64_t a, std::uint64_t b)
    {
        return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + b);
    }
    static constexpr std::int64_t Wrap(std::int64_t a, std::int64_t b)
    {
        return Wrap(a, static_cast<std::uint64_t>(b));
    }

    std::int64_t m_value = 0;
    std::int64_t m_offset = 0;
};

} // namespace dovo
