// SPDX-License-Identifier: Zlib
//
// What holds around the pixels: refusals and their messages, locks, clipping, contexts, threads, targets.
#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <future>
#include <iostream>
#include <mutex>
#include <thread>
#include <utility>

#include <dlfcn.h>

#include <graphics/layers.h>
#include <gtest/gtest.h>

#include <ormsel/ormsel.h>
#include <ormsel/ormsel_target.h>
#include <proto/layers.h>

#include "tests/blits.h"
#include "tests/faults.h"

extern "C" unsigned long blitFromC(SDL_Surface* src, SDL_Surface* dst); // c_header_test.c

// --- Locks of images in graphics-card memory -----------------------------------------------------------

// A number in the field that SDL leaves unused makes a surface stand for one in graphics-card memory: those
// with the same number exclude each other. SDL's own calls would need a display.
static std::array<std::mutex, 2> cards;
static std::mutex* mutexOf(const SDL_Surface* surface) {
    return surface->unused1 ? &cards.at(surface->unused1 - 1) : nullptr;
}

extern "C" int SDL_LockSurface(SDL_Surface* surface) {
    static const auto real =
        reinterpret_cast<decltype(&SDL_LockSurface)>(dlsym(RTLD_NEXT, "SDL_LockSurface"));
    if (!mutexOf(surface))
        return real(surface);
    if (surface->locked++ == 0)
        mutexOf(surface)->lock();
    return 0;
}

extern "C" void SDL_UnlockSurface(SDL_Surface* surface) {
    static const auto real =
        reinterpret_cast<decltype(&SDL_UnlockSurface)>(dlsym(RTLD_NEXT, "SDL_UnlockSurface"));
    if (!mutexOf(surface))
        real(surface);
    else if (--surface->locked == 0)
        mutexOf(surface)->unlock();
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
        EXPECT_EQ(heldBitMapLocks(), 0);
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
    struct {
        const char* line;
        Kind kind;
        Uint32 flags;
        int depth;
    } const cases[] = {
        {"RLE acceleration not supported (yet). Bailing out!\n", surfaceKind(RGBFB_A8R8G8B8), SDL_RLEACCEL,
         32},
        {"RLE acceleration not supported (yet). Bailing out!\n", surfaceKind(RGBFB_R5G6B5), SDL_RLEACCELOK,
         16},
        {"Unsupported source pixel format, bailing out\n", kReversed16, 0, 16},
        {"Unsupported source pixel format, bailing out\n", kReversed16, 0, 15},
        {"", kSurfaceMask, 0, 8},
        {"", surfaceKind(RGBFB_A8R8G8B8), 0, 12},
        {"", surfaceKind(RGBFB_A8R8G8B8), 0, 33},
    };
    for (const auto& c : cases) {
        const Picture bad = i.of(c.kind);
        bad.sdl()->flags |= c.flags;
        bad.sdl()->format->BitsPerPixel = static_cast<Uint8>(c.depth);
        const std::string source = c.line + std::string("InitContext (src) failed!\n"),
                          target = c.line + std::string("InitContext (dst) failed!\n");
        EXPECT_EQ(i.refused(kSurfaceMasked, bad, i.target), source);
        EXPECT_EQ(i.refused(kSurfaceToBitmap, bad, i.targetBitmap), source);
        EXPECT_EQ(i.refused(kSurfaceMasked, i.surface, bad), target);
        EXPECT_EQ(i.refused(kBitmapToSurface, i.bitmap, bad), target);
        EXPECT_EQ(bad.sdl()->locked, 0U);
        bad.sdl()->flags &= ~c.flags;
    }
    for (const int depth : {0, 1, 2, 3, 4, 5, 6, 7, 9, 16, 32}) {
        i.mask.sdl()->format->BitsPerPixel = static_cast<Uint8>(depth);
        EXPECT_EQ(i.refused(kSurfaceMasked, i.surface, i.target, i.mask), kNotAMask) << depth;
    }
}

