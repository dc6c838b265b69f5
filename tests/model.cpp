// SPDX-License-Identifier: Zlib
#include "model.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>

namespace model {
namespace {

constexpr bool bigEndian = std::endian::native == std::endian::big;
constexpr uint32_t copyFlag = 4;

enum : uint32_t { R8G8B8 = 2, B8G8R8, A8R8G8B8 = 6, A8B8G8R8, R8G8B8A8, B8G8R8A8, R5G6B5, R5G5B5 };

// The pixels of a rectangle. Outside its image, reads give 0 and stores are lost.
class Pixels {
public:
    Pixels(Memory& memory, const Image& image, long x, long y)
        : memory_(memory), image_(image), bytes_(image.format.bytes),
          first_(image.first + y * image.pitch + x * bytes_) {}

    uint32_t load(long x, long y) const { return number(at(x, y)); }

    // What the generic rule takes for the old pixel: a 24-bit one is read one byte further on ...
    uint32_t loadOld(long x, long y) const { return number(at(x, y) + (bytes_ == 3)); }

    // ... and each of its stores clears the byte behind it.
    void store(long x, long y, uint32_t pixel) {
        for (long i = 0; i < bytes_; ++i)
            storeByte(at(x, y) + i, pixel >> shiftOf(i));
        if (bytes_ == 3)
            storeByte(at(x, y) + 3, 0);
    }

private:
    long at(long x, long y) const { return first_ + y * image_.pitch + x * bytes_; }
    long shiftOf(long byte) const { return 8 * (bigEndian ? bytes_ - 1 - byte : byte); }
    bool has(long at) const { return at >= image_.begin && at < image_.end; }

    uint32_t number(long from) const {
        uint32_t value = 0;
        for (long i = 0; i < bytes_; ++i)
            if (has(from + i))
                value |= uint32_t{memory_.bytes[static_cast<size_t>(from + i)]} << shiftOf(i);
        return value;
    }
    void storeByte(long at, uint32_t value) {
        if (has(at)) {
            memory_.bytes[static_cast<size_t>(at)] = static_cast<uint8_t>(value);
            memory_.written[static_cast<size_t>(at)] = 1;
        }
    }

