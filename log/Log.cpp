// Log: items written as lines to an appended file and kept in memory; the global log and its free
// functions; trace output.

#include <dovo/Exception.h>
#include <dovo/File.h>
#include <dovo/Log.h>
#include <dovo/Platform.h>

#include "log/LogFile.h"
#include "objects/ExceptionHooks.h"
#include "threads/Kernel.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <set>

namespace dovo {

namespace {

constexpr int kWriteAttempts = 999;

// Every living log, for statistics and dumps. Never destroyed: logs held by statics (the global log
// above all) go at exit in no fixed order with this.
Mutex& LivingLock()
{
    static Mutex* lock = new Mutex;
    return *lock;
}
std::set<Log*>& Living()
{
    static auto* logs = new std::set<Log*>;
    return *logs;
}

class Hold
{
public:
    explicit Hold(Mutex& m) : m_mutex(m) { m_mutex.Enter(); }
    ~Hold() { m_mutex.Leave(); }

private:
    Mutex& m_mutex;
};

// The exception machinery writes through the global log once it exists.
void WriteException(signed char level, const String& text) { GlobalLog(static_cast<LogLevel>(level), text); }
void DumpAllLogs(signed char level, const String& heading)
{
    Log::DumpAll("<h1>" + heading + "</h1>", static_cast<LogLevel>(level));
}

} // namespace

SmartHandle<Log> Log::s_GlobalLog;

Log::Log(LogLevel displayLevel, LogLevel fileLevel) : m_fileLevel(fileLevel), m_displayLevel(displayLevel)
{
    m_keepInMemory = true; // with no file, memory is the only place its items go
    _ConstructLog();
    DoLog(Info, SFormat("Starting Log %08X", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this))));
    DoLog(Info, "Log Created");
}

Log::Log(const Path& file, LogLevel displayLevel, LogLevel fileLevel, bool keepInMemory)
    : m_file(file), m_fileLevel(fileLevel), m_displayLevel(displayLevel), m_keepInMemory(keepInMemory)
{
    _ConstructLog();
    DoLog(Info, SFormat("Starting Log with file %08X", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this))));
    DoLog(Info, "Log Created");
}

void Log::_ConstructLog()
{
    Hold hold(LivingLock());
    Living().insert(this);
}

Log::~Log()
{
    // The global log going (at exit): exceptions from now on have nowhere to be written.
    if (s_GlobalLog.Get() == this) hooks::SetExceptionLogWriter(nullptr, nullptr);
    {
        Hold hold(LivingLock());
        Living().erase(this);
    }
    _CloseDescriptor();
    while (m_head) _Pop();
}

void Log::DoLog(LogLevel level, const String& text)
{
    if (level < 0 || text.Empty()) return;
    {
        Hold hold(m_lock);
        if (!m_keepInMemory) {
            // Not kept: the line is written straight from the caller's text, no item is made.
            if (level <= m_fileLevel && !m_file.Empty()) {
                const std::uint32_t id = kernel::CurrentThreadId();
                thread_local std::string line;
                line.clear();
                LogItem::AppendLine(line, level, Time::CurrentTime(), id, hooks::ThreadName(id), text);
                WriteLine(line);
            }
            return;
        }
    }
    auto* item = new LogItem(level, text);
    if (DisplayAndSaveItem(item)) delete item;
}

bool Log::DisplayAndSaveItem(LogItem* item)
{
    Hold hold(m_lock);
    if (item->level <= m_fileLevel && !m_file.Empty()) {
        thread_local std::string line;
        line.clear();
        item->AppendLine(line);
        WriteLine(line);
    }
    if (!m_keepInMemory) return true;
    // (A lowered limit shrinks the list as the next item comes.)
    while (m_memoryLimit > 0 && m_itemCount >= static_cast<unsigned>(m_memoryLimit)) _Pop();
    item->next = nullptr;
    (m_tail ? m_tail->next : m_head) = item;
    m_tail = item;
    ++m_itemCount;
    return false;
}

void Log::WriteLine(const std::string& line)
{
    // Appended and retried: a file that cannot be opened or written now may be at the next attempt
    // (another process holding it for a moment); a log never fails its caller, and after the last
    // attempt the line is only where the log keeps its items.
    for (int attempt = 0; attempt < kWriteAttempts; ++attempt) {
        if (!m_handle) m_handle = logfile::OpenAppend(m_file.c_str());
        if (m_handle && logfile::Write(m_handle, line.data(), line.size())) return;
        _CloseDescriptor();
    }
}

void Log::_CloseDescriptor()
{
    Hold hold(m_lock);
    if (m_handle) logfile::Close(m_handle);
    m_handle = nullptr;
}

