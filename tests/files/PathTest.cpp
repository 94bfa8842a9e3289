#include <dovo/Path.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using dovo::Path;
using dovo::String;

namespace {

const bool kWindows = Path::LocalSeparator() == '\\';

// A table row: its columns, written one after the other with '|' between them.
std::vector<std::string> Cut(const std::string& row)
{
    std::vector<std::string> columns{""};
    for (char c : row) c == '|' ? void(columns.emplace_back()) : void(columns.back() += c);
    return columns;
}

// Every text of up to maxLength bytes drawn from the alphabet, the empty one included.
std::vector<std::string> AllTexts(const std::string& alphabet, std::size_t maxLength)
{
    std::vector<std::string> texts{""};
    for (std::size_t from = 0; from < texts.size(); ++from)
        if (texts[from].size() < maxLength)
            for (char c : alphabet) texts.push_back(texts[from] + c);
    return texts;
}

// Separators, names, points, a colon and a tilde: enough to make every kind of root and part.
const std::string kPathAlphabet = "/\\a.:~C";

} // namespace

TEST(Path, RootsAreReadAsTextAndAbsoluteByPlatform)
{
    // Text | root type (N none, U share, D drive, S slash, H home) | root text | absolute: "1" everywhere, "L" on
    // Linux only ("/x" is rooted on the current drive on Windows). An empty share name is no share; "\\" alone is
    // no server; "C:" is drive C's current folder.
    // clang-format off
    const char* const rows[] = {
        "|N||", "../a|N||", "\\\\s\\sh\\d|U|\\\\s\\sh|1", "//s|U|//s|1", "\\/s\\|U|\\/s|1", "~user/x|N||",
        "//s/sh|U|//s/sh|1", "\\\\.\\pipe\\D: x|U|\\\\.\\pipe|1", "\\\\s\\\\x|U|\\\\s|1", "C:|D|C:|", "c:/x|D|c:|1",
        "z:foo|D|z:|", "1:/x|N||", "\\|S|\\|L", "~$report.doc|N||", "\\\\|S|\\|L", "///a|S|/|L", "~|H|~|1",
        "~\\x|H|~|1", "/x|S|/|L",
    };
    // clang-format on
    for (const char* row : rows) {
        const std::vector<std::string> c = Cut(row);
        const Path p(c[0]);
        EXPECT_EQ(std::string(1, "NUDSH"[p.Root()]), c[1]) << row;
        EXPECT_EQ(p.RootText().str(), c[2]) << row;
        EXPECT_EQ(p.IsAbsolute(), c[3] == "1" || (c[3] == "L" && !kWindows)) << row;
    }
}

TEST(Path, JoinPutsOneSeparatorBetweenThePartsUnlessTheRightSideIsRooted)
{
    // Left | right | joined [| joined on Windows]. The separator is the style the path is written in, else the
    // right side's, else the local one. The right side replaces the left when it is absolute everywhere; a
    // drive-relative one continues the left side's folder on the same drive, else stands alone; on Windows "/x"
    // takes the left side's drive or share.
    // clang-format off
    const char* const rows[] = {
        "a\\b|c|a\\b\\c", "a|b/c|a/b/c", "a\\//|b/|a/b/", "C:\\\\|b|C:\\b", "C:|b|C:b", "\\\\s\\sh\\|b|\\\\s\\sh\\b",
        "\\\\s|sh|\\\\s\\sh", "a/||a/", "|b|b", "a/b|~/x|~/x", "//|b|/b", "/a|\\\\s\\sh\\x|\\\\s\\sh\\x",
        "/home/u|C:/x|C:/x", "c:/a/|C:b|c:/a/b", "C:\\a|C:|C:\\a", "C:\\a|D:b|D:b", "/a|D:b|D:b", "~/a|/x|/x",
        "a|b|a/b|a\\b", "C:x|b|C:x/b|C:x\\b", "~|b|~/b|~\\b", "C:\\a\\b|\\x|\\x|C:\\x", "C:|/x|/x|C:/x",
        "\\\\s\\sh\\a|/x|/x|\\\\s\\sh/x",
    };
    // clang-format on
    for (const char* row : rows) {
        const std::vector<std::string> c = Cut(row);
        EXPECT_EQ((Path(c[0]) / c[1]).Text().str(), c[kWindows && c.size() > 3 ? 3 : 2]) << row;
    }
    EXPECT_EQ((Path("\\\\s") / "sh").RootText(), "\\\\s\\sh");
    Path p("base/x");
    EXPECT_EQ(p /= String("y.txt"), "base/x/y.txt");
}

