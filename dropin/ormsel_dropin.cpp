// SPDX-License-Identifier: Zlib
//
// Preloaded into a program that draws with SDL 1.2, takes the place of SDL_BlitSurface, counts and compares.
// ormsel-run sets the environment:
// ORMSEL_RUN=stats: prints at exit how many blits were served, by kind, and what was left to SDL.
// ORMSEL_RUN=compare: does every served blit twice, by SDL and here, and prints both times and what differs.
// ORMSEL_RUN_REPORT: the file to print to, written every second; else standard error, at exit.
//
// Programs may blit from any thread: all state is in the tables below, guarded by one lock, and the blits
// themselves touch none of it.
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <SDL.h>
#include <dlfcn.h>
#include <time.h>

#include <ormsel/ormsel_target.h>

#include "blt_sdl_contract.h"

using Blit = int (*)(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect);

namespace {

// A function of the program's SDL, looked up when it is first called.
class SdlFunction {
public:
    constexpr explicit SdlFunction(const char* name) : name_(name) {}

    Blit get() {
        const Blit found = function_.load(std::memory_order_relaxed);
        return found ? found : find();
    }

private:
    Blit find() {
        void* found = dlsym(RTLD_NEXT, name_);
        if (!found) // a program that loaded SDL itself, for its own eyes only
            if (void* sdl = dlopen("libSDL-1.2.so.0", RTLD_LAZY | RTLD_NOLOAD))
                found = dlsym(sdl, name_);
        if (!found) {
            std::fprintf(stderr, "ormsel-run: this program has no %s\n", name_);
            std::abort();
        }
        Blit function;
        std::memcpy(&function, &found, sizeof function);
        function_.store(function, std::memory_order_relaxed);
        return function;
    }

    const char* name_;
    std::atomic<Blit> function_{nullptr};
};
constinit SdlFunction sdlUpperBlit{"SDL_UpperBlit"}, sdlLowerBlit{"SDL_LowerBlit"};

// Whether this thread's last blit went to SDL: it does so by the contract's own judgement, too.
[[gnu::tls_model("initial-exec")]] thread_local bool wasLeftToSdl = false;

int sdlsUpperBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    wasLeftToSdl = true;
    return sdlUpperBlit.get()(src, srcrect, dst, dstrect);
}

int sdlsLowerBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    wasLeftToSdl = true;
    return sdlLowerBlit.get()(src, srcrect, dst, dstrect);
}

constexpr ormsel::SdlFunctions kSdlsOwn = {sdlsUpperBlit, sdlsLowerBlit, nullptr};

int blitHere(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    return ormsel::sdlBlitSurface(kSdlsOwn, src, srcrect, dst, dstrect);
}

// --- Kinds of blits -----------------------------------------------------------------------------------

enum class Server { kOrmsel, kSmall, kSdl };

// What tells kinds apart.
struct Kind {
    uint32_t srcBits, srcRed, srcAlpha, dstBits, dstRed, dstAlpha;
    uint32_t flags; // of the source, without those that say nothing about blits
    uint32_t alpha; // 0, 128, 255, or 1 for all others
    Server server;
};

struct Count {
    Kind kind;
    uint64_t blits, pixels, ours, sdls; // times in nanoseconds
    uint64_t compared, differing, mostDifference;
};

constexpr size_t kMostKinds = 256;
Count counts[kMostKinds];
size_t kinds = 0;
uint64_t lastReport = 0, clockCost = 0;
std::atomic_flag busy = ATOMIC_FLAG_INIT;

class Guard {
public:
    Guard() {
        while (busy.test_and_set(std::memory_order_acquire))
            ;
    }
    ~Guard() { busy.clear(std::memory_order_release); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
};

uint64_t now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<uint64_t>(t.tv_sec) * 1000000000U + static_cast<uint64_t>(t.tv_nsec);
}

uint64_t since(uint64_t start) {
    const uint64_t spent = now() - start;
    return spent > clockCost ? spent - clockCost : 0;
}

