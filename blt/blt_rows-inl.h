// SPDX-License-Identifier: Zlib
//
// The vector kernels. A step is one vector's worth of pixels; the same step, on the first few lanes, ends a
// row where the target can mask its loads and stores, and the scalar row functions end it elsewhere. Each
// gives the scalar kernel's results bit for bit and stores no pixel that it doesn't.

#if defined(ORMSEL_BLT_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_BLT_ROWS_INL_H
#        undef ORMSEL_BLT_ROWS_INL_H
#    else
#        define ORMSEL_BLT_ROWS_INL_H
#    endif

#    include "blt_kernels.h"
#    include "blt_layouts.h"
#    include "blt_rows_scalar.h"
#    include "blt_vec-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// Walks the rows of a block with a step. Beside source and destination pixels a step gets a third pointer,
// into rows of kThirdBytes a pixel: the old destination pixels or the mask. endOfRow takes the last pixels of
// a row where the target has no masked step for them.
template <class Step, class EndOfRow>
HWY_INLINE void everyRow(const Block& b, const uint8_t* third, ptrdiff_t thirdPitch, const Step& step,
                         const EndOfRow& endOfRow) {
    constexpr size_t kPixels = Step::kPixels, kSrc = Step::kSrcBytes, kDst = Step::kDstBytes,
                     kThird = Step::kThirdBytes;
    const size_t rest = b.width % kPixels, whole = b.width - rest;
    const ptrdiff_t srcPitch = b.srcPitch, dstPitch = b.dstPitch;
    const uint8_t* src = b.src;
    uint8_t* dst = b.dst;
    for (size_t rows = b.height; rows; --rows, src += srcPitch, dst += dstPitch, third += thirdPitch) {
        for (size_t x = 0; x < whole; x += kPixels) {
            prefetchBehind<kPixels * kSrc>(src + x * kSrc);
            prefetchBehind<kPixels * kDst>(dst + x * kDst);
            step(src + x * kSrc, dst + x * kDst, third + x * kThird, Whole{});
        }
        if (rest == 0)
            continue;
        if constexpr (kMasks)
            step(src + whole * kSrc, dst + whole * kDst, third + whole * kThird, First{rest});
        else
            endOfRow(src + whole * kSrc, dst + whole * kDst, third + whole * kThird, rest);
    }
}

// Walks with a step of a specialised routine; EndOfRow is the scalar row function for the same pixels.
template <class Step, void (*EndOfRow)(const RowOf&)>
HWY_INLINE void everyRow(const Block& b) {
    everyRow(b, b.old, b.oldPitch, Step(b.alpha),
             [&b](const uint8_t* src, uint8_t* dst, const uint8_t* old, size_t rest) {
                 EndOfRow({src, dst, old, rest, b.alpha});
             });
}

// --- 8-bit channels -----------------------------------------------------------------------------------

// The byte of a 32-bit lane in memory that holds the channel at a bit position. Vectors are little-endian on
// every target used here.
constexpr uint8_t byteAt(unsigned shift) {
    return static_cast<uint8_t>(shift / 8);
}

// Blends the colours of A8R8G8B8 pixels: d + floor((s - d) * a / 256) in bits 0 to 23, 0 in the alpha byte. a
// holds the weight, 0 to 256, in both 16-bit lanes of each pixel.
//
// Lanes of 16 bits are enough although (s - d) * a needs 17: the sum 256 * d + (s - d) * a is a mean of s and
// d times 256, so that it lies in 0..65280, and the wrapping arithmetic gives it exactly.
HWY_INLINE V32 mixColours(V32 s, V32 d, V16 a) {
    const D16 d16;
    const D32 d32;
    const auto low = hn::Set(d16, 0x00FF);
    const V16 s16 = as(d16, s), dd = as(d16, d);
    const V16 rb = hn::ShiftRight<8>((hn::And(s16, low) - hn::And(dd, low)) * a + hn::ShiftLeft<8>(dd));
    const V16 g = (hn::ShiftRight<8>(s16) - hn::ShiftRight<8>(dd)) * a + hn::AndNot(low, dd);
    return select(hn::Set(d32, 0x0000FF00), as(d32, g), as(d32, rb));
}

