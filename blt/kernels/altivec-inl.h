// SPDX-License-Identifier: Zlib
//
// AltiVec, the vector unit of 32-bit PowerPC processors, in Highway's words. Highway has no target for it;
// here are those of its operations that the kernels use, under the same names, and the macros that make a
// target. Vectors have 16 bytes, and their lanes stand in memory's order, which is big-endian.
//
// The file that includes this is compiled for any PowerPC, with vectors passed as AltiVec's ABI has it. Only
// what stands between HWY_BEFORE_NAMESPACE() and HWY_AFTER_NAMESPACE() uses the unit; a flag for the whole
// file would put its instructions into functions of headers, which the linker may take for the scalar
// kernels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#define HWY_NAMESPACE N_ALTIVEC
#define HWY_ALTIVEC 1
#define HWY_NEON 2
#define HWY_SSE4 4
#define HWY_AVX2 8
#define HWY_AVX3 16
#define HWY_TARGET HWY_ALTIVEC
#define HWY_MAX_BYTES 16
#define HWY_ONCE 1
#define HWY_INLINE inline __attribute__((always_inline))
#define HWY_ATTR
#define HWY_BEFORE_NAMESPACE()                                                                               \
    _Pragma("GCC push_options") _Pragma("GCC target(\"altivec\")") static_assert(true)
#define HWY_AFTER_NAMESPACE() _Pragma("GCC pop_options") static_assert(true)

