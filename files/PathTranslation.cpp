// Path translation: the process-wide table of roots under which each platform reaches a share, and the
// rewriting of a path from any platform to this one.

#include <dovo/Path.h>
#include <dovo/StaticFastMutex.h>

#include "threads/Hold.h"

#include <array>
#include <cctype>
#include <map>

namespace dovo {

namespace {

using Roots = std::array<String, Path::RootPlatforms>;

StaticFastMutex g_lock;
std::map<int, Roots>* g_table = nullptr;

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// The length of root when text starts with it at a part boundary, else 0.
int Match(const String& text, const String& root, bool anyCase)
{
    const int n = root.Length();
    if (n == 0 || text.Length() < n) return 0;
    for (int i = 0; i < n; ++i) {
        const char a = text[i], b = root[i];
        const bool same =
            (IsSeparator(a) && IsSeparator(b)) ||
            (anyCase ? std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b))
                     : a == b);
        if (!same) return 0;
    }
    return text.Length() == n || IsSeparator(root[n - 1]) || IsSeparator(text[n]) ? n : 0;
}

} // namespace

void Path::SetTranslationRoots(int index, const String& windowsRoot, const String& linuxRoot)
{
    Hold<StaticFastMutex> hold(g_lock);
    if (!g_table) g_table = new std::map<int, Roots>;
    (*g_table)[index] = Roots{windowsRoot, linuxRoot};
}

void Path::ClearTranslationRoots()
{
    Hold<StaticFastMutex> hold(g_lock);
    delete g_table;
    g_table = nullptr;
}

String Path::_GetLocalRoot(int index)
{
    Hold<StaticFastMutex> hold(g_lock);
    if (!g_table) return String();
    const auto found = g_table->find(index);
    return found == g_table->end() ? String() : found->second[LocalRootPlatform()];
}

Path Path::TranslateToLocal(const String& text)
{
    String local;
    int matched = 0;
    {
        Hold<StaticFastMutex> hold(g_lock);
        if (!g_table) return Path(text);
        for (const auto& [index, roots] : *g_table)
            for (int platform = 0; platform < RootPlatforms; ++platform) {
                const int n = Match(text, roots[platform], platform == WindowsRoots);
                if (n > matched) matched = n, local = roots[LocalRootPlatform()];
            }
    }
    if (matched == 0 || local.Empty()) return Path(text);
    int rest = matched;
    while (rest < text.Length() && IsSeparator(text[rest])) ++rest;
    Path result = Path(local) / Path(text.Mid(rest));
    return result.MakeSlashesLocal();
}

} // namespace dovo
