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
 * **Constant alpha** runs from 0 (nothing is drawn) to 255 (no extra transparency). Onto R5G6B5 alphas have
 * five bits: constants 1 to 7 draw nothing, under 8 not even an opaque pixel is drawn, and 248 to 254 are the
 * same as 255.
 *
 * **Flags**: only #ORMSEL_BLIT_COPY has a meaning; every other bit is ignored.
 *
 * **Result**: 0, both when the blit drew and when it was refused; it is no status. A refusal draws nothing,
 * leaves nothing locked and says why on the debug output (standard error on a desktop host), in one or two
 * lines for each piece of the blit. A rectangle that clipping leaves empty, and 24 onto 24 bits, which
 * nothing serves, are skipped silently. So is a blit onto R5G6B5 that blends and finds no memory for a row
 * of pixels.
 *
 * **Refused images**: SDL surfaces that have SDL_RLEACCEL or SDL_RLEACCELOK set (asked for, or fit for,
 * run-length encoding), but for masks; 15/16-bit surfaces whose red mask is 0x001F; surfaces of a depth other
 * than 15, 16, 24 and 32, or without a pixel format; bitmaps in a format other than RGBFB_R8G8B8, B8G8R8,
 * A8R8G8B8, A8B8G8R8, R8G8B8A8, B8G8R8A8, R5G6B5 and R5G5B5; masks that are not 8 bits deep.
 *
 * **Locking**: source, destination and mask are locked for exactly the span of one blit and released in
 * this order. The caller need not lock anything. What SDL_LockSurface() answers is not looked at.
 *
 * **What is touched**: a blit reads and writes no pixel outside its clipped rectangle. In main memory it may
 * read any pixel inside and write it back with the value that it has; in graphics-card memory (bitmaps there,
 * and surfaces with SDL_HWSURFACE) a pixel that isn't drawn is neither read nor written, but for what is said
 * of the row copies onto R5G6B5. A store into a 24-bit destination takes the byte behind the pixel along.
 *
 * **Thread safety**: any thread, provided no other thread writes the same pixels: several threads may blit
 * onto rectangles of one destination that have no pixel in common (nor, on 24 bits, the byte behind a row).
 * Several threads may blit from one surface at a time: its lock count comes out right. That covers the
 * library's own locks alone, not those that the program takes on the same surface meanwhile; and not surfaces
 * whose lock does more than count (SDL_MUSTLOCK), for which SDL itself is not made. Between calls the library
 * remembers nothing but which processor target it uses.
 *
 * **Memory safety**: no byte outside an image's memory is read or written. The memory begins with the first
 * pixel and ends behind the last pixel of the last row, or after pitch times height bytes where that is
 * less; so a surface may be a view of a part of another one. An image without rows or columns has none. A
 * bitmap with a negative pitch is stored from its last row up. A byte outside counts as 0. A mask may be
 * smaller than the source: rows that it doesn't have draw nothing, and where its rows are shorter than the
 * rectangle, whatever follows in its memory counts.
 *
 * **One image as source and destination**: rows are drawn from the top, each from left to right; onto R5G6B5
 * four pixels at a time are read before they are stored (two from a 24-bit source), onto A8R8G8B8 two, and
 * one wherever the blit goes by masks.
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
 * Words are not reordered between formats. A rectangle of odd width also carries the two words to the right
 * of each of its rows: those that lie in the memory of both images, be it as padding or as pixels of the next
 * row.
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
 * coordinates: its byte (srcX, srcY) belongs to the first pixel. A destination alpha channel receives the
 * mask byte.
 *
 * @param src           source surface
 * @param srcX, srcY    top-left corner of the rectangle in the source
 * @param dst           destination surface
 * @param dstX, dstY    where that corner goes in the destination
 * @param width, height size of the rectangle in pixels
 * @param mask          8-bit surface; NULL blits without a mask, by the source's own alpha
 * @param alpha         constant alpha, 0 to 255
 * @param flags         see #ORMSEL_BLIT_COPY (has no effect with a mask)
 * @return 0
 */
