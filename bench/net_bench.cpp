// Sockets on loopback.
//
// Bulk: 1 GB from one thread to another over one TCP connection, in 64 KiB pieces: Dovo's OutStream and
// InStream (64 KiB buffers) on TCPSockets against send and recv loops on plain sockets with a buffer of
// the same size, the limit.
//
// Round trips: 10,000 requests of a 100-byte record answered by an echo on one connection. Dovo frames
// each record with OutStream::Marker and reads it with InStream::Block on both ends; the peer sends and
// receives the same 104 bytes (header and content) with send and recv.
//
// Accepts: 2,000 connections, each sending 8 bytes, read back from the server, and closed, to a
// TCPServerThread that serves each client on its own thread as it is accepted, against a plain accept
// loop doing the same. The clients are plain sockets in both; the ratio says what the server thread's
// accept pass costs.
//
// Both ends run at once, so every benchmark is timed by the clock on the wall (UseRealTime); one
// iteration is the whole transfer, including the connection's set-up and the receiver's thread.

#include "Ratio.h"

#include <dovo/InStream.h>
#include <dovo/OutStream.h>
#include <dovo/TCPServerThread.h>
#include <dovo/TCPSocket.h>
#include <dovo/TCPSocketServer.h>

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

constexpr int kPiece = 65536;
constexpr long long kBulkBytes = 1LL << 30;
constexpr int kTrips = 10000;
constexpr int kRecord = 100;

struct Aims
{
    Aims()
    {
        // At least 90 % of the plain sockets' speed.
        dovo::bench::SetAim("Bulk", 1.11);
        dovo::bench::SetAim("RoundTrip", 1.11);
    }
} aims;

// ---- Dovo: a connected pair of TCPSockets.

struct DovoPair
{
    dovo::TCPSocketServer server{0, true};
    dovo::TCPSocket client, accepted;

    DovoPair()
    {
        server.BeginUsing();
        client.SetPeer(dovo::IPPeer(0x7F000001u, server.LocalPeer().Port(true), true));
        client.BeginUsing();
        if (!server.Serve(&accepted, 10.0f)) throw std::runtime_error("no connection");
    }
};

void BulkDovo(benchmark::State& state)
{
    std::vector<unsigned char> piece(kPiece, 7);
    for (auto _ : state) {
        DovoPair pair;
        std::thread receiver([&] {
            dovo::InStream in(kPiece);
            in.Attach(&pair.accepted);
            std::vector<unsigned char> data(kPiece);
            long long got = 0;
            for (int n; got < kBulkBytes && (n = in.Read(data.data(), kPiece)) > 0;) got += n;
            if (got != kBulkBytes) std::abort();
        });
        dovo::OutStream out(kPiece);
        out.Attach(&pair.client);
        for (long long sent = 0; sent < kBulkBytes; sent += kPiece) out.Write(piece.data(), kPiece);
        out.Flush();
        receiver.join();
    }
    state.SetBytesProcessed(state.iterations() * kBulkBytes);
}

void RoundTripDovo(benchmark::State& state)
{
    unsigned char request[kRecord];
    std::memset(request, 3, sizeof request);
    for (auto _ : state) {
        DovoPair pair;
        std::thread echo([&] {
            dovo::InStream in(4096);
            dovo::OutStream out(4096);
            in.Attach(&pair.accepted);
            out.Attach(&pair.accepted);
            unsigned char record[kRecord];
            for (int i = 0; i < kTrips; ++i) {
                {
                    dovo::InStream::Block block(in);
                    in.Read(record, kRecord);
                }
                {
                    dovo::OutStream::Marker marker(out, 1);
                    out.Write(record, kRecord);
                }
                out.Flush();
            }
        });
        dovo::InStream in(4096);
        dovo::OutStream out(4096);
        in.Attach(&pair.client);
        out.Attach(&pair.client);
        unsigned char answer[kRecord];
        for (int i = 0; i < kTrips; ++i) {
            {
                dovo::OutStream::Marker marker(out, 1);
                out.Write(request, kRecord);
            }
            out.Flush();
            dovo::InStream::Block block(in);
            if (in.Read(answer, kRecord) != kRecord) std::abort();
        }
        echo.join();
    }
    state.SetItemsProcessed(state.iterations() * kTrips);
}

// ---- Plain sockets.

struct RawPair
{
    int client = -1, accepted = -1;

    RawPair()
    {
        const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in at{};
        at.sin_family = AF_INET;
        at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof at;
        if (::bind(listener, reinterpret_cast<sockaddr*>(&at), sizeof at) != 0 || ::listen(listener, 1) != 0 ||
            ::getsockname(listener, reinterpret_cast<sockaddr*>(&at), &length) != 0)
            throw std::runtime_error("no listener");
        client = ::socket(AF_INET, SOCK_STREAM, 0);
        if (::connect(client, reinterpret_cast<sockaddr*>(&at), sizeof at) != 0) throw std::runtime_error("no connect");
        accepted = ::accept(listener, nullptr, nullptr);
        ::close(listener);
    }
    ~RawPair()
    {
        ::close(client);
        ::close(accepted);
    }
};

