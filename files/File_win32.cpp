#include "core/Win32Support.h"
#undef CreateDirectory
#undef RemoveDirectory

#include "files/FileSystem.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace dovo::filesystem {

namespace {

constexpr int kProfileFolder = 0x0028;       // CSIDL_PROFILE
constexpr int kCommonAppDataFolder = 0x0023; // CSIDL_COMMON_APPDATA

// The shell's folder query, loaded when first needed so that the library does not link shell32 for it.
String ShellFolder(int folder)
{
    using Query = HRESULT(WINAPI*)(HWND, int, HANDLE, DWORD, LPSTR);
    HMODULE shell = ::LoadLibraryA("shell32.dll");
    if (shell == nullptr) return String();
    String result;
    auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(::GetProcAddress(shell, "SHGetFolderPathA")));
    char buffer[MAX_PATH + 1] = {};
    if (query != nullptr && query(nullptr, folder, nullptr, 0, buffer) == S_OK) result = buffer;
    ::FreeLibrary(shell);
    return result;
}

} // namespace

bool Stat(const char* path, bool& directory, long long& size)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!::GetFileAttributesExA(path, GetFileExInfoStandard, &data)) return false;
    directory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    size =
        directory
            ? -1
            : static_cast<long long>((static_cast<unsigned long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow);
    return true;
}

void MakeDirectory(const char* path) { ::CreateDirectoryA(path, nullptr); }

bool RemoveFile(const char* path) { return ::DeleteFileA(path) != 0; }

bool RemoveDirectory(const char* path) { return ::RemoveDirectoryA(path) != 0; }

bool Rename(const char* from, const char* to, bool replace)
{
    return ::MoveFileExA(from, to, replace ? MOVEFILE_REPLACE_EXISTING : 0) != 0;
}

String Environment(const char* name)
{
    DWORD needed = ::GetEnvironmentVariableA(name, nullptr, 0);
    if (needed == 0) return String();
    std::vector<char> buffer(needed + 1);
    DWORD length = ::GetEnvironmentVariableA(name, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0 || length >= buffer.size()) return String();
    return String(buffer.data(), length);
}

String CurrentDirectory()
{
    DWORD needed = ::GetCurrentDirectoryA(0, nullptr);
    if (needed == 0) return String();
    std::vector<char> buffer(needed + 1);
    DWORD length = ::GetCurrentDirectoryA(static_cast<DWORD>(buffer.size()), buffer.data());
    if (length == 0 || length >= buffer.size()) return String();
    return String(buffer.data(), length);
}

String ExecutablePath()
{
    std::vector<char> buffer(MAX_PATH + 1);
    for (;;) {
        DWORD length = ::GetModuleFileNameA(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0) return String();
        if (length < buffer.size()) return String(buffer.data(), length);
        if (buffer.size() > 32768) return String();
        buffer.resize(buffer.size() * 2);
    }
}

String UserDir()
{
    String profile = Environment("USERPROFILE");
    return profile.Empty() ? ShellFolder(kProfileFolder) : profile;
}

String MachineDirDefault()
{
    String data = Environment("ProgramData");
    if (data.Empty()) data = ShellFolder(kCommonAppDataFolder);
    if (data.Empty()) return String();
    if (data[data.Length() - 1] != '\\' && data[data.Length() - 1] != '/') data += '\\';
    return data + "Varnel";
}

String TempDir()
{
    char buffer[MAX_PATH + 2] = {};
    DWORD length = ::GetTempPathA(sizeof buffer, buffer);
    if (length == 0 || length >= sizeof buffer) return String();
    return String(buffer, length);
}

bool ListDirectory(const char* path, std::vector<DirEntry>& out)
{
    WIN32_FIND_DATAA data;
    const std::string pattern = std::string(path) + "\\*";
    HANDLE find = ::FindFirstFileA(pattern.c_str(), &data);
    if (find == INVALID_HANDLE_VALUE) return false;
    // File times count 100 ns steps from 1601-01-01.
    const std::int64_t epoch = Time(1601, 1, 1).TotalMilliseconds();
    do {
        DirEntry entry;
        entry.name = data.cFileName;
        entry.directory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        entry.size = entry.directory ? 0 : (static_cast<long long>(data.nFileSizeHigh) << 32 | data.nFileSizeLow);
        const std::uint64_t ticks =
            static_cast<std::uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32 | data.ftLastWriteTime.dwLowDateTime;
        entry.modified = Time(epoch + static_cast<std::int64_t>(ticks / 10000));
        out.push_back(std::move(entry));
    } while (::FindNextFileA(find, &data));
    ::FindClose(find);
    return true;
}

bool NamesIgnoreCase() { return true; }

} // namespace dovo::filesystem
