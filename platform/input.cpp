// SPDX-License-Identifier: Zlib
// intuition: the host's input on its way to the windows.
#include <proto/exec.h>
#include <proto/timer.h>

#include "guard.h"
#include "intuition.h"

namespace host {

namespace {

InputMessage& spareMessage(WindowRecord& window) {
    if (Message* const replied = takeMessage(window.replies))
        return *reinterpret_cast<InputMessage*>(replied);
    window.messages.push_back(std::make_unique<InputMessage>());
    return *window.messages.back();
}

// The mouse movement that the program has not taken yet, to be brought up to date instead of a new one.
InputMessage* pendingMotion(WindowRecord& window) {
    Message* const last = lastMessage(*window.UserPort);
    if (!last || last->mn_ReplyPort != &window.replies)
        return nullptr;
    auto* const message = reinterpret_cast<InputMessage*>(last);
    return message->Class == IDCMP_MOUSEMOVE ? message : nullptr;
}

void setActive(WindowRecord& window, bool active) {
    if (window.active == active)
        return;
    window.active = active;
    post(window, active ? IDCMP_ACTIVEWINDOW : IDCMP_INACTIVEWINDOW, 0);
}

// The window that is visible at a place of the screen.
WindowRecord* windowAt(const ScreenRecord& screen, long x, long y) {
    for (const LayerRecord* layer : screen.layers.order)
        for (WindowRecord* window : screen.windows)
            if (window->WLayer == layer && (window->box() & Box::sized(x, y, 1, 1)))
                return window;
    return nullptr;
}

void moveMouse(const View& view, const InputEvent& event) {
    const long x = view.area().x0 + event.x;
    const long y = view.area().y0 + event.y;
    for (WindowRecord* window : view.screen()->windows) {
        window->MouseX = static_cast<int16>(x - window->LeftEdge);
        window->MouseY = static_cast<int16>(y - window->TopEdge);
    }
}

void onButton(const View& view, const InputEvent& event) {
    moveMouse(view, event);
    // Among several windows in the host's one a click chooses.
    const ScreenRecord& screen = *view.screen();
    if (event.code == SELECTDOWN && (screen.custom || screen.windows.size() > 1))
        if (WindowRecord* const clicked =
                windowAt(screen, view.area().x0 + event.x, view.area().y0 + event.y))
            activate(*clicked);
    WindowRecord* const window = view.target();
    const bool menuButton = (event.code & ~IECODE_UP_PREFIX) == MENUDOWN;
    if (window && (!menuButton || window->Flags & WFLG_RMBTRAP))
        post(*window, IDCMP_MOUSEBUTTONS, event.code, event);
}

void handle(View& view, const InputEvent& event) {
    using Kind = InputEvent::Kind;
    if (event.kind == Kind::kExposed)
        return view.invalidate();
    if (event.kind == Kind::kButton)
        return onButton(view, event);
    if (event.kind == Kind::kMotion)
        moveMouse(view, event);
    WindowRecord* const window = view.target();
    if (event.kind == Kind::kClose && !(window && window->Flags & WFLG_CLOSEGADGET))
        return raiseBreak();
    if (!window)
        return;
    switch (event.kind) {
    case Kind::kKey:
        return post(*window, IDCMP_RAWKEY, event.code, event);
    case Kind::kMotion:
        if (window->Flags & WFLG_REPORTMOUSE)
            post(*window, IDCMP_MOUSEMOVE, 0, event);
        return;
    case Kind::kWheel:
        return post(*window, IDCMP_EXTENDEDMOUSE, IMSGCODE_INTUIWHEELDATA, event);
    case Kind::kFocus:
        if (!view.screen()->custom)
            setActive(*window, event.code != 0);
        return;
    case Kind::kMoved:
        if (!view.screen()->custom)
            for (WindowRecord* moved : view.screen()->windows)
                post(*moved, IDCMP_CHANGEWINDOW, CWCODE_MOVESIZE, event);
        return;
    case Kind::kClose:
        return post(*window, IDCMP_CLOSEWINDOW, 0, event);
    default:
        return;
    }
}

} // namespace

void post(WindowRecord& window, uint32 messageClass, uint16 code, const InputEvent& event) noexcept {
    if (!(window.IDCMPFlags & messageClass))
        return;
    InputMessage* const pending = messageClass == IDCMP_MOUSEMOVE ? pendingMotion(window) : nullptr;
    InputMessage* const message =
        pending ? pending : orFail<InputMessage*>(nullptr, [&] { return &spareMessage(window); });
    if (!message)
        return;
    TimeVal time;
    GetSysTime(&time);
    message->Class = messageClass;
    message->Code = code;
    message->Qualifier = event.qualifier;
    message->wheel = {1, 0, event.wheelX, event.wheelY};
    message->IAddress = messageClass == IDCMP_EXTENDEDMOUSE ? static_cast<APTR>(&message->wheel) : &window;
    message->MouseX = window.MouseX;
    message->MouseY = window.MouseY;
    message->Seconds = time.Seconds;
    message->Micros = time.Microseconds;
    message->IDCMPWindow = &window;
    message->ExecMessage.mn_ReplyPort = &window.replies;
    message->ExecMessage.mn_Length = sizeof *message;
    if (!pending)
        PutMsg(window.UserPort, &message->ExecMessage);
}

void activate(WindowRecord& window) noexcept {
    for (WindowRecord* other : window.screen().windows)
        if (other != &window)
            setActive(*other, false);
    window.screen().chosen = &window;
    setActive(window, true);
}

DisplayAttention serviceDisplay() noexcept {
    Intuition& shared = intuition();
    if (shared.displayThread.load() != std::this_thread::get_id())
        return {};
    // Before the look at the screen: what is drawn later wakes again.
    if (shared.drawnSeen.exchange(1) == 0)
        shared.drawn.drain();
    InputEvent event;
    while (shared.view.screen() && hostDisplay().next(event))
        handle(shared.view, event);
    const int due = shared.view.present();
    DisplayAttention attention = {hostDisplay().attention(), shared.drawn.descriptor()};
    if (due >= 0)
        attention.host.within(due);
    return attention;
}

} // namespace host
