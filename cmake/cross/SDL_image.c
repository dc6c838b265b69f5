/* SPDX-License-Identifier: Zlib */
#include "SDL_image.h"

#include <png.h>
#include <string.h>

/* The mask of the byte at `index` of a pixel of `bytes` bytes, as SDL reads pixels on this host. */
static Uint32 byteMask(int bytes, int index) {
    int shift = SDL_BYTEORDER == SDL_LIL_ENDIAN ? 8 * index : 8 * (bytes - 1 - index);
    return 0xFFu << shift;
}

SDL_Surface* IMG_Load(const char* file) {
    png_image png;
    SDL_Surface* surface;
    int bytes;

    memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, file)) {
        SDL_SetError("%s: %s", file, png.message);
        return NULL;
    }
    png.format = png.format & PNG_FORMAT_FLAG_ALPHA ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
    bytes = (int)PNG_IMAGE_PIXEL_CHANNELS(png.format);
    surface =
        SDL_CreateRGBSurface(SDL_SWSURFACE, (int)png.width, (int)png.height, 8 * bytes, byteMask(bytes, 0),
                             byteMask(bytes, 1), byteMask(bytes, 2), bytes == 4 ? byteMask(bytes, 3) : 0);
    if (!surface || !png_image_finish_read(&png, NULL, surface->pixels, surface->pitch, NULL)) {
        SDL_FreeSurface(surface);
        png_image_free(&png);
        return NULL;
    }
    return surface;
}
