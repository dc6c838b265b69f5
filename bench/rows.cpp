// SPDX-License-Identifier: Zlib
#include "bench/rows.h"

#include <algorithm>
#include <bit>
#include <sstream>

#include <fmt/format.h>
#include <fnmatch.h>

namespace bench {

namespace {

constexpr FormatInfo kFormats[] = {
#define FORMAT(name, stem, code, bytes, r, g, b, a, shift)                                                   \
    {#stem,                                                                                                  \
     bytes,                                                                                                  \
     (bytes) == 2 ? std::popcount((r) | (g) | (b)) : 8 * (bytes),                                            \
     r,                                                                                                      \
     g,                                                                                                      \
     b,                                                                                                      \
     (bytes) == 4 ? (a) : 0},
    ORMSEL_FORMATS(FORMAT)
#undef FORMAT
};

const Row kOthers[] = {
    {"argb32+copy", kA8R8G8B8, kA8R8G8B8, kCopy},
    {"fallback_mask_argb32_argb32", kA8R8G8B8, kA8R8G8B8, kMasked},
    {"fallback_mask_argb32_rgb16", kA8R8G8B8, kR5G6B5, kMasked},
    {"fallback_argb32_rgb15", kA8R8G8B8, kR5G5B5, kPixelAlpha},
    {"fallback_argb32_rgb24", kA8R8G8B8, kR8G8B8, kPixelAlpha, 255, kPicture,
     "Ormsel takes each old channel from the byte that follows its own in memory and puts a zero byte behind "
     "each pixel, as documented: its error is that rule, not rounding"},
    {"fallback_rgb16_argb32", kR5G6B5, kA8R8G8B8, kOpaque},
    {"fallback_rgb24_argb32", kR8G8B8, kA8R8G8B8, kOpaque},
    {"call", kA8R8G8B8, kA8R8G8B8, kPixelAlpha, 255, kCall},
    {"call_rgb16", kA8R8G8B8, kR5G6B5, kPixelAlpha, 255, kCall},
    {"tiles", kA8R8G8B8, kA8R8G8B8, kPixelAlpha, 255, kTile},
    {"tiles_rgb16", kA8R8G8B8, kR5G6B5, kPixelAlpha, 255, kTile},
};

std::vector<Row> makeRows() {
    std::vector<Row> rows;
    const auto addRoute = [&rows](Format src, Format dst) {
        const std::string stems = src == dst ? info(src).stem : fmt::format("{}_{}", info(src).stem, info(dst).stem);
        for (const int alpha : {255, 100, 128})
            rows.push_back({alpha == 255 ? stems : fmt::format("{}@{}", stems, alpha), src, dst,
                            info(src).a ? kPixelAlpha : kOpaque, static_cast<uint8_t>(alpha)});
    };
#define ROUTE(src, dst, rule) addRoute(k##src, k##dst);
    ORMSEL_ROUTES(ROUTE)
#undef ROUTE
    rows.insert(rows.end(), std::begin(kOthers), std::end(kOthers));
    return rows;
}

} // namespace

const FormatInfo& info(Format format) {
    return kFormats[format];
}

const std::vector<Row>& allRows() {
    static const std::vector<Row> rows = makeRows();
    return rows;
}

const std::vector<Size>& sizesOf(Shape shape) {
    static const std::vector<Size> sizes[] = {
        {{"64x64", "64x64", 64, 64, 16},
         {"800x600", "800x600", 800, 600, 3, true},
         {"3840x2160", "3840x2160", 3840, 2160, 2}},
        {{"1x1", "call", 1, 1, 16}, {"16x16", "call", 16, 16, 16}},
        {{"tile8", "tiles", 8, 8, 1},
         {"tile16", "tiles", 16, 16, 1},
         {"tile32", "tiles", 32, 32, 1},
         {"tile64", "tiles", 64, 64, 1}},
    };
    return sizes[shape];
}

bool listed(std::string patterns, const std::string& name) {
    std::replace(patterns.begin(), patterns.end(), ',', ' ');
    std::istringstream in(patterns);
    bool found = false;
    for (std::string pattern; in >> pattern;) {
        const bool excludes = pattern[0] == '!';
        const bool matches = fnmatch(pattern.c_str() + excludes, name.c_str(), 0) == 0;
        if (matches && excludes)
            return false;
        found = found || matches;
    }
    return found;
}

} // namespace bench
