#include <dovo/Platform.h>
#include <dovo/Time.h>

#include "support/Checks.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <ctime>
#include <random>
#include <string>
#include <tuple>

using dovo::Time;

namespace {

constexpr std::int64_t kDay = 86400000;
constexpr Time kNoLimit(INT64_MAX);

Time::DisplayUnits Unit(int unit) { return static_cast<Time::DisplayUnits>(unit); }

} // namespace

TEST(Time, Calendar)
{
    EXPECT_EQ(Time(1970, 1, 1).TotalMilliseconds(), 719162 * kDay);
    // {year, month, day, hour, shown}: a leap day counts from March on. Month 13 is the first of the next January;
    // any other month out of range counts -1 day (plus the leap day from March on); other fields simply add up.
    const std::tuple<int, int, int, int, const char*> fields[] = {
        {2000, 3, 1, 0, "2000-03-01 00"},  {2023, 13, 1, 0, "2024-01-01 00"}, {2023, 0, 1, 0, "2022-12-31 00"},
        {2024, 14, 1, 0, "2024-01-01 00"}, {2024, 1, 32, 0, "2024-02-01 00"}, {2024, 1, 1, 25, "2024-01-02 01"}};
    for (const auto& [y, m, d, h, shown] : fields) EXPECT_EQ(Time(y, m, d, h).Format("%Y-%m-%d %H"), shown) << y << m;
    EXPECT_EQ(Time(2024, 5, 6, 7, 8, 9, 10).Format("%T.%F"), "07:08:09.010");
    (void)Time(INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX).Year(); // wraps

    // Day of week (0 is Sunday), day of year, days left in the month and in the year, leap year.
    const std::pair<Time, const char*> days[] = {
        {Time(2000, 2, 29, 13), "2|60|0|306|1"}, {Time(1, 1, 1), "1|1|30|364|0"}, {Time(2023, 12, 31), "0|365|0|0|0"}};
    for (const auto& [t, parts] : days)
        EXPECT_EQ(Joined(t.DayOfWeek(), t.DayOfYear(), t.DaysLeftInMonth(), t.DaysLeftInYear(), t.LeapYear()), parts);
    int h, m, s;
    Time(2000, 2, 29, 13, 14, 15, 16).ExtractTime(h, m, s);
    EXPECT_EQ(Joined(h, m, s), "13|14|15");
    // {year, month, "leap|days in the month|days of the year before the month"} (13: the whole year)
    const std::tuple<int, int, const char*> months[] = {
        {2000, 2, "1|29|31"}, {2024, 3, "1|31|60"}, {1900, 2, "0|28|31"}, {2023, 0, "0|0|-1"}, {2024, 13, "1|0|366"}};
    for (const auto& [y, month, results] : months)
        EXPECT_EQ(Joined(Time::IsLeapYear(y), Time::DaysInMonth(y, month), Time::DaysInYear(y, month)), results);
    // The fields of tm are checked against the runtime's strftime below; seconds are its finest unit.
    tm broken;
    Time(2021, 7, 4, 5, 6, 7).ToTM(broken);
    EXPECT_EQ(Joined(Time(2021, 7, 4, 5, 6, 7).Compare(broken), Time(2021, 7, 4, 5, 6, 7, 1).Compare(broken),
                     Time(2021, 7, 4, 5, 6, 6).Compare(broken)),
              "0|1|-1");
}

TEST(Time, RandomTimesReadBackAndAgreeWithTheRuntime)
{
    // Conversions that every platform's strftime knows, compared on the years that its tm covers.
    const char* format = "%Y|%y|%m|%d|%H|%I|%M|%S|%j|%w|%U|%W|%%|%a|%A|%b|%B|%p|%x|%X";
    std::mt19937_64 random(20261121);
    std::uniform_int_distribution<std::int64_t> values(0, Time(9999, 12, 31).TotalMilliseconds());
    for (int i = 0; i < 40000; ++i) {
        const Time t(values(random));
        int y, mo, d, h, mi, s, ms;
        t.ExtractDate(y, mo, d);
        t.ExtractTime(h, mi, s, ms);
        ASSERT_EQ(Time(y, mo, d, h, mi, s, ms), t) << t.TotalMilliseconds();
        ASSERT_EQ(Joined(t.Hour(), t.Minute(), t.Second(), t.Millisecond()), Joined(h, mi, s, ms));
        ASSERT_TRUE(mo >= 1 && d <= Time::DaysInMonth(y, mo)) << t.TotalMilliseconds();
        ASSERT_EQ(t.DayOfYear(), Time::DaysInYear(y, mo) + d);
        ASSERT_EQ((t + Time(kDay)).DayOfWeek(), (t.DayOfWeek() + 1) % 7);
        if (y < 1971 || y > 2999) continue;
        tm broken;
        t.ToTM(broken);
        char expected[128];
        const std::size_t n = std::strftime(expected, sizeof expected, format, &broken);
        ASSERT_EQ(t.Format(format).str(), std::string(expected, n)) << t.TotalMilliseconds();
    }
}

