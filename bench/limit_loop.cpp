// SPDX-License-Identifier: Zlib
//
// Compiled once for each vector width, LIMIT_BYTES, with the instructions that have it. Nothing of the C++
// library may be used here: the linker could take its code from this file for all others.
#include "bench/limit.h"

namespace bench {

namespace {

using Vector [[gnu::vector_size(LIMIT_BYTES), gnu::aligned(1), gnu::may_alias]] = uint8_t;

template <bool Prefetches, size_t Bytes>
void prefetch(const uint8_t* from) {
    constexpr size_t kAhead =
        2048; // so that the next lines arrive in time; the same as the kernels' distance
    if constexpr (Prefetches)
        for (size_t at = 0; at < Bytes * LIMIT_BYTES; at += 64)
            __builtin_prefetch(from + kAhead + at);
}

template <size_t SrcBytes, size_t DstBytes, bool ReadsDestination, bool Mask, bool Prefetches>
void loop(const uint8_t* src, uint8_t* dst, const uint8_t* mask, size_t pixels) {
    for (size_t done = 0; done < pixels; done += LIMIT_BYTES) {
        const auto* s = reinterpret_cast<const Vector*>(src + done * SrcBytes);
        auto* d = reinterpret_cast<Vector*>(dst + done * DstBytes);
        prefetch<Prefetches, SrcBytes>(src + done * SrcBytes);
        prefetch<Prefetches, DstBytes>(dst + done * DstBytes);
        Vector out[DstBytes];
        for (size_t i = 0; i < DstBytes; ++i)
            out[i] = s[i % SrcBytes];
        for (size_t i = DstBytes; i < SrcBytes; ++i)
            out[i % DstBytes] ^= s[i];
        if constexpr (Mask)
            out[0] ^= *reinterpret_cast<const Vector*>(mask + done);
        for (size_t i = 0; i < DstBytes; ++i) {
            if constexpr (ReadsDestination)
                out[i] ^= d[i];
            d[i] = out[i];
        }
        asm volatile("" ::: "memory"); // so that a copy stays this loop and doesn't become a call of memmove
    }
}

template <size_t SrcBytes, size_t DstBytes, bool Prefetches>
constexpr LimitLoop kLoops[] = {loop<SrcBytes, DstBytes, false, false, Prefetches>,
                                loop<SrcBytes, DstBytes, true, false, Prefetches>,
                                loop<SrcBytes, DstBytes, true, true, Prefetches>};

template <bool Prefetches>
LimitLoop choose(const Traffic& t) {
    static constexpr const LimitLoop* kByBytes[3][3] = {
        {kLoops<2, 2, Prefetches>, kLoops<2, 3, Prefetches>, kLoops<2, 4, Prefetches>},
        {kLoops<3, 2, Prefetches>, kLoops<3, 3, Prefetches>, kLoops<3, 4, Prefetches>},
        {kLoops<4, 2, Prefetches>, kLoops<4, 3, Prefetches>, kLoops<4, 4, Prefetches>}};
    return kByBytes[t.srcBytes - 2][t.dstBytes - 2][t.mask ? 2 : t.readsDestination ? 1 : 0];
}

} // namespace

template <>
LimitLoop limitLoop<LIMIT_BYTES>(const Traffic& t, bool prefetches) {
    return prefetches ? choose<true>(t) : choose<false>(t);
}

} // namespace bench
