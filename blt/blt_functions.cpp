// SPDX-License-Identifier: Zlib
//
// The public calls between surfaces: narrow the arguments and run the driver.
#include <ormsel/ormsel.h>

#include "blt_requests.h"

unsigned long SDL_BlitAlphaSurface(SDL_Surface* src, SDL_Rect* srcRect, SDL_Surface* dst,
                                   SDL_Rect* dstRect) noexcept {
    if (!ormsel::isImage(src, "source"))
        return 0;
    const SDL_Rect whole = {0, 0, static_cast<Uint16>(src->w), static_cast<Uint16>(src->h)};
    const SDL_Rect& from = srcRect ? *srcRect : whole;
    const SDL_Rect& to = dstRect ? *dstRect : whole;
    return BLT_BltAlphaT<SDL_Surface, SDL_Surface>(src, from.x, from.y, dst, to.x, to.y, from.w, from.h,
                                                   nullptr, ormsel::alphaOfSurface(src), 1);
}

unsigned long SDL_BlitSurfaceAlphaMask(SDL_Surface* src, long srcX, long srcY, SDL_Surface* dst, long dstX,
                                       long dstY, unsigned long width, unsigned long height,
                                       SDL_Surface* mask, unsigned char alpha, Uint32 flags) noexcept {
    using namespace ormsel;
    return BLT_BltAlphaT(src, position(srcX), position(srcY), dst, position(dstX), position(dstY),
                         extent(width), extent(height), mask, alpha, flags);
}

void BLT_SetupBltEngine(void) noexcept {}

void BLT_ShutDownBltEngine(void) noexcept {}
