// SPDX-License-Identifier: Zlib
#include "blits.h"

#include <algorithm>
#include <array>

#include <graphics/rastport.h>

#include "ormsel/ormsel.h"
#include "tests/faults.h"

bool sourceIsSurface(Entry entry) {
    return entry != Entry::BitmapToSurface && entry != Entry::Bitmap && entry != Entry::BitmapMask &&
           entry != Entry::BitmapToRastPort;
}

bool destinationIsSurface(Entry entry) {
    return entry <= Entry::SurfaceMask || entry == Entry::BitmapToSurface;
}

bool takesMask(Entry entry) {
    return entry == Entry::SurfaceMask || entry == Entry::BitmapMask;
}

unsigned long callEntry(Entry entry, const model::Blit& blit, const Picture& src, const Picture& dst,
                        const Picture& mask, void* array, long carry) {
    const long sx = blit.srcX + carry, sy = blit.srcY + carry;
    const long dx = blit.dstX - carry, dy = blit.dstY + carry;
    const auto w = static_cast<unsigned long>(blit.width + 2 * carry);
    const auto h = static_cast<unsigned long>(blit.height - carry);
    const auto alpha = static_cast<unsigned char>(blit.alpha);
    RastPort port{};
    port.BitMap = dst.native();
    SDL_Rect from = {static_cast<Sint16>(blit.srcX), static_cast<Sint16>(blit.srcY),
                     static_cast<Uint16>(blit.width), static_cast<Uint16>(blit.height)};
    SDL_Rect to = {static_cast<Sint16>(blit.dstX), static_cast<Sint16>(blit.dstY), 3, 9}; // size ignored
    switch (entry) {
    case Entry::Surface:
        return SDL_BlitAlphaSurface(src.sdl(), &from, dst.sdl(), &to);
    case Entry::SurfaceWhole:
        return SDL_BlitAlphaSurface(src.sdl(), nullptr, dst.sdl(), &to);
    case Entry::SurfaceCorner:
        return SDL_BlitAlphaSurface(src.sdl(), nullptr, dst.sdl(), nullptr);
    case Entry::SurfaceMask:
        return SDL_BlitSurfaceAlphaMask(src.sdl(), sx, sy, dst.sdl(), dx, dy, w, h, mask.sdl(), alpha,
                                        blit.flags);
    case Entry::SurfaceToBitmap:
        return SDL_BlitAlphaSurfaceBitMap(src.sdl(), sx, sy, dst.native(), dx, dy, w, h, blit.flags);
    case Entry::BitmapToSurface:
        return SDL_BlitAlphaBitMapSurface(src.native(), sx, sy, dst.sdl(), dx, dy, w, h, alpha, blit.flags);
    case Entry::Bitmap:
        return BltAlphaBitMap(src.native(), sx, sy, dst.native(), dx, dy, w, h, alpha, blit.flags);
    case Entry::BitmapMask:
        return BltBitMapAlphaMask(src.native(), sx, sy, dst.native(), dx, dy, w, h, mask.native(), alpha,
                                  blit.flags);
    case Entry::SurfaceToRastPort:
        return SDL_BlitAlphaSurfaceRastPort(src.sdl(), sx, sy, &port, dx, dy, w, h, blit.flags);
    case Entry::BitmapToRastPort:
        return BltAlphaBitMapRastPort(src.native(), sx, sy, &port, dx, dy, w, h, alpha, blit.flags);
    case Entry::Array: // its row count is no 16-bit argument
        return WriteAlphaPixelArray(array, sx, blit.srcY, static_cast<unsigned long>(blit.src.pitch), &port,
                                    dx, dy, w, static_cast<unsigned long>(blit.height), alpha,
                                    static_cast<unsigned char>(blit.src.format.code));
    }
    return 1;
}

namespace {

constexpr long margin = 32; // bytes on either side of an image that are compared, too

struct Window {
    long from, to; // bytes of the arena
};

struct Geometry {
    long width, height, pitch;
    long bytes() const { return pitch * height; }
};

bool hasOwnRoutine(const Kind& src, const Kind& dst) {
    const uint32_t from = src.recognised(), onto = dst.recognised();
    return (onto == 10 && from >= 2 && from <= 10) || (onto == 6 && from >= 6 && from <= 9);
}

class Case {
public:
    Case(Random& random, Arena& arena) : random_(random), arena_(arena) {}

    std::string run() {
        chooseImages();
        chooseRequest();
        // One allocation must do for a whole blit.
        const long allocations = random_.oneIn(20) ? random_.upTo(1) : 1000;
        blit_.noMemory = allocations == 0;
        model::Blit clipped = blit_;
        if (model::clip(clipped))
            model::draw(arena_.memory, clipped);
        const long carry = random_.oneIn(16) ? 65536 * random_.between(-2, 2) : 0;
        failAllocations(allocations, 1000000);
        unsigned long result = 0;
        std::string wrong = printedBy([&] {
            result = callEntry(entry_, blit_, src_, target(), mask_, arena_.at(blit_.src.first), carry);
        });
        failAllocations(0, 0);
        for (const Window& window : windows_)
            wrong += arena_.difference(window.from, window.to);
        for (const Picture* p : {&src_, &dst_, &mask_})
            if (p->sdl() && p->sdl()->locked != 0)
                wrong += "a surface is still locked\n";
        if (result != 0)
            wrong += "the result is not 0\n";
        if (wrong.empty() && heldBitMapLocks() == 0)
            return {};
        return wrong + "entry " + std::to_string(static_cast<int>(entry_)) + ", held locks " +
               std::to_string(heldBitMapLocks()) + "\n" + describe(blit_);
    }

private:
    // Rows are padded, tight, or (surfaces) longer than 32767 bytes or shorter than their pixels.
    Geometry geometry(const Kind& kind) {
        const bool wide = random_.oneIn(16);
        Geometry g{random_.upTo(12), random_.upTo(wide ? 4 : 7), 0};
        if (wide)
            g.width = random_.oneIn(8) ? random_.between(780, 820) : random_.upTo(100);
        const long row = g.width * kind.bytes();
        g.pitch = row + (random_.oneIn(3) ? 0 : random_.upTo(9));
        if (kind.code == 0 && random_.oneIn(100))
            g.pitch =
                kind.depth == 8 || random_.oneIn(16) ? random_.between(32760, 65535) : random_.upTo(row);
        return g;
    }

