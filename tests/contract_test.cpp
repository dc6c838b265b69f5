// SPDX-License-Identifier: Zlib
//
// What holds around the pixels: refusals and their messages, locks, clipping, contexts, threads, targets.
#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <future>
#include <iostream>
#include <mutex>
#include <thread>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <ormsel/ormsel.h>
#include <ormsel/ormsel_target.h>
#include <ormsel/ormsel_utils.h>

#include "tests/blits.h"
#include "tests/faults.h"

// A number in the field that SDL leaves unused makes a surface stand for one in graphics-card memory: those
// with the same number exclude each other. SDL's own calls would need a display.
static std::array<std::mutex, 3> cards;

extern "C" int SDL_LockSurface(SDL_Surface* surface) {
    if (surface->locked++ == 0 && surface->unused1 != 0) {
        cards.at(surface->unused1).lock();
        std::this_thread::yield(); // so that the other thread finds it taken
    }
    return 0;
}

extern "C" void SDL_UnlockSurface(SDL_Surface* surface) {
    if (--surface->locked == 0 && surface->unused1 != 0)
        cards.at(surface->unused1).unlock();
}

namespace {

constexpr char kNotAMask[] = "Mask is not 8 bit format. Bailing out!\nInitContext (mask) failed!\n";
constexpr Kind kReversed16 = {16, 0x1F, 0x7E0, 0xF800, 0};

// Images of 8 x 8 of each kind that a test needs, all over the same bytes of FF.
struct Images {
    std::array<uint8_t, 8 * 8 * 4> pixels{};
    Picture surface = of(surfaceKind(RGBFB_A8R8G8B8)), target = of(surfaceKind(RGBFB_R5G6B5));
    Picture bitmap = of(bitmapKind(RGBFB_A8R8G8B8)), targetBitmap = of(bitmapKind(RGBFB_R5G6B5));
    Picture mask = of(kSurfaceMask), bitmapMask = of(kBitmapMask), none;

    Images() { pixels.fill(0xFF); }
    Picture of(const Kind& kind) { return {kind, pixels.data(), 8, 8, 8 * kind.bytes(), true}; }

    static model::Blit request() {
        model::Blit b{};
        b.src.pitch = 32, b.src.format.code = RGBFB_A8R8G8B8; // what kArray takes
        b.width = b.height = 8;
        b.alpha = 255;
        return b;
    }

