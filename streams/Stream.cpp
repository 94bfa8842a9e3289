// Stream: the buffer, the status machine and the open/attach/close/detach sequences over a transport.

#include <dovo/Stream.h>

#include <dovo/FastMutex.h>
#include <dovo/Log.h>
#include <dovo/SetExceptionLevel.h>
#include <dovo/StreamException.h>
#include <dovo/TransportException.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace dovo {

namespace {
constexpr int ErrorBadState = 0x20000003;
constexpr int ErrorBadRequest = 0x20000004;
constexpr int ErrorSelectFailed = 0x2000000e;
constexpr int ErrorDataLost = 0x20000012;

constexpr const char* kStatusNames[] = {"invalid",    "initial",   "opening", "resolving", "resolved",
                                        "connecting", "connected", "binding", "bound",     "opened",
                                        "attaching",  "attached",  "reading", "writing",   "endOfStream",
                                        "end",        "closing",   "closed",  "detaching", "detached"};
} // namespace

// Transport

Stream::Transport::~Transport() = default;

void Stream::Transport::RaiseException(const String& where, int error, const String& message, int osError) const
{
    TransportException::Throw("Transport", where, error, message, m_exceptionLevel, osError);
}

bool Stream::Transport::Poll(FDSet& set, float timeout, bool read, bool write, bool except) const
{
    const int result = SPoll(set, timeout, read, write, except);
    if (result > 0) return true;
    if (result < 0) RaiseException("Poll", ErrorSelectFailed, "select failed", -1);
    return false;
}

bool Stream::Transport::Serve(Transport* client, float timeout)
{
    if (!IsUsable()) BeginUsing();
    return Poll(timeout) && client->Accept(this);
}

// FDSet

bool FDSet::Add(std::uintptr_t fd)
{
    if (Has(fd)) return true;
    if (count >= 64) return false;
    fds[count++] = fd;
    return true;
}

bool FDSet::Has(std::uintptr_t fd) const { return std::find(fds, fds + count, fd) != fds + count; }

// Stream

Stream::Guard::Guard(const Stream& stream) : m_lock(stream.m_lock)
{
    if (m_lock) m_lock->Enter();
}

Stream::Guard::~Guard()
{
    if (m_lock) m_lock->Leave();
}

Stream::Stream(int bufferSize, bool threadSafe)
{
    if (bufferSize > 0) {
        m_buffer = new unsigned char[bufferSize];
        m_capacity = bufferSize;
        m_ownsBuffer = true;
    }
    if (threadSafe) m_lock = new FastMutex;
}

Stream::Stream(unsigned char* buffer, int size, bool threadSafe)
{
    if (buffer && size > 0) {
        m_buffer = buffer;
        m_capacity = size;
    }
    if (threadSafe) m_lock = new FastMutex;
}

Stream::Stream(const Stream& other)
    : m_exceptionLevel(other.m_exceptionLevel), m_transportPos(other.m_transportPos), m_capacity(other.m_capacity),
      m_bufPos(other.m_bufPos), m_bufEnd(other.m_bufEnd), m_ownsBuffer(other.m_ownsBuffer), m_active(other.m_active),
      m_attached(other.m_attached), m_status(other.m_status), m_transport(other.m_transport), m_buffer(other.m_buffer)
{
    // An owned buffer is copied: two streams freeing one buffer would be a double free.
    if (m_ownsBuffer) {
        m_buffer = new unsigned char[m_capacity];
        std::memcpy(m_buffer, other.m_buffer, m_capacity);
    }
    if (other.m_lock) m_lock = new FastMutex;
}

Stream& Stream::operator=(const Stream& other)
{
    if (this == &other) return *this;
    unsigned char* buffer = other.m_buffer;
    if (other.m_ownsBuffer) {
        buffer = new unsigned char[other.m_capacity];
        std::memcpy(buffer, other.m_buffer, other.m_capacity);
    }
    if (m_ownsBuffer) delete[] m_buffer;
    m_buffer = buffer;
    m_exceptionLevel = other.m_exceptionLevel;
    m_transportPos = other.m_transportPos;
    m_capacity = other.m_capacity;
    m_bufPos = other.m_bufPos;
    m_bufEnd = other.m_bufEnd;
    m_ownsBuffer = other.m_ownsBuffer;
    m_active = other.m_active;
    m_attached = other.m_attached;
    m_status = other.m_status;
    m_transport = other.m_transport;
    if (other.m_lock && !m_lock) m_lock = new FastMutex;
    return *this;
}

