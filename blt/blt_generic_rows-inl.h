// SPDX-License-Identifier: Zlib
//
// The vector kernel of the generic rule.
//
// Channels of any format are widened to 8 bits, blended, and put into the destination's format. 24- and
// 32-bit pixels become A8R8G8B8 by one byte shuffle; the channels of 16-bit ones are taken out and put back
// by shifts.

#if defined(ORMSEL_BLT_GENERIC_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_BLT_GENERIC_ROWS_INL_H
#        undef ORMSEL_BLT_GENERIC_ROWS_INL_H
#    else
#        define ORMSEL_BLT_GENERIC_ROWS_INL_H
#    endif

#    include "blt_rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// What a generic blit does with alpha.
enum class GenericAlpha { kOpaque, kOfPixel, kOfMask };

// Whether a channel of a 24- or 32-bit pixel is absent or one whole byte.
inline bool isByte(uint32_t mask, uint32_t shift, uint32_t loss) {
    return mask == 0 || (shift % 8 == 0 && shift < 32 && loss == 0 && mask == 0xFFU << shift);
}

// Whether a channel of a 16-bit pixel is at most 8 bits when taken out, and is put back from 8 bits alone.
inline bool isShort(uint32_t mask, uint32_t shift, uint32_t loss) {
    return mask == 0 || (shift < 16 && loss < 8 && mask <= 0xFFFF && mask >> shift << loss <= 0xFF &&
                         (mask & ~(0xFFU >> loss << shift)) == 0);
}

inline bool coloursArePlain(const BltRenderFmt& f) {
    const auto channel = f.bytesPerPixel == 2 ? isShort : isByte;
    return channel(f.rMask, f.rShift, f.rLoss) && channel(f.gMask, f.gShift, f.gLoss) &&
           channel(f.bMask, f.bShift, f.bLoss) &&
           (f.bytesPerPixel != 3 || (f.rMask | f.gMask | f.bMask | f.aMask) <= 0xFFFFFF);
}

// Whether a source's alpha has at most 8 bits, or isn't looked at. 16-bit sources come with their alpha
// filled.
inline bool alphaIsPlain(const BltRenderFmt& src, uint32_t fill, bool used) {
    if (!used)
        return true;
    return src.bytesPerPixel == 2 ? fill == 255 && isShort(src.aMask, src.aShift, src.aLoss)
                                  : isByte(src.aMask, src.aShift, src.aLoss);
}

// Whether a destination's alpha can be put back by a shift, or by a shuffle: no two channels share a bit
// then.
inline bool fieldIsPlain(const BltRenderFmt& dst) {
    if (dst.bytesPerPixel == 2)
        return dst.aMask == 0 || (dst.aShift < 16 && dst.aLoss < 16 && dst.aMask <= 0xFFFF);
    const uint64_t sum = uint64_t{dst.rMask} + dst.gMask + dst.bMask + dst.aMask;
    return isByte(dst.aMask, dst.aShift, dst.aLoss) && sum == (dst.rMask | dst.gMask | dst.bMask | dst.aMask);
}

// A channel of a 16-bit pixel with run-time position.
template <class D>
struct ShortChannel {
    using V = hn::Vec<D>;
    V mask;
    int shift, loss;

    HWY_INLINE ShortChannel(uint32_t m, uint32_t s, uint32_t l)
        : mask(hn::Set(D(), static_cast<hn::TFromD<D>>(m))), shift(m ? static_cast<int>(s) : 0),
          loss(m ? static_cast<int>(l) : 0) {}

    HWY_INLINE V extract(V pixel) const {
        return hn::ShiftLeftSame(hn::ShiftRightSame(hn::And(pixel, mask), shift), loss);
    }
    HWY_INLINE V place(V value) const {
        return hn::And(hn::ShiftLeftSame(hn::ShiftRightSame(value, loss), shift), mask);
    }
};

template <class D>
struct ShortFormat {
    ShortChannel<D> r, g, b, a;

    explicit HWY_INLINE ShortFormat(const BltRenderFmt& f)
        : r(f.rMask, f.rShift, f.rLoss), g(f.gMask, f.gShift, f.gLoss), b(f.bMask, f.bShift, f.bLoss),
          a(f.aMask, f.aShift, f.aLoss) {}
};

// One side's format in 32-bit lanes: to A8R8G8B8 and back.
template <int Bytes>
struct GenericFormat {
    Shuffle toArgb, fromArgb;

    explicit HWY_INLINE GenericFormat(const BltRenderFmt& f) {
        const uint32_t masks[4] = {f.bMask, f.gMask, f.rMask, f.aMask};
        const uint32_t shifts[4] = {f.bShift, f.gShift, f.rShift, f.aShift};
        uint32_t to = 0x80808080, from = 0x80808080;
        for (unsigned i = 0; i < 4; ++i) {
            if (!masks[i])
                continue;
            // 0x80 becomes the number of the other side's byte.
            to ^= (0x80U ^ byteAt(shifts[i])) << 8 * i;
            from ^= (0x80U ^ i) << shifts[i];
        }
        toArgb = shuffleOfBytes(to);
        fromArgb = shuffleOfBytes(from);
    }
};

