#include <dovo/Exception.h>
#include <dovo/Log.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace dovo;
namespace fs = std::filesystem;

namespace {

// A fresh folder for one test's files, removed afterwards.
class LogFiles : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_dir = fs::temp_directory_path() / ("dovo-log-" + std::to_string(reinterpret_cast<std::uintptr_t>(this)));
        fs::remove_all(m_dir);
        fs::create_directories(m_dir);
    }
    void TearDown() override
    {
        std::error_code ignored;
        fs::remove_all(m_dir, ignored);
    }
    Path File(const char* name) const { return Path((m_dir / name).string()); }
    static std::vector<std::string> Lines(const Path& file)
    {
        std::ifstream in(file.c_str());
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }
    static std::string Saved(Log& log, LogLevel level)
    {
        FILE* f = std::tmpfile();
        log._SaveToFile(f, level, false);
        std::rewind(f);
        std::string text;
        for (int c; (c = std::fgetc(f)) != EOF;) text += static_cast<char>(c);
        std::fclose(f);
        return text;
    }
    fs::path m_dir;
};

bool EndsWith(const std::string& s, const std::string& tail)
{
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

} // namespace

TEST(LogItem, LineFormat)
{
    // The registry names every thread that logs; a line without a name says "Unnamed".
    const LogItem item(Info, "hello");
    EXPECT_TRUE(
        std::regex_match(item.Line().str(), std::regex("\\d\\d\\.\\d\\d\\.\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} "
                                                       "\\[   Info   \\] <0x[0-9A-F]{8}: Main Thread> hello\n")))
        << item.Line();
    std::string unnamed;
    LogItem::AppendLine(unnamed, Warning, Time(2024, 1, 2, 3, 4, 5, 6) - Time(Time::TZOffset()), 0xAB, "", "x");
    EXPECT_EQ(unnamed, "24.01.02 03:04:05.006 [  Warning ] <0x000000AB: Unnamed> x\n");
    const char* tags[] = {" [FatalError] ", " [   Error  ] ", " [  System  ] ", " [  Warning ] ",
                          " [  Status  ] ", " [   Info   ] ", " [   Debug  ] ", " [ Excessive] "};
    for (int level = 0; level < 8; ++level) EXPECT_STREQ(LogItem::Tag(static_cast<LogLevel>(level)), tags[level]);
    EXPECT_STREQ(LogItem::Tag(static_cast<LogLevel>(8)), "");
}

TEST_F(LogFiles, WritesByLevelAndKeepsInMemory)
{
    const Path file = File("app.log");
    Log log(file, Info, Info, true);
    log.DoLog(Debug, "debug line");
    log.DoLog(Info, "info line");
    log.DoLog(static_cast<LogLevel>(-1), "never");
    log.DoLog(Error, "");
    const auto lines = Lines(file);
    ASSERT_EQ(lines.size(), 3u); // the two start-up lines and the info line
    EXPECT_TRUE(EndsWith(
        lines[0], "Starting Log with file " +
                      std::string(SFormat("%08X", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&log))))));
    EXPECT_TRUE(EndsWith(lines[2], "> info line"));
    EXPECT_EQ(log.ItemCount(), 4u); // the debug item is kept though not written
    EXPECT_NE(Saved(log, Debug).find("debug line"), std::string::npos);
    EXPECT_EQ(Saved(log, Info).find("debug line"), std::string::npos);

    {
        Log::SetLevels quiet(log, Error, Error);
        EXPECT_EQ(quiet.OldFileLevel(), Info);
        log.DoLog(Info, "hidden");
    }
    log.DoLog(Info, "shown");
    const auto after = Lines(file);
    EXPECT_TRUE(EndsWith(after.back(), "> shown"));
    EXPECT_TRUE(EndsWith(after[after.size() - 2], "> info line"));

    log.SetLogMemoryLimit(3);
    for (int i = 0; i < 5; ++i) log.DoLog(Info, "item " + std::to_string(i));
    EXPECT_EQ(log.ItemCount(), 3u);
    const std::string kept = Saved(log, Excessive);
    EXPECT_EQ(kept.find("item 1"), std::string::npos);
    EXPECT_NE(kept.find("item 2"), std::string::npos);
    EXPECT_NE(kept.find("item 4"), std::string::npos);

    // A dump beside the file: the heading, the program's header line, then the kept items.
    const Path dump = log.Dump(Excessive);
    EXPECT_EQ(dump, File("app_Dump.log"));
    const auto dumped = Lines(dump);
    ASSERT_GE(dumped.size(), 8u);
    EXPECT_EQ(dumped[0].rfind("Log Dump ", 0), 0u);
    EXPECT_NE(dumped[3].find(" - Normal App (PID "), std::string::npos) << dumped[3];
    EXPECT_EQ(dumped[5], file.Text().str());
    EXPECT_TRUE(EndsWith(dumped.back(), "> item 4"));

    log.KeepLogInMemory(false);
    log.DoLog(Info, "not kept");
    EXPECT_EQ(Saved(log, Excessive).find("not kept"), std::string::npos);
    Log empty(File("empty.log"), Info, Info, false);
    empty.DoLog(Info, "x");
    EXPECT_TRUE(empty.Dump(Excessive).Empty());
    EXPECT_FALSE(fs::exists(m_dir / "empty_Dump.log"));
}

