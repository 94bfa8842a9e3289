#pragma once

#include <dovo/Export.h>
#include <dovo/Path.h>
#include <dovo/Stream.h>
#include <dovo/String.h>
#include <dovo/_AutoHandle.h>

namespace dovo {

/// The client end of a named pipe, and the connection that a NamedPipeServer hands over by Accept.
///
/// A name of 1 to 90 characters becomes the local name of the endpoint: "\\.\pipe\Dovo: NAME" on
/// Windows; on POSIX a Unix-domain stream socket "Dovo: NAME" in the user's private folder
/// ($XDG_RUNTIME_DIR/dovo, else /tmp/dovo-UID, mode 0700). Either way every "/" of the name becomes
/// "\", so the name is one component. Where that socket path would not fit the system's limit of
/// 107 bytes, the end of the component is replaced by "~" and a 64-bit hash of the whole of it (both
/// ends compute the same path).
///
/// BeginUsing connects at once or fails ("Named pipe not available: "); it never waits for a busy or
/// missing listener. Reads return 0 once the other end has gone.
class DOVO_API NamedPipe : public Stream::Transport
{
public:
    /// A pipe without a name (for Accept).
    NamedPipe() = default;
    /// SetName(name, begin).
    explicit NamedPipe(const Path& name, bool begin = false);
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;
    /// Closes the handle.
    ~NamedPipe() override;

    /// Closes the pipe, checks the name (not empty, 90 characters at most) and derives the local name;
    /// with begin, then BeginUsing.
    void SetName(const Path& name, bool begin = false);
    /// Closes the pipe and forgets its names.
    void Reset();
    const Path& PipeName() const { return m_name; }
    /// The name that identifies the endpoint on this system (see above).
    const String& LocalName() const { return m_localName; }

    /// The local name.
    String GetName() override;
    /// Connects to the listener: "Named pipe not available: " when none is free now.
    void BeginUsing() override;
    void CeaseUsing() override;
    /// -1: a pipe cannot seek.
    long long Seek(long long offset, Stream::SeekMode mode) override { return -1; }
    /// One blocking read; 0 once the other end has gone.
    int Read(unsigned char* data, int size) override;
    /// Writes all of data.
    int Write(const unsigned char* data, int size) override;
    /// True when data waits within timeout seconds; an end whose peer has gone closes the transport
    /// and gives false.
    bool Poll(float timeout) const override;
    /// Takes over the connection pending on server (a NamedPipeServer): this pipe gets a duplicate of
    /// the server's handle and the server's own is closed, so that the server needs BeginUsing again.
    /// false for a server of another kind.
    bool Accept(Stream::Transport* server) override;
    bool IsUsable() const override { return m_handle.IsValid(); }
    /// 0: a pipe has no size.
    long long Size() const override { return 0; }

protected:
    /// Throws a TransportException from "NamedPipe" at this pipe's level.
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;
    /// The connection has ended: its peer has gone (Poll), or Accept took it over. Closes the pipe.
    virtual void ConnectionEnded() { CeaseUsing(); }

    Path m_name;
    String m_localName;
    /// The connection (a listening instance on a Windows server).
    _AutoHandle m_handle;
};

} // namespace dovo
