// SPDX-License-Identifier: Zlib
#include "blt_fallback.h"

#include "blt_routines.h"

namespace ormsel {

void runGeneric(const BltContext& ctx, uint32_t alphaFill) {
    if (ctx.alpha == 0 || isEmpty(ctx))
        return;
    Block block = blockOf(ctx, ctx.src.bytesPerPixel, ctx.dst.bytesPerPixel, 1);
    block.alphaFill = alphaFill;
    run(block, kernelsFor(block).generic);
}

} // namespace ormsel

template <class SrcPixel, class DstPixel>
unsigned long BLT_FallbackBltT(const BltContext* ctx, unsigned char alphaFill) {
    // A source without an alpha channel has alpha 0 everywhere unless it is filled: nothing to draw.
    if (alphaFill != 0 || ctx->src.aMask != 0) {
        if (ctx->maskPixels && ctx->size == sizeof *ctx) {
            BltContext w = *ctx;
            w.maskPixels = nullptr;
            ormsel::runGeneric(w, alphaFill);
        } else
            ormsel::runGeneric(*ctx, alphaFill);
    }
    return 0;
}

namespace {

// Sources without alpha of their own count as opaque.
template <class SrcPixel, class DstPixel>
unsigned long opaque(const BltContext* ctx) {
    return BLT_FallbackBltT<SrcPixel, DstPixel>(ctx, 255);
}

template <class SrcPixel, class DstPixel>
unsigned long byOwnAlpha(const BltContext* ctx) {
    return BLT_FallbackBltT<SrcPixel, DstPixel>(ctx, 0);
}

// 24-bit onto a 16-bit destination other than R5G6B5 runs on into the 32-bit case. Programs see that only
// where a 24-bit surface has an alpha mask.
unsigned long opaqueAndThenByOwnAlpha(const BltContext* ctx) {
    opaque<uint32_t, uint16_t>(ctx);
    return byOwnAlpha<uint32_t, uint16_t>(ctx);
}

constexpr ormsel::DepthTable kByDepths = {{
    {opaque<uint16_t, uint16_t>, opaque<uint16_t, uint32_t>, opaque<uint16_t, uint32_t>},
    {opaqueAndThenByOwnAlpha, nullptr, opaque<uint32_t, uint32_t>},
    {byOwnAlpha<uint32_t, uint16_t>, byOwnAlpha<uint32_t, uint32_t>, byOwnAlpha<uint32_t, uint32_t>},
}};

// Onto R5G6B5 the source's depth alone decides, and 24 bits run once.
unsigned long ontoRgb16(const BltContext* ctx) {
    switch (ctx->srcBpp) {
    case 16:
        return opaque<uint16_t, uint16_t>(ctx);
    case 24:
        return opaque<uint32_t, uint16_t>(ctx);
    case 32:
        return byOwnAlpha<uint32_t, uint16_t>(ctx);
    default:
        return 0;
    }
}

BltRoutine specialisedForArgb32(uint32_t srcFormat) {
    switch (srcFormat) {
    case RGBFB_A8R8G8B8:
        return BLT_A8R8G8B8_A8R8G8B8;
    case RGBFB_A8B8G8R8:
        return BLT_A8B8G8R8_A8R8G8B8;
    case RGBFB_R8G8B8A8:
        return BLT_R8G8B8A8_A8R8G8B8;
    case RGBFB_B8G8R8A8:
        return BLT_B8G8R8A8_A8R8G8B8;
    default:
        return nullptr;
    }
}

BltRoutine specialisedForRgb16(uint32_t srcFormat) {
    switch (srcFormat) {
    case RGBFB_R8G8B8:
        return BLT_R8G8B8_R5G6B5;
    case RGBFB_B8G8R8:
        return BLT_B8G8R8_R5G6B5;
    case RGBFB_A8R8G8B8:
        return BLT_A8R8G8B8_R5G6B5;
    case RGBFB_A8B8G8R8:
        return BLT_A8B8G8R8_R5G6B5;
    case RGBFB_R8G8B8A8:
        return BLT_R8G8B8A8_R5G6B5;
    case RGBFB_B8G8R8A8:
        return BLT_B8G8R8A8_R5G6B5;
    case RGBFB_R5G6B5:
        return BLT_R5G6B5_R5G6B5;
    default:
        return nullptr;
    }
}

} // namespace

unsigned long BLT_FallbackBltContext(const BltContext* c) {
    BltContext without = *c;
    BltBoundedContext* x = nullptr;
    (void)x;
    const BltContext* ctx = c;
    if (c->maskPixels && c->size == sizeof without) {
        without.maskPixels = nullptr;
        ctx = &without;
    }
    BltRoutine specialised = nullptr;
    if (ctx->dst.format == RGBFB_A8R8G8B8)
        specialised = specialisedForArgb32(ctx->src.format);
    else if (ctx->dst.format == RGBFB_R5G6B5)
        specialised = specialisedForRgb16(ctx->src.format);
    if (specialised)
        return specialised(ctx);
    return ctx->dst.format == RGBFB_R5G6B5 ? ontoRgb16(ctx) : kByDepths.run(ctx);
}

template unsigned long BLT_FallbackBltT<uint16_t, uint16_t>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltT<uint32_t, uint16_t>(const BltContext*, unsigned char);
template unsigned long BLT_FallbackBltT<uint32_t, uint32_t>(const BltContext*, unsigned char);
