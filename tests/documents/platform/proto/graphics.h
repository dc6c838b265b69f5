/* SPDX-License-Identifier: Zlib */
#pragma once

#include <graphics/modeid.h>
#include <graphics/rastport.h>

#ifdef __cplusplus
extern "C" {
#endif

struct BitMap* AllocBitMap(uint32 width, uint32 height, uint32 depth, uint32 flags, const void* friendOrTags);
void FreeBitMap(struct BitMap* bitmap);
int32 BltBitMap(struct BitMap* src, int32 srcX, int32 srcY, struct BitMap* dst, int32 dstX, int32 dstY,
                int32 width, int32 height, uint32 minterm, uint32 mask, APTR tempA);
void BltBitMapRastPort(struct BitMap* src, int32 srcX, int32 srcY, struct RastPort* rp, int32 dstX,
                       int32 dstY, int32 width, int32 height, uint32 minterm);
void RectFill(struct RastPort* rp, int32 minX, int32 minY, int32 maxX, int32 maxY);
void SetRPAttrs(struct RastPort* rp, uint32 tag, ...);
uint32 BestModeID(uint32 tag, ...);

#ifdef __cplusplus
}
#endif
