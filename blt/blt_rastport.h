// SPDX-License-Identifier: Zlib
//
// Blits into rastports: one blit for each of the layer's clip rectangles that meets the request.
#pragma once

#include "blt_framework.h"

struct RastPort;

// Splits a request along the clip rectangles of the rastport's layer, which stays locked meanwhile; a
// rastport without a layer is one blit. The result is the sum of the pieces' results. Instances: SDL_Surface,
// which brings its own constant alpha along, and BitMap.
template <class Src>
unsigned long BLT_AlphaRastportT(Src* src, long srcX, long srcY, RastPort* rp, long dstX, long dstY,
                                 unsigned long width, unsigned long height, unsigned char alpha,
                                 unsigned long flags);
