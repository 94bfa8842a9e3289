#include <dovo/DynamicBuffer.h>
#include <dovo/DynamicBufferStream.h>
#include <dovo/File.h>
#include <dovo/FileException.h>
#include <dovo/FileFinder.h>
#include <dovo/InFile.h>
#include <dovo/OutFile.h>

#include "support/Checks.h"
#include "support/TestSupport.h"

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>

using namespace dovo;

namespace {

using FileTransportTest = TestFolder;

std::string Contents(const Path& path)
{
    File file(path);
    file.BeginUsing();
    std::string text(static_cast<std::size_t>(file.Size()), '\0');
    text.resize(static_cast<std::size_t>(
        file.Read(reinterpret_cast<unsigned char*>(text.data()), static_cast<int>(text.size()))));
    return text;
}

// What opening path threw, the OS error (which differs by platform, never 0) shown as "E"; the file is named.
std::string OpenFailure(const std::function<void()>& open, const Path& path)
{
    std::unique_ptr<Exception> e;
    std::string thrown = Thrown(open, &e);
    const auto* file = dynamic_cast<const FileException*>(e.get());
    EXPECT_TRUE(file && file->Filename() == path && file->OSError() != 0) << thrown;
    const std::size_t os = thrown.find("|0x") + 12; // after "|0xERROR|"
    return os < thrown.size() ? thrown.replace(os, thrown.find('|', os) - os, "E") : thrown;
}

} // namespace

TEST_F(FileTransportTest, ModesWriteAppendAndReadWrite)
{
    const Path path = Path(m_dir.string()) / "b.txt";
    struct Row
    {
        int mode;
        const char* write;
        const char* after;
    } rows[] = {
        {File::modeWrite, "abc", "abc"},
        {File::modeAppend, "de", "abcde"},
        {File::modeReadWrite, "X", "Xbcde"},
        {File::modeWrite, "z", "z"},
    };
    for (const Row& row : rows) {
        File file(path, row.mode);
        file.BeginUsing();
        EXPECT_TRUE(file.IsUsable());
        file.Write(reinterpret_cast<const unsigned char*>(row.write), static_cast<int>(std::strlen(row.write)));
        file.CeaseUsing();
        EXPECT_FALSE(file.IsUsable());
        EXPECT_EQ(Contents(path), row.after) << row.mode << " " << row.write;
    }
}

TEST_F(FileTransportTest, MissingFilesAndFailures)
{
    const Path dir(m_dir.string()), missing = dir / "none.txt";
    const std::string cannot = "File|BeginUsing|0x20000008|E|1|Could not open file ";
    File reader(missing);
    EXPECT_EQ(OpenFailure([&] { reader.BeginUsing(); }, missing), cannot + missing.Text().str());
    EXPECT_FALSE(reader.TryOpen(missing));
    EXPECT_FALSE(reader.IsUsable());
    EXPECT_EQ(OpenFailure([&] { reader.AltOpen(dir); }, dir), cannot + dir.Text().str()); // a folder is not a file

    File empty(missing, File::modeRead | File::modeMissingIsEmpty);
    empty.BeginUsing();
    unsigned char byte;
    EXPECT_EQ(std::tuple(empty.IsUsable(), empty.Size(), empty.Read(&byte, 1)), std::tuple(true, 0LL, 0));
    EXPECT_FALSE(File::Exists(missing)); // reading never creates it
    const Path below = dir / "no" / "such.bin";
    EXPECT_EQ(OpenFailure([&] { InFile in(below); }, below), cannot + below.Text().str());
}

TEST_F(FileTransportTest, StreamsOverFiles)
{
    const Path path = Path(m_dir.string()) / "big.bin";
    {
        OutFile out(path, File::modeWrite, 1000); // values straddle the buffer's end
        for (int i = 0; i < 100000; ++i) out.Put(i * 7);
        out.Put(String("end"));
    }
    EXPECT_EQ(File::FileSize(path), 400007);
    InFile in(path, File::modeRead, 999, true);
    int value = 0;
    bool same = true;
    for (int i = 0; i < 100000 && same; ++i) same = in.Get(value) == 4 && value == i * 7;
    EXPECT_TRUE(same) << value;
    String tail;
    in.Get(tail);
    EXPECT_EQ(tail, "end");
    EXPECT_EQ(in.Seek(7, Stream::fromEnd), 400000);
    in.Get(value);
    EXPECT_EQ(value, 3);
    EXPECT_EQ(in.Seek(8, Stream::fromBegin), 8);
    in.Get(value);
    EXPECT_EQ(value, 14);
    {
        OutFile more(path, File::modeAppend);
        more.Put(-1);
    }
    EXPECT_EQ(File::FileSize(path), 400011);
}

