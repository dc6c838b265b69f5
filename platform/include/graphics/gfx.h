/* SPDX-License-Identifier: Zlib */
/** @file graphics/gfx.h  Rectangles and bitmaps. */
#ifndef GRAPHICS_GFX_H
#define GRAPHICS_GFX_H

#include <exec/types.h>
#include <utility/tagitem.h>

/** A rectangle whose maximum corner belongs to it. */
struct Rectangle {
    int16 MinX, MinY;
    int16 MaxX, MaxY;
};

/**
 * An image in memory. Only AllocBitMap() and its like make bitmaps: a provider's record is longer.
 * `BytesPerRow` holds the low 16 bits of the pitch.
 */
struct BitMap {
    uint16 BytesPerRow;
    uint16 Rows;
    uint8 Flags;
    uint8 Depth;
};

/** @name Flags of AllocBitMap() @{ */
#define BMF_CLEAR 0x0001UL
#define BMF_DISPLAYABLE 0x0002UL
/** All three bits: the last argument is a tag list and not a friend bitmap. */
#define BMF_CHECKVALUE 0x0700UL
/** @} */

/** @name Tags of AllocBitMap() @{ */
/** Bits per pixel; overrides the argument. */
#define BMATags_Depth (TAG_USER + 1)
/** A pixel format code; RGBFB_NONE leaves the choice to the depth. */
#define BMATags_RGBFormat (TAG_USER + 2)
/** Fill with zeroes. */
#define BMATags_Clear (TAG_USER + 3)
/** Accepted, without effect: no host bitmap is shown in place. */
#define BMATags_Displayable (TAG_USER + 4)
/** Accepted, without effect. */
#define BMATags_NoSprite (TAG_USER + 7)
/** Rows start at multiples of this many bytes: 32 or 64; other values leave it at 16. */
#define BMATags_Alignment (TAG_USER + 15)
/** @} */

#endif
