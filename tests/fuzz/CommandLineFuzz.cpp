// Fuzzes CommandLine twice per input: the whole input as one command-line text, and the input cut at
// NUL bytes as an argument vector (a word "\x01" standing for a null entry). Every object, its copies
// and an object over its own vector must answer the same, and the switch table must account for every
// word of the vector.

#include <dovo/CommandLine.h>
#include <dovo/StringTokenizer.h>

#include "FuzzCheck.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using dovo::CommandLine;
using dovo::String;

namespace {

const char* Entry(const CommandLine& cl, int i) { return cl.Argv()[i] ? cl.Argv()[i] : ""; }

std::vector<String> Switches(const CommandLine& cl)
{
    std::vector<String> names;
    cl.GetSwitches(names);
    return names;
}

// The word rule, written out again: at least two bytes, a dash, no digit after it, no blank.
bool LooksLikeSwitch(const char* word)
{
    return word[0] == '-' && word[1] != 0 && !std::isdigit(static_cast<unsigned char>(word[1])) &&
           !std::strchr(word, ' ');
}

// What holds for any command line, however it was made.
void CheckQueries(const CommandLine& cl, bool parsedOnly)
{
    const int argc = cl.Argc();
    const String full = cl.GetFullCommandLine();
    const String current = cl.GetCurrentCommandLine();
    FUZZ_CHECK(argc >= 0 && (argc == 0 || cl.Argv() != nullptr));

    // The plain vector, one place up, with the default on both sides of it.
    for (int i = 0; i < argc; ++i) FUZZ_CHECK(cl.GetArgument(nullptr, i - 1, String("?")) == Entry(cl, i));
    FUZZ_CHECK(cl.GetArgument(nullptr, argc - 1, String("def")) == "def");
    FUZZ_CHECK(cl.GetArgument(nullptr, -2, String("def")) == "def");
    // The full line quotes exactly the words with a blank that do not begin with a quote.
    std::string expected;
    for (int i = 0; i < argc; ++i) {
        const std::string word = Entry(cl, i);
        const bool quoted = word.find(' ') != std::string::npos && word[0] != '"';
        expected += (i > 0 ? " " : "") + (quoted ? '"' + word + '"' : word);
    }
    FUZZ_CHECK(full == expected);

    const std::vector<String> names = Switches(cl);
    FUZZ_CHECK(static_cast<int>(names.size()) == cl.GetSwitchCount());
    std::size_t words = 0;
    std::size_t currentLength = 0;
    for (const String& name : names) {
        const int position = cl.HasSwitch(name.c_str());
        FUZZ_CHECK(position != 0);
        FUZZ_CHECK(position == -1 || (position >= 1 && position < argc));
        if (position > 0 && name == " ") {
            FUZZ_CHECK(position == 1);
        } else if (position > 0) {
            // The switch keeps the spelling of its first occurrence.
            FUZZ_CHECK(String("-") + name == Entry(cl, position));
        }
        if (parsedOnly) FUZZ_CHECK(position != -1);
        const int count = cl.GetArgumentCount(name.c_str());
        FUZZ_CHECK(count >= 0);
        String all;
        for (int k = 0; k < count; ++k) {
            const String word = cl.GetArgument(name.c_str(), k, String("?"));
            all += (k > 0 ? " " : "") + word;
            currentLength += word.str().size() + 1;
            cl.GetArgument(name.c_str(), k, 3);
        }
        FUZZ_CHECK(all == cl.GetAllArguments(name.c_str()));
        FUZZ_CHECK(cl.GetArgument(name.c_str(), count, String("def")) == "def");
        FUZZ_CHECK(cl.GetArgument(name.c_str(), -1, String("def")) == "def");
        if (name != " ") currentLength += name.str().size() + 2;
        words += static_cast<std::size_t>(count);
    }
    FUZZ_CHECK(current.str().size() + 1 == (currentLength > 0 ? currentLength : 1));
    if (parsedOnly) {
        // Every word after the program name is either a switch or one switch's plain word.
        std::size_t switchWords = 0;
        for (int i = 1; i < argc; ++i) switchWords += LooksLikeSwitch(Entry(cl, i));
        FUZZ_CHECK(words + switchWords == static_cast<std::size_t>(argc > 0 ? argc - 1 : 0));
    }
}

// Two command lines answer every query alike.
void CheckSame(const CommandLine& a, const CommandLine& b)
{
    FUZZ_CHECK(a.Argc() == b.Argc());
    for (int i = 0; i < a.Argc(); ++i) FUZZ_CHECK(std::strcmp(Entry(a, i), Entry(b, i)) == 0);
    FUZZ_CHECK(a.GetFullCommandLine() == b.GetFullCommandLine());
    FUZZ_CHECK(a.GetCurrentCommandLine() == b.GetCurrentCommandLine());
    const std::vector<String> names = Switches(a);
    FUZZ_CHECK(names == Switches(b));
    for (const String& name : names) {
        FUZZ_CHECK(a.HasSwitch(name.c_str()) == b.HasSwitch(name.c_str()));
        FUZZ_CHECK(a.GetArgumentCount(name.c_str()) == b.GetArgumentCount(name.c_str()));
        FUZZ_CHECK(a.GetAllArguments(name.c_str()) == b.GetAllArguments(name.c_str()));
    }
}

void CheckCopies(const CommandLine& cl, bool owns)
{
    CheckQueries(cl, true);
    CommandLine copy(cl);
    CheckSame(cl, copy);
    // An owned vector is duplicated, a borrowed one shared.
    if (cl.Argc() > 0) FUZZ_CHECK(owns ? copy.Argv() != cl.Argv() : copy.Argv() == cl.Argv());

    CommandLine assigned(String("old -x y"));
    assigned = cl;
    CheckSame(cl, assigned);
    CommandLine& self = assigned;
    assigned = self;
    assigned.Copy(self);
    CheckSame(cl, assigned);

    // The same vector, borrowed, parses into the same table.
    const CommandLine borrowed(cl.Argc(), cl.Argv());
    CheckSame(cl, borrowed);

    // Changes to a copy stay there, and the table stays consistent.
    const std::vector<String> names = Switches(cl);
    if (!names.empty()) {
        FUZZ_CHECK(copy.RemoveSwitch(names.front().c_str()));
        FUZZ_CHECK(copy.HasSwitch(names.front().c_str()) == 0);
        FUZZ_CHECK(copy.GetSwitchCount() == cl.GetSwitchCount() - 1);
        FUZZ_CHECK(cl.HasSwitch(names.front().c_str()) != 0);
    }
    const bool present = cl.HasSwitch("fuzz-added") != 0;
    FUZZ_CHECK(assigned.AddSwitch("fuzz-added") == !present);
    if (!present) FUZZ_CHECK(assigned.HasSwitch("FUZZ-ADDED") == -1 && cl.HasSwitch("fuzz-added") == 0);
    CheckQueries(assigned, false);
    CheckQueries(copy, false);
    assigned.Clear();
    FUZZ_CHECK(assigned.Argc() == 0 && assigned.GetSwitchCount() == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const String text(reinterpret_cast<const char*>(data), size);
    {
        const CommandLine cl(text);
        // One entry per token, its quotes trimmed; an entry ends at a NUL byte of its word.
        dovo::StringTokenizer words(text, ' ', false, '"', '\\');
        FUZZ_CHECK(cl.Argc() == static_cast<int>(words.Count()));
        FUZZ_CHECK(cl.Argc() > 0 || cl.Argv() == nullptr);
        String word;
        for (int i = 0; words.GetNext(word); ++i) FUZZ_CHECK(std::strcmp(Entry(cl, i), word.Trim("\"'").c_str()) == 0);
        CheckCopies(cl, true);
    }

    std::vector<std::string> storage;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= size; ++i) {
        if (i == size || data[i] == 0) {
            storage.emplace_back(reinterpret_cast<const char*>(data) + start, i - start);
            start = i + 1;
        }
    }
    if (size == 0) storage.clear();
    std::vector<char*> argv;
    for (std::string& s : storage) argv.push_back(s == "\x01" ? nullptr : s.data());
    const CommandLine cl(static_cast<int>(argv.size()), argv.empty() ? nullptr : argv.data());
    CheckCopies(cl, false);
    return 0;
}
