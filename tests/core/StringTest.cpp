#include <dovo/Exception.h>
#include <dovo/String.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>

using dovo::String;

TEST(String, ConstructionAndAssignment)
{
    EXPECT_TRUE(String(static_cast<const char*>(nullptr)).Empty());
    const String withNul("a\0b", 3);
    EXPECT_EQ(withNul.Length(), 3);
    EXPECT_EQ(withNul[1], '\0');
    EXPECT_EQ(String('x', 4), "xxxx");
    EXPECT_EQ(String('x', 0), "");

    String s;
    s = 0.1;
    EXPECT_EQ(s, "0.1");
    s = 1e10;
    EXPECT_EQ(s, "1e+10"); // two exponent digits on every platform
    s = 0.1f;              // widened to double first, printed with six significant digits
    EXPECT_EQ(s, "0.1");
    s = static_cast<const char*>(nullptr);
    EXPECT_EQ(s, "");

    s = "ab";
    s += String("c");
    s += std::string("d");
    s += "e";
    s += 'f';
    s += static_cast<const char*>(nullptr);
    EXPECT_EQ(s, "abcdef");
    EXPECT_EQ(s.Copy("xyz", 2), "xy");
    EXPECT_EQ(String("a") + "b" + String("c") + 'd', "abcd");

    String a("one"), b("two");
    a.Swap(b);
    EXPECT_EQ(a, "two");
    EXPECT_EQ(b, "one");

    // The standard string underneath is reachable for standard algorithms.
    std::string& raw = a;
    raw += "!";
    EXPECT_EQ(a, "two!");
}

TEST(String, ClearReleasesOrKeepsTheBlock)
{
    String s(std::string(1000, 'x'));
    const std::size_t capacity = static_cast<const std::string&>(s).capacity();
    s.Clear(false);
    EXPECT_TRUE(s.Empty());
    EXPECT_EQ(static_cast<const std::string&>(s).capacity(), capacity);
    s = String(std::string(1000, 'x'));
    s.Clear(true);
    EXPECT_TRUE(s.Empty());
    EXPECT_LT(static_cast<const std::string&>(s).capacity(), 100u);
}

TEST(String, BuffersAndPositionsPastTheEnd)
{
    String s("abc");
    char* p = s.GetBuffer(2); // never shortens
    EXPECT_EQ(s.Length(), 3);
    p[0] = 'A';
    EXPECT_EQ(s, "Abc");
    s.GetBuffer(5); // extends with NULs
    EXPECT_EQ(s, String("Abc\0\0", 5));
    s.GetBufferSetLength(1);
    EXPECT_EQ(s, "A");

    const String& constant = s;
    EXPECT_EQ(constant[0], 'A');
    EXPECT_EQ(constant[100], '\0');
    for (std::size_t past : {std::size_t{1}, static_cast<std::size_t>(-1)}) {
        try {
            s[past] = 'x';
            ADD_FAILURE() << "no exception for position " << past;
        } catch (dovo::Exception* e) {
            std::unique_ptr<dovo::Exception> owned(e);
            EXPECT_EQ(e->Module(), "String");
            EXPECT_EQ(e->Error(), 0x20000005);
            EXPECT_TRUE(e->Message().EndsWith("is beyond current limit 1")) << e->Message();
        }
    }
    EXPECT_EQ(s, "A");
}

