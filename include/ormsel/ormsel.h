/* SPDX-License-Identifier: Zlib */
/**
 * @file ormsel.h
 * @brief Alpha-compositing blits between SDL 1.2 surfaces, native bitmaps and drawing contexts.
 *
 * Every function here copies a rectangle of a source image onto a destination and blends the two by the
 * source's per-pixel alpha (or by an 8-bit mask) times one constant alpha for the whole blit.
 *
 * **Coordinates and sizes** are in pixels. They are narrowed before use: coordinates to signed 16 bits,
 * sizes to unsigned 16 bits (a width of 70000 becomes 4464). The rectangle is clipped against both
 * images; a negative position moves the rectangle's origin and does not shrink the requested size.
 *
 * **Constant alpha** runs from 0 (nothing is drawn) to 255 (no extra transparency).
 *
 * **Flags**: only #ORMSEL_BLIT_COPY has a meaning; every other bit is ignored.
 *
 * **Result**: 0, both when the blit drew and when it was refused; it is no status. A refusal draws nothing,
 * leaves nothing locked and says why in one or two lines on the debug output (standard error on a desktop
 * host). A rectangle that clipping leaves empty, or a pair of formats that nothing serves (24 onto 24 bits,
 * any 8-bit image), is skipped silently.
 *
 * **Refused images**: run-length encoded SDL surfaces (SDL_RLEACCEL); 15/16-bit surfaces whose red mask is
 * 0x001F; surfaces of a depth other than 15, 16, 24 and 32; bitmaps in a format other than RGBFB_R8G8B8,
 * B8G8R8, A8R8G8B8, A8B8G8R8, R8G8B8A8, B8G8R8A8, R5G6B5 and R5G5B5; masks that are not 8 bits deep.
 *
 * **Locking**: source, destination and mask are locked for exactly the span of one blit and released in
 * this order. The caller need not lock anything.
 *
 * **Thread safety**: any thread, provided no other thread writes the same image. The library keeps no
 * state between calls.
 *
 * **Memory safety**: no byte outside an image's memory (pitch times height bytes from its first pixel) is
 * read or written. Source and destination may be one image: pixels are then processed in rows from the
 * top, each from left to right.
 *
 * **Clip rectangle and colour key** of an SDL surface have no part in a blit.
 */
#ifndef ORMSEL_ORMSEL_H
#define ORMSEL_ORMSEL_H

#include <SDL.h>

#include "ormsel_version.h"

