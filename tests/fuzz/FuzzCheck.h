#pragma once

// What the fuzz targets share. A property that fails ends the run with the reason: libFuzzer then keeps the
// input as a crash.

#include <dovo/Exception.h>
#include <dovo/StringTokenizer.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: property failed: %s\n", __FILE__, __LINE__, #condition);                      \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)

/// Tokens with the positions they were reported at.
using FuzzTokens = std::vector<std::pair<std::string, int>>;

/// Reads a tokenizer to its end, checking the reading members on the way and after it: the count, the position
/// at the end (the text's length), the copying GetNext leaving its argument alone, and the other one throwing.
inline FuzzTokens ReadTokens(dovo::StringTokenizer t, std::size_t length)
{
    FuzzTokens tokens;
    dovo::String token;
    for (int position = t.CurrentPos(); t.HasMore(); position = t.CurrentPos()) {
        FUZZ_CHECK(t.GetNext(token));
        tokens.emplace_back(token.str(), position);
    }
    FUZZ_CHECK(tokens.size() == t.Count() && t.CurrentPos() == static_cast<int>(length));
    dovo::String untouched("unchanged");
    FUZZ_CHECK(!t.GetNext(untouched) && untouched == "unchanged");
    try {
        t.GetNext();
        FUZZ_CHECK(!"GetNext past the end throws");
    } catch (dovo::Exception* e) {
        std::unique_ptr<dovo::Exception> owned(e);
        FUZZ_CHECK(e->Error() == 0x20000005 && e->Method() == "GetNext" && e->Level() == 1);
    }
    return tokens;
}
