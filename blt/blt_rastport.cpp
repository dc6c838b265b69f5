// SPDX-License-Identifier: Zlib
//
// Blits into rastports: one bitmap blit for each of the layer's clip rectangles that meets the request.
#include <algorithm>
#include <cstdint>
#include <type_traits>

#include <graphics/clip.h>
#include <graphics/layers.h>
#include <graphics/rastport.h>
#include <proto/exec.h>
#include <proto/layers.h>

#include <ormsel/ormsel.h>

#include "blt_layouts.h"

namespace {

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

unsigned long blitPiece(SDL_Surface* src, long srcX, long srcY, BitMap* dst, long dstX, long dstY,
                        unsigned long width, unsigned long height, unsigned char, unsigned long flags) {
    return SDL_BlitAlphaSurfaceBitMap(src, srcX, srcY, dst, dstX, dstY, width, height,
                                      static_cast<Uint32>(flags));
}

unsigned long blitPiece(BitMap* src, long srcX, long srcY, BitMap* dst, long dstX, long dstY,
                        unsigned long width, unsigned long height, unsigned char alpha, unsigned long flags) {
    return BltAlphaBitMap(src, srcX, srcY, dst, dstX, dstY, width, height, alpha, static_cast<Uint32>(flags));
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
        DebugPrintF("No %s given. Bailing out!\n", rp ? "source image" : "rastport");
        return 0;
    }
    Layer* layer = rp->Layer;
    if (!layer)
        return blitPiece(src, srcX, srcY, rp->BitMap, dstX, dstY, width, height, alpha, flags);

    const LayerLock lock(layer);
    dstX += layer->bounds.MinX - layer->Scroll_X;
    dstY += layer->bounds.MinY - layer->Scroll_Y;
    const Bounds request = {static_cast<int16_t>(dstX), static_cast<int16_t>(dstY),
                            static_cast<int16_t>(dstX + static_cast<long>(width)),
                            static_cast<int16_t>(dstY + static_cast<long>(height))};

    unsigned long total = 0;
    for (const ClipRect* cr = layer->ClipRect; cr; cr = cr->Next) {
        const Bounds clip = {cr->bounds.MinX, cr->bounds.MinY, cr->bounds.MaxX, cr->bounds.MaxY};
        if (disjoint(request, clip))
            continue;
        const Bounds piece = intersect(request, clip);

        BitMap* target = rp->BitMap;
        long x = piece.minX, y = piece.minY;
        if (cr->lobs) {
            if (layer->Flags & (LAYERSIMPLE | LAYERSUPER))
                continue;
            // A backing bitmap keeps its first column at the screen's alignment to 16 pixels.
            target = cr->BitMap;
            x += (clip.minX & 15) - clip.minX;
            y -= clip.minY;
        }
        total += blitPiece(src, srcX + piece.minX - request.minX, srcY + piece.minY - request.minY, target, x,
                           y, static_cast<unsigned long>(piece.maxX - piece.minX + 1),
                           static_cast<unsigned long>(piece.maxY - piece.minY + 1), alpha, flags);
    }
    return total;
}

unsigned long SDL_BlitAlphaSurfaceRastPort(SDL_Surface* src, long srcX, long srcY, RastPort* rp, long dstX,
                                           long dstY, unsigned long width, unsigned long height,
                                           unsigned long flags) {
    return BLT_AlphaRastportT(src, srcX, srcY, rp, dstX, dstY, width, height, 255, flags);
}

unsigned long BltAlphaBitMapRastPort(BitMap* src, long srcX, long srcY, RastPort* rp, long dstX, long dstY,
                                     unsigned long width, unsigned long height, unsigned char alpha,
                                     unsigned long flags) {
    return BLT_AlphaRastportT(src, srcX, srcY, rp, dstX, dstY, width, height, alpha, flags);
}

unsigned long WriteAlphaPixelArray(void* array, long srcX, long srcY, unsigned long bytesPerRow, RastPort* rp,
                                   long dstX, long dstY, unsigned long width, unsigned long height,
                                   unsigned char alpha, unsigned char format) {
    const ormsel::Channels* channels = ormsel::channelsOf(format);
    if (!channels || channels->bytesPerPixel != 4) {
        DebugPrintF("Unsupported Pixelformat! Must be one of RGBFB_A8R8G8B8, RGBFB_A8B8G8R8, RGBFB_R8G8B8A8 "
                    "or RGBFB_B8G8R8A8\n");
        return 0;
    }
    if (!array) {
        DebugPrintF("No pixel array given. Bailing out!\n");
        return 0;
    }
    // The array is dressed as a surface whose red mask classifies as exactly the format given.
    SDL_PixelFormat pf = {};
    pf.BitsPerPixel = 32;
    pf.BytesPerPixel = 4;
    pf.Rmask = channels->rMask;
    pf.Gmask = channels->gMask;
    pf.Bmask = channels->bMask;
    pf.Amask = channels->aMask;
    pf.Rshift = static_cast<Uint8>(channels->rShift);
    pf.Gshift = static_cast<Uint8>(channels->gShift);
    pf.Bshift = static_cast<Uint8>(channels->bShift);
    pf.Ashift = static_cast<Uint8>(channels->aShift);
    pf.alpha = alpha;

    SDL_Surface surface = {};
    surface.flags = alpha != 255 ? SDL_SRCALPHA : 0;
    surface.format = &pf;
    surface.w = static_cast<int>(bytesPerRow >> 2);
    surface.h = static_cast<int>(srcY + static_cast<long>(height));
    surface.pitch = static_cast<Uint16>(bytesPerRow);
    surface.pixels = array;
    return BLT_AlphaRastportT(&surface, srcX, srcY, rp, dstX, dstY, width, height, 255, 0);
}
