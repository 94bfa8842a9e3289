#include <dovo/File.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <tuple>

#ifndef _WIN32
#include <sys/stat.h>
#endif

using dovo::File;
using dovo::Path;
using dovo::String;

namespace {

#ifdef _WIN32
constexpr bool kWindows = true;
const char* const kHomeVariable = "USERPROFILE";
void SetVariable(const char* name, const char* value) { _putenv_s(name, value ? value : ""); }
#else
constexpr bool kWindows = false;
const char* const kHomeVariable = "HOME";
void SetVariable(const char* name, const char* value)
{
    if (value) setenv(name, value, 1);
    else unsetenv(name);
}
#endif

bool EndsWithSeparator(const Path& path)
{
    const String& text = path.Text();
    return !text.Empty() && (text[text.Length() - 1] == '/' || text[text.Length() - 1] == '\\');
}

void WriteFile(const Path& path, std::size_t bytes)
{
    std::ofstream out(path.c_str(), std::ios::binary | std::ios::trunc);
    out << std::string(bytes, 'x');
}

// A fresh folder under the temporary folder, removed with everything in it at the end.
class FileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::random_device random;
        m_root = File::GetTempDir() / Path(("dovo-file-test-" + std::to_string(random()) + std::to_string(random())));
        ASSERT_FALSE(File::Exists(m_root));
        ASSERT_TRUE(File::CreateDirectory(m_root, false));
    }
    void TearDown() override
    {
        RemoveTree(m_root);
        EXPECT_FALSE(File::Exists(m_root));
    }
    static void RemoveTree(const Path& path)
    {
        for (const char* name : {"a", "b", "c", "d", "e", "moved", "f.txt", "g.txt", "empty.txt", "new", "x"})
            if (File::Exists(path / name))
                File::IsDirectory(path / name) ? RemoveTree(path / name) : (void)File::Remove(path / name);
        File::Remove(path);
    }
    Path m_root;
};

} // namespace

TEST(File, StartupDerivesTheApplicationNameAndCleanupForgetsIt)
{
    const std::tuple<const char*, const char*> rows[] = {
        {"/opt/x/render-worker", "render-worker"},
        {"C:\\x\\Tool.exe", "Tool"},
        {"C:/x\\mixed/app.EXE", "app"},
        {"\\\\srv\\share\\bin\\svc.exe", "svc"},
        {"relative/archive.tar.gz", "archive.tar"},
        {"bare", "bare"},
        {"/opt/x.d/noext", "noext"},
        {"", "DovoApp"},
    };
    for (const auto& [program, name] : rows) {
        const dovo::Time before = dovo::Time::CurrentTime();
        File::Startup(program);
        const dovo::Time after = dovo::Time::CurrentTime();
        EXPECT_EQ(File::ApplicationName(), name) << program;
        EXPECT_EQ(File::ProgramPath(), program) << program;
        EXPECT_TRUE(before <= File::StartTime() && File::StartTime() <= after) << program;
    }
    File::Cleanup();
    EXPECT_TRUE(File::ApplicationName().Empty());
    EXPECT_TRUE(File::ProgramPath().Empty());
    EXPECT_EQ(File::StartTime(), dovo::Time());
    File::Cleanup(); // twice is harmless
    EXPECT_TRUE(File::ApplicationName().Empty());
}

