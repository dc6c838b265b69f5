// SPDX-License-Identifier: Zlib
// intuition: screens, windows, their input, and what the host's display shows of them.
#include <proto/intuition.h>

#include <proto/exec.h>
#include <proto/layers.h>
#include <proto/timer.h>
#include <proto/utility.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bitmap.h"
#include "display.h"
#include "layers.h"
#include "modes.h"
#include "ports.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

/** Pictures are shown no more often than this. */
constexpr std::chrono::milliseconds frameInterval{16};

struct InputMessage : IntuiMessage {
    IntuiWheelData wheel;
};

struct ScreenRecord;

struct WindowRecord : Window {
    std::string title;
    /** Where replied messages come back to; they are used again, the oldest first. */
    MsgPort replies;
    std::vector<std::unique_ptr<InputMessage>> messages;
    bool active = false;

    WindowRecord() : Window{} { initPort(replies, nullptr, 0); }
    ~WindowRecord() { DeleteMsgPort(UserPort); }
    ScreenRecord& screen() const;
    Box box() const { return Box::sized(LeftEdge, TopEdge, Width, Height); }
};

struct ScreenRecord : Screen {
    std::string title;
    BitMapPtr bitmap;
    LayerInfoRecord layers;
    /** The oldest first. */
    std::vector<WindowRecord*> windows;
    bool custom = false;
    /** Of a public screen. */
    long locks = 0;

    ScreenRecord() : Screen{} {}
};

ScreenRecord& WindowRecord::screen() const {
    return *static_cast<ScreenRecord*>(WScreen);
}

ScreenRecord& record(Screen* screen) {
    return *static_cast<ScreenRecord*>(screen);
}
WindowRecord& record(Window* window) {
    return *static_cast<WindowRecord*>(window);
}

/** The connection to the display lasts while there are screens. */
class Connection {
public:
    /** One more screen: connects with the first. */
    void acquire();
    void release();
    bool isMine() const { return users_ > 0 && std::this_thread::get_id() == thread_; }
    Size desktop() const { return desktop_; }

private:
    int users_ = 0;
    Size desktop_ = defaultDesktop;
    std::thread::id thread_;
};

void Connection::acquire() {
    if (users_++ > 0)
        return;
    catchBreak(); // before SDL, which would otherwise take SIGINT for itself
    thread_ = std::this_thread::get_id();
    desktop_ = defaultDesktop;
    hostDisplay().connect(desktop_);
}

void Connection::release() {
    if (--users_ == 0)
        hostDisplay().disconnect();
}

Connection connection;

/** Front to back; the Workbench is among them while it exists. */
std::vector<ScreenRecord*> screens;
ScreenRecord* workbench = nullptr;

// ---- What the host's window shows ----

/** The area of a screen in the host's window, and the pixels last shown there. */
class View {
public:
    /** Makes the host show what is in front, after any change of it. False when it cannot. */
    bool update();
    /** Shows what changed, if it is time. */
    void present();
    /** The host lost what was shown. */
    void invalidate() { shown_.clear(); }
    WindowRecord* target() const;
    ScreenRecord* screen() const { return screen_; }
    const Box& area() const { return area_; }

private:
    Boxes changes();

    ScreenRecord* screen_ = nullptr;
    /** Not set for a whole screen. */
    WindowRecord* window_ = nullptr;
    Box area_;
    std::vector<uint8> shown_;
    uint32 seenChanges_ = 0;
    Clock::time_point lastShown_{};
};

View view;

bool View::update() {
    ScreenRecord* screen = nullptr;
    WindowRecord* window = nullptr;
    if (!screens.empty()) {
        screen = screens.front();
        if (!screen->custom) {
            window = screen->windows.empty() ? nullptr : screen->windows.front();
            screen = window ? screen : nullptr;
        }
    }
    const Box area = window ? window->box() : screen ? screen->bitmap->box() : Box{};
    const bool same = screen == screen_ && window == window_;
    if (same && area == area_)
        return true;
    const bool opened = screen && same && area.width() == area_.width() && area.height() == area_.height();
    screen_ = screen;
    window_ = window;
    area_ = area;
    invalidate();
    if (!screen) {
        hostDisplay().close();
        return true;
    }
    return opened || hostDisplay().open({static_cast<int>(area.width()), static_cast<int>(area.height())},
                                        screen->bitmap->format->depth, screen->custom,
                                        window ? window->title : screen->title);
}

