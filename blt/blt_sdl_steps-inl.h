// SPDX-License-Identifier: Zlib
//
// The vector kernel of blits by SDL's rules: the formula of blt_sdl.h on a 32-bit lane for each pixel. Pixels
// that are not drawn are stored with their old value.

#if defined(ORMSEL_BLT_SDL_STEPS_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_BLT_SDL_STEPS_INL_H
#        undef ORMSEL_BLT_SDL_STEPS_INL_H
#    else
#        define ORMSEL_BLT_SDL_STEPS_INL_H
#    endif

#    include "blt_lanes-inl.h"
#    include "blt_sdl_steps_scalar.h"

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// The pixels of a step as values in 32-bit lanes. No other bytes than theirs are read or written.
template <SdlLayout Layout, class Lanes>
HWY_INLINE V32 sdlLoadLanes(const uint8_t* p, Lanes lanes) {
    if constexpr (Layout == SdlLayout::k32)
        return lanes.loadOld(D32(), p);
    else if constexpr (Layout == SdlLayout::k24)
        return load24(p, lanes);
    else
        return hn::PromoteTo(D32(), lanes.load(hn::Rebind<uint16_t, D32>(), p));
}

template <SdlLayout Layout, class Lanes>
HWY_INLINE void sdlStoreLanes(V32 v, uint8_t* p, Lanes lanes) {
    if constexpr (Layout == SdlLayout::k32) {
        lanes.store(D32(), v, p);
    } else if constexpr (Layout == SdlLayout::k24) {
        store24(v, p, lanes);
    } else { // the lanes' low halves
        const hn::Rebind<uint16_t, D32> half;
        lanes.store(half, hn::TruncateTo(half, v), p);
    }
}

template <SdlLayout Layout>
HWY_INLINE V32 sdlWidenLanes(V32 v) {
    const D32 d32;
    const auto bits = [&](uint32_t mask) { return hn::And(v, hn::Set(d32, mask)); };
    if constexpr (Layout == SdlLayout::kR5G6B5)
        return hn::Or(hn::ShiftLeft<8>(bits(0xF800)),
                      hn::Or(hn::ShiftLeft<5>(bits(0x07E0)), hn::ShiftLeft<3>(bits(0x001F))));
    else if constexpr (Layout == SdlLayout::kR5G5B5)
        return hn::Or(hn::ShiftLeft<9>(bits(0x7C00)),
                      hn::Or(hn::ShiftLeft<6>(bits(0x03E0)), hn::ShiftLeft<3>(bits(0x001F))));
    else
        return v;
}

template <SdlLayout Layout>
HWY_INLINE V32 sdlNarrowLanes(V32 v) {
    const D32 d32;
    const auto bits = [&](V32 shifted, uint32_t mask) { return hn::And(shifted, hn::Set(d32, mask)); };
    if constexpr (Layout == SdlLayout::kR5G6B5)
        return hn::Or(bits(hn::ShiftRight<8>(v), 0xF800),
                      hn::Or(bits(hn::ShiftRight<5>(v), 0x07E0), bits(hn::ShiftRight<3>(v), 0x001F)));
    else if constexpr (Layout == SdlLayout::kR5G5B5)
        return hn::Or(bits(hn::ShiftRight<9>(v), 0x7C00),
                      hn::Or(bits(hn::ShiftRight<6>(v), 0x03E0), bits(hn::ShiftRight<3>(v), 0x001F)));
    else
        return v;
}

// The formula on bytes, under a weight in both halves of each lane.
HWY_INLINE V32 sdlMix(V32 s, V32 d, V16 w) {
    const D16 d16;
    const auto low = hn::Set(d16, 0xFF);
    const V16 rest = hn::Set(d16, 256) - w;
    const V16 even = hn::And(as(d16, s), low) * w + hn::And(as(d16, d), low) * rest;
    const V16 odd = hn::ShiftRight<8>(as(d16, s)) * w + hn::ShiftRight<8>(as(d16, d)) * rest;
    return as(D32(), select(low, hn::ShiftRight<8>(even), odd));
}

