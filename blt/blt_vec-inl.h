// SPDX-License-Identifier: Zlib
//
// The vector vocabulary of the kernels, on top of Highway: the only file with target conditionals and
// instructions of one processor. Included once for each target; every name lives in the target's namespace.

#if defined(ORMSEL_BLT_VEC_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_BLT_VEC_INL_H
#        undef ORMSEL_BLT_VEC_INL_H
#    else
#        define ORMSEL_BLT_VEC_INL_H
#    endif

#    ifdef ORMSEL_ALTIVEC
#        include "blt_altivec-inl.h"
#    else
#        include <hwy/highway.h>
#    endif

#    include <cstdint>
#    include <cstring>
#    include <type_traits>

#    include "blt_formats.h"

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<uint8_t>;
using D16 = hn::ScalableTag<uint16_t>;
using D32 = hn::ScalableTag<uint32_t>;
using D64 = hn::ScalableTag<uint64_t>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;
using V32 = hn::Vec<D32>;
using M32 = hn::Mask<D32>;

// One byte for each 32-bit or 16-bit lane of a whole vector.
using H8 = hn::Rebind<uint8_t, D32>;
using B16 = hn::Rebind<uint8_t, D16>;

constexpr size_t kLanes32 = HWY_MAX_BYTES / 4; // all targets used here have a fixed size
constexpr size_t kLanes16 = HWY_MAX_BYTES / 2;

// Whether lanes of any width can be masked out of loads and stores, and cost nothing then. Rows end with one
// masked step, and a vector of transparent pixels needs no branch (which would be hard to predict on
// sprites). Elsewhere the scalar row functions take the last pixels.
constexpr bool kMasks = HWY_TARGET == HWY_AVX3;

// Whether what lies far ahead is fetched early. Where an instruction counts for much, it doesn't pay.
constexpr bool kPrefetches = HWY_TARGET != HWY_ALTIVEC;

// Whether a step asks first whether all its pixels are drawn, which then takes fewer instructions.
constexpr bool kTestsAll = HWY_TARGET == HWY_ALTIVEC;

template <class To, class V>
HWY_INLINE auto as(To d, V v) {
    return hn::BitCast(d, v);
}

// A constant as a value like any other: g++ builds constants anew before every inner loop, which takes longer
// than the few steps of a short row, or, on AltiVec, within the loop.
template <class V>
HWY_INLINE V kept(V v) {
#    if HWY_TARGET == HWY_AVX3
    asm("" : "+v"(v.raw));
#    elif HWY_TARGET == HWY_ALTIVEC
    asm("" : "+v"(v));
#    endif
    return v;
}
HWY_INLINE V16 kept16(uint16_t lanes) {
    return kept(hn::Set(D16(), lanes));
}

// --- Loads and stores ---------------------------------------------------------------------------------

template <class D>
HWY_INLINE auto loadAt(D d, const uint8_t* p) {
    return hn::LoadU(d, reinterpret_cast<const hn::TFromD<D>*>(p));
}

template <class D, class V>
HWY_INLINE void storeAt(D d, V v, uint8_t* p) {
    hn::StoreU(v, d, reinterpret_cast<hn::TFromD<D>*>(p));
}

// Loads what a step will need a little later. A hint that touches no memory in the language's sense: it may
// well lie behind the image.
template <size_t Bytes>
HWY_INLINE void prefetchBehind(const uint8_t* p) {
    if constexpr (!kPrefetches)
        return;
    constexpr size_t kDistance = 2048, kLine = 64;
    for (size_t i = 0; i < Bytes; i += kLine)
        __builtin_prefetch(p + kDistance + i);
}

// Which pixels of a step count, and how they are loaded and stored: all of them; or, in the masked step at
// the end of a row, the first few; or those of two rows.
//   - load(d, p): what stands in these lanes; loadOld() the same for old destination pixels
//   - loadOldWhere(d, mask, p): those that the mask has; the others hold anything
//   - storeWhere(d, v, mask, p): stores the lanes that the mask has, and touches no other byte
//   - only(d, mask): the mask without lanes that don't count
//   - firstHalf(), secondHalf(): the 16-bit lanes of a step as two vectors of 32-bit lanes
//   - secondSource(bytes): from the first source pixel to that of the second half, given a half's bytes
struct Whole {
    HWY_INLINE Whole firstHalf() const { return {}; }
    HWY_INLINE Whole secondHalf() const { return {}; }
    static HWY_INLINE ptrdiff_t secondSource(ptrdiff_t bytes) { return bytes; }

