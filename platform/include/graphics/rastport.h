/* SPDX-License-Identifier: Zlib */
/** @file graphics/rastport.h  Drawing contexts. */
#ifndef GRAPHICS_RASTPORT_H
#define GRAPHICS_RASTPORT_H

#include <graphics/gfx.h>

struct Layer;

struct RastPort {
    /** NULL: draws on the whole of BitMap. */
    struct Layer* Layer;
    struct BitMap* BitMap;
    /** Foreground colour, 0xAARRGGBB. */
    uint32 FgColor;
    /** JAM1 or JAM2. */
    uint8 DrawMode;
};

#define JAM1 0
#define JAM2 1

/** @name Tags of SetRPAttrs() @{ */
#define RPTAG_DrMd (TAG_USER + 4)
/** Foreground colour, 0xAARRGGBB. */
#define RPTAG_APenColor (TAG_USER + 9)
/** @} */

#endif
