#include <dovo/CommandLine.h>

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <vector>

using dovo::CommandLine;
using dovo::String;

namespace {

// A borrowed vector that outlives the CommandLine built over it.
class Argv
{
public:
    Argv(std::initializer_list<const char*> words)
    {
        for (const char* w : words) m_words.push_back(w ? String(w) : String());
        for (std::size_t i = 0; i < m_words.size(); ++i)
            m_argv.push_back(words.begin()[i] ? m_words[i].GetBuffer(0) : nullptr);
    }
    int argc() const { return static_cast<int>(m_argv.size()); }
    char** argv() { return m_argv.data(); }

private:
    std::vector<String> m_words;
    std::vector<char*> m_argv;
};

std::vector<String> Switches(const CommandLine& cl)
{
    std::vector<String> out;
    cl.GetSwitches(out);
    return out;
}

} // namespace

TEST(CommandLine, SwitchesCollectTheWordsAfterThem)
{
    Argv a{"prog", "-frames", "1", "10", "-Name", "shot", "-FRAMES", "20", "-flag"};
    const CommandLine cl(a.argc(), a.argv());
    EXPECT_EQ(cl.Argc(), 9);
    EXPECT_EQ(cl.Argv(), a.argv());
    EXPECT_EQ(cl.HasSwitch("frames"), 1);
    EXPECT_EQ(cl.HasSwitch("NAME"), 4);
    EXPECT_EQ(cl.HasSwitch("flag"), 8);
    EXPECT_EQ(cl.HasSwitch("y"), 0);
    EXPECT_EQ(cl.HasSwitch("-frames"), 0);
    // A repeated switch keeps its first position and spelling and gathers the words of both places.
    EXPECT_EQ(cl.GetArgumentCount("Frames"), 3);
    EXPECT_EQ(cl.GetAllArguments("frames"), "1 10 20");
    EXPECT_EQ(cl.GetArgument("frames", 2, String("d")), "20");
    EXPECT_EQ(cl.GetArgument("frames", 3, String("d")), "d");
    EXPECT_EQ(cl.GetArgument("frames", -1, String("d")), "d");
    EXPECT_EQ(cl.GetArgument("none", 0, String("d")), "d");
    EXPECT_EQ(cl.GetArgumentCount("flag"), 0);
    EXPECT_EQ(cl.GetArgumentCount("none"), 0);
    EXPECT_EQ(cl.GetAllArguments("none"), "");
    EXPECT_EQ(cl.GetSwitchCount(), 3);
    EXPECT_EQ(Switches(cl), (std::vector<String>{"flag", "frames", "Name"}));
    EXPECT_EQ(cl.GetCurrentCommandLine(), "-flag -frames 1 10 20 -Name shot");
    EXPECT_EQ(cl.GetFullCommandLine(), "prog -frames 1 10 -Name shot -FRAMES 20 -flag");
}

TEST(CommandLine, WhatIsNotASwitch)
{
    Argv a{"prog", "-5", "a", "-1.5", "-a b", "/x", "-", nullptr, "--name", "v"};
    const CommandLine cl(a.argc(), a.argv());
    // Only "--name" is a switch, and it keeps its second dash.
    EXPECT_EQ(Switches(cl), (std::vector<String>{" ", "-name"}));
    EXPECT_EQ(cl.HasSwitch(" "), 1);
    EXPECT_EQ(cl.HasSwitch("-NAME"), 8);
    EXPECT_EQ(cl.GetArgumentCount(" "), 7);
    EXPECT_EQ(cl.GetAllArguments(" "), "-5 a -1.5 -a b /x - ");
    EXPECT_EQ(cl.GetCurrentCommandLine(), "-5 a -1.5 -a b /x -  --name v");
    // The plain vector, indexed one place up.
    EXPECT_EQ(cl.GetArgument(nullptr, -1, String("d")), "prog");
    EXPECT_EQ(cl.GetArgument(nullptr, 0, String("d")), "-5");
    EXPECT_EQ(cl.GetArgument(nullptr, 6, String("d")), "");
    EXPECT_EQ(cl.GetArgument(nullptr, 8, String("d")), "v");
    EXPECT_EQ(cl.GetArgument(nullptr, 9, String("d")), "d");
    EXPECT_EQ(cl.GetArgument(nullptr, -2, String("d")), "d");
    EXPECT_EQ(cl.GetArgumentCount(nullptr), 0);
    EXPECT_EQ(cl.GetAllArguments(nullptr), "");
    EXPECT_EQ(cl.GetFullCommandLine(), "prog -5 a -1.5 \"-a b\" /x -  --name v");
}

