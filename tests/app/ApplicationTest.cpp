#include "tests/support/TestSupport.h"

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
