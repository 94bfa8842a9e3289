#include <dovo/InStream.h>
#include <dovo/OutStream.h>
#include <dovo/SocketException.h>
#include <dovo/TCPSocket.h>
#include <dovo/TCPSocketServer.h>
#include <dovo/Trigger.h>
#include <dovo/UDPSocket.h>
#include <dovo/UDPSocketListener.h>

#include "net/NetTest.h"
#include "support/Checks.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

constexpr unsigned kLoopback = 0x7F000001u;

// No test here asks the system resolver: the cache starts empty and only the fake resolver answers.
using SocketTest = WithFakeResolver;

// A server on a port the system chooses, a client connected to it and the server's side of the connection.
struct Connection
{
    TCPSocketServer server{0, true};
    TCPSocket client, accepted;
    unsigned short port = 0;

    Connection()
    {
        server.BeginUsing();
        port = server.LocalPeer().Port(true);
        client.SetPeer(IPPeer(kLoopback, port, true));
        client.BeginUsing();
        served = server.Serve(&accepted, 10.0f);
    }
    bool served = false;
};

// Reads exactly size bytes (fewer only when the peer closes).
int ReadAll(Socket& socket, unsigned char* data, int size)
{
    int done = 0;
    while (done < size) {
        const int n = socket.Read(data + done, size - done);
        if (n == 0) break;
        done += n;
    }
    return done;
}

// Descriptors this process holds open (Linux); -1 elsewhere.
int OpenDescriptors()
{
    std::error_code error;
    if (!std::filesystem::exists("/proc/self/fd", error)) return -1;
    int count = 0;
    for (auto it = std::filesystem::directory_iterator("/proc/self/fd", error); !error && it != decltype(it)(); ++it)
        ++count;
    return count;
}

