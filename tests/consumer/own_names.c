/* SPDX-License-Identifier: Zlib */
/* A program whose own functions have names of the platform's: the libraries neither clash with them nor call
 * them. */
#include <stdio.h>

#include <ormsel/ormsel.h>
#include <ormsel/ormsel_utils.h>

static int called;

#define OWN(name)                                                                                            \
    void name(void);                                                                                         \
    void name(void) {                                                                                        \
        ++called;                                                                                            \
    }
OWN(Wait)
OWN(RectFill)
OWN(MoveWindow)
OWN(AllocVec)
OWN(FreeVec)
OWN(AllocBitMap)
OWN(FindTagItem)
OWN(GetTagData)
OWN(DebugPrintF)
OWN(LockLayerRom)
OWN(CloseWindow)
OWN(p96LockBitMap)

int main(void) {
    SDL_Surface* const source = SDL_CreateRGBSurface(0, 40, 1, 32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000);
    SDL_Surface* const target = SDL_CreateRGBSurface(0, 40, 1, 16, 0xF800, 0x7E0, 0x1F, 0);
    ORU_VideoInfo* video;
    int pixel;
    SDL_FillRect(source, NULL, 0xFFFFFFFF);
    SDL_BlitAlphaSurface(source, NULL, target, NULL);
    /* Refused: says so on the debug output. */
    SDL_BlitSurfaceAlphaMask(source, 0, 0, target, 0, 0, 40, 1, target, 0, 0);
    SDL_putenv("SDL_VIDEODRIVER=dummy");
    video = ORU_InitVideo(320, 200, 16, 0);
    ORU_CloseVideo(video);
    pixel = ((Uint16*)target->pixels)[39];
    SDL_FreeSurface(source);
    SDL_FreeSurface(target);
    printf("pixel %04x, calls %d, display %d\n", (unsigned)pixel, called, video != NULL);
    return pixel != 0xFFFF || called != 0 || !video;
}
