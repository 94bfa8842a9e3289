// NamedPipeServerThread: serves a named pipe, one client's message at a time, with bounded waits.

#include <dovo/Exception.h>
#include <dovo/Log.h>
#include <dovo/NamedPipeServerThread.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

namespace dovo {

namespace {
// The poll interval after the first wait, and the slices that waits for a client's bytes are made of.
constexpr float kPollInterval = 0.05f;
constexpr float kLongestFailurePause = 2.0f;

long long Now()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

long long Ms(float seconds) { return static_cast<long long>(seconds * 1000.0f); }
} // namespace

NamedPipeServerThread::NamedPipeServerThread(const Path& name)
    : Thread("NamedPipeServerThread"), m_server(name), m_pipeName(name), m_localName(m_server.LocalName())
{
}

NamedPipeServerThread::~NamedPipeServerThread() = default;

void NamedPipeServerThread::MessageLimits(float silence, float whole, int bytes)
{
    m_silenceLimit = silence;
    m_messageLimit = whole;
    m_sizeLimit = bytes;
}

bool NamedPipeServerThread::Startup()
{
    try {
        m_server.BeginUsing();
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        LogError("NamedPipeServerThread cannot listen on " + m_localName + ": " + e->Message());
        return false;
    }
    m_listening.store(true, std::memory_order_release);
    return true;
}

bool NamedPipeServerThread::Execute()
{
    Pause(m_pollInterval);
    m_pollInterval = kPollInterval;
    float pause = kPollInterval;
    while (IsRunning()) {
        try {
            ServeOnce();
            pause = kPollInterval;
            continue;
        } catch (Exception* e) {
            std::unique_ptr<Exception> owned(e);
            LogWarning("NamedPipeServerThread goes on after an exception on " + m_localName + ": " + e->Message());
        } catch (...) {
            LogWarning("NamedPipeServerThread goes on after an unknown exception on " + m_localName);
        }
        // A failure that repeats (a listener that cannot be made, say) is not retried at full speed.
        Pause(pause);
        pause = std::min(pause * 2, kLongestFailurePause);
    }
    return false;
}

void NamedPipeServerThread::Cleanup()
{
    m_listening.store(false, std::memory_order_release);
    m_server.CeaseUsing();
}

void NamedPipeServerThread::OnMessage(const String& message)
{
    LogInfo("Message on named pipe " + m_localName + ": " + message);
}

void NamedPipeServerThread::ServeOnce()
{
    LogDebug("Listening to server pipe: " + m_pipeName.Text());
    if (!m_server.IsUsable()) m_server.BeginUsing();
    if (!m_server.Poll(m_pollInterval)) {
        if (!m_server.IsConnected()) {
            m_silentSince = -1;
            return;
        }
        // Connected, and nothing sent yet.
        const long long now = Now();
        if (m_silentSince < 0) m_silentSince = now;
        else if (now - m_silentSince > Ms(m_silenceLimit)) {
            LogWarning(SFormat("Dropped a client of named pipe %s that sent nothing for %g seconds",
                               m_localName.c_str(), static_cast<double>(m_silenceLimit)));
            m_server.Disconnect();
            m_silentSince = -1;
        }
        return;
    }
    m_silentSince = -1;
    LogDebug("Data available on server pipe: " + m_pipeName.Text());
    NamedPipe client;
    client.Accept(&m_server);
    LogDebug("Processing message on reader pipe: " + m_pipeName.Text());
    String message;
    if (ReadMessage(client, message)) OnMessage(message);
    client.CeaseUsing();
}

bool NamedPipeServerThread::ReadMessage(NamedPipe& client, String& text)
{
    unsigned char buffer[8192];
    const long long start = Now();
    long long last = start;
    // The server's poll found data waiting: the first read does not wait.
    for (bool ready = true; IsRunning(); ready = client.Poll(kPollInterval)) {
        // Poll closes a pipe whose client has gone: what it wrote is the message.
        if (!client.IsUsable()) return true;
        const long long now = Now();
        if (ready) {
            const int n = client.Read(buffer, sizeof buffer);
            if (n == 0) return true;
            if (text.Length() + n > m_sizeLimit) {
                LogWarning(SFormat("Dropped a message on named pipe %s longer than %d bytes", m_localName.c_str(),
                                   m_sizeLimit));
                return false;
            }
            static_cast<std::string&>(text).append(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(n));
            last = now;
        } else if (now - last > Ms(m_silenceLimit)) {
            LogWarning(SFormat("Dropped %d bytes from a client of named pipe %s that sent nothing more for %g seconds",
                               text.Length(), m_localName.c_str(), static_cast<double>(m_silenceLimit)));
            return false;
        }
        if (now - start > Ms(m_messageLimit)) {
            LogWarning(SFormat("Dropped %d bytes from a client of named pipe %s that took longer than %g seconds",
                               text.Length(), m_localName.c_str(), static_cast<double>(m_messageLimit)));
            return false;
        }
    }
    return false;
}

void NamedPipeServerThread::Pause(float seconds)
{
    const long long until = Now() + Ms(seconds);
    for (long long left; IsRunning() && (left = until - Now()) > 0;)
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min<long long>(left, Ms(kPollInterval))));
}

} // namespace dovo
