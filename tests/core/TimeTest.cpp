#include <dovo/Time.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>

using dovo::String;
using dovo::Time;

namespace {

constexpr std::int64_t kDay = 86400000;

#ifdef _WIN32
constexpr bool kZoneFromEnvironment = false; // the zone comes from the system, not from TZ
#else
constexpr bool kZoneFromEnvironment = true;
#endif

// Points the C runtime at another zone for one test.
class ZoneGuard
{
public:
    explicit ZoneGuard(const char* zone)
    {
        if (const char* old = std::getenv("TZ")) m_old = old, m_had = true;
        Set(zone);
    }
    ~ZoneGuard() { m_had ? Set(m_old.c_str()) : Set(nullptr); }

private:
    static void Set(const char* zone)
    {
#ifndef _WIN32
        zone ? setenv("TZ", zone, 1) : unsetenv("TZ");
        tzset();
#endif
    }
    std::string m_old;
    bool m_had = false;
};

} // namespace

TEST(Time, CalendarConstruction)
{
    EXPECT_EQ(Time(1, 1, 1, 0, 0, 0, 0).TotalMilliseconds(), 0);
    EXPECT_EQ(Time(1970, 1, 1).TotalMilliseconds(), 719162 * kDay);
    EXPECT_EQ(Time(2000, 3, 1).TotalMilliseconds() - Time(2000, 2, 28).TotalMilliseconds(), 2 * kDay);
    EXPECT_EQ(Time(1900, 3, 1).TotalMilliseconds() - Time(1900, 2, 28).TotalMilliseconds(), kDay);
    EXPECT_EQ(Time(2024, 5, 6, 7, 8, 9, 10) - Time(2024, 5, 6), Time(((7 * 60 + 8) * 60 + 9) * 1000 + 10));
    // Month 13 is the whole year: the first of the next January.
    EXPECT_EQ(Time(2023, 13, 1), Time(2024, 1, 1));
    EXPECT_EQ(Time(2024, 13, 1), Time(2025, 1, 1));
    // Any other month out of range counts -1 day (and the leap day from March on).
    EXPECT_EQ(Time(2023, 0, 1), Time(2022, 12, 31));
    EXPECT_EQ(Time(2023, 14, 1), Time(2022, 12, 31));
    EXPECT_EQ(Time(2024, 14, 1), Time(2024, 1, 1));
    // Fields beyond their range simply add up.
    EXPECT_EQ(Time(2024, 1, 32), Time(2024, 2, 1));
    EXPECT_EQ(Time(2024, 1, 1, 25), Time(2024, 1, 2, 1));
    Time absurd(INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX); // no overflow trap
    (void)absurd.Year();
}

TEST(Time, CalendarPartsRoundTrip)
{
    std::mt19937_64 random(20261121);
    std::uniform_int_distribution<std::int64_t> values(0, Time(9999, 12, 31).TotalMilliseconds());
    for (int i = 0; i < 20000; ++i) {
        const Time t(values(random));
        int y, mo, d, h, mi, s, ms;
        t.ExtractDate(y, mo, d);
        t.ExtractTime(h, mi, s, ms);
        ASSERT_EQ(Time(y, mo, d, h, mi, s, ms), t) << t.TotalMilliseconds();
        ASSERT_GE(mo, 1);
        ASSERT_LE(d, Time::DaysInMonth(y, mo));
        ASSERT_EQ(t.DayOfYear(), Time::DaysInYear(y, mo) + d);
        // Weekdays step by one per day.
        ASSERT_EQ((t + Time(kDay)).DayOfWeek(), (t.DayOfWeek() + 1) % 7);
    }
}

