// SPDX-License-Identifier: Zlib
//
// The list of vector targets, best first. cmake/Targets.cmake reads it, too: which flags the vector kernels
// are compiled with, and which targets the tests run on.
#pragma once

// TARGET(name, highway, isAvailable, processors, flags)
//   - name: for people; ORMSEL_TARGET in the environment, ormsel_TargetName()
//   - highway: the target is HWY_highway, and its names live in the namespace N_highway
//   - isAvailable: a function of simd.cpp, whether this processor can run it, and those behind it in the list
//   - processors: CMake's names of those that the target is for, as a regular expression
//   - flags: what simd.cpp is compiled with there
//
// Highway's NEON needs AES on 64-bit Arm (g++ 12 gives constructors that it makes itself the file's target
// only), and a form of half floats, of which g++ has two, on 32-bit Arm. For AltiVec, which isn't Highway's,
// vectors are passed as its ABI has it; and g++ would work ahead on pixels that turn out to be transparent.
#define ORMSEL_VECTOR_TARGETS(TARGET)                                                                        \
    TARGET(avx512, AVX3, hasAvx512, "^(x86_64|AMD64)$", "")                                                  \
    TARGET(avx2, AVX2, hasAvx2, "^(x86_64|AMD64|i[3-6]86)$", "")                                             \
    TARGET(sse4, SSE4, hasSse4, "^(x86_64|AMD64|i[3-6]86)$", "")                                             \
    TARGET(neon, NEON, isAlwaysThere, "^(aarch64|arm64)$", "-march=armv8-a+crypto")                          \
    TARGET(neon, NEON, isAlwaysThere, "^arm(hf|v[78])", "-mfp16-format=ieee")                                \
    TARGET(altivec, ALTIVEC, hasAltivec, "^(powerpc|ppc)(64)?$", "-mabi=altivec -fno-sched-interblock")

#ifdef ORMSEL_ALTIVEC
#    include "altivec-inl.h"
#    define HWY_CHOOSE_ALTIVEC(name) &N_ALTIVEC::name
#    define HWY_CHOOSE_AVX3(name) nullptr
#    define HWY_CHOOSE_AVX2(name) nullptr
#    define HWY_CHOOSE_SSE4(name) nullptr
#    define HWY_CHOOSE_NEON(name) nullptr
#elif !defined(ORMSEL_SCALAR_ONLY)
#    define HWY_ALTIVEC 0
#    define HWY_CHOOSE_ALTIVEC(name) nullptr
// Nothing here needs these, and processors that lack them are spared the scalar kernels.
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
#    include <hwy/detect_targets.h>
#endif

#ifndef ORMSEL_SCALAR_ONLY
namespace ormsel {

// The name of a target by Highway's number.
constexpr const char* nameOfTarget(unsigned long long target) {
#    define ROW(name, highway, ...)                                                                          \
        if (target == HWY_##highway)                                                                         \
            return #name;
    ORMSEL_VECTOR_TARGETS(ROW)
#    undef ROW
    return nullptr;
}

} // namespace ormsel
#endif
