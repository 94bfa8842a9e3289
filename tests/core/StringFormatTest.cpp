#include <dovo/String.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cinttypes>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <vector>

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

// The reference formatter is glibc's. mingw-w64's is no faithful reference (it drops widths with %g
// and applies ' ' to unsigned conversions); the literal cases below run on every platform.
#ifdef __GLIBC__
constexpr bool kReferenceFormatter = true;
#else
constexpr bool kReferenceFormatter = false;
#endif

template <typename T>
std::string Reference(const char* format, T value)
{
    char buffer[512];
    const int n = std::snprintf(buffer, sizeof buffer, format, value);
    return n < 0 ? std::string("<error>") : std::string(buffer, static_cast<std::size_t>(n));
}

// Every combination of flags, widths and precisions for one conversion.
std::vector<std::string> Specs(const char* conversion)
{
    std::vector<std::string> specs;
    for (const char* flags : {"", "-", "+", " ", "#", "0", "-0", "+0", " #", "+ ", "-#0+"})
        for (const char* width : {"", "1", "8", "25"})
            for (const char* precision : {"", ".", ".0", ".1", ".3", ".17"})
                specs.push_back(std::string("[%") + flags + width + precision + conversion + "]");
    return specs;
}

} // namespace

TEST(StringFormat, AgreesWithTheRuntimeForIntegers)
{
    if (!kReferenceFormatter) GTEST_SKIP() << "the C runtime here is no reference formatter";
    const long long values[] = {0, 1, -1, 7, 42, -42, 255, 4096, INT_MAX, INT_MIN, LLONG_MAX, LLONG_MIN};
    for (const char* conversion : {"lld", "lli", "llu", "llo", "llx", "llX"}) {
        for (const std::string& directive : Specs(conversion)) {
            if (directive.find('#') != std::string::npos &&
                (conversion[2] == 'd' || conversion[2] == 'i' || conversion[2] == 'u'))
                continue; // '#' has no meaning there
            for (long long v : values)
                ASSERT_EQ(SFormat(directive.c_str(), v).str(), Reference(directive.c_str(), v))
                    << directive << " " << v;
        }
    }
    for (const std::string& directive : Specs("d"))
        for (int v : {0, -5, 123456})
            ASSERT_EQ(SFormat(directive.c_str(), v).str(), Reference(directive.c_str(), v)) << directive << " " << v;
}

TEST(StringFormat, AgreesWithTheRuntimeForDoubles)
{
    if (!kReferenceFormatter) GTEST_SKIP() << "the C runtime here is no reference formatter";
    const double values[] = {0.0,        -0.0,    1.0,          -1.5,    0.1,     2.5,    3.5,     1e-5,
                             123456.789, 1e15,    1e16,         1e100,   -1e-300, 9.9999, 0.00001, 999999.5,
                             DBL_MAX,    DBL_MIN, DBL_TRUE_MIN, 1.0 / 3, 5e-324,  1e21,   0.5,     1.25e-7};
    for (const char* conversion : {"f", "F", "e", "E", "g", "G"})
        for (const std::string& directive : Specs(conversion))
            for (double v : values)
                ASSERT_EQ(SFormat(directive.c_str(), v).str(), Reference(directive.c_str(), v))
                    << directive << " " << v;
    for (const char* directive : {"%f", "%e", "%g", "%10.3F", "%-8G", "%+E", "%010f"}) {
        for (double v : {INFINITY, -INFINITY, NAN}) {
            // The sign of a NaN is the platform's affair; compare without it.
            String ours = SFormat(directive, v), theirs = Reference(directive, v);
            ASSERT_EQ(ours.Replace("-", " "), theirs.Replace("-", " ")) << directive;
        }
    }
}

