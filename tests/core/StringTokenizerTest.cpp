#include <dovo/StringTokenizer.h>

#include "support/Checks.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

using dovo::String;
using dovo::StringTokenizer;

namespace {

using Tokens = std::vector<std::pair<std::string, int>>;

// Reads every token with the position it was reported at. At the end the position is the text's length, the
// copying GetNext reports the end and leaves its argument alone, and the other one throws.
Tokens All(StringTokenizer t, int length)
{
    Tokens out;
    String token;
    for (int pos = t.CurrentPos(); t.GetNext(token); pos = t.CurrentPos()) out.emplace_back(token.str(), pos);
    EXPECT_EQ(t.CurrentPos(), length);
    EXPECT_EQ(token.str(), out.empty() ? "" : out.back().first);
    EXPECT_EQ(Thrown([&] { t.GetNext(); }), "StringTokenizer|GetNext|0x20000005|0|1|No more strings to return");
    return out;
}

// One split; the constructors without a limit are read as well when there is none (0).
struct Split
{
    String text, delimiter;
    Tokens expected;
    char quote = 0, escape = 0;
    bool include = false;
    int limit = 0;
};

} // namespace

TEST(StringTokenizer, Splits)
{
    const Split rows[] = {
        // An empty token between adjacent delimiters and after a leading one, none after a trailing one; an
        // empty delimiter never splits.
        {"a,b,,c", ",", {{"a", 0}, {"b", 2}, {"", 4}, {"c", 5}}},
        {"a,b,", ",", {{"a", 0}, {"b", 2}}},
        {"a,b", "", {{"a,b", 0}}},
        // Longer delimiters: only the first byte stays with a token, a partial one at the end is text, and
        // overlapping matches are taken from the left. A NUL byte is a delimiter like any other.
        {"a::b::::c", "::", {{"a", 0}, {"b", 3}, {"", 6}, {"c", 8}}},
        {"a::b::c", "::", {{"a:", 0}, {"b:", 3}, {"c", 6}}, 0, 0, true},
        {"a:::b:", "::", {{"a", 0}, {":b:", 3}}},
        {String("x\0y", 3), String("\0", 1), {{"x", 0}, {"y", 2}}},
        // Quotes; a quote that is also the delimiter splits.
        {"x,\"y,z\",w", ",", {{"x", 0}, {"\"y,z\"", 2}, {"w", 8}}, '"'},
        {"a\"b", "\"", {{"a", 0}, {"b", 2}}, '"'},
        // Escapes: two cancel, and an escaped quote opens nothing.
        {"a\\,b,c", ",", {{"a\\,b", 0}, {"c", 5}}, 0, '\\'},
        {"a\\\\,b", ",", {{"a\\\\", 0}, {"b", 4}}, 0, '\\'},
        {"a\\\",b", ",", {{"a\\\"", 0}, {"b", 4}}, '"', '\\'},
        // Without quote and escape characters (0), NUL bytes in the text are plain bytes.
        {String("a\0,b", 4), ",", {{std::string("a\0", 2), 0}, {"b", 3}}},
        // A limit merges the rest into the last token.
        {"a,b,c,d", ",", {{"a", 0}, {"b,c,d", 2}}, 0, 0, false, 2},
        {"a,b,c,d", ",", {{"a,b,c,d", 0}}, 0, 0, false, 1},
        {"a,b,c,d", ",", {{"a", 0}, {"b", 2}, {"c", 4}, {"d", 6}}, 0, 0, false, 4},
    };
    for (const Split& r : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &r - rows << ": \"" << r.text.str() << "\"");
        std::vector<StringTokenizer> forms{StringTokenizer(r.text, r.delimiter, r.include, r.quote, r.escape, r.limit)};
        if (r.limit == 0) forms.emplace_back(r.text, r.delimiter, r.include, r.quote, r.escape);
        if (r.limit == 0 && r.delimiter.Length() == 1)
            forms.emplace_back(r.text, r.delimiter[0], r.include, r.quote, r.escape);
        for (const StringTokenizer& t : forms) {
            EXPECT_EQ(t.Count(), r.expected.size());
            EXPECT_EQ(All(t, r.text.Length()), r.expected);
        }
    }
}

TEST(StringTokenizer, CopiesKeepTheirOwnReadPosition)
{
    StringTokenizer t("a b c", ' ');
    t.GetNext();
    StringTokenizer copy(t);
    // The returned reference is the token itself, and each copy has its own.
    EXPECT_EQ(copy.CurrentPos(), 2);
    copy.GetNext() = "changed";
    EXPECT_EQ(t.GetNext(), "b");
    EXPECT_EQ(t.GetNext(), "c");
}
