// SPDX-License-Identifier: Zlib
/**
 * @file display.h
 * @brief The host's display: one window, or the whole screen, and the input that comes with it.
 *
 * Everything the provider needs of a host to be seen and operated. Another kind of host display takes the
 * place of this one by implementing Display. One thread uses it.
 */
#ifndef PLATFORM_DISPLAY_H
#define PLATFORM_DISPLAY_H

#include <exec/types.h>

#include <string>

#include "bitmap.h"
#include "geometry.h"

namespace host {

struct Size {
    int width, height;
};

struct InputEvent {
    enum class Kind {
        Key,     ///< `code`: the raw key code, with IECODE_UP_PREFIX when released
        Button,  ///< `code`: SELECTDOWN and so on
        Motion,  ///< of the mouse
        Wheel,   ///< `wheelX`, `wheelY`
        Focus,   ///< the window got (`code` 1) or lost (0) the keyboard
        Close,   ///< the close button, or the host asks the program to end
        Exposed, ///< the window's contents are lost
    };
    Kind kind{};
    uint16 code = 0;
    /** IEQUALIFIER_... bits. */
    uint16 qualifier = 0;
    /** The mouse, in pixels from the top-left corner of what is shown; for Button and Motion. */
    int x = 0, y = 0;
    int16 wheelX = 0, wheelY = 0;
};

class Display {
public:
    virtual ~Display() = default;

    /** Finds the display and its desktop's size; false when there is none. */
    virtual bool connect(Size& desktop) = 0;
    virtual void disconnect() = 0;

    /** Opens the window, or replaces it. `depth` is that of the bitmaps to come. False: nothing is shown. */
    virtual bool open(Size size, uint32 depth, bool fullscreen, const std::string& title) = 0;
    virtual void close() = 0;

    /** Shows areas of a bitmap, of which (originX, originY) is the window's top-left corner. */
    virtual void present(BitMapRecord& bitmap, long originX, long originY, const Boxes& areas) = 0;

    /** The next input event, without waiting; false when there is none. */
    virtual bool next(InputEvent& event) = 0;
};

/** The display of this host. */
Display& hostDisplay();

/** The size of a desktop that nobody can tell. */
constexpr Size defaultDesktop = {1024, 768};

/** The desktop's size; finds the display if need be. */
Size desktopSize();

} // namespace host

#endif
