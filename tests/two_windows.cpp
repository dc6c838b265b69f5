// SPDX-License-Identifier: Zlib
// A program with two windows on the Workbench, red at the left and green at the right, that tells of their
// input:
// "<window> <class> <code> <qualifier> <x> <y>". Esc ends it. First it tries a screen that is too large.
#include <cstdio>

#include <SDL_error.h>

#include <proto/exec.h>
#include <proto/graphics.h>
#include <proto/intuition.h>

namespace {

constexpr uint32 kEsc = 69;

Window* open(int left, uint32 color) {
    Window* const window = OpenWindowTags(nullptr, WA_Left, left, WA_Top, 50, WA_Width, 100, WA_Height, 80,
                                          WA_Flags, WFLG_CLOSEGADGET | WFLG_ACTIVATE, WA_IDCMP,
                                          IDCMP_RAWKEY | IDCMP_MOUSEBUTTONS | IDCMP_CHANGEWINDOW, TAG_DONE);
    if (!window)
        return nullptr;
    SetRPAttrs(window->RPort, RPTAG_APenColor, color, TAG_DONE);
    RectFill(window->RPort, 0, 0, 99, 79);
    return window;
}

// @return whether to go on
bool tell(const char* name, Window* window) {
    bool goesOn = true;
    while (auto* const message = reinterpret_cast<IntuiMessage*>(GetMsg(window->UserPort))) {
        std::printf("%s %x %d %x %d %d\n", name, message->Class, message->Code, message->Qualifier,
                    message->MouseX, message->MouseY);
        goesOn = goesOn && !(message->Class == IDCMP_RAWKEY && message->Code == kEsc);
        ReplyMsg(&message->ExecMessage);
    }
    std::fflush(stdout);
    return goesOn;
}

} // namespace

int main() {
    // Not cut to what the desktop can show.
    if (OpenScreenTags(nullptr, SA_Width, 4000, SA_Height, 300, SA_Depth, 24, TAG_DONE))
        return 1;
    std::printf("%s\n", SDL_GetError());
    std::fflush(stdout);
    Window* const red = open(20, 0xFFFF0000);
    Window* const green = open(140, 0xFF00FF00);
    if (!red || !green)
        return 1;
    bool goesOn = true;
    while (goesOn) {
        Wait(1U << red->UserPort->mp_SigBit | 1U << green->UserPort->mp_SigBit);
        const bool redGoesOn = tell("red", red), greenGoesOn = tell("green", green);
        goesOn = redGoesOn && greenGoesOn;
    }
    CloseWindow(red);
    CloseWindow(green);
    return 0;
}
