// SPDX-License-Identifier: Zlib
//
// AVX-512: vectors of 64 bytes, any selection of bits in one instruction, lanes moved across the whole
// vector. See vec-inl.h for what is defined here.

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

template <class V>
HWY_INLINE V select(V mask, V a, V b) {
    return V{_mm512_ternarylogic_epi64(a.raw, mask.raw, b.raw, 0xE2)}; // in a's place, which spares a copy
}

template <class V>
HWY_INLINE V addBits(V mask, V a, V b) {
    return V{_mm512_ternarylogic_epi64(a.raw, mask.raw, b.raw, 0xEA)};
}

HWY_INLINE V16 multiplyAddBytes(V16 x, V16 w) {
    return V16{_mm512_maddubs_epi16(x.raw, w.raw)};
}

HWY_INLINE V16 oneMoreAt(uint16_t value, V16 v) {
    const D16 d;
    const __mmask32 lanes = _mm512_cmpeq_epi16_mask(v.raw, hn::Set(d, value).raw);
    return V16{_mm512_mask_add_epi16(v.raw, lanes, v.raw, hn::Set(d, 1).raw)};
}

HWY_INLINE V16 orderForZip(V16 v) {
    alignas(64) static constexpr int64_t kOrder[8] = {0, 4, 1, 5, 2, 6, 3, 7};
    return as(D16(), hn::TableLookupLanes(as(D64(), v), hn::SetTableIndices(D64(), kOrder)));
}

HWY_INLINE V32 pack24(V32 v) {
    const D8 d8;
    alignas(16) static constexpr uint8_t kBytes[16] = {0,  1,  2,  4,  5,    6,    8,    9,
                                                       10, 12, 13, 14, 0x80, 0x80, 0x80, 0x80};
    alignas(64) static constexpr int32_t kWords[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 3, 3, 3, 3};
    const V32 inBlocks = as(D32(), hn::TableLookupBytesOr0(as(d8, v), hn::LoadDup128(d8, kBytes)));
    return hn::TableLookupLanes(inBlocks, hn::SetTableIndices(D32(), kWords));
}

HWY_INLINE V32 oneLaneLater(V32 before, V32 v) {
    return V32{_mm512_alignr_epi32(v.raw, before.raw, 15)};
}

struct Anywhere : AnyAddress {
    // Each block of 16 bytes gets its own three words.
    static HWY_INLINE V32 load24(const uint8_t* p) {
        const D8 d8;
        const D32 d32;
        alignas(64) static constexpr int32_t kWords[16] = {0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11};
        alignas(16) static constexpr uint8_t kBytes[16] = {0, 1, 2, 0x80, 3, 4,  5,  0x80,
                                                           6, 7, 8, 0x80, 9, 10, 11, 0x80};
        const auto packed =
            hn::MaskedLoad(hn::FirstN(d32, kLanes32 / 4 * 3), d32, reinterpret_cast<const uint32_t*>(p));
        const V32 inBlocks = hn::TableLookupLanes(packed, hn::SetTableIndices(d32, kWords));
        return as(d32, hn::TableLookupBytesOr0(as(d8, inBlocks), hn::LoadDup128(d8, kBytes)));
    }
};

template <class L, bool Faded>
using SourceWeights = WordWeights<L, Faded>;
using Fade32nds = WordFade32nds;
using MovedHalves = HalvesByMoving;

HWY_INLINE V32 mixOntoA8R8G8B8(V32 s, V32 d, V16 a) {
    const D32 d32;
    const V32 taken =
        hn::IfThenElse(hn::Eq(as(d32, a), hn::Zero(d32)), hn::Set(d32, 0xFF00FF00), hn::Set(d32, 0x0000FF00));
    return MixedBytes(s, d, a).joined(taken);
}

template <bool AlphaIsLow>
using HalvesAlphaHigh = HalvesAlphaHighByMoving<AlphaIsLow>;

// A shift by lanes is one instruction, one by a single count takes two.
struct RightShift {
    V16 by;

    explicit HWY_INLINE RightShift(uint32_t n) : by(hn::Set(D16(), static_cast<uint16_t>(n))) {}
    HWY_INLINE V16 operator()(V16 v) const { return v >> by; }
};

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
