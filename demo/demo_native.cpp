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

constexpr char Dashes[] = "---------------------------------------------------";
constexpr char Banner[] = "Running korvalen - Amiga native version";

constexpr uint32 PlainCopy = 0xC0; // minterm

enum RawKey : uint16 {
    KeyEsc = 69,
    KeypadMinus = 74,
    KeyUp = 76,
    KeyDown = 77,
    KeyRight = 78,
    KeyLeft = 79,
    KeypadPlus = 94,
};

// What is kept of an input message once it has been replied to.
struct Input {
    uint32 IClass;
    uint16 ICode;
    uint32 MouseX, MouseY;
    int16 wheel; // steps; 0 unless the message carries wheel data

    explicit Input(const IntuiMessage& IMsg)
        : IClass(IMsg.Class), ICode(IMsg.Code), MouseX(static_cast<uint32>(IMsg.MouseX)),
          MouseY(static_cast<uint32>(IMsg.MouseY)), wheel(0) {
        if (carriesWheel())
            wheel = static_cast<const IntuiWheelData*>(IMsg.IAddress)->WheelY;
    }
    bool carriesWheel() const { return IClass == IDCMP_EXTENDEDMOUSE && ICode & IMSGCODE_INTUIWHEELDATA; }
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
    TimeVal m_time_val;
    GetSysTime(&m_time_val);
    return m_time_val.Seconds + m_time_val.Microseconds / 1000.0;
}

class NativeMode {
public:
    NativeMode(ORU_VideoInfo* display, SDL_Surface* backgroundPicture, SDL_Surface* alphaPicture, int depth);
    ~NativeMode();
    NativeMode(const NativeMode&) = delete;
    NativeMode& operator=(const NativeMode&) = delete;

    // Serves input until the user ends the program.
    void run();

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

    ORU_VideoInfo* vi;
    SDL_Surface* background;
    SDL_Surface* alpha;
    BitMap* screenBuffer;
    BitMap* backBuffer = nullptr; // each frame is composed here
    BitMap* backGround = nullptr; // holds the background picture
    TTF_Font* pFont = nullptr;
    TTF_Font* pCourier = nullptr;
    uint32 px = 0, py = 0; // where the alpha picture stands; signed in meaning
    int16 constantAlpha = 0;
    bool refresh = true; // the first message, whatever it is, draws the frame
    bool button_down = false;
    bool out = false;
};

NativeMode::NativeMode(ORU_VideoInfo* display, SDL_Surface* backgroundPicture, SDL_Surface* alphaPicture,
                       int depth)
    : vi(display), background(backgroundPicture), alpha(alphaPicture),
      screenBuffer(display->screen->RastPort.BitMap) {
    allocateBitmaps(static_cast<uint32>(depth));
    DebugPrintF("Destintion is in %s\n", p96GetBitMapAttr(backBuffer, P96BMA_ISONBOARD) ? "vmem" : "sys");
    DebugPrintF("%s\n", Dashes);

    pFont = openFont("/fonts/FreeSans.ttf", 18);
    pCourier = openFont("/fonts/FreeMono.ttf", 12);

    showFirstPicture();

    px = (ScreenWidth - static_cast<uint32>(alpha->w)) / 2;
    py = (ScreenHeight - static_cast<uint32>(alpha->h)) / 2;
    constantAlpha = alpha->format->alpha;
}

NativeMode::~NativeMode() {
    if (backBuffer && backBuffer != screenBuffer)
        FreeBitMap(backBuffer);
    FreeBitMap(backGround);
    if (pFont)
        TTF_CloseFont(pFont);
    if (pCourier)
        TTF_CloseFont(pCourier);
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
    backBuffer = AllocBitMap(ScreenWidth, ScreenHeight, depth, BMF_CHECKVALUE, ti);

    RenderInfo ri;
    if (const int32 lock = p96LockBitMap(screenBuffer, reinterpret_cast<uint8*>(&ri), sizeof ri)) {
        ti[0].ti_Data = ri.RGBFormat;
        p96UnlockBitMap(screenBuffer, lock);
    }
    backGround = AllocBitMap(ScreenWidth, ScreenHeight, depth, BMF_CHECKVALUE, ti);

    if (!backBuffer)
        backBuffer = screenBuffer;
}

void NativeMode::showFirstPicture() {
    drawImage(background, backGround, 0, 0);
    // Once more, over the timing line of the first time.
    SDL_BlitAlphaSurfaceBitMap(background, 0, 0, backGround, 0, 0, static_cast<unsigned long>(background->w),
                               static_cast<unsigned long>(background->h), 1);
    if (backGround)
        BltBitMap(backGround, 0, 0, backBuffer, 0, 0, ScreenWidth, ScreenHeight, PlainCopy, 0xFF, nullptr);
    drawImage(alpha, backBuffer, 0, 0);
    dumpSurfaceInfoXY("alpha", alpha, backBuffer, 3, 25, white, pCourier);
    if (backBuffer != screenBuffer)
        BltBitMapRastPort(backBuffer, 0, 0, vi->window->RPort, 0, 0, ScreenWidth, ScreenHeight, PlainCopy);
}

