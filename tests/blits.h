// SPDX-License-Identifier: Zlib
//
// Blits through any public entry point, and random ones of them compared with the model.
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

// Blits. `array` is what Entry::Array takes for a source. `carry`, a multiple of 65536, is added to arguments
// that the entry point narrows to 16 bits.
unsigned long callEntry(Entry entry, const model::Blit& blit, const Picture& src, const Picture& dst,
                        const Picture& mask, void* array = nullptr, long carry = 0);

// Draws one blit of any kind between images in an arena of three areas of kBlitArea, which may share memory,
// and compares all bytes in and around them with the model. Empty, or what is wrong.
constexpr long kBlitArea = 1 << 20;
std::string randomBlit(Random& random, Arena& arena);
