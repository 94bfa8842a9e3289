#include <dovo/Exception.h>
#include <dovo/Log.h>

#include "log/LogFile.h"
#include "tests/support/Checks.h"
#include "tests/support/TestSupport.h"

#include <atomic>
#include <fstream>
#include <regex>
#include <thread>

using namespace dovo;
namespace fs = std::filesystem;

namespace {

// What _SaveToFile writes.
std::string Saved(Log& log, LogLevel level, bool header = false)
{
    return Captured([&](std::FILE* f) { log._SaveToFile(f, level, header); });
}

class LogFiles : public TestFolder
{
protected:
    Path File(const std::string& name) const { return Path((m_dir / name).string()); }
    // The texts of a file's lines (what follows "> "), in order.
    Strings Texts(const std::string& name) const
    {
        Strings texts = Lines(m_dir / name);
        for (std::string& text : texts)
            if (text.find("> ") != std::string::npos) text.erase(0, text.find("> ") + 2);
        return texts;
    }
};

// The platform's file calls, counted while it lives; opens fail as a busy file's do while busy > 0.
struct Counted
{
    static inline logfile::Calls native;
    static inline int opens = 0, busy = 0;
    static inline std::string calls;
    static void* Open(const char* path, bool& isBusy)
    {
        ++opens;
        if (busy > 0) return --busy, isBusy = true, nullptr;
        return native.open(path, isBusy);
    }
    static bool Write(void* file, const char* data, std::size_t size) { return native.write(file, data, size); }
    static void Flush(void* file) { calls += "flush ", native.flush(file); }
    static void Close(void* file) { calls += "close ", native.close(file); }
    Counted() { native = logfile::Replace({Open, Write, Flush, Close}), opens = busy = 0, calls.clear(); }
    ~Counted() { logfile::Replace(native); }
};

} // namespace

TEST(LogItem, LineFormat)
{
    // The registry names every thread that logs; a line without a name says "Unnamed".
    const std::string line = LogItem(Info, "hello").Line().str();
    EXPECT_TRUE(std::regex_match(line, std::regex("\\d\\d\\.\\d\\d\\.\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} "
                                                  "\\[   Info   \\] <0x[0-9A-F]{8}: Main Thread> hello\n")))
        << line;
    std::string unnamed;
    LogItem::AppendLine(unnamed, Warning, Time(2024, 1, 2, 3, 4, 5, 6) - Time(Time::TZOffset()), 0xAB, "", "x");
    EXPECT_EQ(unnamed, "24.01.02 03:04:05.006 [  Warning ] <0x000000AB: Unnamed> x\n");
    const char* tags[] = {" [FatalError] ", " [   Error  ] ", " [  System  ] ",
                          " [  Warning ] ", " [  Status  ] ", " [   Info   ] ",
                          " [   Debug  ] ", " [ Excessive] ", ""};
    for (int level = 0; level < 9; ++level) EXPECT_STREQ(LogItem::Tag(static_cast<LogLevel>(level)), tags[level]);
}

