#include <dovo/Path.h>

// Windows: '\' is written. "/x" and "\x" are rooted on the current drive and "C:x" on drive C's current
// folder, so neither names one place on its own.

namespace dovo {

Path::RootPlatform Path::LocalRootPlatform() { return WindowsRoots; }

char Path::LocalSeparator() { return '\\'; }

bool Path::IsAbsolute() const
{
    switch (Root()) {
    case UNCRoot:
    case HomeRoot: return true;
    case DriveRoot: return m_text[2] == '/' || m_text[2] == '\\';
    default: return false;
    }
}

} // namespace dovo
