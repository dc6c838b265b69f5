// SPDX-License-Identifier: Zlib
// Two windows on the Workbench of a private X server: what the host's window shows of them, and what they are
// told of a user's input.
#include <sstream>

#include <SDL_error.h>
#include <gtest/gtest.h>

#include <proto/exec.h>
#include <proto/graphics.h>
#include <proto/intuition.h>

// NOLINTBEGIN(readability-identifier-naming): Xlib has other things of the platform's names
#define Window XWindow
#define Screen XScreen
// NOLINTEND(readability-identifier-naming)
#include "tools/x11_driver.h"
#undef Window
#undef Screen

namespace {

Window* open(int left, uint32 colour) {
    Window* const window = OpenWindowTags(nullptr, WA_Left, left, WA_Top, 50, WA_Width, 100, WA_Height, 80,
                                          WA_Flags, WFLG_CLOSEGADGET | WFLG_ACTIVATE, WA_IDCMP,
                                          IDCMP_RAWKEY | IDCMP_MOUSEBUTTONS | IDCMP_CHANGEWINDOW, TAG_DONE);
    SetRPAttrs(window->RPort, RPTAG_APenColor, colour, TAG_DONE);
    RectFill(window->RPort, 0, 0, 99, 79);
    return window;
}

TEST(Windows, TwoOnTheDesktopAreSeenAndGetTheirInput) {
    const x11::Server xvfb(640, 480);
    setenv("DISPLAY", xvfb.name().c_str(), 1);
    setenv("SDL_VIDEODRIVER", "x11", 1);
    // Not cut to what the desktop can show.
    EXPECT_FALSE(OpenScreenTags(nullptr, SA_Width, 4000, SA_Height, 300, SA_Depth, 24, TAG_DONE));
    EXPECT_STREQ(SDL_GetError(), "4000x300 pixels are more than the desktop's 640x480");

    const std::pair<Window*, const char*> windows[] = {{open(20, 0xFFFF0000), "red"},
                                                       {open(140, 0xFF00FF00), "green"}};
    std::ostringstream told; // "window class code qualifier x y"
    const auto listen = [&] {
        for (const auto& [window, name] : windows)
            while (auto* const m = reinterpret_cast<IntuiMessage*>(GetMsg(window->UserPort))) {
                told << name << std::hex << ' ' << m->Class << ' ' << std::dec << m->Code << std::hex << ' '
                     << m->Qualifier << std::dec << ' ' << m->MouseX << ' ' << m->MouseY << '\n';
                ReplyMsg(&m->ExecMessage);
            }
        return told.str();
    };
    const auto tells = [&](const std::string& text) {
        return x11::waitFor([&] { return listen().find(text) != std::string::npos; });
    };
    x11::User user(xvfb.name());
    const auto shows = [&](int width, int x, uint32_t colour) {
        return x11::waitFor(
            [&] { return listen(), user.find(width, 80) && user.look().at(x, 40) == colour; });
    };
    EXPECT_TRUE(shows(220, 50, 0xFF0000) && shows(220, 110, 0) && shows(220, 170, 0x00FF00));

    // Keys go to the window that was opened last, or clicked last.
    user.focus();
    user.type(XK_KP_Add);
    EXPECT_TRUE(tells("green 400 94 100 ")) << told.str();
    user.moveTo(33, 44);
    user.click(1);
    EXPECT_TRUE(tells("red 8 104 0 33 44\nred 8 232 0 33 44\n")) << told.str();
    user.type(XK_a);
    EXPECT_TRUE(tells("red 400 32 0 33 44\nred 400 160 0 33 44\n")) << told.str();
    user.moveTo(125, 6);
    user.click(1);
    EXPECT_TRUE(tells("green 8 104 0 5 6\n")) << told.str();
    // A key that is held down is pressed again and again.
    user.key(XK_b, true);
    EXPECT_TRUE(tells("green 400 53 0 5 6\ngreen 400 53 200 5 6\n")) << told.str();
    user.key(XK_b, false);

    user.moveWindow(77, 99);
    EXPECT_TRUE(tells("red 2000000 0 ") && tells("green 2000000 0 ")) << told.str();

    // The host's window shows as much of the desktop as holds both.
    MoveWindow(windows[1].first, -60, 0);
    EXPECT_TRUE(shows(160, 70, 0x00FF00));
    WindowToBack(windows[1].first);
    EXPECT_TRUE(shows(160, 70, 0xFF0000));
    WindowToFront(windows[1].first);
    EXPECT_TRUE(shows(160, 70, 0x00FF00));
    for (const auto& [window, name] : windows)
        CloseWindow(window);
}

} // namespace
