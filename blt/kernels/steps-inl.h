// SPDX-License-Identifier: Zlib
//
// The vector forms of the rules of routes. Each gives the scalar kernel's results bit for bit. A step is made
// of what has a constantAlpha: a block, or a blit by SDL's rules.

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// --- A8R8G8B8 -----------------------------------------------------------------------------------------

// The vector form of AlphaOntoA8R8G8B8.
template <class L, bool Faded>
struct AlphaOntoA8R8G8B8Step : VectorStep {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = 4, kDstBytes = 4;

    explicit HWY_INLINE AlphaOntoA8R8G8B8Step(const auto& block)
        : clearTest(0xFFU << L::kA, 255 / block.constantAlpha), // A * C < 256
          weights(block.constantAlpha),
          toColours(shuffleOfBytes(bytesFrom(byteAt(L::kB), byteAt(L::kG), byteAt(L::kR), 0x80))) {}

    template <class At>
    HWY_INLINE bool isClear(At at, const uint8_t* src, const uint8_t*) const {
        return clearTest.template isClear<4>(at, src);
    }

    template <class At>
    HWY_INLINE V32 draw(At, const uint8_t* src, const uint8_t* dst, const uint8_t*) const {
        return mix(At::load(D32(), src), At::load(D32(), dst));
    }
    HWY_INLINE V32 mix(V32 s, V32 old) const {
        return mixOntoA8R8G8B8(L::kA == 24 && L::kR == 16 ? s : toColours(s), old, weights(s));
    }

    ClearTest clearTest;
    SourceWeights<L, Faded> weights;
    Shuffle toColours;
};

// --- R5G6B5 and R5G5B5 --------------------------------------------------------------------------------

// The weights for mixing fields: a for the source, 32 - a for the old pixel, a from 0 to 32.
struct FieldWeights {
    V16 ofOne = hn::Set(D16(), 0xFF01), base = hn::Set(D16(), 0x2000);

    HWY_INLINE FieldWeights() {}
    HWY_INLINE V16 operator()(V16 a) const { return a * ofOne + base; } // a - 256 * a + 32 * 256
    HWY_INLINE V16 ofAll(uint32_t a) const { return (*this)(hn::Set(D16(), static_cast<uint16_t>(a))); }
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

// To mix a field, source and old value are put side by side, the source's in the low byte of 16-bit lanes,
// the old one in the high byte: a * s + (32 - a) * d, whose quotient by 32 is the exact d + floor((s - d) * a
// / 32), is one multiplication then. Results have the field in place and anything outside it; a mixed field
// at bit 0 stands alone.

// A field of five bits, the lowest at bit At. The source's channel is the low byte and stays where it is; the
// old value goes to the top of its byte, so that the sum is at most 31 * 32 << 3, below 2^15.
template <int At>
struct FiveBits {
    V16 inOld = hn::Set(D16(), 0xF800), inSource = hn::Set(D16(), 0x00F8);

    HWY_INLINE FiveBits() {}

    static HWY_INLINE V16 convert(V16 s) { return shifted<At - 3>(s); }

    HWY_INLINE V16 mix(V16 s, V16 old, V16 weights) const {
        V16 top = shifted<11 - At>(old);
        if constexpr (At != 0) // from bit 0, the shift leaves nothing below the field
            top = top & inOld;
        return shifted<At - 8>(multiplyAddBytes(addBits(inSource, s, top), weights));
    }
};

// Green, whose channel is the source's high byte. With six bits it comes down to bit 0, the old value to bit
// 8: the sum, at most 63 * 32, has its quotient in place.
struct SixBitsGreen {
    V16 inOld = hn::Set(D16(), 0x3F00);

    HWY_INLINE SixBitsGreen() {}

    static HWY_INLINE V16 convert(V16 s) { return hn::ShiftRight<5>(s); }

    HWY_INLINE V16 mix(V16 s, V16 old, V16 weights) const {
        return multiplyAddBytes(addBits(inOld, hn::ShiftLeft<3>(old), hn::ShiftRight<10>(s)), weights);
    }
};
struct FiveBitsGreen {
    FiveBits<5> field;

    HWY_INLINE FiveBitsGreen() {}

    static HWY_INLINE V16 convert(V16 s) { return hn::ShiftRight<6>(s); }