    Memory& memory_;
    const Image& image_;
    long bytes_, first_;
};

// ---- Generic routines -----------------------------------------------------------------------------------

uint32_t shiftLeft(uint32_t value, uint32_t by) {
    return by < 32 ? value << by : 0;
}
uint32_t shiftRight(uint32_t value, uint32_t by) {
    return by < 32 ? value >> by : 0;
}
uint32_t extract(uint32_t pixel, const Channel& c) {
    return shiftLeft(shiftRight(pixel & c.mask, c.shift), c.loss);
}
uint32_t put(uint32_t value, const Channel& c) {
    return shiftLeft(shiftRight(value, c.loss), c.shift) & c.mask;
}

// ---- Routines for single pairs of formats ---------------------------------------------------------------

struct Colour {
    int a, r, g, b;
};

// Channels by the format's code alone; the masks play no part.
Colour coloursOf(uint32_t pixel, uint32_t code) {
    const auto at = [pixel](int shift) { return static_cast<int>(pixel >> shift & 255); };
    switch (code) {
    case R8G8B8:
    case A8R8G8B8:
        return {at(24), at(16), at(8), at(0)};
    case R8G8B8A8:
        return {at(0), at(24), at(16), at(8)};
    case B8G8R8A8:
        return {at(0), at(8), at(16), at(24)};
    default: // A8B8G8R8, B8G8R8
        return {at(24), at(0), at(8), at(16)};
    }
}

// s and d in shares of weight / range, which is exact and rounds down.
uint32_t mix(int s, int d, int weight, int range) {
    return static_cast<uint32_t>((range * d + (s - d) * weight) / range);
}

uint32_t toR5G6B5(const Colour& c) {
    return static_cast<uint32_t>(c.r / 8 << 11 | c.g / 4 << 5 | c.b / 8);
}

uint32_t mixR5G6B5(uint32_t s, uint32_t d, int a5) {
    const auto channel = [&](int shift, uint32_t top) {
        return mix(static_cast<int>(s >> shift & top), static_cast<int>(d >> shift & top), a5, 32) << shift;
    };
    return channel(11, 31) | channel(5, 63) | channel(0, 31);
}

// Draws in groups of so many pixels as long as they fit, then in single ones. All of a group is read before
// its first store. newValue(source, old) is a pixel's new value, or nothing for a transparent pixel.
template <class NewValue>
void inGroups(Memory& memory, const Blit& blit, long group, const NewValue& newValue) {
    // The pixels that a group of four stores, by the set of those that are not transparent; pixel 0 is bit 0.
    static constexpr std::array<unsigned, 16> storesOfFour = {0,  15, 15, 3,  15, 15, 15, 15,
                                                              15, 15, 15, 15, 12, 15, 15, 15};
    const Pixels src(memory, blit.src, blit.srcX, blit.srcY);
    Pixels dst(memory, blit.dst, blit.dstX, blit.dstY);
    for (long y = 0; y < blit.height; ++y)
        for (long x = 0, n; x < blit.width; x += n) {
            n = x + group <= blit.width ? group : 1;
            std::array<uint32_t, 4> result{};
            unsigned drawn = 0;
            for (long i = 0; i < n; ++i) {
                const uint32_t old = dst.load(x + i, y);
                const std::optional<uint32_t> mixed = newValue(src.load(x + i, y), old);
                drawn |= unsigned{mixed.has_value()} << i;
                result[static_cast<size_t>(i)] = mixed.value_or(old);
            }
            const unsigned stored = n == 4 ? storesOfFour[drawn] : drawn ? 15 : 0;
            for (long i = 0; i < n; ++i)
                if (stored >> i & 1)
                    dst.store(x + i, y, result[static_cast<size_t>(i)]);
        }
}

void opaqueOntoR5G6B5(Memory& memory, const Blit& blit) {
    const int a5 = static_cast<int>(blit.alpha) / 8;
    if (a5 == 0 || (a5 < 31 && blit.noMemory))
        return;
    const bool convert = blit.src.format.bytes == 3;
    inGroups(memory, blit, convert ? 2 : 4, [&](uint32_t s, uint32_t old) {
        const uint32_t own = convert ? toR5G6B5(coloursOf(s, blit.src.format.code)) : s;
        return std::optional(a5 == 31 ? own : mixR5G6B5(own, old, a5));
    });
}

void alphaOntoR5G6B5(Memory& memory, const Blit& blit) {
    const int constant = static_cast<int>(blit.alpha);
    if (constant < 8 || (blit.dst.onBoard && blit.noMemory))
        return;
    inGroups(memory, blit, 4, [&](uint32_t s, uint32_t old) -> std::optional<uint32_t> {
        const Colour c = coloursOf(s, blit.src.format.code);
        const int a5 = constant >= 248 ? c.a / 8 : c.a * constant / 2048;
        if (a5 == 0)
            return {};
        return a5 == 31 ? toR5G6B5(c) : mixR5G6B5(toR5G6B5(c), old, a5);
    });
}

void alphaOntoA8R8G8B8(Memory& memory, Blit blit) {
    if (blit.flags & copyFlag) {
        // Pairs of words, the last one of an odd row included, and then one word more.
        blit.width += blit.width % 2 * 2;
        inGroups(memory, blit, 2, [](uint32_t s, uint32_t) { return std::optional(s); });
        return;
    }
    inGroups(memory, blit, 2, [&](uint32_t s, uint32_t old) -> std::optional<uint32_t> {
        const Colour c = coloursOf(s, blit.src.format.code), d = coloursOf(old, A8R8G8B8);
        const int a = c.a * static_cast<int>(blit.alpha) / 256;
        if (a == 0)
            return {};
        return mix(c.r, d.r, a, 256) << 16 | mix(c.g, d.g, a, 256) << 8 | mix(c.b, d.b, a, 256);
    });
}

// ---- Choice of the routine ------------------------------------------------------------------------------

// By depth: 24 bits onto 16 draws twice, 24 bits onto 24 not at all.
void drawByDepth(Memory& memory, const Blit& blit) {
    const uint32_t from = blit.src.format.bytes, onto = blit.dst.format.bytes;
    if ((from == 3 && onto == 3) || from == 1 || onto == 1)
        return;
    drawGeneric(memory, blit, from == 4 ? 0 : 255);
    if (from == 3 && onto == 2)
        drawGeneric(memory, blit, 0);
}

} // namespace

const Format* bitmapFormat(uint32_t code) {
    static constexpr Channel none{0, 0, 8};
    static constexpr std::array bits = {Channel{0xFF, 0, 0}, Channel{0xFF00, 8, 0}, Channel{0xFF0000, 16, 0},
                                        Channel{0xFF000000, 24, 0}};
    static constexpr Format formats[] = {
        {R8G8B8, 3, bits[2], bits[1], bits[0], none},
        {B8G8R8, 3, bits[0], bits[1], bits[2], none},
        {A8R8G8B8, 4, bits[2], bits[1], bits[0], bits[3]},
        {A8B8G8R8, 4, bits[0], bits[1], bits[2], bits[3]},
        {R8G8B8A8, 4, bits[3], bits[2], bits[1], bits[0]},
        {B8G8R8A8, 4, bits[1], bits[2], bits[3], bits[0]},
        {R5G6B5, 2, {0xF800, 11, 3}, {0x7E0, 5, 2}, {0x1F, 0, 3}, none},
        {R5G5B5, 2, {0x7C00, 10, 3}, {0x3E0, 5, 3}, {0x1F, 0, 3}, {0x8000, 11, 7}},
    };
    for (const Format& format : formats)
        if (format.code == code)
            return &format;
    return nullptr;
}

void drawGeneric(Memory& memory, const Blit& blit, uint32_t alphaFill) {
    if (blit.alpha == 0)
        return;
    const Format &sf = blit.src.format, &df = blit.dst.format;
    const Pixels src(memory, blit.src, blit.srcX, blit.srcY), mask(memory, blit.mask, blit.srcX, blit.srcY);
    Pixels dst(memory, blit.dst, blit.dstX, blit.dstY);
    for (long y = 0; y < blit.height; ++y)
        for (long x = 0; x < blit.width; ++x) {
            const uint32_t s = src.load(x, y);
            uint32_t own = blit.masked ? mask.load(x, y) : alphaFill | extract(s, sf.a);
            if (!blit.masked && blit.alpha == 255)
                own &= 255;
            const uint32_t weight = blit.alpha == 255 ? own : (own * blit.alpha) >> 8;
            if (weight == 0)
                continue;
            const uint32_t d = weight == 255 ? 0 : dst.loadOld(x, y);
            uint32_t pixel = put(blit.masked || weight == 255 ? own : weight, df.a);
            const auto channel = [&](const Channel& from, const Channel& onto) {
                const uint32_t value = extract(s, from), old = extract(d, onto);
                pixel |= put(weight == 255 ? value : old + (((value - old) * weight) >> 8), onto);
            };
            channel(sf.r, df.r);
            channel(sf.g, df.g);
            channel(sf.b, df.b);
            dst.store(x, y, pixel);
        }
}

bool clip(Blit& b) {
    if (b.dstX > b.dst.width || b.dstY > b.dst.height || b.dstX < -b.src.width || b.dstY < -b.src.height)
        return false;
    const auto axis = [](long& s, long& d, long& size, long srcSize, long dstSize) {
        d += std::max(0L, -s);
        s = std::max(0L, s);
        s += std::max(0L, -d);
        d = std::max(0L, d);
        size = std::min({srcSize - s, size, dstSize - d});
        return size > 0;
    };
    const bool columns = axis(b.srcX, b.dstX, b.width, b.src.width, b.dst.width);
    return axis(b.srcY, b.dstY, b.height, b.src.height, b.dst.height) && columns;
}

void draw(Memory& memory, const Blit& blit) {
    const uint32_t from = blit.src.format.code, onto = blit.dst.format.code;
    const bool sourceHasAlpha = from >= A8R8G8B8 && from <= B8G8R8A8;
    if (blit.masked || onto != R5G6B5) {
        if (!blit.masked && onto == A8R8G8B8 && sourceHasAlpha)
            alphaOntoA8R8G8B8(memory, blit);
        else
            drawByDepth(memory, blit);
    } else if (sourceHasAlpha) {
        alphaOntoR5G6B5(memory, blit);
    } else if (from == R5G6B5 || from == R8G8B8 || from == B8G8R8) {
        opaqueOntoR5G6B5(memory, blit);
    } else if (blit.src.format.bytes != 1) {
        drawGeneric(memory, blit, blit.src.format.bytes == 4 ? 0 : 255);
    }
}

} // namespace model
