// SPDX-License-Identifier: Zlib
//
// The results for people and for programs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/measure.h"

namespace bench {

struct Machine {
    std::string processor, caches, system, compiler, libraries;
};

struct Report {
    Machine machine;
    std::vector<Result> results;

    const Result* find(const std::string& row, const std::string& size, const std::string& content,
                       const std::string& participant) const;
    std::string bestTarget() const; // the one that the library chooses: our first in each case
};

const char* name(Kind kind);

void printMachine(const Machine& machine);
void printCase(const std::vector<Result>& results, const char* why);
// How far two measurements of one thing differ, over all cases.
void printNoise(const Report& report);

// JSON with one result on each line; readJson() reads only what writeJson() wrote.
bool writeJson(const Report& report, const std::string& file);
std::optional<Report> readJson(const std::string& file);

// SVG and PNG for each size and content, drawn by gnuplot.
bool drawCharts(const Report& report, const std::string& directory);

} // namespace bench
