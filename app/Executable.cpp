#include <dovo/Executable.h>
#include <dovo/Log.h>
#include <dovo/Thread.h>

#include <atomic>

namespace dovo {

namespace {
std::atomic<Executable*> g_executable{nullptr};
}

Executable::Executable(Application* application) : m_application(application) { g_executable = this; }

Executable::~Executable()
{
    Executable* self = this;
    g_executable.compare_exchange_strong(self, nullptr);
}

Executable* Executable::GetExecutable() { return g_executable; }

void Executable::SetThreadException(Thread* thread)
{
    Executable* executable = g_executable;
    if (!executable) {
        LogWarning((thread ? thread->Name() : String()) +
                   " reported an unhandled exception, but there's no Executable object!");
        return;
    }
    executable->m_exceptedThread = thread;
}

bool Executable::Running() const { return __atomic_load_n(&m_runState, __ATOMIC_SEQ_CST) > 0; }

} // namespace dovo
