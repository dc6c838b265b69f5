// SPDX-License-Identifier: Zlib
//
// Bitmaps as sides of a blit.
#include "blt_framework.h"

#include <cstring>

#include <libraries/Picasso96.h>
#include <proto/Picasso96API.h>
#include <proto/exec.h>

#include <ormsel/ormsel_utils.h>

// A bitmap's lock writes a RenderInfo over the first fields of a side, and over the mask's.
static_assert(offsetof(BltRenderFmt, pixels) == offsetof(RenderInfo, Memory) &&
              offsetof(BltRenderFmt, pitch) == offsetof(RenderInfo, BytesPerRow) &&
              offsetof(BltRenderFmt, format) == offsetof(RenderInfo, RGBFormat));
static_assert(offsetof(BltContext, maskPitch) - offsetof(BltContext, maskPixels) ==
                  offsetof(RenderInfo, BytesPerRow) &&
              offsetof(BltContext, maskFormat) - offsetof(BltContext, maskPixels) ==
                  offsetof(RenderInfo, RGBFormat));

#define FORMAT(name, stem, code, ...) static_assert(RGBFB_##name == (code));
ORMSEL_FORMATS(FORMAT)
#undef FORMAT

namespace {

uint32_t lockBitMap(BitMap* bitmap, uint8_t** renderInfo) {
    return static_cast<uint32_t>(
        p96LockBitMap(bitmap, reinterpret_cast<uint8*>(renderInfo), sizeof(RenderInfo)));
}

} // namespace

void ormsel::unlock(BitMap* bitmap, uint32_t handle) {
    p96UnlockBitMap(bitmap, static_cast<int32>(handle));
}

bool BLT_InitContext(BltRenderFmt& fmt, BitMap* bitmap) {
    fmt.lock = lockBitMap(bitmap, &fmt.pixels);
    if (!fmt.lock)
        return ormsel::refuse("Could not lock bitmap.\n", "");
    fmt.onBoard = static_cast<uint16_t>(p96GetBitMapAttr(bitmap, P96BMA_ISONBOARD));
    const ormsel::Format* format = ormsel::formatOf(fmt.format);
    if (!format)
        return ormsel::refuse("Unsupported pixel format '%s' !!! Bailing out.\n", p96Fmt2Str(fmt.format));
    ormsel::setChannels(fmt, *format);
    return true;
}

bool BLT_InitMask(BltContext& ctx, BitMap* mask) {
    if (p96GetBitMapAttr(mask, P96BMA_DEPTH) != 8)
        return ormsel::refuse("Mask is not 8 bit format. Bailing out!\n", "");
    ctx.maskLock = lockBitMap(mask, &ctx.maskPixels);
    return ctx.maskLock || ormsel::refuse("Could not lock mask bitmap.\n", "");
}

void BLT_GetBitmapDims(BitMap* bitmap, long& width, long& height) {
    width = static_cast<long>(p96GetBitMapAttr(bitmap, P96BMA_WIDTH));
    height = static_cast<long>(p96GetBitMapAttr(bitmap, P96BMA_HEIGHT));
}
