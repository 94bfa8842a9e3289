#include <dovo/FileException.h>
#include <dovo/ProcessException.h>
#include <dovo/SocketException.h>
#include <dovo/StreamException.h>
#include <dovo/SyncException.h>
#include <dovo/TransportException.h>
#include <dovo/WeakPointerException.h>

#include "objects/ExceptionHooks.h"
#include "objects/OSError.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

using namespace dovo;

namespace {

// What reached the log, as "level|text", and the dumps, as "dump level|heading".
std::vector<std::string> g_log;
bool g_throwFromWriter = false;

void Writer(signed char level, const String& text)
{
    g_log.push_back(std::to_string(level) + "|" + text.str());
    if (std::exchange(g_throwFromWriter, false)) Exception::Throw("Writer", "Write", 2, "log failed", 0, "", 1);
}

void Dumper(signed char level, const String& h) { g_log.push_back("dump " + std::to_string(level) + "|" + h.str()); }

// Plugs a capturing log into the exception machinery for one test.
class ExceptionLog : public ::testing::Test
{
protected:
    ExceptionLog() { hooks::SetExceptionLogWriter(Writer, Dumper); }
    ~ExceptionLog() override
    {
        hooks::SetExceptionLogWriter(nullptr, nullptr);
        hooks::SetThreadNamer(nullptr);
        g_log.clear();
    }
};

// Runs f, which must throw E*, and hands back the exception.
template <typename E, typename F>
std::unique_ptr<E> Caught(F f)
{
    try {
        f();
    } catch (E* e) {
        return std::unique_ptr<E>(e);
    }
    ADD_FAILURE() << "nothing was thrown";
    return nullptr;
}

// Type::Throw(arguments...), caught as a Type*.
#define THROWN(Type, ...) Caught<Type>([&] { Type::Throw(__VA_ARGS__); })

// Where every argument went: module|method|error|OS error|level|message|debug message.
template <typename E>
std::string Fields(const std::unique_ptr<E>& e)
{
    if (!e) return "nothing thrown";
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, "|0x%08X|%d|%d|", e->Error(), e->OSError(), e->Level());
    return e->Module().str() + "|" + e->Method().str() + numbers + e->Message().str() + "|" + e->DebugMessage().str();
}

// A form with its time shown as TIME (keeping the separator before the milliseconds) and the thread, written in
// decimal or in hexadecimal, as ID.
std::string Shown(const String& form, std::uint64_t thread, bool hex)
{
    const std::regex time("\\d\\d/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d([:.])\\d{3}");
    const std::string id = hex ? String().AppendHex(thread, 4).str() : std::to_string(thread);
    return std::regex_replace(std::regex_replace(form.str(), time, "TIME$1ms"), std::regex("([<>])" + id + "([<>])"),
                              "$1ID$2");
}

} // namespace

TEST_F(ExceptionLog, ThrowRecordsLogsAndThrowsThePointer)
{
    hooks::SetThreadNamer([](std::uint64_t) { return String("Worker 7"); });
    const Time before = Time::CurrentTime();
    std::unique_ptr<Exception> e = THROWN(Exception, "File", "Read", 0x20000003, "File not open", 0, "", 2);
    ASSERT_EQ(Fields(e), "File|Read|0x20000003|0|2|File not open|"); // no OS error, no text for it
    EXPECT_TRUE(e->When() >= before && e->When() <= Time::CurrentTime() && e->ThreadID() != 0);
    EXPECT_EQ(e->ThreadName(), "Worker 7");
    // Logged once, at its level, before it was thrown; only a processor fault dumps the logs. A copy keeps every field.
    EXPECT_EQ(g_log, std::vector<std::string>{"2|Exception:\n\n" + e->DisplayAsString().str()});
    EXPECT_EQ(Exception(*e).DisplayAsString(), e->DisplayAsString());

    // -1 takes the thread's last OS error and resets it; a debug message given is kept, else the OS text is used.
    oserror::SetLast(5);
    e = THROWN(Exception, "File", "Open", 0x20000003, "Cannot open", -1, "", 1);
    EXPECT_EQ(Fields(e), "File|Open|0x20000003|5|1|Cannot open|" + Exception::TranslateOSError(5).str());
    EXPECT_EQ(oserror::Last(), 0);
    oserror::SetLast(2);
    EXPECT_EQ(Fields(THROWN(Exception, "File", "Open", 1, "m", -1, "mine", 1)), "File|Open|0x00000001|2|1|m|mine");
    oserror::SetLast(3);
    e->GetOSError(), e->ResetOSError();
    EXPECT_EQ(std::pair(e->OSError(), oserror::Last()), std::pair(3, 0));
    // The OS text: one per error, without a trailing line break; none for a code the system has no text for, and
    // then the exception has no debug line.
    const String text = Exception::TranslateOSError(2);
    EXPECT_FALSE(text.Empty() || text.EndsWithOneOf(" \t\r\n") || text == Exception::TranslateOSError(5)) << text;
    EXPECT_EQ(Exception::TranslateOSError(100000), "");
    EXPECT_EQ(Fields(THROWN(Exception, "File", "Open", 1, "m", 100000, "", 1)), "File|Open|0x00000001|100000|1|m|");
}

