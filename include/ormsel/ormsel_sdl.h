/* SPDX-License-Identifier: Zlib */
/**
 * @file ormsel_sdl.h
 * @brief SDL_BlitSurface, SDL_LowerBlit and SDL_FillRect, faster: the same contracts and the same pixels.
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
 * A surface that asked for run-length encoding and isn't encoded yet is drawn as it is and stays so, if much
 * of it is neither clear nor opaque; else SDL encodes and draws it, which is faster.
 *
 * Formats and flags count as they are at the call, also those that a program has set by hand. SDL keeps what
 * it chose at a pair's first blit until SDL_SetAlpha(), SDL_SetColorKey() or another destination makes it
 * choose anew: a program that writes to `flags` or `format->alpha` between two blits sees them at once here,
 * and with SDL later or never.
 *
 * A screen that SDL locks while it draws in memory is locked in the same way; nothing else is, and nothing is
 * allocated or kept between calls. Safe from any thread, as long as no other thread uses
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
 * Does what SDL_LowerBlit() does, SDL_BlitSurface()'s second half: the pixels of a blit that is clipped
 * already. Clip rectangles and locks have no part in it, and no rectangle is written to.
 *
 * Nothing outside the two images is read or written by what is drawn here; rectangles that reach there, and
 * pairs of unlike sizes, are handed to SDL, which doesn't look.
 *
 * Locks, memory and threads as with ormsel_BlitSurface().
 *
 * @param src the source; not NULL
 * @param srcrect what to copy; not NULL
 * @param dst the destination; not NULL
 * @param dstrect where to, of the same size; not NULL, and it may be the same rectangle
 * @return 0, or what SDL returns
 */
int ormsel_LowerBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst,
                     SDL_Rect* dstrect) ORMSEL_NOEXCEPT;

/**
 * Does what SDL_FillRect() does, to the letter, but that an empty clip rectangle is left alone, where SDL
 * stores beyond the surface. Surfaces of 16, 24 and 32 bits, and of 8 bits with a palette, are filled here;
 * locked ones, video memory and all others are handed to SDL.
 *
 * Locks and memory as with ormsel_BlitSurface(). Safe from any thread, as long as no other thread uses the
 * surface.
 *
 * @param dst the surface; not NULL
 * @param dstrect what to fill; NULL: all of the clip rectangle. Receives the part of it that lies in there.
 * @param color a pixel's value, of which the low bits count that a pixel has
 * @return 0, or what SDL returns
 */
int ormsel_FillRect(SDL_Surface* dst, SDL_Rect* dstrect, Uint32 color) ORMSEL_NOEXCEPT;

/**
 * Tells whether ormsel_BlitSurface() and ormsel_LowerBlit() draw blits between two surfaces themselves, as
 * their formats and flags are now. Locks have no part in it, nor has what the pixels are.
 * @return 1 or 0; 0 also for NULL and for a surface without a format
 */
int ormsel_Serves(SDL_Surface* src, SDL_Surface* dst) ORMSEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#ifdef ORMSEL_REPLACES_SDL_BLITS
#    undef SDL_BlitSurface
#    undef SDL_FillRect
/** SDL's names for the calls above, in a program that asked for them. */
#    define SDL_BlitSurface ormsel_BlitSurface
/** See SDL_BlitSurface. */
#    define SDL_FillRect ormsel_FillRect
#endif

#endif
