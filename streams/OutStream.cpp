// OutStream: buffered writing, the binary value form, text lines and framed records.

#include <dovo/IPPeer.h>
#include <dovo/OutStream.h>

#include <dovo/Path.h>
#include <dovo/RAMBlock.h>
#include <dovo/StreamException.h>
#include <dovo/UID.h>

#include <algorithm>
#include <cstring>

namespace dovo {

namespace {
constexpr int ErrorTooLarge = 0x20000012;
// The largest content a record header can give the size of.
constexpr int kMaxRecord = 65535;
} // namespace

OutStream::OutStream(int bufferSize, bool binary, bool flushOnNewline)
    : Stream(bufferSize), m_flushOnNewline(flushOnNewline), m_binary(binary)
{
}

OutStream::OutStream(unsigned char* buffer, int size, bool binary, bool flushOnNewline)
    : Stream(buffer, size), m_flushOnNewline(flushOnNewline), m_binary(binary)
{
}

OutStream::~OutStream() = default;

void OutStream::RaiseException(const String& where, int error, const String& message, int osError) const
{
    StreamException::Throw("OutStream", where, error, message, osError, String(), m_exceptionLevel);
}

int OutStream::DoWrite(const unsigned char* data, int size)
{
    FailIfNotActive("DoWrite");
    int n = m_transport->Write(data, size);
    if (n < 0) n = 0;
    m_transportPos += n;
    Status(writing);
    if (n < size) Status(end);
    return n;
}

void OutStream::DumpBuffer()
{
    // Bytes of open records stay: their sizes are still to be written into their headers.
    int keep = 0;
    if (m_markers) {
        int floor = m_bufEnd;
        for (const Marker* m = m_markers; m; m = m->m_next) floor = std::min(floor, m->m_start - 4);
        keep = m_bufEnd - std::max(floor, 0);
    }
    if (keep > 0 && keep == m_bufEnd && m_bufPos >= m_capacity && m_capacity < kMaxRecord + 8) {
        // The open records fill the whole buffer: it grows instead.
        const int capacity = std::min(std::max(m_capacity * 2, 64), kMaxRecord + 8);
        auto* bigger = new unsigned char[capacity];
        std::memcpy(bigger, m_buffer, static_cast<std::size_t>(m_bufEnd));
        if (m_ownsBuffer) delete[] m_buffer;
        m_buffer = bigger;
        m_capacity = capacity;
        m_ownsBuffer = true;
        BufferSignal.Emit();
        return;
    }
    if (keep == m_bufEnd && m_bufPos < m_capacity) return; // an explicit flush inside a record
    if (keep >= m_bufEnd) keep = 0;                        // a record too long to frame goes out as it is
    // A short write loses the rest: the transport has said "end" and the caller sees the status.
    const int out = m_bufEnd - keep;
    if (out > 0) DoWrite(m_buffer, out);
    if (keep > 0) {
        std::memmove(m_buffer, m_buffer + out, static_cast<std::size_t>(keep));
        for (Marker* m = m_markers; m; m = m->m_next) m->m_start -= out;
    }
    m_bufPos = m_bufEnd = keep;
}

void OutStream::Flush()
{
    if (m_capacity > 0) DumpBuffer();
}

int OutStream::WriteThrough(const void* data, int size)
{
    const auto* in = static_cast<const unsigned char*>(data);
    FailIfNotActive("Write");
    if (m_capacity == 0) return DoWrite(in, size);
    int done = 0;
    while (done < size) {
        PreWrite();
        // A buffer's worth or more goes to the transport from the caller's memory, not through a copy.
        if (m_writeThrough && m_bufEnd == 0 && size - done >= m_capacity) {
            DoWrite(in + done, size - done);
            return size;
        }
        const int piece = std::min(size - done, m_capacity - m_bufPos);
        std::memcpy(m_buffer + m_bufPos, in + done, piece);
        AdvanceBuffer(piece);
        done += piece;
    }
    return done;
}

int OutStream::Put(unsigned char c)
{
    if (!m_active) FailIfNotActive("Put");
    if (m_capacity == 0) {
        FailIfNotActive("Put");
        DoWrite(&c, 1);
        return 1;
    }
    PreWrite();
    m_buffer[m_bufPos] = c;
    AdvanceBuffer(1);
    if (m_flushOnNewline && c == 10) Flush();
    return 1;
}

int OutStream::PutString(const String& text)
{
    const int length = text.Length();
    if (!m_binary) return Write(text.c_str(), length);
    if (length > kMaxString)
        RaiseException(
            "Put", ErrorTooLarge,
            SFormat("Asked to extract String (%d bytes) larger than maximum allowed (%d bytes). ", length, kMaxString),
            0);
    Put(length);
    return Write(text.c_str(), length) + 4;
}

int OutStream::Put(const Path& path)
{
    if (!m_binary) return Put(path.Text());
    Put(-1);
    return Put(path.Text()) + 4;
}

int OutStream::Put(const RAMBlock& block)
{
    const long long length = block.Position();
    Put(length);
    if (length <= 0) return 8;
    return Write(block.Data(), static_cast<int>(length)) + 8;
}

int OutStream::Put(const IPPeer& peer)
{
    if (!peer.IsValidAddress()) return Put(static_cast<unsigned char>(0));
    int n = Put(static_cast<unsigned char>(1));
    n += Put(peer.m_name);
    unsigned char address[4];
    std::memcpy(address, &peer.m_address, 4);
    n += Write(address, 4);
    n += Put(static_cast<unsigned char>(peer.m_resolved ? 1 : 0));
    return n + Put(peer.Port(true));
}

int OutStream::Put(const char* text, eolType eol)
{
    if (!text) return 0;
    const int length = static_cast<int>(std::strlen(text));
    if (eol == eolAsIs) return Write(text, length);
    int written = 0;
    const char* piece = text;
    const char* stop = text + length;
    for (const char* lf; (lf = static_cast<const char*>(std::memchr(piece, 10, stop - piece))) != nullptr;
         piece = lf + 1) {
        if (lf > piece) written += Write(piece, static_cast<int>(lf - piece));
        written += PutEOL(eol);
    }
    if (piece < stop) written += Write(piece, static_cast<int>(stop - piece));
    return written;
}

int OutStream::PutEOL(eolType eol)
{
    int n = 0;
    if (eol != eolLF) n += Put(static_cast<unsigned char>(13));
    return n + Put(static_cast<unsigned char>(10));
}

// Marker

OutStream::Marker::Marker(OutStream& stream, signed char revision, unsigned char flags)
{
    Mark(&stream, revision, flags);
}

OutStream::Marker::Marker(OutStream* stream, signed char revision, unsigned char flags)
{
    Mark(stream, revision, flags);
}

OutStream::Marker::~Marker() { Reset(); }

void OutStream::Marker::Mark(OutStream& stream, signed char revision, unsigned char flags)
{
    Mark(&stream, revision, flags);
}

void OutStream::Marker::Mark(OutStream* stream, signed char revision, unsigned char flags)
{
    Reset();
    if (!stream) return;
    stream->FailIfNoBuffer("OutStream::Marker::Mark()");
    stream->FailIfNotActive("Put");
    // The header goes into the buffer whole, so the record starts 4 bytes before its content.
    if (stream->m_capacity - stream->m_bufPos < 4) stream->DumpBuffer();
    if (stream->m_capacity - stream->m_bufPos < 4) stream->FailIfNoBuffer("OutStream::Marker::Mark()");
    unsigned char* header = stream->m_buffer + stream->m_bufPos;
    header[0] = static_cast<unsigned char>(revision), header[1] = flags, header[2] = header[3] = 0;
    stream->AdvanceBuffer(4);
    stream->StatusSignal.Connect(this, &Marker::StatusChanged);
    m_stream = stream;
    m_start = stream->m_bufPos;
    m_next = stream->m_markers;
    stream->m_markers = this;
}

void OutStream::Marker::Forget()
{
    OutStream* stream = m_stream;
    m_stream = nullptr;
    for (Marker** link = &stream->m_markers; *link; link = &(*link)->m_next)
        if (*link == this) {
            *link = m_next;
            break;
        }
    m_next = nullptr;
    stream->StatusSignal.Disconnect(this);
}

void OutStream::Marker::Reset()
{
    OutStream* stream = m_stream;
    if (!stream) return;
    Forget();
    // The size goes straight into the buffer: through Put a size byte of 10 could flush the record
    // away on a stream that flushes on new lines.
    const int size = stream->m_bufPos - m_start;
    if (m_start >= 2 && m_start <= stream->m_capacity) {
        stream->m_buffer[m_start - 2] = static_cast<unsigned char>(size);
        stream->m_buffer[m_start - 1] = static_cast<unsigned char>(size >> 8);
    }
}

void OutStream::Marker::StatusChanged(int status)
{
    if (m_stream && (status == closing || status == closed || status == detaching || status == detached)) Forget();
}

} // namespace dovo
