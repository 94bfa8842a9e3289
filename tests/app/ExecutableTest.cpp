#include "tests/app/HelperFixture.h"

#include <csignal>

namespace {

using Lines = std::vector<std::string>;

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// The lines that show the life cycle, in the order they came.
Lines Stages(Child& child)
{
    Lines stages;
    for (const std::string& line : child.OutputLines())
        if (line == "started" || line == "stopping" || line == "cleanup" || line == "stopped" ||
            line.rfind("execute", 0) == 0 || line.rfind("exception", 0) == 0 || line == "unknown exception")
            stages.push_back(line);
    return stages;
}

} // namespace

TEST_F(HelperRun, WithoutAnExecutableObjectMainSaysSoAndFails)
{
    Child child(HelperPath(DOVO_NO_EXECUTABLE_HELPER), Child::Options{});
    EXPECT_EQ(child.Wait(), Exit(-1));
    EXPECT_EQ(child.Output(), "There's no executable object\n");
}

TEST_F(HelperRun, TheRunLoopEndsWhenExecuteReturnsFalse)
{
    Child child(Helper(), Case("execute-false"));
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(Stages(child), (Lines{"started", "execute 1", "stopping", "cleanup", "stopped"}));
    const std::string log = Log();
    EXPECT_TRUE(Has(log, "app_helper Shut down")) << log;

    // The application's own return code becomes the exit code.
    Child coded(Helper(), Case("return-code"));
    EXPECT_EQ(coded.Wait(), 7);
}

TEST_F(HelperRun, AStartupThatFailsSkipsTheRunLoopButNotTheCleanup)
{
    Child child(Helper(), Case("startup-false"));
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(Stages(child), (Lines{"cleanup", "stopped"}));

    // An exception out of the start-up: the report names the start-up log, the exit code is 98 for an
    // exception without an error number.
    Child throwing(Helper(), Case("startup-throws"));
    EXPECT_EQ(throwing.Wait(), 98);
    EXPECT_EQ(Stages(throwing), (Lines{"cleanup", "stopped"}));
    const std::string report = throwing.Errors();
    EXPECT_TRUE(Has(report, "\n\n" + std::string(53, '*') +
                                "\n\nThe executable failed to start.\nPlease check the "
                                "following log file for more information\n\n\tStartup-"))
        << report;
    EXPECT_TRUE(
        Has(report, "please send the Startup log file to Quenlith technical support\n\n" + std::string(53, '*')));
}

TEST_F(HelperRun, ExceptionsFromExecuteGoToOnException)
{
    // Handled: the loop goes on with the next pass.
    Child handled(Helper(), Case("throw-handled"));
    EXPECT_EQ(handled.Wait(), 0);
    EXPECT_EQ(Stages(handled),
              (Lines{"started", "execute 1", "exception pass failed", "execute 2", "stopping", "cleanup", "stopped"}));

    // Not handled: the default logs and dumps it, and the process stops after that pass.
    Child unhandled(Helper(), Case("throw-unhandled"));
    EXPECT_EQ(unhandled.Wait(), 0);
    EXPECT_EQ(Stages(unhandled),
              (Lines{"started", "execute 1", "exception pass failed", "stopping", "cleanup", "stopped"}));
    std::string log = Log();
    EXPECT_TRUE(Has(log, "\n\n\t*** Unhandled Exception! Exiting.\n")) << log;
    EXPECT_TRUE(Has(log, ">>>>>>>> Dumping All Logs <<<<<<<<"));

    Child unknown(Helper(), Case("throw-unknown"));
    EXPECT_EQ(unknown.Wait(), 0);
    EXPECT_EQ(Stages(unknown), (Lines{"started", "execute 1", "unknown exception", "stopping", "cleanup", "stopped"}));
    log = Log();
    EXPECT_TRUE(Has(log, "\n\n\t*** Unhandled UNKNOWN Exception! Exiting.\n")) << log;
}

TEST_F(HelperRun, FailuresInTheCleanupSetTheExitCode)
{
    Child throwing(Helper(), Case("cleanup-throws"));
    EXPECT_EQ(throwing.Wait(), 1);
    EXPECT_EQ(Stages(throwing), (Lines{"started", "execute 1", "stopping", "cleanup", "stopped"}));
    EXPECT_TRUE(Has(Log(), "Executable threw an exception in Stop!"));

    Child unknown(Helper(), Case("cleanup-unknown"));
    EXPECT_EQ(unknown.Wait(), 2);
    EXPECT_TRUE(Has(Log(), "Caught unknown exception in Executable Cleanup handler"));
}