    // A place for `bytes` bytes: most often flush against one of the area's guards.
    long place(long area, long bytes) {
        const long room = arena_.size() - bytes;
        return arena_.begin(area) + (random_.oneIn(3)   ? room
                                     : random_.oneIn(2) ? 0
                                                        : random_.upTo(std::min(room, 64L)));
    }

    // An image and the margins around it.
    Window window(long area, long at, long bytes) const {
        return {std::max(arena_.begin(area), at - margin),
                std::min(arena_.begin(area) + arena_.size(), at + bytes + margin)};
    }

    Picture picture(const Kind& kind, long at, const Geometry& g) {
        return {kind, arena_.at(at), g.width, g.height, g.pitch, random_.oneIn(2)};
    }

    void chooseImages() {
        entry_ = static_cast<Entry>(random_.upTo(entryCount - 1));
        const bool fromSurface = sourceIsSurface(entry_), ontoSurface = destinationIsSurface(entry_);
        const bool anyPair = random_.oneIn(2);
        Kind from{}, onto{};
        do {
            from = random_.of(fromSurface ? surfaceKinds : bitmapKinds);
            if (entry_ == Entry::Array)
                from = surfaceKinds[firstArgbSurface + static_cast<size_t>(random_.upTo(3))];
            onto = random_.of(ontoSurface ? surfaceKinds : bitmapKinds);
        } while (!anyPair && !hasOwnRoutine(from, onto));

        const bool shared = random_.oneIn(5);
        same_ = shared && random_.oneIn(2) && fromSurface == ontoSurface;
        const Geometry s = geometry(from), d = same_ ? s : geometry(onto);
        const long shift = same_ || !shared ? 0 : random_.upTo(s.bytes());
        const long srcAt = place(0, shared ? std::max(s.bytes(), shift + d.bytes()) : s.bytes());
        const long dstAt = shared ? srcAt + shift : place(1, d.bytes());
        windows_[0] = window(0, srcAt, s.bytes());
        windows_[1] = window(shared ? 0 : 1, dstAt, d.bytes());
        src_ = picture(from, srcAt, s);
        blit_.src = src_.image(srcAt);
        if (!same_)
            dst_ = picture(onto, dstAt, d);
        blit_.dst = target().image(dstAt);

        blit_.masked = takesMask(entry_) && !random_.oneIn(8);
        if (blit_.masked) {
            const Kind& kind = fromSurface ? surfaceMask : bitmapMask;
            const Geometry m = random_.oneIn(3) ? geometry(kind) : Geometry{s.width, s.height, s.width};
            const bool overDestination = random_.oneIn(20) && m.bytes() <= d.bytes();
            const long maskAt = overDestination ? dstAt : place(2, m.bytes());
            windows_[2] = overDestination ? windows_[1] : window(2, maskAt, m.bytes());
            mask_ = picture(kind, maskAt, m);
            blit_.mask = mask_.image(maskAt);
        }
        for (const Window& window : windows_)
            random_.fill(arena_.at(window.from), window.to - window.from);
        for (const Window& window : windows_)
            arena_.share(window.from, window.to);
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
        model::Blit& b = blit_;
        b.srcX = random_.oneIn(3) ? 0 : coordinate(b.src.width / 2);
        b.srcY = random_.oneIn(3) ? 0 : coordinate(b.src.height / 2);
        b.dstX = coordinate(b.dst.width / 2);
        b.dstY = coordinate(b.dst.height / 2);
        b.width = size(b.src.width);
        b.height = size(b.src.height);
        b.alpha = random_.alpha();
        b.flags = random_.flags();
        const bool alphaOfSurface = entry_ != Entry::SurfaceMask && entry_ != Entry::Array && src_.sdl();
        if (alphaOfSurface) {
            const bool use = !random_.oneIn(8);
            src_.setAlpha(use, b.alpha);
            b.alpha = use ? b.alpha : 255;
        }
        if (entry_ <= Entry::SurfaceCorner)
            b.flags = 1;
        if (entry_ == Entry::SurfaceWhole || entry_ == Entry::SurfaceCorner) {
            b.srcX = b.srcY = 0;
            b.width = b.src.width;
            b.height = b.src.height;
        }
        if (entry_ == Entry::SurfaceCorner)
            b.dstX = b.dstY = 0;
        if (entry_ == Entry::Array) {
            b.flags = 0;
            b.src.width = b.src.pitch / 4;
            b.srcY = random_.upTo(std::max(0L, b.src.height - 1));
            b.height = b.src.height - b.srcY;
        }
    }

    Random& random_;
    Arena& arena_;
    Entry entry_{};
    model::Blit blit_{};
    std::array<Window, 3> windows_{}; // of source, destination and mask
    Picture src_, dst_, mask_;
    bool same_ = false; // one image is source and destination
};

} // namespace

std::string randomBlit(Random& random, Arena& arena) {
    return Case(random, arena).run();
}
