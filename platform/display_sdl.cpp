// SPDX-License-Identifier: Zlib
// The display through SDL 1.2's video.
#include <algorithm>
#include <bitset>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <utility>

#include <SDL.h>
#include <intuition/intuition.h>

#include "display.h"
#include "keymap.h"
#include "x11_window.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

// The window's place is looked at no more often than this: each time the X server is asked.
constexpr std::chrono::milliseconds kPlaceInterval{16};

const char* programName() {
#ifdef __GLIBC__
    return program_invocation_short_name;
#else
    return "Workbench";
#endif
}

uint32 mask(Channel c) {
    return c.width ? ((1U << c.width) - 1) << c.shift : 0;
}

Sint16 s16(long v) {
    return static_cast<Sint16>(v);
}
Uint16 u16(long v) {
    return static_cast<Uint16>(v);
}

// The mouse button's code, or 0 for buttons that the platform does not have.
uint16 buttonCode(Uint8 button) {
    switch (button) {
    case SDL_BUTTON_LEFT:
        return SELECTDOWN;
    case SDL_BUTTON_RIGHT:
        return MENUDOWN;
    case SDL_BUTTON_MIDDLE:
        return MIDDLEDOWN;
    default:
        return 0;
    }
}

// Starts SDL's video with a driver that shows pixels. Left to choose, SDL would fall back to drawing with
// letters in the terminal.
bool startVideo() {
    constexpr const char* kVariable = "SDL_VIDEODRIVER";
    if (std::getenv(kVariable))
        return SDL_InitSubSystem(SDL_INIT_VIDEO) == 0;
    bool started = false;
    for (const char* driver : {"x11", "wayland", "Quartz", "directfb", "fbcon"}) {
        setenv(kVariable, driver, 1);
        started = SDL_InitSubSystem(SDL_INIT_VIDEO) == 0;
        if (started)
            break;
    }
    unsetenv(kVariable);
    return started;
}

// SDL's error as it was, for calls that succeed or clean up: SDL 2, where it serves SDL 1.2's calls, replaces
// it then, too.
class KeptError {
public:
    KeptError() { std::snprintf(text_, sizeof text_, "%s", SDL_GetError()); }
    void restore() const { SDL_SetError("%s", text_); }

private:
    char text_[256];
};

class SdlDisplay : public Display {
public:
    bool connect(Size& desktop) noexcept override;
    void disconnect() noexcept override;
    bool open(Size size, const PixelFormat& format, bool fullscreen, const char* title) noexcept override;
    void close() noexcept override;
    void present(BitMapRecord& bitmap, long originX, long originY, const Boxes& areas) noexcept override;
    bool next(InputEvent& event) noexcept override;
    Attention attention() noexcept override;

private:
    bool start();
    void quit();
    bool hasMoved();
    bool translate(const SDL_Event& from, InputEvent& to);
    bool translateKey(const SDL_KeyboardEvent& from, InputEvent& to);
    bool translateButton(const SDL_MouseButtonEvent& from, InputEvent& to) const;

    // SDL's video is started, by this display and not by the program.
    bool started_ = false;
    bool xKeycodes_ = false;
    // Empty when nobody can tell.
    std::optional<Size> desktop_;
    SDL_Surface* video_ = nullptr;
    // The picture with channels as wide as the display's, where the screen's are narrower: SDL fills with
    // zeroes, which turns white into grey.
    BitMapPtr widened_;
    std::bitset<SDLK_LAST> held_;
    std::optional<std::pair<int, int>> place_;
    Clock::time_point placeSeen_{};
    // There has been something since the last look at the place.
    bool placeDue_ = false;
};

bool SdlDisplay::start() {
    if (SDL_WasInit(SDL_INIT_VIDEO))
        return true;
    const KeptError before;
    started_ = startVideo();
    if (started_)
        before.restore();
    return started_;
}

bool SdlDisplay::connect(Size& desktop) noexcept {
    desktop_.reset();
    if (!start())
        return false;
    // SDL tells the desktop's size until its first video mode is set.
    const SDL_VideoInfo* const info = SDL_GetVideoInfo();
    if (info && info->current_w > 0 && info->current_h > 0)
        desktop_ = Size{info->current_w, info->current_h};
    desktop = desktop_.value_or(kDefaultDesktop);
    char driver[32] = "";
    SDL_VideoDriverName(driver, sizeof driver);
    xKeycodes_ = std::strcmp(driver, "x11") == 0 || std::strcmp(driver, "wayland") == 0;
    return true;
}

