// Sockets and name resolution on Windows: Windows Sockets 2.

#include <dovo/Exception.h>

#include "core/Win32Support.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>

#ifndef SIO_UDP_CONNRESET
#define SIO_UDP_CONNRESET _WSAIOW(IOC_VENDOR, 12)
#endif

#include "net/SocketAddress.h"

namespace dovo::sockets {

namespace {

SOCKET S(Handle socket) { return static_cast<SOCKET>(socket); }

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

void ToNative(std::uint32_t address, std::uint16_t port, sockaddr* out) { CopyNative(address, port, out); }

bool FromNative(const sockaddr& in, std::uint32_t& address, std::uint16_t& port) { return WordsOf(in, address, port); }

bool LookupName(const String& name, std::uint32_t& address, int& error)
{
    return LookupNameWith(name, address, error, [](int e) { return e; });
}

bool LookupAddress(std::uint32_t address, String& name, int& error)
{
    return LookupAddressWith(address, name, error, [](int e) { return e; });
}

String ErrorText(int error) { return Exception::TranslateOSError(error); }

} // namespace dovo::sockets
