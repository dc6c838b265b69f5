// SPDX-License-Identifier: Zlib
//
// Which pixels of a vector are loaded, drawn and stored, for each target: whole steps, the ends of rows, runs
// that are transparent, and the pixels that have to be stored together.

#if defined(ORMSEL_BLT_LANES_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_BLT_LANES_INL_H
#        undef ORMSEL_BLT_LANES_INL_H
#    else
#        define ORMSEL_BLT_LANES_INL_H
#    endif

#    include "blt_vec-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// How many pixels are looked at together for whether one of them is drawn.
constexpr size_t kRunPixels = 64;

// Tells whether pixels of 32 bits, or bytes of a mask, are drawn: those whose alpha, a byte at the given
// bits, is greater than `last`.
struct Glance {
    V32 bits;
    V8 last;

    HWY_INLINE Glance(uint32_t b, uint32_t l)
        : bits(hn::Set(D32(), b)), last(hn::Set(D8(), static_cast<uint8_t>(l))) {}

    // Whether none of a run is. A vector's worth in its middle tells of most runs that some pixel is.
    template <size_t Bytes>
    HWY_INLINE bool seesNone(const uint8_t* p) const {
        constexpr size_t kRunBytes = kRunPixels * Bytes, kMiddle = kRunBytes / 2;
        const D8 d8;
        V8 most = loadAt(d8, p + kMiddle);
        if (kRunBytes > 2 * HWY_MAX_BYTES && !hasNone(most))
            return false;
        for (size_t i = 0; i < kRunBytes; i += HWY_MAX_BYTES)
            if (i != kMiddle)
                most = hn::Max(most, loadAt(d8, p + i));
        return hasNone(most);
    }

