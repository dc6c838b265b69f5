/* SPDX-License-Identifier: Zlib */
/* The part of SDL_image that Korvalen uses, for targets that Debian has no SDL_image for. */
#ifndef ORMSEL_CROSS_SDL_IMAGE_H
#define ORMSEL_CROSS_SDL_IMAGE_H

#include <SDL.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Loads a PNG file: 24 bits per pixel without alpha, 32 with, bytes in the file's order; NULL on failure. */
SDL_Surface* IMG_Load(const char* file);

#define IMG_GetError SDL_GetError

#ifdef __cplusplus
}
#endif

#endif
