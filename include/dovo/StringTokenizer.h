#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>

#include <vector>

namespace dovo {

/// Splits a text at a delimiter once, at construction, and hands the tokens out one by one. Delimiters
/// inside quotes do not split, and an escaped delimiter or quote does not count; quote and escape
/// characters stay in the tokens. A character of 0 means "no quote" or "no escape".
class DOVO_API StringTokenizer
{
public:
    StringTokenizer(const String& text, const String& delimiter, bool includeDelimiter = false, char quote = 0,
                    char escape = 0);
    /// As above, making at most maxTokens tokens: the last one holds the rest of the text (0 or less: no
    /// limit).
    StringTokenizer(const String& text, const String& delimiter, bool includeDelimiter, char quote, char escape,
                    int maxTokens);
    StringTokenizer(const String& text, char delimiter, bool includeDelimiter = false, char quote = 0, char escape = 0);

    bool HasMore() const { return m_next < m_tokens.size(); }
    /// Copies the next token and moves on; false, leaving token as it was, when none remain.
    bool GetNext(String& token);
    /// The next token; throws an Exception (error 0x20000005) when none remain.
    String& GetNext();
    unsigned Count() const { return static_cast<unsigned>(m_tokens.size()); }
    /// Where the next token starts in the text (the text's length when none remain).
    int CurrentPos() const;

private:
    struct Token
    {
        String text;
        int position;
    };

    void Split(const String& text, const String& delimiter, bool includeDelimiter, char quote, char escape,
               int maxTokens);

    std::vector<Token> m_tokens;
    std::size_t m_next = 0;
    int m_length = 0;
};

} // namespace dovo
