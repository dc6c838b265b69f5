// SPDX-License-Identifier: Zlib
//
// The kernels: what moves the pixels of a block. There is one table of them for each processor target; the
// scalar table is complete, runs everywhere and is the reference for the others.
#pragma once

#include <atomic>

#include "blt_block.h"
#include "blt_sdl.h"

namespace ormsel {

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
    // Pixels of one format copied unchanged, in a block whose order is free.
    Kernel copy;
    // Any pair of depths, with or without a mask; alpha: the constant alpha, 1 to 255.
    Kernel generic;
    // Blits by SDL's own rules.
    SdlKernel sdl;
};

extern const Kernels kScalarKernels;

// What kScalarKernels.generic runs: its choice for a block's formats and alphas serves blocks of any size.
Kernel scalarGenericKernel(const Block& block);

// A vector kernel's start costs about as much as the scalar kernel takes for this many pixels.
constexpr size_t kNarrow = 4;

// The kernels of the target in use; nullptr until the first blit.
extern std::atomic<const Kernels*> currentKernels;
const Kernels& chooseKernels();

inline const Kernels& kernelsInUse() {
    const Kernels* kernels = currentKernels.load(std::memory_order_relaxed);
    return kernels ? *kernels : chooseKernels();
}

// The kernels for a block: those in use, or the scalar ones, which keep the order of single pixels, where the
// block's images share memory in a way that shows it or the rows are too short to gain.
inline const Kernels& kernelsFor(const Block& block) {
    return block.width < kNarrow || !orderIsFree(block) ? kScalarKernels : kernelsInUse();
}

} // namespace ormsel
