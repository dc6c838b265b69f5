/* SPDX-License-Identifier: Zlib */
/* SDL_ttf's interface without fonts, for targets that Debian has no SDL_ttf for: no font opens, so Korvalen
 * draws no text. */
#ifndef ORMSEL_CROSS_SDL_TTF_H
#define ORMSEL_CROSS_SDL_TTF_H

#include <SDL.h>

typedef struct TTF_Font TTF_Font;

static inline int TTF_Init(void) {
    return 0;
}
static inline void TTF_Quit(void) {}
static inline TTF_Font* TTF_OpenFont(const char* file, int points) {
    (void)points;
    SDL_SetError("%s: this build has no fonts", file);
    return NULL;
}
static inline void TTF_CloseFont(TTF_Font* font) {
    (void)font;
}
static inline SDL_Surface* TTF_RenderText_Blended(TTF_Font* font, const char* text, SDL_Color colour) {
    (void)font, (void)text, (void)colour;
    return NULL;
}

#endif
