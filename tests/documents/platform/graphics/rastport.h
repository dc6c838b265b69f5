/* SPDX-License-Identifier: Zlib */
#pragma once

#include <graphics/gfx.h>

struct RastPort {
    struct Layer* Layer;
    struct BitMap* BitMap;
};

#define JAM1 0
