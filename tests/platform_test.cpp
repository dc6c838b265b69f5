// SPDX-License-Identifier: Zlib
//
// The host provider: tag lists, bitmaps, copies, messages and signals, layers, windows and their input.
#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <SDL.h>

#include <graphics/layers.h>
#include <host/testing.h>
#include <proto/Picasso96API.h>
#include <proto/exec.h>
#include <proto/graphics.h>
#include <proto/intuition.h>
#include <proto/layers.h>
#include <proto/timer.h>
#include <proto/utility.h>

#include "platform/keymap.h"

namespace {

// ---- Tag lists ----

TEST(Tags, ControlTagsAreFollowed) {
    const TagItem rest[] = {{TAG_USER + 4, 4}, {TAG_SKIP, 0}, {TAG_USER + 5, 5}, {TAG_DONE, 0}};
    const TagItem nothing[] = {{TAG_DONE, 0}};
    const auto data = [](const TagItem* p) { return reinterpret_cast<TagData>(p); };
    const struct {
        std::vector<TagItem> list;
        std::vector<TagData> seen;
    } cases[] = {
        {{{TAG_DONE, 0}}, {}},
        {{{TAG_USER, 1}, {TAG_IGNORE, 9}, {TAG_USER, 2}, {TAG_DONE, 0}, {TAG_USER, 3}}, {1, 2}},
        {{{TAG_SKIP, 1},
          {TAG_USER, 1},
          {TAG_USER, 2},
          {TAG_SKIP, 2},
          {TAG_USER, 3},
          {TAG_DONE, 0},
          {TAG_USER, 4},
          {TAG_DONE, 0}},
         {2, 4}},
        {{{TAG_USER, 1}, {TAG_MORE, data(rest)}, {TAG_USER, 2}}, {1, 4, 5}},
        {{{TAG_USER, 1}, {TAG_MORE, data(nothing)}}, {1}},
        {{{TAG_USER, 1}, {TAG_MORE, 0}}, {1}},
    };
    for (const auto& c : cases) {
        std::vector<TagData> seen;
        const TagItem* at = c.list.data();
        while (const TagItem* item = NextTagItem(&at))
            seen.push_back(item->ti_Data);
        EXPECT_EQ(seen, c.seen);
    }
    EXPECT_EQ(FindTagItem(TAG_USER, nullptr), nullptr);
}

TEST(Tags, CallsKeepPointersAndSigns) {
    const char* const text = "far above 32 bits";
    const int16 left = -5;
    const auto check = [&](const TagItem* tags) {
        EXPECT_EQ(GetTagData(WA_Title, 0, tags), reinterpret_cast<TagData>(text));
        EXPECT_EQ(static_cast<int32>(GetTagData(WA_Left, 0, tags)), -5);
        EXPECT_EQ(GetTagData(WA_Flags, 7, tags), 0xFFFFFFFFU);
        EXPECT_EQ(GetTagData(WA_Top, 7, tags), 0U);
        EXPECT_EQ(GetTagData(WA_Width, 7, tags), 7U);
    };
    check(HOST_TAGLIST(WA_Title, text, WA_Left, left, WA_Flags, 0xFFFFFFFFU, WA_Top, nullptr, TAG_DONE));
    check(HOST_TAGLIST(WA_Flags, 0xFFFFFFFFU, WA_Left, left, WA_Top, FALSE, WA_Title, text));
}

// ---- Bitmaps ----

struct BitMapDeleter {
    void operator()(BitMap* bitmap) const { FreeBitMap(bitmap); }
};
using OwnBitMap = std::unique_ptr<BitMap, BitMapDeleter>;

OwnBitMap makeBitMap(uint32 width, uint32 height, uint32 format, uint32 depth = 0) {
    const TagItem tags[] = {{BMATags_RGBFormat, format}, {BMATags_Clear, TRUE}, {TAG_DONE, 0}};
    return OwnBitMap(AllocBitMap(width, height, depth, BMF_CHECKVALUE, tags));
}

// A bitmap's pixels, locked while it lives.
class Locked {
public:
    explicit Locked(BitMap* bitmap) : bitmap_(bitmap) {
        lock_ = p96LockBitMap(bitmap, reinterpret_cast<uint8*>(&info), sizeof info);
        EXPECT_NE(lock_, 0);
    }
    ~Locked() { p96UnlockBitMap(bitmap_, lock_); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
    uint8* row(long y) const {
        return static_cast<uint8*>(info.Memory) + y * static_cast<uint16>(info.BytesPerRow);
    }
    RenderInfo info{};

private:
    BitMap* bitmap_;
    int32 lock_;
};

TEST(BitMaps, EveryFormatCanBeAllocated) {
    for (uint32 code = RGBFB_CLUT; code < RGBFB_MaxFormats; ++code) {
        SCOPED_TRACE(code);
        const OwnBitMap bm = makeBitMap(800, 3, code);
        ASSERT_TRUE(bm);
        EXPECT_EQ(p96GetBitMapAttr(bm.get(), P96BMA_WIDTH), 800U);
        EXPECT_EQ(p96GetBitMapAttr(bm.get(), P96BMA_HEIGHT), 3U);
        EXPECT_EQ(p96GetBitMapAttr(bm.get(), P96BMA_ISONBOARD), 0U);
        const Locked locked(bm.get());
        EXPECT_EQ(locked.info.RGBFormat, code);
        EXPECT_EQ(locked.info.BytesPerRow % 16, 0);
        EXPECT_GT(static_cast<uint32>(locked.info.BytesPerRow) * 8,
                  800 * p96GetBitMapAttr(bm.get(), P96BMA_DEPTH))
            << "rows are padded";
        EXPECT_EQ(*locked.row(2), 0);
    }
}

TEST(BitMaps, TheFormatComesFromTagsFriendOrDepth) {
    const OwnBitMap ally = makeBitMap(4, 4, RGBFB_B8G8R8);
    const TagItem byDepth[] = {{BMATags_RGBFormat, RGBFB_NONE}, {BMATags_Depth, 16}, {TAG_DONE, 0}};
    // As a program allocates its off-screen bitmaps: the format outweighs the depth.
    const TagItem both[] = {
        {0x80000002, RGBFB_R5G6B5}, {0x80000003, 1}, {0x8000000F, 8}, {0x80000004, 0}, {0x80000007, 1},
        {0x80000001, 32},           {TAG_DONE, 0}};
    const struct {
        uint32 depth, flags;
        const void* more;
        uint32 format;
    } cases[] = {
        {8, 0, nullptr, RGBFB_CLUT},       {1, 0, nullptr, RGBFB_CLUT},
        {15, 0, nullptr, RGBFB_R5G5B5},    {16, 0, nullptr, RGBFB_R5G6B5},
        {24, 0, nullptr, RGBFB_A8R8G8B8},  {32, BMF_CLEAR, nullptr, RGBFB_A8R8G8B8},
        {32, 0, ally.get(), RGBFB_B8G8R8}, {8, 0x700, byDepth, RGBFB_R5G6B5},
        {8, 0x700, both, RGBFB_R5G6B5},
    };
    for (const auto& c : cases) {
        const OwnBitMap bm(AllocBitMap(5, 5, c.depth, c.flags, c.more));
        ASSERT_TRUE(bm);
        EXPECT_EQ(Locked(bm.get()).info.RGBFormat, c.format);
    }
}

TEST(BitMaps, Refusals) {
    const TagItem unknown[] = {{BMATags_RGBFormat, RGBFB_MaxFormats}, {TAG_DONE, 0}};
    EXPECT_EQ(AllocBitMap(0, 4, 16, 0, nullptr), nullptr);
    EXPECT_EQ(AllocBitMap(4, 32768, 16, 0, nullptr), nullptr);
    EXPECT_EQ(AllocBitMap(16384, 1, 32, 0, nullptr), nullptr) << "a pitch of more than 16 bits";
    EXPECT_EQ(AllocBitMap(4, 4, 0, 0, nullptr), nullptr);
    EXPECT_EQ(AllocBitMap(4, 4, 33, 0, nullptr), nullptr);
    EXPECT_EQ(AllocBitMap(4, 4, 16, BMF_CHECKVALUE, unknown), nullptr);
    const OwnBitMap wide(AllocBitMap(16000, 1, 32, 0, nullptr));
    ASSERT_TRUE(wide);
    EXPECT_GE(static_cast<uint16>(Locked(wide.get()).info.BytesPerRow), 64000);
}

TEST(BitMaps, LocksAreCountedAndCanBeRefused) {
    const long before = HOST_HeldBitMapLocks();
    const OwnBitMap bm = makeBitMap(4, 4, RGBFB_R5G6B5);
    RenderInfo info{};
    const auto lock = [&](uint32 size) {
        return p96LockBitMap(bm.get(), reinterpret_cast<uint8*>(&info), size);
    };
    EXPECT_EQ(lock(sizeof info - 1), 0);
    const int32 first = lock(sizeof info), second = lock(sizeof info);
    EXPECT_EQ(HOST_HeldBitMapLocks(), before + 2);
    p96UnlockBitMap(bm.get(), first);
    p96UnlockBitMap(bm.get(), 0);
    EXPECT_EQ(HOST_HeldBitMapLocks(), before + 1);
    p96UnlockBitMap(bm.get(), second);
    HOST_LosePixels(bm.get(), TRUE);
    EXPECT_EQ(lock(sizeof info), 0);
    HOST_LosePixels(bm.get(), FALSE);
    HOST_FailLocks(1, 2);
    const bool results[] = {lock(sizeof info) != 0, lock(sizeof info) != 0, lock(sizeof info) != 0,
                            lock(sizeof info) != 0};
    EXPECT_TRUE(results[0] && !results[1] && !results[2] && results[3]);
    p96UnlockBitMap(bm.get(), 1);
    p96UnlockBitMap(bm.get(), 1);
    EXPECT_EQ(HOST_HeldBitMapLocks(), before);
}

// ---- Copies ----

// The channels of a format as its name spells them, from the most significant bit down.
struct NamedFormat {
    uint32 code;
    const char* channels;
    bool swapped;

