// SPDX-License-Identifier: Zlib
//
// The kernels: what moves the pixels of a block. One table of them for each processor target; the scalar
// table is complete, runs everywhere and is the reference for the others.
#pragma once

#include "blt_framework.h"

namespace ormsel {

// The rows of one blit as a kernel walks them. Pitches are signed; a block has at least one row and pixel.
struct Block {
    const uint8_t* src;
    ptrdiff_t srcPitch;
    uint8_t* dst;
    ptrdiff_t dstPitch;
    const uint8_t* old; // where old destination pixels are read: dst itself, or a copy of its row
    ptrdiff_t oldPitch;
    const uint8_t* mask; // nullptr: no mask
    ptrdiff_t maskPitch;
    size_t width, height;
    uint32_t alpha; // the kernel's constant: see each kernel
};

using Kernel = void (*)(const Block& block);

// The generic rule reads the channels of both sides from the context's formats.
struct GenericBlit {
    Block block; // alpha: the constant alpha, 1 to 255
    const BltRenderFmt* src;
    const BltRenderFmt* dst;
    uint32_t alphaFill; // ORed into each extracted source alpha; 0 or 255
};

using GenericKernel = void (*)(const GenericBlit& blit);

// The source formats that have kernels of their own, as indices.
enum Source32 { kArgb32, kAbgr32, kRgba32, kBgra32, kSources32 };
enum Source24 { kRgb24, kBgr24, kSources24 };

struct Kernels {
    const char* name;
    // 32-bit source onto R5G6B5; alpha: the factor of rgb16AlphaFactor().
    Kernel alphaToRgb16[kSources32];
    // 32-bit source onto A8R8G8B8; alpha: the constant alpha, 1 to 255.
    Kernel alphaToArgb32[kSources32];
    // R5G6B5 onto R5G6B5; alpha: 5-bit weight, 1 to 30.
    Kernel mixRgb16;
    // 24-bit source converted to R5G6B5; no alpha.
    Kernel convertToRgb16[kSources24];
    // 24-bit source blended onto R5G6B5; alpha: 5-bit weight, 1 to 30.
    Kernel mixToRgb16[kSources24];
    // Any pair of depths but 24 onto 24, with or without a mask.
    GenericKernel generic;
};

extern const Kernels kScalarKernels;

// The rectangle of a context as a block, with the context's constant alpha.
Block blockOf(const BltContext& ctx);

// The kernels to use for a block: the processor's best, or the scalar ones, which keep the order of single
// pixels, when the block reads from memory that it writes to. Pixel sizes are in bytes.
const Kernels& kernelsFor(const Block& block, size_t srcPixel, size_t dstPixel);

// Whether source, mask and destination can be read and written in any order of pixels.
bool orderIsFree(const Block& block, size_t srcPixel, size_t dstPixel);

} // namespace ormsel