TEST(CommandLine, IntegerArguments)
{
    Argv a{"prog", "-n", "-m", "12x", "abc", "-5", "99999999999", "-99999999999", "-e", ""};
    const CommandLine cl(a.argc(), a.argv());
    EXPECT_EQ(cl.GetArgument("n", 0, 7), 7);
    EXPECT_EQ(cl.GetArgument("m", 0, 7), 12);
    EXPECT_EQ(cl.GetArgument("m", 1, 7), 0);
    EXPECT_EQ(cl.GetArgument("m", 2, 7), -5);
    // Out-of-range numbers saturate on both platforms.
    EXPECT_EQ(cl.GetArgument("m", 3, 7), INT_MAX);
    EXPECT_EQ(cl.GetArgument("m", 4, 7), INT_MIN);
    EXPECT_EQ(cl.GetArgument("m", 5, 7), 7);
    EXPECT_EQ(cl.GetArgument("e", 0, 7), 7); // an empty word gives the default
    EXPECT_EQ(cl.GetArgument("e", 0, -3), -3);
    EXPECT_EQ(cl.GetArgument(nullptr, 2, 7), 12);
    EXPECT_EQ(cl.GetArgument(nullptr, 20, -8), -8);
}

TEST(CommandLine, AddAndRemoveSwitches)
{
    Argv a{"prog", "-service", "x"};
    CommandLine cl(a.argc(), a.argv());
    EXPECT_FALSE(cl.AddSwitch("Service"));
    EXPECT_EQ(cl.HasSwitch("service"), 1);
    EXPECT_EQ(cl.GetArgumentCount("service"), 1);
    EXPECT_TRUE(cl.AddSwitch("verbose"));
    EXPECT_EQ(cl.HasSwitch("VERBOSE"), -1);
    EXPECT_EQ(cl.GetCurrentCommandLine(), "-service x -verbose");
    EXPECT_TRUE(cl.RemoveSwitch("SERVICE"));
    EXPECT_FALSE(cl.RemoveSwitch("service"));
    EXPECT_EQ(cl.GetCurrentCommandLine(), "-verbose");
    EXPECT_EQ(cl.GetFullCommandLine(), "prog -service x"); // the plain vector is not touched
    // A null name is the empty name, which sorts first.
    EXPECT_TRUE(cl.AddSwitch(nullptr));
    EXPECT_FALSE(cl.AddSwitch(""));
    EXPECT_EQ(cl.HasSwitch(""), -1);
    EXPECT_EQ(cl.GetCurrentCommandLine(), "- -verbose");
    EXPECT_TRUE(cl.RemoveSwitch(nullptr));
    EXPECT_EQ(cl.GetSwitchCount(), 1);
}

