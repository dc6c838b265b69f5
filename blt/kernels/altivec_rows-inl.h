// SPDX-License-Identifier: Zlib
//
// The walk over rows for AltiVec, whose loads and stores are at multiples of 16 bytes. Included by
// rows-inl.h.

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// Whether rows of pixels begin at multiples of 16 bytes; 24-bit pixels never do, and bytes of a mask needn't.
HWY_INLINE bool beginOnVectors(const uint8_t* p, ptrdiff_t pitch) {
    return (reinterpret_cast<uintptr_t>(p) | static_cast<uintptr_t>(pitch)) % HWY_MAX_BYTES == 0;
}

// The kernel of a step, for rows of at least kPixels.
template <class Step, class Block>
void drawRows(const Block& block) {
    constexpr size_t kPixels = Step::kPixels;
    constexpr bool kHas24 = Step::kSrcBytes == 3 || Step::kDstBytes == 3;
    const Step step(block);
    const Rows all = withoutGaps(block, Step::kSrcBytes, Step::kDstBytes);
    const size_t left = all.width % kPixels, end = left ? all.width - left - kPixels : all.width;
    Row<Step> row{all.src, all.dst, all.mask ? all.mask : all.src};
    const auto next = [&]() HWY_ATTR {
        row.pause(all.width);
        row.src += all.srcPitch, row.dst += all.dstPitch, row.mask += all.maskPitch;
    };
    const bool onVectors = (Step::kSrcBytes == 3 || beginOnVectors(all.src, all.srcPitch)) &&
                           (Step::kDstBytes == 3 || beginOnVectors(all.dst, all.dstPitch));
    if (onVectors && !kHas24) {
        for (size_t rows = all.height; rows; --rows, next()) {
            row.drawVectors(step, InsideRow<true>(), 0, end);
            if (left)
                row.drawEnd(step, InsideRow<true>(), end, left);
        }
        return;
    }
    // So many steps have a vector's bytes in each image: what lies between such ends of a row is inside.
    constexpr size_t kMargin = (kHas24 && kPixels == kLanes32 ? 2 : 1) * kPixels;
    const size_t first = end > 2 * kMargin ? kMargin : end, last = end > 2 * kMargin ? end - kMargin : end;
    for (size_t rows = all.height; rows; --rows, next()) {
        row.drawVectors(step, Anywhere(), 0, first);
        if (onVectors)
            row.drawVectors(step, InsideRow<true>(), first, last);
        else
            row.drawVectors(step, InsideRow<false>(), first, last);
        row.drawVectors(step, Anywhere(), last, end);
        if (left)
            row.drawEnd(step, Anywhere(), end, left);
    }
}

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
