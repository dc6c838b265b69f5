// SPDX-License-Identifier: Zlib
//
// The public entry points under one call, so that random requests can go through any of them.
#pragma once

#include "tests/images.h"

enum class Entry {
    Surface,       // both rectangles given
    SurfaceWhole,  // no source rectangle
    SurfaceCorner, // neither
    SurfaceMask,
    SurfaceToBitmap,
    BitmapToSurface,
    Bitmap,
    BitmapMask,
    SurfaceToRastPort,
    BitmapToRastPort,
    Array, // the source's pixels as an array of as many rows as the request names
};
constexpr int entryCount = static_cast<int>(Entry::Array) + 1;

bool sourceIsSurface(Entry entry);
bool destinationIsSurface(Entry entry);
bool takesMask(Entry entry);
bool takesAlpha(Entry entry); // else the constant alpha is the source surface's

// Makes an unclipped request what the entry point makes of it: arguments that it doesn't have.
void conform(Entry entry, model::Blit& blit);

// Blits. `carry`, a multiple of 65536, is added to arguments that the entry point narrows to 16 bits.
unsigned long callEntry(Entry entry, const model::Blit& blit, const Picture& src, const Picture& dst,
                        const Picture* mask, void* sourcePixels, long carry);