TEST(Time, TimeTKeepsItsEpochConstant)
{
    // The constant is 50 seconds short of the calendar's 1970; back to time_t truncates towards zero.
    EXPECT_EQ(Time().FromTimeT(0).Format("%Y-%m-%d %H:%M:%S"), "1969-12-31 23:59:10");
    EXPECT_EQ(Joined(Time().FromTimeT(1700000000).ToTimeT(), Time().FromTimeT(-5).ToTimeT(),
                     (Time().FromTimeT(-1) + Time(500)).ToTimeT(), (Time().FromTimeT(1) + Time(999)).ToTimeT()),
              "1700000000|-5|0|1");
    // It sets this time, and clears the offset.
    Time set(2024, 1, 1);
    set.SetOffset(3600000);
    set.FromTimeT(100);
    EXPECT_EQ(Joined(set.ToTimeT(), set.GetOffset()), "100|0");

    // The clock shows the true time of day: read back through the constant, it is 50 seconds ahead of the runtime's.
    const std::int64_t before = std::time(nullptr), now = Time::CurrentTime().ToTimeT(), after = std::time(nullptr);
    EXPECT_GE(now, before + 50);
    EXPECT_LE(now, after + 51); // the runtime's seconds may tick a moment later than the precise clock
}

TEST(Time, Format)
{
    const Time noon(2024, 3, 9, 12, 0, 0, 7);
    const std::tuple<Time, std::string, std::string> rows[] = {
        {noon, "%H:%M:%S.%F|%#F|%F%F|%#F%#F|100%% %Q %", "12:00:00.007|7|007007|77|100% %Q %"},
        {noon, "%e|%-d|%_m|%#m|%j|%D|%T|%R|%I|%u|%w|%C|%k", " 9|9| 3|3|069|03/09/24|12:00:00|12:00|12|6|6|20|12"},
        {Time(1, 1, 1, 9), "%Y|%y|%C|%l", "1|01|0| 9"},
        // Names and composite forms as in the C locale, the same on every platform and for any year.
        {Time(1, 1, 1, 13, 5, 6), "%x|%X|%r|%c", "01/01/01|13:05:06|01:05:06 PM|Mon Jan  1 13:05:06 1"},
        {Time(2024, 3, 9, 0, 30), "%I|%l", "12|12"},
        {Time(-1), "%Y-%m-%d %H:%M:%S.%F", "0-12-31 23:59:59.999"},
        {Time(), "%Y-%m-%d", "1-01-01"}, // "Never" only when asked for
        // ISO weeks at the turn of the year.
        {Time(2021, 1, 3), "%G-W%V-%u|%g", "2020-W53-7|20"},
        {Time(2024, 12, 30), "%G-W%V-%u", "2025-W01-1"},
        {Time(2005, 1, 1), "%G-W%V-%u", "2004-W53-6"}, // in the last week of a leap year
        {Time(2026, 1, 1), "%G-W%V|%U|%W", "2026-W01|00|00"},
        {Time(2023, 1, 1), "%G-W%V|%U|%W", "2022-W52|01|00"},
    };
    for (const auto& [time, format, expected] : rows) EXPECT_EQ(time.Format(format).str(), expected) << format;
    // The result must fit 127 bytes, as in the runtime's 128-byte buffer; one byte more gives "".
    const std::tuple<std::size_t, const char*, const char*> fits[] = {
        {127, "", ""}, {123, "%Y", "2024"}, {123, "%F%#F", "0077"}};
    for (const auto& [n, format, added] : fits) {
        EXPECT_EQ(noon.Format(std::string(n, 'x') + format).str(), std::string(n, 'x') + added) << n;
        EXPECT_EQ(noon.Format(std::string(n + 1, 'x') + format).str(), "") << n;
    }
    EXPECT_EQ(Joined(Time(1, 1, 1).Format("%Y", false, true), Time(INT64_MAX).Format("%Y")), "Never|Far in the future");

    // Shown with its offset, by the calendar parts too; the original stays the way back.
    Time shifted(2024, 3, 9, 12);
    for (const auto& [minutes, expected] : {std::pair(90, "13:30 +0130|13"), std::pair(-30, "11:30 -0030|11")}) {
        shifted.SetOffset(minutes * 60000);
        EXPECT_EQ(Joined(shifted.Format("%H:%M %z"), shifted.Hour()), expected);
        EXPECT_EQ(shifted.GetOriginalTime(), Time(2024, 3, 9, 12));
    }
}

