#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>

#include <vector>

namespace dovo {

/// Facts about the machine, the user and the process, and the environment handed to child processes.
/// Static members only.
///
/// The environment has two layers: the process environment, and per-thread overrides that only the
/// setting thread (and the children it starts) sees. An override with an empty value hides the name.
/// Names are compared case-insensitively on Windows and case-sensitively elsewhere, as the OS does.
class DOVO_API Platform
{
public:
    Platform() = delete;

    /// The machine's network name (gethostname / GetComputerNameA).
    static String ComputerName();
    /// The name of the effective user; empty only when the OS and the environment both fail to say.
    static String UserName();
    static unsigned ProcessId();

    /// True once the executable has declared that it runs as a Windows service or systemd unit.
    static bool RunningAsService();
    static void SetRunningAsService(bool service);

    /// One line naming the library, its version and the platform: "Dovo 0.1.0 (Linux x86_64)".
    static String VersionBanner();

    /// Processor packages, physical cores and logical processors of the whole machine, counted once
    /// per process. Never 0.
    static int ProcessorSockets();
    static int ProcessorCores();
    static int ProcessorThreads();
    /// The processor time this process has used so far, in milliseconds, in the kernel and in user mode.
    static void ProcessCpuTimes(unsigned long long& kernelMs, unsigned long long& userMs);

    /// Sets name to value for the whole process, or with thisThreadOnly only for the calling thread
    /// and its children. An empty value removes the name. A process-wide set also drops the calling
    /// thread's own override of that name, so that the thread sees what it has just set.
    static void SetEnvironment(const String& name, const String& value, bool thisThreadOnly);
    /// The calling thread's override of name if it has one, else the process's value; empty when unset.
    static String GetEnvironment(const String& name);
    /// "NAME=value" entries of the process environment with the calling thread's overrides applied,
    /// sorted by name: the block a child started by this thread receives.
    static std::vector<String> EnvironmentBlock();
};

} // namespace dovo
