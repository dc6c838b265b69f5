// SPDX-License-Identifier: Zlib
// The display through SDL 1.2's video.
#include <intuition/intuition.h>

#include <SDL.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "display.h"
#include "keymap.h"

#if defined(__has_feature)
#    if __has_feature(address_sanitizer)
#        define __SANITIZE_ADDRESS__
#    endif
#endif
#if defined(__SANITIZE_ADDRESS__)
/** libX11 forgets the names that SDL gives its input context (libX11 1.8.4, SDL 1.2.15), twice per window. */
extern "C" [[gnu::weak]] const char* __lsan_default_suppressions() {
    return "leak:libX11.so";
}
#endif

namespace host {

namespace {

std::string programName() {
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

/** The mouse button's code, or 0 for buttons that the platform does not have. */
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

class SdlDisplay : public Display {
public:
    bool connect(Size& desktop) override;
    void disconnect() override;
    bool open(Size size, uint32 depth, bool fullscreen, const std::string& title) override;
    void close() override;
    void present(BitMapRecord& bitmap, long originX, long originY, const Boxes& areas) override;
    bool next(InputEvent& event) override;

private:
    bool start();
    bool translate(const SDL_Event& from, InputEvent& to) const;
    bool translateButton(const SDL_MouseButtonEvent& from, InputEvent& to) const;

    /** SDL's video is started, by this display and not by the program. */
    bool started_ = false;
    bool xKeycodes_ = false;
    SDL_Surface* video_ = nullptr;
};

/**
 * Starts SDL's video with a driver that shows pixels. Left to choose, SDL would fall back to drawing with
 * letters in the terminal.
 */
bool startVideo() {
    constexpr const char* variable = "SDL_VIDEODRIVER";
    if (std::getenv(variable))
        return SDL_InitSubSystem(SDL_INIT_VIDEO) == 0;
    bool started = false;
    for (const char* driver : {"x11", "wayland", "Quartz", "directfb", "fbcon"}) {
        setenv(variable, driver, 1);
        started = SDL_InitSubSystem(SDL_INIT_VIDEO) == 0;
        if (started)
            break;
    }
    unsetenv(variable);
    return started;
}

bool SdlDisplay::start() {
    if (SDL_WasInit(SDL_INIT_VIDEO))
        return true;
    started_ = startVideo();
    return started_;
}

bool SdlDisplay::connect(Size& desktop) {
    if (!start())
        return false;
    // SDL tells the desktop's size until its first video mode is set.
    const SDL_VideoInfo* const info = SDL_GetVideoInfo();
    const bool known = info && info->current_w > 0 && info->current_h > 0;
    desktop = known ? Size{info->current_w, info->current_h} : defaultDesktop;
    char driver[32] = "";
    SDL_VideoDriverName(driver, sizeof driver);
    xKeycodes_ = std::strcmp(driver, "x11") == 0 || std::strcmp(driver, "wayland") == 0;
    return true;
}

void SdlDisplay::disconnect() {
    close();
    if (started_)
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
    started_ = false;
}

bool SdlDisplay::open(Size size, uint32 depth, bool fullscreen, const std::string& title) {
    video_ = nullptr;
    if (!start())
        return false;
    const std::string caption = title.empty() ? programName() : title;
    SDL_WM_SetCaption(caption.c_str(), caption.c_str());
    // The host's own format where it has true colour, else one that SDL converts from. Never 15 bits: SDL's
    // dummy driver (1.2.15) takes too little memory for those.
    const SDL_VideoInfo* const info = SDL_GetVideoInfo();
    const int own = info ? info->vfmt->BitsPerPixel : 0;
    const int bits = own > 15 ? own : std::max(16, static_cast<int>(depth));
    if (fullscreen)
        video_ = SDL_SetVideoMode(size.width, size.height, bits, SDL_SWSURFACE | SDL_FULLSCREEN);
    if (!video_)
        video_ = SDL_SetVideoMode(size.width, size.height, bits, SDL_SWSURFACE);
    SDL_EnableKeyRepeat(SDL_DEFAULT_REPEAT_DELAY, SDL_DEFAULT_REPEAT_INTERVAL);
    return video_ != nullptr;
}

void SdlDisplay::close() {
    // SDL 1.2 closes its window only together with its video.
    if (started_ && video_) {
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
        started_ = false;
    }
    video_ = nullptr;
}

void SdlDisplay::present(BitMapRecord& bitmap, long originX, long originY, const Boxes& areas) {
    const PixelFormat& format = *bitmap.format;
    // Without an alpha mask, so that SDL copies instead of blending.
    SDL_Surface* const source = SDL_CreateRGBSurfaceFrom(
        bitmap.pixels, static_cast<int>(bitmap.width), static_cast<int>(bitmap.height), format.depth,
        static_cast<int>(bitmap.pitch), mask(format.r), mask(format.g), mask(format.b), 0);
    if (!source || !video_)
        return;
    for (const Box& area : areas) {
        SDL_Rect from = {s16(area.x0), s16(area.y0), u16(area.width()), u16(area.height())};
        SDL_Rect to = {s16(area.x0 - originX), s16(area.y0 - originY), 0, 0};
        SDL_BlitSurface(source, &from, video_, &to);
    }
    SDL_FreeSurface(source);
    std::vector<SDL_Rect> changed;
    for (const Box& area : areas)
        if (const Box box = area.moved(-originX, -originY) & Box{0, 0, video_->w, video_->h})
            changed.push_back({s16(box.x0), s16(box.y0), u16(box.width()), u16(box.height())});
    SDL_UpdateRects(video_, static_cast<int>(changed.size()), changed.data());
}

bool SdlDisplay::next(InputEvent& event) {
    SDL_Event from;
    while (video_ && SDL_PollEvent(&from)) {
        event = {};
        event.qualifier = qualifiers(SDL_GetModState());
        if (translate(from, event))
            return true;
    }
    return false;
}

bool SdlDisplay::translate(const SDL_Event& from, InputEvent& to) const {
    using Kind = InputEvent::Kind;
    switch (from.type) {
    case SDL_KEYDOWN:
    case SDL_KEYUP: {
        const auto code = rawKeyCode(from.key.keysym, xKeycodes_);
        if (!code)
            return false;
        to.kind = Kind::Key;
        to.code = static_cast<uint16>(*code | (from.type == SDL_KEYUP ? IECODE_UP_PREFIX : 0));
        return true;
    }
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        return translateButton(from.button, to);
    case SDL_MOUSEMOTION:
        to.kind = Kind::Motion;
        to.x = from.motion.x;
        to.y = from.motion.y;
        return true;
    case SDL_ACTIVEEVENT:
        to.kind = Kind::Focus;
        to.code = from.active.gain;
        return from.active.state & SDL_APPINPUTFOCUS;
    case SDL_VIDEOEXPOSE:
        to.kind = Kind::Exposed;
        return true;
    case SDL_QUIT:
        to.kind = Kind::Close;
        return true;
    default:
        return false;
    }
}

bool SdlDisplay::translateButton(const SDL_MouseButtonEvent& from, InputEvent& to) const {
    // SDL reports the wheel as buttons 4 to 7: up, down, left, right.
    constexpr Uint8 wheelLeft = 6, wheelRight = 7;
    const bool down = from.type == SDL_MOUSEBUTTONDOWN;
    to.x = from.x;
    to.y = from.y;
    if (from.button >= SDL_BUTTON_WHEELUP && from.button <= wheelRight) {
        to.kind = InputEvent::Kind::Wheel;
        to.wheelY =
            static_cast<int16>((from.button == SDL_BUTTON_WHEELDOWN) - (from.button == SDL_BUTTON_WHEELUP));
        to.wheelX = static_cast<int16>((from.button == wheelRight) - (from.button == wheelLeft));
        return down;
    }
    to.kind = InputEvent::Kind::Button;
    to.code = static_cast<uint16>(buttonCode(from.button) | (down ? 0 : IECODE_UP_PREFIX));
    return buttonCode(from.button) != 0;
}

} // namespace

Display& hostDisplay() {
    static SdlDisplay display;
    return display;
}

} // namespace host
