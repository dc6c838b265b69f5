// SPDX-License-Identifier: Zlib
//
// The blend rules, on whole pixels. Every rule is d + floor((s - d) * a / 2^k) for each channel, rounding
// toward minus infinity and with no rounding term; only k and the channels' widths differ.
#pragma once

#include <cstdint>

namespace ormsel {

// Spreads an R5G6B5 pixel over 32 bits: green to bits 21-26, red and blue stay at 11-15 and 0-4, so that
// at least five empty bits stand above every field.
constexpr uint32_t spreadRgb16(uint32_t p) {
    return (p << 16 | p) & 0x07E0F81F;
}

// Blends R5G6B5 pixels, the source already spread: out = d + floor((s - d) * a5 / 32) on each channel's own
// width, a5 from 0 to 32.
//
// One product serves all three channels. X(s) - X(d) is the sum of the field differences at their places,
// with borrows running into the empty bits and out of bit 31; modulo 2^32 that loses nothing, because the
// sum with X(d) << 5 that the shift and the addition amount to is again a sum of non-negative fields: each
// is 32 * d + (s - d) * a5, between 0 and 63 * 32 < 2^11, so that no field reaches its neighbour. The logical
// shift differs from an arithmetic one only in bits 27 to 31, which the last mask removes.
// Proved by Arithmetic.Rgb16EveryTriple.
constexpr uint32_t mixSpreadRgb16(uint32_t xs, uint32_t d, uint32_t a5) {
    const uint32_t xd = spreadRgb16(d);
    const uint32_t v = ((((xs - xd) * a5) >> 5) + xd) & 0x07E0F81F;
    return (v >> 16 | v) & 0xFFFF;
}

constexpr uint32_t mixRgb16(uint32_t s, uint32_t d, uint32_t a5) {
    return mixSpreadRgb16(spreadRgb16(s), d, a5);
}

// Blends the three colour channels of A8R8G8B8 pixels: out = d + floor((s - d) * a / 256), a from 0 to 255;
// the result's alpha byte is 0.
//
// Red and blue share one product, green has its own. A channel's difference times a lies in -65025..65025;
// the borrow that a negative blue product takes from red's field is given back when the 8 bits shifted in
// from above are masked off: 256 * d + (s - d) * a is never negative, and below 2^16.
// Proved by Arithmetic.Argb32EveryTriple.
constexpr uint32_t mixRgb32(uint32_t s, uint32_t d, uint32_t a) {
    const uint32_t rbS = s & 0xFF00FF, rbD = d & 0xFF00FF;
    const uint32_t gS = s & 0xFF00, gD = d & 0xFF00;
    const uint32_t rb = (((rbS - rbD) * a >> 8) + rbD) & 0xFF00FF;
    const uint32_t g = (((gS - gD) * a >> 8) + gD) & 0xFF00;
    return rb | g;
}

static_assert(mixRgb16(0xFFFF, 0, 15) == 0x73AE && mixRgb16(0, 0xFFFF, 15) == 0x8430);
static_assert(mixRgb16(0xFFFF, 0, 30) == 0xEF7D && mixRgb16(0xFFFF, 0, 16) == 0x7BEF);
static_assert(mixRgb32(0xFFFFFF, 0, 254) == 0xFDFDFD && mixRgb32(0x808080, 0xFFFFFF, 254) == 0x808080);

// The constant alpha of the R5G6B5 routines as a factor: a pixel's 5-bit alpha is (A * factor) >> 11. From
// C = 248 the constant alpha has no say, and A * 256 >> 11 is A >> 3.
constexpr uint32_t rgb16AlphaFactor(uint32_t c) {
    return c >> 3 == 31 ? 256 : c;
}

// Blends three 8-bit channels that stand 16 bits apart: gives 256 * d + (s - d) * a for each, a from 0 to
// 256, so that the result is in the upper bytes of their fields.
//
// One product serves all three: what the fields' differences borrow from each other is given back by the sum,
// each field of which lies between 0 and 255 * 256 < 2^16.
constexpr uint64_t mixSpread(uint64_t xs, uint64_t xd, uint32_t a) {
    return (xs - xd) * a + (xd << 8);
}

// Moves bits of a word by one distance and clears the others.
struct BitMove {
    uint32_t left = 0, right = 0, mask = 0; // one of the shifts is 0, both are less than 32

    constexpr uint32_t operator()(uint32_t v) const { return v << left >> right & mask; }
};

// A channel of run-time position: taken out of a pixel widened to 8 bits, and put back. Shifts of any size
// are fine; one that moves every bit out of the word gives 0. (A channel of more than 8 bits has a loss of
// 256 less the excess in SDL's 8-bit field.)
struct Channel {
    uint32_t mask, shift, loss;

    constexpr uint32_t extract(uint32_t pixel) const { return left(right(pixel & mask, shift), loss); }
    constexpr uint32_t place(uint32_t value) const { return left(right(value, loss), shift) & mask; }

private:
    static constexpr uint32_t left(uint32_t v, uint32_t n) { return n < 32 ? v << n : 0; }
    static constexpr uint32_t right(uint32_t v, uint32_t n) { return n < 32 ? v >> n : 0; }
};

// extract(), place() and one after the other as moves. Every bit that gets through them moves as far as the
// sum of their shifts, so that what they make of a word of ones tells the mask.
constexpr BitMove moveBy(uint32_t left, uint32_t right, uint32_t mask) {
    if (mask == 0)
        return {};
    return left > right ? BitMove{left - right, 0, mask} : BitMove{0, right - left, mask};
}
constexpr BitMove extraction(const Channel& c) {
    return moveBy(c.loss, c.shift, c.extract(~0U));
}
constexpr BitMove placement(const Channel& c) {
    return moveBy(c.shift, c.loss, c.place(~0U));
}
constexpr BitMove conversion(const Channel& from, const Channel& to) {
    return moveBy(from.loss + to.shift, from.shift + to.loss, to.place(from.extract(~0U)));
}

// out = d + floor((s - d) * e / 256) in wrapping arithmetic: a negative product leaves stray bits from bit 24
// up, which Channel::place() masks off. e may exceed 8 bits (see the alpha of R5G5B5 bitmaps).
constexpr uint32_t mixChannel(uint32_t s, uint32_t d, uint32_t e) {
    return d + ((s - d) * e >> 8);
}

} // namespace ormsel