// A 32-bit source with alpha onto A8R8G8B8; see alphaRowToArgb32().
template <class L>
struct AlphaToArgb32 {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = 4, kDstBytes = 4, kThirdBytes = 4;

    explicit HWY_INLINE AlphaToArgb32(uint32_t alpha)
        : constant(hn::Set(D16(), static_cast<uint16_t>(alpha))),
          alphaHigh(shuffleOfBytes(bytesFrom(0x80, byteAt(L::kA), 0x80, byteAt(L::kA)))),
          toRgb(shuffleOfBytes(bytesFrom(byteAt(L::kB), byteAt(L::kG), byteAt(L::kR), 0x80))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
        const D32 d32;
        const V32 s = loadLanes(d32, src, lanes);
        // 256 * A * C >> 16 = A * C >> 8.
        const V16 a = hn::MulHigh(as(d16, alphaHigh(s)), constant);
        const M32 drawn = hn::Ne(as(d32, a), hn::Zero(d32));
        const auto stored = pairsOf(as(d32, a), lanes);
        if (!kMasks && stored.isEmpty())
            return;
        const V32 d = stored.loadOld(d32, old);
        const V32 mixed = mixColours(L::kA == 24 && L::kR == 16 ? s : toRgb(s), d, a);
        stored.store(hn::IfThenElse(drawn, mixed, d), dst);
    }

    V16 constant;
    Shuffle alphaHigh, toRgb;
};

template <class L>
void alphaToArgb32(const Block& b) {
    everyRow<AlphaToArgb32<L>, alphaRowToArgb32<L>>(b);
}

// --- R5G6B5 -------------------------------------------------------------------------------------------

// One channel of source and old pixels side by side in each 16-bit lane: the source's value in the low byte,
// the old one in the high byte. A bit outside the channel is cleared by `fields`.
HWY_INLINE V16 sideBySide(V16 source, V16 old, uint16_t fields) {
    const D16 d16;
    return hn::And(select(hn::Set(d16, 0x00FF), source, old), hn::Set(d16, fields));
}

// The weights for multiplyAddBytes: a for the source, 32 - a for the old pixel, a from 0 to 32.
HWY_INLINE V16 weightsOf(V16 a) {
    const D16 d16;
    return hn::Set(d16, 0x2000) - hn::ShiftLeft<8>(a) + a;
}

// Blends R5G6B5 pixels given their channels side by side: d + floor((s - d) * a / 32) is the exact quotient
// of a * s + (32 - a) * d, at most 63 * 32 = 2016, by 32.
HWY_INLINE V16 mixRgb16(V16 red, V16 green, V16 blue, V16 weights) {
    const D16 d16;
    const V16 r = hn::ShiftLeft<6>(multiplyAddBytes(red, weights));
    const V16 g = multiplyAddBytes(green, weights);
    const V16 b = hn::ShiftRight<5>(multiplyAddBytes(blue, weights));
    return select(hn::Set(d16, 0xF800), r, select(hn::Set(d16, 0x07E0), g, b));
}

HWY_INLINE V16 oldRed(V16 d) {
    return hn::ShiftRight<3>(d);
}
HWY_INLINE V16 oldGreen(V16 d) {
    return hn::ShiftLeft<3>(d);
}
HWY_INLINE V16 oldBlue(V16 d) {
    return hn::ShiftLeft<8>(d);
}

// Two vectors of 32-bit pixels as the low and the high halves of as many 16-bit lanes.
struct Halves {
    V16 low, high;

    HWY_INLINE Halves(V32 first, V32 second) {
        const D16 d16;
        low = hn::ConcatEven(d16, as(d16, second), as(d16, first));
        high = hn::ConcatOdd(d16, as(d16, second), as(d16, first));
    }

    // The byte that holds the channel at bit position Shift, brought down to bits 0 to 7 less Loss; what
    // stood above it comes along.
    template <unsigned Shift, int Loss>
    HWY_INLINE V16 channel() const {
        constexpr int kDown = static_cast<int>(Shift % 16) + Loss;
        return hn::ShiftRight<kDown>(Shift < 16 ? low : high);
    }
};

// A 32-bit source with alpha onto R5G6B5; see alphaRowToRgb16().
template <class L>
struct AlphaToRgb16 {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 4, kDstBytes = 2, kThirdBytes = 2;

