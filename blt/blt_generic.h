// SPDX-License-Identifier: Zlib
//
// The rule for one pixel of any format onto any other, and of masked blits: for formats of any kind, and,
// faster, for those that are known when this is compiled.
#pragma once

#include "blt_arith.h"
#include "blt_block.h"
#include "blt_layouts.h"

namespace ormsel {

class GenericRule {
public:
    // effective weighs the colours: 0 leaves the pixel alone, 255 copies it. field goes into the
    // destination's alpha channel, whatever that held before.
    struct Alpha {
        uint32_t effective, field;
    };

    explicit GenericRule(const Block& block)
        : GenericRule(channels(*block.srcFormat), channels(*block.dstFormat), block) {}

    // By the source's own alpha. An alpha channel whose shift and loss don't match its mask can give more
    // than 8 bits; they are cut only under a constant alpha of 255.
    Alpha alphaOfPixel(uint32_t s) const {
        const uint32_t own = alphaFill_ | takeAlpha_(s);
        if (constant_ == 255)
            return {own & 255, own & 255};
        const uint32_t effective = own * constant_ >> 8;
        return {effective, effective == 255 ? own : effective};
    }

    // By a mask byte, which reaches the destination's alpha channel unscaled.
    Alpha alphaOfMask(uint32_t m) const { return {constant_ == 255 ? m : m * constant_ >> 8, m}; }

    // The new destination pixel from a source pixel and the old destination pixel.
    uint32_t mix(uint32_t s, uint32_t d, Alpha alpha) const {
        return r_.mix(s, d, alpha.effective) | g_.mix(s, d, alpha.effective) | b_.mix(s, d, alpha.effective) |
               putAlpha_(alpha.field);
    }

    // The same for an effective alpha of 255, which doesn't look at the old pixel.
    uint32_t convert(uint32_t s, uint32_t field) const {
        return r_.convert(s) | g_.convert(s) | b_.convert(s) | putAlpha_(field);
    }

    // The same where every pixel of a blit is opaque.
    uint32_t opaque(uint32_t s) const { return convert(s, 255); }

private:
    struct Side {
        Channel r, g, b, a;
    };

    struct Colour {
        BitMove takeSource, takeOld, put, convert;

        Colour(const Channel& from, const Channel& to)
            : takeSource(extraction(from)), takeOld(extraction(to)), put(placement(to)),
              convert(conversion(from, to)) {}

        uint32_t mix(uint32_t s, uint32_t d, uint32_t e) const {
            return put(mixChannel(takeSource(s), takeOld(d), e));
        }
    };

    static Side channels(const BltRenderFmt& f) {
        return {{f.rMask, f.rShift, f.rLoss},
                {f.gMask, f.gShift, f.gLoss},
                {f.bMask, f.bShift, f.bLoss},
                {f.aMask, f.aShift, f.aLoss}};
    }

    GenericRule(const Side& src, const Side& dst, const Block& block)
        : r_(src.r, dst.r), g_(src.g, dst.g), b_(src.b, dst.b), takeAlpha_(extraction(src.a)),
          putAlpha_(placement(dst.a)), constant_(block.alpha), alphaFill_(block.alphaFill) {}

    Colour r_, g_, b_;
    BitMove takeAlpha_, putAlpha_;
    uint32_t constant_, alphaFill_;
};

// One of kBitmapFormats.
template <uint32_t Code>
struct KnownFormat {
    static constexpr Channels kChannels = *channelsOf(Code);
    static constexpr int kBytes = kChannels.bytesPerPixel;

    // Whether a format is this one, be it without alpha.
    static bool is(const BltRenderFmt& f) {
        constexpr Channels k = kChannels;
        return f.bytesPerPixel == k.bytesPerPixel && f.rMask == k.rMask && f.gMask == k.gMask &&
               f.bMask == k.bMask && f.rShift == k.rShift && f.gShift == k.gShift && f.bShift == k.bShift &&
               f.rLoss == k.rLoss && f.gLoss == k.gLoss && f.bLoss == k.bLoss &&
               (f.aMask == 0 || (f.aMask == k.aMask && f.aShift == k.aShift && f.aLoss == k.aLoss));
    }

