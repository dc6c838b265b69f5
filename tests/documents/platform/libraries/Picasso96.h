/* SPDX-License-Identifier: Zlib */
#pragma once

#include <exec/types.h>

typedef enum {
    RGBFB_NONE = 0,
    RGBFB_R8G8B8 = 2,
    RGBFB_B8G8R8 = 3,
    RGBFB_A8R8G8B8 = 6,
    RGBFB_A8B8G8R8 = 7,
    RGBFB_R8G8B8A8 = 8,
    RGBFB_B8G8R8A8 = 9,
    RGBFB_R5G6B5 = 10,
    RGBFB_R5G5B5 = 11
} RGBFTYPE;

struct RenderInfo {
    APTR Memory;
    int16 BytesPerRow;
    int16 pad;
    uint32 RGBFormat;
};

#define P96BMA_WIDTH 0
#define P96BMA_HEIGHT 1
#define P96BMA_DEPTH 2
#define P96BMA_ISONBOARD 9
