// SPDX-License-Identifier: Zlib
//
// Blits by SDL's own rules: the rules, the record of one blit, and its kernels.
//
// A rule says what weight w, from 0 to 256, a source pixel has, and how a channel is rounded. With source,
// destination and result in the 8 bits of a byte, a channel becomes
//
//     (s * w + d * (256 - w) + roundUp) / 256
//
// which fits 16 bits: it is 256 * 255 at most, or with roundUp, where no weight is above 255, 256 * 255 +
// 255. Channels of fewer bits stand in a byte's upper ones. For weights in 32nds the source's channels are
// cut to the bits that the destination has, so that the formula gives what one in numbers of 5 and 6 bits
// would.
#pragma once

#include <cstddef>
#include <cstdint>

#include "block.h"

namespace ormsel {

struct SdlRule {
    // Source pixels with an alpha of 0 leave the old pixel alone; those from this number on weigh 256; of
    // other alphas these bits are the weight.
    uint32_t opaqueFrom, alphaBits;
    uint32_t roundUp;
};

// Onto 32 bits from such a surface.
inline constexpr SdlRule kSdlRoundsDown{255, 0xFF, 0};
// Onto 24 bits, into other places, and wherever SDL has nothing better: even 255 isn't quite opaque.
inline constexpr SdlRule kSdlRoundsUp{256, 0xFF, 255};
// Onto R5G6B5 and R5G5B5 from a surface that SDL would have encoded by runs.
inline constexpr SdlRule kSdlIn32ndsTo255{255, 0xF8, 0};

enum class SdlLayout : uint8_t { k32, k24, kR5G6B5, kR5G5B5, kNone };

// One blit. A pixel of the source is widened to a byte for each channel, its bytes are put where the widened
// destination has the same channels, and both are blended. 24- and 32-bit pixels are their values; the
// channels of a 16-bit pixel go to bytes 2, 1 and 0, from its highest down.
//
// What most games ask for is simpler: a blit with its colours in place. The destination, of 32 or 16 bits,
// has every channel where the source has it, and the weight is either the alpha in the top byte of 32-bit
// source pixels or one for all pixels of the destination's own layout. Then the layouts, perPixel and
// constantAlpha say everything.
//   - Onto 32 bits the weight is the alpha, and 256 for 255.
//   - Onto 16 bits it is alpha / 8 in 32nds: a channel in its own bits becomes
//     (s * w + d * (32 - w)) / 32, and a spare bit is cleared. By pixel, 31 counts as 32, and 0 leaves the
//     old pixel alone.
struct SdlBlit : Rows {
    SdlLayout from, to;
    bool perPixel; // by the alpha of the source, which has 32 bits then; else by one weight
    bool inPlace;  // the simple blit above; no member from here on counts but constantAlpha

    bool keyed;        // source pixels of the value `key` are left out
    bool copies;       // keyed, and colours are taken as they are: the formats differ in alpha at most
    bool marksFalling; // bit 24 is set where the channel in the low byte gets smaller
    SdlRule rule;
    uint32_t constantAlpha; // unless by pixel: the alpha of every pixel; else 255
    uint32_t alphaShift;    // by pixel: where the source's alpha stands
    uint32_t key;
    uint32_t place;      // for each byte of the destination the number of the source's, or 0x80 for none
    uint32_t cut;        // the bits of a placed source pixel that count
    uint32_t colours;    // the bits of the destination's pixels that hold its colours,
    uint32_t kept;       // those that stay as they are,
    uint32_t ones;       // those that are set,
    uint32_t opaqueOnes; // and those that are set where the weight is 256
};

using SdlKernel = void (*)(const SdlBlit& blit);

void sdlScalarKernel(const SdlBlit& blit);

} // namespace ormsel
