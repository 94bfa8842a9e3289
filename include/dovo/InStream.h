#pragma once

#include <dovo/Stream.h>
#include <dovo/StreamException.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace dovo {

class IPPeer;
class Path;
class RAMBlock;
class Time;
class UID;

/// The reading side of a Stream: the buffer filled from the transport on demand, raw bytes, scanning
/// over byte sets and lines, and the binary values that OutStream writes.
///
/// At the end of the data reads give zeros and short counts, or, when built to throw at the end,
/// raise EndOfStream. Values whose bytes are all in the buffer are taken from it directly: no lock and
/// no call to the transport.
class DOVO_API InStream : public Stream
{
public:
    /// Reading past the end of the data.
    class DOVO_API EndOfStream : public StreamException
    {
    public:
        EndOfStream(const EndOfStream&) = default;
        EndOfStream& operator=(const EndOfStream&) = default;
        ~EndOfStream() override;
        /// "Hit the end of the stream" from "InStream", logged, then thrown.
        [[noreturn]] static void Throw(const String& where, signed char level);

    protected:
        EndOfStream(const String& where, signed char level);
    };

    explicit InStream(int bufferSize = 4096, bool throwAtEnd = false);
    InStream(unsigned char* buffer, int size, bool throwAtEnd = false);
    InStream(const InStream&) = default;
    InStream& operator=(const InStream&) = default;
    ~InStream() override;

    /// Seeks as Stream does; a position below the transport's size clears the end.
    long long Seek(long long offset, SeekMode mode) override;
    /// Refills the buffer from the transport; false when nothing came.
    virtual bool FillBuffer();
    /// The absolute position of the next byte to read.
    virtual long long Position() const { return m_transportPos - m_bufEnd + m_bufPos; }

    unsigned char Read();
    /// Up to size bytes; fewer at the end.
    int Read(void* data, int size);
    unsigned char Peek();
    /// Steps back n bytes in the buffer; raises 0x20000011 at its start.
    void PutBack(int n);
    /// Bytes skipped.
    int Skip(int n);
    /// Bytes in the buffer not yet read (the transport is not asked).
    unsigned int DataAvailable() const { return m_bufPos < m_bufEnd ? static_cast<unsigned>(m_bufEnd - m_bufPos) : 0u; }
    bool EndOfFile();
    /// True before 13 or 10, and at the end.
    bool EndOfLine();

    /// Passes over bytes until one of set (not consumed) or the end; returns how many.
    int SkipTo(unsigned char c);
    int SkipToOneOf(const char* set);
    /// Scans back to just after the previous byte of set that precedes a byte not in it.
    int BackTo(unsigned char c);
    int BackToOneOf(const char* set);
    /// Copies bytes until one of set, at most max of them; the stopping byte stays unread.
    int UntilOneOf(const char* set, char* out, int max);
    String UntilOneOf(const char* set, int max);
    /// Reads a line (up to 13, 10 or 13 10), at most max bytes, keeping the line end only with keepEOL.
    int Line(char* out, int max, bool keepEOL = false);
    String Line(int max);
    /// Passes the rest of the line (and its end when skipEOL); returns the bytes passed.
    int SkipLine(bool skipEOL = true);
    /// Moves back to the start of the previous line.
    int BackLine();

