/* SPDX-License-Identifier: Zlib */
/* What a maintainer adds to a program that draws with SDL 1.2: the two lines with "ormsel" in them. Not a
 * pixel of its pictures changes. Saves one: replace_sdl picture.bmp */
#include <stdio.h>

#include <SDL.h>

#define ORMSEL_REPLACES_SDL_BLITS
#include <ormsel/ormsel_sdl.h>

int main(int argc, char** argv) {
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, 320, 160, 16, 0xF800, 0x07E0, 0x001F, 0);
    SDL_Surface* glass =
        SDL_CreateRGBSurface(SDL_SWSURFACE, 128, 128, 32, 0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000);
    SDL_Rect left = {16, 16, 0, 0}, right = {240, 16, 0, 0};
    int status = 1;

    if (canvas && glass) {
        printf("drawn by %s\n", ormsel_Serves(glass, canvas) ? "Ormsel" : "SDL");
        SDL_FillRect(canvas, NULL, SDL_MapRGB(canvas->format, 20, 40, 120));
        SDL_FillRect(glass, NULL, SDL_MapRGBA(glass->format, 255, 192, 32, 160));
        SDL_BlitSurface(glass, NULL, canvas, &left);
        SDL_BlitSurface(glass, NULL, canvas, &right);
        printf("at the edge %u pixels remain of 128\n", right.w);
        status = right.w != 80 || (argc > 1 && SDL_SaveBMP(canvas, argv[1]) != 0);
    }
    SDL_FreeSurface(glass);
    SDL_FreeSurface(canvas);
    return status;
}
