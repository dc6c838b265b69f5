// SPDX-License-Identifier: Zlib
//
// The vector vocabulary of the kernels, on top of Highway: loads and stores, moved bytes, halves of pixels,
// and the blends.
//
// What targets do in ways of their own stands in one file for each of them, which is included at the end:
// target_avx512-inl.h, target_altivec-inl.h, and target_plain-inl.h for the others. Such a file defines
//   - the functions under "What a target defines" below
//   - Anywhere, how a step reads and writes a vector: load(d, p), store(d, v, p), and load24(p) for as many
//     pixels of 24 bits as there are 32-bit lanes. No other byte is touched.
//   - SourceWeights<L, Faded>: the weights of pixels onto A8R8G8B8, A * C >> 8. weights(s) has the type that
//     mixOntoA8R8G8B8(s, d, weights) takes, which gives the new pixels: a weight of 0 leaves the old one
//   - Fade32nds: from alphas in the high byte of 16-bit lanes to A * C >> 11
//   - HalvesAlphaHigh<AlphaIsLow>: the halves of two vectors of pixels, with alpha on top
//   - MovedHalves: the same with bytes in an order that is known at run time
//   - RightShift: a logical shift by a count that is known at run time

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

// As many bytes, or 16-bit pixels, as a whole vector has lanes of more bits.
using BytesFor32 = hn::Rebind<uint8_t, D32>;
using BytesFor16 = hn::Rebind<uint8_t, D16>;
using ShortsFor32 = hn::Rebind<uint16_t, D32>;

constexpr size_t kLanes32 = HWY_MAX_BYTES / 4; // all targets used here have a fixed size
constexpr size_t kLanes16 = HWY_MAX_BYTES / 2;

template <class To, class V>
HWY_INLINE auto as(To d, V v) {
    return hn::BitCast(d, v);
}

// --- What a target defines ----------------------------------------------------------------------------

// Bits of a where the mask has ones, of b elsewhere.
template <class V>
HWY_INLINE V select(V mask, V a, V b);

// Bits of a where the mask has ones, and those of b, which has none there.
template <class V>
HWY_INLINE V addBits(V mask, V a, V b);

// For each 16-bit lane the sum of two products of its bytes: unsigned ones of x with those of w, which must
// be at most 127. The sum must stay below 2^15.
HWY_INLINE V16 multiplyAddBytes(V16 x, V16 w);

// One more in each lane that has this value.
HWY_INLINE V16 oneMoreAt(uint16_t value, V16 v);

// Puts the 16-bit lanes of a vector in the order that zipping needs, which goes block by block of 16 bytes.
HWY_INLINE V16 orderForZip(V16 v);

// Each lane's low three bytes, one after the other; zeros behind the last.
HWY_INLINE V32 pack24(V32 v);

// The lanes of v, each moved one further on, behind the last lane of `before`.
HWY_INLINE V32 oneLaneLater(V32 before, V32 v);

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

// Pixels of so many bytes as values in 32-bit lanes.
template <int Bytes, class At>
HWY_INLINE V32 loadPixels(At, const uint8_t* p) {
    if constexpr (Bytes == 2)
        return hn::PromoteTo(D32(), At::load(ShortsFor32(), p));
    else if constexpr (Bytes == 3)
        return At::load24(p);
    else
        return At::load(D32(), p);
}

template <int Bytes, class At>
HWY_INLINE void storePixels(At, V32 v, uint8_t* p) {
    if constexpr (Bytes == 2) {
        At::store(ShortsFor32(), hn::TruncateTo(ShortsFor32(), v), p);
    } else if constexpr (Bytes == 3) {
        const V32 packed = pack24(v);
        std::memcpy(p, &packed, 3 * kLanes32);
    } else {
        At::store(D32(), v, p);
    }
}

// Anywhere for pixels of 16 and 32 bits, where a vector may stand at any address.
struct AnyAddress {
    template <class D>
    static HWY_INLINE auto load(D d, const uint8_t* p) {
        return loadAt(d, p);
    }
    template <class D, class V>
    static HWY_INLINE void store(D d, V v, uint8_t* p) {
        storeAt(d, v, p);
    }
};

// --- Bytes and halves ---------------------------------------------------------------------------------

// Byte shuffles within 16-byte blocks; an index of 0x80 gives 0.
struct Shuffle {
    V8 index;

    HWY_INLINE V32 operator()(V32 v) const { return as(D32(), hn::TableLookupBytesOr0(as(D8(), v), index)); }
};

