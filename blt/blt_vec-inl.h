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

#    include "blt_block.h"
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

// Whether lanes of any width can be masked out of loads and stores, and cost nothing then. A vector of
// transparent pixels needs no branch (which would be hard to predict on sprites). Elsewhere several vectors
// are looked at together: see drawRun().
constexpr bool kMasks = HWY_TARGET == HWY_AVX3;

// Whether one instruction stores lanes of a type by a mask.
template <class T>
constexpr bool kMasksStores = kMasks || (HWY_TARGET == HWY_AVX2 && sizeof(T) >= 4);

template <class To, class V>
HWY_INLINE auto as(To d, V v) {
    return hn::BitCast(d, v);
}

// A constant as a value like any other: g++ builds constants anew before every inner loop, which takes longer
// than the few steps of a short row.
template <class V>
HWY_INLINE V kept(V v) {
#    if HWY_TARGET == HWY_AVX3
    asm("" : "+v"(v.raw));
#    elif HWY_ARCH_X86
    asm("" : "+x"(v.raw));
#    elif HWY_TARGET == HWY_ALTIVEC
    asm("" : "+v"(v));
#    endif
    return v;
}
HWY_INLINE V16 kept16(uint16_t lanes) {
    return kept(hn::Set(D16(), lanes));
}
HWY_INLINE V32 kept32(uint32_t lanes) {
    return kept(hn::Set(D32(), lanes));
}

// --- Loads and stores ---------------------------------------------------------------------------------

// As bytes: pixels may lie anywhere, and on 32-bit Arm the type of a lane promises an alignment.
template <class D>
HWY_INLINE auto loadAt(D d, const uint8_t* p) {
    return as(d, hn::LoadU(hn::Repartition<uint8_t, D>(), p));
}

template <class D, class V>
HWY_INLINE void storeAt(D, V v, uint8_t* p) {
    const hn::Repartition<uint8_t, D> bytes;
    hn::StoreU(as(bytes, v), bytes, p);
}

// Loads what a step will need a little later. A hint that touches no memory in the language's sense: it may
// well lie behind the image.
template <size_t Bytes>
HWY_INLINE void prefetchBehind(const uint8_t* p) {
    constexpr size_t kDistance = 2048, kLine = 64;
    for (size_t i = 0; i < Bytes; i += kLine)
        __builtin_prefetch(p + kDistance + i);
}

// Where old pixels are read of which a mask has some: at p. If it has none, anywhere else: a blit that stores
// nothing doesn't even look at the destination.
template <class D>
HWY_INLINE const uint8_t* oldAt(D d, hn::Mask<D> mask, const uint8_t* p) {
    alignas(HWY_MAX_BYTES) static constexpr uint8_t kNothing[HWY_MAX_BYTES] = {};
    intptr_t taken = hn::AllFalse(d, mask) ? 0 : -1;
    asm("" : "+r"(taken)); // no branch, please
    return kNothing + ((reinterpret_cast<intptr_t>(p) - reinterpret_cast<intptr_t>(kNothing)) & taken);
}

// Stores the lanes that a mask has to p, Stride bytes apart, and the others elsewhere: which pixels of a
// sprite's edge are drawn is hard to predict.
template <size_t Stride, class D>
HWY_INLINE void storeOneByOne(D d, hn::Vec<D> v, hn::Mask<D> mask, uint8_t* p) {
    using T = hn::TFromD<D>;
    constexpr size_t kCount = hn::MaxLanes(D());
    alignas(HWY_MAX_BYTES) T lanes[kCount];
    alignas(HWY_MAX_BYTES) std::make_signed_t<T> kept[kCount]; // 0 or -1
    T elsewhere;
    hn::Store(v, d, lanes);
    hn::Store(hn::VecFromMask(hn::RebindToSigned<D>(), hn::RebindMask(hn::RebindToSigned<D>(), mask)),
              hn::RebindToSigned<D>(), kept);
    auto* const other = reinterpret_cast<uint8_t*>(&elsewhere);
    const intptr_t way = reinterpret_cast<intptr_t>(p) - reinterpret_cast<intptr_t>(other);
    for (size_t i = 0; i < kCount; ++i)
        ormsel::storeWord(
            other + ((way + static_cast<intptr_t>(Stride * i)) & static_cast<intptr_t>(kept[i])), lanes[i]);
    asm volatile("" : : "m"(elsewhere)); // a store that nobody reads would be left out
}

#    if HWY_TARGET == HWY_AVX2
// Lanes of 16 bits, which no masked store takes: first those that fill a word of 32 bits together, then the
// others, nearly always two at most.
template <class D>
HWY_INLINE void storeShorts(D d, hn::Vec<D> v, hn::Mask<D> mask, uint8_t* p) {
    const hn::RepartitionToWide<D> words;
    constexpr size_t kBytes = 2 * hn::MaxLanes(D());
    const auto lanes = hn::VecFromMask(d, mask);
    const auto both = as(words, lanes) == hn::Set(words, ~uint32_t{0});
    hn::BlendedStore(as(words, v), both, words, reinterpret_cast<uint32_t*>(p));
    const auto alone = hn::AndNot(as(d, hn::VecFromMask(words, both)), lanes);
    uint32_t bits;
    if constexpr (kBytes == 32)
        bits = static_cast<uint32_t>(_mm256_movemask_epi8(alone.raw));
    else
        bits = static_cast<uint32_t>(_mm_movemask_epi8(alone.raw));
    bits &= 0x55555555; // one for each lane, at the number of its first byte
    alignas(HWY_MAX_BYTES) uint8_t bytes[kBytes];
    uint8_t elsewhere[2];
    hn::Store(as(hn::Repartition<uint8_t, D>(), v), hn::Repartition<uint8_t, D>(), bytes);
    for (int i = 0; i < 2; ++i, bits &= bits - 1) {
        const auto at = _tzcnt_u32(bits) % kBytes;
        ormsel::storeWord(bits ? p + at : elsewhere, ormsel::loadWord<uint16_t>(bytes + at));
    }
    asm volatile("" : : "m"(elsewhere));
    for (; bits; bits &= bits - 1) {
        const auto at = _tzcnt_u32(bits);
        ormsel::storeWord(p + at, ormsel::loadWord<uint16_t>(bytes + at));
    }
}
#    endif

