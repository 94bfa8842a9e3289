#pragma once

#include <dovo/Export.h>
#include <dovo/NamedPipeServer.h>
#include <dovo/Path.h>
#include <dovo/String.h>
#include <dovo/Thread.h>

#include <atomic>

namespace dovo {

/// A thread ("NamedPipeServerThread") that serves a named pipe: each client connects, writes one
/// message and closes; the thread reads the whole text and hands it to OnMessage, one client at a
/// time.
///
/// Startup begins listening; after WaitForStartup the owner learns from IsListening whether it does
/// (a name that another process listens on, say, ends the thread with an error line instead). The
/// thread first waits for its poll interval, then polls every 0.05 seconds; a client that connects
/// meanwhile is served at once.
///
/// What a client cannot do to the listener:
/// - hold it: a message must come within the silence limit (5 seconds without a byte, whether the
///   client never sends or stops half-way without closing) and whole within the message limit
///   (30 seconds); otherwise the text so far is dropped with a warning and the client closed. The
///   thread reads in slices of 0.05 seconds, so Signal(0) ends it within a quarter of a second
///   whatever a client does;
/// - flood it: a message longer than the size limit (64 KiB) is dropped whole with a warning as soon
///   as it passes the limit, and the client is closed without reading the rest;
/// - stop it: an exception while serving (OnMessage's own included) is logged and the thread goes on,
///   after a pause that grows with repeated failures (up to 2 seconds).
/// A client that closes, at the end of its message or half-way, has sent what it wrote so far: that
/// text is the message.
class DOVO_API NamedPipeServerThread : public Thread
{
public:
    explicit NamedPipeServerThread(const Path& name);
    /// Removes the listener. Owners Signal(0) and WaitFor first.
    ~NamedPipeServerThread() override;

    /// The name given and the local name listened on.
    const Path& PipeName() const { return m_pipeName; }
    const String& LocalName() const { return m_localName; }
    /// Once WaitForStartup has returned: whether the thread listens.
    bool IsListening() const { return m_listening.load(std::memory_order_acquire); }

    /// Set before Start: the first wait in seconds.
    void PollInterval(float seconds) { m_pollInterval = seconds; }
    float PollInterval() const { return m_pollInterval; }
    /// Set before Start: the silence limit and the message limit in seconds, the size limit in bytes.
    void MessageLimits(float silence, float whole, int bytes);

    bool Startup() override;
    bool Execute() override;
    void Cleanup() override;

protected:
    /// One message, the whole text one client wrote. The default logs it at Info.
    virtual void OnMessage(const String& message);

private:
    void ServeOnce();
    /// The whole text of the client; false when it was dropped.
    bool ReadMessage(NamedPipe& client, String& text);
    /// Waits while running, in slices short enough for Signal(0).
    void Pause(float seconds);

    NamedPipeServer m_server;
    Path m_pipeName;
    String m_localName;
    std::atomic<bool> m_listening{false};
    float m_pollInterval = 0.05f;
    float m_silenceLimit = 5.0f;
    float m_messageLimit = 30.0f;
    int m_sizeLimit = 64 * 1024;
    long long m_silentSince = -1; // when the connected client that has sent nothing connected (ms)
};

} // namespace dovo
