// Sockets and name resolution on Windows: Windows Sockets 2.

#include <dovo/Exception.h>

#include "core/Win32Support.h"
#include "net/NativeSocket.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>

#ifndef SIO_UDP_CONNRESET
#define SIO_UDP_CONNRESET _WSAIOW(IOC_VENDOR, 12)
#endif

namespace dovo::sockets {

namespace {

SOCKET S(Handle socket) { return static_cast<SOCKET>(socket); }

sockaddr_in Native(std::uint32_t address, std::uint16_t port)
{
    sockaddr_in in{};
    in.sin_family = AF_INET;
    in.sin_port = port;
    in.sin_addr.s_addr = address;
    return in;
}

// A datagram longer than the buffer fills it (as on POSIX) rather than failing.
int Truncated(int result, int size) { return result < 0 && WSAGetLastError() == WSAEMSGSIZE ? size : result; }

} // namespace

int LastError() { return WSAGetLastError(); }

bool Startup(int& error, unsigned short& version)
{
    WSADATA data{};
    error = WSAStartup(MAKEWORD(2, 0), &data);
    version = data.wVersion;
    return error == 0;
}

void Cleanup() { WSACleanup(); }

Handle Open(int type)
{
    const SOCKET s = ::socket(AF_INET, type == 2 ? SOCK_DGRAM : SOCK_STREAM, 0);
    if (s == INVALID_SOCKET) return kInvalid;
    SetHandleInformation(reinterpret_cast<HANDLE>(s), HANDLE_FLAG_INHERIT, 0);
    if (type == 2) {
        // A datagram to a closed port must not fail the next receive, as it does not on POSIX.
        BOOL report = FALSE;
        DWORD returned = 0;
        WSAIoctl(s, SIO_UDP_CONNRESET, &report, sizeof report, nullptr, 0, &returned, nullptr, nullptr);
    }
    return static_cast<Handle>(s);
}

bool SetOption(Handle socket, Option option, int value)
{
    const int name = option == Option::ReuseAddress ? SO_REUSEADDR : SO_BROADCAST;
    const BOOL on = value != 0;
    return ::setsockopt(S(socket), SOL_SOCKET, name, reinterpret_cast<const char*>(&on), sizeof on) == 0;
}

bool SetLinger(Handle socket, int seconds)
{
    const linger value{1, static_cast<u_short>(seconds)};
    return ::setsockopt(S(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&value), sizeof value) == 0;
}

bool Shutdown(Handle socket) { return ::shutdown(S(socket), SD_BOTH) == 0; }

void Close(Handle socket, const std::atomic<int>& busy)
{
    const int saved = WSAGetLastError();
    ::closesocket(S(socket));
    WSASetLastError(saved);
}

bool Connect(Handle socket, std::uint32_t address, std::uint16_t port)
{
    const sockaddr_in to = Native(address, port);
    return ::connect(S(socket), reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
}

bool Bind(Handle socket, std::uint32_t address, std::uint16_t port)
{
    const sockaddr_in at = Native(address, port);
    return ::bind(S(socket), reinterpret_cast<const sockaddr*>(&at), sizeof at) == 0;
}

bool Listen(Handle socket, int backlog) { return ::listen(S(socket), backlog) == 0; }

Handle Accept(Handle server, int& family, std::uint32_t& address, std::uint16_t& port)
{
    sockaddr_storage from{};
    int length = sizeof from;
    const SOCKET s = ::accept(S(server), reinterpret_cast<sockaddr*>(&from), &length);
    if (s == INVALID_SOCKET) return kInvalid;
    SetHandleInformation(reinterpret_cast<HANDLE>(s), HANDLE_FLAG_INHERIT, 0);
    family = from.ss_family;
    if (family == AF_INET) FromNative(reinterpret_cast<const sockaddr&>(from), address, port);
    return static_cast<Handle>(s);
}

int Receive(Handle socket, unsigned char* data, int size, bool peek)
{
    return Truncated(::recv(S(socket), reinterpret_cast<char*>(data), size, peek ? MSG_PEEK : 0), size);
}

int Send(Handle socket, const unsigned char* data, int size)
{
    return ::send(S(socket), reinterpret_cast<const char*>(data), size, 0);
}

int SendTo(Handle socket, const unsigned char* data, int size, std::uint32_t address, std::uint16_t port)
{
    const sockaddr_in to = Native(address, port);
    return ::sendto(S(socket), reinterpret_cast<const char*>(data), size, 0, reinterpret_cast<const sockaddr*>(&to),
                    sizeof to);
}

int ReceiveFrom(Handle socket, unsigned char* data, int size, bool peek, std::uint32_t& address, std::uint16_t& port)
{
    sockaddr_storage from{};
    int length = sizeof from;
    const int n = Truncated(::recvfrom(S(socket), reinterpret_cast<char*>(data), size, peek ? MSG_PEEK : 0,
                                       reinterpret_cast<sockaddr*>(&from), &length),
                            size);
    if (n >= 0) FromNative(reinterpret_cast<const sockaddr&>(from), address, port);
    return n;
}

bool LocalName(Handle socket, std::uint32_t& address, std::uint16_t& port)
{
    sockaddr_storage at{};
    int length = sizeof at;
    if (::getsockname(S(socket), reinterpret_cast<sockaddr*>(&at), &length) != 0) return false;
    return FromNative(reinterpret_cast<const sockaddr&>(at), address, port);
}

void ToNative(std::uint32_t address, std::uint16_t port, sockaddr* out)
{
    const sockaddr_in in = Native(address, port);
    std::memcpy(out, &in, sizeof in);
}

bool FromNative(const sockaddr& in, std::uint32_t& address, std::uint16_t& port)
{
    if (in.sa_family != AF_INET) return false;
    sockaddr_in v4;
    std::memcpy(&v4, &in, sizeof v4);
    address = v4.sin_addr.s_addr;
    port = v4.sin_port;
    return true;
}

bool LookupName(const String& name, std::uint32_t& address, int& error)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* found = nullptr;
    error = ::getaddrinfo(name.c_str(), nullptr, &hints, &found);
    if (error != 0) return false;
    bool ok = false;
    std::uint16_t port = 0;
    for (const addrinfo* a = found; a && !ok; a = a->ai_next)
        if (a->ai_addr) ok = FromNative(*a->ai_addr, address, port);
    ::freeaddrinfo(found);
    return ok;
}

bool LookupAddress(std::uint32_t address, String& name, int& error)
{
    const sockaddr_in in = Native(address, 0);
    char host[NI_MAXHOST];
    error =
        ::getnameinfo(reinterpret_cast<const sockaddr*>(&in), sizeof in, host, sizeof host, nullptr, 0, NI_NAMEREQD);
    if (error != 0) return false;
    name = host;
    return true;
}

String ErrorText(int error) { return Exception::TranslateOSError(error); }

} // namespace dovo::sockets
