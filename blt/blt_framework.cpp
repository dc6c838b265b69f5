// SPDX-License-Identifier: Zlib
#include "blt_framework.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ext/atomicity.h>
#include <thread>

#include <proto/Picasso96API.h>
#include <proto/exec.h>

#include <ormsel/ormsel_utils.h>

#include "blt_block.h"
#include "blt_layouts.h"
#include "blt_routines.h"

using ormsel::Channels;

// --- Locks --------------------------------------------------------------------------------------------

namespace {

// SDL counts a surface's locks in a plain integer, and blits on several threads may share a source: counting
// is made exclusive, and nothing else is. A process that never had a second thread is spared the atomics,
// which show in very small blits.
std::atomic_flag locksAreCounted;

template <class Change>
void changeLocks(SDL_Surface* surface, const Change& change) {
    if (__gnu_cxx::__is_single_threaded()) [[likely]] {
        change(surface);
        return;
    }
    while (locksAreCounted.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
    change(surface);
    locksAreCounted.clear(std::memory_order_release);
}

void lockSurface(SDL_Surface* surface) {
    changeLocks(surface, [](SDL_Surface* s) { SDL_LockSurface(s); });
}

void unlockSurface(SDL_Surface* surface) {
    changeLocks(surface, [](SDL_Surface* s) { SDL_UnlockSurface(s); });
}

void release(SDL_Surface* surface, uint32_t& lock) {
    if (surface && lock) {
        unlockSurface(surface);
        lock = 0;
    }
}

void release(BitMap* bitmap, uint32_t& lock) {
    if (bitmap && lock) {
        p96UnlockBitMap(bitmap, static_cast<int32>(lock));
        lock = 0;
    }
}

template <class Src, class Dst>
void releaseAll(BltContext& ctx, Src* src, Dst* dst, Src* mask) {
    release(src, ctx.src.lock);
    release(dst, ctx.dst.lock);
    release(mask, ctx.maskLock);
}

} // namespace

void BLT_FreeContext(BltContext& ctx, SDL_Surface* src, SDL_Surface* dst, SDL_Surface* mask) {
    releaseAll(ctx, src, dst, mask);
}
void BLT_FreeContext(BltContext& ctx, SDL_Surface* src, BitMap* dst, SDL_Surface* mask) {
    releaseAll(ctx, src, dst, mask);
}
void BLT_FreeContext(BltContext& ctx, BitMap* src, SDL_Surface* dst, BitMap* mask) {
    releaseAll(ctx, src, dst, mask);
}
void BLT_FreeContext(BltContext& ctx, BitMap* src, BitMap* dst, BitMap* mask) {
    releaseAll(ctx, src, dst, mask);
}

// --- Images -------------------------------------------------------------------------------------------

namespace {

// Sets the channel fields, which stand in both records in one order.
void setChannels(BltRenderFmt& fmt, const Channels& channels) {
    static_assert(offsetof(BltRenderFmt, aLoss) - offsetof(BltRenderFmt, bytesPerPixel) ==
                  offsetof(Channels, aLoss) - offsetof(Channels, bytesPerPixel));
    std::memcpy(&fmt.bytesPerPixel, &channels, sizeof channels);
}

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

constexpr RedMaskFormat k16BitFormats[] = {{0x7C00, RGBFB_R5G5B5}, {0xF800, RGBFB_R5G6B5}};
constexpr RedMaskFormat k24BitFormats[] = {{0xFF0000, RGBFB_R8G8B8}};
constexpr RedMaskFormat k32BitFormats[] = {{0xFF0000, RGBFB_A8R8G8B8},
                                           {0xFF, RGBFB_A8B8G8R8},
                                           {0xFF000000, RGBFB_R8G8B8A8},
                                           {0xFF00, RGBFB_B8G8R8A8}};

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
    if (surface->flags & (SDL_RLEACCEL | SDL_RLEACCELOK)) {
        DebugPrintF("RLE acceleration not supported (yet). Bailing out!\n");
        return false;
    }
    lockSurface(surface);
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
    if (mask->format->BitsPerPixel != 8)
        return refuseMaskDepth();
    lockSurface(mask);
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

// --- One blit -----------------------------------------------------------------------------------------

namespace {

// Zero-fills a context, in parts that compilers clear with a few vector stores. For the whole of it they
// start a string instruction, which takes as long as a small blit.
void clear(BltContext& ctx) {
    constexpr size_t kPart = 64;
    auto* bytes = reinterpret_cast<uint8_t*>(&ctx);
    size_t i = 0;
    for (; i + kPart <= sizeof ctx; i += kPart)
        std::memset(bytes + i, 0, kPart);
    std::memset(bytes + i, 0, sizeof ctx % kPart);
}

// BLT_InitContext(), inlined into the driver: a call with this many arguments shows in small blits.
template <class Src, class Dst>
[[gnu::always_inline]] inline bool
fillContext(BltContext& ctx, Src* src, Dst* dst, long srcX, long srcY, long dstX, long dstY,
            unsigned long width, unsigned long height, Src* mask, unsigned char alpha, unsigned long flags) {
    clear(ctx);
    ctx.size = sizeof ctx;
    ctx.alpha = alpha;
    ctx.flags = static_cast<uint32_t>(flags);

    long srcW, srcH, dstW, dstH;
    BLT_GetBitmapDims(src, srcW, srcH);
    BLT_GetBitmapDims(dst, dstW, dstH);

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

    if (!BLT_InitContext(ctx.src, src)) {
        DebugPrintF("InitContext (src) failed!\n");
        return false;
    }
    ctx.srcBpp = static_cast<uint16_t>(ctx.src.bytesPerPixel * 8);
    if (!BLT_InitContext(ctx.dst, dst)) {
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

bool haveImages(const void* src, const void* dst) {
    if (src && dst)
        return true;
    DebugPrintF("No %s image given. Bailing out!\n", src ? "destination" : "source");
    return false;
}

bool havePixels(const BltContext& ctx, bool masked) {
    if (ctx.src.pixels && ctx.dst.pixels && (ctx.maskPixels || !masked))
        return true;
    DebugPrintF("The %s image has no pixels. Bailing out!\n", !ctx.src.pixels   ? "source"
                                                              : !ctx.dst.pixels ? "destination"
                                                                                : "mask");
    return false;
}

template <class Image>
long rowsOf(Image* image) {
    long width = 0, height = 0;
    BLT_GetBitmapDims(image, width, height);
    return height;
}

} // namespace

template <class Src, class Dst>
bool BLT_InitContext(BltContext& ctx, Src* src, Dst* dst, long srcX, long srcY, long dstX, long dstY,
                     unsigned long width, unsigned long height, Src* mask, unsigned char alpha,
                     unsigned long flags) {
    return fillContext(ctx, src, dst, srcX, srcY, dstX, dstY, width, height, mask, alpha, flags);
}

template <class Src, class Dst>
unsigned long BLT_BltAlphaT(Src* src, short srcX, short srcY, Dst* dst, short dstX, short dstY,
                            unsigned short width, unsigned short height, Src* mask, unsigned char alpha,
                            unsigned long flags) {
    if (!haveImages(src, dst))
        return 0;
    BltContext ctx;
    const BltRoutine routine = mask ? BLT_FallbackBltMaskContext : BLT_FallbackBltContext;
    unsigned long result = 0;
    if (fillContext(ctx, src, dst, srcX, srcY, dstX, dstY, width, height, mask, alpha, flags) &&
        havePixels(ctx, mask != nullptr)) {
        const long maskRows = mask ? rowsOf(mask) : 0;
        if (BLT_StaysInside(ctx, maskRows)) {
            result = routine(&ctx);
        } else {
            const BltBoundedContext bounded(ctx, rowsOf(src), rowsOf(dst), maskRows);
            result = routine(&bounded.ctx);
        }
    }
    BLT_FreeContext(ctx, src, dst, mask);
    return result;
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
