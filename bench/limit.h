// SPDX-License-Identifier: Zlib
//
// The memory's own limit: a loop that reads what a row reads and writes what it writes, and computes nothing.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bench {

// Pixels come in multiples of 64.
using LimitLoop = void (*)(const uint8_t* src, uint8_t* dst, const uint8_t* mask, size_t pixels);

enum Reads { kSource, kSourceAndDestination, kMaskToo };

// The loop with vectors of so many bytes. Pixels have 2 to 4 bytes. CMakeLists.txt says which widths there
// are.
template <size_t Width>
LimitLoop limitLoop(int srcBytes, int dstBytes, Reads reads, bool prefetches);

} // namespace bench
