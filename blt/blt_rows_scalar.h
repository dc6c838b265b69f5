// SPDX-License-Identifier: Zlib
//
// One row of each specialised routine, in plain C++. Grouping matters twice: it decides which pixels are
// written although they keep their value, and, where source and destination share memory, what is read.
#pragma once

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

// A 32-bit source with alpha onto R5G6B5; alpha: the factor of rgb16AlphaFactor().
//
// Groups of four pixels are stored as two words of two pixels. A word is left alone when its pixels are both
// transparent and the other word's pixels are both drawn, or when all four are transparent; in any other
// group both words are stored, transparent pixels with their old value.
template <class L>
void alphaRowToRgb16(const RowOf& row) {
    const uint8_t* src = row.src;
    const uint8_t* old = row.old;
    uint8_t* dst = row.dst;
    const auto alpha5 = [&](uint32_t s) { return L::alpha(s) * row.alpha >> 11; };
    // 31 counts as 32, which gives the source unchanged, as 0 gives the old pixel: no branch for either.
    const auto mix = [](uint32_t s, const uint8_t* d, uint32_t a) {
        return mixSpreadRgb16(toSpreadRgb16<L>(s), load16(d), a + (a == 31));
    };

    for (size_t groups = row.width / 4; groups; --groups, src += 16, dst += 8, old += 8) {
        uint32_t s[4], a[4], drawn = 0;
        for (unsigned i = 0; i < 4; ++i) {
            s[i] = L::load(src + 4 * i);
            a[i] = alpha5(s[i]);
            drawn |= static_cast<uint32_t>(a[i] != 0) << i;
        }
        if (!drawn)
            continue;
        uint32_t out[4];
        for (unsigned i = 0; i < 4; ++i)
            out[i] = mix(s[i], old + 2 * i, a[i]);
        if (drawn != 0xC) {
            store16(dst, out[0]);
            store16(dst + 2, out[1]);
        }
        if (drawn != 0x3) {
            store16(dst + 4, out[2]);
            store16(dst + 6, out[3]);
        }
    }
    for (size_t rest = row.width % 4; rest; --rest, src += 4, dst += 2, old += 2) {
        const uint32_t s = L::load(src), a = alpha5(s);
        if (a)
            store16(dst, mix(s, old, a));
    }
}

// A 32-bit source with alpha onto A8R8G8B8; alpha: the constant alpha.
//
// Pixels go in pairs: a pair of which one pixel is transparent stores that one's old value again. The
// effective alpha is at most 255 * 255 >> 8 = 254, so that no pixel is ever copied unchanged.
template <class L>
void alphaRowToArgb32(const RowOf& row) {
    const uint8_t* src = row.src;
    uint8_t* dst = row.dst;
    const auto mix = [](uint32_t s, uint32_t d, uint32_t a) { return a ? mixRgb32(toRgb32<L>(s), d, a) : d; };

    for (size_t pairs = row.width / 2; pairs; --pairs, src += 8, dst += 8) {
        const uint32_t s0 = L::load(src), s1 = L::load(src + 4);
        const uint32_t a0 = L::alpha(s0) * row.alpha >> 8, a1 = L::alpha(s1) * row.alpha >> 8;
        if ((a0 | a1) == 0)
            continue;
        const uint32_t d0 = load32(dst), d1 = load32(dst + 4);
        store32(dst, mix(s0, d0, a0));
        store32(dst + 4, mix(s1, d1, a1));
    }
    if (row.width % 2) {
        const uint32_t s = L::load(src), a = L::alpha(s) * row.alpha >> 8;
        if (a)
            store32(dst, mix(s, load32(dst), a));
    }
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