TEST(File, FoldersExistAreAbsoluteAndHaveNoTrailingSeparator)
{
    File::Startup("");
    const Path application = File::GetApplicationDir();
    for (const Path& dir : {application, File::GetUserDir(), File::GetTempDir()}) {
        EXPECT_TRUE(dir.IsAbsolute()) << dir.Text();
        EXPECT_TRUE(File::IsDirectory(dir)) << dir.Text();
        EXPECT_FALSE(EndsWithSeparator(dir)) << dir.Text();
    }
    // Without a program path the folder is the running test program's own.
    EXPECT_GT(File::FileSize(application / (kWindows ? "files_tests.exe" : "files_tests")), 0) << application.Text();

    const char* home = std::getenv(kHomeVariable);
    ASSERT_NE(home, nullptr);
    EXPECT_EQ(File::GetUserDir(), Path(home)) << "unless $HOME ends with a separator";

    // A relative program path is taken from the current folder; an absolute one is used as it is.
    File::Startup(Path("sub") / "tool");
    const Path relative = File::GetApplicationDir();
    EXPECT_TRUE(relative.IsAbsolute()) << relative.Text();
    EXPECT_EQ(relative.Leaf(), "sub");
    EXPECT_TRUE(File::IsDirectory(relative.Branch())) << relative.Text();
    File::Startup(File::GetTempDir() / "x" / "." / "tool.exe");
    EXPECT_EQ(File::GetApplicationDir(), File::GetTempDir() / "x");
    File::Cleanup();

    // The machine folder: the override without its trailing separator, else the product's default.
    const char* saved = std::getenv("VARNEL_MACHINE_DIR");
    const std::string savedValue = saved ? saved : "";
    SetVariable("VARNEL_MACHINE_DIR", kWindows ? "D:\\shared\\varnel\\" : "/srv/varnel/");
    EXPECT_EQ(File::GetMachineDir(), kWindows ? "D:\\shared\\varnel" : "/srv/varnel");
    SetVariable("VARNEL_MACHINE_DIR", nullptr);
    const Path machine = File::GetMachineDir();
    if (kWindows) {
        EXPECT_TRUE(machine.IsAbsolute()) << machine.Text();
        EXPECT_EQ(machine.Leaf(), "Varnel");
    } else {
        EXPECT_EQ(machine, "/var/lib/varnel");
    }
    if (saved) SetVariable("VARNEL_MACHINE_DIR", savedValue.c_str());
}

TEST_F(FileTest, SizesAndKindsOfFilesAndFolders)
{
    const Path empty = m_root / "empty.txt", full = m_root / "f.txt", missing = m_root / "g.txt";
    WriteFile(empty, 0);
    WriteFile(full, 70001);
    EXPECT_EQ(File::FileSize(empty), 0);
    EXPECT_EQ(File::FileSize(full), 70001);
    EXPECT_EQ(File::FileSize(missing), -1);
    EXPECT_EQ(File::FileSize(m_root), -1) << "a folder is no file";
    EXPECT_EQ(File::FileSize(""), -1);
    EXPECT_TRUE(File::Exists(empty) && File::Exists(m_root));
    EXPECT_FALSE(File::Exists(missing) || File::Exists("") || File::IsDirectory(""));
    EXPECT_FALSE(File::IsDirectory(full));
    EXPECT_TRUE(File::IsDirectory(m_root));
    EXPECT_FALSE(File::Exists(missing / "below")) << "under a missing folder";
    EXPECT_FALSE(File::Exists(full / "below")) << "under a file";

    // A trailing separator names a folder: both kinds of separator, never a file.
    for (const char* separator : {"/", "\\"}) {
        const Path folder(m_root.Text() + separator);
        EXPECT_TRUE(File::IsDirectory(folder) && File::Exists(folder)) << folder.Text();
        const Path file(full.Text() + separator);
        EXPECT_FALSE(File::Exists(file)) << file.Text();
        EXPECT_EQ(File::FileSize(file), -1) << file.Text();
        EXPECT_FALSE(File::Remove(file)) << file.Text();
    }
    EXPECT_TRUE(File::Exists(full));
    EXPECT_TRUE(File::Exists("~") == File::IsDirectory(File::GetUserDir()));
}