    template <class D, class M>
    static HWY_INLINE M only(D, M mask) {
        return mask;
    }
    template <class D>
    static HWY_INLINE auto load(D d, const uint8_t* p) {
        return loadAt(d, p);
    }
    template <class D>
    static HWY_INLINE auto loadOld(D d, const uint8_t* p) {
        return loadAt(d, p);
    }
    template <class D, class V>
    static HWY_INLINE void store(D d, V v, uint8_t* p) {
        storeAt(d, v, p);
    }
    template <class D, class M>
    static HWY_INLINE auto loadOldWhere(D d, M mask, const uint8_t* p) {
#    if HWY_TARGET == HWY_AVX3
        return hn::MaskedLoad(mask, d, reinterpret_cast<const hn::TFromD<D>*>(p));
#    else
        (void)mask;
        return loadAt(d, p);
#    endif
    }
    template <class D, class V, class M>
    static HWY_INLINE void storeWhere(D d, V v, M mask, uint8_t* p) {
        using T = hn::TFromD<D>;
#    if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX2
        if constexpr (HWY_TARGET == HWY_AVX3 || sizeof(T) >= 4) {
            hn::BlendedStore(v, mask, d, reinterpret_cast<T*>(p));
            return;
        }
#    endif
        if (hn::AllTrue(d, mask)) {
            storeAt(d, v, p);
            return;
        }
#    if HWY_TARGET == HWY_ALTIVEC
        hn::BlendedStore(v, mask, d, reinterpret_cast<T*>(p));
#    else
        alignas(HWY_MAX_BYTES) T lanes[HWY_MAX_BYTES / sizeof(T)];
        uint8_t bytes[8] = {};
        hn::Store(v, d, lanes);
        hn::StoreMaskBits(d, mask, bytes);
        uint64_t bits = 0;
        std::memcpy(&bits, bytes, sizeof bits);
        for (; bits; bits &= bits - 1) {
            const auto i = static_cast<size_t>(__builtin_ctzll(bits));
            std::memcpy(p + i * sizeof(T), lanes + i, sizeof(T));
        }
#    endif
    }
};

#    if HWY_TARGET == HWY_AVX3
// The first few pixels of a row. They take no wider accesses than they need: in a small image a vector's
// length reaches into the next rows, and a load that overlaps the span of an earlier masked store waits for
// it, even where the mask has no byte.
//
// The empty asm statements: g++ would store with an extraction, which faults on pages that the mask leaves
// out.
struct First {
    size_t count;

    HWY_INLINE First firstHalf() const { return {count < kLanes32 ? count : kLanes32}; }
    HWY_INLINE First secondHalf() const { return {count < kLanes32 ? 0 : count - kLanes32}; }
    static HWY_INLINE ptrdiff_t secondSource(ptrdiff_t bytes) { return bytes; }

    // The lanes that belong to whole groups of four pixels, as bits.
    HWY_INLINE uint32_t grouped() const { return (1U << (count & ~size_t{3})) - 1; }

    template <class D, class M>
    HWY_INLINE M only(D d, M mask) const {
        return hn::And(mask, hn::FirstN(d, count));
    }
    template <class D>
    HWY_INLINE auto load(D d, const uint8_t* p) const {
        return hn::MaskedLoad(hn::FirstN(d, count), d, reinterpret_cast<const hn::TFromD<D>*>(p));
    }
    template <class D>
    HWY_INLINE auto loadOld(D d, const uint8_t* p) const {
        return loadOldWhere(d, hn::FirstN(d, count), p);
    }
    template <class D, class V>
    HWY_INLINE void store(D d, V v, uint8_t* p) const {
        storeWhere(d, v, hn::FirstN(d, count), p);
    }
    template <class D, class M>
    HWY_INLINE hn::Vec<D> loadOldWhere(D d, M mask, const uint8_t* p) const {
        constexpr bool kWords = sizeof(hn::TFromD<D>) == 4;
        const size_t bytes = count * sizeof(hn::TFromD<D>);
        if (bytes <= 16)
            return hn::Vec<D>{
                _mm512_zextsi128_si512(kWords ? _mm_maskz_loadu_epi32(static_cast<__mmask8>(mask.raw), p)
                                              : _mm_maskz_loadu_epi16(static_cast<__mmask8>(mask.raw), p))};
        if (bytes <= 32)
            return hn::Vec<D>{_mm512_zextsi256_si512(
                kWords ? _mm256_maskz_loadu_epi32(static_cast<__mmask8>(mask.raw), p)
                       : _mm256_maskz_loadu_epi16(static_cast<__mmask16>(mask.raw), p))};
        return hn::MaskedLoad(mask, d, reinterpret_cast<const hn::TFromD<D>*>(p));
    }
    template <class D, class V, class M>
    HWY_INLINE void storeWhere(D d, V v, M mask, uint8_t* p) const {
        using T = hn::TFromD<D>;
        const size_t bytes = count * sizeof(T);
        if (bytes > 32) {
            hn::BlendedStore(v, mask, d, reinterpret_cast<T*>(p));
        } else if (bytes > 16) {
            __m256i low = _mm512_castsi512_si256(v.raw);
            asm("" : "+v"(low));
            if constexpr (sizeof(T) == 4)
                _mm256_mask_storeu_epi32(p, static_cast<__mmask8>(mask.raw), low);
            else
                _mm256_mask_storeu_epi16(p, static_cast<__mmask16>(mask.raw), low);
        } else {
            __m128i low = _mm512_castsi512_si128(v.raw);
            asm("" : "+v"(low));
            if constexpr (sizeof(T) == 4)
                _mm_mask_storeu_epi32(p, static_cast<__mmask8>(mask.raw), low);
            else
                _mm_mask_storeu_epi16(p, static_cast<__mmask8>(mask.raw), low);
        }
    }
};

