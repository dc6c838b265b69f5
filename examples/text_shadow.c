/* SPDX-License-Identifier: Zlib */
/* Writes a line with a soft shadow: the same letters in black, moved a little and at less than half strength.
 *     text_shadow PICTURE.bmp FONT.ttf */
#include <stdio.h>

#include <SDL_ttf.h>

#include <ormsel/ormsel.h>

/* The letters come as a 32-bit surface with alpha; its constant alpha is the strength of the blit. */
static void write(SDL_Surface* canvas, TTF_Font* font, const char* text, SDL_Color color, Uint8 strength,
                  Sint16 x, Sint16 y) {
    SDL_Rect position = {0, 0, 0, 0};
    SDL_Surface* letters = TTF_RenderUTF8_Blended(font, text, color);
    if (!letters)
        return;
    position.x = x;
    position.y = y;
    letters->flags |= SDL_SRCALPHA;
    letters->format->alpha = strength;
    SDL_BlitAlphaSurface(letters, NULL, canvas, &position);
    SDL_FreeSurface(letters);
}

int main(int argc, char** argv) {
    static const SDL_Color black = {0, 0, 0, 0}, cream = {255, 244, 214, 0};
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, 320, 72, 16, 0xF800, 0x07E0, 0x001F, 0);
    TTF_Font* font = argc > 2 && TTF_Init() == 0 ? TTF_OpenFont(argv[2], 40) : NULL;
    int status = 1;

    if (argc <= 2) {
        fprintf(stderr, "usage: text_shadow PICTURE.bmp FONT.ttf\n");
    } else if (canvas && font) {
        SDL_FillRect(canvas, NULL, SDL_MapRGB(canvas->format, 90, 140, 170));
        write(canvas, font, "Deep water", black, 104, 23, 15);
        write(canvas, font, "Deep water", cream, 255, 20, 12);
        status = SDL_SaveBMP(canvas, argv[1]) != 0;
    }
    if (status != 0 && argc > 2)
        fprintf(stderr, "%s\n", SDL_GetError());
    if (font)
        TTF_CloseFont(font);
    SDL_FreeSurface(canvas);
    return status;
}