    // Each takes the bytes OutStream::Put wrote and returns how many it consumed.
    int Get(bool& value);
    int Get(signed char& value) { return GetLE(value); }
    int Get(unsigned char& value) { return GetLE(value); }
    int Get(short& value) { return GetLE(value); }
    int Get(unsigned short& value) { return GetLE(value); }
    int Get(int& value) { return GetLE(value); }
    int Get(unsigned int& value) { return GetLE(value); }
    int Get(long long& value) { return GetLE(value); }
    int Get(unsigned long long& value) { return GetLE(value); }
    int Get(float& value);
    int Get(double& value);
    /// A 4-byte length (0 to 1,048,576) and the bytes.
    int Get(String& text)
    {
        if (m_bufEnd - m_bufPos >= 4) {
            const auto length = static_cast<std::int32_t>(Load<std::uint32_t>(m_buffer + m_bufPos));
            if (length >= 0 && length <= m_bufEnd - m_bufPos - 4) {
                static_cast<std::string&>(text).assign(reinterpret_cast<const char*>(m_buffer + m_bufPos + 4),
                                                       static_cast<std::size_t>(length));
                m_bufPos += 4 + length;
                return length + 4;
            }
        }
        return GetString(text);
    }
    /// A 4-byte translation index and a String: below 0 the text is translated to this machine
    /// (Path::TranslateToLocal); otherwise it is put under this machine's root for that index.
    int Get(Path& path);
    int Get(UID& id);
    /// 0 is no time; with an adjustment set, other times are moved by its value.
    int Get(Time& time);
    /// An 8-byte length and the bytes, into memory the block owns. A block longer than 1 MiB grows with
    /// the bytes that arrive, and one cut short by the end of the data is as long as what arrived.
    int Get(RAMBlock& block);
    /// A flag byte (0: the peer is emptied), then the host name, the 4 address bytes, the resolved
    /// flag and the port.
    int Get(IPPeer& peer);

    /// Sets the adjustment for times read (null for none); returns the previous one.
    Time* AdjustTime(Time* adjustment);
    bool ThrowAtEnd() const { return m_throwAtEnd; }
    void ThrowAtEnd(bool throwAtEnd) { m_throwAtEnd = throwAtEnd; }
    /// Whether the transport has delivered no more bytes.
    bool AtEnd() const { return m_atEnd; }

    /// Reads a record's header written by OutStream::Marker, and on Detach skips what the reader left
    /// of its content, so a reader that knows an older revision stays in step with newer writers.
    class DOVO_API Block : public HasSlots<ThreadPolicy::LocalThreaded>
    {
    public:
        Block() = default;
        explicit Block(InStream& stream);
        explicit Block(InStream* stream);
        Block(const Block&) = delete;
        Block& operator=(const Block&) = delete;
        ~Block() override;

        /// Skips the rest of any current record, then reads the header of the next one on stream.
        void Attach(InStream& stream);
        void Attach(InStream* stream);
        /// Skips what was not read of the record's content.
        void Detach();
        int Size() const { return m_size; }
        signed char Revision() const { return m_revision; }
        unsigned char Flags() const { return m_flags; }

        void _StatusChanged(int status);
        void _BufferChanged();

    private:
        InStream* m_stream = nullptr;
        signed char m_revision = 0;
        unsigned char m_flags = 0;
        unsigned short m_size = 0;
        long long m_start = 0;
    };

protected:
    void Status(int status) override;
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;
    int DoRead(unsigned char* data, int size);
    /// Passes a line end: 10, 13 or 13 10; returns its length.
    int SkipEOL();

private:
    /// A little-endian unsigned value from memory.
    template <typename U>
    static U Load(const unsigned char* in)
    {
        U v = 0;
        if constexpr (std::endian::native == std::endian::little) std::memcpy(&v, in, sizeof(U));
        else
            for (unsigned i = 0; i < sizeof(U); ++i) v = static_cast<U>(v | static_cast<U>(in[i]) << (8 * i));
        return v;
    }

    template <typename T>
    int GetLE(T& value)
    {
        using U = std::make_unsigned_t<T>;
        if (m_bufEnd - m_bufPos >= static_cast<int>(sizeof(T))) {
            const U v = Load<U>(m_buffer + m_bufPos);
            m_bufPos += sizeof(T);
            value = static_cast<T>(v);
            return sizeof(T);
        }
        std::uint64_t v = 0;
        const int got = GetSlow(v, sizeof(T));
        value = static_cast<T>(static_cast<U>(v));
        return got;
    }
    int GetSlow(std::uint64_t& value, int size);
    int GetString(String& text);
    /// Passes (and copies to out, when not null) at most max bytes until one of set or the end.
    int Scan(const char* set, char* out, int max);
    void ThrowIfAtEnd(const char* where);
    /// Refills an empty buffer; true when a byte is there to read.
    bool Buffered();

    bool m_atEnd = false;
    bool m_throwAtEnd;
    Time* m_adjustment = nullptr;
};

} // namespace dovo