    unsigned bits() const {
        unsigned sum = 0;
        for (const char* p = channels; *p; p += 2)
            sum += static_cast<unsigned>(p[1] - '0');
        return sum;
    }
    unsigned bytes() const { return (bits() + 7) / 8; }
};

const NamedFormat namedFormats[] = {
    {RGBFB_R8G8B8, "R8G8B8", false},     {RGBFB_B8G8R8, "B8G8R8", false},
    {RGBFB_R5G6B5PC, "R5G6B5", true},    {RGBFB_R5G5B5PC, "A1R5G5B5", true},
    {RGBFB_A8R8G8B8, "A8R8G8B8", false}, {RGBFB_A8B8G8R8, "A8B8G8R8", false},
    {RGBFB_R8G8B8A8, "R8G8B8A8", false}, {RGBFB_B8G8R8A8, "B8G8R8A8", false},
    {RGBFB_R5G6B5, "R5G6B5", false},     {RGBFB_R5G5B5, "A1R5G5B5", false},
    {RGBFB_B5G6R5PC, "B5G6R5", true},    {RGBFB_B5G5R5PC, "A1B5G5R5", true},
};

uint32 pixelValue(const NamedFormat& format, const uint8* at) {
    const bool bigEndian = (std::endian::native == std::endian::big) != format.swapped;
    uint32 value = 0;
    for (unsigned i = 0; i < format.bytes(); ++i)
        value = value << 8 | at[bigEndian ? i : format.bytes() - 1 - i];
    return value;
}

// Channels by name as strings of bits.
std::map<char, std::string> bitsOf(const NamedFormat& format, uint32 value) {
    std::map<char, std::string> result;
    unsigned left = format.bits();
    for (const char* p = format.channels; *p; p += 2)
        for (int i = 0; i < p[1] - '0'; ++i)
            result[p[0]] += value >> --left & 1 ? '1' : '0';
    return result;
}

// A channel's bits at another width: cut, or its bits over again; a missing alpha is all ones.
std::string stretched(const std::string& bits, std::size_t width) {
    std::string result(width, '1');
    for (std::size_t i = 0; i < width && !bits.empty(); ++i)
        result[i] = bits[i % bits.size()];
    return result;
}

TEST(Copies, EveryPairOfFormats) {
    std::mt19937 random(1);
    constexpr long width = 61, height = 7;
    for (const NamedFormat& from : namedFormats)
        for (const NamedFormat& to : namedFormats) {
            SCOPED_TRACE(std::to_string(from.code) + " to " + std::to_string(to.code));
            const OwnBitMap src = makeBitMap(width, height, from.code),
                            dst = makeBitMap(width, height, to.code);
            const Locked s(src.get()), d(dst.get());
            for (long y = 0; y < height; ++y)
                for (unsigned i = 0; i < width * from.bytes(); ++i)
                    s.row(y)[i] = static_cast<uint8>(random());
            EXPECT_EQ(BltBitMap(src.get(), 3, 1, dst.get(), 2, 2, width - 5, height - 3, 0xC0, 0xFF, nullptr),
                      1);
            for (long y = 0; y < height; ++y)
                for (long x = 0; x < width; ++x) {
                    const uint32 got = pixelValue(to, d.row(y) + x * to.bytes());
                    if (x < 2 || y < 2 || x >= width - 3 || y >= height - 1) {
                        ASSERT_EQ(got, 0U);
                        continue;
                    }
                    auto source = bitsOf(from, pixelValue(from, s.row(y - 1) + (x + 1) * from.bytes()));
                    for (const auto& [channel, bits] : bitsOf(to, got)) {
                        const auto wide = stretched(source[channel], 8);
                        ASSERT_EQ(bits, wide.substr(0, bits.size())) << channel << " at " << x << ',' << y;
                    }
                }
        }
}

TEST(Copies, ClippingAndOverlapsAgreeWithPixelByPixel) {
    std::mt19937 random(2);
    const auto within = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    constexpr int width = 13, height = 9;
    for (int n = 0; n < 3000; ++n) {
        const OwnBitMap bm = makeBitMap(width, height, RGBFB_CLUT);
        const Locked pixels(bm.get());
        std::vector<uint8> before(width * height);
        for (int i = 0; i < width * height; ++i)
            pixels.row(i / width)[i % width] = before[static_cast<std::size_t>(i)] =
                static_cast<uint8>(random());
        const int sx = within(-5, 15), sy = within(-5, 11), dx = within(-5, 15), dy = within(-5, 11);
        const int w = within(-2, 16), h = within(-2, 12);
        std::vector<uint8> expected = before;
        const auto inside = [](int x, int y) { return x >= 0 && y >= 0 && x < width && y < height; };
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                if (inside(sx + x, sy + y) && inside(dx + x, dy + y))
                    expected[static_cast<std::size_t>((dy + y) * width + dx + x)] =
                        before[static_cast<std::size_t>((sy + y) * width + sx + x)];
        BltBitMap(bm.get(), sx, sy, bm.get(), dx, dy, w, h, 0xC0, 0xFF, nullptr);
        for (int i = 0; i < width * height; ++i)
            ASSERT_EQ(pixels.row(i / width)[i % width], expected[static_cast<std::size_t>(i)])
                << "case " << n;
    }
}

TEST(Copies, WhatIsNotSupportedDoesNothing) {
    const OwnBitMap rgb = makeBitMap(4, 4, RGBFB_R5G6B5), clut = makeBitMap(4, 4, RGBFB_CLUT);
    EXPECT_EQ(BltBitMap(clut.get(), 0, 0, rgb.get(), 0, 0, 4, 4, 0xC0, 0xFF, nullptr), 0);
    EXPECT_EQ(BltBitMap(rgb.get(), 0, 0, rgb.get(), 1, 0, 4, 4, 0x30, 0xFF, nullptr), 0);
}

// ---- Messages and signals ----

TEST(Ports, MessagesComeInOrderAndGoBack) {
    MsgPort* const port = CreateMsgPort();
    MsgPort* const replies = CreateMsgPort();
    ASSERT_NE(port->mp_SigBit, replies->mp_SigBit);
    Message messages[3] = {};
    for (Message& m : messages) {
        m.mn_ReplyPort = replies;
        PutMsg(port, &m);
    }
    const uint32 bit = 1U << port->mp_SigBit, replyBit = 1U << replies->mp_SigBit;
    EXPECT_EQ(Wait(bit | replyBit), bit);
    for (Message& m : messages)
        EXPECT_EQ(GetMsg(port), &m);
    EXPECT_EQ(GetMsg(port), nullptr);
    ReplyMsg(&messages[1]);
    ReplyMsg(&messages[0]);
    EXPECT_EQ(Wait(bit | replyBit), replyBit) << "the port's own signal was taken by the first Wait";
    EXPECT_EQ(GetMsg(replies), &messages[1]);
    messages[2].mn_ReplyPort = nullptr;
    ReplyMsg(&messages[2]);
    EXPECT_EQ(GetMsg(replies), &messages[0]);
    DeleteMsgPort(replies);
    DeleteMsgPort(port);
}

TEST(Ports, AnotherThreadWakesTheOwner) {
    MsgPort* const port = CreateMsgPort();
    Message message{};
    std::thread sender([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        PutMsg(port, &message);
    });
    EXPECT_EQ(Wait(1U << port->mp_SigBit), 1U << port->mp_SigBit);
    EXPECT_EQ(GetMsg(port), &message);
    sender.join();
    DeleteMsgPort(port);
}

TEST(Ports, SignalsRunOutAndComeBack) {
    const long before = HOST_LiveAllocations();
    std::vector<MsgPort*> ports;
    while (MsgPort* const port = CreateMsgPort())
        ports.push_back(port);
    EXPECT_EQ(ports.size(), 16U);
    DeleteMsgPort(ports.back());
    ports.back() = CreateMsgPort();
    EXPECT_NE(ports.back(), nullptr);
    for (MsgPort* port : ports)
        DeleteMsgPort(port);
    EXPECT_EQ(HOST_LiveAllocations(), before);
}

TEST(Ports, InterruptIsTheBreakSignal) {
    MsgPort* const port = CreateMsgPort();
    Message message{};
    PutMsg(port, &message);
    EXPECT_EQ(Wait(SIGBREAKF_CTRL_C | 1U << port->mp_SigBit), 1U << port->mp_SigBit);
    for (int n = 0; n < 2; ++n) {
        std::raise(SIGINT);
        EXPECT_EQ(Wait(SIGBREAKF_CTRL_C | 1U << port->mp_SigBit), SIGBREAKF_CTRL_C);
    }
    DeleteMsgPort(port);
}

TEST(Memory, AttributesSizesAndFaults) {
    const long before = HOST_LiveAllocations();
    EXPECT_EQ(AllocVec(0, MEMF_ANY), nullptr);
    auto* const cleared = static_cast<uint8*>(AllocVec(1000, MEMF_CLEAR));
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(cleared[i], 0);
    HOST_FailAllocations(1, 1);
    void* const second = AllocVec(8, MEMF_ANY);
    EXPECT_NE(second, nullptr);
    EXPECT_EQ(AllocVec(8, MEMF_ANY), nullptr);
    EXPECT_EQ(HOST_LiveAllocations(), before + 2);
    FreeVec(second);
    FreeVec(cleared);
    FreeVec(nullptr);
    EXPECT_EQ(HOST_LiveAllocations(), before);
}

TEST(Memory, DebugOutputGoesToTheSink) {
    std::string seen;
    HOST_SetDebugSink([](const char* text, void* user) { *static_cast<std::string*>(user) += text; }, &seen);
    DebugPrintF("%s %d\n", "value", 42);
    HOST_SetDebugSink(nullptr, nullptr);
    EXPECT_EQ(seen, "value 42\n");
}

TEST(Timer, RunsForward) {
    TimeVal a, b;
    GetSysTime(&a);
    GetSysTime(&b);
    EXPECT_LT(b.Microseconds, 1000000U);
    EXPECT_GE(b.Seconds * 1000000ULL + b.Microseconds, a.Seconds * 1000000ULL + a.Microseconds);
    EXPECT_GE(a.Seconds, static_cast<uint32>(std::time(nullptr)) - 5);
}

// ---- Layers ----

constexpr int screenWidth = 90, screenHeight = 60;

// Layers whose every pixel is known: what it shows, or that it was lost.
class LayerModel {
public:
    LayerModel() : screen_(makeBitMap(screenWidth, screenHeight, RGBFB_R5G6B5)), info_(NewLayerInfo()) {}
    ~LayerModel() { DisposeLayerInfo(info_); }

