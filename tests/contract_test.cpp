// SPDX-License-Identifier: Zlib
//
// What holds around the pixels: refusals and their messages, locks, clipping, contexts, threads, targets.
#include <algorithm>
#include <array>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>

#include <ormsel/ormsel_target.h>
#include "ormsel/ormsel.h"
#include "tests/blits.h"
#include "tests/faults.h"

extern "C" unsigned long blitFromC(SDL_Surface* src, SDL_Surface* dst); // c_header_test.c

namespace {

constexpr Kind argb32 = {32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000};
constexpr Kind rgb16 = {16, 0xF800, 0x7E0, 0x1F, 0};
constexpr Kind bgr16 = {16, 0x1F, 0x7E0, 0xF800, 0};

// Images of 8 x 8 of each kind that a test needs, all over the same bytes of FF.
struct Images {
    std::array<uint8_t, 8 * 8 * 4> pixels{};
    Picture surface = of(argb32), target = of(rgb16), mask = of(surfaceMask);
    Picture bitmap = of(bitmapKinds[2]), targetBitmap = of(bitmapKinds[6]), bitmapMask = of(::bitmapMask);

    Images() { pixels.fill(0xFF); }
    Picture of(const Kind& kind) { return {kind, pixels.data(), 8, 8, 8 * kind.bytes(), true}; }

    model::Blit request() const {
        model::Blit b{};
        b.src.pitch = 32, b.src.format.code = 6; // what Entry::Array takes
        b.width = b.height = 8;
        b.alpha = 255;
        return b;
    }

