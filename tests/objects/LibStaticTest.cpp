#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/LibStatic.h>

#include "objects/ExceptionHooks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace dovo {
// The program's start and end call these; the test stands in for them.
struct LibStaticAccess
{
    static void Startup(CommandLine& c) { LibStatic::NotifyStartup(c); }
    static void Cleanup() { LibStatic::NotifyCleanup(); }
};
} // namespace dovo

using namespace dovo;

namespace {

std::vector<std::pair<int, std::string>> g_lines;
void Writer(signed char level, const String& text) { g_lines.emplace_back(level, text.str()); }

class Recording : public LibStatic
{
public:
    enum Failure { None, LibraryException, Unknown };
    Recording(const char* name, Failure failure) : LibStatic(name), m_failure(failure) {}

    void OnLibStartup(CommandLine& commandLine) override
    {
        startedWith = commandLine.GetArgument("name", 0, String("none"));
        startedDuringHook = IsLibStarted();
        Fail("startup");
    }
    void OnLibCleanup() override
    {
        cleanedUp = true;
        startedDuringCleanup = IsLibStarted();
        Fail("cleanup");
    }

    String startedWith;
    bool startedDuringHook = false;
    bool cleanedUp = false;
    bool startedDuringCleanup = true;

private:
    void Fail(const char* when)
    {
        if (m_failure == LibraryException) Exception::Throw("Test", when, 1, String("failed in ") + when, 0, "", 1);
        if (m_failure == Unknown) throw 42;
    }
    Failure m_failure;
};

unsigned Address(const void* p) { return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(p)); }

} // namespace

TEST(LibStatic, OneFailingStaticNeverStopsTheOthers)
{
    g_lines.clear();
    hooks::SetExceptionLogWriter(Writer, nullptr);
    {
        Recording good("Good", Recording::None);
        Recording throwing("Throwing", Recording::LibraryException);
        Recording unknown("Unknown", Recording::Unknown);
        EXPECT_FALSE(good.IsLibStarted());

        CommandLine commandLine(String("prog -name shot"));
        LibStaticAccess::Startup(commandLine);
        for (Recording* r : {&good, &throwing, &unknown}) {
            EXPECT_TRUE(r->IsLibStarted());
            EXPECT_TRUE(r->startedDuringHook);
            EXPECT_EQ(r->startedWith, "shot");
        }
        const auto has = [](int level, const std::string& text) {
            for (const auto& [l, t] : g_lines)
                if (l == level && t == text) return true;
            return false;
        };
        EXPECT_TRUE(has(3, std::string(SFormat("Caught Exception in startup method of registered LibStatic 0x%08X: "
                                               "failed in startup",
                                               Address(&throwing)))));
        EXPECT_TRUE(has(1, std::string(SFormat("Registered LibStatic 0x%08X (Unknown) threw an unknown exception in "
                                               "Startup",
                                               Address(&unknown)))));

        LibStaticAccess::Cleanup();
        for (Recording* r : {&good, &throwing, &unknown}) {
            EXPECT_FALSE(r->IsLibStarted());
            EXPECT_TRUE(r->cleanedUp);
            EXPECT_FALSE(r->startedDuringCleanup);
        }
        EXPECT_TRUE(has(3, std::string(SFormat("Caught Exception in cleanup method of registered static 0x%08X: "
                                               "failed in cleanup",
                                               Address(&throwing)))));
    }
    // Destroyed statics are no longer visited.
    g_lines.clear();
    CommandLine empty;
    LibStaticAccess::Startup(empty);
    LibStaticAccess::Cleanup();
    EXPECT_TRUE(g_lines.empty());
    hooks::SetExceptionLogWriter(nullptr, nullptr);
}
