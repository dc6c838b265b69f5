// SPDX-License-Identifier: Zlib
#include "bench/peers.h"

#include <chrono>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <pixman.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ormsel/ormsel.h>

#include "bench/limit.h"
#include "bench/sdl2_peer.h"
#include <ormsel/ormsel_target.h>

namespace bench {

namespace {

using Surface = std::shared_ptr<SDL_Surface>;

struct Surfaces {
    Surface src, dst, mask;
};

Surface surfaceOver(uint8_t* pixels, const Case& c, const LayoutInfo& l) {
    const int pitch = c.size.width * static_cast<int>(l.bytes());
    return {SDL_CreateRGBSurfaceFrom(pixels, c.size.width, c.size.height, l.depth, pitch, l.r, l.g, l.b, l.a),
            SDL_FreeSurface};
}

std::vector<Surfaces> surfacesOf(const Case& c) {
    static constexpr LayoutInfo kMask = {"mask", 8, 0, 0, 0, 0};
    std::vector<Surfaces> all;
    for (const ImageSet& set : c.sets)
        all.push_back({surfaceOver(set.src, c, info(c.row.src)), surfaceOver(set.dst, c, info(c.row.dst)),
                       set.mask ? surfaceOver(set.mask, c, kMask) : nullptr});
    return all;
}

void addOurs(std::vector<Participant>& list, const Case& c) {
    for (const char* const* target = ormsel_Targets(); *target; ++target) {
        std::function<double(size_t)> blit;
        if (c.row.call) {
            blit = inTurn(surfacesOf(c), [](const Surfaces& s) {
                SDL_BlitAlphaSurface(s.src.get(), nullptr, s.dst.get(), nullptr);
            });
        } else {
            blit = inTurn(
                surfacesOf(c),
                [size = c.size, alpha = c.row.alpha,
                 flags = static_cast<Uint32>(c.row.rule == kCopy ? ORMSEL_BLIT_COPY : 0)](const Surfaces& s) {
                    SDL_BlitSurfaceAlphaMask(
                        s.src.get(), 0, 0, s.dst.get(), 0, 0, static_cast<unsigned long>(size.width),
                        static_cast<unsigned long>(size.height), s.mask.get(), alpha, flags);
                });
        }
        list.push_back(
            {std::string("ormsel ") + *target, Kind::kOurs, nullptr, [blit, name = *target](size_t blits) {
                 ormsel_ForceTarget(name);
                 return blit(blits);
             }});
    }
}

// Whether SDL blends in the row, and by which alpha. SDL has no masks, and SDL 1.2 has no constant alpha on
// top of the pixels' own.
bool sdlBlends(const Row& row) {
    return row.rule == kPixelAlpha || (row.rule == kOpaque && row.alpha != 255);
}

void addSdl12(std::vector<Participant>& list, const Case& c) {
    if (c.row.rule == kMasked || (c.row.rule == kPixelAlpha && c.row.alpha != 255))
        return;
    std::vector<Surfaces> surfaces = surfacesOf(c);
    for (const Surfaces& s : surfaces)
        SDL_SetAlpha(s.src.get(), sdlBlends(c.row) ? SDL_SRCALPHA : 0, c.row.alpha);
    list.push_back({"SDL 1.2", Kind::kStraight, nullptr, inTurn(std::move(surfaces), [](const Surfaces& s) {
                        SDL_BlitSurface(s.src.get(), nullptr, s.dst.get(), nullptr);
                    })});
}

void addSdl2(std::vector<Participant>& list, const Case& c, Sdl2Process* sdl2) {
    if (!sdl2 || c.row.rule == kMasked)
        return;
    sdl2->load(c);
    list.push_back(
        {"SDL 2", Kind::kStraight, nullptr, [sdl2](size_t blits) { return sdl2->blit(blits); }, true});
}

using PixmanImage = std::shared_ptr<pixman_image_t>;

pixman_format_code_t pixmanFormat(Layout layout, bool ignoreAlpha) {
    switch (layout) {
    case kArgb32:
        return ignoreAlpha ? PIXMAN_x8r8g8b8 : PIXMAN_a8r8g8b8;
    case kAbgr32:
        return PIXMAN_a8b8g8r8;
    case kRgba32:
        return PIXMAN_r8g8b8a8;
    case kBgra32:
        return PIXMAN_b8g8r8a8;
    case kRgb24:
        return PIXMAN_r8g8b8;
    case kBgr24:
        return PIXMAN_b8g8r8;
    case kRgb16:
        return PIXMAN_r5g6b5;
    case kRgb15:
        return PIXMAN_x1r5g5b5;
    }
    return PIXMAN_a8r8g8b8;
}

PixmanImage pixmanImage(pixman_format_code_t format, uint8_t* pixels, const Size& size) {
    const int stride = size.width * PIXMAN_FORMAT_BPP(format) / 8;
    if (stride % 4)
        return nullptr;
    return {pixman_image_create_bits(format, size.width, size.height, reinterpret_cast<uint32_t*>(pixels),
                                     stride),
            pixman_image_unref};
}

struct PixmanImages {
    PixmanImage src, mask, dst;
};

void addPixman(std::vector<Participant>& list, const Case& c) {
    const bool alpha = c.row.rule == kPixelAlpha;
    std::vector<PixmanImages> images;
    for (const ImageSet& set : c.sets) {
        PixmanImages i;
        // Opaque sources say so, which is the fastest that pixman can be told.
        i.src = pixmanImage(pixmanFormat(c.row.src, !alpha), alpha ? set.premultiplied : set.src, c.size);
        i.dst = pixmanImage(pixmanFormat(c.row.dst, true), set.dst, c.size);
        if (set.mask) {
            i.mask = pixmanImage(PIXMAN_a8, set.mask, c.size);
        } else if (c.row.alpha != 255) {
            const pixman_color_t constant = {0, 0, 0, static_cast<uint16_t>(c.row.alpha * 257)};
            i.mask = {pixman_image_create_solid_fill(&constant), pixman_image_unref};
        }
        if (!i.src || !i.dst)
            return;
        images.push_back(i);
    }
    const pixman_op_t op = c.row.readsDestination() ? PIXMAN_OP_OVER : PIXMAN_OP_SRC;
    list.push_back({"pixman", alpha ? Kind::kPremultiplied : Kind::kStraight,
                    alpha ? "source premultiplied for nothing" : nullptr,
                    inTurn(std::move(images), [op, size = c.size](const PixmanImages& i) {
                        pixman_image_composite32(op, i.src.get(), i.mask.get(), i.dst.get(), 0, 0, 0, 0, 0, 0,
                                                 size.width, size.height);
                    })});
}

void addMemmove(std::vector<Participant>& list, const Case& c) {
    if (c.row.src != c.row.dst || c.row.readsDestination())
        return;
    list.push_back({"memmove", Kind::kStraight, nullptr,
                    inTurn(c.sets, [bytes = c.size.pixels() * info(c.row.dst).bytes()](const ImageSet& set) {
                        std::memmove(set.dst, set.src, bytes);
                    })});
}

// Neither the widest vectors nor prefetching is always the fastest, so a short trial decides.
LimitLoop fastestLimit(const Case& c) {
    const Traffic traffic = {info(c.row.src).bytes(), info(c.row.dst).bytes(), c.row.readsDestination(),
                             c.row.rule == kMasked};
    LimitLoop fastest = nullptr;
    double best = 0;
    for (int trial = 0; trial < 5; ++trial) {
        for (const LimitLoop loop : limitLoops(traffic)) {
            const auto rotation = [&] {
                for (const ImageSet& set : c.sets)
                    loop(set.src, set.dst, set.mask, c.size.pixels());
            };
            rotation();
            const auto begin = std::chrono::steady_clock::now();
            rotation();
            const double seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
            if (!fastest || seconds < best) {
                fastest = loop;
                best = seconds;
            }
        }
    }
    return fastest;
}

void addLimit(std::vector<Participant>& list, const Case& c) {
    list.push_back({"limit", Kind::kLimit, nullptr,
                    inTurn(c.sets, [loop = fastestLimit(c), pixels = c.size.pixels()](const ImageSet& set) {
                        loop(set.src, set.dst, set.mask, pixels);
                    })});
}

} // namespace

std::vector<Participant> participantsOf(const Case& c, Sdl2Process* sdl2) {
    std::vector<Participant> list;
    if (c.row.call)
        addSdl12(list, c);
    else
        addLimit(list, c);
    addOurs(list, c);
    if (!c.row.call)
        addSdl12(list, c);
    addSdl2(list, c, sdl2);
    addPixman(list, c);
    addLibyuv(list, c);
    addMemmove(list, c);
    Participant control = list.front();
    control.name += " again";
    control.kind = Kind::kControl;
    list.push_back(std::move(control));
    return list;
}

std::string libraryVersions() {
    const SDL_version* sdl = SDL_Linked_Version();
    return "SDL " + std::to_string(sdl->major) + "." + std::to_string(sdl->minor) + "." +
           std::to_string(sdl->patch) + ", pixman " + pixman_version_string();
}

Sdl2Process::Sdl2Process(const std::string& program, const SharedMemory& shared) : memory(shared) {
    int requests[2], answers[2];
    if (access(program.c_str(), X_OK) != 0 || pipe2(requests, O_CLOEXEC) != 0 ||
        pipe2(answers, O_CLOEXEC) != 0)
        throw std::runtime_error("can't start " + program);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, requests[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, answers[1], STDOUT_FILENO);
    std::string path = program, descriptor = std::to_string(shared.descriptor()),
                bytes = std::to_string(shared.size());
    char* arguments[] = {path.data(), descriptor.data(), bytes.data(), nullptr};
    const int failed = posix_spawn(&pid_, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(requests[0]);
    close(answers[1]);
    to_ = requests[1];
    from_ = answers[0];
    unsigned char version[3];
    if (failed || read(from_, version, sizeof version) != sizeof version)
        throw std::runtime_error("can't start " + program);
    version_ =
        std::to_string(version[0]) + "." + std::to_string(version[1]) + "." + std::to_string(version[2]);
}

Sdl2Process::~Sdl2Process() {
    close(to_);
    close(from_);
    waitpid(pid_, nullptr, 0);
}

namespace {

double ask(int to, int from, const Sdl2Request& request) {
    double seconds;
    if (write(to, &request, sizeof request) != sizeof request ||
        read(from, &seconds, sizeof seconds) != sizeof seconds)
        throw std::runtime_error("the SDL 2 process has ended");
    return seconds;
}

} // namespace

void Sdl2Process::load(const Case& c) {
    Sdl2Request request = {};
    request.kind = Sdl2Request::kLoad;
    request.sets = static_cast<uint32_t>(c.sets.size());
    request.alpha = c.row.alpha;
    request.blend = sdlBlends(c.row);
    const auto image = [&](const uint8_t* pixels, Layout layout) -> Sdl2Image {
        const LayoutInfo& l = info(layout);
        return {memory.offsetOf(pixels),
                c.size.width,
                c.size.height,
                c.pitch(layout),
                l.depth,
                l.r,
                l.g,
                l.b,
                l.a};
    };
    for (size_t i = 0; i < c.sets.size(); ++i) {
        request.src[i] = image(c.sets[i].src, c.row.src);
        request.dst[i] = image(c.sets[i].dst, c.row.dst);
    }
    ask(to_, from_, request);
}

double Sdl2Process::blit(size_t blits) {
    Sdl2Request request = {};
    request.kind = Sdl2Request::kBlit;
    request.blits = blits;
    return ask(to_, from_, request);
}

} // namespace bench
