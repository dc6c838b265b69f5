// SPDX-License-Identifier: Zlib
//
// The public calls with SDL's contract, and the SDL that the program is linked with.
#include <ormsel/ormsel_sdl.h>

#include "sdl/sdl_contract.h"

static const ormsel::SdlFunctions kSdl = {SDL_UpperBlit, SDL_LowerBlit, SDL_FillRect, SDL_LockSurface,
                                          SDL_UnlockSurface};

int ormsel_BlitSurface(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) noexcept {
    return ormsel::sdlBlitSurface(kSdl, src, srcrect, dst, dstrect);
}

int ormsel_LowerBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) noexcept {
    return ormsel::sdlLowerBlit(kSdl, src, srcrect, dst, dstrect);
}

int ormsel_FillRect(SDL_Surface* dst, SDL_Rect* dstrect, Uint32 color) noexcept {
    return ormsel::sdlFillRect(kSdl, dst, dstrect, color);
}

int ormsel_Serves(SDL_Surface* src, SDL_Surface* dst) noexcept {
    return ormsel::sdlServes(src, dst);
}
