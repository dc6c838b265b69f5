/* SPDX-License-Identifier: Zlib */
#pragma once

#include <graphics/gfx.h>
#include <libraries/Picasso96.h>

#ifdef __cplusplus
extern "C" {
#endif

int32 p96LockBitMap(struct BitMap* bitmap, uint8* buffer, uint32 size);
void p96UnlockBitMap(struct BitMap* bitmap, int32 lock);
uint32 p96GetBitMapAttr(struct BitMap* bitmap, uint32 attribute);

#ifdef __cplusplus
}
#endif
