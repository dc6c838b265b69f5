// SPDX-License-Identifier: Zlib
#include "bench/report.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

namespace bench {

namespace {

constexpr std::string_view kBest = "best"; // the processor's
// What our target is compared with, beside a participant's name.
constexpr std::string_view kFastest = "fastest peer";             // of all
constexpr std::string_view kFastestStraight = "fastest straight"; // of those that do the same work
// The same target in another case. Both move the same memory, so that their shares of the limit can be
// compared.
constexpr std::string_view kItself = "itself at ";

// In every case of these rows, sizes and contents, our target is at least `ratio` times as fast as the peer.
struct Promise {
    std::string rows, sizes, contents, target, peer; // the first three are patterns
    double ratio;
};

// The lines of promises.txt that say something; what several lines have in common may have a name there.
std::vector<Promise> promises() {
    std::vector<Promise> all;
    std::map<std::string, std::string> names;
    std::ifstream in(BENCH_DIR "/promises.txt");
    for (std::string line; std::getline(in, line);) {
        static const std::regex kBar(R"(\s*\|\s*)"), kIs(R"((\$\S+) = (.*))");
        std::smatch is;
        if (line.empty() || line[0] == '#')
            continue;
        if (std::regex_match(line, is, kIs)) {
            names[is[1]] = is[2];
            continue;
        }
        std::vector<std::string> f{std::sregex_token_iterator(line.begin(), line.end(), kBar, -1), {}};
        if (f.size() != 6)
            throw std::runtime_error("promises.txt: " + line);
        all.push_back({names.contains(f[0]) ? names[f[0]] : f[0], f[1], f[2], f[3], f[4], std::stod(f[5])});
    }
    return all;
}

// Who `what` is.
const Result* peerOf(const Report& report, const CaseReport& c, std::string_view what,
                     const std::string& ours) {
    if (what.starts_with(kItself)) {
        const std::string other(what.substr(kItself.size())), row = c.row.substr(0, c.row.find('@'));
        const bool byContent = other == kRandom;
        const CaseReport* same = report.find(byContent         ? c.row
                                             : other == "@255" ? row
                                                               : row + other,
                                             c.size, byContent ? other : c.content);
        return same ? same->find(ours) : nullptr;
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
    const bool itself = p.peer.starts_with(kItself);
    const std::string what = name + " / " + (peer && !itself ? peer->participant : p.peer);
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
    for (const Promise& p : promises()) {
        const size_t before = verdicts.size();
        for (const CaseReport& c : report.cases)
            if (listed(p.rows, c.row) && listed(p.sizes, c.size) && listed(p.contents, c.content))
                verdicts.push_back(judge(report, c, p));
        if (verdicts.size() == before)
            verdicts.push_back({p.rows, p.sizes, p.contents, fmt::format("{} / {}", p.target, p.peer),
                                kNotMeasured, p.ratio});
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
