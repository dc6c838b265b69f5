// SPDX-License-Identifier: Zlib
//
// The rule for one pixel of any format onto any other, by the channels' masks, shifts and losses, and of
// masked blits; and the same rule, faster, for formats that are known when this is compiled.
#pragma once

#include "block.h"
#include "rules.h"

namespace ormsel {

// weight blends the colours: 0 leaves the pixel alone, 255 copies it. field goes into the destination's alpha
// channel, whatever that held before.
struct GenericAlpha {
    uint32_t weight, field;
};

// --- Any formats --------------------------------------------------------------------------------------

// Moves bits of a word by one distance and clears the others.
struct BitMove {
    uint32_t left = 0, right = 0, mask = 0; // one of the shifts is 0, both are less than 32

    constexpr uint32_t operator()(uint32_t v) const { return v << left >> right & mask; }
};

constexpr uint32_t shiftedLeft(uint32_t v, uint32_t n) {
    return n < 32 ? v << n : 0;
}
constexpr uint32_t shiftedRight(uint32_t v, uint32_t n) {
    return n < 32 ? v >> n : 0;
}

// A channel taken out of a pixel and widened to 8 bits, and put back. Shifts of any size are fine; one that
// moves every bit out of the word gives 0. (A channel of more than 8 bits has a loss of 256 less the excess
// in SDL's 8-bit field.)
constexpr uint32_t extract(const Channel& c, uint32_t pixel) {
    return shiftedLeft(shiftedRight(pixel & c.mask, c.shift), c.loss);
}
constexpr uint32_t place(const Channel& c, uint32_t value) {
    return shiftedLeft(shiftedRight(value, c.loss), c.shift) & c.mask;
}

// extract(), place(), and one after the other, as one move. Every bit that gets through them moves by the sum
// of their shifts, so that what they make of a word of ones tells the mask.
constexpr BitMove moveBy(uint32_t left, uint32_t right, uint32_t mask) {
    if (mask == 0)
        return {};
    return left > right ? BitMove{left - right, 0, mask} : BitMove{0, right - left, mask};
}
constexpr BitMove extraction(const Channel& c) {
    return moveBy(c.loss, c.shift, extract(c, ~0U));
}
constexpr BitMove placement(const Channel& c) {
    return moveBy(c.shift, c.loss, place(c, ~0U));
}
constexpr BitMove conversion(const Channel& from, const Channel& to) {
    return moveBy(from.loss + to.shift, from.shift + to.loss, place(to, extract(from, ~0U)));
}

// What a generic blit does with alpha: every pixel is opaque; one alpha for all of them, below 255; by the
// source's own alpha; by a mask.
enum class AlphaSource { kOpaque, kOneAlpha, kOfPixel, kOfMask };

// A source whose alphas are filled has 255 everywhere, unless its channel gives more than 8 bits.
inline AlphaSource alphaSourceOf(const Block& b) {
    if (b.mask)
        return AlphaSource::kOfMask;
    if (b.alphaFill != 255)
        return AlphaSource::kOfPixel;
    if (b.constantAlpha == 255)
        return AlphaSource::kOpaque;
    return extract(b.srcFormat->a(), ~0U) <= 255 ? AlphaSource::kOneAlpha : AlphaSource::kOfPixel;
}

class GenericRule {
public:
    explicit GenericRule(const Block& b)
        : r_(b.srcFormat->r(), b.dstFormat->r()), g_(b.srcFormat->g(), b.dstFormat->g()),
          b_(b.srcFormat->b(), b.dstFormat->b()), takeAlpha_(extraction(b.srcFormat->a())),
          putAlpha_(placement(b.dstFormat->a())), constant_(b.constantAlpha), alphaFill_(b.alphaFill) {}

    // By the source's own alpha. An alpha channel whose shift and loss don't match its mask can give more
    // than 8 bits; they are cut only under a constant alpha of 255.
    GenericAlpha alphaOfPixel(uint32_t s) const {
        const uint32_t own = alphaFill_ | takeAlpha_(s);
        if (constant_ == 255)
            return {own & 255, own & 255};
        const uint32_t weight = own * constant_ >> 8;
        return {weight, weight == 255 ? own : weight};
    }

    // Of every pixel, where its own alpha counts as 255.
    GenericAlpha oneAlpha() const { return {255 * constant_ >> 8, 255 * constant_ >> 8}; }

    // By a mask byte, which reaches the destination's alpha channel unscaled.
    GenericAlpha alphaOfMask(uint32_t m) const { return {constant_ == 255 ? m : m * constant_ >> 8, m}; }

