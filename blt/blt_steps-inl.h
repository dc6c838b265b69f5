// SPDX-License-Identifier: Zlib
//
// The vector kernels of routes. A step is one vector's worth of pixels; the same step, on the first few
// lanes, ends a row where the target can mask its loads and stores, and scalar steps end it elsewhere. Each
// gives the scalar kernel's results bit for bit and stores no pixel that it doesn't.

#if defined(ORMSEL_BLT_STEPS_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_BLT_STEPS_INL_H
#        undef ORMSEL_BLT_STEPS_INL_H
#    else
#        define ORMSEL_BLT_STEPS_INL_H
#    endif

#    include <cstdlib>

#    include "blt_kernels.h"
#    include "blt_steps_scalar.h"
#    include "blt_vec-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// The kernel that walks the rows of a block. A Walk has
//   - step: draws the pixels of one vector, or, where the target has masks, the first few; its type says how
//     many (kPixels) and of how many bytes (kSrcBytes, kDstBytes, kThirdBytes)
//   - third, thirdPitch: beside source and destination, where steps read: old destination pixels, or the mask
//   - rest(src, dst, third, pixels): draws the last pixels of a row where the target has no masks
template <class Walk>
void drawRows(const Block& b) {
    using Step = typename Walk::Step;
    constexpr size_t kPixels = Step::kPixels, kSrc = Step::kSrcBytes, kDst = Step::kDstBytes,
                     kThird = Step::kThirdBytes;
    const Walk walk(b);
    const Step& step = walk.step;
    const size_t left = b.width % kPixels, whole = b.width - left;
    const ptrdiff_t srcPitch = b.srcPitch, dstPitch = b.dstPitch, thirdPitch = walk.thirdPitch;
    const uint8_t* src = b.src;
    const uint8_t* third = walk.third;
    uint8_t* dst = b.dst;
    if constexpr (kMasks && requires { Step::kTakesTwoRows; }) {
        // Two rows at a time, unless a row of the destination reaches into the next one, which then blends
        // with what this one wrote. Sources are none of the destination: the block's order is free.
        if (b.width <= kPixels / 2 && static_cast<size_t>(std::abs(dstPitch)) >= b.width * kDst) {
            const TwoRows both{b.width, srcPitch, thirdPitch, dstPitch};
            size_t rows = b.height;
            for (; rows >= 2; rows -= 2, src += 2 * srcPitch, dst += 2 * dstPitch, third += 2 * thirdPitch)
                step(src, dst, third, both);
            if (rows)
                step(src, dst, third, First{b.width});
            return;
        }
    }
    // Sprites of just this width are common: no loop inside the row, and nothing of it to fetch ahead.
    if (b.width == kPixels) {
        for (size_t rows = b.height; rows; --rows, src += srcPitch, dst += dstPitch, third += thirdPitch)
            step(src, dst, third, Whole{});
        return;
    }
    for (size_t rows = b.height; rows; --rows, src += srcPitch, dst += dstPitch, third += thirdPitch) {
        drawWholeVectors(step, src, dst, third, whole);
        if (left == 0)
            continue;
        if constexpr (kMasks)
            step(src + whole * kSrc, dst + whole * kDst, third + whole * kThird, First{left});
        else
            walk.rest(src + whole * kSrc, dst + whole * kDst, third + whole * kThird, left);
    }
}

// Walks by a rule whose vector form is S.
template <class Rule, class S>
struct RouteWalk {
    using Step = S;

    explicit HWY_INLINE RouteWalk(const Block& b)
        : step(b.constantAlpha), rule(b.constantAlpha), third(b.old), thirdPitch(b.oldPitch) {}

    HWY_INLINE void rest(const uint8_t* src, uint8_t* dst, const uint8_t* old, size_t pixels) const {
        drawRest(rule, src, dst, old, pixels);
    }

    Step step;
    Rule rule;
    const uint8_t* third;
    ptrdiff_t thirdPitch;
};

// --- 8-bit channels -----------------------------------------------------------------------------------

