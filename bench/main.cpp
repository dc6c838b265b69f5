// SPDX-License-Identifier: Zlib
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include <benchmark/benchmark.h>
#include <fnmatch.h>
#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "bench/check.h"
#include <ormsel/ormsel_target.h>

namespace {

using namespace bench;

constexpr const char* kUsage = R"(Usage: ormsel-bench [OPTION]...
Measures Ormsel's routines beside other libraries and the memory's own limit.

  --rows PATTERN   only rows that match, for example 'argb32*'; several with commas
  --sizes LIST     of 64x64, 800x600, 3840x2160 and call, with commas; all without this option
  --quick          800x600 and calls only, with few passes
  --passes N       passes of each case
  --json FILE      write all figures
  --charts DIR     draw charts (needs gnuplot)
  --check          compare with what the library promises
  --compare FILE   compare with the figures of an earlier --json; exit status 1 when a row lost more than its noise
  --from FILE      take the figures of an earlier --json instead of measuring
  --list           name the rows
  --help           this text
)";

struct Options {
    std::string rowPatterns = "*", sizeNames = "64x64,800x600,3840x2160,call", json, charts, compare, from;
    bool quick = false, check = false, list = false, help = false;
    int passes = 0;
};

bool parse(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        std::string* text = option == "--rows"      ? &o.rowPatterns
                            : option == "--sizes"   ? &o.sizeNames
                            : option == "--json"    ? &o.json
                            : option == "--charts"  ? &o.charts
                            : option == "--compare" ? &o.compare
                            : option == "--from"    ? &o.from
                                                    : nullptr;
        bool* flag = option == "--quick"   ? &o.quick
                     : option == "--check" ? &o.check
                     : option == "--list"  ? &o.list
                     : option == "--help"  ? &o.help
                                           : nullptr;
        if (flag)
            *flag = true;
        else if (i + 1 == argc)
            return false;
        else if (text)
            *text = argv[++i];
        else if (option == "--passes" && (o.passes = std::atoi(argv[++i])) > 0)
            continue;
        else
            return false;
    }
    if (o.quick)
        o.sizeNames = "800x600,call";
    return true;
}

bool listed(const std::string& list, const std::string& name) {
    std::istringstream in(list);
    for (std::string pattern; std::getline(in, pattern, ',');)
        if (fnmatch(pattern.c_str(), name.c_str(), 0) == 0)
            return true;
    return false;
}

struct Plan {
    const Row* row;
    const Size* size;
    Content content;
};

std::vector<Plan> planOf(const Options& o) {
    std::vector<Plan> plan;
    for (const Row& row : rows) {
        if (!listed(o.rowPatterns, row.name))
            continue;
        for (const Size& size : row.call ? callSizes : pictureSizes)
            if (listed(o.sizeNames, row.call ? "call" : size.name))
                for (const Content content : contentsOf(row))
                    plan.push_back({&row, &size, content});
    }
    return plan;
}

// One core, the last one that we may use: the first ones tend to serve interrupts.
void pin() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return;
    for (int core = CPU_SETSIZE - 1; core >= 0; --core) {
        if (CPU_ISSET(core, &allowed)) {
            CPU_ZERO(&allowed);
            CPU_SET(core, &allowed);
            sched_setaffinity(0, sizeof allowed, &allowed);
            return;
        }
    }
}

std::string processorName() {
    std::ifstream in("/proc/cpuinfo");
    for (std::string line; std::getline(in, line);)
        if (line.rfind("model name", 0) == 0)
            return line.substr(line.find(':') + 2);
    return "unknown";
}

Machine describeMachine(const Sdl2Process* sdl2) {
    Machine m;
    m.processor = processorName() + ", " + ormsel_TargetName();
    for (const auto& cache : benchmark::CPUInfo::Get().caches)
        if (cache.type != "Instruction")
            m.caches += (m.caches.empty() ? "" : ", ") + std::string("L") + std::to_string(cache.level) +
                        " " + std::to_string(cache.size / 1024) + " KiB";
    utsname system;
    uname(&system);
    m.system = std::string(system.sysname) + " " + system.machine;
#if defined(__clang__)
    m.compiler = "clang " __clang_version__;
#else
    m.compiler = "g++ " __VERSION__;
#endif
    m.libraries = libraryVersions() + (sdl2 ? ", SDL " + sdl2->version() + " in its own process" : "");
    return m;
}

std::unique_ptr<Sdl2Process> startSdl2(const SharedMemory& memory) {
    try {
        const auto self = std::filesystem::read_symlink("/proc/self/exe");
        return std::make_unique<Sdl2Process>(self.parent_path() / "ormsel-bench-sdl2", memory);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "SDL 2 is left out: %s\n", e.what());
        return nullptr;
    }
}

class Progress {
public:
    explicit Progress(size_t total) : total_(total) {}
    void show(const Plan& p) {
        const long spent = static_cast<long>(std::time(nullptr) - start_);
        const long left = done_ ? spent * static_cast<long>(total_ - done_) / static_cast<long>(done_) : 0;
        if (isatty(STDERR_FILENO))
            std::fprintf(stderr, "\r\033[K[%zu/%zu] %s %s %s, about %ld s left", done_ + 1, total_,
                         p.row->name, p.size->name, name(p.content), left);
        ++done_;
    }
    void clear() const {
        if (isatty(STDERR_FILENO))
            std::fprintf(stderr, "\r\033[K");
    }

private:
    size_t total_, done_ = 0;
    std::time_t start_ = std::time(nullptr);
};

Report measureAll(const Options& o) {
    const std::vector<Plan> plan = planOf(o);
    if (plan.empty())
        throw std::runtime_error("no row of that name in that size (--list names the rows)");
    pin();
    SharedMemory memory;
    const std::unique_ptr<Sdl2Process> sdl2 = startSdl2(memory);
    Report report;
    report.machine = describeMachine(sdl2.get());
    printMachine(report.machine);
    Progress progress(plan.size());
    for (const Plan& p : plan) {
        progress.show(p);
        Case c(*p.row, *p.size, p.content, memory);
        const bool large = p.size->pixels() > 1000000;
        const int passes = o.passes ? o.passes : o.quick ? 7 : large ? 9 : 21;
        const std::vector<Result> results = measure(c, sdl2.get(), {o.quick ? 2e-3 : 4e-3, passes});
        progress.clear();
        printCase(results, p.row->why);
        report.results.insert(report.results.end(), results.begin(), results.end());
    }
    return report;
}

int run(const Options& o) {
    std::optional<Report> report, old;
    if (!o.compare.empty() && !(old = readJson(o.compare)))
        throw std::runtime_error("can't read " + o.compare);
    report = o.from.empty() ? measureAll(o) : readJson(o.from);
    if (!report)
        throw std::runtime_error("can't read " + o.from);
    printNoise(*report);
    if (!o.json.empty() && !writeJson(*report, o.json))
        throw std::runtime_error("can't write " + o.json);
    if (!o.charts.empty()) {
        std::filesystem::create_directories(o.charts);
        if (!drawCharts(*report, o.charts))
            throw std::runtime_error("gnuplot failed");
    }
    int failed = o.check ? printCheck(*report) : 0;
    if (old)
        failed += printComparison(*old, *report);
    return failed ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    if (options.help) {
        std::fputs(kUsage, stdout);
        return EXIT_SUCCESS;
    }
    if (options.list) {
        for (const Row& row : rows)
            std::printf("%s\n", row.name);
        return EXIT_SUCCESS;
    }
    try {
        return run(options);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "ormsel-bench: %s\n", e.what());
        return 2;
    }
}
