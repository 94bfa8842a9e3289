// Logging throughput: 100-byte lines written to a file by one and two producer threads, every line
// on its way to the file when the call returns (no buffering in the process). Dovo's LogInfo on the
// global log against spdlog's synchronous file logger flushed after every line and POCO's
// FileChannel (which flushes after every message), on the same disk.

#include "Ratio.h"

#include <dovo/Log.h>

#include <Poco/AutoPtr.h>
#include <Poco/FileChannel.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/PatternFormatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace {

namespace fs = std::filesystem;

const std::string kLine(100, 'l');

fs::path Folder()
{
    static const fs::path folder = [] {
        fs::path p = fs::temp_directory_path() / "dovo-log-bench";
        fs::remove_all(p);
        fs::create_directories(p);
        return p;
    }();
    return folder;
}

void DovoLines(benchmark::State& state)
{
    static const bool ready = [] {
        dovo::Log::LogStartup(dovo::Info, dovo::Info);
        dovo::Log::s_GlobalLog->SetFile(dovo::Path((Folder() / "dovo.log").string()), dovo::Info, /*append=*/false);
        dovo::Log::s_GlobalLog->KeepLogInMemory(false); // a file log as programs run it
        return true;
    }();
    (void)ready;
    const dovo::String line(kLine);
    for (auto _ : state) dovo::LogInfo(line);
    state.SetItemsProcessed(state.iterations());
}

void SpdlogLines(benchmark::State& state)
{
    static const std::shared_ptr<spdlog::logger> logger = [] {
        auto l = spdlog::basic_logger_mt("bench", (Folder() / "spdlog.log").string(), true);
        l->set_pattern("%y.%m.%d %H:%M:%S.%e [%l] <%t> %v");
        l->flush_on(spdlog::level::trace);
        return l;
    }();
    for (auto _ : state) logger->info(kLine);
    state.SetItemsProcessed(state.iterations());
}

void PocoLines(benchmark::State& state)
{
    static Poco::Logger& logger = []() -> Poco::Logger& {
        Poco::AutoPtr<Poco::FileChannel> file(new Poco::FileChannel((Folder() / "poco.log").string()));
        file->setProperty("flush", "true");
        Poco::AutoPtr<Poco::PatternFormatter> pattern(new Poco::PatternFormatter("%y.%m.%d %H:%M:%S.%i [%p] <%I> %t"));
        Poco::AutoPtr<Poco::FormattingChannel> channel(new Poco::FormattingChannel(pattern, file));
        Poco::Logger& l = Poco::Logger::get("bench");
        l.setChannel(channel);
        l.setLevel(Poco::Message::PRIO_INFORMATION);
        return l;
    }();
    for (auto _ : state) logger.information(kLine);
    state.SetItemsProcessed(state.iterations());
}

[[maybe_unused]] const bool registered = [] {
    for (int threads : {1, 2}) {
        const std::string group = threads == 1 ? "LogLine/one_thread" : "LogLine/two_threads";
        benchmark::RegisterBenchmark((group + "/dovo").c_str(), DovoLines)->Threads(threads)->UseRealTime();
        benchmark::RegisterBenchmark((group + "/spdlog").c_str(), SpdlogLines)->Threads(threads)->UseRealTime();
        benchmark::RegisterBenchmark((group + "/poco").c_str(), PocoLines)->Threads(threads)->UseRealTime();
        // At least as many lines per second as the faster peer.
        dovo::bench::SetAim(group, 1.0);
    }
    return true;
}();

} // namespace