TEST(Path, PartsAndChangedExtensions)
{
    // Text | branch | leaf | extension | base name | with extension "bak" | without one. Leading points start no
    // extension; with no leaf there is nothing to change.
    // clang-format off
    const char* const rows[] = {
        "a/b/c.txt|a/b|c.txt|txt|c|a/b/c.bak|a/b/c", "a\\\\b|a|b||b|a\\\\b.bak|a\\\\b", "a/b//|a/b||||a/b//|a/b//",
        "../..|..|..||..|../..|../..", "/|/||||/|/", "///a|/|a||a|///a.bak|///a", "\\\\|\\||||\\\\|\\\\",
        "C:/\\a|C:/|a||a|C:/\\a.bak|C:/\\a", "C:|C:||||C:|C:", "C:\\|C:\\||||C:\\|C:\\",
        "C:a\\b|C:a|b||b|C:a\\b.bak|C:a\\b", "\\\\s\\sh|\\\\s\\sh||||\\\\s\\sh|\\\\s\\sh",
        "C:x.y|C:|x.y|y|x|C:x.bak|C:x", "~/|~||||~/|~/", "\\\\s\\sh\\a|\\\\s\\sh|a||a|\\\\s\\sh\\a.bak|\\\\s\\sh\\a",
        "a.tar.gz||a.tar.gz|gz|a.tar|a.tar.bak|a.tar", "d/.profile|d|.profile||.profile|d/.profile.bak|d/.profile",
        ".profile.old||.profile.old|old|.profile|.profile.bak|.profile", "a.||a.||a|a.bak|a",
        "a.b/c|a.b|c||c|a.b/c.bak|a.b/c", "a.b/|a.b||||a.b/|a.b/", "a/..|a|..||..|a/..|a/..",
    };
    // clang-format on
    for (const char* row : rows) {
        const std::vector<std::string> c = Cut(row);
        const Path p(c[0]);
        EXPECT_EQ(Cut(p.Branch().Text().str() + "|" + p.Leaf().str() + "|" + p.Extension().str() + "|" +
                      p.BaseName().str() + "|" + p.WithExtension("bak").Text().str() + "|" +
                      p.WithExtension("").Text().str()),
                  std::vector<std::string>(c.begin() + 1, c.end()))
            << row;
        EXPECT_EQ(p.WithExtension(".bak").Text().str(), c[5]) << row;
    }
}

