// SPDX-License-Identifier: Zlib
//
// The vector forms of SDL's rules.

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// --- Any layout onto any other ------------------------------------------------------------------------

// 16-bit pixels widened to a byte for each channel, and back.
template <SdlLayout Layout>
HWY_INLINE V32 sdlWidenLanes(V32 v) {
    if constexpr (sdlBytes(Layout) != 2)
        return v;
    using L = SdlFields<Layout>;
    constexpr Format kFormat = L::kFormat;
    const D32 d32;
    return hn::ShiftLeft<16 + 3 - L::kR>(v & hn::Set(d32, kFormat.r.mask)) |
           hn::ShiftLeft<8 + kFormat.g.loss - L::kG>(v & hn::Set(d32, kFormat.g.mask)) |
           hn::ShiftLeft<3>(v & hn::Set(d32, kFormat.b.mask));
}

template <SdlLayout Layout>
HWY_INLINE V32 sdlNarrowLanes(V32 v) {
    if constexpr (sdlBytes(Layout) != 2)
        return v;
    using L = SdlFields<Layout>;
    constexpr Format kFormat = L::kFormat;
    const D32 d32;
    return (hn::ShiftRight<16 + 3 - L::kR>(v) & hn::Set(d32, kFormat.r.mask)) |
           (hn::ShiftRight<8 + kFormat.g.loss - L::kG>(v) & hn::Set(d32, kFormat.g.mask)) |
           (hn::ShiftRight<3>(v) & hn::Set(d32, kFormat.b.mask));
}

template <SdlLayout From, SdlLayout To, bool PerPixel>
class SdlStep : public VectorStep {
public:
    static constexpr size_t kPixels = kLanes32, kSrcBytes = sdlBytes(From), kDstBytes = sdlBytes(To);

    explicit HWY_INLINE SdlStep(const SdlBlit& b)
        : clearTest_(PerPixel ? 0xFFU << b.alphaShift : 0, 0), place_(shuffleOfBytes(b.place)),
          toWeight_(shuffleOfBytes(bytesFrom(b.alphaShift / 8, 0x80, b.alphaShift / 8, 0x80))),
          weight_(hn::Set(D16(), static_cast<uint16_t>(b.constantAlpha))),
          lastBlended_(hn::Set(D16(), static_cast<uint16_t>(b.rule.opaqueFrom - 1))),
          alphaBits_(hn::Set(D16(), static_cast<uint16_t>(b.rule.alphaBits))),
          roundUp_(hn::Set(D16(), static_cast<uint16_t>(b.rule.roundUp))), key_(hn::Set(D32(), b.key)),
          cut_(hn::Set(D32(), b.cut)), colours_(hn::Set(D32(), b.colours & ~b.ones)),
          kept_(hn::Set(D32(), b.kept)), ones_(hn::Set(D32(), b.ones)),
          opaqueOnes_(hn::Set(D32(), b.opaqueOnes)), keyed_(b.keyed), marksFalling_(b.marksFalling) {}

    template <class At>
    HWY_INLINE bool isClear(At at, const uint8_t* src, const uint8_t*) const requires PerPixel {
        return clearTest_.template isClear<4>(at, src);
    }

    template <class At>
    HWY_INLINE V32 draw(At at, const uint8_t* src, const uint8_t* dst, const uint8_t*) const {
        const D16 d16;
        const D32 d32;
        const V32 s = loadPixels<kSrcBytes>(at, src), d = loadPixels<kDstBytes>(at, dst),
                  wide = sdlWidenLanes<To>(d);
        V16 w = weight_;
        V32 undrawn = hn::Zero(d32); // ones in the pixels that are left alone
        if constexpr (PerPixel) {
            const V16 alpha = as(d16, toWeight_(s)); // in both halves
            undrawn = hn::VecFromMask(d32, hn::Eq(as(d32, alpha), hn::Zero(d32)));
            const hn::RebindToSigned<D16> i16;
            w = hn::IfThenElse(hn::RebindMask(d16, hn::Gt(as(i16, alpha), as(i16, lastBlended_))),
                               hn::Set(d16, 256), alpha & alphaBits_);
        } else if (keyed_) {
            undrawn = hn::VecFromMask(d32, hn::Eq(s, key_));
        }
        const V32 mixed = MixedBytes(place_(sdlWidenLanes<From>(s)) & cut_, wide, w, roundUp_)
                              .joined(hn::Set(d32, 0xFF00FF00));
        V32 result = addBits(colours_, sdlNarrowLanes<To>(mixed), ones_) | (d & kept_);
        if constexpr (To == SdlLayout::k32) {
            if constexpr (PerPixel)
                result =
                    (result | hn::IfThenElseZero(hn::Eq(as(d32, w), hn::Set(d32, 0x01000100)), opaqueOnes_));
            if (marksFalling_) {
                const auto low = hn::Set(d32, 0xFF);
                const hn::RebindToSigned<D32> i32;
                const auto falls = hn::RebindMask(d32, hn::Lt(as(i32, mixed & low), as(i32, d & low)));
                result = result | hn::IfThenElseZero(falls, hn::Set(d32, 1U << 24));
            }
        }
        return select(undrawn, d, result);
    }

    template <class At>
    static HWY_INLINE void store(At at, V32 drawn, uint8_t* dst) {
        storePixels<kDstBytes>(at, drawn, dst);
    }

private:
    ClearTest clearTest_;
    Shuffle place_, toWeight_;
    V16 weight_, lastBlended_, alphaBits_, roundUp_;
    V32 key_, cut_, colours_, kept_, ones_, opaqueOnes_;
    bool keyed_, marksFalling_;
};

