// SPDX-License-Identifier: Zlib
#include "blt_family.h"
#include "blt_routines.h"

using namespace ormsel;

namespace {

unsigned long BLT_R5G6B5_R5G6B5_Direct(const BltContext* ctx) {
    copyBlock<2>(blockOf(*ctx, 2, 2, 4));
    return 0;
}

unsigned long BLT_R5G6B5_R5G6B5_Blend(const BltContext* ctx) {
    Block block = blockOf(*ctx, 2, 2, 4);
    block.alpha = ctx->alpha >> 3;
    runWithRowCopy(*ctx, block, kernelsFor(block).mixRgb16, block.width * 8 + 8);
    return 0;
}

} // namespace

unsigned long BLT_R5G6B5_R5G6B5(const BltContext* ctx) {
    const uint32_t alpha = ctx->alpha >> 3;
    if (alpha == 0 || isEmpty(*ctx))
        return 0;
    return alpha == 31 ? BLT_R5G6B5_R5G6B5_Direct(ctx) : BLT_R5G6B5_R5G6B5_Blend(ctx);
}
