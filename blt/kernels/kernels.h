// SPDX-License-Identifier: Zlib
//
// The kernels: what moves the pixels of a block. There is one table of them for each processor target; the
// scalar table is complete, runs everywhere and is the reference for the others.
#pragma once

#include <atomic>

#include "block.h"
#include "rules.h"
#include "sdl.h"

namespace ormsel {

struct Kernels {
    const char* name;
    KernelChoice routes[kRouteCount]; // in the order of ORMSEL_ROUTES
    KernelChoice generic;             // any two formats, with or without a mask
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

// The kernels of the target in use; nullptr until the first blit.
extern std::atomic<const Kernels*> currentKernels;
[[gnu::cold]] const Kernels& chooseKernels();

inline const Kernels& kernelsInUse() {
    const Kernels* kernels = currentKernels.load(std::memory_order_relaxed);
    return kernels ? *kernels : chooseKernels();
}

// Rows of fewer pixels are the scalar kernels' on every target: no vector of four 32-bit lanes is full.
constexpr size_t kLeastPixels = 4;

// The kernels for a block: those in use, or the scalar ones, which keep the order of single pixels and touch
// nothing that they don't draw, where the block's images share memory in a way that shows the order, the
// destination is graphics-card memory, or the rows are too short.
inline const Kernels& kernelsFor(const Block& block) {
    return block.width < kLeastPixels || block.onBoard || !isOrderIndependent(block) ? kScalarKernels
                                                                                     : kernelsInUse();
}

} // namespace ormsel