// --- Onto 32 bits with the colours in place -----------------------------------------------------------

// By the source's alpha, of which 255 counts as 256. The destination's top byte stays.
struct SdlAlphaOnto32Step : VectorStep {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = 4, kDstBytes = 4;

    explicit HWY_INLINE SdlAlphaOnto32Step(const SdlBlit&) {}

    template <class At>
    HWY_INLINE bool isClear(At at, const uint8_t* src, const uint8_t*) const {
        return clearTest.template isClear<4>(at, src);
    }

    template <class At>
    HWY_INLINE V32 draw(At, const uint8_t* src, const uint8_t* dst, const uint8_t*) const {
        const D16 d16;
        const D32 d32;
        const V32 s = At::load(d32, src), d = At::load(d32, dst);
        const V16 alpha = as(d16, toWeight(s)), w = alpha + hn::ShiftRight<8>(alpha + one);
        const V32 mixed = MixedBytes(s, d, w).joined(hn::Set(d32, 0x0000FF00));
        return addBits(hn::Set(d32, 0xFF000000), d, mixed);
    }

    ClearTest clearTest{0xFF000000, 0};
    Shuffle toWeight = shuffleOfBytes(bytesFrom(3, 0x80, 3, 0x80));
    V16 one = hn::Set(D16(), 1);
};

// By one alpha, which also sets the top byte.
struct SdlFadeOnto32Step : VectorStep {
    static constexpr size_t kPixels = kLanes32, kSrcBytes = 4, kDstBytes = 4;

    explicit HWY_INLINE SdlFadeOnto32Step(const SdlBlit& b)
        : weight(hn::Set(D16(), static_cast<uint16_t>(b.constantAlpha))) {}

    template <class At>
    HWY_INLINE V32 draw(At, const uint8_t* src, const uint8_t* dst, const uint8_t*) const {
        const D32 d32;
        const V32 mixed =
            MixedBytes(At::load(d32, src), At::load(d32, dst), weight).joined(hn::Set(d32, 0x0000FF00));
        return mixed | hn::Set(d32, 0xFF000000);
    }

    V16 weight;
};

// --- Copies by colour key -----------------------------------------------------------------------------

template <SdlLayout Layout>
class SdlCopyStep : public VectorStep {
    static constexpr bool kIsShort = sdlBytes(Layout) == 2;
    using D = std::conditional_t<kIsShort, D16, D32>;
    using V = hn::Vec<D>;
    using Lane = hn::TFromD<D>;

public:
    static constexpr size_t kPixels = hn::MaxLanes(D()), kSrcBytes = sdlBytes(Layout), kDstBytes = kSrcBytes;

    explicit HWY_INLINE SdlCopyStep(const SdlBlit& b)
        : key_(hn::Set(D(), static_cast<Lane>(b.key))),
          colours_(hn::Set(D(), static_cast<Lane>(b.colours & ~b.ones))),
          ones_(hn::Set(D(), static_cast<Lane>(b.ones))) {}

    template <class At>
    HWY_INLINE V draw(At at, const uint8_t* src, const uint8_t* dst, const uint8_t*) const {
        const V s = load(at, src);
        return hn::IfThenElse(hn::Eq(s, key_), load(at, dst), addBits(colours_, s, ones_));
    }

    template <class At>
    static HWY_INLINE void store(At at, V drawn, uint8_t* dst) {
        if constexpr (kIsShort)
            At::store(D(), drawn, dst);
        else
            storePixels<kDstBytes>(at, drawn, dst);
    }

private:
    template <class At>
    static HWY_INLINE V load(At at, const uint8_t* p) {
        if constexpr (kIsShort)
            return At::load(D(), p);
        else
            return loadPixels<kSrcBytes>(at, p);
    }

    V key_, colours_, ones_;
};

// --- The choice ---------------------------------------------------------------------------------------

// Draws a blit by a step; or leaves it to the next narrower target where its rows have less than one vector.
template <class Step>
HWY_INLINE void drawSdlBlitBy(const SdlBlit& b) {
    b.width < Step::kPixels ? kNarrowerKernels.sdl(b) : drawRows<Step, SdlBlit>(b);
}

template <SdlLayout To, bool PerPixel>
using SdlInPlaceStep =
    std::conditional_t<To == SdlLayout::k32,
                       std::conditional_t<PerPixel, SdlAlphaOnto32Step, SdlFadeOnto32Step>,
                       std::conditional_t<PerPixel, AlphaOntoFieldsStep<SdlFields<To>, A8R8G8B8, false>,
                                          FadedFieldsStep<SdlFields<To>>>>;

inline void sdlKernel(const SdlBlit& b) {
    if (b.inPlace)
        return withSdlInPlace(b, [&]<SdlLayout To, bool PerPixel>()
                                     HWY_ATTR { drawSdlBlitBy<SdlInPlaceStep<To, PerPixel>>(b); });
    if (b.copies) {
        switch (sdlBytes(b.to)) {
        case 4:
            return drawSdlBlitBy<SdlCopyStep<SdlLayout::k32>>(b);
        case 3:
            return drawSdlBlitBy<SdlCopyStep<SdlLayout::k24>>(b);
        default:
            return drawSdlBlitBy<SdlCopyStep<SdlLayout::kR5G6B5>>(b);
        }
    }
    withSdlLayouts(b, [&]<SdlLayout From, SdlLayout To, bool PerPixel>()
                          HWY_ATTR { drawSdlBlitBy<SdlStep<From, To, PerPixel>>(b); });
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
