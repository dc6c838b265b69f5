// SPDX-License-Identifier: Zlib
#include "bench/peers.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>

#include <fmt/format.h>
#include <pixman.h>

#include <ormsel/ormsel.h>
#include <ormsel/ormsel_target.h>

namespace bench {

using Surface = std::shared_ptr<SDL_Surface>;
using PixmanImage = std::shared_ptr<pixman_image_t>;

static std::vector<Images<Surface>> surfacesOf(const Case& c) {
    return imagesOf(c, false, [](uint8_t* pixels, const Extent& e, const FormatInfo& f) {
        const int pitch = e.width * f.bytes;
        return Surface(
            SDL_CreateRGBSurfaceFrom(pixels, e.width, e.height, f.depth, pitch, f.r, f.g, f.b, f.a),
            SDL_FreeSurface);
    });
}

// Draws by a function in the shape of SDL_BlitSurface().
template <class Function>
static std::function<void(size_t)> drawBy(Function function, const Case& c, Uint32 flags = SDL_SRCALPHA) {
    const auto width = static_cast<Uint16>(c.size.width), height = static_cast<Uint16>(c.size.height);
    const auto surfaces = surfacesOf(c);
    for (const auto& each : surfaces)
        SDL_SetAlpha(each.src.get(), flags, c.row.alpha);
    return inTurn(c, surfaces, [=, whole = c.row.shape != kTile](const Images<Surface>& i, const Blit& b) {
        SDL_Rect from = {static_cast<Sint16>(b.srcX), static_cast<Sint16>(b.srcY), width, height};
        SDL_Rect onto = {static_cast<Sint16>(b.dstX), static_cast<Sint16>(b.dstY), width, height};
        function(i.src.get(), whole ? nullptr : &from, i.dst.get(), whole ? nullptr : &onto);
    });
}

static void addOurs(Participants& list, const Case& c) {
    const auto width = static_cast<unsigned long>(c.size.width),
               height = static_cast<unsigned long>(c.size.height);
    const Uint32 flags = c.row.rule == kCopy ? ORMSEL_BLIT_COPY : flagOf(c.row.operation);
    const auto picture = [=, alpha = c.row.alpha](const Images<Surface>& i, const Blit&) {
        SDL_BlitSurfaceAlphaMask(i.src.get(), 0, 0, i.dst.get(), 0, 0, width, height, i.mask.get(), alpha,
                                 flags);
    };
    const auto blit =
        c.row.shape == kPicture ? inTurn(c, surfacesOf(c), picture) : drawBy(SDL_BlitAlphaSurface, c);
    for (const std::string& target : ourTargets())
        list.push_back(
            {"ormsel " + target, target, kOurs, blit, [target] { ormsel_ForceTarget(target.c_str()); }});
}

static void addSdl12(Participants& list, const Case& c) {
    if (c.row.rule != kMasked && (c.row.rule != kPixelAlpha || c.row.alpha == 255))
        list.push_back(
            {"SDL 1.2", "", kStraight, drawBy(SDL_UpperBlit, c, sdlBlends(c.row) ? SDL_SRCALPHA : 0)});
}

// Opaque images say so, which is the fastest that pixman can be told.
static PixmanImage pixmanImage(uint8_t* pixels, const Extent& e, const FormatInfo& f, bool opaque) {
    const int type = f.b & 1     ? PIXMAN_TYPE_ARGB
                     : f.r & 1   ? PIXMAN_TYPE_ABGR
                     : f.r > f.b ? PIXMAN_TYPE_RGBA
                                 : PIXMAN_TYPE_BGRA;
    const int format = PIXMAN_FORMAT(f.bytes * 8, type, opaque ? 0 : std::popcount(f.a), std::popcount(f.r),
                                     std::popcount(f.g), std::popcount(f.b));
    return {pixman_image_create_bits(static_cast<pixman_format_code_t>(f.r ? format : PIXMAN_a8), e.width,
                                     e.height, reinterpret_cast<uint32_t*>(pixels), e.width * f.bytes),
            pixman_image_unref};
}

static void addPixman(Participants& list, const Case& c) {
    const bool alpha = c.row.rule == kPixelAlpha;
    if (c.srcPitch() % 4 || c.dstPitch() % 4)
        return;
    auto images = imagesOf(c, alpha, [alpha](uint8_t* pixels, const Extent& e, const FormatInfo& f) {
        return pixmanImage(pixels, e, f, !alpha);
    });
    const pixman_color_t constant = {0, 0, 0, static_cast<uint16_t>(c.row.alpha * 257)};
    for (size_t i = 0; i < images.size(); ++i) {
        images[i].dst = pixmanImage(c.sets[i].dst, c.screen, info(c.row.dst), true);
        if (c.row.alpha != 255)
            images[i].mask = {pixman_image_create_solid_fill(&constant), pixman_image_unref};
    }
    const auto draw = [op = c.row.readsDestination() ? PIXMAN_OP_OVER : PIXMAN_OP_SRC,
                       size = c.size](const Images<PixmanImage>& i, const Blit& b) {
        pixman_image_composite32(op, i.src.get(), i.mask.get(), i.dst.get(), b.srcX, b.srcY, b.srcX, b.srcY,
                                 b.dstX, b.dstY, size.width, size.height);
    };
    list.push_back({"pixman", "", alpha ? kPremultiplied : kStraight, inTurn(c, images, draw)});
}

static void addMemmove(Participants& list, const Case& c) {
    const size_t bytes = c.size.pixels() * static_cast<size_t>(info(c.row.dst).bytes);
    const auto draw = [bytes](const ImageSet& set, const Blit&) { std::memmove(set.dst, set.src, bytes); };
    if (c.row.src == c.row.dst && !c.row.readsDestination())
        list.push_back({"memmove", "", kStraight, inTurn(c, c.sets, draw)});
}

// Neither the widest vectors nor prefetching is always the fastest, so a short trial decides.
static void addLimit(Participants& list, const Case& c) {
    const Reads reads = c.row.rule == kMasked      ? kMaskToo
                        : c.row.readsDestination() ? kSourceAndDestination
                                                   : kSource;
    std::vector<std::function<void(size_t)>> loops;
    const auto add = [&](LimitLoop loop) {
        loops.push_back(inTurn(c, c.sets, [loop, pixels = c.size.pixels()](const ImageSet& set, const Blit&) {
            loop(set.src, set.dst, set.mask, pixels);
        }));
    };
    // What CMakeLists.txt has compiled, each with the first of our targets that has such vectors.
#define LIMIT(width, target)                                                                                 \
    for (const bool prefetches : {true, false})                                                              \
        if (std::ranges::count(ourTargets(), #target))                                                       \
            add(limitLoop<width>(info(c.row.src).bytes, info(c.row.dst).bytes, reads, prefetches));
    LIMIT_WIDTHS;
#undef LIMIT
    std::function<void(size_t)> fastest;
    auto best = std::chrono::steady_clock::duration::max();
    for (int trial = 0; trial < 5; ++trial)
        for (const auto& loop : loops) {
            loop(c.blits.size());
            const auto begin = std::chrono::steady_clock::now();
            loop(c.blits.size());
            const auto taken = std::chrono::steady_clock::now() - begin;
            fastest = taken < best ? loop : fastest;
            best = std::min(taken, best);
        }
    list.push_back({"limit", "", kLimit, fastest});
}

bool sdlBlends(const Row& row) {
    return row.rule == kPixelAlpha || (row.rule == kOpaque && row.alpha != 255);
}

Participants participantsOf(const Case& c) {
    Participants list;
    if (c.row.shape == kPicture)
        addLimit(list, c);
    if (c.row.operation == kBlend)
        for (const auto add : {addSdl12, addOurs, addSdl2, addPixman, addLibyuv, addMemmove})
            add(list, c);
    else
        addOurs(list, c);
    list.push_back(list.front());
    list.back().name += " again";
    list.back().kind = kControl;
    return list;
}

std::vector<std::string> ourTargets() {
    std::vector<std::string> names;
    for (const char* const* name = ormsel_Targets(); *name; ++name)
        names.emplace_back(*name);
    return names;
}

std::string libraryVersions() {
    const SDL_version* sdl = SDL_Linked_Version();
    return fmt::format("SDL {}.{}.{}, {}, pixman {}", sdl->major, sdl->minor, sdl->patch, sdl2Version(),
                       pixman_version_string());
}

} // namespace bench
