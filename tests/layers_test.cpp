// SPDX-License-Identifier: Zlib
//
// Layers, beside a model of which layer has which pixel: random creation, rearrangement, copies, repairs and
// blits through every call that draws into a rastport. Each layer has a plain bitmap, on which the same is
// drawn without any layer.
#include <bitset>
#include <chrono>
#include <climits>
#include <future>
#include <iostream>

#include <gtest/gtest.h>

#include <graphics/clip.h>
#include <proto/Picasso96API.h>
#include <proto/graphics.h>
#include <proto/layers.h>

#include "tests/blits.h"
#include "tests/faults.h"

namespace {

constexpr long kWidth = 90, kHeight = 60, kLayerWidth = 60, kLayerHeight = 40;

// A bitmap over memory of its own.
struct Canvas {
    Canvas(uint32_t format, long width, long height)
        : bytes(bitmapKind(format).bytes()), pitch(width * bytes),
          memory(static_cast<size_t>(pitch * height)),
          picture(bitmapKind(format), memory.data(), width, height, pitch) {}
    uint8_t* at(long x, long y) { return memory.data() + y * pitch + x * bytes; }

    long bytes, pitch;
    std::vector<uint8_t> memory;
    Picture picture;
};

// Pixels of a layer, row by row from its top-left corner.
using PixelSet = std::bitset<kLayerWidth * kLayerHeight>;

struct ModelLayer {
    Layer* layer;
    std::shared_ptr<Canvas> super, plain; // what a super-bitmap layer was given; what the layer shows
    // What is covered. Of a simple-refresh layer: what is to be drawn again.
    PixelSet hidden, damaged;

    long width() const { return layer->bounds.MaxX - layer->bounds.MinX + 1; }
    long height() const { return layer->bounds.MaxY - layer->bounds.MinY + 1; }
};

class Layers : public testing::TestWithParam<unsigned> {
protected:
    ~Layers() override {
        DisposeLayerInfo(all);
        EXPECT_EQ(heldBitMapLocks, 0);
        layers.clear(), screen.picture = empty.picture = {};
        EXPECT_EQ(liveAllocations, allocations);
    }

    // Calls visit(x, y, place in a PixelSet) for each pixel of a layer.
    template <class Visit>
    static void everyPixel(const ModelLayer& m, const Visit& visit) {
        for (long y = 0; y < m.height(); ++y)
            for (long x = 0; x < m.width(); ++x)
                visit(x, y, static_cast<size_t>(y * kLayerWidth + x));
    }
    bool same(const uint8_t* a, const uint8_t* b) const { return std::equal(a, a + screen.bytes, b); }

    // What is in front at a place of the screen.
    const Layer* topmost(long x, long y) const {
        for (const ModelLayer& m : layers)
            if (const Rectangle& b = m.layer->bounds;
                x >= b.MinX && x <= b.MaxX && y >= b.MinY && y <= b.MaxY)
                return x >= 0 && x < kWidth && y >= 0 && y < kHeight ? m.layer : nullptr;
        return nullptr;
    }

