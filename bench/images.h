// SPDX-License-Identifier: Zlib
//
// The images of a row, in memory that the SDL 2 process shares, and how far a result lies from the exact
// blend.
#pragma once

#include <cstdint>
#include <vector>

#include "bench/rows.h"

namespace bench {

// Memory that another process can map: the descriptor is inherited.
class SharedMemory {
public:
    SharedMemory();
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    void clear() { used_ = 0; }
    uint8_t* allocate(size_t bytes); // on a cache line
    uint64_t offsetOf(const uint8_t* p) const { return static_cast<uint64_t>(p - begin_); }
    int descriptor() const { return descriptor_; }
    size_t size() const;

private:
    int descriptor_;
    uint8_t* begin_;
    size_t used_ = 0;
};

// Images with rows right behind each other.
struct ImageSet {
    uint8_t* src;
    uint8_t* premultiplied; // the source with its colours multiplied by its alpha
    uint8_t* dst;
    uint8_t* mask;
};

struct Error {
    double max = 0, mean = 0; // in 255ths of a channel's range, over the colour channels
};

// One row at one size with one content.
class Case {
public:
    Case(const Row& row, const Size& size, Content content, SharedMemory& memory);

    const Row& row;
    const Size& size;
    const Content content;
    std::vector<ImageSet> sets;

    int pitch(Layout layout) const { return size.width * static_cast<int>(info(layout).bytes()); }
    void resetDestination(); // of the first set
    Error error() const;     // of the first set's destination, after one blit

private:
    size_t checkedPixels() const;
    std::vector<uint8_t> original_; // the first set's destination before any blit
};

} // namespace bench