Kind kindOf(const SDL_Surface& src, const SDL_Surface& dst, Server server) {
    constexpr uint32_t kTelling =
        SDL_HWSURFACE | SDL_HWACCEL | SDL_SRCCOLORKEY | SDL_RLEACCELOK | SDL_RLEACCEL | SDL_SRCALPHA;
    const SDL_PixelFormat &from = *src.format, &to = *dst.format;
    const uint32_t alpha = src.flags & SDL_SRCALPHA && !from.Amask ? from.alpha : 255;
    Kind kind;
    std::memset(&kind, 0, sizeof kind);
    kind.srcBits = from.BitsPerPixel, kind.srcRed = from.Rmask, kind.srcAlpha = from.Amask;
    kind.dstBits = to.BitsPerPixel, kind.dstRed = to.Rmask, kind.dstAlpha = to.Amask;
    kind.flags = src.flags & kTelling;
    kind.alpha = alpha == 0 || alpha == 128 || alpha == 255 ? alpha : 1;
    kind.server = server;
    return kind;
}

// The row of a kind; with the lock held. The last row takes what has no room.
Count& countOf(const Kind& kind) {
    for (size_t i = 0; i < kinds; ++i)
        if (std::memcmp(&counts[i].kind, &kind, sizeof kind) == 0)
            return counts[i];
    Count& count = counts[kinds < kMostKinds - 1 ? kinds++ : kMostKinds - 1];
    count.kind = kind;
    return count;
}

// --- The report ---------------------------------------------------------------------------------------

enum class Mode { kServe, kStats, kCompare };

Mode modeOf() {
    const char* mode = std::getenv("ORMSEL_RUN");
    return mode && std::strcmp(mode, "stats") == 0     ? Mode::kStats
           : mode && std::strcmp(mode, "compare") == 0 ? Mode::kCompare
                                                       : Mode::kServe;
}

void formatName(char* out, size_t size, uint32_t bits, uint32_t red, uint32_t alpha) {
    std::snprintf(out, size, "%u bits %s%s", bits,
                  bits == 8                                       ? "palette"
                  : red == 0xFF || red == 0xFF00 || red == 0x001F ? "BGR"
                                                                  : "RGB",
                  alpha ? "A" : "");
}

const char* wayOf(const Kind& k) {
    if (k.flags & SDL_SRCALPHA && k.srcAlpha)
        return "by pixel";
    if (k.alpha != 255)
        return k.flags & SDL_SRCCOLORKEY ? "by alpha and key" : "by alpha";
    return k.flags & SDL_SRCCOLORKEY ? "by key" : "copy";
}

const char* reasonOf(const Kind& k) {
    if (k.server == Server::kOrmsel)
        return "served";
    if (k.server == Server::kSmall)
        return "few pixels";
    if (k.flags & (SDL_HWSURFACE | SDL_HWACCEL))
        return "video memory";
    if (k.flags & SDL_RLEACCEL)
        return "run-length encoded";
    if (k.srcBits == 8 || k.dstBits == 8)
        return "8 bits";
    if (k.flags & SDL_RLEACCELOK && k.flags & SDL_SRCCOLORKEY)
        return "to be encoded by key";
    if (!(k.flags & (SDL_SRCALPHA | SDL_SRCCOLORKEY)) ||
        (k.alpha == 255 && !(k.flags & SDL_SRCCOLORKEY) && !k.srcAlpha))
        return "plain copy";
    return "format";
}

