#include <dovo/Exception.h>
#include <dovo/InStream.h>
#include <dovo/OutStream.h>
#include <dovo/TCPServerThread.h>
#include <dovo/TCPSocket.h>

#include "tests/net/NetTest.h"
#include "tests/support/Checks.h"
#include "tests/support/TestSupport.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

using namespace dovo;

namespace {

const IPPeer kLoopback(0x7F000001u, 0, true);

// Answers each framed record (a number and a text) with the number plus one and the text, on a thread
// per client, until the client goes or the server closes it.
class EchoServer : public TCPServerThread
{
public:
    EchoServer() : TCPServerThread("EchoServer", kLoopback) {}
    ~EchoServer() override { Stop(); }

    void Stop()
    {
        Signal(0);
        WaitFor();
        std::lock_guard<std::mutex> hold(m_lock);
        for (std::thread& t : m_handlers) t.join();
        m_handlers.clear();
    }
    unsigned short Port() { return Listener().LocalPeer().Port(true); }
    std::atomic<int> answered{0};

protected:
    bool AcceptConnection(Client) override { return true; }
    // Served once it is in the set, so that its handler's CloseClient always finds it there.
    void OnConnectionAccepted(Client client) override
    {
        TCPServerThread::OnConnectionAccepted(client);
        std::lock_guard<std::mutex> hold(m_lock);
        m_handlers.emplace_back([this, client] { Serve(client); });
    }

private:
    void Serve(Client client)
    {
        try {
            InStream in(4096, true);
            OutStream out(4096);
            in.Attach(client.Get());
            out.Attach(client.Get());
            for (;;) {
                int number = 0;
                String text;
                {
                    InStream::Block record(in);
                    in.Get(number), in.Get(text);
                }
                {
                    OutStream::Marker reply(out, 1);
                    out.Put(number + 1), out.Put(text);
                }
                ++answered; // before the client can see the answer
                out.Flush();
            }
        } catch (Exception* e) {
            delete e; // the client has gone, or the server closed it
        }
        CloseClient(client);
    }

    std::mutex m_lock;
    std::vector<std::thread> m_handlers;
};

// A client connection with its streams.
struct Connection
{
    explicit Connection(unsigned short port) : socket(IPPeer(0x7F000001u, port, true)), in(4096, true), out(4096)
    {
        socket.BeginUsing();
        in.Attach(&socket);
        out.Attach(&socket);
    }
    int Exchange(int number, const String& text)
    {
        {
            OutStream::Marker request(out, 1);
            out.Put(number), out.Put(text);
        }
        out.Flush();
        InStream::Block reply(in);
        int answer = 0;
        String echoed;
        in.Get(answer), in.Get(echoed);
        return echoed == text ? answer : -1;
    }
    TCPSocket socket;
    InStream in;
    OutStream out;
};

class NoServer : public TransportServerThread
{
public:
    NoServer() : TransportServerThread(nullptr, 0.1f, true) {}
    bool AcceptConnection(Client) override { return true; }
    Client NewClient() override { return Client(new TCPSocket()); }
    bool OnException(Exception* e) override
    {
        message = e ? e->Message().str() + " / " + e->Module().str() : "unknown";
        return TransportServerThread::OnException(e);
    }
    std::string message;
};

// Waits for the thread's end, but not for ever.
bool EndsWithin(Thread& thread, double seconds)
{
    auto ended = std::async(std::launch::async, [&thread] { thread.WaitFor(); });
    return ended.wait_for(std::chrono::duration<double>(seconds)) == std::future_status::ready;
}

class ServerTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { SocketAccess::Startup(); }
};

} // namespace

TEST_F(ServerTest, WithoutAServerTransportTheThreadEndsAtStart)
{
    NoServer server;
    EXPECT_EQ(server.Name(), "ServerThread");
    server.Start();
    ASSERT_TRUE(EndsWithin(server, 30));
    EXPECT_EQ(server.message, "Cannot start a server thread without a server Transport / ServerThread");
}

