// SPDX-License-Identifier: Zlib
#include "blt_rastport.h"

#include <graphics/clip.h>
#include <graphics/layers.h>
#include <graphics/rastport.h>
#include <proto/exec.h>
#include <proto/layers.h>

#include "blt_requests.h"

using ormsel::extent;
using ormsel::position;

namespace {

// --- Pixel arrays as sources --------------------------------------------------------------------------

// A caller's array of 32-bit pixels. There is nothing to lock.
struct PixelArray {
    uint8_t* pixels;
    long width, height;
    uint16_t pitch;
    const ormsel::Format* format;
};

bool isImage(const PixelArray*, const char*) {
    return true;
}

bool BLT_InitContext(BltRenderFmt& fmt, PixelArray* array) {
    fmt.pixels = array->pixels;
    fmt.pitch = static_cast<int16_t>(array->pitch);
    fmt.format = array->format->code;
    ormsel::setChannels(fmt, *array->format);
    return true;
}

bool BLT_InitMask(BltContext&, PixelArray*) {
    return false; // arrays have 32 bits
}

void BLT_GetBitmapDims(PixelArray* array, long& width, long& height) {
    width = array->width;
    height = array->height;
}

void BLT_FreeContext(BltContext& ctx, PixelArray*, BitMap* dst, PixelArray*) {
    ormsel::release(dst, ctx.dst.lock);
}

// --- Pieces -------------------------------------------------------------------------------------------

struct Bounds {
    int16_t minX, minY, maxX, maxY;
};

// The request's far corner lies one pixel beyond its last one while a clip rectangle's is its last pixel, so
// a piece may be one column and one row larger than the request; clipping against the source bounds it.
bool disjoint(const Bounds& request, const Bounds& clip) {
    return request.minX == request.maxX || request.minY == request.maxY || request.minX > clip.maxX ||
           request.maxX < clip.minX || request.minY > clip.maxY || request.maxY < clip.minY;
}

Bounds intersect(const Bounds& a, const Bounds& b) {
    return {std::max(a.minX, b.minX), std::max(a.minY, b.minY), std::min(a.maxX, b.maxX),
            std::min(a.maxY, b.maxY)};
}

// Sums of positions wrap at 16 bits, whatever a caller passes.
template <class... Numbers>
int16_t sum16(Numbers... numbers) {
    return static_cast<int16_t>((static_cast<uint32_t>(numbers) + ...));
}

unsigned long blitPiece(SDL_Surface* src, long srcX, long srcY, BitMap* dst, long dstX, long dstY,
                        unsigned long width, unsigned long height, unsigned char, unsigned long flags) {
    return SDL_BlitAlphaSurfaceBitMap(src, srcX, srcY, dst, dstX, dstY, width, height,
                                      static_cast<Uint32>(flags));
}

unsigned long blitPiece(BitMap* src, long srcX, long srcY, BitMap* dst, long dstX, long dstY,
                        unsigned long width, unsigned long height, unsigned char alpha, unsigned long flags) {
    return BltAlphaBitMap(src, srcX, srcY, dst, dstX, dstY, width, height, alpha, static_cast<Uint32>(flags));
}

unsigned long blitPiece(PixelArray* src, long srcX, long srcY, BitMap* dst, long dstX, long dstY,
                        unsigned long width, unsigned long height, unsigned char alpha, unsigned long flags) {
    return BLT_BltAlphaT<PixelArray>(src, position(srcX), position(srcY), dst, position(dstX), position(dstY),
                                     extent(width), extent(height), nullptr, alpha, flags);
}

class LayerLock {
public:
    explicit LayerLock(Layer* layer) : layer_(layer) { LockLayerRom(layer_); }
    ~LayerLock() { UnlockLayerRom(layer_); }
    LayerLock(const LayerLock&) = delete;
    LayerLock& operator=(const LayerLock&) = delete;

private:
    Layer* layer_;
};

} // namespace

