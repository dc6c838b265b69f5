// SPDX-License-Identifier: Zlib
// Korvalen, the demonstration of the Ormsel blit library: start-up, options and the common end.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <SDL_image.h>

#include "demo_modes.h"
#include "demo_reports.h"
#include "demo_volume.h"

namespace {

// What the alpha picture is converted to: alpha, red, green, blue from the top of a 32-bit word. The masks
// alone define that; the shifts, which do not match them, are never looked at by the conversion.
constexpr SDL_PixelFormat kAlphaFormat{
    .palette = nullptr,
    .BitsPerPixel = 32,
    .BytesPerPixel = 4,
    .Rloss = 0,
    .Gloss = 0,
    .Bloss = 0,
    .Aloss = 0,
    .Rshift = 8,
    .Gshift = 16,
    .Bshift = 24,
    .Ashift = 0,
    .Rmask = 0x00FF0000,
    .Gmask = 0x0000FF00,
    .Bmask = 0x000000FF,
    .Amask = 0xFF000000,
    .colorkey = 0,
    .alpha = 0,
};

struct Options {
    bool useSdl = false;
    bool fullscreen = false;
    int sd = 16;
    int repeat = 0;
};

// Unknown words are skipped, and later ones override earlier ones.
Options readOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const auto is = [word = argv[i]](const char* longName, const char* shortName) {
            return !std::strcmp(word, longName) || !std::strcmp(word, shortName);
        };
        if (is("--sdl", "-s"))
            options.useSdl = true;
        else if (is("--fullscreen", "-f"))
            options.fullscreen = true;
        else if (is("--window", "-w"))
            options.fullscreen = false;
        else if (is("--repeat", "-r") && ++i < argc)
            options.repeat = std::max(0, std::atoi(argv[i]));
        else if (is("--depth", "-d") && ++i < argc) {
            const int depth = std::atoi(argv[i]);
            if (depth == 16 || depth == 32)
                options.sd = depth;
            else if (depth == 24)
                options.sd = 32;
        }
    }
    return options;
}

// Says on standard error where it looked when there is no picture.
SDL_Surface* load(const char* path) {
    const std::string file = volumePath(path);
    SDL_Surface* const picture = IMG_Load(file.c_str());
    if (!picture)
        std::fprintf(stderr, "No picture in '%s': %s\n", file.c_str(), IMG_GetError());
    return picture;
}

// Gives the picture a layout that the fast routines serve, and a constant alpha.
SDL_Surface* prepareAlpha(SDL_Surface* alpha) {
    SDL_PixelFormat fmt = kAlphaFormat;
    dumpSurfaceInfo("'alpha' before convert", alpha);
    if (SDL_Surface* converted = SDL_ConvertSurface(alpha, &fmt, 0)) {
        SDL_FreeSurface(alpha);
        alpha = converted;
    }
    alpha->flags |= SDL_SRCALPHA;
    alpha->format->alpha = 255;
    dumpSurfaceInfo("'alpha' after convert", alpha);
    return alpha;
}

} // namespace

int main(int argc, char* argv[]) {
    // Kept until the process ends.
    static SDL_Surface* background = nullptr;

    // Whole lines at once, so that a pipe gets them in the order of standard error's.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    background = load("/pictures/blue.png");
    if (!background) {
        std::puts("Could not load 'blue.png'");
        return 20;
    }
    SDL_Surface* alpha = load("/pictures/alpha.png");
    if (!alpha) {
        std::puts("Could not load 'alpha.png'");
        return 20;
    }
    const Options options = readOptions(argc, argv);
    alpha = prepareAlpha(alpha);

    if (TTF_Init() == -1) {
        std::fprintf(stderr, "Couldn't initialize SDL_ttf: %s\n", SDL_GetError());
        return -1;
    }
    std::atexit(TTF_Quit);
    const std::string font = volumePath("/fonts/FreeSans.ttf");
    pFallbackFont = TTF_OpenFont(font.c_str(), 13);
    if (!pFallbackFont)
        std::fprintf(stderr, "No font in '%s': %s\n", font.c_str(), SDL_GetError());

    if (options.useSdl)
        runSdlMode(background, alpha, options.sd, options.repeat);
    else
        runNativeMode(background, alpha, options.sd, options.fullscreen, options.repeat);

    if (pFallbackFont)
        TTF_CloseFont(pFallbackFont);
    SDL_FreeSurface(alpha);
    return 0;
}
