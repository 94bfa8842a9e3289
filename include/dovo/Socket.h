#pragma once

#include <dovo/Export.h>
#include <dovo/IPPeer.h>
#include <dovo/Stream.h>
#include <dovo/String.h>

#include <atomic>
#include <cstdint>

namespace dovo {

/// An IPv4 socket as a stream transport: the base of TCPSocket, TCPSocketServer, UDPSocket and
/// UDPSocketListener. Failures raise SocketException with the remote peer.
///
/// A socket belongs to one thread at a time, except that Abort may be called from another thread to
/// break a blocking call (the handle is swapped out atomically, so the socket is closed once).
class DOVO_API Socket : public Stream::Transport
{
public:
    enum { StreamType = 1, DatagramType = 2 };
    /// The handle of a closed socket.
    static constexpr std::uintptr_t InvalidHandle = ~static_cast<std::uintptr_t>(0);

    explicit Socket(int type);
    Socket(const IPPeer& peer, int type);
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    /// Closes the socket (Abort).
    ~Socket() override;

    /// The remote peer as text.
    String GetName() override;
    /// Resolves the remote peer and connects to it.
    void BeginUsing() override;
    /// Shuts both directions down, then Abort.
    void CeaseUsing() override;
    /// -1: a socket cannot seek.
    long long Seek(long long offset, Stream::SeekMode mode) override { return -1; }
    /// Sends all of data; a count below 1 sends nothing and returns 0.
    int Write(const unsigned char* data, int size) override;
    /// True when data (or a connection, on a listening socket) waits within timeout seconds.
    bool Poll(float timeout) const override;
    /// Takes the next connection pending on server (a listening socket): true when one was taken.
    bool Accept(Stream::Transport* server) override;
    bool IsUsable() const override { return m_handle.load(std::memory_order_acquire) != InvalidHandle; }
    /// 0: a socket has no size.
    long long Size() const override { return 0; }

protected:
    /// Throws a SocketException from "Socket" with the remote peer at this socket's level.
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;

public:
    /// Closes the socket (linger of 1 second) without shutting it down; safe from another thread.
    virtual void Abort();
    /// Closes any current socket and opens a new one of this object's type.
    virtual void Create();

    const IPPeer& Peer() const { return m_peer; }
    void SetPeer(const IPPeer& peer) { m_peer = peer; }
    /// The address the socket is bound to, asked of the system when not yet known.
    const IPPeer& LocalPeer() const;
    int Type() const { return m_type; }
    /// "UDP" for datagram sockets, "TCP" otherwise.
    String TypeAsString() const { return m_type == DatagramType ? "UDP" : "TCP"; }
    /// The system's handle (InvalidHandle when closed).
    operator std::uintptr_t() const { return m_handle.load(std::memory_order_acquire); }

protected:
    std::uintptr_t Handle() const { return m_handle.load(std::memory_order_acquire); }

    /// A system call on the socket's handle for a scope: Abort closes the handle only after every call
    /// that took it has left, so that no call meets a closed or reused handle.
    class Call
    {
    public:
        explicit Call(const Socket& socket) : m_calls(socket.m_calls)
        {
            m_calls.fetch_add(1);
            handle = socket.m_handle.load();
        }
        ~Call() { m_calls.fetch_sub(1); }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        std::uintptr_t handle;

    private:
        std::atomic<int>& m_calls;
    };

    std::atomic<std::uintptr_t> m_handle{InvalidHandle};
    /// Calls under way on the handle.
    mutable std::atomic<int> m_calls{0};
    int m_type;
    IPPeer m_peer;
    mutable IPPeer m_local;

private:
    // The program's start (Application) starts the socket layer; the tests stand in for it.
    friend class Application;
    friend struct SocketAccess;

    /// Starts the socket layer (Windows Sockets 2.0; nothing on POSIX).
    static void SocketStartup();
    /// Releases it.
    static void SocketCleanup();
};

} // namespace dovo
