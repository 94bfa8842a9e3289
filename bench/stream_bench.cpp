// The value format's speed. Records of 56 bytes (int, long long, double, a 16-byte String and a UID)
// are written with Put into a DynamicBufferStream and read back with Get from an InStream over a
// RAMBlock, against POCO's BinaryWriter/BinaryReader (little-endian, over preallocated memory streams)
// and a raw memcpy writer/reader, the limit. Whole 1 MiB blocks through Write/Read against memcpy, and
// a 200 MB file of 4-byte values through OutFile/InFile against fwrite/fread of the same values.

#include "Ratio.h"

#include <dovo/DynamicBuffer.h>
#include <dovo/DynamicBufferStream.h>
#include <dovo/InFile.h>
#include <dovo/InStream.h>
#include <dovo/OutFile.h>
#include <dovo/RAMBlock.h>
#include <dovo/UID.h>

#include <Poco/BinaryReader.h>
#include <Poco/BinaryWriter.h>
#include <Poco/MemoryStream.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr int kRecords = 1000;
constexpr int kRecordBytes = 56;
const dovo::String kText("sixteen-bytes-ab");
const std::string kStdText("sixteen-bytes-ab");
const dovo::UID kId(true);

struct Aims
{
    Aims()
    {
        // Records: at least a quarter of memcpy (and twice POCO, read from the table); blocks at least 80 %
        // of memcpy; files at least as fast as stdio.
        dovo::bench::SetAim("Record", 4.0);
        dovo::bench::SetAim("Block", 1.25);
        dovo::bench::SetAim("File", 1.0);
    }
} aims;

void RecordWriteDovo(benchmark::State& state)
{
    for (auto _ : state) {
        dovo::DynamicBuffer block(kRecords * kRecordBytes + 64, 0);
        dovo::DynamicBufferStream out(&block);
        for (int i = 0; i < kRecords; ++i) {
            out.Put(i);
            out.Put(static_cast<long long>(i) << 20);
            out.Put(i * 0.5);
            out.Put(kText);
            out.Put(kId);
        }
        out.Detach();
        benchmark::DoNotOptimize(block.Data());
    }
    state.SetBytesProcessed(state.iterations() * kRecords * kRecordBytes);
}

void RecordWritePoco(benchmark::State& state)
{
    std::vector<char> memory(kRecords * 64);
    for (auto _ : state) {
        Poco::MemoryOutputStream stream(memory.data(), memory.size());
        Poco::BinaryWriter out(stream, Poco::BinaryWriter::LITTLE_ENDIAN_BYTE_ORDER);
        for (int i = 0; i < kRecords; ++i) {
            out << i << (static_cast<Poco::Int64>(i) << 20) << i * 0.5 << kStdText;
            out.writeRaw(reinterpret_cast<const char*>(kId.BinaryData()), 16);
        }
        benchmark::DoNotOptimize(memory.data());
    }
    state.SetBytesProcessed(state.iterations() * kRecords * kRecordBytes);
}

