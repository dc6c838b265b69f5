// SPDX-License-Identifier: Zlib
#include "entries.h"

#include <graphics/rastport.h>

#include "ormsel/ormsel.h"

bool sourceIsSurface(Entry entry) {
    return entry != Entry::BitmapToSurface && entry != Entry::Bitmap && entry != Entry::BitmapMask &&
           entry != Entry::BitmapToRastPort;
}

bool destinationIsSurface(Entry entry) {
    return entry <= Entry::SurfaceMask || entry == Entry::BitmapToSurface;
}

bool takesMask(Entry entry) {
    return entry == Entry::SurfaceMask || entry == Entry::BitmapMask;
}

bool takesAlpha(Entry entry) {
    return !sourceIsSurface(entry) || entry == Entry::SurfaceMask || entry == Entry::Array;
}

void conform(Entry entry, model::Blit& blit) {
    if (entry == Entry::SurfaceWhole || entry == Entry::SurfaceCorner) {
        blit.srcX = blit.srcY = 0;
        blit.width = blit.src.width;
        blit.height = blit.src.height;
    }
    if (entry == Entry::SurfaceCorner)
        blit.dstX = blit.dstY = 0;
    if (entry <= Entry::SurfaceCorner)
        blit.flags = 1;
    if (entry == Entry::Array) {
        blit.flags = 0;
        blit.src.width = blit.src.pitch / 4;
        blit.srcY =
            blit.src.height > 0 ? (blit.srcY % blit.src.height + blit.src.height) % blit.src.height : 0;
        blit.height = blit.src.height - blit.srcY;
    }
}

unsigned long callEntry(Entry entry, const model::Blit& blit, const Picture& src, const Picture& dst,
                        const Picture* mask, void* sourcePixels, long carry) {
    const long sx = blit.srcX + carry, sy = blit.srcY + carry;
    const long dx = blit.dstX - carry, dy = blit.dstY + carry;
    const auto w = static_cast<unsigned long>(blit.width + 2 * carry);
    const auto h = static_cast<unsigned long>(blit.height - carry);
    const auto alpha = static_cast<unsigned char>(blit.alpha);
    RastPort port{};
    port.BitMap = dst.native();
    SDL_Rect from = {static_cast<Sint16>(blit.srcX), static_cast<Sint16>(blit.srcY),
                     static_cast<Uint16>(blit.width), static_cast<Uint16>(blit.height)};
    SDL_Rect to = {static_cast<Sint16>(blit.dstX), static_cast<Sint16>(blit.dstY), 3, 9}; // size ignored
    switch (entry) {
    case Entry::Surface:
        return SDL_BlitAlphaSurface(src.sdl(), &from, dst.sdl(), &to);
    case Entry::SurfaceWhole:
        return SDL_BlitAlphaSurface(src.sdl(), nullptr, dst.sdl(), &to);
    case Entry::SurfaceCorner:
        return SDL_BlitAlphaSurface(src.sdl(), nullptr, dst.sdl(), nullptr);
    case Entry::SurfaceMask:
        return SDL_BlitSurfaceAlphaMask(src.sdl(), sx, sy, dst.sdl(), dx, dy, w, h,
                                        mask ? mask->sdl() : nullptr, alpha, blit.flags);
    case Entry::SurfaceToBitmap:
        return SDL_BlitAlphaSurfaceBitMap(src.sdl(), sx, sy, dst.native(), dx, dy, w, h, blit.flags);
    case Entry::BitmapToSurface:
        return SDL_BlitAlphaBitMapSurface(src.native(), sx, sy, dst.sdl(), dx, dy, w, h, alpha, blit.flags);
    case Entry::Bitmap:
        return BltAlphaBitMap(src.native(), sx, sy, dst.native(), dx, dy, w, h, alpha, blit.flags);
    case Entry::BitmapMask:
        return BltBitMapAlphaMask(src.native(), sx, sy, dst.native(), dx, dy, w, h,
                                  mask ? mask->native() : nullptr, alpha, blit.flags);
    case Entry::SurfaceToRastPort:
        return SDL_BlitAlphaSurfaceRastPort(src.sdl(), sx, sy, &port, dx, dy, w, h, blit.flags);
    case Entry::BitmapToRastPort:
        return BltAlphaBitMapRastPort(src.native(), sx, sy, &port, dx, dy, w, h, alpha, blit.flags);
    case Entry::Array: // its row count is no 16-bit argument
        return WriteAlphaPixelArray(sourcePixels, sx, blit.srcY, static_cast<unsigned long>(blit.src.pitch),
                                    &port, dx, dy, w, static_cast<unsigned long>(blit.height), alpha,
                                    static_cast<unsigned char>(blit.src.format.code));
    }
    return 1;
}
