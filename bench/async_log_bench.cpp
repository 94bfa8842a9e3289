// Logging through a background thread: callers queue their lines and one thread writes them.
//
// Throughput: one million lines of about 130 bytes into a fresh file, from one and from two producer
// threads, timed from the first call until the last line is in the file. Dovo's LogInfo on the global
// log (a file, items not kept in memory, the logging thread running; the end is Drain) against spdlog's
// async_logger on a thread pool of one thread with the blocking overflow policy (the end is the pool
// going, which writes what is queued and closes the file) and POCO's AsyncChannel in front of a
// FileChannel (the end is closing both). Every peer formats its lines on its background thread, in the
// same layout, and buffers its writes; the file's lines are counted after each run.
//
// Caller's cost: the CPU time of one call in the producer threads alone (one and two threads), the queue
// never full: a fixed number of calls per run, and spdlog's queue holds all of them. What was queued is
// written out after each run, untimed, so that no run pays for the one before.
//
// A separate program from log_bench: its synchronous comparison needs the logging thread not running.

#include "Ratio.h"

#include <dovo/CommandLine.h>
#include <dovo/LibStatic.h>
#include <dovo/Log.h>

#include "log/LoggingThread.h"

#include <Poco/AsyncChannel.h>
#include <Poco/AutoPtr.h>
#include <Poco/FileChannel.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/PatternFormatter.h>
#include <spdlog/async.h>
#include <spdlog/async_logger.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace dovo {
// The library's start-up starts the logging thread; a program built on Application gets it from there.
struct LibStaticAccess
{
    static void Startup(CommandLine& commandLine) { LibStatic::NotifyStartup(commandLine); }
};
} // namespace dovo

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kLines = 1000000;
// With the time, level and thread in front, lines of about 130 bytes.
const std::string kText = "Frame 1042 of job 77 rendered on node-17 in 12.5 s, output saved to out_1042";

// Calls per thread in one run of the caller's cost.
constexpr std::int64_t kCalls = 100000;
// The queue for the caller's cost (spdlog's is fixed; the others grow): every call of a run with two
// threads fits, with room to spare.
constexpr std::size_t kCallerQueue = 2 * kCalls + 1024;
// spdlog's own default queue, for the throughput.
constexpr std::size_t kThroughputQueue = 8192;

const char* const kSpdlogPattern = "%y.%m.%d %H:%M:%S.%e [%l] <%t> %v";
const char* const kPocoPattern = "%y.%m.%d %H:%M:%S.%i [%p] <%I> %t";

fs::path Folder()
{
    static const fs::path folder = [] {
        fs::path p = fs::temp_directory_path() / "dovo-async-log-bench";
        fs::remove_all(p);
        fs::create_directories(p);
        return p;
    }();
    return folder;
}

// A file name not used before in this run of the program.
fs::path FreshFile(const char* peer)
{
    static int next = 0;
    return Folder() / (std::string(peer) + "-" + std::to_string(++next) + ".log");
}

// How many lines of the file end with the benchmark's text.
std::int64_t LinesWritten(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::string line = kText + "\n";
    std::int64_t count = 0;
    for (std::size_t at = content.find(line); at != std::string::npos; at = content.find(line, at + line.size()))
        ++count;
    return count;
}

// ---- The peers: each opens a file, takes a line per call, and ends when all its lines are written.

class DovoPeer
{
public:
    static void StartOnce()
    {
        static const bool started = [] {
            dovo::Log::LogStartup(dovo::Info, dovo::Info);
            dovo::Log::s_GlobalLog->SetFile(dovo::Path(FreshFile("dovo").string()), dovo::Info, /*append=*/false);
            dovo::Log::s_GlobalLog->KeepLogInMemory(false); // a file log as programs run it
            dovo::CommandLine commandLine;
            dovo::LibStaticAccess::Startup(commandLine);
            return true;
        }();
        (void)started;
    }
    // (Dovo's queue grows as it needs.)
    DovoPeer(const fs::path& file, std::size_t /*queue*/ = 0)
    {
        StartOnce();
        dovo::Log::s_GlobalLog->SetFile(dovo::Path(file.string()), dovo::Info, /*append=*/false);
    }
    void Line() { dovo::LogInfo(m_text); }
    static void Finish() { dovo::logthread::Drain(60.0f); }

private:
    const dovo::String m_text{kText};
};

