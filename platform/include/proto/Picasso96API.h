/* SPDX-License-Identifier: Zlib */
/** @file proto/Picasso96API.h  Direct access to the pixels of bitmaps. All calls: any thread. */
#ifndef PROTO_PICASSO96API_H
#define PROTO_PICASSO96API_H

#include <graphics/gfx.h>
#include <host/call.h>
#include <libraries/Picasso96.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Keeps a bitmap's pixels at one address and tells where. Locks are counted.
 *
 * @param buffer receives a struct RenderInfo; need not be aligned
 * @param size   its size in bytes
 * @return a handle for p96UnlockBitMap(), or 0 when the pixels are gone or the buffer is too small
 */
int32 p96LockBitMap(struct BitMap* bitmap, uint8* buffer, uint32 size) HOST_CALL(p96LockBitMap);

/** Ends one lock; a screen's bitmap is shown at the next Wait() or GetMsg(). */
void p96UnlockBitMap(struct BitMap* bitmap, int32 lock) HOST_CALL(p96UnlockBitMap);

/** @param attribute a P96BMA_... number; others give 0 */
uint32 p96GetBitMapAttr(struct BitMap* bitmap, uint32 attribute) HOST_CALL(p96GetBitMapAttr);

#ifdef __cplusplus
}
#endif

#endif
