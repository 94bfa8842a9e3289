#include <dovo/DynamicBuffer.h>
#include <dovo/DynamicBufferStream.h>
#include <dovo/InStream.h>
#include <dovo/OutStream.h>
#include <dovo/RAMBlock.h>
#include <dovo/SetExceptionLevel.h>
#include <dovo/Time.h>
#include <dovo/UID.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace dovo;

namespace {

using Bytes = std::vector<unsigned char>;

// "where: message (error)" of the library exception f throws.
std::string Failure(const std::function<void()>& f)
{
    try {
        f();
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        return e->Module().str() + "/" + e->Method().str() + ": " + e->Message().str() + " " +
               SFormat("(%x)", e->Error()).str();
    }
    return "nothing thrown";
}

// A block that counts the calls a stream makes on it.
struct CountingBlock : RAMBlock
{
    using RAMBlock::RAMBlock;
    int ceased = 0, seeks = 0;
    void CeaseUsing() override { ++ceased, RAMBlock::CeaseUsing(); }
    long long Seek(long long offset, Stream::SeekMode mode) override { return ++seeks, RAMBlock::Seek(offset, mode); }
};

struct StatusLog : HasSlots<>
{
    std::vector<int> seen;
    void Changed(int status) { seen.push_back(status); }
};

// What a write through an OutStream with a buffer of `capacity` bytes left in memory.
Bytes Written(const std::function<void(OutStream&)>& write, bool binary = true, int capacity = 64)
{
    DynamicBuffer block(capacity, 0);
    {
        DynamicBufferStream out(&block);
        out.Binary(binary);
        write(out);
        out.Detach();
    }
    return Bytes(block.Data(), block.Data() + block.Position());
}

} // namespace

TEST(StreamTest, OpenAttachCloseDetach)
{
    unsigned char memory[100] = {};
    CountingBlock block(memory, 100);
    InStream in(16);
    StatusLog log;
    in.StatusSignal.Connect(&log, &StatusLog::Changed);
    EXPECT_EQ(Failure([&] { in.Seek(0, Stream::fromBegin); }),
              "InStream/Seek: Seek requires an the Stream be active (20000003)");
    RAMBlock unused(100); // not usable before BeginUsing
    for (RAMBlock* none : {static_cast<RAMBlock*>(nullptr), &unused})
        EXPECT_EQ(Failure([&] { in.Attach(none); }), "InStream/Attach: Attach requires an open Transport (20000003)");
    EXPECT_EQ(log.seen, (std::vector<int>{Stream::attaching, Stream::attaching}));

    in.Attach(&block);
    in.Close();
    EXPECT_EQ(block.ceased, 0);
    EXPECT_TRUE(block.IsUsable());
    EXPECT_EQ(in.Detach(), nullptr);

    struct Opening : InStream
    {
        using InStream::_Transport;
        using InStream::InStream;
    } own(16);
    CountingBlock counted(100);
    own._Transport(&counted);
    own.Open();
    EXPECT_EQ(own.GetStatus(), Stream::opened);
    own.Close();
    own.Close();
    EXPECT_EQ(counted.ceased, 1);
    EXPECT_EQ(own.GetStatus(), Stream::closed);
    log.seen.clear();
    InStream reopened(16);
    reopened.StatusSignal.Connect(&log, &StatusLog::Changed);
    reopened.Attach(&block);
    reopened.Detach();
    EXPECT_EQ(Failure([&] { reopened.Open(); }), "InStream/Open: Open requires a Transport (20000003)");
    EXPECT_EQ(log.seen, (std::vector<int>{Stream::attaching, Stream::attached, Stream::detaching, Stream::detached,
                                          Stream::opening}));
}

