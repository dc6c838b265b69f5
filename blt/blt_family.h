// SPDX-License-Identifier: Zlib
//
// What the families of routines for pairs of formats share: the choice by constant alpha and flags, and the
// row copy. A family's file names its formats; everything else is here, once.
#pragma once

#include <cstring>

#include <proto/exec.h>

#include <ormsel/ormsel.h>

#include "blt_arith.h"
#include "blt_kernels.h"
#include "blt_layouts.h"

namespace ormsel {

// A buffer of main memory for old destination pixels.
class RowCopy {
public:
    explicit RowCopy(size_t bytes) : bytes_(static_cast<uint8_t*>(AllocVec(static_cast<uint32>(bytes), 0))) {}
    ~RowCopy() { FreeVec(bytes_); }
    RowCopy(const RowCopy&) = delete;
    RowCopy& operator=(const RowCopy&) = delete;

    uint8_t* bytes() const { return bytes_; }

private:
    uint8_t* bytes_;
};

// Runs a kernel row by row with each destination row first copied into main memory, from where the kernel
// then takes the old pixels: reading single pixels back from a graphics card is slow. Draws nothing when the
// buffer can't be allocated. Only the row's own pixels are copied; no kernel looks at more.
inline void runWithRowCopy(Block block, Kernel kernel, size_t bufferBytes) {
    const RowCopy copy(bufferBytes);
    if (!copy.bytes())
        return;
    const size_t rows = block.height;
    block.height = 1;
    block.old = copy.bytes();
    for (size_t y = 0; y < rows; ++y) {
        std::memcpy(copy.bytes(), block.dst, block.width * 2);
        kernel(block);
        block.src += block.srcPitch;
        block.dst += block.dstPitch;
    }
}

inline bool isEmpty(const BltContext& ctx) {
    return ctx.width <= 0 || ctx.height <= 0;
}

// A 32-bit source with alpha onto R5G6B5. A destination in graphics-card memory is read through a row copy.
inline unsigned long blendAlphaToRgb16(const BltContext& ctx, Source32 source) {
    if (ctx.alpha >> 3 == 0 || isEmpty(ctx))
        return 0;
    Block block = blockOf(ctx);
    block.alpha = rgb16AlphaFactor(ctx.alpha);
    const Kernel kernel = kernelsFor(block, 4, 2).alphaToRgb16[source];
    if (ctx.dst.onBoard)
        runWithRowCopy(block, kernel, block.width * 4 + 8);
    else
        kernel(block);
    return 0;
}

// A 24-bit source onto R5G6B5.
inline unsigned long blendRgb24ToRgb16(const BltContext& ctx, Source24 source) {
    if (ctx.alpha >> 3 == 0 || isEmpty(ctx))
        return 0;
    Block block = blockOf(ctx);
    block.alpha = ctx.alpha >> 3;
    const Kernels& kernels = kernelsFor(block, 3, 2);
    if (block.alpha == 31)
        kernels.convertToRgb16[source](block);
    else
        runWithRowCopy(block, kernels.mixToRgb16[source], block.width * 2 + 8);
    return 0;
}

// Copies words for CPY_32to32: rows that share no memory as one block each, or all of them as one where both
// sides have no gaps.
inline void copyRows(const Block& block, size_t rowBytes) {
    const auto gapless = static_cast<ptrdiff_t>(rowBytes);
    if (block.srcPitch == gapless && block.dstPitch == gapless) {
        std::memmove(block.dst, block.src, rowBytes * block.height);
        return;
    }
    const uint8_t* src = block.src;
    uint8_t* dst = block.dst;
    for (size_t y = 0; y < block.height; ++y, src += block.srcPitch, dst += block.dstPitch)
        std::memmove(dst, src, rowBytes);
}

// Copies a rectangle word by word, whatever the words mean, in units of 64 bits and, where the width is odd,
// a last word: an odd width takes the two words to the right of each row with it.
//
// Each file that includes this has a copy of its own.
static inline unsigned long CPY_32to32(const BltContext* ctx) {
    if (isEmpty(*ctx))
        return 0;
    Block block = blockOf(*ctx);
    const size_t units = (block.width + 1) / 2, words = 2 * units + block.width % 2;
    Block touched = block;
    touched.width = words;
    if (orderIsFree(touched, 4, 4)) {
        copyRows(block, words * 4);
        return 0;
    }
    for (size_t y = 0; y < block.height; ++y, block.src += block.srcPitch, block.dst += block.dstPitch) {
        for (size_t i = 0; i < units; ++i)
            store64(block.dst + 8 * i, load64(block.src + 8 * i));
        if (block.width % 2)
            store32(block.dst + 8 * units, load32(block.src + 8 * units));
    }
    return 0;
}

// A 32-bit source with alpha onto A8R8G8B8. The copy flag stands above the constant alpha.
static inline unsigned long blendAlphaToArgb32(const BltContext& ctx, Source32 source) {
    if (ctx.flags & ORMSEL_BLIT_COPY)
        return CPY_32to32(&ctx);
    if (ctx.alpha == 0 || isEmpty(ctx))
        return 0;
    const Block block = blockOf(ctx);
    kernelsFor(block, 4, 4).alphaToArgb32[source](block);
    return 0;
}

} // namespace ormsel
