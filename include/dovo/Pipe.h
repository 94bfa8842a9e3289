#pragma once

#include <dovo/Export.h>
#include <dovo/Stream.h>
#include <dovo/String.h>

#include <cstdint>

namespace dovo {

/// An anonymous pipe as a transport: a read end and a write end, each with a flag that says whether
/// the pipe closes it. BeginUsing makes a new pipe and owns both ends; SetReadHandle and
/// SetWriteHandle install existing ends instead (a child process's standard streams, say).
///
/// Handles are the system's own on Windows. On POSIX a handle carries a file descriptor as the
/// descriptor plus one (DescriptorHandle, HandleDescriptor), so that descriptor 0 is a handle too and
/// a null handle always means "none".
///
/// Reading a pipe whose writers have all gone gives 0 bytes, never an exception; Poll then says
/// "Pipe has closed." and closes the transport.
class DOVO_API Pipe : public Stream::Transport
{
public:
    Pipe() = default;
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    /// Closes the ends the pipe owns.
    ~Pipe() override;

    /// "Pipe".
    String GetName() override;
    /// Closes the ends held, then creates a new pipe (close-on-exec on POSIX) and owns both ends.
    void BeginUsing() override;
    /// Closes the owned ends and forgets both.
    void CeaseUsing() override;
    /// -1: a pipe cannot seek.
    long long Seek(long long offset, Stream::SeekMode mode) override { return -1; }
    /// One blocking read from the read end; 0 once every writer has gone.
    int Read(unsigned char* data, int size) override;
    /// Writes all of data to the write end (never raises SIGPIPE on POSIX).
    int Write(const unsigned char* data, int size) override;
    /// True when data waits at the read end within timeout seconds. An end whose writers have gone
    /// closes the transport and gives false.
    bool Poll(float timeout) const override;
    /// false: an anonymous pipe has no connections to accept.
    bool Accept(Stream::Transport* server) override { return false; }
    /// While either end is held.
    bool IsUsable() const override { return m_read != nullptr || m_write != nullptr; }
    /// 0: a pipe has no size.
    long long Size() const override { return 0; }

    /// Installs an existing read end (closing the owned one held); own: the pipe closes it.
    void SetReadHandle(void* handle, bool own);
    void SetWriteHandle(void* handle, bool own);
    void* GetReadHandle() const { return m_read; }
    void* GetWriteHandle() const { return m_write; }
    bool OwnsReadHandle() const { return m_ownsRead; }
    bool OwnsWriteHandle() const { return m_ownsWrite; }
    /// Closes the read end if owned and forgets it (after handing it to a child process, say).
    void CloseReadHandle();
    void CloseWriteHandle();

    /// POSIX: the handle that carries a descriptor (descriptor + 1), and the descriptor of a handle
    /// (-1 for none).
    static void* DescriptorHandle(int fd) { return reinterpret_cast<void*>(static_cast<std::intptr_t>(fd) + 1); }
    static int HandleDescriptor(void* handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1); }

protected:
    /// Throws a TransportException from "Pipe" at this pipe's level.
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;

private:
    void* m_read = nullptr;
    void* m_write = nullptr;
    bool m_ownsRead = false;
    bool m_ownsWrite = false;
};

} // namespace dovo
