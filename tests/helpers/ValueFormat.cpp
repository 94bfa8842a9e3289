// Writes or checks a stream of every value type and framed records, so that bytes written by one
// platform's build can be read by the other's: "value_format write FILE" and "value_format read FILE".
// A reader knows revision 1 of the "shot" record and skips what revision 2 writers add, nested record
// included. Exits 0 when every value read back equals what was written.

#include <dovo/InFile.h>
#include <dovo/OutFile.h>
#include <dovo/Path.h>
#include <dovo/RAMBlock.h>
#include <dovo/Time.h>
#include <dovo/UID.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

using namespace dovo;

namespace {

const char* const kId = "0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0";
const unsigned char kBlock[5] = {0, 1, 2, 0xFE, 0xFF};
int g_failures = 0;

template <typename T>
void Check(const char* what, const T& got, const T& expected)
{
    if (!(got == expected)) {
        std::fprintf(stderr, "%s differs\n", what);
        ++g_failures;
    }
}

void Write(OutStream& out)
{
    out.Put(true), out.Put(static_cast<unsigned char>(0xAB)), out.Put(static_cast<short>(-2));
    out.Put(static_cast<unsigned short>(0xBEEF)), out.Put(-123456789), out.Put(0xDEADBEEFu);
    out.Put(-1234567890123456789LL), out.Put(0xFEDCBA9876543210ULL), out.Put(1.5f), out.Put(-2.25e300);
    out.Put(String("text with \xE9 and \n")), out.Put(String()), out.Put(Path("/mnt/jobs/a.exr"));
    out.Put(UID(kId)), out.Put(UID());
    RAMBlock block(const_cast<unsigned char*>(kBlock), 5);
    block.Seek(5, Stream::fromBegin);
    out.Put(block);
    out.Put(static_cast<long long>(Time(2026, 11, 23, 12, 0, 0, 7).TotalMilliseconds()));
    for (int revision = 1; revision <= 2; ++revision) {
        OutStream::Marker shot(out, static_cast<signed char>(revision), 0x5A);
        out.Put(revision * 100), out.Put(String("shot"));
        if (revision == 2) { // what a newer writer adds: a value and a nested record
            out.Put(2.5);
            OutStream::Marker inner(out, 7);
            out.Put(String("inner")), out.Put(42);
        }
    }
    out.Put(String("end"));
}

int Read(InStream& in)
{
    bool b;
    unsigned char uc;
    short s;
    unsigned short us;
    int i;
    unsigned u;
    long long ll;
    unsigned long long ull;
    float f;
    double d;
    String text, empty;
    Path path;
    UID id, nil(true);
    RAMBlock block;
    in.Get(b), in.Get(uc), in.Get(s), in.Get(us), in.Get(i), in.Get(u), in.Get(ll), in.Get(ull), in.Get(f), in.Get(d);
    Check("bool", b, true), Check("uchar", +uc, 0xAB), Check("short", s, static_cast<short>(-2));
    Check("ushort", +us, 0xBEEF), Check("int", i, -123456789), Check("uint", u, 0xDEADBEEFu);
    Check("long long", ll, -1234567890123456789LL), Check("ull", ull, 0xFEDCBA9876543210ULL);
    Check("float", f, 1.5f), Check("double", d, -2.25e300);
    in.Get(text), in.Get(empty), in.Get(path), in.Get(id), in.Get(nil), in.Get(block);
    Check("string", text.str(), std::string("text with \xE9 and \n")), Check("empty", empty.str(), std::string());
    Check("path", path.Text().str(), Path::TranslateToLocal("/mnt/jobs/a.exr").Text().str());
    Check("uid", std::string(id.ToString()), std::string(kId)), Check("nil uid", static_cast<bool>(nil), false);
    Check("block", std::string(reinterpret_cast<const char*>(block.Data()), static_cast<std::size_t>(block.Size())),
          std::string(reinterpret_cast<const char*>(kBlock), 5));
    in.Get(ll);
    Check("time", ll, static_cast<long long>(Time(2026, 11, 23, 12, 0, 0, 7).TotalMilliseconds()));
    for (int revision = 1; revision <= 2; ++revision) {
        InStream::Block shot(in); // a reader of revision 1: the rest of a newer record is skipped
        Check("revision", +shot.Revision(), revision), Check("flags", +shot.Flags(), 0x5A);
        in.Get(i), in.Get(text);
        Check("shot number", i, revision * 100), Check("shot name", text.str(), std::string("shot"));
    }
    in.Get(text);
    Check("after the records", text.str(), std::string("end"));
    Check("at the end", in.EndOfFile(), true);
    return g_failures == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: value_format write|read FILE\n");
        return 2;
    }
    try {
        if (std::strcmp(argv[1], "write") == 0) {
            OutFile out{Path(argv[2]), File::modeWrite, 64}; // records straddle buffer dumps
            Write(out);
            out.Close();
            return 0;
        }
        InFile in{Path(argv[2]), File::modeRead, 16};
        return Read(in);
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        std::fprintf(stderr, "%s\n", e->DisplayAsString().c_str());
        return 1;
    }
}