TEST(Contract, RefusedBitmapsLocksMasksAndArrays) {
    Images i;
#define CODE(name)                                                                                           \
    { RGBFB_##name, #name }
    const std::pair<uint32_t, std::string> codes[] = {CODE(CLUT),      CODE(R5G6B5PC), CODE(R5G5B5PC),
                                                      CODE(B5G6R5PC),  CODE(B5G5R5PC), CODE(YUV422CGX),
                                                      CODE(YUV422PAPC)};
    int seen = 0;
    for (const auto& [code, name] : codes) {
        const Picture bad = i.of({16, 0, 0, 0, 0, code});
        if (!bad.native())
            continue; // a layout that the provider doesn't offer
        ++seen;
        const std::string line =
            "Unsupported pixel format 'RGBFB_" + name + "' !!! Bailing out.\nInitContext (";
        EXPECT_EQ(i.refused(kBitmap, bad, i.targetBitmap), line + "src) failed!\n");
        EXPECT_EQ(i.refused(kSurfaceToBitmap, i.surface, bad), line + "dst) failed!\n");
    }
    EXPECT_GE(seen, 3);

    const char* const lines[] = {"Could not lock bitmap.\nInitContext (src) failed!\n",
                                 "Could not lock bitmap.\nInitContext (dst) failed!\n",
                                 "Could not lock mask bitmap.\nInitContext (mask) failed!\n"};
    for (long lock = 0; lock < 3; ++lock) {
        failLocks(lock, 1);
        EXPECT_EQ(i.refused(kBitmapMasked, i.bitmap, i.targetBitmap, i.bitmapMask), lines[lock]);
    }
    failLocks(0, 0);
    losePixels(i.targetBitmap.native(), true);
    EXPECT_EQ(i.refused(kSurfaceToBitmap, i.surface, i.targetBitmap), lines[1]);
    losePixels(i.targetBitmap.native(), false);

    EXPECT_EQ(i.refused(kBitmapMasked, i.bitmap, i.targetBitmap, i.targetBitmap), kNotAMask);

    model::Blit array = Images::request();
    static constexpr int kNotForArrays[] = {RGBFB_NONE,   RGBFB_R8G8B8, RGBFB_R5G5B5PC,
                                            RGBFB_R5G6B5, RGBFB_R5G5B5, 255};
    for (const int format : kNotForArrays) {
        array.src.format.code = static_cast<uint32_t>(format);
        EXPECT_EQ(i.refused(kArray, i.surface, i.targetBitmap, i.none, array),
                  "Unsupported Pixelformat! Must be one of RGBFB_A8R8G8B8, RGBFB_A8B8G8R8, RGBFB_R8G8B8A8 or "
                  "RGBFB_B8G8R8A8\n");
    }
}

TEST(Contract, SilentlyDrawsNothing) {
    Images i;
    const Picture rgb24 = i.of(surfaceKind(RGBFB_R8G8B8)), noAlpha = i.of({32, 0xFF0000, 0xFF00, 0xFF, 0});
    EXPECT_EQ(i.refused(kSurfaceMasked, rgb24, rgb24), "");
    EXPECT_EQ(i.refused(kSurfaceMasked, noAlpha, rgb24), "");
    model::Blit empty = Images::request();
    for (const auto& [width, height] : {std::pair{0L, 8L}, {8L, 0L}, {65536L, 8L}, {8L, 0x30000L}}) {
        empty.width = width, empty.height = height;
        EXPECT_EQ(i.refused(kSurfaceToBitmap, i.surface, i.targetBitmap, i.none, empty), "");
    }
}

// Through every entry point, with each image there, missing, without pixels or, a surface, without a format.
TEST(Contract, MissingImagesAndPixels) {
    Images i;
    const auto hollow = [](const Kind& kind) { return Picture(kind, nullptr, 8, 8, 8 * kind.bytes()); };
    const Picture surface = hollow(surfaceKind(RGBFB_A8R8G8B8)), bitmap = hollow(bitmapKind(RGBFB_A8R8G8B8));
    const Picture mask = hollow(kSurfaceMask), ofBitmap = hollow(kBitmapMask);
    const Picture formless = i.of(surfaceKind(RGBFB_A8R8G8B8)), formlessMask = i.of(kSurfaceMask);
    SDL_PixelFormat* const formats[] = {std::exchange(formless.sdl()->format, nullptr),
                                        std::exchange(formlessMask.sdl()->format, nullptr)};
    const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
    for (const Entry* entry : kEntries) {
        const bool from = entry->fromSurface, onto = entry->ontoSurface;
        const Picture* sources[] = {from ? &i.surface : &i.bitmap, from ? &surface : &bitmap,
                                    from ? &formless : &bitmap, &i.none};
        const Picture* targets[] = {onto ? &i.target : &i.targetBitmap, onto ? &surface : &bitmap,
                                    onto ? &formless : &bitmap, &i.none};
        const Picture* masks[] = {from ? &i.mask : &i.bitmapMask, from ? &mask : &ofBitmap,
                                  from ? &formlessMask : &ofBitmap};
        for (const Picture* src : sources)
            for (const Picture* dst : targets)
                for (const Picture* through : masks)
                    if ((entry != &kArray || src != sources[2]) &&
                        (src != sources[0] || dst != targets[0] ||
                         (entry->takesMask && through != masks[0]))) {
                        const std::string text = i.refused(*entry, *src, *dst, *through);
                        EXPECT_TRUE(lines(text) == 1 && text.size() > 1 && text.back() == '\n')
                            << entry->name << ": " << text;
                    }
    }
    EXPECT_EQ(
        surface.sdl()->locked + mask.sdl()->locked + formless.sdl()->locked + formlessMask.sdl()->locked, 0U);
    formless.sdl()->format = formats[0], formlessMask.sdl()->format = formats[1];
    const std::string noRastPort = i.refused([&] {
        return SDL_BlitAlphaSurfaceRastPort(i.surface.sdl(), 0, 0, nullptr, 0, 0, 8, 8, 0) +
               BltAlphaBitMapRastPort(i.bitmap.native(), 0, 0, nullptr, 0, 0, 8, 8, 9, 0) +
               WriteAlphaPixelArray(i.pixels.data(), 0, 0, 32, nullptr, 0, 0, 8, 8, 9, RGBFB_A8R8G8B8);
    });
    EXPECT_EQ(lines(noRastPort), 3) << noRastPort;
}

TEST(Contract, ContextsDescribeAndReleaseTheirImages) {
    std::array<uint8_t, 64> pixels{};
    const auto check = [&](const Picture& picture, auto* image, const Picture& mask, auto* maskImage,
                           long locks) {
        BltContext ctx;
        ASSERT_TRUE(BLT_InitContext(ctx, image, image, 0, 0, 1, 1, 3, 3, maskImage, 9, 1));
        EXPECT_TRUE(ctx.src.lock != 0 && ctx.dst.lock != 0 && ctx.maskLock != 0);
        const model::Image described = picture.image(0);
        BltContext expected = contextFor(
            {described, described, 0, 0, 1, 1, 2, 2, 9, 1, true, mask.image(0), false}, pixels.data());
        expected.src.lock = ctx.src.lock, expected.dst.lock = ctx.dst.lock, expected.maskLock = ctx.maskLock;
        // Cleared as a whole before they are filled. NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
        EXPECT_EQ(std::memcmp(&ctx, &expected, sizeof ctx), 0);
        EXPECT_EQ(heldBitMapLocks(), locks);
        for (int twice = 0; twice < 2; ++twice)
            BLT_FreeContext(ctx, image, image, maskImage);
        EXPECT_EQ(ctx.src.lock | ctx.dst.lock | ctx.maskLock, 0U);
        EXPECT_EQ(heldBitMapLocks(), 0);
    };
    const Picture mask(kSurfaceMask, pixels.data(), 3, 3, 5), ofBitmap(kBitmapMask, pixels.data(), 3, 3, 5);
    for (const Kind& kind : kSurfaceKinds) {
        const Picture p(kind, pixels.data(), 3, 3, 13);
        check(p, p.sdl(), mask, mask.sdl(), 0);
        EXPECT_EQ(p.sdl()->locked + mask.sdl()->locked, 0U);
    }
    for (const Kind& kind : kBitmapKinds)
        for (const bool onBoard : {false, true}) {
            const Picture p(kind, pixels.data(), 3, 3, 14, onBoard);
            check(p, p.native(), ofBitmap, ofBitmap.native(), 3);
        }
}

// Several threads draw from one source; each has its own destination.
TEST(Contract, ThreadsShareASource) {
    std::vector<uint8_t> source(64 * 64 * 4);
    Random(3).fill(source.data(), 64 * 64 * 4);
    const Kind argb32 = surfaceKind(RGBFB_A8R8G8B8);
    const Picture surface(argb32, source.data(), 64, 64, 256), mask(kSurfaceMask, source.data(), 64, 64, 64);
    const Picture bitmap(bitmapKind(RGBFB_A8R8G8B8), source.data(), 64, 64, 256), none;
    model::Blit whole{};
    whole.width = whole.height = 64;
    whole.alpha = 255;
    const std::vector<uint8_t> before(64 * 64 * 4, 0x40);
    std::array<std::vector<uint8_t>, 4> pixels;
    std::vector<std::thread> workers;
    workers.reserve(pixels.size());
    for (std::vector<uint8_t>& own : pixels)
        workers.emplace_back([&, rounds = caseCount(4000)] {
            own = before;
            for (long round = 0; round < rounds; ++round) {
                const Picture wide(argb32, own.data(), 64, 64, 256);
                const Picture narrow(bitmapKind(RGBFB_R5G6B5), own.data(), 64, 64, 128, round % 2 != 0);
                kSurfaceMasked.call({whole, surface, wide, round % 3 == 0 ? mask : none});
                kSurfaceToBitmap.call({whole, surface, narrow, none});
                kBitmap.call({whole, bitmap, narrow, none});
            }
        });
    for (std::thread& worker : workers)
        worker.join();
    for (const std::vector<uint8_t>& own : pixels)
        EXPECT_EQ(own, pixels[0]);
    EXPECT_NE(pixels[0], before);
    EXPECT_EQ(surface.sdl()->locked + mask.sdl()->locked, 0U);
    EXPECT_EQ(heldBitMapLocks(), 0);
}

// Two threads blit four surfaces in graphics-card memory, in which no two sources and no two destinations are
// locked at once. A lock that waits must not keep the other thread from its own.
TEST(Contract, LocksThatWaitStopNobody) {
    const auto work = [rounds = caseCount(10000) / 2] {
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

// Arguments far beyond 16 bits mean what is left of them, in a layer and without one.
TEST(Contract, RastPortsNarrowAnyRequest) {
    Images i;
    std::array<uint32_t, 64> drawn{};
    std::array<uint32_t, 1024> array{};
    array.fill(~0U);
    const Picture screen(bitmapKind(RGBFB_A8R8G8B8), reinterpret_cast<uint8_t*>(drawn.data()), 8, 8, 32);
    Layer_Info* const info = NewLayerInfo();
    Layer* const layer = CreateUpfrontLayer(info, screen.native(), 1, 1, 6, 6, LAYERSMART, nullptr);
    static constexpr long kLongs[] = {LONG_MIN, LONG_MIN + 2, -3, 3, 0x10003, LONG_MAX - 2, LONG_MAX};
    Random random(1);
    for (int round = 0; round < 9000; ++round) {
        model::Blit wide = Images::request(), narrow = wide;
        for (const auto position :
             {&model::Blit::srcX, &model::Blit::srcY, &model::Blit::dstX, &model::Blit::dstY})
            narrow.*position = static_cast<short>(wide.*position = random.of(kLongs));
        for (const auto size : {&model::Blit::width, &model::Blit::height})
            narrow.*size = static_cast<unsigned short>(wide.*size = random.of(kLongs));
        for (const Entry* entry : {&kSurfaceToRastPort, &kBitmapToRastPort, &kArray}) {
            std::array<std::array<uint32_t, 64>, 2> results{};
            for (size_t n = 0; n < 2; ++n) {
                drawn.fill(0);
                entry->call({n ? narrow : wide, entry->fromSurface ? i.surface : i.bitmap, screen, i.none,
                             array.data(), 0, round % 2 ? layer : nullptr});
                results[n] = drawn;
            }
            // An array's rows are counted in more than 16 bits.
            EXPECT_TRUE(results[0] == results[1] || entry == &kArray) << entry->name;
        }
    }
    DisposeLayerInfo(info);
}

TEST(Contract, TargetsCanBeForced) {
    const std::string first = ormsel_TargetName();
    EXPECT_FALSE(ormsel_ForceTarget("no such target"));
    EXPECT_EQ(ormsel_TargetName(), first);
    std::string all;
    for (const char* const* name = ormsel_Targets(); *name != nullptr; ++name) {
        EXPECT_TRUE(ormsel_ForceTarget(*name)) << *name;
        EXPECT_STREQ(ormsel_TargetName(), *name);
        all += std::string(*name) + ",";
    }
    EXPECT_NE(all.find("scalar,"), std::string::npos);
#if defined(__x86_64__) && !defined(ORMSEL_SCALAR_ONLY)
    // A target that got lost would only be skipped by the tests that run once for each.
    const auto listed = [&](const char* name) { return all.find(name) != std::string::npos; };
    EXPECT_TRUE(!__builtin_cpu_supports("sse4.1") || listed("sse4,"));
    EXPECT_TRUE(!__builtin_cpu_supports("avx2") || listed("avx2,"));
    EXPECT_TRUE(!__builtin_cpu_supports("avx512bw") || !__builtin_cpu_supports("avx512vl") ||
                listed("avx512,"));
#endif
    EXPECT_TRUE(ormsel_ForceTarget(nullptr));
    EXPECT_EQ(ormsel_TargetName(), all.substr(0, all.find(',')));
    EXPECT_TRUE(ormsel_ForceTarget(first.c_str()));
}

TEST(Contract, WorksFromC) {
    Images i;
    std::array<uint32_t, 16> black{};
    const Picture target(surfaceKind(RGBFB_A8R8G8B8), reinterpret_cast<uint8_t*>(black.data()), 4, 4, 16);
    EXPECT_EQ(blitFromC(i.surface.sdl(), target.sdl()), 0U);
    EXPECT_EQ(black[0], 0x00FDFDFDU); // opaque white, blended by 254 of 256
}

} // namespace
