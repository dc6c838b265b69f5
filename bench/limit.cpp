// SPDX-License-Identifier: Zlib
#include "bench/limit.h"

namespace bench {

size_t limitVectorBytes() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512bw"))
        return 64;
    if (__builtin_cpu_supports("avx2"))
        return 32;
#endif
    return 16;
}

LimitLoop limitLoop(const Traffic& traffic) {
#if defined(__x86_64__)
    if (limitVectorBytes() == 64)
        return limitLoopOfWidth<64>(traffic);
    if (limitVectorBytes() == 32)
        return limitLoopOfWidth<32>(traffic);
#endif
    return limitLoopOfWidth<16>(traffic);
}

} // namespace bench
