// SPDX-License-Identifier: Zlib
//
// The vector kernels, compiled once for each processor target: the lines below include this file again for
// every one of them. And the list of all targets.
#ifndef ORMSEL_SCALAR_ONLY

// Nothing here needs them, and processors that lack them are spared the scalar kernels.
#    define HWY_DISABLE_PCLMUL_AES
#    define HWY_DISABLE_F16C
#    define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#    include <hwy/detect_compiler_arch.h>
#    if HWY_ARCH_X86_32
// AVX-512 has instructions for 64-bit registers. AVX2 compiles, although Highway has its doubts.
#        define HWY_BROKEN_TARGETS (HWY_AVX3 | HWY_AVX3_DL)
#    elif HWY_ARCH_ARM_V7
// Not every such processor has NEON, and here nothing asks: what the whole build is for decides.
#        define HWY_COMPILE_ONLY_STATIC
#    endif
#    undef HWY_TARGET_INCLUDE
#    define HWY_TARGET_INCLUDE "blt_simd.cpp"
#    include <hwy/foreach_target.h>

#    include <hwy/highway.h>

#    if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

#        include "blt_generic_steps-inl.h"
#        include "blt_sdl_steps-inl.h"
#        include "blt_steps-inl.h"

#        if HWY_TARGET == HWY_AVX3 && (HWY_TARGETS & HWY_AVX2)
namespace ormsel::N_AVX2 {
extern const Kernels kKernels;
}
#        endif

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

// Rows of at most half a vector: steps of half the width draw them sooner.
template <class Src, class Dst>
Kernel narrowOr(const Block& b) {
#        if HWY_TARGET == HWY_AVX3 && (HWY_TARGETS & HWY_AVX2)
    if (Dst::kBytes == 4 && b.width <= kLanes32 / 2)
        return N_AVX2::kKernels.routes[kRouteIndex<Src, Dst>](b);
#        endif
    return routeKernel<Src, Dst>(b);
}

#        if HWY_TARGET == HWY_AVX3
#            define ORMSEL_TARGET_NAME "avx512"
#        elif HWY_TARGET == HWY_AVX2
#            define ORMSEL_TARGET_NAME "avx2"
#        elif HWY_TARGET == HWY_SSE4
#            define ORMSEL_TARGET_NAME "sse4"
#        else
#            define ORMSEL_TARGET_NAME "neon"
#        endif

extern const Kernels kKernels;
constexpr Kernels kKernels = {
    .name = ORMSEL_TARGET_NAME,
#        define ROW(Src, Dst, Rule) narrowOr<Src, Dst>,
    .routes = {ORMSEL_ROUTES(ROW)},
#        undef ROW
    .generic = genericKernel,
    .copy = copyRows,
    .sdl = sdlKernel,
};

#        undef ORMSEL_TARGET_NAME

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#    endif

#endif

#if defined(ORMSEL_SCALAR_ONLY) || HWY_ONCE

#    include <algorithm>
#    include <iterator>

#    include "blt_kernels.h"

namespace ormsel {

#    ifndef ORMSEL_SCALAR_ONLY
#        if HWY_TARGETS & HWY_AVX3
#            define IF_AVX3(X) X(N_AVX3)
#        else
#            define IF_AVX3(X)
#        endif
#        if HWY_TARGETS & HWY_AVX2
#            define IF_AVX2(X) X(N_AVX2)
#        else
#            define IF_AVX2(X)
#        endif
#        if HWY_TARGETS & HWY_SSE4
#            define IF_SSE4(X) X(N_SSE4)
#        else
#            define IF_SSE4(X)
#        endif
#        if HWY_TARGETS & HWY_NEON
#            define IF_NEON(X) X(N_NEON)
#        else
#            define IF_NEON(X)
#        endif
#        define VECTOR_TARGETS(X) IF_AVX3(X) IF_AVX2(X) IF_SSE4(X) IF_NEON(X)
#    else
#        define VECTOR_TARGETS(X)
#    endif

namespace {

// How many of the vector targets, counted from the best one, this processor can't run. A target needs what
// Highway's HWY_TARGET_STR names and all that the targets behind it need. (Highway's own test is in its
// library, which needs a C++ runtime.)
[[maybe_unused]] size_t unavailableTargets() {
#    if !defined(ORMSEL_SCALAR_ONLY) && HWY_ARCH_X86
    const bool sse4 = __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("sse4.1") &&
                      __builtin_cpu_supports("sse4.2");
    const bool avx2 = sse4 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                      __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    const bool avx512 = avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
    return avx512 ? 0 : avx2 ? 1 : sse4 ? 2 : 3;
#    else
    return 0;
#    endif
}

} // namespace

TargetList allTargets() {
#    define KERNELS(target) &target::kKernels,
    static constexpr const Kernels* kKernels[] = {VECTOR_TARGETS(KERNELS) & kScalarKernels};
#    undef KERNELS
#    define NAME(target) target::kKernels.name,
    static constexpr const char* kNames[] = {VECTOR_TARGETS(NAME) "scalar", nullptr};
#    undef NAME
    // A build for processors that have a target anyway leaves out those behind it.
    return {kKernels, kNames, std::size(kKernels), std::min(unavailableTargets(), std::size(kKernels) - 1)};
}

} // namespace ormsel

#endif
