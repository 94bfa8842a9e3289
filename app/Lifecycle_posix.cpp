// The POSIX side of main()'s handlers. Interrupt signals are only written to a pipe by the signal
// handler; a thread of our own reads them and does the work outside signal context.

#include "app/Lifecycle.h"
#include "app/ServiceControl.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

namespace dovo::lifecycle {

namespace {

int g_pipe[2] = {-1, -1};
pthread_t g_listener;
bool g_listening = false;
// Written to the pipe to end the listener: no signal has the number 0.
constexpr unsigned char kStop = 0;

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
        if (got <= 0 || byte == kStop) return nullptr;
        Dispatch(byte);
    }
}

} // namespace

bool InstallInterruptHandler()
{
    if (g_listening) return true;
    // A handler never waits: with the pipe full, a signal is dropped.
    if (g_pipe[0] < 0 && (pipe2(g_pipe, O_CLOEXEC) != 0 || fcntl(g_pipe[1], F_SETFL, O_NONBLOCK) != 0)) return false;
    // The listener takes no signals itself: they go to the threads that are busy elsewhere.
    sigset_t all, previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    const int created = pthread_create(&g_listener, nullptr, Listen, nullptr);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (created != 0) return false;
    g_listening = true;

    struct sigaction action = {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGQUIT, SIGHUP, SIGTERM})
        if (sigaction(signal, &action, nullptr) != 0) return false;
    return true;
}

void RemoveInterruptHandler()
{
    if (!g_listening) return;
    g_listening = false;
    // The handlers stay: from now on a signal goes into the pipe unread, and cannot end the process
    // while its static objects (the executable among them) are destroyed.
    const ssize_t ignored = write(g_pipe[1], &kStop, 1);
    (void)ignored;
    // The listener may be inside the executable's interrupt handling, which ends once the clean-up has
    // set the finished trigger; a listener that does not end in time is left behind.
    timespec limit{};
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += 30;
    if (pthread_timedjoin_np(g_listener, nullptr, &limit) != 0) pthread_detach(g_listener);
}

void InstallFaultHandlers()
{
    // Processor faults are reported by the fault translator's own handlers, and the run-time writes its
    // messages to standard error already: what is left is the report of a pure virtual call.
    EnablePureVirtualReport();
    FlushLogsOnAbort();
}

} // namespace dovo::lifecycle
