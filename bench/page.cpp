// SPDX-License-Identifier: Zlib
//
// Tables of a report's figures: for the page of the documentation, and for the charts.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>

#include <fmt/ranges.h>

#include "bench/report.h"

namespace bench {

using Words = std::vector<std::string>;
using Cases = std::vector<const CaseReport*>;

static Cases casesOf(const Report& report, const std::string& rows, const std::string& sizes) {
    Cases cases;
    for (const CaseReport& c : report.cases)
        if (listed(rows, c.row) && listed(sizes, c.size))
            cases.push_back(&c);
    return cases;
}

// A head, and a line for each case with what cell() makes of ours and of the peers that are not limited.
template <class Cell>
static std::vector<Words> tableOf(const Cases& cases, bool ours, Cell cell) {
    std::vector<Words> table = {{"row", "size", "content"}};
    for (const CaseReport* c : cases)
        for (const Result& r : c->results)
            if ((r.kind == kOurs ? ours : r.kind != kControl && r.target.empty()) &&
                std::ranges::find(table[0], r.participant) == table[0].end())
                table[0].push_back(r.participant);
    for (const CaseReport* c : cases) {
        table.push_back({c->row, c->size, c->content});
        for (size_t i = 3; i < table[0].size(); ++i)
            table.back().push_back(cell(*c, table[0][i]));
    }
    return table;
}

static std::string markdown(std::vector<Words> table) {
    std::string text;
    table.insert(table.begin() + 1, Words(table[0].size(), "---"));
    for (const Words& line : table)
        text += fmt::format("{}| {} |", text.empty() ? "" : "\n", fmt::join(line, " | "));
    return table.size() > 2 ? text : "None here.";
}

// How many times as fast as a peer a target is, with the target's instructions where the peer can be limited.
static double ratio(const CaseReport& c, const std::string& target, const std::string& peer) {
    const Result *ours = c.find("ormsel " + target), *limited = c.find(peer + " " + target);
    const Result* other = limited ? limited : c.find(peer);
    return ours && other ? ours->share.median / other->share.median : 0;
}

std::string number(double value) {
    return value > 0 ? fmt::format("{:.{}f}", value, value < 9.995 ? 2 : value < 99.95 ? 1 : 0) : "";
}

// The least and the greatest ratio of some cases, in words.
static std::string range(const Cases& cases, const std::string& target, const std::string& peer) {
    std::vector<double> seen;
    for (const CaseReport* c : cases)
        seen.push_back(ratio(*c, target, peer));
    std::erase(seen, 0);
    if (seen.empty())
        return "(not measured)";
    const auto [least, most] = std::ranges::minmax_element(seen);
    return fmt::format("{} to {}", number(*least), number(*most));
}

// What stands for a field of the text: a word, and arguments behind bars.
static std::string expand(const Report& report, const Words& field) {
    const std::string& what = field.at(0);
    const auto verdicts = verdictsOf(report);
    const auto target = [&] { return field.at(1) == "best" ? report.targets.front() : field.at(1); };
    if (what == "machine")
        return fmt::format("{}; {}; {}; {}; {}", report.processor, report.caches, report.system,
                           report.compiler, report.libraries);
    if (what == "noise")
        return noiseOf(report);
    if (what == "best")
        return report.targets.front();
    if (what == "range") // target, peer, rows, sizes
        return range(casesOf(report, field.at(3), field.at(4)), target(), field.at(2));
    if (what == "ratios") // target, rows, sizes
        return markdown(tableOf(
            casesOf(report, field.at(2), field.at(3)), false,
            [&](const CaseReport& c, const std::string& peer) { return number(ratio(c, target(), peer)); }));
    if (what == "figures") // rows, sizes
        return markdown(tableOf(casesOf(report, field.at(1), field.at(2)), true,
                                [](const CaseReport& c, const std::string& name) {
                                    const Result* r = c.find(name);
                                    return r ? fmt::format("{:.0f}", c.figure(*r)) : "";
                                }));
    if (what == "promises") // how many have this state
        return std::to_string(count(verdicts, field.at(1)));
    if (what != "failures")
        throw std::runtime_error("the page has a field {{" + what + "}}");
    std::vector<Words> table = {{"row", "size", "content", "ratio", "wanted", "seen", "the limit's"}};
    for (const Verdict& v : verdicts)
        if (v.state.starts_with(kNotMet))
            table.push_back(
                {v.row, v.size, v.content, v.what, number(v.needed), number(v.seen), number(v.limit)});
    return markdown(table);
}

void writePage(const Report& report, const std::string& file) {
    static const std::regex kField(R"(\{\{([^}]*)\}\})"), kBar(R"(\s*\|\s*)");
    std::ifstream in(BENCH_DIR "/performance.md.in");
    std::string text{std::istreambuf_iterator<char>(in), {}}, out;
    for (std::smatch field; std::regex_search(text, field, kField); text = field.suffix()) {
        out += field.prefix();
        out += expand(report, {std::sregex_token_iterator(field[1].first, field[1].second, kBar, -1), {}});
    }
    if (!(std::ofstream(file) << out << text).flush() || out.empty())
        throw std::runtime_error("can't write " + file);
}

void drawCharts(const Report& report, const std::string& directory) {
    std::filesystem::create_directories(directory);
    FILE* const gnuplot = popen("gnuplot", "w");
    if (!gnuplot)
        throw std::runtime_error("can't start gnuplot");
    for (const Size& size : allSizes())
        for (const char* content : {kSprite, kRandom}) {
            Cases cases = casesOf(report, "*", size.name);
            // A row without alpha has one content only and stands in the charts of both.
            std::erase_if(cases, [&](const CaseReport* c) {
                return c->content != content && report.find(c->row, size.name, content);
            });
            if (cases.empty() || size.shape != kPicture)
                continue;
            std::vector<Words> table = tableOf(cases, true, [](const CaseReport& c, const std::string& name) {
                const Result* r = c.find(name);
                return r ? std::to_string(r->share.median) : "NaN";
            });
            fmt::print(gnuplot, "$table << END\n\"{}\"\n", fmt::join(table[0], "\" \""));
            for (size_t i = 1; i < table.size(); ++i)
                fmt::print(gnuplot, "{}\n", fmt::join(table[i], " "));
            fmt::print(gnuplot, "END\ncall '{}/chart.gp' '{}' '{}' '{}'\n", BENCH_DIR, directory, size.name,
                       content);
        }
    if (pclose(gnuplot) != 0)
        throw std::runtime_error("gnuplot failed");
}

} // namespace bench
