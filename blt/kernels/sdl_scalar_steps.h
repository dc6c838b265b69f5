// SPDX-License-Identifier: Zlib
//
// One pixel of a blit by SDL's rules, in plain C++: the reference for the vector kernels.
#pragma once

#include "generic.h"
#include "scalar_steps.h"
#include "sdl.h"

namespace ormsel {

constexpr size_t sdlBytes(SdlLayout layout) {
    return layout == SdlLayout::k32 ? 4 : layout == SdlLayout::k24 ? 3 : 2;
}

// A 16-bit layout as a type of the kernels. Both red and blue have five bits: it doesn't matter which of them
// stands above.
template <SdlLayout To>
using SdlFields = std::conditional_t<To == SdlLayout::kR5G5B5, R5G5B5, R5G6B5>;

// Stores a pixel's own bytes alone.
template <size_t Bytes>
inline void sdlStore(uint8_t* p, uint32_t v) {
    if constexpr (Bytes == 3)
        store24(p, v);
    else
        storePixel<Bytes>(p, v);
}

// A channel for each byte, and back.
template <SdlLayout Layout>
inline uint32_t sdlWiden(uint32_t v) {
    if constexpr (sdlBytes(Layout) == 2)
        return Known<SdlFields<Layout>>::toColours(v);
    else
        return v;
}
template <SdlLayout Layout>
inline uint32_t sdlNarrow(uint32_t v) {
    if constexpr (sdlBytes(Layout) == 2)
        return Known<SdlFields<Layout>>::fromColours(v);
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

// The formula, for all channels of a word.
inline uint32_t sdlMix(uint32_t s, uint32_t d, uint32_t w, uint32_t roundUp) {
    constexpr uint32_t kPair = 0x00FF00FF; // ........xxxxxxxx........xxxxxxxx
    const uint32_t inBoth = roundUp << 16 | roundUp;
    return mixFields<8>(s & kPair, d & kPair, w, kPair, inBoth) |
           mixFields<8>(s >> 8 & kPair, d >> 8 & kPair, w, kPair, inBoth) << 8;
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

// With the colours in place.
template <SdlLayout To, bool PerPixel>
inline void sdlPixelInPlace(uint32_t weight, const uint8_t* src, uint8_t* dst) {
    constexpr size_t kSrcBytes = PerPixel ? 4 : sdlBytes(To);
    const uint32_t s = loadPixel<kSrcBytes>(src);
    if constexpr (To == SdlLayout::k32) {
        const uint32_t alpha = PerPixel ? s >> 24 : weight;
        if (PerPixel && !alpha)
            return;
        const uint32_t d = loadPixel<4>(dst), rest = (PerPixel ? d : ~0U) & 0xFF000000;
        const uint32_t colours =
            alpha == 255 ? s & 0xFFFFFF
                         : mixColours32(colours32<A8R8G8B8>(s), colours32<A8R8G8B8>(d), alpha * kWeightUnit);
        storePixel<4>(dst, colours | rest);
    } else if constexpr (PerPixel) {
        using Fields = SdlFields<To>;
        // AlphaOntoFields, but that opaque pixels, of which a sprite has many, are stored at once.
        const uint32_t a = AlphaOntoFields<A8R8G8B8, Fields, false>(255).weight(s);
        if (!a)
            return;
        const uint32_t colours = toSpread<Fields, A8R8G8B8>(s);
        storePixel<2>(dst, a == 31 ? gather<Fields>(colours)
                                   : mixSpread<Fields>(colours, spread<Fields>(loadPixel<2>(dst)), a));
    } else {
        using Fields = SdlFields<To>;
        storePixel<2>(dst,
                      mixSpread<Fields>(spread<Fields>(s), spread<Fields>(loadPixel<2>(dst)), weight / 8));
    }
}

template <SdlLayout Layout>
inline void sdlCopyPixel(const SdlBlit& b, const uint8_t* src, uint8_t* dst) {
    const uint32_t s = loadPixel<sdlBytes(Layout)>(src);
    if (s != b.key)
        sdlStore<sdlBytes(Layout)>(dst, (s & b.colours) | b.ones);
}

// Calls work with the destination of a blit with its colours in place, and whether by pixel.
template <class Work>
inline void withSdlInPlace(const SdlBlit& b, const Work& work) {
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
