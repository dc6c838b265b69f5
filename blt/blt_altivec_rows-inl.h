// SPDX-License-Identifier: Zlib
//
// The walk over rows for AltiVec, whose loads and stores are at multiples of 16 bytes.

#if defined(ORMSEL_BLT_ALTIVEC_ROWS_INL_H) == defined(HWY_TARGET_TOGGLE)
#    ifdef ORMSEL_BLT_ALTIVEC_ROWS_INL_H
#        undef ORMSEL_BLT_ALTIVEC_ROWS_INL_H
#    else
#        define ORMSEL_BLT_ALTIVEC_ROWS_INL_H
#    endif

#    include "blt_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// The same where some lane is known to be stored, so that the old pixels may be read.
template <class Lanes>
struct SomeDrawn : Lanes {
    template <class D, class M>
    static HWY_INLINE auto loadOldWhere(D d, M, const uint8_t* p) {
        return Lanes::loadOld(d, p);
    }
};

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
        else if (!hn::AllFalse(stored.d, kept(drawn))) // a copy here, not in the way of those that are drawn
            stored.store(step.mix(weighed, dst, third, SomeDrawn<Lanes>()), dst, lanes);
    } else {
        step.draw(weighed, dst, third, lanes);
    }
}

// Draws so many steps, short ones two in a round, of which the second has distances of its own. Images of
// pixels of one size are seen from the destination, so that one register runs.
template <class Step, class Lanes>
HWY_INLINE void drawVectors(const Step& step, const uint8_t* src, uint8_t* dst, const uint8_t* third,
                            size_t steps, Lanes lanes) {
    constexpr size_t kSrc = Step::kSrcBytes, kDst = Step::kDstBytes, kThird = Step::kThirdBytes;
    ptrdiff_t toSrc = src - dst, toThird = third - dst;
    asm("" : "+r"(toSrc), "+r"(toThird));
    if constexpr (std::is_same_v<Lanes, Inside<true>> && kSrc == kDst) {
        constexpr ptrdiff_t kNextSrc = Step::kPixels * kSrc, kNextDst = Step::kPixels * kDst,
                            kNextThird = Step::kPixels * kThird;
        ptrdiff_t nextToSrc = toSrc + kNextSrc, nextToThird = toThird + kNextThird, next = kNextDst;
        asm("" : "+r"(nextToSrc), "+r"(nextToThird), "+r"(next));
        for (; steps >= 2; steps -= 2) {
            drawVector(step, kSrc == kDst ? dst + toSrc : src, dst, kThird == kDst ? dst + toThird : third,
                       lanes);
            drawVector(step, kSrc == kDst ? dst + nextToSrc : src + kNextSrc, dst + next,
                       kThird == kDst ? dst + nextToThird : third + kNextThird, lanes);
            src += 2 * kNextSrc, dst += 2 * kNextDst, third += 2 * kNextThird;
        }
    }
    for (; steps; --steps) {
        drawVector(step, kSrc == kDst ? dst + toSrc : src, dst, kThird == kDst ? dst + toThird : third,
                   lanes);
        src += Step::kPixels * kSrc, dst += Step::kPixels * kDst, third += Step::kPixels * kThird;
    }
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
        // All rows as one where no image has gaps.
        const auto bytes = [&b](size_t pixelBytes) { return static_cast<ptrdiff_t>(b.width * pixelBytes); };
        const bool one = !left && srcPitch == bytes(Step::kSrcBytes) && dstPitch == bytes(Step::kDstBytes) &&
                         thirdPitch == bytes(Step::kThirdBytes);
        const size_t together = one ? steps * b.height : steps;
        for (size_t rows = one ? 1 : b.height; rows;
             --rows, src += srcPitch, dst += dstPitch, third += thirdPitch) {
            drawVectors(step, src, dst, third, together, Inside<true>());
            if (left)
                drawStep(step, src + steps * kSrc, dst + steps * kDst, third + steps * kThird, First{left});
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
            drawStep(step, src + steps * kSrc, dst + steps * kDst, third + steps * kThird, First{left});
    }
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