unsigned long SDL_BlitSurfaceAlphaMask(SDL_Surface* src, long srcX, long srcY, SDL_Surface* dst, long dstX,
                                       long dstY, unsigned long width, unsigned long height,
                                       SDL_Surface* mask, unsigned char alpha, Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a surface onto a bitmap. The constant alpha comes from the source surface, as in
 * SDL_BlitAlphaSurface().
 *
 * @param src           source surface
 * @param srcX, srcY    top-left corner of the rectangle in the source
 * @param dst           destination bitmap
 * @param dstX, dstY    where that corner goes in the destination
 * @param width, height size of the rectangle in pixels
 * @param flags         0 or #ORMSEL_BLIT_COPY
 * @return 0
 */
unsigned long SDL_BlitAlphaSurfaceBitMap(SDL_Surface* src, long srcX, long srcY, struct BitMap* dst,
                                         long dstX, long dstY, unsigned long width, unsigned long height,
                                         Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a bitmap onto a surface.
 *
 * @param src           source bitmap
 * @param srcX, srcY    top-left corner of the rectangle in the source
 * @param dst           destination surface
 * @param dstX, dstY    where that corner goes in the destination
 * @param width, height size of the rectangle in pixels
 * @param alpha         constant alpha, 0 to 255
 * @param flags         0 or #ORMSEL_BLIT_COPY
 * @return 0
 */
unsigned long SDL_BlitAlphaBitMapSurface(struct BitMap* src, long srcX, long srcY, SDL_Surface* dst,
                                         long dstX, long dstY, unsigned long width, unsigned long height,
                                         unsigned char alpha, Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of one bitmap onto another.
 *
 * @param src           source bitmap
 * @param srcX, srcY    top-left corner of the rectangle in the source
 * @param dst           destination bitmap
 * @param dstX, dstY    where that corner goes in the destination
 * @param width, height size of the rectangle in pixels
 * @param alpha         constant alpha, 0 to 255
 * @param flags         0 or #ORMSEL_BLIT_COPY
 * @return 0
 */
unsigned long BltAlphaBitMap(struct BitMap* src, long srcX, long srcY, struct BitMap* dst, long dstX,
                             long dstY, unsigned long width, unsigned long height, unsigned char alpha,
                             Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of one bitmap onto another through an 8-bit mask bitmap; the mask works as in
 * SDL_BlitSurfaceAlphaMask().
 *
 * @param src           source bitmap
 * @param srcX, srcY    top-left corner of the rectangle in the source
 * @param dst           destination bitmap
 * @param dstX, dstY    where that corner goes in the destination
 * @param width, height size of the rectangle in pixels
 * @param mask          8-bit bitmap; NULL blits without a mask, by the source's own alpha
 * @param alpha         constant alpha, 0 to 255
 * @param flags         0 or #ORMSEL_BLIT_COPY
 * @return 0
 */
unsigned long BltBitMapAlphaMask(struct BitMap* src, long srcX, long srcY, struct BitMap* dst, long dstX,
                                 long dstY, unsigned long width, unsigned long height, struct BitMap* mask,
                                 unsigned char alpha, Uint32 flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a surface into a rastport, split along the clip rectangles of its layer.
 *
 * The destination position counts from the layer's top-left corner (less its scroll offset). Visible pieces
 * go to the rastport's bitmap, covered pieces of a smart-refresh layer to their backing bitmaps; covered
 * pieces of other layers are not drawn. The layer is locked (LockLayerRom) for the whole walk. A rastport
 * without a layer is one blit onto its bitmap. The constant alpha comes from the surface, as in
 * SDL_BlitAlphaSurface().
 *
 * With a layer, positions and their sums with a size wrap at signed 16 bits. Drawing can leave a clip
 * rectangle: each piece may be one column and one row larger than the request where the source is, a negative
 * source position moves a piece's origin, a request whose far edge wraps meets other rectangles than it
 * should, and a raw copy of odd width takes its two words along. It never leaves the bitmaps.
 *
 * @param src           source surface
 * @param srcX, srcY    top-left corner of the rectangle in the source
 * @param rp            destination rastport
 * @param dstX, dstY    where that corner goes in the destination
 * @param width, height size of the rectangle in pixels
 * @param flags         0 or #ORMSEL_BLIT_COPY
 * @return the sum of the pieces' results, 0
 */
unsigned long SDL_BlitAlphaSurfaceRastPort(SDL_Surface* src, long srcX, long srcY, struct RastPort* rp,
                                           long dstX, long dstY, unsigned long width, unsigned long height,
                                           unsigned long flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a bitmap into a rastport; layers are treated as in SDL_BlitAlphaSurfaceRastPort().
 *
 * @param src           source bitmap
 * @param srcX, srcY    top-left corner of the rectangle in the source
 * @param rp            destination rastport
 * @param dstX, dstY    where that corner goes in the destination
 * @param width, height size of the rectangle in pixels
 * @param alpha         constant alpha, 0 to 255
 * @param flags         0 or #ORMSEL_BLIT_COPY
 * @return the sum of the pieces' results, 0
 */
unsigned long BltAlphaBitMapRastPort(struct BitMap* src, long srcX, long srcY, struct RastPort* rp, long dstX,
                                     long dstY, unsigned long width, unsigned long height,
                                     unsigned char alpha, unsigned long flags) ORMSEL_NOEXCEPT;

/**
 * Blends a rectangle of a caller's array of 32-bit pixels into a rastport; layers are treated as in
 * SDL_BlitAlphaSurfaceRastPort().
 *
 * The array is taken to have bytesPerRow / 4 pixels in each row, and srcY + height rows.
 *
 * @param array         first pixel of the array; pixels are machine words
 * @param srcX, srcY    top-left corner of the rectangle in the array
 * @param bytesPerRow   bytes from one row to the next, up to 65535
 * @param rp            destination rastport
 * @param dstX, dstY    where that corner goes in the destination
 * @param width, height size of the rectangle in pixels
 * @param alpha         constant alpha, 0 to 255
 * @param format        RGBFB_A8R8G8B8 (6), RGBFB_A8B8G8R8 (7), RGBFB_R8G8B8A8 (8) or RGBFB_B8G8R8A8 (9);
 *                      any other is refused with a line on the debug output
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
