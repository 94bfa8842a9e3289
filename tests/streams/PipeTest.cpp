#include <dovo/NamedPipeServer.h>
#include <dovo/Pipe.h>

#include "streams/PipeTestSupport.h"

#include <map>

using namespace dovo;
using namespace pipetest;

namespace {

int ReadInto(Stream::Transport& t, std::string& text)
{
    unsigned char buffer[256];
    const int n = t.Read(buffer, sizeof buffer);
    text.append(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(n));
    return n;
}

void WriteText(Stream::Transport& t, const std::string& text)
{
    t.Write(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
}

// Polls until data waits or the transport closes (bounded).
bool PollUntil(Stream::Transport& t, float seconds = 0.05f)
{
    for (int i = 0; i < 1200; ++i)
        if (t.Poll(seconds) || !t.IsUsable()) return t.IsUsable();
    return false;
}

} // namespace

TEST(NamedPipe, NamesAcceptedAndRefused)
{
    LogStarted();
    const std::string longest(90, 'n');
    const struct
    {
        std::string name;
        std::string thrown; // "" when accepted
        std::string leaf;   // the local name's last component, when known
    } rows[] = {
        {"", "NamedPipe|SetName|0x20000004|0|1|Named pipes cannot have an empty name", ""},
        {longest + "x", "NamedPipe|SetName|0x20000005|0|1|Pipe name exceeds 90 characters (91): " + longest + "x", ""},
        {"1234", "", "Dovo: 1234"},
        {"jobs/a/b", "", "Dovo: jobs\\a\\b"},
        {longest, "", OnWindows() ? "Dovo: " + longest : ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        NamedPipe pipe;
        EXPECT_EQ(Thrown([&] { pipe.SetName(row.name); }), row.thrown.empty() ? "nothing thrown" : row.thrown);
        const std::string local = pipe.LocalName().str();
        if (!row.thrown.empty()) {
            EXPECT_TRUE(local.empty());
            continue;
        }
        EXPECT_EQ(pipe.GetName().str(), local);
        EXPECT_TRUE(InLog("NamedPipe '" + row.name + "' is locally known as: " + local));
        if (OnWindows()) {
            EXPECT_EQ(local, "\\\\.\\pipe\\" + row.leaf);
        } else {
            EXPECT_LE(local.size(), 107u); // the socket path limit, whatever the name
            if (!row.leaf.empty()) {
                EXPECT_EQ(local.substr(local.rfind('/') + 1), row.leaf);
            }
        }
    }
    // The longest names that differ in one character only name two endpoints.
    NamedPipe a(longest), b(longest.substr(1) + "m");
    EXPECT_NE(a.LocalName(), b.LocalName());
}

TEST(NamedPipe, ClientFailsAtOnceWithoutAListener)
{
    LogStarted();
    NamedPipe client(UniqueName("none"));
    std::unique_ptr<Exception> e;
    EXPECT_EQ(Thrown([&] { client.BeginUsing(); }, &e).substr(0, 31), "NamedPipe|BeginUsing|0x20000008");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->Message(), "Named pipe not available: " + client.LocalName());
    EXPECT_NE(e->OSError(), 0);
    EXPECT_FALSE(client.IsUsable());
}

TEST(NamedPipe, AcceptTakesTheInstanceAndServeMakesANewOne)
{
    LogStarted();
    NamedPipeServer server(UniqueName("accept"), true);
    ASSERT_TRUE(server.IsUsable());
    EXPECT_FALSE(server.Poll(0)); // no client yet
    EXPECT_FALSE(server.IsConnected());

    // A write waits for the reader where the pipe keeps no buffer (Windows): the client talks on a thread.
    NamedPipe client(server.PipeName(), true);
    EXPECT_TRUE(InLog("Waited for named pipe: " + client.LocalName().str()));
    std::string reply;
    std::thread talker([&] {
        WriteText(client, "first part");
        while (reply.size() < 5 && ReadInto(client, reply) > 0) {
        }
        WriteText(client, "half"); // and goes half-way through its message
        client.CeaseUsing();
    });
    ASSERT_TRUE(PollUntil(server));
    EXPECT_TRUE(server.IsConnected());

    NamedPipe taken;
    EXPECT_FALSE(taken.Accept(nullptr));
    ASSERT_TRUE(taken.Accept(&server));
    EXPECT_FALSE(server.IsUsable());
    EXPECT_FALSE(server.IsConnected());
    EXPECT_TRUE(taken.IsUsable());
    EXPECT_EQ(taken.LocalName(), server.LocalName());

    std::string got;
    while (got.size() < 10) ASSERT_GT(ReadInto(taken, got), 0);
    WriteText(taken, "reply");
    while (ReadInto(taken, got) > 0) {
    }
    talker.join();
    EXPECT_EQ(reply, "reply");
    EXPECT_EQ(got, "first parthalf");
    EXPECT_EQ(ReadInto(taken, got), 0); // again: still no exception
    EXPECT_FALSE(taken.Poll(0));
    EXPECT_FALSE(taken.IsUsable());
    EXPECT_TRUE(InLog("PeekNamedPipe returned Broken Pipe. NamedPipe has closed."));

    // The next client is served on a fresh instance: Serve begins one again.
    const int listening = InLog("NamedPipe server listening on pipe: " + server.LocalName().str());
    NamedPipe next;
    std::thread sender([&] { Send(server.PipeName(), "second"); });
    bool served = false;
    for (int i = 0; i < 1200 && !served; ++i) served = server.Serve(&next, 0.05f);
    got.clear();
    while (served && ReadInto(next, got) > 0) {
    }
    sender.join();
    EXPECT_TRUE(served);
    EXPECT_GT(InLog("NamedPipe server listening on pipe: " + server.LocalName().str()), listening);
    EXPECT_EQ(got, "second");

    server.BeginUsing();
    server.CeaseUsing();
    EXPECT_FALSE(server.IsUsable());
    EXPECT_TRUE(InLog("NamedPipe server removed: " + server.LocalName().str()));
    EXPECT_EQ(Thrown([&] { client.BeginUsing(); }).substr(0, 31), "NamedPipe|BeginUsing|0x20000008");
}

TEST(Pipe, RoundTripEndAndFailures)
{
    LogStarted();
    Pipe pipe;
    EXPECT_EQ(pipe.GetName(), "Pipe");
    EXPECT_FALSE(pipe.IsUsable());
    pipe.BeginUsing();
    ASSERT_TRUE(pipe.IsUsable());
    EXPECT_TRUE(pipe.OwnsReadHandle() && pipe.OwnsWriteHandle());
    EXPECT_FALSE(pipe.Poll(0));
    EXPECT_EQ(pipe.Seek(0, Stream::fromBegin), -1);

    const std::string big(200000, 'b'); // more than the system's pipe buffer: the writer must wait
    std::thread writer([&] { WriteText(pipe, "hello" + big), pipe.CloseWriteHandle(); });
    ASSERT_TRUE(PollUntil(pipe));
    std::string got;
    while (ReadInto(pipe, got) > 0) {
    }
    writer.join();
    EXPECT_EQ(got, "hello" + big);
    EXPECT_EQ(ReadInto(pipe, got), 0);
    EXPECT_FALSE(pipe.Poll(0.01f));
    EXPECT_FALSE(pipe.IsUsable()); // the pipe whose writer has gone closed itself
    EXPECT_TRUE(InLog("PeekNamedPipe returned Broken Pipe. Pipe has closed."));

    // A write whose reader has gone raises (and on POSIX does not end the process by SIGPIPE).
    pipe.BeginUsing();
    pipe.CloseReadHandle();
    std::unique_ptr<Exception> e;
    EXPECT_EQ(Thrown([&] { WriteText(pipe, "lost"); }, &e).substr(0, 22), "Pipe|Write|0x2000000B|");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->Message(), "Cannot write to Pipe");
    EXPECT_NE(e->OSError(), 0);
    EXPECT_EQ(Thrown([&] { pipe.Poll(0); }).substr(0, 21), "Pipe|Poll|0x2000000D|");
    pipe.CeaseUsing();
    EXPECT_EQ(Thrown([&] {
                  unsigned char c;
                  pipe.Read(&c, 1);
              }).substr(0, 21),
              "Pipe|Read|0x2000000A|");
}

