/* SPDX-License-Identifier: Zlib */
/** @file proto/graphics.h  Bitmaps, drawing and display modes. */
#ifndef PROTO_GRAPHICS_H
#define PROTO_GRAPHICS_H

#include <graphics/gfx.h>
#include <graphics/modeid.h>
#include <graphics/rastport.h>
#include <host/call.h>
#include <host/tagcall.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Allocates a bitmap in memory.
 *
 * @param width, height pixels, 1 to 32767
 * @param depth  bits per pixel, which choose the format where nothing else gives one: 8 and less RGBFB_CLUT,
 *               15 RGBFB_R5G5B5, 16 RGBFB_R5G6B5, up to 32 RGBFB_A8R8G8B8
 * @param flags  BMF_... bits
 * @param friendOrTags NULL; or a bitmap whose format to take; or with BMF_CHECKVALUE a tag list
 * @return NULL when memory is short, a size out of range, the format unknown, or a row longer than 32767
 *         bytes; freed with FreeBitMap()
 */
struct BitMap* AllocBitMap(uint32 width, uint32 height, uint32 depth, uint32 flags, const void* friendOrTags)
    HOST_CALL(AllocBitMap);

/** Frees a bitmap of AllocBitMap(); NULL is allowed. It must not be locked. */
void FreeBitMap(struct BitMap* bitmap) HOST_CALL(FreeBitMap);

/**
 * Copies a rectangle between bitmaps, or within one (overlaps come out right), clipped against both.
 *
 * Formats are converted where they differ, between the RGB formats: narrower channels are cut, wider ones
 * filled with copies of the upper bits, so that white stays white; alpha that the source lacks is opaque.
 *
 * @param minterm 0xC0, a plain copy; nothing else is supported
 * @param mask    planes to copy; packed formats ignore it
 * @param tempA   not needed
 * @return 1 when something was copied, else 0
 */
int32 BltBitMap(struct BitMap* src, int32 srcX, int32 srcY, struct BitMap* dst, int32 dstX, int32 dstY,
                int32 width, int32 height, uint32 minterm, uint32 mask, APTR tempA) HOST_CALL(BltBitMap);

/**
 * Copies a rectangle of a bitmap into a rastport, as BltBitMap() does, clipped by its layer. Covered pieces
 * are copied where the layer keeps them. Locks the layer.
 */
void BltBitMapRastPort(struct BitMap* src, int32 srcX, int32 srcY, struct RastPort* rp, int32 dstX,
                       int32 dstY, int32 width, int32 height, uint32 minterm) HOST_CALL(BltBitMapRastPort);

/** Fills a rectangle, both corners included, with the foreground colour. Clips, and locks the layer. */
void RectFill(struct RastPort* rp, int32 minX, int32 minY, int32 maxX, int32 maxY) HOST_CALL(RectFill);

void SetRPAttrsA(struct RastPort* rp, const struct TagItem* tags) HOST_CALL(SetRPAttrsA);

/**
 * The display mode that suits best: of the nominal size (default: the host's desktop) and depth (15, 16, 24
 * or 32; default 24).
 * @return INVALID_ID when there is none
 */
uint32 BestModeIDA(const struct TagItem* tags) HOST_CALL(BestModeIDA);

#ifdef __cplusplus
}
#endif

#define SetRPAttrs(rp, ...) SetRPAttrsA(rp, HOST_TAGLIST(__VA_ARGS__))
#define BestModeID(...) BestModeIDA(HOST_TAGLIST(__VA_ARGS__))

#endif