TEST(StringFormat, SameTextOnEveryPlatform)
{
    EXPECT_EQ(SFormat("[%5d|%-5d|%05d|%+d|% d|%+.3d|%x|%#X|%#o|%o]", 42, 42, -42, 7, 7, 5, 255, 255, 8, 0),
              "[   42|42   |-0042|+7| 7|+005|ff|0XFF|010|0]");
    EXPECT_EQ(SFormat("[% u|%+u|%#x|%#.3x|%8.3x|%-#8x]", 5u, 5u, 0u, 1u, 1u, 1u), "[5|5|0|0x001|     001|0x1     ]");
    EXPECT_EQ(SFormat("[%e|%E|%.0e|%#.0e|%.2e]", 12345.678, 0.000123, 5.5, 5.0, -1e-300),
              "[1.234568e+04|1.230000E-04|6e+00|5.e+00|-1.00e-300]");
    EXPECT_EQ(
        SFormat("[%f|%.0f|%#.0f|%.1f|%10.2f|%-10.2f|%010.2f|%+.1f]", 1.5, 2.5, 3.0, 0.05, -3.14159, 2.0, -2.0, 0.0),
        "[1.500000|2|3.|0.1|     -3.14|2.00      |-000002.00|+0.0]");
    EXPECT_EQ(SFormat("[%g|%g|%g|%g|%G|%.3g|%.0g|%g|%25.17g]", 100000.0, 1000000.0, 0.0001, 0.00001, 1e-10, 3.14159,
                      0.5, -0.0, 1e15),
              "[100000|1e+06|0.0001|1e-05|1E-10|3.14|0.5|-0|         1000000000000000]");
    EXPECT_EQ(SFormat("[%f|%5.1f|%-6e|%G]", INFINITY, -INFINITY, INFINITY, INFINITY), "[inf| -inf|inf   |INF]");
    EXPECT_EQ(SFormat("[%s|%5s|%-5s|%.2s|%5.1s]", "abc", "abc", "abc", "abc", "abc"), "[abc|  abc|abc  |ab|    a]");
}

TEST(StringFormat, TextsCharactersAndPointers)
{
    for (const std::string& directive : Specs("s")) {
        for (const char* v : {"", "a", "hello", "a long text of more than 25 characters"}) {
            if (kReferenceFormatter) {
                ASSERT_EQ(SFormat(directive.c_str(), v).str(), Reference(directive.c_str(), v)) << directive;
            }
        }
    }
    EXPECT_EQ(SFormat("[%c|%-3c|%3c]", 'a', 'b', 'c'), "[a|b  |  c]");
    EXPECT_EQ(SFormat("%s", static_cast<const char*>(nullptr)), "(null)");
    EXPECT_EQ(SFormat("%.3s", static_cast<const char*>(nullptr)), "");
    // Precision bounds what is read: the text need not be terminated.
    const char unterminated[3] = {'a', 'b', 'c'};
    EXPECT_EQ(SFormat("%.3s", unterminated), "abc");
    EXPECT_EQ(SFormat("%.*s", 2, unterminated), "ab");

    EXPECT_EQ(SFormat("%p", reinterpret_cast<void*>(0x1f)), "0x1f");
    EXPECT_EQ(SFormat("%p", static_cast<void*>(nullptr)), "(nil)");
    EXPECT_EQ(SFormat("[%8p]", reinterpret_cast<void*>(0xab)), "[    0xab]");
    EXPECT_EQ(SFormat("%ls", L"wide"), "wide");
    EXPECT_EQ(SFormat("%lc", static_cast<wint_t>(L'w')), "w");
}

