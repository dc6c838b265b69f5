// SPDX-License-Identifier: Zlib
#include "blt_simd.h"

namespace ormsel {

size_t simdKernels(const Kernels**, size_t) {
    return 0;
}

} // namespace ormsel