void Log::_Pop()
{
    LogItem* oldest = m_head;
    if (!oldest) return;
    m_head = oldest->next;
    if (!m_head) m_tail = nullptr;
    --m_itemCount;
    delete oldest;
}

unsigned Log::ItemCount() const
{
    Hold hold(m_lock);
    return m_itemCount;
}

void Log::KeepLogInMemory(bool keep)
{
    if (keep) {
        m_keepInMemory = true;
        DoLog(Info, "Setting Log to stay in memory");
        return;
    }
    if (m_file.Empty()) {
        Exception::Throw("Log", "KeepLogInMemory", 0x20000003,
                         "Cannot set log not to stay in memory without a valid output file", 0, String(), 1);
    }
    m_keepInMemory = false;
    DoLog(Debug, "Setting Log to not stay in memory");
}

namespace {
bool FileExists(const Path& path)
{
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f) std::fclose(f);
    return f != nullptr;
}
} // namespace

void Log::SetFile(const Path& file, LogLevel level, bool keepExisting)
{
    String note;
    {
        Hold hold(m_lock);
        _CloseDescriptor();
        if (!keepExisting && FileExists(file)) {
            // The file in use is set aside as "<name>_old<.ext>", replacing an older one.
            const String extension = file.Extension();
            const Path old =
                file.Branch() / Path(file.BaseName() + "_old" + (extension.Empty() ? "" : "." + extension));
            if (FileExists(old) && std::remove(old.c_str()) != 0)
                note += "\n\tCould not removeold log file: " + old.Text();
            else if (std::rename(file.c_str(), old.c_str()) == 0) note += "\n\terased old file: " + old.Text();
        }
        m_file = file;
        m_fileLevel = level;
    }
    DoLog(Info, "Setting Log file to " + file.Text() + SFormat(" (level %d)", static_cast<int>(level)) + note);
    // An empty path: the log stops writing to a file (a process that only ran a service word).
    if (file.Empty()) return;
    {
        Hold hold(m_lock);
        if (!m_handle) m_handle = logfile::OpenAppend(m_file.c_str());
    }
    if (!m_handle) DoLog(Error, "Could not open log file to save: " + file.Text());
    if (const char* find = std::getenv("VARNEL_FIND_LOG")) {
        // Tools that look for a program's log read its path from here.
        FILE* out = std::fopen(find, "a");
        if (!out || std::fprintf(out, "%s\n", file.c_str()) < 0)
            DoLog(Warning, SFormat("Could not write to VARNEL_FIND_LOG (%d): ", errno) + find);
        if (out) std::fclose(out);
    }
}

namespace {
Mutex& FolderLock()
{
    static Mutex* lock = new Mutex;
    return *lock;
}
Path& Folder()
{
    static auto* folder = new Path;
    return *folder;
}
std::atomic<Log::DumpMailer> g_mailer{nullptr};
} // namespace

void Log::SetLogFolder(const Path& folder)
{
    Hold hold(FolderLock());
    Folder() = folder;
}

Path Log::LogFolder()
{
    Hold hold(FolderLock());
    return Folder().Empty() ? File::GetUserDir() : Folder();
}

void Log::SetDumpMailer(DumpMailer mailer) { g_mailer = mailer; }

Path Log::Dump(LogLevel level)
{
    if (ItemCount() == 0) return Path();
    Path base;
    if (!m_file.Empty()) base = m_file.Branch() / Path(m_file.BaseName());
    else base = LogFolder() / Path(m_name.Empty() ? String("PrivateLog") : Path::MakeSafe(m_name));
    String name = base.Text();
    if (s_GlobalLog.Get() == this) name += "_GlobalLog";
    const Path dump(name + "_Dump.log");
    FILE* out = std::fopen(dump.c_str(), "w");
    if (!out) return Path();
    _SaveToFile(out, level, true);
    std::fclose(out);
    return dump;
}

void Log::DumpAll(const String& html, LogLevel level)
{
    GlobalLog(Info, ">>>>>>>> Dumping All Logs <<<<<<<<");
    std::vector<Log*> logs;
    {
        Hold hold(LivingLock());
        logs.assign(Living().begin(), Living().end());
    }
    std::vector<Path> dumps;
    for (Log* log : logs) {
        const Path dump = log->Dump(level);
        if (!dump.Empty()) dumps.push_back(dump);
    }
    if (const DumpMailer mailer = g_mailer) mailer(dumps, html);
}

