// SPDX-License-Identifier: Zlib
//
// How the vector kernels walk the rows of a block: in whole vectors, from left to right, past runs that are
// transparent throughout. Each pixel of a row is read and written back, be it with the value that it has.
//
// A row that is no whole number of vectors ends in one that overlaps with the one before. Both are blended
// before either is stored, so that each pixel is blended once, from its old value.
//
// A step draws one vector of pixels by a rule. It is made of the block, and has
//   - kPixels, kSrcBytes, kDstBytes: how many pixels, and of how many bytes
//   - draw(at, src, dst, mask): what the pixels at dst become; at as Anywhere in vec-inl.h
//   - store(at, drawn, dst): stores that
//   - perhaps isClear(at, src, mask): whether none of kRunPixels pixels is drawn
//   - State: what a step must know of the one before it in its row; mostly nothing. If it is something, it
//   has
//     store(step, at, drawn, dst), which is called in the step's place, and pause(dst), which is told that
//     nothing is drawn from dst on for a while

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// How many pixels are looked at together for whether one of them is drawn.
constexpr size_t kRunPixels = 64;

// Tells whether pixels of 32 bits, or bytes of a mask, are drawn: those whose alpha, a byte at the given
// bits, is greater than `last`.
struct ClearTest {
    V32 bits;
    V8 last;

    HWY_INLINE ClearTest(uint32_t b, uint32_t l)
        : bits(hn::Set(D32(), b)), last(hn::Set(D8(), static_cast<uint8_t>(l))) {}

    // Whether none of a run is. A vector's worth in its middle tells of most runs that some pixel is.
    // Bytes of a mask needn't stand where the pixels do.
    template <size_t Bytes, class Pixels>
    HWY_INLINE bool isClear(Pixels, const uint8_t* p) const {
        using At = std::conditional_t<Bytes == 1, AnyAddress, Pixels>;
        constexpr size_t kRunBytes = kRunPixels * Bytes, kVector = HWY_MAX_BYTES,
                         kMiddle = kRunBytes / 2 / kVector * kVector;
        const D8 d8;
        V8 most = At::load(d8, p + kMiddle);
        if (kRunBytes > 2 * kVector && !hasNone(most))
            return false;
        for (size_t i = 0; i < kRunBytes; i += kVector)
            if (i != kMiddle)
                most = hn::Max(most, At::load(d8, p + i));
        return hasNone(most);
    }

private:
    HWY_INLINE bool hasNone(V8 v) const {
        const D32 d32;
        return hn::AllTrue(d32, hn::Eq(as(d32, hn::SaturatedSub(v, last)) & bits, hn::Zero(d32)));
    }
};

// The base of steps. Results that are vectors of the destination's pixels are stored as they are.
struct VectorStep {
    struct State {};

    template <class At>
    static HWY_INLINE void store(At, V16 drawn, uint8_t* dst) {
        At::store(D16(), drawn, dst);
    }
    template <class At>
    static HWY_INLINE void store(At, V32 drawn, uint8_t* dst) {
        At::store(D32(), drawn, dst);
    }
    template <class At>
    static HWY_INLINE void store(At, const Zipped& drawn, uint8_t* dst) {
        At::store(D32(), drawn.first, dst);
        At::store(D32(), drawn.second, dst + 4 * kLanes32);
    }
};

// One row, with the distances between pixels that a step has.
template <class Step>
struct Row {
    static constexpr size_t kPixels = Step::kPixels, kSrc = Step::kSrcBytes, kDst = Step::kDstBytes;

    const uint8_t* src;
    uint8_t* dst;
    const uint8_t* mask;
    typename Step::State state{};

    template <class At>
    HWY_INLINE auto draw(const Step& step, At at, size_t x) const {
        return step.draw(at, src + x * kSrc, dst + x * kDst, mask + x);
    }
    template <class At, class Drawn>
    HWY_INLINE void store(const Step& step, At at, const Drawn& drawn, size_t x) {
        if constexpr (requires { state.pause(dst); })
            state.store(step, at, drawn, dst + x * kDst);
        else
            step.store(at, drawn, dst + x * kDst);
    }
    HWY_INLINE void pause(size_t x) {
        if constexpr (requires { state.pause(dst); })
            state.pause(dst + x * kDst);
    }

    // Whole vectors from one pixel to another.
    template <class At>
    HWY_INLINE void drawVectors(const Step& step, At at, size_t x, size_t end) {
        if constexpr (requires { step.isClear(at, src, mask); }) {
            for (; x + kRunPixels <= end; x += kRunPixels) {
                if (step.isClear(at, src + x * kSrc, mask + x)) {
                    pause(x);
                    continue;
                }
                for (size_t i = 0; i < kRunPixels; i += kPixels)
                    store(step, at, draw(step, at, x + i), x + i);
            }
        }
        for (; x < end; x += kPixels)
            store(step, at, draw(step, at, x), x);
    }

    // The last whole vector and, `left` pixels further on, the one that ends the row. What the second one
    // stores is final, and of its pixels those that aren't drawn keep what the first one has made of them.
    template <class At>
    HWY_INLINE void drawEnd(const Step& step, At at, size_t x, size_t left) {
        const auto first = draw(step, at, x), last = draw(step, Anywhere(), x + left);
        store(step, at, first, x);
        pause(x + kPixels);
        store(step, Anywhere(), last, x + left);
    }
};

// All rows as one where no image has gaps between them.
HWY_INLINE Rows withoutGaps(Rows rows, size_t srcBytes, size_t dstBytes) {
    const auto gapless = [&rows](ptrdiff_t pitch, size_t bytes) {
        return pitch == static_cast<ptrdiff_t>(rows.width * bytes);
    };
    if (gapless(rows.srcPitch, srcBytes) && gapless(rows.dstPitch, dstBytes) &&
        (!rows.mask || gapless(rows.maskPitch, 1))) {
        rows.width *= rows.height;
        rows.height = 1;
    }
    return rows;
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_TARGET == HWY_ALTIVEC
#    include "altivec_rows-inl.h"
#else
HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// The kernel of a step, for rows of at least kPixels.
template <class Step, class Block>
void drawRows(const Block& block) {
    constexpr size_t kPixels = Step::kPixels;
    const Step step(block);
    const Rows all = withoutGaps(block, Step::kSrcBytes, Step::kDstBytes);
    const size_t left = all.width % kPixels, end = left ? all.width - left - kPixels : all.width;
    Row<Step> row{all.src, all.dst, all.mask ? all.mask : all.src};
    for (size_t rows = all.height; rows; --rows) {
        row.drawVectors(step, Anywhere(), 0, end);
        if (left)
            row.drawEnd(step, Anywhere(), end, left);
        row.pause(all.width);
        row.src += all.srcPitch, row.dst += all.dstPitch, row.mask += all.maskPitch;
    }
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif
