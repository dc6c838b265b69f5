// SPDX-License-Identifier: Zlib
//
// The vector forms of the generic rule.
//
// Channels of any format are widened to 8 bits, blended, and put into the destination's format. 24- and
// 32-bit pixels become A8R8G8B8 by one byte shuffle; the channels of 16-bit ones are taken out and put back
// by shifts.

#if defined(ORMSEL_GENERIC_STEPS_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_GENERIC_STEPS_INL_H
#        undef ORMSEL_GENERIC_STEPS_INL_H
#    else
#        define ORMSEL_GENERIC_STEPS_INL_H
#    endif

#    include "generic.h"
#    include "steps-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

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

// A channel of 16-bit pixels at a run-time position. Bits of the mask below the shift never count.
struct ShortChannel {
    V16 mask, up;
    RightShift down;

    explicit HWY_INLINE ShortChannel(const Channel& c)
        : mask(hn::Set(D16(), static_cast<uint16_t>(c.mask >> c.shift << c.shift))),
          up(hn::Set(D16(), static_cast<uint16_t>(1U << (8 + c.loss - c.shift)))),
          down(8 + c.loss - c.shift) {}

    // The channel widened to 8 bits, in the high byte; the low byte is 0.
    HWY_INLINE V16 extract(V16 pixel) const { return hn::And(pixel, mask) * up; }

    // From the high byte; the low one holds anything.
    HWY_INLINE V16 place(V16 value) const { return hn::And(down(value), mask); }
};

HWY_INLINE ShortChannel shortChannel(const Channel& c) {
    return ShortChannel(c.mask ? c : Channel{0, 0, 0});
}

struct ShortColours {
    ShortChannel r, g, b;

    explicit HWY_INLINE ShortColours(const BltRenderFmt& f)
        : r(shortChannel(f.r())), g(shortChannel(f.g())), b(shortChannel(f.b())) {}
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

// One side's format in 32-bit lanes: to A8R8G8B8 and back.
struct GenericFormat {
    Shuffle toArgb, fromArgb;

    explicit HWY_INLINE GenericFormat(const BltRenderFmt& f) : GenericFormat(ByteOrder(f)) {}

private:
    explicit HWY_INLINE GenericFormat(const ByteOrder& order)
        : toArgb(shuffleOfBytes(order.toArgb)), fromArgb(shuffleOfBytes(order.fromArgb)) {}
};

template <int Bytes, class At>
HWY_INLINE V32 loadPixels(At, const uint8_t* p) {
    if constexpr (Bytes == 3)
        return At::load24(p);
    else
        return At::load(D32(), p);
}

// The constant alpha as a factor of the bytes above it: 256 * x * factor >> 16. 255 counts as 256, which
// gives x.
HWY_INLINE V16 factorOf(uint32_t alpha) {
    return hn::Set(D16(), static_cast<uint16_t>(alpha == 255 ? 256 : alpha));
}

// An effective alpha as a weight of 256ths: 255 counts as 256, which gives the source unchanged.
HWY_INLINE V16 weightOf(V16 e) {
    return oneMoreAt(255, e);
}

// --- Onto 24 and 32 bits ------------------------------------------------------------------------------

// New pixels of 24 bits, one in each 32-bit lane, and which of them are drawn: the lanes that aren't 0.
struct Drawn24 {
    V32 pixels, drawn;
};

// A store of a 24-bit pixel takes the byte behind the pixel along and sets it to 0, which stays so unless the
// next pixel is drawn, too.
class ZeroBehind {
public:
    HWY_INLINE ZeroBehind() : before_(hn::Zero(D32())) {}

    template <class Step, class At>
    HWY_INLINE void store(const Step&, At, const Drawn24& w, uint8_t* dst) {
        const D32 d32;
        const V32 firstByte = hn::Set(d32, kBigEndian ? 0x00FF0000 : 0x000000FF);
        const V32 all = hn::Set(d32, ~uint32_t{0});
        const V32 drawn = hn::IfThenElse(hn::Eq(w.drawn, hn::Zero(d32)), hn::Zero(d32), all);
        const V32 zeros = hn::And(oneLaneLater(before_, drawn), firstByte);
        const V32 packed = pack24(select(drawn, w.pixels, hn::AndNot(zeros, At::load24(dst))));
        std::memcpy(dst, &packed, 3 * kLanes32);
        before_ = drawn;
    }

