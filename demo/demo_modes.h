// SPDX-License-Identifier: Zlib
#pragma once

#include <SDL.h>

constexpr int kScreenWidth = 800;
constexpr int kScreenHeight = 600;

// Draws both pictures once on an SDL screen and waits for Esc or a quit request. Ends the process with
// exit code 1 when there is no SDL video.
// @param background replaced by its copy in the screen's format, if memory allows; it stays for the process
// to free
// @param depth      16 or 32 bits per pixel
// @param repeat     not 0: blits the alpha picture so many times beside the screen, and prints how long it
// took
void runSdlMode(SDL_Surface*& background, SDL_Surface* alpha, int depth, int repeat = 0);

// Lets the user move the alpha picture about on a native display. Returns at once when there is none.
// @param alpha its per-surface alpha is what the keys and the wheel change
// @param depth 16 or 32 bits per pixel
// @param repeat as runSdlMode() has it
void runNativeMode(SDL_Surface* background, SDL_Surface* alpha, int depth, bool fullscreen, int repeat = 0);
