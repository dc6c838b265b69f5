// SPDX-License-Identifier: Zlib
// Drives a program on a private X server as a user would: with real keys, buttons and moves, watching what
// the screen shows. Everything waits for conditions, up to a deadline; failures throw std::runtime_error.
#pragma once

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include "image.h"

namespace x11 {

using namespace std::chrono_literals;
using Duration = std::chrono::milliseconds;

// How long anything may take. Generous: sanitizers and emulators are slow.
inline constexpr Duration kPatience = 60s;

// Polls until `condition` holds. @return whether it did within `patience`
template <typename Condition>
bool waitFor(Condition condition, Duration patience = kPatience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

using Words = std::vector<std::string>;
// Environment variables to set; without a value: to unset.
using Environment = std::vector<std::pair<std::string, std::optional<std::string>>>;

// A running program; killed, if need be, with the object.
class Program {
public:
    enum class Output { kShared, kCaptured };

    Program(const Words& command, Output output, const Environment& environment = {}, int keepOpen = -1) {
        if (output == Output::kCaptured) {
            out_ = std::tmpfile();
            err_ = std::tmpfile();
        }
        std::vector<char*> argv;
        for (const std::string& word : command)
            argv.push_back(const_cast<char*>(word.c_str()));
        argv.push_back(nullptr);
        pid_ = fork();
        if (pid_ < 0)
            throw std::runtime_error("fork failed");
        if (pid_ == 0) {
            for (const auto& [name, value] : environment)
                value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
            // A shell without job control starts background commands with this signal ignored.
            std::signal(SIGINT, SIG_DFL);
            if (out_) {
                dup2(fileno(out_), STDOUT_FILENO);
                dup2(fileno(err_), STDERR_FILENO);
            }
            if (keepOpen >= 0)
                fcntl(keepOpen, F_SETFD, 0);
            execvp(argv[0], argv.data());
            std::perror(argv[0]);
            _exit(127);
        }
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program() {
        if (!ended()) {
            kill(pid_, SIGKILL);
            waitpid(pid_, &status_, 0);
        }
        for (std::FILE* file : {out_, err_})
            if (file)
                std::fclose(file);
    }

    pid_t id() const { return pid_; }
    void signal(int number) {
        if (!ended())
            kill(pid_, number);
    }
    bool ended() {
        if (!ended_)
            ended_ = waitpid(pid_, &status_, WNOHANG) == pid_;
        return ended_;
    }
    // Waits for the end. @return the exit code; 128 + the signal that killed it; -1 if it goes on and on
    int exitCode(Duration patience = kPatience) {
        if (!waitFor([&] { return ended(); }, patience))
            return -1;
        return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
    }
    // What a captured program has written so far.
    std::string out() const { return contents(out_); }
    std::string err() const { return contents(err_); }

private:
    static std::string contents(std::FILE* file) {
        std::string text;
        char part[4096];
        while (const ssize_t got = pread(fileno(file), part, sizeof part, static_cast<off_t>(text.size()))) {
            if (got < 0)
                throw std::runtime_error("cannot read a program's output");
            text.append(part, static_cast<size_t>(got));
        }
        return text;
    }

    pid_t pid_ = -1;
    int status_ = 0;
    bool ended_ = false;
    std::FILE* out_ = nullptr;
    std::FILE* err_ = nullptr;
};

// An Xvfb of its own, with one screen of 24 bits.
class Server {
public:
    Server(int width, int height) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe failed");
        const std::string size = std::to_string(width) + "x" + std::to_string(height) + "x24";
        xvfb_.emplace(Words{"Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", size, "-nolisten",
                            "tcp", "-noreset"},
                      Program::Output::kCaptured, Environment{}, ends[1]);
        close(ends[1]);
        std::string number;
        pollfd ready{ends[0], POLLIN, 0};
        char c;
        while (poll(&ready, 1, static_cast<int>(kPatience.count())) > 0 && read(ends[0], &c, 1) == 1 &&
               c != '\n')
            number += c;
        close(ends[0]);
        if (number.empty())
            throw std::runtime_error("Xvfb does not start (Debian package xvfb)\n" + xvfb_->err());
        name_ = ":" + number;
    }
    const std::string& name() const { return name_; }

private:
    std::optional<Program> xvfb_;
    std::string name_;
};

// A user in front of a server's screen.
class User {
public:
    explicit User(const std::string& serverName) {
        // A window may vanish between being listed and being asked about.
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
        display_ = XOpenDisplay(serverName.c_str());
        if (!display_)
            throw std::runtime_error("cannot open display " + serverName);
    }
    User(const User&) = delete;
    User& operator=(const User&) = delete;
    ~User() { XCloseDisplay(display_); }

    // Looks for a visible window of this size, directly on the screen or inside others, and takes it as the
    // one to work with.
    bool find(int width, int height) {
        width_ = width;
        height_ = height;
        window_ = findBelow(root());
        return window_ != 0;
    }

    // What the screen shows in the window's place.
    Image look() {
        locate();
        Image image{width_, height_, {}};
        XImage* grabbed = XGetImage(display_, root(), left_, top_, static_cast<unsigned>(width_),
                                    static_cast<unsigned>(height_), AllPlanes, ZPixmap);
        if (!grabbed)
            throw std::runtime_error("cannot see the window: it reaches out of the screen");
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x)
                image.pixels.push_back(static_cast<uint32_t>(XGetPixel(grabbed, x, y)) & 0xFFFFFF);
        XDestroyImage(grabbed);
        return image;
    }

    // Gives the window the keyboard, as a click on its title bar would.
    void focus() {
        locate();
        XSetInputFocus(display_, topLevel(), RevertToPointerRoot, CurrentTime);
        XSync(display_, False);
    }
    // A key goes up and down no faster than a hand could do it: SDL takes a press within two milliseconds of
    // the release for a repetition by the keyboard.
    void key(KeySym symbol, bool down) {
        constexpr unsigned long kHandDelay = 8; // milliseconds
        XTestFakeKeyEvent(display_, XKeysymToKeycode(display_, symbol), down, kHandDelay);
        XSync(display_, False);
    }
    void type(KeySym symbol, int times = 1) {
        for (int i = 0; i < 2 * times; ++i)
            key(symbol, i % 2 == 0);
    }
    // Buttons: 1 left, 4 wheel away from the user, 5 wheel towards the user.
    void button(unsigned number, bool down) {
        XTestFakeButtonEvent(display_, number, down, CurrentTime);
        XSync(display_, False);
    }
    void click(unsigned number, int times = 1) {
        for (int i = 0; i < 2 * times; ++i)
            button(number, i % 2 == 0);
    }
    // Moves the pointer to a place in the window.
    void moveTo(int x, int y) {
        locate();
        XTestFakeMotionEvent(display_, -1, left_ + x, top_ + y, CurrentTime);
        XSync(display_, False);
    }
    // Drags with the left button, in a few steps.
    void drag(int x0, int y0, int x1, int y1) {
        moveTo(x0, y0);
        button(1, true);
        for (int step = 1; step <= 8; ++step)
            moveTo(x0 + (x1 - x0) * step / 8, y0 + (y1 - y0) * step / 8);
        button(1, false);
    }
    // Moves the window, as a drag of its title bar would.
    void moveWindow(int x, int y) {
        XMoveWindow(display_, topLevel(), x, y);
        XSync(display_, False);
    }
    // Presses the window's close button: what a window manager sends then.
    void closeWindow() {
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = topLevel();
        event.xclient.message_type = XInternAtom(display_, "WM_PROTOCOLS", False);
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long>(XInternAtom(display_, "WM_DELETE_WINDOW", False));
        XSendEvent(display_, event.xclient.window, False, NoEventMask, &event);
        XSync(display_, False);
    }

private:
    Window root() const { return DefaultRootWindow(display_); }

    // On its way to full screen a window is replaced and moved some time after it has appeared.
    void locate() {
        if (Window now = findBelow(root()))
            window_ = now;
        Window child;
        XTranslateCoordinates(display_, window_, root(), 0, 0, &left_, &top_, &child);
    }

    std::vector<Window> childrenFromTop(Window window, Window* parent = nullptr) {
        Window rootWindow, parentWindow = 0, *list = nullptr;
        unsigned count = 0;
        XQueryTree(display_, window, &rootWindow, &parentWindow, &list, &count);
        std::vector<Window> found;
        while (count > 0)
            found.push_back(list[--count]);
        if (list)
            XFree(list);
        if (parent)
            *parent = parentWindow;
        return found;
    }
    Window findBelow(Window parent) {
        for (Window window : childrenFromTop(parent)) {
            XWindowAttributes is{};
            if (!XGetWindowAttributes(display_, window, &is) || is.map_state != IsViewable)
                continue;
            if (Window inner = findBelow(window))
                return inner;
            if (is.width == width_ && is.height == height_)
                return window;
        }
        return 0;
    }
    Window topLevel() {
        Window window = window_, parent = 0;
        while (childrenFromTop(window, &parent), parent && parent != root())
            window = parent;
        return window;
    }

    Display* display_ = nullptr;
    Window window_ = 0;
    int width_ = 0, height_ = 0, left_ = 0, top_ = 0;
};

} // namespace x11
