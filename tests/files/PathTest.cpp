#include <dovo/Path.h>

#include <gtest/gtest.h>

#include <string>
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

TEST(Path, RootsAreReadAsTextOnEveryPlatform)
{
    const auto check = [](const char* text, Path::RootType type, const char* root) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Path(text).Root(), type);
        EXPECT_EQ(Path(text).RootText(), root);
    };
    check("", Path::NoRoot, "");
    check("a/b", Path::NoRoot, "");
    check("\\\\server\\share\\dir", Path::UNCRoot, "\\\\server\\share");
    check("//server/share", Path::UNCRoot, "//server/share");
    check("\\/srv\\", Path::UNCRoot, "\\/srv");
    check("\\\\srv\\\\x", Path::UNCRoot, "\\\\srv"); // an empty share name is no share
    check("\\\\.\\pipe\\Dovo: x", Path::UNCRoot, "\\\\.\\pipe");
    check("C:", Path::DriveRoot, "C:");
    check("c:/x", Path::DriveRoot, "c:");
    check("z:foo", Path::DriveRoot, "z:");
    check("1:/x", Path::NoRoot, "");
    check("\\", Path::SlashRoot, "\\");
    check("\\\\", Path::SlashRoot, "\\"); // no server after the two separators
    check("///a", Path::SlashRoot, "/");
    check("~", Path::HomeRoot, "~");
    check("~\\x", Path::HomeRoot, "~");
    check("~user/x", Path::NoRoot, "");
    check("~$report.doc", Path::NoRoot, "");
}

TEST(Path, IsAbsoluteFollowsThePlatform)
{
    const auto check = [](const char* text, bool onLinux, bool onWindows) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Path(text).IsAbsolute(), kWindows ? onWindows : onLinux);
        EXPECT_NE(Path(text).IsRelative(), Path(text).IsAbsolute());
    };
    check("", false, false);
    check("../a", false, false);
    check("/x", true, false); // on Windows rooted on the current drive
    check("\\", true, false);
    check("C:\\x", true, true);
    check("c:/", true, true);
    check("C:", false, false); // drive C's current folder
    check("C:foo", false, false);
    check("//srv", true, true);
    check("~/x", true, true);
    check("~x", false, false);
}

TEST(Path, JoinPutsOneSeparatorBetweenTheParts)
{
    const String local(Path::LocalSeparator(), 1);
    EXPECT_EQ(Path("a") / "b", "a" + local + "b");
    EXPECT_EQ(Path("a\\b") / "c", "a\\b\\c");
    EXPECT_EQ(Path("a") / "b/c", "a/b/c"); // the right side's style when the left has none
    EXPECT_EQ(Path("a\\//") / "b/", "a/b/");
    EXPECT_EQ(Path("//") / "b", "/b");
    EXPECT_EQ(Path("C:\\\\") / "b", "C:\\b");
    EXPECT_EQ(Path("C:") / "b", "C:b");
    EXPECT_EQ(Path("C:x") / "b", "C:x" + local + "b");
    EXPECT_EQ(Path("\\\\srv\\share\\") / "b", "\\\\srv\\share\\b");
    EXPECT_EQ((Path("\\\\srv") / "share").RootText(), "\\\\srv\\share");
    EXPECT_EQ(Path("~") / "b", "~" + local + "b");
    EXPECT_EQ(Path("a/") / "", "a/");
    EXPECT_EQ(Path("") / "b", "b");

    Path p("base/x");
    p /= String("y.txt");
    EXPECT_EQ(p, "base/x/y.txt");
}

TEST(Path, JoinWithARootedRightSide)
{
    // Absolute everywhere: the right side replaces the left.
    EXPECT_EQ(Path("a/b") / "~/x", "~/x");
    EXPECT_EQ(Path("/a") / "\\\\srv\\share\\x", "\\\\srv\\share\\x");
    EXPECT_EQ(Path("/home/u") / "C:/x", "C:/x");

    // Drive-relative: continues the left side's folder on the same drive, else stands alone.
    EXPECT_EQ(Path("c:/a/") / "C:b", "c:/a/b");
    EXPECT_EQ(Path("C:\\a") / "C:", "C:\\a");
    EXPECT_EQ(Path("C:\\a") / "D:b", "D:b");
    EXPECT_EQ(Path("/a") / "D:b", "D:b");

    // "/x" is absolute on Linux; on Windows it takes the left side's drive or share.
    EXPECT_EQ(Path("C:\\a\\b") / "\\x", kWindows ? "C:\\x" : "\\x");
    EXPECT_EQ(Path("C:") / "/x", kWindows ? "C:/x" : "/x");
    EXPECT_EQ(Path("\\\\srv\\sh\\a") / "/x", kWindows ? "\\\\srv\\sh/x" : "/x");
    EXPECT_EQ(Path("~/a") / "/x", "/x");
}