    HWY_INLINE bool hasNone(V8 v) const {
        const D32 d32;
        return hn::AllTrue(d32, hn::And(as(d32, hn::SaturatedSub(v, last)), bits) == hn::Zero(d32));
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
using Stored = Drawn<Whole>;

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
// The same for whole groups of four pixels, of which words of two are stored. See First for the narrow
// accesses.
struct TwoRowsOfGroups : TwoRows {
    HWY_INLINE V32 loadOldWhere(D32, M32 mask, const uint8_t* p) const {
        const auto first = static_cast<__mmask8>(mask.raw), second = static_cast<__mmask8>(mask.raw >> 8);
        const uint8_t* next = p + oldPitch;
        __m256i lower, upper;
        if (count <= 8) {
            lower = _mm256_zextsi128_si256(_mm_maskz_loadu_epi32(first, p));
            upper = _mm256_zextsi128_si256(_mm_maskz_loadu_epi32(second, next));
        } else {
            lower = _mm256_maskz_loadu_epi32(first, p);
            upper = _mm256_maskz_loadu_epi32(second, next);
        }
        return V32{_mm512_inserti64x4(_mm512_castsi256_si512(lower), upper, 1)};
    }
    HWY_INLINE void storeWhere(D32, V32 v, M32 mask, uint8_t* p) const {
        const auto first = static_cast<__mmask8>(mask.raw), second = static_cast<__mmask8>(mask.raw >> 8);
        if (count <= 8) {
            __m128i lower = _mm512_castsi512_si128(v.raw), upper = _mm512_extracti32x4_epi32(v.raw, 2);
            asm("" : "+v"(lower), "+v"(upper));
            _mm_mask_storeu_epi32(p, first, lower);
            _mm_mask_storeu_epi32(p + dstPitch, second, upper);
        } else {
            __m256i lower = _mm512_castsi512_si256(v.raw), upper = _mm512_extracti64x4_epi64(v.raw, 1);
            asm("" : "+v"(lower), "+v"(upper));
            _mm256_mask_storeu_epi32(p, first, lower);
            _mm256_mask_storeu_epi32(p + dstPitch, second, upper);
        }
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
    template <class D>
    HWY_INLINE void storeWhere(D d, hn::Vec<D> v, hn::Mask<D> mask, uint8_t* p) const {
        const hn::Half<D> half;
        const auto lanes = hn::VecFromMask(d, mask);
        storeLanes(half, hn::LowerHalf(half, v), hn::MaskFromVec(hn::LowerHalf(half, lanes)), p);
        storeLanes(half, hn::UpperHalf(half, v), hn::MaskFromVec(hn::UpperHalf(half, lanes)), p + dstPitch);
    }
};

// The same for whole groups of four pixels, of which words of two are stored.
struct TwoRowsOfGroups : TwoRows {
    HWY_INLINE V32 loadOldWhere(D32 d, M32 mask, const uint8_t* p) const {
        const hn::Half<D32> half;
        const V32 lanes = hn::VecFromMask(d, mask);
        const auto row = [&](auto of, const uint8_t* at) {
            return First{count / 2}.loadOldWhere(half, hn::MaskFromVec(of), at);
        };
        return hn::Combine(d, row(hn::UpperHalf(half, lanes), p + oldPitch),
                           row(hn::LowerHalf(half, lanes), p));
    }
};
#        else
struct TwoRows {
    size_t count;
    ptrdiff_t srcPitch, oldPitch, dstPitch;
};
struct TwoRowsOfGroups : TwoRows {};
#        endif
#    endif

#    if HWY_TARGET == HWY_ALTIVEC
// The unit reads and writes vectors at multiples of 16 bytes. One at any address is the middle of two such,
// if the bytes beside it are the image's, too: inside a row, but not at its ends.
HWY_INLINE V8 loadInside(const uint8_t* p, int last) {
    return __builtin_vec_perm(__builtin_vec_ld(0, p), __builtin_vec_ld(last, p), __builtin_vec_lvsl(0, p));
}

// storeLanes() at a multiple of 16 bytes, where the unit stores single lanes: each goes to its own place in
// one of two vectors.
template <class D>
HWY_INLINE void storeElements(D d, hn::Vec<D> v, hn::Mask<D> mask, uint8_t* p) {
    using T = hn::TFromD<D>;
    constexpr hn::RebindToSigned<D> kSigned;
    alignas(16) std::make_signed_t<T> kept[hn::MaxLanes(D())]; // 0 or -1
    alignas(16) T elsewhere[hn::MaxLanes(D())];
    hn::Store(hn::VecFromMask(kSigned, hn::RebindMask(kSigned, mask)), kSigned, kept);
    const intptr_t other = addressOf(elsewhere), way = reinterpret_cast<intptr_t>(p) - other;
    for (size_t i = 0; i < hn::MaxLanes(d); ++i)
        __builtin_vec_ste(v, static_cast<int>(way & kept[i]), reinterpret_cast<T*>(other) + i);
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
        else if constexpr (OnVectors)
            storeElements(d, v, mask, p);
        else
            storeLanes(d, v, mask, p);
    }
};
#    endif

// --- Pixels of 24 bits --------------------------------------------------------------------------------

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

// Pixels of A8R8G8B8 go in pairs: see storeUnit(). drawn is not 0, and below 2^31, in each lane to be drawn.
#    if HWY_TARGET == HWY_ALTIVEC
HWY_INLINE DrawnSet pairsOf(V32 drawn, Whole) {
    return {{D32(), hn::Or(drawn, hn::Reverse2(D32(), drawn))}, drawn};
}
#    else
HWY_INLINE StoreSet<D64> pairsOf(V32 drawn, Whole) {
    const D64 d64;
    return {d64, positive(d64, as(d64, drawn))};
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
    return hn::Reverse2(D32(), halvesDiffer(flagsOf(drawn)));
}

#    if HWY_TARGET == HWY_ALTIVEC
template <bool OnVectors>
HWY_INLINE DrawnSet groupsOf(V16 drawn, Inside<OnVectors>) {
    const V32 words = as(D32(), drawn);
    return {{D32(), hn::Or(words, besideJustOne(drawn))}, words};
}
#    endif

template <class Lanes>
requires(std::is_base_of_v<Whole, Lanes> ||
         std::is_same_v<Lanes, TwoRowsOfGroups>) HWY_INLINE StoreSet<D32> groupsOf(V16 drawn, Lanes) {
    const D32 d32;
    return {d32, notZero(d32, hn::Or(as(d32, drawn), besideJustOne(drawn)))};
}

// The end of a row: its groups as ever, then single pixels. Lanes behind the row must hold 0.
template <class Lanes>
requires(std::is_same_v<Lanes, First> ||
         std::is_same_v<Lanes, TwoRows>) HWY_INLINE StoreSet<D16> groupsOf(V16 drawn, Lanes lanes) {
    const D16 d16;
    const D32 d32;
    const V32 beside = besideJustOne(drawn);
    const V32 both = hn::Or(beside, hn::ShiftLeft<16>(beside)); // beside has a low half
    const V16 words = hn::Or(as(d16, hn::RotateRight<16>(as(d32, drawn))), as(d16, both));
    return {d16, hn::Ne(hn::Or(drawn, hn::And(words, lanes.grouped())), hn::Zero(d16))};
}

// --- Steps --------------------------------------------------------------------------------------------

// A step has
//   - kPixels, kSrcBytes, kDstBytes, kThirdBytes: how many pixels, and of how many bytes
//   - weigh(src, third, lanes): what the source's pixels are and how much of them counts; `stored` in it, if
//     there is one, is the set of lanes that the destination gets
//   - mix(weighed, dst, third, lanes): what these lanes get; or, where all are stored,
//     draw(weighed, dst, third, lanes), which stores it, too
//   - perhaps isClear(src, third): whether none of kRunPixels pixels is drawn
// The third image, beside source and destination, is that of the old destination pixels, or the mask.
template <class Step, class Lanes>
HWY_INLINE void drawStep(const Step& step, const uint8_t* src, uint8_t* dst, const uint8_t* third,
                         Lanes lanes) {
    const auto weighed = step.weigh(src, third, lanes);
    if constexpr (requires { weighed.stored; })
        weighed.stored.store(step.mix(weighed, dst, third, lanes), dst, lanes);
    else
        step.draw(weighed, dst, third, lanes);
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