/** The window that input goes to. */
WindowRecord* View::target() const {
    if (window_ || !screen_)
        return window_;
    for (WindowRecord* window : screen_->windows)
        if (window->active)
            return window;
    return nullptr;
}

/** Where the pixels differ from those shown; they count as shown afterwards. */
Boxes View::changes() {
    BitMapRecord& bitmap = *screen_->bitmap;
    const std::size_t rowBytes = static_cast<std::size_t>(area_.width()) * bitmap.format->bytes;
    const std::size_t total = rowBytes * static_cast<std::size_t>(area_.height());
    if (shown_.size() != total) {
        shown_.resize(total);
        for (long y = area_.y0; y < area_.y1; ++y)
            std::memcpy(&shown_[static_cast<std::size_t>(y - area_.y0) * rowBytes], bitmap.at(area_.x0, y),
                        rowBytes);
        return {area_};
    }
    Boxes result;
    for (long y = area_.y0; y < area_.y1; ++y) {
        const uint8* const now = bitmap.at(area_.x0, y);
        uint8* const before = &shown_[static_cast<std::size_t>(y - area_.y0) * rowBytes];
        if (std::memcmp(now, before, rowBytes) == 0)
            continue;
        std::size_t first = 0, end = rowBytes;
        while (now[first] == before[first])
            ++first;
        while (now[end - 1] == before[end - 1])
            --end;
        std::memcpy(before + first, now + first, end - first);
        const long bytes = bitmap.format->bytes;
        const Box row = {area_.x0 + static_cast<long>(first) / bytes, y,
                         area_.x0 + (static_cast<long>(end) + bytes - 1) / bytes, y + 1};
        // Rows that follow one another make one rectangle.
        if (!result.empty() && result.back().y1 == y) {
            Box& last = result.back();
            last = {std::min(last.x0, row.x0), last.y0, std::max(last.x1, row.x1), y + 1};
        } else {
            result.push_back(row);
        }
    }
    return result;
}

void View::present() {
    if (!screen_)
        return;
    const uint32 now = screen_->bitmap->changes;
    const Clock::time_point time = Clock::now();
    if ((now == seenChanges_ && !shown_.empty()) || time - lastShown_ < frameInterval)
        return;
    seenChanges_ = now;
    lastShown_ = time;
    const Boxes areas = changes();
    if (!areas.empty())
        hostDisplay().present(*screen_->bitmap, area_.x0, area_.y0, areas);
}

// ---- Input ----

InputMessage& spareMessage(WindowRecord& window) {
    if (Message* const replied = takeMessage(window.replies))
        return *reinterpret_cast<InputMessage*>(replied);
    window.messages.push_back(std::make_unique<InputMessage>());
    return *window.messages.back();
}

/** The mouse movement that the program has not taken yet, to be brought up to date instead of a new one. */
InputMessage* pendingMotion(WindowRecord& window) {
    Message* const last = lastMessage(*window.UserPort);
    if (!last || last->mn_ReplyPort != &window.replies)
        return nullptr;
    auto* const message = reinterpret_cast<InputMessage*>(last);
    return message->Class == IDCMP_MOUSEMOVE ? message : nullptr;
}

void post(WindowRecord& window, uint32 messageClass, uint16 code, const InputEvent& event = {}) {
    if (!(window.IDCMPFlags & messageClass))
        return;
    InputMessage* const pending = messageClass == IDCMP_MOUSEMOVE ? pendingMotion(window) : nullptr;
    InputMessage& message = pending ? *pending : spareMessage(window);
    TimeVal time;
    GetSysTime(&time);
    message.Class = messageClass;
    message.Code = code;
    message.Qualifier = event.qualifier;
    message.wheel = {1, 0, event.wheelX, event.wheelY};
    message.IAddress = messageClass == IDCMP_EXTENDEDMOUSE ? static_cast<APTR>(&message.wheel) : &window;
    message.MouseX = window.MouseX;
    message.MouseY = window.MouseY;
    message.Seconds = time.Seconds;
    message.Micros = time.Microseconds;
    message.IDCMPWindow = &window;
    message.ExecMessage.mn_ReplyPort = &window.replies;
    message.ExecMessage.mn_Length = sizeof message;
    if (!pending)
        PutMsg(window.UserPort, &message.ExecMessage);
}

