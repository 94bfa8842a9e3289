#include "tests/app/HelperFixture.h"

#include <cstdio>

namespace fs = std::filesystem;

namespace {

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// The value the helper printed after "key ".
std::string Fact(Child& child, const std::string& key)
{
    for (const std::string& line : child.OutputLines())
        if (line.rfind(key + " ", 0) == 0) return line.substr(key.size() + 1);
    return "<" + key + " not printed>";
}

std::string Joined(const fs::path& path) { return Native(path); }

} // namespace

TEST_F(HelperRun, TheLogFolderComesFromTheCommandLineOrTheEnvironment)
{
    {
        Child child(Helper(), Case("execute-false", {"-LogSubFolder", "night/shift", "run", "-LogWithPID"}));
        ASSERT_EQ(child.Wait(), 0);
        const fs::path folder = m_dir / "night_shift run" / std::to_string(child.Pid());
        EXPECT_EQ(Fact(child, "logdir"), Joined(folder));
        EXPECT_EQ(Fact(child, "app"), "app_helper");
        EXPECT_EQ(Fact(child, "logfile"), Joined(folder / "app_helper.log"));
        EXPECT_TRUE(Has(Read(folder / "app_helper.log"), "app_helper Shut down"));
    }
    {
        // Without LogFolder: the machine's log folder from the environment, one folder per application.
        Child::Options options = Case("execute-false");
        options.arguments = {"-Case", "execute-false"};
        options.environment = {{"VARNEL_MACHINE_LOGS", Native(m_dir / "machine")}};
        Child child(Helper(), options);
        ASSERT_EQ(child.Wait(), 0);
        EXPECT_EQ(Fact(child, "logdir"), Joined(m_dir / "machine" / "app_helper"));

        // Neither: a folder under the user's own.
        options.environment = {
            {"VARNEL_MACHINE_LOGS", ""}, {"HOME", Native(m_dir / "home")}, {"USERPROFILE", Native(m_dir / "home")}};
        Child user(Helper(), options);
        ASSERT_EQ(user.Wait(), 0);
        EXPECT_EQ(Fact(user, "logdir"), Joined(m_dir / "home" / "VarnelLogs" / "app_helper"));
        EXPECT_TRUE(fs::exists(m_dir / "home" / "VarnelLogs" / "app_helper" / "app_helper.log"));
    }
}

TEST_F(HelperRun, TheStartupLogIsNamedAfterTheProcessAndTakesTheFirstLines)
{
    Child child(Helper(), Case("execute-false"));
    ASSERT_EQ(child.Wait(), 0);
    const std::string startup = StartupLog(child.Pid());
    EXPECT_TRUE(Has(startup, "Executable starting with its own command line parameters:\n\t-Case execute-false"))
        << startup;
    EXPECT_TRUE(Has(startup, "Set Log directory to " + Native(m_dir)));
    EXPECT_FALSE(Has(startup, "Shut down"));
    EXPECT_TRUE(Has(Log(), "Setting Log file to " + Native(m_dir / "app_helper.log") + " (level 6)"));
}

TEST_F(HelperRun, LogLevelSwitchesAreTakenOnlyInRange)
{
    // The helper starts with display level Info (5) and file level Debug (6).
    Child ignored(Helper(), Case("execute-false", {"-LogFileLevel", "9", "-LogDisplayLevel", "-2"}));
    ASSERT_EQ(ignored.Wait(), 0);
    EXPECT_EQ(Fact(ignored, "levels"), "5 6");
    EXPECT_TRUE(Has(Log(), "Shut down"));
    fs::remove(m_dir / "app_helper.log");

    Child taken(Helper(), Case("execute-false", {"-LogFileLevel", "-1", "-LogDisplayLevel", "7"}));
    ASSERT_EQ(taken.Wait(), 0);
    EXPECT_EQ(Fact(taken, "levels"), "7 -1");
    // File level -1: nothing reaches the log file, not even the shut-down line.
    EXPECT_FALSE(Has(Log(), "Shut down"));
}

TEST_F(HelperRun, TheProcessorAffinityIsHandedToChildrenThroughTheEnvironment)
{
    Child child(Helper(), Case("execute-false", {"-SetProcAffinity", "0", "2-3"}));
    ASSERT_EQ(child.Wait(), 0);
    EXPECT_EQ(Fact(child, "affinity"), "0 2-3");
}

TEST_F(HelperRun, AStatisticsReportGoesToTheLogFolder)
{
    Child child(Helper(), Case("statistics"));
    ASSERT_EQ(child.Wait(), 0);
    EXPECT_EQ(Fact(child, "report"), Native(m_dir / "Statistics.log"));
    const std::string report = Read(m_dir / "Statistics.log");
    EXPECT_EQ(report.rfind("app_helper: Started ", 0), 0u) << report;
    EXPECT_TRUE(Has(report, ", Analyzed "));
    EXPECT_TRUE(Has(report, "\nCPU Usage: ")) << report;
    EXPECT_TRUE(Has(report, " ms total CPU time ("));
    EXPECT_TRUE(Has(report, "\nAverage: "));
    // The logs' part follows the application's.
    EXPECT_TRUE(Has(report, "Logs Total Usage: "));
}
