// SPDX-License-Identifier: Zlib
#include "bench/report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

namespace bench {

namespace {

constexpr const char* kKinds[] = {"ours", "straight", "premultiplied", "limit", "control"};

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + '"';
}

// The value of a key on a line of our own JSON, without quotes.
std::string valueOf(const std::string& line, const std::string& key) {
    const std::string start = quoted(key) + ": ";
    size_t at = line.find(start);
    if (at == std::string::npos)
        return "";
    at += start.size();
    if (line[at] != '"')
        return line.substr(at, line.find_first_of(",}", at) - at);
    std::string out;
    for (++at; at < line.size() && line[at] != '"'; ++at)
        out += line[at] == '\\' ? line[++at] : line[at];
    return out;
}

double numberOf(const std::string& line, const std::string& key) {
    return std::strtod(valueOf(line, key).c_str(), nullptr);
}

struct ClosePipe {
    void operator()(FILE* f) const { pclose(f); }
};

} // namespace

const char* name(Kind kind) {
    return kKinds[static_cast<size_t>(kind)];
}

const Result* Report::find(const std::string& row, const std::string& size, const std::string& content,
                           const std::string& participant) const {
    for (const Result& r : results)
        if (r.row == row && r.size == size && r.content == content && r.participant == participant)
            return &r;
    return nullptr;
}

std::string Report::bestTarget() const {
    for (const Result& r : results)
        if (r.kind == Kind::kOurs)
            return r.participant.substr(r.participant.find(' ') + 1);
    return "";
}

void printMachine(const Machine& m) {
    std::printf("Processor  %s\nCaches     %s\nSystem     %s\nCompiler   %s\nLibraries  %s\n",
                m.processor.c_str(), m.caches.c_str(), m.system.c_str(), m.compiler.c_str(),
                m.libraries.c_str());
    std::printf(
        "Not measured: blend2d and SDL 3, which Debian does not package.\n"
        "Spread is half the middle half of the passes. Error is the distance from the exact blend, in\n"
        "255ths of a channel's range: largest and mean.\n");
}

void printCase(const std::vector<Result>& results, const char* why) {
    const Result& first = results.front();
    const bool call = first.kind != Kind::kLimit;
    std::printf("\n%s  %s  %s\n", first.row.c_str(), first.size.c_str(), first.content.c_str());
    std::printf("  %-16s %12s %8s %9s %7s %6s\n", "", call ? "ns/blit" : "Mpixel/s", "spread",
                call ? "x SDL 1.2" : "of limit", "error", "mean");
    for (const Result& r : results) {
        std::printf("  %-16s %12.1f %7.1f%% %9.3f", r.participant.c_str(),
                    call ? r.nanoseconds.median : r.megapixels(), 100 * r.nanoseconds.spread(),
                    r.share.median);
        if (r.kind == Kind::kLimit || r.kind == Kind::kControl)
            std::printf("\n");
        else
            std::printf(" %7.1f %6.2f  %s\n", r.error.max, r.error.mean, r.note.c_str());
    }
    if (why)
        std::printf("  Note: %s.\n", why);
    std::fflush(stdout);
}

void printNoise(const Report& report) {
    std::vector<double> off;
    for (const Result& r : report.results)
        if (r.kind == Kind::kControl)
            off.push_back(std::abs(r.share.median - 1));
    if (off.empty())
        return;
    const double worst = *std::max_element(off.begin(), off.end());
    std::printf(
        "\nNoise: the reference measured twice in one case differs by %.1f %% (median of %zu cases), at "
        "most %.1f %%.\n",
        100 * Figure::of(off).median, off.size(), 100 * worst);
}

bool writeJson(const Report& report, const std::string& file) {
    std::ofstream out(file);
    const Machine& m = report.machine;
    out << "{\"processor\": " << quoted(m.processor) << ", \"caches\": " << quoted(m.caches)
        << ", \"system\": " << quoted(m.system) << ", \"compiler\": " << quoted(m.compiler)
        << ", \"libraries\": " << quoted(m.libraries) << ",\n\"results\": [\n";
    out.precision(8);
    for (const Result& r : report.results) {
        out << "{\"row\": " << quoted(r.row) << ", \"size\": " << quoted(r.size)
            << ", \"content\": " << quoted(r.content) << ", \"participant\": " << quoted(r.participant)
            << ", \"kind\": " << quoted(name(r.kind)) << ", \"note\": " << quoted(r.note)
            << ", \"pixels\": " << r.pixels << ", \"ns\": " << r.nanoseconds.median
            << ", \"ns_q1\": " << r.nanoseconds.q1 << ", \"ns_q3\": " << r.nanoseconds.q3
            << ", \"mpixels\": " << r.megapixels() << ", \"share\": " << r.share.median
            << ", \"share_q1\": " << r.share.q1 << ", \"share_q3\": " << r.share.q3
            << ", \"error_max\": " << r.error.max << ", \"error_mean\": " << r.error.mean << "}"
            << (&r == &report.results.back() ? "\n" : ",\n");
    }
    out << "]}\n";
    return static_cast<bool>(out.flush());
}

