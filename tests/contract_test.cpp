// SPDX-License-Identifier: Zlib
//
// What holds around the pixels: refusals and their messages, locks, clipping, contexts, threads, targets.
#include <algorithm>
#include <array>
#include <cstring>
#include <thread>

#include <graphics/rastport.h>
#include <gtest/gtest.h>
#include <host/testing.h>
#include <proto/Picasso96API.h>

#include "blt/blt_target.h"
#include "ormsel/ormsel.h"
#include "tests/images.h"

extern "C" unsigned long blitFromC(SDL_Surface* src, SDL_Surface* dst); // c_header_test.c

namespace {

constexpr SurfaceFormat argb32 = {32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000};
constexpr SurfaceFormat rgb16 = {16, 0xF800, 0x7E0, 0x1F, 0};
constexpr SurfaceFormat bgr16 = {16, 0x1F, 0x7E0, 0xF800, 0};

// One image of each kind that a test needs, 8 x 8, all over the same opaque bytes.
struct Images {
    std::array<uint8_t, 8 * 8 * 4> pixels{};
    Picture surface = Picture::surface(argb32, pixels.data(), 8, 8, 32);
    Picture target = Picture::surface(rgb16, pixels.data(), 8, 8, 16);
    Picture bitmap = Picture::bitmap(6, pixels.data(), 8, 8, 32, false);
    Picture targetBitmap = Picture::bitmap(10, pixels.data(), 8, 8, 16, true);
    Picture mask = Picture::surfaceMask(pixels.data(), 8, 8, 8);
    Picture maskBitmap = Picture::bitmapMask(pixels.data(), 8, 8, 8);

