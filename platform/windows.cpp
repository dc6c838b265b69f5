// SPDX-License-Identifier: Zlib
// intuition: windows.
#include <algorithm>

#include <SDL_error.h>
#include <proto/exec.h>
#include <proto/intuition.h>
#include <proto/layers.h>
#include <proto/utility.h>

#include "guard.h"
#include "intuition.h"
#include "tags.h"

namespace host {

WindowRecord::WindowRecord() : Window{} {
    initPort(replies, nullptr, 0);
}

WindowRecord::~WindowRecord() {
    DeleteMsgPort(UserPort);
}

namespace {

// A tag's number, clamped to a range; a huge one counts as the upper end.
int16 clampedTag(Tag tag, long fallback, long low, long high, const TagItem* tags) {
    const long value = static_cast<int32>(GetTagData(tag, static_cast<TagData>(fallback), tags));
    return static_cast<int16>(std::clamp(value, low, high));
}

uint32 layerFlags(uint32 windowFlags) {
    const uint32 kind = windowFlags & WFLG_SUPER_BITMAP     ? LAYERSUPER
                        : windowFlags & WFLG_SIMPLE_REFRESH ? LAYERSIMPLE
                                                            : LAYERSMART;
    return kind | (windowFlags & WFLG_BACKDROP ? LAYERBACKDROP : 0);
}

std::unique_ptr<WindowRecord> makeWindow(ScreenRecord& screen, const TagItem* tags) {
    auto window = std::make_unique<WindowRecord>();
    window->WScreen = &screen;
    window->Flags = static_cast<uint32>(GetTagData(WA_Flags, 0, tags));
    window->IDCMPFlags = static_cast<uint32>(GetTagData(WA_IDCMP, 0, tags));
    if (const auto* const title = pointerTag<const char*>(WA_Title, tags))
        window->title = title;
    const Tag widthTag = FindTagItem(WA_InnerWidth, tags) ? WA_InnerWidth : WA_Width;
    const Tag heightTag = FindTagItem(WA_InnerHeight, tags) ? WA_InnerHeight : WA_Height;
    window->Width = clampedTag(widthTag, screen.Width, 1, screen.Width, tags);
    window->Height = clampedTag(heightTag, screen.Height, 1, screen.Height, tags);
    window->LeftEdge = clampedTag(WA_Left, 0, 0, screen.Width - window->Width, tags);
    window->TopEdge = clampedTag(WA_Top, 0, 0, screen.Height - window->Height, tags);
    if (window->IDCMPFlags) {
        window->UserPort = CreateMsgPort();
        if (!window->UserPort)
            return nullptr;
    }
    auto* const super = pointerTag<BitMap*>(WA_SuperBitMap, tags);
    const Box box = window->box();
    window->WLayer = CreateUpfrontLayer(&screen.layers, screen.bitmap.get(), static_cast<int32>(box.x0),
                                        static_cast<int32>(box.y0), static_cast<int32>(box.x1 - 1),
                                        static_cast<int32>(box.y1 - 1), layerFlags(window->Flags), super);
    if (!window->WLayer)
        return nullptr;
    window->RPort = window->WLayer->rp;
    return window;
}

void linkWindows(ScreenRecord& screen) {
    Window* next = nullptr;
    for (WindowRecord* window : screen.windows) {
        window->NextWindow = next;
        next = window;
    }
    screen.FirstWindow = next;
}

// Takes a window off its screen and frees it.
void removeWindow(WindowRecord* window) {
    ScreenRecord& screen = window->screen();
    std::erase(screen.windows, window);
    if (screen.chosen == window)
        screen.chosen = nullptr;
    linkWindows(screen);
    if (!DeleteLayer(0, window->WLayer))
        discardLayer(record(window->WLayer));
    intuition().view.update();
    delete window;
}

} // namespace

} // namespace host

using namespace host;

Window* OpenWindowTagList(const NewWindow* nw, const TagItem* tags) noexcept {
    if (nw)
        return nullptr;
    SDL_SetError("No memory for a window"); // unless the screen or the display has another reason
    auto* const window = orFail<WindowRecord*>(nullptr, [&]() -> WindowRecord* {
        auto* const wanted = pointerTag<Screen*>(WA_CustomScreen, tags);
        ScreenRecord* const screen = wanted ? &record(wanted) : openWorkbench();
        if (!screen)
            return nullptr;
        screen->windows.reserve(screen->windows.size() + 1);
        WindowRecord* const made = makeWindow(*screen, tags).release();
        if (!made)
            return nullptr;
        screen->windows.push_back(made);
        linkWindows(*screen);
        if (intuition().view.update())
            return made;
        removeWindow(made);
        return nullptr;
    });
    if (!window) {
        closeUnusedWorkbench();
    } else if (window->Flags & WFLG_ACTIVATE) {
        activate(*window);
    }
    return window;
}

void CloseWindow(Window* which) noexcept {
    removeWindow(&record(which));
    closeUnusedWorkbench();
}

void WindowToFront(Window* which) noexcept {
    WindowRecord& window = record(which);
    if (UpfrontLayer(0, window.WLayer))
        post(window, IDCMP_CHANGEWINDOW, CWCODE_DEPTH);
}

void WindowToBack(Window* which) noexcept {
    WindowRecord& window = record(which);
    if (BehindLayer(0, window.WLayer))
        post(window, IDCMP_CHANGEWINDOW, CWCODE_DEPTH);
}

void MoveWindow(Window* which, int32 dx, int32 dy) noexcept {
    WindowRecord& window = record(which);
    const Screen& screen = window.screen();
    const auto left =
        static_cast<int16>(std::clamp<long>(window.LeftEdge + long{dx}, 0, screen.Width - window.Width));
    const auto top =
        static_cast<int16>(std::clamp<long>(window.TopEdge + long{dy}, 0, screen.Height - window.Height));
    if (!MoveLayer(0, window.WLayer, left - window.LeftEdge, top - window.TopEdge))
        return;
    window.LeftEdge = left;
    window.TopEdge = top;
    intuition().view.update();
    post(window, IDCMP_CHANGEWINDOW, CWCODE_MOVESIZE);
}
