#pragma once

#include <dovo/Export.h>
#include <dovo/Path.h>
#include <dovo/Stream.h>
#include <dovo/String.h>
#include <dovo/Time.h>

#include <cstdint>

namespace dovo {

/// A file as a transport, and the file layer's process-wide functions.
///
/// As a transport a File opens its path (BeginUsing) for reading, writing (created, truncated), appending
/// (created, every write at the end) or both (created, not truncated), as its mode's bits say; failures
/// raise a FileException that names the path, the operation and the system's text. The file is opened
/// shared: other processes may read and write it meanwhile.
///
/// The static functions do not throw: a failure gives false or -1, so that the log may call them on its
/// own failure paths. A path with a trailing separator names a folder only ("a.txt/" does not exist even
/// when the file "a.txt" does), and a path rooted at "~" is taken from the user's folder (GetUserDir).
class DOVO_API File : public Stream::Transport
{
public:
    /// Bits of the open mode.
    enum OpenMode {
        modeRead = 1,
        modeWrite = 2,
        modeAppend = 4,
        modeReadWrite = 8,
        /// With modeRead: a file that does not exist opens as an empty one.
        modeMissingIsEmpty = 64,
    };

    explicit File(const Path& path = Path(), int mode = modeRead);
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    /// Closes the file.
    ~File() override;

    /// The path.
    String GetName() override;
    /// Opens the path with the mode.
    void BeginUsing() override;
    void CeaseUsing() override;
    /// The new position, or -1 when the file cannot seek.
    long long Seek(long long offset, Stream::SeekMode mode) override;
    int Read(unsigned char* data, int size) override;
    /// Writes everything or raises.
    int Write(const unsigned char* data, int size) override;
    bool Poll(float timeout) const override { return true; }
    bool Accept(Stream::Transport* server) override { return false; }
    bool IsUsable() const override { return m_open; }
    /// The file's size in bytes (0 for a missing file opened as empty).
    long long Size() const override;
    /// Closes, then opens path with the mode; false (and nothing raised) when it cannot be opened.
    virtual bool TryOpen(const Path& path);
    /// Closes, then opens path with the mode, raising when it cannot be opened.
    virtual void AltOpen(const Path& path);

    const Path& GetPath() const { return m_path; }
    int Mode() const { return m_mode; }
    /// The mode for the next open.
    void SetMode(int mode) { m_mode = mode; }

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

protected:
    /// Throws a FileException for this file's path from "File" at the file's level.
    [[noreturn]] void RaiseException(const String& where, int error, const String& message, int osError) const override;

private:
    bool Opened(const Path& path, bool raise);

    Path m_path;
    int m_mode;
    std::intptr_t m_handle = -1;
    bool m_open = false;
};

} // namespace dovo