TEST_F(HelperRun, AFailingThreadStopsTheProcess)
{
    Child child(Helper(), Case("thread-fails"));
    EXPECT_EQ(child.Wait(), 0);
    const Lines stages = Stages(child);
    ASSERT_GE(stages.size(), 4u);
    EXPECT_EQ(Lines(stages.end() - 3, stages.end()), (Lines{"stopping", "cleanup", "stopped"}));
    const std::string log = Log();
    EXPECT_TRUE(Has(log, "Child thread unhandled exception! Exiting: Failing Worker")) << log;
    EXPECT_TRUE(Has(log, ">>>>>>>> Dumping All Logs <<<<<<<<"));
}

TEST_F(HelperRun, AnInterruptStopsTheProgram)
{
    DOVO_SKIP_UNDER_SIGNAL_DEFERRING_RUNTIME();
#ifdef _WIN32
    const int events[] = {0}; // the only event one process can send another
#else
    const int events[] = {0, 1, 2, 6};
#endif
    for (const int event : events) {
        SCOPED_TRACE(event);
        Child child(Helper(), Case("interrupt"));
        ASSERT_TRUE(child.WaitForLine("running"));
        child.Interrupt(event);
        EXPECT_EQ(child.Wait(), 0);
        const Lines stages = Stages(child);
        ASSERT_GE(stages.size(), 3u);
        EXPECT_EQ(Lines(stages.end() - 3, stages.end()), (Lines{"stopping", "cleanup", "stopped"}));
        EXPECT_TRUE(Has(Log(), "Unhandled interrupt! Exiting."));
    }
}

TEST_F(HelperRun, TheInterruptHandlerStopsTheProgramOnlyForItsEvents)
{
    // Ctrl-C, Ctrl-Break, close, log-off (for a program that is not a service) and shutdown stop it;
    // any other event is left alone.
    for (const int event : {0, 1, 2, 3, 4, 5, 6, 7}) {
        SCOPED_TRACE(event);
        Child child(Helper(), Case("console-event", {"-Event", std::to_string(event)}));
        EXPECT_EQ(child.Wait(), 0);
        const bool stops = event <= 2 || event == 5 || event == 6;
        EXPECT_EQ(Has(Log(), "Unhandled interrupt! Exiting."), stops);
        EXPECT_EQ(child.WaitForLine("execute 20", 0), !stops);
        EXPECT_TRUE(child.WaitForLine("event handled", 0));
        std::filesystem::remove(m_dir / "app_helper.log");
    }
}

TEST_F(HelperRun, AProgramThatDoesNotStopWithin10SecondsOfAnInterruptIsEnded)
{
    DOVO_SKIP_UNDER_SIGNAL_DEFERRING_RUNTIME();
    Child child(Helper(), Case("interrupt-stuck"));
    ASSERT_TRUE(child.WaitForLine("running"));
    child.Interrupt(0);
    EXPECT_EQ(child.Wait(), 3);
    const std::string log = Log();
    EXPECT_TRUE(Has(log, "Interrupt signaled the Executable, but timed out waiting for it to die.")) << log;
    EXPECT_TRUE(Has(log, ">>>>>>>> Dumping All Logs <<<<<<<<"));
    EXPECT_EQ(Stages(child), (Lines{"started", "execute 1"}));
}

TEST_F(HelperRun, APureVirtualCallIsReportedBeforeTheProcessEnds)
{
    Child child(Helper(), Case("pure-virtual"));
    const int code = child.Wait();
    EXPECT_NE(code, 0);
    EXPECT_TRUE(Has(Log(), "A Pure virtual method was called.\n\tAn unhandled exception, maybe?"));
    EXPECT_TRUE(Has(child.Errors(), "pure virtual method called"));
}

// (Named for the sanitizers' filters: a fault handler allocates, which ThreadSanitizer reports.)
using FaultRun = HelperRun;

TEST_F(FaultRun, AFaultOnAThreadThatDoesNotTranslateIsReportedAndEndsTheProcess)
{
    Child child(Helper(), Case("fault-elsewhere"));
    const int code = child.Wait();
#ifdef _WIN32
    EXPECT_EQ(static_cast<unsigned>(code), 0xC0000005u);
#else
    EXPECT_EQ(code, Child::KilledBy - SIGSEGV);
#endif
    EXPECT_TRUE(Has(child.Errors(), "Unhandled processor fault:")) << child.Errors();
    EXPECT_TRUE(Has(child.Errors(), "Access violation"));
}
