// SPDX-License-Identifier: Zlib
//
// The public entry points as a table, and random blits compared with the model.
#pragma once

#include "tests/images.h"

struct Layer;

// What one call is given. `array` is what WriteAlphaPixelArray() takes for a source. `carry`, a multiple of
// 65536, is added to arguments that the entry point narrows to 16 bits.
struct Call {
    const model::Blit& blit;
    const Picture &src, &dst, &mask;
    void* array = nullptr;
    long carry = 0;
    Layer* layer = nullptr; // of the rastport
};

struct Entry {
    const char* name;
    bool fromSurface, ontoSurface, takesMask;
    unsigned long (*call)(const Call& call);
};

extern const Entry kSurface;       // both rectangles given
extern const Entry kSurfaceWhole;  // no source rectangle
extern const Entry kSurfaceCorner; // neither
extern const Entry kSurfaceMasked, kSurfaceToBitmap, kBitmapToSurface, kBitmap, kBitmapMasked;
extern const Entry kSurfaceToRastPort, kBitmapToRastPort;
extern const Entry kArray; // the source's pixels as an array of as many rows as the request names
extern const std::vector<const Entry*> kEntries; // all of them

constexpr long kBlitArea = 1 << 20;
// Draws one blit of any kind between images in an arena of three areas of kBlitArea, which may share memory,
// and compares all bytes in and around them with the model. Empty, or what is wrong.
std::string randomBlit(Random& random, Arena& arena);    // through a public entry point
std::string randomContext(Random& random, Arena& arena); // a routine or dispatcher with a bare context
