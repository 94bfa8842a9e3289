#pragma once

#include <dovo/Export.h>
#include <dovo/Path.h>
#include <dovo/String.h>
#include <dovo/Time.h>

namespace dovo {

/// The file layer's process-wide functions: the program's identity and folders, and the queries and
/// changes on files and folders the rest of the library needs. None of these throws: a failure gives
/// false or -1, so that the log may call them on its own failure paths. A path with a trailing
/// separator names a folder only ("a.txt/" does not exist even when the file "a.txt" does), and a path
/// rooted at "~" is taken from the user's folder (GetUserDir).
class DOVO_API File
{
public:
    /// Records the program path, the application name (the program file's name without its extension,
    /// "DovoApp" for an empty path) and the start time (now). Each call replaces the previous values.
    static void Startup(const Path& programPath);
    /// Forgets what Startup recorded: the name and path are empty and the start time is "Never" again.
    static void Cleanup();
    static String ApplicationName();
    static Path ProgramPath();
    static Time StartTime();

    /// The folder holding the program: from the program path (made absolute against the current folder),
    /// else from the running executable's own location. The folders below never end with a separator
    /// (unless they are a root such as "/").
    static Path GetApplicationDir();
    /// The user's own folder: $HOME (%USERPROFILE% on Windows), else the system's record of the user.
    static Path GetUserDir();
    /// The machine-wide folder shared by the product family: $VARNEL_MACHINE_DIR when set, else
    /// "/var/lib/varnel" (Linux) or "%ProgramData%\Varnel" (Windows). It may not exist yet.
    static Path GetMachineDir();
    /// The running program's own file, as the system knows it.
    static Path GetExecutablePath();
    /// The process's current folder.
    static Path GetCurrentDir();
    /// The folder for temporary files: $TMPDIR or "/tmp" (Linux), the system's temporary folder (Windows).
    static Path GetTempDir();

    /// The size in bytes of a file; -1 when the path does not exist or is not a file.
    static long long FileSize(const Path& path);
    /// Whether a file or a folder exists at the path.
    static bool Exists(const Path& path);
    static bool IsDirectory(const Path& path);
    /// Creates the folder (mode 0777 less the umask on POSIX), with its missing parents when recursive.
    /// True when the folder exists afterwards, also when it existed already.
    static bool CreateDirectory(const Path& path, bool recursive);
    /// Removes a file or an empty folder; false when nothing was removed.
    static bool Remove(const Path& path);
    /// Renames or moves a file or a folder. An existing target is overwritten only when replace is true
    /// (a folder is never overwritten); false when nothing was renamed.
    static bool Rename(const Path& from, const Path& to, bool replace);
};

} // namespace dovo
