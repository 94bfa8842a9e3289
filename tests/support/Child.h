#pragma once

// A helper program run as a child process: its standard output and error collected as they come, an
// interrupt sent to it, its exit code. Waits have generous limits and end as soon as what is awaited
// has happened.

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

class Child
{
public:
    struct Options
    {
        std::vector<std::string> arguments;
        /// Set in the child's environment on top of ours; an empty value removes the name.
        std::vector<std::pair<std::string, std::string>> environment;
        /// The child's current folder; ours when empty.
        std::string folder;
    };

    /// The exit code of a child killed by a signal: -1000 less the signal.
    static constexpr int KilledBy = -1000;

    Child(const std::string& program, const Options& options);
    /// Kills the child if it still runs.
    ~Child();

    /// Waits until the child has printed the line; false at the end of its output or after seconds.
    bool WaitForLine(const std::string& line, double seconds = 60);
    /// Sends an interrupt: 0 Ctrl-C (SIGINT), 1 Ctrl-Break (SIGQUIT), 2 close (SIGHUP), 6 shutdown
    /// (SIGTERM). On Windows always Ctrl-C.
    void Interrupt(int event);
    /// Waits for the end and returns the exit code; KilledBy - 1 after seconds (the child is then killed).
    int Wait(double seconds = 60);
    unsigned Pid() const;
    /// What the child wrote, with Windows line ends read as "\n".
    std::string Output();
    std::string Errors();
    /// Every line of the output, in order.
    std::vector<std::string> OutputLines();

private:
    struct Native;
    void Collect(void* pipe, std::string& into);

    std::unique_ptr<Native> m_native;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::string m_output, m_errors;
    int m_openPipes = 2;
    std::thread m_outputReader, m_errorReader;
};

/// The environment current with the changes applied: a later change of a name wins, an empty value
/// removes the name. Windows compares names without regard to case.
std::vector<std::string> Merged(const std::vector<std::string>& current,
                                const std::vector<std::pair<std::string, std::string>>& changes, bool ignoreCase);
std::string Upper(std::string text);

/// The program's path as the test program must name it (a drive-letter path under Wine).
std::string HelperPath(const char* built);
