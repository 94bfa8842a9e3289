#include <dovo/Path.h>

// Linux: '/' is written, and a leading separator is absolute on its own. Drive roots are read as text
// and count as absolute when the drive's root is named, as on Windows (see Path.h).

namespace dovo {

Path::RootPlatform Path::LocalRootPlatform() { return LinuxRoots; }

char Path::LocalSeparator() { return '/'; }

bool Path::IsAbsolute() const
{
    switch (Root()) {
    case SlashRoot:
    case UNCRoot:
    case HomeRoot: return true;
    case DriveRoot: return m_text[2] == '/' || m_text[2] == '\\';
    default: return false;
    }
}

} // namespace dovo
