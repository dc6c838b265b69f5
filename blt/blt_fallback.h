// SPDX-License-Identifier: Zlib
//
// The generic routines and the choice of one by depths.
#pragma once

#include <cstdint>

#include "blt_kernels.h"

// Any format onto any other, by channel masks, shifts and losses. SrcPixel and DstPixel are the words in
// which a pixel is loaded and stored; a 24-bit side uses the 32-bit word. alphaFill is ORed into every source
// alpha: 255 makes a source without alpha count as opaque, 0 leaves its own alpha in force.
template <class SrcPixel, class DstPixel>
unsigned long BLT_FallbackBltT(const BltContext* ctx, unsigned char alphaFill);

// The same through the context's mask; alphaFill is ignored.
template <class SrcPixel, class DstPixel>
unsigned long BLT_FallbackBltMaskT(const BltContext* ctx, unsigned char alphaFill);

namespace ormsel {

// Routines by depth of source and destination; nullptr where nothing serves the pair.
struct DepthTable {
    BltRoutine routines[3][3]; // [source][destination] of 16, 24 and 32 bits

    // Runs the routine for a context's depths; 0 where there is none.
    unsigned long run(const BltContext* ctx) const {
        const unsigned s = index(ctx->srcBpp), d = index(ctx->dstBpp);
        const BltRoutine routine = s < 3 && d < 3 ? routines[s][d] : nullptr;
        return routine ? routine(ctx) : 0;
    }

private:
    static constexpr unsigned index(unsigned bpp) {
        return bpp == 16 ? 0 : bpp == 24 ? 1 : bpp == 32 ? 2 : 3;
    }
};

// Runs the generic kernel over a whole context. alphaFill as in BLT_FallbackBltT.
void runGeneric(const BltContext& ctx, uint32_t alphaFill);

} // namespace ormsel
