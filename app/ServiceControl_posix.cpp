// The service manager under systemd: a service is a unit file "<name>.service" in the unit folder,
// systemctl starts, stops and queries it, and the running service reports its states over the socket
// systemd names in $NOTIFY_SOCKET. The superuser's services are the system's; any other user's are
// that user's own (systemctl --user). $VARNEL_UNIT_DIR names another unit folder.

#include <dovo/File.h>
#include <dovo/Log.h>
#include <dovo/Platform.h>

#include "app/ServiceControl.h"
#include "objects/OSError.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace dovo::service {

namespace {

// No systemctl call may hang the program: each is killed after this long.
constexpr int kSystemctlSeconds = 30;

bool SystemWide() { return geteuid() == 0; }

Path UnitFolder()
{
    const String configured = Platform::GetEnvironment("VARNEL_UNIT_DIR");
    if (!configured.Empty()) return Path(configured);
    if (SystemWide()) return Path("/etc/systemd/system");
    const String config = Platform::GetEnvironment("XDG_CONFIG_HOME");
    return (config.Empty() ? File::GetUserDir() / Path(".config") : Path(config)) / Path("systemd/user");
}

String UnitName(const String& name) { return name + ".service"; }

// Runs systemctl with the words and collects what it prints; the exit status, or -1 when it could not be
// run (errno tells why) or had to be killed.
int Systemctl(std::vector<std::string> words, String* output = nullptr)
{
    words.insert(words.begin(), "systemctl");
    if (!SystemWide()) words.insert(words.begin() + 1, "--user");
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0) return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int spawned = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    if (spawned != 0) {
        close(out[0]);
        errno = spawned;
        return -1;
    }

