// SPDX-License-Identifier: Zlib
//
// The memory's own limit: a loop that reads what a row reads and writes what it writes, and computes nothing.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bench {

// What moves for each pixel.
struct Traffic {
    int srcBytes, dstBytes; // 2 to 4
    bool readsDestination;
    bool mask; // one byte more
};

// Pixels come in multiples of 64.
using LimitLoop = void (*)(const uint8_t* src, uint8_t* dst, const uint8_t* mask, size_t pixels);

// The loop with vectors of so many bytes, with or without prefetching. CMakeLists.txt says which there are.
template <size_t Width>
LimitLoop limitLoop(const Traffic& traffic, bool prefetches);

} // namespace bench
