// SPDX-License-Identifier: Zlib
//
// The records of one blit: what the driver fills and the routines read. They know neither SDL nor a platform.
#pragma once

#include <cstdint>

#include "formats.h"

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

    ormsel::Channel r() const { return {rMask, rShift, rLoss}; }
    ormsel::Channel g() const { return {gMask, gShift, gLoss}; }
    ormsel::Channel b() const { return {bMask, bShift, bLoss}; }
    ormsel::Channel a() const { return {aMask, aShift, aLoss}; }
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

// A routine blends the rectangle of a clipped and locked context in place. It checks nothing, and its result
// is 0 on every path: it is no status.
using BltRoutine = unsigned long (*)(const BltContext* ctx);
