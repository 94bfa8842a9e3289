// CommandLine: the argument vector, and the switch table built from it.

#include <dovo/CommandLine.h>

#include <dovo/StringTokenizer.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

namespace dovo {

namespace {

// Plain words before the first switch; a switch can never contain a blank, so it cannot collide.
const String PlainWordsKey(" ");

// Entries of an owned vector come from the C allocator, so that they are released with free().
char* DuplicateEntry(const char* text)
{
    const std::size_t size = std::strlen(text) + 1;
    char* copy = static_cast<char*>(std::malloc(size));
    if (!copy) throw std::bad_alloc();
    std::memcpy(copy, text, size);
    return copy;
}

void FreeVector(char** argv, int argc)
{
    for (int i = 0; i < argc; ++i) std::free(argv[i]);
    delete[] argv;
}

} // namespace

CommandLine::CommandLine(int argc, char** argv) : m_argc(argc), m_argv(argv)
{
    ArgInfo* current = nullptr;
    for (int i = 1; i < argc && argv; ++i) ProcessArg(argv[i] ? argv[i] : "", i, current);
}

CommandLine::CommandLine(const String& text) : m_ownsArgv(true)
{
    StringTokenizer words(text, ' ', false, '"', '\\');
    const int count = static_cast<int>(words.Count());
    if (count == 0) return;
    try {
        // Zeroed, so that a failure half-way frees only what was made.
        m_argv = new char*[count]();
        m_argc = count;
        String word;
        for (int i = 0; words.GetNext(word); ++i) m_argv[i] = DuplicateEntry(word.Trim("\"'").c_str());
        // The entries, not the words, are parsed: a word holding a NUL byte ends there in the vector too,
        // and both views of the line stay the same.
        ArgInfo* current = nullptr;
        for (int i = 1; i < m_argc; ++i) ProcessArg(m_argv[i], i, current);
    } catch (...) {
        Clear();
        throw;
    }
}

CommandLine::CommandLine(const CommandLine& other) { Copy(other); }

CommandLine& CommandLine::operator=(const CommandLine& other)
{
    Copy(other);
    return *this;
}

CommandLine::~CommandLine() { Clear(); }

void CommandLine::Copy(const CommandLine& other)
{
    // Clearing first would destroy the source of a self-copy.
    if (&other == this) return;
    // Everything is copied before the target is cleared, so that a failed allocation leaves it intact.
    std::map<String, ArgInfo, String::ciless> switches(other.m_switches);
    char** argv = other.m_argv;
    if (other.m_ownsArgv && other.m_argv) {
        argv = new char*[other.m_argc]();
        try {
            for (int i = 0; i < other.m_argc; ++i) argv[i] = DuplicateEntry(other.m_argv[i] ? other.m_argv[i] : "");
        } catch (...) {
            FreeVector(argv, other.m_argc);
            throw;
        }
    }
    Clear();
    m_switches.swap(switches);
    m_argc = other.m_argc;
    m_argv = argv;
    m_ownsArgv = other.m_ownsArgv;
}

void CommandLine::Clear()
{
    m_switches.clear();
    if (m_ownsArgv && m_argv) FreeVector(m_argv, m_argc);
    // A freed vector must not be handed out again; a borrowed one is let go as well.
    m_argv = nullptr;
    m_argc = 0;
    m_ownsArgv = false;
}

const CommandLine::ArgInfo* CommandLine::Find(const char* name) const
{
    const auto it = m_switches.find(String(name));
    return it == m_switches.end() ? nullptr : &it->second;
}

int CommandLine::HasSwitch(const char* name) const
{
    const ArgInfo* info = Find(name);
    return info ? info->position : 0;
}

int CommandLine::GetArgumentCount(const char* name) const
{
    const ArgInfo* info = name ? Find(name) : nullptr;
    return info ? static_cast<int>(info->arguments.size()) : 0;
}

String CommandLine::GetArgument(const char* name, int index, const String& defaultValue) const
{
    if (!name) {
        // One place up: index -1 is the program name.
        if (index < -1 || index > m_argc - 2 || !m_argv) return defaultValue;
        return String(m_argv[index + 1]);
    }
    const ArgInfo* info = Find(name);
    if (!info || index < 0 || static_cast<std::size_t>(index) >= info->arguments.size()) return defaultValue;
    return info->arguments[static_cast<std::size_t>(index)];
}

int CommandLine::GetArgument(const char* name, int index, int defaultValue) const
{
    const String text = GetArgument(name, index, String(std::to_string(defaultValue)));
    if (text.Empty()) return defaultValue;
    // Where long is wider than int, an out-of-range value saturates as it does where both are 32 bits.
    const long value = std::strtol(text.c_str(), nullptr, 10);
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return static_cast<int>(value);
}

String CommandLine::GetAllArguments(const char* name) const
{
    String all;
    const ArgInfo* info = name ? Find(name) : nullptr;
    if (!info) return all;
    for (std::size_t i = 0; i < info->arguments.size(); ++i) {
        if (i > 0) all += ' ';
        all += info->arguments[i];
    }
    return all;
}

void CommandLine::GetSwitches(std::vector<String>& out) const
{
    for (const auto& entry : m_switches) out.push_back(entry.first);
}

String CommandLine::GetFullCommandLine() const
{
    String line;
    for (int i = 0; i < m_argc && m_argv; ++i) {
        const char* word = m_argv[i] ? m_argv[i] : "";
        if (i > 0) line += ' ';
        if (word[0] != '"' && std::strchr(word, ' ')) {
            line += '"';
            line += word;
            line += '"';
        } else {
            line += word;
        }
    }
    return line;
}

String CommandLine::GetCurrentCommandLine() const
{
    // Words are written as they are, never quoted: callers rely on the difference to GetFullCommandLine.
    String line;
    bool first = true;
    const auto append = [&](const String& item) {
        if (!first) line += ' ';
        line += item;
        first = false;
    };
    for (const auto& [name, info] : m_switches) {
        if (name != PlainWordsKey) append("-" + name);
        for (const String& word : info.arguments) append(word);
    }
    return line;
}

bool CommandLine::AddSwitch(const char* name)
{
    ArgInfo info;
    info.position = -1;
    return m_switches.emplace(String(name), std::move(info)).second;
}

bool CommandLine::RemoveSwitch(const char* name) { return m_switches.erase(String(name)) > 0; }

bool CommandLine::IsSwitch(String& word)
{
    if (word.Length() < 2 || word[0] != '-') return false;
    // "-5" and "-1.5" are numbers, not switches.
    if (std::isdigit(static_cast<unsigned char>(word[1]))) return false;
    if (word.Contains(" ")) return false;
    word.Erase(0, 1);
    return true;
}

void CommandLine::ProcessArg(String word, int index, ArgInfo*& current)
{
    if (IsSwitch(word)) {
        // A repeated switch keeps its first position and gathers the words after each occurrence.
        const auto [it, added] = m_switches.try_emplace(std::move(word));
        if (added) it->second.position = index;
        current = &it->second;
        return;
    }
    if (!current) {
        const auto [it, added] = m_switches.try_emplace(PlainWordsKey);
        if (added) it->second.position = index;
        current = &it->second;
    }
    current->arguments.push_back(std::move(word));
}

} // namespace dovo
