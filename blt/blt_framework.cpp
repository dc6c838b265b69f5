// SPDX-License-Identifier: Zlib
#include "blt_framework.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include <proto/exec.h>

#include "blt_block.h"
#include "blt_fallback.h"

namespace ormsel {

// --- Surfaces -----------------------------------------------------------------------------------------

namespace {

std::atomic_flag locksAreCounted;

// SDL counts a surface's locks in a plain integer, and blits on several threads may share a source. Where SDL
// does no more than count, counting is made exclusive. A lock that can wait for something (that of a surface
// in graphics-card memory, for one) is never taken under that exclusion, which would make every other blit
// wait, too.
template <class Change>
void changeLock(SDL_Surface* surface, const Change& change) {
    if (SDL_MUSTLOCK(surface)) {
        change(surface);
        return;
    }
    while (locksAreCounted.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
    change(surface);
    locksAreCounted.clear(std::memory_order_release);
}

} // namespace

void lockShared(SDL_Surface* surface) {
    changeLock(surface, SDL_LockSurface);
}

void unlockShared(SDL_Surface* surface) {
    changeLock(surface, SDL_UnlockSurface);
}

bool refuse(const char* line, const char* word) {
    DebugPrintF(line, word);
    return false;
}

// --- Bounds -------------------------------------------------------------------------------------------

namespace {

// The pitch as the image means it: a surface's has 16 bits without a sign, and a bitmap's is stored so.
ptrdiff_t unsignedPitch(int16_t pitch) {
    return static_cast<uint16_t>(pitch);
}

// Behind the last pixel of the last row: programs make views of larger images, whose last row has no padding
// of its own. Where rows are shorter than their pixels, the memory ends with the last row.
const uint8_t* endOf(const uint8_t* pixels, ptrdiff_t pitch, uint32_t bytes, Dims image) {
    if (!pixels || image.width <= 0 || image.height <= 0)
        return pixels;
    return pixels + pitch * (image.height - 1) +
           std::min(pitch, static_cast<ptrdiff_t>(image.width) * static_cast<ptrdiff_t>(bytes));
}

} // namespace

unsigned long runBounded(const BltContext& ctx, Dims src, Dims dst, Dims mask) {
    const ptrdiff_t srcPitch = unsignedPitch(ctx.src.pitch), dstPitch = unsignedPitch(ctx.dst.pitch),
                    maskPitch = unsignedPitch(ctx.maskPitch);
    const Bounds bounds = {.srcPitch = srcPitch,
                           .dstPitch = dstPitch,
                           .maskPitch = maskPitch,
                           .srcEnd = endOf(ctx.src.pixels, srcPitch, ctx.src.bytesPerPixel, src),
                           .dstEnd = endOf(ctx.dst.pixels, dstPitch, ctx.dst.bytesPerPixel, dst),
                           .maskEnd = endOf(ctx.maskPixels, maskPitch, 1, mask)};
    return ctx.maskPixels ? dispatchMaskInside(ctx, bounds) : dispatchInside(ctx, bounds);
}

} // namespace ormsel

bool BLT_InitMask(BltContext& ctx, SDL_Surface* mask) {
    if (mask->format->BitsPerPixel != 8)
        return ormsel::refuse("Mask is not 8 bit format. Bailing out!\n", "");
    ormsel::lock(mask);
    ctx.maskPitch = static_cast<int16_t>(mask->pitch);
    ctx.maskLock = 1;
    ctx.maskPixels = static_cast<uint8_t*>(mask->pixels);
    return true;
}