TEST(String, Comparisons)
{
    EXPECT_TRUE(String("ab") < String("abc"));
    EXPECT_FALSE(String("abc") < String("ab"));
    EXPECT_TRUE(String("B") < String("a")); // byte-wise and case-sensitive
    EXPECT_TRUE(String("\x7f") < String("\x80"));
    EXPECT_NE(String("a\0b", 3), String("a\0c", 3));

    EXPECT_EQ(String("").Compare(""), 0);
    EXPECT_EQ(String("").Compare("a"), -1);
    EXPECT_EQ(String("a").Compare(""), 1);
    EXPECT_EQ(String("a").Compare("b"), -1);
    EXPECT_EQ(String("b").Compare("a"), 1);
    EXPECT_EQ(String("abc").Compare("abc"), 0);
    EXPECT_EQ(String("ABC").CompareNoCase("abd"), -1);
    EXPECT_EQ(String("abc").CompareNoCase("ABC"), 0);
    EXPECT_EQ(String("").CompareNoCase("A"), -1);
    EXPECT_EQ(String("A").CompareNoCase(""), 1);

    EXPECT_TRUE(String("") %= String(""));
    EXPECT_FALSE(String("") %= String("a"));
    EXPECT_FALSE(String("a") %= String(""));
    EXPECT_TRUE(String("Hello") %= String("hELLO"));
    EXPECT_FALSE(String("Hello") %= String("Hell"));

    std::map<String, int, String::ciless> names;
    names["Alpha"] = 1;
    names["ALPHA"] = 2;
    names["beta"] = 3;
    EXPECT_EQ(names.size(), 2u);
    EXPECT_EQ(names["alpha"], 2);
    EXPECT_EQ(names.begin()->first, "Alpha");
}

TEST(String, RegexMatchesTheWholeText)
{
    EXPECT_TRUE(String("abc123").RegexMatch("[a-z]+\\d+"));
    EXPECT_FALSE(String("abc123x").RegexMatch("[a-z]+\\d+")); // a substring match is not enough
    EXPECT_TRUE(String("").RegexMatch(".*"));
    EXPECT_TRUE(String("AbC").RegexMatch("(?i)abc"));
    // Alternating patterns must not be confused by the compiled-pattern cache.
    EXPECT_TRUE(String("x").RegexMatch("x"));
    EXPECT_FALSE(String("x").RegexMatch("y"));
    EXPECT_TRUE(String("x").RegexMatch("x"));
    for (const char* bad : {"(unclosed", "[z-a]", "*", "a{2,1}", "\\"}) {
        try {
            String("a").RegexMatch(bad);
            ADD_FAILURE() << "no exception for " << bad;
        } catch (dovo::Exception* e) {
            std::unique_ptr<dovo::Exception> owned(e);
            EXPECT_EQ(e->Method(), "RegexMatch");
            EXPECT_EQ(e->Error(), 0x20000004);
            EXPECT_TRUE(e->Message().Contains(bad)) << e->Message();
            EXPECT_FALSE(e->DebugMessage().Empty());
        }
    }
    EXPECT_TRUE(String("a").RegexMatch("a")); // still usable after a bad pattern
}

