// SPDX-License-Identifier: Zlib
//
// Layers, end to end: random blits into overlapping windows of the three refresh kinds, through every call
// that draws into a rastport. Each window has a plain bitmap on which the same blits are made without any
// layer; the windows are rearranged in between, and brought to the front in turn for the comparison.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <SDL.h>

#include <host/testing.h>
#include <intuition/intuition.h>
#include <libraries/Picasso96.h>
#include <ormsel/ormsel.h>
#include <proto/Picasso96API.h>
#include <proto/graphics.h>
#include <proto/intuition.h>

namespace {

struct BitMapDeleter {
    void operator()(BitMap* bitmap) const { FreeBitMap(bitmap); }
};
using OwnBitMap = std::unique_ptr<BitMap, BitMapDeleter>;

struct SurfaceDeleter {
    void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
};
using OwnSurface = std::unique_ptr<SDL_Surface, SurfaceDeleter>;

OwnBitMap makeBitMap(long width, long height, uint32 format) {
    const TagItem tags[] = {{BMATags_RGBFormat, format}, {BMATags_Clear, TRUE}, {TAG_DONE, 0}};
    return OwnBitMap(
        AllocBitMap(static_cast<uint32>(width), static_cast<uint32>(height), 0, BMF_CHECKVALUE, tags));
}

RenderInfo infoOf(BitMap* bitmap) {
    RenderInfo info{};
    p96UnlockBitMap(bitmap, p96LockBitMap(bitmap, reinterpret_cast<uint8*>(&info), sizeof info));
    return info;
}

uint8* rowOf(const RenderInfo& info, long y) {
    return static_cast<uint8*>(info.Memory) + y * static_cast<uint16>(info.BytesPerRow);
}

/// Where a blit's source comes from and which call takes it.
struct Source {
    OwnBitMap bitmap;
    OwnSurface surface;
    std::vector<uint32> array;
    uint32 arrayFormat = 0;
    long width = 0, height = 0;
};

struct Masks {
    int depth;
    uint32 r, g, b, a;
};
constexpr Masks surfaceMasks[] = {
    {15, 0x7C00, 0x3E0, 0x1F, 0},
    {16, 0xF800, 0x7E0, 0x1F, 0},
    {24, 0xFF0000, 0xFF00, 0xFF, 0},
    {24, 0xFF, 0xFF00, 0xFF0000, 0},
    {32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000},
    {32, 0xFF, 0xFF00, 0xFF0000, 0xFF000000},
    {32, 0xFF000000, 0xFF0000, 0xFF00, 0xFF},
    {32, 0xFF00, 0xFF0000, 0xFF000000, 0xFF},
};
/// In the order of the format codes from RGBFB_A8R8G8B8.
constexpr Masks arrayMasks[] = {surfaceMasks[4], surfaceMasks[5], surfaceMasks[6], surfaceMasks[7]};
constexpr uint32 bitmapFormats[] = {RGBFB_R8G8B8,   RGBFB_B8G8R8,   RGBFB_A8R8G8B8, RGBFB_A8B8G8R8,
                                    RGBFB_R8G8B8A8, RGBFB_B8G8R8A8, RGBFB_R5G6B5,   RGBFB_R5G5B5};
constexpr unsigned alphas[] = {255, 255, 255, 254, 248, 247, 200, 128, 31, 8, 7, 0};

struct Request {
    long srcX, srcY, dstX, dstY, width, height;
};

struct TestWindow {
    Window* window;
    OwnBitMap super;
    /// What the window shows, made without layers.
    OwnBitMap plain;
    long width() const { return window->Width; }
    long height() const { return window->Height; }
    /// Covered pieces are not drawn into.
    bool visibleOnly() const { return window->Flags & (WFLG_SIMPLE_REFRESH | WFLG_SUPER_BITMAP); }
    bool simple() const { return window->Flags & WFLG_SIMPLE_REFRESH; }
};

class Desktop {
public:
    Desktop(unsigned depth, unsigned seed) : random_(seed) {
        setenv("SDL_VIDEODRIVER", "dummy", 1);
        setenv("ORMSEL_WORKBENCH_DEPTH", std::to_string(depth).c_str(), 1);
        screen_ = LockPubScreen("Workbench");
        format_ = infoOf(screen_->RastPort.BitMap).RGBFormat;
        bytes_ = format_ == RGBFB_R5G6B5 ? 2 : 4;
        for (int n = 0; n < 7; ++n)
            openWindow();
        for (int n = 0; n < 24; ++n)
            sources_.push_back(makeSource(n));
    }
    ~Desktop() {
        for (const auto& w : windows_)
            CloseWindow(w->window);
        UnlockPubScreen("Workbench", screen_);
    }
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    long within(long low, long high) { return std::uniform_int_distribution<long>(low, high)(random_); }

