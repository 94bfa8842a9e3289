// LibStatic: the registry of library statics and their start-up and clean-up hooks.

#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/LibStatic.h>
#include <dovo/StaticFastMutex.h>

#include "objects/ExceptionHooks.h"

#include <memory>
#include <unordered_map>

namespace dovo {

namespace {

// The registry may be needed before any other library code has run (a static of the program itself):
// a zero-initialised lock and a pointer that the first registration fills.
StaticFastMutex g_registryLock;
std::unordered_map<LibStatic*, const char*>* g_registry = nullptr;
// First used here, on the one thread that loads the library.
const bool g_registryLockReady = (g_registryLock.Enter(), g_registryLock.Leave(), true);

class RegistryLock
{
public:
    RegistryLock() { g_registryLock.Enter(); }
    ~RegistryLock() { g_registryLock.Leave(); }
};

void LogLine(signed char level, const String& text)
{
    if (const hooks::LogWriter writer = hooks::ExceptionLogWriter()) writer(level, text);
}

unsigned Address(const LibStatic* object) { return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(object)); }

} // namespace

LibStatic::LibStatic(const char* name) : m_name(name)
{
    RegistryLock lock;
    if (!g_registry) g_registry = new std::unordered_map<LibStatic*, const char*>();
    (*g_registry)[this] = name;
}

LibStatic::~LibStatic()
{
    RegistryLock lock;
    if (!g_registry) return;
    g_registry->erase(this);
    if (g_registry->empty()) {
        delete g_registry;
        g_registry = nullptr;
    }
}

void LibStatic::NotifyStartup(CommandLine& commandLine)
{
    RegistryLock lock;
    if (!g_registry) return;
    for (const auto& [object, name] : *g_registry) {
        object->m_started = true;
        try {
            object->OnLibStartup(commandLine);
        } catch (Exception* e) {
            std::unique_ptr<Exception> owned(e);
            LogLine(3, SFormat("Caught Exception in startup method of registered LibStatic 0x%08X: %s", Address(object),
                               e->Message().c_str()));
        } catch (...) {
            LogLine(1, SFormat("Registered LibStatic 0x%08X (%s) threw an unknown exception in Startup",
                               Address(object), name ? name : ""));
        }
    }
}

void LibStatic::NotifyCleanup()
{
    RegistryLock lock;
    if (!g_registry) return;
    for (const auto& [object, name] : *g_registry) {
        object->m_started = false;
        try {
            object->OnLibCleanup();
        } catch (Exception* e) {
            std::unique_ptr<Exception> owned(e);
            LogLine(3, SFormat("Caught Exception in cleanup method of registered static 0x%08X: %s", Address(object),
                               e->Message().c_str()));
        } catch (...) {
            // Clean-up goes on with the next object whatever this one threw.
        }
    }
}

} // namespace dovo
