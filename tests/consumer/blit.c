/* SPDX-License-Identifier: Zlib */
/* One blit with every public header for surfaces, and the version that the package says: blit [VERSION] */
#include <stdio.h>
#include <string.h>

#include <ormsel/ormsel.h>
#include <ormsel/ormsel_formats.h>
#include <ormsel/ormsel_sdl.h>
#include <ormsel/ormsel_target.h>

#if defined(EXPECTED_CPLUSPLUS) && __cplusplus != EXPECTED_CPLUSPLUS
#    error "the library changed the language of the program that uses it"
#endif

int main(int argc, char** argv) {
    SDL_Surface* sprite =
        SDL_CreateRGBSurface(SDL_SWSURFACE, 2, 1, 32, 0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000);
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, 2, 1, 16, 0xF800, 0x07E0, 0x001F, 0);
    char version[32];
    Uint16* pixels;

    sprintf(version, "%d.%d.%d", ORMSEL_VERSION_MAJOR, ORMSEL_VERSION_MINOR, ORMSEL_VERSION_PATCH);
    if (!sprite || !canvas || ORMSEL_BLIT_COPY != 4 || !ormsel_TargetName() ||
        (argc > 1 && strcmp(argv[1], version) != 0))
        return 1;

    /* Opaque red, and green that can't be seen. */
    ((Uint32*)sprite->pixels)[0] = 0xFFFF0000;
    ((Uint32*)sprite->pixels)[1] = 0x0000FF00;
    SDL_FillRect(canvas, NULL, 0x001F);
    BLT_SetupBltEngine();
    SDL_BlitAlphaSurface(sprite, NULL, canvas, NULL);
    BLT_ShutDownBltEngine();
    pixels = (Uint16*)canvas->pixels;
    printf("%04X %04X\n", (unsigned)pixels[0], (unsigned)pixels[1]);
    return pixels[0] == 0xF800 && pixels[1] == 0x001F ? 0 : 2;
}
