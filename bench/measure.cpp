// SPDX-License-Identifier: Zlib
//
// Every pass runs each participant once, in one order, and ratios are taken inside a pass: a slow second of
// the machine then falls on neighbours alike.
#include <algorithm>
#include <ctime>

#include "bench/report.h"

namespace bench {

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

CaseReport measure(Case& c, double sliceSeconds, int passes) {
    const std::vector<Participant> participants = participantsOf(c);
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

} // namespace bench
