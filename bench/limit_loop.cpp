// SPDX-License-Identifier: Zlib
//
// The memory's own limit: loops that read what a row reads and write what it writes, and compute nothing but
// an exclusive or. Compiled once for each vector width, LIMIT_BYTES, with the instructions that have it. No
// code of the C++ library may be used here: the linker could take it from this file for all others.
#include <utility>

#include "bench/peers.h"

namespace bench {

namespace {

using Vector [[gnu::vector_size(LIMIT_BYTES), gnu::aligned(1), gnu::may_alias]] = uint8_t;

constexpr size_t kAhead = 2048; // so that the next lines arrive in time; the same as the kernels' distance

template <size_t SrcBytes, size_t DstBytes, Reads What, bool Prefetches>
void loop(const uint8_t* src, uint8_t* dst, const uint8_t* mask, size_t pixels) {
    for (size_t done = 0; done < pixels; done += LIMIT_BYTES) {
        const auto* s = reinterpret_cast<const Vector*>(src + done * SrcBytes);
        auto* d = reinterpret_cast<Vector*>(dst + done * DstBytes);
        for (size_t at = 0; Prefetches && at < SrcBytes * LIMIT_BYTES; at += 64)
            __builtin_prefetch(src + done * SrcBytes + kAhead + at);
        for (size_t at = 0; Prefetches && at < DstBytes * LIMIT_BYTES; at += 64)
            __builtin_prefetch(dst + done * DstBytes + kAhead + at);
        Vector out[DstBytes];
        for (size_t i = 0; i < DstBytes; ++i)
            out[i] = s[i % SrcBytes];
        for (size_t i = DstBytes; i < SrcBytes; ++i)
            out[i % DstBytes] ^= s[i];
        if constexpr (What == kMaskToo)
            out[0] ^= *reinterpret_cast<const Vector*>(mask + done);
        for (size_t i = 0; i < DstBytes; ++i) {
            if constexpr (What != kSource)
                out[i] ^= d[i];
            d[i] = out[i];
        }
        asm volatile("" ::: "memory"); // so that a copy stays this loop and doesn't become a call of memmove
    }
}

} // namespace

template <>
LimitLoop limitLoop<LIMIT_BYTES>(int srcBytes, int dstBytes, Reads reads, bool prefetches) {
    // The digits of a loop's number: the source's bytes, the destination's, what is read, whether it
    // prefetches.
    const int number = srcBytes - 2 + 3 * (dstBytes - 2) + 9 * reads + (prefetches ? 27 : 0);
    return [number]<size_t... I>(std::index_sequence<I...>) {
        constexpr LimitLoop kLoops[] = {
            loop<2 + I % 3, 2 + I / 3 % 3, static_cast<Reads>(I / 9 % 3), I / 27 == 1>...};
        return kLoops[number];
    }
    (std::make_index_sequence<54>());
}

} // namespace bench
