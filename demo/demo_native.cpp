// SPDX-License-Identifier: Zlib
#include <algorithm>
#include <cstdio>

#include <devices/timer.h>
#include <dos/dos.h>
#include <graphics/gfx.h>
#include <intuition/intuition.h>
#include <intuition/screens.h>
#include <libraries/Picasso96.h>
#include <proto/Picasso96API.h>
#include <proto/exec.h>
#include <proto/graphics.h>
#include <proto/timer.h>

#include "demo_modes.h"
#include "demo_reports.h"
#include "demo_volume.h"
#include "ormsel/ormsel.h"
#include "ormsel/ormsel_utils.h"

namespace {

constexpr char kDashes[] = "---------------------------------------------------";
constexpr char kBanner[] = "Running korvalen - Amiga native version";

// The minterm of a blit that copies its source as it is.
constexpr uint32 kPlainCopy = 0xC0;

enum RawKey : uint16 {
    kKeyEsc = 69,
    kKeypadMinus = 74,
    kKeyUp = 76,
    kKeyDown = 77,
    kKeyRight = 78,
    kKeyLeft = 79,
    kKeypadPlus = 94,
};

// What is kept of an input message once it has been replied to.
struct Input {
    uint32 messageClass;
    uint16 code;
    uint32 mouseX, mouseY;
    // Steps; 0 unless the message carries wheel data.
    int16 wheel;

    explicit Input(const IntuiMessage& message)
        : messageClass(message.Class), code(message.Code), mouseX(static_cast<uint32>(message.MouseX)),
          mouseY(static_cast<uint32>(message.MouseY)), wheel(0) {
        if (carriesWheel())
            wheel = static_cast<const IntuiWheelData*>(message.IAddress)->WheelY;
    }
    bool carriesWheel() const {
        return messageClass == IDCMP_EXTENDEDMOUSE && code & IMSGCODE_INTUIWHEELDATA;
    }
};

TTF_Font* openFont(const char* path, int points) {
    TTF_Font* font = TTF_OpenFont(volumePath(path).c_str(), points);
    if (!font)
        std::fprintf(stderr, "Could not open '%s' font! ", path);
    return font;
}

// Seconds count as much as milliseconds here: a difference is a time in milliseconds only while the seconds
// do not change.
double readTimer() {
    TimeVal time;
    GetSysTime(&time);
    return time.Seconds + time.Microseconds / 1000.0;
}

class NativeMode {
public:
    NativeMode(ORU_VideoInfo* display, SDL_Surface* backgroundPicture, SDL_Surface* alphaPicture, int depth);
    ~NativeMode();
    NativeMode(const NativeMode&) = delete;
    NativeMode& operator=(const NativeMode&) = delete;

    // Serves input until the user ends the program.
    void run();
    // Blits the alpha picture so many times onto a bitmap like the frame's.
    void repeat(int times) const;

private:
    void allocateBitmaps(uint32 depth);
    void showFirstPicture();

    // These return whether the frame is to be drawn again.
    bool handle(const Input& input);
    bool handleButton(const Input& input);
    bool handleKey(uint16 code);
    bool centreOn(const Input& input);
    bool moveBy(int32 dx, int32 dy);
    bool setAlpha(int value);

    void redraw();

