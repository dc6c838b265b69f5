/* SPDX-License-Identifier: Zlib */
/* A program whose own functions have names of the platform's: neither side may get the other's. */
#include <stdlib.h>

#include <ormsel/ormsel.h>

#define OWN(name)                                                                                            \
    int name(int argument);                                                                                  \
    int name(int argument) {                                                                                 \
        if (argument != 42)                                                                                  \
            abort();                                                                                         \
        return 1;                                                                                            \
    }
OWN(Wait)
OWN(RectFill)
OWN(MoveWindow)
OWN(AllocVec)
OWN(FreeVec)
OWN(DebugPrintF)
OWN(AllocBitMap)
OWN(FindTagItem)

int main(void) {
    SDL_Surface* canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, 4, 4, 16, 0xF800, 0x07E0, 0x001F, 0);
    SDL_Surface* runs = SDL_CreateRGBSurface(SDL_SWSURFACE, 4, 4, 16, 0xF800, 0x07E0, 0x001F, 0);
    if (!canvas || !runs)
        return 1;
    SDL_FillRect(runs, NULL, 0xFFFF);
    SDL_BlitAlphaSurface(runs, NULL, canvas, NULL);
    /* A refused surface: the library says so on its debug output. */
    runs->flags |= SDL_RLEACCEL;
    SDL_BlitAlphaSurface(runs, NULL, canvas, NULL);
    if (((Uint16*)canvas->pixels)[15] != 0xFFFF)
        return 2;
    return Wait(42) + RectFill(42) + MoveWindow(42) + AllocVec(42) + FreeVec(42) + DebugPrintF(42) +
                       AllocBitMap(42) + FindTagItem(42) ==
                   8
               ? 0
               : 3;
}
