// SPDX-License-Identifier: Zlib
//
// A slow model of SDL 1.2's software blits, learnt from what its plain C code does and nothing else: the
// rectangle arithmetic of SDL_BlitSurface for every pair of surfaces, and the pixels for those kinds of
// blit that the library may draw itself. It shares no code with the library.
#pragma once

#include <cstdint>
#include <string>

#include <SDL.h>

namespace sdl_model {

// How one channel of a drawn pixel comes from the source's s, the destination's d and the weight a.
enum class Rule {
    kNone,      // not modelled: what SDL does with this pair is SDL's alone
    kRoundDown, // d + floor((s - d) * a / 256); 255 gives s
    kRoundUp,   // d + floor(((s - d) * a + 255) / 256), in channels widened to 8 bits by shifting
    kFiveBits,  // d + floor((s - d) * floor(a / 8) / 32) in the destination's own bits; 31 gives s
    kCopy,      // s
};

// What becomes of the destination's bits that hold no colour, where a pixel is drawn.
enum class Spare {
    kKept,
    kSource,
    kZero,
    kOnes,
    kAlphaKept, // alpha kept, other bits 0; see noteBorrow
    kAlphaOnes, // alpha all ones, other bits 0; see noteBorrow
};

struct Choice {
    Rule rule = Rule::kNone;
    Spare spare = Spare::kKept;
    bool perPixel = false; // by the source's own alpha; else by the surface's
    bool keyed = false;    // pixels with the key's colour are left out
    bool encoded = false;  // SDL would draw it from its run-length encoding: 255 alone is opaque
    // Bit 24 of a 32-bit pixel is set when the channel in bits 0 to 7 falls: SDL's difference is unsigned.
    bool noteBorrow = false;
};

Choice choose(const SDL_Surface& src, const SDL_Surface& dst);

// The value of a drawn pixel. `alpha` is the surface's constant one.
uint32_t pixel(const Choice& choice, const SDL_PixelFormat& from, const SDL_PixelFormat& to, uint32_t alpha,
               uint32_t s, uint32_t d);

// Pixels as the numbers that SDL takes them for.
uint32_t load(const SDL_Surface& surface, int x, int y);
void store(const SDL_Surface& surface, int x, int y, uint32_t value);

// What SDL_BlitSurface says and does before it draws.
struct Request {
    int result = 0;         // what SDL_BlitSurface returns
    std::string error;      // and the text of SDL_GetError, when that is not 0
    int srcX = 0, srcY = 0; // the clipped rectangle, if anything is left
    int dstX = 0, dstY = 0;
    int width = 0, height = 0;
};
Request clip(const SDL_Surface* src, const SDL_Rect* srcRect, const SDL_Surface* dst, SDL_Rect* dstRect);

// Draws what clip() left. The surfaces must not share memory.
void draw(const Request& request, const SDL_Surface& src, const SDL_Surface& dst);

} // namespace sdl_model