TEST(Pipe, OwnershipDecidesWhoCloses)
{
    LogStarted();
    for (const bool own : {false, true}) {
        SCOPED_TRACE(own);
        Pipe source;
        source.BeginUsing();
        void* const end = source.GetWriteHandle();
        {
            Pipe borrower;
            borrower.SetWriteHandle(source.GetWriteHandle(), own);
            EXPECT_EQ(borrower.OwnsWriteHandle(), own);
            EXPECT_EQ(borrower.GetWriteHandle(), source.GetWriteHandle());
            WriteText(borrower, "x");
            // The source forgets its end without closing it: the borrower decides.
            source.SetWriteHandle(source.GetWriteHandle(), false);
            source.CloseWriteHandle();
        }
        std::string got;
        EXPECT_EQ(ReadInto(source, got), 1);
        if (own) {
            EXPECT_EQ(ReadInto(source, got), 0); // the borrower closed the only write end
        } else {
            EXPECT_FALSE(source.Poll(0)); // still open, nothing written
            EXPECT_TRUE(source.IsUsable());
            Pipe closer;
            closer.SetWriteHandle(end, true);
            closer.CeaseUsing();
            EXPECT_EQ(ReadInto(source, got), 0);
        }
    }
}

TEST(NamedPipeServerThread, ServesWellFormedMessagesWhateverOtherClientsDo)
{
    LogStarted();
    Listener listener(UniqueName("robust"));
    listener.MessageLimits(0.5f, 60.0f, 64 * 1024);
    ASSERT_TRUE(listener.Listen());
    EXPECT_EQ(listener.Name(), "NamedPipeServerThread");
    const Path name = listener.PipeName();

    NamedPipe silent(name); // connects and sends nothing
    ASSERT_TRUE(Connect(silent));
    ASSERT_TRUE(Send(name, "after silent"));
    NamedPipe stalled(name); // stops half-way without closing
    ASSERT_TRUE(Connect(stalled));
    WriteText(stalled, "stalled half");
    ASSERT_TRUE(Send(name, "after stalled"));
    ASSERT_TRUE(Send(name, "closed half-way"));     // what a client wrote before it closed is its message
    Send(name, std::string(10 * 1024 * 1024, 'x')); // (the server may close on it before all is written)
    ASSERT_TRUE(Send(name, "throw"));
    ASSERT_TRUE(Send(name, "after flood and throw"));

    ASSERT_TRUE(listener.WaitForMessages(4));
    EXPECT_EQ(listener.Messages(),
              (std::vector<std::string>{"after silent", "after stalled", "closed half-way", "after flood and throw"}));
    EXPECT_EQ(
        InLog("Dropped a client of named pipe " + listener.LocalName().str() + " that sent nothing for 0.5 seconds"),
        1);
    EXPECT_EQ(InLog("Dropped 12 bytes from a client of named pipe " + listener.LocalName().str()), 1);
    EXPECT_EQ(InLog("Dropped a message on named pipe " + listener.LocalName().str() + " longer than 65536 bytes"), 1);
    EXPECT_EQ(InLog("NamedPipeServerThread goes on after an exception on " + listener.LocalName().str() +
                    ": thrown by OnMessage"),
              1);
    for (const char* step :
         {"Listening to server pipe: ", "Data available on server pipe: ", "Processing message on reader pipe: "})
        EXPECT_GE(InLog(step + name.Text().str()), 4) << step;
}

