// SPoll on POSIX: poll() rather than select(), so that descriptors above 63 (and above FD_SETSIZE)
// work; the result is counted as select counts it.

#include <dovo/Stream.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <poll.h>

namespace dovo {

int SPoll(FDSet& set, float timeout, bool read, bool write, bool except)
{
    pollfd fds[64];
    const short wanted = static_cast<short>((read ? POLLIN : 0) | (write ? POLLOUT : 0) | (except ? POLLPRI : 0));
    for (unsigned i = 0; i < set.count; ++i) fds[i] = pollfd{static_cast<int>(set.fds[i]), wanted, 0};

    // The same split into seconds and microseconds as select's time value, then whole milliseconds
    // rounded up so that a short wait is not turned into none.
    long long waitMs = -1;
    if (timeout >= 0) {
        const long long seconds = static_cast<long long>(timeout);
        const long long micro = static_cast<long long>((timeout - static_cast<float>(seconds)) * 1000000.0f);
        waitMs = seconds * 1000 + (micro + 999) / 1000;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(waitMs < 0 ? 0 : waitMs);
    int ready;
    for (;;) {
        int slice = -1;
        if (waitMs >= 0) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            slice = static_cast<int>(std::max<long long>(0, std::min<long long>(left.count(), INT_MAX)));
        }
        ready = ::poll(fds, set.count, slice);
        if (ready >= 0 || errno != EINTR) break;
    }
    if (ready < 0) return -1;
    if (ready == 0) {
        set.count = 0;
        return 0;
    }
    // select counts each descriptor once per set it is ready in; a descriptor that is not valid makes
    // select fail.
    int events = 0;
    unsigned kept = 0;
    for (unsigned i = 0; i < set.count; ++i) {
        const short got = fds[i].revents;
        if (got & POLLNVAL) {
            errno = EBADF;
            return -1;
        }
        // A hang-up or an error reads as readable (the read gives 0 or the error), as select reports it.
        const int n = (read && (got & (POLLIN | POLLHUP | POLLERR))) + (write && (got & (POLLOUT | POLLERR))) +
                      (except && (got & POLLPRI));
        if (n > 0) set.fds[kept++] = set.fds[i];
        events += n;
    }
    set.count = kept;
    return events;
}

} // namespace dovo