    struct Entry {
        Layer* layer;
        std::vector<uint16> pixels; // 0: lost or never drawn
        std::vector<bool> lost;
        OwnBitMap super;
        int width() const { return layer->bounds.MaxX - layer->bounds.MinX + 1; }
        int height() const { return layer->bounds.MaxY - layer->bounds.MinY + 1; }
    };

    std::size_t count() const { return entries_.size(); }
    Entry& entry(std::size_t i) { return *entries_[i]; }

    void create(int x, int y, int w, int h, uint32 kind, bool behind) {
        OwnBitMap super;
        if (kind & LAYERSUPER)
            super = makeBitMap(static_cast<uint32>(w), static_cast<uint32>(h), RGBFB_R5G6B5);
        Layer* const layer = (behind ? CreateBehindLayer : CreateUpfrontLayer)(
            info_, screen_.get(), x, y, x + w - 1, y + h - 1, kind, super.get());
        if (!layer)
            return;
        const auto size = static_cast<std::size_t>(w * h);
        entries_.push_back(std::make_unique<Entry>(
            Entry{layer, std::vector<uint16>(size), std::vector<bool>(size), std::move(super)}));
        loseCovered();
    }
    void destroy(std::size_t i) {
        if (DeleteLayer(0, entries_[i]->layer))
            entries_.erase(entries_.begin() + static_cast<long>(i));
        loseCovered();
    }
    void change(const std::function<void()>& operation) {
        operation();
        loseCovered();
    }
    // Draws a picture over a part of a layer.
    void draw(std::size_t i, int x, int y, int w, int h, std::mt19937& random) {
        Entry& e = *entries_[i];
        const OwnBitMap picture = makeBitMap(static_cast<uint32>(w), static_cast<uint32>(h), RGBFB_R5G6B5);
        const Locked pixels(picture.get());
        for (int py = 0; py < h; ++py)
            for (int px = 0; px < w; ++px) {
                const auto value = static_cast<uint16>(random() | 1);
                std::memcpy(pixels.row(py) + 2 * px, &value, 2);
                const int lx = x + px, ly = y + py;
                if (lx < 0 || ly < 0 || lx >= e.width() || ly >= e.height())
                    continue;
                const auto at = static_cast<std::size_t>(ly * e.width() + lx);
                if (!(e.layer->Flags & LAYERSIMPLE) || topmost(e, lx, ly))
                    e.pixels[at] = value;
            }
        BltBitMapRastPort(picture.get(), 0, 0, e.layer->rp, x, y, w, h, 0xC0);
    }

