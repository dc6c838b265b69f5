// SPDX-License-Identifier: Zlib
//
// ORMSEL_RUN=stats: prints at exit how many blits were served, by kind, and what was left to SDL.
// ORMSEL_RUN=compare: the same of blits that are done twice, with both times and what differs.
// ORMSEL_RUN_REPORT: the file to print to, written every second; else standard error, at exit.
#include "dropin_counts.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <ormsel/ormsel_target.h>

#include "dropin_sdl.h"

namespace dropin {

// --- Kinds --------------------------------------------------------------------------------------------

namespace {

Format formatOf(const SDL_PixelFormat& f) {
    return {f.BitsPerPixel, f.Rmask, f.Gmask, f.Bmask, f.Amask};
}

// A row goes from kFree by kTaken to kReady, and stays. A child process can find one that stays kTaken.
enum : uint32_t { kFree, kTaken, kReady };
struct Row {
    std::atomic<uint32_t> state;
    Kind kind;
    Count count;

    bool isServed() const {
        return state == kReady && (kind.server == Server::kOrmsel || kind.server == Server::kUncompared);
    }
};
constexpr size_t kMostKinds = 256;
Row rows[kMostKinds];

bool isEqual(const Kind& a, const Kind& b) {
    return std::memcmp(&a, &b, sizeof a) == 0; // which has no padding
}
static_assert(sizeof(Kind) == 13 * sizeof(uint32_t));

} // namespace

Kind blitKind(const SDL_Surface& src, const SDL_Surface& dst, Server server) {
    constexpr uint32_t kTelling =
        SDL_HWSURFACE | SDL_HWACCEL | SDL_SRCCOLORKEY | SDL_RLEACCELOK | SDL_RLEACCEL | SDL_SRCALPHA;
    const SDL_PixelFormat& from = *src.format;
    const uint32_t alpha = src.flags & SDL_SRCALPHA && !from.Amask ? from.alpha : 255;
    const uint32_t telling = alpha == 255 && !from.Amask ? kTelling & ~uint32_t{SDL_SRCALPHA} : kTelling;
    return {formatOf(from), formatOf(*dst.format),
            (src.flags & telling) | (dst.flags & (SDL_HWSURFACE | SDL_HWACCEL)),
            alpha == 0 || alpha == 128 || alpha == 255 ? alpha : 1, server};
}

Kind fillKind(const SDL_Surface& dst, Server server) {
    return {{}, formatOf(*dst.format), dst.flags & (SDL_HWSURFACE | SDL_HWACCEL), 255, server};
}

Count& countOf(const Kind& kind) {
    for (size_t i = 0; i < kMostKinds - 1; ++i) {
        Row& row = rows[i];
        uint32_t state = row.state.load(std::memory_order_acquire);
        if (state == kFree && row.state.compare_exchange_strong(state, kTaken)) {
            row.kind = kind;
            row.state.store(kReady, std::memory_order_release);
            return row.count;
        }
        if (state == kReady && isEqual(row.kind, kind))
            return row.count;
    }
    return rows[kMostKinds - 1].count; // the last row takes what has no room
}

// --- Times --------------------------------------------------------------------------------------------

namespace {
uint64_t clockCost = 0;
} // namespace

uint64_t now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<uint64_t>(t.tv_sec) * 1000000000U + static_cast<uint64_t>(t.tv_nsec);
}

uint64_t since(uint64_t start) {
    const uint64_t spent = now() - start;
    return spent > clockCost ? spent - clockCost : 0;
}

// --- The report's words -------------------------------------------------------------------------------

