// SPDX-License-Identifier: Zlib
//
// Google Benchmark times a slice of each participant. It could repeat and shuffle by itself, but then a slow
// second of the machine falls on one participant and not on its neighbours; here every pass runs each
// participant once, in one order, and ratios are taken inside a pass. Processor time is measured, so that
// other programs on the core do not count.
#include "bench/measure.h"

#include <algorithm>

#include <benchmark/benchmark.h>

namespace bench {

namespace {

class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            seconds_ = (measuresItself_ ? run.real_accumulated_time : run.cpu_accumulated_time) /
                       static_cast<double>(run.iterations);
    }
    void expect(bool measuresItself) { measuresItself_ = measuresItself; }
    double seconds() const { return seconds_; }

private:
    double seconds_ = 0;
    bool measuresItself_ = false;
};

// A participant as a benchmark of a fixed number of blits.
class Slice {
public:
    // Each slice begins with `warmUp` blits that don't count: the participant before may have used other
    // images (premultiplied ones), and the caches and the clock shall be as if this participant had always
    // run.
    Slice(const Participant& participant, size_t number, size_t warmUp)
        : participant_(participant), name_("participant" + std::to_string(number)) {
        benchmark_ = benchmark::RegisterBenchmark(name_.c_str(), [this, warmUp](benchmark::State& state) {
            participant_.blit(warmUp);
            while (state.KeepRunningBatch(state.max_iterations)) {
                const double own = participant_.blit(static_cast<size_t>(state.max_iterations));
                if (participant_.measuresItself)
                    state.SetIterationTime(own);
            }
        });
        if (participant.measuresItself)
            benchmark_->UseManualTime();
    }

    // Seconds of one blit.
    double run(size_t blits) {
        benchmark_->Iterations(static_cast<benchmark::IterationCount>(blits));
        Collector collector;
        collector.expect(participant_.measuresItself);
        benchmark::RunSpecifiedBenchmarks(&collector, "^" + name_ + "/");
        return collector.seconds();
    }
    double run() { return run(blits_); }

    // Finds how many blits fill a slice.
    void calibrate(double sliceSeconds) {
        for (blits_ = 1;;) {
            const double taken = std::max(run(), 1e-9);
            const double wanted = std::max(1.0, sliceSeconds / taken);
            const bool enough = taken * static_cast<double>(blits_) >= sliceSeconds / 8;
            blits_ =
                static_cast<size_t>(enough ? wanted : std::min(wanted, static_cast<double>(blits_) * 64));
            if (enough)
                return;
        }
    }

private:
    const Participant& participant_;
    std::string name_;
    benchmark::internal::Benchmark* benchmark_;
    size_t blits_ = 1;
};

Error errorOf(Case& c, const Participant& p) {
    c.resetDestination();
    p.blit(1); // a participant's first blit draws the first image
    return c.error();
}

} // namespace

Figure Figure::of(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    const auto at = [&](double part) {
        const double position = part * static_cast<double>(samples.size() - 1);
        const size_t i = std::min(static_cast<size_t>(position), samples.size() - 1);
        const size_t next = std::min(i + 1, samples.size() - 1);
        return samples[i] + (samples[next] - samples[i]) * (position - static_cast<double>(i));
    };
    return {at(0.25), at(0.5), at(0.75)};
}

std::vector<Result> measure(Case& c, Sdl2Process* sdl2, const Effort& effort) {
    const std::vector<Participant> participants = participantsOf(c, sdl2);
    std::vector<Result> results;
    std::vector<std::unique_ptr<Slice>> slices;
    for (const Participant& p : participants) {
        Result r;
        r.row = c.row.name;
        r.size = c.size.name;
        r.content = name(c.content);
        r.participant = p.name;
        r.kind = p.kind;
        r.note = p.note ? p.note : "";
        r.pixels = static_cast<double>(c.size.pixels());
        r.error = errorOf(c, p);
        results.push_back(r);
        slices.push_back(std::make_unique<Slice>(p, slices.size(), c.sets.size()));
        slices.back()->calibrate(effort.sliceSeconds);
    }

    std::vector<std::vector<double>> times(participants.size()), shares(participants.size());
    for (int pass = 0; pass < effort.passes; ++pass) {
        for (size_t i = 0; i < participants.size(); ++i) {
            times[i].push_back(slices[i]->run() * 1e9);
            shares[i].push_back(times.front().back() / times[i].back());
        }
    }
    benchmark::ClearRegisteredBenchmarks();
    for (size_t i = 0; i < results.size(); ++i) {
        results[i].nanoseconds = Figure::of(times[i]);
        results[i].share = Figure::of(shares[i]);
    }
    return results;
}

} // namespace bench
