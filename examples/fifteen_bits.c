/* SPDX-License-Identifier: Zlib */
/* Draws onto a 15-bit surface, which SDL gives on old displays: the same call, with five bits a channel left.
 *     fifteen_bits PICTURE.bmp */
#include <stdio.h>

#include <ormsel/ormsel.h>

enum { kWidth = 256, kHeight = 64 };

/* Every hue from left to right, and from transparent at the top to opaque at the bottom. */
static void paintRainbow(SDL_Surface* rainbow) {
    int x, y;
    for (y = 0; y < kHeight; ++y) {
        Uint32* row = (Uint32*)((Uint8*)rainbow->pixels + y * rainbow->pitch);
        for (x = 0; x < kWidth; ++x) {
            Uint32 up = (Uint32)(x * 6 % 256), down = 255 - up, alpha = (Uint32)(y * 255 / (kHeight - 1));
            Uint32 hues[6];
            hues[0] = 0xFF0000 | up << 8;
            hues[1] = 0x00FF00 | down << 16;
            hues[2] = 0x00FF00 | up;
            hues[3] = 0x0000FF | down << 8;
            hues[4] = 0x0000FF | up << 16;
            hues[5] = 0xFF0000 | down;
            row[x] = alpha << 24 | hues[x * 6 / kWidth];
        }
    }
}

int main(int argc, char** argv) {
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, kWidth, kHeight, 15, 0x7C00, 0x03E0, 0x001F, 0);
    SDL_Surface* rainbow = SDL_CreateRGBSurface(SDL_SWSURFACE, kWidth, kHeight, 32, 0x00FF0000, 0x0000FF00,
                                                0x000000FF, 0xFF000000);
    int status = 1;

    if (canvas && rainbow) {
        SDL_FillRect(canvas, NULL, SDL_MapRGB(canvas->format, 24, 24, 24));
        paintRainbow(rainbow);
        SDL_BlitAlphaSurface(rainbow, NULL, canvas, NULL);
        status = argc > 1 && SDL_SaveBMP(canvas, argv[1]) != 0;
    }
    if (status != 0)
        fprintf(stderr, "%s\n", SDL_GetError());
    SDL_FreeSurface(rainbow);
    SDL_FreeSurface(canvas);
    return status;
}
