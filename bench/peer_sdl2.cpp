// SPDX-License-Identifier: Zlib
//
// SDL 2 has the symbols of SDL 1.2, with which this program is linked. So it is loaded where nobody else sees
// its symbols and where its own come first.
#include <SDL2/SDL.h>
#include <dlfcn.h>
#include <fmt/format.h>

#include "bench/peers.h"

namespace bench {

// nullptr: there is no SDL 2.
template <class Function>
static Function* sdl2(const char* name) {
    static void* const library = dlopen("libSDL2-2.0.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
    return library ? reinterpret_cast<Function*>(dlsym(library, name)) : nullptr;
}
#define SDL2(function) sdl2<decltype(function)>(#function)

// The address alone: a template of SDL_Surface here and one in a file with SDL 1.2 would have one name.
using Surface = std::shared_ptr<void>;

static SDL_Surface* get(const Surface& surface) {
    return static_cast<SDL_Surface*>(surface.get());
}

std::string sdl2Version() {
    SDL_version v = {};
    if (!SDL2(SDL_GetVersion))
        return "no SDL 2";
    SDL2(SDL_GetVersion)(&v);
    return fmt::format("SDL {}.{}.{}", v.major, v.minor, v.patch);
}

void addSdl2(Participants& list, const Case& c) {
    auto* const blit = SDL2(SDL_UpperBlit);
    if (!blit || c.row.rule == kMasked)
        return;
    auto* const create = SDL2(SDL_CreateRGBSurfaceFrom);
    auto* const setMode = SDL2(SDL_SetSurfaceBlendMode);
    auto* const setAlpha = SDL2(SDL_SetSurfaceAlphaMod);
    const auto surfaces = imagesOf(c, false, [&](uint8_t* pixels, const Extent& e, const FormatInfo& f) {
        const int pitch = e.width * f.bytes;
        const auto release = [free = SDL2(SDL_FreeSurface)](void* s) { free(static_cast<SDL_Surface*>(s)); };
        return Surface(create(pixels, e.width, e.height, f.depth, pitch, f.r, f.g, f.b, f.a), release);
    });
    for (const auto& each : surfaces) {
        setMode(get(each.src), sdlBlends(c.row) ? SDL_BLENDMODE_BLEND : SDL_BLENDMODE_NONE);
        setAlpha(get(each.src), c.row.alpha);
    }
    list.push_back(
        {"SDL 2", "", kStraight, inTurn(c, surfaces, [blit, &c](const Images<Surface>& i, const Blit& b) {
             const bool whole = c.row.shape != kTile;
             const SDL_Rect from = {b.srcX, b.srcY, c.size.width, c.size.height};
             SDL_Rect onto = {b.dstX, b.dstY, c.size.width, c.size.height};
             blit(get(i.src), whole ? nullptr : &from, get(i.dst), whole ? nullptr : &onto);
         })});
}

} // namespace bench
