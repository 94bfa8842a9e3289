#include <dovo/String.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cinttypes>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <tuple>

// Odd and foreign formats are exercised on purpose.
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
#pragma GCC diagnostic ignored "-Wformat-zero-length"

using dovo::SFormat;
using dovo::String;

namespace {

int CallRvsnprintf(char* buffer, std::size_t size, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const int n = dovo::rvsnprintf(buffer, size, format, args);
    va_end(args);
    return n;
}

template <typename T>
std::string Reference(const char* format, T value)
{
    char buffer[512];
    const int n = std::snprintf(buffer, sizeof buffer, format, value);
    return n < 0 ? std::string("<error>") : std::string(buffer, static_cast<std::size_t>(n));
}

// Every combination of flags, widths and precisions for each conversion, with each value, against the reference.
template <typename T>
void ExpectAsTheReference(std::initializer_list<const char*> conversions, std::initializer_list<T> values)
{
    for (const std::string conversion : conversions)
        for (const char* flags : {"", "-", "+", " ", "#", "0", "-0", "+0", " #", "+ ", "-#0+"})
            for (const char* width : {"", "1", "8", "25"})
                for (const char* precision : {"", ".", ".0", ".1", ".3", ".17"}) {
                    if (std::strchr(flags, '#') && std::strchr("diu", conversion.back())) continue; // no meaning there
                    const std::string directive = std::string("[%") + flags + width + precision + conversion + "]";
                    for (T v : values)
                        ASSERT_EQ(SFormat(directive.c_str(), v).str(), Reference(directive.c_str(), v))
                            << directive << " " << v;
                }
}

} // namespace

TEST(StringFormat, AgreesWithTheRuntime)
{
    // The reference formatter is glibc's. mingw-w64's is no faithful reference (it drops widths with %g and applies
    // ' ' to unsigned conversions); the literal cases below run on every platform.
#ifndef __GLIBC__
    GTEST_SKIP() << "the C runtime here is no reference formatter";
#endif
    ExpectAsTheReference<long long>({"lld", "lli", "llu", "llo", "llx", "llX"},
                                    {0, 1, -1, 7, 42, -42, 255, 4096, INT_MAX, INT_MIN, LLONG_MAX, LLONG_MIN});
    ExpectAsTheReference<int>({"d", "i", "u", "o", "x", "X"}, {0, -5, 123456, INT_MIN}); // narrowed to int
    ExpectAsTheReference<double>({"f", "F", "e", "E", "g", "G"},
                                 {0.0,     -0.0,       1.0,     -1.5,     0.1,          2.5,     3.5,
                                  1e-5,    123456.789, 1e15,    1e16,     1e100,        -1e-300, 9.9999,
                                  0.00001, 999999.5,   DBL_MAX, DBL_MIN,  DBL_TRUE_MIN, 1.0 / 3, 5e-324,
                                  1e21,    0.5,        1.25e-7, INFINITY, -INFINITY});
    ExpectAsTheReference<const char*>({"s"}, {"", "a", "hello", "a long text of more than 25 characters"});
    for (const char* directive : {"%f", "%e", "%g", "%10.3F", "%-8G", "%+E", "%010f"}) // a NaN's sign is the platform's
        EXPECT_EQ(SFormat(directive, NAN).Replace("-", " "), String(Reference(directive, NAN)).Replace("-", " "))
            << directive;
}

