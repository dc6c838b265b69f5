// SPDX-License-Identifier: Zlib
//
// The blend rules, on single pixels. Each says which pixels it draws and what becomes of an old one; the
// vector forms of the same rules are in steps-inl.h.
//
// Every rule blends each channel as d + floor((s - d) * a / 2^k), rounding toward minus infinity and with no
// rounding term. Only k and the channels' widths differ.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "bits.h"
#include "formats.h"

namespace ormsel {

// --- The blend ----------------------------------------------------------------------------------------

// Blends all fields of a word at once: d + floor((s - d) * a / 2^k) in each, a from 0 to 2^k. 0 gives d and
// 2^k gives s.
//
// Above every field stand at least k bits that no field has. One product serves all fields: s - d is the sum
// of the fields' differences at their places, with borrows that run into the free bits and out of the word's
// top. Modulo the word that loses nothing, because d * 2^k + (s - d) * a, which the shift and the addition
// amount to, is a sum of fields that aren't negative: each is a mean of s and d times 2^k, and so ends below
// its neighbour. The logical shift differs from an arithmetic one only in the top k bits, and the mask
// removes what is left between the fields.
//
// roundUp is added to each field's product before the shift: a word with less than 2^k in every field.
template <unsigned K, class Word>
constexpr Word mixFields(Word s, Word d, Word a, Word fields, Word roundUp = 0) {
    return ((((s - d) * a + roundUp) >> K) + d) & fields;
}

// A pixel of 16 bits with at least five free bits above each field: its upper half has the green, its lower
// half red and blue.
template <class To>
inline constexpr uint32_t kSpreadGreen = To::kFormat.g.mask << 16;
template <class To>
inline constexpr uint32_t kSpread = kSpreadGreen<To> | To::kFormat.r.mask | To::kFormat.b.mask;
static_assert(kSpread<R5G6B5> == 0x07E0F81F && // .....gggggg.....rrrrr......bbbbb
              kSpread<R5G5B5> == 0x03E07C1F);  // ......ggggg......rrrrr.....bbbbb

template <class To>
constexpr uint32_t spread(uint32_t p) {
    return (p << 16 | p) & kSpread<To>;
}
// What stands between the fields doesn't matter, but for R5G5B5's spare bit; the upper half holds anything.
template <class To>
constexpr uint32_t gather(uint32_t v) {
    v = forgetKnownBits(v);
    return forgetKnownBits(insertBits<To::kFormat.g.mask>(v, v >> 16)); // rrrrrggggggbbbbb
}

// The pixels of R5G6B5 in a word of two, in its upper and its lower half, and both as a word, from lower
// halves.
constexpr uint32_t spreadUpperR5G6B5(uint32_t two) {
    const uint32_t turned = std::rotl(two, 16);
    return insertBits<kSpreadGreen<R5G6B5>>(turned, two) & kSpread<R5G6B5>;
}
constexpr uint32_t spreadLowerR5G6B5(uint32_t two) {
    return insertBits<kSpreadGreen<R5G6B5>>(two, std::rotl(two, 16)) & kSpread<R5G6B5>;
}
constexpr uint32_t joinR5G6B5(uint32_t upper, uint32_t lower) {
    return insertBits<0xFFFF0000>(lower, upper << 16);
}

// A pixel spread like that, straight from its own layout: To itself, or one of whole bytes.
template <class To, class L>
constexpr uint32_t toSpread(uint32_t s) {
    if constexpr (std::is_same_v<L, To>) {
        return spread<To>(s);
    } else {
        static_assert(L::kIsBytes);
        constexpr uint32_t kGreenUp = 16 + To::kG - To::kFormat.g.loss;
        const uint32_t red = forgetKnownBits((s >> L::kR & 0xF8) << (To::kR - 3)); // .rrrrr...........
        const uint32_t redGreen = forgetKnownBits(insertBits<kSpreadGreen<To>>(red, s >> L::kG << kGreenUp));
        return insertBits<0x1F>(redGreen, s >> L::kB >> 3); // .....gggggg.....rrrrr......bbbbb
    }
}

// Blends spread pixels by a5 of 32; the upper half of the result holds anything. Proved by
// Arithmetic.EveryTriple.
//
// On narrow processors no bit is cut that gather() replaces: R5G6B5 has no other (count-instructions powerpc,
// argb32_rgb16 random: 20.74, and 21.74 with the cut).
template <class To>
constexpr uint32_t mixSpread(uint32_t s, uint32_t d, uint32_t a5) {
    constexpr bool kCuts = !kIsNarrow || !std::is_same_v<To, R5G6B5>;
    return gather<To>(mixFields<5>(s, d, a5, kCuts ? kSpread<To> : ~uint32_t{0}));
}

// Blends two R5G6B5 pixels in a word by one a5 of 32. Three fields are spread as they stand, the others when
// the word's halves are exchanged.
constexpr uint32_t mixTwoR5G6B5(uint32_t s, uint32_t d, uint32_t a5) {
    constexpr uint32_t kThree = kSpread<R5G6B5>;
    const uint32_t turnedS = std::rotl(s, 16), turnedD = std::rotl(d, 16);
    const uint32_t three = mixFields<5>(s & kThree, d & kThree, a5, kThree);
    const uint32_t others = mixFields<5>(turnedS & kThree, turnedD & kThree, a5, kThree);
    return three | std::rotl(others, 16);
}

// The colours of a pixel in A8R8G8B8's places, with 8 free bits above each.
struct Colours32 {
    static constexpr uint32_t kRedBlue = 0x00FF00FF, kGreen = 0x0000FF00;