    // The lines printed by a blit that must draw nothing and leave nothing locked.
    template <class Work>
    std::string refused(const Work& work) {
        const auto before = pixels;
        const std::string text = printedBy([&] { EXPECT_EQ(work(), 0U); });
        EXPECT_EQ(pixels, before);
        EXPECT_EQ(heldBitMapLocks(), 0);
        for (const Picture* picture : {&surface, &target, &mask})
            EXPECT_EQ(picture->sdl()->locked, 0U);
        return text;
    }
    std::string refused(Entry entry, const model::Blit& b, const Picture& src, const Picture& dst,
                        const Picture& through = {}) {
        void* array = src.sdl() ? src.sdl()->pixels : nullptr;
        return refused([&] { return callEntry(entry, b, src, dst, through, array); });
    }
    std::string refused(Entry entry, const Picture& src, const Picture& dst, const Picture& through = {}) {
        return refused(entry, request(), src, dst, through);
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
        {"RLE acceleration not supported (yet). Bailing out!\n", argb32, SDL_RLEACCEL, 32},
        {"RLE acceleration not supported (yet). Bailing out!\n", rgb16, SDL_RLEACCELOK, 16},
        {"Unsupported source pixel format, bailing out\n", bgr16, 0, 16},
        {"Unsupported source pixel format, bailing out\n", bgr16, 0, 15},
        {"", {8, 0, 0, 0, 0}, 0, 8},
        {"", argb32, 0, 12},
        {"", argb32, 0, 33},
    };
    for (const auto& c : cases) {
        const Picture bad = i.of(c.kind);
        bad.sdl()->flags |= c.flags;
        bad.sdl()->format->BitsPerPixel = static_cast<Uint8>(c.depth);
        const std::string source = c.line + std::string("InitContext (src) failed!\n"),
                          target = c.line + std::string("InitContext (dst) failed!\n");
        EXPECT_EQ(i.refused(Entry::SurfaceMask, bad, i.target), source);
        EXPECT_EQ(i.refused(Entry::SurfaceToBitmap, bad, i.targetBitmap), source);
        EXPECT_EQ(i.refused(Entry::SurfaceMask, i.surface, bad), target);
        EXPECT_EQ(i.refused(Entry::BitmapToSurface, i.bitmap, bad), target);
        EXPECT_EQ(bad.sdl()->locked, 0U);
        bad.sdl()->flags &= ~c.flags;
    }
}

TEST(Contract, RefusedBitmapsLocksMasksAndArrays) {
    Images i;
    const std::pair<uint32_t, std::string> codes[] = {{1, "CLUT"},       {4, "R5G6B5PC"},  {5, "R5G5B5PC"},
                                                      {12, "B5G6R5PC"},  {13, "B5G5R5PC"}, {14, "YUV422CGX"},
                                                      {20, "YUV422PAPC"}};
    int seen = 0;
    for (const auto& [code, name] : codes) {
        const Picture bad = i.of({16, 0, 0, 0, 0, code});
        if (!bad.native())
            continue; // a layout that the provider doesn't offer
        ++seen;
        const std::string line =
            "Unsupported pixel format 'RGBFB_" + name + "' !!! Bailing out.\nInitContext (";
        EXPECT_EQ(i.refused(Entry::Bitmap, bad, i.targetBitmap), line + "src) failed!\n");
        EXPECT_EQ(i.refused(Entry::SurfaceToBitmap, i.surface, bad), line + "dst) failed!\n");
    }
    EXPECT_GE(seen, 3);

    const char* const lines[] = {"Could not lock bitmap.\nInitContext (src) failed!\n",
                                 "Could not lock bitmap.\nInitContext (dst) failed!\n",
                                 "Could not lock mask bitmap.\nInitContext (mask) failed!\n"};
    for (long lock = 0; lock < 3; ++lock) {
        failLocks(lock, 1);
        EXPECT_EQ(i.refused(Entry::BitmapMask, i.bitmap, i.targetBitmap, i.bitmapMask), lines[lock]);
    }
    failLocks(0, 0);
    losePixels(i.targetBitmap.native(), true);
    EXPECT_EQ(i.refused(Entry::SurfaceToBitmap, i.surface, i.targetBitmap), lines[1]);
    losePixels(i.targetBitmap.native(), false);

    const char* notAMask = "Mask is not 8 bit format. Bailing out!\nInitContext (mask) failed!\n";
    EXPECT_EQ(i.refused(Entry::SurfaceMask, i.surface, i.target, i.surface), notAMask);
    EXPECT_EQ(i.refused(Entry::BitmapMask, i.bitmap, i.targetBitmap, i.targetBitmap), notAMask);

    model::Blit array = i.request();
    for (const uint32_t format : {0U, 2U, 5U, 10U, 11U, 255U}) {
        array.src.format.code = format;
        EXPECT_EQ(i.refused(Entry::Array, array, i.surface, i.targetBitmap),
                  "Unsupported Pixelformat! Must be one of RGBFB_A8R8G8B8, RGBFB_A8B8G8R8, RGBFB_R8G8B8A8 or "
                  "RGBFB_B8G8R8A8\n");
    }
}

TEST(Contract, SilentlyDrawsNothing) {
    Images i;
    const Picture rgb24 = i.of({24, 0xFF0000, 0xFF00, 0xFF, 0}),
                  noAlpha = i.of({32, 0xFF0000, 0xFF00, 0xFF, 0});
    EXPECT_EQ(i.refused(Entry::SurfaceMask, rgb24, rgb24), "");
    EXPECT_EQ(i.refused(Entry::SurfaceMask, noAlpha, rgb24), "");
    model::Blit empty = i.request();
    for (const auto& [width, height] : {std::pair{0L, 8L}, {8L, 0L}, {65536L, 8L}, {8L, 0x30000L}}) {
        empty.width = width, empty.height = height;
        EXPECT_EQ(i.refused(Entry::SurfaceToBitmap, empty, i.surface, i.targetBitmap), "");
    }
}

// Through every entry point, with each image there, missing, or without pixels.
TEST(Contract, MissingImagesAndPixels) {
    Images i;
    const auto hollow = [](const Kind& kind) { return Picture(kind, nullptr, 8, 8, 8 * kind.bytes()); };
    const Picture none, surface = hollow(argb32), bitmap = hollow(bitmapKinds[2]);
    const Picture mask = hollow(surfaceMask), ofBitmap = hollow(bitmapMask);
    const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
    for (int n = 0; n < entryCount; ++n) {
        const auto entry = static_cast<Entry>(n);
        const bool from = sourceIsSurface(entry), onto = destinationIsSurface(entry);
        const Picture* sources[] = {from ? &i.surface : &i.bitmap, from ? &surface : &bitmap, &none};
        const Picture* targets[] = {onto ? &i.target : &i.targetBitmap, onto ? &surface : &bitmap, &none};
        const Picture* masks[] = {from ? &i.mask : &i.bitmapMask, from ? &mask : &ofBitmap};
        for (const Picture* src : sources)
            for (const Picture* dst : targets)
                for (const Picture* through : masks)
                    if (src != sources[0] || dst != targets[0] || (takesMask(entry) && through != masks[0])) {
                        const std::string text = i.refused(entry, *src, *dst, *through);
                        EXPECT_TRUE(lines(text) == 1 && text.size() > 1 && text.back() == '\n') << n << text;
                    }
    }
    EXPECT_EQ(surface.sdl()->locked + mask.sdl()->locked, 0U);
    const std::string noRastPort = i.refused([&] {
        return SDL_BlitAlphaSurfaceRastPort(i.surface.sdl(), 0, 0, nullptr, 0, 0, 8, 8, 0) +
               BltAlphaBitMapRastPort(i.bitmap.native(), 0, 0, nullptr, 0, 0, 8, 8, 9, 0) +
               WriteAlphaPixelArray(i.pixels.data(), 0, 0, 32, nullptr, 0, 0, 8, 8, 9, 6);
    });
    EXPECT_EQ(lines(noRastPort), 3) << noRastPort;
}

// Compares the whole record, but for the handles of locks.
void expectContext(const BltContext& ctx, BltContext expected) {
    EXPECT_TRUE(ctx.src.lock != 0 && ctx.dst.lock != 0);
    expected.src.lock = ctx.src.lock;
    expected.dst.lock = ctx.dst.lock;
    expected.maskLock = ctx.maskLock;
    EXPECT_EQ(std::memcmp(&ctx, &expected, sizeof ctx), 0);
}

// The model's clipping, with which the random blits compare the library's.
TEST(Contract, Clipping) {
    const std::array<long, 6> nothing{};
    struct {
        std::array<long, 4> sizes;   // of source and destination
        std::array<long, 6> request; // srcX, srcY, dstX, dstY, width, height
        std::array<long, 6> clipped;
    } const cases[] = {
        {{50, 9, 200, 9}, {-10, 0, 5, 0, 100, 9}, {0, 0, 15, 0, 50, 9}},
        {{20, 9, 200, 9}, {0, 0, -30, 0, 20, 9}, nothing},
        {{20, 9, 200, 9}, {0, 0, -20, 0, 20, 9}, nothing},
        {{20, 9, 200, 9}, {0, 0, -19, 0, 20, 9}, {19, 0, 0, 0, 1, 9}},
        {{20, 9, 200, 9}, {0, 0, 200, 0, 20, 9}, nothing},
        {{20, 9, 200, 9}, {0, 0, 199, 8, 20, 9}, {0, 0, 199, 8, 1, 1}},
        {{20, 9, 200, 9}, {-5, -3, -8, -2, 20, 9}, {3, 0, 0, 1, 17, 8}},
        {{20, 9, 10, 5}, {12, 7, 4, 4, 65535, 65535}, {12, 7, 4, 4, 6, 1}},
        {{20, 9, 200, 9}, {-32768, 0, 0, 0, 65535, 9}, nothing},
    };
    for (const auto& [sizes, r, clipped] : cases) {
        model::Blit b{{}, {}, r[0], r[1], r[2], r[3], r[4], r[5], 0, 0, false, {}, false};
        b.src.width = sizes[0], b.src.height = sizes[1], b.dst.width = sizes[2], b.dst.height = sizes[3];
        EXPECT_EQ(model::clip(b), clipped != nothing);
        if (clipped != nothing) {
            EXPECT_EQ((std::array{b.srcX, b.srcY, b.dstX, b.dstY, b.width, b.height}), clipped);
        }
    }
}

TEST(Contract, ContextsDescribeAndReleaseTheirImages) {
    std::array<uint8_t, 64> pixels{};
    const auto check = [&](const auto& picture, auto* image, const Picture& mask, auto* maskImage,
                           long locks) {
        BltContext ctx;
        ASSERT_TRUE(BLT_InitContext(ctx, image, image, 0, 0, 1, 1, 3, 3, maskImage, 9, 1));
        const model::Image described = picture.image(0);
        expectContext(ctx,
                      contextFor({described, described, 0, 0, 1, 1, 2, 2, 9, 1, true, mask.image(0), false},
                                 pixels.data()));
        EXPECT_EQ(heldBitMapLocks(), locks);
        for (int twice = 0; twice < 2; ++twice)
            BLT_FreeContext(ctx, image, image, maskImage);
        EXPECT_EQ(ctx.src.lock | ctx.dst.lock | ctx.maskLock, 0U);
        EXPECT_EQ(heldBitMapLocks(), 0);
    };
    const Picture mask(surfaceMask, pixels.data(), 3, 3, 5), ofBitmap(bitmapMask, pixels.data(), 3, 3, 5);
    for (const Kind& kind : surfaceKinds) {
        const Picture p(kind, pixels.data(), 3, 3, 13);
        check(p, p.sdl(), mask, mask.sdl(), 0);
        EXPECT_EQ(p.sdl()->locked + mask.sdl()->locked, 0U);
    }
    for (const Kind& kind : bitmapKinds)
        for (const bool onBoard : {false, true}) {
            const Picture p(kind, pixels.data(), 3, 3, 14, onBoard);
            check(p, p.native(), ofBitmap, ofBitmap.native(), 3);
        }
}

// Several threads draw from one source; each has its own destination.
TEST(Contract, ThreadsShareASource) {
    std::vector<uint8_t> source(64 * 64 * 4);
    Random(3).fill(source.data(), 64 * 64 * 4);
    const Picture surface(argb32, source.data(), 64, 64, 256),
        bitmap(bitmapKinds[2], source.data(), 64, 64, 256);
    const Picture mask(surfaceMask, source.data(), 64, 64, 64), none;
    model::Blit whole{};
    whole.width = whole.height = 64;
    whole.alpha = 255;
    const std::vector<uint8_t> before(64 * 64 * 4, 0x40);
    std::array<std::vector<uint8_t>, 4> pixels;
    std::vector<std::thread> workers;
    for (std::vector<uint8_t>& own : pixels)
        workers.emplace_back([&, rounds = caseCount(4000)] {
            own = before;
            for (long round = 0; round < rounds; ++round) {
                const Picture wide(argb32, own.data(), 64, 64, 256);
                const Picture narrow(bitmapKinds[6], own.data(), 64, 64, 128, round % 2 != 0);
                callEntry(Entry::SurfaceMask, whole, surface, wide, round % 3 == 0 ? mask : none);
                callEntry(Entry::SurfaceToBitmap, whole, surface, narrow, none);
                callEntry(Entry::Bitmap, whole, bitmap, narrow, none);
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
    const Picture target(argb32, reinterpret_cast<uint8_t*>(black.data()), 4, 4, 16);
    EXPECT_EQ(blitFromC(i.surface.sdl(), target.sdl()), 0U);
    EXPECT_EQ(black[0], 0x00FDFDFDU); // opaque white, blended by 254 of 256
}

} // namespace
