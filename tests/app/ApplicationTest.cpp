#include "tests/support/Checks.h"
#include "tests/support/TestSupport.h"

#include <chrono>
#include <thread>

namespace fs = std::filesystem;

TEST_F(HelperRun, TheLogFolderComesFromTheCommandLineOrTheEnvironment)
{
    Child child = Run("execute-false", {"-LogSubFolder", "night/shift", "run", "-LogWithPID"});
    ASSERT_EQ(child.Wait(), 0);
    const fs::path folder = m_dir / "night_shift run" / std::to_string(child.Pid());
    EXPECT_EQ(child.Fact("logdir"), Native(folder));
    EXPECT_EQ(child.Fact("app"), "app_helper");
    EXPECT_EQ(child.Fact("logfile"), Native(folder / "app_helper.log"));
    EXPECT_TRUE(Has(Read(folder / "app_helper.log"), "app_helper Shut down"));

    // Without LogFolder: the machine's log folder from the environment, one folder per application;
    // without that either, a folder under the user's own.
    const std::string home = Native(m_dir / "home");
    const struct
    {
        Child::Environment environment;
        fs::path folder;
    } rows[] = {
        {{{"VARNEL_MACHINE_LOGS", Native(m_dir / "machine")}}, m_dir / "machine" / "app_helper"},
        {{{"VARNEL_MACHINE_LOGS", ""}, {"HOME", home}, {"USERPROFILE", home}},
         m_dir / "home" / "VarnelLogs" / "app_helper"},
    };
    for (const auto& row : rows) {
        Child child(Native(DOVO_APP_HELPER), {"-Case", "execute-false"}, m_dir, row.environment);
        ASSERT_EQ(child.Wait(), 0);
        EXPECT_EQ(child.Fact("logdir"), Native(row.folder));
        EXPECT_TRUE(fs::exists(row.folder / "app_helper.log"));
    }
}

TEST_F(HelperRun, TheStartupLogTakesTheFirstLinesThenTheLogFileTheRest)
{
    Child child = Run("execute-false");
    ASSERT_EQ(child.Wait(), 0);
    const std::string startup = StartupLog(child.Pid());
    EXPECT_TRUE(Has(startup, "Executable starting with its own command line parameters:\n\t-Case execute-false"))
        << startup;
    EXPECT_TRUE(Has(startup, "Set Log directory to " + Native(m_dir)));
    EXPECT_FALSE(Has(startup, "Shut down"));
    EXPECT_TRUE(Has(Log(), "Setting Log file to " + Native(m_dir / "app_helper.log") + " (level 6)"));

    // The helper starts with display level Info (5) and file level Debug (6); the level switches are
    // taken in the range -1 to 7 only. File level -1: nothing reaches the log file, which each run
    // starts anew.
    const struct
    {
        std::vector<std::string> words;
        const char *levels, *affinity;
        bool shutDownLogged;
    } rows[] = {
        {{"-LogFileLevel", "9", "-LogDisplayLevel", "-2", "-SetProcAffinity", "0", "2-3"}, "5 6", "0 2-3", true},
        {{"-LogFileLevel", "-1", "-LogDisplayLevel", "7"}, "7 -1", "", false},
    };
    for (const auto& row : rows) {
        Child child = Run("execute-false", row.words);
        ASSERT_EQ(child.Wait(), 0);
        EXPECT_EQ(child.Fact("levels"), row.levels);
        EXPECT_EQ(child.Fact("affinity"), row.affinity);
        EXPECT_EQ(Has(Log(), "Shut down"), row.shutDownLogged);
    }

    Child statistics = Run("statistics");
    ASSERT_EQ(statistics.Wait(), 0);
    EXPECT_EQ(statistics.Fact("report"), Native(m_dir / "Statistics.log"));
    const std::string report = Read(m_dir / "Statistics.log");
    EXPECT_EQ(report.rfind("app_helper: Started ", 0), 0u) << report;
    // The logs' part follows the application's.
    for (const char* text :
         {", Analyzed ", "\nCPU Usage: ", " ms total CPU time (", "\nAverage: ", "Logs Total Usage: "})
        EXPECT_TRUE(Has(report, text)) << text;
}

