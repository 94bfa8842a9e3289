// Sockets and name resolution on POSIX: BSD sockets, every call retried on EINTR, descriptors
// close-on-exec, sends that never raise SIGPIPE.

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/sockios.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "net/SocketAddress.h"

namespace dovo::sockets {

namespace {

int Fd(Handle socket) { return static_cast<int>(socket); }

template <typename Call>
auto Retried(Call call)
{
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

} // namespace

int LastError() { return errno; }

bool Startup(int& error, unsigned short& version)
{
    error = 0;
    version = 2;
    return true;
}

void Cleanup() {}

Handle Open(int type)
{
    const int fd = ::socket(AF_INET, (type == 2 ? SOCK_DGRAM : SOCK_STREAM) | SOCK_CLOEXEC, 0);
    return fd < 0 ? kInvalid : static_cast<Handle>(fd);
}

bool SetOption(Handle socket, Option option, int value)
{
    const int name = option == Option::ReuseAddress ? SO_REUSEADDR : SO_BROADCAST;
    return ::setsockopt(Fd(socket), SOL_SOCKET, name, &value, sizeof value) == 0;
}

bool SetLinger(Handle socket, int seconds)
{
    // Lingering makes close wait until the peer has acknowledged everything sent, our end (the shutdown's
    // FIN, one sequence number) included. With nothing else outstanding there is nothing to wait for
    // but the peer's delayed acknowledgement (40 ms each): a server closing a thousand clients would take
    // most of a minute. The kernel finishes the close in the background either way; data is never lost.
    int outstanding = 0;
    if (::ioctl(Fd(socket), SIOCOUTQ, &outstanding) == 0 && outstanding <= 1) return true;
    const linger value{1, seconds};
    return ::setsockopt(Fd(socket), SOL_SOCKET, SO_LINGER, &value, sizeof value) == 0;
}

bool Shutdown(Handle socket) { return ::shutdown(Fd(socket), SHUT_RDWR) == 0; }

void Close(Handle socket, const std::atomic<int>& busy)
{
    // close() alone leaves a call blocked on the descriptor in another thread blocked; a shutdown
    // wakes it (a receive returns 0, an accept or a send fails, a poll reports the hang-up) and every
    // later call returns at once, so the wait for the callers to leave is short. Sent data still goes
    // out first, as on close.
    const int saved = errno;
    ::shutdown(Fd(socket), SHUT_RDWR);
    while (busy.load() > 0) std::this_thread::yield();
    ::close(Fd(socket));
    errno = saved;
}

bool Connect(Handle socket, std::uint32_t address, std::uint16_t port)
{
    const sockaddr_in to = Native(address, port);
    if (::connect(Fd(socket), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0) return true;
    if (errno != EINTR) return false;
    // An interrupted connect goes on by itself: wait for its end and take its result.
    pollfd wait{Fd(socket), POLLOUT, 0};
    if (Retried([&] { return ::poll(&wait, 1, -1); }) < 0) return false;
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(Fd(socket), SOL_SOCKET, SO_ERROR, &error, &length) != 0) return false;
    errno = error;
    return error == 0;
}

bool Bind(Handle socket, std::uint32_t address, std::uint16_t port)
{
    const sockaddr_in at = Native(address, port);
    return ::bind(Fd(socket), reinterpret_cast<const sockaddr*>(&at), sizeof at) == 0;
}

bool Listen(Handle socket, int backlog) { return ::listen(Fd(socket), backlog) == 0; }

Handle Accept(Handle server, int& family, std::uint32_t& address, std::uint16_t& port)
{
    sockaddr_storage from{};
    socklen_t length = sizeof from;
    const int fd = Retried([&] {
        length = sizeof from;
        return ::accept4(Fd(server), reinterpret_cast<sockaddr*>(&from), &length, SOCK_CLOEXEC);
    });
    if (fd < 0) return kInvalid;
    family = from.ss_family;
    if (family == AF_INET) FromNative(reinterpret_cast<const sockaddr&>(from), address, port);
    return static_cast<Handle>(fd);
}

int Receive(Handle socket, unsigned char* data, int size, bool peek)
{
    return static_cast<int>(
        Retried([&] { return ::recv(Fd(socket), data, static_cast<std::size_t>(size), peek ? MSG_PEEK : 0); }));
}

int Send(Handle socket, const unsigned char* data, int size)
{
    return static_cast<int>(
        Retried([&] { return ::send(Fd(socket), data, static_cast<std::size_t>(size), MSG_NOSIGNAL); }));
}

int SendTo(Handle socket, const unsigned char* data, int size, std::uint32_t address, std::uint16_t port)
{
    const sockaddr_in to = Native(address, port);
    return static_cast<int>(Retried([&] {
        return ::sendto(Fd(socket), data, static_cast<std::size_t>(size), MSG_NOSIGNAL,
                        reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }));
}

int ReceiveFrom(Handle socket, unsigned char* data, int size, bool peek, std::uint32_t& address, std::uint16_t& port)
{
    sockaddr_storage from{};
    socklen_t length = sizeof from;
    const auto n = Retried([&] {
        length = sizeof from;
        return ::recvfrom(Fd(socket), data, static_cast<std::size_t>(size), peek ? MSG_PEEK : 0,
                          reinterpret_cast<sockaddr*>(&from), &length);
    });
    if (n >= 0) FromNative(reinterpret_cast<const sockaddr&>(from), address, port);
    return static_cast<int>(n);
}

bool LocalName(Handle socket, std::uint32_t& address, std::uint16_t& port)
{
    sockaddr_storage at{};
    socklen_t length = sizeof at;
    if (::getsockname(Fd(socket), reinterpret_cast<sockaddr*>(&at), &length) != 0) return false;
    return FromNative(reinterpret_cast<const sockaddr&>(at), address, port);
}

void ToNative(std::uint32_t address, std::uint16_t port, sockaddr* out) { CopyNative(address, port, out); }

bool FromNative(const sockaddr& in, std::uint32_t& address, std::uint16_t& port) { return WordsOf(in, address, port); }

bool LookupName(const String& name, std::uint32_t& address, int& error)
{
    return LookupNameWith(name, address, error, [](int e) { return e == EAI_SYSTEM ? errno : e; });
}

bool LookupAddress(std::uint32_t address, String& name, int& error)
{
    return LookupAddressWith(address, name, error, [](int e) { return e == EAI_SYSTEM ? errno : e; });
}

// The resolver's errors are negative on this system (EAI_...), the socket layer's positive.
String ErrorText(int error) { return error < 0 ? String(::gai_strerror(error)) : String(std::strerror(error)); }

} // namespace dovo::sockets
