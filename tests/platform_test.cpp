// SPDX-License-Identifier: Zlib
//
// The host provider: tag lists, bitmaps, copies, messages and signals, layers, windows and their input.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <bitset>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <SDL.h>

#include <host/bitmap.h>
#include <host/debug.h>
#include <proto/Picasso96API.h>
#include <proto/exec.h>
#include <proto/graphics.h>
#include <proto/intuition.h>
#include <proto/layers.h>
#include <proto/utility.h>

#include "ormsel/ormsel_utils.h"
#include "platform/keymap.h"
#include "tests/faults.h"

namespace {

// Tests give back whatever they take.
class Platform : public testing::Test {
protected:
    void SetUp() override { setenv("SDL_VIDEODRIVER", "dummy", 1); }
    void TearDown() override {
        EXPECT_EQ(liveAllocations, before);
        EXPECT_EQ(heldBitMapLocks, 0);
        EXPECT_EQ(SDL_WasInit(SDL_INIT_VIDEO), 0U);
    }
    int within(int low, int high) { return std::uniform_int_distribution(low, high)(random); }
    const long before = liveAllocations;
    std::mt19937 random{1};
};

TEST_F(Platform, TagListsAreFollowed) {
    const TagItem rest[] = {{TAG_SKIP, 0}, {TAG_USER, 3}, {TAG_DONE, 0}, {TAG_USER, 9}};
    const auto more = reinterpret_cast<TagData>(rest);
    const TagItem list[] = {{TAG_IGNORE, 9}, {TAG_USER, 1}, {TAG_SKIP, 2},    {TAG_USER, 9},
                            {TAG_DONE, 0},   {TAG_USER, 2}, {TAG_MORE, more}, {TAG_USER, 9}};
    std::vector<TagData> seen;
    for (const TagItem *at = list, *item; (item = NextTagItem(&at));)
        seen.push_back(item->ti_Data);
    EXPECT_EQ(seen, (std::vector<TagData>{1, 2, 3}));
}

// --- Bitmaps and memory ------------------------------------------------------------------------------------

using OwnBitMap = std::shared_ptr<BitMap>;

OwnBitMap makeBitMap(int width, int height, uint32 format, uint32 depth = 0) {
    const TagItem tags[] = {{BMATags_RGBFormat, format}, {BMATags_Clear, TRUE}, {TAG_DONE, 0}};
    const auto w = static_cast<uint32>(width), h = static_cast<uint32>(height);
    return {AllocBitMap(w, h, depth, BMF_CHECKVALUE, tags), FreeBitMap};
}

struct Pixels {
    explicit Pixels(BitMap* bitmap) {
        p96UnlockBitMap(bitmap, p96LockBitMap(bitmap, reinterpret_cast<uint8*>(&info), sizeof info));
    }
    long pitch() const { return static_cast<uint16>(info.BytesPerRow); }
    uint8* row(long y) const { return static_cast<uint8*>(info.Memory) + y * pitch(); }
    uint16& word(long x, long y) const { return reinterpret_cast<uint16*>(row(y))[x]; }
    RenderInfo info{};
};

TEST_F(Platform, BitMapFormatsComeFromDepth) {
    for (const auto& [depth, format] :
         {std::pair{8, RGBFB_CLUT}, {15, RGBFB_R5G5B5}, {16, RGBFB_R5G6B5}, {24, RGBFB_A8R8G8B8}}) {
        const OwnBitMap bm = makeBitMap(8000, 1, RGBFB_NONE, static_cast<uint32>(depth));
        EXPECT_EQ(Pixels(bm.get()).info.RGBFormat, static_cast<uint32>(format));
    }
    ASSERT_FALSE(makeBitMap(8192, 1, RGBFB_A8R8G8B8) || makeBitMap(1, 32768, RGBFB_CLUT) ||
                 HOST_WrapBitMap(nullptr, 1, 1, 32768, RGBFB_CLUT, FALSE));
}

TEST_F(Platform, MemoryIsClearedAndLocksNeedRoom) {
    const OwnBitMap bm = makeBitMap(4, 4, RGBFB_R5G6B5);
    RenderInfo info;
    EXPECT_EQ(p96LockBitMap(bm.get(), reinterpret_cast<uint8*>(&info), sizeof info - 1), 0);
    auto* const memory = static_cast<uint8*>(AllocVec(1000, MEMF_CLEAR));
    EXPECT_EQ(std::count(memory, memory + 1000, 0), 1000);
    FreeVec(memory);
}

TEST_F(Platform, DebugOutputComesInOnePieceAndIsCut) {
    std::vector<std::string> said;
    HOST_SetDebugSink(
        [](const char* text, void* all) { static_cast<std::vector<std::string>*>(all)->emplace_back(text); },
        &said);
    DebugPrintF("%d %s\n", 12, "words");
    DebugPrintF("%1023s", "x");
    DebugPrintF("%1024s", "x");
    HOST_SetDebugSink(nullptr, nullptr);
    EXPECT_EQ(said, (std::vector<std::string>{"12 words\n", std::string(1022, ' ') + 'x',
                                              std::string(1019, ' ') + "...\n"}));
}

std::vector<std::pair<int, int>> points(const Rectangle& r) {
    std::vector<std::pair<int, int>> all;
    for (int y = r.MinY; y <= r.MaxY; ++y)
        for (int x = r.MinX; x <= r.MaxX; ++x)
            all.emplace_back(x, y);
    return all;
}
bool contains(const Rectangle& r, long x, long y) {
    return x >= r.MinX && x <= r.MaxX && y >= r.MinY && y <= r.MaxY;
}

// A format's name with each letter as often as its channel has bits, the most significant first.
std::string layoutOf(const std::string& name) {
    std::string result;
    for (std::size_t i = 0; i < name.size(); i += 2)
        result.append(static_cast<std::size_t>(name[i + 1] - '0'), name[i]);
    return result;
}
// From RGBFB_R8G8B8 on. P: the bytes are swapped.
const char* const kFormats[] = {"R8G8B8",   "B8G8R8",   "R5G6B5P1", "A1R5G5B5P1", "A8R8G8B8", "A8B8G8R8",
                                "R8G8B8A8", "B8G8R8A8", "R5G6B5",   "A1R5G5B5",   "B5G6R5P1", "A1B5G5R5P1"};

std::string bitsAt(const std::string& format, const uint8* at) {
    const bool bigEndian = (std::endian::native == std::endian::big) != (format.back() == 'P');
    std::string bits;
    for (std::size_t i = 0, bytes = format.size() / 8; i < bytes; ++i)
        bits += std::bitset<8>(at[bigEndian ? i : bytes - 1 - i]).to_string();
    return bits;
}

// A channel gets more bits by having its own over again; a missing alpha is all ones.
std::string converted(const std::string& from, const std::string& bits, const std::string& to) {
    std::string result;
    for (std::size_t i = 0; i < to.size() / 8 * 8; ++i) {
        const auto width = static_cast<std::size_t>(std::count(from.begin(), from.end(), to[i]));
        result += width ? bits[from.find(to[i]) + (i - to.find(to[i])) % width] : '1';
    }
    return result;
}

TEST_F(Platform, CopiesConvertClipAndOverlap) {
    constexpr Rectangle kWhole = {0, 0, 12, 8};
    for (uint32 n = 0; n < 20 * 144; ++n) {
        const uint32 f = n % 12, t = n / 12 % 12;
        const std::string from = layoutOf(kFormats[f]), to = layoutOf(kFormats[t]);
        const OwnBitMap src = makeBitMap(13, 9, RGBFB_R8G8B8 + f),
                        other = makeBitMap(13, 9, RGBFB_R8G8B8 + t);
        BitMap* const dst = f == t && within(0, 3) ? src.get() : other.get();
        const Pixels s(src.get()), d(dst);
        std::generate(s.row(0), s.row(9), std::ref(random));
        std::generate(d.row(0), d.row(9), std::ref(random));
        const std::vector<uint8> oldSrc(s.row(0), s.row(9)), oldDst(d.row(0), d.row(9));
        const int sx = within(-5, 15), sy = within(-5, 11), dx = within(-5, 15), dy = within(-5, 11);
        const int w = within(-2, 16), h = within(-2, 12);
        BltBitMap(src.get(), sx, sy, dst, dx, dy, w, h, 0xC0, 0xFF, nullptr);
        for (const auto& [x, y] : points(kWhole)) {
            const long fromX = x - dx + sx, fromY = y - dy + sy;
            const long fromAt = fromY * s.pitch() + fromX * (std::ssize(from) / 8),
                       at = y * d.pitch() + x * (std::ssize(to) / 8);
            std::string expected = bitsAt(to, &oldDst.data()[at]);
            if (x >= dx && y >= dy && x < dx + w && y < dy + h && contains(kWhole, fromX, fromY))
                expected = converted(from, bitsAt(from, &oldSrc.data()[fromAt]), to);
            ASSERT_EQ(bitsAt(to, d.row(0) + at), expected) << from << ' ' << to << ' ' << x << ',' << y;
        }
    }
}

// --- Messages and signals ----------------------------------------------------------------------------------

TEST_F(Platform, MessagesAndSignals) {
    std::vector<MsgPort*> ports;
    while (MsgPort* const next = CreateMsgPort())
        ports.push_back(next);
    ASSERT_EQ(ports.size(), 16U) << "the signals have run out";
    MsgPort *const port = ports[0], *const replies = ports[1];
    const uint32 bit = 1U << port->mp_SigBit, replyBit = 1U << replies->mp_SigBit;
    Message messages[3] = {};
    messages[0].mn_ReplyPort = messages[1].mn_ReplyPort = replies;
    for (Message& m : messages)
        PutMsg(port, &m);
    EXPECT_EQ(Wait(bit | replyBit | SIGBREAKF_CTRL_C), bit);
    while (Message* const message = GetMsg(port))
        ReplyMsg(message);
    PutMsg(port, &messages[2]);
    EXPECT_TRUE(Wait(bit) == bit && GetMsg(port) == &messages[2]);
    EXPECT_EQ(Wait(bit | replyBit), replyBit) << "others' signals stay, and the port's own is taken";
    EXPECT_TRUE(GetMsg(replies) == &messages[0] && GetMsg(replies) == &messages[1]);
    for (int n = 0; n < 2; ++n) {
        std::raise(SIGINT);
        EXPECT_EQ(Wait(SIGBREAKF_CTRL_C | bit), SIGBREAKF_CTRL_C);
    }
    const auto sent = std::async(std::launch::async, [&] { PutMsg(port, &messages[2]); });
    EXPECT_TRUE(Wait(SIGBREAKF_CTRL_C | bit) == bit && GetMsg(port) == &messages[2]);
    PutMsg(port, &messages[2]);
    DeleteMsgPort(port);
    ports[0] = CreateMsgPort();
    ASSERT_EQ(1U << ports[0]->mp_SigBit, bit) << "the one that is free";
    std::raise(SIGINT);
    EXPECT_EQ(Wait(SIGBREAKF_CTRL_C | bit), SIGBREAKF_CTRL_C) << "what the old port got is gone";
    std::for_each(ports.begin(), ports.end(), DeleteMsgPort);
}

// --- Screens, windows, input -------------------------------------------------------------------------------

TEST_F(Platform, InputBecomesTheMessagesAskedFor) {
    const struct {
        Uint8 type;
        int what;
        Uint16 x, y;
        std::array<int64_t, 4> message; // class, code, x, y; y: what the wheel did
    } input[] = {
        {SDL_MOUSEBUTTONDOWN, SDL_BUTTON_LEFT, 10, 20, {IDCMP_MOUSEBUTTONS, 0x68, 10, 20}},
        {SDL_MOUSEMOTION, 0, 11, 21, {}}, // the next one brings it up to date
        {SDL_MOUSEMOTION, 0, 15, 25, {IDCMP_MOUSEMOVE, 0, 15, 25}},
        {SDL_MOUSEBUTTONUP, SDL_BUTTON_LEFT, 15, 25, {IDCMP_MOUSEBUTTONS, 0xE8, 15, 25}},
        {SDL_MOUSEBUTTONDOWN, SDL_BUTTON_RIGHT, 1, 2, {IDCMP_MOUSEBUTTONS, 0x69, 1, 2}},
        {SDL_MOUSEBUTTONUP, SDL_BUTTON_MIDDLE, 1, 2, {IDCMP_MOUSEBUTTONS, 0xEA, 1, 2}},
        {SDL_MOUSEBUTTONDOWN, SDL_BUTTON_WHEELUP, 1, 2, {IDCMP_EXTENDEDMOUSE, 0x8000, 1, -1}},
        {SDL_MOUSEBUTTONUP, SDL_BUTTON_WHEELUP, 1, 2, {}},
        {SDL_MOUSEBUTTONDOWN, SDL_BUTTON_WHEELDOWN, 1, 2, {IDCMP_EXTENDEDMOUSE, 0x8000, 1, 1}},
        {SDL_KEYDOWN, SDLK_ESCAPE, 0, 0, {IDCMP_RAWKEY, 69, 1, 2}},
        {SDL_KEYUP, SDLK_ESCAPE, 0, 0, {IDCMP_RAWKEY, 197, 1, 2}},
        {SDL_QUIT, 0, 0, 0, {IDCMP_CLOSEWINDOW, 0, 1, 2}},
    };
    for (const auto flags : {WFLG_CLOSEGADGET | WFLG_REPORTMOUSE | WFLG_RMBTRAP, 0UL}) {
        const uint32 classes = flags ? ~0U : IDCMP_MOUSEBUTTONS | IDCMP_MOUSEMOVE | IDCMP_CLOSEWINDOW;
        Window* const window = OpenWindowTags(nullptr, WA_Width, 320, WA_Height, 200, WA_Flags, flags,
                                              WA_IDCMP, classes, TAG_DONE);
        ASSERT_NE(window, nullptr);
        std::vector<std::array<int64_t, 4>> expected, got;
        for (const auto& [type, what, x, y, message] : input) {
            SDL_Event event{};
            event.button = {type, 0, static_cast<Uint8>(what), 0, x, y}; // a motion has its place there too
            if (type == SDL_KEYDOWN || type == SDL_KEYUP)
                event.key.keysym.sym = static_cast<SDLKey>(what);
            SDL_PushEvent(&event);
            if (message[0] && (flags || (message[0] == IDCMP_MOUSEBUTTONS && what != SDL_BUTTON_RIGHT)))
                expected.push_back(message);
        }
        const uint32 signal = flags ? 1U << window->UserPort->mp_SigBit : uint32{SIGBREAKF_CTRL_C};
        EXPECT_EQ(Wait(signal), signal) << "without a close gadget the host's button breaks";
        while (auto* const m = reinterpret_cast<IntuiMessage*>(GetMsg(window->UserPort))) {
            got.push_back({m->Class, m->Code, m->MouseX, m->MouseY});
            if (m->Class == IDCMP_EXTENDEDMOUSE)
                got.back()[3] = static_cast<IntuiWheelData*>(m->IAddress)->WheelY;
            ReplyMsg(&m->ExecMessage);
        }
        EXPECT_EQ(got, expected);
        CloseWindow(window);
    }
    EXPECT_EQ(host::rawKeyCode({10, SDLK_AMPERSAND, KMOD_NONE, 0}, true), 1) << "the key of 1 and !";
    EXPECT_EQ(host::rawKeyCode({24, SDLK_a, KMOD_NONE, 0}, false), 0x20) << "only X has keycodes";
}

TEST_F(Platform, WhatTheHostLostIsShownAgain) {
    Window* const window =
        OpenWindowTags(nullptr, WA_Width, 40, WA_Height, 30, WA_IDCMP, IDCMP_RAWKEY, TAG_DONE);
    ASSERT_NE(window, nullptr);
    SetRPAttrs(window->RPort, RPTAG_APenColor, 0xFFFFFFFF, TAG_DONE);
    RectFill(window->RPort, 0, 0, 39, 29);
    const auto shows = [&](Uint16 pixel) {
        for (int looks = 0; looks < 2000; ++looks) {
            GetMsg(window->UserPort);
            const SDL_Surface* const host = SDL_GetVideoSurface();
            if (static_cast<const Uint16*>(host->pixels)[39] == pixel)
                return true;
            SDL_Delay(1);
        }
        return false;
    };
    EXPECT_TRUE(shows(0xFFFF));
    SDL_FillRect(SDL_GetVideoSurface(), nullptr, 0x1234);
    SDL_Event exposure{};
    exposure.type = SDL_VIDEOEXPOSE;
    SDL_PushEvent(&exposure);
    EXPECT_TRUE(shows(0xFFFF));
    CloseWindow(window);
}

TEST_F(Platform, ScreensAndWindowsOpenClampedAndClose) {
    Screen* const desktop = LockPubScreen("workBENCH");
    Screen* const own = OpenScreenTags(nullptr, SA_Width, 800, SA_Height, 600, SA_Depth, 24, TAG_DONE);
    ASSERT_TRUE(desktop && own && !LockPubScreen("Workbench2"));
    using Bounds = std::vector<int16>;
    const OwnBitMap super = makeBitMap(10, 600, RGBFB_A8R8G8B8);
    for (const auto& [screen, left, top, width, height, bounds, flags, kind] :
         {std::tuple{desktop, 112, 84, 800, 600, Bounds{112, 84, 911, 683}, WFLG_SIMPLE_REFRESH, LAYERSIMPLE},
          {desktop, -488, 700, 2000, 100, {0, 668, 1023, 767}, WFLG_SMART_REFRESH, LAYERSMART},
          {own, -4, 0, 10, 5000, {0, 0, 9, 599}, WFLG_SUPER_BITMAP, LAYERSUPER}}) {
        BitMap* const given = kind == LAYERSUPER ? super.get() : nullptr;
        Window* const window =
            OpenWindowTags(nullptr, WA_Left, left, WA_Top, top, WA_InnerWidth, width, WA_InnerHeight, height,
                           WA_Flags, flags, WA_SuperBitMap, given, WA_CustomScreen, screen, TAG_DONE);
        ASSERT_NE(window, nullptr);
        const Rectangle& b = window->WLayer->bounds;
        EXPECT_EQ((Bounds{b.MinX, b.MinY, b.MaxX, b.MaxY}), bounds);
        EXPECT_EQ(window->WLayer->Flags & (LAYERSIMPLE | LAYERSMART | LAYERSUPER), kind);
        EXPECT_EQ(window->WLayer->SuperBitMap, given);
        MoveWindow(window, -5000, 5000);
        EXPECT_EQ(std::pair(b.MinX, b.MaxY), std::pair(int16{0}, static_cast<int16>(screen->Height - 1)));
        EXPECT_FALSE(CloseScreen(screen)) << "a window is open";
        CloseWindow(window);
    }
    EXPECT_TRUE(CloseScreen(own));
    for (const auto& [width, height, depth, flags] :
         {std::tuple{800, 600, 16, 1}, {800, 600, 32, 1}, {800, 600, 16, 2}, {5000, 4000, 16, 0}}) {
        ORU_VideoInfo* const video =
            ORU_InitVideo(static_cast<unsigned>(width), static_cast<unsigned>(height),
                          static_cast<unsigned>(depth), static_cast<unsigned>(flags));
        ASSERT_TRUE(video);
        const auto& [screen, window, fullscreen] = *video;
        EXPECT_EQ(fullscreen != FALSE, flags == 1) << "only the lowest bit means full screen";
        EXPECT_EQ(window->Width, width > 800 ? screen->Width : 800);
        EXPECT_EQ(window->Height, height > 600 ? screen->Height : 600);
        EXPECT_EQ(window->LeftEdge, (screen->Width - window->Width) / 2);
        EXPECT_EQ(window->TopEdge, (screen->Height - window->Height) / 2);
        const uint32 bits = p96GetBitMapAttr(screen->RastPort.BitMap, P96BMA_DEPTH);
        EXPECT_TRUE(!fullscreen || (bits == 16) == (depth == 16)) << bits;
        ORU_CloseVideo(video);
    }
    ORU_CloseVideo(nullptr);
    UnlockPubScreen("Workbench", desktop);
    setenv("SDL_VIDEODRIVER", "no such driver", 1);
    EXPECT_FALSE(OpenWindowTags(nullptr, WA_IDCMP, ~0U, TAG_DONE) || OpenScreenTags(nullptr, TAG_DONE));
}

} // namespace
