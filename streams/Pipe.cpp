// Pipe: an anonymous pipe as a transport; and the polling steps that Pipe and NamedPipe share.

#include <dovo/Log.h>
#include <dovo/Pipe.h>
#include <dovo/TransportException.h>

#include "streams/PipeSystem.h"

namespace dovo {

namespace {
constexpr int ErrorFailed = 0x20000008;
constexpr int ErrorRead = 0x2000000A;
constexpr int ErrorWrite = 0x2000000B;
constexpr int ErrorPeek = 0x2000000D;
} // namespace

pipes::Ready pipes::Poll(void* handle, float seconds, const char* what, int& error)
{
    switch (Wait(handle, seconds, error)) {
    case Peek::Data: return Ready::Data;
    case Peek::Empty: return Ready::None;
    case Peek::InvalidFunction:
        LogDebug(String("PeekNamedPipe returned Invalid Function. ") + what + " has closed.");
        return Ready::Closed;
    case Peek::BrokenPipe:
        LogDebug(String("PeekNamedPipe returned Broken Pipe. ") + what + " has closed.");
        return Ready::Closed;
    case Peek::Failed: break;
    }
    return Ready::Failed;
}

Pipe::~Pipe()
{
    if (m_ownsRead) pipes::Close(m_read);
    if (m_ownsWrite) pipes::Close(m_write);
}

void Pipe::RaiseException(const String& where, int error, const String& message, int osError) const
{
    TransportException::Throw("Pipe", where, error, message, ExceptionLevel(), osError);
}

String Pipe::GetName() { return "Pipe"; }

void Pipe::BeginUsing()
{
    CeaseUsing();
    void* read = nullptr;
    void* write = nullptr;
    if (!pipes::Create(read, write))
        RaiseException("BeginUsing", ErrorFailed, "CreatePipe failed to create Windows pipe object", -1);
    SetReadHandle(read, true);
    SetWriteHandle(write, true);
}

void Pipe::CeaseUsing()
{
    CloseReadHandle();
    CloseWriteHandle();
}

void Pipe::SetReadHandle(void* handle, bool own)
{
    if (handle != m_read) CloseReadHandle();
    m_read = handle;
    m_ownsRead = own && handle;
}

void Pipe::SetWriteHandle(void* handle, bool own)
{
    if (handle != m_write) CloseWriteHandle();
    m_write = handle;
    m_ownsWrite = own && handle;
}

void Pipe::CloseReadHandle()
{
    if (m_ownsRead) pipes::Close(m_read);
    m_read = nullptr;
    m_ownsRead = false;
}

void Pipe::CloseWriteHandle()
{
    if (m_ownsWrite) pipes::Close(m_write);
    m_write = nullptr;
    m_ownsWrite = false;
}

int Pipe::Read(unsigned char* data, int size)
{
    int error = 0;
    const int n = pipes::Read(m_read, data, size, error);
    if (n < 0) RaiseException("Read", ErrorRead, "Cannot read from Pipe", error);
    return n;
}

int Pipe::Write(const unsigned char* data, int size)
{
    int error = 0;
    if (!pipes::Write(m_write, data, size, false, error))
        RaiseException("Write", ErrorWrite, "Cannot write to Pipe", error);
    return size;
}

bool Pipe::Poll(float timeout) const
{
    int error = 0;
    switch (pipes::Poll(m_read, timeout, "Pipe", error)) {
    case pipes::Ready::Data: return true;
    case pipes::Ready::None: return false;
    case pipes::Ready::Closed:
        // Poll is const for the transport interface; closing a pipe that has gone is part of it.
        const_cast<Pipe*>(this)->CeaseUsing();
        return false;
    case pipes::Ready::Failed:
        RaiseException("Poll", ErrorPeek, "PeekNamedPipe failed to determine readability of the read pipe handle",
                       error);
    }
    return false;
}

} // namespace dovo
