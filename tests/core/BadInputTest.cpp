// Random texts, positions, widths and formats: every member gives a defined result and stays inside
// its text (the sanitizer builds watch the memory side).

#include <dovo/String.h>
#include <dovo/Time.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <ctime>
#include <random>
#include <string>

using dovo::String;
using dovo::Time;

namespace {

struct Random
{
    std::mt19937_64 engine;
    std::size_t Below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(engine); }
    // Positions near the text and far beyond it.
    std::size_t Position(std::size_t length)
    {
        const std::size_t far = Below(3), positions[] = {Below(length + 3), std::string::npos - far, INT_MAX + far};
        return positions[Below(3)];
    }
    // Backward starts: -1 and below ("from the end") or near the text.
    int Start(std::size_t n) { return Below(3) ? static_cast<int>(Below(n + 3)) : -1 - static_cast<int>(Below(3)); }
    String Text(const char* alphabet, std::size_t maxLength)
    {
        std::string s(Below(maxLength + 1), ' ');
        for (char& c : s) c = alphabet[Below(std::char_traits<char>::length(alphabet))];
        return s;
    }
};

bool Within(const String& part, const String& whole) { return whole.str().find(part.str()) != std::string::npos; }

} // namespace

TEST(BadInput, SearchesCutsAndEditsStayInsideTheText)
{
    Random random{std::mt19937_64(1)};
    for (int i = 0; i < 20000; ++i) {
        const String s = random.Text("aAb.,/ \t\"\\\x01\xe9", 12), sep = random.Text("aAb.,/ \x01\xe9", 3);
        const std::size_t len = static_cast<std::size_t>(s.Length()), pos = random.Position(len);
        const int start = random.Start(len), found = s.Find(sep, pos), last = s.ReverseFind(sep, start);
        const bool include = random.Below(2) == 0;
        const auto at = [&](int p) { return s.Mid(static_cast<std::size_t>(p), sep.Length()); };
        ASSERT_TRUE(found == -1 || (found >= static_cast<int>(std::min(pos, len)) && at(found) == sep));
        ASSERT_TRUE(last == -1 || ((start < 0 || last <= start) && at(last) == sep));
        // FindNoCase against a plain search of lower-cased texts; nothing for an empty needle or past the end.
        ASSERT_EQ(s.FindNoCase(sep, pos), sep.Empty() || pos >= len ? -1 : s.to_lower().Find(sep.to_lower(), pos))
            << s << " / " << sep << " from " << pos;
        for (int p : {s.FindOneOf(sep, pos), s.FindOneNotOf(sep, pos), s.ReverseFindOneOf(sep, start),
                      s.ReverseFindOneNotOf(sep, start)})
            ASSERT_TRUE(p >= -1 && p < static_cast<int>(len));
        for (const String& cut :
             {s.Left(pos), s.Right(pos), s.Mid(pos, start), s.LeftFirst(sep, include, pos),
              s.LeftLast(sep, include, start), s.RightFirst(sep, include, pos), s.RightLast(sep, include, start),
              s.LeftFirstOneOf(sep, pos), s.LeftFirstOneNotOf(sep, pos), s.LeftLastOneOf(sep, start),
              s.LeftLastOneNotOf(sep, start), s.RightFirstOneOf(sep, pos), s.RightFirstOneNotOf(sep, pos),
              s.RightLastOneOf(sep, start), s.RightLastOneNotOf(sep, start)})
            ASSERT_TRUE(Within(cut, s)) << s << " / " << sep;

        String edited = s;
        edited.Insert(pos, "<>");
        ASSERT_EQ(edited.Mid(std::min(pos, len), 2), "<>"); // past the end it appends
        edited.Delete(random.Position(len), random.Position(len)).Erase(random.Position(len), random.Start(len));
        edited.Replace(random.Position(len), random.Position(len), "x")
            .Replace(random.Text("aA.", 2), random.Text("aA.", 3), include)
            .ReplaceAny(sep, random.Text("aA.", 2))
            .Trim(random.Text(" a.", 3))
            .MakeWordUpper(static_cast<char>(random.Below(256)));
    }
}

TEST(BadInput, ConversionsAndWrappingOfAnyText)
{
    Random random{std::mt19937_64(2)};
    for (int i = 0; i < 20000; ++i) {
        const String s = random.Text("0123456789abcdefxX+- \t\n.,:eE\xff", 24);
        const int base = static_cast<int>(random.Below(40)) - 1, n = s.Int(base);
        // Both parsers agree wherever both results are in range; no keyword can be spelled with this alphabet.
        ASSERT_TRUE(n < 0 || n == INT_MAX || s.Uint(base) == static_cast<unsigned>(n)) << s << " base " << base;
        ASSERT_EQ(s.Int(), static_cast<int>(std::clamp<std::int64_t>(s.Int64(), INT_MIN, INT_MAX))) << s;
        ASSERT_EQ(s.Bool(), s.Uint64() != 0) << s;
        (void)s.Float64();

        String wrapped = s;
        const int lines = wrapped.Wrap(random.Below(6), "|", random.Text(" .-", 2));
        // One separator between lines, and no byte lost; one line leaves the text as it was.
        ASSERT_EQ(wrapped.Length(), s.Length() + std::max(lines - 1, 0));
        ASSERT_EQ(lines < 2 ? wrapped : String(wrapped).Replace("|", ""), s);
        ASSERT_GE(lines, s.Empty() ? 0 : 1);
    }
}

TEST(BadInput, TimeFormatsOfAnyTextAndValue)
{
    Random random{std::mt19937_64(3)};
    for (int i = 0; i < 20000; ++i) {
        Time t(static_cast<std::int64_t>(random.engine()));
        if (i % 2) t = Time(static_cast<std::int64_t>(random.Below(Time(9999, 12, 31).TotalMilliseconds() + 1)));
        t.SetOffset(static_cast<std::int64_t>(random.engine()) % 100000000);
        // Long formats too: a result must fit 127 bytes, as in the runtime's 128-byte buffer.
        const String format = random.Text("%%%-_#^0EO5aAbBcCdDeFgGhHIjklmMnprRsStTuUVwWxXyYzZQ:. ", 80);
        ASSERT_LE(t.Format(format, random.Below(2) == 0, random.Below(2) == 0).Length(), 127) << format;
        const auto unit = [&] { return static_cast<Time::DisplayUnits>(static_cast<int>(random.Below(16)) - 3); };
        ASSERT_FALSE(t.FormatDuration(unit(), unit(), unit(), random.Below(2) == 0,
                                      static_cast<int>(random.Below(5)) - 1, '0', Time(random.engine()))
                         .Empty());
        ASSERT_FALSE(t.FormatSpan(",").Empty());
        (void)Time().FromTimeT(static_cast<std::int64_t>(random.engine())).ToTimeT();
        tm broken;
        t.ToTM(broken);
        ASSERT_TRUE(broken.tm_mon >= 0 && broken.tm_mon <= 11) << broken.tm_mon;
        ASSERT_EQ(t.Compare(broken) == 0, t.Millisecond() == 0);
    }
}
