// Log: items written as lines to an appended file and kept in memory; the global log and its free
// functions; trace output.

#include <dovo/Exception.h>
#include <dovo/File.h>
#include <dovo/Log.h>
#include <dovo/Platform.h>

#include "log/LogFile.h"
#include "log/LogItemPool.h"
#include "log/LoggingThread.h"
#include "objects/ExceptionHooks.h"
#include "threads/Hold.h"
#include "threads/Kernel.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

namespace dovo {

namespace {

constexpr int kWriteAttempts = 999;
constexpr int kGlobalLogKept = 10000;

logfile::Calls g_calls = {logfile::OpenAppend, logfile::Write, logfile::Flush, logfile::Close};
std::atomic<long long> g_reopenMs{5000};

long long SteadyMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Every living log, for statistics and dumps, with the dumps under way. Never destroyed: logs held by
// statics (the global log above all) go at exit in no fixed order with this.
struct Registry
{
    std::mutex lock;
    std::condition_variable unpinned;
    std::set<Log*> logs;
};
Registry& Living()
{
    static auto* registry = new Registry;
    return *registry;
}

// The exception machinery writes through the global log once it exists.
void WriteException(signed char level, const String& text) { GlobalLog(static_cast<LogLevel>(level), text); }
void DumpAllLogs(signed char level, const String& heading)
{
    Log::DumpAll("<h1>" + heading + "</h1>", static_cast<LogLevel>(level));
}

} // namespace

namespace logfile {
Calls Replace(const Calls& calls) { return std::exchange(g_calls, calls); }
void SetReopenInterval(double seconds) { g_reopenMs = static_cast<long long>(seconds * 1000); }
} // namespace logfile

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
    if (logthread::Closed())
        Exception::Throw("Log", "_ConstructLog", 0, "Logs cannot be created after log cleanup", 0, String(), 1);
    Registry& living = Living();
    std::lock_guard<std::mutex> hold(living.lock);
    living.logs.insert(this);
}

Log::~Log()
{
    // The global log going (at exit): exceptions from now on have nowhere to be written.
    if (s_GlobalLog.Get() == this) hooks::SetExceptionLogWriter(nullptr, nullptr);
    // Queued items name their log: they are written before it goes.
    if (logthread::Started()) logthread::Drain(60.0f);
    {
        // A dump that took this log before it left the registry finishes first (a dump is a bounded
        // piece of file output).
        Registry& living = Living();
        std::unique_lock<std::mutex> hold(living.lock);
        living.logs.erase(this);
        living.unpinned.wait(hold, [this] { return m_pins == 0; });
    }
    _CloseDescriptor();
    while (m_head) _Pop();
}

namespace {
// Lines are made in the log's buffer (under its lock), which keeps its size from line to line; a line
// made while the buffer is in use (a log call from inside a log call) gets one of its own. Not the
// thread's: lines are also made while the process exits, after the exiting thread's thread-local
// objects are gone.
class LineBuffer
{
public:
    LineBuffer(std::string& shared, bool& inUse)
        : m_inUse(inUse), m_borrowed(!inUse), m_line(m_borrowed ? shared : m_own)
    {
        m_inUse = true;
        m_line.clear();
    }
    ~LineBuffer()
    {
        if (m_borrowed) m_inUse = false;
    }
    std::string& operator*() { return m_line; }

private:
    bool& m_inUse;
    bool m_borrowed;
    std::string m_own;
    std::string& m_line;
};
} // namespace

void Log::DoLog(LogLevel level, const String& text)
{
    if (level < 0 || text.Empty()) return;
    const bool keep = m_keepInMemory.load(std::memory_order_relaxed);
    if (logthread::Accepting()) {
        if (keep || level <= m_fileLevel.load(std::memory_order_relaxed))
            logthread::Enqueue(this, logitems::Make(level, text));
        return;
    }
    // Items queued before the logging thread stopped go first.
    if (logthread::Pending()) logthread::Drain();
    if (!keep) {
        // Not kept: no item is made; the line is made in the log's buffer under its lock.
        if (level > m_fileLevel.load(std::memory_order_relaxed)) return;
        const std::uint32_t id = kernel::CurrentThreadId();
        const Time now = Time::CurrentTime();
        const String name = hooks::ThreadName(id);
        Hold hold(m_lock);
        if (m_file.Empty()) return;
        LineBuffer line(m_lines, m_linesInUse);
        LogItem::AppendLine(*line, level, now, id, name, text);
        WriteLine(*line);
        return;
    }
    LogItem* item = new LogItem(level, text);
    _DisplayAndSave(&item, 1);
}

