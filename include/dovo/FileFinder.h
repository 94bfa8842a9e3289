#pragma once

#include <dovo/Export.h>
#include <dovo/Path.h>
#include <dovo/String.h>
#include <dovo/Time.h>

#include <memory>

namespace dovo {

/// Enumerates the files and folders of one folder whose names match a wildcard pattern: '*' matches
/// any run of characters, '?' any one. Names are compared as the platform's file system does (in any
/// case on Windows). "." and ".." are never listed.
///
///     for (FileFinder f(logDir / "*.log"); f.Next();) total += f.Size();
class DOVO_API FileFinder
{
public:
    /// A folder and a name pattern ("logs/*.log"); a path that ends with a separator lists the whole
    /// folder. A folder that cannot be read lists nothing.
    explicit FileFinder(const Path& pattern);
    FileFinder(const FileFinder&) = delete;
    FileFinder& operator=(const FileFinder&) = delete;
    ~FileFinder();

    /// Moves to the next entry; false when there are no more.
    bool Next();
    /// The entry's name (its leaf).
    String Name() const;
    /// The folder joined with the name.
    Path FullPath() const;
    bool IsDirectory() const;
    /// Bytes of a file; 0 for a folder.
    long long Size() const;
    /// When the entry was last written (UTC).
    Time Modified() const;

    /// Whether name matches the wildcard pattern, as FileFinder compares names on this platform.
    static bool Matches(const String& name, const String& pattern);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace dovo
