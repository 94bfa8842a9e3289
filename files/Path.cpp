#include <dovo/Path.h>

#include <vector>

// The portable part of Path: reading roots, cutting and joining text. What counts as absolute and the
// local separator are in Path_posix.cpp and Path_win32.cpp.

namespace dovo {
namespace {

const String kSeparators("/\\");

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// ASCII only: a drive letter must not depend on the current locale.
bool IsDriveLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

char LowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

struct RootInfo
{
    Path::RootType type;
    int length; // bytes of the text the root takes, as written
};

RootInfo ReadRoot(const String& text)
{
    const int n = text.Length();
    if (n == 0) return {Path::NoRoot, 0};
    if (IsSeparator(text[0])) {
        // Exactly two separators and a name: a share. "//" alone or three separators are the plain root.
        if (n > 2 && IsSeparator(text[1]) && !IsSeparator(text[2])) {
            const int serverEnd = text.FindOneOf(kSeparators, 2);
            if (serverEnd < 0) return {Path::UNCRoot, n};
            int shareEnd = text.FindOneOf(kSeparators, static_cast<std::size_t>(serverEnd) + 1);
            if (shareEnd < 0) shareEnd = n;
            return {Path::UNCRoot, shareEnd > serverEnd + 1 ? shareEnd : serverEnd};
        }
        return {Path::SlashRoot, 1};
    }
    if (text[0] == '~' && (n == 1 || IsSeparator(text[1]))) return {Path::HomeRoot, 1};
    if (n >= 2 && IsDriveLetter(text[0]) && text[1] == ':') return {Path::DriveRoot, 2};
    return {Path::NoRoot, 0};
}

// The part of the text that stays when everything after the root is cut away: the root, and for a
// drive the separator after it ("C:\" and "C:" differ).
int KeptRootLength(const String& text, const RootInfo& root)
{
    if (root.type == Path::DriveRoot && IsSeparator(text[2])) return 3;
    return root.length;
}

// Position of the point that starts the leaf's extension, -1 when there is none. Leading points do
// not count: ".profile" and ".." have no extension.
int ExtensionPoint(const String& leaf)
{
    const int firstName = leaf.FindOneNotOf(".");
    if (firstName < 0) return -1;
    const int point = leaf.ReverseFind(".");
    return point > firstName ? point : -1;
}

// The separator to put into a join: the style the path is already written in, else the local one.
char JoinSeparator(const String& left, const String& right)
{
    int pos = left.ReverseFindOneOf(kSeparators);
    if (pos >= 0) return left[pos];
    pos = right.FindOneOf(kSeparators);
    if (pos >= 0) return right[pos];
    return Path::LocalSeparator();
}

// left followed by a relative right side (no root, no leading separator), one separator between.
Path Append(const String& left, const RootInfo& leftRoot, const String& right)
{
    if (right.Empty()) return Path(left);
    const char separator = JoinSeparator(left, right);
    String joined(left);
    std::string& raw = joined;
    const std::size_t keep = static_cast<std::size_t>(KeptRootLength(left, leftRoot));
    while (raw.size() > keep && IsSeparator(raw.back())) raw.pop_back();
    // A separator after the root is already there, and "C:" / "b" stays relative to drive C: "C:b".
    const bool bareDrive = leftRoot.type == Path::DriveRoot && raw.size() == 2;
    if (!raw.empty() && !IsSeparator(raw.back()) && !bareDrive) raw += separator;
    raw += right.str();
    return Path(joined);
}

} // namespace

Path::RootType Path::Root() const { return ReadRoot(m_text).type; }

String Path::RootText() const { return m_text.Left(static_cast<std::size_t>(ReadRoot(m_text).length)); }

Path Path::operator/(const Path& other) const
{
    if (other.Empty()) return *this;
    if (Empty()) return other;
    if (other.IsAbsolute()) return other;
    const RootInfo leftRoot = ReadRoot(m_text);
    switch (ReadRoot(other.m_text).type) {
    case NoRoot: return Append(m_text, leftRoot, other.m_text);
    case DriveRoot:
        // "c:b" is relative to drive C's current folder: the left side is that folder when it is on C.
        if (leftRoot.type == DriveRoot && LowerAscii(m_text[0]) == LowerAscii(other.m_text[0]))
            return Append(m_text, leftRoot, other.m_text.Mid(2));
        return other;
    case SlashRoot:
        // Reached only where "/x" is not absolute (Windows): rooted on the left side's drive or share.
        if (leftRoot.type == DriveRoot || leftRoot.type == UNCRoot)
            return Path(m_text.Left(static_cast<std::size_t>(leftRoot.length)) + other.m_text);
        return other;
    default: return other;
    }
}

Path& Path::operator/=(const Path& other)
{
    *this = *this / other;
    return *this;
}

String Path::Leaf() const
{
    const RootInfo root = ReadRoot(m_text);
    const int last = m_text.ReverseFindOneOf(kSeparators);
    return m_text.Mid(static_cast<std::size_t>(last < root.length ? root.length : last + 1));
}

Path Path::Branch() const
{
    const RootInfo root = ReadRoot(m_text);
    const int last = m_text.ReverseFindOneOf(kSeparators);
    if (last < root.length) return Path(m_text.Left(static_cast<std::size_t>(root.length)));
    int end = last;
    while (end > root.length && IsSeparator(m_text[static_cast<std::size_t>(end) - 1])) --end;
    if (end == root.length) return Path(m_text.Left(static_cast<std::size_t>(KeptRootLength(m_text, root))));
    return Path(m_text.Left(static_cast<std::size_t>(end)));
}

String Path::Extension() const
{
    const String leaf = Leaf();
    const int point = ExtensionPoint(leaf);
    return point < 0 ? String() : leaf.Mid(static_cast<std::size_t>(point) + 1);
}

String Path::BaseName() const
{
    const String leaf = Leaf();
    const int point = ExtensionPoint(leaf);
    return point < 0 ? leaf : leaf.Left(static_cast<std::size_t>(point));
}

Path Path::WithExtension(const String& extension) const
{
    const String leaf = Leaf();
    if (leaf.FindOneNotOf(".") < 0) return *this;
    String result = m_text.Left(static_cast<std::size_t>(m_text.Length() - leaf.Length())) + BaseName();
    const String bare = extension.StartsWith(".") ? extension.Mid(1) : extension;
    if (!bare.Empty()) result += "." + bare;
    return Path(result);
}

Path Path::Normalized() const
{
    if (m_text.Empty()) return *this;
    const RootInfo root = ReadRoot(m_text);
    const int keep = KeptRootLength(m_text, root);
    const int first = m_text.FindOneOf(kSeparators);
    const char separator = first >= 0 ? m_text[static_cast<std::size_t>(first)] : LocalSeparator();
    // ".." can climb out of a relative path, a drive's current folder and the home folder, but not out
    // of the file-system root, a drive's root or a share.
    const bool canClimb = root.type == NoRoot || root.type == HomeRoot || (root.type == DriveRoot && keep == 2);

    std::vector<String> parts;
    const int n = m_text.Length();
    for (int start = keep; start < n;) {
        int end = m_text.FindOneOf(kSeparators, static_cast<std::size_t>(start));
        if (end < 0) end = n;
        const String part = m_text.Mid(static_cast<std::size_t>(start), end - start);
        start = end + 1;
        if (part.Empty() || part == ".") continue;
        if (part == "..") {
            if (!parts.empty() && parts.back() != "..") parts.pop_back();
            else if (canClimb) parts.push_back(part);
            continue;
        }
        parts.push_back(part);
    }

    String result = m_text.Left(static_cast<std::size_t>(keep));
    // A share's or home's root text does not end with a separator; the others do or must not get one.
    const bool needsSeparator = root.type == UNCRoot || root.type == HomeRoot;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0 || needsSeparator) result += separator;
        result += parts[i];
    }
    if (!parts.empty() && n > keep && IsSeparator(m_text[static_cast<std::size_t>(n) - 1])) result += separator;
    if (result.Empty()) result = ".";
    // A relative path must not turn into a rooted one: "./~" stays, "~" would be the home folder.
    if (root.type == NoRoot && ReadRoot(result).type != NoRoot) result = String(".") + separator + result;
    return Path(result);
}

