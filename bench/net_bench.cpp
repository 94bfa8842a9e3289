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
// Both ends run at once, so every benchmark is timed by the clock on the wall (UseRealTime); one
// iteration is the whole transfer, including the connection's set-up and the receiver's thread.

#include "Ratio.h"

#include <dovo/InStream.h>
#include <dovo/OutStream.h>
#include <dovo/TCPSocket.h>
#include <dovo/TCPSocketServer.h>

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

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

BENCHMARK(BulkDovo)->Name("Bulk/dovo")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BulkRaw)->Name("Bulk/raw")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RoundTripDovo)->Name("RoundTrip/dovo")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RoundTripRaw)->Name("RoundTrip/raw")->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