// The shuffle that moves, in every 32-bit lane, byte `from` >> 8 * i to byte i. A lane's bytes are counted
// from its lowest.
HWY_INLINE Shuffle shuffleOfBytes(uint32_t from) {
    alignas(16) static constexpr uint32_t kLane[4] = {0, 0x04040404, 0x08080808, 0x0C0C0C0C};
    const D32 d32;
    const uint32_t inMemory = kBigEndian ? from ^ 0x03030303 : from;
    return {as(D8(), hn::Set(d32, inMemory) + hn::LoadDup128(d32, kLane))};
}

// The argument of shuffleOfBytes() for four bytes, the lowest first; 0x80 gives a 0.
constexpr uint32_t bytesFrom(uint32_t b0, uint32_t b1, uint32_t b2, uint32_t b3) {
    return b0 | b1 << 8 | b2 << 16 | b3 << 24;
}

// Two vectors of 32-bit pixels as the low and the high halves of as many 16-bit lanes.
struct Halves {
    V16 low, high;
};

HWY_INLINE Halves halvesOf(V32 first, V32 second) {
    const D16 d16;
    const V16 lower = as(d16, first), upper = as(d16, second);
    return kBigEndian ? Halves{hn::ConcatOdd(d16, upper, lower), hn::ConcatEven(d16, upper, lower)}
                      : Halves{hn::ConcatEven(d16, upper, lower), hn::ConcatOdd(d16, upper, lower)};
}

// Halves of pixels whose bytes are moved first, as shuffleOfBytes() does: in two steps, or in one shuffle
// that gathers the low halves of a block in its first eight bytes and the high halves in the others.
struct HalvesByMoving {
    Shuffle move;

    explicit HWY_INLINE HalvesByMoving(uint32_t from) : move(shuffleOfBytes(from)) {}
    HWY_INLINE Halves operator()(V32 first, V32 second) const { return halvesOf(move(first), move(second)); }
};

template <bool AlphaIsLow>
struct HalvesAlphaHighByMoving {
    HalvesByMoving moved{bytesFrom(1, 2, 3, 0)};

    HWY_INLINE HalvesAlphaHighByMoving() {}
    HWY_INLINE Halves operator()(V32 first, V32 second) const {
        return AlphaIsLow ? moved(first, second) : halvesOf(first, second);
    }
};

#if HWY_TARGET != HWY_ALTIVEC
struct HalvesByGathering {
    V8 index;

    explicit HWY_INLINE HalvesByGathering(uint32_t from) {
        const D64 d64;
        alignas(16) static constexpr uint8_t kLane[16] = {0, 0, 4, 4, 8, 8, 12, 12, 0, 0, 4, 4, 8, 8, 12, 12};
        const uint64_t four = 0x0001000100010001;
        const auto bytes =
            hn::InterleaveLower(d64, hn::Set(d64, four * (from & 0xFFFF)), hn::Set(d64, four * (from >> 16)));
        index = as(D8(), bytes) + hn::LoadDup128(D8(), kLane);
    }

    HWY_INLINE Halves operator()(V32 first, V32 second) const {
        const D64 d64;
        const D16 d16;
        const auto a = as(d64, hn::TableLookupBytesOr0(as(D8(), first), index)),
                   b = as(d64, hn::TableLookupBytesOr0(as(D8(), second), index));
        // The order for zipping is its own inverse where there are two blocks.
        return {orderForZip(as(d16, hn::InterleaveLower(d64, a, b))),
                orderForZip(as(d16, hn::InterleaveUpper(d64, a, b)))};
    }
};

template <bool AlphaIsLow>
struct HalvesAlphaHighByGathering : HalvesByGathering {
    HWY_INLINE HalvesAlphaHighByGathering()
        : HalvesByGathering(AlphaIsLow ? bytesFrom(1, 2, 3, 0) : bytesFrom(0, 1, 2, 3)) {}
};
#endif

// Two vectors of 32-bit lanes in the lanes' own order, from their low and their high halves, which have been
// put in the order for zipping.
struct Zipped {
    V32 first, second;

    HWY_INLINE Zipped(V32 one, V32 other) : first(one), second(other) {}
    HWY_INLINE Zipped(V16 low, V16 high)
        : first(kBigEndian ? hn::ZipLower(D32(), high, low) : hn::ZipLower(D32(), low, high)),
          second(kBigEndian ? hn::ZipUpper(D32(), high, low) : hn::ZipUpper(D32(), low, high)) {}
};

