// SPDX-License-Identifier: Zlib
// Windows on a private X server: two of them on the Workbench, what the host's window shows of them, and what
// a user does there. CTest sets ORMSEL_TWO_WINDOWS to the program.
#include <cstdlib>

#include <gtest/gtest.h>

#include "tools/x11_driver.h"

namespace {

constexpr uint32_t kRed = 0xFF0000, kGreen = 0x00FF00, kDesktop = 0;

TEST(Windows, TwoOnTheDesktopAreSeenAndGetTheirInput) {
    const x11::Server xvfb(640, 480);
    x11::Program program({std::getenv("ORMSEL_TWO_WINDOWS")}, x11::Program::Output::kCaptured,
                         {{"DISPLAY", xvfb.name()},
                          {"SDL_VIDEODRIVER", "x11"},
                          {"LSAN_OPTIONS", "print_suppressions=0:suppressions=\"" ORMSEL_LEAKS_FILE "\""}});
    x11::User user(xvfb.name());
    const auto says = [&](const std::string& text) {
        return x11::waitFor(
                   [&] { return program.out().find(text) != std::string::npos || program.ended(); }) &&
               !program.ended();
    };
    const auto shows = [&](int x, uint32_t color) {
        return x11::waitFor([&] { return user.find(220, 80) && user.look().at(x, 40) == color; });
    };
    EXPECT_TRUE(shows(50, kRed) && shows(110, kDesktop) && shows(170, kGreen)) << program.err();

    EXPECT_TRUE(says("4000x300 pixels are more than the desktop's 640x480\n")) << program.out();

    // Keys go to the window that was opened last, or clicked last.
    user.focus();
    user.type(XK_KP_Add);
    EXPECT_TRUE(says("green 400 94 100 ")) << program.out();
    user.moveTo(33, 44);
    user.click(1);
    EXPECT_TRUE(says("red 8 104 0 33 44\nred 8 232 0 33 44\n")) << program.out();
    user.type(XK_a);
    EXPECT_TRUE(says("red 400 32 0 33 44\nred 400 160 0 33 44\n")) << program.out();
    user.moveTo(125, 6);
    user.click(1);
    EXPECT_TRUE(says("green 8 104 0 5 6\n")) << program.out();
    // A key that is held down is pressed again and again.
    user.key(XK_b, true);
    EXPECT_TRUE(says("green 400 53 0 5 6\ngreen 400 53 200 5 6\n")) << program.out();
    user.key(XK_b, false);

    user.moveWindow(77, 99);
    EXPECT_TRUE(says("red 2000000 0 ") && says("green 2000000 0 ")) << program.out();

    user.type(XK_Escape);
    EXPECT_EQ(program.exitCode(), 0);
}

} // namespace
