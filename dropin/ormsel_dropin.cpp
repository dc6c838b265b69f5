// SPDX-License-Identifier: Zlib
//
// Preloaded into a program that draws with SDL 1.2, takes the place of SDL_BlitSurface, SDL_LowerBlit and
// SDL_FillRect. Through the latter two come SDL's own copies as well: from its shadow surface to the screen,
// and of SDL_ConvertSurface. ormsel-run sets the environment, dropin_counts.cpp tells what of.
#include <cstring>

#include <sys/mman.h>

#include "dropin_counts.h"
#include "dropin_sdl.h"

using namespace dropin;

namespace {

uint8_t* pixelAt(const SDL_Surface& s, int x, int y) {
    return static_cast<uint8_t*>(s.pixels) + (s.locked ? 0 : s.offset) + ptrdiff_t{y} * s.pitch +
           ptrdiff_t{x} * s.format->BytesPerPixel;
}

// --- Comparing ----------------------------------------------------------------------------------------

// A rectangle of a surface, saved and put back. What lies outside the surface isn't a part of it.
class Region {
public:
    Region(const SDL_Surface& surface, const SDL_Rect& r) : surface_(surface) {
        const int right = r.x + r.w, bottom = r.y + r.h;
        left_ = r.x < 0 ? 0 : r.x;
        top_ = r.y < 0 ? 0 : r.y;
        const int width = (right < surface.w ? right : surface.w) - left_;
        height_ = (bottom < surface.h ? bottom : surface.h) - top_;
        rowBytes_ = width > 0 ? static_cast<size_t>(width) * surface.format->BytesPerPixel : 0;
    }
    size_t size() const { return height_ > 0 ? rowBytes_ * static_cast<size_t>(height_) : 0; }
    uint64_t pixels() const { return size() / surface_.format->BytesPerPixel; }
    void save(uint8_t* to) const {
        everyRow([&](uint8_t* row) {
            std::memcpy(to, row, rowBytes_);
            to += rowBytes_;
        });
    }
    void restore(const uint8_t* from) const {
        everyRow([&](uint8_t* row) {
            std::memcpy(row, from, rowBytes_);
            from += rowBytes_;
        });
    }

private:
    template <class Work>
    void everyRow(const Work& work) const {
        for (int y = 0; y < height_ && rowBytes_; ++y)
            work(pixelAt(surface_, left_, top_ + y));
    }

    const SDL_Surface& surface_;
    int left_, top_, height_;
    size_t rowBytes_;
};

uint32_t loadPixel(const uint8_t* p, size_t bytes) {
    uint32_t value = 0;
    std::memcpy(reinterpret_cast<uint8_t*>(&value) + (SDL_BYTEORDER == SDL_BIG_ENDIAN ? 4 - bytes : 0), p,
                bytes);
    return value;
}

void add(Number& number, uint64_t n) {
    number.fetch_add(n, std::memory_order_relaxed);
}

void noteDifferences(Count& count, const SDL_PixelFormat& format, const uint8_t* a, const uint8_t* b,
                     size_t size) {
    const size_t bytes = format.BytesPerPixel;
    uint64_t differing = 0, spare = 0, most = count.mostDifference;
    for (size_t at = 0; at < size; at += bytes) {
        const uint32_t x = loadPixel(a + at, bytes), y = loadPixel(b + at, bytes);
        if (x == y)
            continue;
        uint64_t mostHere = format.palette ? 1 : 0;
        for (const uint32_t mask : {format.Rmask, format.Gmask, format.Bmask, format.Amask}) {
            if (!mask)
                continue;
            const auto difference = static_cast<int64_t>((x & mask) / (mask & (0 - mask))) -
                                    static_cast<int64_t>((y & mask) / (mask & (0 - mask)));
            const auto size1 = static_cast<uint64_t>(difference < 0 ? -difference : difference);
            mostHere = size1 > mostHere ? size1 : mostHere;
        }
        ++(mostHere ? differing : spare);
        most = mostHere > most ? mostHere : most;
    }
    add(count.differing, differing);
    add(count.spareDiffering, spare);
    count.mostDifference = most;
}

// What SDL draws from where Ormsel's source asks for run-length encoding: that would be taken away from it,
// and all its later blits were SDL's. SDL encodes it by the first blit.
class Copy {
public:
    explicit Copy(SDL_Surface& of) : of_(of) {
        if (!(of.flags & SDL_RLEACCELOK))
            return;
        const auto create = sdlFunction<decltype(SDL_CreateRGBSurface)>("SDL_CreateRGBSurface");
        const auto setAlpha = sdlFunction<decltype(SDL_SetAlpha)>("SDL_SetAlpha");
        const auto setKey = sdlFunction<decltype(SDL_SetColorKey)>("SDL_SetColorKey");
        if (!create || !setAlpha || !setKey)
            return;
        const SDL_PixelFormat& f = *of.format;
        copy_ = create(SDL_SWSURFACE, of.w, of.h, f.BitsPerPixel, f.Rmask, f.Gmask, f.Bmask, f.Amask);
        if (!copy_)
            return;
        for (int y = 0; y < of.h; ++y)
            std::memcpy(pixelAt(*copy_, 0, y), pixelAt(of, 0, y),
                        static_cast<size_t>(of.w) * f.BytesPerPixel);
        if (of.flags & SDL_SRCCOLORKEY)
            setKey(copy_, SDL_SRCCOLORKEY | SDL_RLEACCEL, f.colorkey);
        setAlpha(copy_, of.flags & SDL_SRCALPHA ? SDL_SRCALPHA | SDL_RLEACCEL : 0, f.alpha);
    }
    ~Copy() {
        if (copy_)
            sdlFunction<decltype(SDL_FreeSurface)>("SDL_FreeSurface")(copy_);
    }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;

