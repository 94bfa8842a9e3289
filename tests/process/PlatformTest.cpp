#include <dovo/Platform.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#ifdef _WIN32
#include "core/Win32Support.h"
#else
#include <pwd.h>
#include <unistd.h>
#endif

using dovo::Platform;
using dovo::String;

namespace {

#ifdef _WIN32
constexpr bool kWindows = true;

std::string OsComputerName()
{
    char name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = sizeof name;
    return GetComputerNameA(name, &size) ? std::string(name, size) : std::string();
}
std::string OsUserName()
{
    char name[257] = {};
    DWORD size = sizeof name;
    return GetUserNameA(name, &size) ? std::string(name) : std::string();
}
unsigned OsProcessId() { return GetCurrentProcessId(); }
int OsLogicalProcessors() { return static_cast<int>(GetActiveProcessorCount(ALL_PROCESSOR_GROUPS)); }
#else
constexpr bool kWindows = false;

std::string OsComputerName()
{
    char name[256] = {};
    return gethostname(name, sizeof name - 1) == 0 ? std::string(name) : std::string();
}
std::string OsUserName()
{
    const passwd* entry = getpwuid(geteuid());
    if (entry) return entry->pw_name;
    const char* user = std::getenv("USER");
    return user ? user : "";
}
unsigned OsProcessId() { return static_cast<unsigned>(getpid()); }
int OsLogicalProcessors() { return static_cast<int>(std::thread::hardware_concurrency()); }
#endif

std::string Upper(std::string s)
{
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

std::string NameOf(const String& entry)
{
    std::size_t eq = entry.str().find('=', 1);
    return entry.str().substr(0, eq);
}

// The entry for name in the block, or "" when the block has none; fails on a second entry.
std::string EntryFor(const std::vector<String>& block, const std::string& name)
{
    std::string found;
    int count = 0;
    for (const String& entry : block) {
        bool same = kWindows ? Upper(NameOf(entry)) == Upper(name) : NameOf(entry) == name;
        if (same) {
            found = entry.str();
            ++count;
        }
    }
    EXPECT_LE(count, 1) << "name " << name << " appears " << count << " times";
    return found;
}

// Runs f on a fresh thread (with no overrides of its own) and waits for it.
template <class F>
void OnOtherThread(F f)
{
    std::thread t(f);
    t.join();
}

std::string UniqueName(const char* stem)
{
    return std::string("DOVO_TEST_") + stem + "_" + std::to_string(OsProcessId());
}

} // namespace

TEST(Platform, ProcessorCountsAreConsistentAndComputedOnce)
{
    // The first use races from several threads: all must see the same counts.
    std::vector<std::thread> threads;
    std::vector<std::vector<int>> seen(4);
    for (auto& s : seen)
        threads.emplace_back([&s] {
            s = {Platform::ProcessorSockets(), Platform::ProcessorCores(), Platform::ProcessorThreads()};
        });
    for (auto& t : threads) t.join();
    for (const auto& s : seen) EXPECT_EQ(s, seen[0]);

    int sockets = Platform::ProcessorSockets(), cores = Platform::ProcessorCores();
    int logical = Platform::ProcessorThreads();
    EXPECT_GE(sockets, 1);
    EXPECT_GE(cores, sockets);
    EXPECT_GE(logical, cores);
    EXPECT_EQ(logical, OsLogicalProcessors());
}

TEST(Platform, IdentityMatchesTheOperatingSystem)
{
    EXPECT_FALSE(Platform::ComputerName().Empty());
    EXPECT_EQ(Platform::ComputerName().str(), OsComputerName());
    EXPECT_FALSE(Platform::UserName().Empty());
    EXPECT_EQ(Platform::UserName().str(), OsUserName());
    EXPECT_EQ(Platform::ProcessId(), OsProcessId());
    EXPECT_NE(Platform::ProcessId(), 0u);

    std::string banner = Platform::VersionBanner().str();
    std::regex shape(R"(Dovo [0-9]+\.[0-9]+\.[0-9]+ \((Linux|Windows) [A-Za-z0-9_]+\))");
    EXPECT_TRUE(std::regex_match(banner, shape)) << banner;
    EXPECT_NE(banner.find(kWindows ? "(Windows " : "(Linux "), std::string::npos) << banner;

    EXPECT_FALSE(Platform::RunningAsService());
    Platform::SetRunningAsService(true);
    bool seenElsewhere = false;
    OnOtherThread([&] { seenElsewhere = Platform::RunningAsService(); });
    EXPECT_TRUE(seenElsewhere);
    Platform::SetRunningAsService(false);
    EXPECT_FALSE(Platform::RunningAsService());
}

TEST(Platform, ProcessWideEnvironmentIsSeenByEveryThreadAndGetenv)
{
    const std::string name = UniqueName("WIDE");
    Platform::SetEnvironment(name, "one two=three", false);
    const char* raw = std::getenv(name.c_str());
    ASSERT_NE(raw, nullptr);
    EXPECT_STREQ(raw, "one two=three");
    EXPECT_EQ(EntryFor(Platform::EnvironmentBlock(), name), name + "=one two=three");
    std::string otherValue, otherEntry;
    OnOtherThread([&] {
        otherValue = Platform::GetEnvironment(name).str();
        otherEntry = EntryFor(Platform::EnvironmentBlock(), name);
    });
    EXPECT_EQ(otherValue, "one two=three");
    EXPECT_EQ(otherEntry, name + "=one two=three");

    // Without overrides, the block is the process environment as getenv reads it.
    for (const String& entry : Platform::EnvironmentBlock()) {
        std::string n = NameOf(entry);
        if (n.empty() || n[0] == '=') continue;
        const char* value = std::getenv(n.c_str());
        ASSERT_NE(value, nullptr) << n;
        EXPECT_EQ(entry.str(), n + "=" + value);
    }

    Platform::SetEnvironment(name, "", false);
    EXPECT_EQ(std::getenv(name.c_str()), nullptr);
    EXPECT_TRUE(Platform::GetEnvironment(name).Empty());
    EXPECT_EQ(EntryFor(Platform::EnvironmentBlock(), name), "");
}

TEST(Platform, ThreadOverridesStayOnTheirThread)
{
    const std::string shared = UniqueName("SHARED"), own = UniqueName("OWN"), hidden = UniqueName("HIDDEN");
    Platform::SetEnvironment(shared, "process", false);
    Platform::SetEnvironment(hidden, "visible", false);

    std::string sharedSeen, ownSeen, hiddenSeen, sharedEntry, ownEntry, hiddenEntry;
    std::thread worker([&] {
        Platform::SetEnvironment(shared, "thread", true);
        Platform::SetEnvironment(own, "mine", true);
        Platform::SetEnvironment(hidden, "", true);
        sharedSeen = Platform::GetEnvironment(shared).str();
        ownSeen = Platform::GetEnvironment(own).str();
        hiddenSeen = Platform::GetEnvironment(hidden).str();
        std::vector<String> block = Platform::EnvironmentBlock();
        sharedEntry = EntryFor(block, shared);
        ownEntry = EntryFor(block, own);
        hiddenEntry = EntryFor(block, hidden);
    });
    worker.join();
    EXPECT_EQ(sharedSeen, "thread");
    EXPECT_EQ(ownSeen, "mine");
    EXPECT_EQ(hiddenSeen, "");
    EXPECT_EQ(sharedEntry, shared + "=thread");
    EXPECT_EQ(ownEntry, own + "=mine");
    EXPECT_EQ(hiddenEntry, "");

    // Neither this thread nor the process saw any of it.
    EXPECT_EQ(Platform::GetEnvironment(shared).str(), "process");
    EXPECT_TRUE(Platform::GetEnvironment(own).Empty());
    EXPECT_EQ(Platform::GetEnvironment(hidden).str(), "visible");
    std::vector<String> block = Platform::EnvironmentBlock();
    EXPECT_EQ(EntryFor(block, shared), shared + "=process");
    EXPECT_EQ(EntryFor(block, own), "");
    EXPECT_EQ(EntryFor(block, hidden), hidden + "=visible");
    EXPECT_EQ(std::getenv(own.c_str()), nullptr);

    // A process-wide set from a thread replaces that thread's own override.
    Platform::SetEnvironment(shared, "mine only", true);
    EXPECT_EQ(Platform::GetEnvironment(shared).str(), "mine only");
    Platform::SetEnvironment(shared, "again", false);
    EXPECT_EQ(Platform::GetEnvironment(shared).str(), "again");

    // Names differ by case only: one name on Windows, two on Linux.
    std::string lower = shared;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    Platform::SetEnvironment(lower, "lower", true);
    block = Platform::EnvironmentBlock();
    if (kWindows) {
        EXPECT_EQ(Upper(EntryFor(block, shared)), Upper(shared + "=lower"));
        EXPECT_EQ(Platform::GetEnvironment(shared).str(), "lower");
    } else {
        EXPECT_EQ(EntryFor(block, shared), shared + "=again");
        EXPECT_EQ(EntryFor(block, lower), lower + "=lower");
        EXPECT_EQ(Platform::GetEnvironment(shared).str(), "again");
    }

    for (const std::string& n : {shared, lower, hidden}) Platform::SetEnvironment(n, "", false);
}

TEST(Platform, EnvironmentBlockIsSortedByName)
{
    // Names chosen so that byte order and upper-case order disagree ('_' lies between 'Z' and 'a').
    const std::vector<std::string> names = {UniqueName("Sort_b"), UniqueName("SORTA"), UniqueName("Sort_")};
    Platform::SetEnvironment(names[0], "1", false);
    Platform::SetEnvironment(names[1], "2", true);
    Platform::SetEnvironment(names[2], "3", true);
    std::vector<String> block = Platform::EnvironmentBlock();
    ASSERT_GE(block.size(), 3u);
    for (std::size_t i = 1; i < block.size(); ++i) {
        std::string a = NameOf(block[i - 1]), b = NameOf(block[i]);
        if (kWindows) EXPECT_LT(Upper(a), Upper(b)) << "entry " << i;
        else EXPECT_LT(a, b) << "entry " << i;
    }
    for (const std::string& n : names) EXPECT_NE(EntryFor(block, n), "") << n;
    for (const std::string& n : names) Platform::SetEnvironment(n, "", false);
}