void setActive(WindowRecord& window, bool active) {
    if (window.active == active)
        return;
    window.active = active;
    post(window, active ? IDCMP_ACTIVEWINDOW : IDCMP_INACTIVEWINDOW, 0);
}

/** Makes a window the only active one of its screen. */
void activate(WindowRecord& window) {
    for (WindowRecord* other : window.screen().windows)
        if (other != &window)
            setActive(*other, false);
    setActive(window, true);
}

/** The window that is visible at a place of the screen. */
WindowRecord* windowAt(const ScreenRecord& screen, long x, long y) {
    for (const LayerRecord* layer : screen.layers.order)
        for (WindowRecord* window : screen.windows)
            if (window->WLayer == layer && Box::sized(x, y, 1, 1) == (window->box() & Box::sized(x, y, 1, 1)))
                return window;
    return nullptr;
}

void moveMouse(const InputEvent& event) {
    const long x = view.area().x0 + event.x;
    const long y = view.area().y0 + event.y;
    for (WindowRecord* window : view.screen()->windows) {
        window->MouseX = static_cast<int16>(x - window->LeftEdge);
        window->MouseY = static_cast<int16>(y - window->TopEdge);
    }
}

void onButton(const InputEvent& event) {
    moveMouse(event);
    // On a screen of its own a click chooses the window; on the desktop the host does.
    if (event.code == SELECTDOWN && view.screen()->custom)
        if (WindowRecord* const clicked =
                windowAt(*view.screen(), view.area().x0 + event.x, view.area().y0 + event.y))
            activate(*clicked);
    WindowRecord* const window = view.target();
    const bool menuButton = (event.code & ~IECODE_UP_PREFIX) == MENUDOWN;
    if (window && (!menuButton || window->Flags & WFLG_RMBTRAP))
        post(*window, IDCMP_MOUSEBUTTONS, event.code, event);
}

void handle(const InputEvent& event) {
    using Kind = InputEvent::Kind;
    if (event.kind == Kind::Exposed)
        return view.invalidate();
    if (event.kind == Kind::Button)
        return onButton(event);
    if (event.kind == Kind::Motion)
        moveMouse(event);
    WindowRecord* const window = view.target();
    if (event.kind == Kind::Close && !(window && window->Flags & WFLG_CLOSEGADGET))
        return raiseBreak();
    if (!window)
        return;
    switch (event.kind) {
    case Kind::Key:
        return post(*window, IDCMP_RAWKEY, event.code, event);
    case Kind::Motion:
        if (window->Flags & WFLG_REPORTMOUSE)
            post(*window, IDCMP_MOUSEMOVE, 0, event);
        return;
    case Kind::Wheel:
        return post(*window, IDCMP_EXTENDEDMOUSE, IMSGCODE_INTUIWHEELDATA, event);
    case Kind::Focus:
        if (!view.screen()->custom)
            setActive(*window, event.code != 0);
        return;
    case Kind::Close:
        return post(*window, IDCMP_CLOSEWINDOW, 0, event);
    default:
        return;
    }
}

// ---- Screens ----

ScreenRecord* makeScreen(const Mode& mode, const std::string& title, bool custom) {
    BitMapPtr bitmap = makeBitMap(mode.width, mode.height, formatForDepth(mode.depth), true);
    if (!bitmap)
        return nullptr;
    auto screen = std::make_unique<ScreenRecord>();
    bitmap->onBoard = true;
    screen->bitmap = std::move(bitmap);
    screen->title = title;
    screen->custom = custom;
    screen->Width = static_cast<int16>(mode.width);
    screen->Height = static_cast<int16>(mode.height);
    screen->RastPort.BitMap = screen->bitmap.get();
    return screen.release();
}

void destroyScreen(ScreenRecord* screen) {
    std::erase(screens, screen);
    view.update();
    delete screen;
    connection.release();
}

uint32 workbenchDepth() {
    const char* const text = std::getenv("ORMSEL_WORKBENCH_DEPTH");
    const auto depth = text ? static_cast<uint32>(std::strtoul(text, nullptr, 10)) : 0;
    return isScreenDepth(depth) ? depth : 16;
}