    // Compares everything that can be read with the model.
    void check() {
        const Locked screen(screen_.get());
        for (int y = 0; y < screenHeight; ++y)
            for (int x = 0; x < screenWidth; ++x) {
                const Entry* const e = at(x, y);
                const uint16 expected =
                    e ? pixel(*e, x - e->layer->bounds.MinX, y - e->layer->bounds.MinY) : 0;
                ASSERT_EQ(read(screen, x, y), expected) << x << ',' << y;
            }
        for (const auto& e : entries_) {
            checkPieces(*e);
            checkDamage(*e);
        }
    }

private:
    static uint16 read(const Locked& bitmap, int x, int y) {
        uint16 value;
        std::memcpy(&value, bitmap.row(y) + 2 * x, 2);
        return value;
    }
    static uint16 pixel(const Entry& e, int x, int y) {
        return e.pixels[static_cast<std::size_t>(y * e.width() + x)];
    }
    const Entry* at(int x, int y) const {
        for (Layer* l = info_->top_layer; l; l = l->back)
            if (x >= l->bounds.MinX && x <= l->bounds.MaxX && y >= l->bounds.MinY && y <= l->bounds.MaxY)
                for (const auto& e : entries_)
                    if (e->layer == l)
                        return e.get();
        return nullptr;
    }
    bool topmost(const Entry& e, int x, int y) const {
        const int sx = x + e.layer->bounds.MinX, sy = y + e.layer->bounds.MinY;
        return sx >= 0 && sy >= 0 && sx < screenWidth && sy < screenHeight && at(sx, sy) == &e;
    }
    void loseCovered() {
        for (const auto& e : entries_)
            for (int y = 0; y < e->height() && e->layer->Flags & LAYERSIMPLE; ++y)
                for (int x = 0; x < e->width(); ++x)
                    if (!topmost(*e, x, y)) {
                        e->pixels[static_cast<std::size_t>(y * e->width() + x)] = 0;
                        e->lost[static_cast<std::size_t>(y * e->width() + x)] = true;
                    }
    }
    void checkPieces(const Entry& e) {
        std::vector<int> covered(e.pixels.size());
        for (const ClipRect* piece = e.layer->ClipRect; piece; piece = piece->Next) {
            const Rectangle& b = piece->bounds;
            ASSERT_TRUE(b.MinX <= b.MaxX && b.MinY <= b.MaxY);
            ASSERT_TRUE(b.MinX >= e.layer->bounds.MinX && b.MaxX <= e.layer->bounds.MaxX &&
                        b.MinY >= e.layer->bounds.MinY && b.MaxY <= e.layer->bounds.MaxY);
            const bool smart = !(e.layer->Flags & (LAYERSIMPLE | LAYERSUPER));
            ASSERT_EQ(piece->BitMap != nullptr, piece->lobs && !(e.layer->Flags & LAYERSIMPLE));
            std::optional<Locked> kept;
            if (piece->BitMap)
                kept.emplace(piece->BitMap);
            for (int y = b.MinY; y <= b.MaxY; ++y)
                for (int x = b.MinX; x <= b.MaxX; ++x) {
                    const int lx = x - e.layer->bounds.MinX, ly = y - e.layer->bounds.MinY;
                    ++covered[static_cast<std::size_t>(ly * e.width() + lx)];
                    ASSERT_EQ(piece->lobs == nullptr, topmost(e, lx, ly)) << x << ',' << y;
                    if (!kept)
                        continue;
                    const uint16 value =
                        smart ? read(*kept, x - b.MinX + (b.MinX & 15), y - b.MinY) : read(*kept, lx, ly);
                    ASSERT_EQ(value, pixel(e, lx, ly)) << x << ',' << y;
                }
        }
        for (const int times : covered)
            ASSERT_EQ(times, 1) << "the pieces fill the layer once";
    }
    // A visible pixel is damaged exactly when it was lost.
    void checkDamage(const Entry& e) {
        std::vector<int> damaged(e.pixels.size());
        for (const RegionRectangle* r = e.layer->DamageList->RegionRectangle; r; r = r->Next)
            for (int y = r->bounds.MinY; y <= r->bounds.MaxY; ++y)
                for (int x = r->bounds.MinX; x <= r->bounds.MaxX; ++x)
                    ++damaged[static_cast<std::size_t>(y * e.width() + x)];
        bool any = false;
        for (int y = 0; y < e.height(); ++y)
            for (int x = 0; x < e.width(); ++x) {
                const auto i = static_cast<std::size_t>(y * e.width() + x);
                any = any || damaged[i];
                ASSERT_LE(damaged[i], 1);
                if (topmost(e, x, y)) {
                    ASSERT_EQ(damaged[i] != 0, static_cast<bool>(e.lost[i])) << x << ',' << y;
                }
            }
        ASSERT_EQ(any, (e.layer->Flags & LAYERREFRESH) != 0);
    }

