// SPDX-License-Identifier: Zlib
//
// One row of each specialised routine, in plain C++. Grouping matters twice: it decides which pixels are
// written although they keep their value, and, where source and destination share memory, what is read.
#pragma once

#include <cstring>
#include <type_traits>

#include "blt_arith.h"
#include "blt_layouts.h"

namespace ormsel {

// What a row function works on. old is where old destination pixels are read: dst, or a copy of its row.
struct RowOf {
    const uint8_t* src;
    uint8_t* dst;
    const uint8_t* old;
    size_t width;
    uint32_t alpha; // as Block::alpha
};

// How many pixels a step has where their order is free, and how many where fewer are left: the loops over
// them are vector loops then, for which every 64-bit processor has instructions.
inline constexpr size_t kPixelsInStep = 32, kPixelsInShortStep = 16;

// Whether such steps pay.
inline constexpr bool kHasSteps = sizeof(size_t) == 8;

// Runs a step over a row's pixels in groups of Unit, or, if order is free, of the steps above first. The step
// gets the number of pixels, as a constant. Returns how many pixels are left.
template <size_t Unit, bool OrderIsFree, class Step>
size_t everyStep(const RowOf& row, const Step& step) {
    size_t rest = row.width;
    if constexpr (OrderIsFree) {
        for (; rest >= kPixelsInStep; rest -= kPixelsInStep)
            step(std::integral_constant<size_t, kPixelsInStep>());
        for (; rest >= kPixelsInShortStep; rest -= kPixelsInShortStep)
            step(std::integral_constant<size_t, kPixelsInShortStep>());
    }
    for (; rest >= Unit; rest -= Unit)
        step(std::integral_constant<size_t, Unit>());
    return rest;
}

// Stores four pixels of R5G6B5 as two words of two pixels. A word is left alone when its pixels are both
// transparent and the other word's pixels are both drawn, or when all four are transparent; in any other
// group both words are stored, transparent pixels with their old value.
inline void storeGroup(uint8_t* dst, const uint16_t* pixels, const uint32_t* alphas) {
    const bool first = alphas[0] | alphas[1], second = alphas[2] | alphas[3];
    if (first && second) {
        std::memcpy(dst, pixels, 8);
    } else if (first || second) {
        if (first || !(alphas[2] && alphas[3]))
            std::memcpy(dst, pixels, 4);
        if (second || !(alphas[0] && alphas[1]))
            std::memcpy(dst + 4, pixels + 2, 4);
    }
}

// A 32-bit source with alpha onto R5G6B5; alpha: the factor of rgb16AlphaFactor().
template <class L>
struct Rgb16Rule {
    uint32_t factor;

    uint32_t alpha(uint32_t s) const { return L::alpha(s) * factor >> 11; }
    // 31 counts as 32, which gives the source unchanged, as 0 gives the old pixel: no branch for either.
    uint32_t mix(uint32_t s, uint32_t d, uint32_t a) const {
        return mixSpreadRgb16(toSpreadRgb16<L>(s), d, a + (a == 31));
    }
};

// The pixels behind the last group, each alone.
template <class L>
[[gnu::always_inline]] inline void alphaPixelsToRgb16(const RowOf& row) {
    const Rgb16Rule<L> rule{row.alpha};
    for (size_t x = 0; x < row.width; ++x) {
        const uint32_t s = L::load(row.src + 4 * x);
        if (const uint32_t a = rule.alpha(s))
            store16(row.dst + 2 * x, rule.mix(s, load16(row.old + 2 * x), a));
    }
}

// A row, in groups of four pixels.
template <class L, bool OrderIsFree = false>
[[gnu::always_inline]] inline void alphaRowToRgb16(const RowOf& row) {
    const Rgb16Rule<L> rule{row.alpha};

    const uint8_t* src = row.src;
    const uint8_t* old = row.old;
    uint8_t* dst = row.dst;
    const size_t rest = everyStep<4, OrderIsFree>(row, [&](auto count) {
        uint32_t a[count], some = 0;
        uint16_t out[count];
        for (size_t i = 0; i < count; ++i) {
            a[i] = rule.alpha(L::load(src + 4 * i));
            some |= a[i];
        }
        if (some) {
            for (size_t i = 0; i < count; ++i)
                out[i] = static_cast<uint16_t>(rule.mix(L::load(src + 4 * i), load16(old + 2 * i), a[i]));
            for (size_t i = 0; i < count; i += 4)
                storeGroup(dst + 2 * i, out + i, a + i);
        }
        src += 4 * count;
        dst += 2 * count;
        old += 2 * count;
    });
    alphaPixelsToRgb16<L>({src, dst, old, rest, row.alpha});
}

// A 32-bit source with alpha onto A8R8G8B8; alpha: the constant alpha.
//
// The effective alpha is at most 255 * 255 >> 8 = 254, so that no pixel is ever copied unchanged.
template <class L>
struct Argb32Rule {
    uint32_t constant;

