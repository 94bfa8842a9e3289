#pragma once

// The program's start and end run the library statics' hooks; the tests stand in for them.

#include <dovo/CommandLine.h>
#include <dovo/LibStatic.h>

namespace dovo {
struct LibStaticAccess
{
    static void Startup(CommandLine& c) { LibStatic::NotifyStartup(c); }
    static void Cleanup() { LibStatic::NotifyCleanup(); }
};
} // namespace dovo
