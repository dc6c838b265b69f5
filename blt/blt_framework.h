// SPDX-License-Identifier: Zlib
//
// One blit from request to release: the record that describes it, filling that from images, and the driver
// that runs a routine over it.
//
// The functions of every blit's way are defined here and taken into the entry points as a whole: blits of a
// few pixels are common, and calls with so many arguments took a sixth of their time. What is likely runs
// straight on, for the same reason: a jump takes longer than most that is done here.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <SDL.h>
#if __has_include(<sys/single_threaded.h>)
#    include <sys/single_threaded.h>
#endif

#include <ormsel/ormsel.h>

#include "kernels/context.h"

#define ORMSEL_INTO_CALLER [[gnu::always_inline]] inline

struct BitMap;

extern "C" {

// Chooses the routine for a context by formats and then by depths, and runs it. A mask plays no part.
unsigned long BLT_FallbackBltContext(const BltContext* ctx);

// Chooses the routine for a context with a mask, by depths alone, and runs it.
unsigned long BLT_FallbackBltMaskContext(const BltContext* ctx);
}

// --- Filling one side ---------------------------------------------------------------------------------

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

namespace ormsel {

// Prints a line, with a word in the place of %s; false.
[[gnu::cold]] bool refuse(const char* line, const char* word);

// Whether there is something to blit with: an image, and what describes it. If not, says so.
inline bool isImage(const SDL_Surface* surface, const char* role) {
    if (surface && surface->format) [[likely]]
        return true;
    refuse(surface ? "The %s image has no format. Bailing out!\n" : "No %s image given. Bailing out!\n",
           role);
    return false;
}
inline bool isImage(const BitMap* bitmap, const char* role) {
    return bitmap || refuse("No %s image given. Bailing out!\n", role);
}

// SDL_LockSurface() and SDL_UnlockSurface() for a surface that other threads may be blitting from.
[[gnu::cold]] void lockShared(SDL_Surface* surface);
[[gnu::cold]] void unlockShared(SDL_Surface* surface);

// Whether the program has never had a second thread. C libraries that don't tell leave it open.
#if __has_include(<sys/single_threaded.h>)
ORMSEL_INTO_CALLER bool isSingleThreaded() {
    return __libc_single_threaded;
}
#else
ORMSEL_INTO_CALLER bool isSingleThreaded() {
    return false;
}
#endif

ORMSEL_INTO_CALLER void lock(SDL_Surface* surface) {
    if (isSingleThreaded()) [[likely]]
        SDL_LockSurface(surface);
    else
        lockShared(surface);
}

ORMSEL_INTO_CALLER void unlock(SDL_Surface* surface, uint32_t) {
    if (isSingleThreaded()) [[likely]]
        SDL_UnlockSurface(surface);
    else
        unlockShared(surface);
}

void unlock(BitMap* bitmap, uint32_t handle);

template <class Image>
ORMSEL_INTO_CALLER void release(Image* image, uint32_t& handle) {
    if (handle && image) [[likely]] {
        unlock(image, handle);
        handle = 0;
    }
}

template <class Src, class Dst>
ORMSEL_INTO_CALLER void releaseAll(BltContext& ctx, Src* src, Dst* dst, Src* mask) {
    release(src, ctx.src.lock);
    release(dst, ctx.dst.lock);
    release(mask, ctx.maskLock);
}

// In parts that compilers clear with a few vector stores. For the whole of it they start a string instruction
// or a loop, which takes as long as a small blit.
ORMSEL_INTO_CALLER void clear(BltContext& ctx) {
    constexpr size_t kPart = 64, kLast = sizeof ctx - 3 * kPart;
    static_assert(kLast <= kPart);
    auto* const bytes = reinterpret_cast<uint8_t*>(&ctx);
    std::memset(bytes, 0, kPart);
    std::memset(bytes + kPart, 0, kPart);
    std::memset(bytes + 2 * kPart, 0, kPart);
    std::memset(bytes + 3 * kPart, 0, kLast);
}

// Describes the pixels of a side.
inline void setChannels(BltRenderFmt& fmt, const Format& format) {
    fmt.bytesPerPixel = format.bytesPerPixel;
    fmt.rMask = format.r.mask;
    fmt.gMask = format.g.mask;
    fmt.bMask = format.b.mask;
    fmt.aMask = format.a.mask;
    fmt.rShift = format.r.shift;
    fmt.gShift = format.g.shift;
    fmt.bShift = format.b.shift;
    fmt.aShift = format.a.shift;
    fmt.rLoss = format.r.loss;
    fmt.gLoss = format.g.loss;
    fmt.bLoss = format.b.loss;
    fmt.aLoss = format.a.loss;
}

// Only the red mask decides the format of a surface. `other` is the code of one that isn't recognised.
template <uint32_t Bytes>
constexpr uint32_t formatOfSurface(uint32_t redMask, uint32_t other) {
#define ROW(name, stem, code, bytes, red, green, blue, alpha, alphaShift)                                    \
    if ((bytes) == Bytes && redMask == (red)) [[likely]]                                                     \
        return code;
    ORMSEL_FORMATS(ROW)
#undef ROW
    return other;
}

} // namespace ormsel

