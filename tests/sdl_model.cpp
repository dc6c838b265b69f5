// SPDX-License-Identifier: Zlib
#include "tests/sdl_model.h"

namespace sdl_model {

namespace {

uint32_t coloursOf(const SDL_PixelFormat& f) {
    return f.Rmask | f.Gmask | f.Bmask;
}

bool sameColours(const SDL_PixelFormat& a, const SDL_PixelFormat& b) {
    return a.Rmask == b.Rmask && a.Gmask == b.Gmask && a.Bmask == b.Bmask;
}

bool isWholeByte(uint32_t mask) {
    return mask == 0xFF || mask == 0xFF00 || mask == 0xFF0000 || mask == 0xFF000000;
}

bool hasWholeBytes(const SDL_PixelFormat& f) {
    return f.BytesPerPixel >= 3 && isWholeByte(f.Rmask) && isWholeByte(f.Gmask) && isWholeByte(f.Bmask) &&
           (!f.Amask || isWholeByte(f.Amask)) && (f.BytesPerPixel == 4 || coloursOf(f) == 0xFFFFFF);
}

// R5G6B5 and R5G5B5, with red or blue in the low bits.
bool isPacked16(const SDL_PixelFormat& f) {
    if (f.BytesPerPixel != 2)
        return false;
    const uint32_t top = f.Gmask == 0x07E0 ? 0xF800 : f.Gmask == 0x03E0 ? 0x7C00 : 0;
    const bool order = (f.Rmask == top && f.Bmask == 0x1F) || (f.Bmask == top && f.Rmask == 0x1F);
    return top && order && (!f.Amask || (f.Amask == 0x8000 && top == 0x7C00));
}

// A channel as SDL describes it: its bits, where they begin, and how many of 8 it lacks.
struct Channel {
    uint32_t mask, shift, loss;

