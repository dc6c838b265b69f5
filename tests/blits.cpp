// SPDX-License-Identifier: Zlib
#include "blits.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include <sys/mman.h>

#include <graphics/rastport.h>
#include <ormsel/ormsel.h>
#include <ormsel/ormsel_formats.h>
#include <ormsel/ormsel_target.h>

#include "blt/blt_fallback.h"
#include "blt/blt_routines.h"
#include "tests/faults.h"

// --- Entry points -------------------------------------------------------------------------------------

namespace {

// A call's arguments as the entry points take them.
struct Arguments {
    long sx, sy, dx, dy;
    unsigned long w, h;
    unsigned char alpha;
    SDL_Rect from, to; // of `to` the size is ignored
    RastPort port{};

    explicit Arguments(const Call& c) {
        sx = c.blit.srcX + c.carry, sy = c.blit.srcY + c.carry;
        dx = c.blit.dstX - c.carry, dy = c.blit.dstY + c.carry;
        w = static_cast<unsigned long>(c.blit.width + 2 * c.carry);
        h = static_cast<unsigned long>(c.blit.height - c.carry);
        alpha = static_cast<unsigned char>(c.blit.alpha);
        from = {static_cast<Sint16>(sx), static_cast<Sint16>(sy), static_cast<Uint16>(w),
                static_cast<Uint16>(h)};
        to = {static_cast<Sint16>(dx), static_cast<Sint16>(dy), 3, 9};
        port.BitMap = c.dst, port.Layer = c.layer;
    }
};

} // namespace

#define ENTRY(id, name, fromSurface, ontoSurface, takesMask, ...)                                            \
    const Entry id = {name, fromSurface, ontoSurface, takesMask, [](const Call& c) {                         \
                          Arguments a(c);                                                                    \
                          return __VA_ARGS__;                                                                \
                      }};

ENTRY(kSurface, "SDL_BlitAlphaSurface", true, true, false, SDL_BlitAlphaSurface(c.src, &a.from, c.dst, &a.to))
ENTRY(kSurfaceWhole, "SDL_BlitAlphaSurface of a whole source", true, true, false,
      SDL_BlitAlphaSurface(c.src, nullptr, c.dst, &a.to))
ENTRY(kSurfaceCorner, "SDL_BlitAlphaSurface without rectangles", true, true, false,
      SDL_BlitAlphaSurface(c.src, nullptr, c.dst, nullptr))
ENTRY(kSurfaceMasked, "SDL_BlitSurfaceAlphaMask", true, true, true,
      SDL_BlitSurfaceAlphaMask(c.src, a.sx, a.sy, c.dst, a.dx, a.dy, a.w, a.h, c.mask, a.alpha, c.blit.flags))
ENTRY(kSurfaceToBitmap, "SDL_BlitAlphaSurfaceBitMap", true, false, false,
      SDL_BlitAlphaSurfaceBitMap(c.src, a.sx, a.sy, c.dst, a.dx, a.dy, a.w, a.h, c.blit.flags))
ENTRY(kBitmapToSurface, "SDL_BlitAlphaBitMapSurface", false, true, false,
      SDL_BlitAlphaBitMapSurface(c.src, a.sx, a.sy, c.dst, a.dx, a.dy, a.w, a.h, a.alpha, c.blit.flags))
ENTRY(kBitmap, "BltAlphaBitMap", false, false, false,
      BltAlphaBitMap(c.src, a.sx, a.sy, c.dst, a.dx, a.dy, a.w, a.h, a.alpha, c.blit.flags))
ENTRY(kBitmapMasked, "BltBitMapAlphaMask", false, false, true,
      BltBitMapAlphaMask(c.src, a.sx, a.sy, c.dst, a.dx, a.dy, a.w, a.h, c.mask, a.alpha, c.blit.flags))
ENTRY(kSurfaceToRastPort, "SDL_BlitAlphaSurfaceRastPort", true, false, false,
      SDL_BlitAlphaSurfaceRastPort(c.src, a.sx, a.sy, &a.port, a.dx, a.dy, a.w, a.h, c.blit.flags))