// The constants of a blit as vectors.
template <SdlLayout From, SdlLayout To, bool PerPixel>
class SdlStep {
public:
    explicit HWY_INLINE SdlStep(const SdlBlit& b)
        : place_(shuffleOfBytes(b.place)),
          toWeight_(shuffleOfBytes(bytesFrom(b.alphaShift / 8, 0x80, b.alphaShift / 8, 0x80))),
          weight_(hn::Set(D16(), static_cast<uint16_t>(b.weight))),
          lastBlended_(hn::Set(D16(), static_cast<uint16_t>(b.rule.opaqueFrom - 1))),
          alphaBits_(hn::Set(D16(), static_cast<uint16_t>(b.rule.alphaBits))),
          roundUp_(hn::Set(D16(), static_cast<uint16_t>(b.rule.roundUp))), key_(hn::Set(D32(), b.key)),
          cut_(hn::Set(D32(), b.cut)), colours_(hn::Set(D32(), b.colours & ~b.ones)),
          kept_(hn::Set(D32(), b.kept)), ones_(hn::Set(D32(), b.ones)),
          opaqueOnes_(hn::Set(D32(), b.opaqueOnes)), keyed_(b.keyed), notesFall_(b.notesFall) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, Lanes lanes) const {
        const D16 d16;
        const D32 d32;
        const V32 s = sdlLoadLanes<From>(src, lanes);
        V16 w = weight_;
        M32 drawn;
        if constexpr (PerPixel) {
            const V16 alpha = as(d16, toWeight_(s)); // in both halves
            drawn = hn::Ne(as(d32, alpha), hn::Zero(d32));
            if (hn::AllFalse(d32, drawn))
                return;
            const hn::RebindToSigned<D16> i16;
            w = hn::IfThenElse(hn::RebindMask(d16, hn::Gt(as(i16, alpha), as(i16, lastBlended_))),
                               hn::Set(d16, 256), hn::And(alpha, alphaBits_));
        } else if (keyed_) {
            drawn = hn::Ne(s, key_);
            if (hn::AllFalse(d32, drawn))
                return;
        } else {
            drawn = hn::Eq(s, s);
        }
        const V32 d = sdlLoadLanes<To>(dst, lanes);
        const V32 wide = sdlWidenLanes<To>(d);
        const V32 mixed = mix(hn::And(place_(sdlWidenLanes<From>(s)), cut_), wide, w);
        V32 result = hn::Or(addBits(colours_, sdlNarrowLanes<To>(mixed), ones_), hn::And(d, kept_));
        if constexpr (To == SdlLayout::k32) {
            if constexpr (PerPixel)
                result = hn::Or(
                    result, hn::IfThenElseZero(hn::Eq(as(d32, w), hn::Set(d32, 0x01000100)), opaqueOnes_));
            if (notesFall_) {
                const auto low = hn::Set(d32, 0xFF);
                const hn::RebindToSigned<D32> i32;
                const auto falls =
                    hn::RebindMask(d32, hn::Lt(as(i32, hn::And(mixed, low)), as(i32, hn::And(d, low))));
                result = hn::Or(result, hn::IfThenElseZero(falls, hn::Set(d32, 1U << 24)));
            }
        }
        if (PerPixel || keyed_)
            result = hn::IfThenElse(drawn, result, d);
        sdlStoreLanes<To>(result, dst, lanes);
    }

private:
    HWY_INLINE V32 mix(V32 s, V32 d, V16 w) const {
        const D16 d16;
        const auto low = hn::Set(d16, 0xFF);
        const V16 rest = hn::Set(d16, 256) - w;
        const V16 even = hn::And(as(d16, s), low) * w + hn::And(as(d16, d), low) * rest + roundUp_;
        const V16 odd = hn::ShiftRight<8>(as(d16, s)) * w + hn::ShiftRight<8>(as(d16, d)) * rest + roundUp_;
        return as(D32(), select(low, hn::ShiftRight<8>(even), odd));
    }

    Shuffle place_, toWeight_;
    V16 weight_, lastBlended_, alphaBits_, roundUp_;
    V32 key_, cut_, colours_, kept_, ones_, opaqueOnes_;
    bool keyed_, notesFall_;
};

// --- Tidy blits ---------------------------------------------------------------------------------------
//
// Those that SDL has quick code for, and most that games ask for. By pixel, most vectors of a sprite are
// clear or opaque throughout, which spares the mixing; a clear pixel mixes to the old one, and needs no mask.

// sdlSpreadMix() of the scalar steps; `all` are the bits of the channels.
HWY_INLINE V32 sdlSpreadMix(V32 spread, V32 d, V32 w, V32 all) {
    const V32 onto = hn::And(hn::Or(d, hn::ShiftLeft<16>(d)), all);
    const V32 mixed = hn::And(onto + hn::ShiftRight<5>((spread - onto) * w), all);
    return hn::Or(mixed, hn::ShiftRight<16>(mixed));
}

