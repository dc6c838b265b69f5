// SPDX-License-Identifier: Zlib
#include <cstdio>
#include <ctime>
#include <fstream>
#include <optional>
#include <tuple>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <sched.h>
#include <unistd.h>

#include "bench/report.h"

using namespace bench;

namespace {

struct Options {
    std::string rows = "*", sizes, json, charts, page, compare, from;
    bool quick = false, check = false, list = false;
    int passes = 0;
};

} // namespace

// One core, the last one that we may use: the first ones tend to serve interrupts.
static void pin() {
    cpu_set_t allowed, one;
    CPU_ZERO(&one);
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return;
    for (int core = CPU_SETSIZE - 1; core >= 0 && CPU_COUNT(&one) == 0; --core)
        if (CPU_ISSET(core, &allowed))
            CPU_SET(core, &one);
    sched_setaffinity(0, sizeof one, &one);
}

static Report reportOfMachine() {
    Report r = {"unknown processor", "", BENCH_SYSTEM, BENCH_COMPILER, libraryVersions(), ourTargets(), {}};
    std::ifstream in("/proc/cpuinfo");
    for (std::string line; std::getline(in, line);)
        if (line.starts_with("model name"))
            r.processor = line.substr(line.find(':') + 2);
    const auto kilobytes = [](int name) { return sysconf(name) / 1024; };
    r.caches = fmt::format("L1 {} KiB, L2 {} KiB, L3 {} KiB", kilobytes(_SC_LEVEL1_DCACHE_SIZE),
                           kilobytes(_SC_LEVEL2_CACHE_SIZE), kilobytes(_SC_LEVEL3_CACHE_SIZE));
    return r;
}

static Report measureAll(const Options& o) {
    const std::string sizes = !o.sizes.empty() ? o.sizes : o.quick ? "800x600,call,tiles" : "*";
    std::vector<std::tuple<const Row*, const Size*, const char*>> plan;
    const std::vector<Row> rows = allRows();
    for (const Row& row : rows)
        for (const Size& size : allSizes())
            for (const char* content : {kSprite, kRandom, kClear})
                if (size.shape == row.shape && listed(o.rows, row.name) && listed(sizes, size.group) &&
                    (row.hasAlpha() || content == kRandom) && (size.limitsPeers || content != kClear))
                    plan.emplace_back(&row, &size, content);
    if (plan.empty())
        throw std::runtime_error("no row of that name in that size (--list names the rows)");
    pin();
    Report report = reportOfMachine();
    printMachine(report);
    const auto progress = [terminal = isatty(STDERR_FILENO)](const std::string& text) {
        fmt::print(stderr, "{}{}", terminal ? "\r\033[K" : "", terminal ? text : "");
    };
    const std::time_t start = std::time(nullptr);
    for (const auto& [row, size, content] : plan) {
        const size_t done = report.cases.size(), left = plan.size() - done;
        const auto spent = static_cast<size_t>(std::time(nullptr) - start);
        progress(fmt::format("[{}/{}] {} {} {}, about {} s left", done + 1, plan.size(), row->name,
                             size->name, content, done ? spent * left / done : 0));
        Case c(*row, *size, content);
        const int passes = o.passes ? o.passes : o.quick ? 7 : size->pixels() > 1000000 ? 9 : 21;
        report.cases.push_back(measure(c, o.quick ? 2e-3 : 4e-3, passes));
        progress("");
        printCase(report.cases.back());
    }
    return report;
}

static int run(const Options& o) {
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

static int parseAndRun(int argc, char** argv) {
    CLI::App app("Measures Ormsel's routines beside other libraries and the memory's own limit.");
    Options o;
    app.add_option("--rows", o.rows, "only rows that match, for example 'argb32*'; several with commas");
    app.add_option("--sizes", o.sizes, "of 64x64, 800x600, 3840x2160, call and tiles, with commas");
    app.add_flag("--quick", o.quick, "few passes, and without --sizes only 800x600, call and tiles");
    app.add_option("--passes", o.passes, "passes of each case")->check(CLI::PositiveNumber);
    app.add_option("--json", o.json, "write all figures to this file");
    app.add_option("--charts", o.charts, "draw charts into this directory (needs gnuplot)");
    app.add_option("--page", o.page, "write docs/performance.md with these figures");
    app.add_flag("--check", o.check, "compare with what the library promises; exit status 1 when not met");
    app.add_option("--compare", o.compare, "an earlier --json; exit status 1 when a case got slower");
    app.add_option("--from", o.from, "take the figures of an earlier --json instead of measuring");
    app.add_flag("--list", o.list, "name the rows");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) ? 2 : EXIT_SUCCESS;
    }
    for (const Row& row : allRows())
        if (o.list)
            fmt::print("{}\n", row.name);
    return o.list ? EXIT_SUCCESS : run(o);
}

int main(int argc, char** argv) {
    try {
        return parseAndRun(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "ormsel-bench: %s\n", e.what());
        return 2;
    }
}
