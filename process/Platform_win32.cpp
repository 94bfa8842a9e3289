#include "process/PlatformSystem.h"

#include "core/Win32Support.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace dovo::platform {

String ComputerName()
{
    char name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = sizeof name;
    if (!GetComputerNameA(name, &size)) return String();
    return String(name, size);
}

String UserName()
{
    char name[257] = {}; // UNLEN + 1
    DWORD size = sizeof name;
    if (GetUserNameA(name, &size) && size > 1) return String(name, size - 1);
    String value;
    GetVariable("USERNAME", value);
    return value;
}

unsigned ProcessId() { return static_cast<unsigned>(GetCurrentProcessId()); }

String SystemName()
{
    SYSTEM_INFO info{};
    GetNativeSystemInfo(&info);
    switch (info.wProcessorArchitecture) {
    case PROCESSOR_ARCHITECTURE_AMD64: return "Windows x86_64";
    case PROCESSOR_ARCHITECTURE_ARM64: return "Windows arm64";
    case PROCESSOR_ARCHITECTURE_INTEL: return "Windows x86";
    default: return "Windows";
    }
}

ProcessorCounts QueryProcessors()
{
    ProcessorCounts counts;
    DWORD size = 0;
    GetLogicalProcessorInformationEx(RelationAll, nullptr, &size);
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || size == 0) return counts;
    std::vector<char> buffer(size);
    auto* first = reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(buffer.data());
    if (!GetLogicalProcessorInformationEx(RelationAll, first, &size)) return counts;
    for (DWORD offset = 0; offset < size;) {
        auto* info = reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(buffer.data() + offset);
        if (info->Size == 0) break;
        if (info->Relationship == RelationProcessorPackage) {
            ++counts.sockets;
        } else if (info->Relationship == RelationProcessorCore) {
            ++counts.cores;
            for (WORD g = 0; g < info->Processor.GroupCount; ++g)
                counts.threads += __builtin_popcountll(info->Processor.GroupMask[g].Mask);
        }
        offset += info->Size;
    }
    return counts;
}

void ProcessCpuTimes(unsigned long long& kernelMs, unsigned long long& userMs)
{
    FILETIME created, exited, kernel, user;
    kernelMs = userMs = 0;
    if (!GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user)) return;
    // FILETIME counts 100-nanosecond steps.
    const auto ms = [](const FILETIME& t) {
        return ((static_cast<unsigned long long>(t.dwHighDateTime) << 32) | t.dwLowDateTime) / 10000;
    };
    kernelMs = ms(kernel);
    userMs = ms(user);
}

bool NameLess(const String& a, const String& b)
{
    // Windows compares names upper-cased, which puts '_' after the letters.
    std::size_t n = std::min(a.str().size(), b.str().size());
    for (std::size_t i = 0; i < n; ++i) {
        int x = std::toupper(static_cast<unsigned char>(a.str()[i]));
        int y = std::toupper(static_cast<unsigned char>(b.str()[i]));
        if (x != y) return x < y;
    }
    return a.str().size() < b.str().size();
}

bool GetVariable(const String& name, String& value)
{
    std::vector<char> buffer(256);
    for (;;) {
        SetLastError(0);
        DWORD n = GetEnvironmentVariableA(name.c_str(), buffer.data(), static_cast<DWORD>(buffer.size()));
        if (n == 0) {
            value.Clear();
            return GetLastError() != ERROR_ENVVAR_NOT_FOUND;
        }
        if (n < buffer.size()) {
            value = String(buffer.data(), n);
            return true;
        }
        buffer.resize(n);
    }
}

void SetVariable(const String& name, const String& value)
{
    // _putenv_s keeps the C runtime's copy (getenv) and the process block in step; empty removes.
    _putenv_s(name.c_str(), value.c_str());
}

std::vector<String> Variables()
{
    std::vector<String> entries;
    char* block = GetEnvironmentStringsA();
    if (!block) return entries;
    for (const char* entry = block; *entry; entry += std::strlen(entry) + 1) entries.emplace_back(entry);
    FreeEnvironmentStringsA(block);
    return entries;
}

} // namespace dovo::platform
