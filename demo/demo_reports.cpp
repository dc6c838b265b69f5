// SPDX-License-Identifier: Zlib
#include "demo_reports.h"

#include <cstdio>

#include <devices/timer.h>
#include <graphics/gfx.h>
#include <graphics/rastport.h>
#include <proto/exec.h>
#include <proto/timer.h>

#include "ormsel/ormsel.h"

TTF_Font* pFallbackFont = nullptr;

namespace {

constexpr Uint32 kBlitFlags = 1;
constexpr char kStars[] = "************************************************************";

// Renders a line of text and hands it to `put`, unless there is no font or nothing to see.
template <typename Put>
void withText(const char* text, SDL_Color col, TTF_Font* font, Put put) {
    if (!font)
        font = pFallbackFont;
    if (!font)
        return;
    if (SDL_Surface* rendered = TTF_RenderText_Blended(font, text, col)) {
        put(rendered, static_cast<unsigned long>(rendered->w), static_cast<unsigned long>(rendered->h));
        SDL_FreeSurface(rendered);
    }
}

// Hands the six lines of a surface's report to `put`, one by one.
// @param nameFormat how the surface's name stands in the second line
template <typename Put>
void reportSurface(const char* nameFormat, const char* desc, const SDL_Surface* surface, Put put) {
    const SDL_PixelFormat& fmt = *surface->format;
    char name[128], line[256];

    put(kStars);
    std::snprintf(name, sizeof name, nameFormat, desc);
    std::snprintf(line, sizeof line, "Surface %s: depth = %d, bpp = %d, blend = %s value = %d", name,
                  fmt.BitsPerPixel, fmt.BytesPerPixel, surface->flags & SDL_SRCALPHA ? "ON" : "OFF",
                  fmt.alpha);
    put(line);
    std::snprintf(line, sizeof line, "Shift: a[%8d] r[%8d] g[%8d] b[%8d]", fmt.Ashift, fmt.Rshift, fmt.Gshift,
                  fmt.Bshift);
    put(line);
    std::snprintf(line, sizeof line, "Mask:  a[%08x] r[%08x] g[%08x] b[%08x]", fmt.Amask, fmt.Rmask,
                  fmt.Gmask, fmt.Bmask);
    put(line);
    std::snprintf(line, sizeof line, "Loss:  a[%8d] r[%8d] g[%8d] b[%8d]", fmt.Aloss, fmt.Rloss, fmt.Gloss,
                  fmt.Bloss);
    put(line);
    put(kStars);
}

// What one blit of a whole surface achieved, whatever part of it clipping left.
struct Timing {
    Uint32 ticks;
    double fps, megabytes;

    Timing(Uint32 milliseconds, const SDL_Surface* surface)
        : ticks(milliseconds),
          fps((1.0 / milliseconds) * 1000.0), // a blit below a millisecond is infinitely fast
          megabytes(double(surface->w) * surface->h * surface->format->BytesPerPixel * (1.0 / 1024) *
                    (1.0 / 1024)) {}

    void print(char* buffer, size_t size, const char* before, const char* after) const {
        std::snprintf(buffer, size, "%s%d ms, %.3g frames per sec, %4.04g MB/sec (%.4g MB)%s", before,
                      static_cast<int>(ticks), fps, megabytes * fps, megabytes, after);
    }
};

double seconds() {
    TimeVal time;
    GetSysTime(&time);
    return time.Seconds + time.Microseconds / 1e6;
}

template <typename Blit>
void repeat(const SDL_Surface* src, int times, Blit blit) {
    const double start = seconds();
    for (int i = 0; i < times; ++i)
        blit();
    const double spent = seconds() - start, bytes = double(src->w) * src->h * src->format->BytesPerPixel;
    std::printf("%d blits of %dx%d pixels took %.3f ms: %.0f blits per sec, %.0f MB/sec\n", times, src->w,
                src->h, spent * 1000, times / spent, bytes * times / spent / (1024 * 1024));
}

} // namespace

void repeatBlit(SDL_Surface* src, SDL_Surface* dst, int times) {
    repeat(src, times, [&] { SDL_BlitAlphaSurface(src, nullptr, dst, nullptr); });
}

void repeatBlit(SDL_Surface* src, BitMap* dst, int times) {
    repeat(src, times, [&] {
        SDL_BlitAlphaSurfaceBitMap(src, 0, 0, dst, 0, 0, static_cast<unsigned long>(src->w),
                                   static_cast<unsigned long>(src->h), kBlitFlags);
    });
}

void drawText(const char* text, BitMap* bitmap, int32 x, int32 y, SDL_Color col, TTF_Font* font) {
    withText(text, col, font, [&](SDL_Surface* rendered, unsigned long width, unsigned long height) {
        SDL_BlitAlphaSurfaceBitMap(rendered, 0, 0, bitmap, x, y, width, height, kBlitFlags);
    });
}

void drawTextRastPort(const char* text, RastPort* rp, int32 x, int32 y, SDL_Color col, TTF_Font* font) {
    withText(text, col, font, [&](SDL_Surface* rendered, unsigned long width, unsigned long height) {
        SDL_BlitAlphaSurfaceRastPort(rendered, 0, 0, rp, x, y, width, height, kBlitFlags);
    });
}

void dumpSurfaceInfo(const char* desc, SDL_Surface* surface) {
    reportSurface("%s", desc, surface, [](const char* line) { DebugPrintF("%s\n", line); });
}

void dumpSurfaceInfoXY(const char* desc, SDL_Surface* surface, BitMap* bitmap, int32 x, int32 y,
                       SDL_Color col, TTF_Font* font) {
    reportSurface("'%s'", desc, surface, [&](const char* line) {
        drawText(line, bitmap, x + 1, y + 1, kBlack, font);
        drawText(line, bitmap, x, y, col, font);
        y += 13;
    });
}

void drawImage(SDL_Surface* surface, BitMap* bitmap, int32 x, int32 y) {
    const Uint32 start = SDL_GetTicks();
    SDL_BlitAlphaSurfaceBitMap(surface, 0, 0, bitmap, x, y, static_cast<unsigned long>(surface->w),
                               static_cast<unsigned long>(surface->h), kBlitFlags);
    const Timing timing(SDL_GetTicks() - start, surface);

    char buffer[128];
    timing.print(buffer, sizeof buffer, "draw(): ", "");
    drawText(buffer, bitmap, 3, 580, kWhite, nullptr);
}

void drawImageSDL(SDL_Surface* src, SDL_Surface* dst, int32 x, int32 y) {
    std::fputs("Blitting Image to a SDL_Surface ... ", stderr);
    const Uint32 start = SDL_GetTicks();
    SDL_Rect dr{static_cast<Sint16>(x), static_cast<Sint16>(y), static_cast<Uint16>(src->w),
                static_cast<Uint16>(src->h)};
    SDL_BlitAlphaSurface(src, nullptr, dst, &dr);
    const Timing timing(SDL_GetTicks() - start, src);

    char buffer[128];
    timing.print(buffer, sizeof buffer, "", "\n");
    std::fputs(buffer, stdout);
    DebugPrintF("%s", buffer);
}
