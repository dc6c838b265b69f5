// SPDX-License-Identifier: Zlib
#include "bench/report.h"

#include <algorithm>

#include <fmt/format.h>

namespace bench {

namespace {

// What our target is compared with, beside a participant's name.
constexpr const char* kFastest = "fastest peer";             // of all
constexpr const char* kFastestStraight = "fastest straight"; // of those that do the same work
constexpr const char* kOpaqueConstant = "itself by C 255";   // the same row without constant alpha

constexpr double kEqual = 0.98; // what counts as not behind, in a measurement with noise

constexpr const char* kOntoRgb16 = "argb32_rgb16 rgba32_rgb16 bgra32_rgb16 abgr32_rgb16";
constexpr const char* kOntoRgb16Constant = "argb32_rgb16@* rgba32_rgb16@* bgra32_rgb16@* abgr32_rgb16@*";
constexpr const char* kOntoArgb32 = "argb32 argb32@* ????32_argb32 ????32_argb32@*";
constexpr const char* kConversions = "rgb16 rgb24_rgb16 bgr24_rgb16 argb32+copy fallback_rgb*";
constexpr const char* kBlends = "* !rgb16 !rgb24_rgb16 !bgr24_rgb16 !argb32+copy !fallback_rgb*";
constexpr const char* kHasSdl12 = "* !fallback_mask* !argb32@* !????32_*@*";

// In every case of these rows and sizes, our target is at least `ratio` times as fast as the peer.
struct Promise {
    const char *rows, *sizes; // patterns
    const char* target;       // "best": the processor's
    const char* peer;
    double ratio;
};

constexpr Promise kPromises[] = {
    {kOntoArgb32, "800x600", "best", "limit", 0.85},
    {"argb32@*", "800x600", "best", "SDL 2", 20},
    {kOntoRgb16, "800x600", "best", "libyuv", 6},
    {kOntoRgb16, "800x600", "best", "limit", 0.65},
    {kOntoRgb16Constant, "800x600", "best", "libyuv", 8},
    {kOntoRgb16Constant, "800x600", "best", "SDL 2", 70},
    {kOntoRgb16Constant, "800x600", "best", "limit", 0.65},
    {"rgb16@100", "800x600", "best", "SDL 2", 8},
    {"rgb16@*", "800x600", "best", "limit", 0.80},
    {"rgb16 argb32+copy", "800x600", "best", "libyuv", kEqual},
    {"rgb16 argb32+copy", "800x600", "best", "memmove", kEqual},
    {"rgb16 argb32+copy", "800x600", "best", "limit", 0.95},
    {"rgb24_rgb16 bgr24_rgb16", "800x600", "best", "libyuv", 5},
    {"rgb24_rgb16 bgr24_rgb16", "800x600", "best", "limit", 0.85},
    {"rgb24_rgb16@* bgr24_rgb16@*", "800x600", "best", "libyuv", 7},
    {"rgb24_rgb16@* bgr24_rgb16@*", "800x600", "best", "limit", 0.80},
    {"fallback_mask_argb32_argb32", "800x600", "best", "limit", 0.85},
    {"fallback_mask_argb32_rgb16", "800x600", "best", "libyuv", 4},
    {"fallback_mask_argb32_rgb16", "800x600", "best", "limit", 0.45},
    {"fallback_argb32_rgb15", "800x600", "best", "libyuv", 2},
    {"fallback_argb32_rgb24", "800x600", "best", "libyuv", 1},
    {"fallback_rgb16_argb32", "800x600", "best", "libyuv", 1},
    {"fallback_rgb24_argb32", "800x600", "best", "libyuv", 0.8},
    // A constant alpha on top of the pixels' own costs at most 15 % more than none.
    {"argb32@* ????32_*@*", "800x600", "best", kOpaqueConstant, 1 / 1.15},
    {"call*", "1x1", "best", "SDL 1.2", 0.5},
    {"call*", "16x16", "best", "SDL 1.2", 5},
    {"*", "64x64 3840x2160", "best", kFastest, kEqual},
    // AVX2 alone beats whoever does the same work; the lesser targets lose to nothing in SDL 1.2.
    {kBlends, "800x600", "avx2", kFastestStraight, 1},
    {kConversions, "800x600", "avx2", kFastestStraight, kEqual},
    {kHasSdl12, "800x600", "sse4", "SDL 1.2", 1},
    {kHasSdl12, "800x600", "scalar", "SDL 1.2", 1},
};

// Who `what` is, in this case or (kOpaqueConstant) in the one of the row without constant alpha. Both move
// the same memory, so that their shares of the limit can be compared.
const Result* peerOf(const Report& report, const CaseReport& c, const std::string& what, const Result* ours) {
    if (what == kOpaqueConstant) {
        const CaseReport* plain = report.find(c.row.substr(0, c.row.find('@')), c.size, c.content);
        return plain && ours ? plain->find(ours->participant) : nullptr;
    }
    if (what != kFastest && what != kFastestStraight)
        return c.find(what);
    const Result* fastest = nullptr;
    for (const Result& r : c.results)
        if ((r.kind == kStraight || (r.kind == kPremultiplied && what == kFastest)) &&
            (!fastest || r.share.median > fastest->share.median))
            fastest = &r;
    return fastest;
}

Verdict judge(const Report& report, const CaseReport& c, const Promise& p) {
    const std::string target = std::string(p.target) == "best" ? report.targets.front() : p.target;
    const Result* ours = c.find("ormsel " + target);
    const Result* peer = peerOf(report, c, p.peer, ours);
    const bool itself = p.peer == kOpaqueConstant;
    Verdict v = {c.row, c.size, c.content, "", p.ratio};
    v.what = fmt::format("ormsel {} / {}", target, peer && !itself ? peer->participant : p.peer);
    if (!ours || !peer)
        return v;
    v.seen = ours->share.median / peer->share.median;
    v.limit = c.picture() && !itself ? 1 / peer->share.median : 0;
    v.state = v.seen >= v.needed ? kMet : v.limit > 0 && v.limit < v.needed ? kNotByLimit : kNotMet;
    return v;
}

} // namespace

std::vector<Verdict> verdictsOf(const Report& report) {
    std::vector<Verdict> verdicts;
    for (const Promise& p : kPromises) {
        const size_t before = verdicts.size();
        for (const CaseReport& c : report.cases)
            if (listed(p.rows, c.row) && listed(p.sizes, c.size))
                verdicts.push_back(judge(report, c, p));
        if (verdicts.size() == before)
            verdicts.push_back({p.rows, p.sizes, "", fmt::format("ormsel {} / {}", p.target, p.peer), p.ratio,
                                0, 0, kNotMeasured});
    }
    return verdicts;
}

size_t count(const std::vector<Verdict>& verdicts, const std::string& beginning) {
    return static_cast<size_t>(std::count_if(
        verdicts.begin(), verdicts.end(), [&](const Verdict& v) { return v.state.starts_with(beginning); }));
}

size_t printCheck(const Report& report) {
    fmt::print("\n{:<28} {:<10} {:<7} {:<32} {:>7} {:>7} {:>7}\n", "row", "size", "content", "ratio",
               "needed", "seen", "limit's");
    const std::vector<Verdict> verdicts = verdictsOf(report);
    const auto number = [](double value) { return value > 0 ? fmt::format("{:.2f}", value) : ""; };
    for (const Verdict& v : verdicts)
        fmt::print("{:<28} {:<10} {:<7} {:<32} {:>7.2f} {:>7} {:>7}  {}\n", v.row, v.size, v.content, v.what,
                   v.needed, number(v.seen), number(v.limit), v.state == kMet ? "" : v.state);
    fmt::print("\n{} met, {} not met; {} with a participant missing, {} promises not measured\n",
               count(verdicts, kMet), count(verdicts, kNotMet), count(verdicts, kMissing),
               count(verdicts, kNotMeasured));
    return count(verdicts, kNotMet);
}

size_t printComparison(const Report& old, const Report& now) {
    if (old.processor != now.processor)
        fmt::print("\nThe older report is from another processor: {}\n", old.processor);
    size_t slower = 0, compared = 0;
    fmt::print("\n");
    for (const CaseReport& c : now.cases) {
        const CaseReport* oldCase = old.find(c.row, c.size, c.content);
        for (const Result& r : c.results) {
            const Result* before = oldCase ? oldCase->find(r.participant) : nullptr;
            if (r.kind != kOurs || !before)
                continue;
            // What the case itself can't tell apart: its reference against itself, and both spreads.
            const double noise =
                0.02 + r.share.spread() + before->share.spread() + c.noise() + oldCase->noise();
            const double kept = r.share.median / before->share.median;
            ++compared;
            if (kept >= 1 - noise)
                continue;
            ++slower;
            fmt::print("slower: {:<28} {:<10} {:<7} {:<16} {:>5.1f} % lost (noise {:.1f} %)\n", c.row, c.size,
                       c.content, r.participant, 100 * (1 - kept), 100 * noise);
        }
    }
    fmt::print("{} of {} results are slower than before by more than their noise\n", slower, compared);
    return slower;
}

} // namespace bench
