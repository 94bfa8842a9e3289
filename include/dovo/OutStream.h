#pragma once

#include <dovo/Stream.h>
#include <dovo/UID.h>

#include <bit>
#include <cstdint>
#include <cstring>

namespace dovo {

class IPPeer;
class Path;
class RAMBlock;

/// The writing side of a Stream: bytes gathered in the buffer and handed to the transport when it is
/// full or flushed, values in the library's little-endian binary form, text lines with a chosen line
/// end, and framed records (Marker).
///
/// With room in the buffer a value is stored there directly: no lock, no call to the transport. The
/// transport's own state is checked when bytes are handed to it (a transport closed behind an active
/// stream's back is reported by the next write that reaches it, with the where "DoWrite").
class DOVO_API OutStream : public Stream
{
public:
    /// Strings are written in their binary form when binary is set, as plain text otherwise; with
    /// flushOnNewline every byte 10 put through Put flushes the stream.
    explicit OutStream(int bufferSize = 4096, bool binary = true, bool flushOnNewline = false);
    OutStream(unsigned char* buffer, int size, bool binary = true, bool flushOnNewline = false);
    OutStream(const OutStream&) = default;
    OutStream& operator=(const OutStream&) = default;
    ~OutStream() override;

    void Flush() override;
    /// The absolute position of the next byte written.
    virtual long long Position() const { return m_transportPos + m_bufPos; }

    /// Bytes accepted (all of them with a buffer; what the transport took without one).
    int Write(const void* data, int size)
    {
        // With room in the buffer the bytes are only copied (the transport is checked when it is reached);
        // a whole buffer's worth into an empty buffer goes to the transport without the copy.
        if (m_active && size >= 0 && size <= m_capacity - m_bufPos && (size < m_capacity || m_bufEnd != 0)) {
            std::memcpy(m_buffer + m_bufPos, data, static_cast<std::size_t>(size));
            AdvanceBuffer(static_cast<unsigned>(size));
            return size;
        }
        return WriteThrough(data, size);
    }

    // Each value's bytes least significant first; the number of bytes is returned.
    int Put(unsigned char c);
    int Put(bool value) { return Put(static_cast<unsigned char>(value ? 1 : 0)); }
    int Put(short value) { return PutLE<std::uint16_t>(static_cast<std::uint16_t>(value)); }
    int Put(unsigned short value) { return PutLE<std::uint16_t>(value); }
    int Put(int value) { return PutLE<std::uint32_t>(static_cast<std::uint32_t>(value)); }
    int Put(unsigned int value) { return PutLE<std::uint32_t>(value); }
    int Put(long long value) { return PutLE<std::uint64_t>(static_cast<std::uint64_t>(value)); }
    int Put(unsigned long long value) { return PutLE<std::uint64_t>(value); }
    int Put(float value) { return PutLE(std::bit_cast<std::uint32_t>(value)); }
    int Put(double value) { return PutLE(std::bit_cast<std::uint64_t>(value)); }
    /// Binary: a 4-byte length and the bytes (at most 1,048,576, else error 0x20000012); plain: the bytes.
    int Put(const String& text)
    {
        const int length = text.Length();
        if (m_binary && length <= kMaxString && length + 4 <= m_capacity - m_bufPos && m_active) {
            PutLE(static_cast<std::uint32_t>(length));
            CopyBytes(m_buffer + m_bufPos, reinterpret_cast<const unsigned char*>(text.c_str()), length);
            AdvanceBuffer(static_cast<unsigned>(length));
            return length + 4;
        }
        return PutString(text);
    }
    /// Binary: translation index -1 and the text as a binary String; plain: the text.
    int Put(const Path& path);
    /// The 16 bytes (zeros for nil).
    int Put(const UID& id)
    {
        Write(id.BinaryData(), 16);
        return 16;
    }
    /// An 8-byte length (the block's Position()) and that many bytes from its start.
    int Put(const RAMBlock& block);
    /// 1 and the host name, the 4 address bytes in network order, the resolved flag and the port
    /// (little-endian); a single 0 for a peer that holds no address.
    int Put(const IPPeer& peer);
    /// Text with each byte 10 written as the line end eol; a null text writes nothing.
    int Put(const char* text, eolType eol);
    /// 13 10, or 10 alone for eolLF, through Put.
    int PutEOL(eolType eol);

