// SPDX-License-Identifier: Zlib
#include "blt_fallback.h"

#include <algorithm>

#include "blt_family.h"

namespace ormsel {

static Kernel genericKernel(const Block& block) {
    return kernelsFor(block).generic(block);
}

unsigned long drawGeneric(const BltContext& ctx, const Bounds* bounds, bool shortSource,
                          bool shortDestination, unsigned char alphaFill, bool masked) {
    // A source without an alpha channel has alpha 0 everywhere unless it is filled: nothing to draw.
    const bool hidden = !masked && alphaFill == 0 && ctx.src.aMask == 0;
    if (ctx.alpha == 0 || isEmpty(ctx) || hidden)
        return 0;
    Block block = blockOf(ctx, bounds, shortSource ? 2 : ctx.src.bytesPerPixel,
                          shortDestination ? 2 : ctx.dst.bytesPerPixel, 1);
    if (masked)
        addMask(block, ctx);
    else
        block.alphaFill = alphaFill;
    drawBlock<genericKernel>(block, bounds);
    return 0;
}

unsigned long drawInside(const GenericRoute& route, const BltContext& ctx, const Bounds& bounds,
                         bool masked) {
    unsigned long result = 0;
    for (const unsigned char alphaFill : route.fills())
        result = drawGeneric(ctx, &bounds, route.shortSource, route.shortDestination, alphaFill, masked);
    return result;
}

} // namespace ormsel

using namespace ormsel;

template <class SrcPixel, class DstPixel>
unsigned long BLT_FallbackBltT(const BltContext* ctx, unsigned char alphaFill) {
    return drawGeneric(*ctx, nullptr, kIsShort<SrcPixel>, kIsShort<DstPixel>, alphaFill, false);
}

namespace {

using Short = unsigned short;
using Long = unsigned long;

constexpr GenericRoute kNone = {};

template <class SrcPixel, class DstPixel>
constexpr GenericRoute withFills(unsigned char first, unsigned char second, int passes) {
    return {BLT_FallbackBltT<SrcPixel, DstPixel>,
            BLT_FallbackBltMaskT<SrcPixel, DstPixel>,
            kIsShort<SrcPixel>,
            kIsShort<DstPixel>,
            {first, second},
            passes};
}

// Sources without alpha of their own count as opaque.
template <class SrcPixel, class DstPixel>
constexpr GenericRoute kOpaque = withFills<SrcPixel, DstPixel>(255, 0, 1);

template <class SrcPixel, class DstPixel>
constexpr GenericRoute kByOwnAlpha = withFills<SrcPixel, DstPixel>(0, 0, 1);

// 24-bit onto a 16-bit destination runs on into the 32-bit case. Programs see that where a 24-bit surface has
// an alpha mask, and through a mask, by which partly visible pixels are blended twice.
template <class SrcPixel, class DstPixel>
constexpr GenericRoute kOpaqueThenByOwnAlpha = withFills<SrcPixel, DstPixel>(255, 0, 2);

// [source][destination] of 16, 24, 32 and any other number of bits.
constexpr GenericRoute kRoutesByDepth[4][4] = {
    {kOpaque<Short, Short>, kOpaque<Short, Long>, kOpaque<Short, Long>, kNone},
    {kOpaqueThenByOwnAlpha<Long, Short>, kNone, kOpaque<Long, Long>, kNone},
    {kByOwnAlpha<Long, Short>, kByOwnAlpha<Long, Long>, kByOwnAlpha<Long, Long>, kNone},
    {kNone, kNone, kNone, kNone},
};

constexpr size_t depthIndex(uint16_t bpp) {
    return bpp == 16 ? 0 : bpp == 24 ? 1 : bpp == 32 ? 2 : 3;
}

// Without a mask, onto R5G6B5 the source's depth alone decides, and 24 bits run once.
constexpr GenericRoute kRoutesOntoR5G6B5[4] = {kOpaque<Short, Short>, kOpaque<Long, Short>,
                                               kByOwnAlpha<Long, Short>, kNone};

const GenericRoute& genericRoute(const BltContext& ctx) {
    return ctx.dst.format == R5G6B5::kFormat.code ? kRoutesOntoR5G6B5[depthIndex(ctx.srcBpp)]
                                                  : routeByDepths(ctx);
}

// Not part of the dispatcher, which needs no registers of its own then.
[[gnu::noinline]] unsigned long runGeneric(const BltContext* ctx) {
    const GenericRoute& route = genericRoute(*ctx);
    return route.run(route.routine, ctx);
}

// All codes of formats are below this one.
constexpr uint32_t kCodes = [] {
    uint32_t end = 0;
    for (const Format& format : kFormats)
        end = std::max(end, format.code + 1);
    return end;
}();

unsigned long drawNothing(const BltContext*) {
    return 0;
}

// A route's routine: the one that has a name, or, for operations other than blending, the one made here.
template <Operation Op, class Src, class Dst>
constexpr BltRoutine routineOf(BltRoutine named) {
    if constexpr (Op == Operation::kBlend)
        return named;
    else
        return [](const BltContext* ctx) { return runRoute<Route<Op, Src, Dst>>(*ctx, nullptr); };
}

// The routines by the operation and the formats of source and destination: a switch would take several jumps.
struct Routines {
    BltRoutine of[kOperationCount][kCodes][kCodes];

