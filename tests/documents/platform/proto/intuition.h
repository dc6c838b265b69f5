/* SPDX-License-Identifier: Zlib */
#pragma once

#include <intuition/intuition.h>

struct NewScreen;
struct NewWindow;

#ifdef __cplusplus
extern "C" {
#endif

struct Screen* OpenScreenTags(const struct NewScreen* ns, uint32 tag, ...);
BOOL CloseScreen(struct Screen* screen);
void ScreenToFront(struct Screen* screen);
struct Screen* LockPubScreen(CONST_STRPTR name);
void UnlockPubScreen(CONST_STRPTR name, struct Screen* screen);
struct Window* OpenWindowTags(const struct NewWindow* nw, uint32 tag, ...);
void CloseWindow(struct Window* window);

#ifdef __cplusplus
}
#endif