TEST_F(ExceptionLog, TextAndHtmlForms)
{
    // A method gives "Error in" and a row; a debug message has a line and a row of its own.
    const auto e = THROWN(Exception, "Queue", "Pop", 0x2000000E, "m", 0xAB, "details", 1);
    ASSERT_TRUE(e);
    EXPECT_EQ(
        Shown(e->DisplayAsString(), e->ThreadID(), false),
        "Queue Error in Pop at TIME:ms \n\tError 0x2000000E (OS Error 0x000000AB): m\n\tdetails\n\tThread <ID>: \n");
    // The time row's tags cross, and the OS error row ends without a line break.
    EXPECT_EQ(Shown(e->DisplayAsHtml(), e->ThreadID(), true),
              "<table bgcolor=\"#ffa0a0\" border=1 cellpadding=5 cellspacing=0>\r\n<tr><td colspan=2><b>Queue</b></td>"
              "</tr>\r\n<tr><td colspan=2>Pop</td></tr>\r\n<tr><td colspan=2><font size=-1>TIME:ms</font></tr></td>\r\n"
              "<tr><td><font size=-1>Error number</font></td><td><font size=-1><b><tt>0x2000000E</tt></b></font></td>"
              "</tr>\r\n<tr><td colspan=2>m</td></tr>\r\n<tr><td><font size=-2>OS Error</font></td><td><font size=-2>"
              "<b><tt>0x000000AB</tt></font></b></td></tr><tr><td colspan=2><font size=-2>details</font></td></tr>\r\n"
              "<tr><td><font size=-2><tt><b>ID</b></tt></font></td><td><font size=-2><b></b></font></td></tr>\r\n"
              "</table>\r\n");
    // Without a method, neither; a time of zero shows as "Never" (the whole time part).
    EXPECT_EQ(Exception().DisplayAsString(), "Never0x00000000 (OS Error 0x00000000): \n\tThread <0>: \n");
    EXPECT_TRUE(Exception().DisplayAsHtml().Contains("<b></b></td></tr>\r\n<tr><td colspan=2><font size=-1>Never<"));

    const auto file = THROWN(FileException, Path("/data/x.txt"), "File", "Open", 3, "Cannot open", 4, 2);
    const std::string text2 = Exception::TranslateOSError(2).str();
    ASSERT_EQ(Fields(file), "File|Open|0x00000003|2|4|Cannot open|" + text2);
    // Unlike the base: a point before the milliseconds, a file line, the OS error in decimal, the thread in hex.
    EXPECT_EQ(Shown(file->DisplayAsString(), file->ThreadID(), true),
              "File Error in Open at TIME.ms\n\tFile: /data/x.txt\n\tError 0x00000003 (OS Error 2): Cannot open\n\t" +
                  text2 + "\n\tThread <ID>: \n");
    EXPECT_TRUE(file->DisplayAsHtml().Contains("<b>File</b></td></tr>\r\n<tr><td colspan=2><tt>/data/x.txt</tt></td>"
                                               "</tr>\r\n<tr><td colspan=2>Open</td>"));
    const auto socket = THROWN(SocketException, "render7:4000", "Socket", "Connect", 7, "Refused", 2, 0);
    ASSERT_TRUE(socket);
    EXPECT_EQ(Shown(socket->DisplayAsString(), socket->ThreadID(), false),
              "Socket Error in Connect at TIME:ms \n\tError 0x00000007 (OS Error 0x00000000): Refused\n\tThread <ID>: "
              "\n\tConnected to: render7:4000\n");
    EXPECT_TRUE(socket->DisplayAsHtml().Contains("<b>Socket</b></td></tr>\r\n<tr><td colspan=2>Connected to <b>"
                                                 "render7:4000</b></td></tr>\r\n<tr><td colspan=2>Connect</td>"));
}

