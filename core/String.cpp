// String: construction, access, comparison, searching and cutting.

#include <dovo/Exception.h>
#include <dovo/String.h>

#include "core/CodePage.h"

#include <boost/regex.hpp>

#include <ostream>

namespace dovo {

namespace {
constexpr auto npos = std::string::npos;

// Results are ints by the class's convention; texts beyond 2 GiB are not expected.
int ToInt(std::size_t pos) { return pos == npos ? -1 : static_cast<int>(pos); }

// A backward search's start: negative means from the end.
std::size_t BackwardStart(int start) { return start < 0 ? npos : static_cast<std::size_t>(start); }
} // namespace

const String String::Null;

bool String::ciless::operator()(const String& a, const String& b) const { return a.CompareNoCase(b) < 0; }

String::String(const char* text) : m_text(text ? text : "") {}

String::String(const char* text, std::size_t size) : m_text(text ? std::string(text, size) : std::string()) {}

String::String(char c, std::size_t count) : m_text(count, c) {}

String& String::operator=(const char* text)
{
    m_text.assign(text ? text : "");
    return *this;
}

String& String::operator+=(const String& text)
{
    m_text += text.m_text;
    return *this;
}

String& String::operator+=(const std::string& text)
{
    m_text += text;
    return *this;
}

String& String::operator+=(const char* text)
{
    if (text) m_text += text;
    return *this;
}

String& String::operator+=(char c)
{
    m_text += c;
    return *this;
}

String& String::Copy(const String& text)
{
    m_text = text.m_text;
    return *this;
}

String& String::Copy(const char* text, std::size_t size)
{
    if (text) m_text.assign(text, size);
    else m_text.clear();
    return *this;
}

void String::Clear(bool freeMemory)
{
    if (freeMemory) std::string().swap(m_text);
    else m_text.clear();
}

char& String::operator[](std::size_t pos)
{
    if (pos >= m_text.size())
        Exception::Throw("String", "operator[]", 0x20000005,
                         SFormat("Requested index %zu is beyond current limit %zu", pos, m_text.size()), 0, String(),
                         1);
    return m_text[pos];
}

char* String::GetBuffer(std::size_t n)
{
    if (n > m_text.size()) m_text.resize(n, '\0');
    return m_text.data();
}

char* String::GetBufferSetLength(std::size_t n)
{
    m_text.resize(n, '\0');
    return m_text.data();
}

int String::Compare(const String& other) const
{
    if (other.Empty()) return Empty() ? 0 : 1;
    if (Empty()) return -1;
    return codepage::Compare(c_str(), other.c_str());
}

int String::CompareNoCase(const String& other) const
{
    if (other.Empty()) return Empty() ? 0 : 1;
    if (Empty()) return -1;
    return codepage::CompareNoCase(c_str(), other.c_str());
}

bool String::operator%=(const String& other) const
{
    if (Empty() || other.Empty()) return Empty() && other.Empty();
    return codepage::CompareNoCase(c_str(), other.c_str()) == 0;
}

bool String::RegexMatch(const String& pattern) const
{
    // Callers tend to match many texts against one expression: keep the last one compiled.
    thread_local std::string lastPattern;
    thread_local boost::regex lastRegex;
    thread_local bool compiled = false;
    try {
        if (!compiled || lastPattern != pattern.m_text) {
            compiled = false;
            lastRegex.assign(pattern.m_text, boost::regex::perl);
            lastPattern = pattern.m_text;
            compiled = true;
        }
        return boost::regex_match(m_text, lastRegex);
    } catch (const boost::regex_error& e) {
        Exception::Throw("String", "RegexMatch", 0x20000004, "Invalid regular expression \"" + pattern + "\"", 0,
                         e.what(), 1);
    } catch (const std::runtime_error& e) {
        // The matcher gives up on expressions too costly for the text.
        Exception::Throw("String", "RegexMatch", 0x20000004, "Regular expression \"" + pattern + "\" failed", 0,
                         e.what(), 1);
    }
}

int String::Find(const String& s, std::size_t start) const { return ToInt(m_text.find(s.m_text, start)); }

int String::FindNoCase(const String& s, std::size_t start) const
{
    if (Empty() || s.Empty() || start >= m_text.size()) return -1;
    return static_cast<int>(
        codepage::FindNoCase(m_text.data(), m_text.size(), s.m_text.data(), s.m_text.size(), start));
}

int String::ReverseFind(const String& s, int start) const
{
    return ToInt(m_text.rfind(s.m_text, BackwardStart(start)));
}

int String::FindOneOf(const String& chars, std::size_t start) const
{
    return ToInt(m_text.find_first_of(chars.m_text, start));
}

int String::FindOneNotOf(const String& chars, std::size_t start) const
{
    return ToInt(m_text.find_first_not_of(chars.m_text, start));
}

int String::ReverseFindOneOf(const String& chars, int start) const
{
    return ToInt(m_text.find_last_of(chars.m_text, BackwardStart(start)));
}

int String::ReverseFindOneNotOf(const String& chars, int start) const
{
    return ToInt(m_text.find_last_not_of(chars.m_text, BackwardStart(start)));
}

bool String::StartsWith(const String& s) const { return m_text.starts_with(s.m_text); }

bool String::EndsWith(const String& s) const { return m_text.ends_with(s.m_text); }

bool String::StartsWithOneOf(const String& chars) const
{
    return !Empty() && chars.m_text.find(m_text.front()) != npos;
}

bool String::EndsWithOneOf(const String& chars) const { return !Empty() && chars.m_text.find(m_text.back()) != npos; }

String String::Left(std::size_t n) const { return m_text.substr(0, n); }

String String::Right(std::size_t n) const
{
    if (n > m_text.size()) return String();
    return m_text.substr(m_text.size() - n);
}

String String::Mid(std::size_t start, int count) const
{
    if (start >= m_text.size()) return String();
    return m_text.substr(start, count < 0 ? npos : static_cast<std::size_t>(count));
}

namespace {
// The separator cuts: p is where the separator of length L was found (npos: not at all).
String CutLeft(const std::string& text, std::size_t p, std::size_t L, bool include)
{
    if (p == npos || L == 0) return text;
    return text.substr(0, include ? p + L : p);
}

String CutRight(const std::string& text, std::size_t p, std::size_t L, bool include)
{
    if (p == npos || L == 0) return text;
    return text.substr(include ? p : p + L);
}
} // namespace

String String::LeftFirst(const String& sep, bool include, std::size_t start) const
{
    return CutLeft(m_text, m_text.find(sep.m_text, start), sep.m_text.size(), include);
}

String String::LeftLast(const String& sep, bool include, int start) const
{
    return CutLeft(m_text, m_text.rfind(sep.m_text, BackwardStart(start)), sep.m_text.size(), include);
}

String String::RightFirst(const String& sep, bool include, std::size_t start) const
{
    return CutRight(m_text, m_text.find(sep.m_text, start), sep.m_text.size(), include);
}

String String::RightLast(const String& sep, bool include, int start) const
{
    return CutRight(m_text, m_text.rfind(sep.m_text, BackwardStart(start)), sep.m_text.size(), include);
}

// The "OneOf" cuts never include the byte found.
String String::LeftFirstOneOf(const String& chars, std::size_t start) const
{
    return CutLeft(m_text, m_text.find_first_of(chars.m_text, start), 1, false);
}

String String::LeftFirstOneNotOf(const String& chars, std::size_t start) const
{
    return CutLeft(m_text, m_text.find_first_not_of(chars.m_text, start), 1, false);
}

String String::LeftLastOneOf(const String& chars, int start) const
{
    return CutLeft(m_text, m_text.find_last_of(chars.m_text, BackwardStart(start)), 1, false);
}

String String::LeftLastOneNotOf(const String& chars, int start) const
{
    return CutLeft(m_text, m_text.find_last_not_of(chars.m_text, BackwardStart(start)), 1, false);
}

String String::RightFirstOneOf(const String& chars, std::size_t start) const
{
    return CutRight(m_text, m_text.find_first_of(chars.m_text, start), 1, false);
}

String String::RightFirstOneNotOf(const String& chars, std::size_t start) const
{
    return CutRight(m_text, m_text.find_first_not_of(chars.m_text, start), 1, false);
}

String String::RightLastOneOf(const String& chars, int start) const
{
    return CutRight(m_text, m_text.find_last_of(chars.m_text, BackwardStart(start)), 1, false);
}

String String::RightLastOneNotOf(const String& chars, int start) const
{
    return CutRight(m_text, m_text.find_last_not_of(chars.m_text, BackwardStart(start)), 1, false);
}

String operator+(const String& a, const String& b)
{
    String result;
    result.Reserve(static_cast<std::size_t>(a.Length()) + static_cast<std::size_t>(b.Length()));
    return (result += a) += b;
}

String operator+(const String& a, const char* b) { return String(a) += b; }

String operator+(const char* a, const String& b) { return String(a) += b; }

String operator+(const String& a, char b) { return String(a) += b; }

std::ostream& operator<<(std::ostream& out, const String& text) { return out << text.str(); }

} // namespace dovo
