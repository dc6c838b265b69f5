// SPDX-License-Identifier: Zlib
//
// What is measured: a row for each routine and constant alpha. A row is called like the file of its routine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <ormsel/ormsel_formats.h>

namespace bench {

// kA8R8G8B8 and so on, in the order of the public list.
enum Format {
#define FORMAT(name, ...) k##name,
    ORMSEL_FORMATS(FORMAT)
#undef FORMAT
};

struct FormatInfo {
    const char* stem;
    int bytes, depth;    // depth: in bits, as SDL counts it, without a bit that nothing uses
    uint32_t r, g, b, a; // a: 0 in images of 15 bits, too, as no peer has a use for their one bit of alpha
};
const FormatInfo& info(Format format);

enum Rule {
    kPixelAlpha, // by the source's own alpha
    kOpaque,     // the source has no alpha: converted, or blended by the constant alpha
    kMasked,     // by a mask; the source's own alpha has no part
    kCopy,       // the copy flag
};

// What one blit draws.
enum Shape {
    kPicture, // a whole image
    kCall,    // a very small whole image, through SDL_BlitAlphaSurface(): what one call costs
    kTile,    // a random tile of a sheet to a random place of a screen, through SDL_BlitAlphaSurface()
};

struct Row {
    std::string name;
    Format src, dst;
    Rule rule;
    uint8_t alpha = 255; // constant alpha
    Shape shape = kPicture;
    const char* why = nullptr; // what a reader of the row's figures has to know

    bool readsDestination() const { return rule == kPixelAlpha || rule == kMasked || alpha != 255; }
    bool hasAlpha() const { return rule == kPixelAlpha || rule == kMasked; }
};
const std::vector<Row>& allRows();

struct Size {
    const char *name, *group; // the group is what --sizes names
    int width, height;
    size_t sets; // different images that are used in turn, so that no branch pattern can be learnt
    bool limitsPeers = false; // peers are measured with the instructions of lesser targets, too

    size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
};
const std::vector<Size>& sizesOf(Shape shape);

// The alphas of an image, or of its mask. Rows without alpha have random colours only.
inline constexpr const char* kSprite = "sprite"; // discs: about 40 % transparent, 40 % opaque, 20 % edge
inline constexpr const char* kRandom = "random"; // each alpha of its own

// Whether a name matches one of the patterns, separated by blanks or commas, and none that begins with '!'.
bool listed(std::string patterns, const std::string& name);

} // namespace bench
