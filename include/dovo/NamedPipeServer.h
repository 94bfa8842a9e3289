#pragma once

#include <dovo/Export.h>
#include <dovo/NamedPipe.h>

namespace dovo {

/// The listening end of a named pipe. BeginUsing makes a listening instance; Poll connects a client
/// and says whether it has sent data; a fresh NamedPipe takes the connection over by Accept, after
/// which the server needs BeginUsing again (Stream::Transport::Serve does that).
///
/// Windows: each instance is a pipe instance of its own (duplex, byte mode, non-blocking, up to 255
/// instances, default buffers, 100 ms default time-out), so between Accept and the next BeginUsing a
/// client finds none free. POSIX: one listening socket serves every instance, and clients queue on it
/// meanwhile. The socket lives in the user's private folder, which is made with mode 0700 and refused
/// when someone else owns it or others may enter it; a socket left by a dead process is replaced, one
/// that still has a listener is refused. On Linux a connecting process of another user (root excepted)
/// is refused with a warning naming its user ID, and the server goes on.
class DOVO_API NamedPipeServer : public NamedPipe
{
public:
    /// SetName(name); with listen, BeginUsing.
    explicit NamedPipeServer(const Path& name, bool listen = false);
    /// Closes the instance and removes the listener.
    ~NamedPipeServer() override;

    /// Makes a fresh listening instance (closing a usable one first).
    void BeginUsing() override;
    /// Closes the instance and removes the listener: "NamedPipe server removed: ".
    void CeaseUsing() override;
    /// Waits up to timeout seconds for a client (a connection that arrives ends the wait at once),
    /// then says whether it has sent data. false while no client has connected; a client that has
    /// gone closes the instance.
    bool Poll(float timeout) const override;
    /// Between BeginUsing and the Accept (or CeaseUsing) that ends the instance.
    bool IsUsable() const override { return m_instance; }
    /// Whether a client is connected to the current instance (it may not have sent anything yet).
    bool IsConnected() const { return m_connected; }
    /// Closes the connected client (a silent one, say); the server then needs BeginUsing again.
    void Disconnect();

protected:
    /// Throws a TransportException from "NamedPipeServer" at this server's level.
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;
    /// Disconnect.
    void ConnectionEnded() override { Disconnect(); }

private:
    // Per platform (NamedPipe_posix.cpp, NamedPipe_win32.cpp).
    void NewInstance();
    bool WaitForClient(float seconds);
    void RemoveListener();

    /// POSIX: the listening socket, kept from one instance to the next.
    _AutoHandle m_listener;
    bool m_instance = false;
    bool m_connected = false;
    /// Windows: how long the next idle wait for a client sleeps between tries (milliseconds).
    unsigned m_idleSlice = 1;
};

} // namespace dovo