namespace {

// What is known by a name. Other orders of 32 bits have that of their colours.
const char* orderOf(const Format& f) {
    const bool bits16 = f.bits == 15 || f.bits == 16;
    if (f.bits == 8)
        return "palette";
    if (bits16 && f.a && f.a != 0x8000)
        return nullptr;
    if (bits16 && (f.g == 0x07E0 || f.g == 0x03E0)) {
        const uint32_t high = f.g == 0x07E0 ? 0xF800 : 0x7C00;
        return f.r == high && f.b == 0x1F ? "RGB" : f.b == high && f.r == 0x1F ? "BGR" : nullptr;
    }
    if (f.bits == 24 || f.bits == 32) {
        const uint32_t up = f.g == 0xFF0000 ? 8 : 0;
        if (f.g >> up != 0xFF00)
            return nullptr;
        return f.r == 0xFF0000U << up && f.b == 0xFFU << up   ? "RGB"
               : f.b == 0xFF0000U << up && f.r == 0xFFU << up ? "BGR"
                                                              : nullptr;
    }
    return nullptr;
}

using Text = char[64];

const char* formatName(Text& out, const Format& f) {
    const char* order = orderOf(f);
    std::snprintf(out, sizeof out, f.bits ? "%u bits %s%s" : "-", f.bits, order ? order : "odd",
                  f.a ? "A" : "");
    return out;
}

const char* masks(Text& out, const Format& f) {
    std::snprintf(out, sizeof out, f.a ? "masks %04X/%04X/%04X/%04X" : "masks %04X/%04X/%04X", f.r, f.g, f.b,
                  f.a);
    return out;
}

// As SDL tells them apart.
bool isSame(const Format& a, const Format& b) {
    return a.bits == b.bits && a.r == b.r && a.a == b.a;
}

const char* wayOf(const Kind& k) {
    if (!k.from.bits)
        return "fill";
    const bool keyed = k.flags & SDL_SRCCOLORKEY;
    if (k.flags & SDL_SRCALPHA && k.from.a)
        return keyed ? "by pixel and key" : "by pixel";
    if (k.alpha != 255)
        return keyed ? "by alpha and key" : "by alpha";
    if (isSame(k.from, k.to))
        return keyed ? "by key" : "copy";
    return keyed ? "by key, converts" : "converts";
}

// Why a kind is left to SDL, or what it is odd in.
const char* reasonOf(Text& out, const Kind& k) {
    if (k.server == Server::kOrmsel)
        return k.flags & SDL_RLEACCELOK ? "asked for encoding" : "";
    if (k.server == Server::kUncompared)
        return "no memory to compare";
    if (k.server == Server::kSmall)
        return "few pixels";
    if (k.server == Server::kReaching)
        return k.flags & SDL_RLEACCELOK ? "asked for encoding" : "shared memory, or outside";
    if (k.flags & (SDL_HWSURFACE | SDL_HWACCEL))
        return "video memory";
    if (k.flags & SDL_RLEACCEL)
        return "encoded by runs";
    if (k.from.bits == 8 || k.to.bits == 8)
        return "8 bits";
    if (k.flags & SDL_RLEACCELOK)
        return "asked for encoding";
    for (const Format* f : {&k.from, &k.to})
        if (f->bits && !orderOf(*f))
            return masks(out, *f);
    return "format";
}

// --- The report's file --------------------------------------------------------------------------------

unsigned long long number(const Number& n) {
    return n.load(std::memory_order_relaxed);
}

class Report {
public:
    Report() {
        const uint64_t start = now();
        for (int i = 0; i < 1000; ++i)
            now();
        clockCost = (now() - start) / 1000;
        if (const char* asked = std::getenv("ORMSEL_RUN_REPORT"))
            std::snprintf(asked_, sizeof asked_, "%s", asked);
        pthread_atfork(nullptr, nullptr, beginAnew);
    }
    ~Report() { print(); }

    void everySecond();

private:
    // In a child process, which has drawn nothing yet.
    static void beginAnew();

    // Finds the name to write to. The first process that draws gets the one that the user gave; others, which
    // run at the same time or later, put their number behind it.
    bool claimName();
    void print();
    void printTo(int file) const;

