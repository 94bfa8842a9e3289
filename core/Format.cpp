// The library's printf-style formatter.
//
// One engine serves SFormat and rvsnprintf on both platforms, so that a message reads the same on
// Linux and Windows (the Windows C runtime prints exponents, pointers and 64-bit lengths its own way).
// It follows C99 printf: flags "-+ #0", width and precision with '*', the length modifiers
// hh h l ll q j z t L and the Windows forms I64, I32 and I. Integers, strings, characters, pointers
// and finite doubles are printed here, positional arguments ("%2$s") included; the rare rest (wide
// strings and characters, long double, %a, the "'" flag) goes to the C runtime's formatter one
// conversion at a time.

#include <dovo/String.h>

#include "core/FormatText.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <type_traits>

namespace dovo {
namespace {

// Collects output into a bounded buffer while counting the full length.
class Sink
{
public:
    Sink(char* buffer, std::size_t capacity) : m_buffer(buffer), m_capacity(capacity) {}

    void Put(char c)
    {
        if (m_length < m_capacity) m_buffer[m_length] = c;
        ++m_length;
    }
    void Write(const char* text, std::size_t n)
    {
        if (m_length < m_capacity) std::memcpy(m_buffer + m_length, text, std::min(n, m_capacity - m_length));
        m_length += n;
    }
    void Fill(char c, std::size_t n)
    {
        if (m_length < m_capacity) std::memset(m_buffer + m_length, c, std::min(n, m_capacity - m_length));
        m_length += n;
    }
    std::size_t Length() const { return m_length; }

private:
    char* m_buffer;
    std::size_t m_capacity;
    std::size_t m_length = 0;
};

enum class Length { None, Char, Short, Long, LongLong, IntMax, Size, PtrDiff, LongDouble, Int32, Int64 };

struct Directive
{
    bool left = false, plus = false, space = false, alt = false, zero = false, grouping = false;
    std::size_t width = 0;
    int precision = -1; // -1: none given
    Length length = Length::None;
    char conversion = 0;
    // Positions of the arguments ("%2$d", "%*3$d"); 0 means the next one in order.
    int argument = 0, widthArgument = 0, precisionArgument = 0;
    bool widthFromArgument = false, precisionFromArgument = false;
    bool plain = false; // no flags, width or precision: the common "%d"
};

// Pads a field of `body` bytes (after `prefix`) to the directive's width.
struct Field
{
    const Directive& directive;
    std::size_t body;
    std::size_t Pad() const { return directive.width > body ? directive.width - body : 0; }
    void Begin(Sink& out) const
    {
        if (!directive.left) out.Fill(' ', Pad());
    }
    void End(Sink& out) const
    {
        if (directive.left) out.Fill(' ', Pad());
    }
};

constexpr char kDigitPairs[] = "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
                               "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
                               "8081828384858687888990919293949596979899";

// Writes the digits of v in base (8, 10 or 16) ending at `end`; returns where they begin.
char* UnsignedDigits(char* end, unsigned long long v, int base, bool upper)
{
    char* p = end;
    if (base == 10) {
        // Most numbers fit 32 bits, where the divisions are cheaper.
        while (v > 0xFFFFFFFFu) {
            const unsigned i = static_cast<unsigned>(v % 100) * 2;
            v /= 100;
            *--p = kDigitPairs[i + 1];
            *--p = kDigitPairs[i];
        }
        auto small = static_cast<unsigned>(v);
        while (small >= 100) {
            const unsigned i = small % 100 * 2;
            small /= 100;
            *--p = kDigitPairs[i + 1];
            *--p = kDigitPairs[i];
        }
        v = small;
        while (v >= 100) {
            const unsigned i = static_cast<unsigned>(v % 100) * 2;
            v /= 100;
            *--p = kDigitPairs[i + 1];
            *--p = kDigitPairs[i];
        }
        if (v >= 10) {
            const unsigned i = static_cast<unsigned>(v) * 2;
            *--p = kDigitPairs[i + 1];
            *--p = kDigitPairs[i];
        } else {
            *--p = static_cast<char>('0' + v);
        }
        return p;
    }
    const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    const unsigned shift = base == 16 ? 4 : 3;
    do {
        *--p = digits[v & (base - 1)];
        v >>= shift;
    } while (v);
    return p;
}

void FormatInteger(Sink& out, const Directive& directive, unsigned long long magnitude, bool negative, bool isSigned)
{
    const char c = directive.conversion;
    if (directive.plain && (c == 'd' || c == 'i' || c == 'u')) {
        char buffer[24];
        char* end = buffer + sizeof buffer;
        char* digits = UnsignedDigits(end, magnitude, 10, false);
        if (negative) *--digits = '-';
        return out.Write(digits, static_cast<std::size_t>(end - digits));
    }
    const int base = (c == 'o') ? 8 : (c == 'x' || c == 'X' || c == 'p') ? 16 : 10;
    char buffer[32];
    char* end = buffer + sizeof buffer;
    char* digits = end;
    if (!(directive.precision == 0 && magnitude == 0)) digits = UnsignedDigits(end, magnitude, base, c == 'X');
    std::size_t count = static_cast<std::size_t>(end - digits);

    std::size_t precision = directive.precision < 0 ? 0 : static_cast<std::size_t>(directive.precision);
    if (directive.alt && base == 8 && precision <= count && (count == 0 || *digits != '0')) precision = count + 1;

    char prefix[2];
    std::size_t prefixLength = 0;
    if (isSigned) {
        if (negative) prefix[prefixLength++] = '-';
        else if (directive.plus) prefix[prefixLength++] = '+';
        else if (directive.space) prefix[prefixLength++] = ' ';
    }
    if (base == 16 && magnitude != 0 && (directive.alt || c == 'p')) {
        prefix[prefixLength++] = '0';
        prefix[prefixLength++] = c == 'X' ? 'X' : 'x';
    }

    std::size_t zeros = precision > count ? precision - count : 0;
    std::size_t body = prefixLength + zeros + count;
    if (directive.zero && !directive.left && directive.precision < 0 && directive.width > body) {
        zeros += directive.width - body;
        body = directive.width;
    }
    const Field field{directive, body};
    field.Begin(out);
    out.Write(prefix, prefixLength);
    out.Fill('0', zeros);
    out.Write(digits, count);
    field.End(out);
}

void FormatText(Sink& out, const Directive& directive, const char* text, std::size_t length)
{
    const Field field{directive, length};
    field.Begin(out);
    out.Write(text, length);
    field.End(out);
}

void FormatCString(Sink& out, const Directive& directive, const char* text)
{
    if (!text) {
        // As glibc: "(null)" unless the precision is too short to hold it.
        if (directive.precision >= 0 && directive.precision < 6) return FormatText(out, directive, "", 0);
        return FormatText(out, directive, "(null)", 6);
    }
    const std::size_t length =
        directive.precision < 0 ? std::strlen(text) : strnlen(text, static_cast<std::size_t>(directive.precision));
    FormatText(out, directive, text, length);
}

char DecimalPoint()
{
    const lconv* conventions = std::localeconv();
    return conventions && conventions->decimal_point && conventions->decimal_point[0] ? conventions->decimal_point[0]
                                                                                      : '.';
}

void FormatDouble(Sink& out, const Directive& directive, double value)
{
    const char c = directive.conversion;
    const bool upper = c == 'F' || c == 'E' || c == 'G';
    char sign = 0;
    if (std::signbit(value)) sign = '-';
    else if (directive.plus) sign = '+';
    else if (directive.space) sign = ' ';

    if (!std::isfinite(value)) {
        const char* text = std::isnan(value) ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
        const Field field{directive, 3u + (sign ? 1u : 0u)};
        field.Begin(out);
        if (sign) out.Put(sign);
        out.Write(text, 3);
        field.End(out);
        return;
    }

    const int precision = directive.precision < 0 ? 6 : directive.precision;
    std::chars_format format = std::chars_format::fixed;
    if (c == 'e' || c == 'E') format = std::chars_format::scientific;
    else if (c == 'g' || c == 'G') format = std::chars_format::general;

    // The largest fixed output of a double has 309 integral digits.
    char local[400];
    std::string heap;
    char* buffer = local;
    std::size_t capacity = sizeof local;
    if (static_cast<std::size_t>(precision) + 330 > capacity) {
        heap.resize(static_cast<std::size_t>(precision) + 330);
        buffer = heap.data();
        capacity = heap.size();
    }
    const auto result = std::to_chars(buffer, buffer + capacity - 2, std::fabs(value), format,
                                      (format == std::chars_format::general && precision == 0) ? 1 : precision);
    std::size_t length = static_cast<std::size_t>(result.ptr - buffer);

    if (directive.alt && precision == 0 && format != std::chars_format::general) {
        // '#' keeps the decimal point even without decimals: "3." and "3.e+00".
        char* exponent = static_cast<char*>(std::memchr(buffer, 'e', length));
        const std::size_t at = exponent ? static_cast<std::size_t>(exponent - buffer) : length;
        std::memmove(buffer + at + 1, buffer + at, length - at);
        buffer[at] = '.';
        ++length;
    }
    const char point = DecimalPoint();
    for (std::size_t i = 0; i < length; ++i) {
        if (buffer[i] == '.') buffer[i] = point;
        else if (upper && buffer[i] == 'e') buffer[i] = 'E';
    }

    std::size_t body = length + (sign ? 1 : 0);
    std::size_t zeros = 0;
    if (directive.zero && !directive.left && directive.width > body) {
        zeros = directive.width - body;
        body = directive.width;
    }
    const Field field{directive, body};
    field.Begin(out);
    if (sign) out.Put(sign);
    out.Fill('0', zeros);
    out.Write(buffer, length);
    field.End(out);
}

// Rebuilds the conversion's text for the C runtime.
std::string RuntimeSpec(const Directive& directive, const char* lengthText)
{
    std::string text = "%";
    if (directive.left) text += '-';
    if (directive.plus) text += '+';
    if (directive.space) text += ' ';
    if (directive.alt) text += '#';
    if (directive.zero) text += '0';
    if (directive.grouping) text += '\'';
    if (directive.width) text += std::to_string(directive.width);
    if (directive.precision >= 0) text += '.' + std::to_string(directive.precision);
    text += lengthText;
    text += directive.conversion;
    return text;
}

template <typename T>
void FormatWithRuntime(Sink& out, const Directive& directive, const char* lengthText, T value)
{
    const std::string format = RuntimeSpec(directive, lengthText);
    char local[128];
    const int needed = std::snprintf(local, sizeof local, format.c_str(), value);
    if (needed < 0) return; // unconvertible (a wide character the locale cannot show): nothing
    if (static_cast<std::size_t>(needed) < sizeof local) return out.Write(local, static_cast<std::size_t>(needed));
    std::string big(static_cast<std::size_t>(needed) + 1, '\0');
    std::snprintf(big.data(), big.size(), format.c_str(), value);
    out.Write(big.data(), static_cast<std::size_t>(needed));
}

const char* ParseNumber(const char* p, std::size_t& value)
{
    value = 0;
    while (*p >= '0' && *p <= '9') {
        // Absurd widths saturate; the output could never be made anyway.
        value = std::min<std::size_t>(value * 10 + static_cast<std::size_t>(*p - '0'), INT_MAX);
        ++p;
    }
    return p;
}

// An argument position "n$"; returns p unchanged when there is none.
const char* ParsePosition(const char* p, int& index)
{
    std::size_t n;
    const char* q = ParseNumber(p, n);
    if (q == p || *q != '$' || n == 0) return p;
    index = static_cast<int>(n);
    return q + 1;
}

const char* ParseLength(const char* p, Length& length)
{
    switch (*p) {
    case 'h':
        if (p[1] == 'h') return length = Length::Char, p + 2;
        return length = Length::Short, p + 1;
    case 'l':
        if (p[1] == 'l') return length = Length::LongLong, p + 2;
        return length = Length::Long, p + 1;
    case 'q': return length = Length::LongLong, p + 1;
    case 'j': return length = Length::IntMax, p + 1;
    case 'z': return length = Length::Size, p + 1;
    case 't': return length = Length::PtrDiff, p + 1;
    case 'L': return length = Length::LongDouble, p + 1;
    case 'I':
        if (p[1] == '6' && p[2] == '4') return length = Length::Int64, p + 3;
        if (p[1] == '3' && p[2] == '2') return length = Length::Int32, p + 3;
        return length = Length::PtrDiff, p + 1;
    default: return p;
    }
}

// Parses a conversion after its '%'; returns the position of the conversion letter.
const char* ParseSpec(const char* p, Directive& directive)
{
    p = ParsePosition(p, directive.argument);
    for (;; ++p) {
        if (*p == '-') directive.left = true;
        else if (*p == '+') directive.plus = true;
        else if (*p == ' ') directive.space = true;
        else if (*p == '#') directive.alt = true;
        else if (*p == '0') directive.zero = true;
        else if (*p == '\'') directive.grouping = true;
        else break;
    }
    if (*p == '*') {
        directive.widthFromArgument = true;
        p = ParsePosition(p + 1, directive.widthArgument);
    } else {
        p = ParseNumber(p, directive.width);
    }
    if (*p == '.') {
        ++p;
        if (*p == '*') {
            directive.precisionFromArgument = true;
            p = ParsePosition(p + 1, directive.precisionArgument);
        } else {
            std::size_t precision;
            p = ParseNumber(p, precision);
            directive.precision = static_cast<int>(precision);
        }
    }
    p = ParseLength(p, directive.length);
    directive.conversion = *p;
    directive.plain = !(directive.left || directive.plus || directive.space || directive.alt || directive.zero ||
                        directive.grouping || directive.width || directive.widthFromArgument ||
                        directive.precisionFromArgument || directive.precision >= 0);
    return p;
}

bool Positional(const Directive& directive)
{
    return directive.argument || directive.widthArgument || directive.precisionArgument;
}

// Integers as the caller passed them, narrowed as the length modifier says.
long long Narrow(long long v, Length length)
{
    switch (length) {
    case Length::Char: return static_cast<signed char>(v);
    case Length::Short: return static_cast<short>(v);
    case Length::Long: return static_cast<long>(v);
    case Length::None:
    case Length::Int32: return static_cast<int>(v);
    default: return v;
    }
}

unsigned long long NarrowUnsigned(long long v, Length length)
{
    switch (length) {
    case Length::Char: return static_cast<unsigned char>(v);
    case Length::Short: return static_cast<unsigned short>(v);
    case Length::Long: return static_cast<unsigned long>(v);
    case Length::None:
    case Length::Int32: return static_cast<unsigned>(v);
    default: return static_cast<unsigned long long>(v);
    }
}

// How an argument travels through "...".
enum class Passed : unsigned char { Missing, Int, Long, LongLong, IntMax, Size, Double, LongDouble, Pointer };

Passed PassedAs(const Directive& directive)
{
    switch (directive.conversion) {
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
    case 'c':
        switch (directive.length) {
        case Length::Long: return directive.conversion == 'c' ? Passed::Int : Passed::Long;
        case Length::LongLong:
        case Length::Int64: return Passed::LongLong;
        case Length::IntMax: return Passed::IntMax;
        case Length::Size:
        case Length::PtrDiff: return Passed::Size;
        default: return Passed::Int;
        }
    case 's':
    case 'p':
    case 'n': return Passed::Pointer;
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
    case 'a':
    case 'A': return directive.length == Length::LongDouble ? Passed::LongDouble : Passed::Double;
    default: return Passed::Missing;
    }
}

// Arguments read in the order of the conversions: the usual case.
class SequentialArguments
{
public:
    explicit SequentialArguments(va_list& args) : m_args(args) {}
    int Int(int) { return va_arg(m_args, int); }
    long long Integer(Passed passed, int)
    {
        switch (passed) {
        case Passed::Long: return va_arg(m_args, long);
        case Passed::LongLong: return va_arg(m_args, long long);
        case Passed::IntMax: return va_arg(m_args, intmax_t);
        case Passed::Size: return va_arg(m_args, std::ptrdiff_t);
        default: return va_arg(m_args, int);
        }
    }
    double Double(int) { return va_arg(m_args, double); }
    long double LongDouble(int) { return va_arg(m_args, long double); }
    void* Pointer(int) { return va_arg(m_args, void*); }

private:
    va_list& m_args;
};

// Arguments named by position ("%2$s"): every type is known from the format before the first is read.
class PositionalArguments
{
public:
    static constexpr int kMax = 64;

