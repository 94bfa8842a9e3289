#include <dovo/Exception.h>
#include <dovo/String.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <sstream>
#include <tuple>

using dovo::String;

namespace {

constexpr std::size_t npos = std::string::npos;

// The results of one table row's calls as one text, "a|b|c", so that a row is checked in one go.
template <typename... T>
std::string Results(const T&... values)
{
    std::ostringstream out;
    const char* separator = "";
    ((out << separator << values, separator = "|"), ...);
    return out.str();
}

// Runs call, which must throw a library exception: "module|method|0xerror|has a debug message|message".
template <typename F>
std::string Thrown(F call)
{
    try {
        call();
    } catch (dovo::Exception* e) {
        const std::unique_ptr<dovo::Exception> owned(e);
        return Results(e->Module(), e->Method(), dovo::SFormat("0x%x", e->Error()), !e->DebugMessage().Empty(),
                       e->Message());
    }
    return "nothing thrown";
}

String Erased(String s, std::size_t pos, int count) { return s.Erase(pos, count), s; }

} // namespace

TEST(String, ConstructionAssignmentAndBuffers)
{
    const String withNul("a\0b", 3); // a sized text keeps its NUL bytes
    // "%g": two exponent digits on every platform; a float is widened to double first.
    EXPECT_EQ(Results(withNul.Length(), withNul == String("a\0c", 3), String('x', 4),
                      String(static_cast<const char*>(nullptr)).Empty(), String() = 1e10, String() = 0.1f,
                      String("x") = static_cast<const char*>(nullptr)),
              "3|0|xxxx|1|1e+10|0.1|");
    String s("a"), t("one");
    s += std::string("b");
    s += static_cast<const char*>(nullptr);
    s.Swap(t);
    static_cast<std::string&>(s) += "!"; // the standard string underneath, for standard algorithms
    EXPECT_EQ(Results(s + t + "c" + 'd', "x" + t), "one!abcd|xab");
    EXPECT_EQ(t.Copy("xyz", 2), "xy");

    s = std::string(1000, 'x');
    const std::size_t capacity = s.str().capacity();
    s.Clear(false);
    const bool kept = s.Empty() && s.str().capacity() == capacity;
    s.GetBufferSetLength(1000);
    s.Clear(true);
    EXPECT_EQ(Results(kept, s.Empty() && s.str().capacity() < 100), "1|1"); // the block is kept, then released

    s = "abc";
    s.GetBuffer(2)[0] = 'A'; // never shortens
    s.GetBuffer(5);          // extends with NULs
    EXPECT_EQ(s, String("Abc\0\0", 5));
    s.GetBufferSetLength(1);
    const String& constant = s;
    EXPECT_EQ(Results(constant, constant[0], constant[100] == '\0'), "A|A|1");
    for (std::size_t past : {std::size_t{1}, npos})
        EXPECT_EQ(Thrown([&] { s[past] = 'x'; }), "String|operator[]|0x20000005|0|Requested index " +
                                                      std::to_string(past) + " is beyond current limit 1");
    EXPECT_EQ(s, "A");
}

TEST(String, ComparisonsAndRegex)
{
    // {a, b, "a < b|Compare|CompareNoCase|%="}: byte-wise operators; an explicit rule for empty texts.
    const std::tuple<String, const char*, const char*> rows[] = {
        {"", "", "0|0|0|1"},           {"", "a", "1|-1|-1|0"},      {"A", "", "0|1|1|0"},
        {"ab", "abc", "1|-1|-1|0"},    {"abc", "ab", "0|1|1|0"},    {"B", "a", "1|-1|1|0"},
        {"abc", "ABC", "0|1|0|1"},     {"ABC", "abd", "1|-1|-1|0"}, {"abc", "abc", "0|0|0|1"},
        {"Hello", "hELLO", "1|-1|0|1"}};
    for (const auto& [a, b, results] : rows)
        EXPECT_EQ(results, Results(a < String(b), a.Compare(b), a.CompareNoCase(b), a %= b)) << Results(a, b);
    const std::map<String, int, String::ciless> names{{"Alpha", 1}, {"ALPHA", 2}, {"beta", 3}};
    EXPECT_EQ(Results(String("\x7f") < String("\x80"), names.size(), names.at("alpha"), names.begin()->first),
              "1|2|1|Alpha");

    // The whole text must match. In this order: alternating patterns must not confuse the compiled-pattern cache.
    const std::tuple<const char*, const char*, bool> matches[] = {
        {"abc123", "[a-z]+\\d+", true}, {"abc123x", "[a-z]+\\d+", false}, {"AbC", "(?i)abc", true},
        {"", "[a-z]*\\d*", true},       {"x1", "[a-z]\\d", true},         {"x1", "[a-z]", false},
        {"x1", "[a-z]\\d", true}};
    for (const auto& [text, pattern, match] : matches) EXPECT_EQ(String(text).RegexMatch(pattern), match) << pattern;
    for (const char* bad : {"(unclosed", "[z-a]", "*", "a{2,1}", "\\"}) {
        const String thrown = Thrown([&] { String("a").RegexMatch(bad); });
        EXPECT_TRUE(thrown.StartsWith("String|RegexMatch|0x20000004|1|") && thrown.Contains(bad)) << thrown;
    }
    EXPECT_TRUE(String("a").RegexMatch("a")); // still usable after a bad pattern
}

