// SPDX-License-Identifier: Zlib
//
// SDL_BlitSurface's contract: which blits are drawn here, SDL's arithmetic of rectangles, and SDL for the
// rest. Nothing here needs the C++ runtime.
#include <ormsel/ormsel_sdl.h>

#include "blt_kernels.h"
#include "blt_sdl.h"

namespace ormsel {

namespace {

// SDL is sooner done with this many pixels: of most kinds of blit, and of those that it has quick code for. On
// 32-bit processors some of its code is for their vectors and rounds in its own way.
constexpr bool kSdlIsPlainC = sizeof(void*) == 8;
constexpr int kFew = kSdlIsPlainC ? 16 : 0, kFewForQuickCode = kSdlIsPlainC ? 64 : 0;

// What keeps SDL's hands on a surface: video memory, other drivers' blits, and run-length encoded pixels.
constexpr uint32_t kSpecial =
    SDL_HWSURFACE | SDL_ASYNCBLIT | SDL_OPENGL | SDL_OPENGLBLIT | SDL_HWACCEL | SDL_RLEACCEL;

constexpr bool isByteAt(uint32_t mask, uint32_t shift) {
    return shift % 8 == 0 && shift < 32 && mask == 0xFFU << shift;
}

// Masks, shifts and losses must tell the same: SDL takes now these, now those.
SdlLayout layoutOf(const SDL_PixelFormat& f) {
    if (f.BytesPerPixel == 4 || f.BytesPerPixel == 3) {
        const uint32_t colours = f.Rmask | f.Gmask | f.Bmask;
        const bool bytes = isByteAt(f.Rmask, f.Rshift) && isByteAt(f.Gmask, f.Gshift) &&
                           isByteAt(f.Bmask, f.Bshift) && f.Rmask + f.Gmask + f.Bmask == colours &&
                           !(f.Rloss | f.Gloss | f.Bloss);
        if (f.BytesPerPixel == 3)
            return bytes && colours == 0xFFFFFF && !f.Amask ? SdlLayout::k24 : SdlLayout::kNone;
        const bool alpha = !f.Amask || (isByteAt(f.Amask, f.Ashift) && !(f.Amask & colours) && !f.Aloss);
        return bytes && alpha ? SdlLayout::k32 : SdlLayout::kNone;
    }
    if (f.BytesPerPixel != 2 || f.Gshift != 5 || f.Rloss != 3 || f.Bloss != 3)
        return SdlLayout::kNone;
    const bool six = f.Gmask == 0x07E0 && f.Gloss == 2;
    if (!six && !(f.Gmask == 0x03E0 && f.Gloss == 3))
        return SdlLayout::kNone;
    const uint32_t high = six ? 0xF800 : 0x7C00, highShift = six ? 11 : 10;
    const auto stands = [&](uint32_t mask, uint32_t shift, uint32_t otherMask, uint32_t otherShift) {
        return mask == high && shift == highShift && otherMask == 0x1F && otherShift == 0;
    };
    const bool colours =
        stands(f.Rmask, f.Rshift, f.Bmask, f.Bshift) || stands(f.Bmask, f.Bshift, f.Rmask, f.Rshift);
    const bool alpha = !f.Amask || (!six && f.Amask == 0x8000 && f.Ashift == 15 && f.Aloss == 7);
    return !colours || !alpha ? SdlLayout::kNone : six ? SdlLayout::kR5G6B5 : SdlLayout::kR5G5B5;
}

// In which byte of a widened pixel each channel stands.
struct Bytes {
    uint32_t r, g, b;
};

Bytes bytesOf(const SDL_PixelFormat& f) {
    if (f.BytesPerPixel >= 3)
        return {f.Rshift / 8U, f.Gshift / 8U, f.Bshift / 8U};
    return f.Rmask == 0x1F ? Bytes{0, 1, 2} : Bytes{2, 1, 0};
}

bool sameColours(const SDL_PixelFormat& a, const SDL_PixelFormat& b) {
    return a.Rmask == b.Rmask && a.Gmask == b.Gmask && a.Bmask == b.Bmask;
}

void roundUp(SdlBlit& b) {
    b.rule = kSdlRoundsUp;
    b.notesFall = b.to == SdlLayout::k32 && b.colours & 0xFF;
}

void in32nds(SdlBlit& b, const SdlRule& rule) {
    b.rule = rule;
    b.cut = b.to == SdlLayout::kR5G6B5 ? 0xF8FCF8 : 0xF8F8F8;
}

// The rule of a blit by the source's own alpha.
bool chooseByPixel(SdlBlit& b, const SDL_Surface& src, const SDL_PixelFormat& from,
                   const SDL_PixelFormat& to) {
    if (b.from != SdlLayout::k32)
        return false;
    b.perPixel = true;
    b.alphaShift = from.Ashift;
    const bool onto32 = b.to == SdlLayout::k32, onto16 = to.BytesPerPixel == 2;
    // SDL would encode the source by runs and draw it from that, which clears what is no colour.
    if (src.flags & SDL_RLEACCELOK && !(src.flags & SDL_SRCCOLORKEY) &&
        (onto16 || (onto32 && b.colours == 0xFFFFFF))) {
        if (onto16)
            in32nds(b, kSdlIn32ndsTo255);
        else
            b.opaqueOnes = 0xFF000000;
    } else if (onto16 && from.Amask == 0xFF000000 && from.Gmask == 0xFF00 &&
               (from.Rmask == 0xFF ? to.Rmask : to.Bmask) == 0x1F) {
        in32nds(b, kSdlIn32nds);
    } else if (onto32 && sameColours(from, to) && from.Amask == 0xFF000000) {
        b.kept = ~b.colours;
    } else {
        roundUp(b);
        b.kept = to.Amask;
    }
    return true;
}

// The rule of a blit by the surface's alpha, or by its colour key alone.
bool chooseBySurface(SdlBlit& b, const SDL_Surface& src, const SDL_PixelFormat& from,
                     const SDL_PixelFormat& to) {
    b.keyed = src.flags & SDL_SRCCOLORKEY;
    b.key = from.colorkey;
    if (b.keyed && src.flags & SDL_RLEACCELOK) // SDL's encoded blits copy runs of pixels as they are
        return false;
    const bool sameOrder = sameColours(from, to) && from.BytesPerPixel == to.BytesPerPixel;
    const bool sameWords = sameOrder && from.BitsPerPixel == to.BitsPerPixel && !to.Amask;
    const uint32_t alpha = src.flags & SDL_SRCALPHA ? from.alpha : 255;
    b.ones = to.Amask;
    if (alpha == 255) {
        b.copies = true;
        if (sameWords && to.BytesPerPixel == 2)
            b.colours = 0xFFFF;
        return b.keyed && sameOrder;
    }
    b.weight = alpha;
    if (!b.keyed && sameWords && to.BytesPerPixel == 2) {
        in32nds(b, kSdlIn32ndsTo255);
        b.weight = alpha & b.rule.alphaBits;
        return alpha != 128 || b.to == SdlLayout::kR5G6B5; // halves SDL mixes with the bit of no channel
    }
    if (!b.keyed && sameOrder && to.BytesPerPixel == 4 && b.colours == 0xFFFFFF)
        b.ones = 0xFF000000;
    else
        roundUp(b);
    return true;
}

// Finds the rule for a pair of surfaces. False: SDL's.
bool choose(SdlBlit& b, const SDL_Surface& src, const SDL_Surface& dst) {
    if ((src.flags | dst.flags) & kSpecial || src.offset || dst.offset)
        return false;
    const SDL_PixelFormat &from = *src.format, &to = *dst.format;
    const bool perPixel = from.Amask && src.flags & SDL_SRCALPHA;
    if (!perPixel && (from.Amask || !(src.flags & (SDL_SRCALPHA | SDL_SRCCOLORKEY))))
        return false;
    b = {};
    b.from = layoutOf(from);
    b.to = layoutOf(to);
    if (b.from == SdlLayout::kNone || b.to == SdlLayout::kNone)
        return false;
    const Bytes source = bytesOf(from), target = bytesOf(to);
    b.place = 0x80808080;
    b.place ^= (0x80 ^ source.r) << 8 * target.r;
    b.place ^= (0x80 ^ source.g) << 8 * target.g;
    b.place ^= (0x80 ^ source.b) << 8 * target.b;
    b.cut = 0xFFFFFFFF;
    b.colours = to.Rmask | to.Gmask | to.Bmask;
    b.rule = kSdlRoundsDown;
    return perPixel ? chooseByPixel(b, src, from, to) : chooseBySurface(b, src, from, to);
}

// Whether SDL has quick code for a pair of surfaces: where no channel changes its place.
bool sdlIsQuick(const SDL_Surface& src, const SDL_Surface& dst) {
    const SDL_PixelFormat &from = *src.format, &to = *dst.format;
    if (from.Amask && src.flags & SDL_SRCALPHA)
        return to.BytesPerPixel == 2 ? from.Rmask == 0xFF ? to.Rmask == 0x1F : to.Bmask == 0x1F
                                     : to.BytesPerPixel == 4 && from.Rmask == to.Rmask;
    if (src.flags & SDL_SRCCOLORKEY)
        return to.BytesPerPixel == 2 && (from.alpha == 255 || !(src.flags & SDL_SRCALPHA));
    return from.Rmask == to.Rmask && to.BytesPerPixel != 3;
}

// A rectangle's side along one axis, clipped as SDL does it.
struct Side {
    int from, size; // in the source

