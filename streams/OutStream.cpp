// OutStream: buffered writing, the binary value form, text lines and framed records.

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
    // A short write loses the rest: the transport has said "end" and the caller sees the status.
    if (m_bufEnd > 0) DoWrite(m_buffer, m_bufEnd);
    m_bufPos = m_bufEnd = 0;
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
    stream->StatusSignal.Connect(this, &Marker::StatusChanged);
    m_stream = stream;
    stream->Put(static_cast<unsigned char>(revision));
    stream->Put(flags);
    stream->Put(static_cast<unsigned short>(0));
    m_start = stream->GetBufPos();
}

void OutStream::Marker::Reset()
{
    OutStream* stream = m_stream;
    if (!stream) return;
    m_stream = nullptr;
    stream->StatusSignal.Disconnect(this);
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
    if (status == closing || status == closed || status == detaching || status == detached) {
        OutStream* stream = m_stream;
        m_stream = nullptr;
        if (stream) stream->StatusSignal.Disconnect(this);
    }
}

} // namespace dovo
