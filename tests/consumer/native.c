/* SPDX-License-Identifier: Zlib */
/* Blends one bitmap onto another through an 8-bit mask and prints a row of the result. The library takes
 * bitmaps from whoever provides the platform's calls; on a desktop host that is ormsel_platform. */
#include <stdio.h>
#include <string.h>

#include <ormsel/ormsel.h>
#include <proto/Picasso96API.h>
#include <proto/graphics.h>

enum { width = 8, height = 1 };

static struct BitMap* makeBitMap(uint32 format, uint32 depth) {
    return AllocBitMap(width, height, depth, BMF_CHECKVALUE | BMF_CLEAR,
                       HOST_TAGLIST(BMATags_RGBFormat, format, TAG_DONE));
}

/* Runs `draw` over the rows of a locked bitmap. */
static void eachRow(struct BitMap* bitmap, void (*draw)(uint8* row)) {
    struct RenderInfo info;
    int32 lock = p96LockBitMap(bitmap, (uint8*)&info, sizeof info);
    if (!lock)
        return;
    for (int y = 0; y < height; ++y)
        draw((uint8*)info.Memory + y * info.BytesPerRow);
    p96UnlockBitMap(bitmap, lock);
}

static void paintRed(uint8* row) {
    for (int x = 0; x < width; ++x)
        ((uint32*)row)[x] = 0x00FF0000;
}

/* The mask runs from 0, not drawn, to 255, opaque. */
static void paintRamp(uint8* row) {
    for (int x = 0; x < width; ++x)
        row[x] = (uint8)(x * 255 / (width - 1));
}

static void printRow(uint8* row) {
    for (int x = 0; x < width; ++x)
        printf("%04x%c", ((uint16*)row)[x], x == width - 1 ? '\n' : ' ');
}

int main(void) {
    struct BitMap* src = makeBitMap(RGBFB_A8R8G8B8, 32);
    struct BitMap* mask = makeBitMap(RGBFB_CLUT, 8);
    struct BitMap* dst = makeBitMap(RGBFB_R5G6B5, 16);

    if (src && mask && dst) {
        eachRow(src, paintRed);
        eachRow(mask, paintRamp);
        BltBitMapAlphaMask(src, 0, 0, dst, 0, 0, width, height, mask, 255, 0);
        eachRow(dst, printRow);
    }
    FreeBitMap(src);
    FreeBitMap(mask);
    FreeBitMap(dst);
    return src && mask && dst ? 0 : 1;
}
