// SPDX-License-Identifier: Zlib
//
// SDL_BlitSurface's contract and that of the two calls below it, for the library's calls and for the preload:
// both have SDL's own functions beside it, each found in its way.
#pragma once

#include <SDL.h>

namespace ormsel {

// SDL's own functions: the first three get what isn't drawn here.
struct SdlFunctions {
    decltype(&SDL_UpperBlit) upperBlit;
    decltype(&SDL_LowerBlit) lowerBlit;
    decltype(&SDL_FillRect) fillRect;
    decltype(&SDL_LockSurface) lock;
    decltype(&SDL_UnlockSurface) unlock;
};

// What keeps SDL's hands on a surface: video memory, other drivers' blits, and run-length encoded pixels.
inline constexpr Uint32 kSdlSpecial =
    SDL_HWSURFACE | SDL_OPENGL | SDL_OPENGLBLIT | SDL_HWACCEL | SDL_RLEACCEL;

// A surface in main memory that SDL locks while it draws: a screen that the display's server reads at the
// same time, or one that is smaller than the display, whose pixels begin at an offset.
inline bool sdlMustLock(const SDL_Surface& s) {
    return s.offset || s.flags & SDL_ASYNCBLIT;
}

// Such surfaces, locked as SDL does it, until the end of the block.
class SdlLock {
public:
    explicit SdlLock(const SdlFunctions& sdl) : sdl_(sdl) {}
    ~SdlLock() {
        while (count_)
            sdl_.unlock(locked_[--count_]);
    }
    SdlLock(const SdlLock&) = delete;
    SdlLock& operator=(const SdlLock&) = delete;

    // False: it can't be locked.
    bool add(SDL_Surface* s) {
        if (!sdlMustLock(*s))
            return true;
        if (sdl_.lock(s) < 0)
            return false;
        locked_[count_++] = s;
        return true;
    }

private:
    const SdlFunctions& sdl_;
    SDL_Surface* locked_[2];
    int count_ = 0;
};

// What ormsel_BlitSurface() and its companions promise.
int sdlBlitSurface(const SdlFunctions& sdl, SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst,
                   SDL_Rect* dstrect) noexcept;
int sdlLowerBlit(const SdlFunctions& sdl, SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst,
                 SDL_Rect* dstrect) noexcept;
int sdlFillRect(const SdlFunctions& sdl, SDL_Surface* dst, SDL_Rect* dstrect, Uint32 color) noexcept;
bool sdlServes(SDL_Surface* src, SDL_Surface* dst) noexcept;
bool sdlServesFill(SDL_Surface* dst) noexcept;

// The first half of SDL_BlitSurface(): clips, stores what is drawn in `drawn`, of which the position was
// read, and where that lies in the source in `part`. False: nothing is drawn.
bool sdlClip(const SDL_Surface& src, const SDL_Rect* srcrect, const SDL_Surface& dst, SDL_Rect& drawn,
             SDL_Rect& part) noexcept;

} // namespace ormsel