TEST_F(ServerTest, ManyClientsAtOnceAreAllAnsweredAndShutdownClosesThem)
{
    const int before = OsOpenHandles();
    // Under Wine every exchange crosses its server process several times: fewer exchanges there.
    constexpr int kClients = 1000, kClientThreads = 8;
    const int kExchanges = OnWindows() ? 10 : 100;
    {
        EchoServer server;
        server.Start();
        ASSERT_TRUE(server.WaitForStartup(30));
        const unsigned short port = server.Port();
        ASSERT_NE(port, 0);

        // Every client connects before any exchange, so that all are held at once.
        std::vector<std::unique_ptr<Connection>> clients;
        for (int i = 0; i < kClients; ++i) clients.push_back(std::make_unique<Connection>(port));
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < kClientThreads; ++t)
            threads.emplace_back([&, t] {
                try {
                    for (int round = 0; round < kExchanges; ++round)
                        for (int c = t; c < kClients; c += kClientThreads)
                            if (clients[c]->Exchange(round * kClients + c, "frame") != round * kClients + c + 1)
                                ++wrong;
                } catch (Exception* e) {
                    std::unique_ptr<Exception> owned(e);
                    wrong += kClients;
                }
            });
        for (std::thread& t : threads) t.join();
        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(server.answered, kClients * kExchanges);
        EXPECT_EQ(server.ClientCount(), static_cast<std::size_t>(kClients));

        // With every client still connected, the server stops and closes them: their reads see the end.
        // (A generous limit: Wine closes a lingering socket only once the peer has acknowledged its end,
        // 40 ms a socket.)
        server.Signal(0);
        ASSERT_TRUE(EndsWithin(server, 120));
        server.Stop();
        EXPECT_EQ(server.ClientCount(), 0u);
        int unanswered = 0;
        for (auto& client : clients) {
            try {
                client->Exchange(-1, "late");
            } catch (Exception* e) {
                std::unique_ptr<Exception> owned(e);
                ++unanswered;
            }
        }
        EXPECT_EQ(unanswered, kClients);
    }
    EXPECT_EQ(OsOpenHandles(), before);
}

TEST_F(ServerTest, ABadClientIsClosedAndTheOthersAreStillServed)
{
    EchoServer server;
    server.Start();
    ASSERT_TRUE(server.WaitForStartup(30));
    const IPPeer at(0x7F000001u, server.Port(), true);
    auto bytes = [](std::initializer_list<int> values) {
        std::vector<unsigned char> out;
        for (int v : values) out.push_back(static_cast<unsigned char>(v));
        return out;
    };
    std::vector<unsigned char> noise(4096);
    std::mt19937 random(7);
    for (unsigned char& b : noise) b = static_cast<unsigned char>(random());
    // Each sends its bytes and goes (a record header: revision, flags, content size in two bytes).
    const std::vector<std::vector<unsigned char>> rows = {
        bytes({1, 0, 100, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}),                         // gone in the middle of a record
        bytes({1, 0, 12, 0, 7, 0, 0, 0, 0xFB, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c', 'd'}), // a length of -5
        bytes({1, 0, 12, 0, 7, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0x7F, 'a', 'b', 'c', 'd'}), // a length of 2 GB
        noise,
    };
    TCPSocket silent(at);
    silent.BeginUsing(); // connects and says nothing
    for (const auto& row : rows) {
        TCPSocket bad(at);
        bad.BeginUsing();
        bad.Write(row.data(), static_cast<int>(row.size()));
        bad.CeaseUsing();
    }
    // Only the silent client is left, and a well-behaved one is still answered.
    EXPECT_TRUE(Eventually([&] { return server.ClientCount() == 1; })) << server.ClientCount();
    Connection good(server.Port());
    EXPECT_EQ(good.Exchange(41, "still here"), 42);
}