ORMSEL_INTO_CALLER bool BLT_InitContext(BltRenderFmt& fmt, SDL_Surface* surface) {
    if (surface->flags & (SDL_RLEACCEL | SDL_RLEACCELOK)) [[unlikely]]
        return ormsel::refuse("RLE acceleration not supported (yet). Bailing out!\n", "");
    ormsel::lock(surface);
    fmt.lock = 1;

    const SDL_PixelFormat& pf = *surface->format;
    fmt.pixels = static_cast<uint8_t*>(surface->pixels);
    fmt.pitch = static_cast<int16_t>(surface->pitch);
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
        if (pf.Rmask == 0x001F)
            return ormsel::refuse("Unsupported source pixel format, bailing out\n", "");
        fmt.format = ormsel::formatOfSurface<2>(pf.Rmask, fmt.format);
        fmt.bytesPerPixel = 2;
        return true;
    case 24: // whatever isn't recognised counts as the other one
        fmt.format = ormsel::formatOfSurface<3>(pf.Rmask, ormsel::B8G8R8::kFormat.code);
        fmt.bytesPerPixel = 3;
        return true;
    case 32:
        [[likely]] fmt.format = ormsel::formatOfSurface<4>(pf.Rmask, fmt.format);
        fmt.bytesPerPixel = 4;
        return true;
    default:
        return false;
    }
}

inline void BLT_GetBitmapDims(SDL_Surface* surface, long& width, long& height) {
    width = surface->w;
    height = surface->h;
}

inline void BLT_FreeContext(BltContext& ctx, SDL_Surface* src, SDL_Surface* dst, SDL_Surface* mask) {
    ormsel::releaseAll(ctx, src, dst, mask);
}
inline void BLT_FreeContext(BltContext& ctx, SDL_Surface* src, BitMap* dst, SDL_Surface* mask) {
    ormsel::releaseAll(ctx, src, dst, mask);
}
inline void BLT_FreeContext(BltContext& ctx, BitMap* src, SDL_Surface* dst, BitMap* mask) {
    ormsel::releaseAll(ctx, src, dst, mask);
}
inline void BLT_FreeContext(BltContext& ctx, BitMap* src, BitMap* dst, BitMap* mask) {
    ormsel::releaseAll(ctx, src, dst, mask);
}

// --- One blit -----------------------------------------------------------------------------------------

// Clip the request against both images and fill a whole context. False when nothing is left or an image is
// refused; clipping locks nothing.
template <class Src, class Dst>
ORMSEL_INTO_CALLER bool BLT_InitContext(BltContext& ctx, Src* src, Dst* dst, long srcX, long srcY, long dstX,
                                        long dstY, unsigned long width, unsigned long height, Src* mask,
                                        unsigned char alpha, unsigned long flags) {
    ormsel::clear(ctx);
    ctx.size = sizeof ctx;
    ctx.alpha = alpha;
    ctx.flags = static_cast<uint32_t>(flags);

    using ormsel::isImage;
    if (!isImage(src, "source") || !isImage(dst, "destination") || (mask && !isImage(mask, "mask")))
        return false;
    long srcW, srcH, dstW, dstH;
    BLT_GetBitmapDims(src, srcW, srcH);
    BLT_GetBitmapDims(dst, dstW, dstH);

    // The lower bounds go by the source's size, whatever the requested one.
    if (dstX > dstW || dstY > dstH || dstX < -srcW || dstY < -srcH) [[unlikely]]
        return false;

    // A negative offset moves the rectangle's origin and leaves the requested size as it is.
    const auto moveInside = [](long& from, long& to) {
        if (from < 0) [[unlikely]] {
            to -= from;
            from = 0;
        }
        if (to < 0) [[unlikely]] {
            from -= to;
            to = 0;
        }
    };
    moveInside(srcX, dstX);
    moveInside(srcY, dstY);
    const long w = std::min({srcW - srcX, static_cast<long>(width), dstW - dstX});
    const long h = std::min({srcH - srcY, static_cast<long>(height), dstH - dstY});
    if (w <= 0 || h <= 0) [[unlikely]]
        return false;

    ctx.srcX = static_cast<int32_t>(srcX);
    ctx.srcY = static_cast<int32_t>(srcY);
    ctx.dstX = static_cast<int32_t>(dstX);
    ctx.dstY = static_cast<int32_t>(dstY);
    ctx.width = static_cast<int32_t>(w);
    ctx.height = static_cast<int32_t>(h);

    if (!BLT_InitContext(ctx.src, src))
        return ormsel::refuse("InitContext (%s) failed!\n", "src");
    ctx.srcBpp = static_cast<uint16_t>(ctx.src.bytesPerPixel * 8);
    if (!BLT_InitContext(ctx.dst, dst))
        return ormsel::refuse("InitContext (%s) failed!\n", "dst");
    ctx.dstBpp = static_cast<uint16_t>(ctx.dst.bytesPerPixel * 8);
    if (mask && !BLT_InitMask(ctx, mask))
        return ormsel::refuse("InitContext (%s) failed!\n", "mask");
    return true;
}