TEST(String, ForwardAndBackwardSearches)
{
    const String s("abcabc");
    EXPECT_EQ(s.Find("bc"), 1);
    EXPECT_EQ(s.Find("bc", 2), 4);
    EXPECT_EQ(s.Find("bc", 5), -1);
    EXPECT_EQ(s.Find("bc", 1000), -1);
    EXPECT_EQ(s.Find("x"), -1);

    EXPECT_EQ(s.FindNoCase("BC"), 1);
    EXPECT_EQ(s.FindNoCase("BC", 2), 4);
    EXPECT_EQ(s.FindNoCase(""), -1); // not 0
    EXPECT_EQ(String("").FindNoCase("a"), -1);
    EXPECT_EQ(s.FindNoCase("a", 6), -1);
    EXPECT_EQ(s.FindNoCase("ABCABCX"), -1);
    EXPECT_EQ(s.FindNoCase("CABC"), 2);
    EXPECT_EQ(String("xxA").FindNoCase("a", 2), 2); // a match on the last byte

    EXPECT_EQ(s.ReverseFind("bc"), 4);
    EXPECT_EQ(s.ReverseFind("bc", 3), 1);
    EXPECT_EQ(s.ReverseFind("bc", 4), 4);
    EXPECT_EQ(s.ReverseFind("bc", 0), -1);
    EXPECT_EQ(s.ReverseFind("bc", 1000), 4);

    EXPECT_EQ(s.FindOneOf("xc"), 2);
    EXPECT_EQ(s.FindOneOf("xc", 3), 5);
    EXPECT_EQ(s.FindOneOf(""), -1);
    EXPECT_EQ(s.FindOneNotOf("ab"), 2);
    EXPECT_EQ(s.FindOneNotOf("abc"), -1);
    EXPECT_EQ(s.ReverseFindOneOf("a"), 3);
    EXPECT_EQ(s.ReverseFindOneOf("a", 2), 0);
    EXPECT_EQ(s.ReverseFindOneNotOf("c"), 4);
    EXPECT_EQ(s.ReverseFindOneNotOf("abc"), -1);

    EXPECT_TRUE(s.Contains("ca"));
    EXPECT_TRUE(s.ContainsOneOf("zc"));
    EXPECT_FALSE(s.ContainsOneOf(""));
    EXPECT_TRUE(s.StartsWith("abc"));
    EXPECT_TRUE(s.StartsWith(""));
    EXPECT_FALSE(s.StartsWith("abcabcabc"));
    EXPECT_TRUE(s.EndsWith("cabc"));
    EXPECT_FALSE(s.EndsWith("C"));
    EXPECT_TRUE(s.StartsWithOneOf("xa"));
    EXPECT_TRUE(s.EndsWithOneOf("c"));
    EXPECT_FALSE(s.EndsWithOneOf("a"));
    EXPECT_FALSE(String("").StartsWithOneOf("a"));
    EXPECT_FALSE(String("").EndsWithOneOf("a"));
}

TEST(String, Cuts)
{
    const String abc("abc");
    EXPECT_EQ(abc.Left(5), "abc");
    EXPECT_EQ(abc.Right(5), ""); // deliberately not the whole text
    EXPECT_EQ(abc.Right(3), "abc");
    EXPECT_EQ(abc.Right(1), "c");
    EXPECT_EQ(abc.Right(0), "");
    EXPECT_EQ(abc.Left(0), "");
    EXPECT_EQ(abc.Mid(3, -1), "");
    EXPECT_EQ(abc.Mid(1, 1), "b");
    EXPECT_EQ(abc.Mid(1), "bc");
    EXPECT_EQ(abc.Mid(1, 100), "bc");
    EXPECT_EQ(abc.Mid(100, 1), "");

    const String s("a.b.c");
    EXPECT_EQ(s.LeftLast(".", false, -1), "a.b");
    EXPECT_EQ(s.LeftLast(".", true, -1), "a.b.");
    EXPECT_EQ(s.RightLast(".", false, -1), "c");
    EXPECT_EQ(s.RightLast(".", true, -1), ".c");
    EXPECT_EQ(s.LeftFirst("."), "a");
    EXPECT_EQ(s.LeftFirst(".", true), "a.");
    EXPECT_EQ(s.LeftFirst(".", false, 2), "a.b");
    EXPECT_EQ(s.RightFirst("."), "b.c");
    EXPECT_EQ(s.RightFirst(".", true), ".b.c");
    EXPECT_EQ(s.LeftLast(".", false, 2), "a");
    EXPECT_EQ(s.RightLast(".", false, 2), "b.c");
    for (const char* absent : {"/", "", "a.b.c.d"}) {
        EXPECT_EQ(s.LeftFirst(absent), s) << absent;
        EXPECT_EQ(s.LeftLast(absent, true), s) << absent;
        EXPECT_EQ(s.RightFirst(absent, true), s) << absent;
        EXPECT_EQ(s.RightLast(absent), s) << absent;
    }
    EXPECT_EQ(s.LeftFirst(".", false, 100), s);
    EXPECT_EQ(String("x::y::z").RightLast("::"), "z");
    EXPECT_EQ(String("x::y::z").LeftFirst("::", true), "x::");

    const String path("  key = value  ");
    EXPECT_EQ(path.LeftFirstOneOf("=:"), "  key ");
    EXPECT_EQ(path.RightFirstOneOf("=:"), " value  ");
    EXPECT_EQ(path.LeftFirstOneNotOf(" "), "  ");
    EXPECT_EQ(path.RightFirstOneNotOf(" "), "ey = value  "); // the byte found is never included
    EXPECT_EQ(path.LeftLastOneOf("="), "  key ");
    EXPECT_EQ(path.LeftLastOneNotOf(" "), "  key = valu");
    EXPECT_EQ(path.RightLastOneOf(" "), "");
    EXPECT_EQ(path.RightLastOneNotOf(" "), "  ");
    EXPECT_EQ(path.RightLastOneOf("=", 3), path);
    EXPECT_EQ(path.LeftFirstOneOf("#"), path);
    EXPECT_EQ(path.RightLastOneOf(""), path);
}

