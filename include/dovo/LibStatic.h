#pragma once

#include <dovo/Export.h>

namespace dovo {

class CommandLine;

/// Base of library-wide objects of static storage. Each registers itself on construction; the library
/// calls every registered object's OnLibStartup when the program starts it and OnLibCleanup when it
/// stops it. No order between statics is promised.
class DOVO_API LibStatic
{
public:
    virtual ~LibStatic();

    virtual void OnLibStartup(CommandLine& commandLine) {}
    virtual void OnLibCleanup() {}

    /// True between this object's start-up and clean-up.
    bool IsLibStarted() const { return m_started; }

protected:
    explicit LibStatic(const char* name);
    /// Not registered (when register is false): for objects that only share the interface, made where
    /// the library's start-up or clean-up could meet them half-constructed.
    LibStatic(const char* name, bool register_);

private:
    // The program's start and end drive these.
    friend class Executable;
    friend class Application;
    friend struct LibStaticAccess;

    /// Runs every registered object's start-up hook; one that throws is logged and the others go on.
    static void NotifyStartup(CommandLine& commandLine);
    /// Runs every registered object's clean-up hook.
    static void NotifyCleanup();

    LibStatic(const LibStatic&) = delete;
    LibStatic& operator=(const LibStatic&) = delete;

    bool m_started = false;
    const char* m_name;
};

} // namespace dovo
