#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>

namespace dovo {

/// A file-system path kept as text. Both '/' and '\' separate parts on every platform (paths travel
/// between machines); MakeSlashesLocal writes the platform's own separator. Every member accepts any
/// text: empty paths, repeated separators, empty parts, "." and ".." and mixed slashes all give a
/// defined result. Nothing touches the file system.
///
/// Roots are read from the text the same way on every platform, so that a path written on a Windows
/// machine keeps its meaning when it is read on a Linux one:
/// - "\\server\share..." and "//server/share..." (exactly two separators, then a name) are a UNC share;
///   the root is the server and the share, "\\server" alone is a root too;
/// - a letter and a colon ("C:", "C:\...", "c:/...", "C:foo") are a drive root "C:";
/// - any other leading separator is the file-system root "/" (one separator; "//" and "///a" as well);
/// - "~" alone or before a separator is the home folder; "~user" and "~$x" are plain names;
/// - anything else has no root.
/// The platforms differ only in IsAbsolute (and so in joining) and in the local separator.
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
    /// The root as written ("C:", "\\server\share", "/", "~"), empty when there is none. A drive root is
    /// the letter and colon only: whether a separator follows decides IsAbsolute.
    String RootText() const;
    /// Whether the path names the same place whatever the current folder and drive are.
    /// Everywhere: a UNC share, the home folder and a drive's root ("C:\x") are absolute; a
    /// drive-relative path ("C:foo", relative to drive C's current folder) and a path without a root
    /// are not. A drive's root counts on Linux too: it names a place on a Windows machine, and putting
    /// it under a Linux folder would name nothing.
    /// "/x": absolute on Linux; on Windows it is rooted on the current drive, so it is not.
    bool IsAbsolute() const;
    bool IsRelative() const { return !IsAbsolute(); }

    /// Joins with one separator between the parts whatever the ends hold ("a/" / "b" is "a/b"); an
    /// empty side gives the other. An absolute right side (see IsAbsolute, "~" included) replaces the
    /// left. A right side that is rooted but not absolute takes what it lacks from the left, as Windows
    /// resolves it: "C:\a" / "c:b" is "C:\a\b" (same drive, letters in any case), "C:\a" / "D:b" is "D:b";
    /// on Windows "C:\a" / "\b" is "C:\b" and "\\srv\sh\a" / "\b" is "\\srv\sh\b", while a left side
    /// without a drive or share gives the right side alone. A left side that is only a drive ("C:") takes
    /// no separator: "C:" / "b" is "C:b". The separator put in is the left side's last one, else the
    /// right side's first one, else the local one, so a path keeps the style it is written in.
    Path operator/(const Path& other) const;
    Path& operator/=(const Path& other);

    /// The last part ("c.txt" of "a/b/c.txt"); empty when the path ends with a separator or is a root
    /// alone ("/", "C:", "~", "\\srv\share"). "C:foo" gives "foo".
    String Leaf() const;
    /// All but the last part, without the separator ("a/b" of "a/b/c.txt", "a/b" of "a/b/" too, so that
    /// Branch and Leaf together give the path back); empty for a bare leaf. The root stays a root: "/a"
    /// and "/" give "/", "C:\a" and "C:\" give "C:\" (the separator after a drive letter matters),
    /// "C:a" gives "C:", "~/a" gives "~" and "\\srv\sh\a" gives "\\srv\sh".
    Path Branch() const;
    /// The leaf's extension without the point ("txt"); empty when it has none. Points that start the
    /// leaf do not count (".profile" has none, ".profile.bak" has "bak", "." and ".." have none); a
    /// trailing point is an empty extension ("a." has "", its BaseName is "a").
    String Extension() const;
    /// The leaf without its extension and its point ("c" of "c.txt", "a.tar" of "a.tar.gz").
    String BaseName() const;
    /// The path with the leaf's extension replaced (an empty one removes it, point and all). A leading
    /// point in the argument is optional ("txt" and ".txt" do the same). A path without a leaf (one that
    /// ends with a separator, a root alone, or only points) is returned as it is.
    Path WithExtension(const String& extension) const;

    /// The path with "." parts and repeated separators removed and each ".." folded with the part
    /// before it, by text alone: "a//b/./c/../d" gives "a/b/d". A ".." that has nothing before it stays in
    /// a relative path ("../a", "C:..", "~/.." too) and is dropped at a root that cannot be left ("/..",
    /// "C:\..", "\\srv\sh\.."). The root is kept as written, the parts are joined by the path's first
    /// separator, a trailing separator is kept, and a relative path that folds to nothing gives ".".
    /// A relative path keeps "./" before a first part that would read as a root ("./~", "./C:x").
    Path Normalized() const;

    /// The text in double quotes when it holds a blank (space or tab) and does not both start and end
    /// with a double quote already; a path without a blank, the empty one included, is returned as it
    /// is. Trailing backslashes are doubled inside the quotes so that the last one cannot escape the
    /// closing quote when a command line is split again: C:\my dir\ gives "C:\my dir\\". Double quotes
    /// inside are left alone (a Windows name cannot hold one).
    String Quoted() const;
    /// Writes every separator as the platform's own ('\' on Windows, '/' elsewhere). Only characters are
    /// changed, never their number, so a UNC prefix stays a UNC prefix.
    Path& MakeSlashesLocal();
    /// The platform's separator.
    static char LocalSeparator();
    /// A text made safe for use as a file name: each character that a file name cannot hold becomes "_".
    /// The same strict set is used on every platform so that a name made on one machine can be copied to
    /// any other: the control characters (NUL included) and < > : " / \ | ? *. Windows also drops
    /// trailing points and blanks and reserves device names, so each trailing point or blank becomes "_"
    /// (".." gives "__", never the parent folder), and a device name (CON, PRN, AUX, NUL, COM1-COM9,
    /// LPT1-LPT9 in any case, alone or before a point) gets "_" for its first character ("con.txt" gives
    /// "_on.txt"). An empty text stays empty.
    static String MakeSafe(const String& text);

    /// The columns of the process-wide root translation table: for each index, the root under which
    /// each platform reaches one share ("R:\\jobs" on Windows, "/mnt/jobs" on Linux).
    enum RootPlatform { WindowsRoots, LinuxRoots, RootPlatforms };
    /// Sets the roots of one share (an empty root: that platform does not reach it).
    static void SetTranslationRoots(int index, const String& windowsRoot, const String& linuxRoot);
    static void ClearTranslationRoots();
    /// The column this machine uses.
    static RootPlatform LocalRootPlatform();
    /// Rewrites a path written on any platform for this one: the longest root of the table that the text
    /// starts with (whole parts only; Windows roots in any case and with either slash) is replaced by this
    /// machine's root for the same share, and the slashes are made local. A text under no known root, or
    /// under one this machine does not reach, is returned as it is.
    static Path TranslateToLocal(const String& text);
    /// This machine's root for the share numbered index; empty when there is none.
    static String _GetLocalRoot(int index);

    /// Byte-wise, as text: "a/b" and "a\b" differ (see Normalized). The text overloads keep a comparison
    /// with a String or a literal from being ambiguous between the two conversions.
    bool operator==(const Path& other) const { return m_text == other.m_text; }
    bool operator!=(const Path& other) const { return m_text != other.m_text; }
    bool operator==(const String& other) const { return m_text == other; }
    bool operator!=(const String& other) const { return m_text != other; }
    bool operator==(const char* other) const { return m_text == other; }
    bool operator!=(const char* other) const { return m_text != other; }
    bool operator<(const Path& other) const { return m_text < other.m_text; }

private:
    String m_text;
};

} // namespace dovo
