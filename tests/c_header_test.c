/* SPDX-License-Identifier: Zlib */
/* The public headers are C11, too: this file is compiled as such and linked into a test. */
#include <assert.h>
#include <stddef.h>

#include <ormsel/ormsel.h>
#include <ormsel/ormsel_sdl.h>
#include <ormsel/ormsel_utils.h>
#include <ormsel/ormsel_version.h>

static_assert(ORMSEL_BLIT_COPY == 4, "a value that programs may have written out");

unsigned long blitFromC(SDL_Surface* src, SDL_Surface* dst);

unsigned long blitFromC(SDL_Surface* src, SDL_Surface* dst) {
    unsigned long result;
    BLT_SetupBltEngine();
    result = SDL_BlitAlphaSurface(src, NULL, dst, NULL);
    BLT_ShutDownBltEngine();
    return result;
}