    enum : int { kNoName, kName, kDevice, kNoFile }; // a device or a link is written to, not replaced
    std::atomic<int> claimed_{kNoName};
    std::atomic<uint64_t> last_{0};
    char asked_[4096] = "", name_[4096 + 16] = "";
};

Report report;

void Report::beginAnew() {
    for (Row& row : rows) {
        row.state = kFree;
        for (Number* n :
             {&row.count.blits, &row.count.pixels, &row.count.ours, &row.count.sdls, &row.count.compared,
              &row.count.differing, &row.count.mostDifference, &row.count.spareDiffering})
            *n = 0;
    }
    report.claimed_ = kNoName;
    report.last_ = 0;
}

bool Report::claimName() {
    if (claimed_ == kName || claimed_ == kDevice)
        return true;
    if (claimed_ == kNoFile)
        return false;
    std::snprintf(name_, sizeof name_, "%s", asked_);
    struct stat found;
    if (lstat(name_, &found) == 0 && !S_ISREG(found.st_mode)) {
        claimed_ = kDevice;
        return true;
    }
    constexpr int kMine = O_WRONLY | O_CREAT | O_CLOEXEC;
    int file = open(name_, kMine | O_EXCL, 0666);
    if (file < 0 && errno == EEXIST) {
        std::snprintf(name_, sizeof name_, "%s.%d", asked_, static_cast<int>(getpid()));
        file = open(name_, kMine, 0666);
    }
    claimed_ = file < 0 ? kNoFile : kName;
    if (file < 0)
        say("cannot write %s: %s", name_, std::strerror(errno));
    else
        close(file);
    return file >= 0;
}

// A file is replaced as a whole: whoever looks finds a whole report.
void Report::print() {
    bool hasDrawn = false;
    for (const Row& row : rows)
        hasDrawn = hasDrawn || row.count.blits;
    if (mode() == Mode::kServe || !hasDrawn)
        return;
    if (!*asked_)
        return printTo(STDERR_FILENO);
    if (!claimName())
        return;
    static std::atomic<unsigned> serial{0};
    char next[sizeof name_ + 32];
    std::snprintf(next, sizeof next, "%s.%d-%u", name_, static_cast<int>(getpid()), serial++);
    int file = -1;
    if (claimed_ != kDevice)
        file = open(next, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    const bool replaces = file >= 0;
    if (!replaces)
        file = open(name_, O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (file < 0)
        return;
    printTo(file);
    close(file);
    if (replaces && rename(next, name_) != 0)
        unlink(next);
}

void Report::everySecond() {
    if (!*asked_)
        return;
    const uint64_t time = now();
    uint64_t last = last_.load(std::memory_order_relaxed);
    if (time - last < 1000000000U || !last_.compare_exchange_strong(last, time))
        return; // or another thread has just begun
    print();
}

[[gnu::format(printf, 2, 3)]] void printLine(int file, const char* format, ...) {
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (length > 0 && write(file, line, static_cast<size_t>(length)) < 0)
        return;
}

void Report::printTo(int file) const {
    const bool compares = mode() == Mode::kCompare;
    unsigned long long blits = 0, served = 0, pixels = 0, servedPixels = 0, ours = 0, sdls = 0,
                       uncompared = 0;
    for (const Row& row : rows) {
        const Count& c = row.count;
        const bool isServed = row.isServed();
        blits += number(c.blits), pixels += number(c.pixels);
        if (!isServed)
            continue;
        served += number(c.blits), servedPixels += number(c.pixels);
        ours += number(c.ours), sdls += number(c.sdls);
        uncompared += number(c.blits) - number(c.compared);
    }
    printLine(file, "ormsel-run: %s: %llu of %llu blits and fills served (%s), %llu of %llu pixels\n",
              program_invocation_short_name, served, blits, ormsel_TargetName(), servedPixels, pixels);
    if (compares && ours)
        printLine(file, "ormsel-run: those served took SDL %.1f ms, Ormsel %.1f ms: %.2f times as fast\n",
                  static_cast<double>(sdls) / 1e6, static_cast<double>(ours) / 1e6,
                  static_cast<double>(sdls) / static_cast<double>(ours));
    if (compares && uncompared)
        printLine(file, "ormsel-run: %llu of them were not compared\n", uncompared);
    printLine(file, "%-13s %-13s %-16s %-6s %9s %11s %10s %10s%s %s\n", "from", "onto", "how", "by", "blits",
              "pixels", "Ormsel ms", "SDL ms", compares ? "  times  differing  by  spare bits" : "", "why");
    for (const Row& row : rows) {
        const Count& c = row.count;
        if (!number(c.blits))
            continue;
        const bool ready = row.state == kReady;
        Text from, to, reason, compared = "";
        if (compares)
            std::snprintf(compared, sizeof compared, " %6s %10s %3s %11s", "-", "-", "-", "-");
        if (number(c.compared))
            std::snprintf(compared, sizeof compared, " %6.2f %10llu %3llu %11llu",
                          static_cast<double>(number(c.sdls)) /
                              static_cast<double>(number(c.ours) ? number(c.ours) : 1),
                          number(c.differing), number(c.mostDifference), number(c.spareDiffering));
        const bool isServed = row.isServed();
        printLine(file, "%-13s %-13s %-16s %-6s %9llu %11llu %10.2f %10.2f%s %s\n",
                  ready ? formatName(from, row.kind.from) : "other kinds",
                  ready ? formatName(to, row.kind.to) : "", ready ? wayOf(row.kind) : "",
                  ready ? isServed ? "Ormsel" : "SDL" : "", number(c.blits), number(c.pixels),
                  static_cast<double>(number(c.ours)) / 1e6, static_cast<double>(number(c.sdls)) / 1e6,
                  compared, ready ? reasonOf(reason, row.kind) : "");
    }
}

Mode modeOf() {
    const char* asked = std::getenv("ORMSEL_RUN");
    return asked && std::strcmp(asked, "stats") == 0     ? Mode::kStats
           : asked && std::strcmp(asked, "compare") == 0 ? Mode::kCompare
                                                         : Mode::kServe;
}

const Mode kMode = modeOf();

} // namespace

Mode mode() {
    return kMode;
}

void reportEverySecond() {
    report.everySecond();
}

} // namespace dropin
