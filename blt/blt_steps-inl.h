// SPDX-License-Identifier: Zlib
//
// The vector kernels of routes. A step is one vector's worth of pixels; the same step, on the first few
// lanes, ends a row. Each gives the scalar kernel's results bit for bit and stores no pixel that it doesn't.

#if defined(ORMSEL_BLT_STEPS_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_BLT_STEPS_INL_H
#        undef ORMSEL_BLT_STEPS_INL_H
#    else
#        define ORMSEL_BLT_STEPS_INL_H
#    endif

#    include <algorithm>
#    include <cstdlib>
#    include <type_traits>
#    include <utility>

#    include "blt_kernels.h"
#    include "blt_lanes-inl.h"
#    ifdef ORMSEL_ALTIVEC
#        include "blt_altivec_rows-inl.h"
#    endif

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

template <class Step>
using Weighed = decltype(std::declval<const Step&>().weigh(nullptr, nullptr, Whole{}));

// How many steps are drawn together; 0: there is nothing to be gained from it.
template <class Step>
constexpr size_t togetherOf() {
    if constexpr (requires(Weighed<Step> w) { w.stored; })
        return Weighed<Step>::Set::kTogether;
    else
        return 0;
}

// Where a masked store is dear, one look tells whether no lane of these steps is stored, another one whether
// all are, in plain stores then. Looks at fewer lanes would miss less and cost more: branches at the edges of
// sprites are hard to predict.
template <class Step, class Lanes, size_t... I>
HWY_INLINE void drawTogether(const Step& step, const uint8_t* src, uint8_t* dst, const uint8_t* third,
                             Lanes lanes, std::index_sequence<I...>) {
    constexpr size_t kSrc = Step::kPixels * Step::kSrcBytes, kDst = Step::kPixels * Step::kDstBytes,
                     kThird = Step::kPixels * Step::kThirdBytes;
    if constexpr (sizeof...(I) == 0) {
        drawStep(step, src, dst, third, lanes);
    } else {
        // Built where they stand: g++ copies such a record in pieces, which the loads of whole vectors wait
        // for.
        const Weighed<Step> weighed[] = {step.weigh(src + kSrc * I, third + kThird * I, Whole{})...};
        auto kept = hn::Not(weighed[0].stored.lanes), all = kept;
        ((all = hn::And(all, hn::Not(weighed[I].stored.lanes))), ...);
        ((kept = hn::Or(kept, hn::Not(weighed[I].stored.lanes))), ...);
        const auto d = weighed[0].stored.d;
        if (hn::AllTrue(d, all))
            return;
        const decltype(step.mix(weighed[0], dst, third, Stored{})) mixed[] = {
            step.mix(weighed[I], dst + kDst * I, third + kThird * I, Stored{})...};
        if (hn::AllFalse(d, kept))
            (weighed[I].stored.store(mixed[I], dst + kDst * I, Stored{}), ...);
        else
            (weighed[I].stored.store(mixed[I], dst + kDst * I, lanes), ...);
    }
}

