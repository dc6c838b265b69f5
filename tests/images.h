// SPDX-License-Identifier: Zlib
//
// Images for tests: guarded memory, the formats that surfaces can express, surfaces and bitmaps over
// caller's memory together with their model descriptions, and seeded random numbers.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <SDL.h>

#include <graphics/gfx.h>

#include "blt/blt_framework.h"
#include "tests/model.h"

// Numbers that depend on (seed, case) only, so that one case can be run alone.
class Random {
public:
    explicit Random(uint64_t seed, uint64_t number = 0) : state_(seed * 0x9E3779B97F4A7C15U + number) {
        next();
    }
    uint64_t next();
    long upTo(long last) { return static_cast<long>(next() % static_cast<uint64_t>(last + 1)); } // 0..last
    long between(long first, long last) { return first + upTo(last - first); }
    bool oneIn(long n) { return upTo(n - 1) == 0; }
    template <class T, size_t N>
    const T& of(const T (&list)[N]) {
        return list[static_cast<size_t>(upTo(static_cast<long>(N) - 1))];
    }
    template <class T>
    const T& of(const std::vector<T>& list) {
        return list[static_cast<size_t>(upTo(static_cast<long>(list.size()) - 1))];
    }
    // Bytes of which many are runs of 00 and FF, as alphas in pictures are.
    void fill(uint8_t* bytes, size_t count);

private:
    uint64_t state_;
};

// Whole pages of zeros with an inaccessible page on either side.
class Pages {
public:
    explicit Pages(size_t bytes);
    ~Pages();
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    uint8_t* begin() const { return first_; }
    uint8_t* end() const { return first_ + size_; }
    size_t size() const { return size_; }
    void protect(uint8_t* from, size_t bytes, int protection) const; // PROT_*; whole pages
    static size_t pageSize();

private:
    uint8_t* first_;
    size_t size_;
};

// A layout that an SDL surface can have. Shifts, losses and code are SDL's and the library's own findings.
struct SurfaceFormat {
    int depth;
    uint32_t r, g, b, a;
};
extern const std::vector<SurfaceFormat> surfaceFormats; // every layout that the library accepts
extern const std::vector<uint32_t> bitmapCodes;         // the eight accepted bitmap formats
extern const std::vector<unsigned> constantAlphas;      // all classes, and the values next to their limits

// An image as the library sees it: a surface or a bitmap, never both.
class Picture {
public:
    static Picture surface(const SurfaceFormat& format, uint8_t* pixels, long width, long height, long pitch);
    static Picture bitmap(uint32_t code, uint8_t* pixels, long width, long height, long pitch, bool onBoard);
    static Picture surfaceMask(uint8_t* pixels, long width, long height, long pitch);
    static Picture bitmapMask(uint8_t* pixels, long width, long height, long pitch);

    SDL_Surface* sdl() const { return surface_.get(); }
    BitMap* native() const { return bitmap_.get(); }
    void setAlpha(bool use, unsigned alpha); // surfaces: SDL_SRCALPHA and the format's alpha
    std::string describe() const;

    // The model's description; `first` is the offset of the first pixel in the model's memory.
    model::Image image(long first) const;

private:
    struct SurfaceDeleter {
        void operator()(SDL_Surface* surface) const;
    };
    struct BitmapDeleter {
        void operator()(BitMap* bitmap) const;
    };
    std::unique_ptr<SDL_Surface, SurfaceDeleter> surface_;
    std::unique_ptr<BitMap, BitmapDeleter> bitmap_;
    model::Image image_{};
};

// The context that the driver would fill for this blit, with pixels at `src`, `dst` and `mask`.
BltContext contextFor(const model::Blit& blit, uint8_t* src, uint8_t* dst, uint8_t* mask);

std::string describe(const model::Blit& blit);

// Whether running `work` ends in a memory fault. Work that faults is left where it stands.
bool faults(const std::function<void()>& work);

// Gathers the library's debug output while it lives.
class DebugOutput {
public:
    DebugOutput();
    ~DebugOutput();
    DebugOutput(const DebugOutput&) = delete;
    DebugOutput& operator=(const DebugOutput&) = delete;
    std::string take(); // what has come since the last call

private:
    std::string text_;
};

// How many random cases to run: ORMSEL_CASES when set, else `normal`, or a twentieth under a sanitizer.
long caseCount(long normal);
// Every how many-th value an exhaustive test takes: 1, more under a sanitizer or as ORMSEL_STRIDE says.
long stride();
// The seed: ORMSEL_SEED when set. A single case: ORMSEL_CASE when set, else -1.
uint64_t caseSeed();
long singleCase();
