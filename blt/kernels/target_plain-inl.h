// SPDX-License-Identifier: Zlib
//
// AVX2, SSE4 and NEON: vectors of one block of 16 bytes, or of two, within which bytes are shuffled and lanes
// zipped. See vec-inl.h for what is defined here.
static_assert(!ormsel::kBigEndian);

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

template <class V>
HWY_INLINE V select(V mask, V a, V b) {
    return (mask & a) | hn::AndNot(mask, b);
}

template <class V>
HWY_INLINE V addBits(V mask, V a, V b) {
    return (mask & a) | b;
}

HWY_INLINE V16 oneMoreAt(uint16_t value, V16 v) {
    const D16 d;
    return v - hn::VecFromMask(d, hn::Eq(v, hn::Set(d, value)));
}

// The low three bytes of a block's lanes, and those of 24-bit pixels as lanes.
alignas(16) inline constexpr uint8_t kPack24[16] = {0,  1,  2,  4,  5,    6,    8,    9,
                                                    10, 12, 13, 14, 0x80, 0x80, 0x80, 0x80};

#if HWY_TARGET == HWY_AVX2

HWY_INLINE V16 multiplyAddBytes(V16 x, V16 w) {
    return V16{_mm256_maddubs_epi16(x.raw, w.raw)};
}

HWY_INLINE V16 orderForZip(V16 v) {
    return V16{_mm256_permute4x64_epi64(v.raw, _MM_SHUFFLE(3, 1, 2, 0))};
}

HWY_INLINE V32 pack24(V32 v) {
    const D8 d8;
    alignas(32) static constexpr int32_t kWords[8] = {0, 1, 2, 4, 5, 6, 3, 3};
    const V32 inBlocks = as(D32(), hn::TableLookupBytesOr0(as(d8, v), hn::LoadDup128(d8, kPack24)));
    return hn::TableLookupLanes(inBlocks, hn::SetTableIndices(D32(), kWords));
}

HWY_INLINE V32 oneLaneLater(V32 before, V32 v) {
    const __m256i between = _mm256_permute2x128_si256(before.raw, v.raw, 0x21);
    return V32{_mm256_alignr_epi8(v.raw, between, 12)};
}

struct Anywhere : AnyAddress {
    // Bytes 0 to 15 and 8 to 23: the upper block has its first pixel in bytes 4 to 6.
    static HWY_INLINE V32 load24(const uint8_t* p) {
        alignas(32) static constexpr uint8_t kBytes[32] = {
            0, 1, 2, 0x80, 3, 4, 5, 0x80, 6,  7,  8,  0x80, 9,  10, 11, 0x80, //
            4, 5, 6, 0x80, 7, 8, 9, 0x80, 10, 11, 12, 0x80, 13, 14, 15, 0x80};
        const hn::Full128<uint8_t> block;
        const auto bytes = hn::Combine(D8(), loadAt(block, p + 8), loadAt(block, p));
        return as(D32(), hn::TableLookupBytesOr0(bytes, hn::Load(D8(), kBytes)));
    }
};

using MovedHalves = HalvesByGathering;
template <bool AlphaIsLow>
using HalvesAlphaHigh = HalvesAlphaHighByGathering<AlphaIsLow>;

#else

#    if HWY_TARGET == HWY_SSE4
HWY_INLINE V16 multiplyAddBytes(V16 x, V16 w) {
    return V16{_mm_maddubs_epi16(x.raw, w.raw)};
}
using MovedHalves = HalvesByGathering;
template <bool AlphaIsLow>
using HalvesAlphaHigh = HalvesAlphaHighByGathering<AlphaIsLow>;
#    else
HWY_INLINE V16 multiplyAddBytes(V16 x, V16 w) {
    const auto low = hn::Set(D16(), 0xFF);
    return (x & low) * (w & low) + hn::ShiftRight<8>(x) * hn::ShiftRight<8>(w);
}
using MovedHalves = HalvesByMoving;
template <bool AlphaIsLow>
using HalvesAlphaHigh = HalvesAlphaHighByMoving<AlphaIsLow>;
#    endif

HWY_INLINE V16 orderForZip(V16 v) {
    return v;
}

HWY_INLINE V32 pack24(V32 v) {
    const D8 d8;
    return as(D32(), hn::TableLookupBytesOr0(as(d8, v), hn::LoadDup128(d8, kPack24)));
}

HWY_INLINE V32 oneLaneLater(V32 before, V32 v) {
    return hn::CombineShiftRightBytes<12>(D32(), v, before);
}

struct Anywhere : AnyAddress {
    static HWY_INLINE V32 load24(const uint8_t* p) {
        const D8 d8;
        const hn::Half<D64> half;
        alignas(16) static constexpr uint8_t kBytes[16] = {0, 1, 2, 0x80, 3, 4,  5,  0x80,
                                                           6, 7, 8, 0x80, 9, 10, 11, 0x80};
        const auto packed =
            hn::Combine(D64(), hn::Set(half, ormsel::loadWord<uint32_t>(p + 8)), loadAt(half, p));
        return as(D32(), hn::TableLookupBytesOr0(as(d8, packed), hn::LoadDup128(d8, kBytes)));
    }
};

#endif

template <class L, bool Faded>
using SourceWeights = WordWeights<L, Faded>;
using Fade32nds = WordFade32nds;

HWY_INLINE V32 mixOntoA8R8G8B8(V32 s, V32 d, V16 a) {
    return MixedBytes(s, d, a).joined(greenAndUndrawnAlpha(a));
}

struct RightShift {
    int by;

    explicit HWY_INLINE RightShift(uint32_t n) : by(static_cast<int>(n)) {}
    HWY_INLINE V16 operator()(V16 v) const { return hn::ShiftRightSame(v, by); }
};

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
