// SPDX-License-Identifier: Zlib
//
// SDL_BlitSurface's contract and SDL_LowerBlit's: which blits are drawn here, SDL's arithmetic of rectangles,
// and SDL for the rest. Nothing here needs the C++ runtime.
#include "kernels/kernels.h"
#include "kernels/sdl.h"
#include "sdl/sdl_contract.h"
#include "sdl/sdl_convert.h"

namespace ormsel {

namespace {

// SDL is sooner done with this many pixels: by their own alpha, and by a surface's alpha or colour key. For
// 32-bit processors its library may have been built with vector code, which rounds in its own way.
constexpr bool kSdlIsPlainC = sizeof(void*) == 8;
constexpr uint32_t kFewByPixel = kSdlIsPlainC ? 16 : 0, kFewBySurface = kSdlIsPlainC ? 64 : 0;

// Masks, shifts and losses must tell the same: SDL takes now these, now those. Every surface's blit comes
// this way, so that few branches count here.
bool isByte(uint32_t mask, uint32_t shift) {
    return mask == 0xFFU << shift;
}

SdlLayout layoutOf(const SDL_PixelFormat& f) {
    const uint32_t colours = f.Rmask | f.Gmask | f.Bmask;
    if (f.BytesPerPixel == 4 || f.BytesPerPixel == 3) {
        const bool places = !((f.Rshift | f.Gshift | f.Bshift | f.Ashift) & ~24U);
        const bool whole = !(f.Rloss | f.Gloss | f.Bloss) && f.Rmask + f.Gmask + f.Bmask == colours;
        if (!places || !whole || !isByte(f.Rmask, f.Rshift) || !isByte(f.Gmask, f.Gshift) ||
            !isByte(f.Bmask, f.Bshift))
            return SdlLayout::kNone;
        if (f.BytesPerPixel == 3)
            return colours == 0xFFFFFF && !f.Amask ? SdlLayout::k24 : SdlLayout::kNone;
        const bool alpha = !f.Amask || (isByte(f.Amask, f.Ashift) && !(f.Amask & colours) && !f.Aloss);
        return alpha ? SdlLayout::k32 : SdlLayout::kNone;
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
    if (!stands(f.Rmask, f.Rshift, f.Bmask, f.Bshift) && !stands(f.Bmask, f.Bshift, f.Rmask, f.Rshift))
        return SdlLayout::kNone;
    const bool alpha = !f.Amask || (!six && f.Amask == 0x8000 && f.Ashift == 15 && f.Aloss == 7);
    return !alpha ? SdlLayout::kNone : six ? SdlLayout::kR5G6B5 : SdlLayout::kR5G5B5;
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

// What only blits that aren't inPlace have.
void setPlaces(SdlBlit& b, const SDL_PixelFormat& from, const SDL_PixelFormat& to) {
    b.keyed = b.copies = b.marksFalling = false;
    b.rule = kSdlRoundsDown;
    b.alphaShift = b.key = b.kept = b.ones = b.opaqueOnes = 0;
    const Bytes source = bytesOf(from), target = bytesOf(to);
    b.place = 0x80808080;
    b.place ^= (0x80 ^ source.r) << 8 * target.r;
    b.place ^= (0x80 ^ source.g) << 8 * target.g;
    b.place ^= (0x80 ^ source.b) << 8 * target.b;
    b.cut = 0xFFFFFFFF;
    b.colours = to.Rmask | to.Gmask | to.Bmask;
}

void roundUp(SdlBlit& b) {
    b.rule = kSdlRoundsUp;
    b.marksFalling = b.to == SdlLayout::k32 && b.colours & 0xFF;
}

void in32nds(SdlBlit& b) {
    b.rule = kSdlIn32ndsTo255;
    b.cut = b.to == SdlLayout::kR5G6B5 ? 0xF8FCF8 : 0xF8F8F8;
}

// The rule of a blit by the source's own alpha.
bool chooseByPixel(SdlBlit& b, const SDL_Surface& src, const SDL_PixelFormat& from,
                   const SDL_PixelFormat& to) {
    if (b.from != SdlLayout::k32)
        return false;
    b.constantAlpha = 255;
    const bool onto32 = b.to == SdlLayout::k32, onto16 = to.BytesPerPixel == 2;
    const bool encodes =
        src.flags & SDL_RLEACCELOK && !(src.flags & SDL_SRCCOLORKEY) && from.BitsPerPixel == 32;
    if (from.Amask == 0xFF000000 && !encodes) {
        b.inPlace =
            onto32 ? sameColours(from, to)
                   : onto16 && from.Gmask == 0xFF00 && (from.Rmask == 0xFF ? to.Rmask : to.Bmask) == 0x1F;
        if (b.inPlace)
            return true;
    }
    setPlaces(b, from, to);
    b.alphaShift = from.Ashift;
    // SDL would encode the source by runs and draw it from that, which clears what is no colour.
    if (encodes && onto16) {
        in32nds(b);
    } else if (encodes && onto32 && b.colours == 0xFFFFFF) {
        b.opaqueOnes = 0xFF000000;
    } else {
        roundUp(b);
        b.kept = to.Amask;
    }
    return true;
}

// The rule of a blit by the surface's alpha, or by its colour key alone.
bool chooseBySurface(SdlBlit& b, const SDL_Surface& src, const SDL_PixelFormat& from,
                     const SDL_PixelFormat& to) {
    const bool keyed = src.flags & SDL_SRCCOLORKEY;
    if (keyed && src.flags & SDL_RLEACCELOK) // SDL's encoded blits copy runs of pixels as they are
        return false;
    const bool sameOrder = sameColours(from, to) && from.BytesPerPixel == to.BytesPerPixel;
    const bool sameWords = sameOrder && from.BitsPerPixel == to.BitsPerPixel && !to.Amask;
    const uint32_t alpha = src.flags & SDL_SRCALPHA ? from.alpha : 255;
    const uint32_t colours = to.Rmask | to.Gmask | to.Bmask;
    b.constantAlpha = alpha;
    if (alpha == 255) {
        if (!keyed || !sameOrder)
            return false;
    } else if (!keyed && sameWords && to.BytesPerPixel == 2) {
        // Halves SDL mixes sooner than anyone, and in R5G5B5 with the bit of no channel.
        return b.inPlace = alpha != 128;
    } else if (!keyed && sameOrder && colours == 0xFFFFFF && to.BytesPerPixel == 4) {
        return b.inPlace = true;
    }
    setPlaces(b, from, to);
    b.keyed = keyed;
    b.key = from.colorkey;
    b.ones = to.Amask;
    b.copies = alpha == 255;
    if (!b.copies)
        roundUp(b);
    else if (sameWords && to.BytesPerPixel == 2)
        b.colours = 0xFFFF;
    return true;
}

// Whether SDL's own steps from row to row, which it counts in whole pixels of 2 and 4 bytes, lead astray.
bool drifts(const SDL_Surface& s) {
    const int bytes = s.format->BytesPerPixel;
    return bytes != 3 && s.pitch & (bytes - 1);
}

// Finds the rule of a blit that blends or leaves pixels out. False: none.
bool chooseBlend(SdlBlit& b, const SDL_Surface& src, const SDL_Surface& dst) {
    const SDL_PixelFormat &from = *src.format, &to = *dst.format;
    const bool perPixel = from.Amask && src.flags & SDL_SRCALPHA;
    if (!perPixel && from.Amask)
        return false;
    b.from = layoutOf(from);
    b.to = layoutOf(to);
    b.perPixel = perPixel;
    b.inPlace = false;
    if (b.from == SdlLayout::kNone || b.to == SdlLayout::kNone)
        return false;
    return perPixel ? chooseByPixel(b, src, from, to) : chooseBySurface(b, src, from, to);
}

// The rule of a blit by a colour key alone between words that SDL takes for the same: it looks at one mask of
// the colours, and so do programs that mistype another one.
bool chooseWords(SdlBlit& b, const SDL_Surface& src, const SDL_PixelFormat& to) {
    const SDL_PixelFormat& from = *src.format;
    if (from.BytesPerPixel != 2 || to.BytesPerPixel != 2 || from.Amask || src.flags & SDL_RLEACCELOK)
        return false;
    setPlaces(b, from, to);
    b.from = b.to = SdlLayout::kR5G6B5;
    b.perPixel = b.inPlace = false;
    b.keyed = b.copies = true;
    b.constantAlpha = 255;
    b.key = from.colorkey;
    b.colours = 0xFFFF;
    return true;
}

// What becomes of a pair of surfaces.
enum class Way { kLeave, kCopy, kConvert, kBlend };

// Fills the record that belongs to the way.
Way choose(SdlBlit& blend, SdlConversion& conversion, const SDL_Surface& src, const SDL_Surface& dst) {
    if ((src.flags | dst.flags) & kSdlSpecial || drifts(src) || drifts(dst))
        return Way::kLeave;
    const SDL_PixelFormat &from = *src.format, &to = *dst.format;
    const bool keyed = src.flags & SDL_SRCCOLORKEY;
    const bool blends = src.flags & SDL_SRCALPHA && (from.Amask || from.alpha != 255);
    if ((keyed || blends) && chooseBlend(blend, src, dst))
        return Way::kBlend;
    // These are all that SDL looks at.
    const bool isSame =
        from.BitsPerPixel == to.BitsPerPixel && from.Rmask == to.Rmask && from.Amask == to.Amask;
    if (blends)
        return Way::kLeave;
    if (keyed && isSame)
        return chooseWords(blend, src, to) ? Way::kBlend : Way::kLeave;
    if (isSame && from.BytesPerPixel == to.BytesPerPixel && from.BytesPerPixel > 1)
        return Way::kCopy;
    return !isSame && sdlConversion(conversion, from, to, keyed) ? Way::kConvert : Way::kLeave;
}

// A rectangle's side along one axis, clipped as SDL does it.
struct Side {
    int from, size; // in the source

    // `at` is the position in the destination, which SDL keeps in 16 bits; it may be the clip rectangle's
    // own.
    void clip(Sint16& at, int sourceSize, const Sint16& clipAt, const Uint16& clipSize) {
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
    return s.pixels && x >= 0 && y >= 0 && x + width <= s.w && y + height <= s.h && s.w <= s.pitch &&
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

// Whether SDL would be sooner done with a surface that it may encode by runs, once it has: it skips runs of
// clear pixels and copies opaque ones. A part of the pixels tells; that few of the others are left to SDL by
// mistake is better than many drawn slower.
bool isForRuns(const SdlBlit& b, const SDL_Surface& src) {
    if (!b.perPixel || !(src.flags & SDL_RLEACCELOK))
        return false;
    constexpr int kSmall = 64; // pixels of the whole surface, which are sooner drawn than looked at
    if (src.w * src.h <= kSmall)
        return true;
    // Where vectors are short, SDL mixes runs onto 16 bits as fast as anyone.
    const Kernels& kernels = kernelsInUse();
    const bool isWide = kernels.name[0] == 'a' && kernels.name[1] == 'v'; // avx2, avx512
    if (&kernels == &kScalarKernels || (!isWide && b.to != SdlLayout::k32))
        return true;
    const uint32_t shift = src.format->Ashift;
    const size_t down = b.height / 8 | 1, right = b.width / 8 | 1; // odd: pictures repeat in even steps
    uint32_t looked = 0, mixed = 0;
    for (size_t y = down / 2; y < b.height; y += down) {
        const uint8_t* row = b.src + static_cast<ptrdiff_t>(y) * b.srcPitch;
        for (size_t x = right / 2; x < b.width; x += right, ++looked)
            mixed += (loadPixel<4>(row + x * 4) >> shift & 0xFF) - 1 < 254;
    }
    return mixed * 8 < looked * 3;
}

// SDL is sooner done with so few pixels. Where it would encode a surface that asks for it, all blits of that
// were SDL's from then on; and are, once it has.
bool areFew(const SDL_Surface& src, int width, int height) {
    return src.flags & SDL_RLEACCELOK ? src.flags & SDL_RLEACCEL
                                      : static_cast<uint32_t>(width) * static_cast<uint32_t>(height) <=
                                            (src.format->Amask ? kFewByPixel : kFewBySurface);
}

// The pixels of a blit that is clipped already: ours, or SDL's. Apart from sdlBlitSurface(), so that a
// blit that SDL gets at once costs nothing of what this needs.
[[gnu::noinline]] int drawClipped(const SdlFunctions& sdl, SDL_Surface* src, SDL_Rect* from, SDL_Surface* dst,
                                  SDL_Rect* to) {
    SdlBlit blit;
    SdlConversion conversion;
    const int width = to->w, height = to->h;
    const Way way = choose(blit, conversion, *src, *dst);
    if (way == Way::kLeave)
        return sdl.lowerBlit(src, from, dst, to);
    SdlLock lock(sdl);
    if (!lock.add(dst) || !lock.add(src))
        return -1;
    if ((shareMemory(*src, *dst) && !(way == Way::kCopy && src == dst)) ||
        !hasRectangle(*src, from->x, from->y, width, height) ||
        !hasRectangle(*dst, to->x, to->y, width, height))
        return sdl.lowerBlit(src, from, dst, to);
    const SdlArea area = {pixelAt(*src, from->x, from->y), src->pitch,
                          pixelAt(*dst, to->x, to->y),     dst->pitch,
                          static_cast<size_t>(width),      static_cast<size_t>(height)};
    if (way == Way::kCopy) {
        sdlCopy(area, src->format->BytesPerPixel);
    } else if (way == Way::kConvert) {
        sdlConvert(conversion, area);
    } else if (blit.perPixel || blit.inPlace || blit.constantAlpha) { // else SDL draws nothing
        blit.mask = nullptr;
        blit.maskPitch = 0;
        blit.src = area.src;
        blit.srcPitch = area.srcPitch;
        blit.dst = area.dst;
        blit.dstPitch = area.dstPitch;
        blit.width = area.width;
        blit.height = area.height;
        if (isForRuns(blit, *src))
            return sdl.lowerBlit(src, from, dst, to);
        kernelsInUse().sdl(blit);
    }
    return 0;
}

} // namespace

bool sdlServes(SDL_Surface* src, SDL_Surface* dst) noexcept {
    SdlBlit blit;
    SdlConversion conversion;
    return src && dst && src->format && dst->format && choose(blit, conversion, *src, *dst) != Way::kLeave;
}

bool sdlClip(const SDL_Surface& src, const SDL_Rect* srcrect, const SDL_Surface& dst, SDL_Rect& drawn,
             SDL_Rect& part) noexcept {
    Side x{0, src.w}, y{0, src.h};
    if (srcrect) {
        x = {srcrect->x, srcrect->w};
        y = {srcrect->y, srcrect->h};
    }
    x.clip(drawn.x, src.w, dst.clip_rect.x, dst.clip_rect.w);
    y.clip(drawn.y, src.h, dst.clip_rect.y, dst.clip_rect.h);
    if (x.size <= 0 || y.size <= 0) {
        drawn.w = drawn.h = 0;
        return false;
    }
    drawn.w = static_cast<Uint16>(x.size);
    drawn.h = static_cast<Uint16>(y.size);
    part = {static_cast<Sint16>(x.from), static_cast<Sint16>(y.from), drawn.w, drawn.h};
    return true;
}

int sdlBlitSurface(const SdlFunctions& sdl, SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst,
                   SDL_Rect* dstrect) noexcept {
    if (!src || !dst || src->locked || dst->locked)
        return sdl.upperBlit(src, srcrect, dst, dstrect);
    SDL_Rect corner = {0, 0, 0, 0}, part;
    SDL_Rect& drawn = dstrect ? *dstrect : corner;
    if (!sdlClip(*src, srcrect, *dst, drawn, part))
        return 0;
    return areFew(*src, part.w, part.h) ? sdl.lowerBlit(src, &part, dst, &drawn)
                                        : drawClipped(sdl, src, &part, dst, &drawn);
}

int sdlLowerBlit(const SdlFunctions& sdl, SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst,
                 SDL_Rect* dstrect) noexcept {
    // Of two unlike sizes SDL makes what happens to come out.
    if (srcrect->w != dstrect->w || srcrect->h != dstrect->h || areFew(*src, dstrect->w, dstrect->h))
        return sdl.lowerBlit(src, srcrect, dst, dstrect);
    return drawClipped(sdl, src, srcrect, dst, dstrect);
}

} // namespace ormsel