String Path::Quoted() const
{
    if (m_text.FindOneOf(" \t") < 0) return m_text;
    if (m_text.Length() >= 2 && m_text.StartsWith("\"") && m_text.EndsWith("\"")) return m_text;
    const int lastOther = m_text.ReverseFindOneNotOf("\\");
    const int trailing = m_text.Length() - 1 - lastOther;
    return "\"" + m_text + String('\\', static_cast<std::size_t>(trailing)) + "\"";
}

Path& Path::MakeSlashesLocal()
{
    m_text.ReplaceAny(kSeparators, String(LocalSeparator(), 1));
    return *this;
}

String Path::MakeSafe(const String& text)
{
    String safe(text);
    std::string& raw = safe;
    for (char& c : raw) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x20 || c == '<' || c == '>' || c == ':' || c == '"' || c == '/' || c == '\\' || c == '|' || c == '?' ||
            c == '*')
            c = '_';
    }
    for (std::size_t i = raw.size(); i > 0 && (raw[i - 1] == '.' || raw[i - 1] == ' '); --i) raw[i - 1] = '_';

    // Device names are reserved with any extension and with blanks before the point.
    std::string stem = raw.substr(0, raw.find('.'));
    while (!stem.empty() && stem.back() == ' ') stem.pop_back();
    for (char& c : stem) c = LowerAscii(c);
    const bool device =
        stem == "con" || stem == "prn" || stem == "aux" || stem == "nul" ||
        (stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt")) && stem[3] >= '1' && stem[3] <= '9');
    if (device) raw[0] = '_';
    return safe;
}

} // namespace dovo