    uint32_t of(uint32_t value) const { return (value & mask) >> shift; }
};

// Signed numbers shift to the right by rounding down.
uint32_t mixed(const Choice& choice, uint32_t source, uint32_t old, uint32_t a) {
    const auto s = static_cast<int>(source), d = static_cast<int>(old), weight = static_cast<int>(a);
    const bool opaque = choice.encoded || !choice.perPixel ? a == 255 : a / 8 == 31;
    int result = s;
    if (choice.rule == Rule::kRoundDown && a != 255)
        result = d + ((s - d) * weight >> 8);
    else if (choice.rule == Rule::kRoundUp)
        result = d + (((s - d) * weight + 255) >> 8);
    else if (choice.rule == Rule::kFiveBits && !opaque)
        result = d + ((s - d) * (weight / 8) >> 5);
    return static_cast<uint32_t>(result);
}

} // namespace

Choice choose(const SDL_Surface& src, const SDL_Surface& dst) {
    const SDL_PixelFormat &from = *src.format, &to = *dst.format;
    Choice c;
    if ((!hasWholeBytes(from) && !isPacked16(from)) || (!hasWholeBytes(to) && !isPacked16(to)))
        return c;
    const bool alpha = src.flags & SDL_SRCALPHA, encode = src.flags & SDL_RLEACCELOK;
    c.noteBorrow = to.BytesPerPixel == 4;
    if (alpha && from.Amask) {
        if (from.BytesPerPixel != 4)
            return c;
        c.perPixel = true;
        if (encode && !(src.flags & SDL_SRCCOLORKEY) &&
            (to.BytesPerPixel == 2 || (to.BytesPerPixel == 4 && coloursOf(to) == 0xFFFFFF))) {
            c.encoded = true;
            c.noteBorrow = false;
            c.rule = to.BytesPerPixel == 2 ? Rule::kFiveBits : Rule::kRoundDown;
            c.spare = Spare::kZero; // but for opaque pixels: see pixel()
        } else if (to.BytesPerPixel == 4 && sameColours(from, to) && from.Amask == 0xFF000000) {
            c.rule = Rule::kRoundDown;
            c.spare = Spare::kKept;
            c.noteBorrow = false;
        } else if (to.BytesPerPixel == 2 && from.Amask == 0xFF000000 && from.Gmask == 0xFF00 &&
                   (from.Rmask == 0xFF ? to.Rmask == 0x1F : to.Bmask == 0x1F)) {
            c.rule = Rule::kFiveBits;
            c.spare = Spare::kZero;
        } else {
            c.rule = Rule::kRoundUp;
            c.spare = Spare::kAlphaKept;
        }
        return c;
    }
    if (from.Amask)
        return c;
    c.keyed = src.flags & SDL_SRCCOLORKEY;
    if (c.keyed && encode)
        return {};
    if (alpha && from.alpha != 255) {
        const bool same = sameColours(from, to) && from.BytesPerPixel == to.BytesPerPixel;
        const bool sameWords = same && from.BitsPerPixel == to.BitsPerPixel && !to.Amask;
        if (!c.keyed && same && from.BytesPerPixel == 4 && coloursOf(to) == 0xFFFFFF) {
            c.rule = Rule::kRoundDown;
            c.spare = Spare::kOnes;
            c.noteBorrow = false;
        } else if (!c.keyed && sameWords && from.BytesPerPixel == 2) {
            if (from.alpha == 128 && to.Gmask == 0x03E0)
                return {}; // mixes the spare bit with the channel below it
            c.rule = Rule::kFiveBits;
            c.spare = Spare::kZero;
        } else {
            c.rule = Rule::kRoundUp;
            c.spare = Spare::kAlphaOnes;
        }
    } else if (c.keyed && sameColours(from, to) && from.BytesPerPixel == to.BytesPerPixel) {
        c.rule = Rule::kCopy;
        c.spare = from.BitsPerPixel == to.BitsPerPixel && to.BytesPerPixel == 2 && !to.Amask
                      ? Spare::kSource
                      : Spare::kAlphaOnes;
        c.noteBorrow = false;
    }
    return c;
}

uint32_t pixel(const Choice& c, const SDL_PixelFormat& from, const SDL_PixelFormat& to, uint32_t alpha,
               uint32_t s, uint32_t d) {
    const uint32_t all = to.BytesPerPixel == 4 ? ~0U : (1U << 8 * to.BytesPerPixel) - 1;
    const uint32_t a = c.perPixel ? (s & from.Amask) >> from.Ashift : alpha;
    if (c.perPixel && a == 0)
        return d;
    if (c.keyed && s == from.colorkey)
        return d;
    const bool inFive = c.rule == Rule::kFiveBits;
    if (c.perPixel && !c.encoded && inFive && a < 8)
        return d;
    if (!c.perPixel && a == 0 && c.rule == Rule::kRoundUp)
        return d;

    uint32_t result = 0;
    const Channel sources[] = {{from.Rmask, from.Rshift, from.Rloss},
                               {from.Gmask, from.Gshift, from.Gloss},
                               {from.Bmask, from.Bshift, from.Bloss}};
    const Channel targets[] = {
        {to.Rmask, to.Rshift, to.Rloss}, {to.Gmask, to.Gshift, to.Gloss}, {to.Bmask, to.Bshift, to.Bloss}};
    for (int i = 0; i < 3; ++i) {
        const uint32_t s8 = sources[i].of(s) << sources[i].loss, d8 = targets[i].of(d) << targets[i].loss;
        const uint32_t loss = targets[i].loss;
        const uint32_t value = inFive ? mixed(c, s8 >> loss, d8 >> loss, a) : mixed(c, s8, d8, a) >> loss;
        result |= value << targets[i].shift & targets[i].mask;
        if (c.noteBorrow && targets[i].mask == 0xFF && value < d8)
            result |= 1U << 24;
    }

    const uint32_t spare = all & ~coloursOf(to);
    switch (c.spare) {
    case Spare::kKept:
        return result | (d & spare);
    case Spare::kSource:
        return result | (s & spare);
    case Spare::kOnes:
        return result | spare;
    case Spare::kAlphaKept:
        return result | (d & to.Amask);
    case Spare::kAlphaOnes:
        return result | to.Amask;
    case Spare::kZero:
        break;
    }
    return c.encoded && a == 255 && to.BytesPerPixel == 4 ? result | spare : result;
}

uint32_t load(const SDL_Surface& surface, int x, int y) {
    const uint32_t bytes = surface.format->BytesPerPixel;
    const auto* at =
        static_cast<const uint8_t*>(surface.pixels) + y * surface.pitch + x * static_cast<int>(bytes);
    uint32_t value = 0;
    for (uint32_t i = 0; i < bytes; ++i)
        value |= uint32_t{at[i]} << 8 * (SDL_BYTEORDER == SDL_LIL_ENDIAN ? i : bytes - 1 - i);
    return value;
}

void store(const SDL_Surface& surface, int x, int y, uint32_t value) {
    const uint32_t bytes = surface.format->BytesPerPixel;
    auto* at = static_cast<uint8_t*>(surface.pixels) + y * surface.pitch + x * static_cast<int>(bytes);
    for (uint32_t i = 0; i < bytes; ++i)
        at[i] = static_cast<uint8_t>(value >> 8 * (SDL_BYTEORDER == SDL_LIL_ENDIAN ? i : bytes - 1 - i));
}

Request clip(const SDL_Surface* src, const SDL_Rect* srcRect, const SDL_Surface* dst, SDL_Rect* dstRect) {
    Request r;
    if (!src || !dst) {
        r.result = -1;
        r.error = "SDL_UpperBlit: passed a NULL surface";
        return r;
    }
    if (src->locked || dst->locked) {
        r.result = -1;
        r.error = "Surfaces must not be locked during blit";
        return r;
    }
    // The position is kept in the rectangle's 16 bits all the time; all else in an int.
    SDL_Rect none{0, 0, 0, 0};
    SDL_Rect& to = dstRect ? *dstRect : none;
    const auto moveBy = [](Sint16& position, int by) { position = static_cast<Sint16>(position + by); };
    r.width = src->w;
    r.height = src->h;
    if (srcRect) {
        r.srcX = srcRect->x;
        r.srcY = srcRect->y;
        r.width = srcRect->w;
        r.height = srcRect->h;
    }
    const auto axis = [&](int& from, int& size, Sint16& at, int limit, int clipAt, int clipSize) {
        if (from < 0) {
            size += from;
            moveBy(at, -from);
            from = 0;
        }
        if (limit - from < size)
            size = limit - from;
        const int before = clipAt - at;
        if (before > 0) {
            size -= before;
            moveBy(at, before);
            from += before;
        }
        const int behind = at + size - clipAt - clipSize;
        if (behind > 0)
            size -= behind;
    };
    axis(r.srcX, r.width, to.x, src->w, dst->clip_rect.x, dst->clip_rect.w);
    axis(r.srcY, r.height, to.y, src->h, dst->clip_rect.y, dst->clip_rect.h);
    if (r.width <= 0 || r.height <= 0)
        r.width = r.height = 0;
    to.w = static_cast<Uint16>(r.width);
    to.h = static_cast<Uint16>(r.height);
    r.dstX = to.x;
    r.dstY = to.y;
    return r;
}

void draw(const Request& r, const SDL_Surface& src, const SDL_Surface& dst) {
    const Choice choice = choose(src, dst);
    for (int y = 0; y < r.height; ++y)
        for (int x = 0; x < r.width; ++x) {
            const uint32_t s = load(src, r.srcX + x, r.srcY + y), d = load(dst, r.dstX + x, r.dstY + y);
            store(dst, r.dstX + x, r.dstY + y,
                  pixel(choice, *src.format, *dst.format, src.format->alpha, s, d));
        }
}

} // namespace sdl_model
