// SPDX-License-Identifier: Zlib
#include "blt_family.h"

using namespace ormsel;

namespace {

using R5G6B5Route = Route<Operation::kBlend, R5G6B5, R5G6B5>;

unsigned long BLT_R5G6B5_R5G6B5_Direct(const BltContext* ctx, const Bounds* bounds) {
    copyBlock<2>(blockOf(*ctx, bounds, 2, 2, 4));
    return 0;
}

unsigned long BLT_R5G6B5_R5G6B5_Blend(const BltContext* ctx, const Bounds* bounds) {
    drawByRule<R5G6B5Route>(*ctx, bounds);
    return 0;
}

} // namespace

// Pixels that nothing fades are copied as they are.
template <>
unsigned long ormsel::runRoute<R5G6B5Route>(const BltContext& ctx, const Bounds* bounds) {
    using Rule = R5G6B5Route::Faded;
    if (!Rule::draws(ctx.alpha) || isEmpty(ctx))
        return 0;
    return Rule::fades(ctx.alpha) ? BLT_R5G6B5_R5G6B5_Blend(&ctx, bounds)
                                  : BLT_R5G6B5_R5G6B5_Direct(&ctx, bounds);
}

unsigned long BLT_R5G6B5_R5G6B5(const BltContext* ctx) {
    return runRoute<R5G6B5Route>(*ctx, nullptr);
}