TEST(Time, LocalZone)
{
    // Independent of the zone: the offset is what the runtime's local and UTC clocks differ by.
    const std::time_t now = std::time(nullptr);
    const tm l = *std::localtime(&now), u = *std::gmtime(&now);
    const Time asLocal(l.tm_year + 1900, l.tm_mon + 1, l.tm_mday, l.tm_hour, l.tm_min, l.tm_sec);
    const Time asUtc(u.tm_year + 1900, u.tm_mon + 1, u.tm_mday, u.tm_hour, u.tm_min, u.tm_sec);
    EXPECT_EQ(Time::TZOffset(), (asLocal - asUtc).TotalMilliseconds());
    if (OnWindows()) GTEST_SKIP() << "the Windows zone comes from the system, not from TZ";
    const dovo::String saved = dovo::Platform::GetEnvironment("TZ");
    const auto setZone = [](const dovo::String& zone) { dovo::Platform::SetEnvironment("TZ", zone, false), tzset(); };
    setZone("XST-5:30");
    EXPECT_EQ(Time::TZOffset(), 330 * 60000);
    const Time t(2024, 1, 1, 12);
    Time local = Time(t).ConvertToLocal(), utc = Time(t).ConvertToUTC();
    // Each object shows one time, its calendar parts too; a time already moved to local time is not moved again.
    EXPECT_EQ(Joined(t.Format("%H:%M %z", true), local.Format("%H:%M %z"), local.Format("%H:%M %z", true),
                     utc.Format("%H:%M %z"), local.Hour(), local.Minute(), utc.Hour(), utc.Minute()),
              "17:30 +0530|17:30 +0530|17:30 +0530|06:30 -0530|17|30|6|30");
    for (const Time& moved : {local, utc}) EXPECT_EQ(moved.GetOriginalTime(), t);
    EXPECT_EQ(local.ConvertToUTC(), t);
    EXPECT_EQ(local.GetOffset(), 0);

    setZone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(Joined(Time(2024, 7, 1, 12).DST(), Time(2024, 1, 15, 12).DST(), Time(1, 1, 1).DST()), "1|0|0");
    setZone(saved);
}

TEST(Time, Durations)
{
    // Each component within the next larger unit, truncated towards zero and carrying the sign.
    const Time m(-(((26LL * 60 + 3) * 60 + 4) * 1000 + 5)); // minus 1 day 2:03:04.005
    EXPECT_EQ(Joined(m.GetDays(), m.GetHours(), m.GetMinutes(), m.GetSeconds(), m.GetMilliseconds(), m.TotalHours(),
                     m.TotalMinutes(), m.TotalSeconds()),
              "-1|-2|-3|-4|-5|-26|-1563|-93784");
    const std::pair<float, int> seconds[] = {{1.5f, 0}, {1.4999f, 1}, {2.0f, -1}, {1e30f, -1}, {-1e30f, 1}};
    for (const auto& [s, expected] : seconds) EXPECT_EQ(Time(1500).Compare(s), expected) << s;
    EXPECT_EQ(Time(1).Compare(Time(2)), -1);
    EXPECT_EQ(Time(INT64_MAX) + Time(1), Time(INT64_MIN)); // wraps, never traps

    // {duration, first, last, precision, limit, text}: long forms (0 to 4), short forms (5 to 9); a unit outside
    // them counts as the nearer end.
    const Time d(3723004); // 1:02:03.004
    const std::tuple<Time, int, int, int, Time, const char*> rows[] = {
        {d, 0, 4, 0, kNoLimit, "1 hour 2 minutes 3 seconds 4 milliseconds"},
        {d, 1, 4, 2, kNoLimit, "1 hour 2 minutes"},
        {d, 1, 2, 1, kNoLimit, "62 minutes 3 seconds"},
        {Time(60000), 1, 4, 1, kNoLimit, "1 minute 0 seconds"},
        {Time(999), 1, 4, 1, kNoLimit, "0 seconds"},
        {Time(2 * kDay + 1000), 6, 9, 6, kNoLimit, "2 d 0 h 0 m 1 s"},
        {Time(500), 0, 4, 1, kNoLimit, "500 milliseconds"}, // the leading unit, however coarse the precision
        {Time(-3723004), 1, 4, 1, kNoLimit, "-1 hours 2 minutes 3 seconds"},
        {Time(-500), 1, 4, 0, kNoLimit, "-0 seconds 500 milliseconds"},
        {Time(INT64_MIN), 0, 4, 0, kNoLimit, "a lot"},
        {Time(-5000), 4, 4, 4, Time(4999), "a lot"},
        {Time(5000), 1, 4, 1, Time(5000), "5 seconds"},
        {d, -1, INT_MAX, INT_MIN, kNoLimit, "1 hour 2 minutes 3 seconds 4 milliseconds"},
        {d, 12, 99, 99, kNoLimit, "0 d"},
    };
    for (const auto& [value, first, last, precision, limit, expected] : rows)
        EXPECT_EQ(value.FormatDuration(Unit(first), Unit(last), Unit(precision), true, 0, ' ', limit), expected)
            << Joined(value.TotalMilliseconds(), first, last, precision);
    EXPECT_EQ(d.FormatDuration(Unit(5), Unit(9), Unit(5), false, 2, '0'), "01h 02m 03s 004ms");

    const std::pair<Time, const char*> spans[] = {
        {Time(2 * kDay + 3600000 + 5), "2 days|1 hour|5 milliseconds"},
        {Time(0), "0 milliseconds"},
        {Time(INT64_MIN), "-106751991167 days|7 hours|12 minutes|55 seconds|808 milliseconds"}};
    for (const auto& [value, expected] : spans) EXPECT_EQ(value.FormatSpan("|"), expected);
    EXPECT_EQ(Time(61000).FormatSpan(), "1 minute 1 second");
}
