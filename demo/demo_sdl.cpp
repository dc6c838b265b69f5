// SPDX-License-Identifier: Zlib
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <proto/exec.h>

#include "demo_modes.h"
#include "demo_reports.h"

namespace {

constexpr char kDashes[] = "------------------------------------------------------------\n";

// Asks SDL for a desktop's driver, if one of them starts, and leaves the choice to SDL where none does: a
// platform of its own has a driver of its own.
void chooseDriver() {
    static char variable[] = "SDL_VIDEODRIVER";
    if (SDL_getenv(variable))
        return;
    // SDL keeps the texts.
    static char choices[][32] = {"SDL_VIDEODRIVER=x11",    "SDL_VIDEODRIVER=wayland",
                                 "SDL_VIDEODRIVER=Quartz", "SDL_VIDEODRIVER=directfb",
                                 "SDL_VIDEODRIVER=fbcon",  "SDL_VIDEODRIVER=windib"};
    for (char* choice : choices)
        if (SDL_VideoInit(choice + sizeof variable, 0) == 0) {
            SDL_VideoQuit();
            SDL_putenv(choice);
            return;
        }
}

// Left to choose, SDL would even draw with letters in the terminal.
bool drawsWithLetters() {
    char name[16] = "";
    SDL_VideoDriverName(name, sizeof name);
    return !std::strcmp(name, "aalib") || !std::strcmp(name, "caca");
}

bool startVideo() {
    chooseDriver();
    if (SDL_Init(SDL_INIT_VIDEO) != 0)
        return false;
    if (!drawsWithLetters())
        return true;
    SDL_Quit();
    SDL_SetError("No available video device");
    return false;
}

SDL_Surface* openScreen(int depth) {
    if (!startVideo()) {
        std::fprintf(stderr, "Couldn't initialize SDL: %s\n", SDL_GetError());
        std::exit(1);
    }
    std::atexit(SDL_Quit);
    SDL_Surface* screen = SDL_SetVideoMode(kScreenWidth, kScreenHeight, depth, SDL_FULLSCREEN);
    if (!screen) {
        std::fprintf(stderr, "Couldn't set %dx%dx%d video mode: %s\n", kScreenWidth, kScreenHeight, depth,
                     SDL_GetError());
        std::exit(1);
    }
    return screen;
}

// @param name   what the first line says
// @param others what the other two say; not always the same
void reportLayout(const char* name, const char* others, const SDL_PixelFormat& fmt) {
    DebugPrintF("%s Shift: a[%8d] r[%8d] g[%8d] b[%8d]\n", name, fmt.Ashift, fmt.Rshift, fmt.Gshift,
                fmt.Bshift);
    DebugPrintF("%s Mask:  a[%08x] r[%08x] g[%08x] b[%08x]\n", others, fmt.Amask, fmt.Rmask, fmt.Gmask,
                fmt.Bmask);
    DebugPrintF("%s Loss:  a[%8d] r[%8d] g[%8d] b[%8d]\n", others, fmt.Aloss, fmt.Rloss, fmt.Gloss,
                fmt.Bloss);
}

void reportLayouts(const SDL_Surface* screen, const SDL_Surface* alpha) {
    DebugPrintF("Screen Format: %d\n", screen->format->BitsPerPixel);
    DebugPrintF(kDashes);
    reportLayout("Screen", "Screen", *screen->format);
    DebugPrintF(kDashes);
    DebugPrintF("Alpha Format: %d\n", screen->format->BitsPerPixel); // what the picture is blitted to
    DebugPrintF(kDashes);
    reportLayout("Alpha", "Blue", *alpha->format);
    DebugPrintF(kDashes);
    DebugPrintF("Blue Flags: RLE: %s, ALPHA: %s \n", alpha->flags & SDL_RLEACCEL ? "YES" : "NO",
                alpha->flags & SDL_SRCALPHA ? "YES" : "NO");
}

void waitForEnd() {
    SDL_Event eve;
    for (;;) {
        if (SDL_WaitEvent(&eve) < 1)
            continue;
        if (eve.type == SDL_QUIT)
            return;
        SDL_Delay(10);
        if (eve.type == SDL_KEYDOWN && eve.key.keysym.sym == SDLK_ESCAPE)
            return;
    }
}

} // namespace

void runSdlMode(SDL_Surface*& background, SDL_Surface* alpha, int depth, int repeat) {
    std::fputs("Running korvalen - SDL version\n", stderr);
    SDL_Surface* screen = openScreen(depth);
    DebugPrintF(kDashes);
    DebugPrintF("Korvalen SDL_image version\n");
    SDL_WM_SetCaption("Korvalen SDL_image version", "Korvalen");
    SDL_EnableKeyRepeat(500, 30);

    SDL_Surface* const loaded = background;
    if (SDL_Surface* converted = SDL_DisplayFormatAlpha(loaded)) {
        SDL_FreeSurface(loaded);
        background = converted;
    }
    // Only its per-pixel alpha is to count.
    background->flags &= ~Uint32{SDL_SRCALPHA};

    drawImageSDL(background, screen, 0, 0);
    reportLayouts(screen, alpha);
    drawImageSDL(alpha, screen, 0, 0);
    // All of it; a size of -1 makes SDL 1.2.15 run past the screen's memory.
    SDL_UpdateRect(screen, 0, 0, 0, 0);
    if (repeat)
        if (SDL_Surface* const copy = SDL_ConvertSurface(screen, screen->format, SDL_SWSURFACE)) {
            repeatBlit(alpha, copy, repeat);
            SDL_FreeSurface(copy);
        }
    waitForEnd();
}