    PositionalArguments(const char* format, va_list& args)
    {
        for (const char* p = std::strchr(format, '%'); p; p = std::strchr(p, '%')) {
            if (*++p == '%') {
                ++p;
                continue;
            }
            Directive directive;
            p = ParseSpec(p, directive);
            // Conversions without a position have none to read in this form: they print as zero.
            if (directive.widthFromArgument) Note(directive.widthArgument, Passed::Int);
            if (directive.precisionFromArgument) Note(directive.precisionArgument, Passed::Int);
            Note(directive.argument, PassedAs(directive));
            if (*p) ++p;
        }
        // Read in order up to the first position the format never names: its type is unknown.
        for (int i = 0; i < kMax && m_passed[i] != Passed::Missing; ++i) {
            Value& v = m_values[i];
            switch (m_passed[i]) {
            case Passed::Double: v.d = va_arg(args, double); break;
            case Passed::LongDouble: v.ld = va_arg(args, long double); break;
            case Passed::Pointer: v.p = va_arg(args, void*); break;
            default: v.i = SequentialArguments(args).Integer(m_passed[i], 0); break;
            }
            m_read = i + 1;
        }
    }
    int Int(int index) { return static_cast<int>(Get(index).i); }
    long long Integer(Passed, int index) { return Get(index).i; }
    double Double(int index) { return Get(index).d; }
    long double LongDouble(int index) { return Get(index).ld; }
    void* Pointer(int index) { return Get(index).p; }

private:
    union Value {
        long long i;
        double d;
        long double ld;
        void* p;
    };

