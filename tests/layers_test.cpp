// SPDX-License-Identifier: Zlib
//
// Layers, end to end: random blits into overlapping windows of the three refresh kinds, through every call
// that draws into a rastport. Each window has a plain bitmap on which the same blits are made without any
// layer; the windows are rearranged in between, and brought to the front in turn for the comparison.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <random>
#include <vector>

#include <SDL.h>

#include <graphics/clip.h>
#include <intuition/intuition.h>
#include <libraries/Picasso96.h>
#include <ormsel/ormsel.h>
#include <proto/Picasso96API.h>
#include <proto/graphics.h>
#include <proto/intuition.h>
#include <proto/layers.h>

#include "tests/faults.h"

namespace {

using OwnBitMap = std::shared_ptr<BitMap>;

OwnBitMap makeBitMap(long width, long height, uint32 format) {
    const TagItem tags[] = {{BMATags_RGBFormat, format}, {BMATags_Clear, TRUE}, {TAG_DONE, 0}};
    const auto w = static_cast<uint32>(width), h = static_cast<uint32>(height);
    return {AllocBitMap(w, h, 0, BMF_CHECKVALUE, tags), FreeBitMap};
}

uint8* rowOf(const OwnBitMap& bitmap, long y) {
    RenderInfo info{};
    p96UnlockBitMap(bitmap.get(), p96LockBitMap(bitmap.get(), reinterpret_cast<uint8*>(&info), sizeof info));
    return static_cast<uint8*>(info.Memory) + y * static_cast<uint16>(info.BytesPerRow);
}

// A bitmap or a surface; with a format code the surface is passed as an array of pixels.
struct Source {
    long width, height;
    OwnBitMap bitmap;
    std::shared_ptr<SDL_Surface> surface;
    uint32 arrayFormat;
};
// Depth and masks. The last four are in the order of the format codes from RGBFB_A8R8G8B8.
constexpr uint32 kSurfaceFormats[][5] = {{15, 0x7C00, 0x3E0, 0x1F, 0},
                                         {16, 0xF800, 0x7E0, 0x1F, 0},
                                         {24, 0xFF0000, 0xFF00, 0xFF, 0},
                                         {24, 0xFF, 0xFF00, 0xFF0000, 0},
                                         {32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000},
                                         {32, 0xFF, 0xFF00, 0xFF0000, 0xFF000000},
                                         {32, 0xFF000000, 0xFF0000, 0xFF00, 0xFF},
                                         {32, 0xFF00, 0xFF0000, 0xFF000000, 0xFF}};
constexpr uint32 kBitmapFormats[] = {RGBFB_R8G8B8,   RGBFB_B8G8R8,   RGBFB_A8R8G8B8, RGBFB_A8B8G8R8,
                                     RGBFB_R8G8B8A8, RGBFB_B8G8R8A8, RGBFB_R5G6B5,   RGBFB_R5G5B5};
constexpr unsigned char kAlphas[] = {255, 255, 255, 254, 248, 247, 200, 128, 31, 8, 7, 0};

struct Request {
    long srcX, srcY, dstX, dstY, width, height;
    unsigned char alpha;
    unsigned long flags;
};

struct TestWindow {
    Window* window;
    long width, height;
    // Of a super-bitmap window, and what the window shows, made without layers.
    OwnBitMap super, plain;
};

class Layers : public testing::TestWithParam<unsigned> {
protected:
    void SetUp() override {
        setenv("SDL_VIDEODRIVER", "dummy", 1);
        setenv("ORMSEL_WORKBENCH_DEPTH", bytes == 2 ? "16" : "32", 1);
        screen = LockPubScreen("Workbench");
        const unsigned long kinds[] = {WFLG_SMART_REFRESH, WFLG_SIMPLE_REFRESH, WFLG_SUPER_BITMAP};
        for (int n = 0; n < 7; ++n)
            openWindow(kinds[n % 3]);
        for (int n = 0; n < 24; ++n)
            addSource(n);
    }
    // Whoever comes after the blits can have every layer.
    void expectUnlocked() {
        for (const TestWindow& w : windows) {
            Layer* const layer = w.window->WLayer;
            const auto other =
                std::async(std::launch::async, [=] { LockLayerRom(layer), UnlockLayerRom(layer); });
            const auto free = [&](int seconds) {
                return other.wait_for(std::chrono::seconds(seconds)) == std::future_status::ready;
            };
            EXPECT_TRUE(free(10)) << "a layer is still locked";
            while (!free(0))
                UnlockLayerRom(layer);
        }
    }
    void TearDown() override {
        expectUnlocked();
        for (const TestWindow& w : windows)
            CloseWindow(w.window);
        UnlockPubScreen("Workbench", screen);
        windows.clear();
        sources.clear();
        EXPECT_EQ(heldBitMapLocks(), 0);
        EXPECT_EQ(liveAllocations(), allocations);
    }

