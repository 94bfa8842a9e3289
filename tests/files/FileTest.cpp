#include <dovo/File.h>
#include <dovo/Platform.h>

#include "support/Checks.h"
#include "support/TestSupport.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

using dovo::File;
using dovo::Path;
using dovo::Platform;
using dovo::String;

namespace {

const bool kWindows = OnWindows();

void WriteFile(const Path& path, std::size_t bytes)
{
    std::ofstream(path.c_str(), std::ios::binary | std::ios::trunc) << std::string(bytes, 'x');
}

using FileTest = TestFolder;

} // namespace

TEST(File, StartupNamesTheApplicationFoldersExistAndCleanupForgetsIt)
{
    for (const char* program : {"C:/x\\mixed/app.EXE", "relative/app", ""}) {
        const dovo::Time before = dovo::Time::CurrentTime();
        File::Startup(program);
        EXPECT_EQ(File::ApplicationName(), *program ? "app" : "DovoApp") << program;
        EXPECT_EQ(File::ProgramPath(), program) << program;
        EXPECT_TRUE(before <= File::StartTime() && File::StartTime() <= dovo::Time::CurrentTime()) << program;
    }
    // Folders are absolute, exist and end without a separator; without a program path the application's is the
    // running test program's own, a relative one is taken from the current folder, an absolute one as it is.
    const Path application = File::GetApplicationDir();
    for (const Path& dir : {application, File::GetUserDir(), File::GetTempDir()})
        EXPECT_TRUE(dir.IsAbsolute() && File::IsDirectory(dir) && !dir.Text().EndsWithOneOf("/\\")) << dir.Text();
    EXPECT_GT(File::FileSize(application / (kWindows ? "files_tests.exe" : "files_tests")), 0) << application.Text();
    const char* home = std::getenv(kWindows ? "USERPROFILE" : "HOME");
    EXPECT_EQ(File::GetUserDir(), Path(home ? home : "(none)")) << "unless it ends with a separator";
    File::Startup(Path("sub") / "tool");
    const Path relative = File::GetApplicationDir();
    EXPECT_TRUE(relative.IsAbsolute() && relative.Leaf() == "sub" && File::IsDirectory(relative.Branch()))
        << relative.Text();
    File::Startup(File::GetTempDir() / "x" / "." / "tool.exe");
    EXPECT_EQ(File::GetApplicationDir(), File::GetTempDir() / "x");
    for (int twice = 0; twice < 2; ++twice) {
        File::Cleanup();
        EXPECT_TRUE(File::ApplicationName().Empty() && File::ProgramPath().Empty() &&
                    File::StartTime() == dovo::Time());
    }
    // The machine folder: the override without its trailing separator, else the product's default.
    const String saved = Platform::GetEnvironment("VARNEL_MACHINE_DIR");
    Platform::SetEnvironment("VARNEL_MACHINE_DIR", kWindows ? "D:\\shared\\varnel\\" : "/srv/varnel/", false);
    EXPECT_EQ(File::GetMachineDir(), kWindows ? "D:\\shared\\varnel" : "/srv/varnel");
    Platform::SetEnvironment("VARNEL_MACHINE_DIR", "", false);
    const Path machine = File::GetMachineDir();
    EXPECT_TRUE(machine.IsAbsolute() && (kWindows ? machine.Leaf() == "Varnel" : machine == "/var/lib/varnel"));
    Platform::SetEnvironment("VARNEL_MACHINE_DIR", saved, false);
}

