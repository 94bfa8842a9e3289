#pragma once

// Comparisons in the C runtime's current multibyte code page (CodePage_posix.cpp and
// CodePage_win32.cpp), and the runtime's character classes of the current locale.

#include <cctype>
#include <cstddef>

namespace dovo::codepage {

/// Sign of the code-page comparison of two NUL-terminated texts: -1, 0 or 1.
int Compare(const char* a, const char* b);
int CompareNoCase(const char* a, const char* b);
/// First position at or after start where the next needleLength bytes equal the needle
/// case-insensitively; -1 when there is none. Needle and text must not be empty.
long long FindNoCase(const char* text, std::size_t length, const char* needle, std::size_t needleLength,
                     std::size_t start);
// The locale's classes rather than the code page's: at start-up (the "C" locale) only ASCII counts, so
// a byte such as 0xE9 is unprintable on every platform.
inline bool IsSpace(unsigned char c) { return std::isspace(c) != 0; }
inline bool IsPrint(unsigned char c) { return std::isprint(c) != 0; }

} // namespace dovo::codepage
