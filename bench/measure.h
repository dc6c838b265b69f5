// SPDX-License-Identifier: Zlib
//
// Measuring the participants of a row beside each other.
#pragma once

#include <string>
#include <vector>

#include "bench/peers.h"

namespace bench {

// Median and quartiles.
struct Figure {
    double q1 = 0, median = 0, q3 = 0;

    static Figure of(std::vector<double> samples);
    double spread() const {
        return median > 0 ? (q3 - q1) / 2 / median : 0;
    } // half the middle half, relative
};

struct Result {
    std::string row, size, content, participant;
    Kind kind = Kind::kOurs;
    std::string note;
    double pixels = 0;  // of one blit
    Figure nanoseconds; // of one blit
    Figure share;       // the reference's time by this one's, pass by pass: the limit, or SDL 1.2 for a call
    Error error;

    double megapixels() const { return pixels * 1e3 / nanoseconds.median; }
};

struct Effort {
    double sliceSeconds; // of one participant in one pass
    int passes;          // fewest
};

// One result for each participant, in the order of participantsOf().
std::vector<Result> measure(Case& c, Sdl2Process* sdl2, const Effort& effort);

} // namespace bench
