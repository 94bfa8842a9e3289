#pragma once

// Shared by the printf-style and the time formatters.

#include <cstddef>
#include <cstring>

namespace dovo::formattext {

/// Copies the text up to the next '%' (or to the end) to out and returns where it stopped.
template <typename Out>
const char* CopyLiteral(Out& out, const char* p)
{
    const char* next = std::strchr(p, '%');
    const std::size_t n = next ? static_cast<std::size_t>(next - p) : std::strlen(p);
    out.Write(p, n);
    return p + n;
}

} // namespace dovo::formattext