// The first few pixels of a row in the lower half of the lanes, and of the next row in the upper half.
struct TwoRows {
    size_t count;
    ptrdiff_t srcPitch, oldPitch, dstPitch;

    HWY_INLINE First firstHalf() const { return {count}; }
    HWY_INLINE First secondHalf() const { return {count}; }
    HWY_INLINE ptrdiff_t secondSource(ptrdiff_t) const { return srcPitch; }
    HWY_INLINE uint32_t grouped() const { return First{count}.grouped() * 0x10001; }

    HWY_INLINE V16 loadOldWhere(D16, hn::Mask<D16> mask, const uint8_t* p) const {
        const __m256i lower = _mm256_maskz_loadu_epi16(static_cast<__mmask16>(mask.raw), p);
        const __m256i upper = _mm256_maskz_loadu_epi16(static_cast<__mmask16>(mask.raw >> 16), p + oldPitch);
        return V16{_mm512_inserti64x4(_mm512_castsi256_si512(lower), upper, 1)};
    }
    HWY_INLINE void storeWhere(D16, V16 v, hn::Mask<D16> mask, uint8_t* p) const {
        __m256i lower = _mm512_castsi512_si256(v.raw);
        asm("" : "+v"(lower));
        _mm256_mask_storeu_epi16(p, static_cast<__mmask16>(mask.raw), lower);
        _mm256_mask_storeu_epi16(p + dstPitch, static_cast<__mmask16>(mask.raw >> 16),
                                 _mm512_extracti64x4_epi64(v.raw, 1));
    }
};
#    else
// Steps that no other target has.
struct First {
    size_t count;
};
struct TwoRows {
    size_t count;
    ptrdiff_t srcPitch, oldPitch, dstPitch;
};
#    endif

#    if HWY_TARGET == HWY_ALTIVEC
// The unit reads and writes vectors at multiples of 16 bytes. One at any address is the middle of two such,
// if the bytes beside it are the image's, too: inside a row, but not at its ends.
HWY_INLINE V8 loadInside(const uint8_t* p, int last) {
    return __builtin_vec_perm(__builtin_vec_ld(0, p), __builtin_vec_ld(last, p), __builtin_vec_lvsl(0, p));
}

// All pixels of a step inside a row. OnVectors: they stand at multiples of 16 bytes, but for those of 24
// bits.
template <bool OnVectors>
struct Inside : Whole {
    HWY_INLINE Inside firstHalf() const { return {}; }
    HWY_INLINE Inside secondHalf() const { return {}; }

    template <class D>
    static HWY_INLINE auto load(D d, const uint8_t* p) {
        if constexpr (D::kLanes * sizeof(hn::TFromD<D>) < HWY_MAX_BYTES)
            return loadAt(d, p);
        else if constexpr (OnVectors)
            return hn::Load(d, reinterpret_cast<const hn::TFromD<D>*>(p));
        else
            return as(d, loadInside(p, 15));
    }
    template <class D>
    static HWY_INLINE auto loadOld(D d, const uint8_t* p) {
        return load(d, p);
    }
    template <class D, class V>
    static HWY_INLINE void store(D d, V v, uint8_t* p) {
        if constexpr (OnVectors)
            hn::Store(v, d, reinterpret_cast<hn::TFromD<D>*>(p));
        else
            storeAt(d, v, p);
    }
    template <class D, class M>
    static HWY_INLINE auto loadOldWhere(D d, M, const uint8_t* p) {
        return load(d, p);
    }
    template <class D, class V, class M>
    static HWY_INLINE void storeWhere(D d, V v, M mask, uint8_t* p) {
        if (hn::AllTrue(d, mask))
            store(d, v, p);
        else
            hn::BlendedStore(v, mask, d, reinterpret_cast<hn::TFromD<D>*>(p));
    }
};
#    endif

