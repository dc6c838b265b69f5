// SPDX-License-Identifier: Zlib
#include "bench/check.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <fnmatch.h>

namespace bench {

namespace {

constexpr double kEqual = 0.98; // what counts as not behind, in a measurement with noise

// At 800x600, or at the size of a call: how many times as fast as a peer the best target has to be.
struct Promise {
    const char* rows; // patterns, separated by blanks
    const char* peer;
    double ratio;
};

constexpr const char* kOntoRgb16 = "argb32_rgb16 rgba32_rgb16 bgra32_rgb16 abgr32_rgb16";
constexpr const char* kOntoRgb16Constant = "argb32_rgb16@* rgba32_rgb16@*";
constexpr const char* kLine = "%-28s %-10s %-7s %-32s %7.2f %7s %7s  %s\n";

constexpr Promise kPromises[] = {
    {"argb32", "blend2d", 1.1},
    {"argb32", "SDL 3", 1.5},
    {"argb32@*", "blend2d", 1.3},
    {"argb32@*", "SDL 2", 20},
    {"rgba32_argb32 bgra32_argb32 abgr32_argb32", "SDL 3", 1.7},
    {"argb32 argb32@* rgba32_argb32 bgra32_argb32 abgr32_argb32", "limit", 0.85},
    {kOntoRgb16, "libyuv", 6},
    {kOntoRgb16, "SDL 3", 14},
    {kOntoRgb16, "limit", 0.65},
    {kOntoRgb16Constant, "libyuv", 8},
    {kOntoRgb16Constant, "SDL 2", 70},
    {kOntoRgb16Constant, "limit", 0.65},
    {"rgb16@100", "SDL 2", 8},
    {"rgb16@100", "limit", 0.80},
    {"rgb16 argb32+copy", "libyuv", 0.98},
    {"rgb16 argb32+copy", "memmove", 0.98},
    {"rgb16 argb32+copy", "limit", 0.95},
    {"rgb24_rgb16 bgr24_rgb16", "libyuv", 5},
    {"rgb24_rgb16 bgr24_rgb16", "limit", 0.85},
    {"rgb24_rgb16@* bgr24_rgb16@*", "libyuv", 7},
    {"rgb24_rgb16@* bgr24_rgb16@*", "limit", 0.80},
    {"fallback_mask_argb32_argb32", "blend2d", 2.2},
    {"fallback_mask_argb32_argb32", "limit", 0.85},
    {"fallback_mask_argb32_rgb16", "libyuv", 4},
    {"fallback_mask_argb32_rgb16", "limit", 0.45},
    {"fallback_argb32_rgb15", "libyuv", 2},
    {"fallback_argb32_rgb24", "libyuv", 1},
    {"fallback_rgb16_argb32", "libyuv", 1},
    {"fallback_rgb24_argb32", "libyuv", 0.8},
};

bool matches(const std::string& row, std::string patterns) {
    for (size_t end; !patterns.empty(); patterns.erase(0, end + (end < patterns.size()))) {
        end = std::min(patterns.find(' '), patterns.size());
        if (fnmatch(patterns.substr(0, end).c_str(), row.c_str(), 0) == 0)
            return true;
    }
    return false;
}

class Checker {
public:
    explicit Checker(const Report& report) : report_(report) {
        std::printf("\n%-28s %-10s %-7s %-32s %7s %7s %7s\n", "row", "size", "content", "ratio", "needed",
                    "seen", "limit's");
    }

    void promises() {
        for (const Promise& p : kPromises)
            for (const Result& r : report_.results)
                if (r.kind == Kind::kLimit && r.size == "800x600" && matches(r.row, p.rows))
                    compare(r, best(r), p.peer, p.ratio);
    }

    // At other sizes the best target is behind no peer.
    void sizes() {
        for (const Result& r : report_.results)
            if (r.kind == Kind::kLimit && r.size != "800x600")
                compare(r, best(r), fastest(r, true), kEqual);
    }

    void calls() {
        for (const Result& r : report_.results)
            if (r.participant == "SDL 1.2" && (r.size == "1x1" || r.size == "16x16"))
                compare(r, best(r), "SDL 1.2", r.size == "1x1" ? 0.5 : 5);
    }

    // AVX2 alone beats whoever does the same work; the lesser targets lose to nothing in SDL 1.2.
    void targets() {
        for (const Result& r : report_.results) {
            if (r.kind != Kind::kLimit || r.size != "800x600")
                continue;
            const Row* row = rowNamed(r.row);
            compare(r, named(r, "ormsel avx2"), fastest(r, false),
                    row && row->readsDestination() ? 1 : kEqual);
            for (const char* target : {"ormsel sse4", "ormsel scalar"})
                compare(r, named(r, target), "SDL 1.2", 1);
        }
    }