    void check(ModelLayer& m) {
        const Layer& layer = *m.layer;
        const long left = layer.bounds.MinX, top = layer.bounds.MinY;
        const bool simple = layer.Flags & LAYERSIMPLE;
        PixelSet seen, hidden, known;
        for (const ClipRect* piece = layer.ClipRect; piece; piece = piece->Next) {
            const Rectangle& p = piece->bounds;
            ASSERT_EQ(piece->BitMap != nullptr, piece->lobs && !simple);
            RenderInfo info{screen.memory.data(), static_cast<int16>(screen.pitch), 0, 0};
            if (piece->BitMap)
                p96UnlockBitMap(piece->BitMap,
                                p96LockBitMap(piece->BitMap, reinterpret_cast<uint8*>(&info), sizeof info));
            const long x0 = !piece->lobs ? 0 : layer.SuperBitMap ? left : p.MinX & ~15;
            const long y0 = !piece->lobs ? 0 : layer.SuperBitMap ? top : p.MinY;
            for (long y = p.MinY; y <= p.MaxY; ++y)
                for (long x = p.MinX; x <= p.MaxX; ++x) {
                    const auto place = static_cast<size_t>((y - top) * kLayerWidth + x - left);
                    ASSERT_TRUE(x >= left && y >= top && !seen[place]) << "the pieces fill the layer once";
                    seen.set(place);
                    hidden[place] = piece->lobs;
                    ASSERT_EQ(piece->lobs != nullptr, topmost(x, y) != m.layer) << x << ',' << y;
                    uint8_t* const plain = m.plain->at(x - left, y - top);
                    if (simple && piece->lobs)
                        std::fill_n(plain, screen.bytes, uint8_t{0});
                    else
                        ASSERT_TRUE(same(plain, static_cast<uint8_t*>(info.Memory) +
                                                    (y - y0) * info.BytesPerRow + (x - x0) * screen.bytes))
                            << x << ',' << y << " of a layer with flags " << layer.Flags;
                }
        }
        ASSERT_EQ(seen.count(), static_cast<size_t>(m.width() * m.height()));
        for (const auto* area = layer.DamageList->RegionRectangle; area; area = area->Next)
            for (long y = area->bounds.MinY; y <= area->bounds.MaxY; ++y)
                for (long x = area->bounds.MinX; x <= area->bounds.MaxX; ++x) {
                    const auto place = static_cast<size_t>(y * kLayerWidth + x);
                    ASSERT_FALSE(known[place]) << "damaged twice";
                    known.set(place);
                }
        if (simple)
            m.damaged |= m.hidden & ~hidden;
        m.hidden = hidden;
        ASSERT_EQ(known, m.damaged);
        ASSERT_EQ(m.damaged.any(), (layer.Flags & LAYERREFRESH) != 0);
    }

    void checkAll() {
        for (long y = 0; y < kHeight; ++y)
            for (long x = 0; x < kWidth; ++x)
                ASSERT_TRUE(topmost(x, y) || same(screen.at(x, y), empty.memory.data())) << x << ',' << y;
        for (ModelLayer& m : layers)
            ASSERT_NO_FATAL_FAILURE(check(m));
    }

    // Makes a call that gives a value. Sometimes memory runs out on the way: nothing may change then.
    template <class Call>
    auto attempt(const Call& call) {
        heapFault.arm(0, 0);
        if (random.oneIn(5))
            (random.oneIn(2) ? heapFault : allocationFault)
                .arm(random.upTo(20), random.oneIn(2) ? 1 : LONG_MAX);
        const long blocks = liveBlocks;
        const auto result = call();
        heapFault.disarm(), allocationFault.disarm();
        lost += result ? 0 : liveBlocks - blocks;
        return result;
    }

    // A program draws all of a layer anew: only what is damaged and visible changes.
    void repair(ModelLayer& m) {
        SetRPAttrs(m.layer->rp, RPTAG_APenColor, 0xFFFFFFFF, TAG_DONE);
        const bool visible = (m.damaged & ~m.hidden).any(),
                   any = attempt([&] { return BeginUpdate(m.layer); });
        RectFill(m.layer->rp, -9, -9, 99, 99);
        EndUpdate(m.layer, TRUE);
        if (visible && !any && heapFault.struck() != 0)
            return;
        ASSERT_EQ(any, visible);
        everyPixel(m, [&](long x, long y, size_t place) {
            if (m.damaged[place] && !m.hidden[place])
                std::fill_n(m.plain->at(x, y), screen.bytes, uint8_t{0xFF});
        });
        m.damaged.reset();
    }