// Draws pixels of a row that fill whole vectors; see drawRows().
template <class Step>
HWY_INLINE void drawWholeVectors(const Step& step, const uint8_t* src, uint8_t* dst, const uint8_t* third,
                                 size_t pixels) {
    constexpr size_t kPixels = Step::kPixels, kSrc = Step::kSrcBytes, kDst = Step::kDstBytes,
                     kThird = Step::kThirdBytes;
#    if HWY_TARGET == HWY_ALTIVEC
    // Images of pixels of one size are seen from the destination, so that one register runs.
    ptrdiff_t toSrc = src - dst, toThird = third - dst;
    asm("" : "+r"(toSrc), "+r"(toThird));
    const auto draw = [&](size_t from, size_t to, auto lanes) HWY_ATTR {
        const uint8_t* s = src + from * kSrc;
        const uint8_t* t = third + from * kThird;
        uint8_t* d = dst + from * kDst;
        for (size_t steps = (to - from) / kPixels; steps; --steps) {
            if constexpr (kSrc == kDst)
                s = d + toSrc;
            if constexpr (kThird == kDst)
                t = d + toThird;
            step(s, d, t, lanes);
            s += kPixels * kSrc, d += kPixels * kDst, t += kPixels * kThird;
        }
    };
    constexpr bool kHas24 = kSrc == 3 || kDst == 3;
    const auto place = [](const uint8_t* p, size_t bytes) {
        return bytes % 2 ? 0 : reinterpret_cast<uintptr_t>(p) % HWY_MAX_BYTES;
    };
    const bool onVectors = (place(src, kSrc) | place(dst, kDst) | place(third, kThird)) == 0;
    if (onVectors && !kHas24) {
        draw(0, pixels, Inside<true>());
        return;
    }
    // How many pixels have a vector's bytes in each image.
    constexpr size_t kEnd = kPixels * (kHas24 && kPixels == kLanes32 ? 2 : 1);
    if (pixels > 2 * kEnd) {
        draw(0, kEnd, Whole());
        if (onVectors)
            draw(kEnd, pixels - kEnd, Inside<true>());
        else
            draw(kEnd, pixels - kEnd, Inside<false>());
        draw(pixels - kEnd, pixels, Whole());
        return;
    }
    draw(0, pixels, Whole());
#    else
    for (size_t x = 0; x < pixels; x += kPixels) {
        prefetchBehind<kPixels * kSrc>(src + x * kSrc);
        prefetchBehind<kPixels * kDst>(dst + x * kDst);
        step(src + x * kSrc, dst + x * kDst, third + x * kThird, Whole());
    }
#    endif
}

// One 24-bit pixel value in each 32-bit lane, from pixels packed at the vector's start. The top bytes are 0.
HWY_INLINE V32 spread24(V32 packed) {
    const D8 d8;
    alignas(16) static constexpr uint8_t kLittle[16] = {0, 1, 2, 0x80, 3, 4,  5,  0x80,
                                                        6, 7, 8, 0x80, 9, 10, 11, 0x80};
    alignas(16) static constexpr uint8_t kBig[16] = {0x80, 0, 1, 2, 0x80, 3, 4,  5, //
                                                     0x80, 6, 7, 8, 0x80, 9, 10, 11};
#    if HWY_TARGET == HWY_AVX3
    // Each block of 16 bytes gets its own three words.
    alignas(64) static constexpr int32_t kBlocks[16] = {0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11};
    packed = hn::TableLookupLanes(packed, hn::SetTableIndices(D32(), kBlocks));
#    endif
    return as(D32(),
              hn::TableLookupBytesOr0(as(d8, packed), hn::LoadDup128(d8, kBigEndian ? kBig : kLittle)));
}

// Reads exactly 3 bytes a lane.
HWY_INLINE V32 load24(const uint8_t* p, Whole) {
    [[maybe_unused]] const D32 d32;
#    if HWY_TARGET == HWY_AVX3
    return spread24(
        hn::MaskedLoad(hn::FirstN(d32, kLanes32 / 4 * 3), d32, reinterpret_cast<const uint32_t*>(p)));
#    elif HWY_TARGET == HWY_ALTIVEC
    V32 packed;
    std::memcpy(&packed, p, 3 * kLanes32);
    return spread24(packed);
#    elif HWY_TARGET == HWY_AVX2
    // Bytes 0 to 15 and 8 to 23: the upper block has its first pixel in bytes 4 to 6.
    alignas(32) static constexpr uint8_t kSpread[32] = {
        0, 1, 2, 0x80, 3, 4, 5, 0x80, 6,  7,  8,  0x80, 9,  10, 11, 0x80, //
        4, 5, 6, 0x80, 7, 8, 9, 0x80, 10, 11, 12, 0x80, 13, 14, 15, 0x80};
    const hn::Full128<uint8_t> block;
    const auto bytes = hn::Combine(D8(), loadAt(block, p + 8), loadAt(block, p));
    return as(d32, hn::TableLookupBytesOr0(bytes, hn::Load(D8(), kSpread)));
#    else
    const hn::Half<D64> half;
    return spread24(
        as(d32, hn::Combine(D64(), hn::Set(half, ormsel::loadWord<uint32_t>(p + 8)), loadAt(half, p))));
#    endif
}

#    if HWY_TARGET == HWY_AVX3
HWY_INLINE V32 load24(const uint8_t* p, First lanes) {
    const D8 d8;
    return spread24(as(D32(), hn::MaskedLoad(hn::FirstN(d8, lanes.count * 3), d8, p)));
}
#    endif

