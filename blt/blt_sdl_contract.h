// SPDX-License-Identifier: Zlib
//
// SDL_BlitSurface's contract, for the library's calls and for the preload: both have SDL's own functions
// beside it, each found in its way.
#pragma once

#include <SDL.h>

namespace ormsel {

// SDL's own functions, which get what isn't drawn here.
struct SdlFunctions {
    decltype(&SDL_UpperBlit) upperBlit;
    decltype(&SDL_LowerBlit) lowerBlit;
};

// What ormsel_BlitSurface() and ormsel_Serves() promise.
int sdlBlitSurface(const SdlFunctions& sdl, SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst,
                   SDL_Rect* dstrect) noexcept;
bool sdlServes(SDL_Surface* src, SDL_Surface* dst) noexcept;

} // namespace ormsel