TEST(Path, NormalizedQuotedLocalAndSafeForms)
{
    // ".." climbs out of relative paths, drive-relative ones and home, not out of a root; a relative part that
    // would read as a root keeps the "./" before it.
    // clang-format off
    const char* const normal[] = {
        "|", "a//b/./c/../d|a/b/d", "a/../~/x|./~/x", "a\\.\\b/|a\\b\\", "a/../|.", "../a/../..|../..",
        "///../a/../../b|/b", "C:\\..\\a|C:\\a", "~/..|~/..", "~/a/../b|~/b", "C:..\\a|C:..\\a",
        "\\\\s\\sh\\..\\a|\\\\s\\sh\\a", "C:a\\..|C:", "x/../C:y|./C:y",
    };
    // clang-format on
    for (const char* row : normal) EXPECT_EQ(Path(Cut(row)[0]).Normalized().Text().str(), Cut(row)[1]) << row;
    // Only a pair of quotes counts as quoted; trailing backslashes are doubled so that the closing quote survives
    // splitting.
    // clang-format off
    const char* const quoted[] = {
        "my dir/f|\"my dir/f\"", "a\tb|\"a\tb\"", "C:\\dir\\f.txt|C:\\dir\\f.txt", "\"my dir\"|\"my dir\"",
        "\"my dir|\"\"my dir\"", "C:\\my dir\\\\|\"C:\\my dir\\\\\\\\\"",
    };
    // clang-format on
    for (const char* row : quoted) EXPECT_EQ(Path(Cut(row)[0]).Quoted().str(), Cut(row)[1]) << row;
    Path mixed("//s/sh\\x//y");
    EXPECT_EQ(&mixed.MakeSlashesLocal(), &mixed);
    EXPECT_EQ(mixed, kWindows ? "\\\\s\\sh\\x\\\\y" : "//s/sh/x//y");
    EXPECT_NE(Path("a/b"), Path("a\\b")); // paths compare as text, in either order
    EXPECT_TRUE(String("x/y") == Path("x/y") && "x/y" == Path("x/y") && String("x") != Path("x/y"));
    // Trailing points and blanks go (Windows would drop them, and ".." names the parent folder), and so do
    // device names, alone or before a point, in any case; bytes above ASCII stay.
    // clang-format off
    const std::pair<String, const char*> safe[] = {
        {"aux_Dump", "aux_Dump"}, {".hidden", ".hidden"}, {"..", "__"}, {"COM0", "COM0"}, {"COM10", "COM10"},
        {"name. .", "name___"}, {"LPT9.x.y", "_PT9.x.y"}, {"CON", "_ON"}, {"\xc3\xa9", "\xc3\xa9"}, {"Nul .log", "_ul .log"},
        {"a<b>c:d\"e/f\\g|h?i*j", "a_b_c_d_e_f_g_h_i_j"}, {String("a\0b\x1f\tc", 6), "a_b__c"}};
    // clang-format on
    for (const auto& [text, expected] : safe) EXPECT_EQ(Path::MakeSafe(text), expected) << text.str();
}

// Every short path over separators, names, points, colons and tildes: no crash, and the cuts fit together.
TEST(Path, EveryShortPathCutsConsistently)
{
    for (const std::string& raw : AllTexts(kPathAlphabet, 6)) {
        const Path p(raw), normal = p.Normalized(), local = Path(p).MakeSlashesLocal();
        const String &text = p.Text(), leaf = p.Leaf(), branch = p.Branch();
        SCOPED_TRACE("\"" + raw + "\"");
        ASSERT_FALSE(leaf.ContainsOneOf("/\\"));
        ASSERT_TRUE(text.StartsWith(branch) && text.EndsWith(leaf) && text.StartsWith(p.RootText()));
        ASSERT_LE(branch.Length() + leaf.Length(), text.Length());
        // Between the branch and the leaf there are only separators.
        ASSERT_LT(text.Mid(branch.Length(), text.Length() - branch.Length() - leaf.Length()).FindOneNotOf("/\\"), 0);
        // The branch, the normal and the local form keep the root and what it means.
        for (const Path& same : {Path(branch), normal, local})
            ASSERT_EQ(std::make_pair(same.Root(), same.IsAbsolute()), std::make_pair(p.Root(), p.IsAbsolute()));
        ASSERT_TRUE(p.Extension().Empty() || p.BaseName() + "." + p.Extension() == leaf);
        ASSERT_EQ(p.WithExtension("e").Branch(), branch);
        ASSERT_EQ(normal.Normalized(), normal);
        ASSERT_EQ(normal.Empty(), p.Empty());
        ASSERT_EQ(local.Text().Length(), text.Length());
    }
}
