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

// Whether a channel of a 16-bit pixel is at most 8 bits when taken out, and is put back from 8 bits alone;
// and whether it reaches the top of a byte, or of the pixel, by a shift to the left.
inline bool isShort(uint32_t mask, uint32_t shift, uint32_t loss) {
    return mask == 0 || (shift < 16 && loss < 8 && shift <= loss + 8 && mask <= 0xFFFF &&
                         mask >> shift << loss <= 0xFF && (mask & ~(0xFFU >> loss << shift)) == 0);
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

// A channel of 16-bit pixels at a run-time position. Bits of the mask below the shift never count.
struct ShortChannel {
    V16 mask, up;
    RightShift down;

    HWY_INLINE ShortChannel(uint32_t m, uint32_t shift, uint32_t loss)
        : mask(hn::Set(D16(), static_cast<uint16_t>(m >> shift << shift))),
          up(hn::Set(D16(), static_cast<uint16_t>(1U << (8 + loss - shift)))), down(8 + loss - shift) {}

    // The channel widened to 8 bits, in the high byte; the low byte is 0.
    HWY_INLINE V16 extract(V16 pixel) const { return hn::And(pixel, mask) * up; }

    // From the high byte; the low one holds anything.
    HWY_INLINE V16 place(V16 value) const { return hn::And(down(value), mask); }
};

HWY_INLINE ShortChannel shortChannel(uint32_t mask, uint32_t shift, uint32_t loss) {
    return mask ? ShortChannel(mask, shift, loss) : ShortChannel(0, 0, 0);
}

struct ShortColours {
    ShortChannel r, g, b;

    explicit HWY_INLINE ShortColours(const BltRenderFmt& f)
        : r(shortChannel(f.rMask, f.rShift, f.rLoss)), g(shortChannel(f.gMask, f.gShift, f.gLoss)),
          b(shortChannel(f.bMask, f.bShift, f.bLoss)) {}
};

// The alpha channel of 16-bit pixels. Its shift and loss may be any; often nothing of 8 bits arrives.
struct ShortAlpha {
    V16 mask;
    int shift, loss;
    bool any;

    explicit HWY_INLINE ShortAlpha(const BltRenderFmt& f)
        : mask(hn::Set(D16(), static_cast<uint16_t>(f.aMask))),
          shift(f.aMask ? static_cast<int>(f.aShift) : 0), loss(f.aMask ? static_cast<int>(f.aLoss) : 0),
          any((0xFFU >> loss << shift & f.aMask) != 0) {}

    HWY_INLINE V16 addTo(V16 pixel, V16 value) const {
        if (!any)
            return pixel;
        return hn::Or(pixel, hn::And(hn::ShiftLeftSame(hn::ShiftRightSame(value, loss), shift), mask));
    }
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

template <int Bytes, class Lanes>
HWY_INLINE V32 loadPixels(const uint8_t* p, Lanes lanes) {
    if constexpr (Bytes == 3)
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

// Onto 24- and 32-bit destinations: A8R8G8B8 pixels into the destination.
template <int DstBytes, GenericAlpha Alpha>
struct GenericStore {
    GenericFormat<DstBytes> dst;
    V16 factor;
    Shuffle spread; // the deciding alpha byte into the high bytes of both 16-bit lanes

    explicit HWY_INLINE GenericStore(const Block& b)
        : dst(*b.dstFormat), factor(factorOf(b.alpha)),
          spread(Alpha == GenericAlpha::kOfMask ? shuffleOfBytes(bytesFrom(0x80, 0, 0x80, 0))
                                                : shuffleOfBytes(bytesFrom(0x80, 3, 0x80, 3))) {}

    template <class Lanes>
    HWY_INLINE void operator()(V32 argb, uint8_t* d, const uint8_t* mask, Lanes lanes) const {
        const D16 d16;
        const D32 d32;
        if constexpr (Alpha == GenericAlpha::kOpaque) {
            (void)mask;
            if constexpr (DstBytes == 4)
                storeLanes(d32, dst.fromArgb(argb), d, lanes);
            else
                GenericPixels<3>(onlyLanes(d32, hn::Eq(argb, argb), lanes))
                    .store(dst.fromArgb(argb), d, lanes);
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

template <int SrcBytes, int DstBytes, GenericAlpha Alpha>
struct WideStep {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = SrcBytes, kDstBytes = DstBytes,
                            kThirdBytes = Alpha == GenericAlpha::kOfMask ? 1 : DstBytes;

    GenericFormat<SrcBytes> src;
    GenericStore<DstBytes, Alpha> store;
    V32 fill; // ORed into source pixels

    explicit HWY_INLINE WideStep(const Block& b)
        : src(*b.srcFormat), store(b), fill(hn::Set(D32(), b.alphaFill << 24)) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* s, uint8_t* d, const uint8_t* mask, Lanes lanes) const {
        store(hn::Or(src.toArgb(loadPixels<SrcBytes>(s, lanes)), fill), d, mask, lanes);
    }
};

// From a 16-bit source, whose alpha is filled or plays no part: twice as many pixels.
template <int DstBytes, GenericAlpha Alpha>
struct FromShortStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 2, kDstBytes = DstBytes,
                            kThirdBytes = Alpha == GenericAlpha::kOfMask ? 1 : DstBytes;

    ShortColours src;
    GenericStore<DstBytes, Alpha> store;
    V16 fill;

    explicit HWY_INLINE FromShortStep(const Block& b)
        : src(*b.srcFormat), store(b), fill(hn::Set(D16(), static_cast<uint16_t>(b.alphaFill << 8))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* s, uint8_t* d, const uint8_t* mask, Lanes lanes) const {
        const V16 pixels = orderForZip(loadLanes(D16(), s, lanes));
        const Zipped argb(hn::Or(src.g.extract(pixels), hn::ShiftRight<8>(src.b.extract(pixels))),
                          hn::Or(fill, hn::ShiftRight<8>(src.r.extract(pixels))));
        store(argb.first, d, mask, firstHalf(lanes));
        store(argb.second, d + DstBytes * kLanes32, mask + kThirdBytes * kLanes32, secondHalf(lanes));
    }
};

// Each channel of source pixels in the high bytes of 16-bit lanes, widened to 8 bits. Low bytes hold
// anything.
struct Channels16 {
    V16 r, g, b, a;
};

template <int SrcBytes>
struct ChannelSource {
    Shuffle toArgb;

    explicit HWY_INLINE ChannelSource(const BltRenderFmt& f) : toArgb(GenericFormat<SrcBytes>(f).toArgb) {}

    template <class Lanes>
    HWY_INLINE Channels16 load(const uint8_t* p, Lanes lanes) const {
        const Halves halves(toArgb(loadPixels<SrcBytes>(p, firstHalf(lanes))),
                            toArgb(loadPixels<SrcBytes>(p + SrcBytes * kLanes32, secondHalf(lanes))));
        return {hn::ShiftLeft<8>(halves.high), halves.low, hn::ShiftLeft<8>(halves.low), halves.high};
    }
};

template <>
struct ChannelSource<2> {
    ShortColours format;

    explicit HWY_INLINE ChannelSource(const BltRenderFmt& f) : format(f) {}

    template <class Lanes>
    HWY_INLINE Channels16 load(const uint8_t* p, Lanes lanes) const {
        const V16 s = loadLanes(D16(), p, lanes);
        return {format.r.extract(s), format.g.extract(s), format.b.extract(s), hn::Zero(D16())};
    }
};

// Onto 16-bit destinations.
template <int SrcBytes, GenericAlpha Alpha>
struct ToShortStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = SrcBytes, kDstBytes = 2,
                            kThirdBytes = Alpha == GenericAlpha::kOfMask ? 1 : 2;

    ChannelSource<SrcBytes> src;
    ShortColours dst;
    ShortAlpha alpha;
    V16 factor, fill;

    explicit HWY_INLINE ToShortStep(const Block& b)
        : src(*b.srcFormat), dst(*b.dstFormat), alpha(*b.dstFormat), factor(factorOf(b.alpha)),
          fill(hn::Set(D16(), static_cast<uint16_t>(b.alphaFill))) {}

    HWY_INLINE V16 join(V16 r, V16 g, V16 b, V16 field) const {
        return alpha.addTo(hn::Or(hn::Or(dst.r.place(r), dst.g.place(g)), dst.b.place(b)), field);
    }

    // In the high byte; 256 * d + (s - d) * weight is exact in 16 bits, see mixColours().
    static HWY_INLINE V16 mix(V16 s, V16 d, V16 weight) {
        return (hn::ShiftRight<8>(s) - hn::ShiftRight<8>(d)) * weight + d;
    }

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* from, uint8_t* to, const uint8_t* mask, Lanes lanes) const {
        const D16 d16;
        const Channels16 s = src.load(from, lanes);
        if constexpr (Alpha == GenericAlpha::kOpaque) {
            (void)mask;
            storeLanes(d16, join(s.r, s.g, s.b, fill), to, lanes);
        } else {
            V16 own = hn::Or(hn::ShiftRight<8>(s.a), fill);
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
            drawn.store(join(r, g, b, Alpha == GenericAlpha::kOfMask ? own : e), to, lanes);
        }
    }
};

template <int SrcBytes, int DstBytes, GenericAlpha Alpha>
using GenericStep = std::conditional_t<
    DstBytes == 2, ToShortStep<SrcBytes, Alpha>,
    std::conditional_t<SrcBytes == 2, FromShortStep<DstBytes, Alpha>, WideStep<SrcBytes, DstBytes, Alpha>>>;

template <int SrcBytes, int DstBytes, GenericAlpha Alpha>
void genericRows(const Block& b) {
    constexpr bool kMasked = Alpha == GenericAlpha::kOfMask;
    const GenericStep<SrcBytes, DstBytes, Alpha> step(b);
    everyRow(b, kMasked ? b.mask : b.dst, kMasked ? b.maskPitch : b.dstPitch, step,
             [&b, kernel = kMasks ? nullptr : scalarGenericKernel(b)](const uint8_t* src, uint8_t* dst,
                                                                      const uint8_t* third, size_t rest) {
                 Block end = b;
                 end.src = src;
                 end.dst = dst;
                 end.mask = kMasked ? third : nullptr;
                 end.width = rest;
                 end.height = 1;
                 kernel(end);
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
