#include <dovo/Time.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <tuple>
#include <vector>

using dovo::Time;

constexpr std::int64_t kDay = 86400000;

TEST(Time, CalendarConstruction)
{
    EXPECT_EQ(Time(1, 1, 1).TotalMilliseconds(), 0);
    EXPECT_EQ(Time(1970, 1, 1).TotalMilliseconds(), 719162 * kDay);
    // A leap day counts from March on. Month 13 is the first of the next January; any other month out of range
    // counts -1 day (plus the leap day from March on); other fields beyond their range simply add up.
    const std::pair<std::array<int, 7>, const char*> rows[] = {
        {{2000, 3, 1}, "2000-03-01 00:00:00.000"},     {{1900, 3, 1}, "1900-03-01 00:00:00.000"},
        {{2023, 13, 1}, "2024-01-01 00:00:00.000"},    {{2024, 13, 1}, "2025-01-01 00:00:00.000"},
        {{2023, 0, 1}, "2022-12-31 00:00:00.000"},     {{2023, 14, 1}, "2022-12-31 00:00:00.000"},
        {{2024, 14, 1}, "2024-01-01 00:00:00.000"},    {{2024, 1, 32}, "2024-02-01 00:00:00.000"},
        {{2024, 1, 1, 25}, "2024-01-02 01:00:00.000"}, {{2024, 5, 6, 7, 8, 9, 10}, "2024-05-06 07:08:09.010"},
    };
    for (const auto& [f, expected] : rows) {
        EXPECT_EQ(Time(f[0], f[1], f[2], f[3], f[4], f[5], f[6]).Format("%Y-%m-%d %T.%F").str(), expected)
            << testing::PrintToString(f);
    }
    (void)Time(INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX).Year(); // wraps
}

TEST(Time, CalendarParts)
{
    // The fields, day of week (0 is Sunday), day of year, days left in the month and in the year, leap year.
    const std::pair<Time, std::vector<int>> days[] = {
        {Time(2000, 2, 29, 13, 14, 15, 16), {2000, 2, 29, 13, 14, 15, 16, 2, 60, 0, 306, 1}},
        {Time(1, 1, 1), {1, 1, 1, 0, 0, 0, 0, 1, 1, 30, 364, 0}},
        {Time(1970, 1, 1), {1970, 1, 1, 0, 0, 0, 0, 4, 1, 30, 364, 0}},
        {Time(2023, 2, 1, 23, 59, 59, 999), {2023, 2, 1, 23, 59, 59, 999, 3, 32, 27, 333, 0}},
        {Time(2023, 12, 31), {2023, 12, 31, 0, 0, 0, 0, 0, 365, 0, 0, 0}},
    };
    for (const auto& [t, expected] : days) {
        const std::vector<int> parts{
            t.Year(),           t.Month(),       t.Day(),       t.Hour(),      t.Minute(),
            t.Second(),         t.Millisecond(), t.DayOfWeek(), t.DayOfYear(), t.DaysLeftInMonth(),
            t.DaysLeftInYear(), t.LeapYear()};
        EXPECT_EQ(parts, expected);
    }
    int h, m, s;
    days[0].first.ExtractTime(h, m, s);
    EXPECT_EQ(h * 10000 + m * 100 + s, 131415);

    // Leap year, days in the month, days of the year before the month (13: the whole year).
    const std::tuple<int, int, bool, int, int> months[] = {
        {2000, 2, true, 29, 31}, {2024, 3, true, 31, 60},  {1900, 2, false, 28, 31},  {2023, 12, false, 31, 334},
        {2023, 0, false, 0, -1}, {2024, 13, true, 0, 366}, {2023, 13, false, 0, 365},
    };
    for (const auto& [year, month, leap, inMonth, beforeMonth] : months) {
        EXPECT_EQ(
            std::make_tuple(Time::IsLeapYear(year), Time::DaysInMonth(year, month), Time::DaysInYear(year, month)),
            std::make_tuple(leap, inMonth, beforeMonth))
            << year << "-" << month;
    }

    // The fields of tm are checked against the runtime's strftime below; seconds are its finest unit.
    tm broken;
    Time(2021, 7, 4, 5, 6, 7).ToTM(broken);
    EXPECT_EQ(Time(2021, 7, 4, 5, 6, 7).Compare(broken), 0);
    EXPECT_EQ(Time(2021, 7, 4, 5, 6, 7, 1).Compare(broken), 1);
    EXPECT_EQ(Time(2021, 7, 4, 5, 6, 6).Compare(broken), -1);
}