/** The Workbench, which opens when it is first needed and closes when nothing uses it. */
ScreenRecord* openWorkbench() {
    if (workbench)
        return workbench;
    connection.acquire();
    const Size size = connection.desktop();
    workbench =
        makeScreen({static_cast<uint32>(size.width), static_cast<uint32>(size.height), workbenchDepth()},
                   "Workbench", false);
    if (workbench)
        screens.push_back(workbench);
    else
        connection.release();
    return workbench;
}

void closeUnusedWorkbench() {
    if (!workbench || workbench->locks > 0 || !workbench->windows.empty())
        return;
    destroyScreen(workbench);
    workbench = nullptr;
}

bool isWorkbenchName(const char* name) {
    static constexpr char expected[] = "workbench";
    if (!name)
        return true;
    std::size_t i = 0;
    while (name[i] && (name[i] | 0x20) == expected[i])
        ++i;
    return !name[i] && !expected[i];
}

/** The mode that the tags of a screen ask for. */
std::optional<Mode> wantedMode(const TagItem* tags) {
    Mode mode = {};
    if (const TagItem* const id = FindTagItem(SA_DisplayID, tags)) {
        const auto found = findMode(static_cast<uint32>(id->ti_Data));
        if (!found)
            return std::nullopt;
        mode = *found;
    } else {
        const Size size = desktopSize();
        mode = {static_cast<uint32>(size.width), static_cast<uint32>(size.height), workbenchDepth()};
    }
    mode.width = static_cast<uint32>(GetTagData(SA_Width, mode.width, tags));
    mode.height = static_cast<uint32>(GetTagData(SA_Height, mode.height, tags));
    mode.depth = static_cast<uint32>(GetTagData(SA_Depth, mode.depth, tags));
    return isScreenDepth(mode.depth) ? std::optional(mode) : std::nullopt;
}

// ---- Windows ----

/** A tag's number, clamped to a range; a huge one counts as the upper end. */
int16 clampedTag(Tag tag, long fallback, long low, long high, const TagItem* tags) {
    const long value = static_cast<int32>(GetTagData(tag, static_cast<TagData>(fallback), tags));
    return static_cast<int16>(std::clamp(value, low, high));
}

uint32 layerFlags(uint32 windowFlags) {
    const uint32 kind = windowFlags & WFLG_SUPER_BITMAP     ? LAYERSUPER
                        : windowFlags & WFLG_SIMPLE_REFRESH ? LAYERSIMPLE
                                                            : LAYERSMART;
    return kind | (windowFlags & WFLG_BACKDROP ? LAYERBACKDROP : 0);
}

std::unique_ptr<WindowRecord> makeWindow(ScreenRecord& screen, const TagItem* tags) {
    auto window = std::make_unique<WindowRecord>();
    window->WScreen = &screen;
    window->Flags = static_cast<uint32>(GetTagData(WA_Flags, 0, tags));
    window->IDCMPFlags = static_cast<uint32>(GetTagData(WA_IDCMP, 0, tags));
    if (const TagItem* const title = FindTagItem(WA_Title, tags); title && title->ti_Data)
        window->title = reinterpret_cast<const char*>(title->ti_Data);
    const Tag widthTag = FindTagItem(WA_InnerWidth, tags) ? WA_InnerWidth : WA_Width;
    const Tag heightTag = FindTagItem(WA_InnerHeight, tags) ? WA_InnerHeight : WA_Height;
    window->Width = clampedTag(widthTag, screen.Width, 1, screen.Width, tags);
    window->Height = clampedTag(heightTag, screen.Height, 1, screen.Height, tags);
    window->LeftEdge = clampedTag(WA_Left, 0, 0, screen.Width - window->Width, tags);
    window->TopEdge = clampedTag(WA_Top, 0, 0, screen.Height - window->Height, tags);
    if (window->IDCMPFlags) {
        window->UserPort = CreateMsgPort();
        if (!window->UserPort)
            return nullptr;
    }
    auto* const super = reinterpret_cast<BitMap*>(GetTagData(WA_SuperBitMap, 0, tags));
    const Box box = window->box();
    window->WLayer = CreateUpfrontLayer(&screen.layers, screen.bitmap.get(), static_cast<int32>(box.x0),
                                        static_cast<int32>(box.y0), static_cast<int32>(box.x1 - 1),
                                        static_cast<int32>(box.y1 - 1), layerFlags(window->Flags), super);
    if (!window->WLayer)
        return nullptr;
    window->RPort = window->WLayer->rp;
    return window;
}

