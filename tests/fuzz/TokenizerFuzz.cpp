// Fuzzes StringTokenizer with any text, delimiter, quote, escape and limit, and checks what every split
// must satisfy: tokens are the source's bytes at their positions, consecutive tokens are separated by
// exactly one delimiter, the limit only merges the tail, and splitting again gives the same result.
//
// Input: flags, quote, escape, delimiter length (0..3), the delimiter's bytes, the limit, then the text.
// Flags: 1 include the delimiter, 2 use the quote, 4 use the escape, 8 use the limit.

#include <dovo/StringTokenizer.h>

#include "FuzzCheck.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

using dovo::StringTokenizer;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::size_t at = 0;
    const auto byte = [&] { return at < size ? data[at++] : std::uint8_t{0}; };
    const std::uint8_t flags = byte();
    const bool include = flags & 1;
    const char quote = (flags & 2) ? static_cast<char>(byte()) : 0;
    const char escape = (flags & 4) ? static_cast<char>(byte()) : 0;
    std::string delimiter;
    for (int k = byte() % 4; k > 0 && at < size; --k) delimiter += static_cast<char>(byte());
    const int limit = (flags & 8) ? static_cast<std::int8_t>(byte()) : 0;
    const std::string text(reinterpret_cast<const char*>(data) + at, size - at);
    const std::size_t L = delimiter.size(), n = text.size();

    StringTokenizer limited(text, delimiter, include, quote, escape, limit);
    // A copy made before reading reads the same tokens on its own; splitting again gives the same tokens.
    const StringTokenizer copy(limited);
    const FuzzTokens first = ReadTokens(limited, n);
    const FuzzTokens tokens = ReadTokens(StringTokenizer(text, delimiter, include, quote, escape), n);
    FUZZ_CHECK(ReadTokens(copy, n) == first &&
               ReadTokens(StringTokenizer(text, delimiter, include, quote, escape), n) == tokens);
    if (L == 1) FUZZ_CHECK(ReadTokens(StringTokenizer(text, delimiter[0], include, quote, escape), n) == tokens);

    // Every token is the source's bytes at its position, in order from 0; none starts at the end of the text.
    for (std::size_t k = 0; k < tokens.size(); ++k) {
        const auto& [token, position] = tokens[k];
        FUZZ_CHECK(position >= 0 && static_cast<std::size_t>(position) < n &&
                   text.compare(position, token.size(), token) == 0 &&
                   (k > 0 ? position > tokens[k - 1].second : position == 0));
    }
    if (L == 0) FUZZ_CHECK(tokens.size() == (n > 0 ? 1u : 0u) && (n == 0 || tokens[0].first == text));

    // The include form differs only by the delimiter's first byte on each token a delimiter closed.
    const FuzzTokens plain = L > 0 ? ReadTokens(StringTokenizer(text, delimiter, false, quote, escape), n) : tokens;
    FUZZ_CHECK(plain.size() == tokens.size());
    for (std::size_t k = 0; k < plain.size() && L > 0; ++k) {
        const auto& [token, position] = plain[k];
        const std::size_t start = position, end = start + token.size();
        const bool last = k + 1 == plain.size(), closed = !last || end + L == n;
        // Exactly one delimiter lies between two tokens; the last runs to the end, or to a delimiter that ends it.
        FUZZ_CHECK((closed ? text.compare(end, L, delimiter) == 0 : end == n) &&
                   (last || static_cast<std::size_t>(plain[k + 1].second) == end + L) && tokens[k].second == position &&
                   tokens[k].first == (include && closed ? token + delimiter[0] : token));

        // Without quote and escape characters, no delimiter lies inside a token.
        if (quote == 0 && escape == 0)
            FUZZ_CHECK(text.substr(start, token.size()).find(delimiter) == std::string::npos);
    }

    // A limit keeps the first tokens and merges the rest of the text into the last one. (A text ending in a
    // delimiter differs at the limit: the merged tail keeps that delimiter.)
    if (limit <= 0 || tokens.size() < static_cast<std::size_t>(limit)) {
        FUZZ_CHECK(first == tokens);
    } else {
        FUZZ_CHECK(first.size() == static_cast<std::size_t>(limit) &&
                   std::equal(first.begin(), first.end() - 1, tokens.begin()) &&
                   first.back().second == tokens[limit - 1].second &&
                   first.back().first == text.substr(first.back().second));
    }
    return 0;
}