TEST_F(FileTest, SizesKindsAndFolders)
{
    const Path root(m_dir.string());
    WriteFile(root / "empty.txt", 0);
    WriteFile(root / "f.txt", 70001);
    const String r = root.Text(), f = (root / "f.txt").Text();
    // Path, size, exists, is a folder. A trailing separator (of either kind) names a folder, never a file.
    // clang-format off
    const std::tuple<String, long long, bool, bool> rows[] = {
        {r + "/empty.txt", 0, true, false}, {f, 70001, true, false}, {r + "/g.txt", -1, false, false},
        {r, -1, true, true}, {r + "/", -1, true, true}, {r + "\\", -1, true, true}, {f + "/", -1, false, false},
        {f + "\\", -1, false, false}, {r + "/g.txt/x", -1, false, false}, {f + "/below", -1, false, false},
        {"", -1, false, false},
    };
    // clang-format on
    for (const auto& [path, size, exists, folder] : rows) {
        EXPECT_EQ(std::make_tuple(File::FileSize(path), File::Exists(path), File::IsDirectory(path)),
                  std::make_tuple(size, exists, folder))
            << path.str();
        EXPECT_TRUE(exists || !File::Remove(path)) << path.str();
    }
    EXPECT_EQ(File::FileSize(f), 70001); // no Remove above took it
    EXPECT_EQ(File::Exists("~"), File::IsDirectory(File::GetUserDir()));

    const Path nested = root / "a" / "b" / "c";
    EXPECT_FALSE(File::CreateDirectory(nested, false) || File::Exists(root / "a")) << "parents are missing";
    EXPECT_TRUE(File::CreateDirectory(nested, true) && File::IsDirectory(nested));
    EXPECT_TRUE(File::CreateDirectory(nested, false) && File::CreateDirectory(nested, true)) << "it exists already";
    EXPECT_TRUE(File::CreateDirectory(root / "d" / "e/", true) && File::IsDirectory(root / "d" / "e"));
    EXPECT_FALSE(File::CreateDirectory("", true));
    // A file where a folder should go: no folder, neither there nor below it.
    EXPECT_FALSE(File::CreateDirectory(f, true) || File::CreateDirectory(f + "/sub", true));
    EXPECT_EQ(File::FileSize(f), 70001);
    if (!kWindows) { // 0777 less the umask, whatever the umask is
        const unsigned mask = SetUmask(002);
        EXPECT_TRUE(File::CreateDirectory(root / "x", false));
        SetUmask(mask);
        EXPECT_EQ(std::filesystem::status(m_dir / "x").permissions(), std::filesystem::perms(0775));
    }
    // Only empty folders go, innermost first; nothing removed is false.
    // clang-format off
    const std::pair<Path, bool> removals[] = {
        {root / "a", false}, {nested, true}, {nested, false}, {root / "a/b/", true}, {root / "a", true},
        {root / "a", false}, {f, true}, {f, false}, {"", false},
    };
    // clang-format on
    for (const auto& [path, removed] : removals) EXPECT_EQ(File::Remove(path), removed) << path.Text();
    EXPECT_FALSE(File::Exists(root / "a") || File::Exists(f));
}

TEST_F(FileTest, RenameReplacesOnlyWhenAskedAndNeverAFolder)
{
    const Path root(m_dir.string());
    ASSERT_TRUE(File::CreateDirectory(root / "a" / "b", true) && File::CreateDirectory(root / "c", false));
    const Path f = root / "f.txt", g = root / "g.txt", moved = root / "moved";
    // From, to, replace; whether it moved; the sizes of f and g afterwards (-1: none; 0: f written anew first, 11
    // bytes). Renames from a source that is gone, onto a file without replace, onto a folder or into a missing one
    // fail.
    // clang-format off
    const std::tuple<Path, Path, bool, bool, long long, long long> rows[] = {
        {f, g, false, true, -1, 5}, {f, g, true, false, -1, 5}, {f, g, false, false, 0, 5}, {f, g, true, true, -1, 11},
        {g, root / "c", true, false, -1, 11}, {root / "a", moved, false, true, -1, 11},
        {moved, root / "c", true, false, -1, 11}, {g, root / "d" / "f.txt", true, false, -1, 11},
        {g, "", true, false, -1, 11}, {"", g, true, false, -1, 11}, {g, moved / "f.txt", false, true, -1, -1},
    };
    // clang-format on
    WriteFile(f, 5);
    for (const auto& [from, to, replace, renamed, fSize, gSize] : rows) {
        if (fSize == 0) WriteFile(f, 11);
        EXPECT_EQ(File::Rename(from, to, replace), renamed) << from.Text() << " -> " << to.Text();
        EXPECT_EQ(File::FileSize(f), fSize ? fSize : 11) << to.Text();
        EXPECT_EQ(File::FileSize(g), gSize) << to.Text();
    }
    EXPECT_TRUE(File::IsDirectory(moved / "b") && !File::Exists(root / "a"));
    EXPECT_EQ(File::FileSize(moved / "f.txt"), 11);
}

TEST(File, ApplicationNameIsNeverTornWhileStartupRuns)
{
    // Names of different lengths, so that a value read while it is being replaced would show.
    const char* const programs[] = {"/a/alpha.exe", "C:\\b\\beta-with-a-much-longer-name-than-alpha"};
    const char* const names[] = {"alpha", "beta-with-a-much-longer-name-than-alpha"};
    File::Startup(programs[0]);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 0; i < 20000; ++i) File::Startup(programs[i % 2]);
        done = true;
    });
    int reads = 0, torn = 0;
    for (; !done || reads < 1000; ++reads) {
        const String name = File::ApplicationName();
        const Path program = File::ProgramPath();
        torn += (name != names[0] && name != names[1]) + (program != programs[0] && program != programs[1]);
    }
    writer.join();
    EXPECT_EQ(torn, 0) << "of " << reads << " reads";
    EXPECT_EQ(File::ApplicationName(), names[1]);
    File::Cleanup();
}
