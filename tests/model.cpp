// SPDX-License-Identifier: Zlib
#include "model.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace model {
namespace {

constexpr bool bigEndian = std::endian::native == std::endian::big;
constexpr uint32_t copyFlag = 4;

enum : uint32_t { R8G8B8 = 2, A8R8G8B8 = 6, A8B8G8R8 = 7, R8G8B8A8 = 8, B8G8R8A8 = 9, R5G6B5 = 10 };

// ---- Memory ---------------------------------------------------------------------------------------------

uint32_t readByte(const Memory& memory, const Image& image, long at) {
    return at >= image.begin && at < image.end ? memory.bytes[static_cast<size_t>(at)] : 0;
}

void writeByte(Memory& memory, const Image& image, long at, uint32_t value) {
    if (at >= image.begin && at < image.end) {
        memory.bytes[static_cast<size_t>(at)] = static_cast<uint8_t>(value);
        memory.written[static_cast<size_t>(at)] = 1;
    }
}

// A number of `count` bytes in the host's byte order.
uint32_t readNumber(const Memory& memory, const Image& image, long at, long count) {
    if (count == 4 && at >= image.begin && at + 4 <= image.end) { // the same, faster
        uint32_t word;
        std::memcpy(&word, &memory.bytes[static_cast<size_t>(at)], 4);
        return word;
    }
    uint32_t value = 0;
    for (long i = 0; i < count; ++i)
        value = value << 8 | readByte(memory, image, at + (bigEndian ? i : count - 1 - i));
    return value;
}

void writeNumber(Memory& memory, const Image& image, long at, long count, uint32_t value) {
    for (long i = 0; i < count; ++i, value >>= 8)
        writeByte(memory, image, at + (bigEndian ? count - 1 - i : i), value & 255);
}

long address(const Image& image, long x, long y) {
    return image.first + y * image.pitch + x * static_cast<long>(image.format.bytes);
}

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

// d moved towards s by e/256, in wrapping 32-bit arithmetic.
uint32_t mix(uint32_t s, uint32_t d, uint32_t e) {
    return d + (((s - d) * e) >> 8);
}

struct Weight {
    uint32_t colour;     // 0 skips the pixel, 255 converts it, anything else blends
    uint32_t alphaField; // goes into the destination's alpha channel
};

Weight weightByAlpha(uint32_t sourceAlpha, uint32_t constantAlpha) {
    if (constantAlpha == 255)
        return {sourceAlpha & 255, sourceAlpha & 255};
    const uint32_t e = (sourceAlpha * constantAlpha) >> 8;
    return {e, e == 255 ? sourceAlpha : e};
}

Weight weightByMask(uint32_t mask, uint32_t constantAlpha) {
    return {constantAlpha == 255 ? mask : (mask * constantAlpha) >> 8, mask};
}

// A 24-bit destination is read one byte further on than its pixel stands ...
uint32_t readOldPixel(const Memory& memory, const Image& dst, long at) {
    if (dst.format.bytes == 3)
        return readNumber(memory, dst, at + 1, 3);
    return readNumber(memory, dst, at, static_cast<long>(dst.format.bytes));
}

// ... and each store clears the byte behind the pixel.
void storePixel(Memory& memory, const Image& dst, long at, uint32_t pixel) {
    writeNumber(memory, dst, at, static_cast<long>(dst.format.bytes), pixel);
    if (dst.format.bytes == 3)
        writeByte(memory, dst, at + 3, 0);
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
        return {255, at(16), at(8), at(0)};
    case A8R8G8B8:
        return {at(24), at(16), at(8), at(0)};
    case A8B8G8R8:
        return {at(24), at(0), at(8), at(16)};
    case R8G8B8A8:
        return {at(0), at(24), at(16), at(8)};
    case B8G8R8A8:
        return {at(0), at(8), at(16), at(24)};
    default: // B8G8R8
        return {255, at(0), at(8), at(16)};
    }
}

int floorDivide(int value, int by) {
    return value >= 0 ? value / by : -((-value + by - 1) / by);
}
int mixFloor(int s, int d, int weight, int range) {
    return d + floorDivide((s - d) * weight, range);
}

uint32_t toR5G6B5(const Colour& c) {
    return static_cast<uint32_t>((c.r / 8) * 2048 + (c.g / 4) * 32 + c.b / 8);
}

uint32_t mixR5G6B5(uint32_t s, uint32_t d, int a5) {
    const auto channel = [&](int shift, uint32_t top) {
        const int mixed =
            mixFloor(static_cast<int>(s >> shift & top), static_cast<int>(d >> shift & top), a5, 32);
        return static_cast<uint32_t>(mixed) << shift;
    };
    return channel(11, 31) | channel(5, 63) | channel(0, 31);
}

uint32_t sourcePixel(const Memory& memory, const Blit& blit, long x, long y) {
    return readNumber(memory, blit.src, address(blit.src, blit.srcX + x, blit.srcY + y),
                      static_cast<long>(blit.src.format.bytes));
}