    uint32_t alpha(uint32_t s) const {
        const uint32_t own = L::alpha(s); // own * 255 >> 8 costs no product
        return constant == 255 ? own - (own != 0) : own * constant >> 8;
    }
    uint32_t mix(uint32_t s, uint32_t d, uint32_t a) const {
        return a ? mixRgb32(std::is_same_v<L, Argb32> ? s : toRgb32<L>(s), d, a) : d;
    }
};

// The pixel behind the last pair, if there is one.
template <class L>
[[gnu::always_inline]] inline void alphaPixelToArgb32(const RowOf& row) {
    if (!row.width)
        return;
    const Argb32Rule<L> rule{row.alpha};
    const uint32_t s = L::load(row.src);
    if (const uint32_t a = rule.alpha(s))
        store32(row.dst, rule.mix(s, load32(row.dst), a));
}

// A row, in pairs: one of which one pixel is transparent stores that one's old value again.
template <class L, bool OrderIsFree = false>
[[gnu::always_inline]] inline void alphaRowToArgb32(const RowOf& row) {
    const Argb32Rule<L> rule{row.alpha};
    const uint8_t* src = row.src;
    uint8_t* dst = row.dst;
    const size_t rest = everyStep<2, OrderIsFree>(row, [&](auto count) {
        uint32_t a[count], out[count], some = 0;
        for (size_t i = 0; i < count; ++i) {
            a[i] = rule.alpha(L::load(src + 4 * i));
            some |= a[i];
        }
        if (some) {
            for (size_t i = 0; i < count; ++i)
                out[i] = rule.mix(L::load(src + 4 * i), load32(dst + 4 * i), a[i]);
            for (size_t i = 0; i < count; i += 2)
                if (a[i] | a[i + 1])
                    std::memcpy(dst + 4 * i, out + i, 8);
        }
        src += 4 * count;
        dst += 4 * count;
    });
    alphaPixelToArgb32<L>({src, dst, dst, rest, row.alpha});
}

// R5G6B5 onto R5G6B5; alpha: 5-bit weight. Groups of four pixels are read whole before they are stored.
inline void mixRowOfRgb16(const RowOf& row) {
    const uint8_t* src = row.src;
    const uint8_t* old = row.old;
    uint8_t* dst = row.dst;
    const auto mixPixels = [&](size_t count) {
        uint32_t out[4];
        for (size_t i = 0; i < count; ++i)
            out[i] = mixRgb16(load16(src + 2 * i), load16(old + 2 * i), row.alpha);
        for (size_t i = 0; i < count; ++i)
            store16(dst + 2 * i, out[i]);
        src += 2 * count;
        dst += 2 * count;
        old += 2 * count;
    };
    for (size_t groups = row.width / 4; groups; --groups)
        mixPixels(4);
    for (size_t rest = row.width % 4; rest; --rest)
        mixPixels(1);
}

// Pixels without alpha onto R5G6B5, in pairs that are read whole before they are stored.
template <class L, class Mix>
void pairsToRgb16(const RowOf& row, const Mix& mix) {
    const uint8_t* src = row.src;
    const uint8_t* old = row.old;
    uint8_t* dst = row.dst;
    for (size_t pairs = row.width / 2; pairs; --pairs, src += 2 * L::kBytes, dst += 4, old += 4) {
        const uint32_t s0 = toRgb16<L>(L::load(src)), s1 = toRgb16<L>(L::load(src + L::kBytes));
        const uint32_t out0 = mix(s0, old), out1 = mix(s1, old + 2);
        store16(dst, out0);
        store16(dst + 2, out1);
    }
    if (row.width % 2)
        store16(dst, mix(toRgb16<L>(L::load(src)), old));
}

template <class L>
void convertRowToRgb16(const RowOf& row) {
    pairsToRgb16<L>(row, [](uint32_t s, const uint8_t*) { return s; });
}

// alpha: 5-bit weight.
template <class L>
void mixRowToRgb16(const RowOf& row) {
    pairsToRgb16<L>(row, [a = row.alpha](uint32_t s, const uint8_t* d) { return mixRgb16(s, load16(d), a); });
}

} // namespace ormsel
