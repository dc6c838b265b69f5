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

    HWY_INLINE V32 loadSecond(const uint8_t* p, Whole) const { return loadAt(D32(), p + 4 * kLanes32); }
    HWY_INLINE V32 loadSecond(const uint8_t* p, First lanes) const {
        return loadLanes(D32(), p + 4 * kLanes32, lanes.after(kLanes32));
    }
    HWY_INLINE V32 loadFirst(const uint8_t* p, Whole) const { return loadAt(D32(), p); }
    HWY_INLINE V32 loadFirst(const uint8_t* p, First lanes) const {
        return loadLanes(D32(), p, First{lanes.count < kLanes32 ? lanes.count : kLanes32});
    }

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
        const Halves s(loadFirst(src, lanes), loadSecond(src, lanes));
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

    HWY_INLINE Halves load(const uint8_t* p, Whole whole) const {
        return Halves(load24(p, whole), load24(p + 3 * kLanes32, whole));
    }
    HWY_INLINE Halves load(const uint8_t* p, First lanes) const {
        return Halves(load24(p, First{lanes.count < kLanes32 ? lanes.count : kLanes32}),
                      load24(p + 3 * kLanes32, lanes.after(kLanes32)));
    }

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
        const Halves s = load(src, lanes);
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

// --- The generic rule ---------------------------------------------------------------------------------
//
// Pixels of any format become A8R8G8B8 with channels widened to 8 bits, are blended, and become pixels of the
// destination's format. 24- and 32-bit pixels are converted by one byte shuffle; 16-bit ones by shifts.

// What a generic blit does with alpha.
enum class GenericAlpha { kOpaque, kOfPixel, kOfMask };

constexpr uint32_t maskOfByte(uint32_t shift) {
    return 0xFFU << shift;
}

// Whether a channel of a 24- or 32-bit pixel is absent or one whole byte.
inline bool isByte(uint32_t mask, uint32_t shift, uint32_t loss) {
    return mask == 0 || (shift % 8 == 0 && shift < 32 && loss == 0 && mask == maskOfByte(shift));
}

// Whether a channel of a 16-bit pixel is at most 8 bits when taken out, and is put back from 8 bits alone.
inline bool isShort(uint32_t mask, uint32_t shift, uint32_t loss) {
    return mask == 0 || (shift < 16 && loss < 8 && mask <= 0xFFFF && mask >> shift << loss <= 0xFF &&
                         (mask & ~(0xFFU >> loss << shift)) == 0);
}

inline bool isPlain(const BltRenderFmt& f) {
    const auto channel = f.bytesPerPixel == 2 ? isShort : isByte;
    return channel(f.rMask, f.rShift, f.rLoss) && channel(f.gMask, f.gShift, f.gLoss) &&
           channel(f.bMask, f.bShift, f.bLoss) &&
           (f.bytesPerPixel != 3 || (f.rMask | f.gMask | f.bMask | f.aMask) <= 0xFFFFFF);
}

// Whether no two channels share a bit: putting channels back by a shuffle can't combine them.
inline bool isDisjoint(const BltRenderFmt& f) {
    const uint64_t sum = uint64_t{f.rMask} + f.gMask + f.bMask + f.aMask;
    return sum == (f.rMask | f.gMask | f.bMask | f.aMask);
}

// A channel of a 16-bit pixel with run-time position; values stand in 32-bit lanes.
struct ShortChannel {
    V32 mask;
    int shift, loss;

    HWY_INLINE ShortChannel(uint32_t m, uint32_t s, uint32_t l)
        : mask(hn::Set(D32(), m)), shift(m ? static_cast<int>(s) : 0), loss(m ? static_cast<int>(l) : 0) {}

    HWY_INLINE V32 extract(V32 pixel) const {
        return hn::ShiftLeftSame(hn::ShiftRightSame(hn::And(pixel, mask), shift), loss);
    }
    HWY_INLINE V32 place(V32 value) const {
        return hn::And(hn::ShiftLeftSame(hn::ShiftRightSame(value, loss), shift), mask);
    }
};

// One side's format: to A8R8G8B8 and back.
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

template <>
struct GenericFormat<2> {
    ShortChannel r, g, b, a;

    explicit HWY_INLINE GenericFormat(const BltRenderFmt& f)
        : r(f.rMask, f.rShift, f.rLoss), g(f.gMask, f.gShift, f.gLoss), b(f.bMask, f.bShift, f.bLoss),
          a(f.aMask, f.aShift, f.aLoss) {}