    uint32_t redBlue; // ........rrrrrrrr........bbbbbbbb
    uint32_t green;   // ................gggggggg........
};

template <class L>
constexpr Colours32 colours32(uint32_t p) {
    static_assert(L::kBytes == 4 && (L::kR + 16) % 32 == (L::kB + 32) % 32);
    return {std::rotl(p, 16 - int{L::kR}) & Colours32::kRedBlue,
            std::rotl(p, 8 - int{L::kG}) & Colours32::kGreen};
}

// What stands for 1 in weights of 256ths: on narrow processors the top byte holds them.
inline constexpr uint32_t kWeightUnit = kIsNarrow ? 1U << 24 : 1;

// Blends them by such a weight, at most 255. The result is an A8R8G8B8 pixel whose alpha is 0. Proved by
// Arithmetic.EveryTriple.
//
// On narrow processors the quotient is a product's upper word, which has the same fields as mixFields()'s.
constexpr uint32_t mixColours32(Colours32 s, Colours32 d, uint32_t weight) {
    if constexpr (kIsNarrow) {
        const auto mix = [weight](uint32_t from, uint32_t old) {
            return static_cast<uint32_t>(uint64_t{from - old} * weight >> 32) + old;
        };
        return forgetKnownBits(
                   insertBits<Colours32::kGreen>(mix(s.redBlue, d.redBlue), mix(s.green, d.green))) &
               0x00FFFFFF;
    } else {
        return mixFields<8>(s.redBlue, d.redBlue, weight, Colours32::kRedBlue) |
               mixFields<8>(s.green, d.green, weight, Colours32::kGreen);
    }
}

static_assert(static_cast<uint16_t>(mixSpread<R5G6B5>(spread<R5G6B5>(0xFFFF), 0, 15)) == 0x73AE &&
              static_cast<uint16_t>(mixSpread<R5G5B5>(spread<R5G5B5>(0xFFFF), 0, 15)) == 0x39CE &&
              mixTwoR5G6B5(0xFFFF0000, 0x0000FFFF, 15) == 0x73AE8430);
static_assert(mixTwoR5G6B5(0xFFFFFFFF, 0, 30) == 0xEF7DEF7D && mixTwoR5G6B5(0, 0xFFFFFFFF, 16) == 0x7BEF7BEF);
static_assert(mixColours32(colours32<A8R8G8B8>(0xFFFFFF), colours32<A8R8G8B8>(0), 254 * kWeightUnit) ==
                  0xFDFDFD &&
              mixColours32(colours32<B8G8R8A8>(0x80808000), colours32<A8R8G8B8>(0xFFFFFF),
                           254 * kWeightUnit) == 0x808080);

// --- Rules of routes ----------------------------------------------------------------------------------
//
// A rule of ORMSEL_ROUTES, for the layouts of a source and a destination. It says
//   - Source, Destination: the layouts
//   - kUnit: how many pixels are read whole before one of them is stored, and stored together
//   - kDrawsAll: no pixel is transparent; kHasRawCopy: the copy flag has a meaning
//   - draws(c): whether anything is drawn under a constant alpha c; fades(c): whether c has a say
//   - rowCopyBytes(width, fades, onBoard): the buffer to allocate for a row of old pixels; 0: none
//   - weight(s): how much of a source pixel reaches the destination; 0 leaves the old pixel alone
//   - mix(s, d, weight): the new pixel; weight 0 gives d
//   - onto 16 bits, perhaps, mixSpread(s, d, weight): the same from a spread old pixel, in the lower half;
//   and
//     mixTwo(s, d): two pixels of a word at once
// Faded tells whether fades() holds for the constant alpha, which a rule that isn't Faded doesn't look at.

// No alpha but the constant one, of which the upper five bits count: 1 to 30 of 32, or a conversion for 31.
template <class S, class D, bool Faded>
struct OpaqueOntoR5G6B5 {
    using Source = S;
    using Destination = D;
    static_assert(std::is_same_v<D, R5G6B5>);
    static constexpr size_t kUnit = S::kBytes == 2 ? 4 : 2;
    static constexpr bool kDrawsAll = true, kHasRawCopy = false;