void Log::_DisplayAndSave(LogItem* const* items, std::size_t count)
{
    Hold hold(m_lock);
    const LogLevel fileLevel = m_fileLevel;
    bool missed = false;
    if (!m_file.Empty()) {
        LineBuffer lines(m_lines, m_linesInUse);
        for (std::size_t i = 0; i < count; ++i)
            if (items[i]->level <= fileLevel) items[i]->AppendLine(*lines);
        missed = !(*lines).empty() && !WriteLine(*lines);
    }
    // Items not kept serve later calls.
    LogItem* done[512];
    std::size_t n = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (KeepItem(items[i], missed && items[i]->level <= fileLevel)) continue;
        done[n++] = items[i];
        if (n == std::size(done)) {
            logitems::GiveBack(done, n);
            n = 0;
        }
    }
    logitems::GiveBack(done, n);
}

bool Log::KeepItem(LogItem* item, bool missed)
{
    if (!m_keepInMemory) return false;
    // (A lowered limit shrinks the list as the next item comes.)
    while (m_memoryLimit > 0 && m_itemCount >= static_cast<unsigned>(m_memoryLimit)) _Pop();
    item->next = nullptr;
    (m_tail ? m_tail->next : m_head) = item;
    m_tail = item;
    ++m_itemCount;
    if (missed && !m_unwritten) m_unwritten = item;
    return true;
}

bool Log::OpenFile()
{
    bool busy = false;
    m_handle = g_calls.open(m_file.c_str(), busy);
    // A file that cannot be opened (no folder, no right to it) is not tried again on every line: the
    // callers would pay for the attempts each time. Until the next try, kept items wait in memory.
    m_failedAt = m_handle || busy ? 0 : SteadyMs();
    return m_handle != nullptr;
}

bool Log::WriteUnwritten()
{
    std::string lines;
    for (const LogItem* item = m_unwritten; item; item = item->next)
        if (item->level <= m_fileLevel) item->AppendLine(lines);
    if (!g_calls.write(m_handle, lines.data(), lines.size())) return false;
    m_unwritten = nullptr;
    return true;
}

bool Log::WriteLine(const std::string& line)
{
    if (!m_handle && m_failedAt != 0 && SteadyMs() - m_failedAt < g_reopenMs) return false;
    // Appended and retried: a file held by another process for a moment may be free at the next
    // attempt; a log never fails its caller, and after the last attempt the line is only where the log
    // keeps its items.
    for (int attempt = 0; attempt < kWriteAttempts; ++attempt) {
        if (!m_handle && !OpenFile()) {
            if (m_failedAt != 0) return false;
            continue;
        }
        if ((!m_unwritten || WriteUnwritten()) && g_calls.write(m_handle, line.data(), line.size())) return true;
        _CloseDescriptor();
    }
    return false;
}

void Log::_CloseDescriptor()
{
    Hold hold(m_lock);
    if (!m_handle) return;
    // What was written reaches the disk before the handle goes.
    g_calls.flush(m_handle);
    g_calls.close(m_handle);
    m_handle = nullptr;
}