// The byte of a 32-bit lane that holds the channel at a bit position.
constexpr uint8_t byteAt(unsigned shift) {
    return static_cast<uint8_t>(shift / 8);
}

// The vector form of AlphaOntoA8R8G8B8.
template <class L, bool Faded>
struct AlphaOntoA8R8G8B8Step {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = 4, kDstBytes = 4, kThirdBytes = 4;

    explicit HWY_INLINE AlphaOntoA8R8G8B8Step(uint32_t constantAlpha)
        : weights(constantAlpha),
          toColours(shuffleOfBytes(bytesFrom(byteAt(L::kB), byteAt(L::kG), byteAt(L::kR), 0x80))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D32 d32;
        const V32 s = lanes.load(d32, src);
        const auto a = weights(s);
        const V32 colours = L::kA == 24 && L::kR == 16 ? s : toColours(s), w = as(d32, a);
        if constexpr (kTestsAll)
            if (__builtin_expect(hn::AllTrue(d32, w), true)) {
                lanes.store(d32, weights.mix(colours, lanes.loadOld(d32, old), a), dst);
                return;
            }
        const M32 drawn = hn::Ne(w, hn::Zero(d32));
        const auto stored = pairsOf(w, lanes);
        if (!kMasks && stored.isEmpty())
            return;
        const V32 d = stored.loadOld(d32, old, lanes);
        const V32 mixed = weights.mix(colours, d, a);
        lanes.storeWhere(stored.d, as(stored.d, hn::IfThenElse(drawn, mixed, d)), stored.lanes, dst);
    }

    AlphaWeights<byteAt(L::kA)> weights;
    Shuffle toColours;
};

// --- R5G6B5 -------------------------------------------------------------------------------------------

// The weights for mixing fields: a for the source, 32 - a for the old pixel, a from 0 to 32.
struct Weights {
    V16 ofOne = kept16(0xFF01), base = kept16(0x2000);

    HWY_INLINE Weights() {}
    HWY_INLINE V16 operator()(V16 a) const { return a * ofOne + base; } // a - 256 * a + 32 * 256
};

template <int By>
HWY_INLINE V16 shifted(V16 v) {
    if constexpr (By > 0)
        return hn::ShiftLeft<By>(v);
    else if constexpr (By < 0)
        return hn::ShiftRight<-By>(v);
    else
        return v;
}

// To mix a field of R5G6B5, source and old value are put side by side, the source's in the low byte of 16-bit
// lanes, the old one in the high byte: a * s + (32 - a) * d, whose quotient by 32 is the exact
// d + floor((s - d) * a / 32), is one multiplication then. Results have the field in place and anything
// outside it.

// Red or blue, the lowest bit at bit At. The source's channel is the low byte and stays where it is; the old
// value goes to the top of its byte, so that the sum is at most 31 * 32 << 3, below 2^15.
template <int At>
struct RedOrBlue {
    V16 inOld = kept16(0xF800), inSource = kept16(0x00F8);

    HWY_INLINE RedOrBlue() {}

    static HWY_INLINE V16 convert(V16 s) { return shifted<At - 3>(s); }

    HWY_INLINE V16 mix(V16 s, V16 old, V16 weights) const {
        V16 top = shifted<11 - At>(old);
        if constexpr (At != 0) // from bit 0, the shift leaves nothing below the field
            top = hn::And(top, inOld);
        return shifted<At - 8>(multiplyAddBytes(addBits(inSource, s, top), weights));
    }
};

// The source's channel is the high byte and comes down to bit 0, the old value to bit 8: the sum, at most
// 63 * 32, has its quotient in place.
struct Green {
    V16 inOld = kept16(0x3F00);

    HWY_INLINE Green() {}

    static HWY_INLINE V16 convert(V16 s) { return hn::ShiftRight<5>(s); }

    HWY_INLINE V16 mix(V16 s, V16 old, V16 weights) const {
        return multiplyAddBytes(addBits(inOld, hn::ShiftLeft<3>(old), hn::ShiftRight<10>(s)), weights);
    }
};