    HWY_INLINE V16 mix(V16 s, V16 old, V16 weights) const {
        return field.mix(hn::ShiftRight<8>(s), old, weights);
    }
};

// The fields of a pixel of To. A bit that no field has is 0 afterwards.
template <class To>
struct Fields {
    FiveBits<To::kR> red;
    std::conditional_t<To::kFormat.g.loss == 2, SixBitsGreen, FiveBitsGreen> green;
    FiveBits<0> blue;
    V16 inRed = hn::Set(D16(), To::kFormat.r.mask), inGreen = hn::Set(D16(), To::kFormat.g.mask),
        inBlue = hn::Set(D16(), To::kFormat.b.mask);

    HWY_INLINE Fields() {}

    // From a source whose channels are in these bytes: red and blue in the low one, green in the high one.
    HWY_INLINE V16 convert(V16 withRed, V16 withGreen, V16 withBlue) const {
        return addBits(inRed, red.convert(withRed),
                       addBits(inGreen, green.convert(withGreen), inBlue & blue.convert(withBlue)));
    }
    HWY_INLINE V16 mix(V16 withRed, V16 withGreen, V16 withBlue, V16 old, V16 weights) const {
        return addBits(
            inRed, red.mix(withRed, old, weights),
            addBits(inGreen, green.mix(withGreen, old, weights), blue.mix(withBlue, old, weights)));
    }

    // From pixels in halves: red and blue are their low bytes, either way round.
    template <bool RedIsHigh>
    HWY_INLINE V16 convert(const Halves& s) const {
        return convert(RedIsHigh ? s.high : s.low, s.low, RedIsHigh ? s.low : s.high);
    }
    template <bool RedIsHigh>
    HWY_INLINE V16 mix(const Halves& s, V16 old, V16 weights) const {
        return mix(RedIsHigh ? s.high : s.low, s.low, RedIsHigh ? s.low : s.high, old, weights);
    }

    // From pixels of To itself.
    HWY_INLINE V16 mix(V16 s, V16 old, V16 weights) const {
        return mix(shifted<3 - int{To::kR}>(s), shifted<int{To::kFormat.g.loss} + 8 - int{To::kG}>(s),
                   hn::ShiftLeft<3>(s), old, weights);
    }
};

// The vector form of AlphaOntoFields.
template <class To, class L, bool Faded>
struct AlphaOntoFieldsStep : VectorStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 4, kDstBytes = 2;

    explicit HWY_INLINE AlphaOntoFieldsStep(const auto& block)
        : clearTest(0xFFU << L::kA, Faded ? 2047 / block.constantAlpha : 7), // A * C < 2048
          fade(block.constantAlpha) {
        // Green is below the middle, with alpha on top.
        static_assert(L::kA == 24 ? L::kG == 8 : L::kA == 0 && L::kG == 16);
    }

    template <class At>
    HWY_INLINE bool isClear(At at, const uint8_t* src, const uint8_t*) const {
        return clearTest.template isClear<4>(at, src);
    }

    template <class At>
    HWY_INLINE V16 draw(At, const uint8_t* src, const uint8_t* dst, const uint8_t*) const {
        const D16 d16;
        const D32 d32;
        const Halves s = halves(At::load(d32, src), At::load(d32, src + 4 * kLanes32));
        const V16 old = At::load(d16, dst);
        // A * C >> 11, or A >> 3. From 0 to 31, of which 31 counts as 32 and gives the source unchanged.
        // Faded weights are at most 255 * 247 >> 11 = 30.
        const V16 a = Faded ? fade(s.high) : hn::ShiftRight<11>(s.high);
        const V16 weights = toWeights(Faded ? a : a + hn::SaturatedSub(a, thirty));
        const V16 mixed = fields.template mix<(L::kR > L::kB)>(s, old, weights);
        // A weight of 0 gives the old colours; and the old pixel, if it has no other bits.
        return To::kFormat.g.loss == 2 ? mixed : whereDrawn(d16, a, mixed, old);
    }

    ClearTest clearTest;
    Fade32nds fade;
    HalvesAlphaHigh<L::kA == 0> halves;
    V16 thirty = hn::Set(D16(), 30);
    FieldWeights toWeights;
    Fields<To> fields;
};