#    if HWY_TARGET == HWY_ALTIVEC
template <bool OnVectors>
HWY_INLINE V32 load24(const uint8_t* p, Inside<OnVectors>) {
    return spread24(as(D32(), loadInside(p, 3 * kLanes32 - 1)));
}
#    endif

// Each lane's low three bytes, one after the other; zeros behind the last.
HWY_INLINE V32 pack24(V32 v) {
    const D32 d32;
    const D8 d8;
    alignas(16) static constexpr uint8_t kLittle[16] = {0,  1,  2,  4,  5,    6,    8,    9,
                                                        10, 12, 13, 14, 0x80, 0x80, 0x80, 0x80};
    alignas(16) static constexpr uint8_t kBig[16] = {1,  2,  3,  5,  6,    7,    9,    10,
                                                     11, 13, 14, 15, 0x80, 0x80, 0x80, 0x80};
    const auto packed =
        as(d32, hn::TableLookupBytesOr0(as(d8, v), hn::LoadDup128(d8, kBigEndian ? kBig : kLittle)));
#    if HWY_TARGET == HWY_AVX3
    alignas(64) static constexpr int32_t kGather[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 3, 3, 3, 3};
    return hn::TableLookupLanes(packed, hn::SetTableIndices(d32, kGather));
#    elif HWY_TARGET == HWY_AVX2
    alignas(32) static constexpr int32_t kGather[8] = {0, 1, 2, 4, 5, 6, 3, 3};
    return hn::TableLookupLanes(packed, hn::SetTableIndices(d32, kGather));
#    else
    return packed;
#    endif
}

// --- Arithmetic ---------------------------------------------------------------------------------------

// Byte shuffles within 16-byte blocks; an index of 0x80 gives 0.
struct Shuffle {
    V8 index;

    HWY_INLINE V32 operator()(V32 v) const { return as(D32(), hn::TableLookupBytesOr0(as(D8(), v), index)); }
};

// The shuffle that moves, in every 32-bit lane, byte `from` >> 8 * i to byte i. Bytes of a lane are counted
// from its lowest.
HWY_INLINE Shuffle shuffleOfBytes(uint32_t from) {
    alignas(16) static constexpr uint32_t kLane[4] = {0, 0x04040404, 0x08080808, 0x0C0C0C0C};
    const D32 d32;
    const uint32_t inMemory = kBigEndian ? from ^ 0x03030303 : from;
    const V8 index = as(D8(), hn::Set(d32, inMemory) + hn::LoadDup128(d32, kLane));
    return {HWY_TARGET == HWY_ALTIVEC ? kept(index) : index};
}

// The argument of shuffleOfBytes() for four bytes, the lowest first; 0x80 gives a 0.
constexpr uint32_t bytesFrom(uint32_t b0, uint32_t b1, uint32_t b2, uint32_t b3) {
    return b0 | b1 << 8 | b2 << 16 | b3 << 24;
}

// For each 16-bit lane the sum of two products of its bytes: unsigned ones of x with those of w, which must
// be at most 127. The sum must stay below 2^15.
HWY_INLINE V16 multiplyAddBytes(V16 x, V16 w) {
    [[maybe_unused]] const D16 d16;
#    if HWY_TARGET == HWY_AVX3
    return V16{_mm512_maddubs_epi16(x.raw, w.raw)};
#    elif HWY_TARGET == HWY_AVX2
    return V16{_mm256_maddubs_epi16(x.raw, w.raw)};
#    elif HWY_TARGET == HWY_SSE4
    return V16{_mm_maddubs_epi16(x.raw, w.raw)};
#    elif HWY_TARGET == HWY_ALTIVEC
    return __builtin_vec_mule(as(D8(), x), as(D8(), w)) + __builtin_vec_mulo(as(D8(), x), as(D8(), w));
#    else
    const auto low = hn::Set(d16, 0xFF);
    return hn::And(x, low) * hn::And(w, low) + hn::ShiftRight<8>(x) * hn::ShiftRight<8>(w);
#    endif
}

// For flags of 0 and 1: not 0 in each 32-bit lane of which one half is 1 and the other 0, and its low half
// isn't 0 either.
HWY_INLINE V32 halvesDiffer(V16 flags) {
    const D32 d32;
#    if HWY_TARGET == HWY_AVX3
    return V32{_mm512_madd_epi16(flags.raw, _mm512_set1_epi32(-0xFFFF))}; // 1 * the low half - 1 * the high
#    elif HWY_TARGET == HWY_AVX2
    return V32{_mm256_madd_epi16(flags.raw, _mm256_set1_epi32(-0xFFFF))};
#    elif HWY_TARGET == HWY_SSE4
    return V32{_mm_madd_epi16(flags.raw, _mm_set1_epi32(-0xFFFF))};
#    else
    const V32 both = as(d32, flags);
    return hn::And(hn::Xor(both, hn::ShiftRight<16>(both)), hn::Set(d32, 1));
#    endif
}