class NamedPipeClients : public TestFolder
{
};

TEST_F(NamedPipeClients, EachMessageArrivesOnceFromClientsInTurnAtOnceAndInOtherProcesses)
{
    LogStarted();
    Listener listener(UniqueName("many"));
    ASSERT_TRUE(listener.Listen());
    const Path name = listener.PipeName();
    constexpr int kInTurn = 1000, kAtOnce = 50, kProcesses = 4;

    std::vector<std::unique_ptr<Child>> children;
    for (int i = 0; i < kProcesses; ++i)
        children.push_back(std::make_unique<Child>(Native(DOVO_PIPE_CLIENT_HELPER),
                                                   Strings{name.Text().str(), "process " + std::to_string(i)}, m_dir));
    for (int i = 0; i < kInTurn; ++i) ASSERT_TRUE(Send(name, "turn " + std::to_string(i)));
    std::vector<std::thread> clients;
    std::atomic<int> failed{0};
    for (int i = 0; i < kAtOnce; ++i)
        clients.emplace_back([&, i] { failed += !Send(name, "at once " + std::to_string(i)); });
    for (std::thread& client : clients) client.join();
    EXPECT_EQ(failed, 0);
    for (auto& child : children) EXPECT_EQ(child->Wait(), 0) << child->Errors();

    ASSERT_TRUE(listener.WaitForMessages(kInTurn + kAtOnce + kProcesses));
    std::map<std::string, int> seen;
    for (const std::string& message : listener.Messages()) ++seen[message];
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(kInTurn + kAtOnce + kProcesses));
    for (const auto& [message, count] : seen) EXPECT_EQ(count, 1) << message;
    for (int i = 0; i < kProcesses; ++i) EXPECT_EQ(seen.count("process " + std::to_string(i)), 1u);
}

TEST(NamedPipeServerThread, StopsWhileAClientHoldsIt)
{
    LogStarted();
    for (const bool writes : {false, true}) {
        SCOPED_TRACE(writes);
        auto listener = std::make_unique<Listener>(UniqueName(writes ? "writes" : "silent"));
        listener->MessageLimits(600, 600, 64 * 1024); // no limit ends the client's hold in this test
        ASSERT_TRUE(listener->Listen());
        NamedPipe holder(listener->PipeName());
        ASSERT_TRUE(Connect(holder));
        if (writes) {
            WriteText(holder, "never finished");
            ASSERT_TRUE(LogGets("Processing message on reader pipe: " + listener->PipeName().Text().str()));
        }
        listener->Signal(0);
        auto ended = std::make_shared<Trigger>();
        std::thread waiter([&listener, ended] { listener->WaitFor(), ended->Signal(); });
        const bool inTime = ended->Wait(60.0f);
        if (!inTime) {
            std::fprintf(stderr, "FAILED: the listener did not stop\n");
            std::_Exit(EXIT_FAILURE); // it would hang the test program
        }
        waiter.join();
        EXPECT_TRUE(listener->Messages().empty());
        EXPECT_FALSE(listener->IsListening());
        EXPECT_EQ(Thrown([&] { NamedPipe(listener->PipeName(), true); }).substr(0, 31),
                  "NamedPipe|BeginUsing|0x20000008");
    }
}