    void blit() {
        TestWindow& w =
            *windows_[static_cast<std::size_t>(within(0, static_cast<long>(windows_.size()) - 1))];
        const Source& source =
            *sources_[static_cast<std::size_t>(within(0, static_cast<long>(sources_.size()) - 1))];
        // Mostly as programs do it, the source to its right and bottom edges; else less of it, which makes
        // pieces one column and row larger than the request.
        Request r = {within(0, source.width / 2),
                     within(0, source.height / 2),
                     within(-40, w.width()),
                     within(-30, w.height()),
                     0,
                     0};
        r.width = within(0, 3) ? source.width - r.srcX : within(0, source.width);
        r.height = within(0, 3) ? source.height - r.srcY : within(0, source.height);
        // An array has no height of its own: the request vouches for the rows.
        if (!source.array.empty())
            r.height = std::min(r.height, source.height - r.srcY);
        const unsigned alpha = alphas[within(0, std::ssize(alphas) - 1)];
        // Only 32-bit destinations know the copy flag, with which an odd width reaches into neighbouring
        // pieces.
        const unsigned long flags =
            format_ == RGBFB_R5G6B5 ? static_cast<unsigned long>(within(0, 7)) : within(0, 3) & 1;
        onPlain(w, source, r, alpha, flags);
        onWindow(w, source, r, alpha, flags);
    }

    void rearrange() {
        const auto which = static_cast<std::size_t>(within(0, static_cast<long>(windows_.size()) - 1));
        switch (within(0, 2)) {
        case 0:
            toFront(which);
            break;
        case 1:
            WindowToBack(windows_[which]->window);
            std::rotate(windows_.begin() + static_cast<long>(which),
                        windows_.begin() + static_cast<long>(which) + 1, windows_.end());
            break;
        default:
            MoveWindow(windows_[which]->window, static_cast<int32>(within(-60, 60)),
                       static_cast<int32>(within(-40, 40)));
        }
        forgetCovered();
    }

    void compareAll() {
        for (std::size_t n = 0; n < windows_.size(); ++n) {
            toFront(windows_.size() - 1);
            forgetCovered();
            const TestWindow& w = *windows_.front();
            const RenderInfo shown = infoOf(screen_->RastPort.BitMap), plain = infoOf(w.plain.get());
            for (long y = 0; y < w.height(); ++y)
                ASSERT_EQ(std::memcmp(rowOf(shown, w.window->TopEdge + y) + w.window->LeftEdge * bytes_,
                                      rowOf(plain, y), static_cast<std::size_t>(w.width() * bytes_)),
                          0)
                    << "row " << y << " of a window with flags " << std::hex << w.window->Flags;
        }
    }

private:
    void openWindow() {
        static constexpr unsigned long kinds[] = {WFLG_SMART_REFRESH, WFLG_SMART_REFRESH, WFLG_SIMPLE_REFRESH,
                                                  WFLG_SUPER_BITMAP};
        auto w = std::make_unique<TestWindow>();
        const long width = within(20, 150), height = within(15, 100);
        const unsigned long kind = kinds[windows_.size() % 4];
        w->plain = makeBitMap(width, height, format_);
        if (kind == WFLG_SUPER_BITMAP)
            w->super = makeBitMap(width, height, format_);
        w->window = OpenWindowTags(nullptr, WA_CustomScreen, screen_, WA_Left, within(0, 150), WA_Top,
                                   within(0, 100), WA_InnerWidth, width, WA_InnerHeight, height, WA_Flags,
                                   kind, WA_SuperBitMap, w->super.get(), TAG_DONE);
        windows_.insert(windows_.begin(), std::move(w));
        forgetCovered();
    }