TEST(String, Searches)
{
    // {text, argument, forward start, backward start (negative: from the end), "Find|FindNoCase|FindOneOf|
    // FindOneNotOf|ReverseFind|ReverseFindOneOf|ReverseFindOneNotOf"}: FindNoCase of "" is -1, not 0.
    const std::tuple<String, const char*, std::size_t, int, const char*> rows[] = {
        {"abcabc", "bc", 0, -1, "1|1|1|0|4|5|3"},       {"abcabc", "Bc", 0, -2, "-1|1|2|0|-1|5|4"},
        {"abcabc", "bc", 2, 1000, "4|4|2|3|4|5|3"},     {"abcabc", "BC", 2, -1, "-1|4|-1|2|-1|-1|5"},
        {"abcabc", "bc", 5, 3, "-1|-1|5|-1|1|2|3"},     {"abcabc", "bc", 1000, 4, "-1|-1|-1|-1|4|4|3"},
        {"abcabc", "bc", 6, 0, "-1|-1|-1|-1|-1|-1|0"},  {"abcabc", "a", 3, 2, "3|3|3|4|0|0|2"},
        {"abcabc", "xc", 3, -1, "-1|-1|5|3|-1|5|4"},    {"abcabc", "abc", 0, -1, "0|0|0|-1|3|5|-1"},
        {"abcabc", "CABC", 0, -1, "-1|2|-1|0|-1|-1|5"}, {"abcabc", "ABCABCX", 0, -1, "-1|-1|-1|0|-1|-1|5"},
        {"abcabc", "", 0, -1, "0|-1|-1|0|6|-1|5"},      {"", "a", 0, -1, "-1|-1|-1|-1|-1|-1|-1"},
        {"xxA", "a", 2, 1, "-1|2|-1|2|-1|-1|1"}};
    for (const auto& [s, arg, first, last, results] : rows)
        EXPECT_EQ(results, Results(s.Find(arg, first), s.FindNoCase(arg, first), s.FindOneOf(arg, first),
                                   s.FindOneNotOf(arg, first), s.ReverseFind(arg, last), s.ReverseFindOneOf(arg, last),
                                   s.ReverseFindOneNotOf(arg, last)))
            << Results(s, arg, first, last);
    // {text, argument, "Contains|ContainsOneOf|StartsWith|EndsWith|StartsWithOneOf|EndsWithOneOf"}
    const std::tuple<String, const char*, const char*> tests[] = {
        {"abcabc", "ca", "1|1|0|0|1|1"},  {"abcabc", "zc", "0|1|0|0|0|1"},   {"abcabc", "", "1|0|1|1|0|0"},
        {"abcabc", "abc", "1|1|1|1|1|1"}, {"abcabc", "cabc", "1|1|0|1|1|1"}, {"abc", "abcabc", "0|1|0|0|1|1"},
        {"abcabc", "xa", "0|1|0|0|1|0"},  {"", "a", "0|0|0|0|0|0"},          {"abcabc", "C", "0|0|0|0|0|0"}};
    for (const auto& [s, arg, results] : tests)
        EXPECT_EQ(results, Results(s.Contains(arg), s.ContainsOneOf(arg), s.StartsWith(arg), s.EndsWith(arg),
                                   s.StartsWithOneOf(arg), s.EndsWithOneOf(arg)))
            << Results(s, arg);
}

