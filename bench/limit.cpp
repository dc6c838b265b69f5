// SPDX-License-Identifier: Zlib
#include "bench/limit.h"

namespace bench {

std::vector<LimitLoop> limitLoops(const Traffic& traffic) {
    std::vector<LimitLoop> loops;
    for (const bool prefetches : {true, false}) {
#if defined(__x86_64__)
        if (__builtin_cpu_supports("avx512bw"))
            loops.push_back(limitLoopOfWidth<64>(traffic, prefetches));
        if (__builtin_cpu_supports("avx2"))
            loops.push_back(limitLoopOfWidth<32>(traffic, prefetches));
#endif
        loops.push_back(limitLoopOfWidth<16>(traffic, prefetches));
    }
    return loops;
}

} // namespace bench