    void fill(uint8* bytes, long count) {
        for (long i = 0; i < count; ++i) {
            const long kind = within(0, 3);
            bytes[i] = static_cast<uint8>(kind == 0 ? 0 : kind == 1 ? 255 : within(0, 255));
        }
    }

    std::unique_ptr<Source> makeSource(int n) {
        auto s = std::make_unique<Source>();
        s->width = within(1, 170);
        s->height = within(1, 110);
        if (n < 8) {
            s->bitmap = makeBitMap(s->width, s->height, bitmapFormats[n]);
            const RenderInfo info = infoOf(s->bitmap.get());
            fill(static_cast<uint8*>(info.Memory), s->height * static_cast<uint16>(info.BytesPerRow));
        } else if (n < 16) {
            const Masks& m = surfaceMasks[n - 8];
            s->surface.reset(SDL_CreateRGBSurface(SDL_SWSURFACE, static_cast<int>(s->width),
                                                  static_cast<int>(s->height), m.depth, m.r, m.g, m.b, m.a));
            fill(static_cast<uint8*>(s->surface->pixels), s->height * s->surface->pitch);
        } else {
            s->array.resize(static_cast<std::size_t>(s->width * s->height));
            s->arrayFormat = static_cast<uint32>(RGBFB_A8R8G8B8 + n % 4);
            fill(reinterpret_cast<uint8*>(s->array.data()), s->width * s->height * 4);
        }
        return s;
    }

    static void setAlpha(SDL_Surface* surface, unsigned alpha) {
        surface->flags = alpha == 255 ? surface->flags & ~static_cast<Uint32>(SDL_SRCALPHA)
                                      : surface->flags | SDL_SRCALPHA;
        surface->format->alpha = static_cast<Uint8>(alpha);
    }

    static void onWindow(const TestWindow& w, const Source& s, const Request& r, unsigned alpha,
                         unsigned long flags) {
        RastPort* const rp = w.window->RPort;
        const auto width = static_cast<unsigned long>(r.width), height = static_cast<unsigned long>(r.height);
        const auto a = static_cast<unsigned char>(alpha);
        if (s.bitmap) {
            BltAlphaBitMapRastPort(s.bitmap.get(), r.srcX, r.srcY, rp, r.dstX, r.dstY, width, height, a,
                                   flags);
        } else if (s.surface) {
            setAlpha(s.surface.get(), alpha);
            SDL_BlitAlphaSurfaceRastPort(s.surface.get(), r.srcX, r.srcY, rp, r.dstX, r.dstY, width, height,
                                         flags);
        } else {
            WriteAlphaPixelArray(const_cast<uint32*>(s.array.data()), r.srcX, r.srcY,
                                 static_cast<unsigned long>(s.width) * 4, rp, r.dstX, r.dstY, width, height,
                                 a, static_cast<unsigned char>(s.arrayFormat));
        }
    }