TEST(Time, CalendarParts)
{
    const Time leapDay(2000, 2, 29, 13, 14, 15, 16);
    EXPECT_EQ(leapDay.Year(), 2000);
    EXPECT_EQ(leapDay.Month(), 2);
    EXPECT_EQ(leapDay.Day(), 29);
    EXPECT_EQ(leapDay.Hour(), 13);
    EXPECT_EQ(leapDay.Minute(), 14);
    EXPECT_EQ(leapDay.Second(), 15);
    EXPECT_EQ(leapDay.Millisecond(), 16);
    EXPECT_EQ(leapDay.DayOfWeek(), 2); // a Tuesday
    EXPECT_EQ(leapDay.DayOfYear(), 60);
    EXPECT_EQ(leapDay.DaysLeftInMonth(), 0);
    EXPECT_EQ(leapDay.DaysLeftInYear(), 306);
    EXPECT_TRUE(leapDay.LeapYear());
    int h, m, s;
    leapDay.ExtractTime(h, m, s);
    EXPECT_EQ(h * 10000 + m * 100 + s, 131415);

    EXPECT_EQ(Time(1, 1, 1).DayOfWeek(), 1);    // a Monday
    EXPECT_EQ(Time(1970, 1, 1).DayOfWeek(), 4); // a Thursday
    EXPECT_EQ(Time(2023, 12, 31).DayOfYear(), 365);
    EXPECT_EQ(Time(2023, 12, 31).DaysLeftInYear(), 0);
    EXPECT_EQ(Time(2023, 2, 1).DaysLeftInMonth(), 27);

    EXPECT_TRUE(Time::IsLeapYear(2000));
    EXPECT_TRUE(Time::IsLeapYear(2024));
    EXPECT_FALSE(Time::IsLeapYear(1900));
    EXPECT_FALSE(Time::IsLeapYear(2023));
    EXPECT_EQ(Time::DaysInMonth(2024, 2), 29);
    EXPECT_EQ(Time::DaysInMonth(2023, 2), 28);
    EXPECT_EQ(Time::DaysInMonth(2023, 12), 31);
    EXPECT_EQ(Time::DaysInMonth(2023, 0), 0);
    EXPECT_EQ(Time::DaysInYear(2024, 13), 366);
    EXPECT_EQ(Time::DaysInYear(2023, 13), 365);
    EXPECT_EQ(Time::DaysInYear(2024, 3), 60);

    tm broken;
    Time(2021, 7, 4, 5, 6, 7).ToTM(broken);
    EXPECT_EQ(broken.tm_year, 121);
    EXPECT_EQ(broken.tm_mon, 6);
    EXPECT_EQ(broken.tm_mday, 4);
    EXPECT_EQ(broken.tm_hour * 10000 + broken.tm_min * 100 + broken.tm_sec, 50607);
    EXPECT_EQ(broken.tm_wday, 0);
    EXPECT_EQ(broken.tm_yday, 184);
    EXPECT_EQ(Time(2021, 7, 4, 5, 6, 7).Compare(broken), 0);
    EXPECT_EQ(Time(2021, 7, 4, 5, 6, 8).Compare(broken), 1);
    EXPECT_EQ(Time(2021, 7, 4, 5, 6, 7, 1).Compare(broken), 1);
}

TEST(Time, TimeTKeepsItsEpochConstant)
{
    EXPECT_EQ(Time::FromTimeT(0).ToTimeT(), 0);
    EXPECT_EQ(Time::FromTimeT(0).Year(), 1969);
    EXPECT_EQ(Time::FromTimeT(0).Format("%Y-%m-%d %H:%M:%S"), "1969-12-31 23:59:10");
    EXPECT_EQ(Time::FromTimeT(1700000000).ToTimeT(), 1700000000);
    EXPECT_EQ(Time::FromTimeT(-5).ToTimeT(), -5);
    // Truncated towards zero.
    EXPECT_EQ((Time::FromTimeT(-1) + Time(500)).ToTimeT(), 0);
    EXPECT_EQ((Time::FromTimeT(1) + Time(999)).ToTimeT(), 1);
    Time moved = Time::FromTimeT(10);
    moved.SetOffset(5);
    EXPECT_EQ(Time::FromTimeT(10).GetOffset(), 0);

    // The clock is read through the calendar, so that it shows the true time of day: against the
    // runtime's clock it is 50 seconds ahead once read back through the constant.
    const std::int64_t before = static_cast<std::int64_t>(std::time(nullptr));
    const std::int64_t now = Time::CurrentTime().ToTimeT();
    const std::int64_t after = static_cast<std::int64_t>(std::time(nullptr));
    EXPECT_GE(now, before + 50);
    EXPECT_LE(now, after + 50);
    EXPECT_GE(Time::CurrentTime().Year(), 2024);
}