Stream::~Stream()
{
    if (m_ownsBuffer) delete[] m_buffer;
    delete m_lock;
}

void Stream::Flush() {}

bool Stream::Active() const { return m_active; }

const char* Stream::StatusName(int status)
{
    return status >= -1 && status <= detached ? kStatusNames[status + 1] : "";
}

void Stream::Status(int status)
{
    m_status = status;
    StatusSignal.Emit(status);
}

void Stream::RaiseException(const String& where, int error, const String& message, int osError) const
{
    StreamException::Throw("Stream", where, error, message, osError, String(), m_exceptionLevel);
}

void Stream::FailIfNotActive(const char* where) const
{
    if (!m_active) RaiseException(where, ErrorBadState, String(where) + " requires an the Stream be active", 0);
    if (!m_transport || !m_transport->IsUsable())
        RaiseException(where, ErrorBadState, String(where) + " requires an active Transport", 0);
}

void Stream::FailIfNoBuffer(const char* where) const
{
    if (m_capacity == 0) RaiseException(where, ErrorBadState, String("Cannot call ") + where + " without a buffer", 0);
}

void Stream::FailIfNoTransport(const char* where) const
{
    if (!m_transport) RaiseException(where, ErrorBadState, String(where) + " requires a Transport", 0);
}

void Stream::Open()
{
    Guard guard(*this);
    Close(false);
    Status(opening);
    FailIfNoTransport("Open");
    m_transportPos = 0;
    m_transport->ExceptionLevel(m_exceptionLevel);
    m_transport->BeginUsing();
    m_active = true;
    m_attached = false;
    Status(opened);
}

void Stream::Attach(Transport* transport)
{
    Guard guard(*this);
    Close(false);
    Status(attaching);
    if (!transport || !transport->IsUsable())
        RaiseException("Attach", ErrorBadState, "Attach requires an open Transport", 0);
    m_transportPos = 0;
    m_active = true;
    m_attached = true;
    m_transport = transport;
    m_exceptionLevel = transport->ExceptionLevel();
    Status(attached);
}

void Stream::LogSwallowed(const char* text, const Exception& e) const
{
    GlobalLog(static_cast<LogLevel>(6), String(text) + "\n" + e.DisplayAsString());
}

void Stream::Close(bool noFlush)
{
    Guard guard(*this);
    if (!m_active) return;
    if (m_attached) {
        Detach(noFlush);
        return;
    }
    Status(closing);
    FailIfNoTransport("Close");
    if (!noFlush) {
        try {
            Flush();
        } catch (Exception* e) {
            std::unique_ptr<Exception> owned(e);
            LogSwallowed("Last exception caught in Stream::Close", *e);
        }
    }
    try {
        m_transport->CeaseUsing();
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        LogSwallowed("Last exception caught in Stream::Close", *e);
    }
    m_active = false;
    m_bufPos = m_bufEnd = 0;
    Status(closed);
}

Stream::Transport* Stream::Detach(bool noFlush)
{
    Guard guard(*this);
    if (!m_transport) return nullptr;
    Status(detaching);
    Transport* transport = m_transport;
    if (!noFlush) {
        try {
            Flush();
        } catch (StreamException* e) {
            std::unique_ptr<StreamException> owned(e);
            LogSwallowed("Last exception caught in Stream::Detach()", *e);
        }
    }
    m_transport = nullptr;
    m_active = false;
    m_attached = false;
    m_bufPos = m_bufEnd = 0;
    Status(detached);
    return transport;
}

long long Stream::Seek(long long offset, SeekMode mode)
{
    Guard guard(*this);
    FailIfNotActive("Seek");
    Flush();
    // Deliberate corrections, kept as they are: stored positions depend on them.
    if (mode == fromCurrent && offset < -m_transportPos) offset = m_transportPos;
    if (mode == fromBegin && offset < 0) offset = m_transportPos;

    long long result;
    if (m_capacity == 0) {
        result = m_transport->Seek(offset, mode);
        m_transportPos = result;
    } else {
        const long long base = m_transportPos - m_bufEnd;
        long long target = 0;
        switch (mode) {
        case fromBegin: target = offset; break;
        case fromCurrent: target = base + m_bufPos + offset; break;
        case fromEnd: target = m_transport->Size() - offset; break;
        default: RaiseException("Seek", ErrorBadRequest, SFormat("Unknown seek mode: %d", static_cast<int>(mode)), 0);
        }
        if (base <= target && target < m_transportPos) {
            m_bufPos = static_cast<int>(target - base);
            result = target;
        } else {
            result = m_transport->Seek(target, fromBegin);
            m_bufPos = m_bufEnd = 0;
            m_transportPos = result;
        }
    }
    if (result < 0) RaiseException("Seek", ErrorBadState, "Cannot seek in Transport", -1);
    return result;
}