    std::string text;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kSystemctlSeconds);
    bool killed = false;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            kill(child, SIGKILL);
            killed = true;
            break;
        }
        pollfd ready{out[0], POLLIN, 0};
        const int got = poll(&ready, 1, static_cast<int>(left.count()));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) continue;
        char buffer[512];
        const ssize_t n = read(out[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        text.append(buffer, static_cast<std::size_t>(n));
    }
    close(out[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (output) *output = String(text).Trim();
    if (killed || !WIFEXITED(status)) {
        errno = ETIMEDOUT;
        return -1;
    }
    return WEXITSTATUS(status);
}

// Whether a systemd manager answers: "offline" (or no systemctl at all) means there is none.
bool ManagerRunning()
{
    String state;
    const int status = Systemctl({"is-system-running"}, &state);
    if (status < 0) return false;
    if (state.Empty() || state == "offline") {
        errno = ECONNREFUSED;
        return false;
    }
    return true;
}

// systemd reads "%" in any setting as a specifier, and "$" in a command line as a variable.
String EscapeSpecifiers(String text)
{
    text.Replace("%", "%%");
    return text;
}
String EscapeCommandLine(String text)
{
    text.Replace("$", "$$");
    return EscapeSpecifiers(text);
}

// The socket to systemd: the interrupt handler's thread reports through it while the service's own
// thread may be handing it back, so it is used and closed under one lock.
std::mutex g_notifyLock;
int g_notify = -1;

} // namespace

struct Manager::Native
{
    Path folder;
    Path unit;
    String name;
};

Manager::Manager() : m_native(new Native) {}
Manager::~Manager() = default;

bool Manager::Connect(Access access)
{
    m_native->folder = UnitFolder();
    if (access == ForCreate ? !File::CreateDirectory(m_native->folder, true) : !File::IsDirectory(m_native->folder)) {
        if (errno == 0) errno = ENOENT;
        return false;
    }
    if ((access == ForStart || access == ForStop) && !ManagerRunning()) return false;
    return true;
}

bool Manager::Open(const String& name, Access)
{
    m_native->name = name;
    m_native->unit = m_native->folder / Path(UnitName(name));
    if (File::Exists(m_native->unit)) return true;
    errno = ENOENT;
    return false;
}

bool Manager::Create(const Config& config)
{
    m_native->name = config.name;
    m_native->unit = m_native->folder / Path(UnitName(config.name));
    // systemd has no display name: it shows the description, the display name when there is none. The
    // service starts in the program's folder, so that what it writes before it knows its log folder
    // (the start-up log) lands beside it rather than in "/".
    String text = "# " + config.displayName + "\n[Unit]\nDescription=" +
                  EscapeSpecifiers(config.description.Empty() ? config.displayName : config.description) +
                  "\n\n[Service]\nType=notify\nNotifyAccess=main\nExecStart=" + EscapeCommandLine(ImagePath(config)) +
                  "\nWorkingDirectory=" + EscapeSpecifiers(Path(config.program).Branch().Text()) + "\n";
    // systemd runs services under an account without a password of its own.
    if (!config.user.Empty()) text += "User=" + config.user + "\n";
    text += String("\n[Install]\nWantedBy=") + (SystemWide() ? "multi-user.target" : "default.target") + "\n";

    const int fd = open(m_native->unit.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    const bool written = write(fd, text.c_str(), static_cast<std::size_t>(text.Length())) == text.Length();
    const int error = errno;
    close(fd);
    if (!written) {
        unlink(m_native->unit.c_str());
        errno = error;
        return false;
    }
    // A running manager learns of the unit now and starts it with the machine from now on.
    if (ManagerRunning()) {
        Systemctl({"daemon-reload"});
        if (Systemctl({"enable", UnitName(config.name).str()}) != 0)
            LogWarning("The service was installed, but systemd did not enable it: " + UnitName(config.name));
    }
    return true;
}

bool Manager::Delete()
{
    const bool running = ManagerRunning();
    if (running) Systemctl({"disable", UnitName(m_native->name).str()});
    if (unlink(m_native->unit.c_str()) != 0) return false;
    if (running) Systemctl({"daemon-reload"});
    return true;
}

bool Manager::Start()
{
    const int status = Systemctl({"start", "--no-block", UnitName(m_native->name).str()});
    if (status > 0) errno = 0;
    return status == 0;
}

bool Manager::Stop()
{
    const int status = Systemctl({"stop", "--no-block", UnitName(m_native->name).str()});
    if (status > 0) errno = 0;
    return status == 0;
}

bool Manager::QueryState(int& state)
{
    String active;
    if (Systemctl({"show", "--property=ActiveState", "--value", UnitName(m_native->name).str()}, &active) != 0)
        return false;
    if (active == "active" || active == "reloading") state = Running;
    else if (active == "activating") state = StartPending;
    else if (active == "deactivating") state = StopPending;
    else state = Stopped;
    return true;
}

bool RunDispatcher(const String& name, void (*serviceMain)(int argc, char** argv))
{
    // Started by systemd as a notify service, the process is given the socket to report to.
    const String socketName = Platform::GetEnvironment("NOTIFY_SOCKET");
    sockaddr_un address{};
    if (socketName.Empty() || static_cast<std::size_t>(socketName.Length()) >= sizeof address.sun_path ||
        (socketName[0] != '/' && socketName[0] != '@')) {
        errno = ENOTCONN;
        return false;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socketName.c_str(), static_cast<std::size_t>(socketName.Length()));
    // "@" names a socket in the abstract namespace.
    if (address.sun_path[0] == '@') address.sun_path[0] = '\0';
    const socklen_t length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socketName.Length());
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        const int error = errno;
        close(fd);
        errno = error;
        return false;
    }
    {
        std::lock_guard<std::mutex> hold(g_notifyLock);
        g_notify = fd;
    }
    std::string serviceName = name.str();
    char* argv[] = {serviceName.data(), nullptr};
    serviceMain(1, argv);
    std::lock_guard<std::mutex> hold(g_notifyLock);
    g_notify = -1;
    close(fd);
    return true;
}

// Stop requests arrive as SIGTERM, which the interrupt handler's thread hands to OnControl.
bool RegisterControlHandler(const String&)
{
    std::lock_guard<std::mutex> hold(g_notifyLock);
    return g_notify >= 0;
}

String Refusal(const Config& config)
{
    if (config.password.Empty()) return String();
    return "A password cannot be given for a systemd service: systemd starts it under its account without one";
}

bool ReportState(State state, int exitCode)
{
    String message;
    switch (state) {
    case StartPending: message = "STATUS=Starting"; break;
    case Running: message = "READY=1\nSTATUS=Running"; break;
    case StopPending: message = "STOPPING=1\nSTATUS=Stopping"; break;
    case Stopped: message = SFormat("STATUS=Stopped (exit code %d)", exitCode); break;
    }
    std::lock_guard<std::mutex> hold(g_notifyLock);
    if (g_notify < 0) return false;
    ssize_t sent;
    do sent = send(g_notify, message.c_str(), static_cast<std::size_t>(message.Length()), MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    return sent == message.Length();
}

} // namespace dovo::service
