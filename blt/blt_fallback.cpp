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
[[gnu::noinline]] unsigned long runGeneric(const BltContext& ctx, const Bounds* bounds) {
    const GenericRoute& route = genericRoute(ctx);
    return bounds ? drawInside(route, ctx, *bounds, false) : route.run(route.routine, &ctx);
}

unsigned long drawNothing(const BltContext&, const Bounds*) {
    return 0;
}

// All codes of formats are below this one.
constexpr uint32_t kCodes = [] {
    uint32_t end = 0;
    for (const Format& format : kFormats)
        end = std::max(end, format.code + 1);
    return end;
}();

// What serves a context, by its operation and the formats of source and destination: a switch would take
// several jumps.
class Routines {
public:
    using Routine = unsigned long (*)(const BltContext& ctx, const Bounds* bounds);

    constexpr Routines() : of_() {
        for (size_t operation = 0; operation < kOperationCount; ++operation)
            for (auto& row : of_[operation])
                std::fill(std::begin(row), std::end(row), anyPair(static_cast<Operation>(operation)));
// NOLINTBEGIN(bugprone-macro-parentheses): types
#define ROW(operation, Src, Dst, Rule)                                                                       \
    of_[static_cast<size_t>(Operation::k##operation)][Src::kFormat.code][Dst::kFormat.code] =                \
        runRoute<Route<Operation::k##operation, Src, Dst>>;
        ORMSEL_ROUTES(ROW)
#undef ROW
        // NOLINTEND(bugprone-macro-parentheses)
    }

    Routine of(const BltContext& ctx) const {
        const uint32_t src = ctx.src.format, dst = ctx.dst.format;
        const Operation operation = operationOf(ctx.flags);
        return src < kCodes && dst < kCodes ? of_[static_cast<size_t>(operation)][src][dst]
                                            : anyPair(operation);
    }

private:
    static constexpr Routine anyPair(Operation operation) {
        return operation == Operation::kBlend ? runGeneric : drawNothing;
    }

    Routine of_[kOperationCount][kCodes][kCodes];
};
constexpr Routines kRoutines;

} // namespace

unsigned long BLT_FallbackBltContext(const BltContext* ctx) {
    return kRoutines.of(*ctx)(*ctx, nullptr);
}

unsigned long ormsel::dispatchInside(const BltContext& ctx, const Bounds& bounds) {
    return kRoutines.of(ctx)(ctx, &bounds);
}

const GenericRoute& ormsel::routeByDepths(const BltContext& ctx) {
    return kRoutesByDepth[depthIndex(ctx.srcBpp)][depthIndex(ctx.dstBpp)];
}

template unsigned long BLT_FallbackBltT<Short, Short>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltT<Long, Short>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltT<Long, Long>(const BltContext*, unsigned char);