    // A constant alpha on top of the pixels' own costs at most 15 % more than none. Both move the same
    // memory, so their shares of the limit, each from its own passes, can be compared.
    void constantAlpha() {
        for (const Result& r : report_.results) {
            const Row* row = rowNamed(r.row);
            if (r.kind != Kind::kLimit || r.size != "800x600" || !row || row->rule != kPixelAlpha ||
                row->alpha == 255)
                continue;
            Result plain = r;
            plain.row = r.row.substr(0, r.row.find('@'));
            if (const Result* with = best(r), *without = best(plain); with && without)
                print(r, with->participant + " by C 255", 1 / 1.15,
                      with->share.median / without->share.median);
        }
    }

    int failed() const { return failed_; }
    int met() const { return met_; }

private:
    static bool sameCase(const Result& a, const Result& b) {
        return a.row == b.row && a.size == b.size && a.content == b.content;
    }

    const Result* named(const Result& r, const std::string& participant) const {
        return report_.find(r.row, r.size, r.content, participant);
    }
    const Result* best(const Result& r) const { return named(r, "ormsel " + report_.bestTarget()); }

    // The fastest peer of a case; with or without those that get their source premultiplied.
    std::string fastest(const Result& r, bool premultiplied) const {
        const Result* found = nullptr;
        for (const Result& each : report_.results)
            if (sameCase(each, r) &&
                (each.kind == Kind::kStraight || (premultiplied && each.kind == Kind::kPremultiplied)) &&
                (!found || each.share.median > found->share.median))
                found = &each;
        return found ? found->participant : "";
    }

    void compare(const Result& r, const Result* ours, const std::string& peer, double needed) {
        if (!ours)
            return;
        if (const Result* other = named(r, peer)) {
            print(r, ours->participant + " / " + peer, needed, ours->share.median / other->share.median,
                  named(r, "limit") ? 1 / other->share.median : 0);
        } else if (peer == "blend2d" || peer == "SDL 3") {
            std::printf(kLine, r.row.c_str(), r.size.c_str(), r.content.c_str(),
                        (ours->participant + " / " + peer).c_str(), needed, "", "", "not packaged");
        }
    }

    void print(const Result& r, const std::string& what, double needed, double seen, double limit = 0) {
        const bool good = seen >= needed;
        ++(good ? met_ : failed_);
        char seenText[16], limitText[16] = "";
        std::snprintf(seenText, sizeof seenText, "%.2f", seen);
        if (limit > 0)
            std::snprintf(limitText, sizeof limitText, "%.2f", limit);
        std::printf(kLine, r.row.c_str(), r.size.c_str(), r.content.c_str(), what.c_str(), needed, seenText,
                    limitText,
                    good                          ? ""
                    : limit > 0 && limit < needed ? "NOT MET, nor by the limit"
                                                  : "NOT MET");
    }

    const Report& report_;
    int failed_ = 0, met_ = 0;
};

} // namespace

int printCheck(const Report& report) {
    Checker checker(report);
    checker.promises();
    checker.constantAlpha();
    checker.calls();
    checker.sizes();
    checker.targets();
    std::printf("\n%d met, %d not met\n", checker.met(), checker.failed());
    return checker.failed();
}

int printComparison(const Report& old, const Report& now) {
    if (old.machine.processor != now.machine.processor)
        std::printf("\nThe older report is from another processor: %s\n", old.machine.processor.c_str());
    int slower = 0, compared = 0;
    std::printf("\n");
    for (const Result& r : now.results) {
        const Result* before = old.find(r.row, r.size, r.content, r.participant);
        if (r.kind != Kind::kOurs || !before)
            continue;
        // What the case itself can't tell apart: its reference against itself, and both spreads.
        double noise = 0.02 + r.share.spread() + before->share.spread();
        for (const Report* report : {&old, &now})
            for (const Result& control : report->results)
                if (control.kind == Kind::kControl && control.row == r.row && control.size == r.size &&
                    control.content == r.content)
                    noise += std::abs(control.share.median - 1);
        const double kept = r.share.median / before->share.median;
        ++compared;
        if (kept >= 1 - noise)
            continue;
        ++slower;
        std::printf("slower: %-28s %-10s %-7s %-16s %5.1f %% lost (noise %.1f %%)\n", r.row.c_str(),
                    r.size.c_str(), r.content.c_str(), r.participant.c_str(), 100 * (1 - kept), 100 * noise);
    }
    std::printf("%d of %d results are slower than before by more than their noise\n", slower, compared);
    return slower;
}

} // namespace bench