ENTRY(kBitmapToRastPort, "BltAlphaBitMapRastPort", false, false, false,
      BltAlphaBitMapRastPort(c.src, a.sx, a.sy, &a.port, a.dx, a.dy, a.w, a.h, a.alpha, c.blit.flags))
// Its row count is no 16-bit argument.
ENTRY(kArray, "WriteAlphaPixelArray", true, false, false,
      WriteAlphaPixelArray(c.array, a.sx, c.blit.srcY, static_cast<unsigned long>(c.blit.src.pitch), &a.port,
                           a.dx, a.dy, a.w, static_cast<unsigned long>(c.blit.height), a.alpha,
                           static_cast<unsigned char>(c.blit.src.format.code)))

const std::vector<const Entry*> kEntries = {
    &kSurface,           &kSurfaceWhole,     &kSurfaceCorner, &kSurfaceMasked,
    &kSurfaceToBitmap,   &kBitmapToSurface,  &kBitmap,        &kBitmapMasked,
    &kSurfaceToRastPort, &kBitmapToRastPort, &kArray};

// --- Routines -----------------------------------------------------------------------------------------

namespace {

// A routine with a name blends. The others are reached by their operation's flag.
struct Route {
    const char* name;
    uint32_t from, onto, flag;
    BltRoutine run;
};
#define OPERATION(name, flag, prefix)                                                                        \
    constexpr Route by##name(const char* routine, uint32_t from, uint32_t onto, BltRoutine named) {          \
        return {(flag) ? prefix "BLT_FallbackBltContext" : routine, from, onto, flag,                        \
                (flag) ? BLT_FallbackBltContext : named};                                                    \
    }
ORMSEL_OPERATIONS(OPERATION)
#define ROUTE(operation, source, destination, rule)                                                          \
    by##operation("BLT_" #source "_" #destination, RGBFB_##source, RGBFB_##destination,                      \
                  BLT_##source##_##destination),
constexpr Route kRoutes[] = {ORMSEL_ROUTES(ROUTE)};

struct Generic {
    bool narrowSource, narrowDestination, masked;
    const char* name;
    unsigned long (*run)(const BltContext*, unsigned char alphaFill);
};
#define GENERIC(...) #__VA_ARGS__, __VA_ARGS__
constexpr Generic kGenerics[] = {
    {true, true, false, GENERIC(BLT_FallbackBltT<unsigned short, unsigned short>)},
    {false, true, false, GENERIC(BLT_FallbackBltT<unsigned long, unsigned short>)},
    {false, false, false, GENERIC(BLT_FallbackBltT<unsigned long, unsigned long>)},
    {false, true, true, GENERIC(BLT_FallbackBltMaskT<unsigned long, unsigned short>)},
    {false, false, true, GENERIC(BLT_FallbackBltMaskT<unsigned long, unsigned long>)}};

// --- Random cases -------------------------------------------------------------------------------------

struct Geometry {
    Kind kind;
    long width, height, pitch;
    bool bottomUp = false;
    long bytes() const { return memoryOf(kind, width, height, pitch); }
    // Where the first pixel lies in memory that begins at `at`.
    long first(long at) const { return at + (bottomUp && height ? (height - 1) * pitch : 0); }
};

class Case {
public:
    Case(Random& random, Arena& arena) : random_(random), arena_(arena) {}

    std::string throughEntry() {
        entry_ = random_.of(kEntries);
        chooseImages();
        chooseRequest();
        model::Blit drawn = blit_;
        if (model::clip(drawn))
            model::draw(arena_.memory, drawn);
        const Call call{blit_,
                        src_,
                        target(),
                        mask_,
                        arena_.at(blit_.src.first),
                        random_.oneIn(16) ? 65536 * random_.between(-2, 2) : 0};
        std::string wrong = compare(drawn, entry_->name, [&] { return entry_->call(call); });
        for (const Picture* p : {&src_, &dst_, &mask_})
            if (p->sdl() && p->sdl()->locked != 0)
                wrong += std::string(entry_->name) + " leaves a surface locked\n";
        return wrong;
    }

