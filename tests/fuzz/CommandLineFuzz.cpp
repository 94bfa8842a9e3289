// Fuzzes CommandLine twice per input: the whole input as one command-line text, and the input cut at
// NUL bytes as an argument vector (a word "\x01" standing for a null entry). Every object, its copy
// and an object over its own vector must answer the same, and the switch table must account for every
// word of the vector.

#include <dovo/CommandLine.h>
#include <dovo/StringTokenizer.h>

#include "FuzzCheck.h"

#include <algorithm>
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

// Checks what holds for any command line, however it was made, and returns all that it answers as one text, so
// that two command lines can be compared.
std::string Answers(const CommandLine& cl)
{
    const int argc = cl.Argc();
    FUZZ_CHECK(argc >= 0 && (argc == 0 || cl.Argv() != nullptr));
    std::string answers = std::to_string(argc);
    const auto add = [&](const std::string& s) { answers += "|" + std::to_string(s.size()) + ":" + s; };
    // The plain vector, one place up, with the default on both sides of it.
    for (int i = 0; i < argc; ++i) {
        FUZZ_CHECK(cl.GetArgument(nullptr, i - 1, String("?")) == Entry(cl, i));
        add(Entry(cl, i));
    }
    FUZZ_CHECK(cl.GetArgument(nullptr, argc - 1, String("d")) == "d" &&
               cl.GetArgument(nullptr, -2, String("d")) == "d");
    add(cl.GetFullCommandLine().str() + "|" + cl.GetCurrentCommandLine().str());

    std::vector<String> names;
    cl.GetSwitches(names);
    FUZZ_CHECK(static_cast<int>(names.size()) == cl.GetSwitchCount());
    std::size_t words = 0;
    for (const String& name : names) {
        const int position = cl.HasSwitch(name.c_str()), count = cl.GetArgumentCount(name.c_str());
        FUZZ_CHECK(position >= 1 && position < argc);
        // A switch keeps the spelling of its first occurrence; the plain words before any switch start at 1.
        if (position > 0) FUZZ_CHECK(name == " " ? position == 1 : String("-") + name == Entry(cl, position));
        String all;
        for (int k = 0; k < count; ++k) {
            const String word = cl.GetArgument(name.c_str(), k, String("?"));
            all += (k > 0 ? " " : "") + word;
        }
        FUZZ_CHECK(count >= 0 && all == cl.GetAllArguments(name.c_str()) &&
                   cl.GetArgument(name.c_str(), count, String("d")) == "d" &&
                   cl.GetArgument(name.c_str(), -1, String("d")) == "d");
        words += static_cast<std::size_t>(count);
        add(name.str() + " " + std::to_string(position) + " " + std::to_string(count) + " " + all.str());
    }
    // Every word after the program name is either a switch (a dash, no digit after it, no blank) or one switch's
    // plain word.
    for (int i = 1; i < argc; ++i) {
        const char* w = Entry(cl, i);
        words += w[0] == '-' && w[1] != 0 && !std::isdigit(static_cast<unsigned char>(w[1])) && !std::strchr(w, ' ');
    }
    FUZZ_CHECK(words == static_cast<std::size_t>(std::max(argc - 1, 0)));
    return answers;
}

// Copies answer the same (an owned vector is duplicated, a borrowed one shared), and so does the same vector
// borrowed and parsed again.
void CheckCopies(const CommandLine& cl, bool owns)
{
    const std::string answers = Answers(cl);
    const CommandLine copy(cl);
    FUZZ_CHECK(Answers(copy) == answers && (cl.Argc() == 0 || (copy.Argv() != cl.Argv()) == owns));
    FUZZ_CHECK(Answers(CommandLine(cl.Argc(), cl.Argv())) == answers);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    // As one text: one entry per token, its quotes trimmed; an entry ends at a NUL byte of its word.
    const CommandLine parsed{String(input)};
    const FuzzTokens words = ReadTokens(dovo::StringTokenizer(input, ' ', false, '"', '\\'), size);
    FUZZ_CHECK(parsed.Argc() == static_cast<int>(words.size()) && (parsed.Argc() > 0 || parsed.Argv() == nullptr));
    for (int i = 0; i < parsed.Argc(); ++i)
        FUZZ_CHECK(std::strcmp(Entry(parsed, i), String(words[i].first).Trim("\"'").c_str()) == 0);
    CheckCopies(parsed, true);

    // As a vector, cut at NUL bytes.
    std::vector<std::string> storage;
    for (std::size_t start = 0, end = 0; size > 0 && start <= size; start = end + 1) {
        end = std::min(input.find('\0', start), size);
        storage.push_back(input.substr(start, end - start));
    }
    std::vector<char*> argv;
    for (std::string& s : storage) argv.push_back(s == "\x01" ? nullptr : s.data());
    CheckCopies(CommandLine(static_cast<int>(argv.size()), argv.empty() ? nullptr : argv.data()), false);
    return 0;
}
