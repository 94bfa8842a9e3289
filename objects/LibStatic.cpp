// LibStatic: the registry of library statics and their start-up and clean-up hooks.

#include <dovo/CommandLine.h>
#include <dovo/Exception.h>
#include <dovo/LibStatic.h>
#include <dovo/StaticFastMutex.h>

#include "objects/ExceptionHooks.h"
#include "threads/Hold.h"

#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace dovo {

namespace {

// The registry may be needed before any other library code has run (a static of the program itself):
// a zero-initialised lock and a pointer that the first registration fills. The lock is held only
// while the registry itself is read or changed: never while a hook runs, since hooks make and destroy
// statics (every Thread is one), wait for threads that do, and log (which may register a thread).
StaticFastMutex g_registryLock;
struct Entry
{
    const char* name;
    std::uint64_t serial; // tells a static from a later one at the same address
};
std::unordered_map<LibStatic*, Entry>* g_registry = nullptr;
std::uint64_t g_serial = 0;
// First used here, on the one thread that loads the library.
const bool g_registryLockReady = (g_registryLock.Enter(), g_registryLock.Leave(), true);

class RegistryLock : public Hold<StaticFastMutex>
{
public:
    RegistryLock() : Hold<StaticFastMutex>(g_registryLock) {}
};

void LogLine(signed char level, const String& text)
{
    if (const hooks::LogWriter writer = hooks::ExceptionLogWriter()) writer(level, text);
}

unsigned Address(const LibStatic* object) { return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(object)); }

using Snapshot = std::vector<std::pair<LibStatic*, std::uint64_t>>;

Snapshot Registered()
{
    RegistryLock lock;
    Snapshot statics;
    if (g_registry) {
        statics.reserve(g_registry->size());
        for (const auto& [object, entry] : *g_registry) statics.emplace_back(object, entry.serial);
    }
    return statics;
}

// Under the registry lock: whether a static of the snapshot is still registered (not gone since); gives
// its name.
bool Still(LibStatic* object, std::uint64_t serial, const char*& name)
{
    if (!g_registry) return false;
    const auto found = g_registry->find(object);
    if (found == g_registry->end() || found->second.serial != serial) return false;
    name = found->second.name;
    return true;
}

} // namespace

LibStatic::LibStatic(const char* name) : LibStatic(name, true) {}

LibStatic::LibStatic(const char* name, bool register_) : m_name(name)
{
    if (!register_) return;
    RegistryLock lock;
    if (!g_registry) g_registry = new std::unordered_map<LibStatic*, Entry>();
    (*g_registry)[this] = Entry{name, ++g_serial};
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

// Both walk a snapshot of the registry and call each static that is still registered when its turn
// comes, without the lock. Statics registered during the walk are not visited by it.
void LibStatic::NotifyStartup(CommandLine& commandLine)
{
    for (const auto& [object, serial] : Registered()) {
        const char* name = nullptr;
        {
            RegistryLock lock;
            if (!Still(object, serial, name)) continue;
            object->m_started = true;
        }
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
    for (const auto& [object, serial] : Registered()) {
        {
            RegistryLock lock;
            const char* name = nullptr;
            if (!Still(object, serial, name)) continue;
            object->m_started = false;
        }
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
