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

namespace {

using Words = std::vector<std::string>;
using Cases = std::vector<const CaseReport*>;

Cases casesOf(const Report& report, const std::string& rows, const std::string& sizes) {
    Cases cases;
    for (const CaseReport& c : report.cases)
        if (listed(rows, c.row) && listed(sizes, c.size))
            cases.push_back(&c);
    return cases;
}

// In order of appearance.
template <class Wanted>
Words participantsOf(const Cases& cases, Wanted wanted) {
    Words names;
    for (const CaseReport* c : cases)
        for (const Result& r : c->results)
            if (wanted(r) && std::find(names.begin(), names.end(), r.participant) == names.end())
                names.push_back(r.participant);
    return names;
}

// A head, and a line for each case with what cell() makes of each participant.
template <class Cell>
std::vector<Words> tableOf(const Cases& cases, const Words& participants, Cell cell) {
    std::vector<Words> table = {{"row", "size", "content"}};
    table[0].insert(table[0].end(), participants.begin(), participants.end());
    for (const CaseReport* c : cases) {
        table.push_back({c->row, c->size, c->content});
        for (const std::string& each : participants)
            table.back().push_back(cell(*c, each));
    }
    return table;
}

std::string markdown(const std::vector<Words>& table) {
    const auto line = [](const Words& words) { return fmt::format("| {} |", fmt::join(words, " | ")); };
    Words lines = {line(table[0]), fmt::format("|{}", fmt::join(Words(table[0].size(), "---|"), ""))};
    std::transform(table.begin() + 1, table.end(), std::back_inserter(lines), line);
    return table.size() > 1 ? fmt::format("{}", fmt::join(lines, "\n")) : "None.";
}

// How many times as fast as a peer a target is; the peer has the target's instructions only, where it can be
// told.
double ratio(const CaseReport& c, const std::string& target, const std::string& peer) {
    const Result *ours = c.find("ormsel " + target), *limited = c.find(peer + " " + target);
    const Result* other = limited ? limited : c.find(peer);
    return ours && other ? ours->share.median / other->share.median : 0;
}

std::string number(double value) { // three digits, or nothing
    return value > 0 ? fmt::format("{:.{}f}", value, value < 9.995 ? 2 : value < 99.95 ? 1 : 0) : "";
}

class Page {
public:
    explicit Page(const Report& report) : report_(report), verdicts_(verdictsOf(report)) {}

    // What stands for a field of the text: a word, and arguments behind bars.
    std::string expand(const Words& field) const {
        const std::string& what = field.at(0);
        return what == "machine"   ? machine()
               : what == "noise"   ? noiseOf(report_)
               : what == "best"    ? report_.targets.front()
               : what == "figures" ? figures(casesOf(report_, field.at(1), field.at(2)))
               : what == "targets" ? targets(casesOf(report_, field.at(1), field.at(2)))
               : what == "range" ? range(field.at(1), field.at(2), casesOf(report_, field.at(3), field.at(4)))
               : what == "promises" ? std::to_string(count(verdicts_, field.at(1)))
               : what == "failures" ? failures()
                                    : throw std::runtime_error("the page has a field {{" + what + "}}");
    }

private:
    std::string machine() const {
        return fmt::format("{}; targets {}; {}; {}; {}; {}", report_.processor,
                           fmt::join(report_.targets, ", "), report_.caches, report_.system, report_.compiler,
                           report_.libraries);
    }

    bool isLimited(const Result& r) const {
        return r.kind != kOurs &&
               std::any_of(report_.targets.begin(), report_.targets.end(),
                           [&](const auto& target) { return r.participant.ends_with(" " + target); });
    }

    std::string figures(const Cases& cases) const {
        const Words names =
            participantsOf(cases, [this](const Result& r) { return r.kind != kControl && !isLimited(r); });
        return markdown(tableOf(cases, names, [](const CaseReport& c, const std::string& name) {
            const Result* r = c.find(name);
            return r ? fmt::format("{:.0f}", c.figure(*r)) : "";
        }));
    }

