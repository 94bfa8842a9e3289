#include <dovo/Path.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

using dovo::Path;
using dovo::String;

namespace {

#ifdef _WIN32
constexpr bool kWindows = true;
#else
constexpr bool kWindows = false;
#endif

// Every text of up to maxLength bytes drawn from the alphabet, the empty one included.
std::vector<std::string> AllTexts(const std::string& alphabet, std::size_t maxLength)
{
    std::vector<std::string> texts{""};
    for (std::size_t from = 0; from < texts.size(); ++from) {
        if (texts[from].size() == maxLength) continue;
        for (char c : alphabet) texts.push_back(texts[from] + c);
    }
    return texts;
}

// Separators, names, points, a colon and a tilde: enough to make every kind of root and part.
const std::string kPathAlphabet = "/\\a.:~C";

} // namespace

TEST(Path, RootsAreReadAsTextAndAbsoluteByPlatform)
{
    // An empty share name is no share; "\\" alone is no server; "C:" is drive C's current folder.
    using enum Path::RootType;
    const std::tuple<const char*, Path::RootType, const char*> rows[] = {
        {"", NoRoot, ""},          {"../a", NoRoot, ""},          {"\\\\s\\sh\\d", UNCRoot, "\\\\s\\sh"},
        {"//s", UNCRoot, "//s"},   {"\\/s\\", UNCRoot, "\\/s"},   {"\\\\s\\\\x", UNCRoot, "\\\\s"},
        {"~user/x", NoRoot, ""},   {"//s/sh", UNCRoot, "//s/sh"}, {"\\\\.\\pipe\\D: x", UNCRoot, "\\\\.\\pipe"},
        {"C:", DriveRoot, "C:"},   {"c:/x", DriveRoot, "c:"},     {"z:foo", DriveRoot, "z:"},
        {"1:/x", NoRoot, ""},      {"\\", SlashRoot, "\\"},       {"~$report.doc", NoRoot, ""},
        {"\\\\", SlashRoot, "\\"}, {"///a", SlashRoot, "/"},      {"~", HomeRoot, "~"},
        {"~\\x", HomeRoot, "~"},
    };
    for (const auto& [text, type, root] : rows) {
        EXPECT_EQ(Path(text).Root(), type) << text;
        EXPECT_EQ(Path(text).RootText(), root) << text;
    }
    // Absolute everywhere, only on Linux ("/x" is rooted on the current drive on Windows), nowhere.
    for (const char* text : {"\\\\s\\sh", "c:/", "C:\\x", "~", "~/x"}) EXPECT_TRUE(Path(text).IsAbsolute()) << text;
    for (const char* text : {"/x", "\\", "\\\\", "///a"}) EXPECT_EQ(Path(text).IsAbsolute(), !kWindows) << text;
    for (const char* text : {"", "../a", "C:", "C:foo", "1:/x", "~x"}) EXPECT_FALSE(Path(text).IsAbsolute()) << text;
}

TEST(Path, JoinPutsOneSeparatorBetweenThePartsUnlessTheRightSideIsRooted)
{
    // The separator is the style the path is written in, else the right side's, else the local one.
    // The right side replaces the left when it is absolute everywhere; a drive-relative one continues the left
    // side's folder on the same drive, else stands alone.
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"a\\b", "c", "a\\b\\c"},     {"a", "b/c", "a/b/c"},      {"a\\//", "b/", "a/b/"},
        {"C:\\\\", "b", "C:\\b"},     {"C:", "b", "C:b"},         {"\\\\s\\sh\\", "b", "\\\\s\\sh\\b"},
        {"\\\\s", "sh", "\\\\s\\sh"}, {"a/", "", "a/"},           {"", "b", "b"},
        {"a/b", "~/x", "~/x"},        {"//", "b", "/b"},          {"/a", "\\\\s\\sh\\x", "\\\\s\\sh\\x"},
        {"/home/u", "C:/x", "C:/x"},  {"c:/a/", "C:b", "c:/a/b"}, {"C:\\a", "C:", "C:\\a"},
        {"C:\\a", "D:b", "D:b"},      {"/a", "D:b", "D:b"},       {"~/a", "/x", "/x"},
    };
    for (const auto& [left, right, expected] : rows) EXPECT_EQ(Path(left) / right, expected) << left << " / " << right;
    // Where Linux and Windows differ: the local separator, and "/x", which on Windows takes the left side's
    // drive or share.
    const std::tuple<const char*, const char*, const char*, const char*> platformRows[] = {
        {"a", "b", "a/b", "a\\b"},  {"C:x", "b", "C:x/b", "C:x\\b"},
        {"~", "b", "~/b", "~\\b"},  {"C:\\a\\b", "\\x", "\\x", "C:\\x"},
        {"C:", "/x", "/x", "C:/x"}, {"\\\\s\\sh\\a", "/x", "/x", "\\\\s\\sh/x"},
    };
    for (const auto& [left, right, onLinux, onWindows] : platformRows) {
        EXPECT_EQ(Path(left) / right, kWindows ? onWindows : onLinux) << left << " / " << right;
    }
    EXPECT_EQ((Path("\\\\s") / "sh").RootText(), "\\\\s\\sh");
    Path p("base/x");
    EXPECT_EQ(p /= String("y.txt"), "base/x/y.txt");
}

