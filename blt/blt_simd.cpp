// SPDX-License-Identifier: Zlib
//
// The vector kernels, compiled once for each processor target: the lines below include this file again for
// every one of them.
#ifndef ORMSEL_SCALAR_ONLY

#    define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#    undef HWY_TARGET_INCLUDE
#    define HWY_TARGET_INCLUDE "blt_simd.cpp"
#    include <hwy/foreach_target.h>

#    include <hwy/highway.h>

#    if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

#        include "blt_generic_rows-inl.h"
#        include "blt_rows-inl.h"
#        include "blt_sdl-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ormsel::HWY_NAMESPACE {

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
const Kernels kKernels = {
    ORMSEL_TARGET_NAME,
    {alphaToRgb16<Argb32>, alphaToRgb16<Abgr32>, alphaToRgb16<Rgba32>, alphaToRgb16<Bgra32>},
    {alphaToArgb32<Argb32>, alphaToArgb32<Abgr32>, alphaToArgb32<Rgba32>, alphaToArgb32<Bgra32>},
    mixRgb16Kernel,
    {convertRgb24ToRgb16<Rgb24>, convertRgb24ToRgb16<Bgr24>},
    {mixRgb24ToRgb16<Rgb24>, mixRgb24ToRgb16<Bgr24>},
    copyRows,
    genericKernel,
    sdlKernel,
};

#        undef ORMSEL_TARGET_NAME

} // namespace ormsel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#    endif

#endif

#if defined(ORMSEL_SCALAR_ONLY) || HWY_ONCE

#    include "blt_simd.h"

namespace ormsel {

size_t simdKernels([[maybe_unused]] const Kernels** list, [[maybe_unused]] size_t most) {
    size_t count = 0;
#    ifndef ORMSEL_SCALAR_ONLY
    [[maybe_unused]] const auto offer = [&](uint32_t target, const Kernels& kernels) {
        if (hwy::SupportedTargets() & target && count < most)
            list[count++] = &kernels;
    };
#        if HWY_TARGETS & HWY_AVX3
    offer(HWY_AVX3, N_AVX3::kKernels);
#        endif
#        if HWY_TARGETS & HWY_AVX2
    offer(HWY_AVX2, N_AVX2::kKernels);
#        endif
#        if HWY_TARGETS & HWY_SSE4
    offer(HWY_SSE4, N_SSE4::kKernels);
#        endif
#        if HWY_TARGETS & HWY_NEON
    offer(HWY_NEON, N_NEON::kKernels);
#        endif
#    endif
    return count;
}

} // namespace ormsel

#endif
