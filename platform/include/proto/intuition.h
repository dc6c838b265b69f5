/* SPDX-License-Identifier: Zlib */
/**
 * @file proto/intuition.h
 * @brief Screens and windows.
 *
 * The host has one window (SDL 1.2 has no more). It shows the frontmost screen's whole bitmap, full screen,
 * if that is a custom screen; else the part of the Workbench that holds all windows, which is the window
 * itself while there is but one. Among several a click chooses the one that gets the input. Calls come from
 * one thread. SDL_VIDEODRIVER chooses SDL's driver; `dummy` shows nothing. When a call fails, SDL_GetError()
 * tells why.
 *
 * A screen that is larger than the host's desktop does not open. Colours of 15- and 16-bit screens are
 * widened on displays with more bits, so that white stays white.
 *
 * The Workbench has the size of the host's desktop, or 1024 by 768 pixels where there is none. The
 * environment variable ORMSEL_WORKBENCH_DEPTH gives its depth: 15, 16, 24 or 32, default 16.
 */
#ifndef PROTO_INTUITION_H
#define PROTO_INTUITION_H

#include <host/call.h>
#include <host/tagcall.h>
#include <intuition/intuition.h>

#ifdef __cplusplus
extern "C" {
#endif

struct NewScreen;
struct NewWindow;

/**
 * Opens a screen and shows it in front.
 * @param ns must be NULL
 * @return NULL without a display, for a size or depth it cannot have, or when memory is short
 */
struct Screen* OpenScreenTagList(const struct NewScreen* ns, const struct TagItem* tags)
    HOST_CALL(OpenScreenTagList);

/** Closes a screen; its windows must be closed. @return FALSE (and nothing is closed) when they are not */
BOOL CloseScreen(struct Screen* screen) HOST_CALL(CloseScreen);

void ScreenToFront(struct Screen* screen) HOST_CALL(ScreenToFront);

/**
 * Finds a public screen and keeps it from closing.
 * @param name "Workbench", in any case, or NULL
 * @return NULL for another name or when memory is short
 */
struct Screen* LockPubScreen(CONST_STRPTR name) HOST_CALL(LockPubScreen);

/** Undoes one LockPubScreen(). @param name NULL, or its name, in which case `screen` may be NULL */
void UnlockPubScreen(CONST_STRPTR name, struct Screen* screen) HOST_CALL(UnlockPubScreen);

/**
 * Opens a window.
 * @param nw must be NULL
 * @return NULL when the host cannot show it, or when memory is short
 */
struct Window* OpenWindowTagList(const struct NewWindow* nw, const struct TagItem* tags)
    HOST_CALL(OpenWindowTagList);

/** Closes a window and drops its unread messages. */
void CloseWindow(struct Window* window) HOST_CALL(CloseWindow);

void WindowToFront(struct Window* window) HOST_CALL(WindowToFront);
void WindowToBack(struct Window* window) HOST_CALL(WindowToBack);

/**
 * Moves a window on its screen, as far as it stays inside; the host's window stays where it is. A move of the
 * host's window on its desktop is told to the Workbench's windows (IDCMP_CHANGEWINDOW), whose places on the
 * Workbench stay.
 */
void MoveWindow(struct Window* window, int32 dx, int32 dy) HOST_CALL(MoveWindow);

#ifdef __cplusplus
}
#endif

#define OpenScreenTags(ns, ...) OpenScreenTagList(ns, HOST_TAGLIST(__VA_ARGS__))
#define OpenWindowTags(nw, ...) OpenWindowTagList(nw, HOST_TAGLIST(__VA_ARGS__))

#endif
