// SPDX-License-Identifier: Zlib
//
// Compiled once for each vector width, LIMIT_BYTES, with the instructions that have it.
#include "bench/limit.h"

namespace bench {

namespace {

using Vector [[gnu::vector_size(LIMIT_BYTES), gnu::aligned(1), gnu::may_alias]] = uint8_t;

template <size_t SrcBytes, size_t DstBytes, bool ReadsDestination, bool Mask>
void loop(const uint8_t* src, uint8_t* dst, const uint8_t* mask, size_t pixels) {
    for (size_t done = 0; done < pixels; done += LIMIT_BYTES) {
        const auto* s = reinterpret_cast<const Vector*>(src + done * SrcBytes);
        auto* d = reinterpret_cast<Vector*>(dst + done * DstBytes);
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

template <size_t SrcBytes, size_t DstBytes>
LimitLoop choose(const Traffic& t) {
    if (t.mask)
        return loop<SrcBytes, DstBytes, true, true>;
    return t.readsDestination ? loop<SrcBytes, DstBytes, true, false>
                              : loop<SrcBytes, DstBytes, false, false>;
}

template <size_t SrcBytes>
LimitLoop choose(const Traffic& t) {
    switch (t.dstBytes) {
    case 2:
        return choose<SrcBytes, 2>(t);
    case 3:
        return choose<SrcBytes, 3>(t);
    default:
        return choose<SrcBytes, 4>(t);
    }
}

} // namespace

template <>
LimitLoop limitLoopOfWidth<LIMIT_BYTES>(const Traffic& t) {
    switch (t.srcBytes) {
    case 2:
        return choose<2>(t);
    case 3:
        return choose<3>(t);
    default:
        return choose<4>(t);
    }
}

} // namespace bench