    // The new destination pixel from a source pixel and the old destination pixel.
    uint32_t mix(uint32_t s, uint32_t d, GenericAlpha alpha) const {
        return r_.mix(s, d, alpha.weight) | g_.mix(s, d, alpha.weight) | b_.mix(s, d, alpha.weight) |
               putAlpha_(alpha.field);
    }

    // The new destination pixel for a weight of 255, with which the old one has no say.
    uint32_t convert(uint32_t s, uint32_t field) const {
        return r_.convert(s) | g_.convert(s) | b_.convert(s) | putAlpha_(field);
    }

    // The new destination pixel where every pixel of a blit is opaque.
    uint32_t opaque(uint32_t s) const { return convert(s, 255); }

private:
    struct Colour {
        BitMove takeSource, takeOld, put, convert;

        Colour(const Channel& from, const Channel& to)
            : takeSource(extraction(from)), takeOld(extraction(to)), put(placement(to)),
              convert(conversion(from, to)) {}

        // A weight may exceed 8 bits here, and a negative product leaves bits from bit 24 up: both count as
        // they stand, and the channel's mask cuts what is put back.
        uint32_t mix(uint32_t s, uint32_t d, uint32_t weight) const {
            return put(mixFields<8>(takeSource(s), takeOld(d), weight, ~uint32_t{0}));
        }
    };

    Colour r_, g_, b_;
    BitMove takeAlpha_, putAlpha_;
    uint32_t constant_, alphaFill_;
};

// --- Known formats ------------------------------------------------------------------------------------

// Adds the colours of a pixel, in their places of another format, to a word that has none. Bytes of 24-bit
// pixels come and go one by one; there is nothing to insert.
template <class From, class To>
constexpr uint32_t convertColours(uint32_t pixel, uint32_t into) {
    constexpr BitMove kRed = conversion(From::kFormat.r, To::kFormat.r),
                      kGreen = conversion(From::kFormat.g, To::kFormat.g),
                      kBlue = conversion(From::kFormat.b, To::kFormat.b);
    if constexpr (From::kBytes == 3 || To::kBytes == 3)
        return into | kRed(pixel) | kGreen(pixel) | kBlue(pixel);
    into = forgetKnownBits(insertBits<kRed.mask>(into, pixel << kRed.left >> kRed.right));
    into = forgetKnownBits(insertBits<kGreen.mask>(into, pixel << kGreen.left >> kGreen.right));
    return forgetKnownBits(insertBits<kBlue.mask>(into, pixel << kBlue.left >> kBlue.right));
}

// A format that is known when this is compiled: its pixels' colours as words that one product blends, and
// back.
template <class L>
struct Known {
    static constexpr Format kFormat = L::kFormat;
    static constexpr bool kIsShort = L::kBytes == 2;

    // Whether a side has this format, be it without alpha.
    static bool is(const BltRenderFmt& f) {
        return f.bytesPerPixel == L::kBytes && f.r() == kFormat.r && f.g() == kFormat.g &&
               f.b() == kFormat.b && (f.aMask == 0 || f.a() == kFormat.a);
    }

    // The colours in A8R8G8B8's places, widened to 8 bits; what stands in the alpha byte is undefined.
    static constexpr uint32_t toColours(uint32_t p) {
        if constexpr (kIsShort)
            return move<16 + kFormat.r.loss - L::kR>(p & kFormat.r.mask) |
                   move<8 + kFormat.g.loss - L::kG>(p & kFormat.g.mask) |
                   move<kFormat.b.loss - L::kB>(p & kFormat.b.mask);
        else
            return toColours32<L>(p);
    }
    static constexpr uint32_t fromColours(uint32_t v) {
        return (move<L::kR - kFormat.r.loss - 16>(v) & kFormat.r.mask) |
               (move<L::kG - kFormat.g.loss - 8>(v) & kFormat.g.mask) |
               (move<L::kB - kFormat.b.loss>(v) & kFormat.b.mask);
    }

    static constexpr Colours32 colours(uint32_t p) {
        if constexpr (L::kBytes == 4) {
            return colours32<L>(p);
        } else {
            constexpr BitMove kRed = conversion(kFormat.r, A8R8G8B8::kFormat.r),
                              kGreen = conversion(kFormat.g, A8R8G8B8::kFormat.g),
                              kBlue = conversion(kFormat.b, A8R8G8B8::kFormat.b);
            return {insertBits<kBlue.mask>(forgetKnownBits(kRed(p)), p << kBlue.left >> kBlue.right),
                    kGreen(p)};
        }
    }

