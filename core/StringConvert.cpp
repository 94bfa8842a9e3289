// String: number conversions, appending numbers, wrapping and printable forms.

#include <dovo/String.h>

#include "core/CodePage.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace dovo {

namespace {

// The C runtime's integer parsing rules (leading space, sign, base prefixes, stop at the first
// unusable byte), with the magnitude saturating instead of overflowing.
struct ParsedInteger
{
    unsigned long long magnitude = 0;
    bool negative = false;
    bool overflow = false;
};

int DigitValue(unsigned char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'z') return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
    return 99;
}

ParsedInteger ParseInteger(const char* p, int base)
{
    ParsedInteger result;
    if (base != 0 && (base < 2 || base > 36)) return result;
    while (std::isspace(static_cast<unsigned char>(*p))) ++p;
    if (*p == '+' || *p == '-') result.negative = *p++ == '-';
    const bool hexPrefix =
        p[0] == '0' && (p[1] == 'x' || p[1] == 'X') && std::isxdigit(static_cast<unsigned char>(p[2]));
    if (base == 0) base = hexPrefix ? 16 : (p[0] == '0' ? 8 : 10);
    if (base == 16 && hexPrefix) p += 2;
    for (int d; (d = DigitValue(static_cast<unsigned char>(*p))) < base; ++p) {
        if (result.magnitude > (ULLONG_MAX - static_cast<unsigned>(d)) / static_cast<unsigned>(base))
            result.overflow = true;
        else result.magnitude = result.magnitude * static_cast<unsigned>(base) + static_cast<unsigned>(d);
    }
    return result;
}

// A signed conversion of `bits` width: out-of-range values saturate as the runtime's do.
long long Saturated(const ParsedInteger& v, unsigned long long maxPositive)
{
    if (v.negative) {
        if (v.overflow || v.magnitude > maxPositive + 1) return -static_cast<long long>(maxPositive) - 1;
        return static_cast<long long>(0ull - v.magnitude);
    }
    if (v.overflow || v.magnitude > maxPositive) return static_cast<long long>(maxPositive);
    return static_cast<long long>(v.magnitude);
}

// Writes the decimal digits of a magnitude, with a '-' when negative, ending at `end`.
char* DecimalText(char* end, unsigned long long magnitude, bool negative)
{
    char* p = end;
    do {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude);
    if (negative) *--p = '-';
    return p;
}

void AppendPadded(std::string& out, const char* begin, const char* end, int width, char fill)
{
    const auto length = static_cast<int>(end - begin);
    if (width > length) out.append(static_cast<std::size_t>(width - length), fill);
    out.append(begin, end);
}

} // namespace

// The long in these conversions is 32 bits wide, as on Windows, so that results agree everywhere.
int String::Int(int base) const
{
    if (Empty()) return 0;
    return static_cast<int>(Saturated(ParseInteger(c_str(), base), INT_MAX));
}

unsigned String::Uint(int base) const
{
    if (Empty()) return 0;
    const ParsedInteger v = ParseInteger(c_str(), base);
    if (v.overflow || v.magnitude > UINT_MAX) return UINT_MAX;
    return static_cast<unsigned>(v.negative ? 0ull - v.magnitude : v.magnitude);
}

std::int64_t String::Int64() const
{
    if (Empty()) return 0;
    return Saturated(ParseInteger(c_str(), 10), LLONG_MAX);
}

std::uint64_t String::Uint64() const
{
    const char* p = c_str();
    const char* end = p + m_text.size();
    while (p < end && codepage::IsSpace(static_cast<unsigned char>(*p))) ++p;
    std::uint64_t value = 0;
    if (p == end) return 0;
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
        for (p += 2; p < end && std::isxdigit(static_cast<unsigned char>(*p)); ++p)
            value = value * 16 + static_cast<std::uint64_t>(DigitValue(static_cast<unsigned char>(*p)));
        return value;
    }
    // A leading '0' means octal, yet '8' and '9' are still taken: "09" is 9.
    std::uint64_t base = 10;
    if (*p == '0') {
        base = 8;
        ++p;
    }
    for (; p < end && *p >= '0' && *p <= '9'; ++p) value = value * base + static_cast<std::uint64_t>(*p - '0');
    return value;
}