template <class Src>
unsigned long BLT_AlphaRastportT(Src* src, long srcX, long srcY, RastPort* rp, long dstX, long dstY,
                                 unsigned long width, unsigned long height, unsigned char alpha,
                                 unsigned long flags) {
    if (!src || !rp) {
        ormsel::refuse("No %s given. Bailing out!\n", rp ? "source image" : "rastport");
        return 0;
    }
    Layer* layer = rp->Layer;
    if (!layer)
        return blitPiece(src, srcX, srcY, rp->BitMap, dstX, dstY, width, height, alpha, flags);

    const LayerLock lock(layer);
    const int16_t left = sum16(dstX, layer->bounds.MinX, -layer->Scroll_X);
    const int16_t top = sum16(dstY, layer->bounds.MinY, -layer->Scroll_Y);
    const Bounds request = {left, top, sum16(left, width), sum16(top, height)};

    unsigned long total = 0;
    for (const ClipRect* cr = layer->ClipRect; cr; cr = cr->Next) {
        const Bounds clip = {cr->bounds.MinX, cr->bounds.MinY, cr->bounds.MaxX, cr->bounds.MaxY};
        if (disjoint(request, clip))
            continue;
        const Bounds piece = intersect(request, clip);

        BitMap* target = rp->BitMap;
        const int columns = piece.maxX - piece.minX + 1, rows = piece.maxY - piece.minY + 1;
        long x = piece.minX, y = piece.minY;
        if (cr->lobs) {
            if (layer->Flags & (LAYERSIMPLE | LAYERSUPER))
                continue;
            // A backing bitmap keeps its first column at the screen's alignment to 16 pixels.
            target = cr->BitMap;
            x += (clip.minX & 15) - clip.minX;
            y -= clip.minY;
        }
        total += blitPiece(
            src, sum16(srcX, piece.minX, -request.minX), sum16(srcY, piece.minY, -request.minY), target, x, y,
            static_cast<unsigned long>(columns), static_cast<unsigned long>(rows), alpha, flags);
    }
    return total;
}

template unsigned long BLT_AlphaRastportT(SDL_Surface*, long, long, RastPort*, long, long, unsigned long,
                                          unsigned long, unsigned char, unsigned long);
template unsigned long BLT_AlphaRastportT(BitMap*, long, long, RastPort*, long, long, unsigned long,
                                          unsigned long, unsigned char, unsigned long);

unsigned long SDL_BlitAlphaSurfaceRastPort(SDL_Surface* src, long srcX, long srcY, RastPort* rp, long dstX,
                                           long dstY, unsigned long width, unsigned long height,
                                           unsigned long flags) noexcept {
    return BLT_AlphaRastportT(src, srcX, srcY, rp, dstX, dstY, width, height, 255, flags);
}

unsigned long BltAlphaBitMapRastPort(BitMap* src, long srcX, long srcY, RastPort* rp, long dstX, long dstY,
                                     unsigned long width, unsigned long height, unsigned char alpha,
                                     unsigned long flags) noexcept {
    return BLT_AlphaRastportT(src, srcX, srcY, rp, dstX, dstY, width, height, alpha, flags);
}

unsigned long WriteAlphaPixelArray(void* array, long srcX, long srcY, unsigned long bytesPerRow, RastPort* rp,
                                   long dstX, long dstY, unsigned long width, unsigned long height,
                                   unsigned char alpha, unsigned char format) noexcept {
    const ormsel::Format* known = ormsel::formatOf(format);
    if (!known || known->bytesPerPixel != 4) {
        ormsel::refuse("Unsupported Pixelformat! Must be one of RGBFB_A8R8G8B8, RGBFB_A8B8G8R8, "
                       "RGBFB_R8G8B8A8 or RGBFB_B8G8R8A8\n",
                       "");
        return 0;
    }
    if (!array) {
        ormsel::refuse("No pixel array given. Bailing out!\n", "");
        return 0;
    }
    // The array has the rows that the request names, as a sum that wraps at 32 bits.
    const auto rows = static_cast<int32_t>(static_cast<uint32_t>(srcY) + static_cast<uint32_t>(height));
    PixelArray source = {.pixels = static_cast<uint8_t*>(array),
                         .width = static_cast<int32_t>(bytesPerRow >> 2),
                         .height = rows,
                         .pitch = static_cast<uint16_t>(bytesPerRow),
                         .format = known};
    return BLT_AlphaRastportT(&source, srcX, srcY, rp, dstX, dstY, width, height, alpha, 0);
}
