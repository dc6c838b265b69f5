/* SPDX-License-Identifier: Zlib */
/**
 * @file ormsel_sdl.h
 * @brief SDL_BlitSurface, faster: the same contract and the same pixels.
 *
 * A program that draws with SDL 1.2 gets it with one macro and one include:
 *
 *     #define ORMSEL_REPLACES_SDL_BLITS
 *     #include <ormsel/ormsel_sdl.h>
 *
 * A program that can't be changed gets it by the command `ormsel-run PROGRAM`.
 *
 * These calls blend as SDL does, not as SDL_BlitAlphaSurface() of ormsel.h: a surface's own alpha counts only
 * where it has no per-pixel alpha, clip rectangle and colour key are observed, and the rectangle drawn is
 * written back.
 */
#ifndef ORMSEL_SDL_H
#define ORMSEL_SDL_H

#include <SDL.h>

#include "ormsel_version.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Does what SDL_BlitSurface() does, to the letter: rectangles, clipping, result, text of the error, and every
 * bit of the pixels, which are those of SDL's plain C code. Blits that ormsel_Serves() names are drawn here;
 * all others, refusals, and blits of a few pixels are handed to SDL.
 *
 * Where SDL 1.2 is a layer over SDL 2 (sdl12-compat), what is handed to SDL is drawn by SDL 2's rules, and a
 * lock, which such a layer keeps to itself, hinders nothing that is drawn here.
 *
 * A surface that asked for run-length encoding and isn't encoded yet is drawn as it is and stays so.
 *
 * Formats and flags count as they are at the call, also those that a program has set by hand. SDL keeps what
 * it chose at a pair's first blit until SDL_SetAlpha(), SDL_SetColorKey() or another destination makes it
 * choose anew: a program that writes to `flags` or `format->alpha` between two blits sees them at once here,
 * and with SDL later or never.
 *
 * Nothing is allocated, locked or kept between calls. Safe from any thread, as long as no other thread uses
 * one of the surfaces.
 *
 * @param src the source; NULL is an error, as with SDL
 * @param srcrect what to copy; NULL: all of it
 * @param dst the destination, likewise
 * @param dstrect where to, of which only the position is read; NULL: the upper left corner. Receives the
 *        rectangle that was drawn.
 * @return 0; -1 with SDL's error text; or what SDL returns
 */
int ormsel_BlitSurface(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst,
                       SDL_Rect* dstrect) ORMSEL_NOEXCEPT;

/**
 * Tells whether ormsel_BlitSurface() draws blits between two surfaces itself, as their formats and flags are
 * now. Locks have no part in it.
 * @return 1 or 0; 0 also for NULL and for a surface without a format
 */
int ormsel_Serves(SDL_Surface* src, SDL_Surface* dst) ORMSEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#ifdef ORMSEL_REPLACES_SDL_BLITS
#    undef SDL_BlitSurface
/** SDL's name for the call above, in a program that asked for it. */
#    define SDL_BlitSurface ormsel_BlitSurface
#endif

#endif
