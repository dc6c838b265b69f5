// SPDX-License-Identifier: Zlib
// The provider's records of screens and windows, and the one state that all of intuition shares. One thread
// uses it, but for what is said to be any thread's.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <intuition/intuition.h>
#include <intuition/screens.h>

#include "bitmap.h"
#include "display.h"
#include "layers.h"
#include "ports.h"
#include "view.h"
#include "wake.h"

namespace host {

// One more user of the connection to the host's display, which lasts while there are any.
class ConnectionUse {
public:
    ConnectionUse() noexcept;
    ~ConnectionUse();
    ConnectionUse(const ConnectionUse&) = delete;
    ConnectionUse& operator=(const ConnectionUse&) = delete;
};

struct InputMessage : IntuiMessage {
    IntuiWheelData wheel;
};

struct WindowRecord : Window {
    std::string title;
    // Where replied messages come back to; they are used again, the oldest first.
    MsgPort replies;
    std::vector<std::unique_ptr<InputMessage>> messages;
    bool active = false;

    WindowRecord();
    ~WindowRecord();
    ScreenRecord& screen() const;
    Box box() const { return Box::sized(LeftEdge, TopEdge, Width, Height); }
};

struct ScreenRecord : Screen {
    const ConnectionUse connection;
    std::string title;
    BitMapPtr bitmap;
    LayerInfoRecord layers;
    // The oldest first.
    std::vector<WindowRecord*> windows;
    // The window that was activated last.
    WindowRecord* chosen = nullptr;
    bool custom = false;
    // How often the screen is locked as a public one.
    long locks = 0;

    ScreenRecord() : Screen{} {}
};

inline ScreenRecord& WindowRecord::screen() const {
    return *static_cast<ScreenRecord*>(WScreen);
}
inline ScreenRecord& record(Screen* screen) {
    return *static_cast<ScreenRecord*>(screen);
}
inline WindowRecord& record(Window* window) {
    return *static_cast<WindowRecord*>(window);
}

struct Intuition {
    // Users of the connection to the host's display, and the thread that connected; none: the default. Any
    // thread may look whether it is the one.
    int connections = 0;
    std::atomic<std::thread::id> displayThread{};
    // The size of the connected display's desktop.
    Size desktop = kDefaultDesktop;
    // Front to back; the Workbench is among them while it exists.
    std::vector<ScreenRecord*> screens;
    ScreenRecord* workbench = nullptr;
    View view;
    // Readable when another thread has drawn on a screen since the last look at it. Any thread.
    WakePipe drawn;
    std::atomic<bool> drawnSeen{true};
};

Intuition& intuition();

// --- screens.cpp --------------------------------------------------------------------------------------

// The Workbench, which opens when it is first needed and closes when nothing uses it.
ScreenRecord* openWorkbench();
void closeUnusedWorkbench();

// --- input.cpp ----------------------------------------------------------------------------------------

// Sends a message, if the window asked for its class and memory is not short.
void post(WindowRecord& window, uint32 messageClass, uint16 code, const InputEvent& event = {}) noexcept;

// Makes a window the only active one of its screen.
void activate(WindowRecord& window) noexcept;

} // namespace host
