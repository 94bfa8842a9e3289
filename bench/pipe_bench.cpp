// Pipes between threads of one process.
//
// Messages: 2,000 short messages, each from a client that connects, writes 5 bytes and closes, to a
// NamedPipeServerThread subclass that counts them, timed until the last is counted; against the same
// exchange over raw Unix-domain sockets with a server thread in a blocking accept/read loop.
//
// Bulk: 256 MiB through an anonymous Pipe in 64 KiB writes, one thread writing and one reading;
// against a raw pipe with a read/write loop.
//
// Threads wait for each other, so every benchmark is timed by the clock on the wall (UseRealTime).

#include "Ratio.h"

#include <dovo/Exception.h>
#include <dovo/NamedPipe.h>
#include <dovo/NamedPipeServerThread.h>
#include <dovo/Pipe.h>
#include <dovo/Trigger.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kMessages = 2000;
constexpr std::int64_t kBulk = 256ll << 20;
constexpr int kChunk = 64 << 10;
const char kText[] = "hello";

// ---- Messages

class Counter : public dovo::NamedPipeServerThread
{
public:
    explicit Counter(const dovo::Path& name) : NamedPipeServerThread(name) {}
    ~Counter() override
    {
        Signal(0);
        WaitFor();
    }
    void Expect(int count)
    {
        m_left.store(count);
        m_done.Reset();
    }
    bool Wait() { return m_done.Wait(60.0f); }

protected:
    void OnMessage(const dovo::String& message) override
    {
        if (message.Length() == 5 && m_left.fetch_sub(1) == 1) m_done.Signal();
    }

private:
    std::atomic<int> m_left{0};
    dovo::Trigger m_done;
};

void DovoMessages(benchmark::State& state)
{
    Counter server("pipe_bench/" + std::to_string(::getpid()));
    server.Start();
    if (!server.WaitForStartup(0) || !server.IsListening()) return state.SkipWithError("no listener");
    for (auto _ : state) {
        server.Expect(kMessages);
        for (int i = 0; i < kMessages; ++i) {
            dovo::NamedPipe client(server.PipeName());
            try {
                client.BeginUsing();
                client.Write(reinterpret_cast<const unsigned char*>(kText), 5);
            } catch (dovo::Exception* e) {
                delete e;
                return state.SkipWithError("a client failed");
            }
        }
        if (!server.Wait()) return state.SkipWithError("messages lost");
    }
    state.SetItemsProcessed(state.iterations() * kMessages);
}

sockaddr_un RawAddress()
{
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::snprintf(a.sun_path, sizeof a.sun_path, "/tmp/pipe_bench-raw-%d", static_cast<int>(::getpid()));
    return a;
}

void RawMessages(benchmark::State& state)
{
    const sockaddr_un address = RawAddress();
    ::unlink(address.sun_path);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, SOMAXCONN) != 0)
        return state.SkipWithError("no raw listener");
    std::atomic<int> left{0};
    std::atomic<bool> stop{false};
    dovo::Trigger done;
    std::thread server([&] {
        char buffer[8192];
        while (!stop) {
            const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) continue;
            std::size_t got = 0;
            for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;) got += static_cast<std::size_t>(n);
            ::close(fd);
            if (got == 5 && left.fetch_sub(1) == 1) done.Signal();
        }
    });
    const auto send = [&] {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool sent = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                          ::send(fd, kText, 5, MSG_NOSIGNAL) == 5;
        ::close(fd);
        return sent;
    };
    for (auto _ : state) {
        left.store(kMessages);
        done.Reset();
        for (int i = 0; i < kMessages; ++i)
            if (!send()) state.SkipWithError("a raw client failed");
        if (!done.Wait(60.0f)) state.SkipWithError("raw messages lost");
    }
    stop = true;
    send(); // wakes the accept
    server.join();
    ::close(listener);
    ::unlink(address.sun_path);
    state.SetItemsProcessed(state.iterations() * kMessages);
}

// ---- Bulk

void DovoBulk(benchmark::State& state)
{
    std::vector<unsigned char> out(kChunk, 'b'), in(kChunk);
    for (auto _ : state) {
        dovo::Pipe pipe;
        pipe.BeginUsing();
        std::thread writer([&] {
            for (std::int64_t sent = 0; sent < kBulk; sent += kChunk) pipe.Write(out.data(), kChunk);
        });
        std::int64_t got = 0;
        while (got < kBulk) got += pipe.Read(in.data(), kChunk);
        writer.join();
    }
    state.SetBytesProcessed(state.iterations() * kBulk);
}

void RawBulk(benchmark::State& state)
{
    std::vector<unsigned char> out(kChunk, 'b'), in(kChunk);
    for (auto _ : state) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) return state.SkipWithError("no pipe");
        std::thread writer([&] {
            for (std::int64_t sent = 0; sent < kBulk;) {
                const ssize_t n = ::write(fds[1], out.data(), kChunk);
                if (n > 0) sent += n;
            }
        });
        std::int64_t got = 0;
        while (got < kBulk) {
            const ssize_t n = ::read(fds[0], in.data(), kChunk);
            if (n > 0) got += n;
        }
        writer.join();
        ::close(fds[0]);
        ::close(fds[1]);
    }
    state.SetBytesProcessed(state.iterations() * kBulk);
}

[[maybe_unused]] const bool registered = [] {
    benchmark::RegisterBenchmark("NamedPipe/messages/dovo", DovoMessages)->UseRealTime();
    benchmark::RegisterBenchmark("NamedPipe/messages/raw", RawMessages)->UseRealTime();
    dovo::bench::SetAim("NamedPipe/messages", 1.25);
    benchmark::RegisterBenchmark("Pipe/bulk/dovo", DovoBulk)->UseRealTime();
    benchmark::RegisterBenchmark("Pipe/bulk/raw", RawBulk)->UseRealTime();
    dovo::bench::SetAim("Pipe/bulk", 1.25);
    return true;
}();

} // namespace
