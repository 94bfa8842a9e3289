#pragma once

// What the tests share: a fresh folder per test, file reading, and helper programs run as child
// processes (their output captured in files, every wait bounded, interrupts, exit codes).

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using Strings = std::vector<std::string>;

/// The file's text, with Windows line ends read as "\n".
std::string Read(const std::filesystem::path& file);
/// The parts of a text between the separators; none for an empty text.
Strings Split(const std::string& text, char separator = '|');
inline Strings Lines(const std::filesystem::path& file) { return Split(Read(file), '\n'); }
inline bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
/// A path as a program of the build must be given it (a drive-letter path under Wine).
std::string Native(const std::filesystem::path& path);
/// What the system itself answers, to compare the library's answers with.
std::string OsComputerName();
std::string OsUserName();
unsigned OsProcessId();
int OsLogicalProcessors();
/// The descriptors (POSIX) or handles (Windows) the process holds open: what a leak makes grow.
int OsOpenHandles();
/// Sets the process's file-creation mask and returns the old one (POSIX; nothing on Windows).
unsigned SetUmask(unsigned mask);

/// A fresh folder for each test, removed afterwards.
class TestFolder : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;
    std::filesystem::path m_dir;
};

class Child
{
public:
    /// The exit code of a child killed by a signal: -1000 less the signal; KilledBy - 1 after a time-out.
    static constexpr int KilledBy = -1000;
    /// Set in the child's environment on top of ours; an empty value removes the name.
    using Environment = std::vector<std::pair<std::string, std::string>>;

    /// Starts the program with the words in the folder, its output and errors going to files there.
    Child(const std::string& program, const std::vector<std::string>& words, const std::filesystem::path& folder,
          const Environment& environment = {});
    /// Kills the child if it still runs.
    ~Child();
    /// Waits until the child has printed the line; false when it ended without or after seconds.
    bool WaitForLine(const std::string& line, double seconds = 60);
    /// 0 Ctrl-C (SIGINT), 1 Ctrl-Break (SIGQUIT), 2 close (SIGHUP), 6 shutdown (SIGTERM); Windows: Ctrl-C.
    void Interrupt(int event);
    /// Waits for the end and returns the exit code; after seconds the child is killed.
    int Wait(double seconds = 60);
    unsigned Pid() const;
    std::string Output() const { return Read(m_out); }
    std::string Errors() const { return Read(m_err); }
    std::vector<std::string> OutputLines() const { return Lines(m_out); }
    /// What the child printed after "key " on a line of its own.
    std::string Fact(const std::string& key) const;

private:
    struct Process;
    void Start(const std::string& program, const std::vector<std::string>& words, const std::filesystem::path& folder);
    bool Ended(double seconds);
    void Kill();

    std::shared_ptr<Process> m_process; // (made by Start)
    std::filesystem::path m_out, m_err;
    bool m_ended = false;
    int m_code = 0;
};

/// Runs the app helper (tests/helpers/AppHelper.cpp) in the test's folder, its logs there too.
class HelperRun : public TestFolder
{
protected:
    Child Run(const std::string& name, const std::vector<std::string>& more = {},
              const Child::Environment& environment = {}) const;
    std::string Log() const { return Read(m_dir / "app_helper.log"); }
    /// The start-up log of the helper process with this ID.
    std::string StartupLog(unsigned pid) const;
    /// An exit code as the parent sees it: Windows keeps all 32 bits, POSIX the low 8.
    static int Exit(int code);
};

/// ThreadSanitizer's runtime catches signals itself and now and then (about one in 40 here) never runs
/// the program's handler. Tests that need a signal to arrive say so and stop.
#if defined(__SANITIZE_THREAD__)
constexpr bool kSignalDeferringRuntime = true;
#define DOVO_SKIP_UNDER_SIGNAL_DEFERRING_RUNTIME()                                                                     \
    GTEST_SKIP() << "ThreadSanitizer may drop an asynchronous signal before the program's handler sees it"
#else
constexpr bool kSignalDeferringRuntime = false;
#define DOVO_SKIP_UNDER_SIGNAL_DEFERRING_RUNTIME() (void)0
#endif
