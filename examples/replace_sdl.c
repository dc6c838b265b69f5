/* SPDX-License-Identifier: Zlib */
/* What a maintainer adds to a program that draws with SDL 1.2: the two lines with "ormsel" in them. Not a
 * pixel of its pictures changes. Saves one: replace_sdl PICTURE.bmp */
#include <stdio.h>

#include <SDL.h>

#define ORMSEL_REPLACES_SDL_BLITS
#include <ormsel/ormsel_sdl.h>

int main(int argc, char** argv) {
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, 320, 96, 16, 0xF800, 0x07E0, 0x001F, 0);
    SDL_Surface* glass = SDL_CreateRGBSurface(SDL_SWSURFACE | SDL_SRCALPHA, 64, 64, 32, 0x00FF0000,
                                              0x0000FF00, 0x000000FF, 0xFF000000);
    int status = 1, i;

    if (canvas && glass) {
        SDL_FillRect(canvas, NULL, SDL_MapRGB(canvas->format, 20, 40, 120));
        for (i = 0; i < 8; ++i) {
            SDL_Rect strip = {0, 0, 8, 64}, position = {0, 16, 0, 0};
            strip.x = (Sint16)(8 * i);
            position.x = (Sint16)(40 * i - 8);
            SDL_FillRect(glass, &strip, SDL_MapRGBA(glass->format, 255, 192, 32, (Uint8)(24 * i + 16)));
            SDL_BlitSurface(glass, NULL, canvas, &position);
        }
        status = argc > 1 && SDL_SaveBMP(canvas, argv[1]) != 0;
    }
    if (status != 0)
        fprintf(stderr, "%s\n", SDL_GetError());
    SDL_FreeSurface(glass);
    SDL_FreeSurface(canvas);
    return status;
}
