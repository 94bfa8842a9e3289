// Exception: construction, the text and HTML forms, Throw and Log.

#include <dovo/Exception.h>
#include <dovo/StaticFastMutex.h>

#include "objects/ExceptionHooks.h"
#include "objects/OSError.h"

#include <atomic>
#include <memory>

namespace dovo {

namespace {

// Plugged in by the log and the thread registry once they exist.
std::atomic<hooks::LogWriter> g_logWriter{nullptr};
std::atomic<hooks::LogDumper> g_logDumper{nullptr};
std::atomic<hooks::ThreadNamer> g_threadNamer{nullptr};
std::atomic<hooks::LogFlusher> g_logFlusher{nullptr};

// The exception-log lock: a zero-initialised static, usable before any constructor has run. Its
// first use is made here, while the library loads on one thread: threads that throw later never race
// to set it up.
StaticFastMutex g_logLock;
const bool g_logLockReady = (g_logLock.Enter(), g_logLock.Leave(), true);

// Set while this thread logs an exception: one raised meanwhile (by the log, or by the dump and its
// mailer) is not logged again. Kept per thread, since the dump runs outside the lock and other
// threads go on logging theirs.
thread_local bool t_logging = false;

class LogHold
{
public:
    LogHold() { g_logLock.Enter(); }
    ~LogHold() { g_logLock.Leave(); }
    LogHold(const LogHold&) = delete;
    LogHold& operator=(const LogHold&) = delete;
};

String Hex8(int value) { return String().AppendHex(static_cast<std::uint32_t>(value), 8, true, true); }

} // namespace

namespace hooks {
void SetExceptionLogWriter(LogWriter writer, LogDumper dumper)
{
    g_logWriter = writer;
    g_logDumper = dumper;
}

void SetThreadNamer(ThreadNamer namer) { g_threadNamer = namer; }

void SetLogFlusher(LogFlusher flusher) { g_logFlusher = flusher; }

void FlushLogs()
{
    if (const LogFlusher flusher = g_logFlusher) flusher();
}

LogWriter ExceptionLogWriter() { return g_logWriter; }

String ThreadName(std::uint64_t threadId)
{
    const ThreadNamer namer = g_threadNamer;
    return namer ? namer(threadId) : String();
}
} // namespace hooks

Exception::Exception() = default;

Exception::Exception(const String& module, const String& method, int error, const String& message, int osError,
                     const String& debugMessage, signed char level)
    // The thread's last OS error is read before the time and the thread's name are taken: on Windows
    // those calls may reset it.
    : m_module(module), m_method(method), m_error(error), m_message(message),
      m_osError(osError == -1 ? oserror::Last() : osError), m_debugMessage(debugMessage), m_level(level),
      m_when(Time::CurrentTime()), m_threadId(oserror::CurrentThreadId()), m_threadName(hooks::ThreadName(m_threadId))
{
    if (osError == -1) oserror::SetLast(0);
    if (m_debugMessage.Empty() && m_osError != 0) m_debugMessage = TranslateOSError(m_osError);
}

Exception::Exception(const _EXCEPTION_POINTERS* fault)
    : m_module("System Exception"), m_error(ErrorSystemException), m_level(1), m_when(Time::CurrentTime()),
      m_threadId(oserror::CurrentThreadId()), m_threadName(hooks::ThreadName(m_threadId))
{
    const oserror::Fault f = oserror::ReadFault(fault);
    m_osError = static_cast<int>(f.code);
    switch (f.code) {
    case 0xC0000005:
        m_message = "Access violation";
        // The address is cut to 32 bits, as the text has always shown it.
        m_debugMessage = SFormat("%s 0x%08X", f.writing ? "Writing" : "Reading", static_cast<unsigned>(f.address));
        break;
    case 0xC0000006:
        m_message = "In-Page Error";
        m_message = "System generated exception";
        m_debugMessage = "The thread tried to access a page that was not present, and the system was unable to load "
                         "the page. For example, this exception might occur if a network connection is lost while "
                         "running a program over the network.";
        break;
    case 0xC000001D: m_message = "Illegal instruction"; break;
    case 0xC000008E:
    case 0xC0000094: m_message = "Divide by zero"; break;
    case 0xC0000096: m_message = "Privileged instruction"; break;
    case 0xC00000FD: m_message = "Stack overflow"; break;
    default: m_message = "System generated exception"; break;
    }
}

Exception::Exception(const Exception&) = default;
Exception& Exception::operator=(const Exception&) = default;
Exception::~Exception() = default;

void Exception::GetOSError() { m_osError = oserror::Last(); }

void Exception::ResetOSError() { oserror::SetLast(0); }

String Exception::DisplayAsString() const
{
    String text = m_module;
    if (!m_method.Empty()) text += " Error in " + m_method;
    text += m_when.Format(" at %y/%m/%d %H:%M:%S:%F \n\tError ", true, true);
    text += Hex8(m_error);
    text += " (OS Error ";
    text += Hex8(m_osError);
    text += "): " + m_message + "\n\t";
    if (!m_debugMessage.Empty()) text += m_debugMessage + "\n\t";
    text += "Thread <";
    text.AppendUnsigned(m_threadId);
    text += ">: " + m_threadName + "\n";
    return text;
}

String Exception::DisplayAsHtml() const
{
    return "<table bgcolor=\"#ffa0a0\" border=1 cellpadding=5 cellspacing=0>\r\n<tr><td colspan=2><b>" + m_module +
           "</b></td></tr>\r\n" + HtmlRows();
}

String Exception::HtmlRows() const
{
    String html;
    if (!m_method.Empty()) html += "<tr><td colspan=2>" + m_method + "</td></tr>\r\n";
    html += "<tr><td colspan=2><font size=-1>" + m_when.Format("%y/%m/%d %H:%M:%S:%F", true, true) +
            "</font></tr></td>\r\n";
    html += "<tr><td><font size=-1>Error number</font></td><td><font size=-1><b><tt>" + Hex8(m_error) +
            "</tt></b></font></td></tr>\r\n";
    html += "<tr><td colspan=2>" + m_message + "</td></tr>\r\n";
    html += "<tr><td><font size=-2>OS Error</font></td><td><font size=-2><b><tt>" + Hex8(m_osError) +
            "</tt></font></b></td></tr>";
    if (!m_debugMessage.Empty()) html += "<tr><td colspan=2><font size=-2>" + m_debugMessage + "</font></td></tr>\r\n";
    html += "<tr><td><font size=-2><tt><b>";
    html.AppendHex(m_threadId, 4, false, false);
    html += "</b></tt></font></td><td><font size=-2><b>" + m_threadName + "</b></font></td></tr>\r\n</table>\r\n";
    return html;
}

void Exception::Throw(const String& module, const String& method, int error, const String& message, int osError,
                      const String& debugMessage, signed char level)
{
    // Should logging itself throw, the exception it was logging is not leaked.
    std::unique_ptr<Exception> e(new Exception(module, method, error, message, osError, debugMessage, level));
    Log(e.get());
    throw e.release();
}

void Exception::Log(Exception* e)
{
    if (!e || t_logging) return;
    t_logging = true;
    struct Done
    {
        ~Done() { t_logging = false; }
    } done;
    if (const hooks::LogWriter writer = g_logWriter) {
        // A subclass may override the text form: it is made before the lock is taken.
        const String text = "Exception:\n\n" + e->DisplayAsString();
        LogHold hold;
        writer(e->Level(), text);
    }
    // The dump hands the files to the dump mailer, which is user code: never under the lock.
    const hooks::LogDumper dumper = g_logDumper;
    if (dumper && e->Error() == ErrorSystemException) dumper(7, "Throwing system exception!");
}

} // namespace dovo