void Log::_Pop()
{
    LogItem* oldest = m_head;
    if (!oldest) return;
    m_head = oldest->next;
    if (!m_head) m_tail = nullptr;
    if (m_unwritten == oldest) m_unwritten = m_head;
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

void Log::SetFile(const Path& file, LogLevel level, bool append)
{
    String note;
    bool opened = true;
    {
        Hold hold(m_lock);
        _CloseDescriptor();
        if (!append && FileExists(file)) {
            // One generation is kept: "<name>_old<.ext>" beside the file, replacing an older one.
            const String extension = file.Extension();
            const Path old =
                file.Branch() / Path(file.BaseName() + "_old" + (extension.Empty() ? "" : "." + extension));
            if (FileExists(old)) {
                if (std::remove(old.c_str()) == 0) note += "\n\terased old file: " + old.Text();
                else note += "\n\tCould not removeold log file: " + old.Text();
            }
            if (!FileExists(old) && std::rename(file.c_str(), old.c_str()) != 0)
                note += "\n\tCould not removeold log file: " + file.Text();
        }
        m_file = file;
        m_fileLevel = level;
        // What the previous file missed is not the new one's; the new file is tried at once.
        m_unwritten = nullptr;
        m_failedAt = 0;
        // An empty path: the log stops writing to a file (a process that only ran a service word).
        if (!file.Empty()) opened = OpenFile();
    }
    DoLog(Info, "Setting Log file to " + file.Text() + SFormat(" (level %d)", static_cast<int>(level)) + note);
    if (file.Empty()) return;
    if (!opened) DoLog(Error, "Could not open log file to save: " + file.Text());
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

// Calls visit for every living log, each pinned meanwhile: one destroyed meanwhile waits in its
// destructor until its visit is over.
void Log::ForEachLiving(const std::function<void(Log&)>& visit)
{
    Registry& living = Living();
    std::vector<Log*> logs;
    {
        std::lock_guard<std::mutex> hold(living.lock);
        for (Log* log : living.logs) {
            ++log->m_pins;
            logs.push_back(log);
        }
    }
    // Unpins the logs from next on: after each visit its own, and all that are left when one throws.
    std::size_t next = 0;
    const auto unpin = [&](std::size_t end) {
        {
            std::lock_guard<std::mutex> hold(living.lock);
            for (; next < end; ++next) --logs[next]->m_pins;
        }
        living.unpinned.notify_all();
    };
    struct Rest
    {
        const decltype(unpin)& release;
        std::size_t end;
        ~Rest() { release(end); }
    } rest{unpin, logs.size()};
    while (next < logs.size()) {
        visit(*logs[next]);
        unpin(next + 1);
    }
}

void Log::DumpAll(const String& html, LogLevel level)
{
    GlobalLog(Info, ">>>>>>>> Dumping All Logs <<<<<<<<");
    std::vector<Path> dumps;
    ForEachLiving([&](Log& log) {
        const Path dump = log.Dump(level);
        if (!dump.Empty()) dumps.push_back(dump);
    });
    if (const DumpMailer mailer = g_mailer) mailer(dumps, html);
}

void Log::_CleanupPass(long long size)
{
    LogInfo("Running Log cleanup...");
    ForEachLiving([size](Log& log) {
        Path file;
        {
            Hold hold(log.m_lock);
            file = log.m_file;
        }
        if (file.Empty()) return;
        log._CloseDescriptor();
        const long long bytes = File::FileSize(file);
        LogDebug(file.Text() + SFormat(": %lld bytes", bytes));
        if (bytes <= size) return;
        // The file is set aside as "_old" and the log starts a new one.
        log.SetFile(file, log.FileLevel(), false);
        log.DoLog(Info, "Flushed log '" + log.Name() + "' :  " + file.Text());
    });
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
    if (!s_GlobalLog) {
        s_GlobalLog = SmartHandle<Log>(new Log(displayLevel, fileLevel));
        // A program runs for months: the items kept for dumps are the latest, not all of them.
        s_GlobalLog->SetLogMemoryLimit(kGlobalLogKept);
        // Never destroyed: threads (the logging thread among them) may still log while exit() destroys
        // the process's statics. Its lines are on disk already; the system closes the file.
        static auto* const lasting = new SmartHandle<Log>(s_GlobalLog);
        (void)lasting;
    }
    hooks::SetExceptionLogWriter(WriteException, DumpAllLogs);
    hooks::SetLogFlusher(logthread::Flush);
    logthread::Create();
}

void Log::_ReportStatistics(FILE* out, unsigned& totalKB)
{
    if (!out) return;
    unsigned totalItems = 0;
    Registry& living = Living();
    std::lock_guard<std::mutex> hold(living.lock);
    for (Log* log : living.logs) {
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
