// SPDX-License-Identifier: Zlib
//
// SDL_FillRect's contract.
#include <cstring>

#include "kernels/sdl_scalar_steps.h"
#include "sdl/sdl_contract.h"

namespace ormsel {

namespace {

// One side of the rectangle that two have in common, with a size of 0 where they have none, as SDL keeps it.
void intersect(Sint16& at, Uint16& size, int clipAt, int clipSize) {
    const int end = at + size, clipEnd = clipAt + clipSize;
    const int from = at > clipAt ? at : clipAt, to = end < clipEnd ? end : clipEnd;
    at = static_cast<Sint16>(from);
    size = static_cast<Uint16>(to > from ? to - from : 0);
}

// Rows of a pattern that begins anew at each row's first pixel.
void fillRows(uint8_t* row, ptrdiff_t pitch, size_t bytes, size_t height, size_t bytesPerPixel,
              uint32_t color) {
    constexpr size_t kPattern = 48; // bytes: whole pixels of 1 to 4 bytes, whole vectors
    uint8_t pattern[kPattern];
    for (size_t i = 0; i < kPattern; i += bytesPerPixel) {
        if (bytesPerPixel == 4)
            storePixel<4>(pattern + i, color);
        else if (bytesPerPixel == 3)
            sdlStore<3>(pattern + i, color);
        else if (bytesPerPixel == 2)
            storePixel<2>(pattern + i, color);
        else
            pattern[i] = static_cast<uint8_t>(color);
    }
    if (pitch == static_cast<ptrdiff_t>(bytes)) {
        bytes *= height;
        height = 1;
    }
    const bool isOneByte = std::memcmp(pattern, pattern + 1, kPattern - 1) == 0;
    for (; height; --height, row += pitch) {
        if (isOneByte) {
            std::memset(row, pattern[0], bytes);
            continue;
        }
        size_t at = 0;
        for (; at + kPattern <= bytes; at += kPattern)
            std::memcpy(row + at, pattern, kPattern);
        std::memcpy(row + at, pattern, bytes - at);
    }
}

} // namespace

bool sdlServesFill(SDL_Surface* dst) noexcept {
    if (!dst || dst->flags & kSdlSpecial || dst->locked || !dst->pixels)
        return false;
    const SDL_PixelFormat& f = *dst->format;
    if (f.BitsPerPixel < 8 || f.BytesPerPixel > 4 || dst->w * f.BytesPerPixel > dst->pitch)
        return false;
    return f.BytesPerPixel == 1 ? f.palette != nullptr : !f.palette;
}

int sdlFillRect(const SdlFunctions& sdl, SDL_Surface* dst, SDL_Rect* dstrect, Uint32 color) noexcept {
    if (!sdlServesFill(dst))
        return sdl.fillRect(dst, dstrect, color);
    const SDL_Rect& clip = dst->clip_rect;
    if (clip.x < 0 || clip.y < 0 || clip.x + clip.w > dst->w || clip.y + clip.h > dst->h)
        return sdl.fillRect(dst, dstrect, color);
    if (dstrect) {
        intersect(dstrect->x, dstrect->w, clip.x, clip.w);
        intersect(dstrect->y, dstrect->h, clip.y, clip.h);
    }
    const SDL_Rect& area = dstrect ? *dstrect : clip;
    if (!area.w || !area.h)
        return 0;
    SdlLock lock(sdl);
    if (!lock.add(dst))
        return -1;
    const size_t bytes = dst->format->BytesPerPixel;
    fillRows(static_cast<uint8_t*>(dst->pixels) + ptrdiff_t{area.y} * dst->pitch +
                 static_cast<size_t>(area.x) * bytes,
             dst->pitch, area.w * bytes, area.h, bytes, color);
    return 0;
}

} // namespace ormsel
