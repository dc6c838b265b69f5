// SPDX-License-Identifier: Zlib
#include "model.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>

#include <libraries/Picasso96.h>
#include <ormsel/ormsel_formats.h>

namespace model {
namespace {

constexpr uint32_t kCopyFlag = 4;

// --- Pixels in memory ---------------------------------------------------------------------------------

bool has(const Image& image, long at) {
    return at >= image.begin && at < image.end;
}

long addressOf(const Image& image, long x, long y) {
    return image.first + y * image.pitch + x * static_cast<long>(image.format.bytes);
}

// By how much a pixel's value is shifted to the right for one of its bytes.
long shiftOf(const Image& image, long byte) {
    const auto bytes = static_cast<long>(image.format.bytes);
    return 8 * (std::endian::native == std::endian::big ? bytes - 1 - byte : byte);
}

uint32_t loadAt(const uint8_t* memory, const Image& image, long at) {
    uint32_t value = 0;
    for (long i = 0; i < static_cast<long>(image.format.bytes); ++i)
        if (has(image, at + i))
            value |= uint32_t{memory[at + i]} << shiftOf(image, i);
    return value;
}

void store(Memory& memory, const Image& image, long x, long y, uint32_t pixel) {
    const long at = addressOf(image, x, y), bytes = image.format.bytes;
    for (long i = 0; i < bytes + (bytes == 3); ++i) // a store of 24 bits clears the byte behind it
        if (has(image, at + i)) {
            memory.bytes[static_cast<size_t>(at + i)] =
                i == 3 && bytes == 3 ? uint8_t{0} : static_cast<uint8_t>(pixel >> shiftOf(image, i));
            memory.written[static_cast<size_t>(at + i)] = 1;
        }
}

// --- Generic routines ---------------------------------------------------------------------------------

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

// --- Routines for pairs of formats --------------------------------------------------------------------

struct Colour {
    int a, r, g, b;
};

#define NAME(name, ...) {RGBFB_##name, #name},
constexpr std::pair<uint32_t, std::string_view> kNames[] = {ORMSEL_FORMATS(NAME)};

Colour coloursOf(uint32_t pixel, const Format& f) {
    const auto at = [pixel](const Channel& c) { return static_cast<int>(pixel >> c.shift & 255); };
    return {at(f.a), at(f.r), at(f.g), at(f.b)};
}

// s and d in shares of weight / range; exact, and rounded down.
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
    static constexpr std::array<unsigned, 16> kStoresOfFour = {0,  15, 15, 3,  15, 15, 15, 15,
                                                               15, 15, 15, 15, 12, 15, 15, 15};
    for (long y = 0; y < blit.height; ++y)
        for (long x = 0, n; x < blit.width; x += n) {
            n = x + group <= blit.width ? group : 1;
            std::array<uint32_t, 4> result{};
            unsigned drawn = 0;
            for (long i = 0; i < n; ++i) {
                const uint32_t s = load(memory.bytes.data(), blit.src, blit.srcX + x + i, blit.srcY + y);
                const uint32_t old = load(memory.bytes.data(), blit.dst, blit.dstX + x + i, blit.dstY + y);
                const std::optional<uint32_t> mixed = newValue(s, old);
                drawn |= unsigned{mixed.has_value()} << i;
                result[static_cast<size_t>(i)] = mixed.value_or(old);
            }
            const unsigned stored = n == 4 ? kStoresOfFour[drawn] : drawn ? 15 : 0;
            for (long i = 0; i < n; ++i)
                if (stored >> i & 1)
                    store(memory, blit.dst, blit.dstX + x + i, blit.dstY + y, result[static_cast<size_t>(i)]);
        }
}

void OpaqueOntoR5G6B5(Memory& memory, const Blit& blit) {
    const int a5 = static_cast<int>(blit.alpha) / 8;
    if (a5 == 0 || (blit.noMemory && takesMemory(blit)))
        return;
    const Format from = formatOf(blit.src.format.code);
    inGroups(memory, blit, from.bytes == 3 ? 2 : 4, [&](uint32_t s, uint32_t old) {
        const uint32_t own = from.bytes == 3 ? toR5G6B5(coloursOf(s, from)) : s;
        return std::optional(a5 == 31 ? own : mixR5G6B5(own, old, a5));
    });
}

void AlphaOntoFields(Memory& memory, const Blit& blit) {
    const int constant = static_cast<int>(blit.alpha);
    if (constant < 8 || (blit.noMemory && takesMemory(blit)))
        return;
    const Format from = formatOf(blit.src.format.code);
    inGroups(memory, blit, 4, [&](uint32_t s, uint32_t old) -> std::optional<uint32_t> {
        const Colour c = coloursOf(s, from);
        const int a5 = constant >= 248 ? c.a / 8 : c.a * constant / 2048;
        if (a5 == 0)
            return {};
        return a5 == 31 ? toR5G6B5(c) : mixR5G6B5(toR5G6B5(c), old, a5);
    });
}

// Pairs of words, each read whole before it is stored. An odd row takes the two words to its right with it,
// each where both images have it.
void copyWords(Memory& memory, const Blit& b) {
    const long end = b.width + b.width % 2 * 2;
    const auto whole = [](const Image& image, long x, long y) {
        const long at = addressOf(image, x, y);
        return has(image, at) && has(image, at + 3);
    };
    for (long y = 0; y < b.height; ++y)
        for (long x = 0; x < end; x += 2) {
            std::array<uint32_t, 2> pair{};
            for (size_t i = 0; i < 2; ++i)
                pair[i] = load(memory.bytes.data(), b.src, b.srcX + x + static_cast<long>(i), b.srcY + y);
            for (long i = x; i < std::min(x + 2, end); ++i)
                if (i < b.width ||
                    (whole(b.src, b.srcX + i, b.srcY + y) && whole(b.dst, b.dstX + i, b.dstY + y)))
                    store(memory, b.dst, b.dstX + i, b.dstY + y, pair[static_cast<size_t>(i - x)]);
        }
}

void AlphaOntoA8R8G8B8(Memory& memory, const Blit& blit) {
    if (blit.flags & kCopyFlag) {
        copyWords(memory, blit);
        return;
    }
    const Format from = formatOf(blit.src.format.code), onto = formatOf(RGBFB_A8R8G8B8);
    inGroups(memory, blit, 2, [&](uint32_t s, uint32_t old) -> std::optional<uint32_t> {
        const Colour c = coloursOf(s, from), d = coloursOf(old, onto);
        const int a = c.a * static_cast<int>(blit.alpha) / 256;
        if (a == 0)
            return {};
        return mix(c.r, d.r, a, 256) << 16 | mix(c.g, d.g, a, 256) << 8 | mix(c.b, d.b, a, 256);
    });
}

} // namespace

