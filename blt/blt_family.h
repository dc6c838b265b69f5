// SPDX-License-Identifier: Zlib
//
// What the families of routines for pairs of formats share: the choice by constant alpha and flags, the row
// copy and the raw copies. A family's file names its formats; everything else is here, once.
#pragma once

#include <algorithm>
#include <cstring>
#include <utility>

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

// Copies a row's pixels; bytes that the image doesn't have count as 0.
inline void copyOldPixels(uint8_t* to, const Block& row) {
    const size_t bytes = row.width * row.dstBytes;
    size_t inside = bytes;
    if (row.ends)
        inside = std::min(bytes, static_cast<size_t>(std::max<ptrdiff_t>(row.ends->dst - row.dst, 0)));
    std::memcpy(to, row.dst, inside);
    std::memset(to + inside, 0, bytes - inside);
}

// Runs a kernel that takes old destination pixels from a row copy: each row is first fetched into main memory
// as a whole, because reading single pixels back from a graphics card is slow. Draws nothing when the buffer
// can't be allocated. Only the row's own pixels are copied; no kernel looks at more.
//
// A destination in main memory is read where it is, with the same result: a kernel reads an old pixel before
// it stores that pixel, and stores none twice in a row. The buffer decides all the same whether anything is
// drawn.
inline void runWithRowCopy(const BltContext& ctx, Block row, Kernel kernel, size_t bufferBytes) {
    const RowCopy copy(bufferBytes);
    if (!copy.bytes())
        return;
    if (!ctx.dst.onBoard) {
        run(row, kernel);
        return;
    }
    row.old = copy.bytes();
    for (size_t rows = std::exchange(row.height, 1); rows; --rows) {
        copyOldPixels(copy.bytes(), row);
        run(row, kernel);
        row.src += row.srcPitch;
        row.dst += row.dstPitch;
    }
}

// A 32-bit source with alpha onto R5G6B5. A destination in graphics-card memory is read through a row copy.
inline unsigned long blendAlphaToRgb16(const BltContext& ctx, Source32 source) {
    if (ctx.alpha >> 3 == 0 || isEmpty(ctx))
        return 0;
    Block block = blockOf(ctx, 4, 2, 4);
    block.alpha = rgb16AlphaFactor(ctx.alpha);
    const Kernel kernel = kernelsFor(block).alphaToRgb16[source];
    if (ctx.dst.onBoard)
        runWithRowCopy(ctx, block, kernel, block.width * 4 + 8);
    else
        run(block, kernel);
    return 0;
}

// A 24-bit source onto R5G6B5.
inline unsigned long blendRgb24ToRgb16(const BltContext& ctx, Source24 source) {
    if (ctx.alpha >> 3 == 0 || isEmpty(ctx))
        return 0;
    Block block = blockOf(ctx, 3, 2, 2);
    block.alpha = ctx.alpha >> 3;
    const Kernels& kernels = kernelsFor(block);
    if (block.alpha == 31)
        run(block, kernels.convertToRgb16[source]);
    else
        runWithRowCopy(ctx, block, kernels.mixToRgb16[source], block.width * 2 + 8);
    return 0;
}

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
            store64(dst + i, load64(src + i));
        for (; i < rowBytes; i += PixelBytes) {
            uint8_t pixel[PixelBytes];
            std::memcpy(pixel, src + i, PixelBytes);
            std::memcpy(dst + i, pixel, PixelBytes);
        }
    }
}

template <size_t PixelBytes>
void copyBlock(const Block& block) {
    run(block, orderIsFree(block) ? kernelsInUse().copy : copyRowsInUnits<PixelBytes>);
}

// Copies a rectangle word by word, whatever the words mean, in units of two words and then one more word
// where the width is odd: an odd width takes the two words to the right of each row with it.
//
// Each file that includes this has a copy of its own.
static inline unsigned long CPY_32to32(const BltContext* ctx) {
    if (isEmpty(*ctx))
        return 0;
    Block block = blockOf(*ctx, 4, 4, 2);
    const size_t width = block.width;
    if (block.ends && width % 2) {
        for (size_t y = 0; y < block.height; ++y) {
            const uint8_t* s = block.src + static_cast<ptrdiff_t>(y) * block.srcPitch;
            uint8_t* d = block.dst + static_cast<ptrdiff_t>(y) * block.dstPitch;
            for (size_t x = 0; x < width + 2; x += 2) {
                uint8_t v[8] = {};
                bool ok[2] = {};
                for (size_t i = 0; i < 2 && x + i < width + 2; ++i) {
                    const uint8_t* at = s + 4 * (x + i);
                    const uint8_t* to = d + 4 * (x + i);
                    ok[i] = x + i < width || (at + 4 <= block.ends->src && to + 4 <= block.ends->dst);
                    for (size_t k = 0; k < 4; ++k)
                        if (at + k < block.ends->src) v[4 * i + k] = at[k];
                }
                for (size_t i = 0; i < 2; ++i)
                    for (size_t k = 0; k < 4; ++k)
                        if (ok[i] && d + 4 * (x + i) + k < block.ends->dst) d[4 * (x + i) + k] = v[4 * i + k];
            }
        }
        return 0;
    }
    block.width += block.width % 2 * 2;
    copyBlock<4>(block);
    return 0;
}

// A 32-bit source with alpha onto A8R8G8B8. The copy flag stands above the constant alpha.
static inline unsigned long blendAlphaToArgb32(const BltContext& ctx, Source32 source) {
    if (ctx.flags & ORMSEL_BLIT_COPY)
        return CPY_32to32(&ctx);
    if (ctx.alpha == 0 || isEmpty(ctx))
        return 0;
    const Block block = blockOf(ctx, 4, 4, 2);
    run(block, kernelsFor(block).alphaToArgb32[source]);
    return 0;
}

} // namespace ormsel
