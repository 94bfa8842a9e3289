#pragma once

// Ratio tables for the benchmarks.
//
// Benchmarks are registered as "Group/peer": "Find/long/dovo", "Find/long/std", "Find/long/boost".
// The peer is the last segment of the name and the group everything before it; the peer "dovo" is
// the library. After Google Benchmark has run, the table prints for every group Dovo's CPU time per
// iteration, its ratio to each peer (Dovo / peer: below 1 means Dovo is faster), the fastest peer,
// and marks the groups where the ratio to that peer is above the group's aim. Benchmarks registered
// with UseRealTime (or UseManualTime), such as threads that wait for each other, are compared by that
// time instead, and their group is marked with a star.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace dovo::bench {

/// The aim every group has unless SetAim gives it another: Dovo at most 20 % slower than the best.
constexpr double kDefaultAim = 1.2;

/// Sets the aim of a group, or of every group under a prefix ("Format" covers "Format/long").
void SetAim(const std::string& group, double aim);
/// The aim of a group: its own, else that of its closest prefix, else the default.
double AimOf(const std::string& group);
/// Changes the default aim (the --ratio_aim flag).
void SetDefaultAim(double aim);

/// Passes every report to the display reporter that Google Benchmark would have used (so that
/// --benchmark_format still works) and keeps the times for the ratio table.
class RatioReporter : public benchmark::BenchmarkReporter
{
public:
    explicit RatioReporter(std::unique_ptr<benchmark::BenchmarkReporter> display);

    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    /// Prints the table; returns how many groups are above their aim or have a failed run.
    int PrintTable(std::ostream& out) const;

private:
    struct Times
    {
        std::vector<double> iterations; // ns per iteration, one per repetition
        double median = -1;             // the "median" aggregate, when repetitions report one
        bool wall = false;              // timed by real (or manual) time rather than CPU time
        std::int64_t family = 0;        // the registration order
        bool failed = false;
        std::string error;
    };

    std::unique_ptr<benchmark::BenchmarkReporter> m_display;
    std::vector<std::string> m_order; // benchmark names in the order they first reported
    std::map<std::string, Times> m_times;
};

} // namespace dovo::bench