// Stores the lanes that the mask has, and touches no other byte.
template <class D>
HWY_INLINE void storeLanes(D d, hn::Vec<D> v, hn::Mask<D> mask, uint8_t* p) {
    using T = hn::TFromD<D>;
#    if HWY_TARGET == HWY_AVX3
    hn::BlendedStore(v, mask, d, reinterpret_cast<T*>(p));
#    else
#        if HWY_TARGET == HWY_AVX2
    if constexpr (kMasksStores<T>)
        return hn::BlendedStore(v, mask, d, reinterpret_cast<T*>(p));
    else if constexpr (sizeof(T) == 2)
        return storeShorts(d, v, mask, p);
#        endif
    storeOneByOne<sizeof(T)>(d, v, mask, p);
#    endif
}

// How many pixels are looked at together for whether one of them is drawn.
constexpr size_t kRunPixels = 64;

// Tells whether pixels of 32 bits, or bytes of a mask, are drawn: those whose alpha, a byte at the given
// bits, is greater than `last`.
struct Glance {
    V32 bits;
    V8 last;

    HWY_INLINE Glance(uint32_t b, uint32_t l)
        : bits(hn::Set(D32(), b)), last(hn::Set(D8(), static_cast<uint8_t>(l))) {}

    // Whether none of a run is.
    template <size_t Bytes>
    HWY_INLINE bool seesNone(const uint8_t* p) const {
        const D8 d8;
        const D32 d32;
        V8 most = loadAt(d8, p);
        for (size_t i = HWY_MAX_BYTES; i < kRunPixels * Bytes; i += HWY_MAX_BYTES)
            most = hn::Max(most, loadAt(d8, p + i));
        return hn::AllTrue(d32, hn::And(as(d32, hn::SaturatedSub(most, last)), bits) == hn::Zero(d32));
    }
};

// Which pixels of a step count, and how they are loaded and stored: all of them; or, in the step at the end
// of a row, the first few; or those of two rows.
//   - load(d, p): what stands in these lanes; loadOld() the same for old destination pixels
//   - loadOldWhere(d, mask, p): those that the mask has; the others hold anything
//   - storeWhere(d, v, mask, p): stores the lanes that the mask has, and touches no other byte
//   - only(d, mask): the mask without lanes that don't count
//   - firstHalf(), secondHalf(): the 16-bit lanes of a step as two vectors of 32-bit lanes
//   - secondSource(bytes): from the first source pixel to that of the second half, given a half's bytes
struct Whole {
    static constexpr bool kStoresAll = false;

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
        if constexpr (kMasksStores<hn::TFromD<D>>)
            return hn::MaskedLoad(mask, d, reinterpret_cast<const hn::TFromD<D>*>(p));
        else
            return loadAt(d, oldAt(d, mask, p));
    }
    template <class D, class V, class M>
    static HWY_INLINE void storeWhere(D d, V v, M mask, uint8_t* p) {
        storeLanes(d, v, mask, p);
    }
};

// The same where some lane of the run is known to be stored, so that its old pixels may be read.
struct Seen : Whole {
    HWY_INLINE Seen firstHalf() const { return {}; }
    HWY_INLINE Seen secondHalf() const { return {}; }

    template <class D, class M>
    static HWY_INLINE auto loadOldWhere(D d, M mask, const uint8_t* p) {
        if constexpr (kMasks)
            return Whole::loadOldWhere(d, mask, p);
        else
            return loadAt(d, p);
    }
};

// The same where every lane is known to be stored.
struct Stored : Whole {
    static constexpr bool kStoresAll = true;

    HWY_INLINE Stored firstHalf() const { return {}; }
    HWY_INLINE Stored secondHalf() const { return {}; }