    uint32_t alpha5;

    explicit constexpr OpaqueOntoR5G6B5(uint32_t constantAlpha) : alpha5(constantAlpha >> 3) {}

    static constexpr bool draws(uint32_t c) { return c >> 3 != 0; }
    static constexpr bool fades(uint32_t c) { return c >> 3 != 31; }
    static constexpr size_t rowCopyBytes(size_t width, bool fades, bool) {
        return fades ? width * (S::kBytes == 2 ? 8 : 2) + 8 : 0;
    }

    constexpr uint32_t weight(uint32_t) const { return Faded ? alpha5 : 32; }
    constexpr uint32_t mix(uint32_t s, uint32_t d, uint32_t a5) const {
        return mixSpread(s, spread<Destination>(d), a5);
    }
    constexpr uint32_t mixSpread(uint32_t s, uint32_t d, uint32_t a5) const {
        return Faded ? ormsel::mixSpread<R5G6B5>(toSpread<R5G6B5, S>(s), d, a5) : toR5G6B5<S>(s);
    }
    constexpr uint32_t mixTwo(uint32_t s, uint32_t d) const requires(Faded&& S::kBytes == 2) {
        return mixTwoR5G6B5(s, d, alpha5);
    }
};

// The source's alpha times the constant one, cut to five bits: A * C >> 11, at most 30; or A >> 3 from C =
// 248 on. 31 counts as 32, which gives the source unchanged.
template <class S, class To, bool Faded>
struct AlphaOntoFields {
    using Source = S;
    using Destination = To;
    static constexpr size_t kUnit = 4;
    static constexpr bool kDrawsAll = false, kHasRawCopy = false;

    uint32_t constant;

    explicit constexpr AlphaOntoFields(uint32_t constantAlpha) : constant(constantAlpha) {}

    static constexpr bool draws(uint32_t c) { return c >> 3 != 0; }
    static constexpr bool fades(uint32_t c) { return c >> 3 != 31; }
    static constexpr size_t rowCopyBytes(size_t width, bool, bool onBoard) {
        return onBoard ? width * 4 + 8 : 0;
    }

