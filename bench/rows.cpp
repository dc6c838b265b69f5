// SPDX-License-Identifier: Zlib
#include "bench/rows.h"

#include <algorithm>

namespace bench {

namespace {

constexpr LayoutInfo kLayouts[] = {
    {"A8R8G8B8", 32, 0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000},
    {"A8B8G8R8", 32, 0x000000FF, 0x0000FF00, 0x00FF0000, 0xFF000000},
    {"R8G8B8A8", 32, 0xFF000000, 0x00FF0000, 0x0000FF00, 0x000000FF},
    {"B8G8R8A8", 32, 0x0000FF00, 0x00FF0000, 0xFF000000, 0x000000FF},
    {"R8G8B8", 24, 0xFF0000, 0x00FF00, 0x0000FF, 0},
    {"B8G8R8", 24, 0x0000FF, 0x00FF00, 0xFF0000, 0},
    {"R5G6B5", 16, 0xF800, 0x07E0, 0x001F, 0},
    {"R5G5B5", 15, 0x7C00, 0x03E0, 0x001F, 0},
};

} // namespace

const LayoutInfo& info(Layout layout) {
    return kLayouts[layout];
}

const std::vector<Row> rows = {
    {"argb32", kArgb32, kArgb32, kPixelAlpha, 255, false, nullptr},
    {"argb32@100", kArgb32, kArgb32, kPixelAlpha, 100, false, nullptr},
    {"argb32@128", kArgb32, kArgb32, kPixelAlpha, 128, false, nullptr},
    {"rgba32_argb32", kRgba32, kArgb32, kPixelAlpha, 255, false, nullptr},
    {"bgra32_argb32", kBgra32, kArgb32, kPixelAlpha, 255, false, nullptr},
    {"abgr32_argb32", kAbgr32, kArgb32, kPixelAlpha, 255, false, nullptr},
    {"argb32+copy", kArgb32, kArgb32, kCopy, 255, false, nullptr},
    {"argb32_rgb16", kArgb32, kRgb16, kPixelAlpha, 255, false, nullptr},
    {"argb32_rgb16@100", kArgb32, kRgb16, kPixelAlpha, 100, false, nullptr},
    {"argb32_rgb16@128", kArgb32, kRgb16, kPixelAlpha, 128, false, nullptr},
    {"rgba32_rgb16", kRgba32, kRgb16, kPixelAlpha, 255, false, nullptr},
    {"rgba32_rgb16@100", kRgba32, kRgb16, kPixelAlpha, 100, false, nullptr},
    {"bgra32_rgb16", kBgra32, kRgb16, kPixelAlpha, 255, false, nullptr},
    {"abgr32_rgb16", kAbgr32, kRgb16, kPixelAlpha, 255, false, nullptr},
    {"rgb16", kRgb16, kRgb16, kOpaque, 255, false, nullptr},
    {"rgb16@100", kRgb16, kRgb16, kOpaque, 100, false, nullptr},
    {"rgb24_rgb16", kRgb24, kRgb16, kOpaque, 255, false, nullptr},
    {"rgb24_rgb16@100", kRgb24, kRgb16, kOpaque, 100, false, nullptr},
    {"bgr24_rgb16", kBgr24, kRgb16, kOpaque, 255, false, nullptr},
    {"bgr24_rgb16@100", kBgr24, kRgb16, kOpaque, 100, false, nullptr},
    {"fallback_mask_argb32_argb32", kArgb32, kArgb32, kMasked, 255, false, nullptr},
    {"fallback_mask_argb32_rgb16", kArgb32, kRgb16, kMasked, 255, false, nullptr},
    {"fallback_argb32_rgb15", kArgb32, kRgb15, kPixelAlpha, 255, false, nullptr},
    {"fallback_argb32_rgb24", kArgb32, kRgb24, kPixelAlpha, 255, false,
     "Ormsel takes each old channel from the byte that follows its own in memory and puts a zero byte behind "
     "each pixel, as documented: its error is that rule, not rounding"},
    {"fallback_rgb16_argb32", kRgb16, kArgb32, kOpaque, 255, false, nullptr},
    {"fallback_rgb24_argb32", kRgb24, kArgb32, kOpaque, 255, false, nullptr},
    {"call", kArgb32, kArgb32, kPixelAlpha, 255, true, nullptr},
    {"call_rgb16", kArgb32, kRgb16, kPixelAlpha, 255, true, nullptr},
};

const std::vector<Size> pictureSizes = {
    {"64x64", 64, 64, 16}, {"800x600", 800, 600, 3}, {"3840x2160", 3840, 2160, 2}};
const std::vector<Size> callSizes = {{"1x1", 1, 1, 16}, {"16x16", 16, 16, 16}};

const Row* rowNamed(const std::string& name) {
    const auto found =
        std::find_if(rows.begin(), rows.end(), [&](const Row& row) { return row.name == name; });
    return found == rows.end() ? nullptr : &*found;
}

const char* name(Content content) {
    return content == kSprite ? "sprite" : "random";
}

std::vector<Content> contentsOf(const Row& row) {
    if (row.rule == kPixelAlpha || row.rule == kMasked)
        return {kSprite, kRandom};
    return {kRandom};
}

} // namespace bench
