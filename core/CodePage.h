#pragma once

// Character classes and comparisons in the C runtime's current multibyte code page. Each platform
// has its own implementation (CodePage_posix.cpp, CodePage_win32.cpp).

#include <cstddef>

namespace dovo::codepage {

/// Sign of the code-page comparison of two NUL-terminated texts: -1, 0 or 1.
int Compare(const char* a, const char* b);
int CompareNoCase(const char* a, const char* b);
/// First position at or after start where the next needleLength bytes equal the needle
/// case-insensitively; -1 when there is none. Needle and text must not be empty.
long long FindNoCase(const char* text, std::size_t length, const char* needle, std::size_t needleLength,
                     std::size_t start);
bool IsSpace(unsigned char c);
bool IsPrint(unsigned char c);

} // namespace dovo::codepage
