/* SPDX-License-Identifier: Zlib */
#pragma once

#include <graphics/gfx.h>

struct ClipRect {
    struct ClipRect* Next;
    struct Layer* lobs;
    struct BitMap* BitMap;
    struct Rectangle bounds;
};

struct Layer {
    struct ClipRect* ClipRect;
    struct Rectangle bounds;
    uint16 Flags;
    int16 Scroll_X, Scroll_Y;
};
