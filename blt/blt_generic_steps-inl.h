// SPDX-License-Identifier: Zlib
//
// The vector kernel of the generic rule.
//
// Channels of any format are widened to 8 bits, blended, and put into the destination's format. 24- and
// 32-bit pixels become A8R8G8B8 by one byte shuffle; the channels of 16-bit ones are taken out and put back
// by shifts.

#if defined(ORMSEL_BLT_GENERIC_STEPS_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_BLT_GENERIC_STEPS_INL_H
#        undef ORMSEL_BLT_GENERIC_STEPS_INL_H
#    else
#        define ORMSEL_BLT_GENERIC_STEPS_INL_H
#    endif

#    include "blt_generic.h"
#    include "blt_steps-inl.h"

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

template <int Bytes, class Lanes>
HWY_INLINE V32 loadPixels(const uint8_t* p, Lanes lanes) {
    if constexpr (Bytes == 3)
        return load24(p, lanes);
    else
        return lanes.load(D32(), p);
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

// Onto 24- and 32-bit destinations: A8R8G8B8 pixels into the destination.
template <int DstBytes, AlphaSource Alpha>
struct GenericStore {
    GenericFormat dst;
    V16 factor;
    Shuffle spread; // the deciding alpha byte into the high bytes of both 16-bit lanes

    explicit HWY_INLINE GenericStore(const Block& b)
        : dst(*b.dstFormat), factor(factorOf(b.constantAlpha)),
          spread(Alpha == AlphaSource::kOfMask ? shuffleOfBytes(bytesFrom(0x80, 0, 0x80, 0))
                                               : shuffleOfBytes(bytesFrom(0x80, 3, 0x80, 3))) {}

    // A8R8G8B8 pixels, their effective alphas in both halves, and what the alpha field is made of.
    struct Pixels {
        V32 argb;
        V16 e;
        V32 own;
        using Set = GenericPixels<DstBytes>;
        Set stored;
    };
    struct Opaque {
        V32 argb;
    };

    template <class Lanes>
    HWY_INLINE auto weigh(V32 argb, const uint8_t* mask, Lanes lanes) const {
        const D16 d16;
        const D32 d32;
        if constexpr (Alpha == AlphaSource::kOpaque) {
            return Opaque{argb};
        } else {
            const V32 own = Alpha == AlphaSource::kOfMask ? hn::PromoteTo(d32, lanes.load(H8(), mask)) : argb;
            const V16 e = hn::MulHigh(as(d16, spread(own)), factor);
            return Pixels{argb, e, own, {d32, lanes.only(d32, positive(d32, as(d32, e)))}};
        }
    }

    template <class Lanes>
    HWY_INLINE void draw(const Opaque& w, uint8_t* d, Lanes lanes) const {
        const D32 d32;
        if constexpr (DstBytes == 4)
            lanes.store(d32, dst.fromArgb(w.argb), d);
        else
            GenericPixels<3>{d32, lanes.only(d32, hn::FirstN(d32, kLanes32))}.store(dst.fromArgb(w.argb), d,
                                                                                    lanes);
    }
    template <class Lanes>
    HWY_INLINE void draw(const Pixels& w, uint8_t* d, Lanes lanes) const {
        w.stored.store(mix(w, d, lanes), d, lanes);
    }
    template <class Lanes>
    HWY_INLINE V32 mix(const Pixels& w, const uint8_t* d, Lanes lanes) const {
        const V32 old = dst.toArgb(w.stored.loadOld(D32(), d, lanes));
        const V32 field = Alpha == AlphaSource::kOfMask ? w.own : as(D32(), w.e);
        return dst.fromArgb(hn::Or(mixColours(w.argb, old, weightOf(w.e), hn::Set(D32(), 0x0000FF00)),
                                   hn::ShiftLeft<24>(field)));
    }
};

// Tells which pixels are drawn by their own alpha or by a mask. Where alphas are filled all are.
struct GenericGlance {
    Glance glance;
    bool filled;

    explicit HWY_INLINE GenericGlance(const Block& b)
        : glance(b.mask ? ~uint32_t{0} : b.srcFormat->aMask,
                 b.constantAlpha == 255 ? 0 : 255 / b.constantAlpha),
          filled(!b.mask && b.alphaFill) {}

    template <AlphaSource Alpha>
    HWY_INLINE bool seesNone(const uint8_t* src, const uint8_t* mask) const {
        return Alpha == AlphaSource::kOfMask ? glance.seesNone<1>(mask) : !filled && glance.seesNone<4>(src);
    }
};

template <int SrcBytes, int DstBytes, AlphaSource Alpha>
struct WideStep {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = SrcBytes, kDstBytes = DstBytes,
                            kThirdBytes = Alpha == AlphaSource::kOfMask ? 1 : DstBytes;

    GenericFormat src;
    GenericStore<DstBytes, Alpha> store;
    V32 fill; // ORed into source pixels
    GenericGlance glance;

    explicit HWY_INLINE WideStep(const Block& b)
        : src(*b.srcFormat), store(b), fill(hn::Set(D32(), b.alphaFill << 24)), glance(b) {}

    template <class Lanes>
    HWY_INLINE auto weigh(const uint8_t* s, const uint8_t* mask, Lanes lanes) const {
        const V32 argb = src.toArgb(loadPixels<SrcBytes>(s, lanes));
        return store.weigh(Alpha == AlphaSource::kOfMask ? argb : hn::Or(argb, fill), mask, lanes);
    }
    template <class W, class Lanes>
    HWY_INLINE void draw(const W& weighed, uint8_t* d, const uint8_t*, Lanes lanes) const {
        store.draw(weighed, d, lanes);
    }
    template <class W, class Lanes>
    HWY_INLINE V32 mix(const W& weighed, const uint8_t* d, const uint8_t*, Lanes lanes) const {
        return store.mix(weighed, d, lanes);
    }
    HWY_INLINE bool isClear(const uint8_t* s, const uint8_t* mask) const
        requires(Alpha == AlphaSource::kOfMask || (Alpha == AlphaSource::kOfPixel && SrcBytes == 4)) {
        return glance.template seesNone<Alpha>(s, mask);
    }
};

// From a 16-bit source, whose alpha is filled or plays no part: twice as many pixels.
template <int DstBytes, AlphaSource Alpha>
struct FromShortStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 2, kDstBytes = DstBytes,
                            kThirdBytes = Alpha == AlphaSource::kOfMask ? 1 : DstBytes;

    ShortColours src;
    GenericStore<DstBytes, Alpha> store;
    V16 fill;

    explicit HWY_INLINE FromShortStep(const Block& b)
        : src(*b.srcFormat), store(b), fill(hn::Set(D16(), static_cast<uint16_t>(b.alphaFill << 8))) {}

    template <class Lanes>
    HWY_INLINE Zipped weigh(const uint8_t* s, const uint8_t*, Lanes lanes) const {
        const V16 pixels = orderForZip(lanes.load(D16(), s));
        return {hn::Or(src.g.extract(pixels), hn::ShiftRight<8>(src.b.extract(pixels))),
                hn::Or(fill, hn::ShiftRight<8>(src.r.extract(pixels)))};
    }
    template <class Lanes>
    HWY_INLINE void draw(const Zipped& argb, uint8_t* d, const uint8_t* mask, Lanes lanes) const {
        const auto first = lanes.firstHalf(), second = lanes.secondHalf();
        store.draw(store.weigh(argb.first, mask, first), d, first);
        store.draw(store.weigh(argb.second, mask + kThirdBytes * kLanes32, second), d + DstBytes * kLanes32,
                   second);
    }
};

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

    template <class Lanes>
    HWY_INLINE Channels load(const uint8_t* p, Lanes lanes) const {
        return {halves(loadPixels<SrcBytes>(p, lanes.firstHalf()),
                       loadPixels<SrcBytes>(p + SrcBytes * kLanes32, lanes.secondHalf()))};
    }
};

