#include <dovo/CommandLine.h>

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

using dovo::CommandLine;
using dovo::String;

namespace {

// CommandLine reads a borrowed vector and never writes to it, so its words can be literals.
using Argv = std::vector<const char*>;
CommandLine Borrow(Argv& a) { return CommandLine(static_cast<int>(a.size()), const_cast<char**>(a.data())); }

std::vector<String> Words(const CommandLine& cl) { return std::vector<String>(cl.Argv(), cl.Argv() + cl.Argc()); }

// The switch table in order, each switch as name@position[word]... and looked up by its name in capitals, as
// names compare without case. GetAllArguments must agree with the words one by one.
String Table(const CommandLine& cl)
{
    std::vector<String> names;
    cl.GetSwitches(names);
    String table;
    for (const String& name : names) {
        String all, key = String(name).MakeUpper();
        table += String(table.Empty() ? "" : ", ") + name + "@" + std::to_string(cl.HasSwitch(key.c_str()));
        for (int i = 0; i < cl.GetArgumentCount(key.c_str()); ++i) {
            const String word = cl.GetArgument(key.c_str(), i, String("?"));
            table += "[" + word + "]";
            all += (i > 0 ? " " : "") + word;
        }
        EXPECT_EQ(cl.GetAllArguments(key.c_str()), all) << "switch \"" << name.str() << "\"";
    }
    return table;
}

// GetArgument(name, i, defaultValue) for every i from first to last.
template <typename T>
std::vector<T> Arguments(const CommandLine& cl, const char* name, int first, int last, T defaultValue)
{
    std::vector<T> out;
    for (int i = first; i <= last; ++i) out.push_back(cl.GetArgument(name, i, defaultValue));
    return out;
}

} // namespace

TEST(CommandLine, SwitchesCollectTheWordsAfterThem)
{
    Argv a{"prog", "-frames", "1", "10", "-Name", "shot", "-FRAMES", "20", "-flag"};
    const CommandLine cl = Borrow(a);
    EXPECT_EQ(cl.Argv(), const_cast<char**>(a.data()));
    // A repeated switch keeps its first position and spelling and gathers the words of both places.
    EXPECT_EQ(Table(cl), "flag@8, frames@1[1][10][20], Name@4[shot]");
    EXPECT_EQ(Arguments(cl, "frames", -1, 3, String("d")), (std::vector<String>{"d", "1", "10", "20", "d"}));
    EXPECT_EQ(cl.GetArgument("none", 0, String("d")), "d");
    EXPECT_EQ(cl.HasSwitch("-frames"), 0);
    EXPECT_EQ(cl.GetCurrentCommandLine(), "-flag -frames 1 10 20 -Name shot");
    EXPECT_EQ(cl.GetFullCommandLine(), "prog -frames 1 10 -Name shot -FRAMES 20 -flag");
}

TEST(CommandLine, WhatIsNotASwitch)
{
    Argv a{"prog", "-5", "a", "-1.5", "-a b", "/x", "-", nullptr, "--name", "v"};
    const CommandLine cl = Borrow(a);
    // Only "--name" is a switch, and it keeps its second dash; the words before it are kept under " ".
    EXPECT_EQ(Table(cl), " @1[-5][a][-1.5][-a b][/x][-][], -name@8[v]");
    // The plain vector, indexed one place up; the null entry reads as an empty word.
    EXPECT_EQ(Arguments(cl, nullptr, -2, 9, String("d")),
              (std::vector<String>{"d", "prog", "-5", "a", "-1.5", "-a b", "/x", "-", "", "--name", "v", "d"}));
    // Only the full line quotes the word with a blank.
    EXPECT_EQ(cl.GetFullCommandLine(), "prog -5 a -1.5 \"-a b\" /x -  --name v");
    EXPECT_EQ(cl.GetCurrentCommandLine(), "-5 a -1.5 -a b /x -  --name v");
}

TEST(CommandLine, IntegerArguments)
{
    Argv a{"prog", "-n", "-m", "12x", "abc", "-5", "99999999999", "-99999999999", "-e", ""};
    const CommandLine cl = Borrow(a);
    // Trailing junk is ignored, no digits read 0, out-of-range numbers saturate on both platforms, and a missing
    // or empty word gives the default.
    EXPECT_EQ(Arguments(cl, "m", -1, 6, 7), (std::vector<int>{7, 12, 0, -5, INT_MAX, INT_MIN, 7, 7}));
    EXPECT_EQ(Arguments(cl, nullptr, 7, 9, -3), (std::vector<int>{0, -3, -3}));
}