namespace {

// Lines reach a running program's log file through its logging thread: wait until they are there.
bool WaitForText(const fs::path& file, const std::string& text, int times = 1)
{
    for (int i = 0; i < 3000; ++i) {
        if (Occurrences(Read(file), text) >= times) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

std::vector<fs::path> FilesEndingIn(const fs::path& folder, const std::string& end)
{
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.size() >= end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0)
            found.push_back(entry.path());
    }
    return found;
}

} // namespace

TEST_F(HelperRun, AnotherRunControlsARunningProgramThroughItsListeners)
{
    Child app = Run("interrupt", {"-ListenForShutdown", "night/shift", "-ReportStatistics", "0.1"});
    ASSERT_TRUE(app.WaitForLine("running")) << app.Errors();
    const fs::path log = m_dir / "app_helper.log";
    // The report made at start and at least one made later.
    EXPECT_TRUE(WaitForText(log, "Reported: ", 2)) << Read(log);
    EXPECT_TRUE(Has(Read(log), "Statistics will be reported every 0.1 seconds"));
    EXPECT_EQ(FilesEndingIn(m_dir, "_Startup.log").size(), 1u);

    const std::string pid = std::to_string(app.Pid());
    const struct
    {
        Strings words;
        std::string logged;
    } rows[] = {
        {{"-SendToProc", pid, "REPORT"}, "Received request to report statistics"},
        {{"-SendToProc", pid, "FLY", "AWAY"}, "Unknown shutdown pipe command: FLY AWAY"},
        {{"-SendLogDump", pid}, "Received log dump reqeust on listening port " + pid},
        {{"-SendToProc", "night/shift", "IPFLUSH"}, "Received request to dump the IP address name cache"},
    };
    for (const auto& row : rows) {
        Child sender = Run("execute-false", row.words);
        EXPECT_EQ(sender.Wait(), 0) << row.logged << sender.Errors();
        EXPECT_FALSE(Has(sender.Output(), "execute 1")) << "a sending run never runs its loop";
        EXPECT_TRUE(WaitForText(log, row.logged)) << row.logged;
    }
    EXPECT_TRUE(fs::exists(m_dir / "Statistics.log"));
    EXPECT_TRUE(fs::exists(m_dir / "app_helper_GlobalLog_Dump.log"));

    Child stop = Run("execute-false", {"-SendShutdown", "night/shift"});
    EXPECT_EQ(stop.Wait(), 0);
    EXPECT_EQ(app.Wait(), 0) << app.Errors();
    const std::string text = Read(log);
    EXPECT_TRUE(Has(text, "Received Shutdown request on listening port night/shift"));
    EXPECT_TRUE(Has(text, "Statistics stopped"));

    // Nobody listens any more: the request fails at once.
    Child late = Run("execute-false", {"-SendShutdown", pid});
    EXPECT_EQ(late.Wait(), 1);
    EXPECT_TRUE(Has(late.Output() + late.Errors(), "Named pipe not available: ")) << late.Output();
}

TEST_F(HelperRun, TheStatisticsSwitchTakesPositiveNumbersOnly)
{
    const struct
    {
        Strings words;
        const char* every;
    } rows[] = {
        {{"-ReportStatistics"}, "900"},        {{"-ReportStatistics", "0"}, "30"},
        {{"-ReportStatistics", "soon"}, "30"}, {{"-ReportStatistics", "-5"}, "30"},
        {{"-ReportStatistics", "2.5"}, "2.5"},
    };
    for (const auto& row : rows) {
        Child child = Run("execute-false", row.words);
        ASSERT_EQ(child.Wait(), 0);
        const std::string text = Log();
        EXPECT_TRUE(Has(text, std::string("Statistics will be reported every ") + row.every + " seconds")) << text;
        EXPECT_TRUE(Has(text, "Statistics stopped"));
        ASSERT_EQ(FilesEndingIn(m_dir, "_Startup.log").size(), 1u);
        for (const fs::path& report : FilesEndingIn(m_dir, "_Startup.log")) {
            EXPECT_EQ(Read(report).rfind("app_helper: Started ", 0), 0u);
            fs::remove(report);
        }
    }
}
