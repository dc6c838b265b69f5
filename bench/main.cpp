// SPDX-License-Identifier: Zlib
#include <cstdio>
#include <ctime>
#include <exception>
#include <fstream>
#include <optional>

#include <CLI/CLI.hpp>
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <sched.h>
#include <unistd.h>

#include "bench/report.h"
#include <ormsel/ormsel_target.h>

namespace {

using namespace bench;

struct Options {
    std::string rows = "*", sizes = "*", json, charts, page, compare, from;
    bool quick = false, check = false, list = false;
    int passes = 0;

    void declare(CLI::App& app) {
        app.add_option("--rows", rows, "only rows that match, for example 'argb32*'; several with commas");
        app.add_option("--sizes", sizes, "of 64x64, 800x600, 3840x2160, call and tiles, with commas");
        app.add_flag("--quick", quick, "800x600, calls and tiles only, with few passes");
        app.add_option("--passes", passes, "passes of each case")->check(CLI::PositiveNumber);
        app.add_option("--json", json, "write all figures");
        app.add_option("--charts", charts, "draw charts into a directory (needs gnuplot)");
        app.add_option("--page", page, "write the figures as docs/performance.md shows them");
        app.add_flag("--check", check, "compare with what the library promises");
        app.add_option(
            "--compare", compare,
            "compare with the figures of an earlier --json; exit status 1 when a case lost more than "
            "its noise");
        app.add_option("--from", from, "take the figures of an earlier --json instead of measuring");
        app.add_flag("--list", list, "name the rows");
    }
};

struct Plan {
    const Row* row;
    const Size* size;
    const char* content;
};

std::vector<Plan> planOf(const Options& o) {
    std::vector<Plan> plan;
    for (const Row& row : allRows())
        for (const Size& size : sizesOf(row.shape))
            for (const char* content : {kSprite, kRandom})
                if (listed(o.rows, row.name) &&
                    listed(o.quick ? "800x600,call,tiles" : o.sizes, size.group) &&
                    (row.hasAlpha() || content == kRandom))
                    plan.push_back({&row, &size, content});
    return plan;
}

// One core, the last one that we may use: the first ones tend to serve interrupts.
void pin() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return;
    int core = CPU_SETSIZE - 1;
    while (core > 0 && !CPU_ISSET(core, &allowed))
        --core;
    CPU_ZERO(&allowed);
    CPU_SET(core, &allowed);
    sched_setaffinity(0, sizeof allowed, &allowed);
}

std::string processorName() {
    std::ifstream in("/proc/cpuinfo");
    for (std::string line; std::getline(in, line);)
        if (line.rfind("model name", 0) == 0)
            return line.substr(line.find(':') + 2);
    return "unknown";
}

Report emptyReport() {
    Report r;
    r.processor = processorName();
    for (const auto& cache : benchmark::CPUInfo::Get().caches)
        if (cache.type != "Instruction")
            r.caches +=
                fmt::format("{}L{} {} KiB", r.caches.empty() ? "" : ", ", cache.level, cache.size / 1024);
    r.system = BENCH_SYSTEM;
    r.compiler = BENCH_COMPILER;
    r.libraries = libraryVersions();
    for (const char* const* target = ormsel_Targets(); *target; ++target)
        r.targets.emplace_back(*target);
    return r;
}

void showProgress(const Plan& p, size_t done, size_t total, std::time_t start) {
    if (!isatty(STDERR_FILENO))
        return;
    const auto spent = static_cast<size_t>(std::time(nullptr) - start);
    fmt::print(stderr, "\r\033[K[{}/{}] {} {} {}, about {} s left\r", done + 1, total, p.row->name,
               p.size->name, p.content, done ? spent * (total - done) / done : 0);
}

Report measureAll(const Options& o) {
    const std::vector<Plan> plan = planOf(o);
    if (plan.empty())
        throw std::runtime_error("no row of that name in that size (--list names the rows)");
    pin();
    Report report = emptyReport();
    printMachine(report);
    const std::time_t start = std::time(nullptr);
    for (const Plan& p : plan) {
        showProgress(p, report.cases.size(), plan.size(), start);
        Case c(*p.row, *p.size, p.content);
        const int passes = o.passes ? o.passes : o.quick ? 7 : p.size->pixels() > 1000000 ? 9 : 21;
        report.cases.push_back(measure(c, {o.quick ? 2e-3 : 4e-3, passes}));
        printCase(report.cases.back());
    }
    return report;
}

int run(const Options& o) {
    std::optional<Report> old; // read first: a name that is wrong shall not cost a measurement
    if (!o.compare.empty())
        old = readJson(o.compare);
    const Report report = o.from.empty() ? measureAll(o) : readJson(o.from);
    fmt::print("\nNoise: {}.\n", noiseOf(report));
    if (!o.json.empty())
        writeJson(report, o.json);
    if (!o.charts.empty())
        drawCharts(report, o.charts);
    if (!o.page.empty())
        writePage(report, o.page);
    size_t failed = o.check ? printCheck(report) : 0;
    if (old)
        failed += printComparison(*old, report);
    return failed ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Measures Ormsel's routines beside other libraries and the memory's own limit.",
                 "ormsel-bench");
    Options options;
    options.declare(app);
    try {
        app.parse(argc, argv);
        if (!options.list)
            return run(options);
        for (const Row& row : allRows())
            fmt::print("{}\n", row.name);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) ? 2 : EXIT_SUCCESS;
    } catch (const std::exception& e) {
        fmt::print(stderr, "ormsel-bench: {}\n", e.what());
        return 2;
    }
    return EXIT_SUCCESS;
}
