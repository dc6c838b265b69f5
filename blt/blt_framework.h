// SPDX-License-Identifier: Zlib
//
// The record of one blit, filling it from images, and the driver that runs a routine over it.
#pragma once

#include <cstddef>
#include <cstdint>

#include <SDL.h>

#include <graphics/gfx.h>
#include <libraries/Picasso96.h>

// One side of a blit. Its front has the layout of a RenderInfo, which p96LockBitMap() writes in place.
struct BltRenderFmt {
    uint8_t* pixels;        // top-left pixel of the locked image
    int16_t pitch;          // bytes from one row to the next; routines take it as signed
    int16_t pad;            // never read
    uint32_t format;        // RGBFB_*; RGBFB_NONE for a surface of an unrecognised layout
    uint32_t bytesPerPixel; // 2, 3 or 4
    uint32_t rMask, gMask, bMask, aMask;
    uint32_t rShift, gShift, bShift, aShift;
    uint32_t rLoss, gLoss, bLoss, aLoss; // 8 minus the channel's width; 8 for an absent alpha channel
    uint32_t lock;                       // surface: 1 once locked; bitmap: the lock handle; 0: not locked
    uint16_t onBoard;                    // bitmap: lies in graphics-card memory; surface: 0
};

// One blit: zero-filled and filled by the driver, read-only to the routines, released after use.
struct BltContext {
    uint32_t size; // size of this record in bytes
    BltRenderFmt src;
    BltRenderFmt dst;
    uint16_t srcBpp; // bits per pixel, 8 times bytesPerPixel
    uint16_t dstBpp;
    int32_t srcX, srcY; // the clipped rectangle
    int32_t dstX, dstY;
    int32_t width, height; // greater than 0 in a context that the driver hands to a routine
    uint8_t alpha;         // constant alpha, 255 = opaque
    uint32_t reserved;     // stays 0
    uint32_t flags;        // the caller's flags; ORMSEL_BLIT_COPY is the only one read
    uint8_t* maskPixels;   // nullptr: no mask. These four fields have the layout of a RenderInfo, too.
    int16_t maskPitch;
    int16_t maskPad;
    uint32_t maskFormat; // bitmap mask: its format code; surface mask: 0
    uint32_t maskLock;   // as BltRenderFmt::lock
};

static_assert(sizeof(void*) != 4 || (sizeof(BltRenderFmt) == 72 && sizeof(BltContext) == 204));
static_assert(offsetof(BltRenderFmt, pixels) == offsetof(RenderInfo, Memory) &&
              offsetof(BltRenderFmt, pitch) == offsetof(RenderInfo, BytesPerRow) &&
              offsetof(BltRenderFmt, format) == offsetof(RenderInfo, RGBFormat));
static_assert(offsetof(BltContext, maskPitch) - offsetof(BltContext, maskPixels) ==
                  offsetof(RenderInfo, BytesPerRow) &&
              offsetof(BltContext, maskFormat) - offsetof(BltContext, maskPixels) ==
                  offsetof(RenderInfo, RGBFormat));

// A routine blends the rectangle of a clipped and locked context in place. It checks nothing, and its result
// is 0 on every path: it is no status.
using BltRoutine = unsigned long (*)(const BltContext* ctx);

// Fill one side: lock the image and describe it. False, with a line on the debug output, when the image is
// refused; what has been locked by then stays so until BLT_FreeContext().
bool BLT_InitContext(BltRenderFmt& fmt, SDL_Surface* surface);
bool BLT_InitContext(BltRenderFmt& fmt, BitMap* bitmap);

// Check and lock an 8-bit mask.
bool BLT_InitMask(BltContext& ctx, SDL_Surface* mask);
bool BLT_InitMask(BltContext& ctx, BitMap* mask);

// The size of an image in pixels. Neither locks nor checks.
void BLT_GetBitmapDims(SDL_Surface* surface, long& width, long& height);
void BLT_GetBitmapDims(BitMap* bitmap, long& width, long& height);

// Release whatever a context holds locked: source, destination, mask. A null image is left alone, and a
// second release does nothing.
void BLT_FreeContext(BltContext& ctx, SDL_Surface* src, SDL_Surface* dst, SDL_Surface* mask);
void BLT_FreeContext(BltContext& ctx, SDL_Surface* src, BitMap* dst, SDL_Surface* mask);
void BLT_FreeContext(BltContext& ctx, BitMap* src, SDL_Surface* dst, BitMap* mask);
void BLT_FreeContext(BltContext& ctx, BitMap* src, BitMap* dst, BitMap* mask);

// Clip the request against both images and fill a whole context. False when nothing is left or an image is
// refused; clipping locks nothing.
template <class Src, class Dst>
bool BLT_InitContext(BltContext& ctx, Src* src, Dst* dst, long srcX, long srcY, long dstX, long dstY,
                     unsigned long width, unsigned long height, Src* mask, unsigned char alpha,
                     unsigned long flags);

// One blit from request to release. Instances: each pairing of SDL_Surface and BitMap; a mask is of the
// source's kind, or nullptr.
template <class Src, class Dst>
unsigned long BLT_BltAlphaT(Src* src, short srcX, short srcY, Dst* dst, short dstX, short dstY,
                            unsigned short width, unsigned short height, Src* mask, unsigned char alpha,
                            unsigned long flags);
