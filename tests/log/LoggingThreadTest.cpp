#include <dovo/Log.h>

#include "support/TestSupport.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

constexpr int kThreads = 4, kLinesEach = 25000;
const bool kWindows = fs::path::preferred_separator == '\\';

// Every "T<thread> <n>" line of the helper, once each and in order per thread; the first fault found.
std::string CheckLines(const std::string& log)
{
    std::vector<int> next(kThreads, 0);
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);) {
        const std::size_t at = line.find("> T");
        int thread = -1, n = -1;
        if (at == std::string::npos || std::sscanf(line.c_str() + at + 3, "%d %d", &thread, &n) != 2) continue;
        if (thread < 0 || thread >= kThreads || n != next[thread])
            return "thread " + std::to_string(thread) + " line " + std::to_string(n) + " where " +
                   std::to_string(next[thread]) + " was due";
        ++next[thread];
    }
    for (int t = 0; t < kThreads; ++t)
        if (next[t] != kLinesEach)
            return "thread " + std::to_string(t) + " wrote " + std::to_string(next[t]) + " lines";
    return "";
}

class LoggingThreadTest : public TestFolder
{
};

} // namespace

TEST_F(LoggingThreadTest, NoQueuedLineIsLostWhateverEndsTheProcess)
{
    const int killedBySegv = Child::KilledBy - SIGSEGV, killedByAbort = Child::KilledBy - SIGABRT;
    // Rows that end through a signal handler (which also reports a fault, interrupt or abort) do not
    // run under ThreadSanitizer, whose runtime defers signals and objects to what the handlers call.
    struct Row
    {
        const char* end;
        int code;
        bool signal;
    } all[] = {
        {"return", 0, false},
        {"startup-throws", 77, false}, // the start-up failure's error number
        {"cleanup-throws", 1, false},  // the executable's fatal exit codes
        {"cleanup-throws-unknown", 2, false},
        {"exit", 2, false},
        {"interrupt-stuck", 3, true}, // not finished 10 s after the interrupt
        {"interrupt-answered", 0, true},
        {"interrupt-unanswered", 0, true},
        {"fault", kWindows ? static_cast<int>(0xC0000005) : killedBySegv, true}, // on a thread that does not translate
        {"terminate", kWindows ? 3 : killedByAbort, true},
        {"abort", kWindows ? 3 : killedByAbort, true},
    };
    std::vector<Row> rows;
    for (const Row& row : all)
        if (!row.signal || !kSignalDeferringRuntime) rows.push_back(row);
    // All at once: most of each run is waiting (on slow writes, on an interrupt's ten seconds).
    std::vector<std::unique_ptr<Child>> children;
    for (const Row& row : rows) {
        const fs::path folder = m_dir / row.end;
        fs::create_directories(folder);
        children.push_back(std::make_unique<Child>(Native(DOVO_LOG_EXIT_HELPER),
                                                   Strings{"-End", row.end, "-LogFolder", Native(folder)}, folder));
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].end);
        Child& child = *children[i];
        if (std::string(rows[i].end).rfind("interrupt", 0) == 0) {
            ASSERT_TRUE(child.WaitForLine("logged")) << child.Errors();
            child.Interrupt(0);
        }
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].end);
        EXPECT_EQ(children[i]->Wait(180), rows[i].code) << children[i]->Errors();
        EXPECT_EQ(CheckLines(Read(m_dir / rows[i].end / "log_exit_helper.log")), "");
    }
}

TEST_F(LoggingThreadTest, TheCleanupPassRenewsFilesStrictlyAboveTheLimit)
{
    struct Row
    {
        const char* name;
        long long bytes;
        bool renewed;
    } rows[] = {{"below", 1000, false}, {"at", 1024, false}, {"above", 1025, true}};
    std::vector<std::shared_ptr<dovo::Log>> logs;
    for (const Row& row : rows) {
        const fs::path file = m_dir / (std::string(row.name) + ".log");
        std::ofstream(file, std::ios::binary) << std::string(static_cast<std::size_t>(row.bytes), 'x');
        // A file level below every item: the logs' own lines do not change the sizes.
        logs.push_back(
            std::make_shared<dovo::Log>(dovo::Path(file.string()), dovo::Info, static_cast<dovo::LogLevel>(-1), true));
    }
    dovo::Log unfiled; // a log without a file is passed over
    dovo::Log::_CleanupPass(1024);
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].name);
        const fs::path old = m_dir / (std::string(rows[i].name) + "_old.log");
        EXPECT_EQ(fs::exists(old), rows[i].renewed);
        EXPECT_EQ(fs::file_size(rows[i].renewed ? old : m_dir / (std::string(rows[i].name) + ".log")),
                  static_cast<std::uintmax_t>(rows[i].bytes));
        const fs::path dump = logs[i]->Dump(dovo::Excessive).Text().str();
        EXPECT_EQ(Has(Read(dump), "Flushed log '' :  "), rows[i].renewed);
    }
}