    std::string throughContext() {
        const long kind = random_.upTo(2);
        if (kind == 0)
            route_ = &random_.of(kRoutes);
        else if (kind == 1)
            generic_ = &random_.of(kGenerics);
        chooseImages();
        chooseRequest();
        if (!model::clip(blit_))
            return {};
        if (!route_)
            chooseOddFormats();
        if (random_.oneIn(40))
            (random_.oneIn(2) ? blit_.width : blit_.height) = 0;
        for (model::Image* image : {&blit_.src, &blit_.dst, &blit_.mask}) // nothing keeps it inside
            image->begin = 0, image->end = static_cast<long>(arena_.memory.bytes.size());
        static constexpr unsigned char kFills[] = {0, 255, 255, 0x5A};
        const unsigned char fill = random_.of(kFills);
        BltContext ctx = contextFor(blit_, arena_.at(0));
        if (!blit_.masked && random_.oneIn(4)) { // a mask that nothing unmasked looks at
            ctx.maskPixels = arena_.at(arena_.begin(2));
            ctx.maskPitch = 16;
        }
        if (generic_) {
            model::drawGeneric(arena_.memory, blit_, fill);
            return compare(blit_, generic_->name, [&] { return generic_->run(&ctx, fill); });
        }
        model::draw(arena_.memory, blit_);
        if (route_)
            return compare(blit_, route_->name, [&] { return route_->run(&ctx); });
        return blit_.masked
                   ? compare(blit_, "BLT_FallbackBltMaskContext",
                             [&] { return BLT_FallbackBltMaskContext(&ctx); })
                   : compare(blit_, "BLT_FallbackBltContext", [&] { return BLT_FallbackBltContext(&ctx); });
    }

private:
    // Runs what the model has drawn already. One page of the destination can't be written meanwhile: a fault
    // must come when the model writes there, be it an old value, and else only if the blit's rectangle has a
    // part of the page that may be read and written back.
    template <class Work>
    std::string compare(const model::Blit& drawn, const char* name, const Work& work) {
        const Range page = pageOfDestination(), &all = windows_[1];
        const bool written = arena_.writes({std::max(page.from, all.from), std::min(page.to, all.to)});
        // A fault would leave images locked and row copies allocated.
        const bool mayFault = !entry_ && (generic_ || !model::takesMemory(blit_));
        const bool mustFault = written && mayFault && random_.oneIn(2);
        const bool mayTouch = !touchesOnlyWhatItDraws(drawn) && rectangleMeets(drawn, page);
        // A routine that stores nothing doesn't even look at the destination.
        const bool untouched = mayFault && !arena_.writes(all) && all.from >= arena_.begin(1) &&
                               (!blit_.masked || windows_[2].from >= arena_.begin(2));
        if (mustFault || (!written && !mayTouch))
            arena_.protect(page, untouched ? PROT_NONE : PROT_READ);
        // One allocation must do for a whole blit.
        allocationFault.arm(blit_.noMemory ? 0 : allocations_, 1000000);
        unsigned long result = 0;
        bool fault = false;
        std::string wrong = printedBy([&] { fault = faults([&] { result = work(); }); });
        allocationFault.disarm();
        arena_.protect(page, PROT_READ | PROT_WRITE);
        if (fault != mustFault)
            wrong += fault ? "touches what it must not\n" : "leaves out a store\n";
        if (result != 0)
            wrong += "its result is not 0\n";
        if (heldBitMapLocks != 0)
            wrong += "leaves a bitmap locked\n";
        for (const Range& window : windows_)
            if (wrong.empty() && !fault)
                wrong = arena_.difference(window, drawn);
        return wrong.empty() ? wrong : name + (": " + wrong) + describe(drawn);
    }

    // Whether pixels that aren't drawn are neither read nor written.
    static bool touchesOnlyWhatItDraws(const model::Blit& drawn) {
        return drawn.dst.onBoard || std::string_view(ormsel_TargetName()) == "scalar";
    }