// Runs step(x, y, n) over all rows: groups of n = `group` pixels as long as they fit, then single pixels.
template <class Step>
void inGroups(const Blit& blit, long group, Step step) {
    for (long y = 0; y < blit.height; ++y) {
        long x = 0;
        for (; x + group <= blit.width; x += group)
            step(x, y, group);
        for (; x < blit.width; ++x)
            step(x, y, 1L);
    }
}

// 16- and 24-bit sources onto R5G6B5: a group's sources are all read before its first store.
void opaqueOntoR5G6B5(Memory& memory, const Blit& blit) {
    const int a5 = static_cast<int>(blit.alpha) / 8;
    if (a5 == 0 || (a5 < 31 && blit.noMemory))
        return;
    const bool convert = blit.src.format.bytes == 3;
    inGroups(blit, convert ? 2 : 4, [&](long x, long y, long n) {
        std::array<uint32_t, 4> result{};
        for (long i = 0; i < n; ++i) {
            const uint32_t word = sourcePixel(memory, blit, x + i, y);
            const uint32_t s = convert ? toR5G6B5(coloursOf(word, blit.src.format.code)) : word;
            const long to = address(blit.dst, blit.dstX + x + i, blit.dstY + y);
            result[static_cast<size_t>(i)] =
                a5 == 31 ? s : mixR5G6B5(s, readNumber(memory, blit.dst, to, 2), a5);
        }
        for (long i = 0; i < n; ++i)
            writeNumber(memory, blit.dst, address(blit.dst, blit.dstX + x + i, blit.dstY + y), 2,
                        result[static_cast<size_t>(i)]);
    });
}

// Which words of two pixels a group of four stores, by the set of its transparent pixels (pixel 0 is bit 0).
enum Stores { Neither, Word0, Word1, Both };
constexpr std::array<Stores, 16> storesOfGroup = {Both, Both, Both, Word1, Both,  Both, Both, Both,
                                                  Both, Both, Both, Both,  Word0, Both, Both, Neither};

void alphaOntoR5G6B5(Memory& memory, const Blit& blit) {
    const uint32_t c5 = blit.alpha / 8;
    if (c5 == 0 || (blit.dst.onBoard && blit.noMemory))
        return;
    inGroups(blit, 4, [&](long x, long y, long n) {
        std::array<uint32_t, 4> result{};
        unsigned transparent = 0;
        const auto to = [&](long i) { return address(blit.dst, blit.dstX + x + i, blit.dstY + y); };
        for (long i = 0; i < n; ++i) {
            const Colour c = coloursOf(sourcePixel(memory, blit, x + i, y), blit.src.format.code);
            const int a5 = c5 == 31 ? c.a / 8 : c.a * static_cast<int>(blit.alpha) / 2048;
            const uint32_t old = readNumber(memory, blit.dst, to(i), 2);
            if (a5 == 0)
                transparent |= 1U << i;
            result[static_cast<size_t>(i)] = a5 == 0    ? old
                                             : a5 == 31 ? toR5G6B5(c)
                                                        : mixR5G6B5(toR5G6B5(c), old, a5);
        }
        const Stores stores = n == 1 ? (transparent ? Neither : Word0) : storesOfGroup[transparent];
        for (long i = 0; i < n; ++i)
            if (stores == Both || stores == (i < 2 ? Word0 : Word1))
                writeNumber(memory, blit.dst, to(i), 2, result[static_cast<size_t>(i)]);
    });
}

// The raw copy: units of two words, loaded before they are stored, the last unit of an odd row included,
// and then one word more.
void copyWords(Memory& memory, const Blit& blit) {
    for (long y = 0; y < blit.height; ++y) {
        long x = 0;
        const auto move = [&](long words) {
            std::array<uint32_t, 2> word{};
            for (long i = 0; i < words; ++i)
                word[static_cast<size_t>(i)] = sourcePixel(memory, blit, x + i, y);
            for (long i = 0; i < words; ++i)
                writeNumber(memory, blit.dst, address(blit.dst, blit.dstX + x + i, blit.dstY + y), 4,
                            word[static_cast<size_t>(i)]);
            x += words;
        };
        for (long unit = 0; unit < (blit.width + 1) / 2; ++unit)
            move(2);
        if (blit.width % 2 != 0)
            move(1);
    }
}