    constexpr Routines() : of() {
        for (size_t operation = 0; operation < kOperationCount; ++operation)
            for (auto& row : of[operation])
                for (BltRoutine& routine : row)
                    routine = operation == static_cast<size_t>(Operation::kBlend) ? runGeneric : drawNothing;
#define ROW(operation, Src, Dst, Rule)                                                                       \
    of[static_cast<size_t>(Operation::k##operation)][Src::kFormat.code][Dst::kFormat.code] =                 \
        routineOf<Operation::k##operation, Src, Dst>(BLT_##Src##_##Dst);
        ORMSEL_ROUTES(ROW)
#undef ROW
    }
};
constexpr Routines kRoutines;

// What tells routes apart, in one number.
constexpr uint64_t keyOf(Operation operation, uint32_t src, uint32_t dst) {
    return uint64_t{src} << 32 | uint64_t{dst} << 8 | static_cast<uint64_t>(operation);
}

} // namespace

unsigned long BLT_FallbackBltContext(const BltContext* ctx) {
    const uint32_t src = ctx->src.format, dst = ctx->dst.format;
    const Operation operation = operationOf(ctx->flags);
    if (src < kCodes && dst < kCodes) [[likely]]
        return kRoutines.of[static_cast<size_t>(operation)][src][dst](ctx);
    return operation == Operation::kBlend ? runGeneric(ctx) : 0;
}

const GenericRoute& ormsel::routeByDepths(const BltContext& ctx) {
    return kRoutesByDepth[depthIndex(ctx.srcBpp)][depthIndex(ctx.dstBpp)];
}

unsigned long ormsel::dispatchInside(const BltContext& ctx, const Bounds& bounds) {
    const Operation operation = operationOf(ctx.flags);
    switch (keyOf(operation, ctx.src.format, ctx.dst.format)) {
#define ROW(operation, Src, Dst, Rule)                                                                       \
    case keyOf(Operation::k##operation, Src::kFormat.code, Dst::kFormat.code):                               \
        return runRoute<Route<Operation::k##operation, Src, Dst>>(ctx, &bounds);
        ORMSEL_ROUTES(ROW)
#undef ROW
    }
    return operation == Operation::kBlend ? drawInside(genericRoute(ctx), ctx, bounds, false) : 0;
}

template unsigned long BLT_FallbackBltT<Short, Short>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltT<Long, Short>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltT<Long, Long>(const BltContext*, unsigned char);