// --- Blends -------------------------------------------------------------------------------------------

// Blends channels of 8 bits, one in the low byte of each 16-bit lane of s and oldLow, and at the top of
// oldTop: d + floor((s - d) * a / 256) in the high byte, a from 0 to 256. Sums are taken modulo 2^16, and
// lose nothing: 256 * d + (s - d) * a is a mean of s and d times 256, at most 65280.
HWY_INLINE V16 mixBytes(V16 s, V16 oldLow, V16 oldTop, V16 a) {
    return (s - oldLow) * a + oldTop;
}

// Blends the four bytes of pixels: those of even numbers into rb, in the low byte of 16-bit lanes, the others
// into ag, in the high byte, above anything. a is the weight in both halves of each pixel. roundUp, 0 or 255,
// is added before the division by 256; the sums stay below 2^16 where no weight is above 255, or roundUp is
// 0.
struct MixedBytes {
    V16 rb, ag;

    HWY_INLINE MixedBytes(V32 s, V32 d, V16 a, V16 roundUp = hn::Zero(D16())) {
        const D16 d16;
        const V16 low = hn::Set(d16, 0x00FF), s16 = as(d16, s), d16s = as(d16, d);
        rb = hn::ShiftRight<8>(mixBytes(s16 & low, d16s & low, hn::ShiftLeft<8>(d16s), a) + roundUp);
        ag = mixBytes(hn::ShiftRight<8>(s16), hn::ShiftRight<8>(d16s), hn::AndNot(low, d16s), a) + roundUp;
    }

    // Of the bytes in ag the bits of `taken`.
    HWY_INLINE V32 joined(V32 taken) const { return addBits(taken, as(D32(), ag), as(D32(), rb)); }
};

// SourceWeights in 16-bit lanes, the same in both halves of each pixel.
template <class L, bool Faded>
struct WordWeights {
    Shuffle spread;
    V16 constant;

    explicit HWY_INLINE WordWeights(uint32_t constantAlpha)
        : spread(shuffleOfBytes(Faded ? bytesFrom(0x80, byteAt(L::kA), 0x80, byteAt(L::kA))
                                      : bytesFrom(byteAt(L::kA), 0x80, byteAt(L::kA), 0x80))),
          constant(hn::Set(D16(), Faded ? static_cast<uint16_t>(constantAlpha) : 0x0101)) {}

    // 256 * A * C >> 16; and A * 255 >> 8 is A - 1, but for 0.
    HWY_INLINE V16 operator()(V32 s) const {
        const D8 d8;
        const D16 d16;
        if constexpr (Faded)
            return hn::MulHigh(as(d16, spread(s)), constant);
        else
            return as(d16, spread(as(D32(), hn::SaturatedSub(as(d8, s), as(d8, constant)))));
    }
};

// Fade32nds by a product of words.
struct WordFade32nds {
    V16 constant32;

    explicit HWY_INLINE WordFade32nds(uint32_t constantAlpha)
        : constant32(hn::Set(D16(), static_cast<uint16_t>(constantAlpha << 5))) {}
    HWY_INLINE V16 operator()(V16 high) const { return hn::MulHigh(hn::ShiftRight<8>(high), constant32); }
};

// Of A8R8G8B8 pixels the bits of green, and those of alpha where the weight, in both halves, is 0. Weights
// are below 2^15.
HWY_INLINE V32 greenAndUndrawnAlpha(V16 weights) {
    const D32 d32;
    const hn::RebindToSigned<D16> i16;
    const auto above = hn::Gt(as(i16, hn::Set(d32, 0x00017FFF)), as(i16, weights));
    return as(d32, hn::VecFromMask(i16, above)) & hn::Set(d32, 0xFF00FF00);
}

// The lanes of the new pixels where a weight isn't 0, of the old ones elsewhere. Weights fill their lanes.
template <class D>
HWY_INLINE hn::Vec<D> whereDrawn(D d, hn::Vec<D> weights, hn::Vec<D> drawn, hn::Vec<D> old) {
    return hn::IfThenElse(hn::Eq(weights, hn::Zero(d)), old, drawn);
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_TARGET == HWY_AVX3
#    include "target_avx512-inl.h"
#elif HWY_TARGET == HWY_ALTIVEC
#    include "target_altivec-inl.h"
#else
#    include "target_plain-inl.h"
#endif