    std::string targets(const Cases& cases) const {
        const Words names = participantsOf(cases, [this](const Result& r) {
            return r.kind != kOurs && r.kind != kControl && !isLimited(r);
        });
        Words sections;
        for (const std::string& target : report_.targets)
            sections.push_back(
                "### " + target + "\n\n" +
                markdown(tableOf(cases, names, [&](const CaseReport& c, const std::string& name) {
                    return number(ratio(c, target, name));
                })));
        return fmt::format("{}", fmt::join(sections, "\n\n"));
    }

    // The least and the greatest ratio of some cases, in words.
    std::string range(const std::string& target, const std::string& peer, const Cases& cases) const {
        std::vector<double> seen;
        for (const CaseReport* c : cases)
            if (const double each = ratio(*c, target == "best" ? report_.targets.front() : target, peer);
                each > 0)
                seen.push_back(each);
        if (seen.empty())
            return "(not measured)";
        const auto [least, most] = std::minmax_element(seen.begin(), seen.end());
        return number(*least) == number(*most) ? number(*least) : number(*least) + " to " + number(*most);
    }

    std::string failures() const {
        std::vector<Words> table = {{"row", "size", "content", "ratio", "wanted", "seen", "the limit's"}};
        for (const Verdict& v : verdicts_)
            if (v.state == kNotMet || v.state == kNotByLimit)
                table.push_back(
                    {v.row, v.size, v.content, v.what, number(v.needed), number(v.seen), number(v.limit)});
        return markdown(table);
    }

    const Report& report_;
    std::vector<Verdict> verdicts_;
};

} // namespace

void writePage(const Report& report, const std::string& file) {
    static const std::regex kField(R"(\{\{([^}]*)\}\})"), kBar(R"(\s*\|\s*)");
    std::ifstream in(BENCH_DIR "/performance.md.in");
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const Page page(report);
    std::string out;
    auto rest = text.cbegin();
    for (std::sregex_iterator field(text.begin(), text.end(), kField), end; field != end; ++field) {
        const auto& inside = (*field)[1];
        out.append(rest, (*field)[0].first);
        out += page.expand({std::sregex_token_iterator(inside.first, inside.second, kBar, -1), {}});
        rest = (*field)[0].second;
    }
    out.append(rest, text.cend());
    if (text.empty() || !(std::ofstream(file) << out).flush())
        throw std::runtime_error("can't write " + file);
}

void drawCharts(const Report& report, const std::string& directory) {
    std::filesystem::create_directories(directory);
    FILE* const gnuplot = popen("gnuplot", "w");
    if (!gnuplot)
        throw std::runtime_error("can't start gnuplot");
    const auto draw = [&](const std::string& size, const std::string& content, const char* kind,
                          const char* title, const auto& wanted) {
        Cases cases = casesOf(report, "*", size);
        // A row without alpha has one content only and stands in the charts of both.
        std::erase_if(cases, [&](const CaseReport* c) {
            return c->content != content && report.find(c->row, size, content);
        });
        std::vector<Words> table =
            tableOf(cases, participantsOf(cases, wanted), [](const CaseReport& c, const std::string& name) {
                const Result* r = c.find(name);
                return r ? fmt::format("{:.5f}", r->share.median) : "NaN";
            });
        for (std::string& name : table[0])
            name = fmt::format("\"{}\"", name);
        fmt::print(gnuplot, "$table << END\n");
        for (const Words& line : table)
            fmt::print(gnuplot, "{}\n", fmt::join(line, " "));
        fmt::print(gnuplot, "END\ncall '{}/chart.gp' '{}/{}-{}-{}' '{}, {}, {} alpha'\n", BENCH_DIR,
                   directory, kind, size, content, title, size, content);
    };
    for (const Size& size : sizesOf(kPicture))
        for (const char* content : {kSprite, kRandom}) {
            if (casesOf(report, "*", size.name).empty())
                continue;
            draw(size.name, content, "peers", "Ormsel and other libraries", [&](const Result& r) {
                return r.kind == kStraight || r.kind == kPremultiplied ||
                       r.participant == "ormsel " + report.targets.front();
            });
            draw(size.name, content, "targets", "Ormsel''s targets and SDL 1.2",
                 [](const Result& r) { return r.kind == kOurs || r.participant == "SDL 1.2"; });
        }
    if (pclose(gnuplot) != 0)
        throw std::runtime_error("gnuplot failed");
}

} // namespace bench