TEST_F(SocketTest, ConnectAcceptAndEchoOnLoopback)
{
    Connection c;
    ASSERT_TRUE(c.served);
    EXPECT_NE(c.port, 0) << "port 0 reports the port the system chose";
    EXPECT_EQ(c.accepted.Peer().Address(true), kLoopback);
    EXPECT_EQ(c.accepted.Peer().Port(true), c.client.LocalPeer().Port(true));
    EXPECT_EQ(c.client.LocalPeer().Port(true), c.accepted.Peer().Port(true));
    EXPECT_FALSE(c.accepted.Poll(0.0f));

    // Values through streams attached to the two ends, peers among them (with a name, resolved, invalid).
    IPPeer named("render7", 4000, true), resolved(0x0A010203u, 81, true), none;
    {
        OutStream out(4096);
        out.Attach(&c.client);
        out.Put(named), out.Put(resolved), out.Put(none), out.Put(String("end"));
        out.Flush();
    }
    ASSERT_TRUE(c.accepted.Poll(10.0f));
    InStream in(4096);
    in.Attach(&c.accepted);
    IPPeer got[3] = {IPPeer(1u, 1, true), IPPeer(), IPPeer(1u, 1, true)};
    String end;
    const int sizes[] = {in.Get(got[0]), in.Get(got[1]), in.Get(got[2]), in.Get(end)}; // (in this order)
    EXPECT_EQ(Joined(sizes[0], sizes[1], sizes[2], sizes[3]), "19|12|1|7");
    EXPECT_EQ(Joined(got[0].PeerAsString().str(), got[0].IsResolved(), got[1].PeerAsString().str(), got[1].IsResolved(),
                     got[2].IsValidAddress(), end.str()),
              "render7:4000|0|10.1.2.3:81|1|0|end");

    // A large echo: every byte back in order, in as many reads as it takes.
    std::vector<unsigned char> sent(300000), echoed(sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<unsigned char>(i * 7 + i / 251);
    std::thread echo([&] {
        std::vector<unsigned char> buffer(65536);
        try {
            for (int n; (n = c.accepted.Read(buffer.data(), 65536)) > 0;) c.accepted.Write(buffer.data(), n);
        } catch (Exception* e) {
            ADD_FAILURE() << e->DisplayAsString().str();
            delete e;
        }
    });
    EXPECT_EQ(c.client.Write(sent.data(), static_cast<int>(sent.size())), static_cast<int>(sent.size()));
    EXPECT_EQ(ReadAll(c.client, echoed.data(), static_cast<int>(echoed.size())), static_cast<int>(sent.size()));
    EXPECT_EQ(sent, echoed);
    c.client.CeaseUsing(); // the echo's read returns 0
    MustFinish("the echo's end", [&] { echo.join(); });

    // The same client connects again: its local address is that of the new connection.
    TCPSocket second;
    c.client.BeginUsing();
    ASSERT_TRUE(c.server.Serve(&second, 10.0f));
    EXPECT_EQ(c.client.LocalPeer().Port(true), second.Peer().Port(true));
}

TEST_F(SocketTest, PeerThatCloses)
{
    Connection c;
    ASSERT_TRUE(c.served);
    const unsigned char data[3] = {1, 2, 3};
    c.client.Write(data, 3);
    c.client.CeaseUsing();
    unsigned char buffer[8];
    EXPECT_EQ(ReadAll(c.accepted, buffer, 8), 3) << "what was sent before the close still arrives";
    EXPECT_EQ(c.accepted.Read(buffer, 8), 0);

    // Writing on to the closed peer is reset and fails with the peer in the exception; the process is not
    // ended by a signal.
    std::unique_ptr<Exception> e;
    std::string thrown = "nothing thrown";
    EXPECT_TRUE(Eventually([&] {
        thrown = Thrown([&] { c.accepted.Write(data, 3); }, &e);
        return thrown != "nothing thrown";
    }));
    EXPECT_TRUE(thrown.starts_with("Socket|Write|0x2000000B|")) << thrown;
    EXPECT_NE(thrown.find("|write failed"), std::string::npos) << thrown;
    auto* socket = dynamic_cast<SocketException*>(e.get());
    ASSERT_TRUE(socket);
    EXPECT_EQ(socket->PeerText(), c.accepted.Peer().PeerAsString());
    EXPECT_EQ(socket->Peer().Port(true), c.accepted.Peer().Port(true));
    EXPECT_NE(socket->OSError(), 0);
}

TEST_F(SocketTest, AbortFromAnotherThreadEndsABlockingCall)
{
    Connection c;
    ASSERT_TRUE(c.served);
    UDPSocketListener listener(0, true);
    listener.BeginUsing();
    TCPSocket spare;
    unsigned char buffer[8];
    // Calls that nothing will ever satisfy, each on a thread of its own, and the socket whose Abort ends
    // it. Each ends with what it returned (0 or less: the end of the data, nothing accepted, no
    // datagram) or -1 for an exception (the socket was closed under it).
    const struct
    {
        Socket& aborted;
        std::function<int()> call;
    } rows[] = {
        {c.accepted, [&] { return c.accepted.Read(buffer, 8); }},
        {c.server, [&] { return spare.Accept(&c.server) ? 1 : 0; }},
        {listener, [&] { return listener.WaitForReply(-1.0f) ? listener.Read(buffer, 8) : 0; }},
    };
    for (const auto& row : rows) {
        std::atomic<int> result{-2};
        Trigger started;
        std::thread blocked([&] {
            started.Signal();
            try {
                result = row.call();
            } catch (Exception* e) {
                delete e;
                result = -1;
            }
        });
        ASSERT_TRUE(started.Wait(10.0f));
        row.aborted.Abort();
        row.aborted.Abort(); // a second Abort finds nothing left to close
        MustFinish("a call broken by Abort", [&] { blocked.join(); });
        EXPECT_LE(result.load(), 0) << row.aborted.TypeAsString().str();
        EXPECT_FALSE(row.aborted.IsUsable());
    }
    EXPECT_FALSE(spare.IsUsable());
}

TEST_F(SocketTest, FailuresCarryTheirTexts)
{
    // A port nobody listens at: a server's, closed again.
    unsigned short closedPort = 0;
    {
        TCPSocketServer server(0, true);
        server.BeginUsing();
        closedPort = server.LocalPeer().Port(true);
    }
    const std::pair<std::function<void()>, std::string> rows[] = {
        {[] { TCPSocket(IPPeer(0xFFFFFFFFu, 80, true)).BeginUsing(); },
         "Socket|BeginUsing|0x20000008|0|1|Address set to none"},
        {[] { TCPSocket().Poll(0.0f); }, "Socket|Poll|0x20000004|0|1|Socket must be open to poll from it"},
        {[] {
             TCPSocketServer closed(0, true);
             TCPSocket().Accept(&closed);
         },
         "Socket|Accept|0x20000004|0|1|Cannot Accept from invalid socket"},
        {[] { UDPSocket(kLoopback, 9, true).ReadString(); },
         "UDPSocket|Read|0x20000003|0|1|Cannot Read until after Sending"},
        {[] { UDPSocket(kLoopback, 9, true).PeekString(); },
         "UDPSocket|Peek|0x20000003|0|1|Cannot Peek until after Sending"},
        {[] { UDPSocketListener(0, true).SendTo(IPPeer(), "x"); },
         "UDPSocketListener|SendTo|0x20000003|0|1|Cannot send datagram to noone"},
    };
    for (const auto& [call, expected] : rows) EXPECT_EQ(Thrown(call), expected);

    std::unique_ptr<Exception> e;
    const std::string refused = Thrown([&] { TCPSocket(IPPeer(kLoopback, closedPort, true)).BeginUsing(); }, &e);
    EXPECT_TRUE(refused.starts_with("Socket|BeginUsing|0x20000008|")) << refused;
    EXPECT_TRUE(refused.ends_with("|connect failed") && e && e->OSError() != 0) << refused;
    EXPECT_EQ(static_cast<SocketException*>(e.get())->PeerText(), SFormat("127.0.0.1:%u", closedPort).str());

    // A write of nothing makes no system call: it succeeds even on a socket that was never opened.
    const unsigned char byte = 0;
    EXPECT_EQ(Joined(TCPSocket().Write(&byte, 0), TCPSocket().Write(&byte, -1), UDPSocket().Write(&byte, 0)), "0|0|0");
}

TEST_F(SocketTest, DatagramsAndReplies)
{
    UDPSocketListener listener(0, true);
    listener.BeginUsing();
    const unsigned short port = listener.LocalPeer().Port(true);
    ASSERT_NE(port, 0);
    String text;
    EXPECT_FALSE(listener.Listen(text, 0.0f));
    EXPECT_TRUE(text.Empty());

    UDPSocket client(kLoopback, port, true);
    EXPECT_EQ(client.WriteString("ping"), 4); // creates the socket
    ASSERT_TRUE(listener.Listen(text, 10.0f));
    EXPECT_EQ(text, "ping");
    EXPECT_EQ(listener.Peer().Port(true), client.LocalPeer().Port(true)) << "the sender became the peer";

    EXPECT_EQ(listener.Reply("pong"), 4);
    ASSERT_TRUE(client.WaitForReply(10.0f));
    EXPECT_EQ(client.PeekString(), "pong");
    EXPECT_EQ(client.ReadString(), "pong") << "peeking left the datagram";
    EXPECT_EQ(client.Peer().Port(true), port);
    EXPECT_FALSE(client.WaitForReply(0.0f));

    // SendTo a given peer; a datagram longer than the reader's buffer fills it.
    EXPECT_EQ(listener.SendTo(IPPeer(kLoopback, client.LocalPeer().Port(true), true), String('x', 3000)), 3000);
    unsigned char small[100];
    ASSERT_TRUE(client.WaitForReply(10.0f));
    EXPECT_EQ(client.Read(small, 100), 100);
}

TEST_F(SocketTest, DescriptorsAreReleasedAndHighOnesPoll)
{
    // Files opened first push the sockets' descriptors above 63 (the old select limit) on Linux.
    std::vector<std::FILE*> files;
    for (int i = 0; i < 70; ++i) files.push_back(std::tmpfile());
    const int before = OpenDescriptors();
    for (int round = 0; round < 3; ++round) {
        Connection c;
        ASSERT_TRUE(c.served);
        const unsigned char byte = 42;
        c.client.Write(&byte, 1);
        EXPECT_TRUE(c.accepted.Poll(10.0f));
        if (before >= 0) {
            EXPECT_GT(static_cast<std::uintptr_t>(c.accepted), 63u);
        }
        UDPSocketListener listener(0, true);
        listener.BeginUsing();
        UDPSocket(kLoopback, listener.LocalPeer().Port(true), true).WriteString("x");
        EXPECT_TRUE(listener.WaitForReply(10.0f));
    }
    EXPECT_EQ(OpenDescriptors(), before);
    for (std::FILE* f : files)
        if (f) std::fclose(f);
}

} // namespace
