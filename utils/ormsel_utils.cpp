// SPDX-License-Identifier: Zlib
#include "ormsel/ormsel_utils.h"

#include <iterator>

#include <SDL_error.h>
#include <exec/memory.h>
#include <graphics/modeid.h>
#include <graphics/rastport.h>
#include <graphics/rpattr.h>
#include <intuition/intuition.h>
#include <intuition/screens.h>
#include <proto/exec.h>
#include <proto/graphics.h>
#include <proto/intuition.h>

namespace {

constexpr char kWorkbenchName[] = "Workbench";

constexpr uint32 kFullscreenFlags = WFLG_BACKDROP | WFLG_REPORTMOUSE | WFLG_GIMMEZEROZERO | WFLG_BORDERLESS |
                                    WFLG_ACTIVATE | WFLG_RMBTRAP | WFLG_NOCAREREFRESH;
constexpr uint32 kWindowFlags = WFLG_DRAGBAR | WFLG_DEPTHGADGET | WFLG_CLOSEGADGET | WFLG_REPORTMOUSE |
                                WFLG_GIMMEZEROZERO | WFLG_ACTIVATE | WFLG_RMBTRAP | WFLG_NOCAREREFRESH;
constexpr uint32 kInputClasses = IDCMP_MOUSEBUTTONS | IDCMP_MOUSEMOVE | IDCMP_CLOSEWINDOW | IDCMP_RAWKEY |
                                 IDCMP_ACTIVEWINDOW | IDCMP_INACTIVEWINDOW | IDCMP_CHANGEWINDOW |
                                 IDCMP_EXTENDEDMOUSE;
static_assert(kFullscreenFlags == 0x00031F00 && kWindowFlags == 0x0003160E && kInputClasses == 0x0A0C0618);

Screen* openOwnScreen(uint32 width, uint32 height, uint32 depth) {
    const uint32 mode =
        BestModeID(BIDTAG_NominalWidth, width, BIDTAG_NominalHeight, height, BIDTAG_Depth, depth, TAG_DONE);
    return OpenScreenTags(nullptr, SA_Title, "Ormsel Screen", SA_ShowTitle, FALSE, SA_Depth, depth, SA_Type,
                          CUSTOMSCREEN | SCREENQUIET, SA_DisplayID, mode, SA_FullPalette, TRUE, SA_SharePens,
                          TRUE, SA_LikeWorkbench, TRUE, TAG_DONE);
}

Window* openWindow(Screen* screen, uint32 width, uint32 height, bool fullscreen) {
    const auto screenWidth = static_cast<uint32>(screen->Width);
    const auto screenHeight = static_cast<uint32>(screen->Height);
    // A window larger than the screen gets a huge unsigned position here, which the system clamps.
    return OpenWindowTags(nullptr, WA_Left, (screenWidth - width) / 2, WA_Top, (screenHeight - height) / 2,
                          WA_InnerWidth, fullscreen ? screenWidth : width, WA_InnerHeight,
                          fullscreen ? screenHeight : height, WA_Flags,
                          fullscreen ? kFullscreenFlags : kWindowFlags, WA_IDCMP, kInputClasses,
                          WA_CustomScreen, screen, TAG_DONE);
}

void releaseScreen(Screen* screen, bool fullscreen) {
    if (fullscreen)
        CloseScreen(screen);
    else
        UnlockPubScreen(kWorkbenchName, screen);
}

// Says what failed and, where SDL's error tells, why.
void reportFailure(const char* call) {
    DebugPrintF("%s failed!\n", call);
    if (const char* const reason = SDL_GetError(); *reason)
        DebugPrintF("%s\n", reason);
}

void clearToBlack(Screen* screen) {
    SetRPAttrs(&screen->RastPort, RPTAG_APenColor, 0, RPTAG_DrMd, JAM1, TAG_DONE);
    RectFill(&screen->RastPort, 0, 0, screen->Width, screen->Height);
}

} // namespace

ORU_VideoInfo* ORU_InitVideo(unsigned long width, unsigned long height, unsigned long depth,
                             unsigned long fullscreen) ORMSEL_NOEXCEPT {
    const bool ownScreen = fullscreen & 1;
    const auto innerWidth = static_cast<uint32>(width);
    const auto innerHeight = static_cast<uint32>(height);
    const uint32 screenDepth = depth == 32 ? 24 : static_cast<uint32>(depth);

    SDL_ClearError();
    Screen* screen =
        ownScreen ? openOwnScreen(innerWidth, innerHeight, screenDepth) : LockPubScreen(kWorkbenchName);
    if (!screen) {
        reportFailure("OpenScreen");
        return nullptr;
    }
    Window* window = openWindow(screen, innerWidth, innerHeight, ownScreen);
    if (!window) {
        reportFailure("OpenWindow");
        releaseScreen(screen, ownScreen);
        return nullptr;
    }
    auto* vi = static_cast<ORU_VideoInfo*>(AllocVec(sizeof(ORU_VideoInfo), MEMF_CLEAR));
    if (!vi) {
        CloseWindow(window);
        releaseScreen(screen, ownScreen);
        return nullptr;
    }
    vi->screen = screen;
    vi->window = window;
    vi->is_fullscreen = ownScreen;

    if (ownScreen)
        clearToBlack(screen);
    ScreenToFront(screen);
    return vi;
}

void ORU_CloseVideo(ORU_VideoInfo* vi) ORMSEL_NOEXCEPT {
    if (!vi)
        return;
    if (vi->window)
        CloseWindow(vi->window);
    if (vi->screen)
        releaseScreen(vi->screen, vi->is_fullscreen);
    *vi = {};
    FreeVec(vi);
}

const char* p96Fmt2Str(unsigned long format) ORMSEL_NOEXCEPT {
    static constexpr const char* kNames[] = {
        "RGBFB_NONE",       "RGBFB_CLUT",     "RGBFB_R8G8B8",   "RGBFB_B8G8R8",   "RGBFB_R5G6B5PC",
        "RGBFB_R5G5B5PC",   "RGBFB_A8R8G8B8", "RGBFB_A8B8G8R8", "RGBFB_R8G8B8A8", "RGBFB_B8G8R8A8",
        "RGBFB_R5G6B5",     "RGBFB_R5G5B5",   "RGBFB_B5G6R5PC", "RGBFB_B5G5R5PC", "RGBFB_YUV422CGX",
        "RGBFB_YUV411",     "RGBFB_YUV411PC", "RGBFB_YUV422",   "RGBFB_YUV422PC", "RGBFB_YUV422PA",
        "RGBFB_YUV422PAPC",
    };
    static_assert(std::size(kNames) == 21);
    return format < std::size(kNames) ? kNames[format] : "";
}
