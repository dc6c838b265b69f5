// SPDX-License-Identifier: Zlib
//
// The vector kernels, compiled once for each processor target: the lines below include this file again for
// every one of them. And the list of all targets.
#include <array>
#include <cstring>
#include <type_traits>

#include "generic_formats.h"
#include "kernels.h"
#include "sdl_scalar_steps.h"
#include "targets.h"

#ifndef ORMSEL_SCALAR_ONLY

#    ifndef ORMSEL_ALTIVEC
#        undef HWY_TARGET_INCLUDE
#        define HWY_TARGET_INCLUDE "kernels/simd.cpp"
#        include <hwy/foreach_target.h>

#        include <hwy/highway.h>
#    endif

// What Highway has for every processor, with one lane or without vectors, is slower than the scalar kernels.
#    if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

namespace ormsel::HWY_NAMESPACE {
extern const Kernels kKernels;
}

// The kernels for rows of less than one vector.
#        if HWY_TARGET == HWY_AVX3 && (HWY_TARGETS & HWY_AVX2)
namespace ormsel::N_AVX2 {
extern const Kernels kKernels;
}
namespace ormsel::HWY_NAMESPACE {
static constexpr const Kernels& kNarrowerKernels = N_AVX2::kKernels;
}
#        elif HWY_TARGET == HWY_AVX2 && (HWY_TARGETS & HWY_SSE4)
namespace ormsel::N_SSE4 {
extern const Kernels kKernels;
}
namespace ormsel::HWY_NAMESPACE {
static constexpr const Kernels& kNarrowerKernels = N_SSE4::kKernels;
}
#        else
namespace ormsel::HWY_NAMESPACE {
static constexpr const Kernels& kNarrowerKernels = kScalarKernels;
}
#        endif

// In this order, and by no other file: every name in them lives in the target's namespace.
// clang-format off
#        include "vec-inl.h"
#        include "rows-inl.h"
#        include "steps-inl.h"
#        include "generic_steps-inl.h"
#        include "sdl_steps-inl.h"
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

static_assert(nameOfTarget(HWY_TARGET), "A target without a row in targets.h");

constexpr Kernels kKernels = {
    .name = nameOfTarget(HWY_TARGET),
// NOLINTNEXTLINE(bugprone-macro-parentheses): types
#        define ROW(operation, Src, Dst, Rule) routeKernel<Route<Operation::k##operation, Src, Dst>>,
    .routes = {ORMSEL_ROUTES(ROW)},
#        undef ROW
    .generic = genericKernel,
    .sdl = sdlKernel,
};

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#    endif

#endif

#if defined(ORMSEL_SCALAR_ONLY) || HWY_ONCE

#    include <proto/exec.h>

namespace ormsel {

namespace {

struct VectorTarget {
    const char* name;
    const Kernels* kernels; // nullptr: not in this build
    bool (*isAvailable)();
};

#    ifdef ORMSEL_SCALAR_ONLY
constexpr VectorTarget kVectorTargets[] = {{nullptr, nullptr, nullptr}};
#    else

// What Highway's HWY_TARGET_STR names, and what the targets behind it need. (Highway's own test is in its
// library, which needs a C++ runtime.)
#        if HWY_ARCH_X86
bool hasSse4() {
    return __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("sse4.1") &&
           __builtin_cpu_supports("sse4.2");
}
bool hasAvx2() {
    return hasSse4() && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
           __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
}
bool hasAvx512() {
    return hasAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
}
#        else
bool hasSse4() {
    return false;
}
bool hasAvx2() {
    return false;
}
bool hasAvx512() {
    return false;
}
#        endif

#        ifdef ORMSEL_ALTIVEC
bool hasAltivec() {
    uint32 unit = VECTORTYPE_NONE;
    GetCPUInfoTags(GCIT_VectorUnit, &unit, TAG_DONE);
    return unit == VECTORTYPE_ALTIVEC;
}
#        else
bool hasAltivec() {
    return false;
}
#        endif

bool isAlwaysThere() {
    return true;
}

constexpr VectorTarget kVectorTargets[] = {
#        define ROW(name, highway, isAvailable, ...) {#        name, HWY_CHOOSE_##highway(kKernels), isAvailable},
    ORMSEL_VECTOR_TARGETS(ROW)
#        undef ROW
};

#    endif

// The targets of this build, the scalar kernels last.
struct Targets {
    const Kernels* kernels[std::size(kVectorTargets) + 1] = {};
    const char* names[std::size(kVectorTargets) + 2] = {}; // ended by nullptr
    bool (*isAvailable[std::size(kVectorTargets) + 1])() = {};
    size_t count = 0;

    constexpr Targets() {
        for (const VectorTarget& target : kVectorTargets)
            if (target.kernels && (count == 0 || kernels[count - 1] != target.kernels))
                add(target.name, target.kernels, target.isAvailable);
        add("scalar", &kScalarKernels, nullptr);
    }
    constexpr void add(const char* name, const Kernels* ofTarget, bool (*isThere)()) {
        names[count] = name;
        kernels[count] = ofTarget;
        isAvailable[count++] = isThere;
    }
};
constexpr Targets kTargets;

} // namespace

TargetList allTargets() {
    size_t unavailable = 0;
    while (unavailable + 1 < kTargets.count && !kTargets.isAvailable[unavailable]())
        ++unavailable;
    return {kTargets.kernels, kTargets.names, kTargets.count, unavailable};
}

} // namespace ormsel

#endif
