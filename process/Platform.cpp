#include <dovo/Platform.h>

#include "process/PlatformSystem.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <thread>

namespace dovo {

namespace {

std::atomic<bool> g_runningAsService{false};

// setenv and getenv are not safe against each other: every access of ours goes through this lock.
std::mutex& EnvironmentLock()
{
    static std::mutex lock;
    return lock;
}

struct NameOrder
{
    bool operator()(const String& a, const String& b) const { return platform::NameLess(a, b); }
};

using Overrides = std::map<String, String, NameOrder>;

Overrides& ThreadOverrides()
{
    thread_local Overrides overrides;
    return overrides;
}

const platform::ProcessorCounts& Processors()
{
    static const platform::ProcessorCounts counts = [] {
        platform::ProcessorCounts c = platform::QueryProcessors();
        if (c.threads <= 0) c.threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
        if (c.cores <= 0 || c.cores > c.threads) c.cores = c.threads;
        if (c.sockets <= 0 || c.sockets > c.cores) c.sockets = 1;
        return c;
    }();
    return counts;
}

} // namespace

String Platform::ComputerName() { return platform::ComputerName(); }
String Platform::UserName() { return platform::UserName(); }
unsigned Platform::ProcessId() { return platform::ProcessId(); }

bool Platform::RunningAsService() { return g_runningAsService.load(std::memory_order_acquire); }
void Platform::SetRunningAsService(bool service) { g_runningAsService.store(service, std::memory_order_release); }

String Platform::VersionBanner()
{
    String banner("Dovo " DOVO_VERSION " (");
    banner += platform::SystemName();
    banner += ')';
    return banner;
}

int Platform::ProcessorSockets() { return Processors().sockets; }
int Platform::ProcessorCores() { return Processors().cores; }
int Platform::ProcessorThreads() { return Processors().threads; }
void Platform::ProcessCpuTimes(unsigned long long& kernelMs, unsigned long long& userMs)
{
    platform::ProcessCpuTimes(kernelMs, userMs);
}

void Platform::SetEnvironment(const String& name, const String& value, bool thisThreadOnly)
{
    if (thisThreadOnly) {
        ThreadOverrides()[name] = value;
        return;
    }
    ThreadOverrides().erase(name);
    std::lock_guard<std::mutex> hold(EnvironmentLock());
    platform::SetVariable(name, value);
}

String Platform::GetEnvironment(const String& name)
{
    const Overrides& overrides = ThreadOverrides();
    auto found = overrides.find(name);
    if (found != overrides.end()) return found->second;
    String value;
    std::lock_guard<std::mutex> hold(EnvironmentLock());
    platform::GetVariable(name, value);
    return value;
}

std::vector<String> Platform::EnvironmentBlock()
{
    std::vector<String> entries;
    {
        std::lock_guard<std::mutex> hold(EnvironmentLock());
        entries = platform::Variables();
    }
    // Name to value; a name that appears twice keeps its first value, the one getenv gives.
    std::map<String, String, NameOrder> block;
    for (const String& entry : entries) {
        // Windows keeps per-drive folders as "=C:=C:\x": a leading '=' belongs to the name.
        int eq = entry.Find("=", 1);
        if (eq < 0) continue;
        block.emplace(entry.Left(eq), entry.Mid(eq + 1));
    }
    for (const auto& [name, value] : ThreadOverrides()) {
        if (value.Empty()) block.erase(name);
        else block.insert_or_assign(name, value);
    }
    std::vector<String> result;
    result.reserve(block.size());
    for (const auto& [name, value] : block) {
        String entry(name);
        entry += '=';
        entry += value;
        result.push_back(std::move(entry));
    }
    return result;
}

} // namespace dovo