    explicit HWY_INLINE AlphaToRgb16(uint32_t factor)
        : factor32(hn::Set(D16(), static_cast<uint16_t>(factor << 5))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
        const D32 d32;
        const Halves s(loadLanes(d32, src, firstHalf(lanes)),
                       loadLanes(d32, src + 4 * kLanes32, secondHalf(lanes)));
        const V16 alpha8 = hn::And(s.template channel<L::kA, 0>(), hn::Set(d16, 0xFF));
        // A * 32 * F >> 16 = A * F >> 11, from 0 to 31.
        const V16 a5 = hn::MulHigh(alpha8, factor32);
        const auto stored = groupsOf(a5, lanes);
        if (!kMasks && stored.isEmpty())
            return;
        // 31 counts as 32, which gives the source unchanged; 0 gives the old pixel.
        const V16 weights = weightsOf(a5 + hn::ShiftRight<5>(a5 + hn::Set(d16, 1)));
        const V16 d = stored.loadOld(d16, old);
        const V16 out = mixRgb16(sideBySide(s.template channel<L::kR, 3>(), oldRed(d), 0x1F1F),
                                 sideBySide(s.template channel<L::kG, 2>(), oldGreen(d), 0x3F3F),
                                 sideBySide(s.template channel<L::kB, 3>(), oldBlue(d), 0x1F1F), weights);
        stored.store(out, dst);
    }

    V16 factor32;
};

template <class L>
void alphaToRgb16(const Block& b) {
    everyRow<AlphaToRgb16<L>, alphaRowToRgb16<L>>(b);
}

// R5G6B5 onto R5G6B5 with one weight.
struct MixRgb16 {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 2, kDstBytes = 2, kThirdBytes = 2;

    explicit HWY_INLINE MixRgb16(uint32_t alpha)
        : weights(weightsOf(hn::Set(D16(), static_cast<uint16_t>(alpha)))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
        const V16 s = loadLanes(d16, src, lanes), d = loadLanes(d16, old, lanes);
        const V16 out = mixRgb16(sideBySide(hn::ShiftRight<11>(s), oldRed(d), 0x1F1F),
                                 sideBySide(hn::ShiftRight<5>(s), oldGreen(d), 0x3F3F),
                                 sideBySide(s, oldBlue(d), 0x1F1F), weights);
        storeLanes(d16, out, dst, lanes);
    }

    V16 weights;
};

void mixRgb16Kernel(const Block& b) {
    everyRow<MixRgb16, mixRowOfRgb16>(b);
}

// A 24-bit source onto R5G6B5, converted or blended with one weight.
template <class L, bool Blend>
struct Rgb24ToRgb16 {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 3, kDstBytes = 2, kThirdBytes = 2;

    explicit HWY_INLINE Rgb24ToRgb16(uint32_t alpha)
        : weights(weightsOf(hn::Set(D16(), static_cast<uint16_t>(alpha)))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
        const Halves s(load24(src, firstHalf(lanes)), load24(src + 3 * kLanes32, secondHalf(lanes)));
        const V16 r = s.template channel<L::kR, 3>(), g = s.template channel<L::kG, 2>(),
                  b = s.template channel<L::kB, 3>();
        V16 out;
        if constexpr (Blend) {
            const V16 d = loadLanes(d16, old, lanes);
            out = mixRgb16(sideBySide(r, oldRed(d), 0x1F1F), sideBySide(g, oldGreen(d), 0x3F3F),
                           sideBySide(b, oldBlue(d), 0x1F1F), weights);
        } else {
            (void)old;
            const V16 gb = select(hn::Set(d16, 0x07E0), hn::ShiftLeft<5>(g), hn::And(b, hn::Set(d16, 0x1F)));
            out = select(hn::Set(d16, 0xF800), hn::ShiftLeft<11>(r), gb);
        }
        storeLanes(d16, out, dst, lanes);
    }

    V16 weights;
};

template <class L>
void convertToRgb16(const Block& b) {
    everyRow<Rgb24ToRgb16<L, false>, convertRowToRgb16<L>>(b);
}

template <class L>
void mixToRgb16(const Block& b) {
    everyRow<Rgb24ToRgb16<L, true>, mixRowToRgb16<L>>(b);
}

