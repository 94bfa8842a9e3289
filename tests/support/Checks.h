#pragma once

// Checks the test programs share without linking anything: results and what a call threw as one text each
// (so that a table row or a failure is checked in one comparison), and the platform the tests run on.

#include <dovo/Exception.h>
#include <dovo/Path.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>

/// The values as one text, "a|b|c".
template <typename... T>
std::string Joined(const T&... values)
{
    std::ostringstream out;
    const char* separator = "";
    ((out << separator << values, separator = "|"), ...);
    return out.str();
}

/// Runs call, which should throw a library exception, and gives "module|method|0xERROR|OS error|level|message",
/// or "nothing thrown". kept (if given) receives the exception, for the fields of its own type.
template <typename F>
std::string Thrown(F&& call, std::unique_ptr<dovo::Exception>* kept = nullptr)
{
    try {
        call();
    } catch (dovo::Exception* e) {
        std::unique_ptr<dovo::Exception> owned(e);
        const std::string text = dovo::SFormat("%s|%s|0x%08X|%d|%d|%s", e->Module().c_str(), e->Method().c_str(),
                                               e->Error(), e->OSError(), e->Level(), e->Message().c_str())
                                     .str();
        if (kept) *kept = std::move(owned);
        return text;
    }
    return "nothing thrown";
}

/// Decided at run time, so that the tests' code is the same on both platforms.
inline bool OnWindows() { return dovo::Path::LocalSeparator() == '\\'; }
