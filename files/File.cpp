#include <dovo/File.h>
#include <dovo/StaticFastMutex.h>

#include "threads/Hold.h"

#include "files/FileSystem.h"

namespace dovo {

namespace {

// What Startup records. The lock works before static construction ends, so a static object's
// constructor may ask for the application name.
StaticFastMutex g_lock;
struct Identity
{
    String name;
    Path program;
    Time start;
};
Identity* g_identity = nullptr;

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// Drops trailing separators, but leaves a root alone ("/", "C:\", "\\srv\share\"): without its
// separator "C:\" would name drive C's current folder.
Path WithoutTrailingSeparator(const Path& path)
{
    Path result = path;
    while (IsSeparator(result.Text()[result.Text().Length() - 1]) && result.Text().Length() > 1) {
        Path branch = result.Branch();
        if (branch == result) break;
        result = branch;
    }
    return result;
}

bool EndsWithSeparator(const Path& path)
{
    const String& text = path.Text();
    return !text.Empty() && IsSeparator(text[text.Length() - 1]);
}

String Native(const Path& path)
{
    if (path.Root() == Path::HomeRoot) {
        const String& text = path.Text();
        return WithoutTrailingSeparator(File::GetUserDir() / Path(text.Mid(text.Length() > 1 ? 2 : 1)));
    }
    return WithoutTrailingSeparator(path);
}

// A trailing separator asks for a folder: "a.txt/" is no file.
bool StatPath(const Path& path, bool& directory, long long& size)
{
    if (path.Empty()) return false;
    try {
        if (!filesystem::Stat(Native(path).c_str(), directory, size)) return false;
        return directory || !EndsWithSeparator(path);
    } catch (...) {
        return false;
    }
}

Path FolderFrom(const String& text) { return text.Empty() ? Path() : WithoutTrailingSeparator(Path(text)); }

} // namespace

String filesystem::NativePath(const Path& path) { return Native(path); }

void File::Startup(const Path& programPath)
{
    Identity* identity = new Identity;
    identity->program = programPath;
    identity->name = programPath.Empty() ? String("DovoApp") : programPath.BaseName();
    identity->start = Time::CurrentTime();
    Hold<StaticFastMutex> hold(g_lock);
    delete g_identity;
    g_identity = identity;
}

void File::Cleanup()
{
    Hold<StaticFastMutex> hold(g_lock);
    delete g_identity;
    g_identity = nullptr;
}

String File::ApplicationName()
{
    Hold<StaticFastMutex> hold(g_lock);
    return g_identity ? g_identity->name : String();
}

Path File::ProgramPath()
{
    Hold<StaticFastMutex> hold(g_lock);
    return g_identity ? g_identity->program : Path();
}

Time File::StartTime()
{
    Hold<StaticFastMutex> hold(g_lock);
    return g_identity ? g_identity->start : Time();
}

Path File::GetExecutablePath() { return Path(filesystem::ExecutablePath()); }

Path File::GetCurrentDir() { return Path(filesystem::CurrentDirectory()); }

Path File::GetApplicationDir()
{
    try {
        Path program = ProgramPath();
        if (program.Root() == Path::HomeRoot) program = Native(program);
        if (program.Empty()) program = filesystem::ExecutablePath();
        else if (program.IsRelative()) program = Path(filesystem::CurrentDirectory()) / program;
        return WithoutTrailingSeparator(program.Normalized().Branch());
    } catch (...) {
        return Path();
    }
}

Path File::GetUserDir()
{
    try {
        return FolderFrom(filesystem::UserDir());
    } catch (...) {
        return Path();
    }
}

Path File::GetMachineDir()
{
    try {
        String dir = filesystem::Environment("VARNEL_MACHINE_DIR");
        return FolderFrom(dir.Empty() ? filesystem::MachineDirDefault() : dir);
    } catch (...) {
        return Path();
    }
}

Path File::GetTempDir()
{
    try {
        return FolderFrom(filesystem::TempDir());
    } catch (...) {
        return Path();
    }
}

long long File::FileSize(const Path& path)
{
    bool directory = false;
    long long size = -1;
    if (!StatPath(path, directory, size) || directory) return -1;
    return size;
}

bool File::Exists(const Path& path)
{
    bool directory = false;
    long long size = -1;
    return StatPath(path, directory, size);
}

bool File::IsDirectory(const Path& path)
{
    bool directory = false;
    long long size = -1;
    return StatPath(path, directory, size) && directory;
}

bool File::CreateDirectory(const Path& path, bool recursive)
{
    if (path.Empty()) return false;
    if (IsDirectory(path)) return true;
    try {
        const Path target = Native(path);
        if (recursive) {
            const Path parent = target.Branch();
            if (!parent.Empty() && parent != target && !CreateDirectory(parent, true)) return false;
        }
        filesystem::MakeDirectory(target.c_str());
        // Another process may have made it meanwhile: what counts is that it is there now.
        return IsDirectory(target);
    } catch (...) {
        return false;
    }
}

bool File::Remove(const Path& path)
{
    bool directory = false;
    long long size = -1;
    if (!StatPath(path, directory, size)) return false;
    try {
        const String target = Native(path);
        return directory ? filesystem::RemoveDirectory(target.c_str()) : filesystem::RemoveFile(target.c_str());
    } catch (...) {
        return false;
    }
}

bool File::Rename(const Path& from, const Path& to, bool replace)
{
    if (!Exists(from) || to.Empty()) return false;
    // A folder is never replaced: MoveFileEx refuses it, rename() would take an empty one.
    if (IsDirectory(to)) return false;
    try {
        return filesystem::Rename(Native(from).c_str(), Native(to).c_str(), replace);
    } catch (...) {
        return false;
    }
}

} // namespace dovo
