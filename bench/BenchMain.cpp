// The entry point of every benchmark program: Google Benchmark's own flags, then the ratio table.
//
// Flags of our own, taken out before Google Benchmark sees the rest:
//   --ratio_aim=X     the default aim (Dovo's time / the best peer's) above which a group is marked
//   --ratio_strict    exit with status 2 when a group is above its aim or a run failed

#include "Ratio.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

namespace {

void PrintHelp()
{
    benchmark::PrintDefaultHelp();
    std::cout << "          [--ratio_aim=<default aim, " << dovo::bench::kDefaultAim << ">]\n"
              << "          [--ratio_strict]\n";
}

} // namespace

int main(int argc, char** argv)
{
    bool strict = false;
    bool console = true;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (std::strncmp(arg, "--ratio_aim=", 12) == 0) {
            char* end = nullptr;
            const double aim = std::strtod(arg + 12, &end);
            if (end == arg + 12 || *end || aim <= 0) {
                std::cerr << argv[0] << ": --ratio_aim wants a positive number, not '" << arg + 12 << "'\n";
                return 1;
            }
            dovo::bench::SetDefaultAim(aim);
            continue;
        }
        if (std::strcmp(arg, "--ratio_strict") == 0) {
            strict = true;
            continue;
        }
        if (std::strncmp(arg, "--benchmark_format=", 19) == 0) console = std::strcmp(arg + 19, "console") == 0;
        argv[kept++] = argv[i];
    }
    argc = kept;
    argv[argc] = nullptr;

    benchmark::Initialize(&argc, argv, PrintHelp);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    dovo::bench::RatioReporter reporter(
        std::unique_ptr<benchmark::BenchmarkReporter>(benchmark::CreateDefaultDisplayReporter()));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    // JSON or CSV on standard output stays machine-readable: the table goes to the error stream then.
    const int problems = reporter.PrintTable(console ? std::cout : std::cerr);
    return strict && problems ? 2 : 0;
}