std::optional<Report> readJson(const std::string& file) {
    std::ifstream in(file);
    std::string line;
    if (!std::getline(in, line))
        return std::nullopt;
    Report report;
    report.machine = {valueOf(line, "processor"), valueOf(line, "caches"), valueOf(line, "system"),
                      valueOf(line, "compiler"), valueOf(line, "libraries")};
    while (std::getline(in, line)) {
        Result r;
        r.row = valueOf(line, "row");
        if (r.row.empty())
            continue;
        r.size = valueOf(line, "size");
        r.content = valueOf(line, "content");
        r.participant = valueOf(line, "participant");
        const std::string kind = valueOf(line, "kind");
        r.kind =
            static_cast<Kind>(std::find(std::begin(kKinds), std::end(kKinds), kind) - std::begin(kKinds));
        r.note = valueOf(line, "note");
        r.pixels = numberOf(line, "pixels");
        r.nanoseconds = {numberOf(line, "ns_q1"), numberOf(line, "ns"), numberOf(line, "ns_q3")};
        r.share = {numberOf(line, "share_q1"), numberOf(line, "share"), numberOf(line, "share_q3")};
        r.error = {numberOf(line, "error_max"), numberOf(line, "error_mean")};
        report.results.push_back(r);
    }
    return report;
}

namespace {

// One chart: a line of dots for each row, placed by the share of the limit, one colour for each participant.
struct Chart {
    std::vector<std::string> rows, participants; // in order of appearance
    std::map<std::pair<std::string, std::string>, double> shares;

    void add(const Result& r) {
        const auto note = [](std::vector<std::string>& list, const std::string& what) {
            if (std::find(list.begin(), list.end(), what) == list.end())
                list.push_back(what);
        };
        note(rows, r.row);
        note(participants, r.participant);
        shares[{r.row, r.participant}] = r.share.median;
    }

    // The gnuplot commands that write FILE.svg and FILE.png.
    std::string script(const std::string& file, const std::string& title) const {
        std::ostringstream out;
        for (size_t p = 0; p < participants.size(); ++p) {
            out << "$p" << p << " << EOD\n";
            for (size_t i = 0; i < rows.size(); ++i)
                if (const auto found = shares.find({rows[i], participants[p]}); found != shares.end())
                    out << found->second << " " << rows.size() - i << "\n";
            out << "EOD\n";
        }
        out << "set title " << quoted(title) << " noenhanced\nset logscale x\nset xrange [0.002:1.5]\n"
            << "set xtics (0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1)\nset xlabel 'share of the "
               "limit'\n"
            << "set yrange [0.5:" << rows.size()
            << ".5]\nset grid\nset key outside bottom center horizontal noenhanced\n"
            << "set ytics noenhanced (";
        for (size_t i = 0; i < rows.size(); ++i)
            out << (i ? ", " : "") << quoted(rows[i]) << " " << rows.size() - i;
        out << ")\n";
        const size_t height = 170 + 22 * rows.size();
        for (const char* format : {"svg", "png"}) {
            out << "set terminal " << (format[0] == 's' ? "svg background 'white'" : "pngcairo")
                << " size 900," << height << "\nset output " << quoted(file + "." + format) << "\nplot ";
            for (size_t p = 0; p < participants.size(); ++p)
                out << (p ? ", " : "") << "$p" << p << " with points pt " << (p == 0 ? 7 : 5 + p) << " ps "
                    << (p == 0 ? "1.3" : "1") << " title " << quoted(participants[p]);
            out << "\n";
        }
        return out.str();
    }
};

// The chart of one size and content. `participates` says who is shown; nobody is in a chart of calls.
template <class Participates>
Chart chartOf(const Report& report, const std::string& size, Content content, Participates participates) {
    Chart chart;
    for (const Result& r : report.results) {
        const Row* row = rowNamed(r.row);
        // A row without alpha has one content only and stands in the charts of both.
        if (row && r.size == size && (contentsOf(*row).size() == 1 || r.content == name(content)) &&
            participates(r))
            chart.add(r);
    }
    return chart;
}

} // namespace

bool drawCharts(const Report& report, const std::string& directory) {
    const std::unique_ptr<FILE, ClosePipe> gnuplot(popen("gnuplot", "w"));
    if (!gnuplot)
        return false;
    const std::string best = "ormsel " + report.bestTarget();
    const auto peers = [&](const Result& r) {
        return r.kind == Kind::kStraight || r.kind == Kind::kPremultiplied || r.participant == best;
    };
    const auto targets = [](const Result& r) { return r.kind == Kind::kOurs || r.participant == "SDL 1.2"; };
    const auto draw = [&](Chart chart, const std::string& file, const std::string& title) {
        if (!chart.rows.empty())
            std::fprintf(gnuplot.get(), "reset\n%s", chart.script(directory + "/" + file, title).c_str());
    };
    for (const Size& size : pictureSizes) {
        for (const Content content : {kSprite, kRandom}) {
            const std::string suffix = std::string(size.name) + "-" + name(content);
            const std::string what = std::string(size.name) + ", " + name(content) + " alpha";
            draw(chartOf(report, size.name, content, peers), "peers-" + suffix,
                 "Ormsel and other libraries, " + what);
            draw(chartOf(report, size.name, content, targets), "targets-" + suffix,
                 "Ormsel's targets and SDL 1.2, " + what);
        }
    }
    return true;
}

} // namespace bench
