/* SPDX-License-Identifier: Zlib */
/* Blends one bitmap onto another through a mask, which stand for the library's native half. The library takes
 * bitmaps from whoever provides the platform's calls; on a desktop host that is ormsel_platform. */
#include <ormsel/ormsel.h>
#include <proto/Picasso96API.h>
#include <proto/graphics.h>

static struct BitMap* makeBitMap(uint32 format) {
    return AllocBitMap(8, 1, 0, BMF_CHECKVALUE, HOST_TAGLIST(BMATags_RGBFormat, format, BMATags_Clear, TRUE));
}

static void* pixelsOf(struct BitMap* bitmap) {
    struct RenderInfo info;
    p96UnlockBitMap(bitmap, p96LockBitMap(bitmap, (uint8*)&info, sizeof info));
    return info.Memory;
}

/* Red over black: (255 * mask >> 8) cut to five bits, and all of it where the mask is 255. */
int main(void) {
    struct BitMap* src = makeBitMap(RGBFB_A8R8G8B8);
    struct BitMap* mask = makeBitMap(RGBFB_CLUT);
    struct BitMap* dst = makeBitMap(RGBFB_R5G6B5);
    ((uint32*)pixelsOf(src))[0] = ((uint32*)pixelsOf(src))[1] = 0x00FF0000;
    ((uint8*)pixelsOf(mask))[0] = 109;
    ((uint8*)pixelsOf(mask))[1] = 255;
    BltBitMapAlphaMask(src, 0, 0, dst, 0, 0, 8, 1, mask, 255, 0);
    return ((uint16*)pixelsOf(dst))[0] != 0x6800 || ((uint16*)pixelsOf(dst))[1] != 0xF800;
}
