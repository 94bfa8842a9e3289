#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>

#include <atomic>
#include <cstdint>

namespace dovo {

class InStream;

/// A 128-bit unique identifier with the text form 8-4-4-4-12 in lower-case hexadecimal.
///
/// Copies share one immutable block (an atomic count keeps it alive), so a UID is as cheap to copy as a
/// pointer. A UID without a block is nil and equals sixteen zero bytes. Any thread may copy, compare and
/// print a UID that no thread is assigning to.
class DOVO_API UID
{
public:
    /// The shared block: the bytes in network order (the 32-bit and two 16-bit groups most significant
    /// byte first, then the last eight bytes as they are), the text form, and the count of holders.
    struct uid_t
    {
        unsigned char bytes[16];
        char text[37];
        std::atomic<std::int32_t> count;
    };

    /// The nil identifier.
    static const UID Null;
    /// All sixteen bytes 0xFF.
    static const UID Full;

    UID() noexcept = default;
    /// With true, a new identifier from the operating system's generator; with false, nil.
    explicit UID(bool generate);
    /// Parses text (see FromString). A text that does not parse leaves the UID nil, or with throwOnError
    /// raises an Exception (error 0x20000004, "Unable to extract valid UID from " and the text).
    UID(const String& text, bool throwOnError = true);
    UID(const char* text, bool throwOnError = true);
    UID(const UID& other) noexcept;
    UID(UID&& other) noexcept : m_data(other.m_data) { other.m_data = nullptr; }
    ~UID() { Release(); }

    UID& operator=(const UID& other) noexcept;
    UID& operator=(UID&& other) noexcept;
    /// Parses text; one that does not parse leaves the UID nil.
    UID& operator=(const String& text);
    /// Shares the other UID's block.
    void Copy(const UID& other) noexcept { *this = other; }
    /// Makes the UID nil.
    void Reset() noexcept;

    /// Reads 36 characters: hexadecimal digits of either case, two to a byte, with the characters at
    /// positions 8, 13, 18 and 23 skipped whatever they are. Stops at the first other character. False,
    /// and the UID nil, unless all 16 bytes were read.
    bool FromString(FormatString text);
    /// The text form; "00000000-0000-0000-0000-000000000000" for nil.
    const char* ToString() const noexcept;
    /// The 16 bytes (zeros for nil).
    const unsigned char* BinaryData() const noexcept { return m_data ? m_data->bytes : kZeros; }

    bool operator==(const UID& other) const noexcept;
    bool operator!=(const UID& other) const noexcept { return !(*this == other); }
    /// Orders by the bytes as unsigned values, nil as sixteen zeros.
    bool operator<(const UID& other) const noexcept;
    /// False for nil and for an identifier of sixteen zero bytes.
    explicit operator bool() const noexcept;

private:
    friend class InStream;

    constexpr explicit UID(uid_t* block) noexcept : m_data(block) {}

    /// A new zeroed block held once.
    static uid_t* Alloc();
    /// Releases the current block and attaches a new zeroed one; returns its bytes.
    unsigned char* NewData();
    /// Fills the text form from the bytes on first demand (once, whichever thread asks first).
    void GenString() const noexcept;
    /// Takes sixteen bytes as the value; all zeros make the UID nil.
    void Assign(const unsigned char* bytes);
    void Release() noexcept;

    static constexpr unsigned char kZeros[16] = {};

    uid_t* m_data = nullptr;
};

} // namespace dovo
