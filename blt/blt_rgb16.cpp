// SPDX-License-Identifier: Zlib
#include "blt_family.h"
#include "blt_routines.h"

using namespace ormsel;

namespace {

// Groups of four pixels, each read whole before it is stored, and then single ones.
void copyInOrder(const Block& b) {
    for (size_t y = 0; y < b.height; ++y) {
        const uint8_t* src = b.src + static_cast<ptrdiff_t>(y) * b.srcPitch;
        uint8_t* dst = b.dst + static_cast<ptrdiff_t>(y) * b.dstPitch;
        size_t x = 0;
        for (; x + 4 <= b.width; x += 4)
            store64(dst + 2 * x, load64(src + 2 * x));
        for (; x < b.width; ++x)
            store16(dst + 2 * x, load16(src + 2 * x));
    }
}

unsigned long BLT_R5G6B5_R5G6B5_Direct(const BltContext* ctx) {
    const Block block = blockOf(*ctx);
    if (orderIsFree(block, 2, 2))
        copyRows(block, block.width * 2);
    else
        copyInOrder(block);
    return 0;
}

unsigned long BLT_R5G6B5_R5G6B5_Blend(const BltContext* ctx) {
    Block block = blockOf(*ctx);
    block.alpha = ctx->alpha >> 3;
    runWithRowCopy(block, kernelsFor(block, 2, 2).mixRgb16, block.width * 8 + 8);
    return 0;
}

} // namespace

unsigned long BLT_R5G6B5_R5G6B5(const BltContext* ctx) {
    const uint32_t alpha = ctx->alpha >> 3;
    if (alpha == 0 || isEmpty(*ctx))
        return 0;
    return alpha == 31 ? BLT_R5G6B5_R5G6B5_Direct(ctx) : BLT_R5G6B5_R5G6B5_Blend(ctx);
}
