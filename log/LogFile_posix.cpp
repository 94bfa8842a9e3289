#include "log/LogFile.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

namespace dovo::logfile {

namespace {
// Descriptors travel as pointers; +1 so that descriptor 0 is not the null "none".
void* ToHandle(int fd) { return reinterpret_cast<void*>(static_cast<std::intptr_t>(fd) + 1); }
int ToDescriptor(void* file) { return static_cast<int>(reinterpret_cast<std::intptr_t>(file) - 1); }
} // namespace

void* OpenAppend(const char* path, bool& busy)
{
    int fd;
    do fd = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    while (fd < 0 && errno == EINTR);
    // Without share modes, only these pass by themselves; a missing folder, a denied access or a folder
    // in the file's place stay until someone changes them.
    busy = fd < 0 && (errno == EBUSY || errno == ETXTBSY || errno == EAGAIN || errno == EWOULDBLOCK);
    return fd < 0 ? nullptr : ToHandle(fd);
}

bool Write(void* file, const char* data, std::size_t size)
{
    const int fd = ToDescriptor(file);
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

void Flush(void* file) { ::fdatasync(ToDescriptor(file)); }

void Close(void* file) { ::close(ToDescriptor(file)); }

} // namespace dovo::logfile