    Images() { pixels.fill(0xFF); }
};

unsigned long blit(SDL_Surface* src, SDL_Surface* dst, SDL_Surface* mask = nullptr) {
    return SDL_BlitSurfaceAlphaMask(src, 0, 0, dst, 0, 0, 8, 8, mask, 255, 0);
}
unsigned long blit(SDL_Surface* src, BitMap* dst) {
    return SDL_BlitAlphaSurfaceBitMap(src, 0, 0, dst, 0, 0, 8, 8, 0);
}
unsigned long blit(BitMap* src, SDL_Surface* dst) {
    return SDL_BlitAlphaBitMapSurface(src, 0, 0, dst, 0, 0, 8, 8, 255, 0);
}
unsigned long blit(BitMap* src, BitMap* dst, BitMap* mask = nullptr) {
    return BltBitMapAlphaMask(src, 0, 0, dst, 0, 0, 8, 8, mask, 255, 0);
}

// Runs a blit that must be refused with these lines, draw nothing and leave nothing locked.
template <class Work>
void refused(Images& images, const std::string& lines, Work work) {
    SCOPED_TRACE(lines);
    DebugOutput output;
    const auto before = images.pixels;
    EXPECT_EQ(work(), 0U);
    EXPECT_EQ(output.take(), lines);
    EXPECT_EQ(images.pixels, before);
    EXPECT_EQ(HOST_HeldBitMapLocks(), 0);
    for (const Picture* picture : {&images.surface, &images.target, &images.mask})
        EXPECT_EQ(picture->sdl()->locked, 0U);
}

TEST(Contract, RefusedSurfaces) {
    Images i;
    const std::string source = "InitContext (src) failed!\n", target = "InitContext (dst) failed!\n";
    struct {
        const char* line;
        SurfaceFormat format;
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
        Picture bad = Picture::surface(c.format, i.pixels.data(), 8, 8, 16);
        bad.sdl()->flags |= c.flags;
        bad.sdl()->format->BitsPerPixel = static_cast<Uint8>(c.depth);
        refused(i, c.line + source, [&] { return blit(bad.sdl(), i.target.sdl()); });
        refused(i, c.line + source, [&] { return blit(bad.sdl(), i.targetBitmap.native()); });
        refused(i, c.line + target, [&] { return blit(i.surface.sdl(), bad.sdl()); });
        refused(i, c.line + target, [&] { return blit(i.bitmap.native(), bad.sdl()); });
        EXPECT_EQ(bad.sdl()->locked, 0U);
        bad.sdl()->flags &= ~c.flags;
    }
}

TEST(Contract, RefusedBitmapsAndLocks) {
    Images i;
    struct {
        uint32_t code;
        const char* name;
    } const codes[] = {{1, "RGBFB_CLUT"},       {4, "RGBFB_R5G6B5PC"},  {5, "RGBFB_R5G5B5PC"},
                       {12, "RGBFB_B5G6R5PC"},  {13, "RGBFB_B5G5R5PC"}, {14, "RGBFB_YUV422CGX"},
                       {20, "RGBFB_YUV422PAPC"}};
    int seen = 0;
    for (const auto& c : codes) {
        const Picture bad = Picture::bitmap(c.code, i.pixels.data(), 8, 8, 16, false);
        if (!bad.native())
            continue; // a layout that the provider doesn't offer
        ++seen;
        const std::string line =
            std::string("Unsupported pixel format '") + c.name + "' !!! Bailing out.\nInitContext (";
        refused(i, line + "src) failed!\n", [&] { return blit(bad.native(), i.targetBitmap.native()); });
        refused(i, line + "dst) failed!\n", [&] { return blit(i.surface.sdl(), bad.native()); });
    }
    EXPECT_GE(seen, 3);

    const char* const lines[] = {"Could not lock bitmap.\nInitContext (src) failed!\n",
                                 "Could not lock bitmap.\nInitContext (dst) failed!\n",
                                 "Could not lock mask bitmap.\nInitContext (mask) failed!\n"};
    for (long lock = 0; lock < 3; ++lock)
        refused(i, lines[lock], [&] {
            HOST_FailLocks(lock, 1);
            return blit(i.bitmap.native(), i.targetBitmap.native(), i.maskBitmap.native());
        });
    HOST_FailLocks(0, 0);
    HOST_LosePixels(i.targetBitmap.native(), TRUE);
    refused(i, lines[1], [&] { return blit(i.surface.sdl(), i.targetBitmap.native()); });
}

TEST(Contract, RefusedMasksAndArrays) {
    Images i;
    const std::string line = "Mask is not 8 bit format. Bailing out!\nInitContext (mask) failed!\n";
    refused(i, line, [&] { return blit(i.surface.sdl(), i.target.sdl(), i.surface.sdl()); });
    refused(i, line,
            [&] { return blit(i.bitmap.native(), i.targetBitmap.native(), i.targetBitmap.native()); });
    RastPort port{};
    port.BitMap = i.targetBitmap.native();
    static constexpr unsigned char formats[] = {0, 2, 5, 10, 11, 255};
    for (unsigned char format : formats)
        refused(
            i,
            "Unsupported Pixelformat! Must be one of RGBFB_A8R8G8B8, RGBFB_A8B8G8R8, RGBFB_R8G8B8A8 or "
            "RGBFB_B8G8R8A8\n",
            [&] { return WriteAlphaPixelArray(i.pixels.data(), 0, 0, 32, &port, 0, 0, 8, 8, 9, format); });
}

TEST(Contract, SilentlyDrawsNothing) {
    Images i;
    const Picture rgb24 = Picture::surface({24, 0xFF0000, 0xFF00, 0xFF, 0}, i.pixels.data(), 8, 8, 24);
    const Picture noAlpha = Picture::surface({32, 0xFF0000, 0xFF00, 0xFF, 0}, i.pixels.data(), 8, 8, 32);
    refused(i, "", [&] { return blit(rgb24.sdl(), rgb24.sdl()); });
    refused(i, "", [&] { return blit(noAlpha.sdl(), rgb24.sdl()); });
    for (const auto& size : {std::pair{0UL, 8UL}, {8UL, 0UL}, {65536UL, 8UL}, {8UL, 0x30000UL}})
        refused(i, "", [&] {
            return SDL_BlitAlphaSurfaceBitMap(i.surface.sdl(), 0, 0, i.targetBitmap.native(), 0, 0,
                                              size.first, size.second, 0);
        });
}

TEST(Contract, MissingImagesAndPixels) {
    Images i;
    const auto oneLine = [&](const char* what, const auto& work) {
        SCOPED_TRACE(what);
        DebugOutput output;
        EXPECT_EQ(work(), 0U);
        const std::string text = output.take();
        EXPECT_TRUE(text.size() > 1 && std::count(text.begin(), text.end(), '\n') == 1 && text.back() == '\n')
            << text;
        EXPECT_EQ(HOST_HeldBitMapLocks(), 0);
        EXPECT_EQ(i.surface.sdl()->locked + i.target.sdl()->locked + i.mask.sdl()->locked, 0U);
    };
    SDL_Surface* noSurface = nullptr;
    BitMap* noBitmap = nullptr;
    RastPort empty{};
    RastPort port{};
    port.BitMap = i.targetBitmap.native();
    oneLine("source", [&] { return SDL_BlitAlphaSurface(nullptr, nullptr, i.target.sdl(), nullptr); });
    oneLine("target", [&] { return SDL_BlitAlphaSurface(i.surface.sdl(), nullptr, nullptr, nullptr); });
    oneLine("both", [&] { return SDL_BlitAlphaSurface(nullptr, nullptr, nullptr, nullptr); });
    oneLine("surface", [&] { return blit(noSurface, i.target.sdl(), i.mask.sdl()); });
    oneLine("surface", [&] { return blit(i.surface.sdl(), noSurface, i.mask.sdl()); });
    oneLine("surface", [&] { return blit(noSurface, i.targetBitmap.native()); });
    oneLine("bitmap", [&] { return blit(i.surface.sdl(), noBitmap); });
    oneLine("bitmap", [&] { return blit(noBitmap, i.target.sdl()); });
    oneLine("surface", [&] { return blit(i.bitmap.native(), noSurface); });
    oneLine("bitmap", [&] { return blit(noBitmap, i.targetBitmap.native()); });
    oneLine("bitmap", [&] { return blit(i.bitmap.native(), noBitmap, i.maskBitmap.native()); });
    oneLine("bitmap", [&] { return BltAlphaBitMap(noBitmap, 0, 0, noBitmap, 0, 0, 8, 8, 255, 0); });
    oneLine("rastport",
            [&] { return BltAlphaBitMapRastPort(i.bitmap.native(), 0, 0, nullptr, 0, 0, 8, 8, 9, 0); });
    oneLine("rastport",
            [&] { return SDL_BlitAlphaSurfaceRastPort(i.surface.sdl(), 0, 0, &empty, 0, 0, 8, 8, 0); });
    oneLine("bitmap", [&] { return BltAlphaBitMapRastPort(nullptr, 0, 0, &port, 0, 0, 8, 8, 9, 0); });
    oneLine("array", [&] { return WriteAlphaPixelArray(nullptr, 0, 0, 32, &port, 0, 0, 8, 8, 9, 6); });
    oneLine("rastport",
            [&] { return WriteAlphaPixelArray(i.pixels.data(), 0, 0, 32, nullptr, 0, 0, 8, 8, 9, 6); });

    const Picture hollow = Picture::surface(argb32, nullptr, 8, 8, 32);
    const Picture hollowMask = Picture::surfaceMask(nullptr, 8, 8, 8);
    const Picture hollowBitmap = Picture::bitmap(6, nullptr, 8, 8, 32, false);
    oneLine("source pixels", [&] { return blit(hollow.sdl(), i.target.sdl()); });
    oneLine("target pixels", [&] { return blit(i.surface.sdl(), hollow.sdl()); });
    oneLine("mask pixels", [&] { return blit(i.surface.sdl(), i.target.sdl(), hollowMask.sdl()); });
    if (hollowBitmap.native()) {
        oneLine("source pixels", [&] { return blit(hollowBitmap.native(), i.target.sdl()); });
        oneLine("target pixels", [&] { return blit(i.bitmap.native(), hollowBitmap.native()); });
    }
    EXPECT_EQ(hollow.sdl()->locked, 0U);
}

TEST(Contract, ClipsLikeTheModelAtTheCorners) {
    std::array<uint8_t, 4> pixel{};
    struct {
        long sw, sh, dw, dh, sx, sy, dx, dy, width, height;
        long x0, y0, x1, y1, w, h; // what is left; w 0: nothing
    } const cases[] = {
        {50, 9, 200, 9, -10, 0, 5, 0, 100, 9, 0, 0, 15, 0, 50, 9},
        {20, 9, 200, 9, 0, 0, -30, 0, 20, 9, 0, 0, 0, 0, 0, 0},
        {20, 9, 200, 9, 0, 0, -20, 0, 20, 9, 0, 0, 0, 0, 0, 0},
        {20, 9, 200, 9, 0, 0, -19, 0, 20, 9, 19, 0, 0, 0, 1, 9},
        {20, 9, 200, 9, 0, 0, 200, 0, 20, 9, 0, 0, 0, 0, 0, 0},
        {20, 9, 200, 9, 0, 0, 199, 8, 20, 9, 0, 0, 199, 8, 1, 1},
        {20, 9, 200, 9, -5, -3, -8, -2, 20, 9, 3, 0, 0, 1, 17, 8},
        {20, 9, 10, 5, 12, 7, 4, 4, 65535, 65535, 12, 7, 4, 4, 6, 1},
        {20, 9, 200, 9, -32768, 0, 0, 0, 65535, 9, 0, 0, 0, 0, 0, 0},
    };
    for (const auto& c : cases) {
        const Picture src = Picture::surface(argb32, pixel.data(), c.sw, c.sh, 4 * c.sw);
        const Picture dst = Picture::surface(argb32, pixel.data(), c.dw, c.dh, 4 * c.dw);
        BltContext ctx;
        std::memset(&ctx, 0x5A, sizeof ctx);
        SDL_Surface* none = nullptr;
        const bool drawn = BLT_InitContext(ctx, src.sdl(), dst.sdl(), c.sx, c.sy, c.dx, c.dy,
                                           static_cast<unsigned long>(c.width),
                                           static_cast<unsigned long>(c.height), none, 77, 0xABCD1234UL);
        EXPECT_EQ(ctx.size, sizeof ctx);
        EXPECT_EQ(ctx.alpha, 77);
        EXPECT_EQ(ctx.flags, 0xABCD1234U);
        EXPECT_EQ(ctx.reserved, 0U);
        EXPECT_EQ(drawn, c.w != 0);
        EXPECT_EQ(src.sdl()->locked, drawn ? 1U : 0U);
        if (drawn) {
            EXPECT_EQ(ctx.srcX, c.x0);
            EXPECT_EQ(ctx.srcY, c.y0);
            EXPECT_EQ(ctx.dstX, c.x1);
            EXPECT_EQ(ctx.dstY, c.y1);
            EXPECT_EQ(ctx.width, c.w);
            EXPECT_EQ(ctx.height, c.h);
        }
        BLT_FreeContext(ctx, src.sdl(), dst.sdl(), none);
        EXPECT_EQ(src.sdl()->locked + dst.sdl()->locked, 0U);
    }
}

void expectSide(const BltRenderFmt& side, const model::Image& image, const uint8_t* pixels) {
    model::Blit blit{};
    blit.src = blit.dst = image;
    const BltRenderFmt expected = contextFor(blit, nullptr, nullptr, nullptr).dst;
    EXPECT_EQ(side.pixels, pixels);
    EXPECT_EQ(side.pitch, expected.pitch);
    EXPECT_EQ(side.onBoard, expected.onBoard);
    EXPECT_NE(side.lock, 0U);
    // format to aLoss, in one piece
    EXPECT_EQ(std::memcmp(&side.format, &expected.format,
                          offsetof(BltRenderFmt, lock) - offsetof(BltRenderFmt, format)),
              0);
}

TEST(Contract, ContextsDescribeAndReleaseTheirImages) {
    std::array<uint8_t, 64> pixels{};
    BltContext ctx{};
    SDL_Surface* noMask = nullptr;
    for (const SurfaceFormat& format : surfaceFormats) {
        const Picture p = Picture::surface(format, pixels.data(), 3, 3, 13);
        ctx = {};
        ASSERT_TRUE(BLT_InitContext(ctx.src, p.sdl()));
        expectSide(ctx.src, p.image(0), pixels.data());
        EXPECT_EQ(ctx.src.lock, 1U);
        ctx.maskLock = 1;
        BLT_FreeContext(ctx, p.sdl(), p.sdl(), noMask);
        BLT_FreeContext(ctx, p.sdl(), p.sdl(), noMask);
        EXPECT_EQ(p.sdl()->locked, 0U);
        EXPECT_EQ(ctx.src.lock, 0U);
        EXPECT_EQ(ctx.maskLock, 1U);
    }
    for (uint32_t code : bitmapCodes)
        for (bool onBoard : {false, true}) {
            const Picture p = Picture::bitmap(code, pixels.data(), 3, 3, 14, onBoard);
            const Picture mask = Picture::bitmapMask(pixels.data(), 3, 3, 5);
            ctx = {};
            ASSERT_TRUE(BLT_InitContext(ctx, p.native(), p.native(), 0, 0, 1, 1, 3, 3, mask.native(), 9, 1));
            expectSide(ctx.src, p.image(0), pixels.data());
            expectSide(ctx.dst, p.image(0), pixels.data());
            EXPECT_EQ(ctx.srcBpp, 8 * ctx.src.bytesPerPixel);
            EXPECT_EQ(ctx.dstBpp, 8 * ctx.dst.bytesPerPixel);
            EXPECT_EQ(ctx.maskPixels, pixels.data());
            EXPECT_EQ(ctx.maskPitch, 5);
            EXPECT_EQ(ctx.maskFormat, 1U);
            EXPECT_EQ(HOST_HeldBitMapLocks(), 3);
            BLT_FreeContext(ctx, p.native(), p.native(), mask.native());
            EXPECT_EQ(ctx.src.lock | ctx.dst.lock | ctx.maskLock, 0U);
            BLT_FreeContext(ctx, p.native(), p.native(), mask.native());
            EXPECT_EQ(HOST_HeldBitMapLocks(), 0);
        }
}

// Several threads draw from one source; each has its own destination.
template <class Image>
void drawFromThreads(const Image& drawOn) {
    constexpr size_t threads = 4;
    std::array<std::vector<uint8_t>, threads> pixels;
    std::array<std::thread, threads> workers;
    const long rounds = caseCount(4000);
    for (size_t t = 0; t < threads; ++t) {
        pixels[t].assign(64 * 64 * 4, 0x40);
        workers[t] = std::thread([&, t] {
            for (long round = 0; round < rounds; ++round)
                drawOn(pixels[t].data(), round);
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    for (size_t t = 1; t < threads; ++t)
        EXPECT_EQ(pixels[t], pixels[0]);
    EXPECT_NE(pixels[0], std::vector<uint8_t>(64 * 64 * 4, 0x40));
}

TEST(Contract, ThreadsShareASource) {
    std::vector<uint8_t> source(64 * 64 * 4);
    Random(3).fill(source.data(), source.size());
    const Picture surface = Picture::surface(argb32, source.data(), 64, 64, 256);
    const Picture bitmap = Picture::bitmap(6, source.data(), 64, 64, 256, false);
    const Picture mask = Picture::surfaceMask(source.data(), 64, 64, 64);
    drawFromThreads([&](uint8_t* pixels, long round) {
        const Picture wide = Picture::surface(argb32, pixels, 64, 64, 256);
        const Picture narrow = Picture::bitmap(10, pixels, 64, 64, 128, round % 2 != 0);
        blit(surface.sdl(), wide.sdl(), round % 3 == 0 ? mask.sdl() : nullptr);
        blit(surface.sdl(), narrow.native());
        blit(bitmap.native(), narrow.native());
    });
    EXPECT_EQ(surface.sdl()->locked, 0U);
    EXPECT_EQ(mask.sdl()->locked, 0U);
    EXPECT_EQ(HOST_HeldBitMapLocks(), 0);
}

TEST(Contract, TargetsCanBeForced) {
    const std::string first = BLT_TargetName();
    EXPECT_FALSE(BLT_ForceTarget("no such target"));
    EXPECT_EQ(BLT_TargetName(), first);
    std::string all;
    for (const char* const* name = BLT_Targets(); *name != nullptr; ++name) {
        EXPECT_TRUE(BLT_ForceTarget(*name)) << *name;
        EXPECT_STREQ(BLT_TargetName(), *name);
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
    EXPECT_TRUE(BLT_ForceTarget(nullptr));
    EXPECT_EQ(BLT_TargetName(), all.substr(0, all.find(',')));
    EXPECT_TRUE(BLT_ForceTarget(first.c_str()));
}

TEST(Contract, WorksFromC) {
    Images i;
    std::array<uint8_t, 64> black{};
    const Picture target = Picture::surface(argb32, black.data(), 4, 4, 16);
    EXPECT_EQ(blitFromC(i.surface.sdl(), target.sdl()), 0U);
    uint32_t pixel;
    std::memcpy(&pixel, black.data(), 4);
    EXPECT_EQ(pixel, 0x00FDFDFDU); // opaque white, blended by 254 of 256
}

} // namespace
