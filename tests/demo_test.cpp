// SPDX-License-Identifier: Zlib
// Korvalen from end to end, on a private X server: what the screen shows, what the program says, how it ends.
// What the screen must show is computed here pixel by pixel from the PNG files and the fonts.
// CTest sets KORVALEN_PROGRAM and KORVALEN_VOLUME.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include <SDL_ttf.h>
#include <gtest/gtest.h>

#include "tools/x11_driver.h"

namespace {

namespace fs = std::filesystem;
using x11::Image, x11::Program, x11::Words;

constexpr x11::Duration kPatience = std::chrono::minutes(2);

const std::string& display() {
    static const x11::Server xvfb(1024, 768);
    return xvfb.name();
}

std::string volume(const std::string& file = "") {
    return std::getenv("KORVALEN_VOLUME") + file;
}

class Korvalen : public Program {
public:
    explicit Korvalen(Words words, const std::string& driver = "x11", const std::string& folder = volume(),
                      const char* workbenchDepth = "32")
        : Program((words.insert(words.begin(), std::getenv("KORVALEN_PROGRAM")), words), Output::kCaptured,
                  {{"DISPLAY", driver.empty() ? std::nullopt : std::optional(display())},
                   {"SDL_VIDEODRIVER", driver.empty() ? std::nullopt : std::optional(driver)},
                   {"KORVALEN_VOLUME", folder},
                   // Without what it would say about them on standard error.
                   {"LSAN_OPTIONS", "print_suppressions=0:suppressions=\"" ORMSEL_LEAKS_FILE "\""},
                   {"ORMSEL_WORKBENCH_DEPTH", workbenchDepth}}) {}

    // Waits until the condition holds. @return whether it does, unless the program ended before
    bool waitUntil(const std::function<bool()>& condition) {
        return x11::waitFor([&] { return condition() || ended(); }, kPatience) && condition();
    }
    // Whether it wakes up but a few times while nothing happens: looking every 20 milliseconds would do it
    // more often.
    bool sleeps() {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        const long before = timesAsleep();
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        return timesAsleep() - before < 10;
    }
    bool says(const std::string& text) {
        return waitUntil([&] { return (out() + err()).find(text) != std::string::npos; });
    }

private:
    long timesAsleep() const {
        std::ifstream status("/proc/" + std::to_string(id()) + "/status");
        const std::string name = "voluntary_ctxt_switches:";
        for (std::string line; std::getline(status, line);)
            if (line.starts_with(name))
                return std::stol(line.substr(name.size()));
        throw std::runtime_error("no such program");
    }
};

// A frame in the making: each channel in the upper bits of its byte.
struct Frame : Image {
    int depth;