TEST(Time, Format)
{
    const Time noon(2024, 3, 9, 12, 0, 0, 7);
    EXPECT_EQ(noon.Format("%H:%M:%S.%F"), "12:00:00.007");
    EXPECT_EQ(noon.Format("%H:%M:%S.%#F"), "12:00:00.7");
    EXPECT_EQ(noon.Format("%y.%m.%d %H:%M:%S.%F"), "24.03.09 12:00:00.007");
    EXPECT_EQ(noon.Format("%F%F|%#F%#F"), "007007|77");
    EXPECT_EQ(noon.Format("100%% %Q %"), "100% %Q %");
    EXPECT_EQ(noon.Format(""), "");
    EXPECT_EQ(noon.Format("%e|%-d|%_m|%#m|%j|%D|%T|%R|%I|%u|%w|%C|%k"),
              " 9|9| 3|3|069|03/09/24|12:00:00|12:00|12|6|6|20|12");
    EXPECT_EQ(Time(1, 1, 1, 9).Format("%Y|%y|%C|%l"), "1|01|0| 9");
    EXPECT_EQ(Time(2024, 3, 9, 0, 30).Format("%I|%l"), "12|12");

    // ISO weeks at the turn of the year.
    EXPECT_EQ(Time(2021, 1, 3).Format("%G-W%V-%u|%g"), "2020-W53-7|20");
    EXPECT_EQ(Time(2024, 12, 30).Format("%G-W%V-%u"), "2025-W01-1");
    EXPECT_EQ(Time(2026, 1, 1).Format("%G-W%V|%U|%W"), "2026-W01|00|00");
    EXPECT_EQ(Time(2023, 1, 1).Format("%G-W%V|%U|%W"), "2022-W52|01|00");

    EXPECT_EQ(Time().Format("%Y", false, true), "Never");
    EXPECT_EQ(Time().Format("%Y-%m-%d", false, false), "1-01-01");
    EXPECT_EQ(Time(INT64_MAX).Format("%Y"), "Far in the future");
    EXPECT_EQ(Time(INT64_MAX).Format("%Y", true, true), "Far in the future");

    // The result must fit 127 bytes, as in the runtime's 128-byte buffer.
    EXPECT_EQ(noon.Format(String(std::string(127, 'x'))).Length(), 127);
    EXPECT_EQ(noon.Format(String(std::string(128, 'x'))), "");
    EXPECT_EQ(noon.Format(String(std::string(124, 'x')) + "%Y"), "");
    EXPECT_EQ(noon.Format(String(std::string(123, 'x')) + "%Y").Length(), 127);
    EXPECT_EQ(noon.Format(String(std::string(122, 'x')) + "%F%#F").Length(), 126);

    // The stored offset is applied when the time is not shown in local time.
    Time shifted(2024, 3, 9, 12);
    shifted.SetOffset(90 * 60000);
    EXPECT_EQ(shifted.Format("%H:%M %z"), "13:30 +0130");
    shifted.SetOffset(-30 * 60000);
    EXPECT_EQ(shifted.Format("%H:%M %z"), "11:30 -0030");
    EXPECT_EQ(Time(-1).Format("%Y-%m-%d %H:%M:%S.%F"), "0-12-31 23:59:59.999");
}

