// The exception subclasses: their constructors, Throws and display differences.

#include <dovo/FileException.h>
#include <dovo/ProcessException.h>
#include <dovo/SocketException.h>
#include <dovo/StreamException.h>
#include <dovo/SyncException.h>
#include <dovo/TransportException.h>
#include <dovo/WeakPointerException.h>

#include "objects/OSError.h"

#include <memory>

namespace dovo {

namespace {
// Every Throw: log the exception made on the heap, then throw the pointer with its own type.
template <typename E>
[[noreturn]] void LogAndThrow(E* e)
{
    std::unique_ptr<E> owned(e);
    Exception::Log(e);
    throw owned.release();
}

// "<table ...><tr>module</tr>" as the base writes it, so that a subclass can add its row after it.
String HtmlHead(const String& module)
{
    return "<table bgcolor=\"#ffa0a0\" border=1 cellpadding=5 cellspacing=0>\r\n<tr><td colspan=2><b>" + module +
           "</b></td></tr>\r\n";
}
} // namespace

FileException::FileException(const Path& file, const String& module, const String& method, int error,
                             const String& message, signed char level, int osError)
    : Exception(module, method, error, message, osError, String(), level), m_file(file)
{
}

FileException::~FileException() = default;

void FileException::Throw(const Path& file, const String& module, const String& method, int error,
                          const String& message, signed char level, int osError)
{
    LogAndThrow(new FileException(file, module, method, error, message, level, osError));
}

String FileException::DisplayAsString() const
{
    // Differs from the base on purpose: a point before the milliseconds, the file line, the OS error
    // in decimal and the thread in hexadecimal.
    String text = Module();
    if (!Method().Empty()) text += " Error in " + Method();
    text += When().Format(" at %y/%m/%d %H:%M:%S.%F\n\tFile: ", true, true);
    text += m_file.Text() + "\n\tError ";
    text.AppendHex(static_cast<std::uint32_t>(Error()), 8, true, true);
    text += " (OS Error ";
    text.AppendSigned(OSError());
    text += "): " + Message() + "\n\t";
    if (!DebugMessage().Empty()) text += DebugMessage() + "\n\t";
    text += "Thread <";
    text.AppendHex(ThreadID(), 4, false, false);
    text += ">: " + ThreadName() + "\n";
    return text;
}

String FileException::DisplayAsHtml() const
{
    return HtmlHead(Module()) + "<tr><td colspan=2><tt>" + m_file.Text() + "</tt></td></tr>\r\n" + HtmlRows();
}

SocketException::SocketException(const IPPeer& peer, const String& module, const String& method, int error,
                                 const String& message, signed char level, int osError)
    : Exception(module, method, error, message, osError, String(), level), m_peer(peer),
      m_peerText(m_peer.PeerAsString())
{
}

SocketException::SocketException(const String& peer, const String& module, const String& method, int error,
                                 const String& message, signed char level, int osError)
    : Exception(module, method, error, message, osError, String(), level), m_peerText(peer)
{
}

SocketException::~SocketException() = default;

void SocketException::Throw(const IPPeer& peer, const String& module, const String& method, int error,
                            const String& message, signed char level, int osError)
{
    LogAndThrow(new SocketException(peer, module, method, error, message, level, osError));
}

void SocketException::Throw(const String& peer, const String& module, const String& method, int error,
                            const String& message, signed char level, int osError)
{
    LogAndThrow(new SocketException(peer, module, method, error, message, level, osError));
}

// The socket layer keeps its own last error.
void SocketException::GetOSError() { SetOSError(oserror::LastSocket()); }

String SocketException::DisplayAsString() const
{
    String text = Exception::DisplayAsString();
    text.Erase(static_cast<std::size_t>(text.Length() - 1)); // the final line feed comes after the peer
    return text + "\n\tConnected to: " + m_peerText + "\n";
}

String SocketException::DisplayAsHtml() const
{
    return HtmlHead(Module()) + "<tr><td colspan=2>Connected to <b>" + m_peerText + "</b></td></tr>\r\n" + HtmlRows();
}

#define DOVO_PLAIN_EXCEPTION(Name, Params, Args, BaseArgs)                                                             \
    Name::Name Params : Exception BaseArgs {}                                                                          \
    Name::~Name() = default;                                                                                           \
    void Name::Throw Params { LogAndThrow(new Name Args); }

DOVO_PLAIN_EXCEPTION(StreamException,
                     (const String& module, const String& method, int error, const String& message, int osError,
                      const String& debugMessage, signed char level),
                     (module, method, error, message, osError, debugMessage, level),
                     (module, method, error, message, osError, debugMessage, level))
DOVO_PLAIN_EXCEPTION(TransportException,
                     (const String& module, const String& method, int error, const String& message, signed char level,
                      int osError),
                     (module, method, error, message, level, osError),
                     (module, method, error, message, osError, String(), level))
DOVO_PLAIN_EXCEPTION(ProcessException,
                     (const String& module, const String& method, int error, const String& message, int osError,
                      const String& debugMessage, signed char level),
                     (module, method, error, message, osError, debugMessage, level),
                     (module, method, error, message, osError, debugMessage, level))
DOVO_PLAIN_EXCEPTION(SyncException,
                     (const String& module, const String& method, int error, const String& message, int osError,
                      const String& debugMessage),
                     (module, method, error, message, osError, debugMessage),
                     (module, method, error, message, osError, debugMessage, 1))
DOVO_PLAIN_EXCEPTION(WeakPointerException,
                     (const String& module, const String& method, int error, const String& message),
                     (module, method, error, message), (module, method, error, message, -1, String(), 1))

} // namespace dovo