    ORU_VideoInfo* vi_;
    SDL_Surface* background_;
    SDL_Surface* alpha_;
    BitMap* screenBuffer_;
    // Each frame is composed here.
    BitMap* backBuffer_ = nullptr;
    // Holds the background picture.
    BitMap* backGround_ = nullptr;
    TTF_Font* pFont_ = nullptr;
    TTF_Font* pCourier_ = nullptr;
    // Where the alpha picture stands; signed in meaning.
    uint32 px_ = 0, py_ = 0;
    int16 constantAlpha_ = 0;
    // The first message, whatever it is, draws the frame.
    bool refresh_ = true;
    bool buttonDown_ = false;
    bool out_ = false;
};

NativeMode::NativeMode(ORU_VideoInfo* display, SDL_Surface* backgroundPicture, SDL_Surface* alphaPicture,
                       int depth)
    : vi_(display), background_(backgroundPicture), alpha_(alphaPicture),
      screenBuffer_(display->screen->RastPort.BitMap) {
    allocateBitmaps(static_cast<uint32>(depth));
    DebugPrintF("Destintion is in %s\n", p96GetBitMapAttr(backBuffer_, P96BMA_ISONBOARD) ? "vmem" : "sys");
    DebugPrintF("%s\n", kDashes);

    pFont_ = openFont("/fonts/FreeSans.ttf", 18);
    pCourier_ = openFont("/fonts/FreeMono.ttf", 12);
    if (!pFont_ || !pCourier_)
        std::fprintf(stderr, "\nThe fonts are looked for in '%s'\n", volumePath("/fonts").c_str());

    showFirstPicture();

    px_ = (kScreenWidth - static_cast<uint32>(alpha_->w)) / 2;
    py_ = (kScreenHeight - static_cast<uint32>(alpha_->h)) / 2;
    constantAlpha_ = alpha_->format->alpha;
}

NativeMode::~NativeMode() {
    if (backBuffer_ && backBuffer_ != screenBuffer_)
        FreeBitMap(backBuffer_);
    FreeBitMap(backGround_);
    if (pFont_)
        TTF_CloseFont(pFont_);
    if (pCourier_)
        TTF_CloseFont(pCourier_);
}

// Frames are composed in R5G6B5 on every screen; the background is kept in the screen's own format.
void NativeMode::allocateBitmaps(uint32 depth) {
    TagItem ti[7] = {
        {BMATags_RGBFormat, RGBFB_R5G6B5},
        {BMATags_Clear, 1},
        {BMATags_Alignment, 8},
        {BMATags_Displayable, 0},
        {BMATags_NoSprite, 1},
        {BMATags_Depth, depth},
        {TAG_DONE, 0},
    };
    backBuffer_ = AllocBitMap(kScreenWidth, kScreenHeight, depth, BMF_CHECKVALUE, ti);

    RenderInfo ri;
    if (const int32 lock = p96LockBitMap(screenBuffer_, reinterpret_cast<uint8*>(&ri), sizeof ri)) {
        ti[0].ti_Data = ri.RGBFormat;
        p96UnlockBitMap(screenBuffer_, lock);
    }
    backGround_ = AllocBitMap(kScreenWidth, kScreenHeight, depth, BMF_CHECKVALUE, ti);

    if (!backBuffer_)
        backBuffer_ = screenBuffer_;
}

void NativeMode::showFirstPicture() {
    drawImage(background_, backGround_, 0, 0);
    // Once more, over the timing line of the first time.
    SDL_BlitAlphaSurfaceBitMap(background_, 0, 0, backGround_, 0, 0,
                               static_cast<unsigned long>(background_->w),
                               static_cast<unsigned long>(background_->h), 1);
    if (backGround_)
        BltBitMap(backGround_, 0, 0, backBuffer_, 0, 0, kScreenWidth, kScreenHeight, kPlainCopy, 0xFF,
                  nullptr);
    drawImage(alpha_, backBuffer_, 0, 0);
    dumpSurfaceInfoXY("alpha", alpha_, backBuffer_, 3, 25, kWhite, pCourier_);
    if (backBuffer_ != screenBuffer_)
        BltBitMapRastPort(backBuffer_, 0, 0, vi_->window->RPort, 0, 0, kScreenWidth, kScreenHeight,
                          kPlainCopy);
}

void NativeMode::repeat(int times) const {
    if (BitMap* const copy = AllocBitMap(kScreenWidth, kScreenHeight, 16, 0, backBuffer_)) {
        repeatBlit(alpha_, copy, times);
        FreeBitMap(copy);
    }
}

void NativeMode::run() {
    MsgPort* port = vi_->window->UserPort;
    while (!out_) {
        if (Wait(1U << port->mp_SigBit | SIGBREAKF_CTRL_C) & SIGBREAKF_CTRL_C)
            return;
        while (Message* message = out_ ? nullptr : GetMsg(port)) {
            const Input input(*reinterpret_cast<IntuiMessage*>(message));
            ReplyMsg(message);
            if (handle(input) || refresh_)
                redraw();
        }
    }
}

bool NativeMode::handle(const Input& input) {
    switch (input.messageClass) {
    case IDCMP_CLOSEWINDOW:
        out_ = true;
        return false;
    case IDCMP_MOUSEBUTTONS:
        return handleButton(input);
    case IDCMP_MOUSEMOVE:
        return buttonDown_ && centreOn(input);
    case IDCMP_RAWKEY:
        return handleKey(input.code);
    case IDCMP_EXTENDEDMOUSE:
        return input.carriesWheel() && setAlpha(static_cast<int16>(constantAlpha_ + 8 * input.wheel));
    default:
        return false;
    }
}

bool NativeMode::handleButton(const Input& input) {
    if (input.code & IECODE_UP_PREFIX)
        buttonDown_ = false;
    if (input.code != SELECTDOWN)
        return false;
    buttonDown_ = true;
    return centreOn(input);
}

bool NativeMode::handleKey(uint16 code) {
    switch (code) {
    case kKeyEsc:
        out_ = true;
        return false;
    case kKeypadMinus:
        return setAlpha(constantAlpha_ - 1);
    case kKeypadPlus:
        return setAlpha(constantAlpha_ + 1);
    case kKeyUp:
        return moveBy(0, -1);
    case kKeyDown:
        return moveBy(0, 1);
    case kKeyRight:
        return moveBy(1, 0);
    case kKeyLeft:
        return moveBy(-1, 0);
    default:
        // The next frame covers this text again.
        char buffer[256];
        std::snprintf(buffer, sizeof buffer, "Rawkey-Code %d", code);
        drawText(buffer, backBuffer_, 3, 50, kWhite, nullptr);
        DebugPrintF("%s\n", buffer);
        return false;
    }
}

bool NativeMode::centreOn(const Input& input) {
    px_ = input.mouseX - static_cast<uint32>(alpha_->w / 2);
    py_ = input.mouseY - static_cast<uint32>(alpha_->h / 2);
    return true;
}

bool NativeMode::moveBy(int32 dx, int32 dy) {
    px_ += static_cast<uint32>(dx);
    py_ += static_cast<uint32>(dy);
    return true;
}

bool NativeMode::setAlpha(int value) {
    constantAlpha_ = static_cast<int16>(std::clamp(value, 0, 255));
    alpha_->format->alpha = static_cast<Uint8>(constantAlpha_);
    return true;
}

void NativeMode::redraw() {
    char buffer[256];
    const auto x = static_cast<int32>(px_), y = static_cast<int32>(py_);

    refresh_ = false;
    const double start = readTimer();
    BltAlphaBitMap(backGround_, 0, 0, backBuffer_, 0, 0, kScreenWidth, kScreenHeight, 255, 0);
    drawImage(alpha_, backBuffer_, x, y);
    std::snprintf(buffer, sizeof buffer, "Alpha: %d, %dx%d", alpha_->format->alpha, x, y);
    drawText(buffer, backBuffer_, 3, 3, kWhite, pFont_);
    const double tt = readTimer() - start;
    const double fps = (1.0 / tt) * 1000.0;

    std::snprintf(buffer, sizeof buffer, "Total refresh %.2g ms, %.3g frames per sec (without screen update)",
                  tt, fps);
    drawText(buffer, backBuffer_, 3, 25, kWhite, nullptr);
    dumpSurfaceInfoXY("AlphaSurface", alpha_, backBuffer_, 3, 38, kWhite, pCourier_);
    BltAlphaBitMapRastPort(backBuffer_, 0, 0, vi_->window->RPort, 0, 0, kScreenWidth, kScreenHeight, 255,
                           ORMSEL_BLIT_COPY);
}

} // namespace

void runNativeMode(SDL_Surface* background, SDL_Surface* alpha, int depth, bool fullscreen, int repeat) {
    for (const char* line : {kDashes, kBanner, kDashes})
        DebugPrintF("%s\n", line);
    for (const char* line : {kDashes, kBanner, kDashes})
        std::puts(line);

    ORU_VideoInfo* vi =
        ORU_InitVideo(kScreenWidth, kScreenHeight, static_cast<unsigned long>(depth), fullscreen);
    if (!vi)
        return;
    {
        NativeMode mode(vi, background, alpha, depth);
        if (repeat)
            mode.repeat(repeat);
        mode.run();
    }
    ORU_CloseVideo(vi);
}
