// SPDX-License-Identifier: Zlib
// The display utilities and the native mode when memory runs out and locks fail: nothing may leak, stay
// locked or crash. On SDL's dummy display.
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <host/debug.h>
#include <intuition/intuition.h>
#include <intuition/screens.h>
#include <libraries/Picasso96.h>
#include <proto/Picasso96API.h>

#include "demo/demo_modes.h"
#include "demo/demo_reports.h"
#include "ormsel/ormsel_utils.h"
#include "tests/faults.h"

namespace {

// Collects the debug output, and checks that whatever was taken is given back. When the native mode has
// opened its display, a user moves the picture once and leaves.
struct Watch {
    Watch() {
        HOST_SetDebugSink([](const char* text, void* watch) { static_cast<Watch*>(watch)->hear(text); },
                          this);
    }
    ~Watch() {
        failAllocations(0, 0);
        failLocks(0, 0);
        HOST_SetDebugSink(nullptr, nullptr);
        EXPECT_EQ(liveAllocations(), allocations);
        EXPECT_EQ(heldBitMapLocks(), 0);
    }
    void hear(const std::string& text) {
        said += text;
        // Esc three times: what fails may be the message that brings it.
        for (const SDLKey key : {SDLK_LEFT, SDLK_ESCAPE, SDLK_ESCAPE, SDLK_ESCAPE}) {
            SDL_Event event{};
            event.type = SDL_KEYDOWN;
            event.key.keysym.sym = key;
            if (text.starts_with("Destintion"))
                SDL_PushEvent(&event);
        }
    }
    std::string said;
    long allocations = liveAllocations();
};

TEST(Utils, FormatNames) {
    EXPECT_STREQ(p96Fmt2Str(20), "RGBFB_YUV422PAPC");
    EXPECT_STREQ(p96Fmt2Str(21), "");
}

TEST(Utils, TheDisplayIsWhatWasAskedFor) {
    const struct {
        unsigned long width, height, depth, flags;
    } cases[] = {{800, 600, 16, 1}, {800, 600, 32, 1}, {800, 600, 16, 2}, {5000, 4000, 16, 0}};
    for (const auto& [width, height, depth, flags] : cases) {
        const Watch watch;
        ORU_VideoInfo* const vi = ORU_InitVideo(width, height, depth, flags);
        ASSERT_TRUE(vi);
        const auto& [screen, window, fullscreen] = *vi;
        EXPECT_EQ(fullscreen != FALSE, flags == 1); // only the lowest bit means full screen
        EXPECT_EQ(window->Width, width > 800 ? screen->Width : 800);
        EXPECT_EQ(window->Height, height > 600 ? screen->Height : 600);
        EXPECT_EQ(window->LeftEdge, (screen->Width - window->Width) / 2);
        EXPECT_EQ(window->TopEdge, (screen->Height - window->Height) / 2);
        const uint32 bits = p96GetBitMapAttr(screen->RastPort.BitMap, P96BMA_DEPTH);
        EXPECT_TRUE(!fullscreen || (bits == 16) == (depth == 16)) << bits;
        ORU_CloseVideo(vi);
    }
    ORU_CloseVideo(nullptr);
}

int displayDepth() {
    SDL_InitSubSystem(SDL_INIT_VIDEO);
    const int depth = SDL_GetVideoInfo()->vfmt->BitsPerPixel;
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    return depth;
}

TEST(NativeMode, FaultsLeaveNothingOpen) {
    SDL_Surface* const picture =
        SDL_CreateRGBSurface(SDL_SWSURFACE, 300, 300, 32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000);
    SDL_FillRect(picture, nullptr, 0x80808080);
    ASSERT_EQ(TTF_Init(), 0);
    for (const bool fullscreen : {false, true}) {
        std::set<std::string> complaints;
        // @return whether the display opened
        const auto run = [&](void (*fail)(long, long), long skip, long count) {
            const Watch watch;
            fail(skip, count);
            runNativeMode(picture, picture, 16, fullscreen);
            const bool opened = watch.said.find("Destintion") != std::string::npos;
            if (!opened)
                complaints.insert(watch.said.substr(watch.said.rfind("-\n") + 2));
            return opened;
        };
        EXPECT_TRUE(run(failLocks, 0, 100000));
        for (long skip = 0; skip < 60; ++skip) {
            EXPECT_TRUE(run(failLocks, skip, 1));
            run(failAllocations, skip, 1);
        }
        const std::string size = fullscreen ? "800x600" : "1024x768";
        std::set<std::string> expected = {"OpenScreen failed!\nNo memory for a screen of " + size +
                                              " pixels\n",
                                          "OpenWindow failed!\nNo memory for a window\n", ""};
        // A 16-bit screen is widened first for a display of more bits, which SDL 2's dummy display has.
        if (displayDepth() >= 24)
            expected.insert((fullscreen ? "OpenScreen" : "OpenWindow") +
                            std::string(" failed!\nNo memory for the display's picture\n"));
        EXPECT_EQ(complaints, expected);
    }
    TTF_Quit();
    SDL_FreeSurface(picture);
}

} // namespace
