// SPDX-License-Identifier: Zlib
//
// The generic routines, and the choice of one by depths.
#pragma once

#include <cstdint>
#include <span>

#include "blt_framework.h"

// Any format onto any other, by channel masks, shifts and losses. SrcPixel and DstPixel are the words in
// which a pixel is loaded and stored: `unsigned short` for 16 bits, `unsigned long` for 24 and 32. alphaFill
// is ORed into every source alpha: 255 makes a source without alpha count as opaque, 0 leaves its own alpha
// in force.
template <class SrcPixel, class DstPixel>
unsigned long BLT_FallbackBltT(const BltContext* ctx, unsigned char alphaFill);

// Any format onto any other through the context's mask, which stands for the source's alpha; alphaFill is
// ignored.
template <class SrcPixel, class DstPixel>
unsigned long BLT_FallbackBltMaskT(const BltContext* ctx, unsigned char alphaFill);

namespace ormsel {

struct Bounds; // see kernels/block.h

// What the dispatchers do for a context whose routine could leave the images.
unsigned long dispatchInside(const BltContext& ctx, const Bounds& bounds);
unsigned long dispatchMaskInside(const BltContext& ctx, const Bounds& bounds);

// What serves a pair of depths: a generic routine, or through a mask the other one, which is run once for
// each alphaFill.
struct GenericRoute {
    using Routine = unsigned long (*)(const BltContext*, unsigned char alphaFill);

    Routine routine, maskRoutine;
    bool shortSource, shortDestination; // pixels are loaded in words of 16 bits
    unsigned char alphaFill[2];
    int passes; // 0: nothing serves the pair

    std::span<const unsigned char> fills() const { return {alphaFill, static_cast<size_t>(passes)}; }

    unsigned long run(Routine one, const BltContext* ctx) const {
        unsigned long result = 0;
        for (const unsigned char alphaFillOfPass : fills())
            result = one(ctx, alphaFillOfPass);
        return result;
    }
};

const GenericRoute& routeByDepths(const BltContext& ctx);

// Draws a context by the generic rule, with or without its mask. Short: see GenericRoute.
unsigned long drawGeneric(const BltContext& ctx, const Bounds* bounds, bool shortSource,
                          bool shortDestination, unsigned char alphaFill, bool masked);

// All passes of a route, inside the images.
unsigned long drawInside(const GenericRoute& route, const BltContext& ctx, const Bounds& bounds, bool masked);

template <class Pixel>
inline constexpr bool kIsShort = sizeof(Pixel) == sizeof(unsigned short);

} // namespace ormsel
