// Processor faults to exceptions on POSIX: SIGSEGV, SIGBUS, SIGFPE and SIGILL are taken on an
// alternate stack (so that a stack overflow can be reported too) and, on a thread that translates,
// thrown as an Exception* straight from the handler: the unwinder crosses the signal frame into the
// faulting code. On any other thread the fault is reported with the same texts and the process ends
// as it would have without the handler.

#include <dovo/Exception.h>

#include "objects/ExceptionHooks.h"
#include "objects/FaultTranslator.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <pthread.h>
#include <ucontext.h>
#include <unistd.h>

namespace dovo::faults {

namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

// The calling thread's alternate signal stack, released when the thread ends.
struct AlternateStack
{
    void* memory = nullptr;
    std::uintptr_t stackLow = 0; // the lowest address of the thread's own stack, for overflow detection

    ~AlternateStack()
    {
        if (!memory) return;
        stack_t off{};
        off.ss_flags = SS_DISABLE;
        sigaltstack(&off, nullptr);
        std::free(memory);
    }
};

thread_local AlternateStack t_stack;
thread_local bool t_installed = false;

unsigned FaultCode(int signal, const siginfo_t* info, std::uintptr_t address)
{
    switch (signal) {
    case SIGSEGV: {
        // A fault just below the thread's stack is the stack running over into its guard.
        // (Only a thread that installed the handler has its stack object: touching it on another would
        // make it here, inside the signal handler, and register its destructor with an allocation.)
        const std::uintptr_t low = t_installed ? t_stack.stackLow : 0;
        if (low && address < low + 4096 && address + 65536 > low) return 0xC00000FD;
        return 0xC0000005;
    }
    case SIGBUS: return info->si_code == BUS_ADRALN ? 0x80000002 : 0xC0000006;
    case SIGILL: return (info->si_code == ILL_PRVOPC || info->si_code == ILL_PRVREG) ? 0xC0000096 : 0xC000001D;
    case SIGFPE:
        switch (info->si_code) {
        case FPE_INTDIV: return 0xC0000094;
        case FPE_INTOVF: return 0xC0000095;
        case FPE_FLTDIV: return 0xC000008E;
        case FPE_FLTOVF: return 0xC0000091;
        case FPE_FLTUND: return 0xC0000093;
        case FPE_FLTRES: return 0xC000008F;
        case FPE_FLTINV: return 0xC0000090;
        default: return 0xC00002B4; // multiple floating-point faults
        }
    default: return 0;
    }
}

bool WritingFault(const void* context)
{
#if defined(__x86_64__)
    // Bit 1 of the page-fault error code marks a write.
    const auto* uc = static_cast<const ucontext_t*>(context);
    return (uc->uc_mcontext.gregs[REG_ERR] & 2) != 0;
#else
    (void)context;
    return false;
#endif
}

void Report(const Exception& e)
{
    const String text = "Unhandled processor fault:\n\n" + e.DisplayAsString();
    const ssize_t ignored = write(STDERR_FILENO, text.c_str(), static_cast<std::size_t>(text.Length()));
    (void)ignored;
}

void Handler(int signal, siginfo_t* info, void* context)
{
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    const Record record{FaultCode(signal, info, address), signal == SIGSEGV && WritingFault(context), address};
    auto* e = new Exception(reinterpret_cast<const _EXCEPTION_POINTERS*>(&record));
    Exception::Log(e);
    if (t_installed) throw e;

    // Not a translating thread: report with the same texts, write out the queued log lines (the alarm
    // ends a flush that cannot finish), then die of the signal as before.
    Report(*e);
    alarm(10);
    hooks::FlushLogs();
    struct sigaction original
    {
    };
    original.sa_handler = SIG_DFL;
    sigemptyset(&original.sa_mask);
    sigaction(signal, &original, nullptr);
    raise(signal);
}

void InstallHandlers()
{
    struct sigaction action
    {
    };
    action.sa_sigaction = Handler;
    // No deferral: a handler that throws never returns to unblock its signal.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    for (int signal : kSignals) sigaction(signal, &action, nullptr);
}

std::uintptr_t ThreadStackLow()
{
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return 0;
    void* low = nullptr;
    std::size_t size = 0;
    pthread_attr_getstack(&attributes, &low, &size);
    pthread_attr_destroy(&attributes);
    return reinterpret_cast<std::uintptr_t>(low);
}

} // namespace

void InstallForThisThread()
{
    static std::once_flag handlers;
    std::call_once(handlers, InstallHandlers);
    if (t_installed) return;

    // The handler builds, logs and throws the exception on this stack: give it room.
    constexpr std::size_t kSize = 256 * 1024;
    t_stack.memory = std::malloc(kSize);
    if (t_stack.memory) {
        stack_t stack{};
        stack.ss_sp = t_stack.memory;
        stack.ss_size = kSize;
        if (sigaltstack(&stack, nullptr) != 0) {
            std::free(t_stack.memory);
            t_stack.memory = nullptr;
        }
    }
    t_stack.stackLow = ThreadStackLow();
    t_installed = true;
}

bool InstalledForThisThread() { return t_installed; }

} // namespace dovo::faults
