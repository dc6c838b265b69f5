// SPDX-License-Identifier: Zlib
#include "blt_framework.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <thread>

#include <proto/exec.h>

#include "blt_fallback.h"
#include "kernels/block.h"

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

// An image's memory ends behind the last pixel of the row that lies highest in it: programs make views of
// larger images, where no padding of their own follows that row. Where rows are shorter than their pixels,
// the memory ends with that row. An image without pixels has none.
Memory memoryOf(const uint8_t* pixels, int16_t pitch16, uint32_t bytes, Dims image) {
    const ptrdiff_t pitch = image.pitchIsSigned ? pitch16 : static_cast<uint16_t>(pitch16);
    if (!pixels || image.width <= 0 || image.height <= 0)
        return {pixels, pixels, pitch};
    const uint8_t* const last = pixels + pitch * (image.height - 1);
    const ptrdiff_t row =
        std::min(std::abs(pitch), static_cast<ptrdiff_t>(image.width) * static_cast<ptrdiff_t>(bytes));
    return {std::min(pixels, last), std::max(pixels, last) + row, pitch};
}

} // namespace

namespace {

// Whether the rows of a rectangle stay inside with `reach` bytes behind each. Where the last row is the
// image's last one, it must end with the image's last pixel.
bool rowsStayInside(int32_t x, int32_t width, uint32_t bytes, int16_t pitch, Dims image, int32_t endRow,
                    int32_t reach) {
    const int32_t row = (x + width) * static_cast<int32_t>(bytes) + reach;
    return row <= pitch && (endRow < image.height || row <= image.width * static_cast<long>(bytes));
}

// Whether no routine can leave the images, whatever the blit: with what a routine touches behind a row, and
// through a mask.
bool touchesImagesAlone(const BltContext& ctx, Dims src, Dims dst, Dims mask) {
    // The raw copy takes up to two words more with each row, a store of a 24-bit pixel one byte.
    const int32_t copied = ctx.flags & ORMSEL_BLIT_COPY && ctx.width % 2 ? 8 : 0;
    const int32_t stored = ctx.dst.bytesPerPixel == 3 ? 1 : copied;
    const int32_t srcEnd = ctx.srcY + ctx.height, dstEnd = ctx.dstY + ctx.height;
    return rowsStayInside(ctx.srcX, ctx.width, ctx.src.bytesPerPixel, ctx.src.pitch, src, srcEnd, copied) &&
           rowsStayInside(ctx.dstX, ctx.width, ctx.dst.bytesPerPixel, ctx.dst.pitch, dst, dstEnd, stored) &&
           (!ctx.maskPixels || (mask.width > 0 && srcEnd <= mask.height &&
                                rowsStayInside(ctx.srcX, ctx.width, 1, ctx.maskPitch, mask, srcEnd, 0)));
}

} // namespace

unsigned long runInside(const BltContext& ctx, Dims src, Dims dst, Dims mask) {
    if (touchesImagesAlone(ctx, src, dst, mask) && !dst.inVideoMemory)
        return ctx.maskPixels ? BLT_FallbackBltMaskContext(&ctx) : BLT_FallbackBltContext(&ctx);
    const Bounds bounds = {.src = memoryOf(ctx.src.pixels, ctx.src.pitch, ctx.src.bytesPerPixel, src),
                           .dst = memoryOf(ctx.dst.pixels, ctx.dst.pitch, ctx.dst.bytesPerPixel, dst),
                           .mask = memoryOf(ctx.maskPixels, ctx.maskPitch, 1, mask),
                           .onBoard = dst.inVideoMemory};
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