    // The colours in A8R8G8B8 order, widened to 8 bits; what stands in the alpha byte is undefined.
    static constexpr uint32_t toRgb32(uint32_t p) {
        constexpr Channels k = kChannels;
        if constexpr (kBytes > 2 && k.rShift == 16)
            return p;
        else
            return move<16 + k.rLoss - k.rShift>(p & k.rMask) | move<8 + k.gLoss - k.gShift>(p & k.gMask) |
                   move<k.bLoss - k.bShift>(p & k.bMask);
    }
    static constexpr uint32_t fromRgb32(uint32_t v) {
        constexpr Channels k = kChannels;
        return (move<k.rShift - k.rLoss - 16>(v) & k.rMask) | (move<k.gShift - k.gLoss - 8>(v) & k.gMask) |
               (move<k.bShift - k.bLoss>(v) & k.bMask);
    }

    // The colours as fields of 16 bits: blue, red and green from below, widened to 8 bits.
    static constexpr uint64_t spread(uint32_t p) {
        constexpr Channels k = kChannels;
        if constexpr (kBytes == 2) {
            // Red and blue move by one product. What else it makes carries no further than below red's field.
            constexpr uint32_t factor = 1U << (16 + k.rLoss - k.rShift) | 1U << (k.bLoss - k.bShift);
            const uint64_t green = uint64_t{p & k.gMask} << (32 + k.gLoss - k.gShift);
            return (green | (p & (k.rMask | k.bMask)) * factor) & kFields;
        } else {
            const uint32_t rgb = toRgb32(p);
            return (uint64_t{rgb} << 24 | rgb) & kFields;
        }
    }
    // The pixel from such fields with the colours in their upper bytes.
    static constexpr uint32_t gather(uint64_t y) {
        constexpr Channels k = kChannels;
        if constexpr (kBytes == 2) {
            // One product moves every field into the upper 16 bits; nothing else gets there or carries into
            // them.
            constexpr uint64_t factor = uint64_t{1} << (40 + k.bShift - k.bLoss) |
                                        uint64_t{1} << (24 + k.rShift - k.rLoss) |
                                        uint64_t{1} << (8 + k.gShift - k.gLoss);
            return static_cast<uint32_t>((y & kFields << 8) * factor >> 48);
        } else {
            return fromRgb32(static_cast<uint32_t>((y >> 8 & 0xFF00FF) | (y >> 32 & 0xFF00)));
        }
    }

private:
    static constexpr uint64_t kFields = uint64_t{0xFFU << kChannels.gLoss & 0xFF} << 32 |
                                        uint64_t{0xFFU << kChannels.rLoss & 0xFF} << 16 |
                                        (0xFFU << kChannels.bLoss & 0xFF);

    // To the left, or to the right by the distance that wraps to Left.
    template <uint32_t Left>
    static constexpr uint32_t move(uint32_t v) {
        return Left < 32 ? v << Left % 32 : v >> (0 - Left) % 32;
    }
};

// GenericRule for known formats. The source's alpha is its own and not filled; Scaled: by a constant alpha
// other than 255.
template <class Src, class Dst, bool Scaled>
class KnownRule {
public:
    using Alpha = GenericRule::Alpha;

    explicit KnownRule(const Block& block) : constant_(block.alpha), fieldMask_(block.dstFormat->aMask) {}

    Alpha alphaOfPixel(uint32_t s) const {
        const uint32_t effective = scaled(s >> Src::kChannels.aShift & 0xFF);
        return {effective, effective};
    }
    Alpha alphaOfMask(uint32_t m) const { return {scaled(m), m}; }

    uint32_t mix(uint32_t s, uint32_t d, Alpha alpha) const {
        return Dst::gather(mixSpread(Src::spread(s), Dst::spread(d), alpha.effective)) | place(alpha.field);
    }
    uint32_t convert(uint32_t s, uint32_t field) const {
        return Dst::kBytes == 2 ? Dst::gather(Src::spread(s) << 8)
                                : Dst::fromRgb32(Src::toRgb32(s)) | place(field);
    }
    // As convert(), but in words of 32 bits, for which compilers have vectors.
    uint32_t opaque(uint32_t s) const { return Dst::fromRgb32(Src::toRgb32(s)) | place(255); }

private:
    uint32_t scaled(uint32_t alpha) const { return Scaled ? alpha * constant_ >> 8 : alpha; }

    // R5G5B5's channel drops all of an alpha of 8 bits.
    uint32_t place(uint32_t field) const {
        return Dst::kBytes == 4 ? field << Dst::kChannels.aShift & fieldMask_ : 0;
    }

    uint32_t constant_, fieldMask_;
};

} // namespace ormsel