    HWY_INLINE V32 toArgb(V32 pixel) const {
        return hn::Or(hn::Or(b.extract(pixel), hn::ShiftLeft<8>(g.extract(pixel))),
                      hn::Or(hn::ShiftLeft<16>(r.extract(pixel)), hn::ShiftLeft<24>(a.extract(pixel))));
    }
    HWY_INLINE V32 fromArgb(V32 v) const {
        const auto byte = hn::Set(D32(), 0xFF);
        return hn::Or(hn::Or(b.place(hn::And(v, byte)), g.place(hn::And(hn::ShiftRight<8>(v), byte))),
                      hn::Or(r.place(hn::And(hn::ShiftRight<16>(v), byte)), a.place(hn::ShiftRight<24>(v))));
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

template <int Bytes, class Lanes>
HWY_INLINE V32 loadOldPixels(const uint8_t* p, Lanes lanes) {
    return loadPixels<Bytes>(Bytes == 3 ? p + 1 : p, lanes); // see loadFollowing24()
}

template <int Bytes>
HWY_INLINE void storePixels(V32 v, M32 drawn, uint8_t* p) {
    const D32 d32;
    if constexpr (Bytes == 4) {
        storeWhere(d32, v, drawn, p);
    } else if constexpr (Bytes == 2) {
        const H16 h16;
        const auto wide = hn::VecFromMask(d32, drawn);
        const auto narrow = hn::MaskFromVec(
            as(h16, hn::DemoteTo(hn::RebindToSigned<H16>(), as(hn::RebindToSigned<D32>(), wide))));
        storeWhere(h16, hn::TruncateTo(h16, v), narrow, p);
    } else if (hn::AllTrue(d32, drawn)) {
        store24AndZero(v, p);
    } else {
        // Each store's zero byte falls on the next pixel, which stays so unless that pixel is drawn.
        alignas(HWY_MAX_BYTES) uint32_t pixels[kLanes32], keep[kLanes32];
        hn::Store(v, d32, pixels);
        hn::Store(hn::VecFromMask(d32, drawn), d32, keep);
        for (size_t i = 0; i < kLanes32; ++i)
            if (keep[i])
                ormsel::store24AndZero(p + 3 * i, pixels[i]);
    }
}

template <int SrcBytes, int DstBytes, GenericAlpha Alpha>
struct GenericStep {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = SrcBytes, kDstBytes = DstBytes,
                            kThirdBytes = Alpha == GenericAlpha::kOfMask ? 1 : DstBytes;

    GenericFormat<SrcBytes> src;
    GenericFormat<DstBytes> dst;
    V16 factor;     // the constant alpha, 255 as 256: x * 256 >> 8 is x
    V32 fill;       // ORed into source pixels
    Shuffle spread; // the deciding alpha byte into the high bytes of both 16-bit lanes

    explicit HWY_INLINE GenericStep(const Block& b)
        : src(*b.srcFormat), dst(*b.dstFormat),
          factor(hn::Set(D16(), static_cast<uint16_t>(b.alpha == 255 ? 256 : b.alpha))),
          fill(hn::Set(D32(), b.alphaFill << 24)),
          spread(Alpha == GenericAlpha::kOfMask ? shuffleOfBytes(bytesFrom(0x80, 0, 0x80, 0))
                                                : shuffleOfBytes(bytesFrom(0x80, 3, 0x80, 3))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* s, uint8_t* d, const uint8_t* third, Lanes lanes) const {
        const D16 d16;
        const D32 d32;
        const V32 argb = hn::Or(src.toArgb(loadPixels<SrcBytes>(s, lanes)), fill);
        const auto all = hn::Eq(argb, argb);
        if constexpr (Alpha == GenericAlpha::kOpaque) {
            (void)third;
            storePixels<DstBytes>(dst.fromArgb(argb), onlyLanes(d32, all, lanes), d);
        } else {
            const V32 own =
                Alpha == GenericAlpha::kOfMask ? hn::PromoteTo(d32, loadLanes(H8(), third, lanes)) : argb;
            const V16 e = hn::MulHigh(as(d16, spread(own)), factor);
            const M32 drawn = onlyLanes(d32, hn::Ne(as(d32, e), hn::Zero(d32)), lanes);
            if (hn::AllFalse(d32, drawn))
                return;
            // 255 counts as 256, which gives the source unchanged.
            const V16 weight = e + hn::ShiftRight<8>(e + hn::Set(d16, 1));
            const V32 old = dst.toArgb(loadOldPixels<DstBytes>(d, lanes));
            const V32 field = Alpha == GenericAlpha::kOfMask ? own : as(d32, e);
            const V32 mixed = hn::Or(mixColours(argb, old, weight), hn::ShiftLeft<24>(field));
            storePixels<DstBytes>(dst.fromArgb(mixed), drawn, d);
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
    const auto alphaIs = src.bytesPerPixel == 2 ? isShort : isByte;
    const bool alphaFits = masked || opaque || alphaIs(src.aMask, src.aShift, src.aLoss);
    const bool fieldFits = dst.bytesPerPixel == 2 ? dst.aShift < 32 && dst.aLoss < 32 && dst.aMask <= 0xFFFF
                                                  : isByte(dst.aMask, dst.aShift, dst.aLoss);
    if (!isPlain(src) || !isPlain(dst) || !isDisjoint(dst) || !alphaFits || !fieldFits) {
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
    genericKernel,
};

#    undef ORMSEL_TARGET_NAME

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