// With the lock held.
void printReport(Mode mode) {
    const char* path = std::getenv("ORMSEL_RUN_REPORT");
    FILE* out = path && *path ? std::fopen(path, "w") : stderr;
    if (!out)
        return;
    uint64_t blits = 0, served = 0, pixels = 0, servedPixels = 0, ours = 0, sdls = 0;
    for (size_t i = 0; i < kinds; ++i) {
        const Count& c = counts[i];
        blits += c.blits, pixels += c.pixels;
        if (c.kind.server != Server::kOrmsel)
            continue;
        served += c.blits, servedPixels += c.pixels;
        if (c.compared || mode == Mode::kStats)
            ours += c.ours, sdls += c.sdls;
    }
    std::fprintf(out, "ormsel-run: %llu of %llu blits served (%s), %llu of %llu pixels\n",
                 static_cast<unsigned long long>(served), static_cast<unsigned long long>(blits),
                 ormsel_TargetName(), static_cast<unsigned long long>(servedPixels),
                 static_cast<unsigned long long>(pixels));
    if (mode == Mode::kCompare && ours)
        std::fprintf(out, "ormsel-run: served blits took SDL %.1f ms, Ormsel %.1f ms: %.2f times as fast\n",
                     static_cast<double>(sdls) / 1e6, static_cast<double>(ours) / 1e6,
                     static_cast<double>(sdls) / static_cast<double>(ours));
    std::fprintf(out, "%-13s %-13s %-16s %-20s %9s %11s %10s%s\n", "from", "onto", "how", "", "blits",
                 "pixels", "Ormsel ms",
                 mode == Mode::kCompare ? "     SDL ms  times  differing  by" : "     SDL ms");
    for (size_t i = 0; i < kinds; ++i) {
        const Count& c = counts[i];
        char from[24], to[24];
        formatName(from, sizeof from, c.kind.srcBits, c.kind.srcRed, c.kind.srcAlpha);
        formatName(to, sizeof to, c.kind.dstBits, c.kind.dstRed, c.kind.dstAlpha);
        std::fprintf(out, "%-13s %-13s %-16s %-20s %9llu %11llu %10.2f %10.2f", from, to, wayOf(c.kind),
                     reasonOf(c.kind), static_cast<unsigned long long>(c.blits),
                     static_cast<unsigned long long>(c.pixels), static_cast<double>(c.ours) / 1e6,
                     static_cast<double>(c.sdls) / 1e6);
        if (c.compared)
            std::fprintf(out, " %6.2f %10llu %3llu",
                         static_cast<double>(c.sdls) / static_cast<double>(c.ours ? c.ours : 1),
                         static_cast<unsigned long long>(c.differing),
                         static_cast<unsigned long long>(c.mostDifference));
        std::fputc('\n', out);
    }
    if (out == stderr)
        std::fflush(out);
    else
        std::fclose(out);
}

struct Report {
    Mode mode = modeOf();

    Report() {
        const uint64_t start = now();
        for (int i = 0; i < 1000; ++i)
            now();
        clockCost = (now() - start) / 1000;
    }
    void everySecond() const {
        if (!std::getenv("ORMSEL_RUN_REPORT") || now() - lastReport < 1000000000U)
            return;
        printReport(mode);
        lastReport = now();
    }
    ~Report() {
        if (mode == Mode::kServe)
            return;
        const Guard guard;
        printReport(mode);
    }
};
Report report;

// --- Blits --------------------------------------------------------------------------------------------

// The part of a surface that a blit can reach, saved and put back.
class Region {
public:
    Region(const SDL_Surface& surface, const SDL_Rect* srcrect, const SDL_Surface& src,
           const SDL_Rect* dstrect)
        : bytes_(surface.format->BytesPerPixel), pitch_(surface.pitch) {
        const int x = dstrect ? dstrect->x : 0, y = dstrect ? dstrect->y : 0;
        const int right = x + (srcrect ? srcrect->w : src.w), bottom = y + (srcrect ? srcrect->h : src.h);
        const int left = x < 0 ? 0 : x, top = y < 0 ? 0 : y;
        width_ = (right < surface.w ? right : surface.w) - left;
        height_ = (bottom < surface.h ? bottom : surface.h) - top;
        if (width_ <= 0 || height_ <= 0)
            width_ = height_ = 0;
        else
            first_ = static_cast<uint8_t*>(surface.pixels) + top * pitch_ + left * bytes_;
    }
    size_t size() const {
        return static_cast<size_t>(width_) * static_cast<size_t>(height_) * static_cast<size_t>(bytes_);
    }
    void save(uint8_t* to) const {
        everyRow([&](uint8_t* row, size_t at, size_t count) { std::memcpy(to + at, row, count); });
    }
    void restore(const uint8_t* from) const {
        everyRow([&](uint8_t* row, size_t at, size_t count) { std::memcpy(row, from + at, count); });
    }

private:
    template <class Work>
    void everyRow(const Work& work) const {
        const auto count = static_cast<size_t>(width_) * static_cast<size_t>(bytes_);
        for (int y = 0; y < height_; ++y)
            work(first_ + y * pitch_, static_cast<size_t>(y) * count, count);
    }

    int bytes_, pitch_, width_ = 0, height_ = 0;
    uint8_t* first_ = nullptr;
};

uint32_t pixelAt(const uint8_t* p, size_t bytes) {
    uint32_t value = 0;
    std::memcpy(reinterpret_cast<uint8_t*>(&value) + (SDL_BYTEORDER == SDL_BIG_ENDIAN ? 4 - bytes : 0), p,
                bytes);
    return value;
}

