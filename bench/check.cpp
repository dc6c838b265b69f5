// SPDX-License-Identifier: Zlib
#include "bench/report.h"

#include <algorithm>
#include <string_view>

#include <fmt/format.h>

namespace bench {

namespace {

constexpr std::string_view kBest = "best"; // the processor's
// What our target is compared with, beside a participant's name.
constexpr std::string_view kFastest = "fastest peer";             // of all
constexpr std::string_view kFastestStraight = "fastest straight"; // of those that do the same work
constexpr std::string_view kOpaqueConstant = "itself by C 255";   // the same row without constant alpha

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
    std::string_view target, peer;
    double ratio;
};

constexpr Promise kPromises[] = {
    {kOntoArgb32, "800x600", kBest, "limit", 0.85},
    {"argb32@*", "800x600", kBest, "SDL 2", 20},
    {kOntoRgb16, "800x600", kBest, "libyuv", 6},
    {kOntoRgb16, "800x600", kBest, "limit", 0.65},
    {kOntoRgb16Constant, "800x600", kBest, "libyuv", 8},
    {kOntoRgb16Constant, "800x600", kBest, "SDL 2", 70},
    {kOntoRgb16Constant, "800x600", kBest, "limit", 0.65},
    {"rgb16@100", "800x600", kBest, "SDL 2", 8},
    {"rgb16@*", "800x600", kBest, "limit", 0.80},
    {"rgb16 argb32+copy", "800x600", kBest, "libyuv", kEqual},
    {"rgb16 argb32+copy", "800x600", kBest, "memmove", kEqual},
    {"rgb16 argb32+copy", "800x600", kBest, "limit", 0.95},
    {"rgb24_rgb16 bgr24_rgb16", "800x600", kBest, "libyuv", 5},
    {"rgb24_rgb16 bgr24_rgb16", "800x600", kBest, "limit", 0.85},
    {"rgb24_rgb16@* bgr24_rgb16@*", "800x600", kBest, "libyuv", 7},
    {"rgb24_rgb16@* bgr24_rgb16@*", "800x600", kBest, "limit", 0.80},
    {"fallback_mask_argb32_argb32", "800x600", kBest, "limit", 0.85},
    {"fallback_mask_argb32_rgb16", "800x600", kBest, "libyuv", 4},
    {"fallback_mask_argb32_rgb16", "800x600", kBest, "limit", 0.45},
    {"fallback_argb32_rgb15", "800x600", kBest, "libyuv", 2},
    {"fallback_argb32_rgb24", "800x600", kBest, "libyuv", 1},
    {"fallback_rgb16_argb32", "800x600", kBest, "libyuv", 1},
    {"fallback_rgb24_argb32", "800x600", kBest, "libyuv", 0.8},
    // A constant alpha on top of the pixels' own costs at most 15 % more than none.
    {"argb32@* ????32_*@*", "800x600", kBest, kOpaqueConstant, 1 / 1.15},
    {"call*", "1x1", kBest, "SDL 1.2", 0.5},
    {"call*", "16x16", kBest, "SDL 1.2", 5},
    {"*", "64x64 3840x2160", kBest, kFastest, kEqual},
    // AVX2 alone beats whoever does the same work; the lesser targets lose to nothing in SDL 1.2.
    {kBlends, "800x600", "avx2", kFastestStraight, 1},
    {kConversions, "800x600", "avx2", kFastestStraight, kEqual},
    {kHasSdl12, "800x600", "sse4", "SDL 1.2", 1},
    {kHasSdl12, "800x600", "scalar", "SDL 1.2", 1},
};

// Who `what` is, in this case or (kOpaqueConstant) in the one of the row without constant alpha. Both move
// the same memory, so that their shares of the limit can be compared.
const Result* peerOf(const Report& report, const CaseReport& c, std::string_view what,
                     const std::string& ours) {
    if (what == kOpaqueConstant) {
        const CaseReport* plain = report.find(c.row.substr(0, c.row.find('@')), c.size, c.content);
        return plain ? plain->find(ours) : nullptr;
    }
    const Result* fastest = c.find(what);
    for (const Result& r : c.results)
        if ((r.kind == kStraight && (what == kFastest || what == kFastestStraight)) ||
            (r.kind == kPremultiplied && what == kFastest))
            fastest = !fastest || r.share.median > fastest->share.median ? &r : fastest;
    return fastest;
}

Verdict judge(const Report& report, const CaseReport& c, const Promise& p) {
    const std::string name = fmt::format("ormsel {}", p.target == kBest ? report.targets.front() : p.target);
    const Result *ours = c.find(name), *peer = peerOf(report, c, p.peer, name);
    const bool itself = p.peer == kOpaqueConstant;
    const std::string what = fmt::format("{} / {}", name, peer && !itself ? peer->participant : p.peer);
    Verdict v = {c.row, c.size, c.content, what, kMissing, p.ratio};
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
            verdicts.push_back(
                {p.rows, p.sizes, "", fmt::format("{} / {}", p.target, p.peer), kNotMeasured, p.ratio});
    }
    return verdicts;
}

size_t count(const std::vector<Verdict>& verdicts, const std::string& state) {
    const auto has = [&](const Verdict& v) { return v.state.starts_with(state); };
    return static_cast<size_t>(std::ranges::count_if(verdicts, has));
}

size_t printCheck(const Report& report) {
    const std::vector<Verdict> verdicts = verdictsOf(report);
    const auto line = [](const auto&... words) {
        fmt::print("{:<28} {:<10} {:<7} {:<32} {:>7} {:>7} {:>7}  {}\n", words...);
    };
    line("\nrow", "size", "content", "ratio", "needed", "seen", "limit's", "");
    for (const Verdict& v : verdicts)
        line(v.row, v.size, v.content, v.what, number(v.needed), number(v.seen), number(v.limit), v.state);
    for (const char* state : {kMet, kNotMet, kMissing, kNotMeasured})
        fmt::print("{}: {}\n", state, count(verdicts, state));
    return count(verdicts, kNotMet);
}

size_t printComparison(const Report& old, const Report& now) {
    if (old.processor != now.processor)
        fmt::print("\nThe older report is from another processor: {}\n", old.processor);
    size_t slower = 0, compared = 0;
    for (const CaseReport& c : now.cases)
        for (const Result& r : c.results) {
            const CaseReport* oldCase = old.find(c.row, c.size, c.content);
            const Result* before = oldCase ? oldCase->find(r.participant) : nullptr;
            if (r.kind != kOurs || !before)
                continue;
            // What the case itself can't tell apart: its reference against itself, and both spreads.
            const double noise =
                0.02 + r.share.spread() + before->share.spread() + c.noise() + oldCase->noise();
            const double lost = 1 - r.share.median / before->share.median;
            ++compared;
            slower += lost > noise;
            if (lost > noise)
                fmt::print("slower: {:<28} {:<10} {:<7} {:<16} {:>5.1f} % lost (noise {:.1f} %)\n", c.row,
                           c.size, c.content, r.participant, 100 * lost, 100 * noise);
        }
    fmt::print("{} of {} results are slower than before by more than their noise\n", slower, compared);
    return slower;
}

} // namespace bench