// A 16-bit source; its alpha is filled or plays no part.
template <>
struct GenericFormat<2> {
    ShortFormat<D32> format;

    explicit HWY_INLINE GenericFormat(const BltRenderFmt& f) : format(f) {}

    HWY_INLINE V32 toArgb(V32 pixel) const {
        return hn::Or(format.b.extract(pixel), hn::Or(hn::ShiftLeft<8>(format.g.extract(pixel)),
                                                      hn::ShiftLeft<16>(format.r.extract(pixel))));
    }
};

template <int Bytes, class Lanes>
HWY_INLINE V32 loadPixels(const uint8_t* p, Lanes lanes) {
    if constexpr (Bytes == 2)
        return hn::PromoteTo(D32(), loadLanes(H16(), p, lanes));
    else if constexpr (Bytes == 3)
        return load24(p, lanes);
    else
        return loadLanes(D32(), p, lanes);
}

// The constant alpha as a factor of the bytes above it: 256 * x * factor >> 16. 255 counts as 256, which
// gives x.
HWY_INLINE V16 factorOf(uint32_t alpha) {
    return hn::Set(D16(), static_cast<uint16_t>(alpha == 255 ? 256 : alpha));
}

// An effective alpha as a weight of 256ths: 255 counts as 256, which gives the source unchanged.
HWY_INLINE V16 weightOf(V16 e) {
    return e + hn::ShiftRight<8>(e + hn::Set(D16(), 1));
}

// Onto 24- and 32-bit destinations.
template <int SrcBytes, int DstBytes, GenericAlpha Alpha>
struct GenericStep {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = SrcBytes, kDstBytes = DstBytes,
                            kThirdBytes = Alpha == GenericAlpha::kOfMask ? 1 : DstBytes;

    GenericFormat<SrcBytes> src;
    GenericFormat<DstBytes> dst;
    V16 factor;
    V32 fill;       // ORed into source pixels
    Shuffle spread; // the deciding alpha byte into the high bytes of both 16-bit lanes

    explicit HWY_INLINE GenericStep(const Block& b)
        : src(*b.srcFormat), dst(*b.dstFormat), factor(factorOf(b.alpha)),
          fill(hn::Set(D32(), b.alphaFill << 24)),
          spread(Alpha == GenericAlpha::kOfMask ? shuffleOfBytes(bytesFrom(0x80, 0, 0x80, 0))
                                                : shuffleOfBytes(bytesFrom(0x80, 3, 0x80, 3))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* s, uint8_t* d, const uint8_t* mask, Lanes lanes) const {
        const D16 d16;
        const D32 d32;
        const V32 argb = hn::Or(src.toArgb(loadPixels<SrcBytes>(s, lanes)), fill);
        if constexpr (Alpha == GenericAlpha::kOpaque) {
            (void)mask;
            const GenericPixels<DstBytes> all(onlyLanes(d32, hn::Eq(argb, argb), lanes));
            all.store(dst.fromArgb(argb), d, lanes);
        } else {
            const V32 own =
                Alpha == GenericAlpha::kOfMask ? hn::PromoteTo(d32, loadLanes(H8(), mask, lanes)) : argb;
            const V16 e = hn::MulHigh(as(d16, spread(own)), factor);
            const GenericPixels<DstBytes> drawn(onlyLanes(d32, hn::Ne(as(d32, e), hn::Zero(d32)), lanes));
            if (!kMasks && drawn.isEmpty())
                return;
            const V32 old = dst.toArgb(drawn.loadOld(d, lanes));
            const V32 field = Alpha == GenericAlpha::kOfMask ? own : as(d32, e);
            const V32 mixed = hn::Or(mixColours(argb, old, weightOf(e)), hn::ShiftLeft<24>(field));
            drawn.store(dst.fromArgb(mixed), d, lanes);
        }
    }
};

// Each channel of source pixels in 16-bit lanes, widened to 8 bits.
struct Channels16 {
    V16 r, g, b, a;
};

template <int SrcBytes>
struct ChannelSource {
    Shuffle toArgb;

    explicit HWY_INLINE ChannelSource(const BltRenderFmt& f) : toArgb(GenericFormat<SrcBytes>(f).toArgb) {}

    template <class Lanes>
    HWY_INLINE Channels16 load(const uint8_t* p, Lanes lanes) const {
        const auto low = hn::Set(D16(), 0x00FF);
        const Halves halves(toArgb(loadPixels<SrcBytes>(p, firstHalf(lanes))),
                            toArgb(loadPixels<SrcBytes>(p + SrcBytes * kLanes32, secondHalf(lanes))));
        return {hn::And(halves.high, low), hn::ShiftRight<8>(halves.low), hn::And(halves.low, low),
                hn::ShiftRight<8>(halves.high)};
    }
};

template <>
struct ChannelSource<2> {
    ShortFormat<D16> format;