    void blend(const Image& picture, int x0, int y0, int constantAlpha) {
        for (int y = std::max(0, -y0); y < std::min(picture.height, height - y0); ++y)
            for (int x = std::max(0, -x0); x < std::min(picture.width, width - x0); ++x)
                blendPixel(picture.at(x, y), at(x0 + x, y0 + y), constantAlpha);
    }
    void blendPixel(uint32_t source, uint32_t& pixel, int c) const {
        const int alpha = static_cast<int>(source >> 24);
        // On 16 bits 31 means all; on 32 bits 255 never comes up.
        const int a = depth != 16 ? alpha * c / 256 : c / 8 == 31 ? alpha / 8 : alpha * c / 2048;
        for (const auto& [shift, lostOn16] : {std::pair{16, 3}, {8, 2}, {0, 3}}) {
            const int lost = depth == 16 ? lostOn16 : 0;
            const int s = static_cast<int>(source >> shift & 255) >> lost;
            const int d = static_cast<int>(pixel >> shift & 255) >> lost;
            const int mixed = depth != 16 ? d + ((s - d) * a >> 8) : a == 31 ? s : d + ((s - d) * a >> 5);
            pixel = (pixel & ~(255U << shift)) | static_cast<uint32_t>(mixed << lost) << shift;
        }
    }
};

const std::string kStars(60, '*');
const std::string kShift = "Shift: a[      24] r[      16] g[       8] b[       0]";
const std::string kMask = "Mask:  a[ff000000] r[00ff0000] g[0000ff00] b[000000ff]";
const std::string kLoss = "Loss:  a[       0] r[       0] g[       0] b[       0]";

constexpr uint32_t kUnknown = 0xFF000000; // in a frame

// Both pictures.
Frame frameOf(int depth, int x, int y, int alpha) {
    static const Image background = Image::load(volume("/pictures/blue.png"));
    static const Image alphaPicture = Image::load(volume("/pictures/alpha.png"));
    Frame frame{{800, 600, std::vector<uint32_t>(800 * 600)}, depth};
    frame.blend(background, 0, 0, 255);
    frame.blend(alphaPicture, x, y, alpha);
    return frame;
}

// The native mode's frame.
Frame nativeFrame(int x, int y, int alpha) {
    static TTF_Font* const sans = (TTF_Init(), TTF_OpenFont(volume("/fonts/FreeSans.ttf").c_str(), 18));
    static TTF_Font* const mono = TTF_OpenFont(volume("/fonts/FreeMono.ttf").c_str(), 12);
    Frame frame = frameOf(16, x, y, alpha);
    const auto write = [&](const std::string& text, TTF_Font* font, Uint8 grey, int left, int top) {
        SDL_Surface* line = TTF_RenderText_Blended(font, text.c_str(), {grey, grey, grey, 0});
        const auto* pixels = static_cast<const uint32_t*>(line->pixels); // alpha, red, green, blue
        frame.blend({line->w, line->h, {pixels, pixels + line->w * line->h}}, left, top, 255);
        SDL_FreeSurface(line);
    };
    const std::string value = std::to_string(alpha);
    write("Alpha: " + value + ", " + std::to_string(x) + "x" + std::to_string(y), sans, 255, 3, 3);
    const std::string name = "Surface 'AlphaSurface': depth = 32, bpp = 4, blend = ON value = " + value;
    for (int top = 38; const std::string& line : {kStars, name, kShift, kMask, kLoss, kStars}) {
        write(line, mono, 0, 4, top + 1);
        write(line, mono, 255, 3, top);
        top += 13;
    }
    for (const auto& [first, last] : {std::pair{25, 43}, {580, 600}}) // two lines with timings
        std::fill(frame.pixels.begin() + 800 * first, frame.pixels.begin() + 800 * last, kUnknown);
    return frame;
}

// Each channel widened by its own upper bits, as a 24-bit display shows a 16-bit screen: white stays white.
uint32_t widened(uint32_t pixel) {
    return (pixel & 0xF8FCF8) | (pixel >> 5 & 0x070007) | (pixel >> 6 & 0x000300);
}

// Waits until the user sees this frame, on a screen whose pixels the provider widens or not.
bool sees(x11::User& user, Korvalen& korvalen, const Frame& frame, bool widens = false) {
    const auto same = [&](uint32_t is, uint32_t shall) {
        return shall == kUnknown || is == (widens ? widened(shall) : shall);
    };
    return korvalen.waitUntil([&] {
        const Image shown = user.find(800, 600) ? user.look() : Image{};
        return std::ranges::equal(shown.pixels, frame.pixels, same);
    });
}

// The line on a blit of so many bytes, with the time that `line` itself states.
std::string timing(const std::string& line, double bytes) {
    const double fps = 1.0 / std::atoi(line.c_str()) * 1000.0, megabytes = bytes / 1024 / 1024;
    char text[128];
    std::snprintf(text, sizeof text, "%d ms, %.3g frames per sec, %4.04g MB/sec (%.4g MB)\n",
                  std::atoi(line.c_str()), fps, megabytes * fps, megabytes);
    return text;
}

// The SDL mode's standard error on 16 bits, but for its start: the layout of the picture as it is loaded.
std::string sdlReport(const std::string& backgroundTiming, const std::string& alphaTiming) {
    const std::string stars = kStars + "\n", dashes = std::string(60, '-') + "\n";
    return kLoss + "\n" + stars + stars +
           "Surface 'alpha' after convert: depth = 32, bpp = 4, blend = ON value = 255\n" + kShift + "\n" +
           kMask + "\n" + kLoss + "\n" + stars + "Running korvalen - SDL version\n" + dashes +
           "Korvalen SDL_image version\n" + "Blitting Image to a SDL_Surface ... " + backgroundTiming +
           "Screen Format: 16\n" + dashes +
           "Screen Shift: a[       0] r[      11] g[       5] b[       0]\n" +
           "Screen Mask:  a[00000000] r[0000f800] g[000007e0] b[0000001f]\n" +
           "Screen Loss:  a[       0] r[       3] g[       2] b[       3]\n" + dashes + "Alpha Format: 16\n" +
           dashes + "Alpha " + kShift + "\nBlue " + kMask + "\nBlue " + kLoss + "\n" + dashes +
           "Blue Flags: RLE: NO, ALPHA: YES \nBlitting Image to a SDL_Surface ... " + alphaTiming;
}

TEST(Korvalen, SdlModeShowsBothPicturesReportsAndEndsWithEsc) {
    for (const int depth : {16, 32}) {
        Korvalen korvalen({"--sdl", "--depth", std::to_string(depth)});
        x11::User user(display());
        ASSERT_TRUE(sees(user, korvalen, frameOf(depth, 0, 0, 255))) << korvalen.err();
        user.type(XK_Escape);
        EXPECT_EQ(korvalen.exitCode(kPatience), 0);
        const std::string out = korvalen.out(), background = timing(out, 800 * 600 * 4);
        const std::string alpha = timing(out.substr(out.find('\n') + 1), 300 * 300 * 4);
        EXPECT_EQ(out, background + alpha);
        EXPECT_TRUE(depth == 32 || korvalen.err().ends_with(sdlReport(background, alpha))) << korvalen.err();
    }
}

TEST(Korvalen, HeedsItsOptionsAndReportsFailures) {
    const fs::path part = fs::temp_directory_path() / ("korvalen-" + std::to_string(getpid()));
    fs::create_directories(part / "pictures");
    fs::create_symlink(volume("/pictures/blue.png"), part / "pictures" / "blue.png");
    fs::create_directory_symlink(volume("/pictures"), part / "pictures" / "pictures");
    const struct {
        Words arguments;
        std::string says;
        int code = 0;
        // No driver: as SDL chooses, where there is no display.
        std::string driver = "dummy", folder = volume();
    } cases[] = {
        {{"--depth", "24", "-s", "-d", "8"},
         "\nScreen Mask:  a[00000000] r[00ff0000] g[0000ff00] b[000000ff]\n"},
        {{"-d", "32", "-s", "unknown", "-d", "16", "--SDL", "--depth=32"}, "Screen Format: 16\n"},
        {{"-s", "-d", "-d", "32", "--depth"}, "Screen Format: 16\n"},
        {{"-s", "--repeat", "3"}, "3 blits of 300x300 pixels took "},
        // The native mode.
        {{"--depth", "--sdl"},
         "' font! Could not open '/fonts/FreeMono.ttf' font! \nThe fonts are looked for in '" +
             (part / "pictures/fonts").string() + "'\n",
         0,
         "dummy",
         part / "pictures"},
        // An empty name of a folder counts as none: the pictures are those of the build.
        {{}, "is none of 15, 16, 24 and 32, using 16.\nDestintion is in sys\n", 0, "dummy", ""},
        {{"-r", "2"}, "2 blits of 300x300 pixels took "},
        {{}, "No picture in '/nowhere/pictures/blue.png': ", 20, "none", "/nowhere"},
        {{}, "Could not load 'blue.png'\n", 20, "none", "/nowhere"},
        {{"--sdl"}, "Could not load 'alpha.png'\n", 20, "none", part},
        {{"-s"}, "\nCouldn't initialize SDL: No available video device\n", 1, "none"},
        {{"-s"}, "\nCouldn't initialize SDL: No available video device\n", 1, ""},
        {{"-f", "--window"}, "OpenWindow failed!\nNo available video device\n", 0, ""},
        {{"-f", "-w", "--fullscreen"}, "OpenScreen failed!\nNo available video device\n", 0, "none"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.arguments));
        Korvalen korvalen(test.arguments, test.driver, test.folder, "33");
        EXPECT_TRUE(korvalen.says(test.says)) << korvalen.out() << korvalen.err();
        if (test.driver == "dummy")
            korvalen.signal(SIGINT);
        EXPECT_EQ(korvalen.exitCode(kPatience), test.code);
    }
    fs::remove_all(part);
}

