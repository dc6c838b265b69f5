/* SPDX-License-Identifier: Zlib */
#pragma once

#include <utility/tagitem.h>

struct BitMap;

struct Rectangle {
    int16 MinX, MinY, MaxX, MaxY;
};

#define BMF_CHECKVALUE 0x0700UL
#define BMATags_Depth (TAG_USER + 1)
#define BMATags_RGBFormat (TAG_USER + 2)
#define BMATags_Clear (TAG_USER + 3)
#define BMATags_Displayable (TAG_USER + 4)
#define BMATags_NoSprite (TAG_USER + 7)
#define BMATags_Alignment (TAG_USER + 15)
