#pragma once

// Runs the helper programs of tests/helpers in a fresh folder of their own, which the test reads
// afterwards and removes.

#include "tests/support/Child.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

/// A path as the helper must be given it (a drive-letter path under Wine).
inline std::string Native(const std::filesystem::path& path) { return HelperPath(path.string().c_str()); }

/// ThreadSanitizer's runtime catches signals itself and runs the program's handler later; now and then
/// (about one signal in 40 here) the handler never runs: the kernel has delivered the signal, the
/// runtime has taken it, and nothing reaches the program. Tests that send a signal say so and stop.
#if defined(__SANITIZE_THREAD__)
#define DOVO_SKIP_UNDER_SIGNAL_DEFERRING_RUNTIME()                                                                     \
    GTEST_SKIP() << "ThreadSanitizer may drop an asynchronous signal before the program's handler sees it"
#else
#define DOVO_SKIP_UNDER_SIGNAL_DEFERRING_RUNTIME() (void)0
#endif

class HelperRun : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        m_dir = std::filesystem::temp_directory_path() / ("dovo-app-" + std::string(info->name()));
        std::filesystem::remove_all(m_dir);
        std::filesystem::create_directories(m_dir);
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_dir, ignored);
    }

    /// The helper's options for one case: run in the test's folder, its logs there too.
    Child::Options Case(const std::string& name, std::vector<std::string> more = {}) const
    {
        Child::Options options;
        options.arguments = {"-Case", name, "-LogFolder", Native(m_dir)};
        options.arguments.insert(options.arguments.end(), more.begin(), more.end());
        options.folder = Native(m_dir);
        return options;
    }
    static std::string Helper() { return HelperPath(DOVO_APP_HELPER); }

    static std::string Read(const std::filesystem::path& file)
    {
        std::ifstream in(file, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    std::string Log() const { return Read(m_dir / "app_helper.log"); }
    /// The start-up log of the helper process with this ID.
    std::string StartupLog(unsigned pid) const
    {
        char name[32];
        std::snprintf(name, sizeof name, "Startup-%04x.log", pid);
        return Read(m_dir / name);
    }

    /// An exit code as the parent sees it: Windows keeps all 32 bits, POSIX the low 8.
    static int Exit(int code)
    {
#ifdef _WIN32
        return code;
#else
        return code & 0xFF;
#endif
    }

    std::filesystem::path m_dir;
};