    explicit HWY_INLINE ChannelSource(const BltRenderFmt& f) : format(f) {}

    template <class Lanes>
    HWY_INLINE Channels16 load(const uint8_t* p, Lanes lanes) const {
        const V16 s = loadLanes(D16(), p, lanes);
        return {format.r.extract(s), format.g.extract(s), format.b.extract(s), hn::Zero(D16())};
    }
};

// Onto 16-bit destinations.
template <int SrcBytes, GenericAlpha Alpha>
struct GenericStep<SrcBytes, 2, Alpha> {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = SrcBytes, kDstBytes = 2,
                            kThirdBytes = Alpha == GenericAlpha::kOfMask ? 1 : 2;

    ChannelSource<SrcBytes> src;
    ShortFormat<D16> dst;
    V16 factor, fill;

    explicit HWY_INLINE GenericStep(const Block& b)
        : src(*b.srcFormat), dst(*b.dstFormat), factor(factorOf(b.alpha)),
          fill(hn::Set(D16(), static_cast<uint16_t>(b.alphaFill))) {}

    static HWY_INLINE V16 mix(V16 s, V16 d, V16 weight) {
        return hn::ShiftRight<8>((s - d) * weight + hn::ShiftLeft<8>(d)); // exact: see mixColours()
    }

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* from, uint8_t* to, const uint8_t* mask, Lanes lanes) const {
        const D16 d16;
        const Channels16 s = src.load(from, lanes);
        if constexpr (Alpha == GenericAlpha::kOpaque) {
            (void)mask;
            const V16 field = dst.a.place(fill);
            storeLanes(d16,
                       hn::Or(hn::Or(dst.r.place(s.r), dst.g.place(s.g)), hn::Or(dst.b.place(s.b), field)),
                       to, lanes);
        } else {
            V16 own = hn::Or(s.a, fill);
            if constexpr (Alpha == GenericAlpha::kOfMask)
                own = hn::PromoteTo(d16, loadLanes(B16(), mask, lanes));
            const V16 e = hn::MulHigh(hn::ShiftLeft<8>(own), factor);
            const StoreSet<D16> drawn{d16, onlyLanes(d16, hn::Ne(e, hn::Zero(d16)), lanes)};
            if (!kMasks && drawn.isEmpty())
                return;
            const V16 weight = weightOf(e), old = drawn.loadOld(d16, to, lanes);
            const V16 r = mix(s.r, dst.r.extract(old), weight);
            const V16 g = mix(s.g, dst.g.extract(old), weight);
            const V16 b = mix(s.b, dst.b.extract(old), weight);
            const V16 field = dst.a.place(Alpha == GenericAlpha::kOfMask ? own : e);
            drawn.store(hn::Or(hn::Or(dst.r.place(r), dst.g.place(g)), hn::Or(dst.b.place(b), field)), to,
                        lanes);
        }
    }
};

template <int SrcBytes, int DstBytes, GenericAlpha Alpha>
void genericRows(const Block& b) {
    constexpr bool kMasked = Alpha == GenericAlpha::kOfMask;
    const GenericStep<SrcBytes, DstBytes, Alpha> step(b);
    everyRow(b, kMasked ? b.mask : b.dst, kMasked ? b.maskPitch : b.dstPitch, step,
             [&b](const uint8_t* src, uint8_t* dst, const uint8_t* third, size_t rest) {
                 Block end = b;
                 end.src = src;
                 end.dst = dst;
                 end.mask = kMasked ? third : nullptr;
                 end.width = rest;
                 end.height = 1;
                 kScalarKernels.generic(end);
             });
}

template <GenericAlpha Alpha>
constexpr Kernel kGenericRows[3][3] = {
    {genericRows<2, 2, Alpha>, genericRows<2, 3, Alpha>, genericRows<2, 4, Alpha>},
    {genericRows<3, 2, Alpha>, genericRows<3, 3, Alpha>, genericRows<3, 4, Alpha>},
    {genericRows<4, 2, Alpha>, genericRows<4, 3, Alpha>, genericRows<4, 4, Alpha>},
};

// Formats that a program made up, and alphas of more than 8 bits, are left to the scalar kernel.
void genericKernel(const Block& b) {
    const BltRenderFmt &src = *b.srcFormat, &dst = *b.dstFormat;
    const bool masked = b.mask != nullptr;
    const bool opaque = !masked && b.alphaFill == 255 && b.alpha == 255;
    if (!coloursArePlain(src) || !coloursArePlain(dst) || !fieldIsPlain(dst) ||
        !alphaIsPlain(src, b.alphaFill, !masked && !opaque)) {
        kScalarKernels.generic(b);
        return;
    }
    const auto& rows = masked   ? kGenericRows<GenericAlpha::kOfMask>
                       : opaque ? kGenericRows<GenericAlpha::kOpaque>
                                : kGenericRows<GenericAlpha::kOfPixel>;
    rows[b.srcBytes - 2][b.dstBytes - 2](b);
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
