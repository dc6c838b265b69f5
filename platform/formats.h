// SPDX-License-Identifier: Zlib
// What the provider knows of the pixel formats: one table, and pixels through it.
#pragma once

#include <optional>

#include <libraries/Picasso96.h>

namespace host {

// Where a channel stands in a pixel's value; width 0: the format lacks it.
struct Channel {
    uint8 shift = 0;
    uint8 width = 0;
};

struct PixelFormat {
    // Bytes per pixel in memory.
    uint8 bytes = 0;
    // Bits per pixel that carry colour or alpha.
    uint8 depth = 0;
    // The bytes of a word stand the other way round than the host's.
    bool swapped = false;
    // All widths 0: not an RGB format.
    Channel r, g, b, a;

    bool isRgb() const { return r.width != 0; }
};

// The description of a format code; empty for codes above RGBFB_YUV422PAPC.
const PixelFormat* findFormat(uint32 code);

// The format for a depth in bits where nothing else decides; RGBFB_NONE if there is none.
RGBFTYPE formatForDepth(uint32 depth);

// Reads and writes one pixel's value. The addresses need not be aligned.
uint32 loadPixel(const PixelFormat& format, const uint8* at);
void storePixel(const PixelFormat& format, uint8* at, uint32 value);

// Colours are 0xAARRGGBB. A channel widens by repeating its bits; missing alpha reads as 255.
uint32 toColor(const PixelFormat& format, uint32 value);
uint32 fromColor(const PixelFormat& format, uint32 color);

} // namespace host