    // A copy, or a blit by the calls that draw into rastports, of as many pixels as programs take or fewer.
    void draw(ModelLayer& m, bool copy) {
        const bool array = !copy && random.oneIn(3), surface = array || (!copy && random.oneIn(2));
        const long width = random.between(1, kLayerWidth), height = random.between(1, kLayerHeight);
        const Kind kind = copy    ? bitmapKind(format)
                          : array ? surfaceKind(RGBFB_A8R8G8B8 + static_cast<uint32_t>(random.upTo(3)))
                                  : random.of(surface ? kSurfaceKinds : kBitmapKinds);
        std::vector<uint8_t> pixels(static_cast<size_t>(width * height * kind.bytes()));
        random.fill(pixels.data(), width * height * kind.bytes());
        const Picture src(kind, pixels.data(), width, height, width * kind.bytes());
        model::Blit b{};
        b.src = src.image(0);
        b.srcX = random.upTo(width / 2), b.srcY = random.upTo(height / 2);
        b.dstX = random.between(-20, kLayerWidth), b.dstY = random.between(-20, kLayerHeight);
        // Only 32-bit destinations know the copy flag, with which an odd width reaches into neighbouring
        // pieces.
        b.flags = array ? 0 : static_cast<uint32_t>(random.upTo(screen.bytes == 2 ? 7 : 1));
        b.alpha = random.of(kConstantAlphas);
        b.width = random.oneIn(4) ? random.upTo(width) : width - b.srcX;
        b.height = random.oneIn(4) ? random.upTo(height - b.srcY) : height - b.srcY;
        if (src.sdl())
            src.setAlpha(true, b.alpha);
        if (array) // which ends where the request does
            src.sdl()->h = static_cast<int>(b.srcY + b.height);

        // On the plain bitmap: one rectangle, which a blit makes a column and a row larger, cut to the layer.
        const std::vector<uint8_t> before = m.plain->memory;
        model::Blit cut = b;
        cut.dstX = std::max(0L, b.dstX), cut.dstY = std::max(0L, b.dstY);
        cut.srcX += cut.dstX - b.dstX, cut.srcY += cut.dstY - b.dstY;
        cut.width = std::min(b.dstX + b.width + !copy, m.width()) - cut.dstX;
        cut.height = std::min(b.dstY + b.height + !copy, m.height()) - cut.dstY;
        const bool drawn = b.width > 0 && b.height > 0 && cut.width > 0 && cut.height > 0;
        const long toX = b.dstX + m.layer->Scroll_X, toY = b.dstY + m.layer->Scroll_Y;
        const auto narrow = [](long value) { return static_cast<int32>(value); };
        if (copy) {
            BltBitMap(src, narrow(b.srcX), narrow(b.srcY), m.plain->picture, narrow(b.dstX), narrow(b.dstY),
                      narrow(b.width), narrow(b.height), 0xC0, 0xFF, nullptr);
            BltBitMapRastPort(src, narrow(b.srcX), narrow(b.srcY), m.layer->rp, narrow(toX), narrow(toY),
                              narrow(b.width), narrow(b.height), 0xC0);
            return;
        }
        if (drawn)
            (surface ? kSurfaceToBitmap : kBitmap).call({cut, src, m.plain->picture, {}});
        if (!(m.layer->Flags & LAYERSMART)) // covered pieces are not drawn into
            everyPixel(m, [&](long x, long y, size_t place) {
                if (m.hidden[place])
                    std::copy_n(&before.at(static_cast<size_t>(y * m.plain->pitch + x * screen.bytes)),
                                screen.bytes, m.plain->at(x, y));
            });
        b.dstX = toX, b.dstY = toY;
        const long carry = random.oneIn(4) ? LONG_MIN / 4 : 65536 * random.between(-2, 2);
        (array     ? kArray
         : surface ? kSurfaceToRastPort
                   : kBitmapToRastPort)
            .call({b, src, screen.picture, {}, pixels.data(), carry, m.layer});
    }

    void create(bool front) {
        const uint32 kinds[] = {LAYERSIMPLE, LAYERSMART, LAYERSUPER}, kind = random.of(kinds);
        const long x = random.between(-30, 80), y = random.between(-20, 50);
        const long width = random.between(1, kLayerWidth), height = random.between(1, kLayerHeight);
        const auto plain = std::make_shared<Canvas>(format, width, height);
        const auto super = kind == LAYERSUPER ? std::make_shared<Canvas>(format, width, height) : nullptr;
        BitMap* const given = super ? super->picture.native() : nullptr;
        Layer* const layer = attempt([&] {
            return (front ? CreateUpfrontLayer : CreateBehindLayer)(
                all, screen.picture, static_cast<int32>(x), static_cast<int32>(y),
                static_cast<int32>(x + width - 1), static_cast<int32>(y + height - 1),
                kind | (random.oneIn(6) ? LAYERBACKDROP : 0U), given);
        });
        if (!layer)
            return;
        if (!super)
            layer->Scroll_X = layer->Scroll_Y = static_cast<int16>(random.between(-5, 5));
        layers.push_back({layer, super, plain, {}, {}});
        reorder(layers.end() - 1, front);
    }