TEST(StreamTest, SeekAndBuffer)
{
    unsigned char memory[100];
    for (int i = 0; i < 100; ++i) memory[i] = static_cast<unsigned char>(i);
    CountingBlock block(memory, 100);
    InStream in(16);
    in.Attach(&block);
    EXPECT_EQ(in.Seek(5, Stream::fromEnd), 95);
    EXPECT_EQ(in.Read(), 95);
    EXPECT_EQ(in.Seek(10, Stream::fromBegin), 10);
    in.Read();
    const int seeks = block.seeks;
    EXPECT_EQ(in.Seek(20, Stream::fromBegin), 20); // inside the buffered 10..25
    EXPECT_EQ(block.seeks, seeks);
    EXPECT_EQ(in.Read(), 20);
    EXPECT_EQ(in.Seek(-1000, Stream::fromCurrent), 47); // the offset becomes the transport position (26)
    EXPECT_EQ(Failure([&] { in.Seek(0, static_cast<Stream::SeekMode>(7)); }),
              "InStream/Seek: Unknown seek mode: 7 (20000004)");

    EXPECT_EQ(in.SetBufPos(-3), in.GetBufPos());
    EXPECT_EQ(in.GetBufPos(), 0);
    in.SetBufPos(16 + 10);
    EXPECT_EQ(in.GetBufPos(), 16);

    InStream shrink(8);
    block.Seek(0, Stream::fromBegin);
    shrink.Attach(&block);
    shrink.Read();
    EXPECT_EQ(Failure([&] { shrink.SetBuffer(nullptr, 4); }),
              "Stream/SetBuffer: Buffer size change resulted in loss of data (20000012)");
    EXPECT_EQ(shrink.GetBufEnd(), 4);
    EXPECT_EQ(shrink.GetBufPos(), 0);
    EXPECT_EQ(shrink.Read(), 1); // the unconsumed bytes moved to the front of the new buffer

    unsigned char ab[2] = {'A', 'B'};
    InStream shown(ab, 2);
    EXPECT_EQ(shown.DisplayBuffer("t", 2, 0), "XX <:> AB");
    shown.SetBufPos(1);
    EXPECT_EQ(shown.DisplayBuffer("t", 2, 1), "X A <:> B X ");
    InStream none(0);
    EXPECT_EQ(Failure([&] { none.DisplayBuffer("me", 1, 0); }),
              "InStream/DumpBuffer called by me: Cannot call DumpBuffer called by me without a buffer (20000003)");
}

