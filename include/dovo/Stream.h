#pragma once

#include <dovo/Export.h>
#include <dovo/Signal.h>
#include <dovo/String.h>
#include <dovo/ThreadPolicy.h>

#include <cstdint>

namespace dovo {

class FastMutex;

/// Up to 64 descriptors (sockets, pipes) whose readiness SPoll waits for. After the wait the set holds
/// the ones that are ready.
struct DOVO_API FDSet
{
    unsigned int count = 0;
    std::uintptr_t fds[64] = {};

    /// Adds a descriptor; false when the set is full. A descriptor already there is not added again.
    bool Add(std::uintptr_t fd);
    bool Has(std::uintptr_t fd) const;
    void Clear() { count = 0; }
};

/// Waits until a descriptor of the set is ready for reading, writing or has an exceptional condition
/// (each as asked), for timeout seconds (negative: for ever). Returns the number of readiness events
/// (0 on time-out, negative on failure) and leaves in the set the descriptors that are ready.
DOVO_API int SPoll(FDSet& set, float timeout, bool read, bool write, bool except);

/// A byte buffer with a status over an exchangeable transport: the base of InStream and OutStream.
///
/// A stream either opens a transport it was given (Open, and Close calls the transport's CeaseUsing),
/// or attaches to one somebody else opened (Attach, and Close only detaches). Every status change
/// goes through Status() and is emitted to the status signal's observers. A stream built thread-safe
/// holds a recursive lock around its open/close/seek/buffer operations; reading and writing values
/// take no lock: one thread reads or writes a stream at a time.
class DOVO_API Stream
{
public:
    enum SeekMode { fromBegin = 0, fromCurrent = 1, fromEnd = 2 };
    /// Line ends for text: eolLF writes 10 alone, eolAsIs writes the text untranslated, any other value
    /// writes 13 10.
    enum eolType { eolAsIs = -1, eolCRLF = 0, eolLF = 2 };
    enum StatusValue {
        invalid = -1,
        initial,
        opening,
        resolving,
        resolved,
        connecting,
        connected,
        binding,
        bound,
        opened,
        attaching,
        attached,
        reading,
        writing,
        endOfStream,
        end,
        closing,
        closed,
        detaching,
        detached,
    };

    /// Moves bytes to and from one kind of endpoint (a file, a memory block, a pipe, a socket).
    /// Transports are shared as SmartHandle<Stream::Transport>.
    class DOVO_API Transport
    {
    public:
        Transport() = default;
        virtual ~Transport();
        /// A readable name of the endpoint (a path, a peer).
        virtual String GetName() = 0;
        /// Opens or connects the endpoint.
        virtual void BeginUsing() = 0;
        /// Closes or disconnects it.
        virtual void CeaseUsing() = 0;
        /// The new absolute position, or a negative value when the endpoint cannot seek.
        virtual long long Seek(long long offset, SeekMode mode) = 0;
        /// Bytes read; 0 at the end of the data.
        virtual int Read(unsigned char* data, int size) = 0;
        virtual int Write(const unsigned char* data, int size) = 0;
        /// True when data can be read within timeout seconds.
        virtual bool Poll(float timeout) const = 0;
        /// Makes this fresh transport the server side of a connection pending on server.
        virtual bool Accept(Transport* server) = 0;
        /// True between a successful BeginUsing and CeaseUsing.
        virtual bool IsUsable() const = 0;
        /// The size of the endpoint's data.
        virtual long long Size() const = 0;

        signed char ExceptionLevel() const { return m_exceptionLevel; }
        void ExceptionLevel(signed char level) { m_exceptionLevel = level; }
        /// Begins using this (listening) transport if needed; when a connection is pending within
        /// timeout seconds, hands it to client (client->Accept(this)).
        bool Serve(Transport* client, float timeout);

    protected:
        /// Throws a TransportException from "Transport" at this transport's level.
        [[noreturn]] virtual void RaiseException(const String& where, int error, const String& message,
                                                 int osError) const;
        /// SPoll for socket-like transports; a failed wait raises "select failed" (0x2000000e).
        bool Poll(FDSet& set, float timeout, bool read, bool write, bool except) const;

    private:
        signed char m_exceptionLevel = 1;
    };

