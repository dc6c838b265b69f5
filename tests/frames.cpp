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
#include <vector>

#include <unistd.h>

#include <SDL.h>

namespace {

std::vector<uint8_t>& frame = *new std::vector<uint8_t>; // red, green, blue; must outlive all destructors

// What the screen shows, as colours: its pixel format does not count.
void takeFrame(SDL_Surface* screen) {
    frame.clear();
    for (int y = 0; y < screen->h; ++y) {
        const uint8_t* row = static_cast<uint8_t*>(screen->pixels) + y * screen->pitch;
        for (int x = 0; x < screen->w; ++x) {
            const bool wide = screen->format->BytesPerPixel == 4;
            const Uint32 pixel =
                wide ? reinterpret_cast<const Uint32*>(row)[x] : reinterpret_cast<const Uint16*>(row)[x];
            uint8_t rgb[3];
            SDL_GetRGB(pixel, screen->format, &rgb[0], &rgb[1], &rgb[2]);
            frame.insert(frame.end(), rgb, rgb + 3);
        }
    }
}

// Drags the picture partly out of the frame, fades it, nudges it and leaves; the SDL mode heeds only the end.
void userDoesNext() {
    constexpr Uint8 wheel = SDL_BUTTON_WHEELUP;
    struct Action {
        Uint8 type, button;
        Uint16 x, y;
        SDLKey key;
    };
    static constexpr Action visit[] = {{SDL_MOUSEBUTTONDOWN, SDL_BUTTON_LEFT, 400, 300, {}},
                                       {SDL_MOUSEMOTION, 0, 690, 480, {}},
                                       {SDL_MOUSEBUTTONUP, SDL_BUTTON_LEFT, 690, 480, {}},
                                       {SDL_MOUSEBUTTONDOWN, wheel, 690, 480, {}},
                                       {SDL_MOUSEBUTTONDOWN, wheel, 690, 480, {}},
                                       {SDL_MOUSEBUTTONDOWN, wheel, 690, 480, {}},
                                       {SDL_KEYDOWN, 0, 0, 0, SDLK_LEFT},
                                       {SDL_KEYDOWN, 0, 0, 0, SDLK_UP},
                                       {SDL_KEYDOWN, 0, 0, 0, SDLK_ESCAPE}};
    static size_t step = 0;
    if (step == std::size(visit))
        return;
    const Action& action = visit[step++];
    SDL_Event event{};
    event.type = action.type;
    if (action.type == SDL_KEYDOWN) {
        event.key.state = SDL_PRESSED;
        event.key.keysym.sym = action.key;
    } else if (action.type == SDL_MOUSEMOTION) {
        event.motion.x = action.x;
        event.motion.y = action.y;
    } else {
        event.button.button = action.button;
        event.button.state = action.type == SDL_MOUSEBUTTONDOWN ? SDL_PRESSED : SDL_RELEASED;
        event.button.x = action.x;
        event.button.y = action.y;
    }
    SDL_PushEvent(&event);
}

void shown() {
    if (SDL_Surface* screen = SDL_GetVideoSurface()) // none while SDL clears a mode that it is still setting
        takeFrame(screen);
}

std::string checksum() {
    uint64_t sum = 0xCBF29CE484222325U;
    for (const uint8_t byte : frame)
        sum = (sum ^ byte) * 0x100000001B3U;
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(sum));
    return text;
}

// Runs when the program is through with everything else.
__attribute__((destructor)) void compare() {
    const char* wanted = std::getenv("KORVALEN_FRAME");
    if (wanted == nullptr) // another program that was started meanwhile
        return;
    if (const char* path = std::getenv("KORVALEN_FRAME_OUT")) {
        std::ofstream file(path, std::ios::binary);
        file << "P6 800 600 255\n";
        file.write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(frame.size()));
    }
    std::ifstream file(ORMSEL_FRAMES_FILE);
    for (std::string name, number; file >> name >> number;)
        if (name == wanted && number == checksum())
            return;
    std::fprintf(stderr, "%s is %s, which is not its number in tests/frames.txt\n", wanted,
                 checksum().c_str());
    std::fflush(nullptr);
    _exit(99);
}

} // namespace

// In place of SDL's own, also for SDL itself.
#define IN_PLACE extern "C" __attribute__((visibility("default"))) void

IN_PLACE SDL_UpdateRect(SDL_Surface*, Sint32, Sint32, Uint32, Uint32) {
    shown();
}

IN_PLACE SDL_UpdateRects(SDL_Surface*, int, SDL_Rect*) {
    shown();
}

// The user is slow: between two actions lie enough calls, and the waits between them, for the frame to show.
IN_PLACE SDL_PumpEvents() {
    static unsigned calls = 0;
    if (!frame.empty() && ++calls % 16 == 0)
        userDoesNext();
}
