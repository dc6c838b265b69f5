// SPDX-License-Identifier: Zlib
//
// AltiVec: vectors of 16 bytes at multiples of 16 bytes, any bytes of two vectors in one instruction,
// products of bytes. See vec-inl.h for what is defined here.

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

template <class V>
HWY_INLINE V select(V mask, V a, V b) {
    return hn::IfThenElse(mask, a, b);
}

template <class V>
HWY_INLINE V addBits(V mask, V a, V b) {
    return hn::IfThenElse(mask, a, b);
}

HWY_INLINE V16 multiplyAddBytes(V16 x, V16 w) {
    return __builtin_vec_mule(as(D8(), x), as(D8(), w)) + __builtin_vec_mulo(as(D8(), x), as(D8(), w));
}

HWY_INLINE V16 oneMoreAt(uint16_t value, V16 v) {
    return v - hn::Eq(v, hn::Set(D16(), value));
}

HWY_INLINE V16 orderForZip(V16 v) {
    return v;
}

HWY_INLINE V32 pack24(V32 v) {
    static constexpr V8 kBytes = {1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15, 16, 16, 16, 16};
    return as(D32(), __builtin_vec_perm(as(D8(), v), V8{}, kBytes));
}

HWY_INLINE V32 oneLaneLater(V32 before, V32 v) {
    return __builtin_vec_sld(before, v, 12);
}

// One 24-bit pixel value in each 32-bit lane, from pixels packed at the vector's start.
HWY_INLINE V32 spread24(V8 packed) {
    static constexpr V8 kBytes = {16, 0, 1, 2, 16, 3, 4, 5, 16, 6, 7, 8, 16, 9, 10, 11};
    return as(D32(), __builtin_vec_perm(packed, V8{}, kBytes));
}

// By way of the stack.
struct Anywhere : AnyAddress {
    static HWY_INLINE V32 load24(const uint8_t* p) {
        V8 packed;
        std::memcpy(&packed, p, 3 * kLanes32);
        return spread24(packed);
    }
};

// A vector at any address is the middle of two at multiples of 16 bytes, if the bytes beside it are the
// image's, too: inside a row, but not at its ends. OnVectors: it stands at such a multiple itself, unless its
// pixels have 24 bits.
template <bool OnVectors>
struct InsideRow {
    template <class D>
    static HWY_INLINE auto load(D d, const uint8_t* p) {
        if constexpr (hn::MaxLanes(D()) * sizeof(hn::TFromD<D>) < HWY_MAX_BYTES)
            return loadAt(d, p);
        else if constexpr (OnVectors)
            return hn::Load(d, reinterpret_cast<const hn::TFromD<D>*>(p));
        else
            return as(d, loadMiddle(p, 15));
    }
    template <class D, class V>
    static HWY_INLINE void store(D d, V v, uint8_t* p) {
        if constexpr (OnVectors && hn::MaxLanes(D()) * sizeof(hn::TFromD<D>) == HWY_MAX_BYTES)
            hn::Store(v, d, reinterpret_cast<hn::TFromD<D>*>(p));
        else
            storeAt(d, v, p);
    }
    static HWY_INLINE V32 load24(const uint8_t* p) { return spread24(loadMiddle(p, 3 * kLanes32 - 1)); }

private:
    static HWY_INLINE V8 loadMiddle(const uint8_t* p, int last) {
        return __builtin_vec_perm(__builtin_vec_ld(0, p), __builtin_vec_ld(last, p),
                                  __builtin_vec_lvsl(0, p));
    }
};

// The weight in the bytes of the colours, 0 in that of alpha.
template <class L, bool Faded>
struct SourceWeights {
    V8 constant;
    Shuffle ofColours;

    explicit HWY_INLINE SourceWeights(uint32_t constantAlpha)
        : constant(hn::Set(D8(), static_cast<uint8_t>(constantAlpha))),
          ofColours(shuffleOfBytes(bytesFrom(kHighByte, kHighByte, kHighByte, 0x80))) {}

    // Of the products of all bytes, the high bytes of those with A.
    HWY_INLINE V8 operator()(V32 s) const {
        const V8 bytes = as(D8(), s);
        const V16 products =
            byteAt(L::kA) % 2 ? __builtin_vec_mule(bytes, constant) : __builtin_vec_mulo(bytes, constant);
        return as(D8(), ofColours(as(D32(), products)));
    }

private:
    static constexpr uint32_t kHighByte = byteAt(L::kA) | 1;
};

// By s * a + d * (256 - a), whose second factor is 0 for a weight of 0 and for the byte of alpha.
HWY_INLINE V32 mixOntoA8R8G8B8(V32 s, V32 d, V8 a) {
    static constexpr V8 kHighBytes = {0, 16, 2, 18, 4, 20, 6, 22, 8, 24, 10, 26, 12, 28, 14, 30};
    const V8 rest = -a, s8 = as(D8(), s), old = as(D8(), d);
    const V16 even = __builtin_vec_mule(s8, a) + __builtin_vec_mule(old, rest);
    const V16 odd = __builtin_vec_mulo(s8, a) + __builtin_vec_mulo(old, rest);
    const V32 mixed = as(D32(), __builtin_vec_perm(as(D8(), even), as(D8(), odd), kHighBytes));
    return whereDrawn(D32(), as(D32(), a), mixed, d);
}

struct Fade32nds {
    V8 constant;

    explicit HWY_INLINE Fade32nds(uint32_t constantAlpha)
        : constant(hn::Set(D8(), static_cast<uint8_t>(constantAlpha))) {}
    HWY_INLINE V16 operator()(V16 high) const {
        return hn::ShiftRight<11>(V16(__builtin_vec_mule(as(D8(), high), constant)));
    }
};

using MovedHalves = HalvesByMoving;

template <bool AlphaIsLow>
struct HalvesAlphaHigh {
    HWY_INLINE HalvesAlphaHigh() {}
    HWY_INLINE Halves operator()(V32 first, V32 second) const {
        static constexpr V8 kLow = {1, 2, 5, 6, 9, 10, 13, 14, 17, 18, 21, 22, 25, 26, 29, 30},
                            kHigh = {3, 0, 7, 4, 11, 8, 15, 12, 19, 16, 23, 20, 27, 24, 31, 28};
        const V8 a = as(D8(), first), b = as(D8(), second);
        if constexpr (AlphaIsLow)
            return {as(D16(), __builtin_vec_perm(a, b, kLow)), as(D16(), __builtin_vec_perm(a, b, kHigh))};
        else
            return halvesOf(first, second);
    }
};

struct RightShift {
    V16 by;

    explicit HWY_INLINE RightShift(uint32_t n) : by(hn::Set(D16(), static_cast<uint16_t>(n))) {}
    HWY_INLINE V16 operator()(V16 v) const { return v >> by; }
};

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
