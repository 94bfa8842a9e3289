#pragma once

// Checks the test programs share without linking anything: results and what a call threw as one text each
// (so that a table row or a failure is checked in one comparison), and the platform the tests run on.

#include <dovo/Exception.h>
#include <dovo/Path.h>
#include <dovo/Trigger.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
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

/// What write(file) writes into a temporary file.
inline std::string Captured(const std::function<void(std::FILE*)>& write)
{
    std::FILE* f = std::tmpfile();
    write(f);
    std::rewind(f);
    std::string text;
    for (int c; (c = std::fgetc(f)) != EOF;) text += static_cast<char>(c);
    std::fclose(f);
    return text;
}

/// How often part occurs in text.
inline int Occurrences(const std::string& text, const std::string& part)
{
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

/// Waits (boundedly, ten seconds) until done() holds; false if it never did.
template <typename Done>
bool Eventually(Done done)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// Runs f on a thread of its own and waits a generous while: a hang ends the test program with a failure
/// rather than hanging it.
inline void MustFinish(const char* what, std::function<void()> f)
{
    auto done = std::make_shared<dovo::Trigger>();
    std::thread([f, done] { f(), done->Signal(); }).detach();
    if (done->Wait(10.0f)) return;
    std::fprintf(stderr, "FAILED: %s hung\n", what);
    std::fflush(stderr);
    std::_Exit(EXIT_FAILURE);
}
