// SPDX-License-Identifier: Zlib
//
// What the routines of all routes share: the choice by constant alpha and flags, and the raw copies. A
// family's file names its formats; everything else is here, once.
#pragma once

#include <cstring>

#include "blt_framework.h"
#include "blt_routines.h"
#include "kernels/kernels.h"

namespace ormsel {

template <size_t Route>
ORMSEL_INTO_CALLER Kernel kernelOfRoute(const Block& block) {
    return kernelsFor(block).routes[Route](block);
}

// Draws a context by a rule: the whole rectangle, or through a row copy.
template <class Route>
ORMSEL_INTO_CALLER void drawByRule(const BltContext& ctx, const Bounds* bounds) {
    using Rule = typename Route::Faded;
    constexpr KernelChoice kChoose = kernelOfRoute<Route::kIndex>;
    const Block block = blockOf(ctx, bounds, Rule::Source::kBytes, Rule::Destination::kBytes, Rule::kUnit);
    const bool onBoard = ctx.dst.onBoard != 0;
    if (const size_t bytes = Rule::rowCopyBytes(block.width, Rule::fades(ctx.alpha), onBoard)) [[unlikely]]
        drawWithRowCopy(block, kChoose, bytes, onBoard);
    else
        bounds ? drawInPieces(block, kChoose) : kChoose(block)(block);
}

// --- Raw copies ---------------------------------------------------------------------------------------

// Copies the rows of a block in units of 64 bits, each read whole before it is stored, and single pixels
// behind them.
template <size_t PixelBytes>
void copyRowsInUnits(const Block& b) {
    const size_t rowBytes = b.width * PixelBytes;
    const uint8_t* src = b.src;
    uint8_t* dst = b.dst;
    for (size_t rows = b.height; rows; --rows, src += b.srcPitch, dst += b.dstPitch) {
        size_t i = 0;
        for (; i + 8 <= rowBytes; i += 8)
            storeWord(dst + i, loadWord<uint64_t>(src + i));
        for (; i < rowBytes; i += PixelBytes)
            storePixel<PixelBytes>(dst + i, loadPixel<PixelBytes>(src + i));
    }
}

// Copies rows as a whole, or all of them where neither side has gaps. The C library's copy is hard to beat.
inline void copyRows(const Block& b) {
    const size_t rowBytes = b.width * b.dstBytes;
    const auto gapless = static_cast<ptrdiff_t>(rowBytes);
    const bool one = b.srcPitch == gapless && b.dstPitch == gapless;
    const uint8_t* src = b.src;
    uint8_t* dst = b.dst;
    for (size_t rows = one ? 1 : b.height; rows; --rows, src += b.srcPitch, dst += b.dstPitch)
        std::memmove(dst, src, one ? rowBytes * b.height : rowBytes);
}

template <size_t PixelBytes>
Kernel kernelOfCopy(const Block& block) {
    return isOrderIndependent(block) ? copyRows : copyRowsInUnits<PixelBytes>;
}

template <size_t PixelBytes>
void copyBlock(const Block& block) {
    drawBlock<kernelOfCopy<PixelBytes>>(block, block.bounds);
}

// Copies a rectangle word by word, whatever the words mean, in units of two words and then one more word
// where the width is odd: an odd width takes the two words to the right of each row with it, where both
// images have them.
//
// Each file that includes this has a copy of its own.
[[maybe_unused]] static inline unsigned long CPY_32to32(const BltContext* ctx,
                                                        const Bounds* bounds = nullptr) {
    if (isEmpty(*ctx))
        return 0;
    Block block = blockOf(*ctx, bounds, 4, 4, 2);
    block.optional = block.width % 2 * 2;
    block.width += block.optional;
    copyBlock<4>(block);
    return 0;
}

// --- Routines -----------------------------------------------------------------------------------------

template <class Route>
unsigned long runRoute(const BltContext& ctx, const Bounds* bounds) {
    using Rule = typename Route::Faded;
    if constexpr (Rule::kHasRawCopy)
        if (ctx.flags & ORMSEL_BLIT_COPY) [[unlikely]] // stands above the constant alpha
            return CPY_32to32(&ctx, bounds);
    if (!Rule::draws(ctx.alpha) || isEmpty(ctx)) [[unlikely]]
        return 0;
    drawByRule<Route>(ctx, bounds);
    return 0;
}

} // namespace ormsel

// Defines the routine of a pair that is blended.
// NOLINTBEGIN(bugprone-macro-parentheses): types
#define ORMSEL_ROUTINE(Src, Dst)                                                                             \
    using namespace ormsel;                                                                                  \
    template unsigned long ormsel::runRoute<Route<Operation::kBlend, Src, Dst>>(const BltContext&,           \
                                                                                const Bounds*);              \
    unsigned long BLT_##Src##_##Dst(const BltContext* ctx) {                                                 \
        return runRoute<Route<Operation::kBlend, Src, Dst>>(*ctx, nullptr);                                  \
    }
// NOLINTEND(bugprone-macro-parentheses)
