// SPDX-License-Identifier: Zlib
//
// The public entry points: narrow the arguments and pick the pairing.
#include <ormsel/ormsel.h>

#include "blt_driver-inl.h"

namespace {

// The constant alpha that a surface brings along.
unsigned char surfaceAlpha(const SDL_Surface* src) {
    return src && src->format && src->flags & SDL_SRCALPHA ? src->format->alpha : 255;
}

struct Request {
    short srcX, srcY, dstX, dstY;
    unsigned short width, height;

    Request(long sx, long sy, long dx, long dy, unsigned long w, unsigned long h)
        : srcX(static_cast<short>(sx)), srcY(static_cast<short>(sy)), dstX(static_cast<short>(dx)),
          dstY(static_cast<short>(dy)), width(static_cast<unsigned short>(w)),
          height(static_cast<unsigned short>(h)) {}
};

template <class Src, class Dst>
[[gnu::always_inline]] inline unsigned long blit(Src* src, Dst* dst, const Request& r, Src* mask,
                                                 unsigned char alpha, Uint32 flags) {
    return ormsel::drive(src, r.srcX, r.srcY, dst, r.dstX, r.dstY, r.width, r.height, mask, alpha, flags);
}

} // namespace

unsigned long SDL_BlitAlphaSurface(SDL_Surface* src, SDL_Rect* srcRect, SDL_Surface* dst, SDL_Rect* dstRect) {
    const SDL_Rect whole = {0, 0, static_cast<Uint16>(src ? src->w : 0),
                            static_cast<Uint16>(src ? src->h : 0)};
    const SDL_Rect& from = srcRect ? *srcRect : whole;
    const SDL_Rect& to = dstRect ? *dstRect : whole;
    return ormsel::drive<SDL_Surface, SDL_Surface>(src, from.x, from.y, dst, to.x, to.y, from.w, from.h,
                                                   nullptr, surfaceAlpha(src), 1);
}

unsigned long SDL_BlitSurfaceAlphaMask(SDL_Surface* src, long srcX, long srcY, SDL_Surface* dst, long dstX,
                                       long dstY, unsigned long width, unsigned long height,
                                       SDL_Surface* mask, unsigned char alpha, Uint32 flags) {
    return blit(src, dst, {srcX, srcY, dstX, dstY, width, height}, mask, alpha, flags);
}

unsigned long SDL_BlitAlphaSurfaceBitMap(SDL_Surface* src, long srcX, long srcY, BitMap* dst, long dstX,
                                         long dstY, unsigned long width, unsigned long height, Uint32 flags) {
    return blit<SDL_Surface>(src, dst, {srcX, srcY, dstX, dstY, width, height}, nullptr, surfaceAlpha(src),
                             flags);
}

unsigned long SDL_BlitAlphaBitMapSurface(BitMap* src, long srcX, long srcY, SDL_Surface* dst, long dstX,
                                         long dstY, unsigned long width, unsigned long height,
                                         unsigned char alpha, Uint32 flags) {
    return blit<BitMap>(src, dst, {srcX, srcY, dstX, dstY, width, height}, nullptr, alpha, flags);
}

unsigned long BltAlphaBitMap(BitMap* src, long srcX, long srcY, BitMap* dst, long dstX, long dstY,
                             unsigned long width, unsigned long height, unsigned char alpha, Uint32 flags) {
    return blit<BitMap>(src, dst, {srcX, srcY, dstX, dstY, width, height}, nullptr, alpha, flags);
}

unsigned long BltBitMapAlphaMask(BitMap* src, long srcX, long srcY, BitMap* dst, long dstX, long dstY,
                                 unsigned long width, unsigned long height, BitMap* mask, unsigned char alpha,
                                 Uint32 flags) {
    return blit(src, dst, {srcX, srcY, dstX, dstY, width, height}, mask, alpha, flags);
}

void BLT_SetupBltEngine(void) {}

void BLT_ShutDownBltEngine(void) {}
