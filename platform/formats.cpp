// SPDX-License-Identifier: Zlib
#include "formats.h"

#include <array>
#include <bit>
#include <cstring>

#include <ormsel/ormsel_formats.h>

namespace host {

namespace {

constexpr PixelFormat other(uint8 bytes, uint8 depth) {
    return {bytes, depth, false, {}, {}, {}, {}};
}

constexpr PixelFormat rgb24(uint8 r, uint8 g, uint8 b) {
    return {3, 24, false, {r, 8}, {g, 8}, {b, 8}, {}};
}

constexpr PixelFormat rgb32(uint8 a, uint8 r, uint8 g, uint8 b) {
    return {4, 32, false, {r, 8}, {g, 8}, {b, 8}, {a, 8}};
}

constexpr PixelFormat rgb565(uint8 r, uint8 b, bool swapped) {
    return {2, 16, swapped, {r, 5}, {5, 6}, {b, 5}, {}};
}

// The top bit is alpha: a copied opaque pixel keeps it, and blits read it so.
constexpr PixelFormat rgb555(uint8 r, uint8 b, bool swapped) {
    return {2, 15, swapped, {r, 5}, {5, 5}, {b, 5}, {15, 1}};
}

// By format code. The YUV formats can be stored but not converted.
constexpr std::array<PixelFormat, RGBFB_MaxFormats> kFormats = {
    other(1, 8),          // NONE: unknown pixels of a byte
    other(1, 8),          // CLUT
    rgb24(16, 8, 0),      // R8G8B8
    rgb24(0, 8, 16),      // B8G8R8
    rgb565(11, 0, true),  // R5G6B5PC
    rgb555(10, 0, true),  // R5G5B5PC
    rgb32(24, 16, 8, 0),  // A8R8G8B8
    rgb32(24, 0, 8, 16),  // A8B8G8R8
    rgb32(0, 24, 16, 8),  // R8G8B8A8
    rgb32(0, 8, 16, 24),  // B8G8R8A8
    rgb565(11, 0, false), // R5G6B5
    rgb555(10, 0, false), // R5G5B5
    rgb565(0, 11, true),  // B5G6R5PC
    rgb555(0, 10, true),  // B5G5R5PC
    other(2, 16),         // YUV422CGX
    other(1, 8),          // YUV411: four pixels share four bytes
    other(1, 8),          // YUV411PC
    other(2, 16),         // YUV422
    other(2, 16),         // YUV422PC
    other(2, 16),         // YUV422PA
    other(2, 16),         // YUV422PAPC
};

constexpr uint32 maskOf(Channel c) {
    return c.width ? (0xFFFFFFFFU >> (32 - c.width)) << c.shift : 0;
}

// Whether a row of the library's table of formats says the same.
constexpr bool agrees(const PixelFormat& f, unsigned bytes, uint32 r, uint32 g, uint32 b, uint32 a) {
    return f.bytes == bytes && !f.swapped && maskOf(f.r) == r && maskOf(f.g) == g && maskOf(f.b) == b &&
           maskOf(f.a) == a;
}
#define ASSERT_AGREES(name, stem, code, bytes, red, green, blue, alpha, alphaShift)                          \
    static_assert(RGBFB_##name == (code) && agrees(kFormats[code], bytes, red, green, blue, alpha), #name);
ORMSEL_FORMATS(ASSERT_AGREES)
#undef ASSERT_AGREES

constexpr uint16 swap16(uint16 v) {
    return static_cast<uint16>(v << 8 | v >> 8);
}

// A channel's value stretched to 8 bits; works for widths of 1 and 4 to 8.
constexpr uint32 widen(uint32 v, unsigned width) {
    if (width == 1)
        return v ? 255 : 0;
    const uint32 top = v << (8 - width);
    return top | top >> width;
}

constexpr uint32 extract(Channel c, uint32 value, uint32 absent) {
    return c.width ? widen(value >> c.shift & ((1U << c.width) - 1), c.width) : absent;
}

constexpr uint32 insert(Channel c, uint32 v) {
    return c.width ? v >> (8 - c.width) << c.shift : 0;
}

} // namespace

const PixelFormat* findFormat(uint32 code) {
    return code < kFormats.size() ? &kFormats[code] : nullptr;
}

RGBFTYPE formatForDepth(uint32 depth) {
    if (depth == 0 || depth > 32)
        return RGBFB_NONE;
    if (depth <= 8)
        return RGBFB_CLUT;
    if (depth <= 15)
        return RGBFB_R5G5B5;
    return depth == 16 ? RGBFB_R5G6B5 : RGBFB_A8R8G8B8;
}

uint32 loadPixel(const PixelFormat& format, const uint8* at) {
    switch (format.bytes) {
    case 1:
        return *at;
    case 2: {
        uint16 v;
        std::memcpy(&v, at, sizeof v);
        return format.swapped ? swap16(v) : v;
    }
    case 3:
        if constexpr (std::endian::native == std::endian::little)
            return static_cast<uint32>(at[0] | at[1] << 8 | at[2] << 16);
        else
            return static_cast<uint32>(at[0] << 16 | at[1] << 8 | at[2]);
    default: {
        uint32 v;
        std::memcpy(&v, at, sizeof v);
        return v;
    }
    }
}

void storePixel(const PixelFormat& format, uint8* at, uint32 value) {
    switch (format.bytes) {
    case 1:
        *at = static_cast<uint8>(value);
        break;
    case 2: {
        const auto word = static_cast<uint16>(value);
        const uint16 v = format.swapped ? swap16(word) : word;
        std::memcpy(at, &v, sizeof v);
        break;
    }
    case 3:
        for (unsigned i = 0; i < 3; ++i) {
            const unsigned shift = std::endian::native == std::endian::little ? 8 * i : 16 - 8 * i;
            at[i] = static_cast<uint8>(value >> shift);
        }
        break;
    default:
        std::memcpy(at, &value, sizeof value);
    }
}

uint32 toColor(const PixelFormat& format, uint32 value) {
    return extract(format.a, value, 255) << 24 | extract(format.r, value, 0) << 16 |
           extract(format.g, value, 0) << 8 | extract(format.b, value, 0);
}

uint32 fromColor(const PixelFormat& format, uint32 color) {
    return insert(format.a, color >> 24) | insert(format.r, color >> 16 & 255) |
           insert(format.g, color >> 8 & 255) | insert(format.b, color & 255);
}

} // namespace host
