// FileFinder: a folder's entries filtered by a wildcard pattern.

#include <dovo/FileFinder.h>

#include "files/FileSystem.h"

#include <cctype>
#include <vector>

namespace dovo {

struct FileFinder::State
{
    Path folder;
    std::vector<filesystem::DirEntry> entries;
    std::size_t next = 0;
    const filesystem::DirEntry* current = nullptr;
};

namespace {

bool Same(char a, char b)
{
    if (!filesystem::NamesIgnoreCase()) return a == b;
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

} // namespace

bool FileFinder::Matches(const String& name, const String& pattern)
{
    // Greedy matching with one backtrack point: linear in practice, never exponential.
    int n = 0, p = 0, star = -1, resume = 0;
    while (n < name.Length()) {
        if (p < pattern.Length() && (pattern[p] == '?' || (pattern[p] != '*' && Same(pattern[p], name[n])))) {
            ++n, ++p;
        } else if (p < pattern.Length() && pattern[p] == '*') {
            star = p++;
            resume = n;
        } else if (star >= 0) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.Length() && pattern[p] == '*') ++p;
    return p == pattern.Length();
}

FileFinder::FileFinder(const Path& pattern) : m_state(new State)
{
    String leaf = pattern.Leaf();
    m_state->folder = pattern.Branch();
    if (leaf.Empty()) {
        leaf = "*";
        m_state->folder = pattern;
    }
    const String folder = m_state->folder.Empty() ? String(".") : filesystem::NativePath(m_state->folder);
    std::vector<filesystem::DirEntry> all;
    filesystem::ListDirectory(folder.c_str(), all);
    for (auto& entry : all)
        if (entry.name != "." && entry.name != ".." && Matches(entry.name, leaf))
            m_state->entries.push_back(std::move(entry));
}

FileFinder::~FileFinder() = default;

bool FileFinder::Next()
{
    if (m_state->next >= m_state->entries.size()) {
        m_state->current = nullptr;
        return false;
    }
    m_state->current = &m_state->entries[m_state->next++];
    return true;
}

String FileFinder::Name() const { return m_state->current ? m_state->current->name : String(); }

Path FileFinder::FullPath() const { return m_state->folder / Path(Name()); }

bool FileFinder::IsDirectory() const { return m_state->current && m_state->current->directory; }

long long FileFinder::Size() const { return m_state->current ? m_state->current->size : 0; }

Time FileFinder::Modified() const { return m_state->current ? m_state->current->modified : Time(); }

} // namespace dovo