template <>
struct ChannelSource<2> {
    using Channels = ShortChannels;

    ShortColours format;

    explicit HWY_INLINE ChannelSource(const BltRenderFmt& f) : format(f) {}

    template <class Lanes>
    HWY_INLINE Channels load(const uint8_t* p, Lanes lanes) const {
        const V16 s = lanes.load(D16(), p);
        return {format.r.extract(s), format.g.extract(s), format.b.extract(s)};
    }
};

// Onto 16-bit destinations.
template <int SrcBytes, AlphaSource Alpha>
struct ToShortStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = SrcBytes, kDstBytes = 2,
                            kThirdBytes = Alpha == AlphaSource::kOfMask ? 1 : 2;

    ChannelSource<SrcBytes> src;
    ShortColours dst;
    ShortAlpha alpha;
    V16 factor, fill;
    GenericGlance glance;

    explicit HWY_INLINE ToShortStep(const Block& b)
        : src(*b.srcFormat), dst(*b.dstFormat), alpha(*b.dstFormat), factor(factorOf(b.constantAlpha)),
          fill(hn::Set(D16(), static_cast<uint16_t>(b.alphaFill))), glance(b) {}

    HWY_INLINE V16 join(V16 r, V16 g, V16 b, V16 field) const {
        return alpha.addTo(hn::Or(hn::Or(dst.r.place(r), dst.g.place(g)), dst.b.place(b)), field);
    }

    // s * weight + d * (256 - weight), at most 65280, with d in the high byte.
    static HWY_INLINE V16 mix(V16 s, V16 highD, V16 weight) {
        return highD + (s - hn::ShiftRight<8>(highD)) * weight;
    }

    using Channels = typename ChannelSource<SrcBytes>::Channels;

    struct Pixels {
        Channels s;
        V16 own, e; // the alpha that decides, and what is left of it
        using Set = StoreSet<D16>;
        Set stored;

        template <class Lanes>
        HWY_INLINE Pixels(const ToShortStep& step, const uint8_t* from, const uint8_t* mask, Lanes lanes)
            : s(step.src.load(from, lanes)), own(step.ownAlpha(s, mask, lanes)),
              e(hn::MulHigh(hn::ShiftLeft<8>(own), step.factor)), stored{
                                                                      D16(),
                                                                      lanes.only(D16(), notZero(D16(), e))} {}
    };

    template <class Lanes>
    HWY_INLINE V16 ownAlpha(const Channels& s, const uint8_t* mask, Lanes lanes) const {
        if constexpr (Alpha == AlphaSource::kOfMask)
            return hn::PromoteTo(D16(), lanes.load(B16(), mask));
        else
            return hn::Or(s.a(), fill);
    }

    template <class Lanes>
    HWY_INLINE auto weigh(const uint8_t* from, const uint8_t* mask, Lanes lanes) const {
        if constexpr (Alpha == AlphaSource::kOpaque)
            return src.load(from, lanes);
        else
            return Pixels(*this, from, mask, lanes);
    }

    HWY_INLINE bool isClear(const uint8_t* from, const uint8_t* mask) const
        requires(Alpha == AlphaSource::kOfMask || (Alpha == AlphaSource::kOfPixel && SrcBytes == 4)) {
        return glance.template seesNone<Alpha>(from, mask);
    }

    template <class Lanes>
    HWY_INLINE void draw(const Channels& s, uint8_t* to, const uint8_t*, Lanes lanes) const {
        lanes.store(D16(), join(s.highR(), s.highG(), s.highB(), fill), to);
    }
    template <class Lanes>
    HWY_INLINE V16 mix(const Pixels& w, const uint8_t* to, const uint8_t*, Lanes lanes) const {
        const V16 weight = weightOf(w.e);
        const V16 old = w.stored.loadOld(D16(), to, lanes);
        const V16 r = mix(w.s.r(), dst.r.extract(old), weight);
        const V16 g = mix(w.s.g(), dst.g.extract(old), weight);
        const V16 b = mix(w.s.b(), dst.b.extract(old), weight);
        return join(r, g, b, Alpha == AlphaSource::kOfMask ? w.own : w.e);
    }
};

