// SPDX-License-Identifier: Zlib
#include "view.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "intuition.h"

namespace host {

namespace {

// Pictures are shown no more often than this.
constexpr std::chrono::milliseconds kFrameInterval{16};

// What the host's window is to show; the Workbench without windows is not shown.
Box visibleArea(const ScreenRecord& screen) {
    if (screen.custom)
        return screen.bitmap->box();
    if (screen.windows.empty())
        return {};
    Box area = screen.windows.front()->box();
    for (const WindowRecord* window : screen.windows)
        area = around(area, window->box());
    return area;
}

} // namespace

bool View::update() noexcept {
    const Intuition& shared = intuition();
    ScreenRecord* screen = shared.screens.empty() ? nullptr : shared.screens.front();
    const Box area = screen ? visibleArea(*screen) : Box{};
    if (!area)
        screen = nullptr;
    if (screen == screen_ && area == area_)
        return true;
    const bool opened =
        screen && screen == screen_ && area.width() == area_.width() && area.height() == area_.height();
    screen_ = screen;
    area_ = area;
    invalidate();
    if (!screen) {
        hostDisplay().close();
        return true;
    }
    const WindowRecord* const window = screen->custom ? nullptr : target();
    const std::string& title = window ? window->title : screen->title;
    return opened || hostDisplay().open({static_cast<int>(area.width()), static_cast<int>(area.height())},
                                        *screen->bitmap->format, screen->custom, title.c_str());
}

WindowRecord* View::target() const {
    if (!screen_)
        return nullptr;
    // On the desktop the host chooses among windows, and there is always one that it would give its input to.
    const bool first = !screen_->custom && !screen_->chosen && !screen_->windows.empty();
    return first ? screen_->windows.front() : screen_->chosen;
}

// Where the pixels differ from those shown; they count as shown afterwards.
Boxes View::changes() {
    BitMapRecord& bitmap = *screen_->bitmap;
    const std::size_t rowBytes = static_cast<std::size_t>(area_.width()) * bitmap.format->bytes;
    const std::size_t total = rowBytes * static_cast<std::size_t>(area_.height());
    if (shown_.size() != total) {
        shown_.resize(total);
        for (long y = area_.y0; y < area_.y1; ++y)
            std::memcpy(&shown_[static_cast<std::size_t>(y - area_.y0) * rowBytes], bitmap.at(area_.x0, y),
                        rowBytes);
        return {area_};
    }
    Boxes result;
    for (long y = area_.y0; y < area_.y1; ++y) {
        const uint8* const now = bitmap.at(area_.x0, y);
        uint8* const before = &shown_[static_cast<std::size_t>(y - area_.y0) * rowBytes];
        if (std::memcmp(now, before, rowBytes) == 0)
            continue;
        std::size_t first = 0, end = rowBytes;
        while (now[first] == before[first])
            ++first;
        while (now[end - 1] == before[end - 1])
            --end;
        std::memcpy(before + first, now + first, end - first);
        const long bytes = bitmap.format->bytes;
        const Box row = {area_.x0 + static_cast<long>(first) / bytes, y,
                         area_.x0 + (static_cast<long>(end) + bytes - 1) / bytes, y + 1};
        // Rows that follow one another make one rectangle.
        if (!result.empty() && result.back().y1 == y)
            result.back() = around(result.back(), row);
        else
            result.push_back(row);
    }
    return result;
}

int View::present() noexcept {
    using std::chrono::ceil, std::chrono::milliseconds;
    if (!screen_)
        return -1;
    const uint32 now = screen_->bitmap->changes;
    if (now == seenChanges_ && !shown_.empty())
        return -1;
    const Clock::time_point time = Clock::now();
    if (const auto due = lastShown_ + kFrameInterval; time < due)
        return static_cast<int>(ceil<milliseconds>(due - time).count());
    lastShown_ = time;
    try {
        const Boxes areas = changes();
        if (!areas.empty())
            hostDisplay().present(*screen_->bitmap, area_.x0, area_.y0, areas);
        seenChanges_ = now;
        return -1;
    } catch (const std::bad_alloc&) {
        invalidate();
        return static_cast<int>(kFrameInterval.count());
    }
}

void wakeDisplay() noexcept {
    Intuition& shared = intuition();
    if (shared.drawnSeen != 0 && shared.drawnSeen.exchange(0) != 0)
        shared.drawn.wake();
}

} // namespace host
