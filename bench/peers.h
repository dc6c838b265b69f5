// SPDX-License-Identifier: Zlib
//
// Everything that can draw a row: Ormsel on each processor target, other libraries, and the memory's limit.
#pragma once

#include <functional>

#include "bench/images.h"

namespace bench {

enum Kind {
    kOurs,
    kStraight,      // does the same work: straight alpha in, or no alpha at all
    kPremultiplied, // gets its source premultiplied for nothing
    kLimit,
    kControl, // the case's reference a second time: how far equal things differ
};

struct Participant {
    std::string name;
    Kind kind;
    std::function<void(size_t count)> blit; // the next blits of the case
    std::function<void()> prepare = [] {};  // before blits that may follow another participant's
};

// The first one is what the others are compared with: the limit, or SDL 1.2 for calls and tiles. They refer
// to the case.
std::vector<Participant> participantsOf(const Case& c);

// A peer that is limited to a target's instructions has its name: "libyuv avx2". What can't be limited uses
// none that the vector targets don't have: SDL 1.2 and SDL 2 MMX and SSE2, pixman no more than SSSE3.
void addLibyuv(std::vector<Participant>& list, const Case& c);
void addSdl2(std::vector<Participant>& list, const Case& c);

// Whether SDL blends in the row. It has no masks, and SDL 1.2 no constant alpha on top of the pixels' own.
bool sdlBlends(const Row& row);

std::string libraryVersions();
std::string sdl2Version(); // empty when there is none

// A participant's function: draws the case's blits one after the other.
template <class Draw>
std::function<void(size_t)> inTurn(const Case& c, Draw draw) {
    return [&c, draw = std::move(draw), next = size_t{0}](size_t count) mutable {
        for (; count; --count) {
            draw(c.blits[next]);
            if (++next == c.blits.size())
                next = 0;
        }
    };
}

} // namespace bench
