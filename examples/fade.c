/* SPDX-License-Identifier: Zlib */
/* Fades a sprite: the same soft disc at five strengths, by the constant alpha that its surface carries.
 *     fade PICTURE.bmp */
#include <stdio.h>

#include <ormsel/ormsel.h>

enum { kSize = 64 };

/* A 32-bit surface with one disc, opaque inside and fading out towards the rim. */
static SDL_Surface* makeDisc(void) {
    SDL_Surface* disc = SDL_CreateRGBSurface(SDL_SWSURFACE | SDL_SRCALPHA, kSize, kSize, 32, 0x00FF0000,
                                             0x0000FF00, 0x000000FF, 0xFF000000);
    int x, y;
    for (y = 0; disc && y < kSize; ++y) {
        Uint32* row = (Uint32*)((Uint8*)disc->pixels + y * disc->pitch);
        for (x = 0; x < kSize; ++x) {
            int dx = 2 * x + 1 - kSize, dy = 2 * y + 1 - kSize;
            int fade = 340 - (dx * dx + dy * dy) * 340 / (kSize * kSize);
            row[x] = (Uint32)(fade < 0 ? 0 : fade > 255 ? 255 : fade) << 24 | 0x00FFC020;
        }
    }
    return disc;
}

int main(int argc, char** argv) {
    static const Uint8 strengths[] = {255, 200, 144, 88, 32};
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, 5 * 72 + 8, 80, 16, 0xF800, 0x07E0, 0x001F, 0);
    SDL_Surface* disc = makeDisc();
    int status = 1, i;

    if (canvas && disc) {
        SDL_FillRect(canvas, NULL, SDL_MapRGB(canvas->format, 20, 40, 120));
        for (i = 0; i < 5; ++i) {
            SDL_Rect position = {0, 8, 0, 0};
            position.x = (Sint16)(8 + 72 * i);
            disc->format->alpha = strengths[i];
            SDL_BlitAlphaSurface(disc, NULL, canvas, &position);
        }
        status = argc > 1 && SDL_SaveBMP(canvas, argv[1]) != 0;
    }
    if (status != 0)
        fprintf(stderr, "%s\n", SDL_GetError());
    SDL_FreeSurface(disc);
    SDL_FreeSurface(canvas);
    return status;
}