    /// The same blit without a layer: one rectangle, a column and a row larger than the request, cut to the
    /// window.
    void onPlain(TestWindow& w, const Source& s, const Request& r, unsigned alpha, unsigned long flags) {
        const long x0 = std::max(r.dstX, 0L), y0 = std::max(r.dstY, 0L);
        const long x1 = std::min(r.dstX + r.width + 1, w.width()),
                   y1 = std::min(r.dstY + r.height + 1, w.height());
        if (r.width == 0 || r.height == 0 || x0 >= x1 || y0 >= y1)
            return;
        const auto width = static_cast<unsigned long>(x1 - x0), height = static_cast<unsigned long>(y1 - y0);
        const long srcX = r.srcX + x0 - r.dstX, srcY = r.srcY + y0 - r.dstY;
        const OwnBitMap before = makeBitMap(w.width(), w.height(), format_);
        BltBitMap(w.plain.get(), 0, 0, before.get(), 0, 0, w.window->Width, w.window->Height, 0xC0, 0xFF,
                  nullptr);
        BitMap* const dst = w.plain.get();
        if (s.bitmap) {
            BltAlphaBitMap(s.bitmap.get(), srcX, srcY, dst, x0, y0, width, height,
                           static_cast<unsigned char>(alpha), static_cast<Uint32>(flags));
        } else if (s.surface) {
            setAlpha(s.surface.get(), alpha);
            SDL_BlitAlphaSurfaceBitMap(s.surface.get(), srcX, srcY, dst, x0, y0, width, height,
                                       static_cast<Uint32>(flags));
        } else {
            // The call says only how many rows it needs.
            const Masks& m = arrayMasks[s.arrayFormat - RGBFB_A8R8G8B8];
            const OwnSurface array(SDL_CreateRGBSurfaceFrom(
                const_cast<uint32*>(s.array.data()), static_cast<int>(s.width),
                static_cast<int>(r.srcY + r.height), 32, static_cast<int>(s.width) * 4, m.r, m.g, m.b, m.a));
            setAlpha(array.get(), alpha);
            SDL_BlitAlphaSurfaceBitMap(array.get(), srcX, srcY, dst, x0, y0, width, height, 0);
        }
        if (w.visibleOnly())
            restoreCovered(w, before.get());
    }

    template <typename Change>
    void eachCovered(TestWindow& w, Change change) {
        const RenderInfo plain = infoOf(w.plain.get());
        for (long y = 0; y < w.height(); ++y)
            for (long x = 0; x < w.width(); ++x)
                if (isCovered(w, w.window->LeftEdge + x, w.window->TopEdge + y))
                    change(rowOf(plain, y) + x * bytes_, x, y);
    }
    void restoreCovered(TestWindow& w, BitMap* before) {
        const RenderInfo old = infoOf(before);
        eachCovered(w, [&](uint8* pixel, long x, long y) {
            std::memcpy(pixel, rowOf(old, y) + x * bytes_, static_cast<std::size_t>(bytes_));
        });
    }
    /// Simple-refresh windows lose what is covered.
    void forgetCovered() {
        for (const auto& w : windows_)
            if (w->simple())
                eachCovered(*w, [&](uint8* pixel, long, long) {
                    std::memset(pixel, 0, static_cast<std::size_t>(bytes_));
                });
    }
    bool isCovered(const TestWindow& w, long x, long y) const {
        for (const auto& front : windows_) {
            if (front.get() == &w)
                return false;
            const Window& f = *front->window;
            if (x >= f.LeftEdge && x < f.LeftEdge + f.Width && y >= f.TopEdge && y < f.TopEdge + f.Height)
                return true;
        }
        return false;
    }
    void toFront(std::size_t which) {
        WindowToFront(windows_[which]->window);
        std::rotate(windows_.begin(), windows_.begin() + static_cast<long>(which),
                    windows_.begin() + static_cast<long>(which) + 1);
    }

    std::mt19937 random_;
    Screen* screen_ = nullptr;
    uint32 format_ = 0;
    long bytes_ = 0;
    /// Front to back.
    std::vector<std::unique_ptr<TestWindow>> windows_;
    std::vector<std::unique_ptr<Source>> sources_;
};

class Layers : public testing::TestWithParam<unsigned> {};

TEST_P(Layers, RandomBlitsEqualThoseOnAPlainBitmap) {
    const long allocations = HOST_LiveAllocations();
    constexpr unsigned desktops = 4;
    for (unsigned seed = 0; seed < desktops; ++seed) {
        SCOPED_TRACE("desktop " + std::to_string(seed));
        Desktop desktop(GetParam(), seed);
        constexpr int blits = 1500;
        for (int n = 0; n < blits; ++n) {
            desktop.blit();
            if (n % 7 == 0)
                desktop.rearrange();
            if (n % 50 == 49)
                desktop.compareAll();
            if (HasFatalFailure())
                FAIL() << "after blit " << n;
        }
    }
    EXPECT_EQ(HOST_HeldBitMapLocks(), 0);
    EXPECT_EQ(HOST_LiveAllocations(), allocations);
}

INSTANTIATE_TEST_SUITE_P(Depths, Layers, testing::Values(16U, 32U));

} // namespace
