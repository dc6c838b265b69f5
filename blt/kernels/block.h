// SPDX-License-Identifier: Zlib
//
// The rows of one blit as kernels walk them, and running a kernel over them: without leaving the images'
// memory, and through a row copy. docs/memory-safety.md argues why that is complete.
#pragma once

#include <cstddef>
#include <cstdint>

#include "context.h"

namespace ormsel {

// An image's memory: from its first byte to behind its last pixel, and the exact pitch. A negative one leads
// from row to row upwards.
struct Memory {
    const uint8_t *begin, *end;
    ptrdiff_t pitch;
};

// The memory of a context's images, for a blit that could leave them, or whose pitches don't fit the signed
// 16 bits that routines take them as.
struct Bounds {
    Memory src, dst, mask;
    bool onBoard = false; // the destination is graphics-card memory, whatever the context says
};

// Rows of pixels to read and to write: at least one, of at least one pixel.
struct Rows {
    const uint8_t* src; // the first pixel of the rectangle, and bytes from row to row
    ptrdiff_t srcPitch;
    uint8_t* dst;
    ptrdiff_t dstPitch;
    const uint8_t* mask; // one byte a pixel; nullptr: no mask
    ptrdiff_t maskPitch;
    size_t width, height;
};

// What a routine does, as data: a rectangle of pixels and how to draw it.
struct Block : Rows {
    const uint8_t* old; // where old destination pixels are read: dst itself, or a copy of its row
    ptrdiff_t oldPitch;
    uint32_t optional;           // how many of a row's last pixels are drawn only where both images have them
    uint32_t srcBytes, dstBytes; // bytes per pixel
    uint32_t unit;               // how many pixels are read whole before one of them is stored
    uint32_t constantAlpha;      // 0 to 255
    uint32_t alphaFill;          // generic kernels: ORed into each source alpha; 0 or 255
    const BltRenderFmt *srcFormat, *dstFormat;
    bool onBoard;         // the destination is graphics-card memory, where only what is drawn is touched
    const Bounds* bounds; // nullptr: what the kernel touches is inside
};

using Kernel = void (*)(const Block& block);

// Picks the kernel for a block: by its constant alpha, its width, its formats.
using KernelChoice = Kernel (*)(const Block& block);

// The rectangle of a context, without its mask. bounds as in Block.
inline Block blockOf(const BltContext& ctx, const Bounds* bounds, uint32_t srcBytes, uint32_t dstBytes,
                     uint32_t unit) {
    Block b;
    b.srcPitch = bounds ? bounds->src.pitch : ctx.src.pitch;
    b.dstPitch = b.oldPitch = bounds ? bounds->dst.pitch : ctx.dst.pitch;
    b.src = ctx.src.pixels + ctx.srcY * b.srcPitch + ctx.srcX * static_cast<ptrdiff_t>(srcBytes);
    b.old = b.dst = ctx.dst.pixels + ctx.dstY * b.dstPitch + ctx.dstX * static_cast<ptrdiff_t>(dstBytes);
    b.mask = nullptr;
    b.maskPitch = 0;
    b.width = static_cast<size_t>(ctx.width);
    b.height = static_cast<size_t>(ctx.height);
    b.optional = 0;
    b.srcBytes = srcBytes;
    b.dstBytes = dstBytes;
    b.unit = unit;
    b.constantAlpha = ctx.alpha;
    b.alphaFill = 0;
    b.srcFormat = &ctx.src;
    b.dstFormat = &ctx.dst;
    b.onBoard = ctx.dst.onBoard || (bounds && bounds->onBoard);
    b.bounds = bounds;
    return b;
}

// Adds the context's mask, which has the source's coordinates.
inline void addMask(Block& b, const BltContext& ctx) {
    b.maskPitch = b.bounds ? b.bounds->mask.pitch : ctx.maskPitch;
    b.mask = ctx.maskPixels + ctx.srcY * b.maskPitch + ctx.srcX;
}

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

// isOrderIndependent() for a block that writes to memory that it also reads.
bool isOrderIndependentInOneMemory(const Block& block);

// Whether pixels may be read and written in groups of any size, from left to right and top to bottom: the
// block writes none of the memory that it reads from its source and mask, or reads it before.
inline bool isOrderIndependent(const Block& b) {
    // A store of a 24-bit pixel writes one byte behind it.
    const Span dst(b.dst, b.dstPitch, b.height, b.width * b.dstBytes + 1);
    const bool apart = !Span(b.src, b.srcPitch, b.height, b.width * b.srcBytes).meets(dst) &&
                       !(b.mask && Span(b.mask, b.maskPitch, b.height, b.width).meets(dst));
    return apart || isOrderIndependentInOneMemory(b);
}

// Draws a block that has bounds; one that has none goes to its kernel as it is. Pixels that don't lie inside
// as a whole, with all that is read or written behind them, go through a few bytes of stack: bytes outside
// read as 0 and are not written. Each piece gets a kernel of its own choice.
void drawInPieces(const Block& block, KernelChoice choose);

// Draws a block. bounds are the block's own, given once more: most callers know of none, and no test is left
// then.
template <KernelChoice Choose>
void drawBlock(const Block& block, const Bounds* bounds) {
    bounds ? drawInPieces(block, Choose) : Choose(block)(block);
}

// Draws a block whose old pixels come from a row copy, a buffer of so many bytes of main memory. Reading
// single pixels back from a graphics card is slow, so that its rows are fetched as a whole, one after the
// other.
//
// A destination in main memory is read where it is, with the same result: a kernel reads an old pixel before
// it stores that pixel, and stores none twice in a row. The buffer is allocated all the same: whether that
// succeeds decides whether anything is drawn.
void drawWithRowCopy(const Block& block, KernelChoice choose, size_t bytes, bool onBoard);

} // namespace ormsel