    // nullptr: a copy is needed, and there is none.
    SDL_Surface* surface() const { return of_.flags & SDL_RLEACCELOK ? copy_ : &of_; }
    bool isCopy() const { return copy_; }

private:
    SDL_Surface& of_;
    SDL_Surface* copy_ = nullptr;
};

// Memory that isn't the heap's: a handler of a signal that leaves the program finds that as it was.
class Pages {
public:
    explicit Pages(size_t size)
        : size_(size),
          begin_(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
    ~Pages() {
        if (begin())
            munmap(begin_, size_);
    }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    uint8_t* begin() const { return begin_ == MAP_FAILED ? nullptr : static_cast<uint8_t*>(begin_); }

private:
    size_t size_;
    void* begin_;
};

// Draws both ways, the first one by turns. What stays on the surface is Ormsel's.
// `draw(ours)` draws with Ormsel or SDL and returns the result; `setServer` names the row.
template <class Draw, class KindOf>
int compare(const SDL_Surface& dst, const SDL_Rect& area, bool sdlNeedsTwo, const Draw& draw,
            const KindOf& kindOf) {
    const Region region(dst, area);
    const size_t size = region.size();
    const Pages pages(3 * size + 1);
    uint8_t* before = pages.begin();
    if (!before) {
        const int result = draw(true);
        Count& count = countOf(kindOf(Server::kUncompared));
        add(count.blits, 1);
        add(count.pixels, region.pixels());
        return result;
    }
    uint8_t* results[2] = {before + size, before + 2 * size};
    region.save(before);
    if (sdlNeedsTwo) {
        draw(false);
        region.restore(before);
    }
    static std::atomic<unsigned> turn{0};
    const unsigned first = turn.fetch_add(1, std::memory_order_relaxed) & 1;
    uint64_t spent[2] = {};
    Server server = Server::kOrmsel;
    int result = 0;
    for (const unsigned way : {first, 1 - first}) {
        region.restore(before);
        wasLeftToSdl = false;
        // What restoring stored is in the cache by then: wide loads wait for narrow stores on their way
        // there.
        std::atomic_thread_fence(std::memory_order_seq_cst);
        const uint64_t start = now();
        const int drawn = draw(way == 1);
        spent[way] = since(start);
        if (way) {
            result = drawn;
            constexpr uint64_t kFew = 64;
            if (wasLeftToSdl)
                server = region.pixels() <= kFew ? Server::kSmall : Server::kReaching;
        }
        region.save(results[way]);
    }
    if (first == 1)
        region.restore(results[1]);
    Count& count = countOf(kindOf(server));
    add(count.blits, 1);
    add(count.compared, 1);
    add(count.pixels, region.pixels());
    // A blit during which another program had the processor tells nothing of speed.
    const uint64_t most = 100000 + 50 * region.pixels();
    if (spent[0] < most && spent[1] < most) {
        add(count.sdls, spent[0]);
        add(count.ours, spent[1]);
    }
    noteDifferences(count, *dst.format, results[0], results[1], size);
    reportEverySecond();
    return result;
}

// --- Counting -----------------------------------------------------------------------------------------

// Draws, and notes who did it. `serves`: whether Ormsel draws the kind in general.
template <class Draw, class KindOf>
int count(uint64_t pixels, bool serves, const Draw& draw, const KindOf& kindOf) {
    // Before the drawing, which can change flags.
    const Kind kinds[] = {kindOf(Server::kOrmsel), kindOf(Server::kSmall), kindOf(Server::kReaching),
                          kindOf(Server::kSdl)};
    wasLeftToSdl = false;
    const uint64_t start = now();
    const int result = draw(true);
    const uint64_t spent = since(start);
    constexpr uint64_t kFew = 64;
    Count& row = countOf(kinds[!serves ? 3 : !wasLeftToSdl ? 0 : pixels <= kFew ? 1 : 2]);
    add(row.blits, 1);
    add(row.pixels, result == 0 ? pixels : 0);
    add(wasLeftToSdl ? row.sdls : row.ours, spent);
    reportEverySecond();
    return result;
}

// A blit that is clipped already.
int measureBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    const bool serves = ormsel::sdlServes(src, dst);
    const SDL_Rect from = *srcrect, to = *dstrect;
    const auto kindOf = [&](Server server) { return blitKind(*src, *dst, server); };
    if (mode() == Mode::kCompare && serves && from.w == to.w && from.h == to.h) {
        const Copy copy(*src);
        if (copy.surface()) {
            const auto draw = [&](bool ours) {
                SDL_Rect part = from, drawn = to;
                return ours ? ormsel::sdlLowerBlit(kSdlsOwn, src, &part, dst, &drawn)
                            : lowerBlit(copy.surface(), &part, dst, &drawn);
            };
            return compare(*dst, to, copy.isCopy(), draw, kindOf);
        }
    }
    const auto draw = [&](bool) { return ormsel::sdlLowerBlit(kSdlsOwn, src, srcrect, dst, dstrect); };
    return count(uint64_t{to.w} * to.h, serves, draw, kindOf);
}

// The part of a fill that lies in the clip rectangle.
SDL_Rect filledPart(const SDL_Surface& dst, const SDL_Rect* dstrect) {
    const SDL_Rect& clip = dst.clip_rect;
    if (!dstrect)
        return clip;
    const int left = dstrect->x > clip.x ? dstrect->x : clip.x,
              top = dstrect->y > clip.y ? dstrect->y : clip.y;
    const int right = dstrect->x + dstrect->w, clipRight = clip.x + clip.w;
    const int bottom = dstrect->y + dstrect->h, clipBottom = clip.y + clip.h;
    const int width = (right < clipRight ? right : clipRight) - left;
    const int height = (bottom < clipBottom ? bottom : clipBottom) - top;
    if (width <= 0 || height <= 0)
        return {};
    return {static_cast<Sint16>(left), static_cast<Sint16>(top), static_cast<Uint16>(width),
            static_cast<Uint16>(height)};
}

int measureFill(SDL_Surface* dst, SDL_Rect* dstrect, Uint32 color) {
    const bool serves = ormsel::sdlServesFill(dst);
    const SDL_Rect part = filledPart(*dst, dstrect), asked = dstrect ? *dstrect : part;
    const auto kindOf = [&](Server server) { return fillKind(*dst, server); };
    const auto draw = [&](bool ours) {
        if (dstrect)
            *dstrect = asked;
        return ours ? ormsel::sdlFillRect(kSdlsOwn, dst, dstrect, color) : fillRect(dst, dstrect, color);
    };
    return mode() == Mode::kCompare && serves ? compare(*dst, part, false, draw, kindOf)
                                              : count(uint64_t{part.w} * part.h, serves, draw, kindOf);
}

} // namespace