TEST(Time, FormatAgreesWithTheRuntimeStrftime)
{
    // Conversions that every platform's strftime knows, on dates that its tm covers.
    const char* format = "%Y|%y|%m|%d|%H|%I|%M|%S|%j|%w|%U|%W|%%|%a|%A|%b|%B|%p";
    std::mt19937_64 random(7);
    std::uniform_int_distribution<std::int64_t> values(Time(1971, 1, 1).TotalMilliseconds(),
                                                       Time(2999, 12, 31).TotalMilliseconds());
    for (int i = 0; i < 5000; ++i) {
        const Time t(values(random));
        tm broken;
        t.ToTM(broken);
        char expected[128];
        const std::size_t n = std::strftime(expected, sizeof expected, format, &broken);
        ASSERT_EQ(t.Format(format).str(), std::string(expected, n)) << t.TotalMilliseconds();
    }
}

TEST(Time, LocalZone)
{
    // Independent of the zone: the offset is what the runtime's local and UTC clocks differ by.
    const std::time_t now = std::time(nullptr);
    tm local = *std::localtime(&now);
    tm utc = *std::gmtime(&now);
    const Time asLocal(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                       local.tm_sec);
    const Time asUtc(utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
    EXPECT_EQ(Time::TZOffset(), (asLocal - asUtc).TotalMilliseconds());

    if (!kZoneFromEnvironment) GTEST_SKIP() << "the Windows zone comes from the system, not from TZ";
    {
        ZoneGuard zone("XST-5:30");
        EXPECT_EQ(Time::TZOffset(), 330 * 60000);
        const Time t(2024, 1, 1, 12);
        EXPECT_EQ(t.Format("%H:%M %z", true), "17:30 +0530");
        Time local = t;
        local.ConvertToLocal();
        EXPECT_EQ(local.Hour(), 17);
        EXPECT_EQ(local.Minute(), 30);
        EXPECT_EQ(local.GetOriginalTime(), t);
        EXPECT_EQ(local.Format("%H:%M"), "12:00"); // the offset leads back to the original
        local.ConvertToUTC();
        EXPECT_EQ(local, t);
        EXPECT_EQ(local.GetOriginalTime(), t);
        Time utcFromLocal = t;
        utcFromLocal.ConvertToUTC();
        EXPECT_EQ(utcFromLocal.Hour(), 6);
        EXPECT_EQ(utcFromLocal.GetOriginalTime(), t);
        EXPECT_FALSE(t.DST());
    }
    {
        ZoneGuard zone("CET-1CEST,M3.5.0,M10.5.0/3");
        EXPECT_TRUE(Time(2024, 7, 1, 12).DST());
        EXPECT_FALSE(Time(2024, 1, 15, 12).DST());
        EXPECT_FALSE(Time(1, 1, 1).DST());
    }
}

TEST(Time, DurationParts)
{
    const Time d(((26LL * 60 + 3) * 60 + 4) * 1000 + 5); // 1 day 2:03:04.005
    EXPECT_EQ(d.GetMilliseconds(), 5);
    EXPECT_EQ(d.GetSeconds(), 4);
    EXPECT_EQ(d.GetMinutes(), 3);
    EXPECT_EQ(d.GetHours(), 2);
    EXPECT_EQ(d.GetDays(), 1);
    EXPECT_EQ(d.TotalHours(), 26);
    EXPECT_EQ(d.TotalMinutes(), 26 * 60 + 3);
    EXPECT_EQ(d.TotalSeconds(), (26 * 60 + 3) * 60 + 4);
    EXPECT_FLOAT_EQ(Time(1500).ToFloat32(), 1.5f);
    EXPECT_EQ((-Time(1500)).GetSeconds(), -1);
    EXPECT_EQ((-Time(1500)).GetMilliseconds(), -500);

    EXPECT_EQ(Time(1500).Compare(1.5f), 0);
    EXPECT_EQ(Time(1500).Compare(1.4999f), 1);
    EXPECT_EQ(Time(1500).Compare(2.0f), -1);
    EXPECT_EQ(Time(1500).Compare(1e30f), -1);
    EXPECT_EQ(Time(1500).Compare(-1e30f), 1);
    EXPECT_EQ(Time(1).Compare(Time(2)), -1);
    EXPECT_EQ(Time(2).Compare(Time(2)), 0);
    EXPECT_LT(Time(1), Time(2));
    EXPECT_EQ(Time(INT64_MAX) + Time(1), Time(INT64_MIN)); // wraps, never traps
    Time t(10);
    t += Time(5);
    t -= Time(3);
    EXPECT_EQ(t, Time(12));
    t.Reset();
    EXPECT_EQ(t, Time());
}

TEST(Time, FormatDuration)
{
    const Time d(3723004); // 1:02:03.004
    EXPECT_EQ(d.FormatDuration(Time::Milliseconds, Time::Days, Time::Milliseconds),
              "1 hour 2 minutes 3 seconds 4 milliseconds");
    EXPECT_EQ(d.FormatDuration(Time::Seconds, Time::Days, Time::Minutes), "1 hour 2 minutes");
    EXPECT_EQ(d.FormatDuration(Time::ShortMilliseconds, Time::ShortDays, Time::ShortMilliseconds, false, 2, '0'),
              "01h 02m 03s 004ms");
    EXPECT_EQ(d.FormatDuration(Time::Seconds, Time::Minutes, Time::Seconds), "62 minutes 3 seconds");
    EXPECT_EQ(d.FormatDuration(Time::Seconds, Time::Seconds, Time::Seconds), "3723 seconds");
    EXPECT_EQ(Time(1000).FormatDuration(Time::Seconds, Time::Days, Time::Seconds), "1 second");
    EXPECT_EQ(Time(0).FormatDuration(Time::Seconds, Time::Days, Time::Seconds), "0 seconds");
    EXPECT_EQ(Time(999).FormatDuration(Time::Seconds, Time::Days, Time::Seconds), "0 seconds");
    EXPECT_EQ(Time(3 * kDay).FormatDuration(Time::Seconds, Time::Hours, Time::Hours), "72 hours");
    EXPECT_EQ(Time(2 * kDay + 1000).FormatDuration(Time::ShortSeconds, Time::ShortDays, Time::ShortSeconds, true),
              "2 d 0 h 0 m 1 s");
    // A precision above the leading unit still shows the leading one.
    EXPECT_EQ(Time(500).FormatDuration(Time::Milliseconds, Time::Days, Time::Seconds), "500 milliseconds");

    // Negative durations: the sign goes on the leading number, or before a leading 0.
    EXPECT_EQ(Time(-3723004).FormatDuration(Time::Seconds, Time::Days, Time::Seconds), "-1 hours 2 minutes 3 seconds");
    EXPECT_EQ(Time(-500).FormatDuration(Time::Seconds, Time::Days, Time::Milliseconds), "-0 seconds 500 milliseconds");

    EXPECT_EQ(Time(5000).FormatDuration(Time::Seconds, Time::Days, Time::Seconds, true, 0, ' ', Time(4999)), "a lot");
    EXPECT_EQ(Time(-5000).FormatDuration(Time::Days, Time::Days, Time::Days, true, 0, ' ', Time(4999)), "a lot");
    EXPECT_EQ(Time(5000).FormatDuration(Time::Seconds, Time::Days, Time::Seconds, true, 0, ' ', Time(5000)),
              "5 seconds");
    EXPECT_FALSE(Time(INT64_MIN).FormatDuration(Time::Milliseconds, Time::Days, Time::Milliseconds).Empty());
}

TEST(Time, FormatSpan)
{
    EXPECT_EQ(Time(2 * kDay + 3600000 + 5).FormatSpan(), "2 days 1 hour 5 milliseconds");
    EXPECT_EQ(Time(61000).FormatSpan(", "), "1 minute, 1 second");
    EXPECT_EQ(Time(0).FormatSpan(), "0 milliseconds");
    EXPECT_EQ(Time(-1000).FormatSpan(), "-1 second");
    EXPECT_FALSE(Time(INT64_MIN).FormatSpan().Empty());
}