// The vector form of OpaqueOntoR5G6B5, from 24 bits.
template <class L, bool Faded>
struct OpaqueOntoR5G6B5Step : VectorStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 3, kDstBytes = 2;

    explicit HWY_INLINE OpaqueOntoR5G6B5Step(const auto& block)
        : weights(FieldWeights().ofAll(block.constantAlpha >> 3)) {}

    template <class At>
    HWY_INLINE V16 draw(At, const uint8_t* src, const uint8_t* dst, const uint8_t*) const {
        constexpr bool kRedIsHigh = L::kR > L::kB;
        const Halves s = halvesOf(At::load24(src), At::load24(src + 3 * kLanes32));
        if constexpr (Faded)
            return fields.template mix<kRedIsHigh>(s, At::load(D16(), dst), weights);
        else
            return fields.template convert<kRedIsHigh>(s);
    }

    V16 weights;
    Fields<R5G6B5> fields;
};

// Pixels of 16 bits blended by one alpha onto their own format. From R5G6B5 it is OpaqueOntoR5G6B5, which
// copies those that aren't faded.
template <class L>
struct FadedFieldsStep : VectorStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 2, kDstBytes = 2;

    explicit HWY_INLINE FadedFieldsStep(const auto& block)
        : weights(FieldWeights().ofAll(block.constantAlpha >> 3)) {}

    template <class At>
    HWY_INLINE V16 draw(At, const uint8_t* src, const uint8_t* dst, const uint8_t*) const {
        const D16 d16;
        return fields.mix(At::load(d16, src), At::load(d16, dst), weights);
    }

    V16 weights;
    Fields<L> fields;
};

// Half of each: the bits that both pixels have, and half of those that one of them has, without what leaves
// its field. (s + d) / 2 in every field, rounded down.
struct HalfOntoR5G6B5Step : VectorStep {
    static constexpr size_t kPixels = kLanes16, kSrcBytes = 2, kDstBytes = 2;

    explicit HWY_INLINE HalfOntoR5G6B5Step(const auto&) {}

    template <class At>
    HWY_INLINE V16 draw(At, const uint8_t* src, const uint8_t* dst, const uint8_t*) const {
        const D16 d16;
        const V16 s = At::load(d16, src), d = At::load(d16, dst);
        return (s & d) + (hn::ShiftRight<1>(s ^ d) & inFields); // .rrrr.ggggg.bbbb
    }

    V16 inFields = hn::Set(D16(), 0x7BEF);
};

// --- Routes -------------------------------------------------------------------------------------------

// The vector form of each rule.
template <class Rule>
struct StepOfRule;
template <class L, class To, bool Faded>
struct StepOfRule<AlphaOntoA8R8G8B8<L, To, Faded>> : std::type_identity<AlphaOntoA8R8G8B8Step<L, Faded>> {};
template <class L, class To, bool Faded>
struct StepOfRule<AlphaOntoFields<L, To, Faded>> : std::type_identity<AlphaOntoFieldsStep<To, L, Faded>> {};
template <class L, class To, bool Faded>
struct StepOfRule<OpaqueOntoR5G6B5<L, To, Faded>> : std::type_identity<OpaqueOntoR5G6B5Step<L, Faded>> {};
template <bool Faded>
struct StepOfRule<OpaqueOntoR5G6B5<R5G6B5, R5G6B5, Faded>> : std::type_identity<FadedFieldsStep<R5G6B5>> {};

// The kernel that draws a block by a step, or that of the next narrower target where its rows have less than
// one vector of pixels.
template <class Step>
Kernel kernelBy(const Block& b, KernelChoice narrower) {
    return b.width < Step::kPixels ? narrower(b) : drawRows<Step, Block>;
}

template <class Route>
Kernel routeKernel(const Block& b) {
    const KernelChoice narrower = kNarrowerKernels.routes[Route::kIndex];
    if (!Route::Faded::fades(b.constantAlpha))
        return kernelBy<typename StepOfRule<typename Route::Full>::type>(b, narrower);
    if constexpr (std::is_same_v<typename Route::Faded, OpaqueOntoR5G6B5<R5G6B5, R5G6B5, true>>)
        if (b.constantAlpha >> 3 == 16)
            return kernelBy<HalfOntoR5G6B5Step>(b, narrower);
    return kernelBy<typename StepOfRule<typename Route::Faded>::type>(b, narrower);
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
