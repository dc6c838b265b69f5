// SPDX-License-Identifier: Zlib
//
// Steps of the rules in plain C++: a few pixels read, blended and stored. Which pixels go together matters
// twice: it decides which pixels are written although they keep their value, and, where source and
// destination share memory, what is read.
#pragma once

#include <cstring>
#include <type_traits>

#include "blt_rules.h"

namespace ormsel {

// A pixel of R5G6B5 or A8R8G8B8 as it is stored.
template <class Rule>
using Stored = std::conditional_t<Rule::Destination::kBytes == 2, uint16_t, uint32_t>;

// Stores one unit of a rule. Pixels of weight 0 have their old value in it.
//
// A unit of two is stored when one of its pixels is drawn. One of four goes as two words of two pixels: a
// word is left alone when its pixels are both transparent and the other word's pixels are both drawn, or when
// all four are transparent; in any other unit both words are stored.
template <class Rule>
[[gnu::always_inline]] inline void storeUnit(uint8_t* dst, const Stored<Rule>* pixels,
                                             const uint32_t* weights) {
    constexpr size_t kBytes = Rule::Destination::kBytes, kUnit = Rule::kUnit;
    if constexpr (Rule::kDrawsAll) {
        std::memcpy(dst, pixels, kUnit * kBytes);
    } else if constexpr (kUnit == 2) {
        if (weights[0] | weights[1])
            std::memcpy(dst, pixels, 2 * kBytes);
    } else {
        static_assert(kUnit == 4);
        const bool first = weights[0] | weights[1], second = weights[2] | weights[3];
        if (first && second) {
            std::memcpy(dst, pixels, 4 * kBytes);
        } else if (first || second) {
            if (first || !(weights[2] && weights[3]))
                std::memcpy(dst, pixels, 2 * kBytes);
            if (second || !(weights[0] && weights[1]))
                std::memcpy(dst + 2 * kBytes, pixels + 2, 2 * kBytes);
        }
    }
}

// Draws pixels in steps of Count as long as they suffice; returns how many are left. The pixels of a step are
// all read before one of them is stored: a single one, or whole units.
template <class Rule, size_t Count>
[[gnu::always_inline]] inline size_t drawSteps(const Rule& rule, const uint8_t*& src, uint8_t*& dst,
                                               const uint8_t*& old, size_t pixels) {
    constexpr size_t kSrc = Rule::Source::kBytes, kDst = Rule::Destination::kBytes;
    static_assert(Count == 1 || Count % Rule::kUnit == 0);
    for (; pixels >= Count; pixels -= Count, src += Count * kSrc, dst += Count * kDst, old += Count * kDst) {
        uint32_t weights[Count], some = 0;
        for (size_t i = 0; i < Count; ++i) {
            weights[i] = rule.weight(Rule::Source::load(src + kSrc * i));
            some |= weights[i];
        }
        if (!Rule::kDrawsAll && !some)
            continue;
        Stored<Rule> out[Count];
        for (size_t i = 0; i < Count; ++i)
            out[i] = static_cast<Stored<Rule>>(
                rule.mix(Rule::Source::load(src + kSrc * i), loadPixel<kDst>(old + kDst * i), weights[i]));
        if constexpr (Count == 1)
            storePixel<kDst>(dst, out[0]);
        else
            for (size_t i = 0; i < Count; i += Rule::kUnit)
                storeUnit<Rule>(dst + kDst * i, out + i, weights + i);
    }
    return pixels;
}

} // namespace ormsel
