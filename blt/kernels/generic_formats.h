// SPDX-License-Identifier: Zlib
//
// Formats as the vector kernels of the generic rule see them: which ones they serve, and where the channels'
// bytes go.
#pragma once

#include "generic.h"

namespace ormsel {

// Whether a channel of a 24- or 32-bit pixel is absent or one whole byte.
inline bool isByte(const Channel& c) {
    return c.mask == 0 || (c.shift % 8 == 0 && c.shift < 32 && c.loss == 0 && c.mask == 0xFFU << c.shift);
}

// Whether a channel of a 16-bit pixel is at most 8 bits when taken out, and is put back from 8 bits alone;
// and whether it reaches the top of a byte, or of the pixel, by a shift to the left.
inline bool isShort(const Channel& c) {
    return c.mask == 0 ||
           (c.shift < 16 && c.loss < 8 && c.shift <= c.loss + 8 && c.mask <= 0xFFFF &&
            c.mask >> c.shift << c.loss <= 0xFF && (c.mask & ~(0xFFU >> c.loss << c.shift)) == 0);
}

inline bool coloursArePlain(const BltRenderFmt& f) {
    const auto channel = f.bytesPerPixel == 2 ? isShort : isByte;
    return channel(f.r()) && channel(f.g()) && channel(f.b()) &&
           (f.bytesPerPixel != 3 || (f.rMask | f.gMask | f.bMask | f.aMask) <= 0xFFFFFF);
}

// Whether a source's alpha has at most 8 bits, or isn't looked at. 16-bit sources come with their alpha
// filled.
inline bool alphaIsPlain(const BltRenderFmt& src, uint32_t fill, bool used) {
    if (!used)
        return true;
    return src.bytesPerPixel == 2 ? fill == 255 && isShort(src.a()) : isByte(src.a());
}

// Whether a destination's alpha can be put back by a shift, or by a shuffle: no two channels share a bit
// then.
inline bool fieldIsPlain(const BltRenderFmt& dst) {
    if (dst.bytesPerPixel == 2)
        return dst.aMask == 0 || (dst.aShift < 16 && dst.aLoss < 16 && dst.aMask <= 0xFFFF);
    const uint64_t sum = uint64_t{dst.rMask} + dst.gMask + dst.bMask + dst.aMask;
    return isByte(dst.a()) && sum == (dst.rMask | dst.gMask | dst.bMask | dst.aMask);
}

// Whether a block's formats and alphas have a vector form. Formats that a program made up, and alphas of more
// than 8 bits, have none.
inline bool hasVectorForm(const Block& b) {
    const AlphaSource by = alphaSourceOf(b);
    const bool usesAlpha = by == AlphaSource::kOfPixel || by == AlphaSource::kOneAlpha;
    return coloursArePlain(*b.srcFormat) && coloursArePlain(*b.dstFormat) && fieldIsPlain(*b.dstFormat) &&
           alphaIsPlain(*b.srcFormat, b.alphaFill, usesAlpha);
}

// The byte of a 32-bit lane that holds the channel at a bit position.
constexpr uint8_t byteAt(unsigned shift) {
    return static_cast<uint8_t>(shift / 8);
}

// Which byte of a 24- or 32-bit pixel each byte of A8R8G8B8 is, and the other way round: arguments of
// shuffleOfBytes().
struct ByteOrder {
    uint32_t toArgb = 0x80808080, fromArgb = 0x80808080;

    explicit ByteOrder(const BltRenderFmt& f) {
        const uint32_t masks[4] = {f.bMask, f.gMask, f.rMask, f.aMask};
        const uint32_t shifts[4] = {f.bShift, f.gShift, f.rShift, f.aShift};
        for (unsigned i = 0; i < 4; ++i) {
            // An alpha channel that plays no part may have any shift.
            if (!masks[i] || shifts[i] > 24)
                continue;
            // 0x80 becomes the number of the other side's byte.
            toArgb ^= (0x80U ^ byteAt(shifts[i])) << 8 * i;
            fromArgb ^= (0x80U ^ i) << shifts[i];
        }
    }
};

} // namespace ormsel
