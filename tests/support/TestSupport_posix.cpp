// The tests' support on POSIX: children started with posix_spawn.

#include "tests/support/TestSupport.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pwd.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

void SetEnvironment(const std::string& name, const std::string& value)
{
    if (value.empty()) unsetenv(name.c_str());
    else setenv(name.c_str(), value.c_str(), 1);
}

std::string Native(const std::filesystem::path& path) { return path.string(); }

std::string OsComputerName()
{
    char name[256] = {};
    return gethostname(name, sizeof name - 1) == 0 ? std::string(name) : std::string();
}

std::string OsUserName()
{
    const passwd* entry = getpwuid(geteuid());
    const char* user = entry ? entry->pw_name : std::getenv("USER");
    return user ? user : "";
}

unsigned OsProcessId() { return static_cast<unsigned>(getpid()); }

int OsLogicalProcessors() { return static_cast<int>(std::thread::hardware_concurrency()); }

int OsOpenHandles()
{
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

unsigned SetUmask(unsigned mask) { return umask(static_cast<mode_t>(mask)); }

int HelperRun::Exit(int code) { return code & 0xFF; }

struct Child::Process
{
    pid_t pid = -1;
};

void Child::Start(const std::string& program, const std::vector<std::string>& words,
                  const std::filesystem::path& folder)
{
    m_process = std::make_shared<Process>();
    std::vector<std::string> all{program};
    all.insert(all.end(), words.begin(), words.end());
    std::vector<char*> argv;
    for (std::string& word : all) argv.push_back(word.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, m_out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, m_err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    // The child decides about its signals itself: none blocked, none ignored.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, every;
    sigemptyset(&none);
    sigfillset(&every);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &every);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int spawned = posix_spawn(&m_process->pid, program.c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (spawned != 0) throw std::runtime_error("cannot start " + program + ": " + std::strerror(spawned));
}

bool Child::Ended(double seconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    int status = 0;
    while (waitpid(m_process->pid, &status, WNOHANG) != m_process->pid) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    m_ended = true;
    m_code = WIFSIGNALED(status) ? KilledBy - WTERMSIG(status) : WEXITSTATUS(status);
    return true;
}

void Child::Kill() { kill(m_process->pid, SIGKILL); }

unsigned Child::Pid() const { return static_cast<unsigned>(m_process->pid); }

void Child::Interrupt(int event)
{
    kill(m_process->pid, event == 0 ? SIGINT : event == 1 ? SIGQUIT : event == 2 ? SIGHUP : SIGTERM);
}
