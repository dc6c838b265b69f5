// SPDX-License-Identifier: Zlib
//
// SDL 2 has the symbols of SDL 1.2, with which this program is linked. So it is loaded where nobody else sees
// its symbols and where its own come first.
#include <SDL2/SDL.h>
#include <dlfcn.h>
#include <fmt/format.h>

#include "bench/peers.h"

namespace bench {

namespace {

// nullptr: there is no SDL 2.
template <class Function>
Function* sdl2(const char* name) {
    static void* const library = dlopen("libSDL2-2.0.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
    return library ? reinterpret_cast<Function*>(dlsym(library, name)) : nullptr;
}
#define SDL2(function) sdl2<decltype(function)>(#function)

// The address alone: a template of SDL_Surface here and one in a file with SDL 1.2 would have one name.
using Surface = std::shared_ptr<void>;

Surface surfaceOver(uint8_t* pixels, const Extent& e, const FormatInfo& f) {
    return {SDL2(SDL_CreateRGBSurfaceFrom)(pixels, e.width, e.height, f.depth, e.width * f.bytes, f.r, f.g,
                                           f.b, f.a),
            [](void* s) { SDL2(SDL_FreeSurface)
                          (static_cast<SDL_Surface*>(s)); }};
}

} // namespace

std::string sdl2Version() {
    SDL_version v = {};
    if (!SDL2(SDL_GetVersion))
        return "";
    SDL2(SDL_GetVersion)(&v);
    return fmt::format("{}.{}.{}", v.major, v.minor, v.patch);
}

void addSdl2(std::vector<Participant>& list, const Case& c) {
    auto* const blit = SDL2(SDL_UpperBlit);
    if (!blit || c.row.rule == kMasked)
        return;
    std::vector<std::pair<Surface, Surface>> surfaces;
    for (const ImageSet& set : c.sets) {
        surfaces.emplace_back(surfaceOver(set.src, c.sheet, info(c.row.src)),
                              surfaceOver(set.dst, c.screen, info(c.row.dst)));
        auto* const src = static_cast<SDL_Surface*>(surfaces.back().first.get());
        SDL2(SDL_SetSurfaceBlendMode)(src, sdlBlends(c.row) ? SDL_BLENDMODE_BLEND : SDL_BLENDMODE_NONE);
        SDL2(SDL_SetSurfaceAlphaMod)(src, c.row.alpha);
    }
    list.push_back({"SDL 2", kStraight, inTurn(c, [blit, surfaces, &c](const Blit& b) {
                        const SDL_Rect from = {b.srcX, b.srcY, c.size.width, c.size.height};
                        SDL_Rect onto = {b.dstX, b.dstY, c.size.width, c.size.height};
                        const auto& [src, dst] = surfaces[b.set];
                        blit(static_cast<SDL_Surface*>(src.get()), c.row.shape == kTile ? &from : nullptr,
                             static_cast<SDL_Surface*>(dst.get()), c.row.shape == kTile ? &onto : nullptr);
                    })});
}

} // namespace bench
