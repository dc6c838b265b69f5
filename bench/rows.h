// SPDX-License-Identifier: Zlib
//
// What is measured: one row for each routine and constant alpha. A row is called like the file of its
// routine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// Pixel layouts, named by the channels from the most significant byte of the pixel's value.
enum Layout { kArgb32, kAbgr32, kRgba32, kBgra32, kRgb24, kBgr24, kRgb16, kRgb15 };

struct LayoutInfo {
    const char* name;
    int depth; // bits, as SDL counts them
    uint32_t r, g, b, a;

    size_t bytes() const { return static_cast<size_t>((depth + 7) / 8); }
};
const LayoutInfo& info(Layout layout);

enum Rule {
    kPixelAlpha, // by the source's own alpha
    kOpaque,     // the source has no alpha: converted, or blended by the constant alpha
    kMasked,     // by a mask; the source's own alpha has no part
    kCopy,       // the copy flag
};

struct Row {
    const char* name;
    Layout src, dst;
    Rule rule;
    uint8_t alpha;   // constant alpha
    bool call;       // small sizes, through SDL_BlitAlphaSurface(): what one call costs
    const char* why; // nullptr, or what a reader of the row's figures has to know

    bool readsDestination() const { return rule == kPixelAlpha || rule == kMasked || alpha != 255; }
};
extern const std::vector<Row> rows;
const Row* rowNamed(const std::string& name); // nullptr: there is none

struct Size {
    const char* name;
    int width, height;
    size_t sets; // different images that are used in turn, so that no branch pattern can be learned

    size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
};
extern const std::vector<Size> pictureSizes, callSizes;
inline constexpr size_t kMostSets = 16;

// The alphas of an image (or of its mask).
enum Content {
    kSprite, // discs: about 40 % transparent, 40 % opaque, 20 % anti-aliased edge
    kRandom, // each alpha of its own
};
const char* name(Content content);
std::vector<Content> contentsOf(const Row& row); // an image without alpha has only one

} // namespace bench