struct Join {
    V16 red = kept16(0xF800), green = kept16(0x07E0);

    HWY_INLINE Join() {}
    HWY_INLINE V16 operator()(V16 r, V16 g, V16 b) const { return select(red, r, select(green, g, b)); }
};

// Halves to R5G6B5. Red and blue are their low bytes, either way round; green is the lower half's high byte.
template <bool RedIsHigh>
struct ToR5G6B5 {
    RedOrBlue<11> red;
    Green green;
    RedOrBlue<0> blue;
    Join join;

    HWY_INLINE ToR5G6B5() {}

    HWY_INLINE V16 convert(const Halves& s) const {
        return join(red.convert(RedIsHigh ? s.high : s.low), green.convert(s.low),
                    blue.convert(RedIsHigh ? s.low : s.high));
    }
    HWY_INLINE V16 mix(const Halves& s, V16 old, V16 weights) const {
        return join(red.mix(RedIsHigh ? s.high : s.low, old, weights), green.mix(s.low, old, weights),
                    blue.mix(RedIsHigh ? s.low : s.high, old, weights));
    }
};

// The vector form of AlphaOntoR5G6B5.
template <class L, bool Faded>
struct AlphaOntoR5G6B5Step {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 4, kDstBytes = 2, kThirdBytes = 2;
    static constexpr bool kTakesTwoRows = true;

    explicit HWY_INLINE AlphaOntoR5G6B5Step(uint32_t constantAlpha)
        : constant32(hn::Set(D16(), static_cast<uint16_t>(constantAlpha << 5))),
          alphaToTop(shuffleOfBytes(bytesFrom(1, 2, 3, 0))) {}

    // Pixels with alpha on top, and green below the middle.
    template <class Lanes>
    HWY_INLINE V32 load(const uint8_t* src, Lanes lanes) const {
        static_assert(L::kA == 24 ? L::kG == 8 : L::kA == 0 && L::kG == 16);
        const V32 s = lanes.load(D32(), src);
        return L::kA == 24 ? s : alphaToTop(s);
    }

    // A * C >> 11 as A * 32 * C >> 16; or A >> 3. From 0 to 31.
    HWY_INLINE V16 weightOf(const Halves& s) const {
        return Faded ? hn::MulHigh(hn::ShiftRight<8>(s.high), constant32) : hn::ShiftRight<11>(s.high);
    }

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const Halves s(load(src, lanes.firstHalf()),
                       load(src + lanes.secondSource(4 * kLanes32), lanes.secondHalf()));
        V16 a5 = weightOf(s);
        if constexpr (kTestsAll)
            if (__builtin_expect(hn::AllTrue(D32(), as(D32(), a5)),
                                 true)) { // each word of two pixels has one that is drawn
                if constexpr (!Faded)
                    a5 = a5 + hn::SaturatedSub(a5, thirty);
                lanes.store(D16(), toR5G6B5.mix(s, lanes.loadOld(D16(), old), weights(a5)), dst);
                return;
            }
        const auto stored = groupsOf(a5, lanes);
        if (!kMasks && stored.isEmpty())
            return;
        // 31 counts as 32, which gives the source unchanged; 0 gives the old pixel. Faded weights are at
        // most 255 * 247 >> 11 = 30.
        if constexpr (!Faded)
            a5 = a5 + hn::SaturatedSub(a5, thirty);
        const V16 mixed = toR5G6B5.mix(s, stored.loadOld(D16(), old, lanes), weights(a5));
        lanes.storeWhere(stored.d, as(stored.d, mixed), stored.lanes, dst);
    }

    V16 constant32, thirty = kept16(30);
    Shuffle alphaToTop;
    Weights weights;
    ToR5G6B5<(L::kR > L::kB)> toR5G6B5;
};

// The vector form of OpaqueOntoR5G6B5, from 24 bits.
template <class L, bool Faded>
struct OpaqueOntoR5G6B5Step {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 3, kDstBytes = 2, kThirdBytes = 2;

