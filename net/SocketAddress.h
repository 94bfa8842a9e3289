#pragma once

// The parts of the socket layer that BSD sockets and Windows Sockets share word for word: IPv4 socket
// addresses to and from the library's (network-order) words, and the resolver calls. Included by each
// platform's NativeSocket file after its own socket headers; resolved tells how the resolver's error is
// made the one reported (POSIX takes errno for EAI_SYSTEM).

#include "net/NativeSocket.h"

#include <cstring>

namespace dovo::sockets {

inline sockaddr_in Native(std::uint32_t address, std::uint16_t port)
{
    sockaddr_in in{};
    in.sin_family = AF_INET;
    in.sin_port = port;
    in.sin_addr.s_addr = address;
    return in;
}

inline void CopyNative(std::uint32_t address, std::uint16_t port, sockaddr* out)
{
    const sockaddr_in in = Native(address, port);
    std::memcpy(out, &in, sizeof in);
}

inline bool WordsOf(const sockaddr& in, std::uint32_t& address, std::uint16_t& port)
{
    if (in.sa_family != AF_INET) return false;
    sockaddr_in v4;
    std::memcpy(&v4, &in, sizeof v4);
    address = v4.sin_addr.s_addr;
    port = v4.sin_port;
    return true;
}

template <typename Resolved>
bool LookupNameWith(const String& name, std::uint32_t& address, int& error, Resolved resolved)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* found = nullptr;
    error = resolved(::getaddrinfo(name.c_str(), nullptr, &hints, &found));
    if (error != 0) return false;
    bool ok = false;
    std::uint16_t port = 0;
    for (const addrinfo* a = found; a && !ok; a = a->ai_next)
        if (a->ai_addr) ok = WordsOf(*a->ai_addr, address, port);
    ::freeaddrinfo(found);
    return ok;
}

template <typename Resolved>
bool LookupAddressWith(std::uint32_t address, String& name, int& error, Resolved resolved)
{
    const sockaddr_in in = Native(address, 0);
    char host[NI_MAXHOST];
    error = resolved(
        ::getnameinfo(reinterpret_cast<const sockaddr*>(&in), sizeof in, host, sizeof host, nullptr, 0, NI_NAMEREQD));
    if (error != 0) return false;
    name = host;
    return true;
}

} // namespace dovo::sockets
