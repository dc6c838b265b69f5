// SPDX-License-Identifier: Zlib
//
// The rows of one blit as kernels walk them, and running a kernel over them without leaving the images'
// memory. docs/memory-safety.md argues why that is complete.
#pragma once

#include <ormsel/ormsel.h>

#include "blt_framework.h"

namespace ormsel {

// Where the memory of the images ends: the byte behind the last row.
struct Ends {
    const uint8_t* src;
    const uint8_t* dst;
    const uint8_t* mask;
};

// A block has at least one row and one pixel.
struct Block {
    const uint8_t* src; // the first pixel of the rectangle, and bytes from row to row
    ptrdiff_t srcPitch;
    uint8_t* dst;
    ptrdiff_t dstPitch;
    const uint8_t* old; // where old destination pixels are read: dst itself, or a copy of its row
    ptrdiff_t oldPitch;
    const uint8_t* mask; // nullptr: no mask
    ptrdiff_t maskPitch;
    size_t width, height;
    size_t srcBytes, dstBytes; // bytes per pixel
    size_t unit;               // how many pixels are read whole before one of them is stored
    uint32_t alpha;            // the kernel's constant: see Kernels
    uint32_t alphaFill;        // generic kernels only: ORed into each source alpha; 0 or 255
    const BltRenderFmt* srcFormat;
    const BltRenderFmt* dstFormat;
    const Ends* ends; // nullptr: the routine may touch what lies behind its rows
};

using Kernel = void (*)(const Block& block);

// The rectangle of a context, with the context's constant alpha.
inline Block blockOf(const BltContext& ctx, size_t srcBytes, size_t dstBytes, size_t unit);

inline bool isEmpty(const BltContext& ctx) {
    return ctx.width <= 0 || ctx.height <= 0;
}

// The bytes that rows span, from the lowest address to behind the highest.
struct Span {
    uintptr_t begin, end;

    Span(const uint8_t* first, ptrdiff_t pitch, size_t rows, size_t rowBytes) {
        const auto start = reinterpret_cast<uintptr_t>(first);
        const uintptr_t last =
            start + static_cast<uintptr_t>(pitch) * (rows - 1); // wraps for negative pitches
        begin = pitch < 0 ? last : start;
        end = (pitch < 0 ? start : last) + rowBytes;
    }
    bool meets(const Span& other) const { return begin < other.end && other.begin < end; }
};

// orderIsFree() for a block that writes to memory which it reads.
bool orderIsFreeInOneMemory(const Block& block);

// Whether pixels may be read and written in any grouping from left to right and top to bottom: the memory
// that the block writes is none of that which it reads from its source and mask, or is read first.
inline bool orderIsFree(const Block& b) {
    // A store of a 24-bit pixel writes one byte behind it.
    const Span dst(b.dst, b.dstPitch, b.height, b.width * b.dstBytes + 1);
    const bool apart = !Span(b.src, b.srcPitch, b.height, b.width * b.srcBytes).meets(dst) &&
                       !(b.mask && Span(b.mask, b.maskPitch, b.height, b.width).meets(dst));
    return apart || orderIsFreeInOneMemory(b);
}

// Runs a kernel over a block. In one that has ends, pixels that don't lie inside as a whole, with all that is
// read or written behind them, go through a few bytes of stack: bytes outside read as 0 and are not written.
void runInside(const Block& block, Kernel kernel);

inline void run(const Block& block, Kernel kernel) {
    if (block.ends) [[unlikely]]
        runInside(block, kernel);
    else
        kernel(block);
}

} // namespace ormsel

// A context for images that a routine could leave, or whose pitches don't fit the signed 16 bits that
// routines take them as. Its ctx.size is the size of this record, by which blockOf() tells it from a bare
// context.
struct BltBoundedContext {
    BltContext ctx;
    ptrdiff_t srcPitch, dstPitch, maskPitch;
    ormsel::Ends ends;

    // The rows that each image has; maskRows is 0 for a blit without one.
    BltBoundedContext(const BltContext& bare, long srcW, long srcRows, long dstW, long dstRows, long maskW, long maskRows);
};

// Whether a routine can't leave the images: each row of the rectangle ends, with all that any routine touches
// behind it, before the next one begins, and the pitches fit. Almost every blit does; then a bare context
// will do.
inline bool BLT_StaysInside(const BltContext& ctx, long maskRows) {
    const auto rowsEndInTime = [&](int16_t pitch, int32_t x, uint32_t bytes, size_t reach) {
        return pitch >= 0 && (static_cast<size_t>(x) + static_cast<size_t>(ctx.width)) * bytes + reach <=
                                 static_cast<size_t>(pitch);
    };
    // The raw copy takes up to two words more with each row, a store of a 24-bit pixel one byte.
    const size_t copied = ctx.flags & ORMSEL_BLIT_COPY && ctx.width % 2 ? 8 : 0;
    const size_t stored = ctx.dst.bytesPerPixel == 3 ? 1 : copied;
    if (copied || stored) return false;
    if (ctx.maskPixels) return false;
    return rowsEndInTime(ctx.src.pitch, ctx.srcX, ctx.src.bytesPerPixel, copied) &&
           rowsEndInTime(ctx.dst.pitch, ctx.dstX, ctx.dst.bytesPerPixel, stored) &&
           (!ctx.maskPixels || (rowsEndInTime(ctx.maskPitch, ctx.srcX, 1, 0) &&
                                ctx.srcY + static_cast<long>(ctx.height) <= maskRows));
}

inline ormsel::Block ormsel::blockOf(const BltContext& ctx, size_t srcBytes, size_t dstBytes, size_t unit) {
    const auto* bounded =
        ctx.size == sizeof(BltBoundedContext) ? reinterpret_cast<const BltBoundedContext*>(&ctx) : nullptr;
    const auto pixelAt = [](uint8_t* pixels, ptrdiff_t pitch, int32_t x, int32_t y, size_t bytes) {
        return pixels + y * pitch + x * static_cast<ptrdiff_t>(bytes);
    };
    Block b;
    b.srcPitch = bounded ? bounded->srcPitch : ctx.src.pitch;
    b.dstPitch = b.oldPitch = bounded ? bounded->dstPitch : ctx.dst.pitch;
    b.maskPitch = bounded ? bounded->maskPitch : ctx.maskPitch;
    b.src = pixelAt(ctx.src.pixels, b.srcPitch, ctx.srcX, ctx.srcY, srcBytes);
    b.old = b.dst = pixelAt(ctx.dst.pixels, b.dstPitch, ctx.dstX, ctx.dstY, dstBytes);
    b.mask = ctx.maskPixels ? pixelAt(ctx.maskPixels, b.maskPitch, ctx.srcX, ctx.srcY, 1) : nullptr;
    b.width = static_cast<size_t>(ctx.width);
    b.height = static_cast<size_t>(ctx.height);
    b.srcBytes = srcBytes;
    b.dstBytes = dstBytes;
    b.unit = unit;
    b.alpha = ctx.alpha;
    b.alphaFill = 0;
    b.srcFormat = &ctx.src;
    b.dstFormat = &ctx.dst;
    b.ends = bounded ? &bounded->ends : nullptr;
    return b;
}
