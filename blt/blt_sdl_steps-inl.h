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

#    include "blt_sdl_steps_scalar.h"
#    include "blt_vec-inl.h"

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
    } else {
        const hn::Rebind<uint16_t, D32> half;
        const auto words = hn::DemoteTo(half, as(hn::RebindToSigned<D32>(), v));
        lanes.store(half, words, p);
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

// The constants of a blit as vectors.
template <SdlLayout From, SdlLayout To, bool PerPixel>
class SdlStep {
public:
    explicit HWY_INLINE SdlStep(const SdlBlit& b)
        : place_(shuffleOfBytes(b.place)),
          toWeight_(shuffleOfBytes(bytesFrom(b.alphaShift / 8, 0x80, b.alphaShift / 8, 0x80))),
          lastClear_(
              hn::Set(hn::RebindToSigned<D32>(), static_cast<int32_t>(b.rule.drawnFrom - 1) * 0x10001)),
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
            const hn::RebindToSigned<D32> i32;
            drawn = hn::RebindMask(d32, hn::Gt(as(i32, alpha), lastClear_));
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
    hn::Vec<hn::RebindToSigned<D32>> lastClear_;
    V16 weight_, lastBlended_, alphaBits_, roundUp_;
    V32 key_, cut_, colours_, kept_, ones_, opaqueOnes_;
    bool keyed_, notesFall_;
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
    for (size_t y = 0; y < b.height; ++y, srcRow += b.srcPitch, dstRow += b.dstPitch) {
        const uint8_t* src = srcRow;
        uint8_t* dst = dstRow;
        size_t rest = b.width;
        for (; rest >= kLanes32; rest -= kLanes32, src += kLanes32 * kFrom, dst += kLanes32 * kTo) {
            prefetchBehind<kLanes32 * kFrom>(src);
            prefetchBehind<kLanes32 * kTo>(dst);
            step(src, dst, Whole());
        }
        if (rest)
            step(src, dst, First{rest});
    }
}

template <SdlLayout Layout>
void sdlCopyRows(const SdlBlit& b) {
    sdlRows<Layout, Layout>(b, SdlCopyStep<Layout>(b));
}

inline void sdlKernel(const SdlBlit& b) {
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
