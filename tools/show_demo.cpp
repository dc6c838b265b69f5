// SPDX-License-Identifier: Zlib
// Runs Korvalen where there is no display: on a private Xvfb, with a few actions of a user, and keeps a
// picture.
#include <string_view>

#include "x11_driver.h"

namespace {

using namespace std::chrono_literals;

// Follows the program's own reading of its words.
bool runsSdlMode(const x11::Words& command) {
    bool sdl = false;
    for (size_t i = 1; i < command.size(); ++i) {
        if (command[i] == "--depth" || command[i] == "-d")
            ++i;
        else if (command[i] == "--sdl" || command[i] == "-s")
            sdl = true;
    }
    return sdl;
}

// Looks until the screen shows something and has stayed as it is for a while.
x11::Image lookWhenStill(x11::User& user, x11::Program& program) {
    x11::Image last;
    auto since = std::chrono::steady_clock::now();
    x11::waitFor([&] {
        x11::Image now = user.look();
        const bool blank = now.pixels == std::vector<uint32_t>(now.pixels.size(), now.pixels[0]);
        if (blank || now != last) {
            since = std::chrono::steady_clock::now();
            last = std::move(now);
        }
        return program.ended() || std::chrono::steady_clock::now() - since > 700ms;
    });
    return last;
}

// Moves the picture and lets some of the background shine through it.
void play(x11::User& user) {
    user.drag(400, 300, 545, 365);
    user.type(XK_Left, 12);
    user.type(XK_Up, 8);
    user.type(XK_KP_Subtract, 7);
    user.click(4, 3);
}

int run(const std::string& picture, const x11::Words& command) {
    x11::Server server(1024, 768);
    x11::Program program(command, x11::Program::Output::kShared,
                         {{"DISPLAY", server.name()}, {"SDL_VIDEODRIVER", "x11"}, {"WAYLAND_DISPLAY", {}}});
    x11::User user(server.name());
    bool found = false;
    x11::waitFor([&] { return program.ended() || (found = user.find(800, 600)); });
    if (found) {
        user.focus();
        x11::Image shown = lookWhenStill(user, program);
        if (!runsSdlMode(command)) {
            play(user);
            shown = lookWhenStill(user, program);
        }
        user.type(XK_Escape);
        shown.save(picture);
    }
    const int code = program.exitCode();
    if (code < 0) {
        std::fprintf(stderr, "show_demo: %s did not end after Esc\n", command[0].c_str());
        return 1;
    }
    if (found) {
        std::printf("The screen's picture is %s\n", picture.c_str());
        return code;
    }
    std::fprintf(stderr, "show_demo: %s ended without showing a picture\n", command[0].c_str());
    return code ? code : 1;
}

} // namespace

int main(int argc, char** argv) {
    x11::Words words(argv + 1, argv + argc);
    std::string picture = "korvalen.png";
    if (words.size() >= 2 && words[0] == "--picture") {
        picture = words[1];
        words.erase(words.begin(), words.begin() + 2);
    }
    if (words.empty()) {
        std::fprintf(stderr, "usage: show_demo [--picture FILE] PROGRAM [ARGUMENT...]\n");
        return 2;
    }
    try {
        return run(picture, words);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "show_demo: %s\n", problem.what());
        return 1;
    }
}