std::string_view nameOf(uint32_t code) {
    const auto* const known = std::find_if(std::begin(kNames), std::end(kNames),
                                           [=](const auto& row) { return row.first == code; });
    return known == std::end(kNames) ? std::string_view() : known->second;
}

Format formatOf(uint32_t code) {
    return formatNamed(nameOf(code));
}

Format formatNamed(std::string_view name) {
    Format f{};
    for (const auto& [code, known] : kNames)
        if (known == name)
            f.code = code;
    uint32_t shift = 0;
    for (size_t i = name.size(); i > 1; i -= 2) { // from the least significant channel up
        const auto width = static_cast<uint32_t>(name[i - 1] - '0');
        Channel* const channels[] = {&f.r, &f.g, &f.b, &f.a};
        *channels[std::string_view("RGBA").find(name[i - 2])] = {((1U << width) - 1) << shift, shift,
                                                                 8 - width};
        shift += width;
    }
    f.bytes = (shift + 7) / 8;
    if (f.code == RGBFB_R5G5B5) // its alpha bit is taken out from the wrong place, with the old result
        f.a = {0x8000, 11, 7};
    return f;
}

uint32_t load(const uint8_t* memory, const Image& image, long x, long y) {
    return loadAt(memory, image, addressOf(image, x, y));
}

void drawGeneric(Memory& memory, const Blit& blit, uint32_t alphaFill) {
    if (blit.alpha == 0)
        return;
    const Format &sf = blit.src.format, &df = blit.dst.format;
    const uint8_t* const bytes = memory.bytes.data();
    for (long y = 0; y < blit.height; ++y)
        for (long x = 0; x < blit.width; ++x) {
            const uint32_t s = load(bytes, blit.src, blit.srcX + x, blit.srcY + y);
            uint32_t own = blit.masked ? load(bytes, blit.mask, blit.srcX + x, blit.srcY + y)
                                       : alphaFill | extract(s, sf.a);
            if (!blit.masked && blit.alpha == 255)
                own &= 255;
            const uint32_t weight = blit.alpha == 255 ? own : (own * blit.alpha) >> 8;
            if (weight == 0)
                continue;
            // The old pixel of 24 bits is read one byte further on.
            const long old = addressOf(blit.dst, blit.dstX + x, blit.dstY + y) + (df.bytes == 3);
            const uint32_t d = weight == 255 ? 0 : loadAt(bytes, blit.dst, old);
            uint32_t pixel = put(blit.masked || weight == 255 ? own : weight, df.a);
            const auto channel = [&](const Channel& from, const Channel& onto) {
                const uint32_t value = extract(s, from), before = extract(d, onto);
                pixel |= put(weight == 255 ? value : before + (((value - before) * weight) >> 8), onto);
            };
            channel(sf.r, df.r);
            channel(sf.g, df.g);
            channel(sf.b, df.b);
            store(memory, blit.dst, blit.dstX + x, blit.dstY + y, pixel);
        }
}

uint32_t operationOf(uint32_t flags) {
#define FLAG(name, flag, prefix) flag,
    constexpr uint32_t kFlags[] = {ORMSEL_OPERATIONS(FLAG)};
    for (const uint32_t flag : kFlags)
        if (flags & flag)
            return flag;
    return 0;
}

bool takesMemory(const Blit& b) {
    if (b.masked || operationOf(b.flags) || b.dst.format.code != RGBFB_R5G6B5 || b.alpha < 8)
        return false;
    return b.src.format.bytes == 4 ? b.dst.onBoard : b.alpha < 248;
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

#define OPERATION(name, flag, prefix) [[maybe_unused]] constexpr uint32_t k##name = flag;
ORMSEL_OPERATIONS(OPERATION)

#define ROUTE(name, source, destination, rule)                                                               \
    if (!blit.masked && operation == k##name && blit.src.format.code == RGBFB_##source &&                    \
        blit.dst.format.code == RGBFB_##destination)                                                         \
        return rule(memory, blit);

void draw(Memory& memory, const Blit& blit) {
    const uint32_t operation = blit.masked ? kBlend : operationOf(blit.flags);
    ORMSEL_ROUTES(ROUTE)
    if (operation != kBlend)
        return;
    // Others go by depth. 24 bits onto 16 draw twice, but not onto R5G6B5; onto 24 not at all.
    const uint32_t from = blit.src.format.bytes, onto = blit.dst.format.bytes;
    if ((from == 3 && onto == 3) || from == 1 || onto == 1)
        return;
    drawGeneric(memory, blit, from == 4 ? 0 : 255);
    if (from == 3 && onto == 2 && (blit.masked || blit.dst.format.code != RGBFB_R5G6B5))
        drawGeneric(memory, blit, 0);
}

} // namespace model
