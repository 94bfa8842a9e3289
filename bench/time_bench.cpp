// Time::Format against the C library's way to the same text: gmtime_r, strftime and the
// milliseconds appended with snprintf. Both break the time into calendar fields on every call.

#include "Ratio.h"

#include <dovo/Time.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

namespace {

// Each iteration moves the time by a day, an hour, a minute, a second and a millisecond, so that
// every field changes and nothing can be kept from the previous call; after 65536 steps (about 187
// years) it starts over.
constexpr std::int64_t kStepMs = 86400000 + 3600000 + 60000 + 1000 + 1;
constexpr unsigned kSteps = 65536;

// 2001-02-03 04:05:06.007 UTC, for both sides.
const dovo::Time kDovoStart(2001, 2, 3, 4, 5, 6, 7);
constexpr std::int64_t kUnixStartMs = 981173106007LL;

std::string CFormat(std::int64_t unixMs)
{
    const std::time_t seconds = static_cast<std::time_t>(unixMs / 1000);
    std::tm fields;
    gmtime_r(&seconds, &fields);
    char text[64];
    std::size_t n = std::strftime(text, sizeof text, "%y.%m.%d %H:%M:%S", &fields);
    n += static_cast<std::size_t>(std::snprintf(text + n, sizeof text - n, ".%03d", static_cast<int>(unixMs % 1000)));
    return std::string(text, n);
}

dovo::String DovoFormat(const dovo::String& format, unsigned step)
{
    return (kDovoStart + dovo::Time(kStepMs * step)).Format(format, false);
}

std::string CFormatStep(unsigned step) { return CFormat(kUnixStartMs + kStepMs * step); }

void Dovo(benchmark::State& state)
{
    const dovo::String format("%y.%m.%d %H:%M:%S.%F");
    // The two sides must show the same text over the whole range of times the loop visits.
    for (unsigned step = 0; step < kSteps; step += 997) {
        if (DovoFormat(format, step).str() != CFormatStep(step)) {
            const std::string message = "step " + std::to_string(step) + " gives \"" + DovoFormat(format, step).str() +
                                        "\" where the C library gives \"" + CFormatStep(step) + "\"";
            return state.SkipWithError(message.c_str());
        }
    }
    unsigned step = 0;
    for (auto _ : state) {
        dovo::String text = DovoFormat(format, step);
        benchmark::DoNotOptimize(text);
        step = (step + 1) % kSteps;
    }
}

void Strftime(benchmark::State& state)
{
    unsigned step = 0;
    for (auto _ : state) {
        std::string text = CFormatStep(step);
        benchmark::DoNotOptimize(text);
        step = (step + 1) % kSteps;
    }
}

BENCHMARK(Dovo)->Name("Time::Format/dovo");
BENCHMARK(Strftime)->Name("Time::Format/strftime");

} // namespace
