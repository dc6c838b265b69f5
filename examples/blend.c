/* SPDX-License-Identifier: Zlib */
/* Draws a soft disc onto a 16-bit surface, once as it is and once at half strength, and saves the picture:
 *     blend picture.bmp */
#include <stdio.h>

#include <ormsel/ormsel.h>

enum { discSize = 128 };

/* A 32-bit surface with one disc, opaque inside and fading out towards the rim. */
static SDL_Surface* makeDisc(void) {
    SDL_Surface* disc = SDL_CreateRGBSurface(SDL_SWSURFACE | SDL_SRCALPHA, discSize, discSize, 32, 0x00FF0000,
                                             0x0000FF00, 0x000000FF, 0xFF000000);
    if (!disc)
        return NULL;
    for (int y = 0; y < discSize; ++y) {
        Uint32* row = (Uint32*)((Uint8*)disc->pixels + y * disc->pitch);
        for (int x = 0; x < discSize; ++x) {
            int dx = x - discSize / 2, dy = y - discSize / 2;
            int fade = 320 - (dx * dx + dy * dy) * 320 / (discSize * discSize / 4);
            Uint32 alpha = fade < 0 ? 0 : fade > 255 ? 255 : (Uint32)fade;
            row[x] = alpha << 24 | 0x00FFC020;
        }
    }
    return disc;
}

int main(int argc, char** argv) {
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, 320, 160, 16, 0xF800, 0x07E0, 0x001F, 0);
    SDL_Surface* disc = makeDisc();
    SDL_Rect left = {16, 16, 0, 0}, right = {176, 16, 0, 0};
    int status = 1;

    if (canvas && disc) {
        SDL_FillRect(canvas, NULL, SDL_MapRGB(canvas->format, 20, 40, 120));
        SDL_BlitAlphaSurface(disc, NULL, canvas, &left);
        /* The surface's own alpha is the constant alpha of its blits. */
        disc->format->alpha = 128;
        SDL_BlitAlphaSurface(disc, NULL, canvas, &right);
        status = argc > 1 && SDL_SaveBMP(canvas, argv[1]) != 0;
    }
    if (status != 0)
        fprintf(stderr, "%s\n", SDL_GetError());
    SDL_FreeSurface(disc);
    SDL_FreeSurface(canvas);
    return status;
}
