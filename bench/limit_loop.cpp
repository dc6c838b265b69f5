// SPDX-License-Identifier: Zlib
//
// Compiled once for each vector width, LIMIT_BYTES, with the instructions that have it.
#include "bench/limit.h"

namespace bench {

namespace {

using Vector [[gnu::vector_size(LIMIT_BYTES), gnu::aligned(1), gnu::may_alias]] = uint8_t;

// Far enough for the next lines to arrive in time; the same as the kernels' distance.
constexpr size_t kAhead = 2048;

template <bool Prefetches, size_t Bytes>
void prefetch(const uint8_t* from) {
    if constexpr (Prefetches)
        for (size_t at = 0; at < Bytes * LIMIT_BYTES; at += 64)
            __builtin_prefetch(from + kAhead + at);
}

template <bool Prefetches, size_t SrcBytes, size_t DstBytes, bool ReadsDestination, bool Mask>
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

template <bool Prefetches, size_t SrcBytes, size_t DstBytes>
LimitLoop choose(const Traffic& t) {
    if (t.mask)
        return loop<Prefetches, SrcBytes, DstBytes, true, true>;
    return t.readsDestination ? loop<Prefetches, SrcBytes, DstBytes, true, false>
                              : loop<Prefetches, SrcBytes, DstBytes, false, false>;
}

template <bool Prefetches, size_t SrcBytes>
LimitLoop choose(const Traffic& t) {
    switch (t.dstBytes) {
    case 2:
        return choose<Prefetches, SrcBytes, 2>(t);
    case 3:
        return choose<Prefetches, SrcBytes, 3>(t);
    default:
        return choose<Prefetches, SrcBytes, 4>(t);
    }
}

template <bool Prefetches>
LimitLoop choose(const Traffic& t) {
    switch (t.srcBytes) {
    case 2:
        return choose<Prefetches, 2>(t);
    case 3:
        return choose<Prefetches, 3>(t);
    default:
        return choose<Prefetches, 4>(t);
    }
}

} // namespace

template <>
LimitLoop limitLoopOfWidth<LIMIT_BYTES>(const Traffic& t, bool prefetches) {
    return prefetches ? choose<true>(t) : choose<false>(t);
}

} // namespace bench
