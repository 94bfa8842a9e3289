#include <dovo/String.h>

#include "support/Checks.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cinttypes>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <map>
#include <memory>
#include <tuple>

// Odd and foreign formats are exercised on purpose.
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
#pragma GCC diagnostic ignored "-Wformat-zero-length"

using dovo::SFormat;
using dovo::String;

namespace {

constexpr std::size_t npos = std::string::npos;

String Erased(String s, std::size_t pos, int count) { return s.Erase(pos, count), s; }

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

TEST(String, ConstructionAssignmentAndBuffers)
{
    const String withNul("a\0b", 3); // a sized text keeps its NUL bytes
    // "%g": two exponent digits on every platform; a float is widened to double first.
    EXPECT_EQ(Joined(withNul.Length(), withNul == String("a\0c", 3), String('x', 4),
                     String(static_cast<const char*>(nullptr)).Empty(), String() = 1e10, String() = 0.1f,
                     String("x") = static_cast<const char*>(nullptr)),
              "3|0|xxxx|1|1e+10|0.1|");
    String s("a"), t("one");
    s += std::string("b");
    s += static_cast<const char*>(nullptr);
    s.Swap(t);
    static_cast<std::string&>(s) += "!"; // the standard string underneath, for standard algorithms
    EXPECT_EQ(Joined(s + t + "c" + 'd', "x" + t), "one!abcd|xab");
    EXPECT_EQ(t.Copy("xyz", 2), "xy");
    s = std::string(1000, 'x');
    s.Clear(false); // keeps the block; Clear(true) releases it
    const bool kept = s.Empty() && s.str().capacity() >= 1000;
    s.Clear(true);
    EXPECT_EQ(Joined(kept, s.str().capacity() < 100), "1|1");

    s = "abc";
    s.GetBuffer(2)[0] = 'A'; // never shortens
    s.GetBuffer(5);          // extends with NULs
    EXPECT_EQ(s, String("Abc\0\0", 5));
    s.GetBufferSetLength(1);
    const String& constant = s;
    EXPECT_EQ(Joined(constant, constant[0], constant[100] == '\0'), "A|A|1");
    for (std::size_t past : {std::size_t{1}, npos})
        EXPECT_EQ(Thrown([&] { s[past] = 'x'; }), "String|operator[]|0x20000005|0|1|Requested index " +
                                                      std::to_string(past) + " is beyond current limit 1");
    EXPECT_EQ(s, "A");
}

TEST(String, ComparisonsAndRegex)
{
    // {a, b, "a < b|Compare|CompareNoCase|%="}: byte-wise operators; an explicit rule for empty texts.
    const std::tuple<String, const char*, const char*> rows[] = {
        {"", "", "0|0|0|1"},    {"", "a", "1|-1|-1|0"},    {"A", "", "0|1|1|0"},       {"abc", "ab", "0|1|1|0"},
        {"B", "a", "1|-1|1|0"}, {"abc", "ABC", "0|1|0|1"}, {"ABC", "abd", "1|-1|-1|0"}};
    for (const auto& [a, b, results] : rows)
        EXPECT_EQ(results, Joined(a < String(b), a.Compare(b), a.CompareNoCase(b), a %= b)) << Joined(a, b);
    const std::map<String, int, String::ciless> names{{"Alpha", 1}, {"ALPHA", 2}, {"beta", 3}};
    EXPECT_EQ(Joined(String("\x7f") < String("\x80"), names.size(), names.at("alpha"), names.begin()->first),
              "1|2|1|Alpha");

    // The whole text must match. In this order: alternating patterns must not confuse the compiled-pattern cache.
    const std::tuple<const char*, const char*, bool> matches[] = {{"abc123", "[a-z]+\\d+", true},
                                                                  {"abc123x", "[a-z]+\\d+", false},
                                                                  {"AbC", "(?i)abc", true},
                                                                  {"x1", "[a-z]", false},
                                                                  {"x1", "[a-z]\\d", true}};
    for (const auto& [text, pattern, match] : matches) EXPECT_EQ(String(text).RegexMatch(pattern), match) << pattern;
    for (const char* bad : {"(unclosed", "[z-a]"}) {
        std::unique_ptr<dovo::Exception> e; // the matcher's own reason is the debug message
        EXPECT_EQ(Thrown([&] { String("a").RegexMatch(bad); }, &e),
                  SFormat("String|RegexMatch|0x20000004|0|1|Invalid regular expression \"%s\"", bad).str());
        EXPECT_FALSE(e && e->DebugMessage().Empty()) << bad;
    }
    EXPECT_TRUE(String("a").RegexMatch("a")); // still usable after a bad pattern
}

TEST(String, Searches)
{
    // {text, argument, forward start, backward start (negative: from the end), "Find|FindNoCase|FindOneOf|
    // FindOneNotOf|ReverseFind|ReverseFindOneOf|ReverseFindOneNotOf"}: FindNoCase of "" is -1, not 0.
    const std::tuple<String, const char*, std::size_t, int, const char*> rows[] = {
        {"abcabc", "Bc", 0, -2, "-1|1|2|0|-1|5|4"},  {"abcabc", "bc", 2, 1000, "4|4|2|3|4|5|3"},
        {"abcabc", "bc", 5, 3, "-1|-1|5|-1|1|2|3"},  {"abcabc", "bc", 6, 0, "-1|-1|-1|-1|-1|-1|0"},
        {"abcabc", "abc", 0, -1, "0|0|0|-1|3|5|-1"}, {"abcabc", "ABCABCX", 0, -1, "-1|-1|-1|0|-1|-1|5"},
        {"abcabc", "", 0, -1, "0|-1|-1|0|6|-1|5"},   {"xxA", "a", 2, 1, "-1|2|-1|2|-1|-1|1"}};
    for (const auto& [s, arg, first, last, results] : rows)
        EXPECT_EQ(results, Joined(s.Find(arg, first), s.FindNoCase(arg, first), s.FindOneOf(arg, first),
                                  s.FindOneNotOf(arg, first), s.ReverseFind(arg, last), s.ReverseFindOneOf(arg, last),
                                  s.ReverseFindOneNotOf(arg, last)))
            << Joined(s, arg, first, last);
    // {text, argument, "Contains|ContainsOneOf|StartsWith|EndsWith|StartsWithOneOf|EndsWithOneOf"}
    const std::tuple<String, const char*, const char*> tests[] = {
        {"abcabc", "zc", "0|1|0|0|0|1"},  {"abcabc", "", "1|0|1|1|0|0"},   {"abcabc", "cabc", "1|1|0|1|1|1"},
        {"abc", "abcabc", "0|1|0|0|1|1"}, {"abcabc", "xa", "0|1|0|0|1|0"}, {"abcabc", "C", "0|0|0|0|0|0"}};
    for (const auto& [s, arg, results] : tests)
        EXPECT_EQ(results, Joined(s.Contains(arg), s.ContainsOneOf(arg), s.StartsWith(arg), s.EndsWith(arg),
                                  s.StartsWithOneOf(arg), s.EndsWithOneOf(arg)))
            << Joined(s, arg);
}

TEST(String, Cuts)
{
    // {n, count, "Left(n)|Right(n)|Mid(n, count)"} of "abc": Right past the length is empty, not the whole text.
    const std::tuple<std::size_t, int, const char*> ends[] = {
        {0, -1, "||abc"}, {1, 1, "a|c|b"}, {1, 100, "a|c|bc"}, {3, -1, "abc|abc|"}, {npos, -1, "abc||"}};
    const String abc("abc");
    for (const auto& [n, count, results] : ends)
        EXPECT_EQ(results, Joined(abc.Left(n), abc.Right(n), abc.Mid(n, count))) << Joined(n, count);

    // {text, separator, include, forward start, backward start, "LeftFirst|LeftLast|RightFirst|RightLast"}
    // (a separator not found gives the whole text)
    const std::tuple<String, const char*, bool, std::size_t, int, const char*> cuts[] = {
        {"a.b.c", ".", false, 2, 2, "a.b|a|c|b.c"},
        {"a.b", ".", true, 100, 0, "a.b|a.b|a.b|a.b"},
        {"x::y::z", "::", false, 0, -1, "x|x::y|y::z|z"},
        {"x::y::z", "::", true, 0, -1, "x::|x::y::|::y::z|::z"},
        {"a.b", "", false, 0, -1, "a.b|a.b|a.b|a.b"}};
    for (const auto& [s, sep, include, first, last, results] : cuts)
        EXPECT_EQ(results, Joined(s.LeftFirst(sep, include, first), s.LeftLast(sep, include, last),
                                  s.RightFirst(sep, include, first), s.RightLast(sep, include, last)))
            << Joined(s, sep, include, first, last);

    // {bytes, forward start, backward start, "LeftFirst|RightFirst|LeftLast|RightLast" of the OneOf forms, then of
    // the OneNotOf forms} of "  k = v  ": the byte found is never included.
    const std::tuple<const char*, std::size_t, int, const char*> oneOf[] = {
        {" ", 0, -1, "| k = v  |  k = v ||  | = v  |  k = |  "},
        {"=:", 0, -1, "  k | v  |  k | v  || k = v  |  k = v |"},
        {"=", 5, 3, "  k = v  |  k = v  |  k = v  |  k = v  |  k =|v  |  k|= v  "},
        {"", 0, -1, "  k = v  |  k = v  |  k = v  |  k = v  || k = v  |  k = v |"}};
    const String kv("  k = v  ");
    for (const auto& [chars, first, last, results] : oneOf)
        EXPECT_EQ(results, Joined(kv.LeftFirstOneOf(chars, first), kv.RightFirstOneOf(chars, first),
                                  kv.LeftLastOneOf(chars, last), kv.RightLastOneOf(chars, last),
                                  kv.LeftFirstOneNotOf(chars, first), kv.RightFirstOneNotOf(chars, first),
                                  kv.LeftLastOneNotOf(chars, last), kv.RightLastOneNotOf(chars, last)))
            << Joined(chars, first, last);
}

TEST(String, EditingTrimmingAndCase)
{
    // Positions past the end change nothing or append.
    EXPECT_EQ(Joined(String("abc").Insert(1, "XY"), String("abc").Insert(100, "!"), String("aXYbc").Delete(1, 2),
                     String("abc").Delete(100, 2), String("abc!").Delete(2, 100), Erased("abcdef", 2, -1),
                     Erased("ab", 0, 1), Erased("b", 5, 1), String("abcdef").Replace(1, 2, "_"),
                     String("a_def").Replace(100, 2, "!"), String("a,b;c").ReplaceAny(",;", " / "),
                     String("a / b / c").ReplaceAny(" /", ""), String("abc").ReplaceAny("", "x")),
              "aXYbc|abc!|abc|abc|ab|ab|b|b|a_def|a_def!|a / b / c|abc|abc");
    // {text, old, with, case-sensitive, result}: left to right, no overlaps, a replacement never searched again.
    const std::tuple<String, const char*, const char*, bool, const char*> replaces[] = {
        {"aaa", "aa", "b", true, "ba"},  {"a.a", "a", "aa", true, "aa.aa"}, {"a.a", "", "x", true, "a.a"},
        {"a.a", "", "x", false, "a.a"},  {"a.a", "A", "b", true, "a.a"},    {"AaA", "aa", "b", false, "bA"},
        {"xX", "XXX", "y", false, "xX"}, {"xX", "x", "Xx", false, "XxXx"}};
    for (const auto& [text, old, with, caseSensitive, result] : replaces)
        EXPECT_EQ(String(text).Replace(old, with, caseSensitive), result) << Joined(text, old, caseSensitive);

    const String space(" \t\r\n\v\fa b\f\v\n\r\t "); // every whitespace byte on both ends
    EXPECT_EQ(Joined(String(space).Trim(), String(space).TrimLeft(), String(space).TrimRight(), String("   ").Trim()),
              "a b|a b\f\v\n\r\t | \t\r\n\v\fa b|");
    // {text, bytes to trim, "Trim|TrimLeft|TrimRight"}
    const std::tuple<String, const char*, const char*> trims[] = {
        {"abc", "", "abc|abc|abc"}, {"xxx", "x", "||"}, {"xyaxy", "yx", "a|axy|xya"}};
    for (const auto& [s, chars, results] : trims)
        EXPECT_EQ(results, Joined(String(s).Trim(chars), String(s).TrimLeft(chars), String(s).TrimRight(chars)))
            << Joined(s, chars);

    // Without a separator, spaces start words.
    const String mixed("MiXeD 1");
    EXPECT_EQ(Joined(mixed.to_lower(), mixed.to_upper(), String(mixed).MakeLower(), String(mixed).MakeUpper(), mixed,
                     String("hELLO wORLD").MakeWordUpper(), String("content-TYPE").MakeWordUpper('-'),
                     String("a\tb\nc  d").MakeWordUpper(), String("x-y z").MakeWordUpper('-')),
              "mixed 1|MIXED 1|mixed 1|MIXED 1|MiXeD 1|Hello World|Content-Type|A\tB\nC  D|X-Y z");
}

TEST(String, Conversions)
{
    // {text, base, "Int|Uint"}: the runtime's conversions with a 32-bit long, as on Windows, saturating.
    // clang-format off
    const std::tuple<String, int, const char*> ints[] = {
        {"+7", 10, "7|7"}, {"0x1F", 16, "31|31"}, {"0x1F", 0, "31|31"}, {"017", 0, "15|15"}, {"z", 36, "35|35"}, {"12", 1, "0|0"},
        {"- 5", 10, "0|0"}, {"  -42abc", 10, "-42|4294967254"}, {"2147483648", 10, "2147483647|2147483648"},
        {"-99999999999", 10, "-2147483648|4294967295"}, {"4294967296", 10, "2147483647|4294967295"}};
    // clang-format on
    for (const auto& [s, base, results] : ints)
        EXPECT_EQ(results, Joined(s.Int(base), s.Uint(base))) << Joined(s, base);
    // {text, "Int64|Uint64"}: Int64 decimal only and saturating; Uint64 without a sign, with "0x" and a leading '0'
    // for octal (where '9' still counts), wrapping.
    // clang-format off
    const std::pair<String, const char*> wide[] = {
        {"9223372036854775808", "9223372036854775807|9223372036854775808"},
        {"18446744073709551616", "9223372036854775807|0"}, {"  0x1fZ", "0|31"}, {"017", "17|15"}, {"09", "9|9"},
        {"-5", "-5|0"}};
    // clang-format on
    for (const auto& [s, results] : wide) EXPECT_EQ(results, Joined(s.Int64(), s.Uint64())) << s;

    EXPECT_EQ(Joined(String("2.5e3x").Float64(), String("").Float64(), String("-0.25").Float32()), "2500|0|-0.25");
    for (const char* yes : {"Yes", "ON", "True", "0x10", "7 dwarves"}) EXPECT_TRUE(String(yes).Bool()) << yes;
    for (const char* no : {"", "Off", "0", "abc", "0x", "-1"}) EXPECT_FALSE(String(no).Bool()) << no;
}

TEST(StringFormat, AgreesWithTheRuntime)
{
    // The reference formatter is glibc's. mingw-w64's is no faithful reference (it drops widths with %g and applies
    // ' ' to unsigned conversions); the literal cases below run on every platform.
    if (OnWindows()) GTEST_SKIP() << "the C runtime here is no reference formatter";
    ExpectAsTheReference<long long>({"lld", "lli", "llu", "llo", "llx", "llX"},
                                    {0, -1, 42, 4096, LLONG_MAX, LLONG_MIN});
    ExpectAsTheReference<int>({"d", "i", "u", "o", "x", "X"}, {0, -5, 123456, INT_MIN}); // narrowed to int
    ExpectAsTheReference<double>({"f", "F", "e", "E", "g", "G"},
                                 {0.0, -0.0, -1.5, 0.1, 2.5, 3.5, 1e-5, 123456.789, 1e16, 1e100, -1e-300, 9.9999,
                                  999999.5, DBL_MAX, DBL_TRUE_MIN, 1.0 / 3, 1.25e-7, INFINITY, -INFINITY});
    ExpectAsTheReference<const char*>({"s"}, {"", "hello", "a long text of more than 25 characters"});
    for (const char* directive : {"%f", "%e", "%g", "%10.3F", "%-8G", "%+E", "%010f"}) // a NaN's sign is the platform's
        EXPECT_EQ(SFormat(directive, NAN).Replace("-", " "), String(Reference(directive, NAN)).Replace("-", " "))
            << directive;
}

// What the reference test covers (integers, doubles, flags, widths, precisions) is left to it: the same engine prints
// on both platforms. These are the forms it does not reach, or that the Windows runtime prints its own way.
TEST(StringFormat, SameTextOnEveryPlatform)
{
    const char unterminated[3] = {'a', 'b', 'c'}; // a precision bounds what is read
    const std::pair<String, const char*> rows[] = {
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
    for (std::size_t n : {190u, 191u, 510u, 511u, 100000u})
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
        {5, 4, false, false, "0005"},
        {31, 8, true, true, "0x0000001F"},
        {0, 0, true, false, "0x0"},
        {UINT64_MAX, 20, true, false, "0x0000ffffffffffffffff"}};
    for (const auto& [value, width, prefix, upper, result] : hex)
        EXPECT_EQ(String("=").AppendHex(value, width, prefix, upper), String("=") + result) << result;
    // {value, width, fill, result}: the fill goes before the sign, as a standard stream's default (right) alignment
    // puts it.
    const std::tuple<std::int64_t, int, char, const char*> decimal[] = {
        {-5, 4, '0', "00-5"}, {42, 1, '0', "42"}, {42, -3, '0', "42"}, {INT64_MIN, 0, ' ', "-9223372036854775808"}};
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
        {"a-b-c-d", 3, "/", "-", 3, "a-/b-/c-d"},
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