void RecordWriteMemcpy(benchmark::State& state)
{
    std::vector<unsigned char> memory(kRecords * kRecordBytes);
    for (auto _ : state) {
        unsigned char* p = memory.data();
        for (int i = 0; i < kRecords; ++i) {
            const long long big = static_cast<long long>(i) << 20;
            const double d = i * 0.5;
            const int length = 16;
            std::memcpy(p, &i, 4), p += 4;
            std::memcpy(p, &big, 8), p += 8;
            std::memcpy(p, &d, 8), p += 8;
            std::memcpy(p, &length, 4), p += 4;
            std::memcpy(p, kStdText.data(), 16), p += 16;
            std::memcpy(p, kId.BinaryData(), 16), p += 16;
        }
        benchmark::DoNotOptimize(memory.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kRecords * kRecordBytes);
}

std::vector<unsigned char> DovoRecords()
{
    dovo::DynamicBuffer block(0, 0);
    dovo::DynamicBufferStream out(&block);
    for (int i = 0; i < kRecords; ++i) {
        out.Put(i), out.Put(static_cast<long long>(i) << 20), out.Put(i * 0.5), out.Put(kText), out.Put(kId);
    }
    out.Detach();
    return std::vector<unsigned char>(block.Data(), block.Data() + block.Position());
}

void RecordReadDovo(benchmark::State& state)
{
    std::vector<unsigned char> bytes = DovoRecords();
    int n = 0;
    long long big = 0;
    double d = 0;
    dovo::String s;
    dovo::UID id;
    for (auto _ : state) {
        dovo::RAMBlock block(bytes.data(), static_cast<int>(bytes.size()));
        dovo::InStream in(4096);
        in.Attach(&block);
        for (int i = 0; i < kRecords; ++i) in.Get(n), in.Get(big), in.Get(d), in.Get(s), in.Get(id);
        benchmark::DoNotOptimize(n + big + d);
    }
    if (s != kText || id != kId) state.SkipWithError("read back wrong");
    state.SetBytesProcessed(state.iterations() * kRecords * kRecordBytes);
}

void RecordReadPoco(benchmark::State& state)
{
    std::vector<char> memory(kRecords * 64);
    {
        Poco::MemoryOutputStream stream(memory.data(), memory.size());
        Poco::BinaryWriter out(stream, Poco::BinaryWriter::LITTLE_ENDIAN_BYTE_ORDER);
        for (int i = 0; i < kRecords; ++i) {
            out << i << (static_cast<Poco::Int64>(i) << 20) << i * 0.5 << kStdText;
            out.writeRaw(reinterpret_cast<const char*>(kId.BinaryData()), 16);
        }
    }
    int n = 0;
    Poco::Int64 big = 0;
    double d = 0;
    std::string s, id;
    for (auto _ : state) {
        Poco::MemoryInputStream stream(memory.data(), memory.size());
        Poco::BinaryReader in(stream, Poco::BinaryReader::LITTLE_ENDIAN_BYTE_ORDER);
        for (int i = 0; i < kRecords; ++i) {
            in >> n >> big >> d >> s;
            in.readRaw(16, id);
        }
        benchmark::DoNotOptimize(n + big + d);
    }
    state.SetBytesProcessed(state.iterations() * kRecords * kRecordBytes);
}

void RecordReadMemcpy(benchmark::State& state)
{
    std::vector<unsigned char> bytes = DovoRecords();
    int n = 0, length = 0;
    long long big = 0;
    double d = 0;
    std::string s;
    unsigned char id[16];
    for (auto _ : state) {
        const unsigned char* p = bytes.data();
        for (int i = 0; i < kRecords; ++i) {
            std::memcpy(&n, p, 4), p += 4;
            std::memcpy(&big, p, 8), p += 8;
            std::memcpy(&d, p, 8), p += 8;
            std::memcpy(&length, p, 4), p += 4;
            s.assign(reinterpret_cast<const char*>(p), length), p += length;
            std::memcpy(id, p, 16), p += 16;
        }
        benchmark::DoNotOptimize(n + big + d + id[0]);
    }
    state.SetBytesProcessed(state.iterations() * kRecords * kRecordBytes);
}

constexpr int kBlock = 1 << 20;

void BlockWriteDovo(benchmark::State& state)
{
    std::vector<unsigned char> source(kBlock, 7), target(kBlock + 64);
    for (auto _ : state) {
        dovo::RAMBlock block(target.data(), static_cast<int>(target.size()));
        dovo::OutStream out(65536);
        out.Attach(&block);
        out.Write(source.data(), kBlock);
        out.Flush();
        benchmark::DoNotOptimize(target.data());
    }
    state.SetBytesProcessed(state.iterations() * kBlock);
}

void BlockWriteMemcpy(benchmark::State& state)
{
    std::vector<unsigned char> source(kBlock, 7), target(kBlock + 64);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), kBlock);
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBlock);
}

