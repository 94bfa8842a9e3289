// Child on POSIX: posix_spawn with the output and error streams on pipes.

#include "Child.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

struct Child::Native
{
    pid_t pid = -1;
    int status = 0;
    bool ended = false;
};

Child::Child(const std::string& program, const Options& options) : m_native(new Native)
{
    std::vector<std::string> words{program};
    words.insert(words.end(), options.arguments.begin(), options.arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    std::vector<std::string> current;
    for (char** entry = environ; *entry; ++entry) current.emplace_back(*entry);
    std::vector<std::string> environment = Merged(current, options.environment, false);
    std::vector<char*> envp;
    for (std::string& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);

    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) throw std::runtime_error("no pipes");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    if (!options.folder.empty()) posix_spawn_file_actions_addchdir_np(&actions, options.folder.c_str());
    // The child decides about its signals itself: none blocked, none ignored.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int spawned = posix_spawn(&m_native->pid, program.c_str(), &actions, &attributes, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(out[1]);
    close(err[1]);
    if (spawned != 0) throw std::runtime_error("cannot start " + program + ": " + std::strerror(spawned));
    m_outputReader =
        std::thread([this, fd = out[0]] { Collect(reinterpret_cast<void*>(static_cast<intptr_t>(fd)), m_output); });
    m_errorReader =
        std::thread([this, fd = err[0]] { Collect(reinterpret_cast<void*>(static_cast<intptr_t>(fd)), m_errors); });
}

Child::~Child()
{
    if (!m_native->ended) {
        kill(m_native->pid, SIGKILL);
        Wait(60);
    }
}

void Child::Collect(void* pipe, std::string& into)
{
    const int fd = static_cast<int>(reinterpret_cast<intptr_t>(pipe));
    char buffer[4096];
    for (;;) {
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        std::lock_guard<std::mutex> hold(m_lock);
        into.append(buffer, static_cast<std::size_t>(got));
        m_changed.notify_all();
    }
    close(fd);
    std::lock_guard<std::mutex> hold(m_lock);
    --m_openPipes;
    m_changed.notify_all();
}

unsigned Child::Pid() const { return static_cast<unsigned>(m_native->pid); }

void Child::Interrupt(int event)
{
    const int signal = event == 0 ? SIGINT : event == 1 ? SIGQUIT : event == 2 ? SIGHUP : SIGTERM;
    kill(m_native->pid, signal);
}

int Child::Wait(double seconds)
{
    if (!m_native->ended) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        bool timedOut = false;
        for (;;) {
            const pid_t done = waitpid(m_native->pid, &m_native->status, WNOHANG);
            if (done == m_native->pid) break;
            if (std::chrono::steady_clock::now() >= deadline) {
                kill(m_native->pid, SIGKILL);
                waitpid(m_native->pid, &m_native->status, 0);
                timedOut = true;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        m_native->ended = true;
        if (m_outputReader.joinable()) m_outputReader.join();
        if (m_errorReader.joinable()) m_errorReader.join();
        if (timedOut) m_native->status = -1;
    }
    if (m_native->status == -1) return KilledBy - 1;
    if (WIFSIGNALED(m_native->status)) return KilledBy - WTERMSIG(m_native->status);
    return WEXITSTATUS(m_native->status);
}

std::string HelperPath(const char* built) { return built; }
