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

void addSdl2(std::vector<Participant>& list, const Case& c) {
    auto* const blit = SDL2(SDL_UpperBlit);
    if (!blit || c.row.rule == kMasked)
        return;
    const auto surfaces = imagesOf(c, false, [](uint8_t* pixels, const Extent& e, const FormatInfo& f) {
        const int pitch = e.width * f.bytes;
        return Surface(
            SDL2(SDL_CreateRGBSurfaceFrom)(pixels, e.width, e.height, f.depth, pitch, f.r, f.g, f.b, f.a),
            [](void* s) {
                SDL2(SDL_FreeSurface)
                (static_cast<SDL_Surface*>(s));
            });
    });
    for (const auto& each : surfaces) {
        SDL2(SDL_SetSurfaceBlendMode)
        (get(each.src), sdlBlends(c.row) ? SDL_BLENDMODE_BLEND : SDL_BLENDMODE_NONE);
        SDL2(SDL_SetSurfaceAlphaMod)(get(each.src), c.row.alpha);
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
