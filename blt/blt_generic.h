// SPDX-License-Identifier: Zlib
//
// The rule for one pixel of any format onto any other, and of masked blits.
#pragma once

#include "blt_arith.h"
#include "blt_block.h"

namespace ormsel {

template <class Channel>
class GenericRule {
public:
    // effective weighs the colours: 0 leaves the pixel alone, 255 copies it. field goes into the
    // destination's alpha channel, whatever that held before.
    struct Alpha {
        uint32_t effective, field;
    };

    explicit GenericRule(const Block& block)
        : src_(channels(*block.srcFormat)), dst_(channels(*block.dstFormat)), constant_(block.alpha),
          alphaFill_(block.alphaFill) {}

    // By the source's own alpha. An alpha channel whose shift and loss don't match its mask can give more
    // than 8 bits; they are cut only under a constant alpha of 255.
    Alpha alphaOfPixel(uint32_t s) const {
        const uint32_t own = alphaFill_ | src_.a.extract(s);
        if (constant_ == 255)
            return {own & 255, own & 255};
        const uint32_t effective = own * constant_ >> 8;
        return {effective, effective == 255 ? own : effective};
    }

    // By a mask byte, which reaches the destination's alpha channel unscaled.
    Alpha alphaOfMask(uint32_t m) const { return {constant_ == 255 ? m : m * constant_ >> 8, m}; }

    // The new destination pixel from a source pixel and the old destination pixel.
    uint32_t mix(uint32_t s, uint32_t d, Alpha alpha) const {
        return mixOne(src_.r, dst_.r, s, d, alpha.effective) | mixOne(src_.g, dst_.g, s, d, alpha.effective) |
               mixOne(src_.b, dst_.b, s, d, alpha.effective) | dst_.a.place(alpha.field);
    }

    // The same for an effective alpha of 255, which doesn't look at the old pixel.
    uint32_t convert(uint32_t s, uint32_t field) const {
        return dst_.r.place(src_.r.extract(s)) | dst_.g.place(src_.g.extract(s)) |
               dst_.b.place(src_.b.extract(s)) | dst_.a.place(field);
    }

private:
    struct Side {
        Channel r, g, b, a;
    };

    static Side channels(const BltRenderFmt& f) {
        return {{f.rMask, f.rShift, f.rLoss},
                {f.gMask, f.gShift, f.gLoss},
                {f.bMask, f.bShift, f.bLoss},
                {f.aMask, f.aShift, f.aLoss}};
    }

    static uint32_t mixOne(const Channel& from, const Channel& to, uint32_t s, uint32_t d, uint32_t e) {
        return to.place(mixChannel(from.extract(s), to.extract(d), e));
    }

    Side src_, dst_;
    uint32_t constant_, alphaFill_;
};

// Whether a format's shifts are all less than 32.
inline bool shiftsFit(const BltRenderFmt& f) {
    return (f.rShift | f.gShift | f.bShift | f.aShift | f.rLoss | f.gLoss | f.bLoss | f.aLoss) < 32;
}

} // namespace ormsel
