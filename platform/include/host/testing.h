/* SPDX-License-Identifier: Zlib */
/** @file host/testing.h  What tests need of the host provider; the platform itself has none of this. */
#ifndef HOST_TESTING_H
#define HOST_TESTING_H

#include <exec/types.h>

#ifdef __cplusplus
extern "C" {
#endif

struct BitMap;
struct IntuiMessage;
struct Window;

/** Sends the debug output to `sink`, one call per DebugPrintF(); NULL: to standard error again. */
void HOST_SetDebugSink(void (*sink)(const char* text, void* user), void* user);

/** After `skip` more allocations of memory or bitmaps (the provider's own included) `count` ones fail. */
void HOST_FailAllocations(long skip, long count);

/** After `skip` more calls of p96LockBitMap() `count` ones fail. */
void HOST_FailLocks(long skip, long count);

/** p96LockBitMap() calls not yet undone. */
long HOST_HeldBitMapLocks(void);

/** Allocations of memory and bitmaps not yet freed. */
long HOST_LiveAllocations(void);

/** While `lost`, the bitmap cannot be locked. */
void HOST_LosePixels(struct BitMap* bitmap, BOOL lost);

/**
 * Makes a bitmap of the caller's memory. FreeBitMap() leaves the memory alone.
 *
 * @param pixels  the top-left pixel
 * @param pitch   bytes from one row to the next. The library's public entry points read it as unsigned 16
 *                bits, so a negative one is only for routines that are called with bare contexts
 * @param format  an RGBFTYPE; RGBFB_NONE is taken for 8 bits per pixel
 * @param onBoard what P96BMA_ISONBOARD tells
 * @return NULL when memory is short or the format unknown
 */
struct BitMap* HOST_WrapBitMap(void* pixels, uint32 width, uint32 height, int32 pitch, uint32 format,
                               BOOL onBoard);

#ifdef __cplusplus
}
#endif

#endif
