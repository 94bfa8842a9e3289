#include "tests/support/Checks.h"
#include "tests/support/TestSupport.h"

#include <csignal>

namespace {

// The lines that show the life cycle, in the order they came.
Strings Stages(const Child& child)
{
    Strings stages;
    for (const std::string& line : child.OutputLines())
        if (line == "started" || line == "stopping" || line == "cleanup" || line == "stopped" ||
            line.rfind("execute", 0) == 0 || line.rfind("exception", 0) == 0 || line == "unknown exception")
            stages.push_back(line);
    return stages;
}

constexpr int kNotZero = 0x7FFFFFFF;

} // namespace

TEST_F(HelperRun, TheLifeCycleAndItsExitCodes)
{
    const std::string stars(53, '*'), onePass = "started|execute 1|stopping|cleanup|stopped";
    // Each row: the helper's case, its exit code, its life cycle's lines ("..." first: only the last ones),
    // texts its log holds and texts its standard error holds (each list split at "|").
    const struct
    {
        std::string name;
        int code;
        std::string stages, log, errors;
    } rows[] = {
        {"execute-false", 0, onePass, "app_helper Shut down", ""},
        {"return-code", 7, onePass, "", ""},
        {"startup-false", 0, "cleanup|stopped", "", ""},
        // An exception out of the start-up: the report names the start-up log; no error number gives 98.
        {"startup-throws", 98, "cleanup|stopped", "",
         "\n\n" + stars + "\n\nThe executable failed to start.\nPlease check the following log file for more " +
             "information\n\n\tStartup-|please send the Startup log file to Quenlith technical support\n\n" + stars},
        {"throw-handled", 0, "started|execute 1|exception pass failed|execute 2|stopping|cleanup|stopped", "", ""},
        {"throw-unhandled", 0, "started|execute 1|exception pass failed|stopping|cleanup|stopped",
         "\n\n\t*** Unhandled Exception! Exiting.\n|>>>>>>>> Dumping All Logs <<<<<<<<", ""},
        {"throw-unknown", 0, "started|execute 1|unknown exception|stopping|cleanup|stopped",
         "\n\n\t*** Unhandled UNKNOWN Exception! Exiting.\n", ""},
        {"cleanup-throws", 1, onePass, "Executable threw an exception in Stop!", ""},
        {"cleanup-unknown", 2, onePass, "Caught unknown exception in Executable Cleanup handler", ""},
        {"thread-fails", 0, "...|stopping|cleanup|stopped",
         "Child thread unhandled exception! Exiting: Failing Worker|>>>>>>>> Dumping All Logs <<<<<<<<", ""},
        {"pure-virtual", kNotZero, "started|execute 1",
         "A Pure virtual method was called.\n\tAn unhandled exception, maybe?", "pure virtual method called"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Child child = Run(row.name);
        const int code = child.Wait();
        EXPECT_TRUE(row.code == kNotZero ? code != 0 : code == row.code) << code;
        Strings stages = Stages(child), expected = Split(row.stages);
        if (expected[0] == "...") {
            expected.erase(expected.begin());
            stages.erase(stages.begin(), stages.end() - std::min(stages.size(), expected.size()));
        }
        EXPECT_EQ(stages, expected);
        for (const std::string& text : Split(row.log)) EXPECT_TRUE(Has(Log(), text)) << text << " not in\n" << Log();
        for (const std::string& text : Split(row.errors)) EXPECT_TRUE(Has(child.Errors(), text)) << text;
    }
    Child none(Native(DOVO_NO_EXECUTABLE_HELPER), {}, m_dir);
    EXPECT_EQ(none.Wait(), Exit(-1));
    EXPECT_EQ(none.Output(), "There's no executable object\n");
}

TEST_F(HelperRun, InterruptsStopTheProgram)
{
    // The handler's decision for each event, asked as the system asks it: Ctrl-C, Ctrl-Break, close,
    // log-off (for a program that is not a service) and shutdown stop the program; others are left alone.
    for (const int event : {0, 1, 2, 3, 4, 5, 6, 7}) {
        SCOPED_TRACE(event);
        Child child = Run("console-event", {"-Event", std::to_string(event)});
        EXPECT_EQ(child.Wait(), 0) << child.Errors();
        const bool stops = event <= 2 || event == 5 || event == 6;
        EXPECT_EQ(Has(Log(), "Unhandled interrupt! Exiting."), stops);
        EXPECT_EQ(child.WaitForLine("execute 20", 0), !stops);
        EXPECT_TRUE(child.WaitForLine("event handled", 0));
    }
    // (The events above are asked for, not sent: they run under every runtime.)
    DOVO_SKIP_UNDER_SIGNAL_DEFERRING_RUNTIME();
    // (On Windows Ctrl-C is the only event one process can send another.)
    const std::vector<int> events = OnWindows() ? std::vector<int>{0} : std::vector<int>{0, 1, 2, 6};
    for (const int event : events) {
        SCOPED_TRACE(event);
        Child child = Run("interrupt");
        ASSERT_TRUE(child.WaitForLine("running"));
        child.Interrupt(event);
        EXPECT_EQ(child.Wait(), 0);
        const Strings stages = Stages(child);
        ASSERT_GE(stages.size(), 3u);
        EXPECT_EQ(Strings(stages.end() - 3, stages.end()), (Strings{"stopping", "cleanup", "stopped"}));
        EXPECT_TRUE(Has(Log(), "Unhandled interrupt! Exiting."));
    }
    // A program that does not stop within 10 seconds is ended with exit code 3.
    Child stuck = Run("interrupt-stuck");
    ASSERT_TRUE(stuck.WaitForLine("running"));
    stuck.Interrupt(0);
    EXPECT_EQ(stuck.Wait(), 3);
    EXPECT_TRUE(Has(Log(), "Interrupt signaled the Executable, but timed out waiting for it to die."));
    EXPECT_TRUE(Has(Log(), ">>>>>>>> Dumping All Logs <<<<<<<<"));
    EXPECT_EQ(Stages(stuck), (Strings{"started", "execute 1"}));
}

TEST_F(HelperRun, AnInterruptAsTheProgramEndsLeavesItsExitCode)
{
    // At varied moments: while it stops, after its clean-up, and while its statics are destroyed (the
    // helper lingers there). A lost signal changes nothing either.
    const char* moments[] = {"execute 1", "stopped", "exiting"};
    for (int run = 0; run < 24; ++run) {
        SCOPED_TRACE(run);
        Child child = Run("exit-race");
        ASSERT_TRUE(child.WaitForLine(moments[run % 3]));
        child.Interrupt(0);
        EXPECT_EQ(child.Wait(), 0) << child.Errors();
    }
}

// (Named for the sanitizers' filters: a fault handler allocates, which ThreadSanitizer reports.)
using FaultRun = HelperRun;

TEST_F(FaultRun, AFaultOnAThreadThatDoesNotTranslateIsReportedAndEndsTheProcess)
{
    Child child = Run("fault-elsewhere");
    EXPECT_EQ(child.Wait(), OnWindows() ? static_cast<int>(0xC0000005u) : Child::KilledBy - SIGSEGV);
    EXPECT_TRUE(Has(child.Errors(), "Unhandled processor fault:")) << child.Errors();
    EXPECT_TRUE(Has(child.Errors(), "Access violation"));
}