TEST(StringFormat, LengthModifiersWidthsAndOddFormats)
{
    EXPECT_EQ(SFormat("%hhd %hhu %hd %hu", 300, 300, 70000, 70000), "44 44 4464 4464");
    EXPECT_EQ(SFormat("%zu %zd %td %jd", static_cast<std::size_t>(5), static_cast<std::ptrdiff_t>(-5),
                      static_cast<std::ptrdiff_t>(6), static_cast<intmax_t>(-7)),
              "5 -5 6 -7");
    EXPECT_EQ(SFormat("%" PRIu64 " %" PRId64, UINT64_MAX, INT64_MIN), "18446744073709551615 -9223372036854775808");
    EXPECT_EQ(SFormat("%ld %lu", -3L, 3UL), "-3 3");
    EXPECT_EQ(SFormat("[%*d|%-*d|%.*d|%*.*f]", 5, 1, 3, 2, 3, 4, 6, 2, 1.5), "[    1|2  |004|  1.50]");
    EXPECT_EQ(SFormat("[%*d]", -4, 7), "[7   ]"); // a negative width means left-aligned
    EXPECT_EQ(SFormat("[%.*d]", -1, 7), "[7]");   // a negative precision is none
    EXPECT_EQ(SFormat("%.0d|%.0x|%#.0o", 0, 0, 0), "||0");
    EXPECT_EQ(SFormat("100%%"), "100%");
    EXPECT_EQ(SFormat("%y|%5k|end%"), "%y|%5k|end%"); // unknown conversions stand as written
    EXPECT_EQ(SFormat(""), "");

    int count = 0;
    long long wide = 0;
    EXPECT_EQ(SFormat("abc%n%s%lln!", &count, "de", &wide), "abcde!");
    EXPECT_EQ(count, 3);
    EXPECT_EQ(wide, 5);

    // The Windows length forms work on every platform.
    EXPECT_EQ(SFormat("%I64u %I64d %I32d", static_cast<unsigned long long>(1) << 40, -(1LL << 40), 12),
              "1099511627776 -1099511627776 12");
    EXPECT_EQ(SFormat("%.2Lf", 2.5L), "2.50");
    EXPECT_EQ(SFormat("%a", 1.0), Reference("%a", 1.0));
}

TEST(StringFormat, PositionalArguments)
{
    EXPECT_EQ(SFormat("%2$s %1$s", "world", "hello"), "hello world");
    EXPECT_EQ(SFormat("%3$*1$.*2$f|%4$lld|%1$d", 8, 2, 3.14159, -(1LL << 40)), "    3.14|-1099511627776|8");
    EXPECT_EQ(SFormat("%1$s%1$s", "ab"), "abab");
    // A position the format never names leaves the later ones unread: they print as nothing.
    EXPECT_EQ(SFormat("[%1$d|%3$d]", 1, 2, 3), "[1|0]");
    EXPECT_EQ(SFormat("[%99$d]", 1), "[0]");
    int count = 0;
    EXPECT_EQ(SFormat("%2$s%1$n", &count, "xyz"), "xyz");
    EXPECT_EQ(count, 3);
}

TEST(StringFormat, LongOutputsComeOutWhole)
{
    for (std::size_t n : {0u, 1u, 190u, 191u, 192u, 193u, 1000u, 100000u}) {
        const std::string text(n, 'q');
        const String formatted = SFormat("<%s>", text.c_str());
        ASSERT_EQ(formatted.Length(), static_cast<int>(n + 2)) << n;
        ASSERT_EQ(formatted.str(), "<" + text + ">");
    }
    EXPECT_EQ(SFormat("%300d", 1).Length(), 300);
    EXPECT_EQ(SFormat("%.400f", 1.0).Length(), 402);
}

TEST(StringFormat, BoundedFormatter)
{
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(CallRvsnprintf(buffer, sizeof buffer, "%s-%d", "abcdef", 12345), 12);
    EXPECT_STREQ(buffer, "abcdef-");
    EXPECT_EQ(CallRvsnprintf(buffer, sizeof buffer, "%d", 42), 2);
    EXPECT_STREQ(buffer, "42");
    EXPECT_EQ(CallRvsnprintf(nullptr, 0, "%s", "count only"), 10);
    buffer[0] = 'x';
    EXPECT_EQ(CallRvsnprintf(buffer, 1, "abc"), 3);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(CallRvsnprintf(buffer, 0, "abc"), 3);
    EXPECT_EQ(buffer[0], '\0'); // untouched
}

