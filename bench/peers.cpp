// SPDX-License-Identifier: Zlib
#include "bench/peers.h"

#include <bit>
#include <chrono>
#include <cstring>
#include <memory>

#include <fmt/format.h>
#include <pixman.h>

#include "bench/limit.h"
#include <ormsel/ormsel.h>
#include <ormsel/ormsel_target.h>

namespace bench {

namespace {

struct Surfaces {
    std::shared_ptr<SDL_Surface> src, dst, mask;
};

std::vector<Surfaces> surfacesOf(const Case& c) {
    static constexpr FormatInfo kMask = {"mask", 1, 8, 0, 0, 0, 0};
    const auto over = [](uint8_t* pixels, const Extent& e,
                         const FormatInfo& f) -> std::shared_ptr<SDL_Surface> {
        return {SDL_CreateRGBSurfaceFrom(pixels, e.width, e.height, f.depth, e.width * f.bytes, f.r, f.g, f.b,
                                         f.a),
                SDL_FreeSurface};
    };
    std::vector<Surfaces> list;
    for (const ImageSet& set : c.sets)
        list.push_back({over(set.src, c.sheet, info(c.row.src)), over(set.dst, c.screen, info(c.row.dst)),
                        set.mask ? over(set.mask, c.sheet, kMask) : nullptr});
    return list;
}

SDL_Rect rectangle(const Case& c, int x, int y) {
    return {static_cast<Sint16>(x), static_cast<Sint16>(y), static_cast<Uint16>(c.size.width),
            static_cast<Uint16>(c.size.height)};
}

// Draws by a function in the shape of SDL_BlitSurface(), whole images without rectangles.
template <class Function>
std::function<void(size_t)> inTurnBy(Function draw, const Case& c, const std::vector<Surfaces>& surfaces) {
    if (c.row.shape != kTile)
        return inTurn(c, [surfaces, draw](const Blit& b) {
            draw(surfaces[b.set].src.get(), nullptr, surfaces[b.set].dst.get(), nullptr);
        });
    return inTurn(c, [surfaces, draw, &c](const Blit& b) {
        SDL_Rect from = rectangle(c, b.srcX, b.srcY), onto = rectangle(c, b.dstX, b.dstY);
        draw(surfaces[b.set].src.get(), &from, surfaces[b.set].dst.get(), &onto);
    });
}

void addOurs(std::vector<Participant>& list, const Case& c) {
    const std::vector<Surfaces> surfaces = surfacesOf(c);
    const auto masked = inTurn(c, [surfaces, &c](const Blit& b) {
        const Surfaces& s = surfaces[b.set];
        SDL_BlitSurfaceAlphaMask(s.src.get(), 0, 0, s.dst.get(), 0, 0,
                                 static_cast<unsigned long>(c.size.width),
                                 static_cast<unsigned long>(c.size.height), s.mask.get(), c.row.alpha,
                                 c.row.rule == kCopy ? ORMSEL_BLIT_COPY : 0);
    });
    const auto plain = inTurnBy(SDL_BlitAlphaSurface, c, surfaces);
    for (const char* const* target = ormsel_Targets(); *target; ++target)
        list.push_back({std::string("ormsel ") + *target, kOurs, c.row.shape == kPicture ? masked : plain,
                        [name = *target] { ormsel_ForceTarget(name); }});
}

void addSdl12(std::vector<Participant>& list, const Case& c) {
    if (c.row.rule == kMasked || (c.row.rule == kPixelAlpha && c.row.alpha != 255))
        return;
    const std::vector<Surfaces> surfaces = surfacesOf(c);
    for (const Surfaces& s : surfaces)
        SDL_SetAlpha(s.src.get(), sdlBlends(c.row) ? SDL_SRCALPHA : 0, c.row.alpha);
    list.push_back({"SDL 1.2", kStraight, inTurnBy(SDL_UpperBlit, c, surfaces)});
}

using PixmanImage = std::shared_ptr<pixman_image_t>;

PixmanImage pixmanImage(uint8_t* pixels, const Extent& e, const FormatInfo& f, bool opaque) {
    const int type = f.b & 1     ? PIXMAN_TYPE_ARGB
                     : f.r & 1   ? PIXMAN_TYPE_ABGR
                     : f.r > f.b ? PIXMAN_TYPE_RGBA
                                 : PIXMAN_TYPE_BGRA;
    const int format = PIXMAN_FORMAT(f.bytes * 8, type, opaque ? 0 : std::popcount(f.a), std::popcount(f.r),
                                     std::popcount(f.g), std::popcount(f.b));
    return {pixman_image_create_bits(static_cast<pixman_format_code_t>(f.r ? format : PIXMAN_a8), e.width,
                                     e.height, reinterpret_cast<uint32_t*>(pixels), e.width * f.bytes),
            [](pixman_image_t* image) { return image && pixman_image_unref(image); }};
}

void addPixman(std::vector<Participant>& list, const Case& c) {
    struct Images {
        PixmanImage src, mask, dst;
    };
    const bool alpha = c.row.rule == kPixelAlpha;
    if (c.srcPitch() % 4 || c.dstPitch() % 4)
        return;
    std::vector<Images> images;
    for (const ImageSet& set : c.sets) {
        const pixman_color_t constant = {0, 0, 0, static_cast<uint16_t>(c.row.alpha * 257)};
        // Opaque sources say so, which is the fastest that pixman can be told.
        images.push_back({pixmanImage(alpha ? set.premultiplied : set.src, c.sheet, info(c.row.src), !alpha),
                          set.mask ? pixmanImage(set.mask, c.sheet, {"mask", 1, 8, 0, 0, 0, 0}, true)
                          : c.row.alpha != 255
                              ? PixmanImage(pixman_image_create_solid_fill(&constant), pixman_image_unref)
                              : nullptr,
                          pixmanImage(set.dst, c.screen, info(c.row.dst), true)});
    }
    const pixman_op_t op = c.row.readsDestination() ? PIXMAN_OP_OVER : PIXMAN_OP_SRC;
    list.push_back({"pixman", alpha ? kPremultiplied : kStraight, inTurn(c, [op, images, &c](const Blit& b) {
                        const Images& i = images[b.set];
                        pixman_image_composite32(op, i.src.get(), i.mask.get(), i.dst.get(), b.srcX, b.srcY,
                                                 b.srcX, b.srcY, b.dstX, b.dstY, c.size.width, c.size.height);
                    })});
}

void addMemmove(std::vector<Participant>& list, const Case& c) {
    if (c.row.src == c.row.dst && !c.row.readsDestination())
        list.push_back(
            {"memmove", kStraight,
             inTurn(c, [&sets = c.sets, bytes = static_cast<size_t>(c.dstPitch() * c.size.height)](
                           const Blit& b) { std::memmove(sets[b.set].dst, sets[b.set].src, bytes); })});
}

// Those that this processor has: CMakeLists.txt names each width with the first of our targets that has it.
std::vector<LimitLoop> limitLoops(const Traffic& traffic) {
    std::vector<LimitLoop> loops;
    const auto add = [&](const std::string& target, LimitLoop (*loop)(const Traffic&, bool)) {
        for (const char* const* each = ormsel_Targets(); *each; ++each)
            if (target == *each)
                loops.insert(loops.end(), {loop(traffic, true), loop(traffic, false)});
    };
#define LIMIT(bytes, target) add(#target, limitLoop<bytes>);
    LIMIT_WIDTHS
#undef LIMIT
    return loops;
}

// Neither the widest vectors nor prefetching is always the fastest, so a short trial decides.
void addLimit(std::vector<Participant>& list, const Case& c) {
    const Traffic traffic = {info(c.row.src).bytes, info(c.row.dst).bytes, c.row.readsDestination(),
                             c.row.rule == kMasked};
    using Clock = std::chrono::steady_clock;
    auto best = Clock::duration::max();
    std::function<void(size_t)> fastest;
    for (int trial = 0; trial < 5; ++trial) {
        for (const LimitLoop loop : limitLoops(traffic)) {
            const auto draw = inTurn(c, [loop, &c](const Blit& b) {
                loop(c.sets[b.set].src, c.sets[b.set].dst, c.sets[b.set].mask, c.size.pixels());
            });
            draw(c.blits.size());
            const auto begin = Clock::now();
            draw(c.blits.size());
            if (const auto taken = Clock::now() - begin; taken < best) {
                best = taken;
                fastest = draw;
            }
        }
    }
    list.push_back({"limit", kLimit, fastest});
}

} // namespace

bool sdlBlends(const Row& row) {
    return row.rule == kPixelAlpha || (row.rule == kOpaque && row.alpha != 255);
}

std::vector<Participant> participantsOf(const Case& c) {
    std::vector<Participant> list;
    if (c.row.shape == kPicture)
        addLimit(list, c);
    else
        addSdl12(list, c);
    addOurs(list, c);
    if (c.row.shape == kPicture)
        addSdl12(list, c);
    addSdl2(list, c);
    addPixman(list, c);
    addLibyuv(list, c);
    addMemmove(list, c);
    Participant control = list.front();
    control.name += " again";
    control.kind = kControl;
    list.push_back(std::move(control));
    return list;
}

std::string libraryVersions() {
    const SDL_version* sdl = SDL_Linked_Version();
    const std::string second = sdl2Version();
    return fmt::format("SDL {}.{}.{}, {}pixman {}", sdl->major, sdl->minor, sdl->patch,
                       second.empty() ? "" : "SDL " + second + ", ", pixman_version_string());
}

} // namespace bench
