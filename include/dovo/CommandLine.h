#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>

#include <map>
#include <vector>

namespace dovo {

/// A process's arguments, twice over: the plain vector (entry 0 the program name) and a table of
/// switches, each with the plain words that followed it. Switch names are given without their '-' and
/// compared without regard to case. Words before the first switch are kept under the name " ".
class DOVO_API CommandLine
{
public:
    /// The words that followed one switch, and where the switch first appeared (-1: added by AddSwitch).
    class DOVO_API ArgInfo
    {
    public:
        std::vector<String> arguments;
        int position = -1;
    };

    CommandLine() = default;
    /// Borrows the vector; entries 1 to argc-1 are parsed (a null entry is an empty word).
    CommandLine(int argc, char** argv);
    /// Splits the text into words (blank-separated, double quotes group, backslash escapes) and owns them.
    explicit CommandLine(const String& text);
    CommandLine(const CommandLine& other);
    CommandLine& operator=(const CommandLine& other);
    ~CommandLine();

    /// Makes this a copy of other: an owned vector is duplicated entry by entry, a borrowed one shared.
    void Copy(const CommandLine& other);
    /// Empties the switch table and lets go of the vector (freeing it when owned), as a new object.
    void Clear();

    /// The switch's position (non-zero) when present, 0 when absent.
    int HasSwitch(const char* name) const;
    int GetArgumentCount(const char* name) const;
    /// The index-th word after the switch, or with a null name the plain vector one place up (index -1 is
    /// the program name); the default when there is none.
    String GetArgument(const char* name, int index, const String& defaultValue) const;
    int GetArgument(const char* name, int index, int defaultValue) const;
    String GetAllArguments(const char* name) const;
    int GetSwitchCount() const { return static_cast<int>(m_switches.size()); }
    void GetSwitches(std::vector<String>& out) const;
    int Argc() const { return m_argc; }
    char** Argv() const { return m_argv; }
    /// The plain vector joined by blanks; words with a blank are quoted unless they start with a quote.
    String GetFullCommandLine() const;
    /// The switch table written out again (no program name, no quoting).
    String GetCurrentCommandLine() const;

    bool AddSwitch(const char* name);
    bool RemoveSwitch(const char* name);

private:
    static bool IsSwitch(String& word);
    void ProcessArg(String word, int index, ArgInfo*& current);
    const ArgInfo* Find(const char* name) const;

    int m_argc = 0;
    char** m_argv = nullptr;
    bool m_ownsArgv = false;
    std::map<String, ArgInfo, String::ciless> m_switches;
};

} // namespace dovo
