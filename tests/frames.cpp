// SPDX-License-Identifier: Zlib
//
// Preloaded into Korvalen, which runs on SDL's dummy display: plays a short visit of a user and, at the
// program's end, compares the last frame that it showed with KORVALEN_FRAME's number in tests/frames.txt.
// The exit code is 99 when they differ. KORVALEN_FRAME_OUT=<file> saves the frame as a PPM picture.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <dlfcn.h>
#include <unistd.h>

#include <SDL.h>

namespace {

std::string& frame = *new std::string; // red, green, blue; must outlive all destructors

// What the screen shows, as colours: its pixel format does not count.
void takeFrame() {
    const SDL_Surface* screen = SDL_GetVideoSurface();
    if (screen == nullptr) // SDL clears a mode that it is still setting
        return;
    frame.clear();
    for (int i = 0; i < screen->w * screen->h; ++i) {
        const auto* row = static_cast<const uint8_t*>(screen->pixels) + i / screen->w * screen->pitch;
        const auto* wide = reinterpret_cast<const Uint32*>(row) + i % screen->w;
        const auto* narrow = reinterpret_cast<const Uint16*>(row) + i % screen->w;
        const SDL_PixelFormat& f = *screen->format;
        const Uint32 pixel = f.BytesPerPixel == 4 ? *wide : *narrow;
        // SDL_GetRGB() of SDL 1.2; that of the layer over SDL 2 rounds in another way.
        const auto channel = [pixel](Uint32 mask, int shift, int loss) {
            const Uint32 value = (pixel & mask) >> shift;
            return static_cast<uint8_t>((value << loss) + (value >> (8 - 2 * loss)));
        };
        const uint8_t rgb[3] = {channel(f.Rmask, f.Rshift, f.Rloss), channel(f.Gmask, f.Gshift, f.Gloss),
                                channel(f.Bmask, f.Bshift, f.Bloss)};
        frame.append(rgb, rgb + 3);
    }
}

// Drags the picture partly out of the frame, fades it, nudges it and leaves; the SDL mode heeds only the end.
void userDoesNext() {
    constexpr SDL_MouseButtonEvent kWheel{SDL_MOUSEBUTTONDOWN, 0, SDL_BUTTON_WHEELUP, SDL_PRESSED, 690, 480};
    static constexpr SDL_Event kVisit[] = {
        {.button = {SDL_MOUSEBUTTONDOWN, 0, SDL_BUTTON_LEFT, SDL_PRESSED, 400, 300}},
        {.motion = {SDL_MOUSEMOTION, 0, 0, 690, 480, 0, 0}},
        {.button = {SDL_MOUSEBUTTONUP, 0, SDL_BUTTON_LEFT, SDL_RELEASED, 690, 480}},
        {.button = kWheel},
        {.button = kWheel},
        {.button = kWheel},
        {.key = {SDL_KEYDOWN, 0, SDL_PRESSED, {0, SDLK_LEFT, KMOD_NONE, 0}}},
        {.key = {SDL_KEYDOWN, 0, SDL_PRESSED, {0, SDLK_UP, KMOD_NONE, 0}}},
        {.key = {SDL_KEYDOWN, 0, SDL_PRESSED, {0, SDLK_ESCAPE, KMOD_NONE, 0}}},
    };
    static size_t step = 0;
    if (step == std::size(kVisit))
        return;
    SDL_Event event = kVisit[step++];
    SDL_PushEvent(&event);
}

// Runs when the program is through with everything else.
__attribute__((destructor)) void compare() {
    const char* name = std::getenv("KORVALEN_FRAME");
    if (name == nullptr) // another program that was started meanwhile
        return;
    if (const char* path = std::getenv("KORVALEN_FRAME_OUT"))
        std::ofstream(path, std::ios::binary) << "P6 800 600 255\n" << frame;
    uint64_t sum = 0xCBF29CE484222325U;
    for (const char byte : frame)
        sum = (sum ^ static_cast<uint8_t>(byte)) * 0x100000001B3U;
    // SDL 1.2's own cursor shines through what is blended over it; the layer over SDL 2 draws none.
    constexpr Uint8 kFirstOnSdl2 = 50;
    const bool cursor = SDL_Linked_Version()->patch < kFirstOnSdl2 || std::string(name) != "frame_sdl_32";
    char line[64];
    std::snprintf(line, sizeof line, "%s%s %016llx", name, cursor ? "" : "_without_cursor",
                  static_cast<unsigned long long>(sum));
    std::ifstream file(ORMSEL_FRAMES_FILE);
    for (std::string wanted; std::getline(file, wanted);)
        if (wanted == line)
            return;
    std::fprintf(stderr, "'%s' is not a line of tests/frames.txt\n", line);
    std::fflush(nullptr);
    _exit(99);
}

} // namespace

// In place of SDL's own.
#define IN_PLACE(result) extern "C" __attribute__((visibility("default"))) result
#define REAL(name) reinterpret_cast<decltype(&(name))>(dlsym(RTLD_NEXT, #name))

// The platform has one driver, of a name that no program knows: SDL finds it when it is asked for none.
constexpr char kDriver[] = "dummy";

IN_PLACE(int) SDL_VideoInit(const char* name, Uint32 flags) {
    if (name && std::string(name) == kDriver)
        return REAL(SDL_VideoInit)(name, flags);
    SDL_SetError("No available video device");
    return -1;
}

IN_PLACE(int) SDL_Init(Uint32 flags) {
    setenv("SDL_VIDEODRIVER", kDriver, 0);
    return REAL(SDL_Init)(flags);
}

IN_PLACE(void) SDL_UpdateRect(SDL_Surface*, Sint32, Sint32, Uint32, Uint32) {
    takeFrame();
}

IN_PLACE(void) SDL_UpdateRects(SDL_Surface*, int, SDL_Rect*) {
    takeFrame();
}

// The user is slow: between two actions lie enough looks for events for the frame to show.
IN_PLACE(int) SDL_PollEvent(SDL_Event* event) {
    static const auto real = REAL(SDL_PollEvent);
    static unsigned calls = 0;
    if (!frame.empty() && ++calls % 16 == 0)
        userDoesNext();
    return real(event);
}

IN_PLACE(int) SDL_WaitEvent(SDL_Event* event) {
    while (!SDL_PollEvent(event))
        SDL_Delay(1);
    return 1;
}