// What a step does before it mixes: true if that was all. `mixes` isn't 0 where a pixel is neither clear nor
// opaque. The last pixels of a row are mixed at once: their branches would be hard to predict.
// Stores the drawn pixels of a step in which either every pixel is drawn or stores have masks.
template <SdlLayout To>
HWY_INLINE void sdlStoreDrawn(V32 v, [[maybe_unused]] M32 drawn, uint8_t* p, Whole lanes) {
#    if HWY_TARGET == HWY_AVX3
    if constexpr (To == SdlLayout::k32)
        lanes.storeWhere(D32(), v, drawn, p);
    else
        storeWordsWhere(v, drawn, p);
#    else
    sdlStoreLanes<To>(v, p, lanes);
#    endif
}

template <class Lanes, class Store>
HWY_INLINE bool sdlIsDoneUnmixed(V32 mixes, V32 s, Lanes, const Store& storeOpaque) {
    const D32 d32;
    if constexpr (std::is_same_v<Lanes, First>)
        return false;
    if (!hn::AllTrue(d32, hn::Eq(mixes, hn::Zero(d32))))
        return false;
    const hn::RebindToSigned<D32> i32;
    const M32 opaque = hn::RebindMask(d32, hn::Lt(as(i32, s), hn::Zero(i32))); // of pixels that don't mix
    if (hn::AllFalse(d32, opaque)) // old pixels stay out of the caches
        return true;
    if constexpr (!kMasks)
        if (!hn::AllTrue(d32, opaque))
            return false;
    storeOpaque(opaque);
    return true;
}

// The steps' constants are kept, as they are set up for few pixels often. Their constructors are written out:
// a default one would be for every processor.

template <SdlLayout To>
class SdlTidyStep {
    using Spread = SdlSpread<To>;

public:
    explicit HWY_INLINE SdlTidyStep(const SdlBlit&) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, Lanes lanes) const {
        const V32 s = sdlLoadLanes<SdlLayout::k32>(src, lanes);
        const V32 high = hn::ShiftRight<Spread::kHighDown>(s), low = hn::ShiftRight<Spread::kLowDown>(s);
        const V32 others = hn::Or(hn::And(high, high_), hn::And(low, low_));
        // Clear and opaque ones have no bits from 28 on then.
        if (sdlIsDoneUnmixed(hn::And(s + toMixed_, mixed_), s, lanes, [&](M32 drawn) {
                const V32 green = hn::ShiftRight<Spread::kGreenDown>(s);
                sdlStoreDrawn<To>(addBits(hn::ShiftRight<16>(green_), green, others), drawn, dst, Whole());
            }))
            return;
        const V32 alpha = hn::ShiftRight<27>(s);
        const V32 w = alpha + hn::ShiftRight<5>(alpha + one_);
        const V32 d = sdlLoadLanes<To>(dst, lanes);
        V32 result = sdlSpreadMix(addBits(green_, hn::ShiftLeft<Spread::kGreenUp>(s), others), d, w, all_);
        if constexpr (!Spread::kSix)
            result = hn::IfThenElse(hn::Eq(w, hn::Zero(D32())), d, result);
        sdlStoreLanes<To>(result, dst, lanes);
    }

private:
    V32 green_ = kept32(Spread::kGreen << 16), high_ = kept32(Spread::kHigh), low_ = kept32(Spread::kLow);
    V32 all_ = kept32(Spread::kAll), one_ = kept32(1);
    V32 toMixed_ = kept32(0x08000000), mixed_ = kept32(0xF0000000);
};

template <>
class SdlTidyStep<SdlLayout::k32> {
public:
    explicit HWY_INLINE SdlTidyStep(const SdlBlit&) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, Lanes lanes) const {
        const D16 d16;
        const V32 s = sdlLoadLanes<SdlLayout::k32>(src, lanes);
        if (sdlIsDoneUnmixed(hn::And(s + toMixed_, mixed_), s, lanes, [&](M32 drawn) {
                const V32 d = sdlLoadLanes<SdlLayout::k32>(dst, Whole());
                sdlStoreDrawn<SdlLayout::k32>(select(colours_, s, d), drawn, dst, Whole());
            }))
            return;
        const V16 alpha = as(d16, toWeight_(s));
        const V16 w = alpha + hn::ShiftRight<8>(alpha + one_);
        const V32 d = sdlLoadLanes<SdlLayout::k32>(dst, lanes);
        sdlStoreLanes<SdlLayout::k32>(select(colours_, sdlMix(s, d, w), d), dst, lanes);
    }