    // The lines printed by a blit that must draw nothing and leave nothing locked.
    std::string refused(const std::function<unsigned long()>& work) {
        const auto before = pixels;
        std::string text = printedBy([&] { EXPECT_EQ(work(), 0U); });
        EXPECT_EQ(pixels, before);
        EXPECT_EQ(heldBitMapLocks, 0);
        for (const Picture* picture : {&surface, &target, &mask})
            EXPECT_EQ(picture->sdl()->locked, 0U);
        return text;
    }
    std::string refused(const Entry& entry, const Picture& src, const Picture& dst,
                        const Picture& through = {}, const model::Blit& b = request()) {
        void* array = src.sdl() ? src.sdl()->pixels : nullptr;
        return refused([&] { return entry.call({b, src, dst, through, array}); });
    }
};

TEST(Contract, RefusedSurfaces) {
    Images i;
    const std::string runs = "RLE acceleration not supported (yet). Bailing out!\n";
    const std::string layout = "Unsupported source pixel format, bailing out\n";
    const Kind wide = surfaceKind(RGBFB_A8R8G8B8), narrow = surfaceKind(RGBFB_R5G6B5);
    const std::tuple<std::string, Kind, Uint32, Uint8> cases[] = {{runs, wide, SDL_RLEACCEL, 32},
                                                                  {runs, narrow, SDL_RLEACCELOK, 16},
                                                                  {layout, kReversed16, 0, 16},
                                                                  {layout, kReversed16, 0, 15},
                                                                  {"", kSurfaceMask, 0, 8},
                                                                  {"", wide, 0, 12},
                                                                  {"", wide, 0, 33}};
    for (const auto& [line, kind, flags, depth] : cases) {
        const Picture bad = i.of(kind);
        bad.sdl()->flags |= flags;
        bad.sdl()->format->BitsPerPixel = depth;
        EXPECT_EQ(i.refused(kSurfaceMasked, bad, i.target), line + "InitContext (src) failed!\n");
        EXPECT_EQ(i.refused(kSurfaceToBitmap, bad, i.targetBitmap), line + "InitContext (src) failed!\n");
        EXPECT_EQ(i.refused(kSurfaceMasked, i.surface, bad), line + "InitContext (dst) failed!\n");
        EXPECT_EQ(i.refused(kBitmapToSurface, i.bitmap, bad), line + "InitContext (dst) failed!\n");
        EXPECT_EQ(bad.sdl()->locked, 0U);
        bad.sdl()->flags &= ~flags;
    }
    for (const int depth : {0, 1, 2, 3, 4, 5, 6, 7, 9, 16, 32}) {
        i.mask.sdl()->format->BitsPerPixel = static_cast<Uint8>(depth);
        EXPECT_EQ(i.refused(kSurfaceMasked, i.surface, i.target, i.mask), kNotAMask) << depth;
    }
}

TEST(Contract, RefusedBitmapsLocksMasksAndArrays) {
    Images i;
    for (const auto& [code, name] : {std::pair{RGBFB_CLUT, "RGBFB_CLUT"},
                                     {RGBFB_R5G6B5PC, "RGBFB_R5G6B5PC"},
                                     {RGBFB_B5G5R5PC, "RGBFB_B5G5R5PC"}}) {
        const Picture bad = i.of({16, 0, 0, 0, 0, code});
        const std::string line =
            std::string("Unsupported pixel format '") + name + "' !!! Bailing out.\nInitContext (";
        EXPECT_EQ(i.refused(kBitmap, bad, i.targetBitmap), line + "src) failed!\n");
        EXPECT_EQ(i.refused(kSurfaceToBitmap, i.surface, bad), line + "dst) failed!\n");
    }
    EXPECT_STREQ(p96Fmt2Str(20), "RGBFB_YUV422PAPC");
    EXPECT_STREQ(p96Fmt2Str(21), "");

    const std::string lines[] = {"Could not lock bitmap.\nInitContext (src) failed!\n",
                                 "Could not lock bitmap.\nInitContext (dst) failed!\n",
                                 "Could not lock mask bitmap.\nInitContext (mask) failed!\n"};
    for (long lock = 0; lock < 3; ++lock) {
        lockFault.arm(lock, 1);
        EXPECT_EQ(i.refused(kBitmapMasked, i.bitmap, i.targetBitmap, i.bitmapMask), lines[lock]);
    }
    EXPECT_EQ(i.refused(kBitmapMasked, i.bitmap, i.targetBitmap, i.targetBitmap), kNotAMask);

    model::Blit array = Images::request();
    for (const uint32_t format : {RGBFB_NONE, RGBFB_R8G8B8, RGBFB_R5G5B5PC, RGBFB_R5G6B5, RGBFB_R5G5B5}) {
        array.src.format.code = format;
        EXPECT_EQ(i.refused(kArray, i.surface, i.targetBitmap, i.none, array),
                  "Unsupported Pixelformat! Must be one of RGBFB_A8R8G8B8, RGBFB_A8B8G8R8, RGBFB_R8G8B8A8 or "
                  "RGBFB_B8G8R8A8\n");
    }
}

// Through every entry point, with each image there, without pixels, missing or, a surface, without a format.
TEST(Contract, MissingImagesAndPixels) {
    Images i;
    std::vector<std::pair<Picture, SDL_PixelFormat*>> formless;
    const auto variants = [&](const Kind& kind) {
        std::vector<Picture> all = {i.of(kind), {kind, nullptr, 8, 8, 8 * kind.bytes()}, i.none};
        if (all[0].sdl()) {
            all.push_back(i.of(kind));
            formless.emplace_back(all[3], std::exchange(all[3].sdl()->format, nullptr));
        }
        return all;
    };
    const std::vector<Picture> images[] = {variants(bitmapKind(RGBFB_A8R8G8B8)),
                                           variants(surfaceKind(RGBFB_A8R8G8B8))};
    const std::vector<Picture> masks[] = {variants(kBitmapMask), variants(kSurfaceMask)};
    const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
    for (const Entry* entry : kEntries) {
        const auto &from = images[entry->fromSurface], &onto = images[entry->ontoSurface];
        const auto& through = masks[entry->fromSurface];
        for (size_t n = 0; n < from.size() * onto.size() * through.size(); ++n) {
            const size_t src = n % from.size(), dst = n / from.size() % onto.size(),
                         mask = n / from.size() / onto.size();
            // An array has no format, and a blit may have no mask.
            if ((entry == &kArray && src == 3) || (src + dst == 0 && (!entry->takesMask || mask % 2 == 0)))
                continue;
            const std::string text = i.refused(*entry, from[src], onto[dst], through[mask]);
            EXPECT_TRUE(lines(text) == 1 && text.size() > 1 && text.back() == '\n')
                << entry->name << ": " << text;
        }
    }
    for (const auto& [picture, format] : formless)
        EXPECT_EQ(std::exchange(picture.sdl()->format, format), nullptr);
    const std::string noRastPort = i.refused([&] {
        return SDL_BlitAlphaSurfaceRastPort(i.surface.sdl(), 0, 0, nullptr, 0, 0, 8, 8, 0) +
               BltAlphaBitMapRastPort(i.bitmap.native(), 0, 0, nullptr, 0, 0, 8, 8, 9, 0) +
               WriteAlphaPixelArray(i.pixels.data(), 0, 0, 32, nullptr, 0, 0, 8, 8, 9, RGBFB_A8R8G8B8);
    });
    EXPECT_EQ(lines(noRastPort), 3) << noRastPort;
}

TEST(Contract, ContextsDescribeAndReleaseTheirImages) {
    std::array<uint8_t, 64> pixels{};
    const auto check = [&](const Kind& kind, const Kind& maskKind, auto native, long locks) {
        const Picture picture(kind, pixels.data(), 3, 3, 14, true), mask(maskKind, pixels.data(), 3, 3, 5);
        auto *const image = native(picture), *const maskImage = native(mask);
        BltContext ctx;
        ASSERT_TRUE(BLT_InitContext(ctx, image, image, 0, 0, 1, 1, 3, 3, maskImage, 9, 1));
        EXPECT_TRUE(ctx.src.lock != 0 && ctx.dst.lock != 0 && ctx.maskLock != 0);
        const model::Image described = picture.image(0);
        BltContext expected = contextFor(
            {described, described, 0, 0, 1, 1, 2, 2, 9, 1, true, mask.image(0), false}, pixels.data());
        expected.src.lock = ctx.src.lock, expected.dst.lock = ctx.dst.lock, expected.maskLock = ctx.maskLock;
        // Cleared as a whole before they are filled. NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
        EXPECT_EQ(std::memcmp(&ctx, &expected, sizeof ctx), 0);
        EXPECT_EQ(heldBitMapLocks, locks);
        for (int twice = 0; twice < 2; ++twice)
            BLT_FreeContext(ctx, image, image, maskImage);
        EXPECT_EQ(ctx.src.lock | ctx.dst.lock | ctx.maskLock, 0U);
        EXPECT_EQ(heldBitMapLocks, 0);
    };
    for (const Kind& kind : kSurfaceKinds)
        check(kind, kSurfaceMask, std::mem_fn(&Picture::sdl), 0);
    for (const Kind& kind : kBitmapKinds)
        check(kind, kBitmapMask, std::mem_fn(&Picture::native), 3);
}

// Several threads draw from one source; each has its own destination.
TEST(Contract, ThreadsShareASource) {
    std::vector<uint8_t> source(64 * 64 * 4);
    Random(3).fill(source.data(), 64 * 64 * 4);
    const Kind argb32 = surfaceKind(RGBFB_A8R8G8B8);
    const Picture surface(argb32, source.data(), 64, 64, 256), mask(kSurfaceMask, source.data(), 64, 64, 64);
    const Picture bitmap(bitmapKind(RGBFB_A8R8G8B8), source.data(), 64, 64, 256);
    model::Blit whole = Images::request();
    whole.width = whole.height = 64;
    const auto draw = [&, rounds = std::min(4000L, caseCount(4000))] {
        std::vector<uint8_t> own(64 * 64 * 4, 0x40);
        for (long round = 0; round < rounds; ++round) {
            const Picture wide(argb32, own.data(), 64, 64, 256);
            const Picture narrow(bitmapKind(RGBFB_R5G6B5), own.data(), 64, 64, 128, round % 2 != 0);
            kSurfaceMasked.call({whole, surface, wide, round % 3 == 0 ? mask : Picture()});
            kSurfaceToBitmap.call({whole, surface, narrow, {}});
            kBitmap.call({whole, bitmap, narrow, {}});
        }
        return own;
    };
    std::array<std::future<std::vector<uint8_t>>, 3> others;
    for (auto& other : others)
        other = std::async(std::launch::async, draw);
    const std::vector<uint8_t> drawn = draw();
    for (auto& other : others)
        EXPECT_EQ(other.get(), drawn);
    EXPECT_EQ(surface.sdl()->locked + mask.sdl()->locked, 0U);
    EXPECT_EQ(heldBitMapLocks, 0);
}

// Two threads blit four surfaces in graphics-card memory, in which no two sources and no two destinations are
// locked at once. A lock that waits must not keep the other thread from its own.
TEST(Contract, LocksThatWaitStopNobody) {
    const auto work = [rounds = std::min(5000L, caseCount(5000))] {
        std::array<uint32_t, 32> pixels{};
        const Kind kind = surfaceKind(RGBFB_A8R8G8B8);
        const Picture src(kind, reinterpret_cast<uint8_t*>(pixels.data()), 4, 4, 16),
            dst(kind, reinterpret_cast<uint8_t*>(pixels.data() + 16), 4, 4, 16);
        SDL_Surface* const pair[] = {src.sdl(), dst.sdl()};
        for (Uint32 n = 0; n < 2; ++n) {
            pair[n]->flags |= SDL_HWSURFACE;
            pair[n]->unused1 = n + 1;
        }
        for (long round = 0; round < rounds; ++round)
            SDL_BlitAlphaSurface(pair[0], nullptr, pair[1], nullptr);
        SDL_LockSurface(pair[1]); // and one surface more than once, in one thread
        SDL_BlitAlphaSurface(pair[1], nullptr, pair[1], nullptr);
        EXPECT_EQ(pair[1]->locked, 1U);
        SDL_UnlockSurface(pair[1]);
        for (SDL_Surface* surface : pair) {
            EXPECT_EQ(surface->locked, 0U);
            surface->flags &= ~static_cast<Uint32>(SDL_HWSURFACE);
            surface->unused1 = 0;
        }
    };
    std::future<void> threads[] = {std::async(std::launch::async, work),
                                   std::async(std::launch::async, work)};
    for (std::future<void>& thread : threads)
        if (thread.wait_for(std::chrono::minutes(2)) != std::future_status::ready) {
            std::cerr << "The threads stand still.\n";
            std::abort(); // they can't be ended
        }
}

// In graphics-card memory nothing is touched that isn't drawn: a page without access shows it. In main memory
// a row of vectors may be written back as it is, and the best target does so.
TEST(Contract, VideoMemoryIsTouchedWhereSomethingIsDrawn) {
    const Arena arena(1, Arena::page());
    std::vector<uint8_t> clear(64 * 4, 0);
    for (const uint32_t onto : {RGBFB_A8R8G8B8, RGBFB_R5G6B5, RGBFB_R5G5B5, RGBFB_R8G8B8})
        for (const bool masked : {false, true}) {
            const Kind kind = surfaceKind(onto);
            const Picture src(surfaceKind(RGBFB_A8R8G8B8), clear.data(), 64, 1, 256),
                mask(kSurfaceMask, clear.data(), 64, 1, 64),
                surface(kind, arena.at(arena.begin()), 64, 2, 256),
                bitmap(bitmapKind(onto), arena.at(arena.begin()), 64, 2, 256, true);
            model::Blit blit = Images::request();
            blit.width = 60, blit.height = 1; // less than a run that vector kernels would pass over
            surface.sdl()->flags |= SDL_HWSURFACE;
            arena.protect({arena.begin(), arena.begin() + arena.size()}, PROT_NONE);
            EXPECT_FALSE(faults([&] {
                kSurfaceMasked.call({blit, src, surface, masked ? mask : Picture()});
            })) << "onto a surface of format "
                << onto << (masked ? " through a mask" : "");
            if (onto != RGBFB_R5G6B5) { // whose rows are copied
                EXPECT_FALSE(faults([&] {
                    kSurfaceToBitmap.call({blit, src, bitmap, {}});
                })) << "onto a bitmap of format "
                    << onto;
            }
            arena.protect({arena.begin(), arena.begin() + arena.size()}, PROT_READ | PROT_WRITE);
            surface.sdl()->flags &= ~static_cast<Uint32>(SDL_HWSURFACE);
        }
}

TEST(Contract, TargetsCanBeForced) {
    const std::string first = ormsel_TargetName();
    EXPECT_FALSE(ormsel_ForceTarget("no such target"));
    EXPECT_EQ(ormsel_TargetName(), first);
    std::vector<std::string> all;
    for (const char* const* name = ormsel_Targets(); *name != nullptr; ++name) {
        EXPECT_TRUE(ormsel_ForceTarget(*name)) << *name;
        all.emplace_back(ormsel_TargetName());
        EXPECT_EQ(all.back(), *name);
    }
    // A target that got lost would only be skipped by the tests that run once for each.
    std::vector<std::string> expected = {"scalar"};
#if defined(__x86_64__) && !defined(ORMSEL_SCALAR_ONLY)
    if (__builtin_cpu_supports("sse4.1"))
        expected.emplace_back("sse4");
    if (__builtin_cpu_supports("avx2"))
        expected.emplace_back("avx2");
    if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl"))
        expected.emplace_back("avx512");
    EXPECT_TRUE(std::is_permutation(all.begin(), all.end(), expected.begin(), expected.end()));
#endif
    EXPECT_TRUE(ormsel_ForceTarget(nullptr));
    EXPECT_EQ(ormsel_TargetName(), all[0]);
    EXPECT_TRUE(ormsel_ForceTarget(first.c_str()));
}

} // namespace