    OwnBitMap screen_;
    Layer_Info* info_;
    std::vector<std::unique_ptr<Entry>> entries_;
};

TEST(Layers, PicturesSurviveEveryRearrangement) {
    const long before = HOST_LiveAllocations();
    for (uint32 seed = 0; seed < 12; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto within = [&](int low, int high) {
            return std::uniform_int_distribution<int>(low, high)(random);
        };
        LayerModel model;
        for (int step = 0; step < 120; ++step) {
            // Sometimes memory runs out on the way: nothing may change then.
            if (within(0, 4) == 0)
                HOST_FailAllocations(within(0, 12), 1);
            const auto which =
                model.count() ? static_cast<std::size_t>(within(0, static_cast<int>(model.count()) - 1)) : 0;
            const int action = model.count() == 0 ? 0 : within(0, 9);
            if (action == 0 && model.count() < 7) {
                static constexpr uint32 kinds[] = {LAYERSIMPLE, LAYERSMART, LAYERSUPER};
                model.create(within(-20, 80), within(-20, 50), within(1, 60), within(1, 40),
                             kinds[within(0, 2)] | (within(0, 5) ? 0U : LAYERBACKDROP), within(0, 1));
            } else if (action == 1) {
                model.destroy(which);
            } else if (action <= 3) {
                model.change([&] { UpfrontLayer(0, model.entry(which).layer); });
            } else if (action == 4) {
                model.change([&] { BehindLayer(0, model.entry(which).layer); });
            } else if (action <= 6) {
                model.change(
                    [&] { MoveLayer(0, model.entry(which).layer, within(-30, 30), within(-20, 20)); });
            } else {
                HOST_FailAllocations(0, 0);
                model.draw(which, within(-10, 40), within(-10, 30), within(1, 30), within(1, 30), random);
            }
            HOST_FailAllocations(0, 0);
            model.check();
            if (HasFatalFailure())
                FAIL() << "step " << step << " action " << action;
        }
    }
    EXPECT_EQ(HOST_LiveAllocations(), before);
}

TEST(Layers, UpdatesDrawOnlyDamage) {
    const OwnBitMap screen = makeBitMap(40, 40, RGBFB_R5G6B5);
    Layer_Info* const info = NewLayerInfo();
    Layer* const simple = CreateUpfrontLayer(info, screen.get(), 0, 0, 29, 29, LAYERSIMPLE, nullptr);
    EXPECT_FALSE(BeginUpdate(simple));
    EndUpdate(simple, FALSE);
    Layer* const over = CreateUpfrontLayer(info, screen.get(), 10, 10, 19, 19, LAYERSMART, nullptr);
    DeleteLayer(0, over);
    EXPECT_TRUE(BeginUpdate(simple));
    SetRPAttrs(simple->rp, RPTAG_APenColor, 0xFFFFFFFFU, RPTAG_DrMd, JAM1, TAG_DONE);
    RectFill(simple->rp, 0, 0, 29, 29);
    EndUpdate(simple, TRUE);
    EXPECT_EQ(simple->DamageList->RegionRectangle, nullptr);
    const Locked pixels(screen.get());
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x)
            ASSERT_EQ(pixels.row(y)[2 * x], x >= 10 && x < 20 && y >= 10 && y < 20 ? 0xFF : 0);
    DeleteLayer(0, simple);
    DisposeLayerInfo(info);
}

TEST(Layers, ALockExcludesOtherThreads) {
    const OwnBitMap screen = makeBitMap(40, 40, RGBFB_R5G6B5);
    Layer_Info* const info = NewLayerInfo();
    Layer* const layer = CreateUpfrontLayer(info, screen.get(), 0, 0, 29, 29, LAYERSMART, nullptr);
    std::atomic<bool> entered{false}, moved{false};
    LockLayerRom(layer);
    LockLayerRom(layer);
    std::thread locker([&] {
        LockLayerRom(layer);
        entered = true;
        UnlockLayerRom(layer);
    });
    std::thread mover([&] {
        MoveLayer(0, layer, 1, 1);
        moved = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    UnlockLayerRom(layer);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(entered || moved) << "one of two locks is still held";
    EXPECT_EQ(layer->bounds.MinX, 0);
    UnlockLayerRom(layer);
    locker.join();
    mover.join();
    EXPECT_EQ(layer->bounds.MinX, 1);
    DeleteLayer(0, layer);
    DisposeLayerInfo(info);
}

// ---- Screens, windows, input ----

constexpr uint32 allClasses = IDCMP_MOUSEBUTTONS | IDCMP_MOUSEMOVE | IDCMP_CLOSEWINDOW | IDCMP_RAWKEY |
                              IDCMP_ACTIVEWINDOW | IDCMP_INACTIVEWINDOW | IDCMP_CHANGEWINDOW |
                              IDCMP_EXTENDEDMOUSE;
constexpr uint32 usualFlags =
    WFLG_CLOSEGADGET | WFLG_REPORTMOUSE | WFLG_GIMMEZEROZERO | WFLG_ACTIVATE | WFLG_RMBTRAP;

class Windows : public testing::Test {
protected:
    void SetUp() override {
        setenv("SDL_VIDEODRIVER", "dummy", 1);
        setenv("ORMSEL_WORKBENCH_DEPTH", "16", 1);
    }
    void TearDown() override {
        EXPECT_EQ(HOST_LiveAllocations(), before_);
        EXPECT_EQ(SDL_WasInit(SDL_INIT_VIDEO), 0U);
    }

    static void pushKey(SDLKey symbol, bool down) {
        SDL_Event event{};
        event.type = down ? SDL_KEYDOWN : SDL_KEYUP;
        event.key.keysym.sym = symbol;
        SDL_PushEvent(&event);
    }
    static void pushButton(Uint8 button, bool down, Uint16 x, Uint16 y) {
        SDL_Event event{};
        event.button = {
            static_cast<Uint8>(down ? SDL_MOUSEBUTTONDOWN : SDL_MOUSEBUTTONUP), 0, button, 0, x, y};
        SDL_PushEvent(&event);
    }
    static void pushMotion(Uint16 x, Uint16 y) {
        SDL_Event event{};
        event.motion = {SDL_MOUSEMOTION, 0, 0, x, y, 0, 0};
        SDL_PushEvent(&event);
    }

    struct Seen {
        uint32 type;
        uint16 code;
        int16 x, y;
        bool operator==(const Seen&) const = default;
    };
    // All messages that come, and what the wheel's data say in place of the position.
    static std::vector<Seen> drain(Window* window) {
        std::vector<Seen> seen;
        while (Message* const m = GetMsg(window->UserPort)) {
            const auto& message = *reinterpret_cast<IntuiMessage*>(m);
            const Seen now = {message.Class, message.Code, message.MouseX, message.MouseY};
            const auto* const wheel = static_cast<IntuiWheelData*>(message.IAddress);
            EXPECT_EQ(message.IDCMPWindow, window);
            ReplyMsg(m);
            if (now.type == IDCMP_EXTENDEDMOUSE)
                seen.push_back({now.type, now.code, wheel->WheelX, wheel->WheelY});
            else
                seen.push_back(now);
        }
        return seen;
    }

    long before_ = HOST_LiveAllocations();
};

TEST_F(Windows, InputBecomesMessages) {
    Window* const window =
        OpenWindowTags(nullptr, WA_Left, 100, WA_Top, 50, WA_InnerWidth, 320, WA_InnerHeight, 200, WA_Flags,
                       usualFlags, WA_IDCMP, allClasses, TAG_DONE);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(drain(window), (std::vector<Seen>{{IDCMP_ACTIVEWINDOW, 0, 0, 0}}));
    pushButton(SDL_BUTTON_LEFT, true, 10, 20);
    pushMotion(11, 21);
    pushMotion(15, 25);
    pushButton(SDL_BUTTON_LEFT, false, 15, 25);
    pushButton(SDL_BUTTON_RIGHT, true, 1, 2);
    pushButton(SDL_BUTTON_MIDDLE, false, 1, 2);
    pushButton(SDL_BUTTON_WHEELUP, true, 1, 2);
    pushButton(SDL_BUTTON_WHEELUP, false, 1, 2);
    pushButton(SDL_BUTTON_WHEELDOWN, true, 1, 2);
    pushKey(SDLK_ESCAPE, true);
    pushKey(SDLK_ESCAPE, false);
    SDL_Event quit{};
    quit.type = SDL_QUIT;
    SDL_PushEvent(&quit);
    EXPECT_EQ(Wait(1U << window->UserPort->mp_SigBit), 1U << window->UserPort->mp_SigBit);
    EXPECT_EQ(drain(window), (std::vector<Seen>{{IDCMP_MOUSEBUTTONS, 0x68, 10, 20},
                                                {IDCMP_MOUSEMOVE, 0, 15, 25}, // both movements in one
                                                {IDCMP_MOUSEBUTTONS, 0xE8, 15, 25},
                                                {IDCMP_MOUSEBUTTONS, 0x69, 1, 2},
                                                {IDCMP_MOUSEBUTTONS, 0xEA, 1, 2},
                                                {IDCMP_EXTENDEDMOUSE, 0x8000, 0, -1},
                                                {IDCMP_EXTENDEDMOUSE, 0x8000, 0, 1},
                                                {IDCMP_RAWKEY, 69, 1, 2},
                                                {IDCMP_RAWKEY, 197, 1, 2},
                                                {IDCMP_CLOSEWINDOW, 0, 1, 2}}));
    CloseWindow(window);
}

TEST_F(Windows, OnlyWhatWasAskedForIsReported) {
    Window* const window = OpenWindowTags(nullptr, WA_InnerWidth, 320, WA_InnerHeight, 200, WA_Flags, 0,
                                          WA_IDCMP, allClasses & ~IDCMP_RAWKEY, TAG_DONE);
    ASSERT_NE(window, nullptr);
    pushMotion(3, 4);
    pushKey(SDLK_q, true);
    pushButton(SDL_BUTTON_RIGHT, true, 3, 4);
    pushButton(SDL_BUTTON_LEFT, true, 3, 4);
    EXPECT_EQ(drain(window), (std::vector<Seen>{{IDCMP_MOUSEBUTTONS, 0x68, 3, 4}}));
    SDL_Event quit{};
    quit.type = SDL_QUIT;
    SDL_PushEvent(&quit);
    EXPECT_EQ(Wait(SIGBREAKF_CTRL_C), SIGBREAKF_CTRL_C) << "no close gadget: the host's button breaks";
    CloseWindow(window);
}

TEST_F(Windows, AreClampedToTheirScreen) {
    Screen* const screen = LockPubScreen("workBENCH");
    ASSERT_NE(screen, nullptr);
    EXPECT_EQ(LockPubScreen("Workbench2"), nullptr);
    EXPECT_EQ(screen->Width, 1024);
    EXPECT_EQ(screen->Height, 768);
    EXPECT_NE(p96GetBitMapAttr(screen->RastPort.BitMap, P96BMA_ISONBOARD), 0U);
    const struct {
        uint32 left, top, width, height;
        std::vector<int16> bounds;
    } cases[] = {
        {112, 84, 800, 600, {112, 84, 911, 683}},
        {(1024U - 2000) / 2, (768U - 600) / 2, 2000, 600, {0, 84, 1023, 683}},
        {1000, 700, 100, 100, {924, 668, 1023, 767}},
        {static_cast<uint32>(-4), 0, 10, 5000, {0, 0, 9, 767}},
    };
    for (const auto& c : cases) {
        Window* const window = OpenWindowTags(nullptr, WA_Left, c.left, WA_Top, c.top, WA_InnerWidth, c.width,
                                              WA_InnerHeight, c.height, WA_CustomScreen, screen, TAG_DONE);
        ASSERT_NE(window, nullptr);
        const Rectangle& b = window->WLayer->bounds;
        EXPECT_EQ(std::vector({b.MinX, b.MinY, b.MaxX, b.MaxY}), c.bounds);
        CloseWindow(window);
    }
    UnlockPubScreen("Workbench", screen);
}

// What SDL's surface shows, as far as 5 bits tell.
uint32 shownPixel(long x, long y) {
    SDL_Surface* const video = SDL_GetVideoSurface();
    const uint8* const at =
        static_cast<uint8*>(video->pixels) + y * video->pitch + x * video->format->BytesPerPixel;
    uint32 value = 0;
    if (video->format->BytesPerPixel == 2) {
        uint16 v;
        std::memcpy(&v, at, 2);
        value = v;
    } else {
        std::memcpy(&value, at, 4);
    }
    Uint8 r, g, b;
    SDL_GetRGB(value, video->format, &r, &g, &b);
    return static_cast<uint32>((r & 0xF8) << 16 | (g & 0xF8) << 8 | (b & 0xF8));
}

// Whether a pixel comes to be shown; the provider limits how often it shows anything.
bool comesToShow(Window* window, long x, long y, uint32 color) {
    for (int n = 0; n < 2000 && shownPixel(x, y) != color; ++n) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        while (Message* const message = GetMsg(window->UserPort))
            ReplyMsg(message);
    }
    return shownPixel(x, y) == color;
}

TEST_F(Windows, ShowTheirPartOfTheScreen) {
    for (const char* const depth : {"15", "16", "32"}) {
        SCOPED_TRACE(depth);
        setenv("ORMSEL_WORKBENCH_DEPTH", depth, 1);
        Window* const window = OpenWindowTags(nullptr, WA_Left, 100, WA_Top, 50, WA_InnerWidth, 320,
                                              WA_InnerHeight, 200, WA_IDCMP, allClasses, TAG_DONE);
        Window* const second = OpenWindowTags(nullptr, WA_Left, 200, WA_Top, 60, WA_InnerWidth, 400,
                                              WA_InnerHeight, 30, TAG_DONE);
        const auto fill = [](Window* w, uint32 color, int32 x, int32 y) {
            SetRPAttrs(w->RPort, RPTAG_APenColor, color, TAG_DONE);
            RectFill(w->RPort, x, y, 9999, 9999);
        };
        fill(window, 0xFFF80000, 0, 0);
        fill(second, 0xFF00F800, 0, 0);
        EXPECT_TRUE(comesToShow(window, 0, 0, 0xF80000));
        EXPECT_EQ(SDL_GetVideoSurface()->w, 320);
        EXPECT_EQ(shownPixel(319, 199), 0xF80000U);
        EXPECT_EQ(shownPixel(100, 10), 0x00F800U) << "the window in front";
        fill(window, 0xFF0000F8, 317, 198);
        WindowToFront(window);
        EXPECT_TRUE(comesToShow(window, 317, 198, 0x0000F8));
        EXPECT_EQ(shownPixel(316, 198), 0xF80000U);
        EXPECT_EQ(shownPixel(100, 10), 0xF80000U);
        MoveWindow(window, 30, 20);
        EXPECT_EQ(window->LeftEdge, 130);
        fill(window, 0xFF00F8F8, 0, 0);
        EXPECT_TRUE(comesToShow(window, 0, 0, 0x00F8F8));
        CloseWindow(window);
        EXPECT_EQ(SDL_GetVideoSurface()->w, 400) << "the other window follows";
        CloseWindow(second);
    }
}

TEST_F(Windows, FullScreen) {
    const uint32 mode =
        BestModeID(BIDTAG_NominalWidth, 800, BIDTAG_NominalHeight, 600, BIDTAG_Depth, 24, TAG_DONE);
    ASSERT_NE(mode, INVALID_ID);
    EXPECT_EQ(BestModeID(BIDTAG_NominalWidth, 800, BIDTAG_NominalHeight, 600, BIDTAG_Depth, 8, TAG_DONE),
              INVALID_ID);
    EXPECT_EQ(OpenScreenTags(nullptr, SA_DisplayID, INVALID_ID, TAG_DONE), nullptr);
    Screen* const screen =
        OpenScreenTags(nullptr, SA_Title, "Test", SA_Depth, 24, SA_DisplayID, mode, TAG_DONE);
    ASSERT_NE(screen, nullptr);
    EXPECT_EQ(SDL_GetVideoSurface()->w, 800);
    EXPECT_EQ(Locked(screen->RastPort.BitMap).info.RGBFormat, static_cast<uint32>(RGBFB_A8R8G8B8));
    Window* const window = OpenWindowTags(nullptr, WA_InnerWidth, 800, WA_InnerHeight, 600, WA_Flags,
                                          usualFlags | WFLG_BACKDROP | WFLG_BORDERLESS, WA_IDCMP, allClasses,
                                          WA_CustomScreen, screen, TAG_DONE);
    ASSERT_NE(window, nullptr);
    SetRPAttrs(&screen->RastPort, RPTAG_APenColor, 0xFFFFFFFF, RPTAG_DrMd, 0, TAG_DONE);
    RectFill(&screen->RastPort, 0, 0, screen->Width, screen->Height);
    ScreenToFront(screen);
    drain(window);
    pushKey(SDLK_KP_PLUS, true);
    EXPECT_EQ(drain(window), (std::vector<Seen>{{IDCMP_RAWKEY, 94, 0, 0}}));
    EXPECT_TRUE(comesToShow(window, 799, 599, 0xF8F8F8));
    EXPECT_FALSE(CloseScreen(screen)) << "a window is open";
    CloseWindow(window);
    EXPECT_TRUE(CloseScreen(screen));
}

TEST_F(Windows, FailuresLeaveNothingBehind) {
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    for (const char* const driver : {"no such driver", ""}) {
        *driver ? setenv("SDL_VIDEODRIVER", driver, 1) : unsetenv("SDL_VIDEODRIVER");
        Screen* const screen = LockPubScreen("Workbench");
        ASSERT_NE(screen, nullptr);
        EXPECT_EQ(screen->Width, 1024);
        EXPECT_EQ(OpenWindowTags(nullptr, WA_CustomScreen, screen, TAG_DONE), nullptr);
        UnlockPubScreen(nullptr, screen);
        EXPECT_EQ(OpenScreenTags(nullptr, SA_Depth, 16, TAG_DONE), nullptr);
    }

    setenv("SDL_VIDEODRIVER", "dummy", 1);
    const std::function<bool()> attempts[] = {
        [] {
            Window* const w = OpenWindowTags(nullptr, WA_IDCMP, allClasses, WA_Flags, usualFlags, TAG_DONE);
            if (w)
                CloseWindow(w);
            return w != nullptr;
        },
        [] {
            Screen* const s = OpenScreenTags(nullptr, SA_Depth, 32, TAG_DONE);
            return s && CloseScreen(s);
        },
    };
    for (const auto& attempt : attempts) {
        long skip = 0;
        for (bool done = false; !done; ++skip) {
            HOST_FailAllocations(skip, 1);
            done = attempt();
            ASSERT_EQ(HOST_LiveAllocations(), before_) << "after " << skip;
            ASSERT_LT(skip, 50);
        }
        EXPECT_GT(skip, 1) << "there was something to fail";
        HOST_FailAllocations(0, 0);
    }
}

// ---- Keys ----

TEST(Keys, CodesComeFromThePlaceOfTheKey) {
    const struct {
        Uint8 keycode;
        SDLKey symbol;
        bool x11;
        int code;
    } cases[] = {
        {9, SDLK_ESCAPE, true, 69},       {82, SDLK_KP_MINUS, true, 74}, {111, SDLK_UP, true, 76},
        {98, SDLK_UP, true, 76},          {116, SDLK_DOWN, true, 77},    {114, SDLK_RIGHT, true, 78},
        {113, SDLK_LEFT, true, 79},       {86, SDLK_KP_PLUS, true, 94},  {10, SDLK_1, true, 0x01},
        {10, SDLK_AMPERSAND, true, 0x01}, // the French layout's first key
        {24, SDLK_a, true, 0x10},         {29, SDLK_z, true, 0x15},      {52, SDLK_y, true, 0x31},
        {61, SDLK_MINUS, true, 0x3A},     {49, SDLK_CARET, true, 0x00},  {94, SDLK_LESS, true, 0x30},
        {47, SDLK_WORLD_70, true, 0x29},  {65, SDLK_SPACE, true, 0x40},  {0, SDLK_a, false, 0x20},
        {24, SDLK_a, false, 0x20},        {0, SDLK_WORLD_70, false, -1}, {200, SDLK_UNKNOWN, true, -1},
    };
    for (const auto& c : cases) {
        SDL_keysym key{};
        key.scancode = c.keycode;
        key.sym = c.symbol;
        EXPECT_EQ(host::rawKeyCode(key, c.x11).value_or(static_cast<uint16>(0xFFFF)),
                  static_cast<uint16>(c.code))
            << int{c.keycode} << ' ' << c.symbol;
    }
    std::set<uint16> codes;
    for (int keycode = 8; keycode < 97; ++keycode) {
        SDL_keysym key{};
        key.scancode = static_cast<Uint8>(keycode);
        if (const auto code = host::rawKeyCode(key, true)) {
            EXPECT_TRUE(codes.insert(*code).second) << "two keys have code " << *code;
        }
    }
    EXPECT_EQ(codes.size(), 48U);
    EXPECT_EQ(host::qualifiers(KMOD_LSHIFT | KMOD_RCTRL), IEQUALIFIER_LSHIFT | IEQUALIFIER_CONTROL);
}

} // namespace
