// SPDX-License-Identifier: Zlib
// intuition: screens.
#include <algorithm>
#include <cstdlib>
#include <optional>

#include <SDL_error.h>
#include <proto/exec.h>
#include <proto/intuition.h>
#include <proto/utility.h>

#include "guard.h"
#include "intuition.h"
#include "modes.h"
#include "tags.h"

namespace host {

namespace {

// Gives a new screen its size and bitmap. False when memory is short.
bool furnish(ScreenRecord& screen, const Mode& mode) {
    screen.bitmap = makeBitMap(mode.width, mode.height, formatForDepth(mode.depth), true);
    if (!screen.bitmap) {
        SDL_SetError("No memory for a screen of %ux%u pixels", mode.width, mode.height);
        return false;
    }
    screen.bitmap->onBoard = true;
    screen.Width = static_cast<int16>(mode.width);
    screen.Height = static_cast<int16>(mode.height);
    screen.RastPort.BitMap = screen.bitmap.get();
    return true;
}

void destroyScreen(ScreenRecord* screen) {
    std::erase(intuition().screens, screen);
    intuition().view.update();
    delete screen;
}

uint32 workbenchDepth() {
    const char* const text = std::getenv("ORMSEL_WORKBENCH_DEPTH");
    if (!text || !*text)
        return 16;
    char* end;
    const auto depth = static_cast<uint32>(std::strtoul(text, &end, 10));
    if (!*end && isScreenDepth(depth))
        return depth;
    DebugPrintF("ORMSEL_WORKBENCH_DEPTH: '%s' is none of 15, 16, 24 and 32, using 16.\n", text);
    return 16;
}

bool isWorkbenchName(const char* name) {
    static constexpr char kExpected[] = "workbench";
    if (!name)
        return true;
    std::size_t i = 0;
    while (name[i] && (name[i] | 0x20) == kExpected[i])
        ++i;
    return !name[i] && !kExpected[i];
}

// The mode that the tags of a screen ask for.
std::optional<Mode> wantedMode(const TagItem* tags) {
    Mode mode = {};
    if (const TagItem* const id = FindTagItem(SA_DisplayID, tags)) {
        const auto found = findMode(static_cast<uint32>(id->ti_Data));
        if (!found)
            return std::nullopt;
        mode = *found;
    } else {
        const Size size = desktopSize();
        mode = {static_cast<uint32>(size.width), static_cast<uint32>(size.height), workbenchDepth()};
    }
    mode.width = static_cast<uint32>(GetTagData(SA_Width, mode.width, tags));
    mode.height = static_cast<uint32>(GetTagData(SA_Height, mode.height, tags));
    mode.depth = static_cast<uint32>(GetTagData(SA_Depth, mode.depth, tags));
    return isScreenDepth(mode.depth) ? std::optional(mode) : std::nullopt;
}

} // namespace

ScreenRecord* openWorkbench() {
    Intuition& shared = intuition();
    if (shared.workbench)
        return shared.workbench;
    auto screen = std::make_unique<ScreenRecord>();
    screen->title = "Workbench";
    const auto [width, height] = desktopSize();
    if (!furnish(*screen, {static_cast<uint32>(width), static_cast<uint32>(height), workbenchDepth()}))
        return nullptr;
    shared.screens.push_back(screen.get());
    return shared.workbench = screen.release();
}

void closeUnusedWorkbench() {
    ScreenRecord*& workbench = intuition().workbench;
    if (!workbench || workbench->locks > 0 || !workbench->windows.empty())
        return;
    destroyScreen(workbench);
    workbench = nullptr;
}

} // namespace host

using namespace host;

Screen* OpenScreenTagList(const NewScreen* ns, const TagItem* tags) noexcept {
    return orFail<Screen*>(nullptr, [&]() -> Screen* {
        auto screen = std::make_unique<ScreenRecord>();
        const auto mode = wantedMode(tags);
        if (ns || !mode) {
            SDL_SetError("No such display mode");
            return nullptr;
        }
        const auto* const title = pointerTag<const char*>(SA_Title, tags);
        screen->title = title ? title : "";
        screen->custom = true;
        if (!furnish(*screen, *mode))
            return nullptr;
        Intuition& shared = intuition();
        shared.screens.insert(shared.screens.begin(), screen.get());
        if (shared.view.update())
            return screen.release();
        destroyScreen(screen.release());
        return nullptr;
    });
}

BOOL CloseScreen(Screen* which) noexcept {
    ScreenRecord& screen = record(which);
    if (!screen.custom || !screen.windows.empty())
        return FALSE;
    destroyScreen(&screen);
    return TRUE;
}

void ScreenToFront(Screen* which) noexcept {
    auto& screens = intuition().screens;
    const auto at = std::find(screens.begin(), screens.end(), &record(which));
    std::rotate(screens.begin(), at, at + 1);
    intuition().view.update();
}

Screen* LockPubScreen(CONST_STRPTR name) noexcept {
    if (!isWorkbenchName(name))
        return nullptr;
    ScreenRecord* const workbench = orFail<ScreenRecord*>(nullptr, openWorkbench);
    if (workbench)
        ++workbench->locks;
    return workbench;
}

void UnlockPubScreen(CONST_STRPTR name, Screen* screen) noexcept {
    ScreenRecord* const workbench = intuition().workbench;
    if (!workbench || (screen ? screen != workbench : !isWorkbenchName(name)))
        return;
    --workbench->locks;
    closeUnusedWorkbench();
}
