// SPDX-License-Identifier: Zlib
#include "x11_window.h"

#include <SDL.h>
#define Screen XScreen // the platform has its own. NOLINT(readability-identifier-naming)
#include <SDL_syswm.h>
#undef Screen

namespace host {

#ifdef SDL_VIDEO_DRIVER_X11

namespace {

std::optional<SDL_SysWMinfo> x11Info() {
    SDL_SysWMinfo info;
    SDL_VERSION(&info.version);
    if (SDL_GetWMInfo(&info) != 1 || info.subsystem != SDL_SYSWM_X11 || !info.info.x11.display)
        return std::nullopt;
    return info;
}

// SDL has loaded the library already; it is not linked with, as other drivers do without.
auto findTranslate() {
    using Translate = decltype(&XTranslateCoordinates);
    static const Translate found = [] {
        void* const library = SDL_LoadObject("libX11.so.6");
        return library ? reinterpret_cast<Translate>(SDL_LoadFunction(library, "XTranslateCoordinates"))
                       : nullptr;
    }();
    return found;
}

} // namespace

int x11Descriptor() noexcept {
    const auto info = x11Info();
    return info ? ConnectionNumber(info->info.x11.display) : -1;
}

std::optional<std::pair<int, int>> x11Position() noexcept {
    const auto info = x11Info();
    const auto translate = info ? findTranslate() : nullptr;
    if (!translate)
        return std::nullopt;
    const auto& x11 = info->info.x11;
    int x = 0, y = 0;
    Window child;
    x11.lock_func();
    const bool known =
        translate(x11.display, x11.window, DefaultRootWindow(x11.display), 0, 0, &x, &y, &child);
    x11.unlock_func();
    return known ? std::optional(std::pair(x, y)) : std::nullopt;
}

#else

int x11Descriptor() noexcept {
    return -1;
}

std::optional<std::pair<int, int>> x11Position() noexcept {
    return std::nullopt;
}

#endif

} // namespace host