namespace ormsel {

// The size of an image, and whether a pitch with its highest bit set walks upwards: a bitmap's does, while
// that of a surface or an array has 16 bits without a sign.
struct Dims {
    long width, height;
    bool pitchIsSigned;
    bool inVideoMemory; // a surface; a bitmap's context says so itself
};

inline bool isInVideoMemory(const SDL_Surface* surface) {
    return surface && surface->flags & SDL_HWSURFACE;
}
template <class Image>
bool isInVideoMemory(const Image*) {
    return false;
}

template <class Image>
Dims dimsOf(Image* image) {
    Dims dims = {0, 0, std::is_same_v<Image, BitMap>, isInVideoMemory(image)};
    if (image)
        BLT_GetBitmapDims(image, dims.width, dims.height);
    return dims;
}

// Whether the rows of a rectangle end before the next ones begin; and pitches fit the signed 16 bits that
// routines take them as. Rows begin inside and have no more pixels than the image, so that they all lie in
// its memory then.
inline bool rowsStayInside(int32_t x, int32_t width, uint32_t bytes, int16_t pitch) {
    return (x + width) * static_cast<int32_t>(bytes) <= pitch;
}

// Whether no routine can leave the images, for a blit without a mask and whose routines touch nothing behind
// a row. Nearly every blit passes.
ORMSEL_INTO_CALLER bool staysInside(const BltContext& ctx, bool masked, unsigned long flags) {
    const bool reachesFurther = masked || flags & ORMSEL_BLIT_COPY || ctx.dst.bytesPerPixel == 3;
    return !reachesFurther && rowsStayInside(ctx.srcX, ctx.width, ctx.src.bytesPerPixel, ctx.src.pitch) &&
           rowsStayInside(ctx.dstX, ctx.width, ctx.dst.bytesPerPixel, ctx.dst.pitch);
}

// Runs the dispatcher for a blit whose routine might leave the images, and keeps it inside; or onto a surface
// in video memory, of which the context says nothing. Cold: what needs it can take the longer way there.
[[gnu::cold]] unsigned long runInside(const BltContext& ctx, Dims src, Dims dst, Dims mask);

// Whether locking gave every image's pixels. If not, says which has none.
inline bool havePixels(const BltContext& ctx, bool masked) {
    if (ctx.src.pixels && ctx.dst.pixels && (ctx.maskPixels || !masked)) [[likely]]
        return true;
    return refuse("The %s image has no pixels. Bailing out!\n", !ctx.src.pixels   ? "source"
                                                                : !ctx.dst.pixels ? "destination"
                                                                                  : "mask");
}

} // namespace ormsel

// One blit from request to release, for each pairing of SDL_Surface and BitMap; a mask is of the source's
// kind, or nullptr.
template <class Src, class Dst>
ORMSEL_INTO_CALLER unsigned long BLT_BltAlphaT(Src* src, short srcX, short srcY, Dst* dst, short dstX,
                                               short dstY, unsigned short width, unsigned short height,
                                               Src* mask, unsigned char alpha, unsigned long flags) {
    BltContext ctx;
    unsigned long result = 0;
    if (BLT_InitContext(ctx, src, dst, srcX, srcY, dstX, dstY, width, height, mask, alpha, flags) &&
        ormsel::havePixels(ctx, mask != nullptr)) {
        if (ormsel::staysInside(ctx, mask != nullptr, flags) && !ormsel::isInVideoMemory(dst)) [[likely]]
            result = BLT_FallbackBltContext(&ctx);
        else
            result = ormsel::runInside(ctx, ormsel::dimsOf(src), ormsel::dimsOf(dst), ormsel::dimsOf(mask));
    }
    BLT_FreeContext(ctx, src, dst, mask);
    return result;
}
