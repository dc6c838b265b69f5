/* SPDX-License-Identifier: Zlib */
/** @file host/bitmap.h  Bitmaps in a program's own memory; an extension of the host's. */
#ifndef HOST_BITMAP_H
#define HOST_BITMAP_H

#include <exec/types.h>
#include <host/call.h>

#ifdef __cplusplus
extern "C" {
#endif

struct BitMap;

/**
 * Makes a bitmap of the caller's memory. FreeBitMap() leaves the memory alone. Any thread.
 *
 * @param pixels  the top-left pixel
 * @param pitch   bytes from one row to the next, -32768 to 32767. With a negative one each row lies below the
 *                one before it in memory: a picture stored from its last row up
 * @param format  an RGBFTYPE; RGBFB_NONE is taken for 8 bits per pixel
 * @param onBoard what P96BMA_ISONBOARD tells
 * @return NULL when memory is short, the format unknown, or the pitch out of range
 */
struct BitMap* HOST_WrapBitMap(void* pixels, uint32 width, uint32 height, int32 pitch, uint32 format,
                               BOOL onBoard) HOST_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