    HWY_INLINE void pause(uint8_t* dst) {
        const D32 d32;
        if (hn::GetLane(oneLaneLater(before_, hn::Zero(d32))) != 0)
            *dst = 0;
        before_ = hn::Zero(d32);
    }

private:
    V32 before_; // ones in the lanes that were drawn last
};

template <int DstBytes>
struct GenericRow {
    using Row = OneByOne;
};
template <>
struct GenericRow<3> {
    using Row = ZeroBehind;
};

// A8R8G8B8 pixels into the destination.
template <int DstBytes, AlphaSource Alpha>
struct OntoBytes {
    GenericFormat dst;
    V16 factor;
    Shuffle spread; // the deciding alpha byte into the high bytes of both 16-bit lanes

    explicit HWY_INLINE OntoBytes(const Block& b)
        : dst(*b.dstFormat), factor(factorOf(b.constantAlpha)),
          spread(Alpha == AlphaSource::kOfMask ? shuffleOfBytes(bytesFrom(0x80, 0, 0x80, 0))
                                               : shuffleOfBytes(bytesFrom(0x80, 3, 0x80, 3))) {}

    // For 24 bits a blend takes the old pixel from one byte further on; see loadOldPixel().
    template <class At>
    HWY_INLINE auto draw(At at, V32 argb, const uint8_t* p, const uint8_t* mask) const {
        const D16 d16;
        const D32 d32;
        if constexpr (Alpha == AlphaSource::kOpaque) {
            const V32 pixels = dst.fromArgb(argb);
            if constexpr (DstBytes == 4)
                return pixels;
            else
                return Drawn24{pixels, hn::Set(d32, 1)};
        } else {
            const V32 own = Alpha == AlphaSource::kOfMask ? hn::PromoteTo(d32, At::load(BytesFor32(), mask)) : argb;
            const V16 e = hn::MulHigh(as(d16, spread(own)), factor);
            const V32 old = loadPixels<DstBytes>(at, DstBytes == 3 ? p + 1 : p);
            const V32 field = Alpha == AlphaSource::kOfMask ? own : as(d32, e);
            const V32 mixed =
                MixedBytes(argb, dst.toArgb(old), weightOf(e)).joined(hn::Set(d32, 0x0000FF00));
            const V32 pixels = dst.fromArgb(hn::Or(mixed, hn::ShiftLeft<24>(field)));
            if constexpr (DstBytes == 4)
                return whereDrawn(d32, as(d32, e), pixels, old);
            else
                return Drawn24{pixels, as(d32, e)};
        }
    }
};

// Tells which pixels are drawn by their own alpha or by a mask. Where alphas are filled all are.
struct GenericClearTest {
    ClearTest test;
    bool filled;

    explicit HWY_INLINE GenericClearTest(const Block& b)
        : test(b.mask ? ~uint32_t{0} : b.srcFormat->aMask,
               b.constantAlpha == 255 ? 0 : 255 / b.constantAlpha),
          filled(!b.mask && b.alphaFill) {}

    template <AlphaSource Alpha, class At>
    HWY_INLINE bool isClear(At at, const uint8_t* src, const uint8_t* mask) const {
        return Alpha == AlphaSource::kOfMask ? test.template isClear<1>(at, mask)
                                             : !filled && test.template isClear<4>(at, src);
    }
};

// Whether a run's alphas are looked at: those of a mask, or the pixels' own.
template <int SrcBytes, AlphaSource Alpha>
concept HasAlphas = Alpha == AlphaSource::kOfMask || (Alpha == AlphaSource::kOfPixel && SrcBytes == 4);

template <int SrcBytes, int DstBytes, AlphaSource Alpha>
struct BytesOntoBytesStep : VectorStep, GenericRow<DstBytes> {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = SrcBytes, kDstBytes = DstBytes;

    GenericFormat src;
    OntoBytes<DstBytes, Alpha> onto;
    V32 fill; // ORed into source pixels
    GenericClearTest clearTest;

    explicit HWY_INLINE BytesOntoBytesStep(const Block& b)
        : src(*b.srcFormat), onto(b), fill(hn::Set(D32(), b.alphaFill << 24)), clearTest(b) {}

    template <class At>
    HWY_INLINE bool isClear(At at, const uint8_t* s, const uint8_t* mask) const
        requires(HasAlphas<SrcBytes, Alpha>) {
        return clearTest.template isClear<Alpha>(at, s, mask);
    }

