#include "process/PlatformSystem.h"

#include <hwloc.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace dovo::platform {

String ComputerName()
{
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof name - 1) != 0) return String();
    return String(name);
}

String UserName()
{
    long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(hint > 0 ? static_cast<std::size_t>(hint) : 1024);
    for (;;) {
        passwd entry{};
        passwd* found = nullptr;
        int rc = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
        if (rc == ERANGE && buffer.size() < (1u << 20)) {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (rc == 0 && found && found->pw_name && *found->pw_name) return String(found->pw_name);
        break;
    }
    // Users without a passwd entry (containers running an arbitrary uid) still have a login name.
    const char* user = std::getenv("USER");
    return String(user);
}

unsigned ProcessId() { return static_cast<unsigned>(getpid()); }

String SystemName()
{
    utsname info{};
    String name("Linux");
    if (uname(&info) == 0 && info.machine[0]) {
        name += ' ';
        name += info.machine;
    }
    return name;
}

ProcessorCounts QueryProcessors()
{
    ProcessorCounts counts;
    hwloc_topology_t topology = nullptr;
    if (hwloc_topology_init(&topology) != 0) return counts;
    // The whole machine, as Windows reports it, not only the processors this process may run on.
    hwloc_topology_set_flags(topology, HWLOC_TOPOLOGY_FLAG_INCLUDE_DISALLOWED);
    if (hwloc_topology_load(topology) == 0) {
        counts.sockets = hwloc_get_nbobjs_by_type(topology, HWLOC_OBJ_PACKAGE);
        counts.cores = hwloc_get_nbobjs_by_type(topology, HWLOC_OBJ_CORE);
        counts.threads = hwloc_get_nbobjs_by_type(topology, HWLOC_OBJ_PU);
    }
    hwloc_topology_destroy(topology);
    return counts;
}

void ProcessCpuTimes(unsigned long long& kernelMs, unsigned long long& userMs)
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval& t) {
        return static_cast<unsigned long long>(t.tv_sec) * 1000 + static_cast<unsigned long long>(t.tv_usec) / 1000;
    };
    kernelMs = ms(usage.ru_stime);
    userMs = ms(usage.ru_utime);
}

bool NameLess(const String& a, const String& b) { return a.str() < b.str(); }

bool GetVariable(const String& name, String& value)
{
    const char* found = std::getenv(name.c_str());
    if (!found) return false;
    value = found;
    return true;
}

void SetVariable(const String& name, const String& value)
{
    if (value.Empty()) unsetenv(name.c_str());
    else setenv(name.c_str(), value.c_str(), 1);
}

std::vector<String> Variables()
{
    std::vector<String> entries;
    for (char** entry = environ; entry && *entry; ++entry) entries.emplace_back(*entry);
    return entries;
}

} // namespace dovo::platform