    bool Binary() const { return m_binary; }
    void Binary(bool binary) { m_binary = binary; }
    bool FlushOnNewline() const { return m_flushOnNewline; }
    void FlushOnNewline(bool flush) { m_flushOnNewline = flush; }

    /// Frames a record: a 4-byte header (revision, flags, content size) that InStream::Block reads. The
    /// size is filled in by Reset, in the buffer: while a record is open the stream keeps its bytes in
    /// the buffer (growing the buffer when the record needs more room), so a record of up to 65,535
    /// bytes is framed whatever the buffer's size. Records nest.
    class DOVO_API Marker : public HasSlots<ThreadPolicy::LocalThreaded>
    {
    public:
        Marker() = default;
        Marker(OutStream& stream, signed char revision, unsigned char flags = 0);
        Marker(OutStream* stream, signed char revision, unsigned char flags = 0);
        Marker(const Marker&) = delete;
        Marker& operator=(const Marker&) = delete;
        ~Marker() override;

        /// Ends any record in progress and starts one on stream (nothing for null).
        void Mark(OutStream& stream, signed char revision, unsigned char flags = 0);
        void Mark(OutStream* stream, signed char revision, unsigned char flags = 0);
        /// Writes the content's size into the header and forgets the stream.
        void Reset();
        /// The status slot: a stream that closes or detaches is forgotten.
        void StatusChanged(int status);

    private:
        friend class OutStream;
        void Forget();

        OutStream* m_stream = nullptr;
        int m_start = 0;
        Marker* m_next = nullptr; // the stream's other open records
    };

protected:
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;
    /// Hands the buffered bytes to the transport and empties the buffer.
    virtual void DumpBuffer();
    int DoWrite(const unsigned char* data, int size);
    void AdvanceBuffer(unsigned int n)
    {
        m_bufPos += static_cast<int>(n);
        if (m_bufEnd < m_bufPos) m_bufEnd = m_bufPos;
    }
    void PreWrite()
    {
        if (m_bufPos >= m_capacity) DumpBuffer();
    }

    /// Whether a large Write may go to the transport without passing through the buffer (false for a
    /// stream whose buffer is its transport's own memory).
    bool m_writeThrough = true;
    /// The open records, whose bytes stay in the buffer until they are closed.
    Marker* m_markers = nullptr;

private:
    /// The longest String in binary form.
    static constexpr int kMaxString = 1048576;

    int WriteThrough(const void* data, int size);

    // Short texts (the common case in records) are copied with two fixed-size moves that overlap in the
    // middle rather than by a call to the library's copy of any size.
    static void CopyBytes(unsigned char* to, const unsigned char* from, int n)
    {
        if (n >= 8 && n <= 16) {
            std::memcpy(to, from, 8);
            std::memcpy(to + n - 8, from + n - 8, 8);
        } else if (n >= 4 && n < 8) {
            std::memcpy(to, from, 4);
            std::memcpy(to + n - 4, from + n - 4, 4);
        } else if (n < 4) {
            for (int i = 0; i < n; ++i) to[i] = from[i];
        } else {
            std::memcpy(to, from, static_cast<std::size_t>(n));
        }
    }
    int PutString(const String& text);

    template <typename T>
    int PutLE(T value)
    {
        if (m_capacity - m_bufPos >= static_cast<int>(sizeof(T)) && m_active && !m_flushOnNewline) {
            unsigned char* out = m_buffer + m_bufPos;
            if constexpr (std::endian::native == std::endian::little) std::memcpy(out, &value, sizeof(T));
            else
                for (unsigned i = 0; i < sizeof(T); ++i) out[i] = static_cast<unsigned char>(value >> (8 * i));
            AdvanceBuffer(sizeof(T));
            return sizeof(T);
        }
        for (unsigned i = 0; i < sizeof(T); ++i) Put(static_cast<unsigned char>(value >> (8 * i)));
        return sizeof(T);
    }

    bool m_flushOnNewline;
    bool m_binary;
};

} // namespace dovo
