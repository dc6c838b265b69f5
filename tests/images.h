// SPDX-License-Identifier: Zlib
//
// What the tests share: seeded random numbers, guarded memory, images of every kind over it with their model
// descriptions, and the loop over random cases.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <SDL.h>

#include <graphics/gfx.h>
#include <libraries/Picasso96.h>

#include "blt/blt_framework.h"
#include "tests/model.h"

// Numbers that depend on (seed, number) only, so that one case can be run alone, or on a fuzzer's input as
// long as that lasts.
class Random {
public:
    explicit Random(uint64_t seed, uint64_t number = 0);
    Random(const uint8_t* input, size_t size) : state_(size), input_(input), left_(size) {}
    bool hasInput() const { return left_ != 0; }

    uint64_t next();      // 64 bits; never from the input
    long upTo(long last); // 0..last
    long between(long first, long last) { return first + upTo(last - first); }
    bool oneIn(long n) { return upTo(n - 1) == 0; }
    template <class List>
    const auto& of(const List& list) {
        return std::data(list)[upTo(static_cast<long>(std::size(list)) - 1)];
    }
    void fill(uint8_t* bytes, long count); // with many runs of 00 and FF, as alphas in pictures are

private:
    uint64_t state_;
    const uint8_t* input_ = nullptr;
    size_t left_ = 0;
};

// Bytes of an arena.
struct Range {
    long from, to;
};

// Areas of zeros with inaccessible pages around each, and the model's copy of them. An offset means the same
// byte in both.
class Arena {
public:
    Arena(long areas, long bytesOfArea);
    ~Arena();
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    static long page();
    long begin(long area = 0) const { return page() + area * (size_ + page()); }
    long size() const { return size_; } // of one area: whole pages
    uint8_t* at(long offset) const { return base_ + offset; }
    void protect(Range pages, int protection) const; // PROT_*
    void share(Range window);                        // gives the model a copy of these bytes
    bool writes(Range window) const;                 // whether the model has written there since
    // Empty when the model has the same bytes; else the first pixel of the blit's destination that differs.
    std::string difference(Range window, const model::Blit& blit) const;

    model::Memory memory;

private:
    long size_;
    uint8_t* base_;
    std::vector<uint8_t> before_; // as shared
};

// What an image can be: a surface with these masks or, with a code, a bitmap. Depth 8 makes a mask.
struct Kind {
    int depth;
    uint32_t r, g, b, a;
    uint32_t code = RGBFB_NONE;

    long bytes() const { return (depth + 7) / 8; }
    uint32_t recognised() const; // the code that the library finds; RGBFB_NONE: it goes by masks alone
};
extern const std::vector<Kind> kSurfaceKinds; // every layout that the library accepts
extern const std::vector<Kind> kBitmapKinds;  // the accepted bitmap formats
constexpr Kind kSurfaceMask{8, 0, 0, 0, 0}, kBitmapMask{8, 0, 0, 0, 0, RGBFB_CLUT};
extern const std::vector<unsigned> kConstantAlphas; // all classes, and the values next to their limits
const Kind& bitmapKind(uint32_t code);
Kind surfaceKind(uint32_t code); // with the channels of that format

// The bytes of an image: its memory ends behind the last pixel of its last row, or at pitch x height where
// that is less. What follows may be another image's, of which this one is a view. An image stored bottom up
// ends likewise behind its first row.
long memoryOf(const Kind& kind, long width, long height, long pitch);

// An image as the library sees it: a surface, a bitmap or nothing.
class Picture {
public:
    Picture() = default;
    Picture(const Kind& kind, uint8_t* pixels, long width, long height, long pitch, bool onBoard = false);

    SDL_Surface* sdl() const { return surface_.get(); }
    BitMap* native() const { return bitmap_.get(); }
    operator SDL_Surface*() const { return sdl(); }
    operator BitMap*() const { return native(); }
    void setAlpha(bool use, unsigned alpha) const; // surfaces: SDL_SRCALPHA and the format's alpha
    model::Image image(long first) const;          // `first`: offset of the first pixel in the model's memory

private:
    std::shared_ptr<SDL_Surface> surface_;
    std::shared_ptr<BitMap> bitmap_;
    model::Image image_{};
};

// The context that the driver would fill for this blit, with the model's memory beginning at `base`.
BltContext contextFor(const model::Blit& blit, uint8_t* base);

std::string describe(const model::Blit& blit);

// Whether running `work` ends in a memory fault. Work that faults is left where it stands.
bool faults(const std::function<void()>& work);

// What the library prints on the debug output while `work` runs.
std::string printedBy(const std::function<void()>& work);

// --- Cases: defined beside main() ---------------------------------------------------------------------

// How many random cases to run: ORMSEL_CASES when set, else `normal`, or a twentieth under a sanitizer.
long caseCount(long normal);
// Every how many-th value an exhaustive test takes: 1, more under a sanitizer or as ORMSEL_STRIDE says.
uint32_t stride();
// Runs body(random) for all cases with a seed of ORMSEL_SEED, or for the case ORMSEL_CASE alone, until one
// returns what is wrong, which is the result.
std::string forCases(long normal, const std::function<std::string(Random&)>& body);