TEST_F(ExceptionLog, SubclassesKeepTheirArguments)
{
    // Each Throw has its own argument order and throws its own type; distinct values show where each one went. A
    // weak pointer's exception takes the thread's last OS error.
    const std::pair<std::string, std::string> rows[] = {
        {Fields(THROWN(StreamException, "Stream", "Seek", 3, "m", 0, "d", 4)), "Stream|Seek|0x00000003|0|4|m|d"},
        {Fields(THROWN(TransportException, "Pipe", "Read", 3, "m", 5, 0)), "Pipe|Read|0x00000003|0|5|m|"},
        {Fields(THROWN(ProcessException, "Job", "Start", 3, "m", 0, "d", 6)), "Job|Start|0x00000003|0|6|m|d"},
        {Fields(THROWN(SyncException, "Mutex", "Enter", 3, "m", 0, "d")), "Mutex|Enter|0x00000003|0|1|m|d"},
        {(oserror::SetLast(9), Fields(THROWN(WeakPointerException, "Smart", "Lock", 3, "m"))),
         "Smart|Lock|0x00000003|9|1|m|" + Exception::TranslateOSError(9).str()},
        // Every subclass is caught as the base too.
        {Fields(Caught<Exception>([] { SyncException::Throw("Mutex", "Enter", 1, "m", 0, ""); })),
         "Mutex|Enter|0x00000001|0|1|m|"}};
    for (const auto& [fields, expected] : rows) EXPECT_EQ(fields, expected);
    EXPECT_EQ(g_log.size(), 6u); // each logged once as it was thrown
}

TEST_F(ExceptionLog, AnExceptionWhileLoggingIsNotLoggedAgain)
{
    g_throwFromWriter = true;
    // The writer's own exception comes out of the outer Throw; the outer one is not leaked.
    EXPECT_EQ(Fields(THROWN(Exception, "Outer", "Go", 1, "outer", 0, "", 1)),
              "Writer|Write|0x00000002|0|1|log failed|");
    ASSERT_EQ(g_log.size(), 1u);
    EXPECT_NE(g_log[0].find("outer"), std::string::npos);

    // Logging works again afterwards, and a processor-fault exception also dumps every log. The dump reaches the
    // dump mailer, user code, without the exception-log lock: another thread's exception is logged meanwhile, and
    // one raised by the dump itself is not logged again.
    static std::future<void> other;
    hooks::SetExceptionLogWriter(Writer, [](signed char level, const String& heading) {
        Dumper(level, heading);
        other = std::async(std::launch::async, [] { Exception::Log(std::make_unique<Exception>().get()); });
        const bool logged = other.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
        Exception::Throw("Mailer", "Send", 3, logged ? "other logged" : "other blocked", 0, "", 1);
    });
    EXPECT_EQ(Fields(THROWN(Exception, "System Exception", "", 0x20000001, "x", 0, "", 1)),
              "Mailer|Send|0x00000003|0|1|other logged|");
    other.wait();
    ASSERT_EQ(g_log.size(), 4u);
    EXPECT_EQ(g_log[2] + g_log[3].substr(0, 13), "dump 7|Throwing system exception!0|Exception:\n");
    // Without a log nothing is written, and nothing fails.
    hooks::SetExceptionLogWriter(nullptr, nullptr);
    THROWN(Exception, "Q", "", 0x20000001, "x", 0, "", 1);
    EXPECT_EQ(g_log.size(), 4u);
}