TEST(StringFormat, SameTextOnEveryPlatform)
{
    const char unterminated[3] = {'a', 'b', 'c'}; // a precision bounds what is read
    const std::pair<String, const char*> rows[] = {
        // Integers and doubles as the reference prints them; exponents with two digits everywhere.
        {SFormat("[%5d|%-5d|%05d|%+d|% d|%+.3d|%x|%#X|%#o|%o]", 42, 42, -42, 7, 7, 5, 255, 255, 8, 0),
         "[   42|42   |-0042|+7| 7|+005|ff|0XFF|010|0]"},
        {SFormat("[% u|%+u|%#x|%#.3x|%8.3x|%-#8x|%.0d|%.0x|%#.0o]", 5u, 5u, 0u, 1u, 1u, 1u, 0, 0, 0),
         "[5|5|0|0x001|     001|0x1     |||0]"},
        {SFormat("[%e|%#.0e|%.2e|%#.0f|%010.2f|%g|%.0g|%g|%25.17g]", 12345.678, 5.0, -1e-300, 3.0, -2.0, 1000000.0, 0.5,
                 -0.0, 1e15),
         "[1.234568e+04|5.e+00|-1.00e-300|3.|-000002.00|1e+06|0.5|-0|         1000000000000000]"},
        {SFormat("[%f|%5.1f|%-6e|%G]", INFINITY, -INFINITY, INFINITY, INFINITY), "[inf| -inf|inf   |INF]"},
        // Texts: "(null)" unless the precision is too short to hold it.
        {SFormat("[%c|%-3c|%3c|%s|%.5s|%.6s|%5.1s]", 'a', 'b', 'c', static_cast<const char*>(nullptr),
                 static_cast<const char*>(nullptr), static_cast<const char*>(nullptr), "abc"),
         "[a|b  |  c|(null)||(null)|    a]"},
        {SFormat("[%.3s|%.*s]", unterminated, 2, unterminated), "[abc|ab]"},
        {SFormat("[%p|%p|%8p]", reinterpret_cast<void*>(0x1f), static_cast<void*>(nullptr),
                 reinterpret_cast<void*>(0xab)),
         "[0x1f|(nil)|    0xab]"},
        {SFormat("%ls|%lc", L"wide", static_cast<wint_t>(L'w')), "wide|w"},
        // Length modifiers, the Windows forms among them, on every platform.
        {SFormat("%hhd %hhu %hd %hu %ld %lu", 300, 300, 70000, 70000, -3L, 3UL), "44 44 4464 4464 -3 3"},
        {SFormat("%zu %zd %td %jd", static_cast<std::size_t>(5), static_cast<std::ptrdiff_t>(-5),
                 static_cast<std::ptrdiff_t>(6), static_cast<intmax_t>(-7)),
         "5 -5 6 -7"},
        {SFormat("%" PRIu64 " %" PRId64 " %I64u %I64d %I32d", UINT64_MAX, INT64_MIN,
                 static_cast<unsigned long long>(1) << 40, -(1LL << 40), 12),
         "18446744073709551615 -9223372036854775808 1099511627776 -1099511627776 12"},
        // A negative width means left-aligned, a negative precision none; unknown conversions stand as written.
        {SFormat("[%*d|%-*d|%.*d|%*.*f|%*d|%.*d]", 5, 1, 3, 2, 3, 4, 6, 2, 1.5, -4, 7, -1, 7),
         "[    1|2  |004|  1.50|7   |7]"},
        {SFormat("100%%|%y|%5k|end%"), "100%|%y|%5k|end%"},
        {SFormat(""), ""},
        // Positional arguments; a position the format never names leaves the later ones unread, printed as nothing.
        {SFormat("%2$s %1$s|%1$s", "world", "hello"), "hello world|world"},
        {SFormat("%3$*1$.*2$f|%4$lld|%1$d", 8, 2, 3.14159, -(1LL << 40)), "    3.14|-1099511627776|8"},
        {SFormat("[%1$d|%3$d|%99$d]", 1, 2, 3), "[1|0|0]"},
    };
    for (const auto& [formatted, expected] : rows) EXPECT_EQ(formatted, expected);
    // Counts of what was written so far; long doubles and %a are given to the runtime.
    int count = 0, positional = 0;
    long long wide = 0;
    EXPECT_EQ(SFormat("abc%n%s%lln!", &count, "de", &wide) + SFormat("%2$s%1$n", &positional, "xyz"), "abcde!xyz");
    EXPECT_EQ(std::tuple(count, wide, positional), std::tuple(3, 5LL, 3));
    EXPECT_EQ(SFormat("%.2Lf|%a", 2.5L, 1.0), "2.50|" + Reference("%a", 1.0));
}