void visit(const Words& arguments, const char* workbenchDepth, int screenDepth,
           void (*end)(x11::User&, Korvalen&)) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    Korvalen korvalen(arguments, "x11", volume(), workbenchDepth);
    x11::User user(display());
    ASSERT_TRUE(korvalen.waitUntil([&] { return user.find(800, 600); })) << korvalen.err();
    user.focus();
    const struct {
        std::function<void()> act;
        int x, y, alpha;
    } steps[] = {
        // The first message draws the frame.
        {[&] { user.moveTo(30, 40); }, 250, 150, 255},
        {[&] { user.type(XK_Left, 3), user.type(XK_Up, 2); }, 247, 148, 255},
        {[&] { user.type(XK_Right, 2), user.type(XK_Down, 5), user.type(XK_KP_Subtract, 9); }, 249, 153, 246},
        // The keys stop at 255, the wheel away from the user at 0.
        {[&] { user.type(XK_KP_Add, 12), user.click(4, 9); }, 249, 153, 183},
        {[&] { user.click(4, 24), user.type(XK_KP_Subtract, 2), user.type(XK_KP_Add, 9); }, 249, 153, 9},
        // The wheel towards the user stops at 255. What an unknown key draws does not stay.
        {[&] { user.type(XK_a), user.click(5, 40); }, 249, 153, 255},
        // The left button centres the picture and drags it until it is released; others do not.
        {[&] { user.click(4, 9), user.moveTo(500, 350), user.button(1, true); }, 350, 200, 183},
        {[&] {
             user.moveTo(90, 470), user.button(1, false), user.button(3, true), user.moveTo(9, 9),
                 user.type(XK_Up);
         },
         -60, 319, 183},
        {[&] { user.button(3, false), user.drag(100, 100, 799, 599), user.click(4, 7); }, 649, 449, 127},
    };
    for (const auto& [act, x, y, alpha] : steps) {
        act();
        ASSERT_TRUE(sees(user, korvalen, nativeFrame(x, y, alpha), screenDepth == 16))
            << x << ' ' << y << ' ' << alpha;
    }
    EXPECT_TRUE(korvalen.sleeps()) << "it polls";
    end(user, korvalen);
    EXPECT_EQ(korvalen.exitCode(kPatience), 0);
    const std::string dashes = std::string(51, '-') + "\n";
    const std::string banner = dashes + "Running korvalen - Amiga native version\n" + dashes;
    EXPECT_EQ(korvalen.out(), banner);
    // Keys that move the picture are reported when they are released, unknown ones also when they are
    // pressed.
    EXPECT_TRUE(korvalen.says(banner + "Destintion is in sys\n" + dashes + "Rawkey-Code 207\n"));
    EXPECT_TRUE(korvalen.says("Rawkey-Code 222\nRawkey-Code 32\nRawkey-Code 160\n")) << korvalen.err();
}

TEST(Korvalen, InNativeModeThePictureFollowsTheUser) {
    const auto escape = [](x11::User& user, Korvalen&) { user.type(XK_Escape); };
    const auto close = [](x11::User& user, Korvalen&) { user.closeWindow(); };
    const auto interrupt = [](x11::User&, Korvalen& korvalen) { korvalen.signal(SIGINT); };
    ASSERT_NO_FATAL_FAILURE(visit({"--depth", "16"}, "16", 16, close));
    ASSERT_NO_FATAL_FAILURE(visit({"-d", "32"}, "32", 32, interrupt));
    ASSERT_NO_FATAL_FAILURE(visit({"--fullscreen"}, "32", 16, escape));
    ASSERT_NO_FATAL_FAILURE(visit({"-f", "-d", "32"}, "16", 32, escape));
}

} // namespace