    void reorder(std::vector<ModelLayer>::iterator which, bool front) {
        front ? std::rotate(layers.begin(), which, which + 1) : std::rotate(which, which + 1, layers.end());
        std::stable_partition(layers.begin(), layers.end(),
                              [](auto& m) { return !(m.layer->Flags & LAYERBACKDROP); });
    }

    const long allocations = liveAllocations;
    const uint32_t format = GetParam() % 2 ? RGBFB_A8R8G8B8 : RGBFB_R5G6B5;
    Random random{GetParam()};
    Canvas screen{format, kWidth, kHeight}, empty{format, 1, 1};
    Layer_Info* const all = NewLayerInfo();
    std::vector<ModelLayer> layers; // front to back
    long lost = 0;                  // blocks of the heap, to calls that failed
};

TEST_P(Layers, ShowWhatPlainBitmapsHold) {
    const long steps = std::min(4000L, caseCount(20000));
    for (long step = 0; step < steps && !HasFatalFailure(); ++step) {
        SCOPED_TRACE(step);
        const long action = layers.empty() ? 0 : random.upTo(15);
        const auto which = layers.begin() + random.upTo(std::max(0L, static_cast<long>(layers.size()) - 1));
        Layer* const layer = layers.empty() ? nullptr : which->layer;
        const bool front = random.oneIn(2);
        const auto x = static_cast<int32>(random.between(-30, 40)),
                   y = static_cast<int32>(random.between(-20, 30));
        if (action == 0 && layers.size() < 7) {
            create(front);
        } else if (action == 1 && attempt([&] { return DeleteLayer(0, layer); })) {
            // A super bitmap holds now what was seen, too.
            EXPECT_TRUE(!which->super || which->super->memory == which->plain->memory);
            layers.erase(which);
        } else if (action >= 2 && action <= 4) {
            if (attempt([&] { return (front ? UpfrontLayer : BehindLayer)(0, layer); }))
                reorder(which, front);
        } else if (action == 5 || action == 6) {
            attempt([&] { return MoveLayer(0, layer, x, y); });
        } else if (action == 7) {
            repair(*which);
        } else if (action >= 8) {
            draw(*which, action < 10);
        }
        checkAll();
    }
    EXPECT_LE(lost, 20) << "calls that failed leak: more than lists that grew";
    // Whoever comes after the blits can have every layer.
    const auto other = std::async(std::launch::async, [&] {
        for (const ModelLayer& m : layers)
            LockLayerRom(m.layer), UnlockLayerRom(m.layer);
    });
    if (other.wait_for(std::chrono::minutes(1)) != std::future_status::ready) {
        std::cerr << "A layer is still locked.\n";
        std::abort();
    }
}

INSTANTIATE_TEST_SUITE_P(Screens, Layers, testing::Range(0U, 6U));

TEST_P(Layers, LocksExcludeOtherThreads) {
    Layer* const layer = CreateUpfrontLayer(all, screen.picture, 0, 0, 29, 29, LAYERSMART, nullptr);
    LockLayerRom(layer);
    LockLayerRom(layer);
    auto mover = std::async(std::launch::async, [&] { return MoveLayer(0, layer, 1, 1); });
    const auto locker = std::async(std::launch::async, [&] { LockLayerRom(layer), UnlockLayerRom(layer); });
    SetRPAttrs(layer->rp, RPTAG_APenColor, 0xFFFFFFFF, TAG_DONE);
    const auto drawer = std::async(std::launch::async, [&] { RectFill(layer->rp, 0, 0, 29, 29); });
    UnlockLayerRom(layer);
    EXPECT_EQ(locker.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout) << "one is held";
    EXPECT_EQ(layer->bounds.MinX, 0);
    EXPECT_EQ(*screen.at(15, 15), 0) << "drawing waits, too";
    UnlockLayerRom(layer);
    locker.wait();
    drawer.wait();
    EXPECT_EQ(*screen.at(15, 15), 0xFF);
    EXPECT_TRUE(mover.get() && layer->bounds.MinX == 1);
}

} // namespace
