/* SPDX-License-Identifier: Zlib */
/* The same sprite at three constant alphas, in the upper row by SDL 1.2 and in the lower one by Ormsel. SDL
 * ignores the constant alpha of a surface that has alpha of its own.
 *     compare_with_sdl PICTURE.bmp SPRITE.png FONT.ttf */
#include <stdio.h>

#include <SDL_image.h>
#include <SDL_ttf.h>

#include <ormsel/ormsel.h>

enum { columns = 3, cell = 262, left = 104, top = 34 };

static void write(SDL_Surface* canvas, TTF_Font* font, const char* text, int x, int y) {
    static const SDL_Color white = {255, 255, 255, 0};
    SDL_Rect position = {0, 0, 0, 0};
    SDL_Surface* letters = TTF_RenderUTF8_Blended(font, text, white);
    position.x = (Sint16)x;
    position.y = (Sint16)y;
    SDL_BlitSurface(letters, NULL, canvas, &position);
    SDL_FreeSurface(letters);
}

int main(int argc, char** argv) {
    static const Uint8 alphas[columns] = {255, 144, 48};
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, left + columns * cell, top + 2 * cell, 32,
                                               0xFF0000, 0xFF00, 0xFF, 0);
    SDL_Surface* picture = argc == 4 ? IMG_Load(argv[2]) : NULL;
    TTF_Font* font = argc == 4 && TTF_Init() == 0 ? TTF_OpenFont(argv[3], 18) : NULL;
    SDL_Surface* sprite = NULL;
    SDL_PixelFormat format;
    SDL_Rect part = {0, 0, cell, cell};
    int x, y, row, column;

    if (!canvas || !picture || !font) {
        fprintf(stderr, "usage: compare_with_sdl PICTURE.bmp SPRITE.png FONT.ttf\n");
        return 1;
    }
    format = *canvas->format;
    format.Amask = 0xFF000000;
    format.Ashift = 24;
    format.Aloss = 0;
    sprite = SDL_ConvertSurface(picture, &format, SDL_SWSURFACE | SDL_SRCALPHA);
    if (!sprite)
        return 1;
    part.x = (Sint16)((sprite->w - cell) / 2);
    part.y = (Sint16)((sprite->h - cell) / 2);

    SDL_FillRect(canvas, NULL, 0x203040);
    for (y = top; y < canvas->h; y += 14)
        for (x = left; x < canvas->w; x += 14) {
            SDL_Rect square = {(Sint16)x, (Sint16)y, 14, 14};
            SDL_FillRect(canvas, &square, (x - left + y - top) / 14 % 2 ? 0x9AA4AE : 0x707C88);
        }
    write(canvas, font, "SDL 1.2", 12, top + cell / 2 - 12);
    write(canvas, font, "Ormsel", 12, top + cell + cell / 2 - 12);
    write(canvas, font, "alpha", 12, 6);

    for (column = 0; column < columns; ++column) {
        char text[8];
        sprintf(text, "%d", alphas[column]);
        write(canvas, font, text, left + column * cell + cell / 2 - 14, 6);
        for (row = 0; row < 2; ++row) {
            SDL_Rect position = {(Sint16)(left + column * cell), (Sint16)(top + row * cell), 0, 0};
            SDL_SetAlpha(sprite, SDL_SRCALPHA, alphas[column]);
            if (row == 0)
                SDL_BlitSurface(sprite, &part, canvas, &position);
            else
                SDL_BlitAlphaSurface(sprite, &part, canvas, &position);
        }
    }
    return SDL_SaveBMP(canvas, argv[1]) == 0 ? 0 : 1;
}
