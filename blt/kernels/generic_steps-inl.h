// SPDX-License-Identifier: Zlib
//
// The vector forms of the generic rule.
//
// Channels of any format are widened to 8 bits, blended, and put into the destination's format. 24- and
// 32-bit pixels become A8R8G8B8 by one byte shuffle; the channels of 16-bit ones are taken out and put back
// by shifts.

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// A channel of 16-bit pixels at a run-time position. Bits of the mask below the shift never count.
struct ShortChannel {
    V16 mask, up;
    RightShift down;

    explicit HWY_INLINE ShortChannel(const Channel& c)
        : mask(hn::Set(D16(), static_cast<uint16_t>(c.mask >> c.shift << c.shift))),
          up(hn::Set(D16(), static_cast<uint16_t>(1U << (8 + c.loss - c.shift)))),
          down(8 + c.loss - c.shift) {}

    // The channel widened to 8 bits, in the high byte; the low byte is 0.
    HWY_INLINE V16 extract(V16 pixel) const { return (pixel & mask) * up; }

    // From the high byte; the low one holds anything.
    HWY_INLINE V16 place(V16 value) const { return down(value) & mask; }
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
        return (pixel | (hn::ShiftLeftSame(hn::ShiftRightSame(value, loss), shift) & mask));
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

// The constant alpha as a factor of the bytes above it: 256 * x * factor >> 16. 255 counts as 256, which
// gives x.
HWY_INLINE V16 factorOf(uint32_t alpha) {
    return hn::Set(D16(), static_cast<uint16_t>(alpha == 255 ? 256 : alpha));
}

// An effective alpha as a weight of 256ths: 255 counts as 256, which gives the source unchanged.
HWY_INLINE V16 weightOf(V16 effective) {
    return oneMoreAt(255, effective);
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
    HWY_INLINE void store(const Step& step, At at, const std::array<Drawn24, 2>& two, uint8_t* dst) {
        store(step, at, two[0], dst);
        store(step, at, two[1], dst + 3 * kLanes32);
    }
    template <class Step, class At>
    HWY_INLINE void store(const Step&, At at, const Drawn24& w, uint8_t* dst) {
        const D32 d32;
        const V32 firstByte = hn::Set(d32, kBigEndian ? 0x00FF0000 : 0x000000FF);
        const V32 all = hn::Set(d32, ~uint32_t{0});
        const V32 drawn = hn::IfThenElse(hn::Eq(w.drawn, hn::Zero(d32)), hn::Zero(d32), all);
        const V32 zeros = oneLaneLater(before_, drawn) & firstByte;
        storePixels<3>(at, select(drawn, w.pixels, hn::AndNot(zeros, At::load24(dst))), dst);
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
struct OntoBytesStep : VectorStep {};
template <>
struct OntoBytesStep<3> : VectorStep {
    using State = ZeroBehind;
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
            const V32 own =
                Alpha == AlphaSource::kOfMask ? hn::PromoteTo(d32, At::load(BytesFor32(), mask)) : argb;
            const V16 effective = hn::MulHigh(as(d16, spread(own)), factor);
            const V32 old = loadPixels<DstBytes>(at, DstBytes == 3 ? p + 1 : p);
            const V32 field = Alpha == AlphaSource::kOfMask ? own : as(d32, effective);
            const V32 mixed =
                MixedBytes(argb, dst.toArgb(old), weightOf(effective)).joined(hn::Set(d32, 0x0000FF00));
            const V32 pixels = dst.fromArgb(mixed | hn::ShiftLeft<24>(field));
            if constexpr (DstBytes == 4)
                return whereDrawn(d32, as(d32, effective), pixels, old);
            else
                return Drawn24{pixels, as(d32, effective)};
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
struct BytesOntoBytesStep : OntoBytesStep<DstBytes> {
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
        return onto.draw(at, Alpha == AlphaSource::kOfMask ? argb : (argb | fill), d, mask);
    }
};

// From a 16-bit source, whose alpha is filled or plays no part: twice as many pixels.
template <int DstBytes, AlphaSource Alpha>
struct ShortOntoBytesStep : OntoBytesStep<DstBytes> {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 2, kDstBytes = DstBytes;

    ShortColours src;
    OntoBytes<DstBytes, Alpha> onto;
    V16 fill;

    explicit HWY_INLINE ShortOntoBytesStep(const Block& b)
        : src(*b.srcFormat), onto(b), fill(hn::Set(D16(), static_cast<uint16_t>(b.alphaFill << 8))) {}

    template <class At>
    HWY_INLINE auto draw(At at, const uint8_t* s, const uint8_t* d, const uint8_t* mask) const {
        const V16 pixels = orderForZip(At::load(D16(), s));
        const Zipped argb(src.g.extract(pixels) | hn::ShiftRight<8>(src.b.extract(pixels)),
                          (fill | hn::ShiftRight<8>(src.r.extract(pixels))));
        const auto first = onto.draw(at, argb.first, d, mask),
                   second = onto.draw(at, argb.second, d + DstBytes * kLanes32, mask + kLanes32);
        if constexpr (DstBytes == 4)
            return Zipped(first, second);
        else
            return std::array{first, second};
    }
};

// --- Onto 16 bits -------------------------------------------------------------------------------------

// The channels of source pixels, each in 16-bit lanes: widened to 8 bits, or these in the high byte, above
// anything.
struct ChannelsOfArgb {
    Halves argb;

    HWY_INLINE V16 r() const { return argb.high & hn::Set(D16(), 0xFF); }
    HWY_INLINE V16 g() const { return hn::ShiftRight<8>(argb.low); }
    HWY_INLINE V16 b() const { return argb.low & hn::Set(D16(), 0xFF); }
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
                                                          : (s.a() | fill);
            const V16 effective = hn::MulHigh(hn::ShiftLeft<8>(own), factor), weight = weightOf(effective);
            const V16 old = At::load(d16, to);
            const V16 r = mix(s.r(), dst.r.extract(old), weight);
            const V16 g = mix(s.g(), dst.g.extract(old), weight);
            const V16 b = mix(s.b(), dst.b.extract(old), weight);
            return whereDrawn(d16, effective, join(r, g, b, Alpha == AlphaSource::kOfMask ? own : effective),
                              old);
        }
    }

private:
    HWY_INLINE V16 join(V16 r, V16 g, V16 b, V16 field) const {
        return alpha.addTo((dst.r.place(r) | dst.g.place(g)) | dst.b.place(b), field);
    }
    static HWY_INLINE V16 mix(V16 s, V16 oldTop, V16 weight) {
        return mixBytes(s, hn::ShiftRight<8>(oldTop), oldTop, weight);
    }
};

// --- The choice ---------------------------------------------------------------------------------------

template <int SrcBytes, int DstBytes, AlphaSource Alpha>
using GenericStep = std::conditional_t<DstBytes == 2, OntoShortStep<SrcBytes, Alpha>,
                                       std::conditional_t<SrcBytes == 2, ShortOntoBytesStep<DstBytes, Alpha>,
                                                          BytesOntoBytesStep<SrcBytes, DstBytes, Alpha>>>;

template <int SrcBytes, int DstBytes, AlphaSource Alpha>
Kernel rowsBy(const Block& b) {
    return kernelBy<GenericStep<SrcBytes, DstBytes, Alpha>>(b, kNarrowerKernels.generic);
}

template <AlphaSource Alpha>
constexpr KernelChoice kGenericRows[3][3] = {
    {rowsBy<2, 2, Alpha>, rowsBy<2, 3, Alpha>, rowsBy<2, 4, Alpha>},
    {rowsBy<3, 2, Alpha>, rowsBy<3, 3, Alpha>, rowsBy<3, 4, Alpha>},
    {rowsBy<4, 2, Alpha>, rowsBy<4, 3, Alpha>, rowsBy<4, 4, Alpha>},
};

Kernel genericKernel(const Block& b) {
    if (!hasVectorForm(b))
        return kScalarKernels.generic(b);
    const AlphaSource by = alphaSourceOf(b);
    const auto& rows = by == AlphaSource::kOfMask   ? kGenericRows<AlphaSource::kOfMask>
                       : by == AlphaSource::kOpaque ? kGenericRows<AlphaSource::kOpaque>
                                                    : kGenericRows<AlphaSource::kOfPixel>;
    return rows[b.srcBytes - 2][b.dstBytes - 2](b);
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
