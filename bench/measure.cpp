// SPDX-License-Identifier: Zlib
//
// Google Benchmark times a slice of each participant. It could repeat and shuffle by itself, but then a slow
// second of the machine falls on one participant and not on its neighbours; here every pass runs each
// participant once, in one order, and ratios are taken inside a pass. Processor time is measured, so that
// other programs on the core do not count.
#include "bench/report.h"

#include <algorithm>
#include <memory>

#include <benchmark/benchmark.h>

namespace bench {

namespace {

// A participant as a benchmark of a fixed number of blits, and the reporter of its own time.
class Slice : public benchmark::BenchmarkReporter {
public:
    // Each slice begins with a whole turn of images that doesn't count: the participant before may have used
    // others (premultiplied ones), and caches and clock shall be as if this participant had always run.
    Slice(const Participant& participant, size_t number, const Case& c)
        : participant_(participant), name_("participant" + std::to_string(number)) {
        benchmark_ =
            benchmark::RegisterBenchmark(name_.c_str(), [this, warmUp = c.blits.size()](benchmark::State& s) {
                participant_.prepare();
                participant_.blit(warmUp);
                while (s.KeepRunningBatch(s.max_iterations))
                    participant_.blit(static_cast<size_t>(s.max_iterations));
            });
    }

    // Seconds of one blit.
    double run() {
        benchmark_->Iterations(static_cast<benchmark::IterationCount>(blits_));
        benchmark::RunSpecifiedBenchmarks(this, "^" + name_ + "/");
        return seconds_;
    }

    // Finds how many blits fill a slice.
    void calibrate(double sliceSeconds) {
        for (bool enough = false; !enough;) {
            const double taken = std::max(run(), 1e-9), now = static_cast<double>(blits_);
            const double wanted = std::max(1.0, sliceSeconds / taken);
            enough = taken * now >= sliceSeconds / 8;
            blits_ = static_cast<size_t>(enough ? wanted : std::min(wanted, now * 64));
        }
    }

    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            seconds_ = run.cpu_accumulated_time / static_cast<double>(run.iterations);
    }

private:
    const Participant& participant_;
    std::string name_;
    benchmark::internal::Benchmark* benchmark_;
    size_t blits_ = 1;
    double seconds_ = 0;
};

Error errorOf(Case& c, const Participant& p) {
    c.resetDestination();
    p.prepare();
    p.blit(1); // a participant's first blit is the case's first
    return c.error();
}

} // namespace

Figure Figure::of(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    const auto at = [&](double part) {
        const double position = part * static_cast<double>(samples.size() - 1);
        const auto i = static_cast<size_t>(position), next = std::min(i + 1, samples.size() - 1);
        return samples[i] + (samples[next] - samples[i]) * (position - static_cast<double>(i));
    };
    return {at(0.25), at(0.5), at(0.75)};
}

CaseReport measure(Case& c, const Effort& effort) {
    const std::vector<Participant> participants = participantsOf(c);
    CaseReport report = {c.row.name, c.size.name, c.content, static_cast<double>(c.size.pixels()), {}};
    std::vector<std::unique_ptr<Slice>> slices;
    for (const Participant& p : participants) {
        report.results.push_back({p.name, p.kind, {}, {}, errorOf(c, p)});
        slices.push_back(std::make_unique<Slice>(p, slices.size(), c));
        slices.back()->calibrate(effort.sliceSeconds);
    }
    std::vector<std::vector<double>> times(slices.size()), shares(slices.size());
    for (int pass = 0; pass < effort.passes; ++pass)
        for (size_t i = 0; i < slices.size(); ++i) {
            times[i].push_back(slices[i]->run() * 1e9);
            shares[i].push_back(times.front().back() / times[i].back());
        }
    benchmark::ClearRegisteredBenchmarks();
    for (size_t i = 0; i < slices.size(); ++i) {
        report.results[i].nanoseconds = Figure::of(times[i]);
        report.results[i].share = Figure::of(shares[i]);
    }
    return report;
}

} // namespace bench