// Bits of a where the mask has ones, of b elsewhere.
template <class V>
HWY_INLINE V select(V mask, V a, V b) {
#    if HWY_TARGET == HWY_AVX3
    return V{_mm512_ternarylogic_epi64(a.raw, mask.raw, b.raw, 0xE2)}; // in a's place, which spares a copy
#    elif HWY_TARGET == HWY_ALTIVEC
    return hn::IfThenElse(mask, a, b);
#    else
    return hn::Or(hn::And(mask, a), hn::AndNot(mask, b));
#    endif
}

// Bits of a where the mask has ones, and those of b, which has none there.
template <class V>
HWY_INLINE V addBits(V mask, V a, V b) {
#    if HWY_TARGET == HWY_AVX3
    return V{_mm512_ternarylogic_epi64(a.raw, mask.raw, b.raw, 0xEA)};
#    elif HWY_TARGET == HWY_ALTIVEC
    return hn::IfThenElse(mask, a, b);
#    else
    return hn::Or(hn::And(mask, a), b);
#    endif
}

// Blends channels of 8 bits, one in each 16-bit lane: 256 * d + (s - d) * a, whose high byte is
// d + floor((s - d) * a / 256), a from 0 to 256. old256 is 256 * d.
//
// Lanes of 16 bits are enough although (s - d) * a needs 17: the sum is a mean of s and d times 256, so that
// it lies in 0..65280, and the wrapping arithmetic gives it exactly.
HWY_INLINE V16 mixBytes(V16 s, V16 d, V16 old256, V16 a) {
    return (s - d) * a + old256;
}

// Blends the colours of A8R8G8B8 pixels as mixColours32() does; 0 in the alpha byte. a holds the weight in
// both 16-bit lanes of each pixel.
HWY_INLINE V32 mixColours(V32 s, V32 d, V16 a) {
    const D16 d16;
    const D32 d32;
    const auto low = hn::Set(d16, 0x00FF);
    const V16 s16 = as(d16, s), dd = as(d16, d);
    const V16 rb = hn::ShiftRight<8>(mixBytes(hn::And(s16, low), hn::And(dd, low), hn::ShiftLeft<8>(dd), a));
    const V16 g = mixBytes(hn::ShiftRight<8>(s16), hn::ShiftRight<8>(dd), hn::AndNot(low, dd), a);
    return select(hn::Set(d32, 0x0000FF00), as(d32, g), as(d32, rb)); // ........rrrrrrrrggggggggbbbbbbbb
}

// How much of each A8R8G8B8 pixel's colours is drawn: its alpha A times a constant one, A * C >> 8. What
// mixColours() takes, and not 0 in the 32-bit lanes of pixels that are drawn.
#    if HWY_TARGET == HWY_ALTIVEC
template <uint32_t AlphaByte>
struct AlphaWeights {
    V8 constant, highBytes = kept(V8{0, 16, 2, 18, 4, 20, 6, 22, 8, 24, 10, 26, 12, 28, 14, 30});
    Shuffle ofColours;

    explicit HWY_INLINE AlphaWeights(uint32_t constantAlpha)
        : constant(hn::Set(D8(), static_cast<uint8_t>(constantAlpha))),
          ofColours(shuffleOfBytes(bytesFrom(kHigh, kHigh, kHigh, 0x80))) {}

    // Of the products of all bytes, the high bytes of those with A, where the colours stand.
    HWY_INLINE V8 operator()(V32 s) const {
        const V8 bytes = as(D8(), s);
        const V16 products =
            AlphaByte % 2 ? __builtin_vec_mule(bytes, constant) : __builtin_vec_mulo(bytes, constant);
        return as(D8(), ofColours(as(D32(), products)));
    }

    // By s * a + d * (256 - a). It gives 0 where a is 0.
    HWY_INLINE V32 mix(V32 s, V32 d, V8 a) const {
        const D8 d8;
        const V8 rest = -a, s8 = as(d8, s), old = as(d8, d);
        const V16 even = __builtin_vec_mule(s8, a) + __builtin_vec_mule(old, rest);
        const V16 odd = __builtin_vec_mulo(s8, a) + __builtin_vec_mulo(old, rest);
        return as(D32(), __builtin_vec_perm(as(d8, even), as(d8, odd), highBytes));
    }

private:
    static constexpr uint32_t kHigh = AlphaByte | 1;
};
#    else
template <uint32_t AlphaByte>
struct AlphaWeights {
    V16 constant;
    Shuffle alphaHigh;

    explicit HWY_INLINE AlphaWeights(uint32_t constantAlpha)
        : constant(hn::Set(D16(), static_cast<uint16_t>(constantAlpha))),
          alphaHigh(shuffleOfBytes(bytesFrom(0x80, AlphaByte, 0x80, AlphaByte))) {}

    // 256 * A * C >> 16
    HWY_INLINE V16 operator()(V32 s) const { return hn::MulHigh(as(D16(), alphaHigh(s)), constant); }
    static HWY_INLINE V32 mix(V32 s, V32 d, V16 a) { return mixColours(s, d, a); }
};
#    endif