double String::Float64() const { return Empty() ? 0.0 : std::strtod(c_str(), nullptr); }

float String::Float32() const { return static_cast<float>(Float64()); }

bool String::Bool() const
{
    const String lower = to_lower();
    if (lower == "on" || lower == "yes" || lower == "true") return true;
    if (lower.Empty() || lower == "off" || lower == "no" || lower == "false") return false;
    return Uint64() != 0;
}

String& String::operator=(double value) { return *this = SFormat("%g", value); }

String& String::operator=(float value) { return *this = static_cast<double>(value); }

String& String::AppendSigned(std::int64_t value, int width, char fill, int, bool)
{
    char buffer[24];
    char* end = buffer + sizeof buffer;
    const auto magnitude =
        value < 0 ? 0ull - static_cast<unsigned long long>(value) : static_cast<unsigned long long>(value);
    AppendPadded(m_text, DecimalText(end, magnitude, value < 0), end, width, fill);
    return *this;
}

String& String::AppendUnsigned(std::uint64_t value, int width, char fill, int, bool)
{
    char buffer[24];
    char* end = buffer + sizeof buffer;
    AppendPadded(m_text, DecimalText(end, value, false), end, width, fill);
    return *this;
}

String& String::AppendHex(std::uint64_t value, int width, bool prefix, bool upperCase)
{
    const char* digits = upperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    char buffer[16];
    char* end = buffer + sizeof buffer;
    char* p = end;
    do {
        *--p = digits[value & 15];
        value >>= 4;
    } while (value);
    if (prefix) m_text += "0x";
    AppendPadded(m_text, p, end, width, '0');
    return *this;
}

int String::Wrap(std::size_t width, const String& lineSeparator, const String& breakChars)
{
    static const std::string defaultBreaks = " \t\n.,;:-?!/\\";
    if (Empty()) return 0;
    if (width == 0) return 1; // no limit: one line
    bool isBreak[256] = {};
    for (const char c : breakChars.Empty() ? defaultBreaks : breakChars.m_text)
        isBreak[static_cast<unsigned char>(c)] = true;
    std::string result;
    int lines = 0;
    for (std::size_t p = 0, n = m_text.size(); p < n;) {
        ++lines;
        if (!result.empty()) result += lineSeparator.m_text;
        if (n - p <= width) {
            result.append(m_text, p, n - p);
            break;
        }
        // Break after the last break byte in reach (it ends its line), else cut the word hard. Only
        // this line's reach is searched, so that a text without break bytes wraps in linear time.
        std::size_t next = p + width;
        for (std::size_t end = p + width; end > p; --end) {
            if (isBreak[static_cast<unsigned char>(m_text[end - 1])]) {
                next = end;
                break;
            }
        }
        result.append(m_text, p, next - p);
        p = next;
    }
    if (lines >= 2) m_text.swap(result);
    return lines;
}

String ForcePrintable(char c)
{
    if (codepage::IsPrint(static_cast<unsigned char>(c))) return String(c, 1);
    // High bytes show as negative numbers ([-23] for 0xE9): the bytes are read as signed chars.
    char buffer[8];
    char* end = buffer + sizeof buffer;
    const int value = static_cast<signed char>(c);
    *--end = ']';
    char* p = DecimalText(end, static_cast<unsigned>(value < 0 ? -value : value), value < 0);
    *--p = '[';
    return String(p, static_cast<std::size_t>(buffer + sizeof buffer - p));
}

String ForcePrintable(const char* text)
{
    String result;
    if (!text) return result;
    for (; *text; ++text) {
        if (codepage::IsPrint(static_cast<unsigned char>(*text))) result += *text;
        else result += ForcePrintable(*text);
    }
    return result;
}

} // namespace dovo
