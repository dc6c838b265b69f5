// SPDX-License-Identifier: Zlib
#include "bench/cases.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <sstream>

#include <fmt/format.h>
#include <fnmatch.h>

namespace bench {

static constexpr FormatInfo formatOf(const char* stem, int bytes, uint32_t r, uint32_t g, uint32_t b,
                                     uint32_t a) {
    return {stem, bytes, bytes == 2 ? std::popcount(r | g | b) : 8 * bytes, r, g, b, bytes == 4 ? a : 0};
}

const FormatInfo& info(Format format) {
    static constexpr FormatInfo kFormats[] = {
#define FORMAT(name, stem, code, bytes, r, g, b, a, shift) formatOf(#stem, bytes, r, g, b, a),
        ORMSEL_FORMATS(FORMAT)
#undef FORMAT
    };
    return kFormats[format];
}

struct OperationInfo {
    uint32_t flag;
    const char* prefix;
};
static constexpr OperationInfo kOperations[] = {
#define OPERATION(name, flag, prefix) {flag, prefix},
    ORMSEL_OPERATIONS(OPERATION)
#undef OPERATION
};

uint32_t flagOf(Operation operation) {
    return kOperations[operation].flag;
}

std::vector<Row> allRows() {
    std::vector<Row> rows;
    const auto addRoute = [&rows](Operation operation, Format src, Format dst) {
        const std::string from = kOperations[operation].prefix + std::string(info(src).stem),
                          stems = src == dst ? from : fmt::format("{}_{}", from, info(dst).stem);
        for (const int alpha : {255, 100, 128})
            rows.push_back({alpha == 255 ? stems : fmt::format("{}@{}", stems, alpha), src, dst,
                            info(src).a ? kPixelAlpha : kOpaque, static_cast<uint8_t>(alpha), kPicture,
                            operation});
    };
#define ROUTE(operation, src, dst, rule) addRoute(k##operation, k##src, k##dst);
    ORMSEL_ROUTES(ROUTE)
#undef ROUTE
    rows.push_back({"argb32+copy", kA8R8G8B8, kA8R8G8B8, kCopy});
    rows.push_back({"fallback_mask_argb32_argb32", kA8R8G8B8, kA8R8G8B8, kMasked});
    rows.push_back({"fallback_mask_argb32_rgb16", kA8R8G8B8, kR5G6B5, kMasked});
    rows.push_back({"fallback_argb32_rgb15", kA8R8G8B8, kR5G5B5, kPixelAlpha});
    rows.push_back({"fallback_argb32_rgb24", kA8R8G8B8, kR8G8B8, kPixelAlpha});
    rows.push_back({"fallback_rgb16_argb32", kR5G6B5, kA8R8G8B8, kOpaque});
    rows.push_back({"fallback_rgb24_argb32", kR8G8B8, kA8R8G8B8, kOpaque});
    rows.push_back({"call", kA8R8G8B8, kA8R8G8B8, kPixelAlpha, 255, kCall});
    rows.push_back({"call_rgb16", kA8R8G8B8, kR5G6B5, kPixelAlpha, 255, kCall});
    rows.push_back({"tiles", kA8R8G8B8, kA8R8G8B8, kPixelAlpha, 255, kTile});
    rows.push_back({"tiles_rgb16", kA8R8G8B8, kR5G6B5, kPixelAlpha, 255, kTile});
    return rows;
}

const std::vector<Size>& allSizes() {
    static const std::vector<Size> sizes = {
        {{64, 64}, kPicture, "64x64", "64x64", 16},
        {{800, 600}, kPicture, "800x600", "800x600", 3, true},
        {{3840, 2160}, kPicture, "3840x2160", "3840x2160", 2},
        {{1, 1}, kCall, "1x1", "call", 16},
        {{8, 8}, kCall, "8x8", "call", 16},
        {{16, 16}, kCall, "16x16", "call", 16},
        {{15, 16}, kCall, "15x16", "call", 16},
        {{31, 16}, kCall, "31x16", "call", 16},
        {{8, 8}, kTile, "tile8", "tiles", 1},
        {{16, 16}, kTile, "tile16", "tiles", 1},
        {{32, 32}, kTile, "tile32", "tiles", 1},
        {{64, 64}, kTile, "tile64", "tiles", 1},
    };
    return sizes;
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

static constexpr size_t kTiles = 1024;                             // more than a processor learns by heart
static constexpr Extent kSheet = {512, 512}, kScreen = {800, 600}; // of tiles

static uint32_t pack(const FormatInfo& f, uint32_t r, uint32_t g, uint32_t b, uint32_t a) {
    const auto field = [](uint32_t value, uint32_t mask) {
        return mask ? (value >> (8 - std::popcount(mask))) << std::countr_zero(mask) : 0;
    };
    return field(r, f.r) | field(g, f.g) | field(b, f.b) | field(a, f.a);
}

// A channel of a pixel as 0 to 255, exactly.
static double channel(uint32_t pixel, uint32_t mask) {
    return (pixel & mask) * 255.0 / mask;
}

// Where the bytes of a pixel stand in a word that holds its value.
static uint8_t* bytesIn(uint32_t& word, size_t bytes) {
    return reinterpret_cast<uint8_t*>(&word) + (std::endian::native == std::endian::little ? 0 : 4 - bytes);
}

static void store(uint8_t* image, size_t pixel, int bytes, uint32_t value) {
    const auto size = static_cast<size_t>(bytes);
    std::memcpy(image + pixel * size, bytesIn(value, size), size);
}

static uint32_t load(const uint8_t* image, size_t pixel, int bytes) {
    const auto size = static_cast<size_t>(bytes);
    uint32_t value = 0;
    std::memcpy(bytesIn(value, size), image + pixel * size, size);
    return value;
}

// Discs, slightly moved, in square cells: 40 % opaque, 20 % an anti-aliased edge.
static uint32_t discAlpha(int x, int y, int cell, size_t seed) {
    constexpr double kInner = 11.4 / 32, kOuter = 14.0 / 32;
    std::minstd_rand random(
        static_cast<uint32_t>(static_cast<int>(seed) * 7919 + y / cell * 1009 + x / cell + 1));
    random.discard(2);
    const auto centre = [&random] { return (14 + static_cast<double>(random() % 401) / 100) / 32; };
    const double dx = (x % cell + 0.5) / cell - centre(), dy = (y % cell + 0.5) / cell - centre();
    return static_cast<uint32_t>(std::clamp((kOuter - std::hypot(dx, dy)) / (kOuter - kInner), 0.0, 1.0) *
                                 255);
}

Case::Case(const Row& r, const Size& s, const std::string& c)
    : row(r), size(s), content(c), sheet(r.shape == kTile ? kSheet : Extent{s.width, s.height}),
      screen(r.shape == kTile ? kScreen : sheet) {
    for (size_t n = 0; n < size.sets; ++n) {
        sets.push_back(makeSet(n));
        if (row.shape != kTile)
            blits.push_back({n, 0, 0, 0, 0});
    }
    std::mt19937 random;
    const auto below = [&random](int end) { return static_cast<int>(random() % static_cast<uint32_t>(end)); };
    while (blits.size() < kTiles && row.shape == kTile)
        blits.push_back({0, below(sheet.width / s.width) * s.width, below(sheet.height / s.height) * s.height,
                         below(screen.width - s.width + 1), below(screen.height - s.height + 1)});
    original_.assign(sets[0].dst, sets[0].dst + screen.pixels() * static_cast<size_t>(info(row.dst).bytes));
}

// Images at equal offsets in their pages make loads wait for unrelated stores; seventeen cache lines keep the
// images of a set apart.
uint8_t* Case::allocate(size_t pixels, int bytes) {
    constexpr size_t kPage = 4096;
    memory_.push_back(
        std::make_unique_for_overwrite<uint8_t[]>(pixels * static_cast<size_t>(bytes) + 2 * kPage));
    uint8_t* p = memory_.back().get();
    p += kPage - reinterpret_cast<uintptr_t>(p) % kPage;
    return p + memory_.size() * 17 * 64 % kPage;
}

ImageSet Case::makeSet(size_t number) {
    const FormatInfo &src = info(row.src), &dst = info(row.dst);
    ImageSet set = {};
    set.src = set.premultiplied = allocate(sheet.pixels(), src.bytes);
    if (src.a)
        set.premultiplied = allocate(sheet.pixels(), src.bytes);
    set.dst = allocate(screen.pixels(), dst.bytes);
    if (row.rule == kMasked)
        set.mask = allocate(sheet.pixels(), 1);
    std::mt19937 random(static_cast<uint32_t>(number));
    const bool sprite = content == kSprite;
    const int cell = row.shape == kTile ? size.width : 32;
    const int shift = static_cast<int>(5 * number); // so that small images show different parts of a disc
    for (size_t i = 0; i < sheet.pixels(); ++i) {
        const int x = static_cast<int>(i) % sheet.width, y = static_cast<int>(i) / sheet.width;
        const auto colours = static_cast<uint32_t>(random());
        const uint32_t r = colours & 255, g = colours >> 8 & 255, b = colours >> 16 & 255;
        const uint32_t a = content == kClear ? 0
                           : sprite          ? discAlpha(x + shift, y + shift, cell, number)
                                             : colours >> 24;
        const auto times = [a](uint32_t v) { return (v * a + 127) / 255; };
        if (src.a)
            store(set.premultiplied, i, src.bytes, pack(src, times(r), times(g), times(b), a));
        store(set.src, i, src.bytes, pack(src, r, g, b, a));
        if (set.mask)
            set.mask[i] = static_cast<uint8_t>(a);
    }
    for (size_t i = 0; i < screen.pixels(); ++i) {
        const auto old = static_cast<uint32_t>(random());
        store(set.dst, i, dst.bytes, pack(dst, old & 255, old >> 8 & 255, old >> 16 & 255, 255));
    }
    return set;
}

Error Case::errorOf(const std::function<void(size_t)>& blitNext) {
    std::memcpy(sets[0].dst, original_.data(), original_.size());
    blitNext(1);
    if (row.operation != kBlend)
        return {-1, -1};
    const FormatInfo &src = info(row.src), &dst = info(row.dst);
    const Blit& blit = blits[0];
    const size_t checked = std::min<size_t>(size.pixels(), 65536);
    Error error;
    for (size_t i = 0; i < checked; ++i) {
        const int x = static_cast<int>(i) % size.width, y = static_cast<int>(i) / size.width;
        const int srcAt = (blit.srcY + y) * sheet.width + blit.srcX + x;
        const int dstAt = (blit.dstY + y) * screen.width + blit.dstX + x;
        const auto from = static_cast<size_t>(srcAt), onto = static_cast<size_t>(dstAt);
        const uint32_t s = load(sets[0].src, from, src.bytes), result = load(sets[0].dst, onto, dst.bytes);
        const uint32_t d = load(original_.data(), onto, dst.bytes);
        const double own = row.rule == kMasked       ? sets[0].mask[from] / 255.0
                           : row.rule == kPixelAlpha ? channel(s, src.a) / 255
                                                     : 1;
        for (const auto& [srcMask, dstMask] : {std::pair(src.r, dst.r), {src.g, dst.g}, {src.b, dst.b}}) {
            const double old = channel(d, dstMask);
            const double exact = old + (channel(s, srcMask) - old) * own * row.alpha / 255;
            const double off = std::abs(channel(result, dstMask) - exact);
            error.max = std::max(error.max, off);
            error.mean += off / 3 / static_cast<double>(checked);
        }
    }
    return error;
}

} // namespace bench