// Two vectors of 32-bit lanes in the lanes' own order, from their low and their high halves. The 16-bit lanes
// that the halves are made of have been put in the order that zipping block by block needs.
HWY_INLINE V16 orderForZip(V16 v) {
#    if HWY_TARGET == HWY_AVX3
    alignas(64) static constexpr int64_t kOrder[8] = {0, 4, 1, 5, 2, 6, 3, 7};
    return as(D16(), hn::TableLookupLanes(as(D64(), v), hn::SetTableIndices(D64(), kOrder)));
#    elif HWY_TARGET == HWY_AVX2
    return V16{_mm256_permute4x64_epi64(v.raw, _MM_SHUFFLE(3, 1, 2, 0))};
#    else
    return v;
#    endif
}

struct Zipped {
    V32 first, second;

    HWY_INLINE Zipped(V16 low, V16 high)
        : first(kBigEndian ? hn::ZipLower(D32(), high, low) : hn::ZipLower(D32(), low, high)),
          second(kBigEndian ? hn::ZipUpper(D32(), high, low) : hn::ZipUpper(D32(), low, high)) {}
};

// Two vectors of 32-bit pixels as the low and the high halves of as many 16-bit lanes.
struct Halves {
    V16 low, high;

    HWY_INLINE Halves(V32 first, V32 second) {
        const D16 d16;
        const V16 lower = as(d16, first), upper = as(d16, second);
        low = kBigEndian ? hn::ConcatOdd(d16, upper, lower) : hn::ConcatEven(d16, upper, lower);
        high = kBigEndian ? hn::ConcatEven(d16, upper, lower) : hn::ConcatOdd(d16, upper, lower);
    }
};

// A logical shift to the right by a count known at run time.
struct RightShift {
#    if HWY_TARGET == HWY_AVX3
    V16 by; // one instruction; a single count takes two

    explicit HWY_INLINE RightShift(uint32_t n) : by(hn::Set(D16(), static_cast<uint16_t>(n))) {}
    HWY_INLINE V16 operator()(V16 v) const { return v >> by; }
#    else
    int by;

    explicit HWY_INLINE RightShift(uint32_t n) : by(static_cast<int>(n)) {}
    HWY_INLINE V16 operator()(V16 v) const { return hn::ShiftRightSame(v, by); }
#    endif
};

// --- Write sets ---------------------------------------------------------------------------------------

// The lanes of the destination that a step stores, and so reads.
template <class D>
struct StoreSet {
    D d;
    hn::Mask<D> lanes;

    HWY_INLINE bool isEmpty() const { return hn::AllFalse(d, lanes); }

    // Their old pixels as lanes of To; the other lanes hold anything.
    template <class To, class Lanes>
    HWY_INLINE auto loadOld(To to, const uint8_t* p, const Lanes& step) const {
        return as(to, step.loadOldWhere(d, lanes, p));
    }
};

// Pixels of a generic blit, which are stored one by one. drawn has one 32-bit lane a pixel.
template <int Bytes>
struct GenericPixels;

template <>
struct GenericPixels<4> : StoreSet<D32> {
    explicit HWY_INLINE GenericPixels(M32 drawn) : StoreSet<D32>{D32(), drawn} {}

    template <class Lanes>
    HWY_INLINE V32 loadOld(const uint8_t* p, const Lanes& step) const {
        return step.loadOldWhere(d, lanes, p);
    }
    template <class Lanes>
    HWY_INLINE void store(V32 v, uint8_t* p, const Lanes& step) const {
        step.storeWhere(d, v, lanes, p);
    }
};

// 24-bit pixels: a store takes the byte behind the pixel along and sets it to 0, and stays so unless the next
// pixel is drawn, too. Old pixels come from one byte further on, see loadOldPixel(); a pixel's own store
// never changes what a later one reads there.
template <>
struct GenericPixels<3> {
    M32 drawn;

    explicit HWY_INLINE GenericPixels(M32 d) : drawn(d) {}

    HWY_INLINE bool isEmpty() const { return hn::AllFalse(D32(), drawn); }

#    if HWY_TARGET == HWY_AVX3
    // Three bits for each pixel drawn.
    HWY_INLINE uint64_t bytes() const { return _pdep_u64(_cvtmask16_u32(drawn.raw), 0x0000249249249249) * 7; }

