// Named pipes on POSIX: Unix-domain stream sockets in the user's private folder. A connection is a
// descriptor behind a kernel handle of the library's own (threads/Kernel_posix.h), so that copies of
// the handle share it and the last close closes it, as duplicated handles do on Windows.

#include <dovo/Log.h>
#include <dovo/NamedPipeServer.h>
#include <dovo/Pipe.h>

#include "streams/PipeSystem.h"
#include "threads/Kernel_posix.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace dovo {

namespace {

constexpr int ErrorFailed = 0x20000008;
// The longest socket path: sun_path less its terminating zero.
constexpr std::size_t kLongestPath = sizeof(sockaddr_un::sun_path) - 1;
// A runtime folder longer than this is passed over for /tmp, so that names keep most of their text.
constexpr std::size_t kLongestRuntimeDir = 64;

// A descriptor behind a handle; a listener's socket file goes with it (if it is still ours).
struct Descriptor : kernel::Custom
{
    explicit Descriptor(int descriptor) : fd(descriptor) {}
    ~Descriptor() override
    {
        struct stat info;
        if (!path.empty() && ::stat(path.c_str(), &info) == 0 && info.st_dev == device && info.st_ino == inode)
            ::unlink(path.c_str());
        ::close(fd);
    }
    int fd;
    std::string path;
    dev_t device = 0;
    ino_t inode = 0;
    uid_t user = 0; // a listener's: the user whose peers it takes
};

int FdOf(const _AutoHandle& handle) { return static_cast<Descriptor*>(kernel::GetCustom(handle))->fd; }

std::string Folder()
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && runtime[0] == '/' && std::strlen(runtime) <= kLongestRuntimeDir)
        return std::string(runtime) + "/dovo";
    return "/tmp/dovo-" + std::to_string(::geteuid());
}

std::string FolderOf(const String& local) { return local.LeftLast("/").str(); }

// Whether the folder is this user's alone (made, mode 0700, when create is set); error says why not.
bool PrivateFolder(const std::string& folder, bool create, int& error)
{
    if (create) {
        if (::mkdir(folder.c_str(), 0700) == 0) ::chmod(folder.c_str(), 0700); // whatever the umask
        else if (errno != EEXIST) return error = errno, false;
    }
    struct stat info;
    if (::lstat(folder.c_str(), &info) != 0) return error = errno, false;
    if (!S_ISDIR(info.st_mode) || info.st_uid != ::geteuid() || (info.st_mode & 077)) return error = EPERM, false;
    return true;
}

sockaddr_un Address(const String& local)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, local.c_str(), std::min<std::size_t>(local.Length(), kLongestPath));
    return address;
}

int Socket() { return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

int ConnectTo(int fd, const sockaddr_un& address)
{
    int result;
    do result = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    while (result != 0 && errno == EINTR);
    return result;
}

// Whether a process listens at the address (its socket file could be one left by a dead process).
bool Listened(const sockaddr_un& address)
{
    const int probe = Socket();
    if (probe < 0) return true;
    const bool refused = ConnectTo(probe, address) != 0 && (errno == ECONNREFUSED || errno == ENOENT);
    ::close(probe);
    return !refused;
}

} // namespace

namespace pipes {

String LocalName(const String& leaf)
{
    const std::string folder = Folder();
    std::string path = folder + "/" + leaf.str();
    if (path.size() <= kLongestPath) return path;
    // FNV-1a over the whole component: both ends shorten a name alike.
    std::uint64_t hash = 14695981039346656037ull;
    for (unsigned char c : leaf.str()) hash = (hash ^ c) * 1099511628211ull;
    String tail = "~";
    tail.AppendHex(hash, 16);
    return folder + "/" + leaf.Left(kLongestPath - folder.size() - 1 - tail.Length()).str() + tail.str();
}

void* Io(const _AutoHandle& connection)
{
    return connection.IsValid() ? Pipe::DescriptorHandle(FdOf(connection)) : nullptr;
}

void Waiting(const _AutoHandle&) {} // (accept gives a socket that waits)

void* Connect(const String& local, bool& available, int& error)
{
    available = false;
    // A folder that is not the user's own could hold somebody else's listener.
    if (!PrivateFolder(FolderOf(local), false, error)) return nullptr;
    const int fd = Socket();
    if (fd < 0) return error = errno, nullptr;
    // Non-blocking: a listener whose queue is full refuses at once instead of making us wait.
    const sockaddr_un address = Address(local);
    if (ConnectTo(fd, address) != 0) {
        error = errno;
        ::close(fd);
        return nullptr;
    }
    available = true;
    // (It stays non-blocking: reads and writes wait for it as for a blocking one.)
    return kernel::CreateCustom(new Descriptor(fd));
}

} // namespace pipes

