#include "files/FileSystem.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace dovo::filesystem {

bool Stat(const char* path, bool& directory, long long& size)
{
    struct stat info;
    if (::stat(path, &info) != 0) return false;
    directory = S_ISDIR(info.st_mode);
    size = S_ISREG(info.st_mode) ? static_cast<long long>(info.st_size) : -1;
    return true;
}

void MakeDirectory(const char* path) { ::mkdir(path, 0777); }

bool RemoveFile(const char* path) { return ::unlink(path) == 0; }

bool RemoveDirectory(const char* path) { return ::rmdir(path) == 0; }

bool Rename(const char* from, const char* to, bool replace)
{
    if (replace) return ::rename(from, to) == 0;
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // The file system cannot refuse a replacement itself: a hard link fails on an existing target.
    if (::link(from, to) == 0) {
        if (::unlink(from) == 0) return true;
        ::unlink(to);
        return false;
    }
    if (errno == EEXIST) return false;
    // Folders cannot be linked: check, then rename (a narrow race, the best the system allows here).
    struct stat info;
    if (::lstat(to, &info) == 0) return false;
    return ::rename(from, to) == 0;
}

String Environment(const char* name)
{
    const char* value = ::getenv(name);
    return String(value ? value : "");
}

String CurrentDirectory()
{
    std::vector<char> buffer(4096);
    while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
        if (errno != ERANGE || buffer.size() > (1u << 20)) return String();
        buffer.resize(buffer.size() * 2);
    }
    return String(buffer.data());
}

String ExecutablePath()
{
    std::vector<char> buffer(4096);
    for (;;) {
        ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (length < 0) return String();
        if (static_cast<std::size_t>(length) < buffer.size()) return String(buffer.data(), length);
        if (buffer.size() > (1u << 20)) return String();
        buffer.resize(buffer.size() * 2);
    }
}

String UserDir()
{
    String home = Environment("HOME");
    if (!home.Empty()) return home;
    long hint = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(hint > 0 ? static_cast<std::size_t>(hint) : 16384);
    struct passwd entry;
    struct passwd* found = nullptr;
    for (;;) {
        int error = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
        if (error == ERANGE && buffer.size() < (1u << 20)) {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (error != 0 || found == nullptr || found->pw_dir == nullptr) return String();
        return String(found->pw_dir);
    }
}

String MachineDirDefault() { return String("/var/lib/varnel"); }

String TempDir()
{
    String dir = Environment("TMPDIR");
    return dir.Empty() ? String("/tmp") : dir;
}

bool ListDirectory(const char* path, std::vector<DirEntry>& out)
{
    DIR* dir = ::opendir(path);
    if (!dir) return false;
    const std::int64_t epoch = Time(1970, 1, 1).TotalMilliseconds();
    while (const dirent* e = ::readdir(dir)) {
        DirEntry entry;
        entry.name = e->d_name;
        struct stat info;
        if (::fstatat(::dirfd(dir), e->d_name, &info, 0) == 0) {
            entry.directory = S_ISDIR(info.st_mode);
            entry.size = entry.directory ? 0 : static_cast<long long>(info.st_size);
            entry.modified =
                Time(epoch + static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000);
        } else {
            entry.directory = e->d_type == DT_DIR;
        }
        out.push_back(std::move(entry));
    }
    ::closedir(dir);
    return true;
}

bool NamesIgnoreCase() { return false; }

} // namespace dovo::filesystem