TEST_F(LogFiles, AFileThatCannotBeOpenedKeepsTheProgramAndTheItems)
{
    fs::create_directories(m_dir / "taken.log"); // a folder where the file should be
    Log log(File("taken.log"), Info, Info, true);
    log.DoLog(Warning, "still here");
    EXPECT_NE(Saved(log, Excessive).find("still here"), std::string::npos);
    EXPECT_TRUE(fs::is_directory(m_dir / "taken.log"));

    Log memoryOnly;
    try {
        memoryOnly.KeepLogInMemory(false);
        FAIL() << "a log without a file stopped keeping its items";
    } catch (Exception* e) {
        std::unique_ptr<Exception> owned(e);
        EXPECT_EQ(e->Method(), "KeepLogInMemory");
        EXPECT_EQ(e->Error(), 0x20000003);
        EXPECT_EQ(e->Message(), "Cannot set log not to stay in memory without a valid output file");
    }
    EXPECT_TRUE(memoryOnly.KeepsInMemory());
}

TEST_F(LogFiles, SetFileKeepsExactlyOneOldFile)
{
    const Path file = File("svc.log");
    Log log(file, Info, Info, false);
    log.DoLog(Info, "first run");
    log.SetFile(file, Info, false);
    log.DoLog(Info, "second run");
    log.SetFile(file, Info, false);
    log.DoLog(Info, "third run");
    const auto old = Lines(File("svc_old.log"));
    const auto current = Lines(file);
    ASSERT_FALSE(old.empty());
    ASSERT_FALSE(current.empty());
    EXPECT_TRUE(EndsWith(old.back(), "> second run"));
    EXPECT_TRUE(EndsWith(current.back(), "> third run"));
    ASSERT_GE(current.size(), 3u);
    EXPECT_TRUE(EndsWith(current[0], "> Setting Log file to " + file.Text().str() + " (level 5)")) << current[0];
    EXPECT_EQ(current[1], "\terased old file: " + File("svc_old.log").Text().str());
    int files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(m_dir)) ++files;
    EXPECT_EQ(files, 2);

    // An empty path ends the writing: nothing more reaches the old file, and no failure is logged.
    log.KeepLogInMemory(true);
    log.SetFile(Path(), Info);
    log.DoLog(Info, "fourth run");
    EXPECT_TRUE(log.Filename().Empty());
    for (const std::string& line : Lines(file)) EXPECT_EQ(line.find("fourth run"), std::string::npos) << line;
    const std::string kept = Saved(log, Excessive);
    EXPECT_NE(kept.find("fourth run"), std::string::npos);
    EXPECT_EQ(kept.find("Could not open"), std::string::npos) << kept;
}

TEST_F(LogFiles, LinesFromManyThreadsAreWholeAndInEachThreadsOrder)
{
    const Path file = File("threads.log");
    Log log(file, Info, Info, false);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) log.DoLog(Info, SFormat("t%d n%03d %s", t, i, std::string(60, 'x').c_str()));
        });
    for (auto& t : threads) t.join();
    int next[4] = {0, 0, 0, 0};
    int counted = 0;
    for (const std::string& line : Lines(file)) {
        int t, n;
        const auto at = line.find("> t");
        if (at == std::string::npos) continue;
        ASSERT_EQ(std::sscanf(line.c_str() + at, "> t%d n%d", &t, &n), 2) << line;
        ASSERT_TRUE(EndsWith(line, std::string(60, 'x'))) << line;
        ASSERT_EQ(n, next[t]++) << "thread " << t << " out of order";
        ++counted;
    }
    EXPECT_EQ(counted, 2000);
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
    std::string saved;
    {
        FILE* f = std::tmpfile();
        Log::s_GlobalLog->_SaveToFile(f, Excessive, true);
        std::rewind(f);
        for (int c; (c = std::fgetc(f)) != EOF;) saved += static_cast<char>(c);
        std::fclose(f);
    }
    EXPECT_EQ(saved.find("nowhere"), std::string::npos);
    for (const char* text :
         {"Log Dump ", "> info", "> debug", "> excessive", "[  Warning ] <", "Exception:", "logged as thrown"})
        EXPECT_NE(saved.find(text), std::string::npos) << text;

    FILE* f = std::tmpfile();
    _DoFTrace(f, "%s", std::string(3000, 'y').c_str());
    _DoFTrace(nullptr, "nothing");
    EXPECT_EQ(std::ftell(f), 2047); // cut at the 2048-byte buffer
    std::fclose(f);
}
