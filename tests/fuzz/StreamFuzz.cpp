// Fuzzes InStream with any bytes: a script of reads (every value type, nested record blocks, lines,
// scans, put-backs and seeks) runs over the input, with a buffer whose size the input chooses. A read
// may raise the library's exceptions; nothing may crash, read out of bounds, hang or allocate without
// limit, and the position never leaves the data.
//
// Input: the buffer size (1..64), the script's length, the script, then the data the script reads.

#include <dovo/InStream.h>
#include <dovo/Path.h>
#include <dovo/RAMBlock.h>
#include <dovo/Time.h>
#include <dovo/UID.h>

#include "FuzzCheck.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

using namespace dovo;

namespace {

void Step(InStream& in, std::uint8_t op, int depth, const std::uint8_t*& script, const std::uint8_t* end);

void Run(InStream& in, int depth, const std::uint8_t*& script, const std::uint8_t* end)
{
    while (script < end) {
        const std::uint8_t op = *script++;
        if (op == 0xFF) return; // closes a nested block
        Step(in, op, depth, script, end);
    }
}

template <typename T>
void Get(InStream& in)
{
    T value;
    in.Get(value);
}

void GetString(InStream& in)
{
    String value;
    in.Get(value);
    FUZZ_CHECK(value.Length() <= 1048576);
}

// A reader per value type, for the script's first twelve operations.
void (*const kGetters[])(InStream&) = {Get<bool>,      Get<signed char>, Get<short>, Get<int>,
                                       Get<long long>, Get<double>,      Get<float>, GetString,
                                       Get<Path>,      Get<UID>,         Get<Time>,  Get<RAMBlock>};

void Step(InStream& in, std::uint8_t op, int depth, const std::uint8_t*& script, const std::uint8_t* end)
{
    if (op % 20 < 12) return kGetters[op % 20](in);
    switch (op % 20) {
    case 12:
        if (depth < 8) {
            InStream::Block block(in);
            Run(in, depth + 1, script, end);
        }
        break;
    case 13: {
        char line[40];
        FUZZ_CHECK(in.Line(line, 40, op & 0x20) <= 40);
        break;
    }
    case 14: in.BackLine(); break;
    case 15: in.SkipToOneOf("\n;"); break;
    case 16: in.BackToOneOf(" ,"); break;
    case 17: in.PutBack(1 + op / 20); break;
    case 18: in.Seek(static_cast<std::int8_t>(op), static_cast<Stream::SeekMode>(op % 3)); break;
    default: in.Skip(op / 20); break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) return 0;
    const int bufferSize = 1 + data[0] % 64;
    const std::size_t scriptLength = std::min<std::size_t>(data[1], size - 2);
    const std::uint8_t* script = data + 2;
    const std::uint8_t* scriptEnd = script + scriptLength;
    std::vector<unsigned char> bytes(scriptEnd, data + size);
    if (bytes.empty()) return 0; // a block without memory cannot be attached
    RAMBlock block(bytes.data(), static_cast<int>(bytes.size()));
    InStream in(bufferSize, (data[0] & 0x80) != 0);
    in.Attach(&block);
    while (script < scriptEnd) {
        try {
            Run(in, 0, script, scriptEnd);
        } catch (Exception* e) {
            std::unique_ptr<Exception> owned(e);
        }
        FUZZ_CHECK(in.Position() >= 0 && in.Position() <= static_cast<long long>(bytes.size()));
    }
    return 0;
}