TEST(Path, LeafAndBranch)
{
    const auto check = [](const char* text, const char* branch, const char* leaf) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Path(text).Branch(), branch);
        EXPECT_EQ(Path(text).Leaf(), leaf);
    };
    check("a/b/c.txt", "a/b", "c.txt");
    check("a\\\\b", "a", "b");
    check("a/b//", "a/b", "");
    check("c.txt", "", "c.txt");
    check("../..", "..", "..");
    check("/", "/", "");
    check("///a", "/", "a");
    check("\\\\", "\\", "");
    check("C:", "C:", "");
    check("C:\\", "C:\\", "");
    check("C:/\\a", "C:/", "a");
    check("C:a\\b", "C:a", "b");
    check("C:a", "C:", "a");
    check("~/", "~", "");
    check("\\\\srv\\share", "\\\\srv\\share", "");
    check("\\\\srv\\share\\a", "\\\\srv\\share", "a");
}

TEST(Path, ExtensionBaseNameAndWithExtension)
{
    const auto check = [](const char* text, const char* extension, const char* base, const char* withBak,
                          const char* without) {
        SCOPED_TRACE(text);
        const Path p(text);
        EXPECT_EQ(p.Extension(), extension);
        EXPECT_EQ(p.BaseName(), base);
        EXPECT_EQ(p.WithExtension("bak"), withBak);
        EXPECT_EQ(p.WithExtension(".bak"), withBak);
        EXPECT_EQ(p.WithExtension(""), without);
    };
    check("a/b/c.txt", "txt", "c", "a/b/c.bak", "a/b/c");
    check("a.tar.gz", "gz", "a.tar", "a.tar.bak", "a.tar");
    check("d/.profile", "", ".profile", "d/.profile.bak", "d/.profile");
    check(".profile.old", "old", ".profile", ".profile.bak", ".profile");
    check("a.b/c", "", "c", "a.b/c.bak", "a.b/c");
    check("a.", "", "a", "a.bak", "a");
    check("C:x.y", "y", "x", "C:x.bak", "C:x");
    // No leaf to carry an extension: unchanged.
    check("a.b/", "", "", "a.b/", "a.b/");
    check("a/..", "", "..", "a/..", "a/..");
    check("C:\\", "", "", "C:\\", "C:\\");
}

TEST(Path, NormalizedFoldsPartsByText)
{
    const auto check = [](const char* text, const char* normal) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Path(text).Normalized(), normal);
    };
    check("", "");
    check("a//b/./c/../d", "a/b/d");
    check("a\\.\\b/", "a\\b\\");
    check("a/../", ".");
    check("../a/../..", "../..");
    check("///../a/../../b", "/b");
    check("C:\\..\\a", "C:\\a");
    check("C:..\\a", "C:..\\a");
    check("C:a\\..", "C:");
    check("~/..", "~/..");
    check("~/a/../b", "~/b");
    check("\\\\srv\\sh\\..\\a", "\\\\srv\\sh\\a");
    // A relative part that would read as a root keeps the "./" before it.
    check("a/../~/x", "./~/x");
    check("x/../C:y", "./C:y");
}

TEST(Path, QuotedWrapsTextWithBlanks)
{
    EXPECT_EQ(Path("C:\\dir\\f.txt").Quoted(), "C:\\dir\\f.txt");
    EXPECT_EQ(Path("my dir/f").Quoted(), "\"my dir/f\"");
    EXPECT_EQ(Path("a\tb").Quoted(), "\"a\tb\"");
    EXPECT_EQ(Path("\"my dir\"").Quoted(), "\"my dir\"");
    EXPECT_EQ(Path("\"my dir").Quoted(), "\"\"my dir\""); // only a pair of quotes counts as quoted
    // Trailing backslashes are doubled so that the closing quote survives splitting.
    EXPECT_EQ(Path("C:\\my dir\\\\").Quoted(), "\"C:\\my dir\\\\\\\\\"");
}

TEST(Path, MakeSlashesLocalWritesThePlatformSeparator)
{
    EXPECT_EQ(Path::LocalSeparator(), kWindows ? '\\' : '/');

    Path mixed("a/b\\c//d");
    EXPECT_EQ(&mixed.MakeSlashesLocal(), &mixed);
    EXPECT_EQ(mixed, kWindows ? "a\\b\\c\\\\d" : "a/b/c//d");

    Path unc("//srv/share\\x");
    unc.MakeSlashesLocal();
    EXPECT_EQ(unc, kWindows ? "\\\\srv\\share\\x" : "//srv/share/x");
    EXPECT_EQ(unc.RootText(), kWindows ? "\\\\srv\\share" : "//srv/share");
}

