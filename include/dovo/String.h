#pragma once

#include <dovo/Export.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>

namespace dovo {

/// The library's 8-bit text value: a standard byte string with a fixed vocabulary of searches, cuts,
/// trims, case changes and conversions.
///
/// Positions handed to forward searches and cuts are unsigned sizes; lengths, search results and the
/// start of backward searches are ints, where -1 means "not found" as a result and "from the end" as
/// an argument. Positions past the end never fail: searches find nothing and cuts give what is there.
class DOVO_API String
{
public:
    /// A library-wide empty text, for members that must return a reference to nothing.
    static const String Null;

    /// Case-insensitive ordering, for maps keyed by names.
    struct DOVO_API ciless
    {
        bool operator()(const String& a, const String& b) const;
    };

    String() = default;
    String(const char* text);                   ///< nullptr gives an empty text
    String(const char* text, std::size_t size); ///< exactly size bytes
    String(char c, std::size_t count);          ///< c repeated count times
    String(const std::string& text) : m_text(text) {}
    String(std::string&& text) noexcept : m_text(std::move(text)) {}
    String(const String&) = default;
    String(String&&) noexcept = default;
    ~String() = default;

    String& operator=(const String&) = default;
    String& operator=(String&&) noexcept = default;
    String& operator=(const char* text);
    /// Replaces the text with the value printed as "%g".
    String& operator=(double value);
    String& operator=(float value);

    String& operator+=(const String& text);
    String& operator+=(const std::string& text);
    String& operator+=(const char* text);
    String& operator+=(char c);

    String& Copy(const String& text);
    String& Copy(const char* text, std::size_t size);
    void Swap(String& other) noexcept { m_text.swap(other.m_text); }
    void Reserve(std::size_t size) { m_text.reserve(size); }
    /// With freeMemory the heap block is released; otherwise only the length becomes 0.
    void Clear(bool freeMemory = false);

    operator std::string&() { return m_text; }
    operator const std::string&() const { return m_text; }
    const std::string& str() const { return m_text; }

    int Length() const { return static_cast<int>(m_text.size()); }
    bool Empty() const { return m_text.empty(); }
    const char* c_str() const { return m_text.c_str(); }
    /// Past the end the const form gives '\0'.
    char operator[](std::size_t pos) const { return pos < m_text.size() ? m_text[pos] : '\0'; }
    /// Past the end this throws an Exception (error 0x20000005): there is no byte to hand out.
    char& operator[](std::size_t pos);

    /// Extends the text with NULs to n bytes if it is shorter; never shortens it.
    char* GetBuffer(std::size_t n);
    /// Sets the length to exactly n bytes (cutting or extending with NULs).
    char* GetBufferSetLength(std::size_t n);

    // Byte-wise comparison.
    bool operator==(const String& other) const { return m_text == other.m_text; }
    bool operator!=(const String& other) const { return m_text != other.m_text; }
    bool operator<(const String& other) const { return m_text < other.m_text; }
    bool operator>(const String& other) const { return other.m_text < m_text; }
    bool operator<=(const String& other) const { return !(other.m_text < m_text); }
    bool operator>=(const String& other) const { return !(m_text < other.m_text); }
    bool operator==(const char* other) const { return m_text == (other ? other : ""); }
    bool operator!=(const char* other) const { return !(*this == other); }

    /// Code-page comparison; an empty text is smaller than any other. Returns -1, 0 or 1.
    int Compare(const String& other) const;
    int CompareNoCase(const String& other) const;
    /// Case-insensitive equality (a comparison, not an assignment).
    bool operator%=(const String& other) const;
    /// True when the whole text matches the Perl-syntax expression. A bad expression throws an Exception
    /// (error 0x20000004) whose debug message gives the reason.
    bool RegexMatch(const String& pattern) const;

    int Find(const String& s, std::size_t start = 0) const;
    int FindNoCase(const String& s, std::size_t start = 0) const;
    int ReverseFind(const String& s, int start = -1) const;
    int FindOneOf(const String& chars, std::size_t start = 0) const;
    int FindOneNotOf(const String& chars, std::size_t start = 0) const;
    int ReverseFindOneOf(const String& chars, int start = -1) const;
    int ReverseFindOneNotOf(const String& chars, int start = -1) const;
    bool Contains(const String& s) const { return Find(s) >= 0; }
    bool ContainsOneOf(const String& chars) const { return FindOneOf(chars) >= 0; }
    bool StartsWith(const String& s) const;
    bool EndsWith(const String& s) const;
    bool StartsWithOneOf(const String& chars) const;
    bool EndsWithOneOf(const String& chars) const;

