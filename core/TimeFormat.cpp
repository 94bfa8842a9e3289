// Time: text forms (Format, FormatDuration, FormatSpan).
//
// Format implements strftime's conversions itself, so that the numeric ones read the same on every
// platform and need no locale; the names and the locale's own layouts (%a %A %b %B %h %c %x %X %p %r
// %Z) still come from the C runtime. The library adds %F and %#F for milliseconds.

#include <dovo/Time.h>

#include "core/FormatText.h"
#include "core/TimeCalendar.h"

#include <cctype>
#include <cstring>
#include <ctime>

namespace dovo {

namespace {

constexpr std::int64_t kUnixEpochMs = 719162LL * calendar::kMsPerDay;
constexpr std::size_t kFormatBuffer = 128; // the C runtime's buffer: longer results give ""

class Output
{
public:
    void Write(const char* text, std::size_t n)
    {
        if (n > kFormatBuffer - 1 - m_length) {
            m_overflow = true;
            return;
        }
        std::memcpy(m_buffer + m_length, text, n);
        m_length += n;
    }
    void Put(char c) { Write(&c, 1); }
    // A number with at least `width` digits padded with `pad` (0: no padding).
    void Number(std::int64_t value, int width, char pad)
    {
        char digits[24];
        char* end = digits + sizeof digits;
        char* p = end;
        std::uint64_t magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
        do {
            *--p = static_cast<char>('0' + magnitude % 10);
            magnitude /= 10;
        } while (magnitude);
        if (value < 0) Put('-');
        for (int n = static_cast<int>(end - p); pad && n < width; ++n) Put(pad);
        Write(p, static_cast<std::size_t>(end - p));
    }
    void UpperFrom(std::size_t start)
    {
        for (std::size_t i = start; i < m_length; ++i)
            m_buffer[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(m_buffer[i])));
    }
    std::size_t Length() const { return m_length; }
    String Result() const { return m_overflow ? String() : String(m_buffer, m_length); }

private:
    char m_buffer[kFormatBuffer];
    std::size_t m_length = 0;
    bool m_overflow = false;
};

int IsoWeekDays(int yearDay, int weekday)
{
    // Days since the Monday of the year's first ISO week (the week holding its first Thursday).
    constexpr int bigEnoughMultipleOf7 = (366 / 7 + 2) * 7;
    return yearDay - (yearDay - weekday + 4 + bigEnoughMultipleOf7) % 7 + 3;
}

// The ISO 8601 week-based year and week of a date.
void IsoWeek(const calendar::Fields& f, int& year, int& week)
{
    year = f.year;
    int days = IsoWeekDays(f.yearDay, f.weekday);
    if (days < 0) {
        --year;
        days = IsoWeekDays(f.yearDay + (Time::IsLeapYear(year) ? 366 : 365), f.weekday);
    } else {
        const int next = IsoWeekDays(f.yearDay - (Time::IsLeapYear(year) ? 366 : 365), f.weekday);
        if (next >= 0) {
            ++year;
            days = next;
        }
    }
    week = days / 7 + 1;
}

void RuntimeConversion(Output& out, char conversion, const calendar::Fields& f)
{
    const char format[3] = {'%', conversion, '\0'};
    tm broken;
    calendar::ToTM(f, broken);
    char text[kFormatBuffer];
    const std::size_t n = std::strftime(text, sizeof text, format, &broken);
    out.Write(text, n);
}

struct Context
{
    const calendar::Fields& f;
    std::int64_t value; // the displayed time
    std::int64_t zone;  // its offset from UTC, for %z and %s
};

void Convert(Output& out, const char* p, const Context& c);

// One conversion; returns false when the letter is not one strftime knows.
bool Conversion(Output& out, char letter, char pad, const Context& c)
{
    const calendar::Fields& f = c.f;
    auto number = [&](std::int64_t v, int width, char defaultPad) {
        out.Number(v, width, pad == 1 ? defaultPad : pad);
    };
    // Names and composite forms are those of the "C" locale, written here rather than by the runtime:
    // the runtimes differ (%c, and years before 1900, which some refuse).
    static const char* const kDays[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    static const char* const kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                                          "July",    "August",   "September", "October", "November", "December"};
    auto name = [&](const char* full, bool abbreviated) { out.Write(full, abbreviated ? 3 : std::strlen(full)); };
    switch (letter) {
    case 'a':
    case 'A': name(kDays[f.weekday], letter == 'a'); return true;
    case 'b':
    case 'h':
    case 'B': name(kMonths[f.month - 1], letter != 'B'); return true;
    case 'p': out.Write(f.hour < 12 ? "AM" : "PM", 2); return true;
    case 'c': Convert(out, "%a %b %e %H:%M:%S %Y", c); return true;
    case 'x': Convert(out, "%m/%d/%y", c); return true;
    case 'X': Convert(out, "%H:%M:%S", c); return true;
    case 'r': Convert(out, "%I:%M:%S %p", c); return true;
    case 'Z': RuntimeConversion(out, letter, f); return true;
    case 'C': number(calendar::FloorDiv(f.year, 100), 1, '0'); return true;
    case 'd': number(f.day, 2, '0'); return true;
    case 'D': Convert(out, "%m/%d/%y", c); return true;
    case 'e': number(f.day, 2, ' '); return true;
    case 'F': number(f.millisecond, 3, '0'); return true;
    case 'g':
    case 'G': {
        int year, week;
        IsoWeek(f, year, week);
        if (letter == 'G') number(year, 1, '0');
        else number((year % 100 + 100) % 100, 2, '0');
        return true;
    }
    case 'V': {
        int year, week;
        IsoWeek(f, year, week);
        number(week, 2, '0');
        return true;
    }
    case 'H': number(f.hour, 2, '0'); return true;
    case 'I': number(f.hour % 12 == 0 ? 12 : f.hour % 12, 2, '0'); return true;
    case 'j': number(f.yearDay + 1, 3, '0'); return true;
    case 'k': number(f.hour, 2, ' '); return true;
    case 'l': number(f.hour % 12 == 0 ? 12 : f.hour % 12, 2, ' '); return true;
    case 'm': number(f.month, 2, '0'); return true;
    case 'M': number(f.minute, 2, '0'); return true;
    case 'n': out.Put('\n'); return true;
    case 'R': Convert(out, "%H:%M", c); return true;
    case 's': number(calendar::FloorDiv(c.value - kUnixEpochMs - c.zone, 1000), 1, '0'); return true;
    case 'S': number(f.second, 2, '0'); return true;
    case 't': out.Put('\t'); return true;
    case 'T': Convert(out, "%H:%M:%S", c); return true;
    case 'u': number(f.weekday == 0 ? 7 : f.weekday, 1, '0'); return true;
    case 'U': number((f.yearDay - f.weekday + 7) / 7, 2, '0'); return true;
    case 'w': number(f.weekday, 1, '0'); return true;
    case 'W': number((f.yearDay - (f.weekday + 6) % 7 + 7) / 7, 2, '0'); return true;
    case 'y': number((f.year % 100 + 100) % 100, 2, '0'); return true;
    case 'Y': number(f.year, 1, '0'); return true;
    case 'z': {
        const std::int64_t minutes = c.zone / 60000;
        const std::int64_t magnitude = minutes < 0 ? -minutes : minutes;
        out.Put(minutes < 0 ? '-' : '+');
        out.Number(magnitude / 60, 2, '0');
        out.Number(magnitude % 60, 2, '0');
        return true;
    }
    case '%': out.Put('%'); return true;
    default: return false;
    }
}

void Convert(Output& out, const char* p, const Context& c)
{
    while (*p) {
        if (*p != '%') {
            p = formattext::CopyLiteral(out, p);
            continue;
        }
        const char* start = p++;
        // Flags: '-' and '#' drop the padding, '_' pads with spaces, '0' with zeros, '^' upper-cases.
        char pad = 1; // 1: the conversion's own padding
        bool upper = false;
        for (;; ++p) {
            if (*p == '-' || *p == '#') pad = 0;
            else if (*p == '_') pad = ' ';
            else if (*p == '0') pad = '0';
            else if (*p == '^') upper = true;
            else break;
        }
        while (*p >= '0' && *p <= '9') ++p;
        if (*p == 'E' || *p == 'O') ++p;
        const std::size_t mark = out.Length();
        if (*p && Conversion(out, *p, pad, c)) {
            if (upper) out.UpperFrom(mark);
            ++p;
            continue;
        }
        if (*p) ++p;
        out.Write(start, static_cast<std::size_t>(p - start));
    }
}

std::int64_t Add(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

const char* const kLongUnits[5] = {"millisecond", "second", "minute", "hour", "day"};
const char* const kShortUnits[5] = {"ms", "s", "m", "h", "d"};
constexpr std::uint64_t kUnitMs[5] = {1, 1000, 60000, 3600000, 86400000};
constexpr std::uint64_t kUnitsInNext[5] = {1000, 60, 60, 24, 0};

// A unit outside the enumeration counts as the nearer end of it.
int Unit(Time::DisplayUnits unit)
{
    return unit < Time::Milliseconds ? Time::Milliseconds : unit > Time::ShortDays ? Time::ShortDays : unit;
}

std::uint64_t Magnitude(std::int64_t v)
{
    return v < 0 ? 0 - static_cast<std::uint64_t>(v) : static_cast<std::uint64_t>(v);
}

} // namespace

String Time::Format(const String& format, bool local, bool showNever) const
{
    if (m_value == 0 && showNever) return "Never";
    if (m_value == FarInTheFuture) return "Far in the future";
    // Without local conversion this is the value itself.
    const std::int64_t zone = local ? TZOffset() : m_offset;
    const std::int64_t shown = Add(Add(m_value, -m_offset), zone);
    const calendar::Fields fields = calendar::Split(shown);
    Output out;
    Convert(out, format.c_str(), Context{fields, shown, zone});
    return out.Result();
}

String Time::FormatDuration(DisplayUnits first, DisplayUnits last, DisplayUnits precision, bool spaced, int width,
                            char fill, Time limit) const
{
    const std::uint64_t magnitude = Magnitude(m_value);
    if (limit.m_value < 0 || magnitude > static_cast<std::uint64_t>(limit.m_value)) return "a lot";

    // Units count within their group (long or short); the group is that of `first`.
    const int from = Unit(first);
    const bool shortForm = from >= ShortMilliseconds;
    const int low = from % 5;
    const int high = Unit(last) % 5 > low ? Unit(last) % 5 : low;
    int lead = low;
    while (lead < high && magnitude >= kUnitMs[lead + 1]) ++lead;
    const int lowest = Unit(precision) % 5 <= lead ? Unit(precision) % 5 : lead;

    String out;
    for (int unit = lead; unit >= lowest; --unit) {
        std::int64_t number;
        if (unit == lead) {
            const std::uint64_t whole = magnitude / kUnitMs[unit];
            if (m_value < 0 && whole == 0) out += '-';
            number = static_cast<std::int64_t>(m_value < 0 ? 0 - whole : whole);
        } else {
            out += ' ';
            number = static_cast<std::int64_t>(magnitude / kUnitMs[unit] % kUnitsInNext[unit]);
        }
        out.AppendSigned(number, unit == 0 && width == 2 ? 3 : width, fill);
        if (spaced) out += ' ';
        if (shortForm) {
            out += kShortUnits[unit];
        } else {
            out += kLongUnits[unit];
            if (number != 1) out += 's';
        }
    }
    return out;
}

String Time::FormatSpan(const String& separator) const
{
    const std::uint64_t magnitude = Magnitude(m_value);
    String out;
    if (m_value < 0) out += '-';
    bool any = false;
    for (int unit = 4; unit >= 0; --unit) {
        const std::uint64_t number =
            unit == 4 ? magnitude / kUnitMs[4] : magnitude / kUnitMs[unit] % kUnitsInNext[unit];
        if (number == 0 && !(unit == 0 && !any)) continue;
        if (any) out += separator;
        any = true;
        out.AppendUnsigned(number);
        out += ' ';
        out += kLongUnits[unit];
        if (number != 1) out += 's';
    }
    return out;
}

} // namespace dovo
