#include <dovo/Platform.h>

#include "support/Checks.h"
#include "support/TestSupport.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <future>
#include <regex>
#include <string>
#include <vector>

using dovo::Platform;
using dovo::String;

namespace {

const bool kWindows = OnWindows();

std::string Upper(std::string s)
{
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// Names compare as the system compares them: without case on Windows.
std::string Key(const String& entry)
{
    const std::string name = entry.str().substr(0, entry.str().find('=', 1));
    return kWindows ? Upper(name) : name;
}

// The entry for name in the block, or "" when the block has none; fails on a second entry.
std::string EntryFor(const std::vector<String>& block, const std::string& name)
{
    std::string found;
    for (const String& entry : block)
        if (Key(entry) == Key(name)) {
            EXPECT_EQ(found, "") << name << " appears twice";
            found = entry.str();
        }
    return found;
}

template <class F>
auto OnOtherThread(F f)
{
    return std::async(std::launch::async, f).get();
}

std::string Unique(const char* stem) { return std::string("DOVO_TEST_") + stem + "_" + std::to_string(OsProcessId()); }

} // namespace

TEST(Platform, IdentityAndProcessorsMatchTheOperatingSystem)
{
    // The first use races from several threads: all must see the same counts.
    std::vector<std::future<std::vector<int>>> seen;
    for (int i = 0; i < 4; ++i)
        seen.push_back(std::async(std::launch::async, [] {
            return std::vector<int>{Platform::ProcessorSockets(), Platform::ProcessorCores(),
                                    Platform::ProcessorThreads()};
        }));
    const std::vector<int> counts = seen[0].get();
    for (std::size_t i = 1; i < seen.size(); ++i) EXPECT_EQ(seen[i].get(), counts);
    EXPECT_TRUE(1 <= counts[0] && counts[0] <= counts[1] && counts[1] <= counts[2]);
    EXPECT_EQ(counts[2], OsLogicalProcessors());

    EXPECT_EQ(Platform::ComputerName().str(), OsComputerName());
    EXPECT_EQ(Platform::UserName().str(), OsUserName());
    EXPECT_FALSE(Platform::ComputerName().Empty() || Platform::UserName().Empty());
    EXPECT_EQ(Platform::ProcessId(), OsProcessId());
    const std::string banner = Platform::VersionBanner().str();
    EXPECT_TRUE(std::regex_match(banner, std::regex(std::string(R"(Dovo [0-9]+\.[0-9]+\.[0-9]+ \()") +
                                                    (kWindows ? "Windows" : "Linux") + R"( [A-Za-z0-9_]+\))")))
        << banner;
    Platform::SetRunningAsService(true); // for every thread
    EXPECT_TRUE(OnOtherThread([] { return Platform::RunningAsService(); }));
    Platform::SetRunningAsService(false);
    EXPECT_FALSE(Platform::RunningAsService());
}

TEST(Platform, ProcessWideEnvironmentIsSeenByEveryThreadAndGetenv)
{
    const std::string name = Unique("WIDE"), entry = name + "=one two=three";
    Platform::SetEnvironment(name, "one two=three", false);
    const char* raw = std::getenv(name.c_str());
    EXPECT_STREQ(raw ? raw : "(none)", "one two=three");
    EXPECT_EQ(OnOtherThread([&] {
                  return Platform::GetEnvironment(name).str() + "|" + EntryFor(Platform::EnvironmentBlock(), name);
              }),
              "one two=three|" + entry);
    // Without overrides, the block is the process environment as getenv reads it.
    for (const String& e : Platform::EnvironmentBlock()) {
        const std::string n = e.str().substr(0, e.str().find('=', 1));
        if (n.empty() || n[0] == '=') continue; // Windows' per-drive folders
        const char* value = std::getenv(n.c_str());
        EXPECT_EQ(e.str(), n + "=" + (value ? value : "(none)"));
    }
    Platform::SetEnvironment(name, "", false);
    EXPECT_EQ(std::getenv(name.c_str()), nullptr);
    EXPECT_TRUE(Platform::GetEnvironment(name).Empty());
    EXPECT_EQ(EntryFor(Platform::EnvironmentBlock(), name), "");
}

TEST(Platform, ThreadOverridesStayOnTheirThreadAndTheBlockIsSorted)
{
    const std::string shared = Unique("SHARED"), own = Unique("OWN"), hidden = Unique("HIDDEN");
    std::string lower = shared;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    Platform::SetEnvironment(shared, "process", false);
    Platform::SetEnvironment(hidden, "visible", false);
    // What a name reads as, what the block holds for it: on the thread that overrides, then here.
    const auto seen = [](const std::vector<std::string>& names) {
        std::vector<std::string> values;
        const std::vector<String> block = Platform::EnvironmentBlock();
        for (const std::string& n : names)
            values.push_back(Platform::GetEnvironment(n).str() + "|" + EntryFor(block, n));
        return values;
    };
    EXPECT_EQ(OnOtherThread([&] {
                  Platform::SetEnvironment(shared, "thread", true);
                  Platform::SetEnvironment(own, "mine", true);
                  Platform::SetEnvironment(hidden, "", true); // an empty override hides the name
                  return seen({shared, own, hidden});
              }),
              (std::vector<std::string>{"thread|" + shared + "=thread", "mine|" + own + "=mine", "|"}));
    EXPECT_EQ(seen({shared, own, hidden}),
              (std::vector<std::string>{"process|" + shared + "=process", "|", "visible|" + hidden + "=visible"}));
    EXPECT_EQ(std::getenv(own.c_str()), nullptr);

    // A process-wide set from a thread replaces that thread's own override.
    Platform::SetEnvironment(shared, "mine only", true);
    EXPECT_EQ(Platform::GetEnvironment(shared).str(), "mine only");
    Platform::SetEnvironment(shared, "again", false);
    EXPECT_EQ(Platform::GetEnvironment(shared).str(), "again");
    // Names that differ by case only: one name on Windows, two on Linux.
    Platform::SetEnvironment(lower, "lower", true);
    const std::vector<std::string> cased = seen({shared, lower});
    const std::string both = cased[0] + " " + cased[1];
    EXPECT_EQ(kWindows ? Upper(both) : both, kWindows ? Upper("lower|" + shared + "=lower lower|" + shared + "=lower")
                                                      : "again|" + shared + "=again lower|" + lower + "=lower");

    // Sorted by name, as the system orders them ('_' lies between 'Z' and 'a').
    const std::vector<std::string> names = {Unique("Sort_b"), Unique("SORTA"), Unique("Sort_")};
    for (std::size_t i = 0; i < names.size(); ++i) Platform::SetEnvironment(names[i], "1", i > 0);
    const std::vector<String> block = Platform::EnvironmentBlock();
    for (std::size_t i = 1; i < block.size(); ++i) EXPECT_LT(Key(block[i - 1]), Key(block[i])) << "entry " << i;
    for (const std::string& n : names) EXPECT_NE(EntryFor(block, n), "") << n;
    for (const std::string& n : {shared, lower, hidden, names[0], names[1], names[2]})
        Platform::SetEnvironment(n, "", false);
}
