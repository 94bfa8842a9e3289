#pragma once

// The operating system's side of File: narrow calls, each on a path already resolved by File.cpp
// (no "~", no trailing separator). None of them throws.

#include <dovo/Path.h>
#include <dovo/String.h>
#include <dovo/Time.h>

#include <vector>

namespace dovo::filesystem {

/// The text handed to the system for a path: "~" taken from the user's folder, trailing separators
/// dropped (a root keeps its own).
String NativePath(const Path& path);

/// Whether something exists at the path; fills whether it is a folder and its size in bytes.
bool Stat(const char* path, bool& directory, long long& size);
/// Makes one folder whose parent exists; the result is checked by the caller.
void MakeDirectory(const char* path);
bool RemoveFile(const char* path);
bool RemoveDirectory(const char* path);
bool Rename(const char* from, const char* to, bool replace);

/// An environment variable's value, empty when unset.
String Environment(const char* name);
String CurrentDirectory();
/// The running executable's own full path.
String ExecutablePath();
/// The user's folder: $HOME or %USERPROFILE%, else as the system records it.
String UserDir();
/// The machine folder when the override is not set.
String MachineDirDefault();
String TempDir();

/// One entry of a folder.
struct DirEntry
{
    String name;
    bool directory = false;
    long long size = 0;
    Time modified;
};
/// Every entry of the folder; false when it cannot be read.
bool ListDirectory(const char* path, std::vector<DirEntry>& out);
/// Whether the platform's file names are compared in any case.
bool NamesIgnoreCase();

} // namespace dovo::filesystem