TEST(CommandLine, AddAndRemoveSwitches)
{
    Argv a{"prog", "-service", "x"};
    CommandLine cl = Borrow(a);
    EXPECT_FALSE(cl.AddSwitch("Service"));
    EXPECT_TRUE(cl.AddSwitch("verbose"));
    EXPECT_EQ(Table(cl), "service@1[x], verbose@-1");
    EXPECT_EQ(cl.GetCurrentCommandLine(), "-service x -verbose");
    EXPECT_TRUE(cl.RemoveSwitch("SERVICE"));
    EXPECT_FALSE(cl.RemoveSwitch("service"));
    EXPECT_EQ(cl.GetFullCommandLine(), "prog -service x"); // the plain vector is not touched
    // A null name is the empty name, which sorts first.
    EXPECT_TRUE(cl.AddSwitch(nullptr) && !cl.AddSwitch(""));
    EXPECT_EQ(Table(cl), "@-1, verbose@-1");
}

TEST(CommandLine, SplitsAText)
{
    const CommandLine cl(String("prog -file \"C:\\My Files\\a.txt\" -x 'q' a\\ b \"\"\"-y\""));
    // Quotes are trimmed from a word before it is parsed, so the last word is a switch; the escape stays.
    EXPECT_EQ(Words(cl), (std::vector<String>{"prog", "-file", "C:\\My Files\\a.txt", "-x", "q", "a\\ b", "-y"}));
    EXPECT_EQ(Table(cl), "file@1[C:\\My Files\\a.txt], x@3[q][a\\ b], y@6");
    EXPECT_EQ(cl.GetFullCommandLine(), "prog -file \"C:\\My Files\\a.txt\" -x q \"a\\ b\" -y");
    EXPECT_EQ(cl.GetCurrentCommandLine(), "-file C:\\My Files\\a.txt -x q a\\ b -y");
    // Two blanks in a row make an empty word; a blank at the end makes none.
    const CommandLine gaps(String("prog  a "));
    EXPECT_EQ(Words(gaps), (std::vector<String>{"prog", "", "a"}));
    EXPECT_EQ(Table(gaps), " @1[][a]");
    // No text, no vector; only quotes, one empty program name.
    EXPECT_EQ(CommandLine{String()}.Argv(), nullptr);
    EXPECT_EQ(Words(CommandLine(String("\"'\""))), std::vector<String>{""});
    // A word that already begins with a quote is written as it is.
    Argv a{"prog", "\"a b", "c d"};
    EXPECT_EQ(Borrow(a).GetFullCommandLine(), "prog \"a b \"c d\"");
}

TEST(CommandLine, CopiesOwnOrShareTheVector)
{
    // An owned vector is duplicated entry by entry, so the copy outlives the original.
    auto owner = std::make_unique<CommandLine>(String("prog -a 1 2"));
    CommandLine copy(*owner);
    ASSERT_EQ(copy.Argc(), 4);
    EXPECT_NE(copy.Argv()[1], owner->Argv()[1]);
    owner.reset();
    // Self-copy by every route leaves the object as it was.
    copy = *&copy;
    copy.Copy(copy);
    EXPECT_EQ(copy.GetFullCommandLine(), "prog -a 1 2");
    EXPECT_EQ(Table(copy), "a@1[1][2]");
    // Assigning replaces the owned vector (its entries are freed) and the switch table; a borrowed one is shared.
    Argv a{"tool", "-b"};
    const CommandLine borrower = Borrow(a);
    copy = borrower;
    EXPECT_EQ(copy.Argv(), const_cast<char**>(a.data()));
    EXPECT_EQ(Table(copy), "b@1");
    // Changes to a copy's switches stay in the copy, and Clear lets the vector go.
    CommandLine second(copy);
    EXPECT_TRUE(second.AddSwitch("c"));
    EXPECT_EQ(Table(copy), "b@1");
    second.Clear();
    EXPECT_TRUE(second.Argv() == nullptr && second.Argc() == 0 && Table(second).Empty());
    EXPECT_EQ(copy.GetFullCommandLine(), "tool -b");
}
