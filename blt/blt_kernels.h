// SPDX-License-Identifier: Zlib
//
// The kernels: what moves the pixels of a block. There is one table of them for each processor target; the
// scalar table is complete, runs everywhere and is the reference for the others.
#pragma once

#include <atomic>

#include "blt_block.h"
#include "blt_rules.h"
#include "blt_sdl.h"

namespace ormsel {

// Picks the kernel for a block: by its constant alpha, its width, its formats.
using KernelChoice = Kernel (*)(const Block& block);

struct Kernels {
    const char* name;
    KernelChoice routes[kRouteCount]; // in the order of ORMSEL_ROUTES
    KernelChoice generic;             // any two formats, with or without a mask
    Kernel copy;                      // pixels copied unchanged, in a block whose order is free
    SdlKernel sdl;                    // blits by SDL's own rules
};

extern const Kernels kScalarKernels;

// The kernels of all targets that this build has, best first, the scalar ones last; and how many of the first
// ones this processor can't run. A processor that can run a target can run those behind it.
struct TargetList {
    const Kernels* const* kernels;
    const char* const* names; // ended by nullptr
    size_t count, unavailable;
};
TargetList allTargets();

// A vector kernel's start costs about as much as the scalar kernel takes for this many pixels.
constexpr size_t kNarrow = 4;

// The kernels of the target in use; nullptr until the first blit.
extern std::atomic<const Kernels*> currentKernels;
[[gnu::cold]] const Kernels& chooseKernels();

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
