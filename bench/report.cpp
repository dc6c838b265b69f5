// SPDX-License-Identifier: Zlib
#include "bench/report.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <stdexcept>

#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

namespace bench {

NLOHMANN_JSON_SERIALIZE_ENUM(Kind, {{kOurs, "ours"},
                                    {kStraight, "straight"},
                                    {kPremultiplied, "premultiplied"},
                                    {kLimit, "limit"},
                                    {kControl, "control"}})
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Error, max, mean)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Figure, q1, median, q3)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Result, participant, target, kind, nanoseconds, share, error)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(CaseReport, row, size, content, pixels, results)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Report, processor, caches, system, compiler, libraries, targets, cases)

const Result* CaseReport::find(std::string_view participant) const {
    const auto found = std::ranges::find(results, participant, &Result::participant);
    return found == results.end() ? nullptr : &*found;
}

const CaseReport* Report::find(const std::string& row, const std::string& size,
                               const std::string& content) const {
    const auto found = std::ranges::find_if(
        cases, [&](const CaseReport& c) { return c.row == row && c.size == size && c.content == content; });
    return found == cases.end() ? nullptr : &*found;
}

// Seconds of processor time for one blit; other programs on the core do not count. Before come untimed blits,
// a turn of all images: the participant before may have used others (premultiplied ones), and caches and
// clock shall be as if this participant had always run.
static double timeOf(const Participant& p, size_t untimed, size_t blits) {
    p.prepare();
    p.blit(untimed);
    timespec begin = {}, end = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
    p.blit(blits);
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
    const auto nanoseconds = static_cast<double>(end.tv_nsec - begin.tv_nsec);
    return (static_cast<double>(end.tv_sec - begin.tv_sec) + 1e-9 * nanoseconds) / static_cast<double>(blits);
}

Figure Figure::of(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    const auto at = [&](double part) {
        const double position = part * static_cast<double>(samples.size() - 1);
        const auto i = static_cast<size_t>(position), next = std::min(i + 1, samples.size() - 1);
        return samples[i] + (samples[next] - samples[i]) * (position - static_cast<double>(i));
    };
    return {at(0.25), at(0.5), at(0.75)};
}

// Every pass runs each participant once, in one order, and ratios are taken inside a pass: a slow second of
// the machine then falls on neighbours alike.
CaseReport measure(Case& c, double sliceSeconds, int passes) {
    const Participants participants = participantsOf(c);
    const size_t count = participants.size(), turn = c.blits.size();
    CaseReport report = {c.row.name, c.size.name, c.content, static_cast<double>(c.size.pixels()), {}};
    std::vector<size_t> blits(count, 1); // that fill a slice
    for (size_t i = 0; i < count; ++i) {
        const Participant& p = participants[i];
        p.prepare();
        report.results.push_back({p.name, p.target, p.kind, {}, {}, c.errorOf(p.blit)});
        double taken = 0;
        while ((taken = timeOf(p, turn, blits[i])) * static_cast<double>(blits[i]) < sliceSeconds / 8)
            blits[i] *= 4;
        blits[i] = static_cast<size_t>(std::max(1.0, sliceSeconds / taken));
    }
    std::vector<std::vector<double>> times(count), shares(count);
    for (int pass = 0; pass < passes; ++pass)
        for (size_t i = 0; i < count; ++i) {
            times[i].push_back(timeOf(participants[i], turn, blits[i]) * 1e9);
            shares[i].push_back(times.front().back() / times[i].back());
        }
    for (size_t i = 0; i < count; ++i) {
        report.results[i].nanoseconds = Figure::of(times[i]);
        report.results[i].share = Figure::of(shares[i]);
    }
    return report;
}

void printMachine(const Report& r) {
    fmt::print(
        "Processor  {}\nTargets    {}\nCaches     {}\nSystem     {}\nCompiler   {}\nLibraries  {}\n"
        "Not measured: blend2d and SDL 3, which Debian does not package.\n"
        "Spread is half the middle half of the passes. Error is the distance from the exact blend, in\n"
        "255ths of a channel's range: largest and mean.\n",
        r.processor, fmt::join(r.targets, " "), r.caches, r.system, r.compiler, r.libraries);
}

void printCase(const CaseReport& c) {
    fmt::print("\n{}  {}  {}\n  {:<22} {:>12} {:>8} {:>9} {:>7} {:>6}\n", c.row, c.size, c.content, "",
               c.picture() ? "Mpixel/s" : "ns/blit", "spread", c.picture() ? "of limit" : "x SDL 1.2",
               "error", "mean");
    for (const Result& r : c.results) {
        fmt::print("  {:<22} {:>12.1f} {:>7.1f}% {:>9.3f}", r.participant, c.figure(r),
                   100 * r.nanoseconds.spread(), r.share.median);
        if (r.kind != kLimit && r.kind != kControl && r.error.max >= 0)
            fmt::print(" {:>7.1f} {:>6.2f}  {}", r.error.max, r.error.mean,
                       r.kind == kPremultiplied ? "source premultiplied for nothing" : "");
        fmt::print("\n");
    }
    std::fflush(stdout);
}

std::string noiseOf(const Report& report) {
    std::vector<double> off;
    for (const CaseReport& c : report.cases)
        off.push_back(100 * c.noise());
    return fmt::format(
        "the reference measured twice in one case differs by {:.1f} % (median of {} cases), at "
        "most {:.1f} %",
        Figure::of(off).median, off.size(), *std::ranges::max_element(off));
}

void writeJson(const Report& report, const std::string& file) {
    std::ofstream out(file);
    out << nlohmann::json(report).dump(1) << '\n';
    if (!out.flush())
        throw std::runtime_error("can't write " + file);
}

Report readJson(const std::string& file) {
    std::ifstream in(file);
    if (!in)
        throw std::runtime_error("can't read " + file);
    Report report = nlohmann::json::parse(in).get<Report>();
    const auto empty = [](const CaseReport& c) { return c.results.empty(); };
    if (report.cases.empty() || report.targets.empty() || std::ranges::any_of(report.cases, empty))
        throw std::runtime_error(file + " has no figures");
    return report;
}

} // namespace bench