TEST(CommandLine, SplitsAText)
{
    const CommandLine cl(String("prog -file \"C:\\My Files\\a.txt\" -x 'q' a\\ b \"\"\"-y\""));
    EXPECT_EQ(cl.Argc(), 7);
    EXPECT_EQ(String(cl.Argv()[2]), "C:\\My Files\\a.txt");
    EXPECT_EQ(String(cl.Argv()[5]), "a\\ b"); // the escape stays in the word
    EXPECT_EQ(cl.GetAllArguments("file"), "C:\\My Files\\a.txt");
    // Quotes are trimmed from a word before it is parsed, so the last word is a switch.
    EXPECT_EQ(cl.HasSwitch("y"), 6);
    EXPECT_EQ(cl.GetAllArguments("x"), "q a\\ b");
    EXPECT_EQ(cl.GetFullCommandLine(), "prog -file \"C:\\My Files\\a.txt\" -x q \"a\\ b\" -y");
    EXPECT_EQ(cl.GetCurrentCommandLine(), "-file C:\\My Files\\a.txt -x q a\\ b -y");
    EXPECT_EQ(cl.GetArgument(nullptr, -1, String()), "prog");

    // Two blanks in a row make an empty word; a blank at the end makes none.
    const CommandLine gaps(String("prog  a "));
    EXPECT_EQ(gaps.Argc(), 3);
    EXPECT_EQ(gaps.GetArgumentCount(" "), 2);
    EXPECT_EQ(gaps.GetArgument(" ", 0, String("d")), "");
    EXPECT_EQ(gaps.GetFullCommandLine(), "prog  a");

    const CommandLine empty{String()};
    EXPECT_EQ(empty.Argc(), 0);
    EXPECT_EQ(empty.Argv(), nullptr);
    EXPECT_EQ(empty.GetFullCommandLine(), "");
    EXPECT_EQ(empty.GetArgument(nullptr, -1, String("d")), "d");

    // Only quotes: one empty program name.
    const CommandLine quotes(String("\"'\""));
    EXPECT_EQ(quotes.Argc(), 1);
    EXPECT_EQ(String(quotes.Argv()[0]), "");
    EXPECT_EQ(quotes.GetSwitchCount(), 0);

    // A word that already begins with a quote is written as it is.
    Argv a{"prog", "\"a b", "c d"};
    EXPECT_EQ(CommandLine(a.argc(), a.argv()).GetFullCommandLine(), "prog \"a b \"c d\"");
}

TEST(CommandLine, CopiesOwnOrShareTheVector)
{
    auto owner = std::make_unique<CommandLine>(String("prog -a 1 2"));
    CommandLine copy(*owner);
    ASSERT_EQ(copy.Argc(), 4);
    EXPECT_NE(copy.Argv(), owner->Argv());
    EXPECT_NE(copy.Argv()[1], owner->Argv()[1]);
    owner.reset(); // the copy's entries must not be the freed ones
    EXPECT_EQ(copy.GetFullCommandLine(), "prog -a 1 2");
    EXPECT_EQ(copy.GetAllArguments("A"), "1 2");

    // Self-copy by every route leaves the object as it was.
    copy = *&copy;
    copy.Copy(copy);
    EXPECT_EQ(copy.GetFullCommandLine(), "prog -a 1 2");
    EXPECT_EQ(copy.HasSwitch("a"), 1);

    // Assigning replaces an owned vector (its old entries are freed) and the switch table.
    Argv a{"tool", "-b"};
    const CommandLine borrower(a.argc(), a.argv());
    copy = borrower;
    EXPECT_EQ(copy.Argv(), a.argv());
    EXPECT_EQ(copy.HasSwitch("a"), 0);
    EXPECT_EQ(copy.HasSwitch("b"), 1);

    // Changes to a copy's switches stay in the copy.
    CommandLine second(copy);
    EXPECT_TRUE(second.AddSwitch("c"));
    EXPECT_EQ(copy.HasSwitch("c"), 0);

    second.Clear();
    EXPECT_EQ(second.Argc(), 0);
    EXPECT_EQ(second.Argv(), nullptr);
    EXPECT_EQ(second.GetSwitchCount(), 0);
    EXPECT_EQ(copy.GetFullCommandLine(), "tool -b");

    const CommandLine none;
    EXPECT_EQ(none.Argc(), 0);
    EXPECT_EQ(none.GetCurrentCommandLine(), "");
    EXPECT_EQ(none.GetArgument(nullptr, 0, 5), 5);
}
