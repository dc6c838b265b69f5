// SPDX-License-Identifier: Zlib
#include "blt_family.h"

using namespace ormsel;

namespace {

unsigned long BLT_R5G6B5_R5G6B5_Direct(const BltContext* ctx, const Bounds* bounds) {
    copyBlock<2>(blockOf(*ctx, bounds, 2, 2, 4));
    return 0;
}

unsigned long BLT_R5G6B5_R5G6B5_Blend(const BltContext* ctx, const Bounds* bounds) {
    drawByRule<OpaqueOntoR5G6B5<R5G6B5, true>>(*ctx, bounds);
    return 0;
}

// Pixels that nothing fades are copied as they are.
unsigned long run(const BltContext* ctx, const Bounds* bounds) {
    using Rule = OpaqueOntoR5G6B5<R5G6B5, true>;
    if (!Rule::draws(ctx->alpha) || isEmpty(*ctx))
        return 0;
    return Rule::fades(ctx->alpha) ? BLT_R5G6B5_R5G6B5_Blend(ctx, bounds)
                                   : BLT_R5G6B5_R5G6B5_Direct(ctx, bounds);
}

} // namespace

unsigned long BLT_R5G6B5_R5G6B5(const BltContext* ctx) {
    return run(ctx, nullptr);
}

template <>
unsigned long ormsel::runRouteInside<R5G6B5, R5G6B5>(const BltContext& ctx, const Bounds& bounds) {
    return run(&ctx, &bounds);
}