    String Left(std::size_t n) const;
    /// The last n bytes; empty (not the whole text) when n exceeds the length.
    String Right(std::size_t n) const;
    String Mid(std::size_t start, int count = -1) const;

    // Separator cuts: each returns the whole text when the separator is not found.
    String LeftFirst(const String& sep, bool include = false, std::size_t start = 0) const;
    String LeftLast(const String& sep, bool include = false, int start = -1) const;
    String RightFirst(const String& sep, bool include = false, std::size_t start = 0) const;
    String RightLast(const String& sep, bool include = false, int start = -1) const;
    String LeftFirstOneOf(const String& chars, std::size_t start = 0) const;
    String LeftFirstOneNotOf(const String& chars, std::size_t start = 0) const;
    String LeftLastOneOf(const String& chars, int start = -1) const;
    String LeftLastOneNotOf(const String& chars, int start = -1) const;
    String RightFirstOneOf(const String& chars, std::size_t start = 0) const;
    String RightFirstOneNotOf(const String& chars, std::size_t start = 0) const;
    String RightLastOneOf(const String& chars, int start = -1) const;
    String RightLastOneNotOf(const String& chars, int start = -1) const;

    String& Insert(std::size_t pos, const String& text);
    String& Delete(std::size_t pos, std::size_t count);
    void Erase(std::size_t pos, int count = -1);
    String& Replace(std::size_t pos, std::size_t count, const String& with);
    /// Replaces every occurrence; case-insensitive matching follows the current locale.
    String& Replace(const String& old, const String& with, bool caseSensitive = true);
    /// Every byte that is one of chars becomes the whole text with.
    String& ReplaceAny(const String& chars, const String& with);
    /// Without an argument: whitespace as the current locale classifies it.
    String& Trim();
    String& TrimLeft();
    String& TrimRight();
    String& Trim(const String& chars);
    String& TrimLeft(const String& chars);
    String& TrimRight(const String& chars);

    String& MakeLower();
    String& MakeUpper();
    String to_lower() const;
    String to_upper() const;
    /// Upper-cases the first byte and every byte after a separator (0: after a space); lower-cases
    /// the rest.
    String& MakeWordUpper(char separator = 0);

    // Conversions; an empty text gives 0, 0.0 or false.
    int Int(int base = 10) const;
    unsigned Uint(int base = 10) const;
    std::int64_t Int64() const;
    /// Decimal, "0x" hexadecimal or leading-'0' octal (where '8' and '9' still count); no sign.
    std::uint64_t Uint64() const;
    double Float64() const;
    float Float32() const;
    /// "on", "yes", "true" are true; "off", "no", "false", "" false; anything else by Uint64() != 0.
    bool Bool() const;

    /// Appends the value in decimal, right-aligned in width characters padded with fill. base and
    /// flag are accepted for compatibility and ignored.
    String& AppendSigned(std::int64_t value, int width = 0, char fill = ' ', int base = 10, bool flag = true);
    String& AppendUnsigned(std::uint64_t value, int width = 0, char fill = ' ', int base = 10, bool flag = true);
    /// Appends "0x" (with prefix) and then the hex digits zero-padded to width.
    String& AppendHex(std::uint64_t value, int width = 0, bool prefix = false, bool upperCase = false);
    /// Wraps the text in place into lines of at most width bytes, breaking after one of breakChars
    /// (a default set when empty). Returns the number of lines; one line leaves the text untouched.
    int Wrap(std::size_t width, const String& lineSeparator = "\n", const String& breakChars = String());

private:
    std::string m_text;
};

DOVO_API String operator+(const String& a, const String& b);
DOVO_API String operator+(const String& a, const char* b);
DOVO_API String operator+(const char* a, const String& b);
DOVO_API String operator+(const String& a, char b);
DOVO_API std::ostream& operator<<(std::ostream& out, const String& text);

/// The type of a printf-style format argument.
using FormatString = const char*;

/// printf-style formatting into a new String.
DOVO_API String SFormat(FormatString format, ...) DOVO_PRINTF(1, 2);
DOVO_API String VSFormat(FormatString format, va_list args) DOVO_PRINTF(1, 0);
/// Formats into buffer (at most size bytes with the NUL) and returns the length the whole output
/// needs, so that a caller can size a buffer with one more call.
DOVO_API int rvsnprintf(char* buffer, std::size_t size, const char* format, va_list args) DOVO_PRINTF(3, 0);

/// Writes every unprintable byte as its signed value in square brackets: "\n" gives "[10]".
DOVO_API String ForcePrintable(char c);
DOVO_API String ForcePrintable(const char* text);

} // namespace dovo

template <>
struct std::hash<dovo::String>
{
    std::size_t operator()(const dovo::String& s) const noexcept { return std::hash<std::string>()(s.str()); }
};
