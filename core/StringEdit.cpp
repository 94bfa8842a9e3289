// String: editing, trimming and case.

#include <dovo/String.h>

#include "core/CodePage.h"

#include <boost/algorithm/string/find_format.hpp>
#include <boost/algorithm/string/formatter.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <boost/range/iterator_range.hpp>

#include <algorithm>
#include <cctype>
#include <locale>

namespace dovo {

namespace {
constexpr auto npos = std::string::npos;

// A finder for Boost's find-and-format algorithms that matches case-insensitively under a locale, as
// Boost's own does (bytes compared upper-cased), but through one folding table made per search
// instead of a locale call per byte.
class NoCaseFinder
{
public:
    NoCaseFinder(const std::string& needle, const std::locale& locale)
    {
        for (int c = 0; c < 256; ++c) m_fold[c] = static_cast<char>(c);
        std::use_facet<std::ctype<char>>(locale).toupper(m_fold, m_fold + 256);
        m_needle.reserve(needle.size());
        for (char c : needle) m_needle += Fold(c);
    }

    template <typename Iterator>
    boost::iterator_range<Iterator> operator()(Iterator begin, Iterator end) const
    {
        const std::size_t n = m_needle.size();
        if (n == 0 || static_cast<std::size_t>(end - begin) < n) return {end, end};
        const Iterator last = end - static_cast<std::ptrdiff_t>(n - 1);
        for (Iterator i = begin; i != last; ++i) {
            if (Fold(*i) != m_needle[0]) continue;
            std::size_t k = 1;
            while (k < n && Fold(i[static_cast<std::ptrdiff_t>(k)]) == m_needle[k]) ++k;
            if (k == n) return {i, i + static_cast<std::ptrdiff_t>(n)};
        }
        return {end, end};
    }

private:
    char Fold(char c) const { return m_fold[static_cast<unsigned char>(c)]; }

    char m_fold[256];
    std::string m_needle;
};
} // namespace

String& String::Insert(std::size_t pos, const String& text)
{
    m_text.insert(std::min(pos, m_text.size()), text.m_text);
    return *this;
}

String& String::Delete(std::size_t pos, std::size_t count)
{
    if (pos < m_text.size()) m_text.erase(pos, count);
    return *this;
}

void String::Erase(std::size_t pos, int count)
{
    if (pos < m_text.size()) m_text.erase(pos, count < 0 ? npos : static_cast<std::size_t>(count));
}

String& String::Replace(std::size_t pos, std::size_t count, const String& with)
{
    m_text.replace(std::min(pos, m_text.size()), count, with.m_text);
    return *this;
}

String& String::Replace(const String& old, const String& with, bool caseSensitive)
{
    if (old.Empty()) return *this;
    if (!caseSensitive) {
        const NoCaseFinder finder(old.m_text, std::locale());
        if (finder(m_text.begin(), m_text.end()).empty()) return *this;
        m_text = boost::algorithm::find_format_all_copy(m_text, finder, boost::algorithm::const_formatter(with.m_text));
        return *this;
    }
    std::size_t p = m_text.find(old.m_text);
    if (p == npos) return *this;
    std::string result;
    result.reserve(m_text.size());
    std::size_t from = 0;
    for (; p != npos; p = m_text.find(old.m_text, from)) {
        result.append(m_text, from, p - from).append(with.m_text);
        from = p + old.m_text.size();
    }
    result.append(m_text, from, npos);
    m_text.swap(result);
    return *this;
}

String& String::ReplaceAny(const String& chars, const String& with)
{
    std::size_t p = m_text.find_first_of(chars.m_text);
    if (p == npos) return *this;
    std::string result(m_text, 0, p);
    for (; p < m_text.size(); ++p) {
        if (chars.m_text.find(m_text[p]) != npos) result += with.m_text;
        else result += m_text[p];
    }
    m_text.swap(result);
    return *this;
}

String& String::Trim()
{
    boost::algorithm::trim(m_text, std::locale());
    return *this;
}

String& String::TrimLeft()
{
    boost::algorithm::trim_left(m_text, std::locale());
    return *this;
}

String& String::TrimRight()
{
    boost::algorithm::trim_right(m_text, std::locale());
    return *this;
}

String& String::Trim(const String& chars) { return TrimRight(chars).TrimLeft(chars); }

String& String::TrimLeft(const String& chars)
{
    m_text.erase(0, std::min(m_text.find_first_not_of(chars.m_text), m_text.size()));
    return *this;
}

String& String::TrimRight(const String& chars)
{
    const std::size_t last = m_text.find_last_not_of(chars.m_text);
    m_text.erase(last == npos ? 0 : last + 1);
    return *this;
}

String& String::MakeLower()
{
    for (char& c : m_text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return *this;
}

String& String::MakeUpper()
{
    for (char& c : m_text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return *this;
}

String String::to_lower() const { return String(*this).MakeLower(); }

String String::to_upper() const { return String(*this).MakeUpper(); }

String& String::MakeWordUpper(char separator)
{
    auto startsWord = [separator](char c) {
        return c == separator || (separator == 0 && codepage::IsSpace(static_cast<unsigned char>(c)));
    };
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        const auto c = static_cast<unsigned char>(m_text[i]);
        const bool upper = i == 0 || startsWord(m_text[i - 1]);
        m_text[i] = static_cast<char>(upper ? std::toupper(c) : std::tolower(c));
    }
    return *this;
}

} // namespace dovo