TEST_F(LogFiles, WritesByLevelKeepsInMemoryAndDumps)
{
    Log log(File("app.log"), Info, Info, true);
    for (const auto& [level, text] :
         {std::pair{Debug, "debug line"}, {Info, "info line"}, {LogLevel(-1), "never"}, {Error, ""}})
        log.DoLog(level, text);
    const std::string start = SFormat("Starting Log with file %08X", static_cast<unsigned>(std::uintptr_t(&log)));
    EXPECT_EQ(Texts("app.log"), (Strings{start, "Log Created", "info line"}));
    EXPECT_EQ(log.ItemCount(), 4u); // the debug item is kept though not written
    EXPECT_TRUE(Has(Saved(log, Debug), "debug line") && !Has(Saved(log, Info), "debug line"));
    {
        Log::SetLevels quiet(log, Error, Error);
        EXPECT_EQ(quiet.OldFileLevel(), Info);
        log.DoLog(Info, "hidden");
    }
    log.DoLog(Info, "shown");
    EXPECT_EQ(Texts("app.log"), (Strings{start, "Log Created", "info line", "shown"}));

    log.SetLogMemoryLimit(3);
    for (int i = 0; i < 5; ++i) log.DoLog(Info, "item " + std::to_string(i));
    EXPECT_EQ(log.ItemCount(), 3u);
    EXPECT_FALSE(Has(Saved(log, Excessive), "item 1"));
    // A dump beside the file: the heading, the program's header line, then the kept items.
    EXPECT_EQ(log.Dump(Excessive), File("app_Dump.log"));
    const Strings dumped = Lines(m_dir / "app_Dump.log");
    ASSERT_EQ(dumped.size(), 10u);
    EXPECT_EQ(dumped[0].rfind("Log Dump ", 0), 0u);
    EXPECT_TRUE(Has(dumped[3], " - Normal App (PID ")) << dumped[3];
    EXPECT_EQ(dumped[5], File("app.log").Text().str());
    EXPECT_TRUE(Has(dumped[7], "> item 2") && Has(dumped[9], "> item 4"));

    log.KeepLogInMemory(false);
    log.DoLog(Info, "not kept");
    EXPECT_FALSE(Has(Saved(log, Excessive), "not kept"));
    Log empty(File("empty.log"), Info, Info, false);
    EXPECT_TRUE(empty.Dump(Excessive).Empty());
    EXPECT_FALSE(fs::exists(m_dir / "empty_Dump.log"));
    Log memoryOnly;
    EXPECT_EQ(Thrown([&] { memoryOnly.KeepLogInMemory(false); }),
              "Log|KeepLogInMemory|0x20000003|0|1|Cannot set log not to stay in memory without a valid output file");
    EXPECT_TRUE(memoryOnly.KeepsInMemory());
}

TEST_F(LogFiles, SetFileSetsTheFileAtThePathAsideUnlessAppending)
{
    // Each row: the file, its "_old" name, the flag (0: left out), whether an older "_old" is there;
    // what the old file and the file hold afterwards.
    const std::string set = "Setting Log file to <file> (level 5)";
    const struct
    {
        std::string name, old;
        int append;
        bool older;
        Strings oldHolds, fileHolds;
    } rows[] = {
        {"a.log", "a_old.log", 1, true, {"older"}, {"before", set}},
        {"b.log", "b_old.log", 0, false, {"before"}, {set}},
        {"c.log", "c_old.log", 0, true, {"before"}, {set, "\terased old file: <old>"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::ofstream(m_dir / row.name) << "> before\n";
        if (row.older) std::ofstream(m_dir / row.old) << "> older\n";
        Log log;
        row.append ? log.SetFile(File(row.name), Info, true)
                   : log.SetFile(File(row.name), Info); // appends only when asked
        Strings holds = row.fileHolds;
        for (std::string& text : holds)
            for (const auto& [key, name] :
                 {std::pair{std::string("<file>"), row.name}, {std::string("<old>"), row.old}})
                if (const auto at = text.find(key); at != std::string::npos)
                    text.replace(at, key.size(), File(name).c_str());
        EXPECT_EQ(Texts(row.name), holds);
        EXPECT_EQ(Texts(row.old), row.oldHolds);
    }
    // The open file reaches the disk before it is closed.
    Counted counted;
    Log log(File("e.log"), Info, Info, true);
    log.SetFile(File("e.log"), Info, true);
    EXPECT_EQ(Counted::calls, "flush close ");
    // An empty path ends the writing: nothing more reaches the old file, and no failure is logged.
    log.SetFile(Path(), Info);
    log.DoLog(Info, "after");
    EXPECT_TRUE(log.Filename().Empty());
    EXPECT_FALSE(Has(Read(m_dir / "e.log"), "after"));
    EXPECT_TRUE(Has(Saved(log, Excessive), "after") && !Has(Saved(log, Excessive), "Could not open"));
}

TEST_F(LogFiles, AFileThatCannotBeOpenedCostsTheCallersNothingUntilItsNextTry)
{
    Counted counted;
    // Busy (held by another process for a moment): 999 attempts for a line; the next line gets through
    // and brings the kept one with it.
    Counted::busy = 1500;
    Log busy(File("busy.log"), Info, Info, true);
    EXPECT_EQ(Counted::opens, 999 + 502);
    EXPECT_EQ(Texts("busy.log").size(), 2u);

    // Cannot be opened (no folder): one attempt, then none until the next try is due.
    logfile::SetReopenInterval(3600);
    Counted::opens = 0;
    Log log(File("later/app.log"), Info, Info, true);
    log.SetLogMemoryLimit(5);
    for (int i = 0; i < 20; ++i) log.DoLog(Info, "waiting " + std::to_string(i));
    log.DoLog(Debug, "kept, not for the file");
    EXPECT_EQ(Counted::opens, 1);
    logfile::SetReopenInterval(0);
    log.DoLog(Info, "still no folder");
    EXPECT_EQ(Counted::opens, 2);
    // Once it opens, the kept lines that missed it come first, in order, those of its level only.
    fs::create_directories(m_dir / "later");
    log.DoLog(Info, "folder made");
    logfile::SetReopenInterval(5);
    EXPECT_EQ(Texts("later/app.log"),
              (Strings{"waiting 17", "waiting 18", "waiting 19", "still no folder", "folder made"}));
    EXPECT_EQ(Counted::opens, 3);
}

TEST_F(LogFiles, LinesFromManyThreadsAreWholeAndInEachThreadsOrder)
{
    Log log(File("threads.log"), Info, Info, false);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) log.DoLog(Info, SFormat("t%d n%03d %s", t, i, std::string(60, 'x').c_str()));
        });
    for (auto& t : threads) t.join();
    int next[4] = {0, 0, 0, 0}, counted = 0;
    for (const std::string& text : Texts("threads.log")) {
        int t, n;
        if (text[0] != 't') continue;
        ASSERT_EQ(std::sscanf(text.c_str(), "t%d n%d", &t, &n), 2) << text;
        ASSERT_EQ(text.substr(text.size() - 61), " " + std::string(60, 'x'));
        ASSERT_EQ(n, next[t]++) << "thread " << t << " out of order";
        ++counted;
    }
    EXPECT_EQ(counted, 2000);
}