TEST(StringFormat, AppendingNumbers)
{
    String s;
    EXPECT_EQ(s.AppendHex(0x20000003, 8, true, true), "0x20000003");
    EXPECT_EQ(String().AppendHex(31, 8, true, true), "0x0000001F");
    EXPECT_EQ(String().AppendHex(5, 4, false, false), "0005");
    EXPECT_EQ(String().AppendHex(0xabc, 0, false, false), "abc");
    EXPECT_EQ(String().AppendHex(UINT64_MAX, 20, true, false), "0x0000ffffffffffffffff");
    EXPECT_EQ(String().AppendHex(0), "0");

    // The fill goes before the sign, as a standard stream's default (right) alignment puts it.
    EXPECT_EQ(String().AppendSigned(-5, 4, '0', 10, true), "00-5");
    EXPECT_EQ(String().AppendSigned(-5, 4, ' ', 10, true), "  -5");
    EXPECT_EQ(String().AppendSigned(42, 1, '0'), "42");
    EXPECT_EQ(String().AppendSigned(42, 0, '0'), "42");
    EXPECT_EQ(String().AppendSigned(42, -3, '0'), "42");
    EXPECT_EQ(String().AppendSigned(INT64_MIN), "-9223372036854775808");
    // The base is ignored: always decimal.
    EXPECT_EQ(String("x=").AppendSigned(255, 5, '.', 16, false), "x=..255");
    EXPECT_EQ(String().AppendUnsigned(UINT64_MAX, 0, ' ', 8, true), "18446744073709551615");
    EXPECT_EQ(String().AppendUnsigned(7, 3, '0'), "007");
}

TEST(StringFormat, Wrap)
{
    String s(std::string(25, 'w'));
    EXPECT_EQ(s.Wrap(10, "|"), 3);
    EXPECT_EQ(s, std::string(10, 'w') + "|" + std::string(10, 'w') + "|" + std::string(5, 'w'));

    s = "short text";
    EXPECT_EQ(s.Wrap(40), 1);
    EXPECT_EQ(s, "short text");
    s = "exactly10!";
    EXPECT_EQ(s.Wrap(10), 1);

    // The break byte ends its line.
    s = "one two three four";
    EXPECT_EQ(s.Wrap(9, "\n"), 3);
    EXPECT_EQ(s, "one two \nthree \nfour");
    s = "a-b-c-d";
    EXPECT_EQ(s.Wrap(3, "/", "-"), 3);
    EXPECT_EQ(s, "a-/b-/c-d");
    s = "path/to/a/file";
    EXPECT_EQ(s.Wrap(6, "\n", "/"), 3);
    EXPECT_EQ(s, "path/\nto/a/\nfile");

    String empty;
    EXPECT_EQ(empty.Wrap(5), 0);
    EXPECT_EQ(empty, "");
    s = "abc";
    EXPECT_EQ(s.Wrap(0), 1);
    EXPECT_EQ(s, "abc");
    s = "abcdef";
    EXPECT_EQ(s.Wrap(1, ""), 6);
    EXPECT_EQ(s, "abcdef");
}

TEST(StringFormat, ForcePrintable)
{
    EXPECT_EQ(dovo::ForcePrintable('a'), "a");
    EXPECT_EQ(dovo::ForcePrintable('\n'), "[10]");
    EXPECT_EQ(dovo::ForcePrintable('\0'), "[0]");
    EXPECT_EQ(dovo::ForcePrintable(static_cast<char>(0xE9)), "[-23]");
    EXPECT_EQ(dovo::ForcePrintable(static_cast<char>(0x80)), "[-128]");
    EXPECT_EQ(dovo::ForcePrintable("a\tb\x7f"), "a[9]b[127]");
    EXPECT_EQ(dovo::ForcePrintable(""), "");
    EXPECT_EQ(dovo::ForcePrintable(static_cast<const char*>(nullptr)), "");
}