    template <class At>
    HWY_INLINE auto draw(At at, const uint8_t* s, const uint8_t* d, const uint8_t* mask) const {
        const V32 argb = src.toArgb(loadPixels<SrcBytes>(at, s));
        return onto.draw(at, Alpha == AlphaSource::kOfMask ? argb : hn::Or(argb, fill), d, mask);
    }
};

// From a 16-bit source, whose alpha is filled or plays no part: twice as many pixels.
template <int DstBytes, AlphaSource Alpha>
struct ShortOntoBytesStep : VectorStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 2, kDstBytes = DstBytes;

    // Two vectors of pixels, each stored with regard to the one before.
    struct Row : GenericRow<DstBytes>::Row {
        template <class Pair, class At>
        HWY_INLINE void store(const ShortOntoBytesStep& step, At at, const Pair& drawn, uint8_t* dst) {
            GenericRow<DstBytes>::Row::store(step, at, drawn.first, dst);
            GenericRow<DstBytes>::Row::store(step, at, drawn.second, dst + DstBytes * kLanes32);
        }
    };

    ShortColours src;
    OntoBytes<DstBytes, Alpha> onto;
    V16 fill;

    explicit HWY_INLINE ShortOntoBytesStep(const Block& b)
        : src(*b.srcFormat), onto(b), fill(hn::Set(D16(), static_cast<uint16_t>(b.alphaFill << 8))) {}

    template <class At>
    HWY_INLINE auto draw(At at, const uint8_t* s, const uint8_t* d, const uint8_t* mask) const {
        const V16 pixels = orderForZip(At::load(D16(), s));
        const Zipped argb(hn::Or(src.g.extract(pixels), hn::ShiftRight<8>(src.b.extract(pixels))),
                          hn::Or(fill, hn::ShiftRight<8>(src.r.extract(pixels))));
        const auto first = onto.draw(at, argb.first, d, mask);
        return Pair<decltype(first)>{
            first, onto.draw(at, argb.second, d + DstBytes * kLanes32, mask + kLanes32)};
    }

private:
    template <class T>
    struct Pair {
        T first, second;
    };
};

// --- Onto 16 bits -------------------------------------------------------------------------------------

// The channels of source pixels, each in 16-bit lanes: widened to 8 bits, or these in the high byte, above
// anything.
struct ChannelsOfArgb {
    Halves argb;

    HWY_INLINE V16 r() const { return hn::And(argb.high, hn::Set(D16(), 0xFF)); }
    HWY_INLINE V16 g() const { return hn::ShiftRight<8>(argb.low); }
    HWY_INLINE V16 b() const { return hn::And(argb.low, hn::Set(D16(), 0xFF)); }
    HWY_INLINE V16 a() const { return hn::ShiftRight<8>(argb.high); }
    HWY_INLINE V16 highR() const { return hn::ShiftLeft<8>(argb.high); }
    HWY_INLINE V16 highG() const { return argb.low; }
    HWY_INLINE V16 highB() const { return hn::ShiftLeft<8>(argb.low); }
};
struct ShortChannels {
    V16 red, green, blue;

    HWY_INLINE V16 r() const { return hn::ShiftRight<8>(red); }
    HWY_INLINE V16 g() const { return hn::ShiftRight<8>(green); }
    HWY_INLINE V16 b() const { return hn::ShiftRight<8>(blue); }
    HWY_INLINE V16 a() const { return hn::Zero(D16()); }
    HWY_INLINE V16 highR() const { return red; }
    HWY_INLINE V16 highG() const { return green; }
    HWY_INLINE V16 highB() const { return blue; }
};

template <int SrcBytes>
struct ChannelSource {
    using Channels = ChannelsOfArgb;

    MovedHalves halves;

    explicit HWY_INLINE ChannelSource(const BltRenderFmt& f) : halves(ByteOrder(f).toArgb) {}

    template <class At>
    HWY_INLINE Channels load(At at, const uint8_t* p) const {
        return {halves(loadPixels<SrcBytes>(at, p), loadPixels<SrcBytes>(at, p + SrcBytes * kLanes32))};
    }
};

template <>
struct ChannelSource<2> {
    using Channels = ShortChannels;

    ShortColours format;

    explicit HWY_INLINE ChannelSource(const BltRenderFmt& f) : format(f) {}

    template <class At>
    HWY_INLINE Channels load(At, const uint8_t* p) const {
        const V16 s = At::load(D16(), p);
        return {format.r.extract(s), format.g.extract(s), format.b.extract(s)};
    }
};

