#pragma once

// The OS part of Platform, implemented in Platform_posix.cpp and Platform_win32.cpp.

#include <dovo/String.h>

#include <vector>

namespace dovo::platform {

struct ProcessorCounts
{
    int sockets = 0;
    int cores = 0;
    int threads = 0;
};

String ComputerName();
String UserName();
unsigned ProcessId();
/// "Linux x86_64", "Windows x86_64".
String SystemName();
/// What the OS reports; 0 where it cannot tell (the caller fills in).
ProcessorCounts QueryProcessors();
void ProcessCpuTimes(unsigned long long& kernelMs, unsigned long long& userMs);

/// Orders environment names as the OS compares them.
bool NameLess(const String& a, const String& b);
/// The process environment, without any locking of its own (the caller serialises).
bool GetVariable(const String& name, String& value);
/// An empty value removes the name.
void SetVariable(const String& name, const String& value);
/// Every "NAME=value" entry of the process environment, unsorted.
std::vector<String> Variables();

} // namespace dovo::platform