TEST(String, Cuts)
{
    // {n, count, "Left(n)|Right(n)|Mid(n, count)"} of "abc": Right past the length is empty, not the whole text.
    const std::tuple<std::size_t, int, const char*> ends[] = {{0, -1, "||abc"},   {1, 1, "a|c|b"},
                                                              {1, 100, "a|c|bc"}, {3, -1, "abc|abc|"},
                                                              {5, -1, "abc||"},   {npos, -1, "abc||"}};
    const String abc("abc");
    for (const auto& [n, count, results] : ends)
        EXPECT_EQ(results, Results(abc.Left(n), abc.Right(n), abc.Mid(n, count))) << Results(n, count);

    // {text, separator, include, forward start, backward start, "LeftFirst|LeftLast|RightFirst|RightLast"}
    // (a separator not found gives the whole text)
    const std::tuple<String, const char*, bool, std::size_t, int, const char*> cuts[] = {
        {"a.b.c", ".", false, 0, -1, "a|a.b|b.c|c"},      {"a.b.c", ".", false, 2, 2, "a.b|a|c|b.c"},
        {"a.b", "a.b.", true, 0, -1, "a.b|a.b|a.b|a.b"},  {"a.b", ".", true, 100, 0, "a.b|a.b|a.b|a.b"},
        {"x::y::z", "::", false, 0, -1, "x|x::y|y::z|z"}, {"x::y::z", "::", true, 0, -1, "x::|x::y::|::y::z|::z"},
        {"a.b", "", false, 0, -1, "a.b|a.b|a.b|a.b"}};
    for (const auto& [s, sep, include, first, last, results] : cuts)
        EXPECT_EQ(results, Results(s.LeftFirst(sep, include, first), s.LeftLast(sep, include, last),
                                   s.RightFirst(sep, include, first), s.RightLast(sep, include, last)))
            << Results(s, sep, include, first, last);

    // {bytes, forward start, backward start, "LeftFirst|RightFirst|LeftLast|RightLast" of the OneOf forms, then of
    // the OneNotOf forms} of "  k = v  ": the byte found is never included.
    const std::tuple<const char*, std::size_t, int, const char*> oneOf[] = {
        {" ", 0, -1, "| k = v  |  k = v ||  | = v  |  k = |  "},
        {"=:", 0, -1, "  k | v  |  k | v  || k = v  |  k = v |"},
        {"=", 5, 3, "  k = v  |  k = v  |  k = v  |  k = v  |  k =|v  |  k|= v  "},
        {"", 0, -1, "  k = v  |  k = v  |  k = v  |  k = v  || k = v  |  k = v |"}};
    const String kv("  k = v  ");
    for (const auto& [chars, first, last, results] : oneOf)
        EXPECT_EQ(results, Results(kv.LeftFirstOneOf(chars, first), kv.RightFirstOneOf(chars, first),
                                   kv.LeftLastOneOf(chars, last), kv.RightLastOneOf(chars, last),
                                   kv.LeftFirstOneNotOf(chars, first), kv.RightFirstOneNotOf(chars, first),
                                   kv.LeftLastOneNotOf(chars, last), kv.RightLastOneNotOf(chars, last)))
            << Results(chars, first, last);
}