template <int SrcBytes, AlphaSource Alpha>
struct OntoShortStep : VectorStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = SrcBytes, kDstBytes = 2;

    ChannelSource<SrcBytes> src;
    ShortColours dst;
    ShortAlpha alpha;
    V16 factor, fill;
    GenericClearTest clearTest;

    explicit HWY_INLINE OntoShortStep(const Block& b)
        : src(*b.srcFormat), dst(*b.dstFormat), alpha(*b.dstFormat), factor(factorOf(b.constantAlpha)),
          fill(hn::Set(D16(), static_cast<uint16_t>(b.alphaFill))), clearTest(b) {}

    template <class At>
    HWY_INLINE bool isClear(At at, const uint8_t* s, const uint8_t* mask) const
        requires(HasAlphas<SrcBytes, Alpha>) {
        return clearTest.template isClear<Alpha>(at, s, mask);
    }

    template <class At>
    HWY_INLINE V16 draw(At at, const uint8_t* from, const uint8_t* to, const uint8_t* mask) const {
        const D16 d16;
        const auto s = src.load(at, from);
        if constexpr (Alpha == AlphaSource::kOpaque) {
            return join(s.highR(), s.highG(), s.highB(), fill);
        } else {
            const V16 own = Alpha == AlphaSource::kOfMask ? hn::PromoteTo(d16, At::load(BytesFor16(), mask))
                                                          : hn::Or(s.a(), fill);
            const V16 e = hn::MulHigh(hn::ShiftLeft<8>(own), factor), weight = weightOf(e);
            const V16 old = At::load(d16, to);
            const V16 r = mix(s.r(), dst.r.extract(old), weight);
            const V16 g = mix(s.g(), dst.g.extract(old), weight);
            const V16 b = mix(s.b(), dst.b.extract(old), weight);
            return whereDrawn(d16, e, join(r, g, b, Alpha == AlphaSource::kOfMask ? own : e), old);
        }
    }

private:
    HWY_INLINE V16 join(V16 r, V16 g, V16 b, V16 field) const {
        return alpha.addTo(hn::Or(hn::Or(dst.r.place(r), dst.g.place(g)), dst.b.place(b)), field);
    }
    static HWY_INLINE V16 mix(V16 s, V16 oldTop, V16 weight) {
        return mixBytes(s, hn::ShiftRight<8>(oldTop), oldTop, weight);
    }
};

// --- The choice ---------------------------------------------------------------------------------------

template <int SrcBytes, int DstBytes, AlphaSource Alpha>
using GenericStep =
    std::conditional_t<DstBytes == 2, OntoShortStep<SrcBytes, Alpha>,
                       std::conditional_t<SrcBytes == 2, ShortOntoBytesStep<DstBytes, Alpha>,
                                          BytesOntoBytesStep<SrcBytes, DstBytes, Alpha>>>;

template <class Step>
void drawGenericRows(const Block& block) {
    drawRows(block, Step(block));
}

template <int SrcBytes, int DstBytes, AlphaSource Alpha>
Kernel rowsBy(const Block& b) {
    using Step = GenericStep<SrcBytes, DstBytes, Alpha>;
    return b.width < Step::kPixels ? kNarrowerKernels.generic(b) : drawGenericRows<Step>;
}

template <AlphaSource Alpha>
constexpr KernelChoice kGenericRows[3][3] = {
    {rowsBy<2, 2, Alpha>, rowsBy<2, 3, Alpha>, rowsBy<2, 4, Alpha>},
    {rowsBy<3, 2, Alpha>, rowsBy<3, 3, Alpha>, rowsBy<3, 4, Alpha>},
    {rowsBy<4, 2, Alpha>, rowsBy<4, 3, Alpha>, rowsBy<4, 4, Alpha>},
};

// Formats that a program made up, and alphas of more than 8 bits, are left to the scalar kernel.
Kernel genericKernel(const Block& b) {
    const BltRenderFmt &src = *b.srcFormat, &dst = *b.dstFormat;
    const AlphaSource by = alphaSourceOf(b);
    if (!coloursArePlain(src) || !coloursArePlain(dst) || !fieldIsPlain(dst) ||
        !alphaIsPlain(src, b.alphaFill, by == AlphaSource::kOfPixel || by == AlphaSource::kOneAlpha))
        return kScalarKernels.generic(b);
    const auto& rows = by == AlphaSource::kOfMask   ? kGenericRows<AlphaSource::kOfMask>
                       : by == AlphaSource::kOpaque ? kGenericRows<AlphaSource::kOpaque>
                                                    : kGenericRows<AlphaSource::kOfPixel>;
    return rows[b.srcBytes - 2][b.dstBytes - 2](b);
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