    void Note(int index, Passed passed)
    {
        if (index >= 1 && index <= kMax && passed != Passed::Missing) m_passed[index - 1] = passed;
    }
    const Value& Get(int index)
    {
        static const Value missing{};
        return index >= 1 && index <= m_read ? m_values[index - 1] : missing;
    }

    Passed m_passed[kMax] = {};
    Value m_values[kMax] = {};
    int m_read = 0;
};

template <typename Arguments>
void StoreCount(Length length, Arguments& args, int index, std::size_t count)
{
    void* target = args.Pointer(index);
    if (!target) return;
    switch (length) {
    case Length::Char: *static_cast<signed char*>(target) = static_cast<signed char>(count); break;
    case Length::Short: *static_cast<short*>(target) = static_cast<short>(count); break;
    case Length::Long: *static_cast<long*>(target) = static_cast<long>(count); break;
    case Length::LongLong:
    case Length::Int64: *static_cast<long long*>(target) = static_cast<long long>(count); break;
    case Length::IntMax: *static_cast<intmax_t*>(target) = static_cast<intmax_t>(count); break;
    case Length::Size:
    case Length::PtrDiff: *static_cast<std::ptrdiff_t*>(target) = static_cast<std::ptrdiff_t>(count); break;
    default: *static_cast<int*>(target) = static_cast<int>(count); break;
    }
}

// Formats one parsed conversion; returns false if the conversion letter is unknown.
template <typename Arguments>
bool FormatConversion(Sink& out, const Directive& directive, Arguments& args)
{
    const int at = directive.argument;
    switch (directive.conversion) {
    case 'd':
    case 'i': {
        const long long v = Narrow(args.Integer(PassedAs(directive), at), directive.length);
        if (directive.grouping) return FormatWithRuntime(out, directive, "ll", v), true;
        const unsigned long long magnitude =
            v < 0 ? 0ull - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
        FormatInteger(out, directive, magnitude, v < 0, true);
        return true;
    }
    case 'u':
    case 'o':
    case 'x':
    case 'X': {
        const unsigned long long v = NarrowUnsigned(args.Integer(PassedAs(directive), at), directive.length);
        if (directive.grouping) return FormatWithRuntime(out, directive, "ll", v), true;
        FormatInteger(out, directive, v, false, false);
        return true;
    }
    case 'p': {
        const void* pointer = args.Pointer(at);
        if (!pointer) return FormatText(out, directive, "(nil)", 5), true;
        FormatInteger(out, directive, reinterpret_cast<std::uintptr_t>(pointer), false, false);
        return true;
    }
    case 'c': {
        const int v = args.Int(at);
        if (directive.length == Length::Long)
            return FormatWithRuntime(out, directive, "l", static_cast<wint_t>(v)), true;
        const char c = static_cast<char>(v);
        FormatText(out, directive, &c, 1);
        return true;
    }
    case 's': {
        const void* text = args.Pointer(at);
        if (directive.length == Length::Long)
            return FormatWithRuntime(out, directive, "l", static_cast<const wchar_t*>(text)), true;
        FormatCString(out, directive, static_cast<const char*>(text));
        return true;
    }
    case 'n': StoreCount(directive.length, args, at, out.Length()); return true;
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        if (directive.length == Length::LongDouble) {
            FormatWithRuntime(out, directive, "L", args.LongDouble(at));
        } else if (directive.conversion == 'a' || directive.conversion == 'A' || directive.grouping ||
                   (directive.alt && (directive.conversion == 'g' || directive.conversion == 'G'))) {
            FormatWithRuntime(out, directive, "", args.Double(at));
        } else {
            FormatDouble(out, directive, args.Double(at));
        }
        return true;
    default: return false;
    }
}

// Formats the whole text. Returns false, having read no argument, when the first conversion names
// its argument's position: then the caller formats again with every argument's type known.
template <typename Arguments>
bool FormatAll(Sink& out, const char* p, Arguments& args)
{
    const bool sequential = std::is_same_v<Arguments, SequentialArguments>;
    bool first = true;
    while (*p) {
        if (*p != '%') {
            p = formattext::CopyLiteral(out, p);
            continue;
        }
        const char* start = p++;
        if (*p == '%') {
            out.Put('%');
            ++p;
            continue;
        }
        Directive directive;
        if (*p == 'd' || *p == 's' || *p == 'u' || *p == 'i') {
            // The common bare conversions need no parsing.
            directive.conversion = *p;
            directive.plain = true;
        } else {
            p = ParseSpec(p, directive);
        }
        if (sequential && first && Positional(directive)) return false;
        first = false;
        if (directive.widthFromArgument) {
            const int w = args.Int(directive.widthArgument);
            if (w < 0) directive.left = true;
            directive.width = w < 0 ? 0u - static_cast<unsigned>(w) : static_cast<unsigned>(w);
        }
        if (directive.precisionFromArgument) {
            const int precision = args.Int(directive.precisionArgument);
            directive.precision = precision < 0 ? -1 : precision;
        }
        if (directive.conversion && FormatConversion(out, directive, args)) {
            ++p;
            continue;
        }
        // Unknown conversion: the text stands as it was written.
        if (*p) ++p;
        out.Write(start, static_cast<std::size_t>(p - start));
    }
    return true;
}

std::size_t FormatInto(char* buffer, std::size_t capacity, const char* format, va_list args)
{
    if (!format) return 0;
    Sink out(buffer, capacity);
    va_list own;
    va_copy(own, args);
    SequentialArguments sequential(own);
    const bool done = FormatAll(out, format, sequential);
    va_end(own);
    if (done) return out.Length();

    Sink again(buffer, capacity);
    va_copy(own, args);
    PositionalArguments positional(format, own);
    FormatAll(again, format, positional);
    va_end(own);
    return again.Length();
}

} // namespace

int rvsnprintf(char* buffer, std::size_t size, const char* format, va_list args)
{
    const std::size_t capacity = (buffer && size) ? size - 1 : 0;
    const std::size_t length = FormatInto(buffer, capacity, format, args);
    if (buffer && size) buffer[std::min(length, capacity)] = '\0';
    return length > static_cast<std::size_t>(INT_MAX) ? -1 : static_cast<int>(length);
}

String VSFormat(FormatString format, va_list args)
{
    // Nearly every message fits the working buffer; a longer one is formatted again at its exact size.
    char local[512];
    const std::size_t length = FormatInto(local, sizeof local, format, args);
    if (length <= sizeof local) return String(local, length);
    String result;
    FormatInto(result.GetBufferSetLength(length), length, format, args);
    return result;
}

String SFormat(FormatString format, ...)
{
    va_list args;
    va_start(args, format);
    String result = VSFormat(format, args);
    va_end(args);
    return result;
}

} // namespace dovo
