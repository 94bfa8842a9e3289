#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/LibStatic.h>

#include "objects/ExceptionHooks.h"

#include <gtest/gtest.h>

#include "support/LibStaticAccess.h"

#include <set>
#include <string>

using namespace dovo;

namespace {

std::set<std::string> g_lines; // "level text"
void Writer(signed char level, const String& text) { g_lines.insert(std::to_string(level) + " " + text.str()); }

// Fails in both hooks as told: 0 not at all, 1 with a library exception, 2 with anything else.
class Recording : public LibStatic
{
public:
    Recording(const char* name, int failure) : LibStatic(name), m_failure(failure) {}
    void OnLibStartup(CommandLine& commandLine) override
    {
        seen += "startup " + commandLine.GetArgument("name", 0, String("none")).str() + (IsLibStarted() ? "+" : "-");
        Fail("startup");
    }
    void OnLibCleanup() override
    {
        seen += " cleanup" + std::string(IsLibStarted() ? "+" : "-");
        Fail("cleanup");
    }
    std::string seen;

private:
    void Fail(const char* when)
    {
        if (m_failure == 1) Exception::Throw("Test", when, 1, String("failed in ") + when, 0, "", 1);
        if (m_failure == 2) throw 42;
    }
    int m_failure;
};

} // namespace

TEST(LibStatic, OneFailingStaticNeverStopsTheOthers)
{
    hooks::SetExceptionLogWriter(Writer, nullptr);
    {
        Recording good("Good", 0), throwing("Throwing", 1), unknown("Unknown", 2);
        EXPECT_FALSE(good.IsLibStarted());
        CommandLine commandLine(String("prog -name shot"));
        LibStaticAccess::Startup(commandLine);
        LibStaticAccess::Cleanup();
        for (Recording* r : {&good, &throwing, &unknown}) {
            EXPECT_EQ(r->seen, "startup shot+ cleanup-");
            EXPECT_FALSE(r->IsLibStarted());
        }
        const auto address = [](const void* p) { return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(p)); };
        for (const String& line :
             {SFormat("3 Caught Exception in startup method of registered LibStatic 0x%08X: failed in startup",
                      address(&throwing)),
              SFormat("1 Registered LibStatic 0x%08X (Unknown) threw an unknown exception in Startup",
                      address(&unknown)),
              SFormat("3 Caught Exception in cleanup method of registered static 0x%08X: failed in cleanup",
                      address(&throwing))})
            EXPECT_EQ(g_lines.count(line.str()), 1u) << line.str();
    }
    // Destroyed statics are no longer visited.
    g_lines.clear();
    CommandLine empty;
    LibStaticAccess::Startup(empty);
    LibStaticAccess::Cleanup();
    EXPECT_TRUE(g_lines.empty());
    hooks::SetExceptionLogWriter(nullptr, nullptr);
}
