/* SPDX-License-Identifier: Zlib */
/**
 * @file ormsel_utils.h
 * @brief Names of the pixel formats, and a native display to draw on.
 *
 * Failures are reported on the debug output (standard error on a desktop host).
 */
#ifndef ORMSEL_ORMSEL_UTILS_H
#define ORMSEL_ORMSEL_UTILS_H

#include <exec/types.h>

#include "ormsel_version.h"

#ifdef __cplusplus
extern "C" {
#endif

struct Screen;
struct Window;

/** A display opened by ORU_InitVideo(). The fields may be read, not written. */
typedef struct ORU_VideoInfo {
    struct Screen* screen; /**< own screen (full-screen) or the locked public screen "Workbench" */
    struct Window* window; /**< drawing target (`window->RPort`) and source of input (`window->UserPort`) */
    BOOL is_fullscreen;    /**< TRUE when `screen` is closed with the display, FALSE when it is unlocked */
} ORU_VideoInfo;

/**
 * Opens a display: an own screen with a borderless window on all of it, or a window in the middle of the
 * public screen "Workbench", which then stays locked until ORU_CloseVideo(). The screen comes to the front.
 *
 * The window reports keys, mouse buttons, moves and wheel, activation, size changes and its close gadget.
 *
 * @param width, height size in pixels: of the screen mode asked for, or of the window's inner area
 * @param depth         bits per pixel of an own screen, 32 counting as 24; a window has its screen's depth
 * @param fullscreen    lowest bit set: own screen; clear: window. Other bits are ignored
 * @return the display, or NULL after "OpenScreen failed!" or "OpenWindow failed!" and, if it is known, the
 *         reason on the debug output (or, silently, when memory ran out); nothing stays open or locked then
 *
 * Call it, and everything that uses the display, from one thread.
 */
ORU_VideoInfo* ORU_InitVideo(unsigned long width, unsigned long height, unsigned long depth,
                             unsigned long fullscreen) ORMSEL_NOEXCEPT;

/** Closes what ORU_InitVideo() opened and frees the record. NULL is allowed. */
void ORU_CloseVideo(ORU_VideoInfo* vi) ORMSEL_NOEXCEPT;

/**
 * Names a pixel format.
 *
 * @param format pixel format code, an RGBFTYPE
 * @return its name, such as "RGBFB_R5G6B5" for 10; "" for a code above 20. Never NULL, never to be freed.
 *
 * Safe from any thread.
 */
const char* p96Fmt2Str(unsigned long format) ORMSEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