    template <class Lanes>
    HWY_INLINE V32 loadOld(const uint8_t* p, Lanes) const {
        return spread24(V32{_mm512_maskz_loadu_epi8(_cvtu64_mask64(bytes()), p + 1)});
    }
    // In stores that end where the next step's begins: a load that overlaps the span of a masked store waits
    // for it, even where the mask has no byte.
    template <class Lanes>
    HWY_INLINE void store(V32 v, uint8_t* p, Lanes) const {
        const uint64_t starts = _pdep_u64(_cvtmask16_u32(drawn.raw), 0x0000249249249249);
        const uint64_t stored = starts * 7 | starts << 3;
        const V32 packed = pack24(hn::IfThenElseZero(drawn, v));
        _mm256_mask_storeu_epi8(p, _cvtu32_mask32(static_cast<uint32_t>(stored)),
                                _mm512_castsi512_si256(packed.raw));
        _mm_mask_storeu_epi8(p + 32, static_cast<__mmask16>(stored >> 32),
                             _mm512_extracti32x4_epi32(packed.raw, 2));
        if (stored >> 48)
            p[48] = 0;
    }
#    else
    HWY_INLINE V32 loadOld(const uint8_t* p, Whole whole) const { return load24(p + 1, whole); }

    // In plain stores, for the same reason.
    HWY_INLINE void store(V32 v, uint8_t* p, Whole) const {
        const D32 d32;
        if (hn::AllTrue(d32, drawn)) {
            const V32 bytes = pack24(v);
            constexpr size_t kBytes = 3 * kLanes32;
#        if HWY_TARGET == HWY_AVX2
            storeAt(hn::Full128<uint32_t>(), hn::LowerHalf(bytes), p);
            const auto upper = hn::UpperHalf(hn::Half<D32>(), bytes);
            std::memcpy(p + 16, &upper, kBytes - 16);
#        else
            std::memcpy(p, &bytes, kBytes);
#        endif
            p[kBytes] = 0;
            return;
        }
        // Which pixels of a sprite's edge are drawn is hard to predict: the others are stored elsewhere.
        alignas(HWY_MAX_BYTES) uint32_t pixels[kLanes32], keep[kLanes32];
        uint8_t elsewhere[4];
        // A store's fourth byte is the zero.
        const V32 inMemory = kBigEndian ? hn::ShiftLeft<8>(v) : hn::And(v, hn::Set(d32, 0xFFFFFF));
        hn::Store(inMemory, d32, pixels);
        hn::Store(hn::VecFromMask(d32, drawn), d32, keep);
        for (size_t i = 0; i < kLanes32; ++i)
            ormsel::storeWord(keep[i] ? p + 3 * i : elsewhere, pixels[i]);
        asm volatile("" : : "m"(elsewhere)); // a store that nobody reads would become a branch
    }
#    endif
};

// Pixels of A8R8G8B8 go in pairs: see storeUnit(). drawn is not 0 in each lane to be drawn.
#    if HWY_TARGET == HWY_ALTIVEC
HWY_INLINE StoreSet<D32> pairsOf(V32 drawn, Whole) {
    return {D32(), hn::Or(drawn, hn::Reverse2(D32(), drawn))};
}
#    else
HWY_INLINE StoreSet<D64> pairsOf(V32 drawn, Whole) {
    const D64 d64;
    return {d64, hn::Ne(as(d64, drawn), hn::Zero(d64))};
}
#    endif

#    if HWY_TARGET == HWY_AVX3
// The end of a row: an odd last pixel stands alone. Lanes behind the row must hold 0.
HWY_INLINE StoreSet<D32> pairsOf(V32 drawn, First lanes) {
    const D32 d32;
    const auto pair = hn::Or(drawn, hn::Reverse2(d32, drawn));
    return {d32, lanes.only(d32, hn::Ne(pair, hn::Zero(d32)))};
}
#    endif

// Pixels of R5G6B5 go in words of two, four pixels in a group: see storeUnit(). drawn is not 0 in each
// lane to be drawn. A word is left alone when none of its pixels is drawn and the other word has none or
// both; so the words stored are those with a drawn pixel, and those beside a word with just one.
HWY_INLINE V32 besideJustOne(V16 drawn) {
    return hn::Reverse2(D32(), halvesDiffer(hn::Min(drawn, hn::Set(D16(), 1))));
}

HWY_INLINE StoreSet<D32> groupsOf(V16 drawn, Whole) {
    const D32 d32;
    const V32 stored = hn::Or(as(d32, drawn), besideJustOne(drawn));
#    if HWY_TARGET == HWY_ALTIVEC
    return {d32, stored};
#    else
    return {d32, hn::Ne(stored, hn::Zero(d32))};
#    endif
}

#    if HWY_TARGET == HWY_AVX3
// The end of a row: its groups as ever, then single pixels. Lanes behind the row must hold 0.
template <class Lanes>
HWY_INLINE StoreSet<D16> groupsOf(V16 drawn, Lanes lanes) {
    const D16 d16;
    const D32 d32;
    const V16 grouped = hn::VecFromMask(d16, hn::Mask<D16>{lanes.grouped()});
    const V32 beside = besideJustOne(drawn);
    const V32 both = hn::Or(beside, hn::ShiftLeft<16>(beside)); // beside is 1 or all ones
    const V16 words = hn::Or(as(d16, hn::RotateRight<16>(as(d32, drawn))), as(d16, both));
    return {d16, hn::Ne(hn::Or(drawn, hn::And(words, grouped)), hn::Zero(d16))};
}
#    endif

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