TEST(Path, MakeSafeReplacesEachUnsafeCharacter)
{
    EXPECT_EQ(Path::MakeSafe("My Log-1.2"), "My Log-1.2");
    EXPECT_EQ(Path::MakeSafe("a<b>c:d\"e/f\\g|h?i*j"), "a_b_c_d_e_f_g_h_i_j");
    EXPECT_EQ(Path::MakeSafe(String("a\0b\x1f\tc", 6)), "a_b__c");
    EXPECT_EQ(Path::MakeSafe("\xc3\xa9t\xc3\xa9"), "\xc3\xa9t\xc3\xa9"); // bytes above ASCII stay

    // Trailing points and blanks: Windows would drop them, and ".." would name the parent folder.
    EXPECT_EQ(Path::MakeSafe(".."), "__");
    EXPECT_EQ(Path::MakeSafe("name. ."), "name___");
    EXPECT_EQ(Path::MakeSafe(".hidden"), ".hidden");

    // Device names, alone or before a point, in any case.
    EXPECT_EQ(Path::MakeSafe("CON"), "_ON");
    EXPECT_EQ(Path::MakeSafe("Nul .log"), "_ul .log");
    EXPECT_EQ(Path::MakeSafe("LPT9.x.y"), "_PT9.x.y");
    EXPECT_EQ(Path::MakeSafe("COM0"), "COM0");
    EXPECT_EQ(Path::MakeSafe("COM10"), "COM10");
    EXPECT_EQ(Path::MakeSafe("aux_Dump"), "aux_Dump");
}

TEST(Path, ComparesWithTextInEitherOrder)
{
    const Path p(std::string("x/y"));
    const String text("x/y");
    EXPECT_TRUE(p == text);
    EXPECT_TRUE(text == p);
    EXPECT_TRUE("x/y" == p);
    EXPECT_TRUE(String("x") != p);
    EXPECT_FALSE(p != "x/y");
    EXPECT_NE(Path("a/b"), Path("a\\b")); // paths compare as text
    EXPECT_LT(Path("a"), Path("b"));
}

// Every short path over separators, names, points, colons and tildes: no crash, and the cuts fit
// together.
TEST(Path, EveryShortPathCutsConsistently)
{
    for (const std::string& raw : AllTexts(kPathAlphabet, 6)) {
        const Path p(raw);
        const String& text = p.Text();
        const String leaf = p.Leaf();
        const String branch = p.Branch();
        SCOPED_TRACE("\"" + raw + "\"");

        ASSERT_FALSE(leaf.ContainsOneOf("/\\"));
        ASSERT_TRUE(text.StartsWith(branch) && text.EndsWith(leaf));
        ASSERT_LE(branch.Length() + leaf.Length(), text.Length());
        // Between the branch and the leaf there are only separators.
        const String middle = text.Mid(branch.Length(), text.Length() - branch.Length() - leaf.Length());
        ASSERT_LT(middle.FindOneNotOf("/\\"), 0);
        ASSERT_EQ(Path(branch).Root(), p.Root());
        ASSERT_EQ(Path(branch).IsAbsolute(), p.IsAbsolute());
        ASSERT_TRUE(text.StartsWith(p.RootText()));

        if (!p.Extension().Empty()) {
            ASSERT_EQ(p.BaseName() + "." + p.Extension(), leaf);
        }
        ASSERT_EQ(p.WithExtension("e").Branch(), branch);

        const Path normal = p.Normalized();
        ASSERT_EQ(normal.Normalized(), normal);
        ASSERT_EQ(normal.Root(), p.Root());
        ASSERT_EQ(normal.IsAbsolute(), p.IsAbsolute());
        ASSERT_EQ(normal.Empty(), p.Empty());

        Path local(p);
        local.MakeSlashesLocal();
        ASSERT_EQ(local.Root(), p.Root());
        ASSERT_EQ(local.Text().Length(), text.Length());
    }
}

TEST(Path, EveryShortJoinKeepsBothSides)
{
    const std::vector<std::string> texts = AllTexts(kPathAlphabet, 3);
    for (const std::string& l : texts) {
        for (const std::string& r : texts) {
            const Path left(l), right(r);
            const Path joined = left / right;
            SCOPED_TRACE("\"" + l + "\" / \"" + r + "\"");
            if (r.empty()) {
                ASSERT_EQ(joined, left);
            } else if (l.empty() || right.IsAbsolute()) {
                ASSERT_EQ(joined, right);
            } else if (right.Root() == Path::NoRoot) {
                ASSERT_TRUE(joined.Text().EndsWith(right));
                ASSERT_EQ(joined.Root(), left.Root());
                ASSERT_EQ(joined.IsAbsolute(), left.IsAbsolute());
                ASSERT_LE(joined.Text().Length(), left.Text().Length() + 1 + right.Text().Length());
                // (Unless the right side became the share of a server-only left side.)
                if (joined.RootText() == left.RootText()) {
                    ASSERT_EQ(joined.Leaf(), right.Leaf());
                }
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
