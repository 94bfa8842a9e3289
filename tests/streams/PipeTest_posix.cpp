// Named pipes on POSIX: the private folder, sockets left behind or still listened on, and clients of
// another user.

#include <dovo/NamedPipeServer.h>

#include "streams/PipeTestSupport.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <grp.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace dovo;
using namespace pipetest;

namespace {

// XDG_RUNTIME_DIR set to a short fresh folder for a scope (the pipes' folder is made inside it).
struct RuntimeDir
{
    char dir[21] = "/tmp/pipetest-XXXXXX";
    RuntimeDir() { ::setenv("XDG_RUNTIME_DIR", ::mkdtemp(dir), 1); }
    ~RuntimeDir() { ::unsetenv("XDG_RUNTIME_DIR"), std::filesystem::remove_all(dir); }
    std::string Pipes() const { return std::string(dir) + "/dovo"; }
};

sockaddr_un Address(const std::string& path)
{
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
    return a;
}

unsigned Mode(const std::string& path)
{
    struct stat info
    {
    };
    ::lstat(path.c_str(), &info);
    return info.st_mode & 07777;
}

} // namespace

TEST(NamedPipePosix, PrivateFolderAndSocketsLeftBehindOrInUse)
{
    LogStarted();
    RuntimeDir runtime;
    std::string leaf = "Dovo: " + UniqueName("folder");
    for (char& c : leaf) c = c == '/' ? '\\' : c;
    NamedPipeServer first(UniqueName("folder"));
    EXPECT_EQ(first.LocalName().str(), runtime.Pipes() + "/" + leaf);
    first.BeginUsing();
    EXPECT_EQ(Mode(runtime.Pipes()), 0700u);
    const std::string socket = first.LocalName().str();
    EXPECT_EQ(Mode(socket), 0600u);

    // A second listener on the name is refused, and the first one's socket stays.
    NamedPipeServer second(first.PipeName());
    std::unique_ptr<Exception> e;
    EXPECT_EQ(Thrown([&] { second.BeginUsing(); }, &e),
              "NamedPipeServer|BeginUsing|0x20000008|" + std::to_string(EADDRINUSE) +
                  "|1|Could not create the named pipe " + socket + ": another process listens on it");
    EXPECT_FALSE(second.IsUsable());
    ASSERT_TRUE(Send(first.PipeName(), "still there"));
    NamedPipe served; // (after the connection by which the second one found the first listening)
    for (int i = 0; i < 1200 && !first.Serve(&served, 0.05f);) ++i;
    unsigned char got[16];
    EXPECT_EQ(served.Read(got, sizeof got), 11);
    first.CeaseUsing();
    EXPECT_FALSE(std::filesystem::exists(socket));

    // A socket whose process has gone is replaced.
    const int stale = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = Address(socket);
    ASSERT_EQ(::bind(stale, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(stale);
    ASSERT_TRUE(std::filesystem::exists(socket));
    second.BeginUsing();
    EXPECT_TRUE(second.IsUsable());
    second.CeaseUsing();

    // A folder that others may enter (or that someone else owns) is not used by either end.
    ::chmod(runtime.Pipes().c_str(), 0755);
    EXPECT_EQ(Thrown([&] { second.BeginUsing(); }),
              "NamedPipeServer|BeginUsing|0x20000008|" + std::to_string(EPERM) +
                  "|1|Named pipe folder is not private to this user: " + runtime.Pipes());
    NamedPipe client(first.PipeName());
    EXPECT_EQ(Thrown([&] { client.BeginUsing(); }),
              "NamedPipe|BeginUsing|0x20000008|" + std::to_string(EPERM) + "|1|Named pipe not available: " + socket);
    ::chmod(runtime.Pipes().c_str(), 0700);

    // A server thread whose name is listened on already does not start listening.
    NamedPipeServer holder(first.PipeName(), true);
    Listener listener(first.PipeName());
    EXPECT_FALSE(listener.Listen());
    EXPECT_TRUE(LogGets("NamedPipeServerThread cannot listen on " + socket));
}

TEST(NamedPipePosix, AnotherUsersClientIsRefused)
{
    if (::geteuid() != 0) GTEST_SKIP() << "only root can start a client of another user (uid 65534)";
    LogStarted();
    Listener listener(UniqueName("user"));
    ASSERT_TRUE(listener.Listen());
    const sockaddr_un address = Address(listener.LocalName().str());

    const pid_t child = ::fork();
    if (child == 0) {
        // Another user who can reach the socket at all: it keeps the right to pass the 0700 folder.
        ::prctl(PR_SET_KEEPCAPS, 1);
        if (::setgroups(0, nullptr) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(3);
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct data[2]{};
        data[0].effective = data[0].permitted = 1u << CAP_DAC_OVERRIDE;
        if (::syscall(SYS_capset, &header, data) != 0) ::_exit(3);
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) ::_exit(4);
        static const char text[] = "from another user";
        ::send(fd, text, sizeof text - 1, MSG_NOSIGNAL);
        char c;
        ::_exit(::read(fd, &c, 1) <= 0 ? 0 : 5); // the server closes without reading
    }
    ASSERT_GT(child, 0);
    int status = 0;
    for (int i = 0; i < 6000 && ::waitpid(child, &status, WNOHANG) == 0; ++i) ::usleep(10000);
    if (!WIFEXITED(status)) ::kill(child, SIGKILL), ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 3) GTEST_SKIP() << "this system does not let root become uid 65534";
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(LogGets("Refused a connection on named pipe " + listener.LocalName().str() + " from user ID 65534"));

    ASSERT_TRUE(Send(listener.PipeName(), "from root"));
    ASSERT_TRUE(listener.WaitForMessages(1));
    EXPECT_EQ(listener.Messages(), std::vector<std::string>{"from root"});
}
