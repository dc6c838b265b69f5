// SPDX-License-Identifier: Zlib
// Text, surface reports and timed blits. Text and pictures are put on their targets by the Ormsel library.
#pragma once

#include <SDL.h>
#include <SDL_ttf.h>
#include <exec/types.h>

struct BitMap;
struct RastPort;

inline constexpr SDL_Color kWhite{255, 255, 255, 0};
inline constexpr SDL_Color kBlack{0, 0, 0, 0};
inline constexpr SDL_Color kRed{255, 0, 0, 0};
inline constexpr SDL_Color kGreen{0, 255, 0, 0};
inline constexpr SDL_Color kBlue{0, 0, 255, 0};

// Used wherever no font is given; null: such text is not drawn.
extern TTF_Font* pFallbackFont;

// Draws one line of text with its top-left corner at (x, y).
// @param font null for pFallbackFont
void drawText(const char* text, BitMap* bitmap, int32 x, int32 y, SDL_Color col, TTF_Font* font);
void drawTextRastPort(const char* text, RastPort* rp, int32 x, int32 y, SDL_Color col, TTF_Font* font);

// Writes a surface's layout to the debug output, in six lines.
void dumpSurfaceInfo(const char* desc, SDL_Surface* surface);

// Draws the same report, with shadows, in lines 13 pixels apart.
void dumpSurfaceInfoXY(const char* desc, SDL_Surface* surface, BitMap* bitmap, int32 x, int32 y,
                       SDL_Color col, TTF_Font* font);

// Blits a surface to (x, y) and draws how long that took at (3, 580).
void drawImage(SDL_Surface* surface, BitMap* bitmap, int32 x, int32 y);

// Blits a surface to (x, y) of another and prints how long that took. Updates no display.
void drawImageSDL(SDL_Surface* src, SDL_Surface* dst, int32 x, int32 y);

// Blits a surface so many times to the upper left corner, and prints the time of all, and how many blits and
// megabytes of the source a second that makes. The clock counts microseconds.
void repeatBlit(SDL_Surface* src, SDL_Surface* dst, int times);
void repeatBlit(SDL_Surface* src, BitMap* dst, int times);