void linkWindows(ScreenRecord& screen) {
    Window* next = nullptr;
    for (WindowRecord* window : screen.windows) {
        window->NextWindow = next;
        next = window;
    }
    screen.FirstWindow = next;
}

/** Takes a window off its screen and frees it. */
void removeWindow(WindowRecord* window) {
    ScreenRecord& screen = window->screen();
    std::erase(screen.windows, window);
    linkWindows(screen);
    // Where memory is too short to uncover what lies behind, the picture stays until the screen closes.
    DeleteLayer(0, window->WLayer);
    view.update();
    delete window;
}

} // namespace

Size desktopSize() {
    connection.acquire();
    const Size size = connection.desktop();
    connection.release();
    return size;
}

void serviceDisplay() {
    if (!connection.isMine())
        return;
    InputEvent event;
    while (view.screen() && hostDisplay().next(event))
        handle(event);
    view.present();
}

} // namespace host

using namespace host;

Screen* OpenScreenTagList(const NewScreen* ns, const TagItem* tags) {
    const auto mode = wantedMode(tags);
    if (ns || !mode)
        return nullptr;
    const auto* const title = reinterpret_cast<const char*>(GetTagData(SA_Title, 0, tags));
    ScreenRecord* const screen = makeScreen(*mode, title ? title : "", true);
    if (!screen)
        return nullptr;
    connection.acquire();
    screens.insert(screens.begin(), screen);
    if (view.update())
        return screen;
    destroyScreen(screen);
    return nullptr;
}

BOOL CloseScreen(Screen* which) {
    ScreenRecord& screen = record(which);
    if (!screen.custom || !screen.windows.empty())
        return FALSE;
    destroyScreen(&screen);
    return TRUE;
}

void ScreenToFront(Screen* which) {
    ScreenRecord* const screen = &record(which);
    std::erase(screens, screen);
    screens.insert(screens.begin(), screen);
    view.update();
}

Screen* LockPubScreen(CONST_STRPTR name) {
    if (!isWorkbenchName(name) || !openWorkbench())
        return nullptr;
    ++workbench->locks;
    return workbench;
}

void UnlockPubScreen(CONST_STRPTR name, Screen* screen) {
    if (!workbench || (screen ? screen != workbench : !isWorkbenchName(name)))
        return;
    --workbench->locks;
    closeUnusedWorkbench();
}

Window* OpenWindowTagList(const NewWindow* nw, const TagItem* tags) {
    if (nw)
        return nullptr;
    auto* const wanted = reinterpret_cast<Screen*>(GetTagData(WA_CustomScreen, 0, tags));
    ScreenRecord* const screen = wanted ? &record(wanted) : openWorkbench();
    if (!screen)
        return nullptr;
    WindowRecord* const window = makeWindow(*screen, tags).release();
    if (window) {
        screen->windows.push_back(window);
        linkWindows(*screen);
    }
    if (!window || !view.update()) {
        if (window)
            removeWindow(window);
        closeUnusedWorkbench();
        return nullptr;
    }
    if (window->Flags & WFLG_ACTIVATE)
        activate(*window);
    return window;
}

void CloseWindow(Window* which) {
    removeWindow(&record(which));
    closeUnusedWorkbench();
}

void WindowToFront(Window* which) {
    WindowRecord& window = record(which);
    if (UpfrontLayer(0, window.WLayer))
        post(window, IDCMP_CHANGEWINDOW, CWCODE_DEPTH);
}

void WindowToBack(Window* which) {
    WindowRecord& window = record(which);
    if (BehindLayer(0, window.WLayer))
        post(window, IDCMP_CHANGEWINDOW, CWCODE_DEPTH);
}

void MoveWindow(Window* which, int32 dx, int32 dy) {
    WindowRecord& window = record(which);
    const Screen& screen = window.screen();
    const auto left =
        static_cast<int16>(std::clamp<long>(window.LeftEdge + long{dx}, 0, screen.Width - window.Width));
    const auto top =
        static_cast<int16>(std::clamp<long>(window.TopEdge + long{dy}, 0, screen.Height - window.Height));
    if (!MoveLayer(0, window.WLayer, left - window.LeftEdge, top - window.TopEdge))
        return;
    window.LeftEdge = left;
    window.TopEdge = top;
    view.update();
    post(window, IDCMP_CHANGEWINDOW, CWCODE_MOVESIZE);
}
