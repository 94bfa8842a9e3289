// StringTokenizer: one walk over the text at construction, then the tokens are handed out in order.

#include <dovo/StringTokenizer.h>

#include <dovo/Exception.h>

#include <cstring>

namespace dovo {

namespace {
constexpr int ErrorNoMoreStrings = 0x20000005;
} // namespace

StringTokenizer::StringTokenizer(const String& text, const String& delimiter, bool includeDelimiter, char quote,
                                 char escape)
{
    Split(text, delimiter, includeDelimiter, quote, escape, 0);
}

StringTokenizer::StringTokenizer(const String& text, const String& delimiter, bool includeDelimiter, char quote,
                                 char escape, int maxTokens)
{
    Split(text, delimiter, includeDelimiter, quote, escape, maxTokens);
}

StringTokenizer::StringTokenizer(const String& text, char delimiter, bool includeDelimiter, char quote, char escape)
{
    Split(text, String(delimiter, 1), includeDelimiter, quote, escape, 0);
}

void StringTokenizer::Split(const String& text, const String& delimiter, bool includeDelimiter, char quote, char escape,
                            int maxTokens)
{
    const char* p = text.c_str();
    const std::size_t n = text.str().size();
    const std::size_t L = delimiter.str().size();
    m_length = text.Length();

    std::size_t start = 0;
    bool inQuotes = false;
    bool escaped = false;
    // An empty delimiter would match everywhere without moving the walk on: it never splits.
    for (std::size_t i = 0; i < n && L > 0;) {
        // Once the limit is one token away, the rest of the text is the last token.
        if (maxTokens > 0 && m_tokens.size() + 1 >= static_cast<std::size_t>(maxTokens)) break;
        const char c = p[i];
        // A character of 0 is "none": a NUL byte in the text is then an ordinary byte.
        if (escape != 0 && c == escape) {
            escaped = !escaped;
            ++i;
            continue;
        }
        if (escaped) {
            escaped = false;
            ++i;
            continue;
        }
        if (!inQuotes && n - i >= L && std::memcmp(p + i, delimiter.c_str(), L) == 0) {
            // Only the first byte of a longer delimiter is kept, as callers of the include form expect.
            const std::size_t size = i - start + (includeDelimiter ? 1 : 0);
            m_tokens.push_back(Token{String(p + start, size), static_cast<int>(start)});
            i += L;
            start = i;
            continue;
        }
        if (quote != 0 && c == quote) inQuotes = !inQuotes;
        ++i;
    }
    // A text that ends with a delimiter gives no empty last token.
    if (start < n) m_tokens.push_back(Token{String(p + start, n - start), static_cast<int>(start)});
}

bool StringTokenizer::GetNext(String& token)
{
    if (!HasMore()) return false;
    token = m_tokens[m_next++].text;
    return true;
}

String& StringTokenizer::GetNext()
{
    if (!HasMore())
        Exception::Throw("StringTokenizer", "GetNext", ErrorNoMoreStrings, "No more strings to return", 0, String(), 1);
    return m_tokens[m_next++].text;
}

int StringTokenizer::CurrentPos() const { return HasMore() ? m_tokens[m_next].position : m_length; }

} // namespace dovo
