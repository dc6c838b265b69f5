// SPDX-License-Identifier: Zlib
//
// The figures of a run: how they are measured, and what is made of them.
#pragma once

#include <cmath>

#include "bench/peers.h"

namespace bench {

struct Figure {
    double q1 = 0, median = 0, q3 = 0; // quartiles

    static Figure of(std::vector<double> samples);
    double spread() const { return (q3 - q1) / 2 / median; } // half the middle half, relative
};

struct Result {
    std::string participant, target;
    Kind kind = kOurs;
    Figure nanoseconds; // of one blit
    Figure share;       // the reference's time by this one's, pass by pass
    Error error;
};

struct CaseReport {
    std::string row, size, content;
    double pixels = 0;           // of one blit
    std::vector<Result> results; // the first is the reference, the last the same again

    const Result* find(std::string_view participant) const;
    bool picture() const { return results.front().kind == kLimit; }
    // Megapixels in a second; for calls and tiles nanoseconds.
    double figure(const Result& r) const {
        return picture() ? pixels * 1e3 / r.nanoseconds.median : r.nanoseconds.median;
    }
    double noise() const { return std::abs(results.back().share.median - 1); } // the reference beside itself
};

struct Report {
    std::string processor, caches, system, compiler, libraries;
    std::vector<std::string> targets; // best first
    std::vector<CaseReport> cases;

    const CaseReport* find(const std::string& row, const std::string& size, const std::string& content) const;
};

// Runs each participant for so long in each of the passes.
CaseReport measure(Case& c, double sliceSeconds, int passes);

void printMachine(const Report& report);
void printCase(const CaseReport& c);
std::string noiseOf(const Report& report); // of all cases, in words
void writeJson(const Report& report, const std::string& file);
Report readJson(const std::string& file);

// What the library promises about its speed, and whether the report keeps it.
inline constexpr const char *kMet = "met", *kNotMet = "NOT MET", *kNotByLimit = "NOT MET, nor by the limit",
                            *kMissing = "MISSING: one of the two can't draw this here",
                            *kNotMeasured = "not measured in this run";
struct Verdict {
    std::string row, size, content, what, state;
    double needed = 0, seen = 0;
    double limit = 0; // what the limit itself would reach, or 0
};
std::vector<Verdict> verdictsOf(const Report& report);
size_t count(const std::vector<Verdict>& verdicts, const std::string& state); // or how it begins
size_t printCheck(const Report& report);                                      // the number of those not met

// Prints the cases that are slower than in an older report by more than their noise; their number. Compared
// is the share of the reference, so that another clock or load doesn't count.
size_t printComparison(const Report& old, const Report& now);

std::string number(double value); // three digits, or nothing for 0
// What performance.md.in describes, with the report's figures.
void writePage(const Report& report, const std::string& file);
// SVG and PNG for each size and content, drawn by gnuplot.
void drawCharts(const Report& report, const std::string& directory);

} // namespace bench