TEST(Path, LeafAndBranch)
{
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"a/b/c.txt", "a/b", "c.txt"},  {"a\\\\b", "a", "b"}, {"a/b//", "a/b", ""}, {"c.txt", "", "c.txt"},
        {"../..", "..", ".."},          {"/", "/", ""},       {"///a", "/", "a"},   {"\\\\", "\\", ""},
        {"C:/\\a", "C:/", "a"},         {"C:", "C:", ""},     {"C:\\", "C:\\", ""}, {"C:a\\b", "C:a", "b"},
        {"\\\\s\\sh", "\\\\s\\sh", ""}, {"C:a", "C:", "a"},   {"~/", "~", ""},      {"\\\\s\\sh\\a", "\\\\s\\sh", "a"},
    };
    for (const auto& [text, branch, leaf] : rows) {
        EXPECT_EQ(Path(text).Branch(), branch) << text;
        EXPECT_EQ(Path(text).Leaf(), leaf) << text;
    }
}

TEST(Path, ExtensionBaseNameAndWithExtension)
{
    // Leading points start no extension; with no leaf there is nothing to change.
    const std::tuple<const char*, const char*, const char*> parts[] = {
        {"a/b/c.txt", "txt", "c"}, {"a.tar.gz", "gz", "a.tar"}, {"d/.profile", "", ".profile"},      {"C:\\", "", ""},
        {"a.b/", "", ""},          {"a.b/c", "", "c"},          {".profile.old", "old", ".profile"}, {"a.", "", "a"},
        {"a/..", "", ".."},        {"C:x.y", "y", "x"},
    };
    for (const auto& [text, extension, base] : parts) {
        EXPECT_EQ(Path(text).Extension(), extension) << text;
        EXPECT_EQ(Path(text).BaseName(), base) << text;
    }
    // With the extension "bak" (given with or without its point), and without one.
    const std::tuple<const char*, const char*, const char*> changed[] = {
        {"a.b/", "a.b/", "a.b/"}, {"a.tar.gz", "a.tar.bak", "a.tar"},  {".profile.old", ".profile.bak", ".profile"},
        {"a/..", "a/..", "a/.."}, {"a/b/c.txt", "a/b/c.bak", "a/b/c"}, {"a.b/c", "a.b/c.bak", "a.b/c"},
        {"a.", "a.bak", "a"},     {"C:x.y", "C:x.bak", "C:x"},         {"d/.profile", "d/.profile.bak", "d/.profile"},
        {"C:\\", "C:\\", "C:\\"},
    };
    for (const auto& [text, withBak, without] : changed) {
        EXPECT_EQ(Path(text).WithExtension("bak"), withBak) << text;
        EXPECT_EQ(Path(text).WithExtension(".bak"), withBak) << text;
        EXPECT_EQ(Path(text).WithExtension(""), without) << text;
    }
}

TEST(Path, NormalizedFoldsPartsByText)
{
    // ".." climbs out of relative paths, drive-relative ones and home, not out of a root; a relative part that
    // would read as a root keeps the "./" before it.
    const std::pair<const char*, const char*> rows[] = {
        {"", ""},          {"a//b/./c/../d", "a/b/d"}, {"a/../~/x", "./~/x"},     {"a\\.\\b/", "a\\b\\"},
        {"a/../", "."},    {"../a/../..", "../.."},    {"///../a/../../b", "/b"}, {"C:\\..\\a", "C:\\a"},
        {"~/..", "~/.."},  {"~/a/../b", "~/b"},        {"C:..\\a", "C:..\\a"},    {"\\\\s\\sh\\..\\a", "\\\\s\\sh\\a"},
        {"C:a\\..", "C:"}, {"x/../C:y", "./C:y"},
    };
    for (const auto& [text, normal] : rows) EXPECT_EQ(Path(text).Normalized(), normal) << text;
}

TEST(Path, QuotedWrapsTextWithBlanks)
{
    // Only a pair of quotes counts as quoted; trailing backslashes are doubled so that the closing quote survives
    // splitting.
    const std::pair<const char*, const char*> rows[] = {
        {"my dir/f", "\"my dir/f\""}, {"a\tb", "\"a\tb\""},         {"C:\\dir\\f.txt", "C:\\dir\\f.txt"},
        {"\"my dir\"", "\"my dir\""}, {"\"my dir", "\"\"my dir\""}, {"C:\\my dir\\\\", "\"C:\\my dir\\\\\\\\\""},
    };
    for (const auto& [text, quoted] : rows) EXPECT_EQ(Path(text).Quoted(), quoted) << text;
}

