// SPDX-License-Identifier: Zlib
//
// What is measured: rows, one for each routine and constant alpha and called like the file of the routine, at
// several sizes and with images of several contents.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
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

// kBlend and so on, likewise.
enum Operation {
#define OPERATION(name, ...) k##name,
    ORMSEL_OPERATIONS(OPERATION)
#undef OPERATION
};
uint32_t flagOf(Operation operation); // by which a blit asks for it

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
    Operation operation = kBlend;

    bool hasAlpha() const { return rule == kPixelAlpha || rule == kMasked; }
    bool readsDestination() const { return hasAlpha() || alpha != 255 || operation != kBlend; }
};
std::vector<Row> allRows();

struct Extent {
    int width, height;
    size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
};

struct Size : Extent {
    Shape shape;
    const char *name, *group; // the group is what --sizes names
    size_t sets; // different images that are used in turn, so that no branch pattern can be learnt
    bool limitsPeers = false; // peers are measured with the instructions of lesser targets, too
};
const std::vector<Size>& allSizes();

// The alphas of an image, or of its mask. Rows without alpha have random colours only.
inline constexpr const char* kSprite = "sprite"; // discs: about 40 % transparent, 40 % opaque, 20 % edge
inline constexpr const char* kRandom = "random"; // each alpha of its own
inline constexpr const char* kClear = "clear";   // wholly transparent; only where peers are limited, too

// Whether a name matches one of the patterns, separated by blanks or commas, and none that begins with '!'.
bool listed(std::string patterns, const std::string& name);

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
    double max = 0, mean = 0; // in 255ths of a channel's range, over the colour channels; -1: of no blend
};

// One row at one size with one content.
class Case {
public:
    Case(const Row& row, const Size& size, const std::string& content);

    const Row& row;
    const Size& size;
    const std::string content;
    const Extent sheet, screen; // of the sources and of the destinations; a picture fills both
    std::vector<ImageSet> sets;
    std::vector<Blit> blits; // drawn in turn

    int srcPitch() const { return sheet.width * info(row.src).bytes; }
    int dstPitch() const { return screen.width * info(row.dst).bytes; }
    // blitNext() draws the case's first blit next, onto a fresh destination.
    Error errorOf(const std::function<void(size_t)>& blitNext);

private:
    uint8_t* allocate(size_t pixels, int bytes);
    ImageSet makeSet(size_t number);

    std::vector<std::unique_ptr<uint8_t[]>> memory_;
    std::vector<uint8_t> original_; // the first set's destination before any blit
};

} // namespace bench