TEST(String, EditingTrimmingAndCase)
{
    // Positions past the end change nothing or append.
    EXPECT_EQ(Results(String("abc").Insert(1, "XY"), String("abc").Insert(100, "!"), String("aXYbc").Delete(1, 2),
                      String("abc").Delete(100, 2), String("abc!").Delete(2, 100), Erased("abcdef", 2, -1),
                      Erased("ab", 0, 1), Erased("b", 5, 1), String("abcdef").Replace(1, 2, "_"),
                      String("a_def").Replace(100, 2, "!"), String("a,b;c").ReplaceAny(",;", " / "),
                      String("a / b / c").ReplaceAny(" /", ""), String("abc").ReplaceAny("", "x")),
              "aXYbc|abc!|abc|abc|ab|ab|b|b|a_def|a_def!|a / b / c|abc|abc");
    // {text, old, with, case-sensitive, result}: left to right, no overlaps, a replacement never searched again.
    const std::tuple<String, const char*, const char*, bool, const char*> replaces[] = {
        {"aaa", "aa", "b", true, "ba"},  {"a.a", "a", "aa", true, "aa.aa"}, {"a.a", "", "x", true, "a.a"},
        {"a.a", "", "x", false, "a.a"},  {"a.a", "A", "b", true, "a.a"},    {"a.a", "A", "b", false, "b.b"},
        {"AaA", "aa", "b", false, "bA"}, {"xX", "XXX", "y", false, "xX"},   {"xX", "x", "Xx", false, "XxXx"},
        {"Hi HI", "hi", "", false, " "}};
    for (const auto& [text, old, with, caseSensitive, result] : replaces)
        EXPECT_EQ(String(text).Replace(old, with, caseSensitive), result) << Results(text, old, caseSensitive);

    const String space(" \t\r\n\v\fa b\f\v\n\r\t "); // every whitespace byte on both ends
    EXPECT_EQ(Results(String(space).Trim(), String(space).TrimLeft(), String(space).TrimRight(), String("   ").Trim()),
              "a b|a b\f\v\n\r\t | \t\r\n\v\fa b|");
    // {text, bytes to trim, "Trim|TrimLeft|TrimRight"}
    const std::tuple<String, const char*, const char*> trims[] = {{"xxaxbxx", "x", "axb|axbxx|xxaxb"},
                                                                  {"abc", "", "abc|abc|abc"},
                                                                  {"xxx", "x", "||"},
                                                                  {"xyaxy", "yx", "a|axy|xya"},
                                                                  {"", "x", "||"}};
    for (const auto& [s, chars, results] : trims)
        EXPECT_EQ(results, Results(String(s).Trim(chars), String(s).TrimLeft(chars), String(s).TrimRight(chars)))
            << Results(s, chars);

    // Without a separator, spaces start words.
    const String mixed("MiXeD 1");
    EXPECT_EQ(Results(mixed.to_lower(), mixed.to_upper(), String(mixed).MakeLower(), String(mixed).MakeUpper(), mixed,
                      String("hELLO wORLD").MakeWordUpper(), String("content-TYPE").MakeWordUpper('-'),
                      String("a\tb\nc  d").MakeWordUpper(), String("x-y z").MakeWordUpper('-')),
              "mixed 1|MIXED 1|mixed 1|MIXED 1|MiXeD 1|Hello World|Content-Type|A\tB\nC  D|X-Y z");
}

TEST(String, Conversions)
{
    // {text, base, "Int|Uint"}: the runtime's conversions with a 32-bit long, as on Windows, saturating.
    using IntRows = std::initializer_list<std::tuple<String, int, const char*>>;
    const IntRows ints = {{"", 10, "0|0"},    {"+7", 10, "7|7"},    {"0x1F", 16, "31|31"},
                          {"0x", 16, "0|0"},  {"0x1F", 0, "31|31"}, {"017", 0, "15|15"},
                          {"z", 36, "35|35"}, {"12", 1, "0|0"},     {"- 5", 10, "0|0"}};
    const IntRows saturated = {{"  -42abc", 10, "-42|4294967254"},
                               {"2147483648", 10, "2147483647|2147483648"},
                               {"99999999999", 10, "2147483647|4294967295"},
                               {"-99999999999", 10, "-2147483648|4294967295"},
                               {"-2147483648", 10, "-2147483648|2147483648"},
                               {"4294967296", 10, "2147483647|4294967295"},
                               {"ffffffff", 16, "2147483647|4294967295"}};
    for (const IntRows& rows : {ints, saturated})
        for (const auto& [s, base, results] : rows)
            EXPECT_EQ(results, Results(s.Int(base), s.Uint(base))) << Results(s, base);
    // {text, "Int64|Uint64"}: Int64 decimal only and saturating; Uint64 without a sign, with "0x" and a leading '0'
    // for octal (where '9' still counts), wrapping.
    using WideRows = std::initializer_list<std::pair<String, const char*>>;
    const WideRows wide = {{"-9223372036854775808", "-9223372036854775808|0"},
                           {"9223372036854775808", "9223372036854775807|9223372036854775808"},
                           {"18446744073709551616", "9223372036854775807|0"}};
    const WideRows narrow = {{"0x10", "0|16"}, {"  0x1fZ", "0|31"}, {"0X", "0|0"},     {"017", "17|15"},
                             {"09", "9|9"},    {"-5", "-5|0"},      {"12 34", "12|12"}};
    for (const WideRows& rows : {wide, narrow})
        for (const auto& [s, results] : rows) EXPECT_EQ(results, Results(s.Int64(), s.Uint64())) << s;

    EXPECT_EQ(Results(String("2.5e3x").Float64(), String("").Float64(), String("-0.25").Float32()), "2500|0|-0.25");
    for (const char* yes : {"Yes", "ON", "True", "2", "0x10", "7 dwarves"}) EXPECT_TRUE(String(yes).Bool()) << yes;
    for (const char* no : {"", "Off", "0", "no", "FALSE", "abc", "0x", "-1"}) EXPECT_FALSE(String(no).Bool()) << no;
}
