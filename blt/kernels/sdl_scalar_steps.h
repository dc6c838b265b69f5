// SPDX-License-Identifier: Zlib
//
// One pixel of a blit by SDL's rules, in plain C++: the reference for the vector kernels.
#pragma once

#include "formats.h"
#include "sdl.h"

namespace ormsel {

constexpr size_t sdlBytes(SdlLayout layout) {
    return layout == SdlLayout::k32 ? 4 : layout == SdlLayout::k24 ? 3 : 2;
}

// A 16-bit layout as a type of the kernels. Where red stands above and blue below, or the other way round, doesn't
// matter, as both have five bits.
template <SdlLayout To>
using SdlFields = std::conditional_t<To == SdlLayout::kR5G5B5, R5G5B5, R5G6B5>;

// Stores a pixel's own bytes alone.
template <size_t Bytes>
inline void sdlStore(uint8_t* p, uint32_t v) {
    if constexpr (Bytes == 3) {
        p[0] = static_cast<uint8_t>(kBigEndian ? v >> 16 : v);
        p[1] = static_cast<uint8_t>(v >> 8);
        p[2] = static_cast<uint8_t>(kBigEndian ? v : v >> 16);
    } else {
        storePixel<Bytes>(p, v);
    }
}

template <SdlLayout Layout>
inline uint32_t sdlWiden(uint32_t v) {
    if constexpr (Layout == SdlLayout::kR5G6B5)
        return (v & 0xF800) << 8 | (v & 0x07E0) << 5 | (v & 0x001F) << 3; // ........rrrrr...gggggg..bbbbb...
    else if constexpr (Layout == SdlLayout::kR5G5B5)
        return (v & 0x7C00) << 9 | (v & 0x03E0) << 6 | (v & 0x001F) << 3; // ........rrrrr...ggggg...bbbbb...
    else
        return v;
}

template <SdlLayout Layout>
inline uint32_t sdlNarrow(uint32_t v) {
    if constexpr (Layout == SdlLayout::kR5G6B5)
        return (v >> 8 & 0xF800) | (v >> 5 & 0x07E0) | (v >> 3 & 0x001F); // rrrrrggggggbbbbb
    else if constexpr (Layout == SdlLayout::kR5G5B5)
        return (v >> 9 & 0x7C00) | (v >> 6 & 0x03E0) | (v >> 3 & 0x001F); // .rrrrrgggggbbbbb
    else
        return v;
}

// The bytes of a widened source pixel where the destination has them.
struct SdlPlaces {
    uint32_t shift[4], mask[4];
    bool asTheyAre = true; // but for bytes that are no colour, which the destination leaves out again

