/* SPDX-License-Identifier: Zlib */
/** @file libraries/Picasso96.h  Pixel formats and what a locked bitmap tells. */
#ifndef LIBRARIES_PICASSO96_H
#define LIBRARIES_PICASSO96_H

#include <exec/types.h>

/**
 * Pixel formats. Names give the channels from the most significant bit down; 16- and 32-bit pixels are
 * words of the host's byte order, and the PC formats the same words with their bytes swapped. 24-bit
 * pixels are three bytes, of which the first is the least significant on a little-endian host and the most
 * significant on a big-endian one.
 */
typedef enum {
    RGBFB_NONE,
    RGBFB_CLUT,
    RGBFB_R8G8B8,
    RGBFB_B8G8R8,
    RGBFB_R5G6B5PC,
    RGBFB_R5G5B5PC,
    RGBFB_A8R8G8B8,
    RGBFB_A8B8G8R8,
    RGBFB_R8G8B8A8,
    RGBFB_B8G8R8A8,
    RGBFB_R5G6B5,
    RGBFB_R5G5B5,
    RGBFB_B5G6R5PC,
    RGBFB_B5G5R5PC,
    RGBFB_YUV422CGX,
    RGBFB_YUV411,
    RGBFB_YUV411PC,
    RGBFB_YUV422,
    RGBFB_YUV422PC,
    RGBFB_YUV422PA,
    RGBFB_YUV422PAPC,
    RGBFB_MaxFormats
} RGBFTYPE;

/** Written by p96LockBitMap(). */
struct RenderInfo {
    /** The top-left pixel. */
    APTR Memory;
    /** Low 16 bits of the bytes from one row to the next. */
    int16 BytesPerRow;
    int16 pad;
    /** An RGBFTYPE, always 32 bits wide. */
    uint32 RGBFormat;
};

/** @name Attributes of p96GetBitMapAttr() @{ */
/** Pixels per row. */
#define P96BMA_WIDTH 0
/** Rows. */
#define P96BMA_HEIGHT 1
/** Bits per pixel that carry colour or alpha. */
#define P96BMA_DEPTH 2
/** Not 0 when the bitmap lies in graphics-card memory; on a host the bitmaps of screens do. */
#define P96BMA_ISONBOARD 9
/** @} */

#endif
