// SPDX-License-Identifier: Zlib
#include "blt_fallback.h"

#include "blt_routines.h"

template <class SrcPixel, class DstPixel>
unsigned long BLT_FallbackBltMaskT(const BltContext* ctx, unsigned char) {
    ormsel::runGeneric(*ctx, 0);
    return 0;
}

namespace {

template <class SrcPixel, class DstPixel>
unsigned long masked(const BltContext* ctx) {
    return BLT_FallbackBltMaskT<SrcPixel, DstPixel>(ctx, 0);
}

// 24-bit onto 16-bit runs on into the 32-bit case, so that partly masked pixels are blended twice. Programs
// rely on it.
unsigned long maskedTwice(const BltContext* ctx) {
    masked<uint32_t, uint16_t>(ctx);
    return masked<uint32_t, uint16_t>(ctx);
}

constexpr ormsel::DepthTable kByDepths = {{
    {masked<uint16_t, uint16_t>, masked<uint16_t, uint32_t>, masked<uint16_t, uint32_t>},
    {maskedTwice, nullptr, masked<uint32_t, uint32_t>},
    {masked<uint32_t, uint16_t>, masked<uint32_t, uint32_t>, masked<uint32_t, uint32_t>},
}};

} // namespace

unsigned long BLT_FallbackBltMaskContext(const BltContext* ctx) {
    return kByDepths.run(ctx);
}

template unsigned long BLT_FallbackBltMaskT<uint32_t, uint16_t>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltMaskT<uint32_t, uint32_t>(const BltContext*, unsigned char);
