#include "core/CodePage.h"

#include <mbstring.h>

namespace dovo::codepage {
namespace {
int Sign(int v) { return (v > 0) - (v < 0); }
const unsigned char* Bytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }
} // namespace

int Compare(const char* a, const char* b) { return Sign(_mbscmp(Bytes(a), Bytes(b))); }

int CompareNoCase(const char* a, const char* b) { return Sign(_mbsicmp(Bytes(a), Bytes(b))); }

long long FindNoCase(const char* text, std::size_t length, const char* needle, std::size_t needleLength,
                     std::size_t start)
{
    if (needleLength > length) return -1;
    for (std::size_t i = start; i <= length - needleLength; ++i)
        if (_mbsnbicmp(Bytes(text + i), Bytes(needle), needleLength) == 0) return static_cast<long long>(i);
    return -1;
}

} // namespace dovo::codepage