TEST_F(FileTest, CreateAndRemoveFolders)
{
    const Path nested = m_root / "a" / "b" / "c";
    EXPECT_FALSE(File::CreateDirectory(nested, false)) << "parents are missing";
    EXPECT_FALSE(File::Exists(m_root / "a"));
    EXPECT_TRUE(File::CreateDirectory(nested, true));
    EXPECT_TRUE(File::IsDirectory(nested));
    EXPECT_TRUE(File::CreateDirectory(nested, false)) << "it exists already";
    EXPECT_TRUE(File::CreateDirectory(nested, true));
    EXPECT_TRUE(File::CreateDirectory(m_root / "d" / "e/", true)) << "trailing separator";
    EXPECT_TRUE(File::IsDirectory(m_root / "d" / "e"));
    EXPECT_FALSE(File::CreateDirectory("", true));

#ifndef _WIN32
    // 0777 less the umask, whatever the umask is.
    const mode_t mask = umask(027);
    EXPECT_TRUE(File::CreateDirectory(m_root / "x", false));
    umask(mask);
    struct stat info;
    ASSERT_EQ(stat((m_root / "x").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0750u);
    EXPECT_TRUE(File::Remove(m_root / "x"));
#endif

    // A file where a folder should go: no folder, neither there nor below it.
    WriteFile(m_root / "f.txt", 3);
    EXPECT_FALSE(File::CreateDirectory(m_root / "f.txt", true));
    EXPECT_FALSE(File::CreateDirectory(m_root / "f.txt" / "sub", true));
    EXPECT_EQ(File::FileSize(m_root / "f.txt"), 3);

    // Only empty folders go, innermost first; nothing removed is false.
    EXPECT_FALSE(File::Remove(m_root / "a")) << "not empty";
    EXPECT_TRUE(File::IsDirectory(nested));
    EXPECT_TRUE(File::Remove(nested));
    EXPECT_FALSE(File::Remove(nested)) << "already gone";
    EXPECT_TRUE(File::Remove(m_root / "a" / "b" / ""));
    EXPECT_TRUE(File::Remove(m_root / "a"));
    EXPECT_FALSE(File::Exists(m_root / "a"));
    EXPECT_TRUE(File::Remove(m_root / "f.txt"));
    EXPECT_FALSE(File::Exists(m_root / "f.txt"));
    EXPECT_FALSE(File::Remove(m_root / "f.txt"));
    EXPECT_FALSE(File::Remove(""));
}

TEST_F(FileTest, RenameReplacesOnlyWhenAsked)
{
    const Path source = m_root / "f.txt", target = m_root / "g.txt";
    WriteFile(source, 5);
    EXPECT_TRUE(File::Rename(source, target, false)) << "no target yet";
    EXPECT_FALSE(File::Exists(source));
    EXPECT_EQ(File::FileSize(target), 5);
    EXPECT_FALSE(File::Rename(source, target, true)) << "the source is gone";
    EXPECT_EQ(File::FileSize(target), 5);

    WriteFile(source, 11);
    EXPECT_FALSE(File::Rename(source, target, false)) << "the target exists";
    EXPECT_EQ(File::FileSize(source), 11);
    EXPECT_EQ(File::FileSize(target), 5);
    EXPECT_TRUE(File::Rename(source, target, true));
    EXPECT_FALSE(File::Exists(source));
    EXPECT_EQ(File::FileSize(target), 11);

    // Folders move with their contents, into a folder but never over one.
    ASSERT_TRUE(File::CreateDirectory(m_root / "a" / "b", true));
    ASSERT_TRUE(File::CreateDirectory(m_root / "c", false));
    EXPECT_TRUE(File::Rename(m_root / "a", m_root / "moved", false));
    EXPECT_TRUE(File::IsDirectory(m_root / "moved" / "b"));
    EXPECT_FALSE(File::Exists(m_root / "a"));
    EXPECT_FALSE(File::Rename(target, m_root / "c", true)) << "onto a folder";
    EXPECT_FALSE(File::Rename(m_root / "moved", m_root / "c", true)) << "onto a folder";
    EXPECT_EQ(File::FileSize(target), 11);
    EXPECT_TRUE(File::Rename(target, m_root / "moved" / "f.txt", false));
    EXPECT_EQ(File::FileSize(m_root / "moved" / "f.txt"), 11);
    EXPECT_FALSE(File::Rename(m_root / "moved" / "f.txt", m_root / "d" / "f.txt", true)) << "missing folder";
    EXPECT_FALSE(File::Rename(m_root / "moved" / "f.txt", "", true));
    EXPECT_FALSE(File::Rename("", target, true));
    EXPECT_TRUE(File::Remove(m_root / "moved" / "f.txt") && File::Remove(m_root / "moved" / "b"));
    EXPECT_TRUE(File::Remove(m_root / "moved"));
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
    while (!done || reads < 1000) {
        const String name = File::ApplicationName();
        const Path program = File::ProgramPath();
        if (name != names[0] && name != names[1]) ++torn;
        if (program != programs[0] && program != programs[1]) ++torn;
        ++reads;
    }
    writer.join();
    EXPECT_EQ(torn, 0) << "of " << reads << " reads";
    EXPECT_EQ(File::ApplicationName(), names[1]);
    File::Cleanup();
}