void noteDifferences(Count& count, const SDL_PixelFormat& format, const uint8_t* a, const uint8_t* b,
                     size_t size) {
    const size_t bytes = format.BytesPerPixel;
    for (size_t at = 0; at < size; at += bytes) {
        const uint32_t x = pixelAt(a + at, bytes), y = pixelAt(b + at, bytes);
        if (x == y)
            continue;
        ++count.differing;
        for (const uint32_t mask : {format.Rmask, format.Gmask, format.Bmask, format.Amask}) {
            if (!mask)
                continue;
            const auto difference = static_cast<int64_t>((x & mask) / (mask & (0 - mask))) -
                                    static_cast<int64_t>((y & mask) / (mask & (0 - mask)));
            const auto most = static_cast<uint64_t>(difference < 0 ? -difference : difference);
            count.mostDifference = most > count.mostDifference ? most : count.mostDifference;
        }
    }
}

// Both ways, the first one by turns. What stays on the surface is the second one's.
int compare(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    const Region region(*dst, srcrect, *src, dstrect);
    const size_t size = region.size();
    auto* before = static_cast<uint8_t*>(std::malloc(3 * size + 1));
    if (!before)
        return blitHere(src, srcrect, dst, dstrect);
    uint8_t* results[2] = {before + size, before + 2 * size};
    region.save(before);
    static std::atomic<unsigned> turn{0};
    const unsigned first = turn.fetch_add(1, std::memory_order_relaxed) & 1;
    uint64_t spent[2] = {};
    const SDL_Rect asked = dstrect ? *dstrect : SDL_Rect{};
    Server server = Server::kOrmsel;
    int result = 0;
    for (const unsigned way : {first, 1 - first}) {
        region.restore(before);
        if (dstrect)
            *dstrect = asked;
        wasLeftToSdl = false;
        // What restoring stored is in the cache by then: wide loads wait for narrow stores on their way
        // there.
        std::atomic_thread_fence(std::memory_order_seq_cst);
        const uint64_t start = now();
        result = (way ? blitHere : sdlsUpperBlit)(src, srcrect, dst, dstrect);
        spent[way] = since(start);
        if (way)
            server = wasLeftToSdl ? Server::kSmall : Server::kOrmsel;
        region.save(results[way]);
    }
    {
        const Guard guard;
        Count& count = countOf(kindOf(*src, *dst, server));
        const uint64_t pixels = size / dst->format->BytesPerPixel;
        ++count.blits, ++count.compared;
        count.pixels += pixels;
        // A blit during which another program had the processor tells nothing of speed.
        const uint64_t most = 100000 + 50 * pixels;
        if (spent[0] < most && spent[1] < most) {
            count.sdls += spent[0];
            count.ours += spent[1];
        }
        noteDifferences(count, *dst->format, results[0], results[1], size);
        report.everySecond();
    }
    std::free(before);
    return result;
}

int count(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect, bool serves) {
    Kind kind = kindOf(*src, *dst, Server::kSdl); // before the blit, which can change flags
    SDL_Rect corner = {0, 0, 0, 0};
    SDL_Rect* drawn = dstrect ? dstrect : &corner;
    wasLeftToSdl = false;
    const uint64_t start = now();
    const int result = blitHere(src, srcrect, dst, drawn);
    const uint64_t spent = since(start);
    if (serves)
        kind.server = wasLeftToSdl ? Server::kSmall : Server::kOrmsel;
    const Guard guard;
    Count& row = countOf(kind);
    ++row.blits;
    if (result == 0)
        row.pixels += uint64_t{drawn->w} * drawn->h;
    (wasLeftToSdl ? row.sdls : row.ours) += spent;
    report.everySecond();
    return result;
}

} // namespace

// What SDL_BlitSurface stands for.
extern "C" [[gnu::visibility("default")]] int SDL_UpperBlit(SDL_Surface* src, SDL_Rect* srcrect,
                                                            SDL_Surface* dst, SDL_Rect* dstrect) {
    if (report.mode == Mode::kServe || !src || !dst || src->locked || dst->locked)
        return blitHere(src, srcrect, dst, dstrect);
    const bool serves = ormsel::sdlServes(src, dst);
    // SDL would encode a surface that asks for it, and its later blits were no longer ours to compare.
    if (report.mode == Mode::kCompare && serves && src != dst && !(src->flags & SDL_RLEACCELOK))
        return compare(src, srcrect, dst, dstrect);
    return count(src, srcrect, dst, dstrect, serves);
}
