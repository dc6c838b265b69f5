// SPDX-License-Identifier: Zlib
//
// The images of a case, and how far a result lies from the exact blend.
#pragma once

#include <memory>

#include "bench/rows.h"

namespace bench {

struct Extent {
    int width, height;
    size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
};

// Images with rows right behind each other.
struct ImageSet {
    uint8_t* src;
    uint8_t* premultiplied; // the source with its colours multiplied by its alpha
    uint8_t* dst;
    uint8_t* mask;
};

// A rectangle of the case's size, from one place to another.
struct Blit {
    size_t set;
    int srcX, srcY, dstX, dstY;
};

struct Error {
    double max = 0, mean = 0; // in 255ths of a channel's range, over the colour channels
};

// One row at one size with one content.
class Case {
public:
    Case(const Row& row, const Size& size, const char* content);

    const Row& row;
    const Size& size;
    const char* const content;
    const Extent sheet, screen; // of the sources and of the destinations; a picture fills both
    std::vector<ImageSet> sets;
    std::vector<Blit> blits; // drawn in turn

    int srcPitch() const { return sheet.width * info(row.src).bytes; }
    int dstPitch() const { return screen.width * info(row.dst).bytes; }
    void resetDestination(); // of the first set
    Error error() const;     // of the first blit, when it is the only one since the reset

private:
    uint8_t* allocate(size_t pixels, int bytes);
    ImageSet makeSet(size_t number);

    std::vector<std::unique_ptr<uint8_t[]>> memory_;
    std::vector<uint8_t> original_; // the first set's destination before any blit
};

} // namespace bench