    /// An owned buffer of bufferSize bytes (none for 0).
    explicit Stream(int bufferSize = 0, bool threadSafe = false);
    /// The caller's buffer, not owned.
    Stream(unsigned char* buffer, int size, bool threadSafe = false);
    /// Copies the fields; the transport is shared as a plain pointer, a buffer the original owns is
    /// copied into one of this stream's own.
    Stream(const Stream& other);
    Stream& operator=(const Stream& other);
    virtual ~Stream();

    /// Writes out what is buffered (nothing here; OutStream writes its buffer).
    virtual void Flush();
    /// Closes, then opens the stream's transport (BeginUsing).
    virtual void Open();
    /// Closes, then uses a transport that is already open; the stream takes the transport's level.
    virtual void Attach(Transport* transport);
    /// Closes the transport (or detaches from an attached one) after flushing unless noFlush.
    virtual void Close(bool noFlush = false);
    /// Leaves the transport to the caller without closing it; returns it (null when there was none).
    virtual Transport* Detach(bool noFlush = false);
    /// The new absolute position.
    virtual long long Seek(long long offset, SeekMode mode);
    virtual bool Active() const;

    long long SeekToBegin() { return Seek(0, fromBegin); }
    long long SeekToEnd() { return Seek(0, fromEnd); }
    /// The transport position: just after the last byte the buffer holds from it (or handed to it).
    long long AbsolutePos() const { return m_transportPos; }
    int GetBufPos() const { return m_bufPos; }
    int GetBufEnd() const { return m_bufEnd; }
    /// Set clamped to 0..capacity; return the old value (0, and nothing changes, without a buffer).
    int SetBufPos(int position);
    int SetBufEnd(int end);
    /// Replaces the buffer (the caller's memory when buffer is not null, else an owned one; none for a
    /// size of 0), keeping unconsumed bytes. Raises 0x20000012 when they do not fit.
    void SetBuffer(unsigned char* buffer, int size);
    /// The bytes around the buffer position, for diagnostics: "X" outside the buffer, "." for control
    /// and high bytes, "<:>" at the position, a space after every group bytes.
    String DisplayBuffer(const String& caller, int span, int group) const;
    int BufferCapacity() const { return m_capacity; }
    int GetStatus() const { return m_status; }
    /// The status's name ("invalid", "opened", ...).
    static const char* StatusName(int status);

    signed char ExceptionLevel() const { return m_exceptionLevel; }
    void ExceptionLevel(signed char level) { m_exceptionLevel = level; }

    void FailIfNotActive(const char* where) const;
    void FailIfNoBuffer(const char* where) const;
    void FailIfNoTransport(const char* where) const;

    /// Emitted with each new status.
    Signal1<int, ThreadPolicy::LocalThreaded> StatusSignal;
    /// Emitted when the buffer is replaced or freed.
    Signal0<ThreadPolicy::LocalThreaded> BufferSignal;

protected:
    /// Stores the status and tells the observers.
    virtual void Status(int status);
    /// Throws a StreamException from "Stream" at this stream's level.
    [[noreturn]] virtual void RaiseException(const String& where, int error, const String& message, int osError) const;

    Transport* _Transport() const { return m_transport; }
    void _Transport(Transport* transport) { m_transport = transport; }
    unsigned char* _Buffer() const { return m_buffer; }
    void ResetBuffer() { m_bufPos = m_bufEnd = 0; }
    /// Flushes and frees the buffer.
    void FreeBuffer();

    /// Holds the stream's lock (when it has one) for a scope.
    class Guard
    {
    public:
        explicit Guard(const Stream& stream);
        ~Guard();
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        FastMutex* m_lock;
    };

    // Kept in this order: the members that the reading and writing paths touch come together.
    signed char m_exceptionLevel = 1;
    long long m_transportPos = 0;
    int m_capacity = 0;
    int m_bufPos = 0;
    int m_bufEnd = 0;
    bool m_ownsBuffer = false;
    bool m_active = false;
    bool m_attached = false;
    int m_status = -1;
    FastMutex* m_lock = nullptr;
    Transport* m_transport = nullptr;
    unsigned char* m_buffer = nullptr;

private:
    friend class SetExceptionLevel;

    void LogSwallowed(const char* text, const class Exception& e) const;
};

} // namespace dovo
