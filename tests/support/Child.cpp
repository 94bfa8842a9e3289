// The parts of Child that do not depend on the platform.

#include "Child.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <map>
#include <sstream>

namespace {
std::string Unix(const std::string& text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
        if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) result += text[i];
    return result;
}

bool HasLine(const std::string& text, const std::string& line)
{
    std::istringstream in(text);
    for (std::string got; std::getline(in, got);) {
        if (!got.empty() && got.back() == '\r') got.pop_back();
        if (got == line) return true;
    }
    return false;
}
} // namespace

bool Child::WaitForLine(const std::string& line, double seconds)
{
    std::unique_lock<std::mutex> hold(m_lock);
    return m_changed.wait_for(hold, std::chrono::duration<double>(seconds), [&] {
        return HasLine(m_output, line) || m_openPipes == 0;
    }) && HasLine(m_output, line);
}

std::string Child::Output()
{
    std::lock_guard<std::mutex> hold(m_lock);
    return Unix(m_output);
}

std::string Child::Errors()
{
    std::lock_guard<std::mutex> hold(m_lock);
    return Unix(m_errors);
}

std::vector<std::string> Child::OutputLines()
{
    std::istringstream in(Output());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

std::string Upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

std::vector<std::string> Merged(const std::vector<std::string>& current,
                                const std::vector<std::pair<std::string, std::string>>& changes, bool ignoreCase)
{
    const auto key = [&](const std::string& name) { return ignoreCase ? Upper(name) : name; };
    std::map<std::string, std::pair<std::string, std::string>> last;
    for (const auto& [name, value] : changes) last[key(name)] = {name, value};
    std::vector<std::string> merged;
    for (const std::string& entry : current)
        if (!last.count(key(entry.substr(0, entry.find('='))))) merged.push_back(entry);
    for (const auto& [unused, change] : last)
        if (!change.second.empty()) merged.push_back(change.first + "=" + change.second);
    return merged;
}