    constexpr uint32_t weight(uint32_t s) const {
        return Faded ? S::alpha(s) * constant >> 11 : S::alpha(s) >> 3;
    }
    constexpr uint32_t mix(uint32_t s, uint32_t d, uint32_t a5) const {
        return mixSpread(s, spread<Destination>(d), a5);
    }
    constexpr uint32_t mixSpread(uint32_t s, uint32_t d, uint32_t a5) const {
        return ormsel::mixSpread<To>(toSpread<To, S>(s), d, Faded ? a5 : a5 + ((a5 + 1) >> 5));
    }
};

// The source's alpha times the constant one: A * C >> 8. That is at most 254, so that no pixel is ever copied
// unchanged; A * 255 >> 8 is A - 1 for every A but 0.
template <class S, class D, bool Faded>
struct AlphaOntoA8R8G8B8 {
    using Source = S;
    using Destination = D;
    static_assert(std::is_same_v<D, A8R8G8B8>);
    static constexpr size_t kUnit = 2;
    static constexpr bool kDrawsAll = false, kHasRawCopy = true;

    uint32_t constant;

    explicit constexpr AlphaOntoA8R8G8B8(uint32_t constantAlpha) : constant(constantAlpha) {}

    static constexpr bool draws(uint32_t c) { return c != 0; }
    static constexpr bool fades(uint32_t c) { return c != 255; }
    static constexpr size_t rowCopyBytes(size_t, bool, bool) { return 0; }

    // In units of kWeightUnit.
    constexpr uint32_t weight(uint32_t s) const {
        if constexpr (Faded)
            return (S::alpha(s) * constant >> 8) * kWeightUnit;
        const uint32_t own = S::alpha(s) * kWeightUnit;
        if constexpr (kIsNarrow) // by one comparison, which tells whether it is 0, too
            return own >= 2 * kWeightUnit ? own - kWeightUnit : 0;
        return own - (own != 0);
    }
    constexpr uint32_t mix(uint32_t s, uint32_t d, uint32_t a) const {
        return a ? mixColours32(colours32<S>(s), colours32<Destination>(d), a) : d;
    }
};

// --- Routes -------------------------------------------------------------------------------------------

enum class Operation : uint8_t {
#define ROW(name, ...) k##name,
    ORMSEL_OPERATIONS(ROW)
#undef ROW
};
inline constexpr uint32_t kOperationFlags[] = {
#define ROW(name, flag, prefix) flag,
    ORMSEL_OPERATIONS(ROW)
#undef ROW
};
inline constexpr size_t kOperationCount = std::size(kOperationFlags);

// The operation that a blit's flags ask for: the first one that they name.
constexpr Operation operationOf(uint32_t flags) {
    for (size_t i = 1; i < kOperationCount; ++i)
        if (flags & kOperationFlags[i])
            return static_cast<Operation>(i);
    return Operation::kBlend;
}

// A row of ORMSEL_ROUTES as a type: its rule for a constant alpha that has a say, and for one that hasn't;
// and where it stands in the list.
template <Operation Op, class Src, class Dst>
struct Route;

struct RouteKey {
    Operation operation;
    uint32_t src, dst; // format codes
};
inline constexpr RouteKey kRoutes[] = {
#define ROW(operation, Src, Dst, Rule) {Operation::k##operation, Src::kFormat.code, Dst::kFormat.code},
    ORMSEL_ROUTES(ROW)
#undef ROW
};
inline constexpr size_t kRouteCount = std::size(kRoutes);

constexpr size_t routeIndex(Operation operation, uint32_t src, uint32_t dst) {
    size_t i = 0;
    while (i < kRouteCount &&
           (kRoutes[i].operation != operation || kRoutes[i].src != src || kRoutes[i].dst != dst))
        ++i;
    return i;
}

#define ROW(operation, Src, Dst, Rule)                                                                       \
    template <>                                                                                              \
    struct Route<Operation::k##operation, Src, Dst> {                                                        \
        using Faded = Rule<Src, Dst, true>; /* NOLINT(bugprone-macro-parentheses): templates */              \
        using Full = Rule<Src, Dst, false>; /* NOLINT(bugprone-macro-parentheses) */                         \
        static constexpr size_t kIndex =                                                                     \
            routeIndex(Operation::k##operation, Src::kFormat.code, Dst::kFormat.code);                       \
    };
ORMSEL_ROUTES(ROW)
#undef ROW

} // namespace ormsel