class SpdlogPeer
{
public:
    SpdlogPeer(const fs::path& file, std::size_t queue = kThroughputQueue)
        : m_pool(std::make_shared<spdlog::details::thread_pool>(queue, 1)),
          m_sink(std::make_shared<spdlog::sinks::basic_file_sink_mt>(file.string(), /*truncate=*/true)),
          m_logger(
              std::make_shared<spdlog::async_logger>("async", m_sink, m_pool, spdlog::async_overflow_policy::block))
    {
        m_logger->set_pattern(kSpdlogPattern);
    }
    void Line() { m_logger->info(kText); }
    // The pool writes what is queued before its thread ends; the last owner of the sink closes the file.
    void Finish()
    {
        m_logger.reset();
        m_pool.reset();
        m_sink.reset();
    }

private:
    std::shared_ptr<spdlog::details::thread_pool> m_pool;
    std::shared_ptr<spdlog::sinks::basic_file_sink_mt> m_sink;
    std::shared_ptr<spdlog::async_logger> m_logger;
};

class PocoPeer
{
public:
    // (POCO's queue grows as it needs.)
    PocoPeer(const fs::path& file, std::size_t /*queue*/ = 0)
        : m_file(new Poco::FileChannel(file.string())),
          m_async(
              new Poco::AsyncChannel(new Poco::FormattingChannel(new Poco::PatternFormatter(kPocoPattern), m_file))),
          m_logger(Poco::Logger::get("async-bench"))
    {
        m_file->setProperty("flush", "false"); // buffered, as the others write
        m_logger.setChannel(m_async);
        m_logger.setLevel(Poco::Message::PRIO_INFORMATION);
        m_async->open();
    }
    void Line() { m_logger.information(kText); }
    // Closing the asynchronous channel waits until its queue is written.
    void Finish()
    {
        m_async->close();
        m_file->close();
        m_logger.setChannel(nullptr);
    }

private:
    Poco::AutoPtr<Poco::FileChannel> m_file;
    Poco::AutoPtr<Poco::AsyncChannel> m_async;
    Poco::Logger& m_logger;
};

// ---- Throughput.

template <typename Peer>
void Throughput(benchmark::State& state, const char* name, int producers)
{
    for (auto _ : state) {
        const fs::path file = FreshFile(name);
        Peer peer(file);
        const auto start = std::chrono::steady_clock::now();
        std::vector<std::thread> threads;
        for (int p = 0; p < producers; ++p)
            threads.emplace_back([&peer, p, producers] {
                for (std::int64_t i = p; i < kLines; i += producers) peer.Line();
            });
        for (auto& t : threads) t.join();
        peer.Finish();
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        const std::int64_t written = LinesWritten(file);
        fs::remove(file);
        if (written != kLines) {
            state.SkipWithError(("lines lost or doubled: " + std::to_string(written)).c_str());
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}

// ---- The caller's cost: thread 0 opens a fresh file before the run and writes everything out after it,
// untimed, while the other threads wait at the run's start and end.

template <typename Peer>
void Calls(benchmark::State& state, const char* name)
{
    static std::unique_ptr<Peer> peer;
    static fs::path file;
    if (state.thread_index() == 0) {
        file = FreshFile(name);
        peer = std::make_unique<Peer>(file, kCallerQueue);
    }
    for (auto _ : state) peer->Line();
    if (state.thread_index() == 0) {
        peer->Finish();
        peer.reset();
        fs::remove(file);
    }
    state.SetItemsProcessed(state.iterations());
}

[[maybe_unused]] const bool registered = [] {
    for (int threads : {1, 2}) {
        const std::string count = threads == 1 ? "one_thread" : "two_threads";
        const std::string lines = "AsyncLog/lines/" + count;
        benchmark::RegisterBenchmark((lines + "/dovo").c_str(), Throughput<DovoPeer>, "dovo", threads)
            ->UseManualTime()
            ->Iterations(1);
        benchmark::RegisterBenchmark((lines + "/spdlog").c_str(), Throughput<SpdlogPeer>, "spdlog", threads)
            ->UseManualTime()
            ->Iterations(1);
        benchmark::RegisterBenchmark((lines + "/poco").c_str(), Throughput<PocoPeer>, "poco", threads)
            ->UseManualTime()
            ->Iterations(1);
        // At least as many lines per second as spdlog.
        dovo::bench::SetAim(lines, 1.0);

        const std::string caller = "AsyncLog/call/" + count;
        benchmark::RegisterBenchmark((caller + "/dovo").c_str(), Calls<DovoPeer>, "dovo-calls")
            ->Threads(threads)
            ->Iterations(kCalls);
        benchmark::RegisterBenchmark((caller + "/spdlog").c_str(), Calls<SpdlogPeer>, "spdlog-calls")
            ->Threads(threads)
            ->Iterations(kCalls);
        benchmark::RegisterBenchmark((caller + "/poco").c_str(), Calls<PocoPeer>, "poco-calls")
            ->Threads(threads)
            ->Iterations(kCalls);
        // A call costs its thread no more than spdlog's.
        dovo::bench::SetAim(caller, 1.0);
    }
    return true;
}();

} // namespace