TEST(Time, RandomTimesReadBackAndAgreeWithTheRuntime)
{
    // Conversions that every platform's strftime knows, compared on the years that its tm covers.
    const char* format = "%Y|%y|%m|%d|%H|%I|%M|%S|%j|%w|%U|%W|%%|%a|%A|%b|%B|%p";
    std::mt19937_64 random(20261121);
    std::uniform_int_distribution<std::int64_t> values(0, Time(9999, 12, 31).TotalMilliseconds());
    for (int i = 0; i < 40000; ++i) {
        const Time t(values(random));
        int y, mo, d, h, mi, s, ms;
        t.ExtractDate(y, mo, d);
        t.ExtractTime(h, mi, s, ms);
        ASSERT_EQ(Time(y, mo, d, h, mi, s, ms), t) << t.TotalMilliseconds();
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
    // The constant is 50 seconds short of the calendar's 1970.
    EXPECT_EQ(Time::FromTimeT(0).Format("%Y-%m-%d %H:%M:%S"), "1969-12-31 23:59:10");
    for (const std::int64_t t : {0LL, 1700000000LL, -5LL}) EXPECT_EQ(Time::FromTimeT(t).ToTimeT(), t);
    // Truncated towards zero.
    EXPECT_EQ((Time::FromTimeT(-1) + Time(500)).ToTimeT(), 0);
    EXPECT_EQ((Time::FromTimeT(1) + Time(999)).ToTimeT(), 1);

    // The clock shows the true time of day: read back through the constant, it is 50 seconds ahead of the runtime's.
    const std::int64_t before = std::time(nullptr), now = Time::CurrentTime().ToTimeT(), after = std::time(nullptr);
    EXPECT_GE(now, before + 50);
    EXPECT_LE(now, after + 51); // the runtime's seconds may tick a moment later than the precise clock
}

TEST(Time, Format)
{
    const Time noon(2024, 3, 9, 12, 0, 0, 7);
    const auto x = [](std::size_t n) { return std::string(n, 'x'); };
    const std::tuple<Time, std::string, std::string> rows[] = {
        {noon, "%y.%m.%d %H:%M:%S.%F|%#F|%F%F|%#F%#F|100%% %Q %", "24.03.09 12:00:00.007|7|007007|77|100% %Q %"},
        {noon, "", ""},
        {noon, "%e|%-d|%_m|%#m|%j|%D|%T|%R|%I|%u|%w|%C|%k", " 9|9| 3|3|069|03/09/24|12:00:00|12:00|12|6|6|20|12"},
        {Time(1, 1, 1, 9), "%Y|%y|%C|%l", "1|01|0| 9"},
        {Time(2024, 3, 9, 0, 30), "%I|%l", "12|12"},
        {Time(-1), "%Y-%m-%d %H:%M:%S.%F", "0-12-31 23:59:59.999"},
        {Time(), "%Y-%m-%d", "1-01-01"}, // "Never" only when asked for
        // ISO weeks at the turn of the year.
        {Time(2021, 1, 3), "%G-W%V-%u|%g", "2020-W53-7|20"},
        {Time(2024, 12, 30), "%G-W%V-%u", "2025-W01-1"},
        {Time(2026, 1, 1), "%G-W%V|%U|%W", "2026-W01|00|00"},
        {Time(2023, 1, 1), "%G-W%V|%U|%W", "2022-W52|01|00"},
    };
    for (const auto& [time, format, expected] : rows) EXPECT_EQ(time.Format(format).str(), expected) << format;
    // The result must fit 127 bytes, as in the runtime's 128-byte buffer; one byte more gives "".
    const std::tuple<std::size_t, const char*, const char*> fits[] = {
        {127, "", ""}, {123, "%Y", "2024"}, {123, "%F%#F", "0077"}};
    for (const auto& [n, format, added] : fits) {
        EXPECT_EQ(noon.Format(x(n) + format).str(), x(n) + added) << n;
        EXPECT_EQ(noon.Format(x(n + 1) + format).str(), "") << n;
    }
    // The stored offset is applied when the time is not shown in local time.
    Time shifted(2024, 3, 9, 12);
    shifted.SetOffset(90 * 60000);
    EXPECT_EQ(shifted.Format("%H:%M %z"), "13:30 +0130");
    shifted.SetOffset(-30 * 60000);
    EXPECT_EQ(shifted.Format("%H:%M %z"), "11:30 -0030");
    EXPECT_EQ(Time().Format("%Y", false, true), "Never");
    EXPECT_EQ(Time(INT64_MAX).Format("%Y"), "Far in the future");
}

TEST(Time, LocalZone)
{
    // Independent of the zone: the offset is what the runtime's local and UTC clocks differ by.
    const std::time_t now = std::time(nullptr);
    const tm l = *std::localtime(&now), u = *std::gmtime(&now);
    const Time asLocal(l.tm_year + 1900, l.tm_mon + 1, l.tm_mday, l.tm_hour, l.tm_min, l.tm_sec);
    const Time asUtc(u.tm_year + 1900, u.tm_mon + 1, u.tm_mday, u.tm_hour, u.tm_min, u.tm_sec);
    EXPECT_EQ(Time::TZOffset(), (asLocal - asUtc).TotalMilliseconds());
#ifdef _WIN32
    GTEST_SKIP() << "the Windows zone comes from the system, not from TZ";
#else
    const char* old = std::getenv("TZ");
    const std::string saved = old ? old : "";
    const auto setZone = [](const char* zone) { (zone ? setenv("TZ", zone, 1) : unsetenv("TZ")), tzset(); };
    setZone("XST-5:30");
    EXPECT_EQ(Time::TZOffset(), 330 * 60000);
    const Time t(2024, 1, 1, 12);
    EXPECT_EQ(t.Format("%H:%M %z", true), "17:30 +0530");
    Time local = Time(t).ConvertToLocal(), utc = Time(t).ConvertToUTC();
    // The values move; the offsets lead back to the original.
    EXPECT_EQ((std::vector<int>{local.Hour(), local.Minute(), utc.Hour(), utc.Minute()}),
              (std::vector<int>{17, 30, 6, 30}));
    for (const Time& moved : {local, utc}) EXPECT_EQ(moved.GetOriginalTime(), t);
    EXPECT_EQ(local.Format("%H:%M"), "12:00");
    EXPECT_EQ(local.ConvertToUTC(), t);

    setZone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ((std::vector<bool>{Time(2024, 7, 1, 12).DST(), Time(2024, 1, 15, 12).DST(), Time(1, 1, 1).DST()}),
              (std::vector<bool>{true, false, false}));
    setZone(old ? saved.c_str() : nullptr);
#endif
}

TEST(Time, DurationParts)
{
    // Each component within the next larger unit, truncated towards zero and carrying the sign.
    const Time d(-(((26LL * 60 + 3) * 60 + 4) * 1000 + 5)); // minus 1 day 2:03:04.005
    EXPECT_EQ((std::vector<std::int64_t>{d.GetDays(), d.GetHours(), d.GetMinutes(), d.GetSeconds(), d.GetMilliseconds(),
                                         d.TotalHours(), d.TotalMinutes(), d.TotalSeconds()}),
              (std::vector<std::int64_t>{-1, -2, -3, -4, -5, -26, -(26 * 60 + 3), -((26 * 60 + 3) * 60 + 4)}));

    const std::pair<float, int> seconds[] = {{1.5f, 0}, {1.4999f, 1}, {2.0f, -1}, {1e30f, -1}, {-1e30f, 1}};
    for (const auto& [s, expected] : seconds) EXPECT_EQ(Time(1500).Compare(s), expected) << s;
    EXPECT_EQ(Time(1).Compare(Time(2)), -1);
    EXPECT_EQ(Time(INT64_MAX) + Time(1), Time(INT64_MIN)); // wraps, never traps
}

TEST(Time, DurationsInWords)
{
    using enum Time::DisplayUnits;
    const Time d(3723004); // 1:02:03.004
    const std::tuple<Time, Time::DisplayUnits, Time::DisplayUnits, Time::DisplayUnits, const char*> rows[] = {
        {d, Milliseconds, Days, Milliseconds, "1 hour 2 minutes 3 seconds 4 milliseconds"},
        {d, Seconds, Days, Minutes, "1 hour 2 minutes"},
        {d, Seconds, Minutes, Seconds, "62 minutes 3 seconds"},
        {Time(1000), Seconds, Days, Seconds, "1 second"},
        {Time(999), Seconds, Days, Seconds, "0 seconds"},
        {Time(3 * kDay), Seconds, Hours, Hours, "72 hours"},
        {Time(2 * kDay + 1000), ShortSeconds, ShortDays, ShortSeconds, "2 d 0 h 0 m 1 s"},
        // A precision above the leading unit still shows the leading one.
        {Time(500), Milliseconds, Days, Seconds, "500 milliseconds"},
        // Negative durations: the sign goes on the leading number, or before a leading 0.
        {Time(-3723004), Seconds, Days, Seconds, "-1 hours 2 minutes 3 seconds"},
        {Time(-500), Seconds, Days, Milliseconds, "-0 seconds 500 milliseconds"},
        // Beyond the limit, by default the largest value.
        {Time(INT64_MIN), Milliseconds, Days, Milliseconds, "a lot"},
    };
    for (const auto& [value, first, last, precision, expected] : rows) {
        EXPECT_EQ(value.FormatDuration(first, last, precision).str(), expected) << value.TotalMilliseconds();
    }
    EXPECT_EQ(d.FormatDuration(ShortMilliseconds, ShortDays, ShortMilliseconds, false, 2, '0'), "01h 02m 03s 004ms");
    EXPECT_EQ(Time(5000).FormatDuration(Seconds, Days, Seconds, true, 0, ' ', Time(4999)), "a lot");
    EXPECT_EQ(Time(-5000).FormatDuration(Days, Days, Days, true, 0, ' ', Time(4999)), "a lot");
    EXPECT_EQ(Time(5000).FormatDuration(Seconds, Days, Seconds, true, 0, ' ', Time(5000)), "5 seconds");

    EXPECT_EQ(Time(2 * kDay + 3600000 + 5).FormatSpan(), "2 days 1 hour 5 milliseconds");
    EXPECT_EQ(Time(61000).FormatSpan(", "), "1 minute, 1 second");
    EXPECT_EQ(Time(0).FormatSpan(), "0 milliseconds");
    EXPECT_EQ(Time(-1000).FormatSpan(), "-1 second");
    EXPECT_EQ(Time(INT64_MIN).FormatSpan(), "-106751991167 days 7 hours 12 minutes 55 seconds 808 milliseconds");
}
