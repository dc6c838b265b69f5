// SPDX-License-Identifier: Zlib
#include "blt_fallback.h"

using namespace ormsel;

template <class SrcPixel, class DstPixel>
unsigned long BLT_FallbackBltMaskT(const BltContext* ctx, unsigned char alphaFill) {
    return drawGeneric(*ctx, nullptr, kIsShort<SrcPixel>, kIsShort<DstPixel>, alphaFill, true);
}

namespace {

using Short = unsigned short;
using Long = unsigned long;

constexpr GenericRoute kNone = {};

template <class SrcPixel, class DstPixel>
constexpr GenericRoute kOnce = {
    BLT_FallbackBltMaskT<SrcPixel, DstPixel>, kIsShort<SrcPixel>, kIsShort<DstPixel>, {255}, 1};

// 24-bit onto 16-bit runs on into the 32-bit case, so that partly masked pixels are blended twice. Programs
// rely on it.
template <class SrcPixel, class DstPixel>
constexpr GenericRoute kTwice = {
    BLT_FallbackBltMaskT<SrcPixel, DstPixel>, kIsShort<SrcPixel>, kIsShort<DstPixel>, {255, 0}, 2};

constexpr GenericRoutes kRoutesByDepth = {
    {kOnce<Short, Short>, kOnce<Short, Long>, kOnce<Short, Long>, kNone},
    {kTwice<Long, Short>, kNone, kOnce<Long, Long>, kNone},
    {kOnce<Long, Short>, kOnce<Long, Long>, kOnce<Long, Long>, kNone},
    {kNone, kNone, kNone, kNone},
};

const GenericRoute& genericRoute(const BltContext& ctx) {
    return kRoutesByDepth[depthIndex(ctx.srcBpp)][depthIndex(ctx.dstBpp)];
}

} // namespace

unsigned long BLT_FallbackBltMaskContext(const BltContext* ctx) {
    const GenericRoute& route = genericRoute(*ctx);
    unsigned long result = 0;
    for (const unsigned char alphaFill : route.fills())
        result = route.routine(ctx, alphaFill);
    return result;
}

unsigned long ormsel::dispatchMaskInside(const BltContext& ctx, const Bounds& bounds) {
    return drawInside(genericRoute(ctx), ctx, bounds, true);
}

template unsigned long BLT_FallbackBltMaskT<Long, Short>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltMaskT<Long, Long>(const BltContext*, unsigned char);
