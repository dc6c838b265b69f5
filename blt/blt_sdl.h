// SPDX-License-Identifier: Zlib
//
// Blits by SDL's own rules: the record of one, and its kernels.
//
// Every rule of SDL is one formula with different constants. With s, d and the result in the 8 bits of a
// byte, and a weight w from 0 to 256:
//
//     (s * w + d * (256 - w) + roundUp) / 256
//
// | rule | w | roundUp | used |
// |---|---|---|---|
// | down | alpha; 256 for 255 | 0 | onto 32 bits of the same order |
// | up | alpha | 255 | onto 24 bits, onto another order, and wherever nothing better is named |
// | five bits | alpha / 8 * 8; 256 from 248 on | 0 | onto R5G6B5 and R5G5B5 of the same order |
//
// All sums fit 16 bits: 256 * 255, or 255 * 255 + 1 * 255 + 255 at most. Channels of fewer bits stand in a
// byte's upper ones; for five bits the source's channels are cut to what the destination has, so that the
// formula gives the same as with numbers of 5 and 6 bits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ormsel {

enum class SdlLayout : uint8_t { k32, k24, k565, k555, kNone };

// A source pixel is widened to a byte for each channel; `place` puts these bytes where the destination,
// widened likewise, has the same channel. 24- and 32-bit pixels are their values; the channels of a 16-bit
// pixel go to bytes 2, 1 and 0, from its highest down.
struct SdlBlit {
    const uint8_t* src;
    ptrdiff_t srcPitch;
    uint8_t* dst;
    ptrdiff_t dstPitch;
    size_t width, height; // at least 1
    SdlLayout from, to;
    bool perPixel; // by the source's alpha, of which the source is 32 bits; else by one weight
    bool keyed;    // source pixels of the value `key` are left out
    bool copies;   // colours are taken as they are; the formats differ in alpha at most
    uint32_t key;
    uint32_t place;      // for each byte of the destination the number of the source's, or 0x80 for none
    uint32_t alphaShift; // where the source's alpha stands
    uint32_t weight;     // without per-pixel alpha
    // How per-pixel alpha becomes a weight: alphas below `drawnFrom` leave the pixel alone, those from
    // `opaqueFrom` on weigh 256, others have the bits of `alphaBits`.
    uint32_t drawnFrom, opaqueFrom, alphaBits;
    uint32_t roundUp;    // 0 or 255
    uint32_t cut;        // which bits of the placed source count
    uint32_t colours;    // the destination's colours, kept bits, and bits to set, in its own pixels
    uint32_t kept, ones;
    uint32_t opaqueOnes; // set where the weight is 256
    bool notesFall;      // bit 24 is set where the channel in the low byte gets smaller
};

using SdlKernel = void (*)(const SdlBlit& blit);

void sdlScalarKernel(const SdlBlit& blit);

} // namespace ormsel
