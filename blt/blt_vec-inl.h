// SPDX-License-Identifier: Zlib
//
// The vector vocabulary of the kernels, on top of Highway: operations on whole vectors, with what is
// particular to a target. Included once for each of them; every name lives in the target's namespace.

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
// are looked at together: see drawTogether().
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

// An address as a number of which compilers don't know what lies there: one that leads to another object by
// the distance between both is not within the first, as they would take it to be.
HWY_INLINE intptr_t addressOf(const void* p) {
    auto address = reinterpret_cast<intptr_t>(p);
    asm("" : "+r"(address));
    return address;
}

// Where old pixels are read of which a mask has some: at p. If it has none, anywhere else: a blit that stores
// nothing doesn't even look at the destination.
template <class D>
HWY_INLINE const uint8_t* oldAt(D d, hn::Mask<D> mask, const uint8_t* p) {
    alignas(HWY_MAX_BYTES) static constexpr uint8_t kNothing[HWY_MAX_BYTES] = {};
    intptr_t taken = hn::AllFalse(d, mask) ? 0 : -1;
    asm("" : "+r"(taken)); // no branch, please
    const intptr_t nothing = addressOf(kNothing);
    return reinterpret_cast<const uint8_t*>(nothing + ((reinterpret_cast<intptr_t>(p) - nothing) & taken));
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
    const intptr_t other = addressOf(&elsewhere), way = reinterpret_cast<intptr_t>(p) - other;
    for (size_t i = 0; i < kCount; ++i)
        ormsel::storeWord(reinterpret_cast<uint8_t*>(other + ((way + static_cast<intptr_t>(Stride * i)) &
                                                              static_cast<intptr_t>(kept[i]))),
                          lanes[i]);
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

// Flags of 0 and 1, or of 0 and all ones: which lanes aren't 0.
HWY_INLINE V16 flagsOf(V16 v) {
#    if HWY_TARGET == HWY_ALTIVEC
    return hn::Gt(v, V16{});
#    else
    return hn::Min(v, hn::Set(D16(), 1));
#    endif
}

// For such flags: not 0 in each 32-bit lane of which one half is 0 and the other not, and its low half
// isn't 0 either.
HWY_INLINE V32 halvesDiffer(V16 flags) {
    const D32 d32;
#    if HWY_TARGET == HWY_AVX3
    return V32{_mm512_madd_epi16(flags.raw, _mm512_set1_epi32(-0xFFFF))}; // 1 * the low half - 1 * the high
#    elif HWY_TARGET == HWY_AVX2
    return V32{_mm256_madd_epi16(flags.raw, _mm256_set1_epi32(-0xFFFF))};
#    elif HWY_TARGET == HWY_SSE4
    return V32{_mm_madd_epi16(flags.raw, _mm_set1_epi32(-0xFFFF))};
#    elif HWY_TARGET == HWY_ALTIVEC
    return as(d32, flags) ^ hn::RotateRight<16>(as(d32, flags));
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

// Halves of pixels whose bytes are moved first, as shuffleOfBytes() does.
struct MovedHalves {
#    if HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_AVX2
    // Gathers the low halves of a block in its first eight bytes, the high halves in the others.
    V8 index;

    explicit HWY_INLINE MovedHalves(uint32_t from) {
        const D64 d64;
        alignas(16) static constexpr uint8_t kLane[16] = {0, 0, 4, 4, 8, 8, 12, 12, 0, 0, 4, 4, 8, 8, 12, 12};
        const uint64_t four = 0x0001000100010001;
        const auto bytes =
            hn::InterleaveLower(d64, hn::Set(d64, four * (from & 0xFFFF)), hn::Set(d64, four * (from >> 16)));
        index = as(D8(), bytes) + hn::LoadDup128(D8(), kLane);
    }

    HWY_INLINE Halves operator()(V32 first, V32 second) const {
        const D64 d64;
        const auto a = as(d64, hn::TableLookupBytesOr0(as(D8(), first), index)),
                   b = as(d64, hn::TableLookupBytesOr0(as(D8(), second), index));
        Halves halves;
        // The order for zipping is its own inverse here.
        halves.low = orderForZip(as(D16(), hn::InterleaveLower(d64, a, b)));
        halves.high = orderForZip(as(D16(), hn::InterleaveUpper(d64, a, b)));
        return halves;
    }
#    else
    Shuffle move;

    explicit HWY_INLINE MovedHalves(uint32_t from) : move(shuffleOfBytes(from)) {}

    HWY_INLINE Halves operator()(V32 first, V32 second) const { return {move(first), move(second)}; }
#    endif
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
        return {first, second};
    }
#    else
    MovedHalves moved{AlphaIsLow ? bytesFrom(1, 2, 3, 0) : bytesFrom(0, 1, 2, 3)};

    HWY_INLINE HalvesAlphaHigh() {}
    HWY_INLINE Halves operator()(V32 first, V32 second) const {
        // These two targets make halves by moving bytes anyway.
        if constexpr (AlphaIsLow || HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_AVX2)
            return moved(first, second);
        else
            return {first, second};
    }
#    endif
};

// One more in each lane that has this value.
HWY_INLINE V16 oneMoreAt(uint16_t value, V16 v) {
    const D16 d;
#    if HWY_TARGET == HWY_AVX3
    const __mmask32 lanes = _mm512_cmpeq_epi16_mask(v.raw, hn::Set(d, value).raw);
    return V16{_mm512_mask_add_epi16(v.raw, lanes, v.raw, hn::Set(d, 1).raw)};
#    else
    return v - hn::VecFromMask(d, hn::Eq(v, hn::Set(d, value)));
#    endif
}

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

// The lanes that are not 0, where none has its highest bit.
template <class D>
HWY_INLINE hn::Mask<D> positive(D d, hn::Vec<D> v) {
#    if HWY_TARGET == HWY_AVX2
    const hn::RebindToSigned<D> i; // which spares a negation
    return hn::RebindMask(d, as(i, v) > hn::Zero(i));
#    elif HWY_TARGET == HWY_ALTIVEC
    return (void)d, v;
#    else
    return hn::Ne(v, hn::Zero(d));
#    endif
}

// The lanes that are not 0.
template <class D>
HWY_INLINE hn::Mask<D> notZero(D d, hn::Vec<D> v) {
#    if HWY_TARGET == HWY_ALTIVEC
    return (void)d, v;
#    else
    return hn::Ne(v, hn::Zero(d));
#    endif
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