    long within(long low, long high) { return std::uniform_int_distribution<long>(low, high)(random); }
    template <class List>
    auto& pick(List& list) {
        return list[static_cast<std::size_t>(within(0, std::ssize(list) - 1))];
    }

    void openWindow(unsigned long kind) {
        const long width = within(20, 150), height = within(15, 100);
        const OwnBitMap super = kind == WFLG_SUPER_BITMAP ? makeBitMap(width, height, format) : nullptr;
        Window* const window = OpenWindowTags(nullptr, WA_CustomScreen, screen, WA_Left, within(0, 150),
                                              WA_Top, within(0, 100), WA_InnerWidth, width, WA_InnerHeight,
                                              height, WA_Flags, kind, WA_SuperBitMap, super.get(), TAG_DONE);
        if (!super)
            window->WLayer->Scroll_X = window->WLayer->Scroll_Y = static_cast<int16>(within(-5, 5));
        windows.insert(windows.begin(), {window, width, height, super, makeBitMap(width, height, format)});
    }

    void addSource(int n) {
        Source s = {within(1, 170), within(1, 110), nullptr, nullptr, 0};
        const auto byte = [&] { return static_cast<uint8>(std::clamp(within(-128, 383), 0L, 255L)); };
        if (n < 8) {
            s.bitmap = makeBitMap(s.width, s.height, kBitmapFormats[n]);
            std::generate(rowOf(s.bitmap, 0), rowOf(s.bitmap, s.height), byte);
        } else {
            const auto& [depth, r, g, b, a] = kSurfaceFormats[n < 16 ? n - 8 : 4 + n % 4];
            const int width = static_cast<int>(s.width), height = static_cast<int>(s.height);
            s.surface = {SDL_CreateRGBSurface(0, width, height, static_cast<int>(depth), r, g, b, a),
                         SDL_FreeSurface};
            std::generate_n(static_cast<uint8*>(s.surface->pixels), height * s.surface->pitch, byte);
            s.arrayFormat = n < 16 ? 0U : static_cast<uint32>(RGBFB_A8R8G8B8 + n % 4);
        }
        sources.push_back(s);
    }

    void blit() {
        const TestWindow& w = pick(windows);
        const Source& s = pick(sources);
        // Only 32-bit destinations know the copy flag, with which an odd width reaches into neighbouring
        // pieces.
        const auto flags = static_cast<unsigned long>(bytes == 2 ? within(0, 7) : within(0, 1));
        const long x = within(-40, w.width), y = within(-30, w.height);
        Request r = {within(0, s.width / 2), within(0, s.height / 2), x, y, 0, 0, pick(kAlphas), flags};
        // Mostly as programs do it, the source to its right and bottom edges; else less of it, which makes
        // pieces one column and row larger than the request. The request vouches for an array's rows.
        r.width = within(0, 3) ? s.width - r.srcX : within(0, s.width);
        r.height = within(0, 3) ? s.height - r.srcY : within(0, s.height - (s.arrayFormat ? r.srcY : 0));
        if (s.surface) {
            s.surface->flags = r.alpha == 255 ? 0U : SDL_SRCALPHA;
            s.surface->format->alpha = r.alpha;
        }
        onPlain(w, s, r);
        onWindow(w.window->RPort, s, r);
    }

    static void onWindow(RastPort* rp, const Source& s, const Request& r) {
        const auto width = static_cast<unsigned long>(r.width), height = static_cast<unsigned long>(r.height);
        const long x = r.dstX + rp->Layer->Scroll_X, y = r.dstY + rp->Layer->Scroll_Y;
        if (s.bitmap)
            BltAlphaBitMapRastPort(s.bitmap.get(), r.srcX, r.srcY, rp, x, y, width, height, r.alpha, r.flags);
        else if (!s.arrayFormat)
            SDL_BlitAlphaSurfaceRastPort(s.surface.get(), r.srcX, r.srcY, rp, x, y, width, height, r.flags);
        else
            WriteAlphaPixelArray(s.surface->pixels, r.srcX, r.srcY, s.surface->pitch, rp, x, y, width, height,
                                 r.alpha, static_cast<unsigned char>(s.arrayFormat));
    }

