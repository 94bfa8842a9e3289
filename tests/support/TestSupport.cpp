// The portable part of the tests' support.

#include "tests/support/TestSupport.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

void SetEnvironment(const std::string& name, const std::string& value); // per platform

std::string Read(const fs::path& file)
{
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    std::string unix = text.str();
    unix.erase(std::remove(unix.begin(), unix.end(), '\r'), unix.end());
    return unix;
}

Strings Split(const std::string& text, char separator)
{
    Strings parts;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        parts.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

void TestFolder::SetUp()
{
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    // A random part too: the same test of another build may run at the same time.
    m_dir = fs::temp_directory_path() / ("dovo-" + std::string(test->test_suite_name()) + "-" + test->name() + "-" +
                                         std::to_string(std::random_device()()));
    fs::remove_all(m_dir);
    fs::create_directories(m_dir);
}

void TestFolder::TearDown()
{
    std::error_code ignored;
    fs::remove_all(m_dir, ignored);
}

Child::Child(const std::string& program, const std::vector<std::string>& words, const fs::path& folder,
             const Environment& environment)
{
    static int children = 0;
    const std::string stem = "child-" + std::to_string(++children);
    m_out = folder / (stem + ".out");
    m_err = folder / (stem + ".err");
    // The child inherits our environment, changed for the time of its start.
    Environment saved;
    for (const auto& [name, value] : environment) {
        const char* old = std::getenv(name.c_str());
        saved.emplace(saved.begin(), name, old ? old : "");
        SetEnvironment(name, value);
    }
    Start(program, words, folder);
    for (const auto& [name, value] : saved) SetEnvironment(name, value);
}

Child::~Child()
{
    if (!m_ended) Kill(), Ended(60);
}

bool Child::WaitForLine(const std::string& line, double seconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (;;) {
        const bool ended = m_ended || Ended(0);
        for (const std::string& got : OutputLines())
            if (got == line) return true;
        if (ended || std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

int Child::Wait(double seconds)
{
    if (!m_ended && !Ended(seconds)) {
        Kill();
        Ended(60);
        m_code = KilledBy - 1;
    }
    return m_code;
}

std::string Child::Fact(const std::string& key) const
{
    for (const std::string& line : OutputLines())
        if (line.rfind(key + " ", 0) == 0) return line.substr(key.size() + 1);
    return "<" + key + " not printed>";
}

Child HelperRun::Run(const std::string& name, const std::vector<std::string>& more,
                     const Child::Environment& environment) const
{
    std::vector<std::string> words = {"-Case", name, "-LogFolder", Native(m_dir)};
    words.insert(words.end(), more.begin(), more.end());
    return Child(Native(DOVO_APP_HELPER), words, m_dir, environment);
}

std::string HelperRun::StartupLog(unsigned pid) const
{
    char name[32];
    std::snprintf(name, sizeof name, "Startup-%04x.log", pid);
    return Read(m_dir / name);
}