TEST(Path, LocalSlashesAndComparisonAsText)
{
    Path mixed("//s/sh\\x//y");
    EXPECT_EQ(&mixed.MakeSlashesLocal(), &mixed);
    EXPECT_EQ(mixed, kWindows ? "\\\\s\\sh\\x\\\\y" : "//s/sh/x//y");
    // Paths compare as text, in either order.
    EXPECT_NE(Path("a/b"), Path("a\\b"));
    EXPECT_TRUE(String("x/y") == Path("x/y") && "x/y" == Path("x/y") && String("x") != Path("x/y"));
}

TEST(Path, MakeSafeReplacesEachUnsafeCharacter)
{
    // Trailing points and blanks go (Windows would drop them, and ".." names the parent folder), and so do
    // device names, alone or before a point, in any case; bytes above ASCII stay.
    const std::pair<String, const char*> rows[] = {
        {"aux_Dump", "aux_Dump"}, {".hidden", ".hidden"},        {"..", "__"},
        {"COM0", "COM0"},         {"a<b>c:d\"e", "a_b_c_d_e"},   {"\xc3\xa9t\xc3\xa9", "\xc3\xa9t\xc3\xa9"},
        {"COM10", "COM10"},       {"name. .", "name___"},        {"LPT9.x.y", "_PT9.x.y"},
        {"CON", "_ON"},           {"/f\\g|h?i*j", "_f_g_h_i_j"}, {String("a\0b\x1f\tc", 6), "a_b__c"},
        {"Nul .log", "_ul .log"}, {"My Log-1.2", "My Log-1.2"},
    };
    for (const auto& [text, safe] : rows) EXPECT_EQ(Path::MakeSafe(text), safe) << text.str();
}

// Every short path over separators, names, points, colons and tildes: no crash, and the cuts fit together.
TEST(Path, EveryShortPathCutsConsistently)
{
    for (const std::string& raw : AllTexts(kPathAlphabet, 6)) {
        const Path p(raw), normal = p.Normalized(), local = Path(p).MakeSlashesLocal();
        const String& text = p.Text();
        const String leaf = p.Leaf(), branch = p.Branch();
        SCOPED_TRACE("\"" + raw + "\"");
        ASSERT_FALSE(leaf.ContainsOneOf("/\\"));
        ASSERT_TRUE(text.StartsWith(branch) && text.EndsWith(leaf) && text.StartsWith(p.RootText()));
        ASSERT_LE(branch.Length() + leaf.Length(), text.Length());
        // Between the branch and the leaf there are only separators.
        ASSERT_LT(text.Mid(branch.Length(), text.Length() - branch.Length() - leaf.Length()).FindOneNotOf("/\\"), 0);
        // The branch, the normal and the local form keep the root and what it means.
        for (const Path& same : {Path(branch), normal, local}) {
            ASSERT_EQ(std::make_pair(same.Root(), same.IsAbsolute()), std::make_pair(p.Root(), p.IsAbsolute()));
        }
        ASSERT_TRUE(p.Extension().Empty() || p.BaseName() + "." + p.Extension() == leaf);
        ASSERT_EQ(p.WithExtension("e").Branch(), branch);
        ASSERT_EQ(normal.Normalized(), normal);
        ASSERT_EQ(normal.Empty(), p.Empty());
        ASSERT_EQ(local.Text().Length(), text.Length());
    }
}

TEST(Path, EveryShortJoinKeepsBothSides)
{
    const std::vector<std::string> texts = AllTexts(kPathAlphabet, 3);
    for (const std::string& l : texts) {
        for (const std::string& r : texts) {
            const Path left(l), right(r), joined = left / right;
            SCOPED_TRACE("\"" + l + "\" / \"" + r + "\"");
            if (r.empty()) {
                ASSERT_EQ(joined, left);
            } else if (l.empty() || right.IsAbsolute()) {
                ASSERT_EQ(joined, right);
            } else if (right.Root() == Path::NoRoot) {
                ASSERT_TRUE(joined.Text().EndsWith(right));
                ASSERT_TRUE(joined.Root() == left.Root() && joined.IsAbsolute() == left.IsAbsolute());
                ASSERT_LE(joined.Text().Length(), left.Text().Length() + 1 + right.Text().Length());
                // (Unless the right side became the share of a server-only left side.)
                ASSERT_TRUE(joined.RootText() != left.RootText() || joined.Leaf() == right.Leaf());
            }
        }
    }
}

TEST(Path, EveryShortNameIsMadeSafe)
{
    for (const std::string& raw : AllTexts(std::string("a. :/\\|\x01\x7f", 10), 4)) {
        const String safe = Path::MakeSafe(raw);
        SCOPED_TRACE("\"" + raw + "\"");
        ASSERT_EQ(safe.Length(), static_cast<int>(raw.size()));
        ASSERT_FALSE(safe.ContainsOneOf(String("<>:\"/\\|?*\x01", 10)));
        ASSERT_FALSE(safe.EndsWithOneOf(". "));
        ASSERT_EQ(Path::MakeSafe(safe), safe);
        ASSERT_EQ(Path(safe).Leaf(), safe);
    }
}
