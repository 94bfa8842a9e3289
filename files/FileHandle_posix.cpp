#include "files/FileHandle.h"

#include <dovo/File.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dovo::filehandle {

std::intptr_t Open(const char* path, int mode)
{
    int flags = O_CLOEXEC;
    if (mode & File::modeReadWrite) flags |= O_RDWR | O_CREAT;
    else if (mode & File::modeAppend) flags |= (mode & File::modeRead ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
    else if (mode & File::modeWrite) flags |= (mode & File::modeRead ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
    else flags |= O_RDONLY;
    int fd;
    do fd = ::open(path, flags, 0666);
    while (fd < 0 && errno == EINTR);
    if (fd < 0) return kInvalid;
    struct stat info;
    if (::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) {
        ::close(fd);
        errno = EISDIR;
        return kInvalid;
    }
    return fd;
}

bool LastErrorIsMissing() { return errno == ENOENT || errno == ENOTDIR; }

int Read(std::intptr_t handle, unsigned char* data, int size)
{
    ssize_t n;
    do n = ::read(static_cast<int>(handle), data, static_cast<size_t>(size));
    while (n < 0 && errno == EINTR);
    return static_cast<int>(n);
}

int Write(std::intptr_t handle, const unsigned char* data, int size)
{
    int done = 0;
    while (done < size) {
        const ssize_t n = ::write(static_cast<int>(handle), data + done, static_cast<size_t>(size - done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (n == 0) errno = ENOSPC;
            return -1;
        }
        done += static_cast<int>(n);
    }
    return done;
}

long long Seek(std::intptr_t handle, long long offset, int whence)
{
    static constexpr int kWhence[3] = {SEEK_SET, SEEK_CUR, SEEK_END};
    return ::lseek(static_cast<int>(handle), offset, kWhence[whence]);
}

long long Size(std::intptr_t handle)
{
    struct stat info;
    return ::fstat(static_cast<int>(handle), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
}

void Close(std::intptr_t handle) { ::close(static_cast<int>(handle)); }

} // namespace dovo::filehandle