TEST(StringFormat, LongOutputsAndBoundedBuffers)
{
    // Around the first working buffer of 192 bytes and the formatter's own of 512.
    for (std::size_t n : {0u, 190u, 191u, 510u, 511u, 100000u})
        ASSERT_EQ(SFormat("<%s>", std::string(n, 'q').c_str()).str(), "<" + std::string(n, 'q') + ">") << n;
    EXPECT_EQ(SFormat("%300d|%.400f", 1, 1.0).Length(), 300 + 1 + 402);

    // The bounded formatter returns the length the whole output needs.
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(CallRvsnprintf(buffer, sizeof buffer, "%s-%d", "abcdef", 12345), 12);
    EXPECT_STREQ(buffer, "abcdef-");
    EXPECT_EQ(CallRvsnprintf(buffer, sizeof buffer, "%d", 42), 2);
    EXPECT_STREQ(buffer, "42");
    EXPECT_EQ(CallRvsnprintf(nullptr, 0, "%s", "count only"), 10);
    EXPECT_EQ(CallRvsnprintf(buffer, 1, "abc"), 3);
    EXPECT_EQ(buffer[0], '\0');
    buffer[0] = 'x';
    EXPECT_EQ(CallRvsnprintf(buffer, 0, "abc"), 3);
    EXPECT_EQ(buffer[0], 'x'); // untouched
}

TEST(StringFormat, AppendingNumbersWrappingAndPrintableForms)
{
    // {value, width, prefix, upper case, result}: the prefix does not count towards the width.
    const std::tuple<std::uint64_t, int, bool, bool, const char*> hex[] = {
        {0x20000003, 8, true, true, "0x20000003"},
        {5, 4, false, false, "0005"},
        {0, 1, false, true, "0"},
        {31, 8, true, true, "0x0000001F"},
        {0xabc, 0, false, false, "abc"},
        {0, 0, true, false, "0x0"},
        {UINT64_MAX, 20, true, false, "0x0000ffffffffffffffff"}};
    for (const auto& [value, width, prefix, upper, result] : hex)
        EXPECT_EQ(String("=").AppendHex(value, width, prefix, upper), String("=") + result) << result;
    // {value, width, fill, result}: the fill goes before the sign, as a standard stream's default (right) alignment
    // puts it.
    const std::tuple<std::int64_t, int, char, const char*> decimal[] = {
        {-5, 4, '0', "00-5"}, {-5, 4, ' ', "  -5"}, {42, 1, '0', "42"},
        {42, 0, '0', "42"},   {42, -3, '0', "42"},  {INT64_MIN, 0, ' ', "-9223372036854775808"}};
    for (const auto& [value, width, fill, result] : decimal)
        EXPECT_EQ(String("=").AppendSigned(value, width, fill), String("=") + result) << result;
    // The base is ignored: always decimal.
    EXPECT_EQ(String("x=").AppendSigned(255, 5, '.', 16, false) + String().AppendUnsigned(UINT64_MAX, 0, ' ', 8, true) +
                  String().AppendUnsigned(7, 3, '0'),
              "x=..25518446744073709551615007");

    const std::string w10(10, 'w');
    // {text, width, separator, break bytes (empty: the default set), lines, result}: a break byte ends its line;
    // a text of one line is left as it was.
    const std::tuple<String, std::size_t, const char*, const char*, int, String> rows[] = {
        {w10 + w10 + "wwwww", 10, "|", "", 3, w10 + "|" + w10 + "|wwwww"},
        {"one two three four", 9, "\n", "", 3, "one two \nthree \nfour"},
        {"path/to/a/file", 6, "\n", "/", 3, "path/\nto/a/\nfile"},
        {"a-b-c-d", 3, "/", "-", 3, "a-/b-/c-d"},
        {"short text", 40, "\n", "", 1, "short text"},
        {"exactly10!", 10, "|", "", 1, "exactly10!"},
        {"abcdef", 1, "", "", 6, "abcdef"},
        {"abc", 0, "|", "", 1, "abc"},
        {"", 5, "|", "", 0, ""}};
    for (const auto& [text, width, separator, breaks, lines, result] : rows) {
        String s = text;
        EXPECT_EQ(s.Wrap(width, separator, breaks), lines) << text;
        EXPECT_EQ(s, result);
    }

    // High bytes show as signed values.
    EXPECT_EQ(dovo::ForcePrintable('a') + dovo::ForcePrintable('\n') + dovo::ForcePrintable('\0') +
                  dovo::ForcePrintable(static_cast<char>(0xE9)) + dovo::ForcePrintable(static_cast<char>(0x80)) +
                  dovo::ForcePrintable("a\tb\x7f") + dovo::ForcePrintable("") +
                  dovo::ForcePrintable(static_cast<const char*>(nullptr)),
              "a[10][0][-23][-128]a[9]b[127]");
}