TEST(StreamTest, ValueBytes)
{
    struct Row
    {
        const char* name;
        std::function<void(OutStream&)> write;
        Bytes bytes;
        bool binary = true;
    } rows[] = {
        {"int", [](OutStream& o) { EXPECT_EQ(o.Put(0x01020304), 4); }, {4, 3, 2, 1}},
        {"short", [](OutStream& o) { o.Put(static_cast<short>(-2)); }, {0xFE, 0xFF}},
        {"long long", [](OutStream& o) { o.Put(0x0102030405060708LL); }, {8, 7, 6, 5, 4, 3, 2, 1}},
        {"double", [](OutStream& o) { o.Put(1.0); }, {0, 0, 0, 0, 0, 0, 0xF0, 0x3F}},
        {"float", [](OutStream& o) { o.Put(1.0f); }, {0, 0, 0x80, 0x3F}},
        {"empty string", [](OutStream& o) { EXPECT_EQ(o.Put(String()), 4); }, {0, 0, 0, 0}},
        {"string", [](OutStream& o) { EXPECT_EQ(o.Put(String("ab")), 6); }, {2, 0, 0, 0, 'a', 'b'}},
        {"plain string", [](OutStream& o) { EXPECT_EQ(o.Put(String("ab")), 2); }, {'a', 'b'}, false},
        {"bool", [](OutStream& o) { o.Put(true), o.Put(false); }, {1, 0}},
        {"eol LF", [](OutStream& o) { o.Put("a\nb", Stream::eolLF); }, {'a', 10, 'b'}},
        {"eol as is", [](OutStream& o) { o.Put("a\nb", Stream::eolAsIs); }, {'a', 10, 'b'}},
        {"eol CRLF", [](OutStream& o) { EXPECT_EQ(o.Put("a\nb\n", Stream::eolCRLF), 6); }, {'a', 13, 10, 'b', 13, 10}},
        {"marker",
         [](OutStream& o) {
             OutStream::Marker m(o, 3, 0x81);
             for (int i = 0; i < 10; ++i) o.Put(static_cast<unsigned char>(i));
         },
         {3, 0x81, 10, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
    };
    for (const Row& row : rows) EXPECT_EQ(Written(row.write, row.binary), row.bytes) << row.name;

    EXPECT_EQ(Written([](OutStream& o) { o.Put(String(std::string(1048576, 'x'))); }).size(), 1048580u);
    EXPECT_EQ(Failure([] { Written([](OutStream& o) { o.Put(String(std::string(1048577, 'x'))); }); }),
              "OutStream/Put: Asked to extract String (1048577 bytes) larger than maximum allowed (1048576 bytes).  "
              "(20000012)");
}

// (Values read back, records skipped by older readers and the slow path across refills are the value format
// check's: tests/helpers/ValueFormat.cpp, on both platforms.)
TEST(StreamTest, BadLengths)
{
    String s;
    struct Bad
    {
        Bytes bytes;
        std::string failure;
    } bad[] = {
        {{0xFF, 0xFF, 0xFF, 0xFF}, "InStream/Get: Asked to extract String with negative length: -1.  (20000011)"},
        {{0x01, 0x00, 0x10, 0x00},
         "InStream/Get: Asked to extract String (1048577 bytes) larger than maximum allowed (1048576 bytes).  "
         "(20000012)"},
        {{0x05, 0, 0, 0, 'a'}, "nothing thrown"}, // truncated: what there is
    };
    for (const Bad& row : bad) {
        RAMBlock data(const_cast<unsigned char*>(row.bytes.data()), static_cast<int>(row.bytes.size()));
        InStream bin(16);
        bin.Attach(&data);
        EXPECT_EQ(Failure([&] { bin.Get(s); }), row.failure);
    }
    Bytes huge{0, 0, 0, 0, 0, 0, 0, 0x80};
    RAMBlock hugeBlock(huge.data(), 8);
    InStream hin(16);
    hin.Attach(&hugeBlock);
    RAMBlock target;
    EXPECT_EQ(hin.Get(target), 8); // a negative length is an empty block, nothing allocated
    EXPECT_FALSE(target.IsUsable());
    Bytes claim{0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0, 1, 2, 3, 4, 5}; // 2 GB claimed, 5 bytes there
    RAMBlock claimBlock(claim.data(), static_cast<int>(claim.size()));
    InStream cin(16);
    cin.Attach(&claimBlock);
    EXPECT_EQ(cin.Get(target), 13);
    EXPECT_EQ(Bytes(target.Data(), target.Data() + target.Size()), (Bytes{1, 2, 3, 4, 5}));
}

TEST(StreamTest, BytesLinesAndEnd)
{
    struct Row
    {
        std::string data;
        int eol;
        int next; // the byte left to read, -1 at the end
    } rows[] = {{"\r\n", 2, -1}, {"\rA", 1, 'A'}, {"A", 0, 'A'}, {"\n\n", 1, '\n'}};
    for (const Row& row : rows) {
        RAMBlock data(const_cast<char*>(row.data.data()), static_cast<int>(row.data.size()));
        struct Probe : InStream
        {
            using InStream::InStream;
            using InStream::SkipEOL;
        } in(1); // one byte at a time: 13 10 split across refills
        in.Attach(&data);
        EXPECT_EQ(in.SkipEOL(), row.eol) << row.data;
        EXPECT_EQ(in.EndOfFile() ? -1 : in.Peek(), row.next) << row.data;
    }

    std::string text = "one\r\ntwo\nthree";
    RAMBlock block(text.data(), static_cast<int>(text.size()));
    InStream in(4, true);
    in.Attach(&block);
    char line[16];
    EXPECT_EQ(in.Line(line, 16, true), 5);
    EXPECT_EQ(std::string(line, 5), "one\r\n");
    EXPECT_EQ(in.Line(16), "two");
    EXPECT_EQ(in.BackLine(), -4);
    EXPECT_EQ(in.UntilOneOf("e", 16), "two\nthr");
    EXPECT_EQ(in.SkipToOneOf("x"), 2);
    EXPECT_EQ(Failure([&] { in.Read(); }), "InStream/Read: Hit the end of the stream (0)");
    EXPECT_EQ(Failure([&] { in.EndOfFile(); }), "InStream/EndOfFile: Hit the end of the stream (0)");
    in.Seek(0, Stream::fromBegin); // below the size: no longer at the end
    EXPECT_EQ(in.Read(), 'o');
    EXPECT_EQ(in.BackToOneOf("\n"), -1);
    in.Skip(2);
    EXPECT_EQ(Failure([&] { in.FillBuffer(), in.PutBack(1); }),
              "InStream/PutBack: Cannot put back any further (20000011)");
}

TEST(StreamTest, MemoryBlocks)
{
    RAMBlock block(16);
    EXPECT_FALSE(block.IsUsable());
    EXPECT_EQ(Failure([&] { block.Read(nullptr, 1); }), "RAMBlock/Read: No memory block to read from (20000003)");
    block.BeginUsing();
    EXPECT_TRUE(block.IsUsable());
    EXPECT_EQ(block.GetName(),
              SFormat("RAMBlock 0x%08X 16", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(block.Data()))));
    struct Seek
    {
        long long start, offset;
        Stream::SeekMode mode;
        long long result;
    } seeks[] = {{0, 20, Stream::fromBegin, 16}, {2, -5, Stream::fromCurrent, 0}, {0, 4, Stream::fromEnd, 12}};
    for (const Seek& s : seeks) {
        block.Seek(s.start, Stream::fromBegin);
        EXPECT_EQ(block.Seek(s.offset, s.mode), s.result);
    }
    block.Seek(14, Stream::fromBegin);
    const unsigned char four[4] = {};
    EXPECT_EQ(Failure([&] { block.Write(four, 4); }),
              "RAMBlock/Write: Cannot write past end of memory block (20000012)");
    RAMBlock none(0);
    none.BeginUsing();
    EXPECT_FALSE(none.IsUsable());

    DynamicBuffer grown(0, 0);
    grown.BeginUsing();
    EXPECT_EQ(grown.Size(), 8192);
    grown.Grow(1);
    EXPECT_EQ(grown.Size(), 16384);
    DynamicBuffer big(100000, 0);
    big.BeginUsing();
    big.Grow(1);
    EXPECT_EQ(big.Size(), 165536);
    // A direct write that needs growth lands in the new memory.
    DynamicBuffer direct(4, 0);
    direct.BeginUsing();
    const unsigned char ten[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    EXPECT_EQ(direct.Write(ten, 10), 10);
    EXPECT_EQ(Bytes(direct.Data(), direct.Data() + 10), Bytes(ten, ten + 10));

    DynamicBuffer message(0, 0);
    {
        DynamicBufferStream out(&message);
        for (int i = 0; i < 5000; ++i) out.Put(i);
        out.Detach();
    }
    EXPECT_EQ(message.Position(), 20000);
    EXPECT_EQ(message.Data()[4 * 4999 + 1], 4999 >> 8);
    {
        SetExceptionLevel level(&block, 5); // for its life only
        EXPECT_EQ(std::pair(+level.OldLevel(), +block.ExceptionLevel()), std::pair(1, 5));
    }
    EXPECT_EQ(block.ExceptionLevel(), 1);
}

// Records are framed whatever the buffer's size: their bytes wait in the (growing) buffer until closed.
TEST(StreamTest, RecordsLongerThanTheBuffer)
{
    unsigned char memory[64] = {};
    RAMBlock block(memory, 64);
    OutStream out(6);
    out.Attach(&block);
    out.Put(1);
    {
        OutStream::Marker outer(out, 1);
        for (int i = 0; i < 3; ++i) out.Put(i);
        out.Flush(); // nothing of an open record goes out
        EXPECT_EQ(block.Position(), 4);
        OutStream::Marker inner(out, 2, 9);
        out.Put(String("ab"));
    }
    out.Flush();
    EXPECT_EQ(Bytes(memory, memory + block.Position()),
              (Bytes{1, 0, 0, 0, 1, 0, 22, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 2, 9, 6, 0, 2, 0, 0, 0, 'a', 'b'}));
}
