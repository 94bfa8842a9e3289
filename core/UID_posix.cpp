// UID generation on POSIX: a random (version 4) identifier from the kernel's random source, made as the
// kernel makes its own random UUIDs.

#include "core/UIDSystem.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

namespace dovo::uidsystem {

namespace {

bool FromUrandom(unsigned char* bytes, std::size_t size)
{
    const int fd = ::open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::read(fd, bytes + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
    }
    ::close(fd);
    return done == size;
}

} // namespace

bool Generate(unsigned char bytes[16])
{
    std::size_t done = 0;
    while (done < 16) {
        const ssize_t n = ::getrandom(bytes + done, 16 - done, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            if (!FromUrandom(bytes, 16)) return false;
            break;
        }
        done += static_cast<std::size_t>(n);
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
    return true;
}

} // namespace dovo::uidsystem