    // `at` is the position in the destination, which SDL keeps in 16 bits.
    void clip(Sint16& at, int sourceSize, int clipAt, int clipSize) {
        if (from < 0) {
            size += from;
            at = static_cast<Sint16>(at - from);
            from = 0;
        }
        if (size > sourceSize - from)
            size = sourceSize - from;
        const int before = clipAt - at;
        if (before > 0) {
            size -= before;
            at = static_cast<Sint16>(at + before);
            from += before;
        }
        const int behind = at + size - clipAt - clipSize;
        if (behind > 0)
            size -= behind;
    }
};

// Where a surface's pixels lie, in bytes from the first.
bool hasRectangle(const SDL_Surface& s, int x, int y, int width, int height) {
    return s.pixels && x >= 0 && y >= 0 && x + width <= s.w && y + height <= s.h &&
           s.w * s.format->BytesPerPixel <= s.pitch;
}

bool shareMemory(const SDL_Surface& a, const SDL_Surface& b) {
    const auto beginA = reinterpret_cast<uintptr_t>(a.pixels), beginB = reinterpret_cast<uintptr_t>(b.pixels);
    const auto bytes = [](const SDL_Surface& s) {
        return static_cast<uintptr_t>(s.pitch) * static_cast<uintptr_t>(s.h);
    };
    return beginA < beginB + bytes(b) && beginB < beginA + bytes(a);
}

uint8_t* pixelAt(const SDL_Surface& s, int x, int y) {
    return static_cast<uint8_t*>(s.pixels) + ptrdiff_t{y} * s.pitch + ptrdiff_t{x} * s.format->BytesPerPixel;
}

// ormsel_BlitSurface() for more than a few pixels: apart from it, so that a blit that SDL gets at once costs
// nothing of what this one needs.
[[gnu::noinline]] int blitMany(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    SdlBlit blit;
    if (!choose(blit, *src, *dst) || shareMemory(*src, *dst))
        return SDL_UpperBlit(src, srcrect, dst, dstrect);

    SDL_Rect corner = {0, 0, 0, 0};
    SDL_Rect& drawn = dstrect ? *dstrect : corner;
    const SDL_Rect asked = drawn;
    Side x{0, src->w}, y{0, src->h};
    if (srcrect) {
        x = {srcrect->x, srcrect->w};
        y = {srcrect->y, srcrect->h};
    }
    x.clip(drawn.x, src->w, dst->clip_rect.x, dst->clip_rect.w);
    y.clip(drawn.y, src->h, dst->clip_rect.y, dst->clip_rect.h);
    if (x.size <= 0 || y.size <= 0) {
        drawn.w = drawn.h = 0;
        return 0;
    }
    if (!hasRectangle(*src, x.from, y.from, x.size, y.size) ||
        !hasRectangle(*dst, drawn.x, drawn.y, x.size, y.size)) {
        drawn = asked;
        return SDL_UpperBlit(src, srcrect, dst, dstrect);
    }
    drawn.w = static_cast<Uint16>(x.size);
    drawn.h = static_cast<Uint16>(y.size);
    if (blit.rule.roundUp && !blit.perPixel && blit.weight == 0) // SDL draws nothing then
        return 0;
    blit.src = pixelAt(*src, x.from, y.from);
    blit.srcPitch = src->pitch;
    blit.dst = pixelAt(*dst, drawn.x, drawn.y);
    blit.dstPitch = dst->pitch;
    blit.width = static_cast<size_t>(x.size);
    blit.height = static_cast<size_t>(y.size);
    kernelsInUse().sdl(blit);
    return 0;
}

} // namespace

} // namespace ormsel

int ormsel_Serves(SDL_Surface* src, SDL_Surface* dst) noexcept {
    ormsel::SdlBlit blit;
    return src && dst && ormsel::choose(blit, *src, *dst);
}

int ormsel_BlitSurface(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) noexcept {
    using namespace ormsel;
    if (!src || !dst || src->locked || dst->locked)
        return SDL_UpperBlit(src, srcrect, dst, dstrect);
    const int64_t pixels = srcrect ? int64_t{srcrect->w} * srcrect->h : int64_t{src->w} * src->h;
    // SDL would encode a surface that asks for it, and all its blits were SDL's from then on.
    const bool few = pixels <= kFewForQuickCode && !(src->flags & SDL_RLEACCELOK) &&
                     (pixels <= kFew || sdlIsQuick(*src, *dst));
    return few ? SDL_UpperBlit(src, srcrect, dst, dstrect) : blitMany(src, srcrect, dst, dstrect);
}
