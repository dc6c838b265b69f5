// SPDX-License-Identifier: Zlib
#include <ormsel/ormsel_target.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include <proto/exec.h>

#include "blt_kernels.h"
#include "blt_simd.h"

namespace ormsel {

namespace {

constexpr size_t kMostTargets = 8;

// The targets of this processor, best first. Filled once.
struct Available {
    const Kernels* kernels[kMostTargets];
    const char* names[kMostTargets + 1] = {};
    size_t count;

    Available() : count(simdKernels(kernels, kMostTargets - 1)) {
        kernels[count++] = &kScalarKernels;
        for (size_t i = 0; i < count; ++i)
            names[i] = kernels[i]->name;
    }
    const Kernels* find(const char* name) const {
        for (size_t i = 0; i < count; ++i)
            if (std::strcmp(names[i], name) == 0)
                return kernels[i];
        return nullptr;
    }
};

const Available& available() {
    static const Available targets;
    return targets;
}

const Kernels* choose() {
    const char* wanted = std::getenv("ORMSEL_TARGET");
    if (wanted && *wanted) {
        if (const Kernels* found = available().find(wanted))
            return found;
        DebugPrintF("ORMSEL_TARGET: '%s' is not available here, using '%s'.\n", wanted, available().names[0]);
    }
    return available().kernels[0];
}

} // namespace

std::atomic<const Kernels*> currentKernels{nullptr};

const Kernels& chooseKernels() {
    const Kernels* kernels = choose();
    currentKernels.store(kernels, std::memory_order_relaxed);
    return *kernels;
}

} // namespace ormsel

const char* ormsel_TargetName(void) {
    return ormsel::kernelsInUse().name;
}

int ormsel_ForceTarget(const char* name) {
    const ormsel::Kernels* kernels = name ? ormsel::available().find(name) : ormsel::available().kernels[0];
    if (kernels)
        ormsel::currentKernels.store(kernels, std::memory_order_relaxed);
    return kernels != nullptr;
}

const char* const* ormsel_Targets(void) {
    return ormsel::available().names;
}