    // The colours, widened to 8 bits, in a word with 8 free bits above each: bits 32 to 39 are green, 16 to
    // 23 red, 0 to 7 blue; the low bits that a channel lacks are 0.
    static constexpr uint64_t kFields = uint64_t{0xFFU << kFormat.g.loss & 0xFF} << 32 |
                                        uint64_t{0xFFU << kFormat.r.loss & 0xFF} << 16 |
                                        (0xFFU << kFormat.b.loss & 0xFF);

    static constexpr uint64_t spread(uint32_t p) {
        if constexpr (kIsShort) {
            // Red and blue move by one product. What else it makes carries no further than below red's field.
            constexpr uint32_t kMoves = 1U << (16 + kFormat.r.loss - L::kR) | 1U << (kFormat.b.loss - L::kB);
            const uint64_t green = uint64_t{p & kFormat.g.mask} << (32 + kFormat.g.loss - L::kG);
            return (green | (p & (kFormat.r.mask | kFormat.b.mask)) * kMoves) & kFields;
        } else {
            const uint32_t rgb = toColours(p);
            return (uint64_t{rgb} << 24 | rgb) & kFields;
        }
    }
    // The pixel of a spread word that holds nothing outside kFields.
    static constexpr uint32_t gather(uint64_t fields) {
        if constexpr (kIsShort) {
            // One product moves every field into the upper 16 bits; nothing else gets there or carries into
            // them.
            constexpr uint64_t kMoves = uint64_t{1} << (48 + L::kB - kFormat.b.loss) |
                                        uint64_t{1} << (32 + L::kR - kFormat.r.loss) |
                                        uint64_t{1} << (16 + L::kG - kFormat.g.loss);
            return static_cast<uint32_t>(fields * kMoves >> 48);
        } else {
            return fromColours(static_cast<uint32_t>(fields | fields >> 24));
        }
    }

private:
    // To the left, or, where Left is a negative number that wrapped, to the right.
    template <uint32_t Left>
    static constexpr uint32_t move(uint32_t v) {
        return Left < 32 ? v << Left % 32 : v >> (0 - Left) % 32;
    }
};

// The source's alpha is its own and not filled, or 255 everywhere. Faded: by a constant alpha other than 255.
template <class Source, class Destination, bool Faded>
class KnownRule {
public:
    explicit KnownRule(const Block& b) : constant_(b.constantAlpha), fieldMask_(b.dstFormat->aMask) {}

    GenericAlpha alphaOfPixel(uint32_t s) const {
        const uint32_t weight = faded(s >> Source::kA & 0xFF);
        return {weight, weight};
    }
    GenericAlpha alphaOfMask(uint32_t m) const { return {faded(m), m}; }
    GenericAlpha oneAlpha() const { return {faded(255), faded(255)}; }

    uint32_t mix(uint32_t s, uint32_t d, GenericAlpha alpha) const {
        if constexpr (kIsNarrow) // two products are less than one of 64 bits
            return convertColours<A8R8G8B8, Destination>(mixColours32(Known<Source>::colours(s),
                                                                      Known<Destination>::colours(d),
                                                                      alpha.weight * kWeightUnit),
                                                         place(alpha.field));
        const uint64_t mixed = mixFields<8>(Known<Source>::spread(s), Known<Destination>::spread(d),
                                            uint64_t{alpha.weight}, Known<Destination>::kFields);
        return Known<Destination>::gather(mixed) | place(alpha.field);
    }
    uint32_t convert(uint32_t s, uint32_t field) const {
        if constexpr (kIsNarrow)
            return convertColours<Source, Destination>(s, place(field));
        else if constexpr (Destination::kBytes == 2)
            return Known<Destination>::gather(Known<Source>::spread(s) & Known<Destination>::kFields);
        else
            return Known<Destination>::fromColours(Known<Source>::toColours(s)) | place(field);
    }
    // The new destination pixel where every pixel of a blit is opaque, in words of 32 bits, for which
    // compilers have vectors.
    uint32_t opaque(uint32_t s) const { return convertColours<Source, Destination>(s, place(255)); }

private:
    uint32_t faded(uint32_t alpha) const { return Faded ? alpha * constant_ >> 8 : alpha; }

    // R5G5B5's channel drops all of an alpha of 8 bits.
    uint32_t place(uint32_t field) const {
        return Destination::kBytes == 4 ? field << Destination::kA & fieldMask_ : 0;
    }

    uint32_t constant_, fieldMask_;
};

} // namespace ormsel
