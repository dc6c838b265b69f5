// SPDX-License-Identifier: Zlib
//
// The memory's own limit: a loop that reads what a row reads and writes what it writes, and computes nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

// What moves for each pixel.
struct Traffic {
    size_t srcBytes, dstBytes;
    bool readsDestination;
    bool mask; // one byte more
};

// Pixels come in multiples of 64.
using LimitLoop = void (*)(const uint8_t* src, uint8_t* dst, const uint8_t* mask, size_t pixels);

// Loops with every vector width that this processor has, with and without prefetching.
std::vector<LimitLoop> limitLoops(const Traffic& traffic);

template <size_t Width>
LimitLoop limitLoopOfWidth(const Traffic& traffic, bool prefetches);

} // namespace bench
