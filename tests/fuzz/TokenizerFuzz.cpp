// Fuzzes StringTokenizer with any text, delimiter, quote, escape and limit, and checks what every split
// must satisfy: tokens are the source's bytes at their positions, consecutive tokens are separated by
// exactly one delimiter, the limit only merges the tail, and splitting again gives the same result.
//
// Input: flags, quote, escape, delimiter length (0..3), the delimiter's bytes, the limit, then the text.
// Flags: 1 include the delimiter, 2 use the quote, 4 use the escape, 8 use the limit.

#include <dovo/Exception.h>
#include <dovo/StringTokenizer.h>

#include "FuzzCheck.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using dovo::String;
using dovo::StringTokenizer;

namespace {

struct Token
{
    std::string text;
    int position;
    bool operator==(const Token&) const = default;
};

class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
    std::uint8_t Byte() { return m_pos < m_size ? m_data[m_pos++] : 0; }
    std::string Bytes(std::size_t n)
    {
        std::string s;
        while (n-- > 0 && m_pos < m_size) s += static_cast<char>(m_data[m_pos++]);
        return s;
    }
    std::string Rest() { return Bytes(m_size); }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_pos = 0;
};

// Reads the tokenizer to its end, checking the reading members on the way and after it.
std::vector<Token> ReadAll(StringTokenizer& t, int length, bool checkThrow = true)
{
    std::vector<Token> tokens;
    while (t.HasMore()) {
        const int position = t.CurrentPos();
        String token;
        FUZZ_CHECK(t.GetNext(token));
        tokens.push_back({token.str(), position});
    }
    FUZZ_CHECK(tokens.size() == t.Count());
    FUZZ_CHECK(t.CurrentPos() == length);
    String untouched("unchanged");
    FUZZ_CHECK(!t.GetNext(untouched));
    FUZZ_CHECK(untouched == "unchanged");
    if (!checkThrow) return tokens;
    bool thrown = false;
    try {
        t.GetNext();
    } catch (dovo::Exception* e) {
        std::unique_ptr<dovo::Exception> owned(e);
        thrown = e->Error() == 0x20000005 && e->Method() == "GetNext";
    }
    FUZZ_CHECK(thrown);
    return tokens;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input in(data, size);
    const std::uint8_t flags = in.Byte();
    const bool include = flags & 1;
    const char quote = (flags & 2) ? static_cast<char>(in.Byte()) : 0;
    const char escape = (flags & 4) ? static_cast<char>(in.Byte()) : 0;
    const std::string delimiter = in.Bytes(in.Byte() % 4);
    const int limit = (flags & 8) ? static_cast<std::int8_t>(in.Byte()) : 0;
    const std::string text = in.Rest();
    const std::size_t L = delimiter.size();
    const int length = static_cast<int>(text.size());

    StringTokenizer limited(text, delimiter, include, quote, escape, limit);
    StringTokenizer whole(text, delimiter, include, quote, escape);
    // A copy made before reading reads the same tokens on its own.
    StringTokenizer copy(limited);
    const std::vector<Token> tokens = ReadAll(whole, length);
    const std::vector<Token> firstTokens = ReadAll(limited, length);
    FUZZ_CHECK(ReadAll(copy, length) == firstTokens);
    StringTokenizer again(text, delimiter, include, quote, escape);
    FUZZ_CHECK(ReadAll(again, length, false) == tokens);
    if (L == 1) {
        StringTokenizer single(text, delimiter[0], include, quote, escape);
        FUZZ_CHECK(ReadAll(single, length, false) == tokens);
    }

    // Every token is the source's bytes at its position, in order from 0.
    for (std::size_t k = 0; k < tokens.size(); ++k) {
        const Token& t = tokens[k];
        FUZZ_CHECK(t.position >= 0 && static_cast<std::size_t>(t.position) + t.text.size() <= text.size());
        FUZZ_CHECK(text.compare(t.position, t.text.size(), t.text) == 0);
        FUZZ_CHECK(k > 0 ? t.position > tokens[k - 1].position : t.position == 0);
    }
    if (text.empty()) FUZZ_CHECK(tokens.empty());
    if (L == 0) {
        FUZZ_CHECK(tokens.size() == (text.empty() ? 0u : 1u));
        if (!tokens.empty()) FUZZ_CHECK(tokens[0].text == text);
    }

    if (L > 0) {
        // The include form differs only by the delimiter's first byte on each token a delimiter closed.
        StringTokenizer plainTokenizer(text, delimiter, false, quote, escape);
        const std::vector<Token> plain = ReadAll(plainTokenizer, length, false);
        std::vector<std::size_t> quotesBefore(text.size() + 1, 0);
        for (std::size_t j = 0; j < text.size(); ++j) quotesBefore[j + 1] = quotesBefore[j] + (text[j] == quote);
        FUZZ_CHECK(plain.size() == tokens.size());
        for (std::size_t k = 0; k < plain.size(); ++k) {
            const Token& t = plain[k];
            const std::size_t end = t.position + t.text.size();
            const bool closed = k + 1 < plain.size() || end + L == text.size();
            if (k + 1 < plain.size()) {
                // Exactly one delimiter lies between two tokens.
                FUZZ_CHECK(text.compare(end, L, delimiter) == 0);
                FUZZ_CHECK(static_cast<std::size_t>(plain[k + 1].position) == end + L);
            } else {
                // The last token runs to the end of the text, or to a delimiter that ends it.
                FUZZ_CHECK(end == text.size() || (closed && text.compare(end, L, delimiter) == 0));
            }
            FUZZ_CHECK(tokens[k].position == t.position);
            FUZZ_CHECK(tokens[k].text == (include && closed ? t.text + delimiter[0] : t.text));

            // Inside a token, the walk sees every byte: a delimiter found there must be quoted or escaped,
            // and the one that closes the token must be neither. (Both characters at once are left to the
            // unit tests.)
            const auto hidden = [&](std::size_t j) {
                if (quote == 0 && escape == 0) return false;
                if (escape == 0) return (quotesBefore[j] - quotesBefore[t.position]) % 2 == 1;
                // An escape character is read as one even where a delimiter begins with it.
                std::size_t run = 0;
                while (j - run > static_cast<std::size_t>(t.position) && text[j - 1 - run] == escape) ++run;
                return run % 2 == 1 || text[j] == escape;
            };
            if (quote == 0 || escape == 0) {
                for (std::size_t j = t.position; j < end; ++j)
                    if (text.compare(j, L, delimiter) == 0) FUZZ_CHECK(hidden(j));
                if (closed) FUZZ_CHECK(!hidden(end));
            }
        }
    }

    // A limit keeps the first tokens and merges the rest of the text into the last one.
    if (limit > 0) {
        FUZZ_CHECK(firstTokens.size() <= static_cast<std::size_t>(limit));
        // (A text ending in a delimiter differs at the limit: the merged tail keeps that delimiter.)
        if (tokens.size() < static_cast<std::size_t>(limit)) {
            FUZZ_CHECK(firstTokens == tokens);
        } else {
            FUZZ_CHECK(firstTokens.size() == static_cast<std::size_t>(limit));
            for (std::size_t k = 0; k + 1 < firstTokens.size(); ++k) FUZZ_CHECK(firstTokens[k] == tokens[k]);
            const Token& last = firstTokens.back();
            FUZZ_CHECK(last.position == tokens[firstTokens.size() - 1].position);
            FUZZ_CHECK(last.text == text.substr(last.position));
        }
    } else {
        FUZZ_CHECK(firstTokens == tokens);
    }
    return 0;
}
