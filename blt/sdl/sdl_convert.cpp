// SPDX-License-Identifier: Zlib
#include "sdl/sdl_convert.h"

#include <cstring>
#include <functional>

#include "kernels/sdl_scalar_steps.h"

namespace ormsel {

namespace {

// --- SDL's rules --------------------------------------------------------------------------------------

struct SdlChannel {
    uint32_t mask, shift, loss;

    // Whether the three say the same: SDL takes now these, now those.
    bool isWhole() const { return shift < 32 && loss <= 8 && mask == 0xFFU >> loss << shift; }
    bool isByte() const { return !loss && shift % 8 == 0 && isWhole(); }
};

struct SdlChannels {
    SdlChannel of[4]; // red, green, blue, alpha

    explicit SdlChannels(const SDL_PixelFormat& f)
        : of{{f.Rmask, f.Rshift, f.Rloss},
             {f.Gmask, f.Gshift, f.Gloss},
             {f.Bmask, f.Bshift, f.Bloss},
             {f.Amask, f.Ashift, f.Aloss}} {}
    // An alpha that there isn't has any loss.
    bool areWhole() const {
        return of[0].isWhole() && of[1].isWhole() && of[2].isWhole() && (!of[3].mask || of[3].isWhole());
    }
    // Whether each of three bytes is a channel.
    bool areThreeBytes() const {
        return of[0].isByte() && of[1].isByte() && of[2].isByte() && !of[3].mask &&
               (of[0].mask | of[1].mask | of[2].mask) == 0xFFFFFF;
    }
    bool haveColours(uint32_t red, uint32_t green, uint32_t blue) const {
        return of[0].mask == red && of[1].mask == green && of[2].mask == blue;
    }
};

// The upper bits of a channel, to where the destination's begins; as many as both have.
SdlMove moveOf(const SdlChannel& from, const SdlChannel& to) {
    const uint32_t cut = to.loss > from.loss ? to.loss - from.loss : 0;
    const int up = static_cast<int>(to.shift) - static_cast<int>(to.loss) - static_cast<int>(from.shift) +
                   static_cast<int>(from.loss);
    return {from.mask >> from.shift >> cut << cut << from.shift, static_cast<uint32_t>(up > 0 ? up : 0),
            static_cast<uint32_t>(up < 0 ? -up : 0)};
}

// --- Rows ---------------------------------------------------------------------------------------------

// Calls row(src, dst, width) for every row, or once if no row has a gap behind it.
template <class Row>
inline void everyRow(const SdlArea& a, size_t from, size_t to, const Row& row) {
    size_t width = a.width, height = a.height;
    if (a.srcPitch == static_cast<ptrdiff_t>(width * from) &&
        a.dstPitch == static_cast<ptrdiff_t>(width * to)) {
        width *= height;
        height = 1;
    }
    const uint8_t* src = a.src;
    uint8_t* dst = a.dst;
    for (; height; --height, src += a.srcPitch, dst += a.dstPitch)
        row(src, dst, width);
}

// All shifts are the same for all pixels, and no step of one pixel waits for another: compilers make vectors
// of it.
template <size_t From, size_t To, size_t Count, bool Keyed>
void convert(const SdlConversion& conversion, const SdlArea& area) {
    const SdlConversion c = conversion; // of which no store to a pixel can be a part
    everyRow(area, From, To, [&c](const uint8_t* __restrict src, uint8_t* __restrict dst, size_t width) {
        for (size_t x = 0; x < width; ++x) {
            const uint32_t s = loadPixel<From>(src + x * From);
            uint32_t result = c.ones;
            for (size_t i = 0; i < Count; ++i)
                result |= (s & c.moves[i].mask) << c.moves[i].left >> c.moves[i].right;
            if (!Keyed || (s & c.keyBits) != c.key)
                sdlStore<To>(dst + x * To, result);
        }
    });
}

template <size_t From, size_t To>
void convertMoves(const SdlConversion& c, const SdlArea& area) {
    if constexpr (From == 4 && To == 4)
        if (c.count == 1)
            return convert<From, To, 1, false>(c, area);
    if constexpr (From != 3 && To != 3)
        if (c.count == 4)
            return c.keyed ? convert<From, To, 4, true>(c, area) : convert<From, To, 4, false>(c, area);
    return c.keyed ? convert<From, To, 3, true>(c, area) : convert<From, To, 3, false>(c, area);
}

template <size_t From>
void convertFrom(const SdlConversion& c, const SdlArea& area) {
    switch (c.to) {
    case 2:
        return convertMoves<From, 2>(c, area);
    case 3:
        return convertMoves<From, 3>(c, area);
    default:
        return convertMoves<From, 4>(c, area);
    }
}

} // namespace

bool sdlConversion(SdlConversion& c, const SDL_PixelFormat& from, const SDL_PixelFormat& to, bool keyed) {
    const auto isServed = [](const SDL_PixelFormat& f, const SdlChannels& channels) {
        return f.BytesPerPixel == 3 ? channels.areThreeBytes()
                                    : (f.BytesPerPixel == 2 || f.BytesPerPixel == 4) && channels.areWhole();
    };
    const uint32_t colours = from.Rmask | from.Gmask | from.Bmask;
    c.from = from.BytesPerPixel;
    c.to = to.BytesPerPixel;
    c.keyed = keyed;
    c.ones = to.Amask ? static_cast<uint32_t>(from.alpha) >> to.Aloss << to.Ashift : 0;
    if (!keyed && c.from == 4 && c.to == 4 && from.Rmask == to.Rmask && from.Gmask == to.Gmask &&
        from.Bmask == to.Bmask) {
        c.count = 1;
        c.moves[0] = {to.Amask ? ~0U : colours, 0, 0};
        return true;
    }
    const SdlChannels source(from), target(to);
    if (!isServed(from, source) || !isServed(to, target))
        return false;
    // SDL has tables for these orders, which make all of 5 bits all of 8 bits, and is as fast as anyone by
    // them.
    if (!keyed && c.from == 2 && c.to == 4 && to.Amask && !from.Amask &&
        source.haveColours(0xF800, 0x07E0, 0x1F) &&
        (target.haveColours(0xFF0000, 0xFF00, 0xFF) || target.haveColours(0xFF, 0xFF00, 0xFF0000) ||
         target.haveColours(0xFF000000, 0xFF0000, 0xFF00) ||
         target.haveColours(0xFF00, 0xFF0000, 0xFF000000)))
        return false;
    c.keyBits = ~from.Amask;
    c.key = from.colorkey & c.keyBits;
    c.count = from.Amask && to.Amask ? 4 : 3;
    if (c.count == 4)
        c.ones = 0;
    for (int i = 0; i < 4; ++i)
        c.moves[i] = moveOf(source.of[i], target.of[i]);
    return true;
}

void sdlConvert(const SdlConversion& c, const SdlArea& area) {
    switch (c.from) {
    case 2:
        return convertFrom<2>(c, area);
    case 3:
        return convertFrom<3>(c, area);
    default:
        return convertFrom<4>(c, area);
    }
}

void sdlCopy(const SdlArea& area, size_t bytesPerPixel) {
    SdlArea a = area;
    // Within one image, no row may be stored where one waits to be read.
    if (std::less<const uint8_t*>()(a.src, a.dst)) {
        a.src += a.srcPitch * static_cast<ptrdiff_t>(a.height - 1);
        a.dst += a.dstPitch * static_cast<ptrdiff_t>(a.height - 1);
        a.srcPitch = -a.srcPitch;
        a.dstPitch = -a.dstPitch;
    }
    everyRow(a, bytesPerPixel, bytesPerPixel,
             [bytesPerPixel](const uint8_t* src, uint8_t* dst, size_t width) {
                 std::memmove(dst, src, width * bytesPerPixel);
             });
}

} // namespace ormsel