template <int SrcBytes, int DstBytes, AlphaSource Alpha>
using GenericStep = std::conditional_t<
    DstBytes == 2, ToShortStep<SrcBytes, Alpha>,
    std::conditional_t<SrcBytes == 2, FromShortStep<DstBytes, Alpha>, WideStep<SrcBytes, DstBytes, Alpha>>>;

template <int SrcBytes, int DstBytes, AlphaSource Alpha>
struct GenericWalk {
    using Step = GenericStep<SrcBytes, DstBytes, Alpha>;
    static constexpr bool kMasked = Alpha == AlphaSource::kOfMask;

    explicit HWY_INLINE GenericWalk(const Block& b)
        : step(b), third(kMasked ? b.mask : b.dst), thirdPitch(kMasked ? b.maskPitch : b.dstPitch) {}

    Step step;
    const uint8_t* third;
    ptrdiff_t thirdPitch;
};

template <int SrcBytes, int DstBytes, AlphaSource Alpha>
constexpr Kernel kRows = drawRows<GenericWalk<SrcBytes, DstBytes, Alpha>>;

template <AlphaSource Alpha>
constexpr Kernel kGenericRows[3][3] = {
    {kRows<2, 2, Alpha>, kRows<2, 3, Alpha>, kRows<2, 4, Alpha>},
    {kRows<3, 2, Alpha>, kRows<3, 3, Alpha>, kRows<3, 4, Alpha>},
    {kRows<4, 2, Alpha>, kRows<4, 3, Alpha>, kRows<4, 4, Alpha>},
};

// Formats that a program made up, and alphas of more than 8 bits, are left to the scalar kernel.
Kernel genericKernel(const Block& b) {
    const BltRenderFmt &src = *b.srcFormat, &dst = *b.dstFormat;
    const AlphaSource by = alphaSourceOf(b);
    if (!coloursArePlain(src) || !coloursArePlain(dst) || !fieldIsPlain(dst) ||
        !alphaIsPlain(src, b.alphaFill, by == AlphaSource::kOfPixel))
        return kScalarKernels.generic(b);
    const auto& rows = by == AlphaSource::kOfMask   ? kGenericRows<AlphaSource::kOfMask>
                       : by == AlphaSource::kOpaque ? kGenericRows<AlphaSource::kOpaque>
                                                    : kGenericRows<AlphaSource::kOfPixel>;
    return rows[b.srcBytes - 2][b.dstBytes - 2];
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
