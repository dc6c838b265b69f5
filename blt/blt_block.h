// SPDX-License-Identifier: Zlib
//
// The rows of one blit as kernels walk them, and running a kernel over them without leaving the images'
// memory. docs/memory-safety.md argues why that is complete.
#pragma once

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
Block blockOf(const BltContext& ctx, size_t srcBytes, size_t dstBytes, size_t unit);

inline bool isEmpty(const BltContext& ctx) {
    return ctx.width <= 0 || ctx.height <= 0;
}

// Whether pixels may be read and written in any grouping from left to right and top to bottom: the memory
// that the block writes is none of that which it reads from its source and mask, or is read first.
bool orderIsFree(const Block& block);

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
    BltBoundedContext(const BltContext& bare, long srcRows, long dstRows, long maskRows);
};

// Whether a routine can't leave the images: each row of the rectangle ends, with all that any routine touches
// behind it, before the next one begins, and the pitches fit. Almost every blit does; then a bare context
// will do.
bool BLT_StaysInside(const BltContext& ctx, long maskRows);