void alphaOntoA8R8G8B8(Memory& memory, const Blit& blit) {
    if (blit.flags & copyFlag) {
        copyWords(memory, blit);
        return;
    }
    if (blit.alpha == 0)
        return;
    inGroups(blit, 2, [&](long x, long y, long n) {
        std::array<uint32_t, 2> result{};
        bool visible = false;
        const auto to = [&](long i) { return address(blit.dst, blit.dstX + x + i, blit.dstY + y); };
        for (long i = 0; i < n; ++i) {
            const Colour s = coloursOf(sourcePixel(memory, blit, x + i, y), blit.src.format.code);
            const int a = s.a * static_cast<int>(blit.alpha) / 256;
            const uint32_t old = readNumber(memory, blit.dst, to(i), 4);
            const Colour d = coloursOf(old, A8R8G8B8);
            visible = visible || a != 0;
            result[static_cast<size_t>(i)] =
                a == 0 ? old
                       : static_cast<uint32_t>(mixFloor(s.r, d.r, a, 256) * 65536 +
                                               mixFloor(s.g, d.g, a, 256) * 256 + mixFloor(s.b, d.b, a, 256));
        }
        for (long i = 0; visible && i < n; ++i)
            writeNumber(memory, blit.dst, to(i), 4, result[static_cast<size_t>(i)]);
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
    static constexpr Channel none = {0, 0, 8};
    static constexpr auto byteAt = [](uint32_t shift) { return Channel{255U << shift, shift, 0}; };
    static const Format formats[] = {
        {2, 3, byteAt(16), byteAt(8), byteAt(0), none},
        {3, 3, byteAt(0), byteAt(8), byteAt(16), none},
        {6, 4, byteAt(16), byteAt(8), byteAt(0), byteAt(24)},
        {7, 4, byteAt(0), byteAt(8), byteAt(16), byteAt(24)},
        {8, 4, byteAt(24), byteAt(16), byteAt(8), byteAt(0)},
        {9, 4, byteAt(8), byteAt(16), byteAt(24), byteAt(0)},
        {10, 2, {0xF800, 11, 3}, {0x7E0, 5, 2}, {0x1F, 0, 3}, none},
        {11, 2, {0x7C00, 10, 3}, {0x3E0, 5, 3}, {0x1F, 0, 3}, {0x8000, 11, 7}},
    };
    for (const Format& format : formats)
        if (format.code == code)
            return &format;
    return nullptr;
}

void drawGeneric(Memory& memory, const Blit& blit, uint32_t alphaFill) {
    if (blit.alpha == 0)
        return;
    const Format& sf = blit.src.format;
    const Format& df = blit.dst.format;
    for (long y = 0; y < blit.height; ++y) {
        for (long x = 0; x < blit.width; ++x) {
            const long to = address(blit.dst, blit.dstX + x, blit.dstY + y);
            const uint32_t s = readNumber(memory, blit.src, address(blit.src, blit.srcX + x, blit.srcY + y),
                                          static_cast<long>(sf.bytes));
            Weight weight;
            if (blit.masked) {
                const long at = blit.mask.first + (blit.srcY + y) * blit.mask.pitch + blit.srcX + x;
                weight = weightByMask(readByte(memory, blit.mask, at), blit.alpha);
            } else {
                weight = weightByAlpha(alphaFill | extract(s, sf.a), blit.alpha);
            }
            if (weight.colour == 0)
                continue;
            uint32_t red = extract(s, sf.r), green = extract(s, sf.g), blue = extract(s, sf.b);
            if (weight.colour != 255) {
                const uint32_t d = readOldPixel(memory, blit.dst, to);
                red = mix(red, extract(d, df.r), weight.colour);
                green = mix(green, extract(d, df.g), weight.colour);
                blue = mix(blue, extract(d, df.b), weight.colour);
            }
            storePixel(memory, blit.dst, to,
                       put(red, df.r) | put(green, df.g) | put(blue, df.b) | put(weight.alphaField, df.a));
        }
    }
}

bool clip(Blit& b) {
    if (b.dstX > b.dst.width || b.dstY > b.dst.height || b.dstX < -b.src.width || b.dstY < -b.src.height)
        return false;
    const auto axis = [](long& s, long& d, long& size, long srcSize, long dstSize) {
        if (s < 0) {
            d -= s;
            s = 0;
        }
        if (d < 0) {
            s -= d;
            d = 0;
        }
        size = std::min({srcSize - s, size, dstSize - d});
        return size > 0;
    };
    const bool columns = axis(b.srcX, b.dstX, b.width, b.src.width, b.dst.width);
    const bool rows = axis(b.srcY, b.dstY, b.height, b.src.height, b.dst.height);
    return columns && rows;
}

void draw(Memory& memory, const Blit& blit) {
    const uint32_t from = blit.src.format.code, onto = blit.dst.format.code;
    const bool sourceHasAlpha = from >= A8R8G8B8 && from <= B8G8R8A8;
    if (blit.masked)
        drawByDepth(memory, blit);
    else if (onto == A8R8G8B8 && sourceHasAlpha)
        alphaOntoA8R8G8B8(memory, blit);
    else if (onto == R5G6B5 && sourceHasAlpha)
        alphaOntoR5G6B5(memory, blit);
    else if (onto == R5G6B5 && (from == R5G6B5 || from == R8G8B8 || from == 3))
        opaqueOntoR5G6B5(memory, blit);
    else if (onto == R5G6B5 && blit.src.format.bytes != 1)
        drawGeneric(memory, blit, blit.src.format.bytes == 4 ? 0 : 255);
    else if (onto != R5G6B5)
        drawByDepth(memory, blit);
}

} // namespace model
