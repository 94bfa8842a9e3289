#include "Ratio.h"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <utility>

namespace dovo::bench {
namespace {

constexpr const char* kDovo = "dovo";

double g_defaultAim = kDefaultAim;

std::map<std::string, double>& Aims()
{
    static std::map<std::string, double> aims;
    return aims;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

std::string Duration(double ns)
{
    char text[32];
    if (ns < 1e3) std::snprintf(text, sizeof text, "%.1f ns", ns);
    else if (ns < 1e6) std::snprintf(text, sizeof text, "%.2f us", ns / 1e3);
    else if (ns < 1e9) std::snprintf(text, sizeof text, "%.2f ms", ns / 1e6);
    else std::snprintf(text, sizeof text, "%.2f s", ns / 1e9);
    return text;
}

std::string Fixed(double value, int decimals)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string Pad(std::string text, std::size_t width, bool right = false)
{
    if (text.size() >= width) return text;
    const std::string fill(width - text.size(), ' ');
    return right ? fill + text : text + fill;
}

struct Peer
{
    std::string name;
    double ns;
};

struct Group
{
    std::string name;
    double dovo = -1;
    std::vector<Peer> peers;
    std::vector<std::string> problems; // failed runs, named
    bool wall = false;                 // some of its times are real time
};

} // namespace

void SetAim(const std::string& group, double aim) { Aims()[group] = aim; }

void SetDefaultAim(double aim) { g_defaultAim = aim; }

double AimOf(const std::string& group)
{
    const auto& aims = Aims();
    for (std::string key = group;;) {
        if (const auto it = aims.find(key); it != aims.end()) return it->second;
        const std::size_t slash = key.rfind('/');
        if (slash == std::string::npos) return g_defaultAim;
        key.erase(slash);
    }
}

RatioReporter::RatioReporter(std::unique_ptr<benchmark::BenchmarkReporter> display) : m_display(std::move(display)) {}

bool RatioReporter::ReportContext(const Context& context) { return m_display->ReportContext(context); }

void RatioReporter::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        // The name as registered, without the suffixes that options such as min_time add.
        const std::string& name = run.run_name.function_name;
        auto [it, added] = m_times.try_emplace(name);
        if (added) m_order.push_back(name);
        Times& times = it->second;
        times.family = run.family_index;
        // A benchmark timed by the wall clock (UseRealTime, UseManualTime) is compared by that time: the
        // CPU time would miss whatever its threads spend asleep waiting for each other.
        times.wall = !run.run_name.time_type.empty();
        if (run.error_occurred) {
            times.failed = true;
            times.error = run.error_message;
            continue;
        }
        const double time = times.wall ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
        const double ns = time * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
        if (run.run_type == Run::RT_Iteration) times.iterations.push_back(ns);
        else if (run.aggregate_name == "median") times.median = ns;
    }
    m_display->ReportRuns(runs);
}

void RatioReporter::Finalize() { m_display->Finalize(); }

int RatioReporter::PrintTable(std::ostream& out) const
{
    // Shuffled repetitions report out of order: the table follows the order of registration.
    std::vector<std::string> order = m_order;
    std::stable_sort(order.begin(), order.end(), [&](const std::string& a, const std::string& b) {
        return m_times.at(a).family < m_times.at(b).family;
    });
    std::vector<Group> groups;
    for (const std::string& name : order) {
        const std::size_t slash = name.rfind('/');
        if (slash == std::string::npos) continue; // not "Group/peer": no ratio to give
        const std::string groupName = name.substr(0, slash);
        const std::string peer = name.substr(slash + 1);
        auto group = std::find_if(groups.begin(), groups.end(), [&](const Group& g) { return g.name == groupName; });
        if (group == groups.end()) {
            groups.emplace_back().name = groupName;
            group = groups.end() - 1;
        }
        const Times& times = m_times.at(name);
        group->wall = group->wall || times.wall;
        if (times.failed || (times.iterations.empty() && times.median < 0)) {
            group->problems.push_back(peer + ": " + (times.failed ? times.error : "no time"));
            continue;
        }
        const double ns = times.median >= 0 ? times.median : Median(times.iterations);
        if (peer == kDovo) group->dovo = ns;
        else group->peers.push_back(Peer{peer, ns});
    }
    if (groups.empty()) return 0;

    std::size_t nameWidth = 5;
    std::size_t ratiosWidth = 6;
    std::size_t bestWidth = 8;
    std::vector<std::string> ratioTexts;
    for (const Group& g : groups) {
        nameWidth = std::max(nameWidth, g.name.size() + (g.wall ? 2 : 0));
        std::string ratios;
        for (const Peer& p : g.peers) {
            bestWidth = std::max(bestWidth, p.name.size());
            if (!ratios.empty()) ratios += "  ";
            ratios += p.name + ' ' + (g.dovo > 0 && p.ns > 0 ? Fixed(g.dovo / p.ns, 2) : std::string("-"));
        }
        ratiosWidth = std::max(ratiosWidth, ratios.size());
        ratioTexts.push_back(std::move(ratios));
    }

    const bool anyWall = std::any_of(groups.begin(), groups.end(), [](const Group& g) { return g.wall; });
    out << "\nDovo against its peers: CPU time per iteration" << (anyWall ? ", real time in the groups marked *" : "")
        << " (the median when repeated); a ratio is Dovo's time / the peer's, below 1 when Dovo is faster.\n"
        << Pad("group", nameWidth) << "  " << Pad("dovo", 10, true) << "  " << Pad("ratios", ratiosWidth) << "  "
        << Pad("best", bestWidth) << "  " << Pad("vs best", 7, true) << "  " << Pad("aim", 5, true) << '\n';
    int above = 0;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const Group& g = groups[i];
        out << Pad(g.wall ? g.name + " *" : g.name, nameWidth) << "  "
            << Pad(g.dovo > 0 ? Duration(g.dovo) : "-", 10, true) << "  " << Pad(ratioTexts[i], ratiosWidth) << "  ";
        const auto best =
            std::min_element(g.peers.begin(), g.peers.end(), [](const Peer& a, const Peer& b) { return a.ns < b.ns; });
        const double aim = AimOf(g.name);
        if (best == g.peers.end() || g.dovo <= 0 || best->ns <= 0) {
            out << Pad("-", bestWidth) << "  " << Pad("-", 7, true) << "  " << Pad(Fixed(aim, 2), 5, true);
        } else {
            const double ratio = g.dovo / best->ns;
            out << Pad(best->name, bestWidth) << "  " << Pad(Fixed(ratio, 2), 7, true) << "  "
                << Pad(Fixed(aim, 2), 5, true);
            if (ratio > aim) {
                out << "  <-- above aim";
                ++above;
            }
        }
        out << '\n';
        for (const std::string& problem : g.problems) out << Pad("", nameWidth) << "  failed: " << problem << '\n';
    }
    const auto failed = std::count_if(groups.begin(), groups.end(), [](const Group& g) { return !g.problems.empty(); });
    if (above) out << above << " of " << groups.size() << " groups above their aim";
    else out << "No group above its aim";
    if (failed) out << "; " << failed << " with failed runs";
    out << ".\n";
    return above + static_cast<int>(failed);
}

} // namespace dovo::bench
