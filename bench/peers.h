// SPDX-License-Identifier: Zlib
//
// Everything that can draw a row: Ormsel on each processor target, other libraries, and the memory's limit.
#pragma once

#include "bench/cases.h"

namespace bench {

enum Kind {
    kOurs,
    kStraight,      // does the same work: straight alpha in, or no alpha at all
    kPremultiplied, // gets its source premultiplied for nothing
    kLimit,
    kControl, // the case's reference a second time: how far equal things differ
};

struct Participant {
    std::string name, target; // the target is ours, or the one whose instructions a peer is limited to
    Kind kind;
    std::function<void(size_t count)> blit; // the next blits of the case
    std::function<void()> prepare = [] {};  // before blits that may follow another participant's
};

using Participants = std::vector<Participant>;

// First what the others are compared with: the limit, or SDL 1.2 for calls and tiles. They refer to the case.
Participants participantsOf(const Case& c);

// A peer that is limited to a target's instructions has its name: "libyuv avx2". What can't be limited uses
// none that the vector targets don't have: SDL 1.2 and SDL 2 MMX and SSE2, pixman no more than SSSE3.
void addLibyuv(Participants& list, const Case& c);
void addSdl2(Participants& list, const Case& c);

// Whether SDL blends in the row. It has no masks, and SDL 1.2 no constant alpha on top of the pixels' own.
bool sdlBlends(const Row& row);

std::vector<std::string> ourTargets(); // best first
std::string libraryVersions();
std::string sdl2Version(); // or that there is none

// The images of a case as a library sees them, set by set.
template <class Image>
struct Images {
    Image src, dst, mask;
};

// make() gets the pixels, their extent and their format.
template <class Make>
auto imagesOf(const Case& c, bool premultiplied, Make make) {
    static constexpr FormatInfo kMask = {"mask", 1, 8, 0, 0, 0, 0};
    std::vector<Images<decltype(make(nullptr, c.sheet, kMask))>> all;
    for (const ImageSet& set : c.sets) {
        all.push_back({make(premultiplied ? set.premultiplied : set.src, c.sheet, info(c.row.src)),
                       make(set.dst, c.screen, info(c.row.dst)), nullptr});
        if (set.mask)
            all.back().mask = make(set.mask, c.sheet, kMask);
    }
    return all;
}

// A participant's function: draw() gets images and blits, one after the other.
template <class Set, class Draw>
std::function<void(size_t)> inTurn(const Case& c, std::vector<Set> sets, Draw draw) {
    return [&c, sets = std::move(sets), draw = std::move(draw), next = size_t{0}](size_t count) mutable {
        for (; count; --count) {
            draw(sets[c.blits[next].set], c.blits[next]);
            if (++next == c.blits.size())
                next = 0;
        }
    };
}

// A loop that moves the memory of a row and computes nothing. Pixels come in multiples of 64.
using LimitLoop = void (*)(const uint8_t* src, uint8_t* dst, const uint8_t* mask, size_t pixels);
enum Reads { kSource, kSourceAndDestination, kMaskToo };

// The loop with vectors of so many bytes, one of CMakeLists.txt's widths. Pixels have 2 to 4 bytes.
template <size_t Width>
LimitLoop limitLoop(int srcBytes, int dstBytes, Reads reads, bool prefetches);

} // namespace bench