void SdlDisplay::disconnect() noexcept {
    close();
    quit();
}

void SdlDisplay::quit() {
    if (!started_)
        return;
    const KeptError before;
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    before.restore();
    started_ = false;
}

bool SdlDisplay::open(Size size, const PixelFormat& format, bool fullscreen, const char* title) noexcept {
    video_ = nullptr;
    widened_.reset();
    place_.reset();
    held_.reset();
    if (!start())
        return false;
    if (desktop_ && (size.width > desktop_->width || size.height > desktop_->height)) {
        SDL_SetError("%dx%d pixels are more than the desktop's %dx%d", size.width, size.height,
                     desktop_->width, desktop_->height);
        return false;
    }
    const char* const caption = *title ? title : programName();
    SDL_WM_SetCaption(caption, caption);
    // The host's own format where it has true colour, else one that SDL converts from. Never 15 bits: SDL's
    // dummy driver (1.2.15) takes too little memory for those.
    const SDL_VideoInfo* const info = SDL_GetVideoInfo();
    const int own = info && info->vfmt ? info->vfmt->BitsPerPixel : 0;
    const int bits = own > 15 ? own : std::max(16, static_cast<int>(format.depth));
    if (fullscreen)
        video_ = SDL_SetVideoMode(size.width, size.height, bits, SDL_SWSURFACE | SDL_FULLSCREEN);
    if (!video_)
        video_ = SDL_SetVideoMode(size.width, size.height, bits, SDL_SWSURFACE);
    if (video_ && video_->format->BitsPerPixel >= 24 && format.bytes == 2) {
        widened_ = makeBitMap(static_cast<uint32>(size.width), static_cast<uint32>(size.height),
                              RGBFB_A8R8G8B8, true);
        if (!widened_) {
            SDL_SetError("No memory for the display's picture");
            close();
        }
    }
    SDL_EnableKeyRepeat(SDL_DEFAULT_REPEAT_DELAY, SDL_DEFAULT_REPEAT_INTERVAL);
    return video_ != nullptr;
}

void SdlDisplay::close() noexcept {
    // SDL 1.2 closes its window only together with its video.
    if (video_)
        quit();
    video_ = nullptr;
    widened_.reset();
}

void SdlDisplay::present(BitMapRecord& bitmap, long originX, long originY, const Boxes& areas) noexcept {
    if (!video_)
        return;
    BitMapRecord& shown = widened_ ? *widened_ : bitmap;
    const long left = widened_ ? 0 : originX, top = widened_ ? 0 : originY;
    const PixelFormat& format = *shown.format;
    // Without an alpha mask, so that SDL copies instead of blending.
    SDL_Surface* const source = SDL_CreateRGBSurfaceFrom(
        shown.pixels, static_cast<int>(shown.width), static_cast<int>(shown.height), format.depth,
        static_cast<int>(shown.pitch), mask(format.r), mask(format.g), mask(format.b), 0);
    if (!source)
        return;
    SDL_Rect changed[32];
    int count = 0;
    for (const Box& area : areas) {
        const Box box = area.moved(-originX, -originY) & Box{0, 0, video_->w, video_->h};
        if (!box)
            continue;
        if (widened_)
            copyPixels(bitmap, box.x0 + originX, box.y0 + originY, *widened_, box.x0, box.y0, box.width(),
                       box.height());
        SDL_Rect from = {s16(box.x0 + left), s16(box.y0 + top), u16(box.width()), u16(box.height())};
        SDL_Rect to = {s16(box.x0), s16(box.y0), from.w, from.h};
        SDL_BlitSurface(source, &from, video_, &to);
        changed[count++] = {s16(box.x0), s16(box.y0), from.w, from.h};
        if (count == std::ssize(changed)) {
            SDL_UpdateRects(video_, count, changed);
            count = 0;
        }
    }
    if (count > 0)
        SDL_UpdateRects(video_, count, changed);
    SDL_FreeSurface(source);
}