    // Whether a clipped blit's rectangle lies on a page, with the byte behind each row of 24-bit pixels.
    static bool rectangleMeets(const model::Blit& drawn, const Range& page) {
        const model::Image& dst = drawn.dst;
        for (long y = drawn.dstY; y < drawn.dstY + drawn.height; ++y) {
            const long bytes = dst.format.bytes, row = dst.first + y * dst.pitch + drawn.dstX * bytes;
            if (row < page.to && row + drawn.width * bytes + (bytes == 3 ? 1 : 0) > page.from)
                return true;
        }
        return false;
    }

    // One of the pages that the destination lies on.
    Range pageOfDestination() {
        const long page = Arena::page(), first = windows_[1].from / page;
        const long at = page * (first + random_.upTo((windows_[1].to - 1) / page - first));
        return {at, at + page};
    }

    // Rows are padded, tight, as of a view of a wider image, shorter than their pixels, or (surfaces) longer
    // than 32767 bytes; and (bitmaps) stored from the last one up.
    Geometry geometry(const Kind& kind) {
        if (large_)
            return {kind, 6000 + random_.upTo(100), 400 * 1024 / 6000 / kind.bytes() + 1,
                    6100 * kind.bytes()};
        const bool wide = random_.oneIn(16);
        Geometry g{kind, random_.upTo(12), random_.upTo(wide ? 4 : 7), 0};
        if (wide)
            g.width = random_.oneIn(8) ? random_.between(780, 820) : random_.upTo(100);
        const long row = g.width * kind.bytes();
        g.pitch = row + (random_.oneIn(3) ? 0 : random_.upTo(random_.oneIn(4) ? 200 : 9));
        const bool ofSurface = entry_ && kind.code == RGBFB_NONE;
        if (entry_ && random_.oneIn(100))
            g.pitch = ofSurface && (kind.depth == 8 || random_.oneIn(16)) ? random_.between(32760, 65535)
                                                                          : random_.upTo(row);
        g.bottomUp = !ofSurface && random_.oneIn(5);
        return g;
    }

    // A place for `bytes` bytes: most often flush against one of the area's guards, or across two pages.
    // Bare contexts may leave their images a little.
    long place(long area, long bytes) {
        const long margin = entry_ ? 0 : kMargin, room = arena_.size() - bytes - margin;
        const long at = random_.oneIn(3)   ? room
                        : random_.oneIn(2) ? Arena::page() - random_.upTo(std::min(bytes, Arena::page()))
                        : random_.oneIn(2) ? 0
                                           : random_.upTo(64);
        return arena_.begin(area) + std::clamp(at, margin, room);
    }

    // An image and the margins around it.
    Range window(long area, long at, long bytes) const {
        return {std::max(arena_.begin(area), at - kMargin),
                std::min(arena_.begin(area) + arena_.size(), at + bytes + kMargin)};
    }

    Picture picture(const Kind& kind, long at, const Geometry& g) {
        const long pitch = g.bottomUp ? -g.pitch : g.pitch;
        return {kind, arena_.at(g.first(at)), g.width, g.height, pitch, random_.oneIn(2)};
    }

    Kind kindFor(bool surface) {
        return random_.of((entry_ ? surface : random_.oneIn(2)) ? kSurfaceKinds : kBitmapKinds);
    }

    // Whether these kinds are what the call takes.
    bool fits(const Kind& from, const Kind& onto, bool routed) const {
        if (generic_) // none of them serves 24 bits onto 24
            return (from.bytes() == 2) == generic_->narrowSource &&
                   (onto.bytes() == 2) == generic_->narrowDestination && from.bytes() + onto.bytes() != 6;
        return !routed || std::any_of(std::begin(kRoutes), std::end(kRoutes), [&](const Route& r) {
            return r.from == from.recognised() && r.onto == onto.recognised() && (!route_ || route_ == &r);
        });
    }

