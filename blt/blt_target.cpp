// SPDX-License-Identifier: Zlib
#include <ormsel/ormsel_target.h>

#include <cstdlib>
#include <cstring>

#include <proto/exec.h>

#include "kernels/kernels.h"

namespace ormsel {

namespace {

// The kernels of a target that this processor can run, or nullptr.
const Kernels* find(const char* name) {
    const TargetList targets = allTargets();
    for (size_t i = targets.unavailable; i < targets.count; ++i)
        if (std::strcmp(targets.kernels[i]->name, name) == 0)
            return targets.kernels[i];
    return nullptr;
}

const Kernels* best() {
    const TargetList targets = allTargets();
    return targets.kernels[targets.unavailable];
}

const Kernels* choose() {
    const char* wanted = std::getenv("ORMSEL_TARGET");
    if (!wanted || !*wanted)
        return best();
    if (const Kernels* found = find(wanted))
        return found;
    DebugPrintF("ORMSEL_TARGET: '%s' is not available here, using '%s'.\n", wanted, best()->name);
    return best();
}

} // namespace

std::atomic<const Kernels*> currentKernels{nullptr};

const Kernels& chooseKernels() {
    const Kernels* kernels = choose();
    currentKernels.store(kernels, std::memory_order_relaxed);
    return *kernels;
}

} // namespace ormsel

using namespace ormsel;

const char* ormsel_TargetName(void) noexcept {
    return kernelsInUse().name;
}

const char* const* ormsel_Targets(void) noexcept {
    const TargetList targets = allTargets();
    return targets.names + targets.unavailable;
}

int ormsel_ForceTarget(const char* name) noexcept {
    const Kernels* kernels = name ? find(name) : best();
    if (kernels)
        currentKernels.store(kernels, std::memory_order_relaxed);
    return kernels != nullptr;
}
