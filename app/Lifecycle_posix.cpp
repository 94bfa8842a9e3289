// The POSIX side of main()'s handlers. Interrupt signals are only written to a pipe by the signal
// handler; a thread of our own reads them and does the work outside signal context.

#include "app/Lifecycle.h"
#include "app/ServiceControl.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace dovo::lifecycle {

namespace {

int g_pipe[2] = {-1, -1};

void OnSignal(int signal)
{
    const int saved = errno;
    const auto byte = static_cast<unsigned char>(signal);
    const ssize_t ignored = write(g_pipe[1], &byte, 1);
    (void)ignored;
    errno = saved;
}

// The console events the signals stand for: SIGINT is Ctrl-C, SIGQUIT Ctrl-Break, SIGHUP the closed
// terminal, SIGTERM the system shutting down. A service is stopped by SIGTERM, which then is the service
// manager's stop request.
void Dispatch(int signal)
{
    switch (signal) {
    case SIGINT: OnConsoleEvent(0); break;
    case SIGQUIT: OnConsoleEvent(1); break;
    case SIGHUP: OnConsoleEvent(2); break;
    case SIGTERM:
        if (service::Active()) service::OnControl(1);
        else OnConsoleEvent(6);
        break;
    default: break;
    }
}

void* Listen(void*)
{
    for (;;) {
        unsigned char byte = 0;
        const ssize_t got = read(g_pipe[0], &byte, 1);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return nullptr;
        Dispatch(byte);
    }
}

} // namespace

bool InstallInterruptHandler()
{
    if (g_pipe[0] < 0 && pipe2(g_pipe, O_CLOEXEC) != 0) return false;
    // The listener takes no signals itself: they go to the threads that are busy elsewhere.
    sigset_t all, previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    pthread_t listener;
    const int created = pthread_create(&listener, nullptr, Listen, nullptr);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (created != 0) return false;
    pthread_detach(listener);

    struct sigaction action = {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGQUIT, SIGHUP, SIGTERM})
        if (sigaction(signal, &action, nullptr) != 0) return false;
    return true;
}

void InstallFaultHandlers()
{
    // Processor faults are reported by the fault translator's own handlers, and the run-time writes its
    // messages to standard error already: what is left is the report of a pure virtual call.
    EnablePureVirtualReport();
}

} // namespace dovo::lifecycle