    void chooseImages() {
        const bool fromSurface = entry_ && entry_->fromSurface, ontoSurface = entry_ && entry_->ontoSurface;
        large_ = random_.oneIn(4000);
        const bool routed = route_ || large_ || random_.oneIn(2);
        Kind from{}, onto{};
        do {
            from = kindFor(fromSurface);
            if (entry_ == &kArray)
                from = surfaceKind(static_cast<uint32_t>(random_.between(RGBFB_A8R8G8B8, RGBFB_B8G8R8A8)));
            onto = kindFor(ontoSurface);
        } while (!fits(from, onto, routed));

        const bool shared = !large_ && random_.oneIn(5);
        same_ = shared && entry_ && random_.oneIn(2) && fromSurface == ontoSurface;
        Geometry s = geometry(from);
        if (entry_ == &kArray) // which is as wide as its pitch
            s.width = s.pitch / 4;
        Geometry d = same_ ? s : geometry(onto);
        // Columns of one larger image.
        if (shared && random_.oneIn(2) && d.width * onto.bytes() <= s.pitch && s.pitch <= 32767)
            d.pitch = s.pitch;
        const long shift = same_ || !shared ? 0 : random_.upTo(s.bytes());
        const long srcAt = place(0, shared ? std::max(s.bytes(), shift + d.bytes()) : s.bytes());
        const long dstAt = shared ? srcAt + shift : place(1, d.bytes());
        windows_[0] = window(0, srcAt, s.bytes());
        windows_[1] = window(shared ? 0 : 1, dstAt, d.bytes());
        src_ = picture(from, srcAt, s);
        blit_.src = src_.image(s.first(srcAt));
        if (!same_)
            dst_ = picture(onto, dstAt, d);
        blit_.dst = target().image(d.first(dstAt));

        blit_.masked = entry_     ? entry_->takesMask && !random_.oneIn(8)
                       : generic_ ? generic_->masked
                                  : !route_ && random_.oneIn(3);
        if (blit_.masked) {
            const Kind& kind = fromSurface ? kSurfaceMask : kBitmapMask;
            const Geometry m =
                entry_ && random_.oneIn(3) ? geometry(kind) : Geometry{kind, s.width, s.height, s.width};
            const bool overDestination = random_.oneIn(20) && m.bytes() <= d.bytes();
            const long maskAt = overDestination ? dstAt : place(2, m.bytes());
            windows_[2] = overDestination ? windows_[1] : window(2, maskAt, m.bytes());
            mask_ = picture(kind, maskAt, m);
            blit_.mask = mask_.image(m.first(maskAt));
        }
        for (const Range& w : windows_)
            random_.fill(arena_.at(w.from), w.to - w.from);
        const Range& hidden = windows_[blit_.masked ? 2 : 0];
        if (random_.oneIn(12)) // all of it transparent, if it has alpha
            std::fill(arena_.at(hidden.from), arena_.at(hidden.to), uint8_t{0});
        for (const Range& w : windows_)
            arena_.share(w);
    }

    // What programs may write into a record themselves: codes that no routine knows, which leave the choice
    // to the depths, a depth of 8 bits, which draws nothing, and any shift and loss.
    void chooseOddFormats() {
        for (model::Format* format : {&blit_.src.format, &blit_.dst.format}) {
            static constexpr uint32_t kUnknown[] = {0, 1, 4, 5, 11, 12, 15, 20, 21, 0x80000002};
            static constexpr uint32_t kShifts[] = {0,  1,  7,  8,  9,  13, 15,  16,
                                                   22, 23, 24, 31, 32, 40, 200, 255};
            if (!generic_ && random_.oneIn(20))
                *format = {1, 1, {}, {}, {}, {}};
            else if (!generic_ && format->code != RGBFB_R5G6B5 && random_.oneIn(4)) {
                const uint32_t code = random_.of(kUnknown);
                if (std::ranges::none_of(kRoutes,
                                         [=](const Route& r) { return r.from == code || r.onto == code; }))
                    format->code = code;
            }
            // An alpha of more than 8 bits has more cases than colours that overflow.
            model::Channel* const channels[] = {&format->a, &format->a, &format->a,
                                                &format->r, &format->g, &format->b};
            model::Channel& channel = *random_.of(channels);
            if (random_.oneIn(6) && format->bytes > 1)
                channel.shift = random_.of(kShifts);
            if (random_.oneIn(6) && format->bytes > 1)
                channel.loss = static_cast<uint32_t>(random_.upTo(8));
        }
    }