#ifdef __cplusplus
extern "C" {
#endif

struct BitMap;
struct RastPort;

/**
 * Flag: copy the source words unchanged, ignoring both alphas. Honoured when the destination is
 * RGBFB_A8R8G8B8 and the source one of the four 32-bit formats; ignored otherwise.
 * Words are not reordered between formats, and a rectangle of odd width also carries the two words to the
 * right of each of its rows (as far as both images have them).
 */
#define ORMSEL_BLIT_COPY 4UL

/**
 * Blends a rectangle of one surface onto another, in the shape of SDL_BlitSurface.
 *
 * The constant alpha is the source's per-surface alpha (`src->format->alpha`) when its SDL_SRCALPHA flag is
 * set, else 255; unlike SDL_BlitSurface the per-pixel alpha counts in both cases.
 *
 * @param src     source surface, 15, 16, 24 or 32 bits per pixel
 * @param srcRect part of the source, or NULL for the whole of it; not written to
 * @param dst     destination surface
 * @param dstRect its x and y give the destination position, or NULL for (0, 0); w and h are ignored, and
 *                nothing is written back
 * @return 0
 */
unsigned long SDL_BlitAlphaSurface(SDL_Surface* src, SDL_Rect* srcRect, SDL_Surface* dst,
                                   SDL_Rect* dstRect) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of one surface onto another through an 8-bit mask.
 *
 * The mask replaces the source's own alpha, which plays no part, and is addressed with the source's
 * coordinates: its byte (srcX, srcY) belongs to the first pixel. Rows that the mask does not have draw
 * nothing. A destination alpha channel receives the mask byte.
 *
 * @param mask  8-bit surface; NULL blits without a mask, by the source's own alpha
 * @param alpha constant alpha, 0 to 255
 * @param flags see #ORMSEL_BLIT_COPY (has no effect with a mask)
 * @return 0
 */
unsigned long SDL_BlitSurfaceAlphaMask(SDL_Surface* src, long srcX, long srcY, SDL_Surface* dst, long dstX,
                                       long dstY, unsigned long width, unsigned long height,
                                       SDL_Surface* mask, unsigned char alpha, Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a surface onto a bitmap. The constant alpha comes from the source surface, as in
 * SDL_BlitAlphaSurface().
 * @return 0
 */
unsigned long SDL_BlitAlphaSurfaceBitMap(SDL_Surface* src, long srcX, long srcY, struct BitMap* dst,
                                         long dstX, long dstY, unsigned long width, unsigned long height,
                                         Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a bitmap onto a surface.
 * @param alpha constant alpha, 0 to 255
 * @return 0
 */
unsigned long SDL_BlitAlphaBitMapSurface(struct BitMap* src, long srcX, long srcY, SDL_Surface* dst,
                                         long dstX, long dstY, unsigned long width, unsigned long height,
                                         unsigned char alpha, Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of one bitmap onto another.
 * @param alpha constant alpha, 0 to 255
 * @return 0
 */
unsigned long BltAlphaBitMap(struct BitMap* src, long srcX, long srcY, struct BitMap* dst, long dstX,
                             long dstY, unsigned long width, unsigned long height, unsigned char alpha,
                             Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of one bitmap onto another through an 8-bit mask bitmap; the mask works as in
 * SDL_BlitSurfaceAlphaMask().
 * @return 0
 */
unsigned long BltBitMapAlphaMask(struct BitMap* src, long srcX, long srcY, struct BitMap* dst, long dstX,
                                 long dstY, unsigned long width, unsigned long height, struct BitMap* mask,
                                 unsigned char alpha, Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a surface into a rastport, clipped by its layer.
 *
 * The destination position counts from the layer's top-left corner (less its scroll offset). Visible pieces
 * go to the rastport's bitmap, covered pieces of a smart-refresh layer to their backing bitmaps; covered
 * pieces of other layers are not drawn. Each piece may be one column and one row larger than the request
 * where the source is. The layer is locked (LockLayerRom) for the whole walk. A rastport without a layer is
 * one blit onto its bitmap. The constant alpha comes from the surface, as in SDL_BlitAlphaSurface().
 * @return the sum of the pieces' results, 0
 */
unsigned long SDL_BlitAlphaSurfaceRastPort(SDL_Surface* src, long srcX, long srcY, struct RastPort* rp,
                                           long dstX, long dstY, unsigned long width, unsigned long height,
                                           unsigned long flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a bitmap into a rastport; layers are treated as in SDL_BlitAlphaSurfaceRastPort().
 * @param alpha constant alpha, 0 to 255
 * @return the sum of the pieces' results, 0
 */
unsigned long BltAlphaBitMapRastPort(struct BitMap* src, long srcX, long srcY, struct RastPort* rp, long dstX,
                                     long dstY, unsigned long width, unsigned long height,
                                     unsigned char alpha, unsigned long flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a caller's array of 32-bit pixels into a rastport; layers are treated as in
 * SDL_BlitAlphaSurfaceRastPort().
 *
 * @param array       first pixel of the array; pixels are machine words
 * @param bytesPerRow bytes from one row to the next; used as 16 bits
 * @param alpha       constant alpha, 0 to 255
 * @param format      RGBFB_A8R8G8B8 (6), RGBFB_A8B8G8R8 (7), RGBFB_R8G8B8A8 (8) or RGBFB_B8G8R8A8 (9);
 *                    any other is refused with a line on the debug output
 * @return the sum of the pieces' results, 0
 */
unsigned long WriteAlphaPixelArray(void* array, long srcX, long srcY, unsigned long bytesPerRow,
                                   struct RastPort* rp, long dstX, long dstY, unsigned long width,
                                   unsigned long height, unsigned char alpha,
                                   unsigned char format) ORMSEL_NOEXCEPT;

/** Prepares the engine. Does nothing today; may be called any number of times, or never. */
void BLT_SetupBltEngine(void) ORMSEL_NOEXCEPT;

/** Counterpart of BLT_SetupBltEngine(). Does nothing today; blits still work afterwards. */
void BLT_ShutDownBltEngine(void) ORMSEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
