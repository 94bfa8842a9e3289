#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>
#include <dovo/Time.h>

#include <cstdint>

struct _EXCEPTION_POINTERS;

namespace dovo {

/// Library error numbers: 0x20000000 plus a small index.
enum : int {
    ErrorSystemException = 0x20000001, ///< a processor fault turned into an exception
};

/// A failure: which class and operation failed, the library error number, a message, the OS error and
/// its text, the level it is logged at, when and on which thread.
///
/// Exceptions travel as pointers to heap objects: `Throw` logs the exception and throws the pointer;
/// the handler that catches it deletes it (`std::unique_ptr<Exception> owned(e);`).
///
/// Every class that can fail raises through one protected member of its own,
///
///     [[noreturn]] virtual void RaiseException(const String& method, int error, const String& message,
///                                              int osError) const;
///
/// which throws the class's exception type with the class's name as module ("File", "Socket", ...), the
/// object's current exception level, and the object's identity where it has one (a file's path, a
/// socket's peer). An osError of -1 takes the thread's last OS error at that moment. Subclasses override
/// it to name themselves.
class DOVO_API Exception
{
public:
    /// All fields empty or zero.
    Exception();
    /// From a processor fault: module "System Exception", error 0x20000001, the fault code as OS error.
    explicit Exception(const _EXCEPTION_POINTERS* fault);
    Exception(const Exception&);
    Exception& operator=(const Exception&);
    virtual ~Exception();

    /// Stores the calling thread's last OS error into the OS error field.
    virtual void GetOSError();
    /// Sets the calling thread's last OS error to 0.
    virtual void ResetOSError();
    /// Four lines: module, method and time; the error numbers and message; the debug message; the thread.
    virtual String DisplayAsString() const;
    /// The same as an HTML table.
    virtual String DisplayAsHtml() const;

    const String& Module() const { return m_module; }
    const String& Method() const { return m_method; }
    int Error() const { return m_error; }
    const String& Message() const { return m_message; }
    int OSError() const { return m_osError; }
    const String& DebugMessage() const { return m_debugMessage; }
    signed char Level() const { return m_level; }
    const Time& When() const { return m_when; }
    std::uint64_t ThreadID() const { return m_threadId; }
    const String& ThreadName() const { return m_threadName; }

    /// Makes the exception on the heap, logs it and throws the pointer. An osError of -1 takes the
    /// thread's last OS error (and resets it).
    [[noreturn]] static void Throw(const String& module, const String& method, int error, const String& message,
                                   int osError, const String& debugMessage, signed char level);
    /// The operating system's text for an error code; empty when it has none.
    static String TranslateOSError(int code);
    /// Writes the exception to the global log at its level (nothing while no log exists, and nothing
    /// for an exception raised while another is being logged).
    static void Log(Exception* e);

protected:
    Exception(const String& module, const String& method, int error, const String& message, int osError,
              const String& debugMessage, signed char level);

    /// The part of DisplayAsHtml after the module row; subclasses insert their rows before it.
    String HtmlRows() const;
    void SetOSError(int code) { m_osError = code; }

private:
    static void Startup() {}
    static void Cleanup() {}

    String m_module;
    String m_method;
    int m_error = 0;
    String m_message;
    int m_osError = 0;
    String m_debugMessage;
    signed char m_level = 0;
    Time m_when;
    std::uint64_t m_threadId = 0;
    String m_threadName;
};

} // namespace dovo
