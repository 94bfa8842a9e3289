#pragma once

// The system's side of sockets and name resolution (NativeSocket_posix.cpp: BSD sockets,
// NativeSocket_win32.cpp: Windows Sockets 2). Addresses and ports travel in network order; a failed
// call returns its failure value and leaves the socket layer's last error (LastError) set. The
// classes' steps, messages and log lines are in the portable files.

#include <dovo/Export.h>
#include <dovo/String.h>

#include <atomic>
#include <bit>
#include <cstdint>

struct sockaddr;

namespace dovo::sockets {

using Handle = std::uintptr_t;
constexpr Handle kInvalid = ~static_cast<Handle>(0);

/// Host order to network order and back (the same swap both ways).
constexpr std::uint32_t Swap32(std::uint32_t v)
{
    if constexpr (std::endian::native == std::endian::big) return v;
    else return (v >> 24) | ((v >> 8) & 0xFF00u) | ((v << 8) & 0xFF0000u) | (v << 24);
}
constexpr std::uint16_t Swap16(std::uint16_t v)
{
    if constexpr (std::endian::native == std::endian::big) return v;
    else return static_cast<std::uint16_t>((v >> 8) | (v << 8));
}

/// The socket layer's last error of the calling thread.
int LastError();

/// Starts the socket layer: false with error set when it cannot start; version is the one granted
/// (major in the low byte, as Windows gives it; 2.0 on POSIX).
bool Startup(int& error, unsigned short& version);
void Cleanup();

/// A new IPv4 socket of type 1 (stream) or 2 (datagram), not inherited by child processes and never
/// raising SIGPIPE; kInvalid on failure.
Handle Open(int type);
enum class Option { ReuseAddress, Broadcast };
bool SetOption(Handle socket, Option option, int value);
/// Linger on close for seconds.
bool SetLinger(Handle socket, int seconds);
/// Shuts both directions down.
bool Shutdown(Handle socket);
/// Closes the socket, waking any call that blocks on it in another thread. busy counts the calls that
/// still use the handle: POSIX shuts the socket down (which wakes them), waits until they have left and
/// then closes, so that none meets a closed or reused descriptor; Windows closes at once, which is what
/// wakes its blocked calls.
void Close(Handle socket, const std::atomic<int>& busy);

bool Connect(Handle socket, std::uint32_t address, std::uint16_t port);
bool Bind(Handle socket, std::uint32_t address, std::uint16_t port);
bool Listen(Handle socket, int backlog);
/// The connection's socket (kInvalid on failure) and its peer; family is that of the peer's address
/// (2 for IPv4).
Handle Accept(Handle server, int& family, std::uint32_t& address, std::uint16_t& port);
/// One receive (or peek): the bytes received, 0 when the peer has closed, -1 on failure.
int Receive(Handle socket, unsigned char* data, int size, bool peek);
/// One send: the bytes sent, -1 on failure.
int Send(Handle socket, const unsigned char* data, int size);
int SendTo(Handle socket, const unsigned char* data, int size, std::uint32_t address, std::uint16_t port);
/// One datagram and its sender; -1 on failure.
int ReceiveFrom(Handle socket, unsigned char* data, int size, bool peek, std::uint32_t& address, std::uint16_t& port);
/// The address the socket is bound to.
bool LocalName(Handle socket, std::uint32_t& address, std::uint16_t& port);

/// Fills an IPv4 socket address (the rest zero).
void ToNative(std::uint32_t address, std::uint16_t port, sockaddr* out);
/// The address and port of an IPv4 socket address; false for another family.
bool FromNative(const sockaddr& in, std::uint32_t& address, std::uint16_t& port);

/// The system resolver: the first IPv4 address of a name, or false with the resolver's error.
bool LookupName(const String& name, std::uint32_t& address, int& error);
/// The name of an IPv4 address, or false with the resolver's error.
bool LookupAddress(std::uint32_t address, String& name, int& error);
/// The text of an error of the resolver or the socket layer.
String ErrorText(int error);

} // namespace dovo::sockets

namespace dovo::resolver {

/// The resolver the name cache asks: the system's unless a test has put its own in place (so that no
/// test waits on a real resolver's time-out).
struct Functions
{
    bool (*forward)(const String& name, std::uint32_t& address, int& error);
    bool (*reverse)(std::uint32_t address, String& name, int& error);
};
/// Puts functions in place and returns those they replace. (Exported for the library's tests.)
DOVO_API Functions Use(Functions functions);
/// The system's own.
inline Functions System() { return {sockets::LookupName, sockets::LookupAddress}; }

} // namespace dovo::resolver