void NamedPipeServer::NewInstance()
{
    if (m_listener.IsValid()) return;
    const std::string folder = FolderOf(m_localName);
    int error = 0;
    if (!PrivateFolder(folder, true, error)) {
        if (error == EPERM)
            RaiseException("BeginUsing", ErrorFailed, "Named pipe folder is not private to this user: " + folder,
                           error);
        RaiseException("BeginUsing", ErrorFailed, "Could not create the named pipe " + m_localName, error);
    }
    const int fd = Socket();
    if (fd < 0) RaiseException("BeginUsing", ErrorFailed, "Could not create the named pipe " + m_localName, -1);
    auto* listener = new Descriptor(fd);
    m_listener = kernel::CreateCustom(listener);
    const sockaddr_un address = Address(m_localName);
    const auto bind = [&] { return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0; };
    bool bound = bind();
    if (!bound && errno == EADDRINUSE) {
        if (Listened(address)) {
            m_listener.Close();
            RaiseException("BeginUsing", ErrorFailed,
                           "Could not create the named pipe " + m_localName + ": another process listens on it",
                           EADDRINUSE);
        }
        ::unlink(m_localName.c_str()); // left by a process that has ended
        bound = bind();
    }
    struct stat info;
    if (!bound || ::chmod(m_localName.c_str(), 0600) != 0 || ::listen(fd, SOMAXCONN) != 0 ||
        ::stat(m_localName.c_str(), &info) != 0) {
        const int failure = errno;
        m_listener.Close();
        RaiseException("BeginUsing", ErrorFailed, "Could not create the named pipe " + m_localName, failure);
    }
    listener->path = m_localName.str();
    listener->user = ::geteuid();
    listener->device = info.st_dev;
    listener->inode = info.st_ino;
}

bool NamedPipeServer::WaitForClient(float seconds)
{
    if (!m_listener.IsValid()) return false;
    const int listener = FdOf(m_listener);
    const uid_t user = static_cast<Descriptor*>(kernel::GetCustom(m_listener))->user;
    const bool forever = seconds < 0;
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::microseconds(forever ? 0 : static_cast<long long>(seconds * 1e6));
    for (;;) {
        const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            ucred peer{};
            socklen_t size = sizeof peer;
            const bool known = ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
            if (known && (peer.uid == user || peer.uid == 0)) {
                m_handle = kernel::CreateCustom(new Descriptor(fd));
                m_connected = true;
                return true;
            }
            if (known)
                LogWarning(SFormat("Refused a connection on named pipe %s from user ID %u (process %d)",
                                   m_localName.c_str(), static_cast<unsigned>(peer.uid), static_cast<int>(peer.pid)));
            else LogWarning("Refused a connection on named pipe " + m_localName + " from an unknown user");
            ::close(fd);
            continue;
        }
        if (errno == EINTR || errno == ECONNABORTED) continue;
        // Any other failure (no descriptors left, say) is no client yet: the time is waited out
        // rather than spent trying again at once.
        const bool failed = errno != EAGAIN && errno != EWOULDBLOCK;
        int ms = -1;
        if (!forever) {
            const long long us =
                std::chrono::duration_cast<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now())
                    .count();
            if (us <= 0) return false;
            ms = static_cast<int>(std::min<long long>((us + 999) / 1000, INT_MAX));
        }
        if (failed) {
            ::poll(nullptr, 0, ms < 0 ? 1000 : ms);
            return false;
        }
        pollfd p{listener, POLLIN, 0};
        if (::poll(&p, 1, ms) < 0 && errno != EINTR) return false;
    }
}

void NamedPipeServer::RemoveListener() { m_listener.Close(); }

} // namespace dovo
