// SPDX-License-Identifier: Zlib
//
// Where channels stand in a pixel, and how pixels stand in memory. This is the only place that knows the
// host's byte order: 16- and 32-bit pixels are machine words, a 24-bit pixel is the number that SDL reads
// from its three bytes (first byte most significant on a big-endian host, least significant elsewhere).
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include <libraries/Picasso96.h>

namespace ormsel {

inline constexpr bool kBigEndian = std::endian::native == std::endian::big;

// --- Channels -----------------------------------------------------------------------------------------

// The channel fields of a render format, in the record's order. A loss is 8 minus the channel's width.
struct Channels {
    uint32_t bytesPerPixel;
    uint32_t rMask, gMask, bMask, aMask;
    uint32_t rShift, gShift, bShift, aShift;
    uint32_t rLoss, gLoss, bLoss, aLoss;
};

struct BitmapFormat {
    uint32_t code;
    Channels channels;
};

// The formats accepted from a bitmap, which reports only its code. The alpha shift of R5G5B5 is 11, not 15:
// the alpha that the generic routines extract from it exceeds 8 bits, and programs rely on the result.
inline constexpr BitmapFormat kBitmapFormats[] = {
    {RGBFB_R8G8B8, {3, 0xFF0000, 0xFF00, 0xFF, 0, 16, 8, 0, 0, 0, 0, 0, 8}},
    {RGBFB_B8G8R8, {3, 0xFF, 0xFF00, 0xFF0000, 0, 0, 8, 16, 0, 0, 0, 0, 8}},
    {RGBFB_A8R8G8B8, {4, 0xFF0000, 0xFF00, 0xFF, 0xFF000000, 16, 8, 0, 24, 0, 0, 0, 0}},
    {RGBFB_A8B8G8R8, {4, 0xFF, 0xFF00, 0xFF0000, 0xFF000000, 0, 8, 16, 24, 0, 0, 0, 0}},
    {RGBFB_R8G8B8A8, {4, 0xFF000000, 0xFF0000, 0xFF00, 0xFF, 24, 16, 8, 0, 0, 0, 0, 0}},
    {RGBFB_B8G8R8A8, {4, 0xFF00, 0xFF0000, 0xFF000000, 0xFF, 8, 16, 24, 0, 0, 0, 0, 0}},
    {RGBFB_R5G6B5, {2, 0xF800, 0x7E0, 0x1F, 0, 11, 5, 0, 0, 3, 2, 3, 8}},
    {RGBFB_R5G5B5, {2, 0x7C00, 0x3E0, 0x1F, 0x8000, 10, 5, 0, 11, 3, 3, 3, 7}},
};

// The channels of a bitmap format, or nullptr for a code that is refused.
constexpr const Channels* channelsOf(uint32_t code) {
    for (const BitmapFormat& format : kBitmapFormats)
        if (format.code == code)
            return &format.channels;
    return nullptr;
}

// --- Pixels in memory ---------------------------------------------------------------------------------

inline uint32_t load16(const uint8_t* p) {
    uint16_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline uint32_t load32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline uint64_t load64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline void store16(uint8_t* p, uint32_t v) {
    const auto word = static_cast<uint16_t>(v);
    std::memcpy(p, &word, sizeof word);
}

inline void store32(uint8_t* p, uint32_t v) {
    std::memcpy(p, &v, sizeof v);
}

inline void store64(uint8_t* p, uint64_t v) {
    std::memcpy(p, &v, sizeof v);
}

inline uint32_t load24(const uint8_t* p) {
    const uint32_t first = p[0], middle = p[1], last = p[2];
    return kBigEndian ? first << 16 | middle << 8 | last : last << 16 | middle << 8 | first;
}

// The value that a blend takes for the old pixel of a 24-bit destination: each channel comes from the byte
// that follows the channel's own byte in memory, the last one from the byte behind the pixel.
inline uint32_t loadFollowing24(const uint8_t* p) {
    return load24(p + 1);
}

// Stores a 24-bit pixel as the routines do: its three bytes, and a zero byte behind them.
inline void store24AndZero(uint8_t* p, uint32_t v) {
    const auto first = static_cast<uint8_t>(kBigEndian ? v >> 16 : v);
    const auto last = static_cast<uint8_t>(kBigEndian ? v : v >> 16);
    p[0] = first;
    p[1] = static_cast<uint8_t>(v >> 8);
    p[2] = last;
    p[3] = 0;
}

// --- Layouts ------------------------------------------------------------------------------------------

// A pixel of 8-bit channels: the bit position of each channel's lowest bit in the pixel's value.
template <uint32_t Code, unsigned A, unsigned R, unsigned G, unsigned B>
struct Layout32 {
    static constexpr unsigned kA = A, kR = R, kG = G, kB = B;
    static constexpr uint32_t kBytes = 4;
    static constexpr bool kHasAlpha = true;

    static uint32_t load(const uint8_t* p) { return load32(p); }
    static constexpr uint32_t alpha(uint32_t s) { return s >> A & 0xFF; }

    static_assert(channelsOf(Code)->aShift == A && channelsOf(Code)->rShift == R &&
                  channelsOf(Code)->gShift == G && channelsOf(Code)->bShift == B &&
                  channelsOf(Code)->bytesPerPixel == kBytes);
};

template <uint32_t Code, unsigned R, unsigned G, unsigned B>
struct Layout24 {
    static constexpr unsigned kR = R, kG = G, kB = B;
    static constexpr uint32_t kBytes = 3;
    static constexpr bool kHasAlpha = false;

    static uint32_t load(const uint8_t* p) { return load24(p); }

    static_assert(channelsOf(Code)->rShift == R && channelsOf(Code)->gShift == G &&
                  channelsOf(Code)->bShift == B && channelsOf(Code)->bytesPerPixel == kBytes);
};

using Argb32 = Layout32<RGBFB_A8R8G8B8, 24, 16, 8, 0>;
using Abgr32 = Layout32<RGBFB_A8B8G8R8, 24, 0, 8, 16>;
using Rgba32 = Layout32<RGBFB_R8G8B8A8, 0, 24, 16, 8>;
using Bgra32 = Layout32<RGBFB_B8G8R8A8, 0, 8, 16, 24>;
using Rgb24 = Layout24<RGBFB_R8G8B8, 16, 8, 0>;
using Bgr24 = Layout24<RGBFB_B8G8R8, 0, 8, 16>;

// Converts a pixel of 8-bit channels to R5G6B5 by truncation.
template <class L>
constexpr uint32_t toRgb16(uint32_t s) {
    return (s >> L::kR & 0xF8) << 8 | (s >> L::kG & 0xFC) << 3 | (s >> L::kB & 0xF8) >> 3;
}

// The same, spread as by spreadRgb16().
template <class L>
constexpr uint32_t toSpreadRgb16(uint32_t s) {
    return (s >> L::kG & 0xFC) << 19 | (s >> L::kR & 0xF8) << 8 | (s >> L::kB & 0xF8) >> 3;
}

// Moves the colours of a pixel to A8R8G8B8 order; the alpha byte is cleared.
template <class L>
constexpr uint32_t toRgb32(uint32_t s) {
    return (s >> L::kR & 0xFF) << 16 | (s >> L::kG & 0xFF) << 8 | (s >> L::kB & 0xFF);
}

static_assert(toRgb16<Rgb24>(0x123456) == 0x11AA && toRgb16<Bgr24>(0x563412) == 0x11AA);
static_assert(toRgb32<Rgba32>(0x11223344) == 0x00112233 && toRgb32<Abgr32>(0x11223344) == 0x00443322);

} // namespace ormsel