HWY_BEFORE_NAMESPACE();
namespace hwy::N_ALTIVEC {

// --- Vectors ------------------------------------------------------------------------------------------

template <class T, size_t Lanes>
struct Simd {
    using Lane = T;
    static constexpr size_t kLanes = Lanes;
};
template <class D>
constexpr size_t MaxLanes(D) {
    return D::kLanes;
}
template <class T>
using ScalableTag = Simd<T, 16 / sizeof(T)>;
template <class T>
using Full128 = ScalableTag<T>;
template <class D>
using TFromD = typename D::Lane;
template <class T, class D>
using Repartition = Simd<T, D::kLanes * sizeof(TFromD<D>) / sizeof(T)>;
template <class T, class D>
using Rebind = Simd<T, D::kLanes>;
template <class D>
using RebindToSigned = Simd<std::make_signed_t<TFromD<D>>, D::kLanes>;

template <class T>
struct VecOf;
#define VECTOR_OF(T)                                                                                         \
    template <>                                                                                              \
    struct VecOf<T> {                                                                                        \
        typedef T Type __attribute__((vector_size(16)));                                                     \
    };
VECTOR_OF(uint8_t)
VECTOR_OF(uint16_t)
VECTOR_OF(uint32_t)
VECTOR_OF(uint64_t)
VECTOR_OF(int8_t)
VECTOR_OF(int16_t)
VECTOR_OF(int32_t)
#undef VECTOR_OF

// A vector of fewer lanes than 16 bytes hold has the others behind them, with anything in them. A mask's
// lanes are all ones or all zeros.
template <class D>
using Vec = typename VecOf<TFromD<D>>::Type;
template <class D>
using Mask = Vec<Simd<std::make_unsigned_t<TFromD<D>>, D::kLanes>>;

using Bytes = Vec<ScalableTag<uint8_t>>;
using Shorts = Vec<ScalableTag<uint16_t>>;
using Words = Vec<ScalableTag<uint32_t>>;

template <class D, class V>
HWY_INLINE Vec<D> BitCast(D, V v) {
    return (Vec<D>)v;
}
template <class D, class M>
HWY_INLINE Mask<D> RebindMask(D, M m) {
    return (Mask<D>)m;
}
template <class D, class M>
HWY_INLINE Vec<D> VecFromMask(D, M m) {
    return (Vec<D>)m;
}
template <class D>
HWY_INLINE Vec<D> Zero(D) {
    return Vec<D>{};
}
template <class D>
HWY_INLINE Vec<D> Set(D, TFromD<D> lanes) {
    return Vec<D>{} + lanes;
}

// --- Loads and stores ---------------------------------------------------------------------------------

typedef Bytes BytesOfAny __attribute__((may_alias));

// At a multiple of 16 bytes.
template <class D>
HWY_INLINE Vec<D> Load(D, const TFromD<D>* p) {
    return (Vec<D>)*reinterpret_cast<const BytesOfAny*>(p);
}
template <class D>
HWY_INLINE void Store(Vec<D> v, D, TFromD<D>* p) {
    *reinterpret_cast<BytesOfAny*>(p) = (Bytes)v;
}
template <class D>
HWY_INLINE Vec<D> LoadDup128(D d, const TFromD<D>* p) {
    return Load(d, p);
}

// Anywhere. The unit has no such access: by way of a vector on the stack, so that no byte beside it is
// touched.
template <class D>
HWY_INLINE Vec<D> LoadU(D, const TFromD<D>* p) {
    Vec<D> v;
    std::memcpy(&v, p, D::kLanes * sizeof(TFromD<D>));
    return v;
}
template <class D>
HWY_INLINE void StoreU(Vec<D> v, D, TFromD<D>* p) {
    std::memcpy(p, &v, D::kLanes * sizeof(TFromD<D>));
}

// --- Bits and lanes -----------------------------------------------------------------------------------

template <class V>
HWY_INLINE V AndNot(V a, V b) {
    return ~a & b;
}
template <int By, class V>
HWY_INLINE V ShiftLeft(V v) {
    return v << By;
}
template <int By, class V>
HWY_INLINE V ShiftRight(V v) {
    return v >> By;
}
template <class V>
HWY_INLINE V ShiftLeftSame(V v, int by) {
    return v << (V{} + static_cast<std::remove_cvref_t<decltype(v[0])>>(by));
}
template <class V>
HWY_INLINE V ShiftRightSame(V v, int by) {
    return v >> (V{} + static_cast<std::remove_cvref_t<decltype(v[0])>>(by));
}

template <class M, class V>
HWY_INLINE V IfThenElse(M m, V a, V b) {
    return (V)__builtin_vec_sel((Bytes)b, (Bytes)a, (Bytes)m);
}
template <class M, class V>
HWY_INLINE V IfThenElseZero(M m, V a) {
    return (V)m & a;
}

template <class V>
HWY_INLINE auto GetLane(V v) {
    return v[0];
}

// The lanes of even and of odd numbers, those of `lower` first.
HWY_INLINE Shorts ConcatEven(ScalableTag<uint16_t>, Shorts upper, Shorts lower) {
    return __builtin_shuffle(lower, upper, Shorts{0, 2, 4, 6, 8, 10, 12, 14});
}
HWY_INLINE Shorts ConcatOdd(ScalableTag<uint16_t>, Shorts upper, Shorts lower) {
    return __builtin_vec_pack((Words)lower, (Words)upper);
}

// Lanes of a and b in turn.
HWY_INLINE Words ZipLower(ScalableTag<uint32_t>, Shorts a, Shorts b) {
    return (Words)__builtin_vec_mergeh(a, b);
}
HWY_INLINE Words ZipUpper(ScalableTag<uint32_t>, Shorts a, Shorts b) {
    return (Words)__builtin_vec_mergel(a, b);
}

// An index from 0x80 on gives 0: as an index of the instruction it is one of a second vector's bytes.
HWY_INLINE Bytes TableLookupBytesOr0(Bytes v, Bytes index) {
    return __builtin_vec_perm(v, Bytes{}, index | (index >> 7 << 4));
}

HWY_INLINE Shorts PromoteTo(ScalableTag<uint16_t>, Bytes v) {
    return (Shorts)__builtin_vec_mergeh(Bytes{}, v);
}
HWY_INLINE Words PromoteTo(ScalableTag<uint32_t>, Shorts v) {
    return (Words)__builtin_vec_mergeh(Shorts{}, v);
}
HWY_INLINE Words PromoteTo(ScalableTag<uint32_t> d32, Bytes v) {
    return PromoteTo(d32, PromoteTo(ScalableTag<uint16_t>(), v));
}
HWY_INLINE Shorts TruncateTo(Simd<uint16_t, 4>, Words v) {
    return __builtin_vec_pack(v, v);
}

// --- Arithmetic ---------------------------------------------------------------------------------------

template <class V>
HWY_INLINE V Max(V a, V b) {
    return (V)__builtin_vec_max(a, b);
}
template <class V>
HWY_INLINE V SaturatedSub(V a, V b) {
    return (V)__builtin_vec_subs(a, b);
}
HWY_INLINE Shorts MulHigh(Shorts a, Shorts b) {
    return __builtin_shuffle((Shorts)__builtin_vec_mule(a, b), (Shorts)__builtin_vec_mulo(a, b),
                             Shorts{0, 8, 2, 10, 4, 12, 6, 14});
}

// --- Comparisons --------------------------------------------------------------------------------------

template <class V>
HWY_INLINE auto Eq(V a, V b) {
    return (Mask<ScalableTag<std::remove_cvref_t<decltype(a[0])>>>)(a == b);
}
template <class V>
HWY_INLINE auto Gt(V a, V b) {
    return (Mask<ScalableTag<std::remove_cvref_t<decltype(a[0])>>>)(a > b);
}
template <class V>
HWY_INLINE auto Lt(V a, V b) {
    return Gt(b, a);
}

// One comparison with 0 tells, by what it leaves in the condition register: every lane that isn't 0 is true.
template <class D>
HWY_INLINE bool AllTrue(D, Mask<D> m) {
    constexpr int kNoneIsEqual = 0;
    return __builtin_altivec_vcmpequw_p(kNoneIsEqual, (Vec<ScalableTag<int32_t>>)m,
                                        Vec<ScalableTag<int32_t>>{});
}

} // namespace hwy::N_ALTIVEC
HWY_AFTER_NAMESPACE();