void Log::_SaveToFile(FILE* file, LogLevel level, bool header)
{
    if (!file) return;
    Hold hold(m_lock);
    if (header)
        std::fprintf(file, "Log Dump %s:\n\tLog Name: %s\n\n",
                     Time::CurrentTime().Format("%Y/%m/%d %H:%M:%S.%F", true).c_str(),
                     m_name.Empty() ? "Unnamed" : m_name.c_str());
    std::fprintf(file, "%s on %s - %s (PID %u) started %s by user %s\n%s\n%s\n\n", File::ApplicationName().c_str(),
                 Platform::ComputerName().c_str(), Platform::RunningAsService() ? "Service" : "Normal App",
                 Platform::ProcessId(), File::StartTime().Format("%Y/%m/%d %H:%M:%S.%F", true).c_str(),
                 Platform::UserName().c_str(), Platform::VersionBanner().c_str(), m_file.c_str());
    std::string line;
    for (const LogItem* item = m_head; item; item = item->next) {
        if (item->level > level) continue;
        line.clear();
        item->AppendLine(line);
        std::fwrite(line.data(), 1, line.size(), file);
    }
}

Log::SetLevels::SetLevels(Log& log, LogLevel display, LogLevel file) : SetLevels(&log, display, file) {}

Log::SetLevels::SetLevels(Log* log, LogLevel display, LogLevel file)
    : m_log(log), m_oldDisplay(log ? log->DisplayLevel() : Info), m_oldFile(log ? log->FileLevel() : Info)
{
    if (!m_log) return;
    m_log->SetDisplayLevel(display);
    m_log->SetFileLevel(file);
}

Log::SetLevels::~SetLevels()
{
    if (!m_log) return;
    m_log->SetDisplayLevel(m_oldDisplay);
    m_log->SetFileLevel(m_oldFile);
}

void Log::LogStartup(LogLevel displayLevel, LogLevel fileLevel)
{
    if (!s_GlobalLog) s_GlobalLog = SmartHandle<Log>(new Log(displayLevel, fileLevel));
    hooks::SetExceptionLogWriter(WriteException, DumpAllLogs);
}

void Log::_ReportStatistics(FILE* out, unsigned& totalKB)
{
    if (!out) return;
    unsigned totalItems = 0;
    Hold hold(LivingLock());
    for (Log* log : Living()) {
        Hold logHold(log->m_lock);
        std::size_t bytes = 0;
        for (const LogItem* item = log->m_head; item; item = item->next)
            bytes += sizeof(LogItem) + static_cast<std::size_t>(item->text.Length() + item->thread_name.Length());
        const unsigned kb = static_cast<unsigned>(bytes / 1024);
        std::fprintf(out, "Log '%s'\n", log->m_name.Empty() ? "Unnamed Log" : log->m_name.c_str());
        std::fprintf(out, "\t%u items (%u KB used)\n\tLogging to: %s\n", log->m_itemCount, kb, log->m_file.c_str());
        totalItems += log->m_itemCount;
        totalKB += kb;
    }
    std::fprintf(out, "\nLogs Total Usage: %u items (%lu KB used)\n\n", totalItems,
                 static_cast<unsigned long>(totalKB));
}

void Log::ReportStatistics(FILE* out)
{
    unsigned totalKB = 0;
    _ReportStatistics(out, totalKB);
}

void GlobalLog(LogLevel level, const String& text)
{
    // Read without a lock: the handle is set once at start-up.
    if (Log* log = Log::s_GlobalLog.Get()) log->DoLog(level, text);
}

void LogFatal(const String& text)
{
    try {
        GlobalLog(FatalError, text);
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        std::fputs("Caught exception in LogFatal!\n", stderr);
        std::fputs(e->DisplayAsString().c_str(), stderr);
    }
}

void LogError(const String& text) { GlobalLog(Error, text); }
void LogSystem(const String& text) { GlobalLog(System, text); }
void LogWarning(const String& text) { GlobalLog(Warning, text); }
void LogStatus(const String& text) { GlobalLog(Status, text); }
void LogInfo(const String& text) { GlobalLog(Info, text); }
void LogDebug(const String& text) { GlobalLog(Debug, text); }

void _DoFTraceV(FILE* out, const char* format, va_list args)
{
    if (!out) return;
    char buffer[2048];
    rvsnprintf(buffer, sizeof buffer, format, args); // longer output is cut at the buffer's end
    std::fputs(buffer, out);
}

void _DoTraceV(const char* format, va_list args) { _DoFTraceV(stderr, format, args); }

void _DoTrace(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    _DoFTraceV(stderr, format, args);
    va_end(args);
}

void _DoFTrace(FILE* out, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    _DoFTraceV(out, format, args);
    va_end(args);
}

} // namespace dovo
