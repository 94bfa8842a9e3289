#pragma once

#include <dovo/Export.h>
#include <dovo/LogItem.h>
#include <dovo/Mutex.h>
#include <dovo/Path.h>
#include <dovo/SmartHandle.h>
#include <dovo/String.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace dovo {

/// A log: writes each item as one line to its file (appended, shared for reading, retried), and can
/// keep its items in memory for a later dump. A file that cannot be opened at all is tried again every
/// few seconds only; the kept items that missed it are written first once it opens. The global log is
/// reached through LogFatal ... LogDebug and GlobalLog, which do nothing while there is none.
class DOVO_API Log : public SmartFromThis<Log>
{
public:
    /// A log without a file (it keeps its items in memory).
    Log(LogLevel displayLevel = Info, LogLevel fileLevel = Info);
    Log(const Path& file, LogLevel displayLevel, LogLevel fileLevel, bool keepInMemory);
    virtual ~Log();

    /// Writes (or keeps) one item; a negative level or an empty text does nothing.
    void DoLog(LogLevel level, const String& text);
    /// Switches to another file (an empty path: to none) and sets the file level. Unless append is set, a
    /// file already at that path is first set aside as "<name>_old<.extension>" (an older one of that
    /// name is erased) and the log starts a new one; with append, the lines go on at its end.
    void SetFile(const Path& file, LogLevel level, bool append = false);
    /// true keeps items in memory; false is refused (an exception) for a log without a file.
    void KeepLogInMemory(bool keep);

    const Path& Filename() const { return m_file; }
    LogLevel FileLevel() const { return m_fileLevel.load(std::memory_order_relaxed); }
    void SetFileLevel(LogLevel level) { m_fileLevel.store(level, std::memory_order_relaxed); }
    LogLevel DisplayLevel() const { return m_displayLevel; }
    void SetDisplayLevel(LogLevel level) { m_displayLevel = level; }
    const String& Name() const { return m_name; }
    void Name(const String& name) { m_name = name; }
    int MemoryLimit() const { return m_memoryLimit; }
    /// The most items kept in memory (the oldest go first); 0 or less keeps every item.
    void SetLogMemoryLimit(int limit) { m_memoryLimit = limit; }
    bool KeepsInMemory() const { return m_keepInMemory.load(std::memory_order_relaxed); }
    unsigned ItemCount() const;

    /// Writes the kept items of at most level to "<name>_Dump.log" beside the log's file (or in the log
    /// folder for a log without one) and returns its path; empty when the log keeps no items.
    Path Dump(LogLevel level);
    /// Writes ">>>>>>>> Dumping All Logs <<<<<<<<", dumps every living log and hands the dumps and the
    /// HTML text to the dump mailer when one is set.
    static void DumpAll(const String& html, LogLevel level);
    /// Where logs without a file put their dumps (the application's log folder); the user's folder until
    /// it is set.
    static void SetLogFolder(const Path& folder);
    static Path LogFolder();
    /// Receives the files of every DumpAll with its HTML text (mailing the dumps plugs in here).
    using DumpMailer = void (*)(const std::vector<Path>& dumps, const String& html);
    static void SetDumpMailer(DumpMailer mailer);

    /// Writes the kept items of at most level to a stream after the program's header (and the dump
    /// heading, when asked).
    void _SaveToFile(FILE* file, LogLevel level, bool header);
    /// Flushes and closes the file; the next line opens it again.
    void _CloseDescriptor();
    /// Writes the items' lines (those within the file level) with one write, then keeps each item or
    /// deletes it. The logging thread hands its batches over here.
    void _DisplayAndSave(LogItem* const* items, std::size_t count);

    /// Sets a log's levels for a scope and puts the old ones back.
    class DOVO_API SetLevels
    {
    public:
        SetLevels(Log& log, LogLevel display, LogLevel file);
        SetLevels(Log* log, LogLevel display, LogLevel file);
        ~SetLevels();
        LogLevel OldDisplayLevel() const { return m_oldDisplay; }
        LogLevel OldFileLevel() const { return m_oldFile; }

    private:
        Log* m_log;
        LogLevel m_oldDisplay, m_oldFile;
    };

    static SmartHandle<Log> s_GlobalLog;
    /// Makes the global log (a log without a file until one is set, keeping its latest 10,000 items for
    /// dumps) and the logging thread, which the library's start-up starts. From then on log calls queue
    /// their items for it.
    static void LogStartup(LogLevel displayLevel, LogLevel fileLevel);
    /// Stops the logging thread after it has written what is queued (a thread stuck in a write is not
    /// waited for: the caller writes the queue out itself). No log may be made afterwards.
    static void LogCleanup();
    /// The logging thread's clean-up pass: every living log's file larger than size bytes is set aside
    /// as "_old" and the log starts a new one.
    static void _CleanupPass(long long size);
    static void ReportStatistics(FILE* out);
    static void _ReportStatistics(FILE* out, unsigned& totalKB);

private:
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void _ConstructLog();
    static void ForEachLiving(const std::function<void(Log&)>& visit);
    /// Keeps the item when the log keeps its items (missed: its line did not reach the file); false when
    /// the caller still owns (and deletes) it.
    bool KeepItem(LogItem* item, bool missed);
    /// Writes the line (after any kept lines that missed the file); false when it did not reach it.
    bool WriteLine(const std::string& line);
    bool OpenFile();
    bool WriteUnwritten();
    void _Pop();

    Path m_file;
    // (Read without the lock: a line that will not be written is not made.)
    std::atomic<LogLevel> m_fileLevel;
    LogLevel m_displayLevel;
    String m_name;
    void* m_handle = nullptr; // the open file, or none
    mutable Mutex m_lock;
    LogItem* m_head = nullptr;
    LogItem* m_tail = nullptr;
    unsigned m_itemCount = 0;
    int m_memoryLimit = 0;
    std::atomic<bool> m_keepInMemory{false};
    LogItem* m_unwritten = nullptr; // the first kept item that missed the file, or none
    long long m_failedAt = 0;       // when the file last could not be opened (steady ms), or 0
    int m_pins = 0;                 // dumps of this log under way (under the registry's lock)
    std::string m_lines;            // where batches of lines are made (under the lock)
    bool m_linesInUse = false;
};

DOVO_API void LogFatal(const String& text);
DOVO_API void LogError(const String& text);
DOVO_API void LogSystem(const String& text);
DOVO_API void LogWarning(const String& text);
DOVO_API void LogStatus(const String& text);
DOVO_API void LogInfo(const String& text);
DOVO_API void LogDebug(const String& text);
DOVO_API void GlobalLog(LogLevel level, const String& text);

/// Trace output beside the log: formatted into 2048 characters at most, written to standard error or
/// to the given stream (nothing for a null stream).
DOVO_API void _DoTrace(const char* format, ...) DOVO_PRINTF(1, 2);
DOVO_API void _DoTraceV(const char* format, va_list args) DOVO_PRINTF(1, 0);
DOVO_API void _DoFTrace(FILE* out, const char* format, ...) DOVO_PRINTF(2, 3);
DOVO_API void _DoFTraceV(FILE* out, const char* format, va_list args) DOVO_PRINTF(2, 0);

} // namespace dovo
