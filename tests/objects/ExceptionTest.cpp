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

#include <memory>
#include <regex>
#include <string>
#include <vector>

using namespace dovo;

namespace {

struct Logged
{
    signed char level;
    std::string text;
};

std::vector<Logged> g_logged;
std::vector<Logged> g_dumps;
int g_throwFromWriter = 0;

void Writer(signed char level, const String& text)
{
    g_logged.push_back({level, text.str()});
    if (g_throwFromWriter > 0) {
        --g_throwFromWriter;
        Exception::Throw("Writer", "Write", 0x20000002, "the log itself failed", 0, String(), 1);
    }
}

void Dumper(signed char level, const String& heading) { g_dumps.push_back({level, heading.str()}); }

String Namer(std::uint64_t) { return "Worker 7"; }

// Plugs a capturing log into the exception machinery for one test.
class ExceptionLog : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_logged.clear();
        g_dumps.clear();
        g_throwFromWriter = 0;
        hooks::SetExceptionLogWriter(Writer, Dumper);
    }
    void TearDown() override
    {
        hooks::SetExceptionLogWriter(nullptr, nullptr);
        hooks::SetThreadNamer(nullptr);
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

bool Matches(const String& text, const char* pattern) { return std::regex_match(text.str(), std::regex(pattern)); }

} // namespace

