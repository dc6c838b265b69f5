/* SPDX-License-Identifier: Zlib */
/* A program with a graphics/gfx.h of its own, behind the library's folders on the include path. */
#include <ormsel/ormsel.h>

#include <graphics/gfx.h>

int main(void) {
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, 1, 1, 16, 0xF800, 0x07E0, 0x001F, 0);
    return canvas && SDL_BlitAlphaSurface(canvas, NULL, canvas, NULL) == 0 ? 0 : GAME_GFX;
}
