// SPDX-License-Identifier: Zlib
#include "blt_fallback.h"

#include <algorithm>

#include "kernels/kernels.h"
#include "blt_routines.h"

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

// The routines by the formats of source and destination: a switch would take several jumps.
struct Routines {
    BltRoutine of[kCodes][kCodes];

    constexpr Routines() : of() {
        for (auto& row : of)
            for (BltRoutine& routine : row)
                routine = runGeneric;
#define ROUTE(Src, Dst, Rule) of[Src::kFormat.code][Dst::kFormat.code] = BLT_##Src##_##Dst;
        ORMSEL_ROUTES(ROUTE)
#undef ROUTE
    }
};
constexpr Routines kRoutines;

constexpr uint64_t pairOf(uint32_t src, uint32_t dst) {
    return uint64_t{src} << 32 | dst;
}

} // namespace

unsigned long BLT_FallbackBltContext(const BltContext* ctx) {
    const uint32_t src = ctx->src.format, dst = ctx->dst.format;
    if (src < kCodes && dst < kCodes) [[likely]]
        return kRoutines.of[src][dst](ctx);
    return runGeneric(ctx);
}

const GenericRoute& ormsel::routeByDepths(const BltContext& ctx) {
    return kRoutesByDepth[depthIndex(ctx.srcBpp)][depthIndex(ctx.dstBpp)];
}

unsigned long ormsel::dispatchInside(const BltContext& ctx, const Bounds& bounds) {
    switch (pairOf(ctx.src.format, ctx.dst.format)) {
#define ROUTE(Src, Dst, Rule)                                                                                \
    case pairOf(Src::kFormat.code, Dst::kFormat.code):                                                       \
        return runRouteInside<Src, Dst>(ctx, bounds);
        ORMSEL_ROUTES(ROUTE)
#undef ROUTE
    }
    return drawInside(genericRoute(ctx), ctx, bounds, false);
}

template unsigned long BLT_FallbackBltT<Short, Short>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltT<Long, Short>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltT<Long, Long>(const BltContext*, unsigned char);