TEST_F(ExceptionLog, ThrowRecordsLogsAndThrowsThePointer)
{
    hooks::SetThreadNamer(Namer);
    const Time before = Time::CurrentTime();
    auto e = Caught<Exception>([] { Exception::Throw("File", "Read", 0x20000003, "File not open", 0, "", 2); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->Module(), "File");
    EXPECT_EQ(e->Method(), "Read");
    EXPECT_EQ(e->Error(), 0x20000003);
    EXPECT_EQ(e->Message(), "File not open");
    EXPECT_EQ(e->OSError(), 0);
    EXPECT_EQ(e->DebugMessage(), ""); // no OS error, no text for it
    EXPECT_EQ(e->Level(), 2);
    EXPECT_GE(e->When(), before);
    EXPECT_LE(e->When(), Time::CurrentTime());
    EXPECT_NE(e->ThreadID(), 0u);
    EXPECT_EQ(e->ThreadName(), "Worker 7");

    ASSERT_EQ(g_logged.size(), 1u);
    EXPECT_EQ(g_logged[0].level, 2);
    EXPECT_EQ(g_logged[0].text, "Exception:\n\n" + e->DisplayAsString().str());
    EXPECT_TRUE(g_dumps.empty());

    // Copies keep every field.
    Exception copy(*e);
    EXPECT_EQ(copy.DisplayAsString(), e->DisplayAsString());
    Exception assigned;
    EXPECT_EQ(assigned.Error(), 0);
    assigned = *e;
    EXPECT_EQ(assigned.DisplayAsHtml(), e->DisplayAsHtml());
}

TEST_F(ExceptionLog, TakesTheThreadsLastOSError)
{
    oserror::SetLast(5);
    auto e = Caught<Exception>([] { Exception::Throw("File", "Open", 0x20000003, "Cannot open", -1, "", 1); });
    ASSERT_TRUE(e);
    EXPECT_EQ(e->OSError(), 5);
    EXPECT_FALSE(e->DebugMessage().Empty());
    EXPECT_EQ(e->DebugMessage(), Exception::TranslateOSError(5));
    EXPECT_EQ(oserror::Last(), 0); // reset

    // A debug message given is kept.
    oserror::SetLast(2);
    e = Caught<Exception>([] { Exception::Throw("File", "Open", 1, "m", -1, "mine", 1); });
    EXPECT_EQ(e->OSError(), 2);
    EXPECT_EQ(e->DebugMessage(), "mine");

    oserror::SetLast(3);
    e->GetOSError();
    EXPECT_EQ(e->OSError(), 3);
    e->ResetOSError();
    EXPECT_EQ(oserror::Last(), 0);
}

TEST_F(ExceptionLog, TextForm)
{
    auto e = Caught<Exception>([] { Exception::Throw("File", "Read", 0x20000003, "File not open", 0, "", 1); });
    EXPECT_TRUE(Matches(e->DisplayAsString(),
                        "File Error in Read at \\d\\d/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d:\\d{3} \n"
                        "\tError 0x20000003 \\(OS Error 0x00000000\\): File not open\n"
                        "\tThread <\\d+>: \n"))
        << e->DisplayAsString();
    EXPECT_TRUE(e->DisplayAsString().Contains("Thread <" + String().AppendUnsigned(e->ThreadID()) + ">"));

    e = Caught<Exception>([] { Exception::Throw("Queue", "", 0x2000000E, "m", 0xAB, "details", 1); });
    EXPECT_TRUE(Matches(e->DisplayAsString(), "Queue at [^\n]* \n\tError 0x2000000E \\(OS Error 0x000000AB\\): m\n"
                                              "\tdetails\n\tThread <\\d+>: \n"))
        << e->DisplayAsString();

    // A time of zero shows as "Never" (the whole time part).
    EXPECT_EQ(Exception().DisplayAsString(), "Never0x00000000 (OS Error 0x00000000): \n\tThread <0>: \n");

    const String html = e->DisplayAsHtml();
    EXPECT_TRUE(html.StartsWith("<table bgcolor=\"#ffa0a0\" border=1 cellpadding=5 cellspacing=0>\r\n"
                                "<tr><td colspan=2><b>Queue</b></td></tr>\r\n<tr><td colspan=2><font size=-1>"))
        << html;
    EXPECT_TRUE(html.Contains("</font></tr></td>\r\n"));
    EXPECT_TRUE(html.Contains("<tr><td><font size=-1>Error number</font></td><td><font size=-1><b><tt>0x2000000E"
                              "</tt></b></font></td></tr>\r\n"));
    EXPECT_TRUE(html.Contains("<tr><td><font size=-2>OS Error</font></td><td><font size=-2><b><tt>0x000000AB"
                              "</tt></font></b></td></tr><tr>")); // no line break after the OS error row
    EXPECT_TRUE(html.Contains("details"));
    EXPECT_TRUE(html.EndsWith("</b></font></td></tr>\r\n</table>\r\n"));
    EXPECT_TRUE(html.Contains("<tr><td><font size=-2><tt><b>" + String().AppendHex(e->ThreadID(), 4) + "</b>"));
}

TEST_F(ExceptionLog, SubclassesKeepTheirArgumentsAndForms)
{
    auto file = Caught<FileException>(
        [] { FileException::Throw(Path("/data/x.txt"), "File", "Open", 0x20000003, "Cannot open", 3, 2); });
    EXPECT_EQ(file->Filename(), Path("/data/x.txt"));
    EXPECT_EQ(file->Level(), 3);
    EXPECT_EQ(file->OSError(), 2);
    EXPECT_TRUE(Matches(file->DisplayAsString(),
                        "File Error in Open at \\d\\d/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\n"
                        "\tFile: /data/x.txt\n\tError 0x20000003 \\(OS Error 2\\): Cannot open\n"
                        "\t[^\n]+\n\tThread <[0-9a-f]{4,}>: \n"))
        << file->DisplayAsString();
    EXPECT_TRUE(file->DisplayAsHtml().Contains("<tr><td colspan=2><tt>/data/x.txt</tt></td></tr>\r\n"));

    auto socket = Caught<SocketException>(
        [] { SocketException::Throw("render7:4000", "Socket", "Connect", 0x20000007, "Refused", 2, 0); });
    EXPECT_EQ(socket->Peer(), "render7:4000");
    EXPECT_TRUE(socket->DisplayAsString().EndsWith(">: \n\tConnected to: render7:4000\n")) << socket->DisplayAsString();
    EXPECT_TRUE(socket->DisplayAsHtml().Contains("<tr><td colspan=2>Connected to <b>render7:4000</b></td></tr>\r\n"));

    auto stream = Caught<StreamException>([] { StreamException::Throw("Stream", "Seek", 3, "m", 0, "d", 4); });
    EXPECT_EQ(stream->Level(), 4);
    EXPECT_EQ(stream->DebugMessage(), "d");
    auto transport = Caught<TransportException>([] { TransportException::Throw("Pipe", "Read", 3, "m", 5, 0); });
    EXPECT_EQ(transport->Level(), 5);
    EXPECT_EQ(transport->OSError(), 0);
    auto process = Caught<ProcessException>([] { ProcessException::Throw("Process", "Start", 3, "m", 0, "d", 6); });
    EXPECT_EQ(process->Level(), 6);
    auto sync = Caught<SyncException>([] { SyncException::Throw("Mutex", "Enter", 0x20000006, "m", 0, "d"); });
    EXPECT_EQ(sync->Level(), 1);
    auto weak = Caught<WeakPointerException>([] { WeakPointerException::Throw("Smart", "LockWeak", 0x2000000F, "m"); });
    EXPECT_EQ(weak->OSError(), 0);
    EXPECT_EQ(weak->Level(), 1);

    // Every subclass is caught as the base too, and each was logged once as it was thrown.
    auto asBase = Caught<Exception>([] { SyncException::Throw("Mutex", "Enter", 1, "m", 0, ""); });
    EXPECT_EQ(asBase->Module(), "Mutex");
    EXPECT_EQ(g_logged.size(), 8u);
}

TEST_F(ExceptionLog, AnExceptionWhileLoggingIsNotLoggedAgain)
{
    g_throwFromWriter = 1;
    // The writer's own exception comes out of the outer Throw; the outer one is not leaked.
    auto inner = Caught<Exception>([] { Exception::Throw("Outer", "Go", 1, "outer", 0, "", 1); });
    ASSERT_TRUE(inner);
    EXPECT_EQ(inner->Module(), "Writer");
    ASSERT_EQ(g_logged.size(), 1u);
    EXPECT_NE(g_logged[0].text.find("outer"), std::string::npos);

    // Logging works again afterwards.
    auto later = Caught<Exception>([] { Exception::Throw("Later", "Go", 1, "later", 0, "", 1); });
    ASSERT_EQ(g_logged.size(), 2u);
    EXPECT_NE(g_logged[1].text.find("later"), std::string::npos);

    // A processor-fault exception also dumps every log.
    auto fault = Caught<Exception>([] { Exception::Throw("System Exception", "", 0x20000001, "x", 0, "", 1); });
    ASSERT_EQ(g_dumps.size(), 1u);
    EXPECT_EQ(g_dumps[0].level, 7);
    EXPECT_EQ(g_dumps[0].text, "Throwing system exception!");

    // Without a log nothing is written, and nothing fails.
    hooks::SetExceptionLogWriter(nullptr, nullptr);
    auto quiet = Caught<Exception>([] { Exception::Throw("Q", "", 0x20000001, "x", 0, "", 1); });
    EXPECT_EQ(g_logged.size(), 3u);
    EXPECT_EQ(g_dumps.size(), 1u);
}

TEST(Exception, TranslateOSError)
{
    const String text = Exception::TranslateOSError(2);
    EXPECT_FALSE(text.Empty());
    EXPECT_FALSE(text.EndsWithOneOf(" \t\r\n"));
    EXPECT_NE(Exception::TranslateOSError(2), Exception::TranslateOSError(5));
}