TEST(String, Editing)
{
    String s("abc");
    EXPECT_EQ(s.Insert(1, "XY"), "aXYbc");
    EXPECT_EQ(s.Insert(100, "!"), "aXYbc!");
    EXPECT_EQ(s.Delete(1, 2), "abc!");
    EXPECT_EQ(s.Delete(100, 2), "abc!");
    EXPECT_EQ(s.Delete(2, 100), "ab");
    s = "abcdef";
    s.Erase(2, -1);
    EXPECT_EQ(s, "ab");
    s.Erase(0, 1);
    EXPECT_EQ(s, "b");
    s.Erase(5, 1);
    EXPECT_EQ(s, "b");
    s = "abcdef";
    EXPECT_EQ(s.Replace(1, 2, "_"), "a_def");
    EXPECT_EQ(s.Replace(100, 2, "!"), "a_def!");

    s = "aaa";
    EXPECT_EQ(s.Replace("aa", "b"), "ba"); // left to right, no overlaps
    s = "a.a";
    EXPECT_EQ(s.Replace("a", "aa"), "aa.aa"); // a replacement holding the old text is not searched again
    EXPECT_EQ(s.Replace("", "x"), "aa.aa");
    EXPECT_EQ(s.Replace("A", "b"), "aa.aa");
    EXPECT_EQ(s.Replace("A", "b", false), "bb.bb");
    s = "Hello HELLO hello";
    EXPECT_EQ(s.Replace("hello", "bye", false), "bye bye bye");
    EXPECT_EQ(s.Replace("BYE", "", false), "  ");
    s = "AaA";
    EXPECT_EQ(s.Replace("aa", "b", false), "bA");
    s = "xX";
    EXPECT_EQ(s.Replace("XXX", "y", false), "xX");
    EXPECT_EQ(s.Replace("x", "Xx", false), "XxXx");

    s = "a,b;c";
    EXPECT_EQ(s.ReplaceAny(",;", " / "), "a / b / c");
    EXPECT_EQ(s.ReplaceAny(" /", ""), "abc");
    EXPECT_EQ(s.ReplaceAny("", "x"), "abc");
}

TEST(String, Trimming)
{
    String s(" \t\r\n\v\fa b\f\v\n\r\t ");
    EXPECT_EQ(String(s).Trim(), "a b");
    EXPECT_EQ(String(s).TrimLeft(), "a b\f\v\n\r\t ");
    EXPECT_EQ(String(s).TrimRight(), " \t\r\n\v\fa b");
    EXPECT_EQ(String("   ").Trim(), "");
    EXPECT_EQ(String("").Trim(), "");

    EXPECT_EQ(String("xxaxbxx").Trim("x"), "axb");
    EXPECT_EQ(String("xyaxy").TrimLeft("yx"), "axy");
    EXPECT_EQ(String("xyaxy").TrimRight("yx"), "xya");
    EXPECT_EQ(String("xxx").Trim("x"), "");
    EXPECT_EQ(String("abc").Trim(""), "abc");
}

