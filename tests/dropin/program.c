/* SPDX-License-Identifier: Zlib */
/* A program that knows SDL 1.2 alone.
 *     program draw           blits, copies, converts and fills, and prints a checksum of the picture
 *     program patch          prints the patch level of its SDL: from 50 on it is a layer over SDL 2
 *     program fork [blits]   forks while threads blit; the child leaves, or blits before
 *     program signal         leaves in the handler of a signal, while threads blit */
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <SDL.h>

static SDL_Surface* surface(int size, Uint32 alpha) {
    return SDL_CreateRGBSurface(SDL_SWSURFACE, size, size, 32, 0x00FF0000, 0x0000FF00, 0x000000FF, alpha);
}

static int draw(void) {
    SDL_Surface *canvas = SDL_CreateRGBSurface(SDL_SWSURFACE, 96, 96, 16, 0xF800, 0x07E0, 0x001F, 0),
                *odd = SDL_CreateRGBSurface(SDL_SWSURFACE, 16, 16, 16, 0xF000, 0x0F00, 0x00F0, 0x000F),
                *glass = surface(64, 0xFF000000), *screen = surface(96, 0), *copy;
    SDL_Rect at = {7, 9, 0, 0}, outside = {-3, 90, 20, 20};
    Uint32 i, sum = 0;

    for (i = 0; i < 64 * 64; ++i)
        ((Uint32*)glass->pixels)[i] = i * 0x9E3779B1U;
    SDL_FillRect(canvas, NULL, 0x1234);
    SDL_FillRect(canvas, &outside, 0x4321);
    SDL_BlitSurface(glass, NULL, canvas, &at);
    SDL_SetAlpha(odd, SDL_SRCALPHA, 255);
    SDL_BlitSurface(odd, NULL, canvas, &at);
    SDL_SetAlpha(glass, SDL_SRCALPHA | SDL_RLEACCEL, 255);
    at.x = 40;
    SDL_BlitSurface(glass, NULL, canvas, &at);
    copy = SDL_ConvertSurface(canvas, screen->format, SDL_SWSURFACE);
    SDL_BlitSurface(copy, NULL, screen, NULL);
    SDL_SetColorKey(canvas, SDL_SRCCOLORKEY, 0x1234);
    SDL_BlitSurface(canvas, NULL, screen, &at);
    for (i = 0; i < 96 * 96; ++i)
        sum = (sum ^ ((Uint32*)screen->pixels)[i]) * 0x01000193U;
    printf("%08X\n", (unsigned)sum);
    return 0;
}

static void* blitForEver(void* unused) {
    SDL_Surface *from = surface(64, 0xFF000000), *to = surface(64, 0);
    for (;;)
        SDL_BlitSurface(from, NULL, to, NULL);
    return unused;
}

static void leave(int number) {
    exit(number == SIGALRM ? 0 : 1); // NOLINT(bugprone-signal-handler): what some games do
}

int main(int argc, char** argv) {
    const char* way = argc > 1 ? argv[1] : "draw";
    pthread_t thread;
    int i, status = 1;
    pid_t child;

    if (strcmp(way, "draw") == 0)
        return draw();
    if (strcmp(way, "patch") == 0)
        return printf("%d\n", SDL_Linked_Version()->patch) < 0;
    for (i = 0; i < 3; ++i)
        pthread_create(&thread, NULL, blitForEver, NULL);
    usleep(5000);
    if (strcmp(way, "signal") == 0) {
        signal(SIGALRM, leave);
        ualarm(2000, 0);
        blitForEver(NULL);
    }
    child = fork();
    if (child == 0) {
        SDL_Surface *from = surface(64, 0xFF000000), *to = surface(64, 0);
        if (argc > 2)
            SDL_BlitSurface(from, NULL, to, NULL);
        exit(0);
    }
    waitpid(child, &status, 0);
    _exit(status != 0);
}
