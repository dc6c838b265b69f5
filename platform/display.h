// SPDX-License-Identifier: Zlib
// The host's display: one window, or the whole screen, and the input that comes with it. Everything the
// provider needs of a host to be seen and operated. Another kind of host display takes the place of this one
// by implementing Display. One thread uses it.
#pragma once

#include <exec/types.h>

#include "bitmap.h"
#include "geometry.h"
#include "ports.h"

namespace host {

struct Size {
    int width, height;
};

struct InputEvent {
    enum class Kind {
        // `code`: the raw key code, with IECODE_UP_PREFIX when released.
        kKey,
        // `code`: SELECTDOWN and so on.
        kButton,
        // The mouse was moved.
        kMotion,
        // The wheel was turned by `wheelX`, `wheelY`.
        kWheel,
        // The window got (`code` 1) or lost (0) the keyboard.
        kFocus,
        // The window stands at another place of the host's desktop.
        kMoved,
        // The close button, or the host asks the program to end.
        kClose,
        // The window's contents are lost.
        kExposed,
    };
    Kind kind{};
    uint16 code = 0;
    // IEQUALIFIER_... bits.
    uint16 qualifier = 0;
    // The mouse, in pixels from the top-left corner of what is shown; for kButton and kMotion.
    int x = 0, y = 0;
    int16 wheelX = 0, wheelY = 0;
};

class Display {
public:
    virtual ~Display() = default;

    // Finds the display and its desktop's size; false when there is none.
    virtual bool connect(Size& desktop) noexcept = 0;
    virtual void disconnect() noexcept = 0;

    // Opens the window, or replaces it, for bitmaps of a format. False: nothing is shown, and SDL's error
    // says why.
    virtual bool open(Size size, const PixelFormat& format, bool fullscreen, const char* title) noexcept = 0;
    virtual void close() noexcept = 0;

    // Shows areas of a bitmap, of which (originX, originY) is the window's top-left corner.
    virtual void present(BitMapRecord& bitmap, long originX, long originY, const Boxes& areas) noexcept = 0;

    // The next input event, without waiting; false when there is none.
    virtual bool next(InputEvent& event) noexcept = 0;

    // What can bring the next event, once next() has said that there is none.
    virtual Attention attention() noexcept = 0;
};

// The display of this host.
Display& hostDisplay();

// The size of a desktop that nobody can tell.
constexpr Size kDefaultDesktop = {1024, 768};

// The desktop's size; finds the display if need be.
Size desktopSize();

} // namespace host