    // The same blit without a layer: one rectangle, a column and a row larger than the request, cut to the
    // window.
    void onPlain(const TestWindow& w, const Source& s, const Request& r) {
        const long x0 = std::max(r.dstX, 0L), y0 = std::max(r.dstY, 0L);
        const long x1 = std::min(r.dstX + r.width + 1, w.width);
        const long y1 = std::min(r.dstY + r.height + 1, w.height);
        if (r.width == 0 || r.height == 0 || x0 >= x1 || y0 >= y1)
            return;
        const auto width = static_cast<unsigned long>(x1 - x0), height = static_cast<unsigned long>(y1 - y0);
        const long srcX = r.srcX + x0 - r.dstX, srcY = r.srcY + y0 - r.dstY;
        const auto flags = static_cast<Uint32>(s.arrayFormat ? 0 : r.flags);
        BitMap* const dst = w.plain.get();
        const OwnBitMap before = makeBitMap(w.width, w.height, format);
        BltBitMap(dst, 0, 0, before.get(), 0, 0, w.window->Width, w.window->Height, 0xC0, 0xFF, nullptr);
        if (s.bitmap) {
            BltAlphaBitMap(s.bitmap.get(), srcX, srcY, dst, x0, y0, width, height, r.alpha, flags);
        } else {
            // An array ends where the request does.
            s.surface->h = static_cast<int>(s.arrayFormat ? r.srcY + r.height : s.height);
            SDL_BlitAlphaSurfaceBitMap(s.surface.get(), srcX, srcY, dst, x0, y0, width, height, flags);
        }
        if (w.window->Flags & (WFLG_SIMPLE_REFRESH | WFLG_SUPER_BITMAP)) // covered pieces are not drawn into
            setCovered(w, before);
    }

    // Gives the covered part of a window's plain bitmap the pixels of another one.
    void setCovered(const TestWindow& w, const OwnBitMap& to) const {
        for (long y = 0; y < w.height; ++y)
            for (long x = 0; x < w.width; ++x)
                if (std::any_of(windows.data(), &w, [&](const TestWindow& front) {
                        const long fx = w.window->LeftEdge + x - front.window->LeftEdge;
                        const long fy = w.window->TopEdge + y - front.window->TopEdge;
                        return fx >= 0 && fx < front.width && fy >= 0 && fy < front.height;
                    }))
                    std::copy_n(rowOf(to, y) + x * bytes, bytes, rowOf(w.plain, y) + x * bytes);
    }

    // Brings a window to the front, puts it behind all others or moves it.
    void rearrange(TestWindow& w, long action) {
        const auto at = windows.begin() + (&w - windows.data());
        if (action == 0) {
            WindowToFront(w.window);
            std::rotate(windows.begin(), at, at + 1);
        } else if (action == 1) {
            WindowToBack(w.window);
            std::rotate(at, at + 1, windows.end());
        } else {
            MoveWindow(w.window, static_cast<int32>(within(-60, 60)), static_cast<int32>(within(-40, 40)));
        }
        // Simple-refresh windows lose what is covered.
        for (const TestWindow& lost : windows)
            if (lost.window->Flags & WFLG_SIMPLE_REFRESH)
                setCovered(lost, makeBitMap(lost.width, lost.height, format));
    }

    void compareAll() {
        const OwnBitMap shown(screen->RastPort.BitMap, [](BitMap*) {});
        for (std::size_t n = 0; n < windows.size(); ++n) {
            rearrange(windows.back(), 0);
            const auto& [window, width, height, super, plain] = windows.front();
            for (long y = 0; y < height; ++y)
                ASSERT_TRUE(std::equal(rowOf(plain, y), rowOf(plain, y) + width * bytes,
                                       rowOf(shown, window->TopEdge + y) + window->LeftEdge * bytes))
                    << "row " << y << " of a window with flags " << window->Flags;
        }
    }

    const long allocations = liveAllocations();
    const uint32 format = GetParam() % 2 ? RGBFB_A8R8G8B8 : RGBFB_R5G6B5;
    const long bytes = GetParam() % 2 ? 4 : 2;
    std::mt19937 random{GetParam()};
    Screen* screen = nullptr;
    std::vector<TestWindow> windows; // front to back
    std::vector<Source> sources;
};

TEST_P(Layers, RandomBlitsEqualThoseOnAPlainBitmap) {
    for (int n = 0; n < 1500 && !HasFatalFailure(); ++n) {
        SCOPED_TRACE(n);
        blit();
        if (n % 7 == 0)
            rearrange(pick(windows), within(0, 2));
        if (n % 50 == 49)
            compareAll();
    }
}

INSTANTIATE_TEST_SUITE_P(Desktops, Layers, testing::Range(0U, 8U));

} // namespace