    const Picture& target() const { return same_ ? src_ : dst_; }

    long coordinate(long extent) {
        if (random_.oneIn(50))
            return random_.between(-32768, 32767);
        return random_.oneIn(2) ? random_.upTo(extent) : random_.between(-extent - 2, 2 * extent + 2);
    }

    long size(long extent) {
        if (random_.oneIn(50))
            return random_.upTo(65535);
        return random_.oneIn(2) ? extent : random_.upTo(extent + 2);
    }

    // An unclipped request that the entry point can make.
    void chooseRequest() {
#define FLAG(name, flag, prefix) (flag), (flag) | ORMSEL_BLIT_COPY,
#define OR_FLAG(name, flag, prefix) | flag
        static constexpr uint32_t kFlags[] = {ORMSEL_OPERATIONS(FLAG) 0, 1, 3, 4, 5, 0xFFFFFFFB, 0xFFFFFFFF};
        model::Blit& b = blit_;
        allocations_ = random_.oneIn(20) ? 1 : 1000;
        b.noMemory = random_.oneIn(40);
        b.srcX = random_.oneIn(3) ? 0 : coordinate(b.src.width / 2);
        b.srcY = random_.oneIn(3) ? 0 : coordinate(b.src.height / 2);
        b.dstX = coordinate(b.dst.width / 2);
        b.dstY = coordinate(b.dst.height / 2);
        b.width = size(b.src.width);
        b.height = size(b.src.height);
        b.alpha = random_.oneIn(3)   ? static_cast<uint32_t>(random_.upTo(255))
                  : random_.oneIn(2) ? 255
                                     : random_.of(kConstantAlphas);
        b.flags = random_.of(kFlags);
        if (route_) // a routine with a name doesn't ask what else is wanted
            b.flags = (b.flags & ~uint32_t{0U ORMSEL_OPERATIONS(OR_FLAG)}) | route_->flag;
        if (large_) { // all of it copied
            b.srcX = b.srcY = b.dstX = b.dstY = 0;
            b.width = b.src.width, b.height = b.src.height;
            b.alpha = 255, b.flags = ORMSEL_BLIT_COPY;
        }
        if (!entry_)
            return;
        if (entry_ != &kSurfaceMasked && entry_ != &kArray && src_.sdl()) {
            const bool use = !random_.oneIn(8);
            src_.setAlpha(use, b.alpha);
            b.alpha = use ? b.alpha : 255;
        }
        if (entry_ == &kSurface || entry_ == &kSurfaceWhole || entry_ == &kSurfaceCorner)
            b.flags = 1;
        if (entry_ == &kSurfaceWhole || entry_ == &kSurfaceCorner) {
            b.srcX = b.srcY = 0;
            b.width = b.src.width;
            b.height = b.src.height;
        }
        if (entry_ == &kSurfaceCorner)
            b.dstX = b.dstY = 0;
        if (entry_ == &kArray) {
            b.flags = 0;
            b.srcY = random_.upTo(std::max(0L, b.src.height - 1));
            b.height = b.src.height - b.srcY;
        }
    }

    static constexpr long kMargin = 32; // bytes on either side of an image that are compared, too

    Random& random_;
    Arena& arena_;
    const Entry* entry_ = nullptr; // what is called; or, with a bare context,
    const Route* route_ = nullptr;
    const Generic* generic_ = nullptr; // or, with none of them, a dispatcher
    model::Blit blit_{};
    std::array<Range, 3> windows_{}; // of source, destination and mask
    Picture src_, dst_, mask_;
    long allocations_ = 0;
    bool same_ = false;  // one image is source and destination
    bool large_ = false; // more than the processor's inner caches hold
};

} // namespace

std::string randomBlit(Random& random, Arena& arena) {
    return Case(random, arena).throughEntry();
}

std::string randomContext(Random& random, Arena& arena) {
    return Case(random, arena).throughContext();
}
