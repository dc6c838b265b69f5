// SPDX-License-Identifier: Zlib
//
// Copies between surfaces, without blending: of pixels as they are, and into another format by SDL's rules.
#pragma once

#include <cstddef>
#include <cstdint>

#include <SDL.h>

namespace ormsel {

struct SdlArea {
    const uint8_t* src;
    ptrdiff_t srcPitch;
    uint8_t* dst;
    ptrdiff_t dstPitch;
    size_t width, height; // at least 1
};

// Bits of a source's pixel, and by how much they are moved: one of the two shifts is 0.
struct SdlMove {
    uint32_t mask, left, right;
};

// A pixel becomes its moved bits and the ones. A channel of fewer bits than the destination's is filled up
// with zeros, one of more is cut: each has SDL's rule of 8 bits in between.
struct SdlConversion {
    uint32_t from, to; // bytes of a pixel
    uint32_t count;    // of moves: 1, 3 or 4
    SdlMove moves[4];
    uint32_t ones;
    bool keyed;            // pixels with these bits are left out:
    uint32_t key, keyBits; // (pixel & keyBits) == key
};

// Finds SDL's rule. False: one of the formats is none of whole bytes' and channels', or SDL is sooner done.
bool sdlConversion(SdlConversion& c, const SDL_PixelFormat& from, const SDL_PixelFormat& to, bool keyed);

// No pixel of the source is one of the destination's.
void sdlConvert(const SdlConversion& c, const SdlArea& area);

// Copies pixels of so many bytes as they are, also within one image.
void sdlCopy(const SdlArea& area, size_t bytesPerPixel);

} // namespace ormsel
