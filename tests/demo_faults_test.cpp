// SPDX-License-Identifier: Zlib
// The display utilities and the native mode when memory runs out and locks fail: nothing may leak, stay
// locked or crash. On SDL's dummy display.
#include <functional>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <host/testing.h>
#include <intuition/intuition.h>
#include <intuition/screens.h>
#include <libraries/Picasso96.h>
#include <proto/Picasso96API.h>

#include "demo/demo_modes.h"
#include "demo/demo_reports.h"
#include "ormsel/ormsel_utils.h"

namespace {

/// Collects the debug output, and checks that whatever was taken is given back.
class Watch {
public:
    explicit Watch(std::function<void(const std::string&)> onText = {}) : onText_(std::move(onText)) {
        HOST_SetDebugSink(
            [](const char* text, void* user) {
                auto& watch = *static_cast<Watch*>(user);
                watch.said += text;
                if (watch.onText_)
                    watch.onText_(text);
            },
            this);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        HOST_FailAllocations(0, 0);
        HOST_FailLocks(0, 0);
        HOST_SetDebugSink(nullptr, nullptr);
        EXPECT_EQ(HOST_LiveAllocations(), allocations_);
        EXPECT_EQ(HOST_HeldBitMapLocks(), 0);
    }
    std::string said;

private:
    std::function<void(const std::string&)> onText_;
    long allocations_ = HOST_LiveAllocations();
};

using VideoInfo = std::unique_ptr<ORU_VideoInfo, void (*)(ORU_VideoInfo*)>;

VideoInfo initVideo(unsigned long width, unsigned long height, unsigned long depth,
                    unsigned long fullscreen) {
    return {ORU_InitVideo(width, height, depth, fullscreen), ORU_CloseVideo};
}

TEST(Utils, FormatNames) {
    for (const auto& [format, name] : {std::pair{0UL, "RGBFB_NONE"},
                                       {4UL, "RGBFB_R5G6B5PC"},
                                       {9UL, "RGBFB_B8G8R8A8"},
                                       {14UL, "RGBFB_YUV422CGX"},
                                       {20UL, "RGBFB_YUV422PAPC"},
                                       {21UL, ""},
                                       {0xFFFFFFFFUL, ""}})
        EXPECT_STREQ(p96Fmt2Str(format), name);
}

TEST(Utils, WindowIsCentredAndClampedToTheScreen) {
    const Watch watch;
    {
        const VideoInfo vi = initVideo(800, 600, 16, 2); // only the lowest bit means full screen
        ASSERT_TRUE(vi);
        EXPECT_FALSE(vi->is_fullscreen);
        EXPECT_EQ(vi->window->Width, 800);
        EXPECT_EQ(vi->window->LeftEdge, (vi->screen->Width - 800) / 2);
        EXPECT_EQ(vi->window->TopEdge, (vi->screen->Height - 600) / 2);
    }
    const VideoInfo vi = initVideo(5000, 4000, 16, 0);
    ASSERT_TRUE(vi);
    EXPECT_LE(vi->window->LeftEdge + vi->window->Width, vi->screen->Width);
    EXPECT_LE(vi->window->TopEdge + vi->window->Height, vi->screen->Height);
    ORU_CloseVideo(nullptr);
}

TEST(Utils, OwnScreenHasTheDepthAskedForAndIsBlack) {
    for (const unsigned long depth : {16UL, 32UL}) {
        const Watch watch;
        const VideoInfo vi = initVideo(800, 600, depth, 1);
        ASSERT_TRUE(vi);
        EXPECT_TRUE(vi->is_fullscreen);
        EXPECT_EQ(vi->window->Width, 800);
        EXPECT_EQ(vi->window->Height, 600);
        RenderInfo ri;
        BitMap* const bitmap = vi->screen->RastPort.BitMap;
        const int32 lock = p96LockBitMap(bitmap, reinterpret_cast<uint8*>(&ri), sizeof ri);
        ASSERT_NE(lock, 0);
        EXPECT_EQ(ri.RGBFormat == RGBFB_R5G6B5, depth == 16) << p96Fmt2Str(ri.RGBFormat);
        const auto* last =
            static_cast<const uint8*>(ri.Memory) + 599 * ri.BytesPerRow + 799 * (depth == 16 ? 2 : 3);
        EXPECT_EQ(last[0] | last[1], 0);
        p96UnlockBitMap(bitmap, lock);
    }
}

TEST(Utils, FailedAllocationsLeaveNothingOpen) {
    for (const unsigned long fullscreen : {0UL, 1UL}) {
        std::set<std::string> said;
        for (long skip = 0; skip < 40; ++skip) {
            Watch watch;
            HOST_FailAllocations(skip, 1);
            if (!initVideo(800, 600, 16, fullscreen))
                said.insert(watch.said);
        }
        EXPECT_EQ(said, (std::set<std::string>{"OpenScreen failed!\n", "OpenWindow failed!\n", ""}));
        EXPECT_TRUE(initVideo(800, 600, 16, fullscreen));
    }
}

class NativeModeFaults : public testing::TestWithParam<bool> {
protected:
    static SDL_Surface* surface(int width, int height, int bits, Uint32 alphaMask) {
        SDL_Surface* made =
            SDL_CreateRGBSurface(SDL_SWSURFACE, width, height, bits, 0xFF0000, 0xFF00, 0xFF, alphaMask);
        SDL_FillRect(made, nullptr, 0x80808080);
        return made;
    }
    static void press(SDLKey key) {
        SDL_Event event{};
        event.type = SDL_KEYDOWN;
        event.key.keysym.sym = key;
        SDL_PushEvent(&event);
    }
    /// Runs the mode with a user who moves the picture once and leaves; how many times the display opened.
    int run(const std::function<void()>& makeFault) {
        int opened = 0;
        const Watch watch([&](const std::string& text) {
            if (!text.starts_with("Destintion"))
                return;
            ++opened;
            // Esc three times: what fails may be the message that brings it.
            for (const SDLKey key : {SDLK_LEFT, SDLK_ESCAPE, SDLK_ESCAPE, SDLK_ESCAPE})
                press(key);
        });
        makeFault();
        runNativeMode(background.get(), alpha.get(), 16, GetParam());
        return opened;
    }

    using Surface = std::unique_ptr<SDL_Surface, void (*)(SDL_Surface*)>;
    Surface background{surface(800, 600, 24, 0), SDL_FreeSurface};
    Surface alpha{surface(300, 300, 32, 0xFF000000), SDL_FreeSurface};
};

TEST_P(NativeModeFaults, AllocationsAndLocksFailOneByOne) {
    ASSERT_EQ(TTF_Init(), 0);
    int opened = 0;
    constexpr long faults = 60;
    for (long skip = 0; skip < faults; ++skip)
        opened += run([&] { HOST_FailAllocations(skip, 1); });
    EXPECT_GT(opened, 0);
    EXPECT_LT(opened, faults);
    for (long skip = 0; skip < faults; ++skip)
        EXPECT_EQ(run([&] { HOST_FailLocks(skip, 1); }), 1);
    EXPECT_EQ(run([] { HOST_FailLocks(0, 100000); }), 1);
    TTF_Quit();
}

INSTANTIATE_TEST_SUITE_P(Displays, NativeModeFaults, testing::Values(false, true));

} // namespace
