#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>

namespace dovo {

/// A file-system path kept as text. Both '/' and '\' separate parts on every platform (paths travel
/// between machines); MakeSlashesLocal writes the platform's own separator.
class DOVO_API Path
{
public:
    /// How a path is rooted: not at all (relative), a UNC share ("\\server\share"), a drive letter
    /// ("C:"), the file-system root ("/") or the home folder ("~").
    enum RootType { NoRoot, UNCRoot, DriveRoot, SlashRoot, HomeRoot };

    Path() = default;
    Path(const String& text) : m_text(text) {}
    Path(const char* text) : m_text(text) {}
    Path(const std::string& text) : m_text(text) {}

    const String& Text() const { return m_text; }
    operator const String&() const { return m_text; }
    const char* c_str() const { return m_text.c_str(); }
    bool Empty() const { return m_text.Empty(); }

    RootType Root() const;
    /// The root as written ("C:", "\\server\share", "/", "~"), empty when there is none.
    String RootText() const;
    /// Rooted at the file-system root, a drive's root, a share or the home folder.
    bool IsAbsolute() const;
    bool IsRelative() const { return !IsAbsolute(); }

    /// Joins with one separator between the parts; an absolute right side replaces the left.
    Path operator/(const Path& other) const;
    Path& operator/=(const Path& other);

    /// The last part ("c.txt" of "a/b/c.txt"); empty when the path ends with a separator.
    String Leaf() const;
    /// All but the last part, without the separator ("a/b" of "a/b/c.txt"); the root stays a root.
    Path Branch() const;
    /// The leaf's extension without the point ("txt"); empty when it has none.
    String Extension() const;
    /// The leaf without its extension ("c").
    String BaseName() const;
    /// The path with the leaf's extension replaced (an empty one removes it).
    Path WithExtension(const String& extension) const;

    /// The text in double quotes when it holds a blank and is not quoted already.
    String Quoted() const;
    /// Writes every separator as the platform's own ('\' on Windows, '/' elsewhere).
    Path& MakeSlashesLocal();
    /// The platform's separator.
    static char LocalSeparator();
    /// A text made safe for use as a file name: each character that a file name cannot hold becomes "_".
    static String MakeSafe(const String& text);

    bool operator==(const Path& other) const { return m_text == other.m_text; }
    bool operator!=(const Path& other) const { return m_text != other.m_text; }
    bool operator<(const Path& other) const { return m_text < other.m_text; }

private:
    String m_text;
};

} // namespace dovo
