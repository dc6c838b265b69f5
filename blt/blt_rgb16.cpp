// SPDX-License-Identifier: Zlib
#include "blt_family.h"

using namespace ormsel;

namespace {

unsigned long BLT_R5G6B5_R5G6B5_Direct(const BltContext* ctx, const Bounds* bounds) {
    copyBlock<2>(blockOf(*ctx, bounds, 2, 2, 4));
    return 0;
}

unsigned long BLT_R5G6B5_R5G6B5_Blend(const BltContext* ctx, const Bounds* bounds) {
    Pieces<OpaqueOntoR5G6B5<R5G6B5, true>> pieces(*ctx, bounds);
    while (const Block* piece = pieces.next())
        bounds ? runInside(*piece, pieces.kernel()) : pieces.kernel()(*piece);
    return 0;
}

unsigned long drawNothing(const BltContext*, const Bounds*) {
    return 0;
}

// Pixels that nothing fades are copied as they are.
auto choose(const BltContext& ctx) {
    using Rule = OpaqueOntoR5G6B5<R5G6B5, true>;
    if (!Rule::draws(ctx.alpha) || isEmpty(ctx))
        return drawNothing;
    return Rule::fades(ctx.alpha) ? BLT_R5G6B5_R5G6B5_Blend : BLT_R5G6B5_R5G6B5_Direct;
}

} // namespace

unsigned long BLT_R5G6B5_R5G6B5(const BltContext* ctx) {
    return choose(*ctx)(ctx, nullptr);
}

template <>
unsigned long ormsel::runRoute<R5G6B5, R5G6B5>(const BltContext& ctx, const Bounds* bounds) {
    return choose(ctx)(&ctx, bounds);
}