TEST(String, Case)
{
    EXPECT_EQ(String("MiXeD 1").MakeLower(), "mixed 1");
    EXPECT_EQ(String("MiXeD 1").MakeUpper(), "MIXED 1");
    const String original("AbC");
    EXPECT_EQ(original.to_lower(), "abc");
    EXPECT_EQ(original, "AbC");
    EXPECT_EQ(String("hELLO wORLD").MakeWordUpper(), "Hello World");
    EXPECT_EQ(String("content-TYPE").MakeWordUpper('-'), "Content-Type");
    EXPECT_EQ(String("a\tb\nc  d").MakeWordUpper(), "A\tB\nC  D");
    EXPECT_EQ(String("x-y z").MakeWordUpper('-'), "X-Y z");
    EXPECT_EQ(String("").MakeWordUpper(), "");
}

TEST(String, IntegerConversions)
{
    EXPECT_EQ(String("").Int(), 0);
    EXPECT_EQ(String("  -42abc").Int(), -42);
    EXPECT_EQ(String("+7").Int(), 7);
    EXPECT_EQ(String("ff").Int(16), 255);
    EXPECT_EQ(String("0x1F").Int(16), 31);
    EXPECT_EQ(String("0x").Int(16), 0);
    EXPECT_EQ(String("0x1F").Int(0), 31);
    EXPECT_EQ(String("017").Int(0), 15);
    EXPECT_EQ(String("z").Int(36), 35);
    EXPECT_EQ(String("12").Int(1), 0); // no such base
    EXPECT_EQ(String("- 5").Int(), 0);
    EXPECT_EQ(String("99999999999").Int(), 2147483647); // saturates like a 32-bit long
    EXPECT_EQ(String("-99999999999").Int(), -2147483647 - 1);
    EXPECT_EQ(String("-2147483648").Int(), -2147483647 - 1);

    EXPECT_EQ(String("4294967295").Uint(), 4294967295u);
    EXPECT_EQ(String("4294967296").Uint(), 4294967295u);
    EXPECT_EQ(String("-1").Uint(), 4294967295u);
    EXPECT_EQ(String("ffffffff").Uint(16), 4294967295u);

    EXPECT_EQ(String("-9223372036854775808").Int64(), INT64_MIN);
    EXPECT_EQ(String("9223372036854775808").Int64(), INT64_MAX);
    EXPECT_EQ(String("123456789012").Int64(), 123456789012LL);
    EXPECT_EQ(String("0x10").Int64(), 0); // decimal only

    EXPECT_EQ(String("  0x1fZ").Uint64(), 31u);
    EXPECT_EQ(String("0X").Uint64(), 0u);
    EXPECT_EQ(String("017").Uint64(), 15u);
    EXPECT_EQ(String("09").Uint64(), 9u); // '9' still counts in the octal form
    EXPECT_EQ(String("0").Uint64(), 0u);
    EXPECT_EQ(String("-5").Uint64(), 0u);
    EXPECT_EQ(String("   ").Uint64(), 0u);
    EXPECT_EQ(String("18446744073709551615").Uint64(), UINT64_MAX);
    EXPECT_EQ(String("18446744073709551616").Uint64(), 0u); // wraps silently
    EXPECT_EQ(String("12 34").Uint64(), 12u);
}

TEST(String, FloatAndBoolConversions)
{
    EXPECT_DOUBLE_EQ(String("2.5e3x").Float64(), 2500.0);
    EXPECT_DOUBLE_EQ(String("").Float64(), 0.0);
    EXPECT_FLOAT_EQ(String("-0.25").Float32(), -0.25f);

    for (const char* yes : {"Yes", "ON", "True", "on", "2", "1", "0x10", "7 dwarves"})
        EXPECT_TRUE(String(yes).Bool()) << yes;
    for (const char* no : {"", "Off", "0", "no", "FALSE", "abc", "0x", "-1"}) EXPECT_FALSE(String(no).Bool()) << no;
}
