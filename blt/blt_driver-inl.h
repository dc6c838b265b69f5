// SPDX-License-Identifier: Zlib
//
// One blit from request to release, for the entry points to take in whole: blits of a few pixels are common,
// and calls with so many arguments took a sixth of their time.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ext/atomicity.h>
#include <thread>

#include <proto/Picasso96API.h>
#include <proto/exec.h>

#include "blt_block.h"
#include "blt_framework.h"
#include "blt_routines.h"

#define ORMSEL_INTO_CALLER [[gnu::always_inline]] inline

namespace ormsel {

// --- Locks --------------------------------------------------------------------------------------------

// SDL counts a surface's locks in a plain integer, and blits on several threads may share a source: counting
// is made exclusive, and nothing else is. A process that never had a second thread is spared the atomics,
// which show in very small blits.
inline std::atomic_flag locksAreCounted;

template <class Change>
void changeLocks(SDL_Surface* surface, const Change& change) {
    if (__gnu_cxx::__is_single_threaded() || surface->flags & SDL_HWSURFACE) [[likely]] {
        change(surface);
        return;
    }
    while (locksAreCounted.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
    change(surface);
    locksAreCounted.clear(std::memory_order_release);
}

inline void lock(SDL_Surface* surface) {
    changeLocks(surface, [](SDL_Surface* s) { SDL_LockSurface(s); });
}

inline void unlock(SDL_Surface* surface, uint32_t) {
    changeLocks(surface, [](SDL_Surface* s) { SDL_UnlockSurface(s); });
}

inline void unlock(BitMap* bitmap, uint32_t lock) {
    p96UnlockBitMap(bitmap, static_cast<int32>(lock));
}

template <class Image>
ORMSEL_INTO_CALLER void release(Image* image, uint32_t& lock) {
    if (image && lock) {
        unlock(image, lock);
        lock = 0;
    }
}

template <class Src, class Dst>
void releaseAll(BltContext& ctx, Src* src, Dst* dst, Src* mask) {
    release(src, ctx.src.lock);
    release(dst, ctx.dst.lock);
    release(mask, ctx.maskLock);
}

// --- Surfaces -----------------------------------------------------------------------------------------

struct RedMaskFormat {
    uint32_t rMask;
    uint32_t format;
};

// Only the red mask decides the format of a surface.
template <size_t N>
uint32_t classify(const RedMaskFormat (&table)[N], uint32_t rMask, uint32_t other) {
    for (const RedMaskFormat& row : table)
        if (row.rMask == rMask)
            return row.format;
    return other;
}

inline constexpr RedMaskFormat k16BitFormats[] = {{0x7C00, RGBFB_R5G5B5}, {0xF800, RGBFB_R5G6B5}};
inline constexpr RedMaskFormat k24BitFormats[] = {{0xFF0000, RGBFB_R8G8B8}};
inline constexpr RedMaskFormat k32BitFormats[] = {{0xFF0000, RGBFB_A8R8G8B8},
                                                  {0xFF, RGBFB_A8B8G8R8},
                                                  {0xFF000000, RGBFB_R8G8B8A8},
                                                  {0xFF00, RGBFB_B8G8R8A8}};

// BLT_InitContext() for a surface.
ORMSEL_INTO_CALLER bool fillSide(BltRenderFmt& fmt, SDL_Surface* surface) {
    if (surface->flags & (SDL_RLEACCEL | SDL_RLEACCELOK)) {
        DebugPrintF("RLE acceleration not supported (yet). Bailing out!\n");
        return false;
    }
    lock(surface);
    fmt.lock = 1;

    const SDL_PixelFormat& pf = *surface->format;
    fmt.pixels = static_cast<uint8_t*>(surface->pixels);
    fmt.pitch = static_cast<int16_t>(surface->pitch);
    fmt.onBoard = 0;
    fmt.rMask = pf.Rmask;
    fmt.gMask = pf.Gmask;
    fmt.bMask = pf.Bmask;
    fmt.aMask = pf.Amask;
    fmt.rShift = pf.Rshift;
    fmt.gShift = pf.Gshift;
    fmt.bShift = pf.Bshift;
    fmt.aShift = pf.Ashift;
    fmt.rLoss = pf.Rloss;
    fmt.gLoss = pf.Gloss;
    fmt.bLoss = pf.Bloss;
    fmt.aLoss = pf.Aloss;

    switch (pf.BitsPerPixel) {
    case 15:
    case 16:
        if (pf.Rmask == 0x001F) {
            DebugPrintF("Unsupported source pixel format, bailing out\n");
            return false;
        }
        fmt.format = classify(k16BitFormats, pf.Rmask, fmt.format);
        fmt.bytesPerPixel = 2;
        return true;
    case 24:
        fmt.format = classify(k24BitFormats, pf.Rmask, RGBFB_B8G8R8);
        fmt.bytesPerPixel = 3;
        return true;
    case 32:
        fmt.format = classify(k32BitFormats, pf.Rmask, fmt.format);
        fmt.bytesPerPixel = 4;
        return true;
    default:
        return false;
    }
}

inline bool fillSide(BltRenderFmt& fmt, BitMap* bitmap) {
    return BLT_InitContext(fmt, bitmap);
}

struct Dims {
    long width, height;
};

inline Dims dimsOf(const SDL_Surface* surface) {
    return {surface->w, surface->h};
}

inline Dims dimsOf(BitMap* bitmap) {
    Dims dims;
    BLT_GetBitmapDims(bitmap, dims.width, dims.height);
    return dims;
}

// --- One blit -----------------------------------------------------------------------------------------

// Zero-fills a context, in parts that compilers clear with a few vector stores. For the whole of it they
// start a string instruction, which takes as long as a small blit.
inline void clear(BltContext& ctx) {
    constexpr size_t kPart = 64;
    auto* bytes = reinterpret_cast<uint8_t*>(&ctx);
    size_t i = 0;
    for (; i + kPart <= sizeof ctx; i += kPart)
        std::memset(bytes + i, 0, kPart);
    std::memset(bytes + i, 0, sizeof ctx % kPart);
}

// BLT_InitContext() for a whole context.
template <class Src, class Dst>
ORMSEL_INTO_CALLER bool fillContext(BltContext& ctx, Src* src, Dst* dst, long srcX, long srcY, long dstX,
                                    long dstY, unsigned long width, unsigned long height, Src* mask,
                                    unsigned char alpha, unsigned long flags) {
    clear(ctx);
    ctx.size = sizeof ctx;
    ctx.alpha = alpha;
    ctx.flags = static_cast<uint32_t>(flags);

    const auto [srcW, srcH] = dimsOf(src);
    const auto [dstW, dstH] = dimsOf(dst);

    // The lower bounds go by the source's size, whatever the requested one.
    if (dstX > dstW || dstY > dstH || dstX < -srcW || dstY < -srcH)
        return false;

    // A negative offset moves the rectangle's origin and leaves the requested size as it is.
    if (srcX < 0) {
        dstX -= srcX;
        srcX = 0;
    }
    if (srcY < 0) {
        dstY -= srcY;
        srcY = 0;
    }
    if (dstX < 0) {
        srcX -= dstX;
        dstX = 0;
    }
    if (dstY < 0) {
        srcY -= dstY;
        dstY = 0;
    }
    const long w = std::min({srcW - srcX, static_cast<long>(width), dstW - dstX});
    const long h = std::min({srcH - srcY, static_cast<long>(height), dstH - dstY});
    if (w <= 0 || h <= 0)
        return false;

    ctx.srcX = static_cast<int32_t>(srcX);
    ctx.srcY = static_cast<int32_t>(srcY);
    ctx.dstX = static_cast<int32_t>(dstX);
    ctx.dstY = static_cast<int32_t>(dstY);
    ctx.width = static_cast<int32_t>(w);
    ctx.height = static_cast<int32_t>(h);

    if (!fillSide(ctx.src, src)) {
        DebugPrintF("InitContext (src) failed!\n");
        return false;
    }
    ctx.srcBpp = static_cast<uint16_t>(ctx.src.bytesPerPixel * 8);
    if (!fillSide(ctx.dst, dst)) {
        DebugPrintF("InitContext (dst) failed!\n");
        return false;
    }
    ctx.dstBpp = static_cast<uint16_t>(ctx.dst.bytesPerPixel * 8);
    if (mask && !BLT_InitMask(ctx, mask)) {
        DebugPrintF("InitContext (mask) failed!\n");
        return false;
    }
    return true;
}

inline bool noForm(const void*) { return false; }
inline bool noForm(const SDL_Surface* s) { return s && !s->format; }
template <class S, class D>
inline bool haveImages(const S* src, const D* dst) {
    if (src && dst && !noForm(src) && !noForm(dst))
        return true;
    DebugPrintF("No %s image given. Bailing out!\n", src ? "destination" : "source");
    return false;
}

inline bool havePixels(const BltContext& ctx, bool masked) {
    if (ctx.src.pixels && ctx.dst.pixels && (ctx.maskPixels || !masked))
        return true;
    DebugPrintF("The %s image has no pixels. Bailing out!\n", !ctx.src.pixels   ? "source"
                                                              : !ctx.dst.pixels ? "destination"
                                                                                : "mask");
    return false;
}

// BLT_BltAlphaT().
template <class Src, class Dst>
ORMSEL_INTO_CALLER unsigned long drive(Src* src, short srcX, short srcY, Dst* dst, short dstX, short dstY,
                                       unsigned short width, unsigned short height, Src* mask,
                                       unsigned char alpha, unsigned long flags) {
    if (!haveImages(src, dst))
        return 0;
    BltContext ctx;
    const BltRoutine routine = mask ? BLT_FallbackBltMaskContext : BLT_FallbackBltContext;
    unsigned long result = 0;
    if (noForm(mask)) { DebugPrintF("n\n"); return 0; }
    if (fillContext(ctx, src, dst, srcX, srcY, dstX, dstY, width, height, mask, alpha, flags) &&
        havePixels(ctx, mask != nullptr)) {
        const long maskRows = mask ? dimsOf(mask).height : 0;
        if (BLT_StaysInside(ctx, maskRows)) {
            result = routine(&ctx);
        } else {
            const BltBoundedContext bounded(ctx, dimsOf(src).width, dimsOf(src).height, dimsOf(dst).width, dimsOf(dst).height, mask ? dimsOf(mask).width : 0, maskRows);
            result = routine(&bounded.ctx);
        }
    }
    releaseAll(ctx, src, dst, mask);
    return result;
}

} // namespace ormsel

#undef ORMSEL_INTO_CALLER