void BlockReadDovo(benchmark::State& state)
{
    std::vector<unsigned char> source(kBlock, 7), target(kBlock);
    for (auto _ : state) {
        dovo::RAMBlock block(source.data(), kBlock);
        dovo::InStream in(65536);
        in.Attach(&block);
        in.Read(target.data(), kBlock);
        benchmark::DoNotOptimize(target.data());
    }
    state.SetBytesProcessed(state.iterations() * kBlock);
}

void BlockReadMemcpy(benchmark::State& state)
{
    std::vector<unsigned char> source(kBlock, 7), target(kBlock);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), kBlock);
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBlock);
}

constexpr int kFileValues = 50 * 1000 * 1000; // 200 MB of 4-byte values

std::string FilePath(const char* name)
{
    return (std::filesystem::temp_directory_path() / (std::string("dovo-stream-bench-") + name)).string();
}

void FileWriteDovo(benchmark::State& state)
{
    const std::string path = FilePath("dovo");
    for (auto _ : state) {
        dovo::OutFile out{dovo::Path(path)};
        for (int i = 0; i < kFileValues; ++i) out.Put(i);
        out.Close();
    }
    std::remove(path.c_str());
    state.SetBytesProcessed(state.iterations() * kFileValues * 4LL);
}

void FileWriteStdio(benchmark::State& state)
{
    const std::string path = FilePath("stdio");
    for (auto _ : state) {
        std::FILE* f = std::fopen(path.c_str(), "wb");
        for (int i = 0; i < kFileValues; ++i) std::fwrite(&i, 4, 1, f);
        std::fclose(f);
    }
    std::remove(path.c_str());
    state.SetBytesProcessed(state.iterations() * kFileValues * 4LL);
}

void WriteValues(const std::string& path)
{
    std::FILE* f = std::fopen(path.c_str(), "wb");
    for (int i = 0; i < kFileValues; ++i) std::fwrite(&i, 4, 1, f);
    std::fclose(f);
}

void FileReadDovo(benchmark::State& state)
{
    const std::string path = FilePath("read-dovo");
    WriteValues(path);
    long long sum = 0;
    for (auto _ : state) {
        dovo::InFile in{dovo::Path(path)};
        int v = 0;
        for (int i = 0; i < kFileValues; ++i) in.Get(v), sum += v;
    }
    benchmark::DoNotOptimize(sum);
    std::remove(path.c_str());
    state.SetBytesProcessed(state.iterations() * kFileValues * 4LL);
}

void FileReadStdio(benchmark::State& state)
{
    const std::string path = FilePath("read-stdio");
    WriteValues(path);
    long long sum = 0;
    for (auto _ : state) {
        std::FILE* f = std::fopen(path.c_str(), "rb");
        int v = 0;
        for (int i = 0; i < kFileValues; ++i) sum += std::fread(&v, 4, 1, f) == 1 ? v : 0;
        std::fclose(f);
    }
    benchmark::DoNotOptimize(sum);
    std::remove(path.c_str());
    state.SetBytesProcessed(state.iterations() * kFileValues * 4LL);
}

} // namespace

BENCHMARK(RecordWriteDovo)->Name("Record/write/dovo");
BENCHMARK(RecordWritePoco)->Name("Record/write/poco");
BENCHMARK(RecordWriteMemcpy)->Name("Record/write/memcpy");
BENCHMARK(RecordReadDovo)->Name("Record/read/dovo");
BENCHMARK(RecordReadPoco)->Name("Record/read/poco");
BENCHMARK(RecordReadMemcpy)->Name("Record/read/memcpy");
BENCHMARK(BlockWriteDovo)->Name("Block/write/dovo");
BENCHMARK(BlockWriteMemcpy)->Name("Block/write/memcpy");
BENCHMARK(BlockReadDovo)->Name("Block/read/dovo");
BENCHMARK(BlockReadMemcpy)->Name("Block/read/memcpy");
BENCHMARK(FileWriteDovo)->Name("File/write/dovo")->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(FileWriteStdio)->Name("File/write/stdio")->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(FileReadDovo)->Name("File/read/dovo")->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(FileReadStdio)->Name("File/read/stdio")->Unit(benchmark::kMillisecond)->Iterations(2);
