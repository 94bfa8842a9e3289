#include <dovo/Exception.h>
#include <dovo/StringTokenizer.h>

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

using dovo::String;
using dovo::StringTokenizer;

namespace {

// Reads every token with the position it was reported at.
std::vector<std::pair<std::string, int>> All(StringTokenizer t)
{
    std::vector<std::pair<std::string, int>> out;
    while (t.HasMore()) {
        const int pos = t.CurrentPos();
        out.emplace_back(t.GetNext().str(), pos);
    }
    return out;
}

using Tokens = std::vector<std::pair<std::string, int>>;

} // namespace

TEST(StringTokenizer, EmptyTokensAndTheEnds)
{
    EXPECT_EQ(All(StringTokenizer("a,b,,c", ',')), (Tokens{{"a", 0}, {"b", 2}, {"", 4}, {"c", 5}}));
    // A trailing delimiter gives no empty last token; a leading one gives an empty first token.
    EXPECT_EQ(All(StringTokenizer("a,b,", ',')), (Tokens{{"a", 0}, {"b", 2}}));
    EXPECT_EQ(All(StringTokenizer(",a", ',')), (Tokens{{"", 0}, {"a", 1}}));
    EXPECT_EQ(All(StringTokenizer(",", ',')), (Tokens{{"", 0}}));
    EXPECT_EQ(StringTokenizer("", ',').Count(), 0u);
    EXPECT_EQ(All(StringTokenizer("abc", ';')), (Tokens{{"abc", 0}}));
    // An empty delimiter never splits.
    EXPECT_EQ(All(StringTokenizer("a,b", String())), (Tokens{{"a,b", 0}}));
}

TEST(StringTokenizer, LongerDelimiters)
{
    EXPECT_EQ(All(StringTokenizer("a::b::::c", "::")), (Tokens{{"a", 0}, {"b", 3}, {"", 6}, {"c", 8}}));
    // Only the first byte of the delimiter stays with the token.
    EXPECT_EQ(All(StringTokenizer("a::b::c", "::", true)), (Tokens{{"a:", 0}, {"b:", 3}, {"c", 6}}));
    // A partial delimiter at the end is text; overlapping matches are taken from the left.
    EXPECT_EQ(All(StringTokenizer("a:::b:", "::")), (Tokens{{"a", 0}, {":b:", 3}}));
    // A NUL byte is a delimiter like any other.
    EXPECT_EQ(All(StringTokenizer(String("x\0y", 3), '\0')), (Tokens{{"x", 0}, {"y", 2}}));
}

TEST(StringTokenizer, QuotesAndEscapes)
{
    EXPECT_EQ(All(StringTokenizer("x,\"y,z\",w", ',', false, '"')), (Tokens{{"x", 0}, {"\"y,z\"", 2}, {"w", 8}}));
    // An unterminated quote takes the rest of the text.
    EXPECT_EQ(All(StringTokenizer("a,\"b,c", ',', false, '"')), (Tokens{{"a", 0}, {"\"b,c", 2}}));
    EXPECT_EQ(All(StringTokenizer("a\\,b,c", ',', false, 0, '\\')), (Tokens{{"a\\,b", 0}, {"c", 5}}));
    // Two escapes cancel, so the delimiter after them splits.
    EXPECT_EQ(All(StringTokenizer("a\\\\,b", ',', false, 0, '\\')), (Tokens{{"a\\\\", 0}, {"b", 4}}));
    // An escaped quote opens nothing.
    EXPECT_EQ(All(StringTokenizer("a\\\",b", ',', false, '"', '\\')), (Tokens{{"a\\\"", 0}, {"b", 4}}));
    // An escape inside quotes keeps a quote from closing them.
    EXPECT_EQ(All(StringTokenizer("\"a\\\",b\",c", ',', false, '"', '\\')), (Tokens{{"\"a\\\",b\"", 0}, {"c", 8}}));
    // Without quote and escape characters (0), NUL bytes in the text have no effect.
    EXPECT_EQ(StringTokenizer(String("a\0,b", 4), ',').Count(), 2u);
    // The delimiter is tested before the quote: a quote that is also the delimiter splits.
    EXPECT_EQ(All(StringTokenizer("a\"b", '"', false, '"')), (Tokens{{"a", 0}, {"b", 2}}));
}

TEST(StringTokenizer, TokenLimit)
{
    const String text("a,b,c,d");
    EXPECT_EQ(All(StringTokenizer(text, ",", false, 0, 0, 2)), (Tokens{{"a", 0}, {"b,c,d", 2}}));
    EXPECT_EQ(All(StringTokenizer(text, ",", false, 0, 0, 1)), (Tokens{{"a,b,c,d", 0}}));
    EXPECT_EQ(StringTokenizer(text, ",", false, 0, 0, 4).Count(), 4u);
    EXPECT_EQ(StringTokenizer(text, ",", false, 0, 0, 9).Count(), 4u);
    EXPECT_EQ(StringTokenizer(text, ",", false, 0, 0, 0).Count(), 4u);
    EXPECT_EQ(StringTokenizer(text, ",", false, 0, 0, -3).Count(), 4u);
    // The rest after the limit keeps its trailing delimiter.
    EXPECT_EQ(All(StringTokenizer("a,b,", ",", false, 0, 0, 2)), (Tokens{{"a", 0}, {"b,", 2}}));
}

TEST(StringTokenizer, ReadingPastTheEnd)
{
    StringTokenizer t("one two", ' ');
    EXPECT_EQ(t.Count(), 2u);
    String token;
    EXPECT_TRUE(t.GetNext(token));
    EXPECT_EQ(token, "one");
    EXPECT_EQ(t.CurrentPos(), 4);
    EXPECT_EQ(t.GetNext(), "two");
    EXPECT_FALSE(t.HasMore());
    EXPECT_EQ(t.CurrentPos(), 7); // the text's length
    EXPECT_FALSE(t.GetNext(token));
    EXPECT_EQ(token, "one");

    bool thrown = false;
    try {
        t.GetNext();
    } catch (dovo::Exception* e) {
        std::unique_ptr<dovo::Exception> owned(e);
        thrown = true;
        EXPECT_EQ(e->Module(), "StringTokenizer");
        EXPECT_EQ(e->Method(), "GetNext");
        EXPECT_EQ(e->Error(), 0x20000005);
        EXPECT_EQ(e->Message(), "No more strings to return");
        EXPECT_EQ(e->OSError(), 0);
        EXPECT_EQ(e->Level(), 1);
    }
    EXPECT_TRUE(thrown);

    StringTokenizer none("", ',');
    EXPECT_EQ(none.CurrentPos(), 0);
    EXPECT_FALSE(none.GetNext(token));
}

TEST(StringTokenizer, CopiesKeepTheirOwnReadPosition)
{
    StringTokenizer t("a b c", ' ');
    t.GetNext();
    StringTokenizer copy(t);
    EXPECT_EQ(copy.CurrentPos(), 2);
    EXPECT_EQ(copy.GetNext(), "b");
    EXPECT_EQ(t.GetNext(), "b");
    // The returned reference is the token itself, and each copy has its own.
    copy.GetNext() = "changed";
    EXPECT_EQ(t.GetNext(), "c");

    StringTokenizer other("x", ' ');
    other = copy;
    EXPECT_FALSE(other.HasMore());
    EXPECT_EQ(other.Count(), 3u);
    EXPECT_EQ(other.CurrentPos(), 5);
}