// --- SDL's functions ----------------------------------------------------------------------------------

#define EXPORTED extern "C" [[gnu::visibility("default")]]

// What SDL_BlitSurface stands for.
EXPORTED int SDL_UpperBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    if (!isSdl12())
        return upperBlit(src, srcrect, dst, dstrect);
    if (mode() == Mode::kServe || !src || !dst || src->locked || dst->locked)
        return ormsel::sdlBlitSurface(kSdlsOwn, src, srcrect, dst, dstrect);
    SDL_Rect corner = {0, 0, 0, 0}, part;
    SDL_Rect& drawn = dstrect ? *dstrect : corner;
    return ormsel::sdlClip(*src, srcrect, *dst, drawn, part) ? measureBlit(src, &part, dst, &drawn) : 0;
}

EXPORTED int SDL_LowerBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    if (!isSdl12())
        return lowerBlit(src, srcrect, dst, dstrect);
    return mode() == Mode::kServe ? ormsel::sdlLowerBlit(kSdlsOwn, src, srcrect, dst, dstrect)
                                  : measureBlit(src, srcrect, dst, dstrect);
}

EXPORTED int SDL_FillRect(SDL_Surface* dst, SDL_Rect* dstrect, Uint32 color) {
    if (!isSdl12())
        return fillRect(dst, dstrect, color);
    return mode() == Mode::kServe || !dst ? ormsel::sdlFillRect(kSdlsOwn, dst, dstrect, color)
                                          : measureFill(dst, dstrect, color);
}