// The kernel that walks the rows of a block. A Walk has
//   - step
//   - third, thirdPitch: the third image
template <class Walk>
void drawRows(const Block& b) {
    using Step = typename Walk::Step;
    constexpr size_t kPixels = Step::kPixels, kSrc = Step::kSrcBytes, kDst = Step::kDstBytes,
                     kThird = Step::kThirdBytes, kSteps = togetherOf<Step>(),
                     kTogether = std::max<size_t>(kSteps, 1) * kPixels;
    constexpr bool kLooks = !kMasks && requires(const Step& step) {
        step.isClear(nullptr, nullptr);
    };
    constexpr size_t kRun = kLooks ? kRunPixels : kTogether;
    const Walk walk(b);
    const Step& step = walk.step;
#    if HWY_TARGET == HWY_ALTIVEC
    drawRowsByVectors(b, step, walk.third, walk.thirdPitch);
    return;
#    endif
    const size_t left = b.width % kPixels, whole = b.width - left;
    const ptrdiff_t srcPitch = b.srcPitch, dstPitch = b.dstPitch, thirdPitch = walk.thirdPitch;
    const uint8_t* src = b.src;
    const uint8_t* third = walk.third;
    uint8_t* dst = b.dst;
    if constexpr (HWY_MAX_BYTES > 16 && requires { Step::kTakesTwoRows; }) {
        // Two rows at a time, unless a row of the destination reaches into the next one, which then blends
        // with what this one wrote. Sources are none of the destination: the block's order is free.
        if (b.width <= kPixels / 2 && static_cast<size_t>(std::abs(dstPitch)) >= b.width * kDst) {
            const TwoRows both{b.width, srcPitch, thirdPitch, dstPitch};
            size_t rows = b.height;
            for (; rows >= 2; rows -= 2, src += 2 * srcPitch, dst += 2 * dstPitch, third += 2 * thirdPitch)
                drawStep(step, src, dst, third, both);
            if (rows)
                drawStep(step, src, dst, third, First{b.width});
            return;
        }
    }
    // Sprites of just this width are common: no loop inside the row, and nothing of it to fetch ahead.
    if (b.width == kPixels) {
        for (size_t rows = b.height; rows; --rows, src += srcPitch, dst += dstPitch, third += thirdPitch)
            drawStep(step, src, dst, third, Whole{});
        return;
    }
    constexpr std::make_index_sequence<kSteps> kOfTogether;
    for (size_t rows = b.height; rows; --rows, src += srcPitch, dst += dstPitch, third += thirdPitch) {
        size_t x = 0;
        for (; x + kRun <= whole; x += kRun) {
            prefetchBehind<kRun * kSrc>(src + x * kSrc);
            if constexpr (kLooks)
                if (step.isClear(src + x * kSrc, third + x * kThird))
                    continue;
            prefetchBehind<kRun * kDst>(dst + x * kDst);
            for (size_t i = 0; i < kRun; i += kTogether)
                drawTogether(step, src + (x + i) * kSrc, dst + (x + i) * kDst, third + (x + i) * kThird,
                             std::conditional_t<kLooks, Seen, Whole>{}, kOfTogether);
        }
        if constexpr (kTogether < kRun)
            for (; x + kTogether <= whole; x += kTogether)
                drawTogether(step, src + x * kSrc, dst + x * kDst, third + x * kThird, Whole{}, kOfTogether);
        if constexpr (kPixels < kTogether)
            for (; x < whole; x += kPixels)
                drawStep(step, src + x * kSrc, dst + x * kDst, third + x * kThird, Whole{});
        if (left)
            drawStep(step, src + x * kSrc, dst + x * kDst, third + x * kThird, First{left});
    }
}

// Walks by a rule whose vector form is S.
template <class S>
struct RouteWalk {
    using Step = S;

    explicit HWY_INLINE RouteWalk(const Block& b)
        : step(b.constantAlpha), third(b.old), thirdPitch(b.oldPitch) {}

    Step step;
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
    using Weights = AlphaWeights<byteAt(L::kA)>;

    explicit HWY_INLINE AlphaOntoA8R8G8B8Step(uint32_t constantAlpha)
        : glance(0xFFU << L::kA, 255 / constantAlpha), // A * C < 256
          weights(constantAlpha),
          toColours(shuffleOfBytes(bytesFrom(byteAt(L::kB), byteAt(L::kG), byteAt(L::kR), 0x80))) {}

    template <class Lanes>
    struct Pixels {
        V32 s;
        typename Weights::Type a;
        using Set = decltype(pairsOf(V32(), Lanes()));
        Set stored;

        HWY_INLINE Pixels(const AlphaOntoA8R8G8B8Step& step, const uint8_t* src, Lanes lanes)
            : s(lanes.load(D32(), src)), a(step.weights(s)), stored(pairsOf(as(D32(), a), lanes)) {}
    };

    template <class Lanes>
    HWY_INLINE Pixels<Lanes> weigh(const uint8_t* src, const uint8_t*, Lanes lanes) const {
        return {*this, src, lanes};
    }

    HWY_INLINE bool isClear(const uint8_t* src, const uint8_t*) const {
        return glance.template seesNone<4>(src);
    }

    template <class P, class Lanes>
    HWY_INLINE auto mix(const P& w, const uint8_t*, const uint8_t* old, Lanes lanes) const {
        const V32 d = w.stored.loadOld(D32(), old, lanes);
        return as(w.stored.d, weights.mix(L::kA == 24 && L::kR == 16 ? w.s : toColours(w.s), d, w.a, lanes));
    }

