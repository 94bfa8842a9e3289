// NamedPipe and NamedPipeServer: naming, the client's connection, accepting, reading and writing.
// What the system does for them is in NamedPipe_posix.cpp and NamedPipe_win32.cpp.

#include <dovo/Log.h>
#include <dovo/NamedPipe.h>
#include <dovo/NamedPipeServer.h>
#include <dovo/TransportException.h>

#include "streams/PipeSystem.h"

#include <algorithm>
#include <chrono>

namespace dovo {

namespace {
constexpr int ErrorBadName = 0x20000004;
constexpr int ErrorNameTooLong = 0x20000005;
constexpr int ErrorFailed = 0x20000008;
constexpr int ErrorRead = 0x2000000A;
constexpr int ErrorWrite = 0x2000000B;
constexpr int ErrorPeek = 0x2000000D;
constexpr int kLongestName = 90;
} // namespace

// NamedPipe

NamedPipe::NamedPipe(const Path& name, bool begin) { SetName(name, begin); }

NamedPipe::~NamedPipe() = default;

void NamedPipe::RaiseException(const String& where, int error, const String& message, int osError) const
{
    TransportException::Throw("NamedPipe", where, error, message, ExceptionLevel(), osError);
}

void NamedPipe::SetName(const Path& name, bool begin)
{
    const String& text = name.Text();
    if (text.Empty()) RaiseException("SetName", ErrorBadName, "Named pipes cannot have an empty name", 0);
    if (text.Length() > kLongestName)
        RaiseException("SetName", ErrorNameTooLong,
                       SFormat("Pipe name exceeds 90 characters (%d): ", text.Length()) + text, 0);
    CeaseUsing();
    m_name = name;
    String leaf = text;
    leaf.Replace("/", "\\");
    m_localName = pipes::LocalName("Dovo: " + leaf);
    LogDebug("NamedPipe '" + text + "' is locally known as: " + m_localName);
    if (begin) BeginUsing();
}

void NamedPipe::Reset()
{
    CeaseUsing();
    m_name = Path();
    m_localName.Clear();
}

String NamedPipe::GetName() { return m_localName; }

void NamedPipe::BeginUsing()
{
    if (m_name.Empty()) RaiseException("BeginUsing", ErrorBadName, "Named pipes cannot have an empty name", 0);
    bool available = false;
    int error = 0;
    void* connection = pipes::Connect(m_localName, available, error);
    if (!available) RaiseException("BeginUsing", ErrorFailed, "Named pipe not available: " + m_localName, error);
    LogStatus("Waited for named pipe: " + m_localName);
    if (!connection) RaiseException("BeginUsing", ErrorFailed, "Could not open the named pipe " + m_localName, error);
    m_handle = connection;
    LogDebug("NamedPipe opened: " + m_localName);
}

void NamedPipe::CeaseUsing()
{
    if (!m_handle.IsValid()) return;
    LogDebug("NamedPipe closed: " + m_localName);
    m_handle.Close();
}

int NamedPipe::Read(unsigned char* data, int size)
{
    int error = 0;
    const int n = pipes::Read(pipes::Io(m_handle), data, size, error);
    if (n < 0) RaiseException("Read", ErrorRead, "Cannot read from NamedPipe", error);
    return n;
}

int NamedPipe::Write(const unsigned char* data, int size)
{
    int error = 0;
    if (!pipes::Write(pipes::Io(m_handle), data, size, true, error))
        RaiseException("Write", ErrorWrite, "Cannot write to NamedPipe", error);
    return size;
}

bool NamedPipe::Poll(float timeout) const
{
    int error = 0;
    switch (pipes::Poll(pipes::Io(m_handle), timeout, "NamedPipe", error)) {
    case pipes::Ready::Data: return true;
    case pipes::Ready::None: return false;
    case pipes::Ready::Closed:
        // Poll is const for the transport interface; closing a pipe whose peer has gone is part of it.
        const_cast<NamedPipe*>(this)->ConnectionEnded();
        return false;
    case pipes::Ready::Failed:
        RaiseException("Poll", ErrorPeek, "PeekNamedPipe failed to determine readability of the read pipe handle",
                       error);
    }
    return false;
}

bool NamedPipe::Accept(Stream::Transport* server)
{
    auto* from = dynamic_cast<NamedPipe*>(server);
    if (!from || from == this) return false;
    CeaseUsing();
    m_name = from->m_name;
    m_localName = from->m_localName;
    m_handle = from->m_handle; // a duplicate
    from->m_handle.Close();
    pipes::Waiting(m_handle);
    from->ConnectionEnded();
    LogDebug("Accepted connection on named pipe: " + m_localName);
    return true;
}

// NamedPipeServer

NamedPipeServer::NamedPipeServer(const Path& name, bool listen)
{
    SetName(name);
    if (listen) BeginUsing();
}

NamedPipeServer::~NamedPipeServer()
{
    m_handle.Close();
    RemoveListener();
}

void NamedPipeServer::RaiseException(const String& where, int error, const String& message, int osError) const
{
    TransportException::Throw("NamedPipeServer", where, error, message, ExceptionLevel(), osError);
}

void NamedPipeServer::BeginUsing()
{
    if (m_instance) CeaseUsing();
    if (m_name.Empty()) RaiseException("BeginUsing", ErrorBadName, "Named pipes cannot have an empty name", 0);
    NewInstance();
    m_instance = true;
    m_connected = false;
    LogDebug("NamedPipe server listening on pipe: " + m_localName);
}

void NamedPipeServer::CeaseUsing()
{
    const bool listening = m_instance || m_listener.IsValid();
    m_handle.Close();
    RemoveListener();
    m_instance = m_connected = false;
    if (listening) LogDebug("NamedPipe server removed: " + m_localName);
}

bool NamedPipeServer::Poll(float timeout) const
{
    // Poll is const for the transport interface; connecting a client changes the instance.
    auto* self = const_cast<NamedPipeServer*>(this);
    if (!m_instance) return false;
    if (m_connected) return NamedPipe::Poll(timeout);
    // The time left after the client came is for its data.
    const auto start = std::chrono::steady_clock::now();
    if (!self->WaitForClient(timeout)) return false;
    const float waited = std::chrono::duration<float>(std::chrono::steady_clock::now() - start).count();
    return NamedPipe::Poll(timeout < 0 ? timeout : std::max(0.0f, timeout - waited));
}

void NamedPipeServer::Disconnect()
{
    m_handle.Close();
    m_instance = m_connected = false;
}

} // namespace dovo
