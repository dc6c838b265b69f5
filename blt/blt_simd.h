// SPDX-License-Identifier: Zlib
#pragma once

#include "blt_kernels.h"

namespace ormsel {

// Writes the vector targets that this processor can run, best first, at most `most` of them; returns how
// many. A build without the vector library has none.
size_t simdKernels(const Kernels** list, size_t most);

} // namespace ormsel
