#include <dovo/File.h>
#include <dovo/FileException.h>
#include <dovo/InFile.h>
#include <dovo/OutFile.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <tuple>

using namespace dovo;

namespace {

class FileTransportTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::random_device random;
        m_dir = File::GetTempDir() / Path(("dovo-transport-" + std::to_string(random()) + std::to_string(random())));
        ASSERT_TRUE(File::CreateDirectory(m_dir, true));
    }
    void TearDown() override
    {
        for (const char* name : {"a.bin", "b.txt", "big.bin"}) File::Remove(m_dir / name);
        File::Remove(m_dir);
    }

    std::string Contents(const Path& path)
    {
        File file(path);
        file.BeginUsing();
        std::string text(static_cast<std::size_t>(file.Size()), '\0');
        text.resize(static_cast<std::size_t>(
            file.Read(reinterpret_cast<unsigned char*>(text.data()), static_cast<int>(text.size()))));
        return text;
    }

    // "File/where (error): message" of the FileException f throws, and its path.
    std::string Failure(const std::function<void()>& f, Path* path = nullptr)
    {
        try {
            f();
        } catch (FileException* e) {
            std::unique_ptr<FileException> owned(e);
            if (path) *path = e->Filename();
            EXPECT_NE(e->OSError(), 0);
            return e->Module().str() + "/" + e->Method().str() + SFormat(" (%x): ", e->Error()).str() +
                   e->Message().str();
        } catch (Exception* e) {
            std::unique_ptr<Exception> owned(e);
            return "not a FileException: " + e->Message().str();
        }
        return "nothing thrown";
    }

    Path m_dir;
};

} // namespace

TEST_F(FileTransportTest, ModesWriteAppendAndReadWrite)
{
    const Path path = m_dir / "b.txt";
    struct Row
    {
        int mode;
        const char* write;
        const char* after;
    } rows[] = {
        {File::modeWrite, "abc", "abc"},     {File::modeAppend, "de", "abcde"},
        {File::modeReadWrite, "X", "Xbcde"}, {File::modeWrite, "z", "z"},
        {File::modeAppend, "", "z"},         {File::modeReadWrite | File::modeRead, "", "z"},
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
    const Path missing = m_dir / "none.txt";
    Path named;
    File reader(missing);
    EXPECT_EQ(Failure([&] { reader.BeginUsing(); }, &named),
              "File/BeginUsing (20000008): Could not open file " + missing.Text().str());
    EXPECT_EQ(named, missing);
    EXPECT_FALSE(reader.TryOpen(missing));
    EXPECT_FALSE(reader.IsUsable());
    EXPECT_EQ(Failure([&] { reader.AltOpen(m_dir); }),
              "File/BeginUsing (20000008): Could not open file " + m_dir.Text().str()); // a folder is not a file

    File empty(missing, File::modeRead | File::modeMissingIsEmpty);
    empty.BeginUsing();
    unsigned char byte;
    EXPECT_EQ(std::tuple(empty.IsUsable(), empty.Size(), empty.Read(&byte, 1)), std::tuple(true, 0LL, 0));
    EXPECT_FALSE(File::Exists(missing)); // reading never creates it
    EXPECT_EQ(Failure([&] { InFile in(m_dir / "no" / "such.bin"); }),
              "File/BeginUsing (20000008): Could not open file " + (m_dir / "no" / "such.bin").Text().str());
}

TEST_F(FileTransportTest, StreamsOverFiles)
{
    const Path path = m_dir / "big.bin";
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