TEST(PathTranslationTest, RootsOfEveryPlatform)
{
    Path::SetTranslationRoots(0, "R:\\jobs", "/mnt/jobs");
    Path::SetTranslationRoots(1, "\\\\farm\\assets", "/net/assets");
    Path::SetTranslationRoots(2, "Q:\\", ""); // this share is not reached from Linux
    const bool windows = Path::LocalRootPlatform() == Path::WindowsRoots;
    const char sep = Path::LocalSeparator();
    auto local = [&](const char* w, const char* l) { return Path(windows ? w : l).MakeSlashesLocal().Text(); };
    struct Row
    {
        const char* text;
        String expected;
    } rows[] = {
        {"r:/JOBS/a/b.exr", local("R:\\jobs\\a\\b.exr", "/mnt/jobs/a/b.exr")},
        {"/mnt/jobs/a", local("R:\\jobs\\a", "/mnt/jobs/a")},
        {"//farm/assets/tex.png", local("\\\\farm\\assets\\tex.png", "/net/assets/tex.png")},
        {"/mnt/jobsite/a", "/mnt/jobsite/a"}, // whole parts only
        {"/Mnt/jobs/a", "/Mnt/jobs/a"},       // Linux roots in their own case
        {"/mnt/jobs", local("R:\\jobs", "/mnt/jobs")},
    };
    for (const Row& row : rows) EXPECT_EQ(Path::TranslateToLocal(row.text).Text(), row.expected) << row.text;
    EXPECT_EQ(Path::TranslateToLocal("Q:\\x").Text(), windows ? String("Q:") + sep + "x" : String("Q:\\x"));
    EXPECT_EQ(Path::_GetLocalRoot(1), windows ? "\\\\farm\\assets" : "/net/assets");
    EXPECT_EQ(Path::_GetLocalRoot(9), "");

    // Through a stream: index -1 translates, an index names the root, a missing root keeps the text.
    DynamicBuffer block(0, 0);
    {
        DynamicBufferStream out(&block);
        out.Put(Path("/mnt/jobs/shot1"));
        out.Put(1), out.Put(String("tex/a.png"));
        out.Put(7), out.Put(String("x/y"));
        out.Detach();
    }
    RAMBlock all(block.Data(), static_cast<int>(block.Position()));
    InStream reader(64);
    reader.Attach(&all);
    Path a, b, c;
    reader.Get(a), reader.Get(b), reader.Get(c);
    EXPECT_EQ(a.Text(), local("R:\\jobs\\shot1", "/mnt/jobs/shot1"));
    EXPECT_EQ(b.Text(), local("\\\\farm\\assets\\tex\\a.png", "/net/assets/tex/a.png"));
    EXPECT_EQ(c.Text(), local("x\\y", "x/y"));
    Path::ClearTranslationRoots();
    EXPECT_EQ(Path::TranslateToLocal("/mnt/jobs/a").Text(), "/mnt/jobs/a");
}

TEST_F(FileTransportTest, FindsByWildcard)
{
    const Path dir(m_dir.string());
    const std::string many(3000, 'a');
    struct Row
    {
        const char* name;
        const char* pattern;
        bool matches;
    } rows[] = {
        {"a.log.1", "*.log", false},       {"ab.log", "?.log", false}, {"", "*", true},
        {"abcbd", "a*b*c", false},         {"aXbYc", "a*b?c", true},   {"x", "", false},
        {many.c_str(), "*a*a*a*b", false}, // no exponential backtracking
    };
    for (const Row& row : rows) EXPECT_EQ(FileFinder::Matches(row.name, row.pattern), row.matches) << row.pattern;
    EXPECT_EQ(FileFinder::Matches("A.LOG", "*.log"), Path::LocalSeparator() == '\\');

    {
        OutFile a(dir / "a.bin");
        a.Put(1);
        OutFile b(dir / "b.txt");
    }
    ASSERT_TRUE(File::CreateDirectory(dir / "sub", false));
    std::map<std::string, std::tuple<bool, long long>> found;
    for (FileFinder f(dir / Path("*")); f.Next();) {
        found[f.Name().str()] = std::tuple(f.IsDirectory(), f.Size());
        EXPECT_EQ(f.FullPath(), dir / Path(f.Name()));
        EXPECT_LE((Time::CurrentTime() - f.Modified()).TotalSeconds(), 3600) << f.Name();
    }
    EXPECT_EQ(found, (std::map<std::string, std::tuple<bool, long long>>{
                         {"a.bin", {false, 4}}, {"b.txt", {false, 0}}, {"sub", {true, 0}}}));
    int bins = 0;
    for (FileFinder f(dir / Path("*.bin")); f.Next();) ++bins;
    EXPECT_EQ(bins, 1);
    FileFinder none(dir / "missing" / "*");
    EXPECT_FALSE(none.Next());
}
