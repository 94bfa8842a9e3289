// Random texts, positions, widths and formats: every member gives a defined result and stays inside
// its text (the sanitizer builds watch the memory side).

#include <dovo/String.h>
#include <dovo/Time.h>

#include <gtest/gtest.h>

#include <climits>
#include <ctime>
#include <random>
#include <string>

using dovo::String;
using dovo::Time;

namespace {

class Random
{
public:
    explicit Random(unsigned seed) : m_engine(seed) {}
    std::size_t Below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(m_engine); }
    // Positions near the text and far beyond it.
    std::size_t Position(std::size_t length)
    {
        switch (Below(4)) {
        case 0: return Below(length + 3);
        case 1: return std::string::npos - Below(3);
        case 2: return static_cast<std::size_t>(INT_MAX) + Below(3);
        default: return length;
        }
    }
    int Start(std::size_t length)
    {
        return Below(3) == 0 ? -1 - static_cast<int>(Below(3)) : static_cast<int>(Below(length + 3));
    }
    String Text(const char* alphabet, std::size_t maxLength)
    {
        const std::size_t n = Below(maxLength + 1);
        const std::size_t letters = std::char_traits<char>::length(alphabet);
        std::string s;
        for (std::size_t i = 0; i < n; ++i) s += alphabet[Below(letters)];
        return s;
    }

private:
    std::mt19937 m_engine;
};

bool IsSubstring(const String& part, const String& whole) { return whole.str().find(part.str()) != std::string::npos; }

} // namespace

TEST(BadInput, CutsAndSearchesStayInsideTheText)
{
    Random random(1);
    const char* alphabet = "ab.,/ \t\"\\\x01\xe9";
    for (int i = 0; i < 20000; ++i) {
        const String s = random.Text(alphabet, 12);
        const String sep = random.Text(alphabet, 3);
        const std::size_t len = static_cast<std::size_t>(s.Length());
        const std::size_t pos = random.Position(len);
        const int start = random.Start(len);
        const bool include = random.Below(2) == 0;

        const int found = s.Find(sep, pos);
        ASSERT_TRUE(found == -1 || (found >= 0 && s.Mid(static_cast<std::size_t>(found), sep.Length()) == sep));
        const int foundNoCase = s.FindNoCase(sep, pos);
        ASSERT_TRUE(foundNoCase == -1 || (foundNoCase >= static_cast<int>(std::min(pos, len)) &&
                                          (s.Mid(static_cast<std::size_t>(foundNoCase), sep.Length()) %= sep)));
        const int last = s.ReverseFind(sep, start);
        ASSERT_TRUE(last == -1 || s.Mid(static_cast<std::size_t>(last), sep.Length()) == sep);
        for (int p : {s.FindOneOf(sep, pos), s.FindOneNotOf(sep, pos), s.ReverseFindOneOf(sep, start),
                      s.ReverseFindOneNotOf(sep, start)})
            ASSERT_TRUE(p >= -1 && p < static_cast<int>(len));

        ASSERT_EQ(static_cast<std::size_t>(s.Left(pos).Length()), std::min(pos, len));
        ASSERT_TRUE(s.Right(pos).Empty() || s.EndsWith(s.Right(pos)));
        ASSERT_TRUE(IsSubstring(s.Mid(pos, start), s));
        for (const String& cut :
             {s.LeftFirst(sep, include, pos), s.LeftLast(sep, include, start), s.RightFirst(sep, include, pos),
              s.RightLast(sep, include, start), s.LeftFirstOneOf(sep, pos), s.LeftFirstOneNotOf(sep, pos),
              s.LeftLastOneOf(sep, start), s.LeftLastOneNotOf(sep, start), s.RightFirstOneOf(sep, pos),
              s.RightFirstOneNotOf(sep, pos), s.RightLastOneOf(sep, start), s.RightLastOneNotOf(sep, start)})
            ASSERT_TRUE(IsSubstring(cut, s)) << s << " / " << sep;
    }
}

TEST(BadInput, EditsAndConversionsOfAnyText)
{
    Random random(2);
    const char* alphabet = "0123456789abcdefxX+- \t\n.,:eE\xff";
    for (int i = 0; i < 20000; ++i) {
        String s = random.Text(alphabet, 24);
        const std::size_t len = static_cast<std::size_t>(s.Length());
        (void)s.Int(static_cast<int>(random.Below(40)) - 1);
        (void)s.Uint(static_cast<int>(random.Below(40)) - 1);
        (void)s.Int64();
        (void)s.Uint64();
        (void)s.Float64();
        (void)s.Bool();

        String edited = s;
        edited.Insert(random.Position(len), "<>");
        ASSERT_EQ(edited.Length(), s.Length() + 2);
        edited.Delete(random.Position(len), random.Position(len));
        edited.Erase(random.Position(len), random.Start(len));
        edited.Replace(random.Position(len), random.Position(len), "x");
        edited.Replace(random.Text(alphabet, 2), random.Text(alphabet, 3), random.Below(2) == 0);
        edited.ReplaceAny(random.Text(alphabet, 2), random.Text(alphabet, 2));
        edited.Trim();
        edited.Trim(random.Text(alphabet, 3));
        edited.MakeWordUpper(static_cast<char>(random.Below(256)));

        String wrapped = s;
        const std::size_t width = random.Below(6);
        const int lines = wrapped.Wrap(width, "|", random.Text(" .-", 2));
        ASSERT_GE(lines, s.Empty() ? 0 : 1);
        if (lines < 2) ASSERT_EQ(wrapped, s);
        else ASSERT_EQ(wrapped.Length(), s.Length() + lines - 1); // one separator between lines
    }
}

TEST(BadInput, TimeFormatsOfAnyTextAndValue)
{
    Random random(3);
    const char* alphabet = "%%%-_#^0EO5aAbBcCdDeFgGhHIjklmMnprRsStTuUVwWxXyYzZQ:. ";
    std::mt19937_64 values(4);
    for (int i = 0; i < 20000; ++i) {
        Time t(static_cast<std::int64_t>(values()));
        if (i % 2) t = Time(static_cast<std::int64_t>(values() % (Time(9999, 12, 31).TotalMilliseconds() + 1)));
        t.SetOffset(static_cast<std::int64_t>(values()) % 100000000);
        const String format = random.Text(alphabet, 40);
        ASSERT_LE(t.Format(format, random.Below(2) == 0, random.Below(2) == 0).Length(), 127);
        const auto unit = [&] { return static_cast<Time::DisplayUnits>(random.Below(10)); };
        const Time limit(static_cast<std::int64_t>(values()));
        ASSERT_FALSE(t.FormatDuration(unit(), unit(), unit(), random.Below(2) == 0,
                                      static_cast<int>(random.Below(5)) - 1, '0', limit)
                         .Empty());
        ASSERT_FALSE(t.FormatSpan(",").Empty());
        (void)t.ToTimeT();
        (void)Time::FromTimeT(static_cast<std::int64_t>(values())).Year();
        tm broken;
        t.ToTM(broken);
        ASSERT_GE(broken.tm_mon, 0);
        ASSERT_LE(broken.tm_mon, 11);
        ASSERT_EQ(t.Compare(broken) == 0, t.Millisecond() == 0);
    }
}
