// SPDX-License-Identifier: Zlib
#include "blt_fallback.h"

using namespace ormsel;

template <class SrcPixel, class DstPixel>
unsigned long BLT_FallbackBltMaskT(const BltContext* ctx, unsigned char alphaFill) {
    return drawGeneric(*ctx, nullptr, kIsShort<SrcPixel>, kIsShort<DstPixel>, alphaFill, true);
}

unsigned long BLT_FallbackBltMaskContext(const BltContext* ctx) {
    const GenericRoute& route = routeByDepths(*ctx);
    return route.run(route.maskRoutine, ctx);
}

unsigned long ormsel::dispatchMaskInside(const BltContext& ctx, const Bounds& bounds) {
    return drawInside(routeByDepths(ctx), ctx, bounds, true);
}

template unsigned long BLT_FallbackBltMaskT<unsigned short, unsigned short>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltMaskT<unsigned short, unsigned long>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltMaskT<unsigned long, unsigned short>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltMaskT<unsigned long, unsigned long>(const BltContext*, unsigned char);