// --- Copies -------------------------------------------------------------------------------------------

// Pixels copied unchanged. What fits the inner caches is left to the C library, which is hard to beat there;
// for more, its larger steps and non-temporal stores were slower than short ones with the source fetched
// ahead.
void copyRows(const Block& b) {
    constexpr size_t kLarge = size_t{1} << 18, kStep = 64;
    const size_t rowBytes = b.width * b.dstBytes;
    if (rowBytes * b.height < kLarge) {
        kScalarKernels.copy(b);
        return;
    }
    const hn::Full128<uint8_t> d;
    const uint8_t* src = b.src;
    uint8_t* dst = b.dst;
    for (size_t rows = b.height; rows; --rows, src += b.srcPitch, dst += b.dstPitch) {
        size_t i = 0;
        for (; i + kStep <= rowBytes; i += kStep) {
            prefetchBehind<kStep>(src + i);
            const auto v0 = loadAt(d, src + i), v1 = loadAt(d, src + i + 16), v2 = loadAt(d, src + i + 32),
                       v3 = loadAt(d, src + i + 48);
            storeAt(d, v0, dst + i);
            storeAt(d, v1, dst + i + 16);
            storeAt(d, v2, dst + i + 32);
            storeAt(d, v3, dst + i + 48);
        }
        std::memmove(dst + i, src + i, rowBytes - i);
    }
}

// --- The generic rule ---------------------------------------------------------------------------------
//
// Channels of any format are widened to 8 bits, blended, and put into the destination's format. 24- and
// 32-bit pixels become A8R8G8B8 by one byte shuffle; the channels of 16-bit ones are taken out and put back
// by shifts.

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
            all.store(dst.fromArgb(argb), d);
        } else {
            const V32 own =
                Alpha == GenericAlpha::kOfMask ? hn::PromoteTo(d32, loadLanes(H8(), mask, lanes)) : argb;
            const V16 e = hn::MulHigh(as(d16, spread(own)), factor);
            const GenericPixels<DstBytes> drawn(onlyLanes(d32, hn::Ne(as(d32, e), hn::Zero(d32)), lanes));
            if (!kMasks && drawn.isEmpty())
                return;
            const V32 old = dst.toArgb(drawn.loadOld(d));
            const V32 field = Alpha == GenericAlpha::kOfMask ? own : as(d32, e);
            const V32 mixed = hn::Or(mixColours(argb, old, weightOf(e)), hn::ShiftLeft<24>(field));
            drawn.store(dst.fromArgb(mixed), d);
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
            const V16 weight = weightOf(e), old = drawn.loadOld(d16, to);
            const V16 r = mix(s.r, dst.r.extract(old), weight);
            const V16 g = mix(s.g, dst.g.extract(old), weight);
            const V16 b = mix(s.b, dst.b.extract(old), weight);
            const V16 field = dst.a.place(Alpha == GenericAlpha::kOfMask ? own : e);
            drawn.store(hn::Or(hn::Or(dst.r.place(r), dst.g.place(g)), hn::Or(dst.b.place(b), field)), to);
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

// ------------------------------------------------------------------------------------------------------

#    if HWY_TARGET == HWY_AVX3
#        define ORMSEL_TARGET_NAME "avx512"
#    elif HWY_TARGET == HWY_AVX2
#        define ORMSEL_TARGET_NAME "avx2"
#    elif HWY_TARGET == HWY_SSE4
#        define ORMSEL_TARGET_NAME "sse4"
#    else
#        define ORMSEL_TARGET_NAME "neon"
#    endif

extern const Kernels kKernels;
const Kernels kKernels = {
    ORMSEL_TARGET_NAME,
    {alphaToRgb16<Argb32>, alphaToRgb16<Abgr32>, alphaToRgb16<Rgba32>, alphaToRgb16<Bgra32>},
    {alphaToArgb32<Argb32>, alphaToArgb32<Abgr32>, alphaToArgb32<Rgba32>, alphaToArgb32<Bgra32>},
    mixRgb16Kernel,
    {convertToRgb16<Rgb24>, convertToRgb16<Bgr24>},
    {mixToRgb16<Rgb24>, mixToRgb16<Bgr24>},
    copyRows,
    genericKernel,
};

#    undef ORMSEL_TARGET_NAME

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
