// SPDX-License-Identifier: Zlib
//
// Where channels stand in a pixel, and how pixels stand in memory. This is the only place that knows the
// host's byte order: 16- and 32-bit pixels are machine words, a 24-bit pixel is the number that SDL reads
// from its three bytes (first byte most significant on a big-endian host, least significant elsewhere).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <ormsel/ormsel_formats.h>

#include "bits.h"

namespace ormsel {

inline constexpr bool kBigEndian = std::endian::native == std::endian::big;
static_assert(kBigEndian || std::endian::native == std::endian::little);

// --- Formats ------------------------------------------------------------------------------------------

// The bits of a pixel's value that hold a channel, where they begin, and 8 minus their number: by how much a
// channel is shifted to be widened to 8 bits.
struct Channel {
    uint32_t mask, shift, loss;

    friend constexpr bool operator==(const Channel&, const Channel&) = default;
};

struct Format {
    uint32_t code, bytesPerPixel;
    Channel r, g, b, a;
};

constexpr Channel channelOf(uint32_t mask, uint32_t shift) {
    return {mask, shift, 8 - static_cast<uint32_t>(std::popcount(mask))};
}
constexpr Channel channelOf(uint32_t mask) {
    return channelOf(mask, static_cast<uint32_t>(std::countr_zero(mask)));
}

// The formats that a bitmap can have, and whose surfaces are recognised.
inline constexpr Format kFormats[] = {
#define ROW(name, stem, code, bytes, red, green, blue, alpha, alphaShift)                                    \
    {code, bytes, channelOf(red), channelOf(green), channelOf(blue), channelOf(alpha, alphaShift)},
    ORMSEL_FORMATS(ROW)
#undef ROW
};

// The format of a code, or nullptr for one that isn't listed.
constexpr const Format* formatOf(uint32_t code) {
    for (const Format& format : kFormats)
        if (format.code == code)
            return &format;
    return nullptr;
}

// --- Pixels in memory ---------------------------------------------------------------------------------

// A 16-, 32- or 64-bit word, at any address.
template <class Word>
Word loadWord(const uint8_t* p) {
    Word word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

template <class Word>
void storeWord(uint8_t* p, Word word) {
    std::memcpy(p, &word, sizeof word);
}

inline uint32_t load24(const uint8_t* p) {
    const uint32_t first = p[0], middle = p[1], last = p[2];
    return kBigEndian ? first << 16 | middle << 8 | last : last << 16 | middle << 8 | first;
}

// Two neighbouring pixels of 24 bits; the top bytes hold anything.
struct Two24 {
    uint32_t first, second;
};
inline Two24 loadTwo24(const uint8_t* p) {
    const auto word = loadWord<uint32_t>(p);
    const uint32_t rest = loadWord<uint16_t>(p + 4);
    return kBigEndian ? Two24{word >> 8, insertBits<0xFFFF>(forgetKnownBits(std::rotl(word, 16)), rest)}
                      : Two24{word, rest << 8 | word >> 24};
}

inline void store24(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(kBigEndian ? v >> 16 : v);
    p[1] = static_cast<uint8_t>(v >> 8);
    p[2] = static_cast<uint8_t>(kBigEndian ? v : v >> 16);
}

// The value of a pixel of 2, 3 or 4 bytes.
template <size_t Bytes>
uint32_t loadPixel(const uint8_t* p) {
    static_assert(Bytes >= 2 && Bytes <= 4);
    if constexpr (Bytes == 2)
        return loadWord<uint16_t>(p);
    else if constexpr (Bytes == 3)
        return load24(p);
    else
        return loadWord<uint32_t>(p);
}

// What a blend takes for the old pixel of a destination. For one of 24 bits each channel comes from the byte
// that follows the channel's own byte in memory, the last one from the byte behind the pixel.
template <size_t Bytes>
uint32_t loadOldPixel(const uint8_t* p) {
    return loadPixel<Bytes>(Bytes == 3 ? p + 1 : p);
}

// Stores a pixel as the routines do: one of 24 bits with a zero byte behind it.
template <size_t Bytes>
void storePixel(uint8_t* p, uint32_t v) {
    static_assert(Bytes >= 2 && Bytes <= 4);
    if constexpr (Bytes == 2) {
        storeWord(p, static_cast<uint16_t>(v));
    } else if constexpr (Bytes == 3) {
        store24(p, v);
        p[3] = 0;
    } else {
        storeWord(p, v);
    }
}

// --- Layouts ------------------------------------------------------------------------------------------

// A format of ORMSEL_FORMATS as a type: what is known of it when this is compiled.
template <uint32_t Code>
struct Layout {
    static constexpr Format kFormat = *formatOf(Code);
    static constexpr size_t kBytes = kFormat.bytesPerPixel;
    static constexpr uint32_t kR = kFormat.r.shift, kG = kFormat.g.shift, kB = kFormat.b.shift,
                              kA = kFormat.a.shift;
    static constexpr bool kIsBytes = kBytes > 2; // each channel is one whole byte

    static uint32_t load(const uint8_t* p) { return loadPixel<kBytes>(p); }

    static constexpr uint32_t alpha(uint32_t pixel) {
        static_assert(kFormat.a.loss == 0);
        return pixel >> kA & 0xFF;
    }
};

// One type for each format, with the format's name.
#define LAYOUT(name, stem, code, bytes, red, green, blue, alpha, alphaShift)                                 \
    using name = Layout<code>; /* NOLINT(bugprone-macro-parentheses): a new name */
ORMSEL_FORMATS(LAYOUT)
#undef LAYOUT

// A pixel in R5G6B5, cut off without rounding.
template <class L>
constexpr uint32_t toR5G6B5(uint32_t s) {
    if constexpr (std::is_same_v<L, R5G6B5>)
        return s;
    const uint32_t red = forgetKnownBits((s >> L::kR & 0xF8) << 8);                      // rrrrr...........
    const uint32_t redGreen = forgetKnownBits(insertBits<0x07E0>(red, s >> L::kG << 3)); // rrrrrgggggg.....
    return insertBits<0x001F>(redGreen, s >> L::kB >> 3);                                // rrrrrggggggbbbbb
}

// The colours of a pixel of whole bytes in A8R8G8B8's places. What stands in the alpha byte is undefined.
template <class L>
constexpr uint32_t toColours32(uint32_t s) {
    static_assert(L::kIsBytes);
    if constexpr (L::kR == 16)
        return s; // ........rrrrrrrrggggggggbbbbbbbb
    else
        return (s >> L::kR & 0xFF) << 16 | (s >> L::kG & 0xFF) << 8 | (s >> L::kB & 0xFF);
}

static_assert(toR5G6B5<R8G8B8>(0x123456) == 0x11AA && toR5G6B5<B8G8R8>(0x563412) == 0x11AA);
static_assert(toColours32<R8G8B8A8>(0x11223344) == 0x00112233 &&
              toColours32<A8B8G8R8>(0x11223344) == 0x00443322);

} // namespace ormsel