    template <class D, class M>
    static HWY_INLINE auto loadOldWhere(D d, M, const uint8_t* p) {
        return loadAt(d, p);
    }
    template <class D, class V, class M>
    static HWY_INLINE void storeWhere(D d, V v, M, uint8_t* p) {
        storeAt(d, v, p);
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
    static constexpr bool kStoresAll = false;

    size_t count;

    HWY_INLINE First firstHalf() const { return {count < kLanes32 ? count : kLanes32}; }
    HWY_INLINE First secondHalf() const { return {count < kLanes32 ? 0 : count - kLanes32}; }
    static HWY_INLINE ptrdiff_t secondSource(ptrdiff_t bytes) { return bytes; }

    // The lanes that belong to whole groups of four pixels.
    HWY_INLINE uint32_t groupedBits() const { return (1U << (count & ~size_t{3})) - 1; }
    HWY_INLINE V16 grouped() const { return hn::VecFromMask(D16(), hn::Mask<D16>{groupedBits()}); }

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
        if constexpr (sizeof v.raw < HWY_MAX_BYTES) {
            hn::BlendedStore(v, mask, d, reinterpret_cast<T*>(p));
        } else if (bytes > 32) {
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
    HWY_INLINE V16 grouped() const {
        return hn::VecFromMask(D16(), hn::Mask<D16>{First{count}.groupedBits() * 0x10001});
    }

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
#        if HWY_TARGET == HWY_ALTIVEC
// Copies so many bytes, without a call.
HWY_INLINE void copyBytes(uint8_t* to, const uint8_t* from, size_t bytes) {
    size_t i = 0;
    for (; i + 4 <= bytes; i += 4)
        ormsel::storeWord(to + i, ormsel::loadWord<uint32_t>(from + i));
    for (; i < bytes; ++i)
        to[i] = from[i];
}

// The first bytes of a vector; zeros behind them. Reads no other byte.
template <class D>
HWY_INLINE hn::Vec<D> loadBytes(D, const uint8_t* p, size_t bytes) {
    hn::Vec<D> v = {};
    copyBytes(reinterpret_cast<uint8_t*>(&v), p, bytes);
    return v;
}

template <class D>
HWY_INLINE void storeBytes(D, hn::Vec<D> v, uint8_t* p, size_t bytes) {
    copyBytes(p, reinterpret_cast<const uint8_t*>(&v), bytes);
}
#        else
// So many bytes, 0 to 8, as the low ones of a word; zeros above. Which way is taken is the same for all rows.
HWY_INLINE uint64_t loadFew(const uint8_t* p, size_t bytes) {
    if (bytes >= 8)
        return ormsel::loadWord<uint64_t>(p);
    if (bytes >= 4) // the last four overlap with the first ones
        return ormsel::loadWord<uint32_t>(p) | uint64_t{ormsel::loadWord<uint32_t>(p + bytes - 4)}
                                                   << 8 * (bytes - 4);
    if (bytes == 0)
        return 0;
    return p[0] | uint64_t{p[bytes / 2]} << 8 * (bytes / 2) | uint64_t{p[bytes - 1]} << 8 * (bytes - 1);
}

HWY_INLINE void storeFew(uint64_t v, uint8_t* p, size_t bytes) {
    if (bytes >= 8)
        return ormsel::storeWord(p, v);
    if (bytes & 4) {
        ormsel::storeWord(p, static_cast<uint32_t>(v));
        v >>= 32;
        p += 4;
    }
    if (bytes & 2) {
        ormsel::storeWord(p, static_cast<uint16_t>(v));
        v >>= 16;
        p += 2;
    }
    if (bytes & 1)
        *p = static_cast<uint8_t>(v);
}

// The first bytes of a vector; zeros behind them. Reads no other byte.
template <class D>
HWY_INLINE hn::Vec<D> loadBytes(D d, const uint8_t* p, size_t bytes) {
    constexpr size_t kBytes = hn::MaxLanes(D()) * sizeof(hn::TFromD<D>);
    if constexpr (kBytes <= 8) {
        using Word = std::conditional_t<kBytes == 8, uint64_t, uint32_t>;
        return as(d, hn::Set(hn::Simd<Word, 1, 0>(), static_cast<Word>(loadFew(p, bytes))));
    } else {
        const hn::Half<D> half;
        if (bytes <= kBytes / 2)
            return hn::ZeroExtendVector(d, loadBytes(half, p, bytes));
        return hn::Combine(d, loadBytes(half, p + kBytes / 2, bytes - kBytes / 2), loadAt(half, p));
    }
}

template <class D>
HWY_INLINE void storeBytes(D, hn::Vec<D> v, uint8_t* p, size_t bytes) {
    constexpr size_t kBytes = hn::MaxLanes(D()) * sizeof(hn::TFromD<D>);
    if constexpr (kBytes <= 8) {
        using Word = std::conditional_t<kBytes == 8, uint64_t, uint32_t>;
        storeFew(hn::GetLane(as(hn::Simd<Word, 1, 0>(), v)), p, bytes);
    } else {
        const hn::Half<D> half;
        if (bytes <= kBytes / 2)
            return storeBytes(half, hn::LowerHalf(half, v), p, bytes);
        storeAt(half, hn::LowerHalf(half, v), p);
        storeBytes(half, hn::UpperHalf(half, v), p + kBytes / 2, bytes - kBytes / 2);
    }
}

#        endif

// The first few pixels of a row.
struct First {
    static constexpr bool kStoresAll = false;

    size_t count;

    HWY_INLINE First firstHalf() const { return {count < kLanes32 ? count : kLanes32}; }
    HWY_INLINE First secondHalf() const { return {count < kLanes32 ? 0 : count - kLanes32}; }
    static HWY_INLINE ptrdiff_t secondSource(ptrdiff_t bytes) { return bytes; }

    // The lanes that belong to whole groups of four pixels.
    HWY_INLINE V16 grouped() const { return hn::VecFromMask(D16(), hn::FirstN(D16(), count & ~size_t{3})); }

    template <class D, class M>
    HWY_INLINE M only(D d, M mask) const {
        return hn::And(mask, hn::FirstN(d, count));
    }
    template <class D>
    HWY_INLINE auto load(D d, const uint8_t* p) const {
        using T = hn::TFromD<D>;
        if constexpr (kMasksStores<T>)
            return hn::MaskedLoad(hn::FirstN(d, count), d, reinterpret_cast<const T*>(p));
        else
            return loadBytes(d, p, count * sizeof(T));
    }
    template <class D>
    HWY_INLINE auto loadOld(D d, const uint8_t* p) const {
        return load(d, p);
    }
    template <class D, class M>
    HWY_INLINE auto loadOldWhere(D d, M mask, const uint8_t* p) const {
        if constexpr (kMasksStores<hn::TFromD<D>>)
            return hn::MaskedLoad(mask, d, reinterpret_cast<const hn::TFromD<D>*>(p));
        else
            return load(d, oldAt(d, mask, p));
    }
    template <class D>
    HWY_INLINE void store(D d, hn::Vec<D> v, uint8_t* p) const {
        storeBytes(d, v, p, count * sizeof(hn::TFromD<D>));
    }
    template <class D, class V, class M>
    HWY_INLINE void storeWhere(D d, V v, M mask, uint8_t* p) const {
        storeLanes(d, v, mask, p);
    }
};

#        if HWY_TARGET != HWY_ALTIVEC
// The first few pixels of a row in the lower half of the lanes, and of the next row in the upper half.
struct TwoRows {
    size_t count;
    ptrdiff_t srcPitch, oldPitch, dstPitch;

    HWY_INLINE First firstHalf() const { return {count}; }
    HWY_INLINE First secondHalf() const { return {count}; }
    HWY_INLINE ptrdiff_t secondSource(ptrdiff_t) const { return srcPitch; }
    HWY_INLINE V16 grouped() const {
        const V16 one = First{count}.grouped();
        return hn::ConcatLowerLower(D16(), one, one);
    }
    HWY_INLINE V16 loadOldWhere(D16 d, hn::Mask<D16> mask, const uint8_t* p) const {
        const hn::Half<D16> half;
        const First lanes = {count};
        const uint8_t* first = oldAt(d, mask, p);
        return hn::Combine(d, lanes.load(half, first == p ? p + oldPitch : first), lanes.load(half, first));
    }
    HWY_INLINE void storeWhere(D16 d, V16 v, hn::Mask<D16> mask, uint8_t* p) const {
        const hn::Half<D16> half;
        const V16 lanes = hn::VecFromMask(d, mask);
        storeLanes(half, hn::LowerHalf(half, v), hn::MaskFromVec(hn::LowerHalf(half, lanes)), p);
        storeLanes(half, hn::UpperHalf(half, v), hn::MaskFromVec(hn::UpperHalf(half, lanes)), p + dstPitch);
    }
};
#        else
struct TwoRows {
    size_t count;
    ptrdiff_t srcPitch, oldPitch, dstPitch;
};
#        endif
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
        if constexpr (hn::MaxLanes(D()) * sizeof(hn::TFromD<D>) < HWY_MAX_BYTES)
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
    static HWY_INLINE auto loadOldWhere(D d, M mask, const uint8_t* p) {
        return load(d, oldAt(d, mask, p));
    }
    template <class D, class V, class M>
    static HWY_INLINE void storeWhere(D d, V v, M mask, uint8_t* p) {
        if (hn::AllTrue(d, mask))
            store(d, v, p);
        else
            storeLanes(d, v, mask, p);
    }
};

// The same where every pixel is drawn.
template <class Lanes>
struct Drawn : Lanes {
    static constexpr bool kStoresAll = true;

    HWY_INLINE Drawn firstHalf() const { return {}; }
    HWY_INLINE Drawn secondHalf() const { return {}; }

    template <class D, class M>
    static HWY_INLINE auto loadOldWhere(D d, M, const uint8_t* p) {
        return Lanes::loadOld(d, p);
    }
    template <class D, class V, class M>
    static HWY_INLINE void storeWhere(D d, V v, M, uint8_t* p) {
        Lanes::store(d, v, p);
    }
};
#    endif

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
#    elif HWY_TARGET == HWY_AVX2
    alignas(32) static constexpr int32_t kBlocks[8] = {0, 1, 2, 2, 3, 4, 5, 5};
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
#    elif HWY_TARGET == HWY_AVX2
    // Bytes 0 to 15 and 8 to 23: the upper block has its first pixel in bytes 4 to 6.
    alignas(32) static constexpr uint8_t kSpread[32] = {
        0, 1, 2, 0x80, 3, 4, 5, 0x80, 6,  7,  8,  0x80, 9,  10, 11, 0x80, //
        4, 5, 6, 0x80, 7, 8, 9, 0x80, 10, 11, 12, 0x80, 13, 14, 15, 0x80};
    const hn::Full128<uint8_t> block;
    const auto bytes = hn::Combine(D8(), loadAt(block, p + 8), loadAt(block, p));
    return as(d32, hn::TableLookupBytesOr0(bytes, hn::Load(D8(), kSpread)));
#    elif HWY_TARGET == HWY_ALTIVEC
    V32 packed;
    std::memcpy(&packed, p, 3 * kLanes32);
    return spread24(packed);
#    else
    const hn::Half<D64> half;
    return spread24(
        as(d32, hn::Combine(D64(), hn::Set(half, ormsel::loadWord<uint32_t>(p + 8)), loadAt(half, p))));
#    endif
}

HWY_INLINE V32 load24(const uint8_t* p, First lanes) {
    const D8 d8;
#    if HWY_TARGET == HWY_AVX3
    return spread24(as(D32(), hn::MaskedLoad(hn::FirstN(d8, lanes.count * 3), d8, p)));
#    else
    return spread24(as(D32(), loadBytes(d8, p, lanes.count * 3)));
#    endif
}

#    if HWY_TARGET == HWY_ALTIVEC
template <class Lanes>
HWY_INLINE V32 load24(const uint8_t* p, Lanes) {
    return spread24(as(D32(), loadInside(p, 3 * kLanes32 - 1)));
}
#    endif

#    if HWY_TARGET == HWY_AVX3
// Each lane's low half, stored where the mask has the lane.
HWY_INLINE void storeWordsWhere(V32 v, M32 mask, uint8_t* p) {
    const auto words = hn::TruncateTo(hn::Rebind<uint16_t, D32>(), v);
    _mm256_mask_storeu_epi16(p, static_cast<__mmask16>(mask.raw), words.raw);
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

HWY_INLINE void store24(V32 v, uint8_t* p, Whole) {
    const V32 packed = pack24(v);
    std::memcpy(p, &packed, 3 * kLanes32);
}

HWY_INLINE void store24(V32 v, uint8_t* p, First lanes) {
    const D8 d8;
#    if HWY_TARGET == HWY_AVX3
    hn::BlendedStore(as(d8, pack24(v)), hn::FirstN(d8, 3 * lanes.count), d8, p);
#    else
    storeBytes(d8, as(d8, pack24(v)), p, 3 * lanes.count);
#    endif
}

// --- Arithmetic ---------------------------------------------------------------------------------------

// Byte shuffles within 16-byte blocks; an index of 0x80 gives 0.
struct Shuffle {
    V8 index;

    HWY_INLINE V32 operator()(V32 v) const {
#    if HWY_TARGET == HWY_ALTIVEC
        return as(D32(), __builtin_vec_perm(as(D8(), v), V8{}, index));
#    else
        return as(D32(), hn::TableLookupBytesOr0(as(D8(), v), index));
#    endif
    }
};

// The shuffle that moves, in every 32-bit lane, byte `from` >> 8 * i to byte i. A lane's bytes are counted
// from its lowest.
HWY_INLINE Shuffle shuffleOfBytes(uint32_t from) {
    alignas(16) static constexpr uint32_t kLane[4] = {0, 0x04040404, 0x08080808, 0x0C0C0C0C};
    const D32 d32;
    const uint32_t inMemory = kBigEndian ? from ^ 0x03030303 : from;
    const V8 index = as(D8(), hn::Set(d32, inMemory) + hn::LoadDup128(d32, kLane));
#    if HWY_TARGET == HWY_ALTIVEC
    return {kept(hn::IndexOr0(index))};
#    else
    return {index};
#    endif
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
    return select(mask, a, b);
#    else
    return hn::Or(hn::And(mask, a), b);
#    endif
}

// Of A8R8G8B8 pixels the bits of green, and of alpha where the weight, in both halves, is 0. Weights are
// below 2^15.
HWY_INLINE V32 greenAndKeptAlpha(V16 weights) {
    const D32 d32;
#    if HWY_TARGET == HWY_AVX3
    return hn::IfThenElse(as(d32, weights) == hn::Zero(d32), hn::Set(d32, 0xFF00FF00),
                          hn::Set(d32, 0x0000FF00));
#    else
    const hn::RebindToSigned<D16> i16;
    const auto above = as(i16, hn::Set(d32, 0x00017FFF)) > as(i16, weights);
    return hn::And(as(d32, hn::VecFromMask(i16, above)), hn::Set(d32, 0xFF00FF00));
#    endif
}

// Blends channels of 8 bits, one in each 16-bit lane: d + floor((s - d) * a / 256) in the high byte, a from 0
// to 256 and rest = 256 - a. The sum is a mean of s and d times 256, at most 65280.
HWY_INLINE V16 mixBytes(V16 s, V16 d, V16 a, V16 rest) {
    return s * a + d * rest;
}

// Blends A8R8G8B8 pixels as mixColours32() does. a holds the weight in both 16-bit lanes of each pixel. Of
// the mixed green and alpha, the bits of `taken` stay.
HWY_INLINE V32 mixColours(V32 s, V32 d, V16 a, V32 taken) {
    const D16 d16;
    const D32 d32;
    const V16 low = hn::Set(d16, 0x00FF), s16 = as(d16, s), old = as(d16, d), rest = hn::Set(d16, 256) - a;
    const V16 rb = hn::ShiftRight<8>(mixBytes(hn::And(s16, low), hn::And(old, low), a, rest));
    const V16 ag = mixBytes(hn::ShiftRight<8>(s16), hn::ShiftRight<8>(old), a, rest);
    return addBits(taken, as(d32, ag), as(d32, rb)); // ........rrrrrrrrggggggggbbbbbbbb
}

// The weights of pixels onto A8R8G8B8: alpha A times a constant one, A * C >> 8. As 32-bit lanes they are 0
// where nothing is drawn.
#    if HWY_TARGET == HWY_ALTIVEC
template <uint32_t AlphaByte>
struct AlphaWeights {
    using Type = V8; // the weight in the bytes of the colours, 0 in that of alpha

    V8 constant, highBytes = kept(V8{0, 16, 2, 18, 4, 20, 6, 22, 8, 24, 10, 26, 12, 28, 14, 30});
    Shuffle ofColours;

    explicit HWY_INLINE AlphaWeights(uint32_t constantAlpha)
        : constant(hn::Set(D8(), static_cast<uint8_t>(constantAlpha))),
          ofColours(shuffleOfBytes(bytesFrom(AlphaByte | 1, AlphaByte | 1, AlphaByte | 1, 0x80))) {}

    // Of the products of all bytes, the high bytes of those with A.
    HWY_INLINE V8 operator()(V32 s) const {
        const V8 bytes = as(D8(), s);
        const V16 products =
            AlphaByte % 2 ? __builtin_vec_mule(bytes, constant) : __builtin_vec_mulo(bytes, constant);
        return as(D8(), ofColours(as(D32(), products)));
    }

    // Mixes by s * a + d * (256 - a), where the second factor is 0 for a weight of 0: it gives 0 then.
    template <class Lanes>
    HWY_INLINE V32 mix(V32 s, V32 d, V8 a, Lanes) const {
        const V8 rest = -a, s8 = as(D8(), s), old = as(D8(), d);
        const V16 even = __builtin_vec_mule(s8, a) + __builtin_vec_mule(old, rest);
        const V16 odd = __builtin_vec_mulo(s8, a) + __builtin_vec_mulo(old, rest);
        const V32 mixed = as(D32(), __builtin_vec_perm(as(D8(), even), as(D8(), odd), highBytes));
        if constexpr (Lanes::kStoresAll)
            return mixed;
        else
            return hn::IfThenElse(hn::Eq(as(D32(), a), V32{}), d, mixed);
    }
};
#    else
template <uint32_t AlphaByte>
struct AlphaWeights {
    using Type = V16; // in both halves of each pixel

    V16 constant;
    Shuffle alphaHigh;

    explicit HWY_INLINE AlphaWeights(uint32_t constantAlpha)
        : constant(hn::Set(D16(), static_cast<uint16_t>(constantAlpha))),
          alphaHigh(shuffleOfBytes(bytesFrom(0x80, AlphaByte, 0x80, AlphaByte))) {}

    // 256 * A * C >> 16
    HWY_INLINE V16 operator()(V32 s) const { return hn::MulHigh(as(D16(), alphaHigh(s)), constant); }

    template <class Lanes>
    static HWY_INLINE V32 mix(V32 s, V32 d, V16 a, Lanes) {
        return mixColours(s, d, a, greenAndKeptAlpha(a));
    }
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

// A weight of 32nds: A * C >> 11, alpha A in the high byte of 16-bit lanes.
struct AlphaOf32 {
#    if HWY_TARGET == HWY_ALTIVEC
    V8 constant;

    explicit HWY_INLINE AlphaOf32(uint32_t constantAlpha)
        : constant(kept(hn::Set(D8(), static_cast<uint8_t>(constantAlpha)))) {}
    HWY_INLINE V16 operator()(V16 high) const {
        return hn::ShiftRight<11>(V16(__builtin_vec_mule(as(D8(), high), constant)));
    }
#    else
    V16 constant32;

    explicit HWY_INLINE AlphaOf32(uint32_t constantAlpha)
        : constant32(hn::Set(D16(), static_cast<uint16_t>(constantAlpha << 5))) {}
    HWY_INLINE V16 operator()(V16 high) const { return hn::MulHigh(hn::ShiftRight<8>(high), constant32); }
#    endif
};

// Two vectors of 32-bit pixels as the low and the high halves of as many 16-bit lanes.
struct Halves {
    V16 low, high;

    Halves() = default;
    HWY_INLINE Halves(V32 first, V32 second) {
        const D16 d16;
        const V16 lower = as(d16, first), upper = as(d16, second);
        low = kBigEndian ? hn::ConcatOdd(d16, upper, lower) : hn::ConcatEven(d16, upper, lower);
        high = kBigEndian ? hn::ConcatEven(d16, upper, lower) : hn::ConcatOdd(d16, upper, lower);
    }
};

// Halves of pixels whose alpha is the lowest byte or the highest; the halves have it on top.
template <bool AlphaIsLow>
struct HalvesAlphaHigh {
#    if HWY_TARGET == HWY_ALTIVEC
    V8 low = kept(V8{1, 2, 5, 6, 9, 10, 13, 14, 17, 18, 21, 22, 25, 26, 29, 30}),
       high = kept(V8{3, 0, 7, 4, 11, 8, 15, 12, 19, 16, 23, 20, 27, 24, 31, 28});

    HWY_INLINE HalvesAlphaHigh() {}
    HWY_INLINE Halves operator()(V32 first, V32 second) const {
        if constexpr (AlphaIsLow) {
            Halves halves;
            halves.low = as(D16(), __builtin_vec_perm(as(D8(), first), as(D8(), second), low));
            halves.high = as(D16(), __builtin_vec_perm(as(D8(), first), as(D8(), second), high));
            return halves;
        }
#    else
    Shuffle alphaToTop = shuffleOfBytes(bytesFrom(1, 2, 3, 0));

    HWY_INLINE HalvesAlphaHigh() {}
    HWY_INLINE Halves operator()(V32 first, V32 second) const {
        if constexpr (AlphaIsLow)
            return {alphaToTop(first), alphaToTop(second)};
#    endif
        return {first, second};
    }
};

// A logical shift to the right by a count known at run time.
struct RightShift {
#    if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_ALTIVEC
    V16 by; // one instruction; a single count takes two

    explicit HWY_INLINE RightShift(uint32_t n) : by(kept16(static_cast<uint16_t>(n))) {}
    HWY_INLINE V16 operator()(V16 v) const { return v >> by; }
#    else
    int by;

    explicit HWY_INLINE RightShift(uint32_t n) : by(static_cast<int>(n)) {}
    HWY_INLINE V16 operator()(V16 v) const { return hn::ShiftRightSame(v, by); }
#    endif
};

// The lanes that are not 0.
template <class D>
HWY_INLINE hn::Mask<D> notZero(D d, hn::Vec<D> v) {
#    if HWY_TARGET == HWY_ALTIVEC
    return (void)d, v;
#    else
    return hn::Ne(v, hn::Zero(d));
#    endif
}

// --- Write sets ---------------------------------------------------------------------------------------

// The lanes of the destination that a step stores, and so reads.
template <class D>
struct StoreSet {
    // How many steps are drawn together: those of 64 bytes, or of one vector where the lanes are stored one
    // by one at some cost.
    static constexpr size_t kTogether = kMasksStores<hn::TFromD<D>>  ? 0
                                        : sizeof(hn::TFromD<D>) >= 4 ? 64 / HWY_MAX_BYTES
                                                                     : 1;

    D d;
    hn::Mask<D> lanes;

    // Their old pixels as lanes of To; the other lanes hold anything.
    template <class To, class Lanes>
    HWY_INLINE auto loadOld(To to, const uint8_t* p, const Lanes& step) const {
        return as(to, step.loadOldWhere(d, lanes, p));
    }
    template <class V, class Lanes>
    HWY_INLINE void store(V v, uint8_t* p, const Lanes& step) const {
        step.storeWhere(d, v, lanes, p);
    }
};

#    if HWY_TARGET == HWY_ALTIVEC
// With lanes that are not 0 for those stored, and such with something drawn, of which all are stored.
struct DrawnSet : StoreSet<D32> {
    V32 drawn;
};
#    endif

// Pixels of a generic blit, which are stored one by one. drawn has one 32-bit lane a pixel.
template <int Bytes>
struct GenericPixels;

template <>
struct GenericPixels<4> : StoreSet<D32> {};

// 24-bit pixels: a store takes the byte behind the pixel along and sets it to 0, and stays so unless the next
// pixel is drawn, too. Old pixels come from one byte further on, see loadOldPixel(); a pixel's own store
// never changes what a later one reads there.
template <>
struct GenericPixels<3> : StoreSet<D32> {
    static constexpr size_t kTogether = kMasks ? 0 : 1;

#    if HWY_TARGET == HWY_AVX3
    // Three bits for each pixel drawn.
    HWY_INLINE uint64_t bytes() const { return _pdep_u64(_cvtmask16_u32(lanes.raw), 0x0000249249249249) * 7; }

    template <class Lanes>
    HWY_INLINE V32 loadOld(D32, const uint8_t* p, Lanes) const {
        return spread24(V32{_mm512_maskz_loadu_epi8(_cvtu64_mask64(bytes()), p + 1)});
    }
    // In stores that end where the next step's begins: a load that overlaps the span of a masked store waits
    // for it, even where the mask has no byte.
    template <class Lanes>
    HWY_INLINE void store(V32 v, uint8_t* p, Lanes) const {
        const uint64_t starts = _pdep_u64(_cvtmask16_u32(lanes.raw), 0x0000249249249249);
        const uint64_t stored = starts * 7 | starts << 3;
        const V32 packed = pack24(hn::IfThenElseZero(lanes, v));
        _mm256_mask_storeu_epi8(p, _cvtu32_mask32(static_cast<uint32_t>(stored)),
                                _mm512_castsi512_si256(packed.raw));
        _mm_mask_storeu_epi8(p + 32, static_cast<__mmask16>(stored >> 32),
                             _mm512_extracti32x4_epi32(packed.raw, 2));
        if (stored >> 48)
            p[48] = 0;
    }
#    else
    HWY_INLINE V32 loadOld(D32, const uint8_t* p, Stored step) const { return load24(p + 1, step); }
    HWY_INLINE V32 loadOld(D32, const uint8_t* p, Seen step) const { return load24(p + 1, step); }

    template <class Lanes>
    HWY_INLINE V32 loadOld(D32, const uint8_t* p, Lanes step) const {
        return load24(oldAt(d, lanes, p + 1), step);
    }

    // In plain stores, for the same reason.
    template <class Lanes>
    HWY_INLINE void store(V32 v, uint8_t* p, Lanes) const {
        if constexpr (Lanes::kStoresAll) {
            storeBytes(D8(), as(D8(), pack24(v)), p, 3 * kLanes32);
            p[3 * kLanes32] = 0;
            return;
        }
        // A store's fourth byte is the zero.
        storeOneByOne<3>(d, kBigEndian ? hn::ShiftLeft<8>(v) : hn::And(v, hn::Set(d, 0xFFFFFF)), lanes, p);
    }
#    endif
};

// Pixels of A8R8G8B8 go in pairs: see storeUnit(). drawn is not 0 in each lane to be drawn.
#    if HWY_TARGET == HWY_ALTIVEC
HWY_INLINE DrawnSet pairsOf(V32 drawn, Whole) {
    return {{D32(), hn::Or(drawn, hn::Reverse2(D32(), drawn))}, drawn};
}
#    else
HWY_INLINE StoreSet<D64> pairsOf(V32 drawn, Whole) {
    const D64 d64;
    return {d64, hn::Ne(as(d64, drawn), hn::Zero(d64))};
}
#    endif

// The end of a row: an odd last pixel stands alone. Lanes behind the row must hold 0.
HWY_INLINE StoreSet<D32> pairsOf(V32 drawn, First lanes) {
    const D32 d32;
    const auto pair = hn::Or(drawn, hn::Reverse2(d32, drawn));
    return {d32, lanes.only(d32, hn::Ne(pair, hn::Zero(d32)))};
}

// Pixels of R5G6B5 go in words of two, four pixels in a group: see storeUnit(). drawn is not 0 in each
// lane to be drawn. A word is left alone when none of its pixels is drawn and the other word has none or
// both; so the words stored are those with a drawn pixel, and those beside a word with just one.
HWY_INLINE V32 besideJustOne(V16 drawn) {
    return hn::Reverse2(D32(), halvesDiffer(hn::Min(drawn, hn::Set(D16(), 1))));
}

#    if HWY_TARGET == HWY_ALTIVEC
template <bool OnVectors>
HWY_INLINE DrawnSet groupsOf(V16 drawn, Inside<OnVectors>) {
    const V32 words = as(D32(), drawn);
    return {{D32(), hn::Or(words, besideJustOne(drawn))}, words};
}
#    endif

HWY_INLINE StoreSet<D32> groupsOf(V16 drawn, Whole) {
    const D32 d32;
    return {d32, notZero(d32, hn::Or(as(d32, drawn), besideJustOne(drawn)))};
}

// The end of a row: its groups as ever, then single pixels. Lanes behind the row must hold 0.
template <class Lanes>
requires(!std::is_base_of_v<Whole, Lanes>) HWY_INLINE StoreSet<D16> groupsOf(V16 drawn, Lanes lanes) {
    const D16 d16;
    const D32 d32;
    const V32 beside = besideJustOne(drawn);
    const V32 both = hn::Or(beside, hn::ShiftLeft<16>(beside)); // beside is 1 or all ones
    const V16 words = hn::Or(as(d16, hn::RotateRight<16>(as(d32, drawn))), as(d16, both));
    return {d16, hn::Ne(hn::Or(drawn, hn::And(words, lanes.grouped())), hn::Zero(d16))};
}

#    if HWY_TARGET == HWY_ALTIVEC
// --- Rows ---------------------------------------------------------------------------------------------

// Draws one step. A branch costs little here, and a store of some lanes much.
template <class Step, class Lanes>
HWY_INLINE void drawVector(const Step& step, const uint8_t* src, uint8_t* dst, const uint8_t* third,
                           Lanes lanes) {
    const auto weighed = step.weigh(src, third, lanes);
    if constexpr (requires { weighed.stored; }) {
        const auto& stored = weighed.stored;
        const auto drawn = [&]() HWY_ATTR {
            if constexpr (requires { stored.drawn; })
                return stored.drawn;
            else
                return stored.lanes;
        }();
        if (__builtin_expect(hn::AllTrue(stored.d, drawn), true))
            stored.store(step.mix(weighed, dst, third, Drawn<Lanes>()), dst, Drawn<Lanes>());
        else if (!hn::AllFalse(stored.d, drawn))
            stored.store(step.mix(weighed, dst, third, lanes), dst, lanes);
    } else {
        step.draw(weighed, dst, third, lanes);
    }
}

// Draws so many steps. Images of pixels of one size are seen from the destination, so that one register runs.
template <class Step, class Lanes>
HWY_INLINE void drawVectors(const Step& step, const uint8_t* src, uint8_t* dst, const uint8_t* third,
                            size_t steps, Lanes lanes) {
    constexpr size_t kSrc = Step::kSrcBytes, kDst = Step::kDstBytes, kThird = Step::kThirdBytes;
    ptrdiff_t toSrc = src - dst, toThird = third - dst;
    asm("" : "+r"(toSrc), "+r"(toThird));
    for (; steps; --steps) {
        drawVector(step, kSrc == kDst ? dst + toSrc : src, dst, kThird == kDst ? dst + toThird : third,
                   lanes);
        src += Step::kPixels * kSrc, dst += Step::kPixels * kDst, third += Step::kPixels * kThird;
    }
}

// Draws the end of a row.
template <class Step>
HWY_INLINE void drawLeft(const Step& step, const uint8_t* src, uint8_t* dst, const uint8_t* third,
                         size_t pixels) {
    const First lanes{pixels};
    const auto weighed = step.weigh(src, third, lanes);
    if constexpr (requires { weighed.stored; })
        weighed.stored.store(step.mix(weighed, dst, third, lanes), dst, lanes);
    else
        step.draw(weighed, dst, third, lanes);
}

// Walks the rows of a block; see drawRows().
template <class Step>
HWY_INLINE void drawRowsByVectors(const Block& b, const Step& inMemory, const uint8_t* third,
                                  ptrdiff_t thirdPitch) {
    constexpr size_t kPixels = Step::kPixels, kSrc = Step::kPixels * Step::kSrcBytes,
                     kDst = Step::kPixels * Step::kDstBytes, kThird = Step::kPixels * Step::kThirdBytes;
    constexpr bool kHas24 = Step::kSrcBytes == 3 || Step::kDstBytes == 3;
    const Step step = inMemory; // in registers
    const size_t steps = b.width / kPixels, left = b.width % kPixels;
    const ptrdiff_t srcPitch = b.srcPitch, dstPitch = b.dstPitch;
    const uint8_t* src = b.src;
    uint8_t* dst = b.dst;
    const auto place = [](const uint8_t* p, ptrdiff_t pitch, size_t bytes) {
        return bytes % 2 ? 0
                         : (reinterpret_cast<uintptr_t>(p) | static_cast<uintptr_t>(pitch)) % HWY_MAX_BYTES;
    };
    const bool onVectors = (place(src, srcPitch, Step::kSrcBytes) | place(dst, dstPitch, Step::kDstBytes) |
                            place(third, thirdPitch, Step::kThirdBytes)) == 0;
    if (onVectors && !kHas24) {
        for (size_t rows = b.height; rows; --rows, src += srcPitch, dst += dstPitch, third += thirdPitch) {
            drawVectors(step, src, dst, third, steps, Inside<true>());
            if (left)
                drawLeft(step, src + steps * kSrc, dst + steps * kDst, third + steps * kThird, left);
        }
        return;
    }
    // So many steps have a vector's bytes in each image: what lies between such ends of a row is inside.
    constexpr size_t kEnd = kHas24 && kPixels == kLanes32 ? 2 : 1;
    const size_t inside = steps > 2 * kEnd ? steps - 2 * kEnd : 0, first = inside ? kEnd : steps;
    const auto draw = [&](size_t from, size_t count, auto lanes) HWY_ATTR {
        drawVectors(step, src + from * kSrc, dst + from * kDst, third + from * kThird, count, lanes);
    };
    for (size_t rows = b.height; rows; --rows, src += srcPitch, dst += dstPitch, third += thirdPitch) {
        draw(0, first, Whole());
        if (inside) {
            if (onVectors)
                draw(first, inside, Inside<true>());
            else
                draw(first, inside, Inside<false>());
            draw(first + inside, kEnd, Whole());
        }
        if (left)
            drawLeft(step, src + steps * kSrc, dst + steps * kDst, third + steps * kThird, left);
    }
}
#    endif

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