// Whether the window stands elsewhere than it was seen last.
bool SdlDisplay::hasMoved() {
    const Clock::time_point now = Clock::now();
    placeDue_ = now - placeSeen_ < kPlaceInterval;
    if (placeDue_)
        return false;
    placeSeen_ = now;
    const auto before = std::exchange(place_, x11Position());
    return before && place_ && before != place_;
}

bool SdlDisplay::next(InputEvent& event) noexcept {
    if (!video_)
        return false;
    event = {};
    // First, so that what else the X server has sent by then is taken below.
    if (hasMoved()) {
        event.kind = InputEvent::Kind::kMoved;
        return true;
    }
    SDL_Event from;
    while (SDL_PollEvent(&from)) {
        event = {};
        event.qualifier = qualifiers(SDL_GetModState());
        if (translate(from, event))
            return true;
    }
    return false;
}

Attention SdlDisplay::attention() noexcept {
    Attention result;
    if (!video_)
        return result;
    result.descriptor = x11Descriptor();
    // SDL repeats keys when it is asked for events.
    if (result.descriptor < 0 || held_.any())
        result.within(kPollMilliseconds);
    if (placeDue_)
        result.within(static_cast<int>(kPlaceInterval.count()));
    return result;
}

bool SdlDisplay::translate(const SDL_Event& from, InputEvent& to) {
    using Kind = InputEvent::Kind;
    switch (from.type) {
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        return translateKey(from.key, to);
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        return translateButton(from.button, to);
    case SDL_MOUSEMOTION:
        to.kind = Kind::kMotion;
        to.x = from.motion.x;
        to.y = from.motion.y;
        return true;
    case SDL_ACTIVEEVENT:
        to.kind = Kind::kFocus;
        to.code = from.active.gain;
        return from.active.state & SDL_APPINPUTFOCUS;
    case SDL_VIDEOEXPOSE:
        to.kind = Kind::kExposed;
        return true;
    case SDL_QUIT:
        to.kind = Kind::kClose;
        return true;
    default:
        return false;
    }
}

bool SdlDisplay::translateKey(const SDL_KeyboardEvent& from, InputEvent& to) {
    const SDLKey symbol = from.keysym.sym;
    const auto code = rawKeyCode(from.keysym, xKeycodes_);
    if (!code)
        return false;
    const bool down = from.type == SDL_KEYDOWN;
    to.kind = InputEvent::Kind::kKey;
    to.code = static_cast<uint16>(*code | (down ? 0 : IECODE_UP_PREFIX));
    const bool keypad = symbol >= SDLK_KP0 && symbol <= SDLK_KP_EQUALS;
    // SDL repeats a key by pressing it again.
    const bool repeated = down && held_[symbol];
    held_[symbol] = down;
    to.qualifier = static_cast<uint16>(to.qualifier | (keypad ? IEQUALIFIER_NUMERICPAD : 0) |
                                       (repeated ? IEQUALIFIER_REPEAT : 0));
    return true;
}

bool SdlDisplay::translateButton(const SDL_MouseButtonEvent& from, InputEvent& to) const {
    // SDL reports the wheel as buttons 4 to 7: up, down, left, right.
    constexpr Uint8 kWheelLeft = 6, kWheelRight = 7;
    const bool down = from.type == SDL_MOUSEBUTTONDOWN;
    to.x = from.x;
    to.y = from.y;
    if (from.button >= SDL_BUTTON_WHEELUP && from.button <= kWheelRight) {
        to.kind = InputEvent::Kind::kWheel;
        to.wheelY =
            static_cast<int16>((from.button == SDL_BUTTON_WHEELDOWN) - (from.button == SDL_BUTTON_WHEELUP));
        to.wheelX = static_cast<int16>((from.button == kWheelRight) - (from.button == kWheelLeft));
        return down;
    }
    to.kind = InputEvent::Kind::kButton;
    to.code = static_cast<uint16>(buttonCode(from.button) | (down ? 0 : IECODE_UP_PREFIX));
    return buttonCode(from.button) != 0;
}

} // namespace

Display& hostDisplay() {
    static SdlDisplay display;
    return display;
}

} // namespace host