void NativeMode::run() {
    MsgPort* port = vi->window->UserPort;
    while (!out) {
        if (Wait(1U << port->mp_SigBit | SIGBREAKF_CTRL_C) & SIGBREAKF_CTRL_C)
            return;
        while (Message* message = out ? nullptr : GetMsg(port)) {
            const Input input(*reinterpret_cast<IntuiMessage*>(message));
            ReplyMsg(message);
            if (handle(input) || refresh)
                redraw();
        }
    }
}

bool NativeMode::handle(const Input& input) {
    switch (input.IClass) {
    case IDCMP_CLOSEWINDOW:
        out = true;
        return false;
    case IDCMP_MOUSEBUTTONS:
        return handleButton(input);
    case IDCMP_MOUSEMOVE:
        return button_down && centreOn(input);
    case IDCMP_RAWKEY:
        return handleKey(input.ICode);
    case IDCMP_EXTENDEDMOUSE:
        return input.carriesWheel() && setAlpha(static_cast<int16>(constantAlpha + 8 * input.wheel));
    default:
        return false;
    }
}

bool NativeMode::handleButton(const Input& input) {
    if (input.ICode & IECODE_UP_PREFIX)
        button_down = false;
    if (input.ICode != SELECTDOWN)
        return false;
    button_down = true;
    return centreOn(input);
}

bool NativeMode::handleKey(uint16 code) {
    switch (code) {
    case KeyEsc:
        out = true;
        return false;
    case KeypadMinus:
        return setAlpha(constantAlpha - 1);
    case KeypadPlus:
        return setAlpha(constantAlpha + 1);
    case KeyUp:
        return moveBy(0, -1);
    case KeyDown:
        return moveBy(0, 1);
    case KeyRight:
        return moveBy(1, 0);
    case KeyLeft:
        return moveBy(-1, 0);
    default:
        // The next frame covers this text again.
        char buffer[256];
        std::snprintf(buffer, sizeof buffer, "Rawkey-Code %d", code);
        drawText(buffer, backBuffer, 3, 50, white, nullptr);
        DebugPrintF("%s\n", buffer);
        return false;
    }
}

bool NativeMode::centreOn(const Input& input) {
    px = input.MouseX - static_cast<uint32>(alpha->w / 2);
    py = input.MouseY - static_cast<uint32>(alpha->h / 2);
    return true;
}

bool NativeMode::moveBy(int32 dx, int32 dy) {
    px += static_cast<uint32>(dx);
    py += static_cast<uint32>(dy);
    return true;
}

bool NativeMode::setAlpha(int value) {
    constantAlpha = static_cast<int16>(std::clamp(value, 0, 255));
    alpha->format->alpha = static_cast<Uint8>(constantAlpha);
    return true;
}

void NativeMode::redraw() {
    char buffer[256];
    const auto x = static_cast<int32>(px), y = static_cast<int32>(py);

    refresh = false;
    const double start = readTimer();
    BltAlphaBitMap(backGround, 0, 0, backBuffer, 0, 0, ScreenWidth, ScreenHeight, 255, 0);
    drawImage(alpha, backBuffer, x, y);
    std::snprintf(buffer, sizeof buffer, "Alpha: %d, %dx%d", alpha->format->alpha, x, y);
    drawText(buffer, backBuffer, 3, 3, white, pFont);
    const double tt = readTimer() - start;
    const double fps = (1.0 / tt) * 1000.0;

    std::snprintf(buffer, sizeof buffer, "Total refresh %.2g ms, %.3g frames per sec (without screen update)",
                  tt, fps);
    drawText(buffer, backBuffer, 3, 25, white, nullptr);
    dumpSurfaceInfoXY("AlphaSurface", alpha, backBuffer, 3, 38, white, pCourier);
    BltAlphaBitMapRastPort(backBuffer, 0, 0, vi->window->RPort, 0, 0, ScreenWidth, ScreenHeight, 255,
                           ORMSEL_BLIT_COPY);
}

} // namespace

void runNativeMode(SDL_Surface* background, SDL_Surface* alpha, int depth, bool fullscreen) {
    for (const char* line : {Dashes, Banner, Dashes})
        DebugPrintF("%s\n", line);
    for (const char* line : {Dashes, Banner, Dashes})
        std::puts(line);

    ORU_VideoInfo* vi =
        ORU_InitVideo(ScreenWidth, ScreenHeight, static_cast<unsigned long>(depth), fullscreen);
    if (!vi)
        return;
    {
        NativeMode mode(vi, background, alpha, depth);
        mode.run();
    }
    ORU_CloseVideo(vi);
}
