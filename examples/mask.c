/* SPDX-License-Identifier: Zlib */
/* Masks a picture: an 8-bit surface says how much of each pixel is seen; here a soft-edged ring.
 *     mask PICTURE.bmp */
#include <stdio.h>

#include <ormsel/ormsel.h>

enum { kSize = 128 };

/* Any picture will do; this one has no alpha of its own. */
static void paintStripes(SDL_Surface* picture) {
    SDL_Rect stripe = {0, 0, 16, kSize};
    for (; stripe.x < kSize; stripe.x = (Sint16)(stripe.x + 16))
        SDL_FillRect(picture, &stripe,
                     SDL_MapRGB(picture->format, (Uint8)(2 * stripe.x), 200, (Uint8)(255 - stripe.x)));
}

static void paintRing(SDL_Surface* mask) {
    int x, y;
    for (y = 0; y < kSize; ++y) {
        Uint8* row = (Uint8*)mask->pixels + y * mask->pitch;
        for (x = 0; x < kSize; ++x) {
            int dx = x - kSize / 2, dy = y - kSize / 2;
            int fromRing = (dx * dx + dy * dy - 45 * 45) / 6;
            int shown = 330 - (fromRing < 0 ? -fromRing : fromRing);
            row[x] = (Uint8)(shown < 0 ? 0 : shown > 255 ? 255 : shown);
        }
    }
}

int main(int argc, char** argv) {
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, kSize, kSize, 32, 0xFF0000, 0xFF00, 0xFF, 0);
    SDL_Surface* picture = SDL_CreateRGBSurface(SDL_SWSURFACE, kSize, kSize, 32, 0xFF0000, 0xFF00, 0xFF, 0);
    SDL_Surface* mask = SDL_CreateRGBSurface(SDL_SWSURFACE, kSize, kSize, 8, 0, 0, 0, 0);
    int status = 1;

    if (canvas && picture && mask) {
        SDL_FillRect(canvas, NULL, SDL_MapRGB(canvas->format, 40, 40, 48));
        paintStripes(picture);
        paintRing(mask);
        SDL_BlitSurfaceAlphaMask(picture, 0, 0, canvas, 0, 0, kSize, kSize, mask, 255, 0);
        status = argc > 1 && SDL_SaveBMP(canvas, argv[1]) != 0;
    }
    if (status != 0)
        fprintf(stderr, "%s\n", SDL_GetError());
    SDL_FreeSurface(mask);
    SDL_FreeSurface(picture);
    SDL_FreeSurface(canvas);
    return status;
}
