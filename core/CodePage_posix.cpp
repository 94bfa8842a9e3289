#include "core/CodePage.h"

#include <cctype>
#include <cstring>
#include <strings.h>

namespace dovo::codepage {
namespace {
int Sign(int v) { return (v > 0) - (v < 0); }
} // namespace

int Compare(const char* a, const char* b) { return Sign(std::strcmp(a, b)); }

int CompareNoCase(const char* a, const char* b) { return Sign(strcasecmp(a, b)); }

long long FindNoCase(const char* text, std::size_t length, const char* needle, std::size_t needleLength,
                     std::size_t start)
{
    if (needleLength > length) return -1;
    const int first = std::tolower(static_cast<unsigned char>(needle[0]));
    const std::size_t last = length - needleLength;
    for (std::size_t i = start; i <= last; ++i) {
        if (std::tolower(static_cast<unsigned char>(text[i])) != first) continue;
        std::size_t k = 1;
        while (k < needleLength && std::tolower(static_cast<unsigned char>(text[i + k])) ==
                                       std::tolower(static_cast<unsigned char>(needle[k])))
            ++k;
        if (k == needleLength) return static_cast<long long>(i);
    }
    return -1;
}

} // namespace dovo::codepage