    explicit HWY_INLINE OpaqueOntoR5G6B5Step(uint32_t constantAlpha)
        : weights(Weights()(hn::Set(D16(), static_cast<uint16_t>(constantAlpha >> 3)))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
        const Halves s(load24(src, lanes.firstHalf()), load24(src + 3 * kLanes32, lanes.secondHalf()));
        if constexpr (Faded) {
            lanes.store(d16, toR5G6B5.mix(s, lanes.loadOld(d16, old), weights), dst);
        } else {
            (void)old;
            lanes.store(d16, toR5G6B5.convert(s), dst);
        }
    }

    V16 weights;
    ToR5G6B5<(L::kR > L::kB)> toR5G6B5;
};

// The same from R5G6B5, which is only ever blended: unfaded pixels are copied.
template <>
struct OpaqueOntoR5G6B5Step<R5G6B5, true> {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 2, kDstBytes = 2, kThirdBytes = 2;

    explicit HWY_INLINE OpaqueOntoR5G6B5Step(uint32_t constantAlpha)
        : weights(Weights()(hn::Set(D16(), static_cast<uint16_t>(constantAlpha >> 3)))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
        const V16 s = lanes.load(d16, src), d = lanes.loadOld(d16, old);
        lanes.store(d16,
                    join(red.mix(hn::ShiftRight<8>(s), d, weights),
                         green.mix(hn::ShiftLeft<5>(s), d, weights),
                         blue.mix(hn::ShiftLeft<3>(s), d, weights)),
                    dst);
    }

    V16 weights;
    RedOrBlue<11> red;
    Green green;
    RedOrBlue<0> blue;
    Join join;
};

// --- Routes -------------------------------------------------------------------------------------------

// The vector form of each rule.
template <class Rule>
struct StepOfRule;
template <class L, bool Faded>
struct StepOfRule<AlphaOntoA8R8G8B8<L, Faded>> {
    using Type = AlphaOntoA8R8G8B8Step<L, Faded>;
};
template <class L, bool Faded>
struct StepOfRule<AlphaOntoR5G6B5<L, Faded>> {
    using Type = AlphaOntoR5G6B5Step<L, Faded>;
};
template <class L, bool Faded>
struct StepOfRule<OpaqueOntoR5G6B5<L, Faded>> {
    using Type = OpaqueOntoR5G6B5Step<L, Faded || std::is_same_v<L, R5G6B5>>;
};

template <class Src, class Dst>
Kernel routeKernel(const Block& b) {
    using Faded = typename RuleOfRoute<Src, Dst, true>::Type;
    using Full = typename RuleOfRoute<Src, Dst, false>::Type;
    return Faded::fades(b.constantAlpha) ? drawRows<RouteWalk<Faded, typename StepOfRule<Faded>::Type>>
                                         : drawRows<RouteWalk<Full, typename StepOfRule<Full>::Type>>;
}

// --- Copies -------------------------------------------------------------------------------------------

// Pixels copied unchanged. What fits the inner caches is left to the C library, which is hard to beat there;
// for more, its larger steps and non-temporal stores were slower than short ones into whole lines, with both
// images fetched ahead.
void copyRows(const Block& b) {
    constexpr size_t kLarge = size_t{3} << 17, kLine = 64;
    const size_t rowBytes = b.width * b.dstBytes;
    if (rowBytes * b.height < kLarge || rowBytes < kLine) {
        kScalarKernels.copy(b);
        return;
    }
    const hn::Full128<uint8_t> d;
    const uint8_t* src = b.src;
    uint8_t* dst = b.dst;
    for (size_t rows = b.height; rows; --rows, src += b.srcPitch, dst += b.dstPitch) {
        size_t i = (kLine - reinterpret_cast<uintptr_t>(dst) % kLine) % kLine;
        std::memmove(dst, src, i);
        for (; i + kLine <= rowBytes; i += kLine) {
            prefetchBehind<kLine>(src + i);
            prefetchBehind<kLine>(dst + i);
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

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
