// InStream: buffered reading, scanning over byte sets and lines, the binary value form and records.

#include <dovo/IPPeer.h>
#include <dovo/InStream.h>

#include <dovo/Log.h>
#include <dovo/Path.h>
#include <dovo/RAMBlock.h>
#include <dovo/Time.h>
#include <dovo/UID.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>

namespace dovo {

namespace {
constexpr int ErrorBadRequest = 0x20000011;
constexpr int ErrorTooLarge = 0x20000012;
constexpr int kMaxString = 1048576;
// Blocks up to this size are allocated whole before they are read.
constexpr int kDirectBlock = 1 << 20;

bool InSet(const char* set, unsigned char c) { return c != 0 && std::strchr(set, c) != nullptr; }
} // namespace

// EndOfStream

InStream::EndOfStream::EndOfStream(const String& where, signed char level)
    : StreamException("InStream", where, 0, "Hit the end of the stream", 0, String(), level)
{
}

InStream::EndOfStream::~EndOfStream() = default;

void InStream::EndOfStream::Throw(const String& where, signed char level)
{
    auto* e = new EndOfStream(where, level);
    Exception::Log(e);
    throw e;
}

// InStream

InStream::InStream(int bufferSize, bool throwAtEnd) : Stream(bufferSize), m_throwAtEnd(throwAtEnd) {}

InStream::InStream(unsigned char* buffer, int size, bool throwAtEnd) : Stream(buffer, size), m_throwAtEnd(throwAtEnd) {}

InStream::~InStream() = default;

void InStream::RaiseException(const String& where, int error, const String& message, int osError) const
{
    StreamException::Throw("InStream", where, error, message, osError, String(), m_exceptionLevel);
}

void InStream::Status(int status)
{
    if (status == opening || status == attaching) m_atEnd = false;
    Stream::Status(status);
}

long long InStream::Seek(long long offset, SeekMode mode)
{
    const long long result = Stream::Seek(offset, mode);
    if (result < m_transport->Size()) m_atEnd = false;
    return result;
}

int InStream::DoRead(unsigned char* data, int size)
{
    FailIfNotActive("DoRead");
    int n = m_transport->Read(data, size);
    if (n <= 0) {
        n = 0;
        m_atEnd = true;
        Status(end);
    } else {
        m_transportPos += n;
        Status(reading);
    }
    return n;
}

bool InStream::FillBuffer()
{
    FailIfNoBuffer("FillBuffer");
    m_bufPos = m_bufEnd = 0;
    m_bufEnd = DoRead(m_buffer, m_capacity);
    return m_bufEnd > 0;
}

void InStream::ThrowIfAtEnd(const char* where)
{
    if (m_atEnd && m_throwAtEnd) EndOfStream::Throw(where, 6);
}

unsigned char InStream::Read()
{
    unsigned char byte = 0;
    if (m_capacity > 0) {
        if (!m_atEnd && m_bufPos >= m_bufEnd) FillBuffer();
        if (!m_atEnd) byte = m_buffer[m_bufPos++];
    } else {
        DoRead(&byte, 1);
    }
    ThrowIfAtEnd("Read");
    return byte;
}

unsigned char InStream::Peek()
{
    unsigned char byte = 0;
    if (m_capacity > 0) {
        if (!m_atEnd && m_bufPos >= m_bufEnd) FillBuffer();
        if (!m_atEnd) byte = m_buffer[m_bufPos];
    } else {
        FailIfNoBuffer("Peek");
    }
    ThrowIfAtEnd("Peek");
    return byte;
}

int InStream::Read(void* data, int size)
{
    auto* out = static_cast<unsigned char*>(data);
    if (size <= 0) return 0;
    if (m_capacity == 0) {
        int done = 0;
        while (done < size) {
            const int n = DoRead(out + done, size - done);
            if (n == 0) break;
            done += n;
        }
        return done;
    }
    int done = 0;
    while (done < size) {
        if (m_bufPos >= m_bufEnd) {
            if (m_atEnd) break;
            // A large remainder goes straight from the transport into the caller's memory.
            if (size - done >= m_capacity) {
                const int n = DoRead(out + done, size - done);
                if (n == 0) break;
                done += n;
                continue;
            }
            if (!FillBuffer()) break;
        }
        const int piece = std::min(size - done, m_bufEnd - m_bufPos);
        std::memcpy(out + done, m_buffer + m_bufPos, piece);
        m_bufPos += piece;
        done += piece;
    }
    return done;
}

bool InStream::EndOfFile()
{
    if (m_atEnd) {
        if (m_throwAtEnd) EndOfStream::Throw("EndOfFile", 6);
        return true;
    }
    if (m_capacity > 0 && m_bufPos >= m_bufEnd) FillBuffer();
    return m_atEnd;
}

void InStream::PutBack(int n)
{
    if (n <= 0) return;
    FailIfNotActive("PutBack");
    FailIfNoBuffer("PutBack");
    if (m_bufPos == 0) RaiseException("PutBack", ErrorBadRequest, "Cannot put back any further", 0);
    m_bufPos = std::max(0, m_bufPos - n);
}

int InStream::Skip(int n)
{
    int skipped = 0;
    while (skipped < n) {
        if (m_capacity > 0 && m_bufPos < m_bufEnd) {
            const int piece = std::min(n - skipped, m_bufEnd - m_bufPos);
            m_bufPos += piece;
            skipped += piece;
            continue;
        }
        if (m_atEnd) break;
        if (m_capacity > 0) {
            if (!FillBuffer()) break;
        } else {
            unsigned char scratch[512];
            const int got = DoRead(scratch, std::min<int>(n - skipped, sizeof scratch));
            if (got == 0) break;
            skipped += got;
        }
    }
    return skipped;
}

bool InStream::Buffered()
{
    if (m_bufPos >= m_bufEnd && !m_atEnd) FillBuffer();
    return !m_atEnd && m_bufPos < m_bufEnd;
}

int InStream::SkipEOL()
{
    FailIfNoBuffer("Peek");
    if (!Buffered()) return 0;
    const unsigned char c = m_buffer[m_bufPos];
    if (c == 10) return ++m_bufPos, 1;
    if (c != 13) return 0;
    ++m_bufPos;
    if (Buffered() && m_buffer[m_bufPos] == 10) return ++m_bufPos, 2;
    return 1;
}

bool InStream::EndOfLine()
{
    FailIfNoBuffer("Peek");
    if (m_bufPos >= m_bufEnd && !m_atEnd) FillBuffer();
    if (m_atEnd) return true;
    const unsigned char c = m_buffer[m_bufPos];
    return c == 13 || c == 10;
}

int InStream::SkipTo(unsigned char c)
{
    const char set[2] = {static_cast<char>(c), 0};
    FailIfNoBuffer("SkipTo");
    return c ? SkipToOneOf(set) : 0;
}

int InStream::Scan(const char* set, char* out, int max)
{
    int passed = 0;
    while (!m_atEnd && passed < max) {
        if (m_bufPos >= m_bufEnd && !FillBuffer()) break;
        while (m_bufPos < m_bufEnd && passed < max) {
            const unsigned char c = m_buffer[m_bufPos];
            if (set && InSet(set, c)) return passed;
            if (out) out[passed] = static_cast<char>(c);
            ++m_bufPos, ++passed;
        }
    }
    return passed;
}

int InStream::SkipToOneOf(const char* set)
{
    FailIfNoBuffer("SkipToOneOf");
    return set ? Scan(set, nullptr, INT_MAX) : 0;
}

int InStream::UntilOneOf(const char* set, char* out, int max)
{
    FailIfNoBuffer("UntilOneOf");
    return Scan(set, out, max);
}

String InStream::UntilOneOf(const char* set, int max)
{
    String text;
    char chunk[256];
    while (max > 0) {
        const int got = UntilOneOf(set, chunk, std::min<int>(max, sizeof chunk));
        text += String(chunk, static_cast<std::size_t>(got));
        max -= got;
        if (got < static_cast<int>(sizeof chunk)) break;
    }
    return text;
}

int InStream::BackTo(unsigned char c)
{
    const char set[2] = {static_cast<char>(c), 0};
    FailIfNoBuffer("BackTo");
    return c ? BackToOneOf(set) : 0;
}

int InStream::BackToOneOf(const char* set)
{
    FailIfNoBuffer("BackToOneOf");
    if (!set) return 0;
    const long long start = Position();
    bool passedOther = false;
    for (;;) {
        while (m_bufPos > 0) {
            const bool in = InSet(set, m_buffer[m_bufPos - 1]);
            if (in && passedOther) return static_cast<int>(Position() - start);
            if (!in) passedOther = true;
            --m_bufPos;
        }
        // The start of the buffer: go on in the stretch before it, if there is one.
        const long long here = Position();
        if (here <= 0) break;
        const long long from = std::max<long long>(0, here - m_capacity);
        Seek(from, fromBegin);
        FillBuffer();
        m_bufPos = static_cast<int>(std::min<long long>(here - from, m_bufEnd));
    }
    return static_cast<int>(Position() - start);
}

int InStream::Line(char* out, int max, bool keepEOL)
{
    int got = UntilOneOf("\r\n", out, max);
    if (got >= max || !Buffered()) return got;
    const unsigned char first = m_buffer[m_bufPos];
    const int eol = SkipEOL();
    if (keepEOL && eol >= 1 && got < max) out[got++] = static_cast<char>(first);
    if (keepEOL && eol == 2 && got < max) out[got++] = 10;
    return got;
}

String InStream::Line(int max)
{
    String text = UntilOneOf("\r\n", max);
    SkipEOL();
    return text;
}

int InStream::SkipLine(bool skipEOL)
{
    const int passed = SkipToOneOf("\r\n");
    return skipEOL ? passed + SkipEOL() : passed;
}

int InStream::BackLine()
{
    // Back over this line's start and the previous line end, then to the start of that line.
    FailIfNoBuffer("BackLine");
    const long long start = Position();
    int moved = 0;
    auto stepBack = [&]() {
        if (m_bufPos == 0) {
            const long long here = Position();
            if (here <= 0) return false;
            const long long from = std::max<long long>(0, here - m_capacity);
            Seek(from, fromBegin);
            FillBuffer();
            m_bufPos = static_cast<int>(std::min<long long>(here - from, m_bufEnd));
            if (m_bufPos == 0) return false;
        }
        --m_bufPos;
        return true;
    };
    auto before = [&]() { return m_bufPos > 0 ? m_buffer[m_bufPos - 1] : 0; };
    // Leave the current line: back to its start.
    while (m_bufPos > 0 || Position() > 0) {
        const unsigned char c = before();
        if (m_bufPos > 0 && (c == 10 || c == 13)) break;
        if (!stepBack()) break;
    }
    // Over the previous line's end (13 10, 10 or 13).
    if (before() == 10) stepBack();
    if (before() == 13) stepBack();
    // To the start of the previous line.
    while (m_bufPos > 0 || Position() > 0) {
        const unsigned char c = before();
        if (m_bufPos > 0 && (c == 10 || c == 13)) break;
        if (!stepBack()) break;
    }
    moved = static_cast<int>(Position() - start);
    return moved;
}

int InStream::GetSlow(std::uint64_t& value, int size)
{
    value = 0;
    int got = 0;
    for (int i = 0; i < size; ++i) {
        const unsigned char byte = Read();
        if (m_atEnd) break;
        value |= static_cast<std::uint64_t>(byte) << (8 * i);
        ++got;
    }
    return got;
}

int InStream::Get(bool& value)
{
    unsigned char byte = 0;
    const int got = Get(byte);
    value = byte != 0;
    return got;
}

int InStream::Get(float& value)
{
    std::uint32_t bits = 0;
    const int got = GetLE(bits);
    std::memcpy(&value, &bits, sizeof bits);
    return got;
}

int InStream::Get(double& value)
{
    std::uint64_t bits = 0;
    const int got = GetLE(bits);
    std::memcpy(&value, &bits, sizeof bits);
    return got;
}

int InStream::GetString(String& text)
{
    // The string's own memory is reused: reading many strings into one String allocates once.
    std::string& raw = text;
    raw.clear();
    int length = 0;
    Get(length);
    if (length < 0)
        RaiseException("Get", ErrorBadRequest, SFormat("Asked to extract String with negative length: %d. ", length),
                       0);
    if (length > kMaxString)
        RaiseException(
            "Get", ErrorTooLarge,
            SFormat("Asked to extract String (%d bytes) larger than maximum allowed (%d bytes). ", length, kMaxString),
            0);
    if (length <= m_bufEnd - m_bufPos) {
        raw.assign(reinterpret_cast<const char*>(m_buffer + m_bufPos), static_cast<std::size_t>(length));
        m_bufPos += length;
        return length + 4;
    }
    raw.resize(static_cast<std::size_t>(length));
    const int got = Read(raw.data(), length);
    raw.resize(static_cast<std::size_t>(got));
    return got + 4;
}

int InStream::Get(Path& path)
{
    int index = 0;
    Get(index);
    String text;
    const int got = Get(text);
    if (index < 0) {
        path = Path::TranslateToLocal(text);
        return got + 4;
    }
    const String root = Path::_GetLocalRoot(index);
    path = Path(root) / Path(text);
    path.MakeSlashesLocal();
    if (root.Empty())
        GlobalLog(static_cast<LogLevel>(3),
                  SFormat("Unable to find a local root for translation index %d. Resulting Path: ", index) +
                      path.Text());
    return got + 4;
}

int InStream::Get(UID& id)
{
    if (m_bufEnd - m_bufPos >= 16) {
        id.Assign(m_buffer + m_bufPos);
        m_bufPos += 16;
        return 16;
    }
    unsigned char bytes[16];
    const int got = Read(bytes, 16);
    if (got == 16) id.Assign(bytes);
    else id.Reset();
    return got;
}

int InStream::Get(IPPeer& peer)
{
    unsigned char valid = 0;
    Get(valid);
    if (!valid) {
        peer.Reset();
        return 1;
    }
    String name;
    unsigned char address[4] = {};
    unsigned char resolved = 0;
    unsigned short port = 0;
    int n = 1 + Get(name);
    n += Read(address, 4);
    n += Get(resolved);
    n += Get(port);
    peer.Reset();
    peer.m_name = name;
    std::memcpy(&peer.m_address, address, 4);
    peer.m_resolved = resolved != 0;
    peer.SetPort(port, true); // and valid
    return n;
}

int InStream::Get(Time& time)
{
    long long value = 0;
    Get(value);
    if (value == 0) time = Time();
    else time = Time(m_adjustment ? value + m_adjustment->TotalMilliseconds() : value);
    return 8;
}

int InStream::Get(RAMBlock& block)
{
    long long length = 0;
    Get(length);
    block.CeaseUsing();
    if (length <= 0) {
        block.Set(nullptr, 0, true);
        return 8;
    }
    if (length > 0x7FFFFFFF)
        RaiseException("Get", ErrorTooLarge,
                       SFormat("Asked to extract RAMBlock (%lld bytes) larger than maximum allowed (%d bytes). ",
                               length, 0x7FFFFFFF),
                       0);
    const int size = static_cast<int>(length);
    if (size <= kDirectBlock) {
        block.Set(nullptr, size, true);
        block.BeginUsing();
        return Read(block.Data(), size) + 8;
    }
    // A large length is believed only as far as bytes arrive: the memory grows with them, so a few
    // bytes claiming two gigabytes cost no more than they bring.
    std::unique_ptr<unsigned char[]> data;
    int capacity = 0, got = 0;
    while (got < size) {
        if (got == capacity) {
            const int grown =
                static_cast<int>(std::min<long long>(size, std::max<long long>(kDirectBlock, 2LL * capacity)));
            std::unique_ptr<unsigned char[]> bigger(new unsigned char[grown]());
            if (got > 0) std::memcpy(bigger.get(), data.get(), got);
            data = std::move(bigger);
            capacity = grown;
        }
        const int n = Read(data.get() + got, capacity - got);
        if (n == 0) break;
        got += n;
    }
    block.Set(data.release(), got, true);
    return got + 8;
}

Time* InStream::AdjustTime(Time* adjustment)
{
    Time* old = m_adjustment;
    m_adjustment = adjustment;
    return old;
}

// Block

InStream::Block::Block(InStream& stream) { Attach(&stream); }

InStream::Block::Block(InStream* stream) { Attach(stream); }

InStream::Block::~Block() { Detach(); }

void InStream::Block::Attach(InStream& stream) { Attach(&stream); }

void InStream::Block::Attach(InStream* stream)
{
    Detach();
    if (!stream) return;
    stream->StatusSignal.Connect(this, &Block::_StatusChanged);
    stream->BufferSignal.Connect(this, &Block::_BufferChanged);
    m_stream = stream;
    unsigned char revision = 0;
    stream->Get(revision);
    m_revision = static_cast<signed char>(revision);
    stream->Get(m_flags);
    stream->Get(m_size);
    m_start = stream->Position();
}

void InStream::Block::Detach()
{
    InStream* stream = m_stream;
    if (!stream) return;
    m_stream = nullptr;
    stream->StatusSignal.Disconnect(this);
    stream->BufferSignal.Disconnect(this);
    const long long read = stream->Position() - m_start;
    if (read < m_size) stream->Skip(static_cast<int>(m_size - read));
}

void InStream::Block::_StatusChanged(int status)
{
    if (status == closing || status == closed || status == detaching || status == detached) {
        InStream* stream = m_stream;
        m_stream = nullptr;
        if (stream) {
            stream->StatusSignal.Disconnect(this);
            stream->BufferSignal.Disconnect(this);
        }
    }
}

void InStream::Block::_BufferChanged()
{
    if (m_stream) m_stream->FailIfNoBuffer("InStream::Block::_BufferChanged");
}

} // namespace dovo
