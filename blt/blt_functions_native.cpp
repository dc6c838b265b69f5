// SPDX-License-Identifier: Zlib
//
// The public calls from and onto bitmaps: narrow the arguments and run the driver.
#include <ormsel/ormsel.h>

#include <graphics/gfx.h>

#include "blt_requests.h"

using ormsel::extent;
using ormsel::position;

unsigned long SDL_BlitAlphaSurfaceBitMap(SDL_Surface* src, long srcX, long srcY, BitMap* dst, long dstX,
                                         long dstY, unsigned long width, unsigned long height,
                                         Uint32 flags) noexcept {
    return BLT_BltAlphaT<SDL_Surface>(src, position(srcX), position(srcY), dst, position(dstX),
                                      position(dstY), extent(width), extent(height), nullptr,
                                      ormsel::alphaOfSurface(src), flags);
}

unsigned long SDL_BlitAlphaBitMapSurface(BitMap* src, long srcX, long srcY, SDL_Surface* dst, long dstX,
                                         long dstY, unsigned long width, unsigned long height,
                                         unsigned char alpha, Uint32 flags) noexcept {
    return BLT_BltAlphaT<BitMap>(src, position(srcX), position(srcY), dst, position(dstX), position(dstY),
                                 extent(width), extent(height), nullptr, alpha, flags);
}

unsigned long BltAlphaBitMap(BitMap* src, long srcX, long srcY, BitMap* dst, long dstX, long dstY,
                             unsigned long width, unsigned long height, unsigned char alpha,
                             Uint32 flags) noexcept {
    return BLT_BltAlphaT<BitMap>(src, position(srcX), position(srcY), dst, position(dstX), position(dstY),
                                 extent(width), extent(height), nullptr, alpha, flags);
}

unsigned long BltBitMapAlphaMask(BitMap* src, long srcX, long srcY, BitMap* dst, long dstX, long dstY,
                                 unsigned long width, unsigned long height, BitMap* mask, unsigned char alpha,
                                 Uint32 flags) noexcept {
    return BLT_BltAlphaT(src, position(srcX), position(srcY), dst, position(dstX), position(dstY),
                         extent(width), extent(height), mask, alpha, flags);
}
