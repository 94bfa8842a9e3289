// Pipes on POSIX: descriptors (carried as descriptor + 1), pipe2 with close-on-exec, poll() for
// readiness and FIONREAD for what waits.

#include <dovo/Pipe.h>

#include "streams/PipeSystem.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace dovo::pipes {

namespace {
int Fd(void* handle) { return Pipe::HandleDescriptor(handle); }

// A write to a pipe whose reader has gone raises SIGPIPE, which would end the process: the signal is
// blocked on this thread around the write and one that the write raised is taken off again.
class SigpipeBlock
{
public:
    SigpipeBlock()
    {
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_old);
    }
    ~SigpipeBlock()
    {
        if (m_raised && !sigismember(&m_old, SIGPIPE)) {
            const timespec none{};
            while (sigtimedwait(&m_pipe, nullptr, &none) < 0 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &m_old, nullptr);
    }
    void Raised() { m_raised = true; }

private:
    sigset_t m_pipe, m_old;
    bool m_raised = false;
};
} // namespace

bool Create(void*& read, void*& write)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return false;
    read = Pipe::DescriptorHandle(fds[0]);
    write = Pipe::DescriptorHandle(fds[1]);
    return true;
}

void Close(void* handle)
{
    if (handle) ::close(Fd(handle));
}

// Waits until the descriptor is ready for events (a descriptor made non-blocking, such as a client's
// socket that connected without waiting, then reads and writes as a blocking one does).
void AwaitReady(int fd, short events)
{
    pollfd p{fd, events, 0};
    while (::poll(&p, 1, -1) < 0 && errno == EINTR) {
    }
}

int Read(void* handle, unsigned char* data, int size, int& error)
{
    if (size <= 0) return 0;
    const int fd = Fd(handle);
    for (;;) {
        const ssize_t n = ::read(fd, data, static_cast<size_t>(size));
        if (n >= 0) return static_cast<int>(n);
        if (errno == EINTR) continue;
        if (errno == EAGAIN) {
            AwaitReady(fd, POLLIN);
            continue;
        }
        if (errno == ECONNRESET || errno == EPIPE) return 0;
        error = errno;
        return -1;
    }
}

bool Write(void* handle, const unsigned char* data, int size, bool socket, int& error)
{
    const int fd = Fd(handle);
    int done = 0;
    if (socket) {
        while (done < size) {
            const ssize_t n = ::send(fd, data + done, static_cast<size_t>(size - done), MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0 && errno == EAGAIN) {
                AwaitReady(fd, POLLOUT);
                continue;
            }
            if (n < 0) return error = errno, false;
            done += static_cast<int>(n);
        }
        return true;
    }
    SigpipeBlock block;
    while (done < size) {
        const ssize_t n = ::write(fd, data + done, static_cast<size_t>(size - done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) {
            AwaitReady(fd, POLLOUT);
            continue;
        }
        if (n < 0) {
            error = errno;
            if (error == EPIPE) block.Raised();
            return false;
        }
        done += static_cast<int>(n);
    }
    return true;
}

Peek Wait(void* handle, float seconds, int& error)
{
    if (!handle) return error = EBADF, Peek::Failed;
    pollfd p{Fd(handle), POLLIN | POLLRDHUP, 0};
    const bool forever = seconds < 0;
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::microseconds(forever ? 0 : static_cast<long long>(seconds * 1e6));
    int ready;
    for (;;) {
        int ms = -1;
        if (!forever) {
            const auto left = deadline - std::chrono::steady_clock::now();
            // Rounded up, so that a short wait is not turned into none.
            const long long us = std::chrono::duration_cast<std::chrono::microseconds>(left).count();
            ms = us <= 0 ? 0 : static_cast<int>(std::min<long long>((us + 999) / 1000, INT_MAX));
        }
        ready = ::poll(&p, 1, ms);
        if (ready >= 0 || errno != EINTR) break;
    }
    if (ready < 0) return error = errno, Peek::Failed;
    if (ready == 0) return Peek::Empty;
    if (p.revents & POLLNVAL) return error = EBADF, Peek::Failed;
    // Readable, and the other end still there: data waits (no need to ask how much).
    if ((p.revents & POLLIN) && !(p.revents & (POLLHUP | POLLRDHUP | POLLERR))) return Peek::Data;
    int waiting = 0;
    if (::ioctl(p.fd, FIONREAD, &waiting) != 0) return error = errno, Peek::Failed;
    if (waiting > 0) return Peek::Data;
    // Readable with nothing to read: the other end has gone.
    if (p.revents & (POLLIN | POLLHUP | POLLRDHUP | POLLERR)) return Peek::BrokenPipe;
    return Peek::Empty;
}

} // namespace dovo::pipes