void SendAll(int fd, const unsigned char* data, int size)
{
    for (int done = 0; done < size;) {
        const auto n = ::send(fd, data + done, static_cast<std::size_t>(size - done), MSG_NOSIGNAL);
        if (n <= 0) std::abort();
        done += static_cast<int>(n);
    }
}

void ReceiveAll(int fd, unsigned char* data, int size)
{
    for (int done = 0; done < size;) {
        const auto n = ::recv(fd, data + done, static_cast<std::size_t>(size - done), 0);
        if (n <= 0) std::abort();
        done += static_cast<int>(n);
    }
}

void BulkRaw(benchmark::State& state)
{
    std::vector<unsigned char> piece(kPiece, 7);
    for (auto _ : state) {
        RawPair pair;
        std::thread receiver([&] {
            std::vector<unsigned char> data(kPiece);
            long long got = 0;
            for (ssize_t n; got < kBulkBytes && (n = ::recv(pair.accepted, data.data(), kPiece, 0)) > 0;) got += n;
            if (got != kBulkBytes) std::abort();
        });
        for (long long sent = 0; sent < kBulkBytes; sent += kPiece) SendAll(pair.client, piece.data(), kPiece);
        receiver.join();
    }
    state.SetBytesProcessed(state.iterations() * kBulkBytes);
}

void RoundTripRaw(benchmark::State& state)
{
    unsigned char request[kRecord + 4];
    std::memset(request, 3, sizeof request);
    request[0] = 1, request[1] = 0, request[2] = kRecord, request[3] = 0;
    for (auto _ : state) {
        RawPair pair;
        std::thread echo([&] {
            unsigned char record[kRecord + 4];
            for (int i = 0; i < kTrips; ++i) {
                ReceiveAll(pair.accepted, record, sizeof record);
                SendAll(pair.accepted, record, sizeof record);
            }
        });
        unsigned char answer[kRecord + 4];
        for (int i = 0; i < kTrips; ++i) {
            SendAll(pair.client, request, sizeof request);
            ReceiveAll(pair.client, answer, sizeof answer);
        }
        echo.join();
    }
    state.SetItemsProcessed(state.iterations() * kTrips);
}

// ---- Accepts. The clients: connect, send 8 bytes, wait for them back, and close with a reset (no
// connection left waiting in the closed state to use up the ports).

constexpr int kConnections = 2000;

sockaddr_in Loopback(unsigned short port)
{
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    at.sin_port = htons(port);
    return at;
}

void Clients(unsigned short port)
{
    const sockaddr_in at = Loopback(port);
    unsigned char data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (int i = 0; i < kConnections; ++i) {
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&at), sizeof at) != 0) std::abort();
        SendAll(fd, data, sizeof data);
        ReceiveAll(fd, data, sizeof data);
        const linger reset{1, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        ::close(fd);
    }
}

class EchoOnce : public dovo::TCPServerThread
{
public:
    EchoOnce() : TCPServerThread("AcceptBench", dovo::IPPeer(0x7F000001u, 0, true)) {}
    bool AcceptConnection(Client) override { return true; }
    void OnConnectionAccepted(Client client) override
    {
        TCPServerThread::OnConnectionAccepted(client);
        unsigned char data[8];
        for (int got = 0, n; got < 8 && (n = client->Read(data + got, 8 - got)) > 0;) got += n;
        client->Write(data, sizeof data);
        CloseClient(client);
    }
};

void AcceptDovo(benchmark::State& state)
{
    EchoOnce server;
    server.Start();
    server.WaitForStartup(10);
    const unsigned short port = server.Listener().LocalPeer().Port(true);
    for (auto _ : state) Clients(port);
    server.Signal(0);
    server.WaitFor();
    state.SetItemsProcessed(state.iterations() * kConnections);
}

void AcceptRaw(benchmark::State& state)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in at = Loopback(0);
    socklen_t length = sizeof at;
    if (::bind(listener, reinterpret_cast<sockaddr*>(&at), sizeof at) != 0 || ::listen(listener, SOMAXCONN) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&at), &length) != 0)
        std::abort();
    std::atomic<bool> stop{false};
    std::thread server([&] {
        unsigned char data[8];
        for (int fd; !stop && (fd = ::accept(listener, nullptr, nullptr)) >= 0;) {
            for (int got = 0, n; got < 8 && (n = static_cast<int>(::recv(fd, data + got, 8 - got, 0))) > 0;) got += n;
            ::send(fd, data, sizeof data, MSG_NOSIGNAL);
            ::close(fd);
        }
    });
    for (auto _ : state) Clients(ntohs(at.sin_port));
    stop = true;
    ::shutdown(listener, SHUT_RDWR);
    server.join();
    ::close(listener);
    state.SetItemsProcessed(state.iterations() * kConnections);
}

BENCHMARK(BulkDovo)->Name("Bulk/dovo")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BulkRaw)->Name("Bulk/raw")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RoundTripDovo)->Name("RoundTrip/dovo")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RoundTripRaw)->Name("RoundTrip/raw")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(AcceptDovo)->Name("Accept/dovo")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(AcceptRaw)->Name("Accept/raw")->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
