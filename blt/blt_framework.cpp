// SPDX-License-Identifier: Zlib
#include "blt_framework.h"

#include <cstring>

#include <proto/Picasso96API.h>
#include <proto/exec.h>

#include <ormsel/ormsel_utils.h>

#include "blt_driver-inl.h"
#include "blt_layouts.h"

using ormsel::Channels;

namespace {

// Sets the channel fields, which stand in both records in one order.
void setChannels(BltRenderFmt& fmt, const Channels& channels) {
    static_assert(offsetof(BltRenderFmt, aLoss) - offsetof(BltRenderFmt, bytesPerPixel) ==
                  offsetof(Channels, aLoss) - offsetof(Channels, bytesPerPixel));
    std::memcpy(&fmt.bytesPerPixel, &channels, sizeof channels);
}

// The p96 call writes a RenderInfo over the four fields that begin here.
uint32_t lockBitMap(BitMap* bitmap, uint8_t** renderInfo) {
    return static_cast<uint32_t>(
        p96LockBitMap(bitmap, reinterpret_cast<uint8*>(renderInfo), sizeof(RenderInfo)));
}

bool refuseMaskDepth() {
    DebugPrintF("Mask is not 8 bit format. Bailing out!\n");
    return false;
}

} // namespace

bool BLT_InitContext(BltRenderFmt& fmt, SDL_Surface* surface) {
    return ormsel::fillSide(fmt, surface);
}

bool BLT_InitContext(BltRenderFmt& fmt, BitMap* bitmap) {
    fmt.lock = lockBitMap(bitmap, &fmt.pixels);
    if (!fmt.lock) {
        DebugPrintF("Could not lock bitmap.\n");
        return false;
    }
    fmt.onBoard = static_cast<uint16_t>(p96GetBitMapAttr(bitmap, P96BMA_ISONBOARD));
    const Channels* channels = ormsel::channelsOf(fmt.format);
    if (!channels) {
        DebugPrintF("Unsupported pixel format '%s' !!! Bailing out.\n", p96Fmt2Str(fmt.format));
        return false;
    }
    setChannels(fmt, *channels);
    return true;
}

bool BLT_InitMask(BltContext& ctx, SDL_Surface* mask) {
    if (!mask->format) { DebugPrintF("x\n"); return false; }
    if (mask->format->BitsPerPixel != 8)
        return refuseMaskDepth();
    ormsel::lock(mask);
    ctx.maskPitch = static_cast<int16_t>(mask->pitch);
    ctx.maskLock = 1;
    ctx.maskPixels = static_cast<uint8_t*>(mask->pixels);
    return true;
}

bool BLT_InitMask(BltContext& ctx, BitMap* mask) {
    if (p96GetBitMapAttr(mask, P96BMA_DEPTH) != 8)
        return refuseMaskDepth();
    ctx.maskLock = lockBitMap(mask, &ctx.maskPixels);
    if (!ctx.maskLock)
        DebugPrintF("Could not lock mask bitmap.\n");
    return ctx.maskLock != 0;
}

void BLT_GetBitmapDims(SDL_Surface* surface, long& width, long& height) {
    width = surface->w;
    height = surface->h;
}

void BLT_GetBitmapDims(BitMap* bitmap, long& width, long& height) {
    width = static_cast<long>(p96GetBitMapAttr(bitmap, P96BMA_WIDTH));
    height = static_cast<long>(p96GetBitMapAttr(bitmap, P96BMA_HEIGHT));
}

void BLT_FreeContext(BltContext& ctx, SDL_Surface* src, SDL_Surface* dst, SDL_Surface* mask) {
    ormsel::releaseAll(ctx, src, dst, mask);
}
void BLT_FreeContext(BltContext& ctx, SDL_Surface* src, BitMap* dst, SDL_Surface* mask) {
    ormsel::releaseAll(ctx, src, dst, mask);
}
void BLT_FreeContext(BltContext& ctx, BitMap* src, SDL_Surface* dst, BitMap* mask) {
    ormsel::releaseAll(ctx, src, dst, mask);
}
void BLT_FreeContext(BltContext& ctx, BitMap* src, BitMap* dst, BitMap* mask) {
    ormsel::releaseAll(ctx, src, dst, mask);
}

template <class Src, class Dst>
bool BLT_InitContext(BltContext& ctx, Src* src, Dst* dst, long srcX, long srcY, long dstX, long dstY,
                     unsigned long width, unsigned long height, Src* mask, unsigned char alpha,
                     unsigned long flags) {
    return ormsel::fillContext(ctx, src, dst, srcX, srcY, dstX, dstY, width, height, mask, alpha, flags);
}

template <class Src, class Dst>
unsigned long BLT_BltAlphaT(Src* src, short srcX, short srcY, Dst* dst, short dstX, short dstY,
                            unsigned short width, unsigned short height, Src* mask, unsigned char alpha,
                            unsigned long flags) {
    return ormsel::drive(src, srcX, srcY, dst, dstX, dstY, width, height, mask, alpha, flags);
}

#define ORMSEL_INSTANCES(Src, Dst)                                                                           \
    template bool BLT_InitContext(BltContext&, Src*, Dst*, long, long, long, long, unsigned long,            \
                                  unsigned long, Src*, unsigned char, unsigned long);                        \
    template unsigned long BLT_BltAlphaT(Src*, short, short, Dst*, short, short, unsigned short,             \
                                         unsigned short, Src*, unsigned char, unsigned long);
ORMSEL_INSTANCES(SDL_Surface, SDL_Surface)
ORMSEL_INSTANCES(SDL_Surface, BitMap)
ORMSEL_INSTANCES(BitMap, SDL_Surface)
ORMSEL_INSTANCES(BitMap, BitMap)
#undef ORMSEL_INSTANCES
