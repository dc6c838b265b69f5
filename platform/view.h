// SPDX-License-Identifier: Zlib
// What the host's window shows.
#pragma once

#include <chrono>
#include <vector>

#include <exec/types.h>

#include "geometry.h"

namespace host {

struct ScreenRecord;
struct WindowRecord;

// The area of a screen in the host's window, and the pixels last shown there: the whole of a custom screen,
// or the part of the Workbench that holds its windows.
class View {
public:
    // Makes the host show what is in front, after any change of it. False when it cannot.
    bool update() noexcept;
    // Shows what changed, if it is time. Gives the milliseconds to the time when it is; -1: nothing to show.
    int present() noexcept;
    // The host lost what was shown.
    void invalidate() { shown_.clear(); }
    // The window that input goes to.
    WindowRecord* target() const;
    ScreenRecord* screen() const { return screen_; }
    const Box& area() const { return area_; }

private:
    using Clock = std::chrono::steady_clock;

    Boxes changes();

    ScreenRecord* screen_ = nullptr;
    Box area_;
    std::vector<uint8> shown_;
    uint32 seenChanges_ = 0;
    Clock::time_point lastShown_{};
};

// Ends the sleep of the thread that uses the display: another one has drawn on a screen.
void wakeDisplay() noexcept;

} // namespace host
