// String searches, case-insensitive replacement and printf-style formatting against std, Boost and fmt.
//
// Every peer of a group works on the same text and must give the same result; a benchmark whose
// result differs from the std peer's is reported as failed instead of timed.

#include "Ratio.h"

#include <dovo/String.h>

#include <boost/algorithm/string/find.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

namespace {

// Log-like lines: the words of the needles appear here and there, so that searches meet partial
// matches as they would in real text.
const char* const kLines[] = {
    "2024-03-15 13:45:30.118 worker 7 accepted a connection from 10.0.0.12:51544\n",
    "2024-03-15 13:45:30.120 cache hit ratio 0.93, 1204 entries, 18 evictions\n",
    "2024-03-15 13:45:30.131 request GET /api/v2/items?page=3 completed in 12 ms\n",
    "2024-03-15 13:45:30.140 Scheduler queued 4 jobs; next run at 13:46:00, peer count 3\n",
    "2024-03-15 13:45:30.152 Error: checksum mismatch on block 8812, retrying\n",
    "2024-03-15 13:45:30.166 disk ERROR count 2 (last error 41 s ago), Resetting link\n",
};

// About 4 KiB of lines with "connection reset by peer" once, in the last 200 bytes.
std::string MakeLog()
{
    std::string text;
    for (std::size_t i = 0; text.size() < 3900; ++i) text += kLines[(i * 5) % std::size(kLines)];
    text += "2024-03-15 13:45:31.004 worker 3: connection reset by peer while reading the reply\n";
    text += kLines[1];
    return text;
}

const std::string& Log()
{
    static const std::string text = MakeLog();
    return text;
}

const std::string kShort = "Host: dovo.example.org; User-Agent: probe/1.0; Accept: */*";

bool EqualNoCase(char a, char b)
{
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

// ---- Find and FindNoCase: the result as a position, -1 when not found.

struct SearchCase
{
    std::string text;
    std::string needle;
};

long StdFind(const SearchCase& c)
{
    const std::size_t p = c.text.find(c.needle);
    return p == std::string::npos ? -1 : static_cast<long>(p);
}

long StdFindNoCase(const SearchCase& c)
{
    const auto hit = std::search(c.text.begin(), c.text.end(), c.needle.begin(), c.needle.end(), EqualNoCase);
    return hit == c.text.end() ? -1 : static_cast<long>(hit - c.text.begin());
}

long BoostFind(const SearchCase& c)
{
    const auto hit = boost::algorithm::find_first(c.text, c.needle);
    return hit.empty() ? -1 : static_cast<long>(hit.begin() - c.text.begin());
}

long BoostFindNoCase(const SearchCase& c)
{
    const auto hit = boost::algorithm::ifind_first(c.text, c.needle);
    return hit.empty() ? -1 : static_cast<long>(hit.begin() - c.text.begin());
}

// The search under test, timed; `expected` is the std peer's answer.
template <class Search>
void TimeSearch(benchmark::State& state, long expected, Search search)
{
    if (search() != expected) return state.SkipWithError("the position differs from the std peer's");
    for (auto _ : state) {
        long position = search();
        benchmark::DoNotOptimize(position);
    }
}

void RegisterSearch(const std::string& group, const SearchCase& c, bool noCase)
{
    const long expected = noCase ? StdFindNoCase(c) : StdFind(c);
    if (expected < 0) std::abort(); // the data must hold the needle
    const dovo::String text(c.text), needle(c.needle);
    benchmark::RegisterBenchmark((group + "/dovo").c_str(), [=](benchmark::State& state) {
        TimeSearch(state, expected,
                   [&] { return static_cast<long>(noCase ? text.FindNoCase(needle) : text.Find(needle)); });
    });
    benchmark::RegisterBenchmark((group + "/std").c_str(), [=](benchmark::State& state) {
        TimeSearch(state, expected, [&] { return noCase ? StdFindNoCase(c) : StdFind(c); });
    });
    benchmark::RegisterBenchmark((group + "/boost").c_str(), [=](benchmark::State& state) {
        TimeSearch(state, expected, [&] { return noCase ? BoostFindNoCase(c) : BoostFind(c); });
    });
}

// ---- Case-insensitive replacement of every occurrence.

struct ReplaceCase
{
    std::string text, old, with;
};

// The std-only way: search case-insensitively and build the result in a new string.
void StdReplaceNoCase(std::string& text, const std::string& old, const std::string& with)
{
    std::string result;
    result.reserve(text.size());
    auto from = text.cbegin();
    for (;;) {
        const auto hit = std::search(from, text.cend(), old.begin(), old.end(), EqualNoCase);
        result.append(from, hit);
        if (hit == text.cend()) break;
        result += with;
        from = hit + static_cast<std::ptrdiff_t>(old.size());
    }
    text.swap(result);
}

void RegisterReplace(const std::string& group, const ReplaceCase& c)
{
    std::string expected = c.text;
    StdReplaceNoCase(expected, c.old, c.with);
    if (expected == c.text) std::abort(); // the data must hold the word

    const dovo::String text(c.text), old(c.old), with(c.with);
    // Each iteration starts from a fresh copy of the input, for every peer alike.
    benchmark::RegisterBenchmark((group + "/dovo").c_str(), [=](benchmark::State& state) {
        dovo::String check(text);
        if (check.Replace(old, with, false).str() != expected)
            return state.SkipWithError("the result differs from the std peer's");
        for (auto _ : state) {
            dovo::String s(text);
            s.Replace(old, with, false);
            benchmark::DoNotOptimize(s);
        }
    });
    benchmark::RegisterBenchmark((group + "/std").c_str(), [=](benchmark::State& state) {
        for (auto _ : state) {
            std::string s(c.text);
            StdReplaceNoCase(s, c.old, c.with);
            benchmark::DoNotOptimize(s);
        }
    });
    benchmark::RegisterBenchmark((group + "/boost").c_str(), [=](benchmark::State& state) {
        std::string check(c.text);
        boost::algorithm::ireplace_all(check, c.old, c.with);
        if (check != expected) return state.SkipWithError("the result differs from the std peer's");
        for (auto _ : state) {
            std::string s(c.text);
            boost::algorithm::ireplace_all(s, c.old, c.with);
            benchmark::DoNotOptimize(s);
        }
    });
}

// ---- printf-style formatting into a new string.

// The usual way with the C library: format into a stack buffer, and again into the string when the
// text is longer.
std::string SnprintfString(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string SnprintfString(const char* format, ...)
{
    char buffer[256];
    va_list args, again;
    va_start(args, format);
    va_copy(again, args);
    const int n = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    std::string result;
    if (n < 0) {
        // nothing to show
    } else if (static_cast<std::size_t>(n) < sizeof buffer) {
        result.assign(buffer, static_cast<std::size_t>(n));
    } else {
        result.resize(static_cast<std::size_t>(n));
        std::vsnprintf(result.data(), result.size() + 1, format, again);
    }
    va_end(again);
    return result;
}

// The arguments change with the iteration so that no result can be kept from one to the next.
struct MixedArgs
{
    const char* name;
    int count;
    double seconds;
    unsigned percent;
};
MixedArgs Mixed(unsigned i)
{
    return {"backup", 1000 + static_cast<int>(i & 1023), 0.5 + (i & 1023) * 0.0137, i % 101};
}

struct IntArgs
{
    int a, b, c;
};
IntArgs Ints(unsigned i)
{
    return {static_cast<int>(i & 0xffff), -31 * static_cast<int>(i & 0xfff), 1000000 + static_cast<int>(i & 0xfffff)};
}

const char* const kDirectories[] = {"/var/lib/dovo", "/home/operator/projects", "/tmp"};
const char* const kFiles[] = {"journal-000123.log", "settings.ini", "a"};

struct LongArgs
{
    const char* service;
    int request;
    const char* from;
    double ms;
    const char* path;
    const char* agent;
    unsigned status;
    const char* reason;
};
// About 300 bytes: longer than the usual stack buffers, so that the formatters must grow.
LongArgs LongMessage(unsigned i)
{
    return {"gateway",
            100000 + static_cast<int>(i & 0xffff),
            "10.20.30.40:51544",
            3.25 + (i & 255) * 0.5,
            "/api/v2/accounts/00042/transactions?from=2024-01-01&to=2024-03-31&page=17&sort=-amount&limit=100",
            "probe/2.4 (linux; x86_64) batch-client/1.9 retries=3 timeout=30s keepalive=on compression=gzip,deflate",
            200 + (i & 3),
            "served from the second-level cache after revalidation"};
}

#define MIXED_C "%s: %d items in %.3f s (%u%%)"
#define MIXED_FMT "{}: {} items in {:.3f} s ({}%)"
#define LONG_C "%s: request %d from %s took %.2f ms; path=%s; agent=%s; status %u (%s)"
#define LONG_FMT "{}: request {} from {} took {:.2f} ms; path={}; agent={}; status {} ({})"

struct FormatCase
{
    std::string (*snprintf)(unsigned);
    dovo::String (*dovo)(unsigned);
    std::string (*fmt)(unsigned);
};

const FormatCase kMixed{
    [](unsigned i) {
        const auto a = Mixed(i);
        return SnprintfString(MIXED_C, a.name, a.count, a.seconds, a.percent);
    },
    [](unsigned i) {
        const auto a = Mixed(i);
        return dovo::SFormat(MIXED_C, a.name, a.count, a.seconds, a.percent);
    },
    [](unsigned i) {
        const auto a = Mixed(i);
        return fmt::format(MIXED_FMT, a.name, a.count, a.seconds, a.percent);
    },
};
const FormatCase kInts{
    [](unsigned i) {
        const auto a = Ints(i);
        return SnprintfString("%d %d %d", a.a, a.b, a.c);
    },
    [](unsigned i) {
        const auto a = Ints(i);
        return dovo::SFormat("%d %d %d", a.a, a.b, a.c);
    },
    [](unsigned i) {
        const auto a = Ints(i);
        return fmt::format("{} {} {}", a.a, a.b, a.c);
    },
};
const FormatCase kStrings{
    [](unsigned i) { return SnprintfString("%s/%s", kDirectories[i % 3], kFiles[i % 3]); },
    [](unsigned i) { return dovo::SFormat("%s/%s", kDirectories[i % 3], kFiles[i % 3]); },
    [](unsigned i) { return fmt::format("{}/{}", kDirectories[i % 3], kFiles[i % 3]); },
};
const FormatCase kLong{
    [](unsigned i) {
        const auto a = LongMessage(i);
        return SnprintfString(LONG_C, a.service, a.request, a.from, a.ms, a.path, a.agent, a.status, a.reason);
    },
    [](unsigned i) {
        const auto a = LongMessage(i);
        return dovo::SFormat(LONG_C, a.service, a.request, a.from, a.ms, a.path, a.agent, a.status, a.reason);
    },
    [](unsigned i) {
        const auto a = LongMessage(i);
        return fmt::format(LONG_FMT, a.service, a.request, a.from, a.ms, a.path, a.agent, a.status, a.reason);
    },
};

const std::string& Text(const std::string& s) { return s; }
const std::string& Text(const dovo::String& s) { return s.str(); }

template <class Make>
void TimeFormat(benchmark::State& state, const FormatCase& c, Make make)
{
    for (unsigned i : {0u, 1u, 2u, 777u, 4096u}) {
        const std::string expected = c.snprintf(i);
        if (Text(make(i)) != expected)
            return state.SkipWithError(("gives something else than \"" + expected + "\"").c_str());
    }
    unsigned i = 0;
    for (auto _ : state) {
        auto text = make(i++);
        benchmark::DoNotOptimize(text);
    }
}

void RegisterFormat(const std::string& group, const FormatCase& c)
{
    benchmark::RegisterBenchmark((group + "/dovo").c_str(),
                                 [&c](benchmark::State& state) { TimeFormat(state, c, c.dovo); });
    benchmark::RegisterBenchmark((group + "/snprintf").c_str(),
                                 [&c](benchmark::State& state) { TimeFormat(state, c, c.snprintf); });
    benchmark::RegisterBenchmark((group + "/fmt").c_str(),
                                 [&c](benchmark::State& state) { TimeFormat(state, c, c.fmt); });
}

[[maybe_unused]] const bool registered = [] {
    RegisterSearch("Find/long", {Log(), "connection reset by peer"}, false);
    RegisterSearch("Find/short", {kShort, "Accept"}, false);
    RegisterSearch("FindNoCase/long", {Log(), "CONNECTION reset BY Peer"}, true);
    RegisterSearch("FindNoCase/short", {kShort, "accept"}, true);
    RegisterReplace("ReplaceNoCase/long", {Log(), "error", "warning"});
    RegisterReplace("ReplaceNoCase/short",
                    {"Disk Error on /dev/sda: error count 3, last ERROR at boot", "error", "fault"});
    RegisterFormat("SFormat/mixed", kMixed);
    RegisterFormat("SFormat/ints", kInts);
    RegisterFormat("SFormat/strings", kStrings);
    RegisterFormat("SFormat/long", kLong);
    return true;
}();

} // namespace