int Stream::SetBufPos(int position)
{
    Guard guard(*this);
    if (m_capacity == 0) return 0;
    const int old = m_bufPos;
    m_bufPos = position < 1 ? 0 : std::min(position, m_capacity);
    return old;
}

int Stream::SetBufEnd(int end)
{
    Guard guard(*this);
    if (m_capacity == 0) return 0;
    const int old = m_bufEnd;
    m_bufEnd = end < 1 ? 0 : std::min(end, m_capacity);
    return old;
}

void Stream::SetBuffer(unsigned char* buffer, int size)
{
    Guard guard(*this);
    unsigned char* fresh = nullptr;
    bool owns = false;
    if (size > 0) {
        fresh = buffer;
        if (!fresh) fresh = new unsigned char[size], owns = true;
    }
    if (m_buffer) {
        int unconsumed = m_bufEnd - m_bufPos;
        if (unconsumed > 0) {
            if (unconsumed > m_capacity - m_bufPos) {
                Flush();
                unconsumed = std::min(m_bufEnd - m_bufPos, m_capacity - m_bufPos);
            }
            if (fresh && unconsumed > 0) std::memmove(fresh, m_buffer + m_bufPos, std::min(unconsumed, size));
            m_bufEnd = m_bufEnd - m_bufPos;
            m_bufPos = 0;
        } else {
            m_bufPos = m_bufEnd = 0;
        }
        if (m_ownsBuffer && m_buffer != fresh) delete[] m_buffer;
    }
    m_buffer = fresh;
    m_capacity = fresh ? size : 0;
    m_ownsBuffer = owns;
    if (m_bufEnd <= m_capacity) {
        BufferSignal.Emit();
        return;
    }
    m_bufPos = std::min(m_bufPos, m_capacity);
    m_bufEnd = m_capacity;
    StreamException::Throw("Stream", "SetBuffer", ErrorDataLost, "Buffer size change resulted in loss of data", 0,
                           "Buffer contents have been restored as much as possible, and buffer positions have been "
                           "clipped to the new buffer end.",
                           1);
}

void Stream::FreeBuffer()
{
    Guard guard(*this);
    if (!m_buffer) return;
    Flush();
    if (m_ownsBuffer) delete[] m_buffer;
    m_buffer = nullptr;
    m_capacity = m_bufPos = m_bufEnd = 0;
    m_ownsBuffer = false;
    BufferSignal.Emit();
}

String Stream::DisplayBuffer(const String& caller, int span, int group) const
{
    Guard guard(*this);
    FailIfNoBuffer(("DumpBuffer called by " + caller).c_str());
    String text;
    for (int i = -span; i < span; ++i) {
        if (i == 0) text += group > 0 ? "<:> " : " <:> ";
        const long long index = static_cast<long long>(m_bufPos) + i;
        if (index < 0 || index >= m_capacity) text += 'X';
        else text += static_cast<signed char>(m_buffer[index]) < 32 ? '.' : static_cast<char>(m_buffer[index]);
        if (group >= 1 && (i + 1) % group == 0) text += ' ';
    }
    return text;
}

// SetExceptionLevel

SetExceptionLevel::SetExceptionLevel(Stream* stream, signed char level)
    : m_target(stream), m_isStream(true), m_oldLevel(stream->ExceptionLevel())
{
    stream->ExceptionLevel(level);
    if (Stream::Transport* transport = stream->_Transport()) transport->ExceptionLevel(level);
}

SetExceptionLevel::SetExceptionLevel(Stream::Transport* transport, signed char level)
    : m_target(transport), m_isStream(false), m_oldLevel(transport->ExceptionLevel())
{
    transport->ExceptionLevel(level);
}

SetExceptionLevel::~SetExceptionLevel()
{
    if (m_isStream) {
        auto* stream = static_cast<Stream*>(m_target);
        stream->ExceptionLevel(m_oldLevel);
        if (Stream::Transport* transport = stream->_Transport()) transport->ExceptionLevel(m_oldLevel);
    } else static_cast<Stream::Transport*>(m_target)->ExceptionLevel(m_oldLevel);
}

} // namespace dovo