    Glance glance;
    Weights weights;
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
// outside it; a mixed blue at bit 0 stands alone.

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
    HWY_INLINE V16 converted(V16 r, V16 g, V16 b) const { return select(red, r, select(green, g, b)); }
    HWY_INLINE V16 mixed(V16 r, V16 g, V16 b) const { return addBits(red, r, addBits(green, g, b)); }
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
        return join.converted(red.convert(RedIsHigh ? s.high : s.low), green.convert(s.low),
                              blue.convert(RedIsHigh ? s.low : s.high));
    }
    HWY_INLINE V16 mix(const Halves& s, V16 old, V16 weights) const {
        return join.mixed(red.mix(RedIsHigh ? s.high : s.low, old, weights), green.mix(s.low, old, weights),
                          blue.mix(RedIsHigh ? s.low : s.high, old, weights));
    }
};

// The vector form of AlphaOntoR5G6B5.
template <class L, bool Faded>
struct AlphaOntoR5G6B5Step {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 4, kDstBytes = 2, kThirdBytes = 2;
    static constexpr bool kTakesTwoRows = true;

    explicit HWY_INLINE AlphaOntoR5G6B5Step(uint32_t constantAlpha)
        : glance(0xFFU << L::kA, Faded ? 2047 / constantAlpha : 7), // A * C < 2048
          faded(constantAlpha) {
        // Green is below the middle, with alpha on top.
        static_assert(L::kA == 24 ? L::kG == 8 : L::kA == 0 && L::kG == 16);
    }

    template <class Lanes>
    HWY_INLINE Halves load(const uint8_t* src, Lanes lanes) const {
        const D32 d32;
        return halves(lanes.firstHalf().load(d32, src),
                      lanes.secondHalf().load(d32, src + lanes.secondSource(4 * kLanes32)));
    }

    // A * C >> 11, or A >> 3. From 0 to 31.
    HWY_INLINE V16 weightOf(const Halves& s) const {
        return Faded ? faded(s.high) : hn::ShiftRight<11>(s.high);
    }

    template <class Lanes>
    struct Pixels {
        Halves s;
        V16 a5;
        using Set = decltype(groupsOf(V16(), Lanes()));
        Set stored;

        HWY_INLINE Pixels(const AlphaOntoR5G6B5Step& step, const uint8_t* src, Lanes lanes)
            : s(step.load(src, lanes)), a5(step.weightOf(s)), stored(groupsOf(a5, lanes)) {}
    };

    template <class Lanes>
    HWY_INLINE Pixels<Lanes> weigh(const uint8_t* src, const uint8_t*, Lanes lanes) const {
        return {*this, src, lanes};
    }

    HWY_INLINE bool isClear(const uint8_t* src, const uint8_t*) const {
        return glance.template seesNone<4>(src);
    }

    template <class P, class Lanes>
    HWY_INLINE auto mix(const P& w, const uint8_t*, const uint8_t* old, Lanes lanes) const {
        // 31 counts as 32, which gives the source unchanged; 0 gives the old pixel. Faded weights are at
        // most 255 * 247 >> 11 = 30.
        const V16 a32 = Faded ? w.a5 : w.a5 + hn::SaturatedSub(w.a5, thirty);
        return as(w.stored.d, toR5G6B5.mix(w.s, w.stored.loadOld(D16(), old, lanes), weights(a32)));
    }

    Glance glance;
    AlphaOf32 faded;
    HalvesAlphaHigh<L::kA == 0> halves;
    V16 thirty = kept16(30);
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
    HWY_INLINE Halves weigh(const uint8_t* src, const uint8_t*, Lanes lanes) const {
        return {load24(src, lanes.firstHalf()), load24(src + 3 * kLanes32, lanes.secondHalf())};
    }

    template <class Lanes>
    HWY_INLINE void draw(const Halves& s, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
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
    HWY_INLINE V16 weigh(const uint8_t* src, const uint8_t*, Lanes lanes) const {
        return lanes.load(D16(), src);
    }

    template <class Lanes>
    HWY_INLINE void draw(V16 s, uint8_t* dst, const uint8_t* old, Lanes lanes) const {
        const D16 d16;
        const V16 d = lanes.loadOld(d16, old);
        lanes.store(d16,
                    join.mixed(red.mix(hn::ShiftRight<8>(s), d, weights),
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
    return Faded::fades(b.constantAlpha) ? drawRows<RouteWalk<typename StepOfRule<Faded>::Type>>
                                         : drawRows<RouteWalk<typename StepOfRule<Full>::Type>>;
}

// --- Copies -------------------------------------------------------------------------------------------

// Pixels copied unchanged. What fits the inner caches is left to the C library, which is hard to beat there;
// for more, its larger steps were slower than short ones into whole lines, with both images fetched ahead.
// Non-temporal stores are faster for the copy alone, but whoever draws onto it next waits for the memory:
// frames took longer with them.
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