TEST_F(LogFiles, DumpAllWhileOtherThreadsDestroyLogs)
{
    // Logs made and destroyed while all logs are dumped again and again: none is freed under its dump
    // (AddressSanitizer watches), and each DumpAll hands on the dump of the log that lives throughout.
    static std::atomic<int> mailed, keeperDumps;
    mailed = keeperDumps = 0;
    Log::SetLogFolder(Path(m_dir.string()));
    Log::SetDumpMailer([](const std::vector<Path>& dumps, const String&) {
        ++mailed;
        for (const Path& dump : dumps) keeperDumps += Has(dump.c_str(), "keeper_Dump.log");
    });
    Log keeper;
    keeper.Name("keeper");
    std::atomic<bool> done{false};
    std::thread churn([&] {
        for (int i = 0; i < 300; ++i) {
            const auto log = std::make_unique<Log>(Info, Info);
            for (int k = 0; k < 50; ++k) log->DoLog(Info, "item");
        }
        done = true;
    });
    int dumps = 0;
    for (; !done; ++dumps) Log::DumpAll("<h1>test</h1>", Excessive);
    churn.join();
    Log::SetDumpMailer(nullptr);
    EXPECT_EQ(mailed, dumps);
    EXPECT_EQ(keeperDumps, dumps);
}

TEST(GlobalLog, FreeFunctionsAndExceptionsReachTheGlobalLog)
{
    LogInfo("before the global log: nowhere");
    Log::LogStartup(Info, Excessive);
    ASSERT_TRUE(Log::s_GlobalLog);
    LogInfo("info");
    LogDebug("debug");
    GlobalLog(Excessive, "excessive");
    try {
        Exception::Throw("Test", "Go", 0x20000002, "logged as thrown", 0, "", 3);
    } catch (Exception* e) {
        delete e;
    }
    const std::string saved = Saved(*Log::s_GlobalLog, Excessive, true);
    EXPECT_FALSE(Has(saved, "nowhere"));
    for (const char* text : {"Log Dump ", "> info", "> debug", "[ Excessive] <", "> excessive", "[  Warning ] <",
                             "Exception:", "logged as thrown"})
        EXPECT_TRUE(Has(saved, text)) << text;

    FILE* f = std::tmpfile();
    _DoFTrace(f, "%s", std::string(3000, 'y').c_str());
    _DoFTrace(nullptr, "nothing");
    EXPECT_EQ(std::ftell(f), 2047); // cut at the 2048-byte buffer
    std::fclose(f);
}