    explicit SdlPlaces(uint32_t place) {
        for (unsigned i = 0; i < 4; ++i) {
            const uint32_t from = place >> 8 * i & 0xFF;
            shift[i] = from < 4 ? 8 * from : 0;
            mask[i] = from < 4 ? 0xFFU << 8 * i : 0;
            asTheyAre = asTheyAre && (from == i || from == 0x80);
        }
    }
    uint32_t operator()(uint32_t v) const {
        if (asTheyAre)
            return v;
        uint32_t placed = 0;
        for (unsigned i = 0; i < 4; ++i)
            placed |= (v >> shift[i] << 8 * i) & mask[i];
        return placed;
    }
};

// The formula, for two channels in the halves of a word at a time. What a difference borrows from the upper
// half the whole sum, in which no half is negative, gives back.
inline uint32_t sdlMix(uint32_t s, uint32_t d, uint32_t w, uint32_t roundUp) {
    constexpr uint32_t kPair = 0x00FF00FF; // ........xxxxxxxx........xxxxxxxx
    const auto mixed = [&](uint32_t sPair, uint32_t dPair) {
        return (dPair << 8) + (sPair - dPair) * w + roundUp * 0x00010001;
    };
    return (mixed(s & kPair, d & kPair) >> 8 & kPair) | (mixed(s >> 8 & kPair, d >> 8 & kPair) & ~kPair);
}

template <SdlLayout From, SdlLayout To, bool PerPixel>
inline void sdlPixel(const SdlBlit& b, const SdlPlaces& place, const uint8_t* src, uint8_t* dst) {
    const uint32_t s = loadPixel<sdlBytes(From)>(src);
    uint32_t w = b.constantAlpha;
    if constexpr (PerPixel) {
        const uint32_t alpha = s >> b.alphaShift & 0xFF;
        if (!alpha)
            return;
        w = alpha >= b.rule.opaqueFrom ? 256 : alpha & b.rule.alphaBits;
    } else if (b.keyed && s == b.key) {
        return;
    }
    const uint32_t d = loadPixel<sdlBytes(To)>(dst);
    const uint32_t mixed = sdlMix(place(sdlWiden<From>(s)) & b.cut, sdlWiden<To>(d), w, b.rule.roundUp);
    uint32_t result = (sdlNarrow<To>(mixed) & b.colours) | (d & b.kept) | b.ones;
    if constexpr (To == SdlLayout::k32) {
        if (w == 256)
            result |= b.opaqueOnes;
        if (b.marksFalling && (mixed & 0xFF) < (d & 0xFF))
            result |= 1U << 24;
    }
    sdlStore<sdlBytes(To)>(dst, result);
}

// A tidy blit's mix onto 32 bits, colours alone. What a difference borrows from the bits above it lies
// outside the mask.
inline uint32_t sdlTidyMix(uint32_t s, uint32_t d, uint32_t w) {
    const auto mixed = [&](uint32_t mask) {
        return ((d & mask) + (((s & mask) - (d & mask)) * w >> 8)) & mask;
    };
    return mixed(0xFF00FF) | mixed(0x00FF00);
}

// And onto 16 bits, in the destination's own bits: all three channels of a pixel in one word,
// gggggg.....rrrrr......bbbbb, with room for products with a weight from 0 to 32.
template <SdlLayout To>
struct SdlSpread {
    static constexpr bool kSix = To == SdlLayout::kR5G6B5;
    static constexpr uint32_t kGreen = kSix ? 0x07E0 : 0x03E0, kHigh = kSix ? 0xF800 : 0x7C00, kLow = 0x1F;
    static constexpr uint32_t kAll = kGreen << 16 | kHigh | kLow;
    // How far the channels of a 32-bit pixel move.
    static constexpr int kHighDown = kSix ? 8 : 9, kLowDown = 3, kGreenDown = kSix ? 5 : 6,
                         kGreenUp = kSix ? 11 : 10;
};

template <SdlLayout To>
inline uint32_t sdlSpreadMix(uint32_t spread, uint32_t d, uint32_t w) {
    const uint32_t onto = (d | d << 16) & SdlSpread<To>::kAll;
    const uint32_t mixed = (onto + ((spread - onto) * w >> 5)) & SdlSpread<To>::kAll;
    return mixed | mixed >> 16;
}

template <SdlLayout To, bool PerPixel>
inline void sdlTidyPixel(uint32_t weight, const uint8_t* src, uint8_t* dst) {
    using Spread = SdlSpread<To>;
    const uint32_t s = loadPixel < PerPixel ? 4 : sdlBytes(To) > (src);
    if constexpr (To == SdlLayout::k32) {
        const uint32_t alpha = PerPixel ? s >> 24 : weight;
        if (PerPixel && !alpha)
            return;
        const uint32_t d = loadPixel<4>(dst), rest = (PerPixel ? d : ~0U) & 0xFF000000;
        storePixel<4>(dst, (alpha == 255 ? s & 0xFFFFFF : sdlTidyMix(s, d, alpha)) | rest);
    } else if constexpr (PerPixel) {
        const uint32_t w = s >> 27;
        if (!w)
            return;
        const uint32_t others =
            (s >> Spread::kHighDown & Spread::kHigh) | (s >> Spread::kLowDown & Spread::kLow);
        if (w == 31)
            return storePixel<2>(dst, others | (s >> Spread::kGreenDown & Spread::kGreen));
        const uint32_t spread = others | (s << Spread::kGreenUp & Spread::kGreen << 16);
        storePixel<2>(dst, sdlSpreadMix<To>(spread, loadPixel<2>(dst), w));
    } else {
        storePixel<2>(dst, sdlSpreadMix<To>((s | s << 16) & Spread::kAll, loadPixel<2>(dst), weight / 8));
    }
}

template <SdlLayout Layout>
inline void sdlCopyPixel(const SdlBlit& b, const uint8_t* src, uint8_t* dst) {
    const uint32_t s = loadPixel<sdlBytes(Layout)>(src);
    if (s != b.key)
        sdlStore<sdlBytes(Layout)>(dst, (s & b.colours) | b.ones);
}

// Calls work with a tidy blit's destination, and whether by pixel.
template <class Work>
inline void withSdlTidy(const SdlBlit& b, const Work& work) {
    const auto onto = [&]<bool PerPixel>() {
        if (b.to == SdlLayout::k32)
            return work.template operator()<SdlLayout::k32, PerPixel>();
        if (b.to == SdlLayout::kR5G6B5)
            return work.template operator()<SdlLayout::kR5G6B5, PerPixel>();
        work.template operator()<SdlLayout::kR5G5B5, PerPixel>();
    };
    if (b.perPixel)
        onto.template operator()<true>();
    else
        onto.template operator()<false>();
}

// Calls work with the kernel's template arguments for a blit: source, destination, and whether by pixel.
template <class Work>
inline void withSdlLayouts(const SdlBlit& b, const Work& work) {
    const auto onto = [&]<SdlLayout From, bool PerPixel>() {
        switch (b.to) {
        case SdlLayout::k32:
            return work.template operator()<From, SdlLayout::k32, PerPixel>();
        case SdlLayout::k24:
            return work.template operator()<From, SdlLayout::k24, PerPixel>();
        case SdlLayout::kR5G6B5:
            return work.template operator()<From, SdlLayout::kR5G6B5, PerPixel>();
        case SdlLayout::kR5G5B5:
            return work.template operator()<From, SdlLayout::kR5G5B5, PerPixel>();
        case SdlLayout::kNone:
            return;
        }
    };
    if (b.perPixel)
        return onto.template operator()<SdlLayout::k32, true>();
    switch (b.from) {
    case SdlLayout::k32:
        return onto.template operator()<SdlLayout::k32, false>();
    case SdlLayout::k24:
        return onto.template operator()<SdlLayout::k24, false>();
    case SdlLayout::kR5G6B5:
        return onto.template operator()<SdlLayout::kR5G6B5, false>();
    case SdlLayout::kR5G5B5:
        return onto.template operator()<SdlLayout::kR5G5B5, false>();
    case SdlLayout::kNone:
        return;
    }
}

} // namespace ormsel