private:
    V32 colours_ = kept32(0xFFFFFF), toMixed_ = kept32(0x01000000), mixed_ = kept32(0xFE000000);
    V16 one_ = kept16(1);
    Shuffle toWeight_ = shuffleOfBytes(bytesFrom(3, 0x80, 3, 0x80));
};

// By one alpha, between pixels of the same layout.
template <SdlLayout Layout>
class SdlTidyAlphaStep {
public:
    explicit HWY_INLINE SdlTidyAlphaStep(const SdlBlit& b)
        : in32nds_(kept32(b.weight / 8)), in256ths_(kept16(static_cast<uint16_t>(b.weight))) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, Lanes lanes) const {
        const V32 s = sdlLoadLanes<Layout>(src, lanes), d = sdlLoadLanes<Layout>(dst, lanes);
        if constexpr (Layout == SdlLayout::k32)
            sdlStoreLanes<Layout>(hn::Or(sdlMix(s, d, in256ths_), ones_), dst, lanes);
        else
            sdlStoreLanes<Layout>(
                sdlSpreadMix(hn::And(hn::Or(s, hn::ShiftLeft<16>(s)), all_), d, in32nds_, all_), dst, lanes);
    }

private:
    V32 in32nds_, ones_ = kept32(0xFF000000), all_ = kept32(SdlSpread<Layout>::kAll);
    V16 in256ths_;
};

// Copies by colour key.
template <SdlLayout Layout>
class SdlCopyStep {
public:
    explicit HWY_INLINE SdlCopyStep(const SdlBlit& b)
        : key_(hn::Set(D32(), b.key)), colours_(hn::Set(D32(), b.colours & ~b.ones)),
          ones_(hn::Set(D32(), b.ones)) {}

    template <class Lanes>
    HWY_INLINE void operator()(const uint8_t* src, uint8_t* dst, Lanes lanes) const {
        const D32 d32;
        const V32 s = sdlLoadLanes<Layout>(src, lanes);
        const M32 drawn = hn::Ne(s, key_);
        if (hn::AllFalse(d32, drawn))
            return;
        const V32 d = sdlLoadLanes<Layout>(dst, lanes);
        sdlStoreLanes<Layout>(hn::IfThenElse(drawn, addBits(colours_, s, ones_), d), dst, lanes);
    }

private:
    V32 key_, colours_, ones_;
};

template <SdlLayout From, SdlLayout To, class Step>
HWY_INLINE void sdlRows(const SdlBlit& b, const Step& step) {
    constexpr size_t kFrom = sdlBytes(From), kTo = sdlBytes(To);
    const uint8_t* srcRow = b.src;
    uint8_t* dstRow = b.dst;
    const ptrdiff_t srcPitch = b.srcPitch, dstPitch = b.dstPitch;
    const size_t rest = b.width % kLanes32, whole = b.width - rest;
    for (size_t rows = b.height; rows; --rows, srcRow += srcPitch, dstRow += dstPitch) {
        for (size_t x = 0; x < whole; x += kLanes32) {
            prefetchBehind<kLanes32 * kFrom>(srcRow + x * kFrom);
            prefetchBehind<kLanes32 * kTo>(dstRow + x * kTo);
            step(srcRow + x * kFrom, dstRow + x * kTo, Whole());
        }
        if (rest)
            step(srcRow + whole * kFrom, dstRow + whole * kTo, First{rest});
    }
}

template <SdlLayout Layout>
void sdlCopyRows(const SdlBlit& b) {
    sdlRows<Layout, Layout>(b, SdlCopyStep<Layout>(b));
}

inline void sdlKernel(const SdlBlit& b) {
    if (b.tidy)
        return withSdlTidy(b, [&]<SdlLayout To, bool PerPixel>() {
            if constexpr (PerPixel)
                sdlRows<SdlLayout::k32, To>(b, SdlTidyStep<To>(b));
            else
                sdlRows<To, To>(b, SdlTidyAlphaStep<To>(b));
        });
    if (b.copies) {
        switch (sdlBytes(b.to)) {
        case 4:
            return sdlCopyRows<SdlLayout::k32>(b);
        case 3:
            return sdlCopyRows<SdlLayout::k24>(b);
        default:
            return sdlCopyRows<SdlLayout::kR5G6B5>(b);
        }
    }
    withSdlLayouts(b, [&]<SdlLayout From, SdlLayout To, bool PerPixel>() {
        sdlRows<From, To>(b, SdlStep<From, To, PerPixel>(b));
    });
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
