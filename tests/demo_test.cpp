// SPDX-License-Identifier: Zlib
// Korvalen from end to end, on a private X server: what the screen shows, what the program says, how it ends.
// What the screen must show is computed here pixel by pixel from the PNG files and the fonts.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <sstream>

#include <SDL_ttf.h>
#include <gtest/gtest.h>

#include "tools/x11_driver.h"

namespace {

namespace fs = std::filesystem;
using x11::Image;
using x11::Program;
using x11::Words;

std::string fromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    if (!value)
        throw std::runtime_error(std::string(name) + " is not set; CTest sets it");
    return value;
}

const std::string& volume() {
    static const std::string path = fromEnvironment("KORVALEN_VOLUME");
    return path;
}

/// A volume that lacks some of the files.
class VolumeWithout {
public:
    explicit VolumeWithout(const Words& missing) {
        std::string name = (fs::temp_directory_path() / "korvalen-XXXXXX").string();
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no temporary folder");
        path_ = name;
        for (const char* folder : {"pictures", "fonts"}) {
            fs::create_directory(path_ / folder);
            for (const auto& file : fs::directory_iterator(fs::path(volume()) / folder))
                if (std::ranges::find(missing, file.path().filename().string()) == missing.end())
                    fs::create_symlink(fs::canonical(file), path_ / folder / file.path().filename());
        }
    }
    VolumeWithout(const VolumeWithout&) = delete;
    VolumeWithout& operator=(const VolumeWithout&) = delete;
    ~VolumeWithout() { fs::remove_all(path_); }
    std::string path() const { return path_.string(); }

private:
    fs::path path_;
};

const x11::Server& server() {
    static const x11::Server xvfb(1024, 768);
    return xvfb;
}

struct Setting {
    std::string folder = volume();
    std::string driver = "x11";
    std::string workbenchDepth = "32";
};

class Korvalen : public Program {
public:
    explicit Korvalen(const Words& arguments, const Setting& setting = {})
        : Program(command(arguments), Output::Captured,
                  {{"DISPLAY", setting.driver == "x11" ? server().name() : ""},
                   {"SDL_VIDEODRIVER", setting.driver},
                   {"KORVALEN_VOLUME", setting.folder},
                   {"LSAN_OPTIONS", "print_suppressions=0"}, // says what it does on standard error
                   {"ORMSEL_WORKBENCH_DEPTH", setting.workbenchDepth}}) {}

    bool says(const std::string& text) {
        return x11::waitFor([&] { return err().find(text) != std::string::npos || ended(); }) &&
               err().find(text) != std::string::npos;
    }

private:
    static Words command(Words words) {
        words.insert(words.begin(), fromEnvironment("KORVALEN_PROGRAM"));
        return words;
    }
};

// ---------------------------------------------------------------------------------------------------------
// What the screen must show

int channel(uint32_t pixel, int shift) {
    return static_cast<int>(pixel >> shift & 255);
}

/// d + (s - d) * a / 2^bits, rounded down.
int mixed(int s, int d, int a, int bits) {
    return d + (((s - d) * a) >> bits);
}

/// A frame in the making: each channel in the upper bits of its byte.
class Frame {
public:
    Frame(int depth, const Image& background) : depth_(depth) {
        image_.width = background.width;
        image_.height = background.height;
        image_.pixels.assign(background.pixels.size(), 0);
        blend(background, 0, 0, 255);
    }
    const Image& image() const { return image_; }
    /// The bits that a pixel of this frame has.
    uint32_t significant() const { return depth_ == 16 ? 0xF8FCF8 : 0xFFFFFF; }

    void blend(const Image& picture, int x0, int y0, int constantAlpha) {
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < picture.width; ++x)
                if (x0 + x >= 0 && y0 + y >= 0 && x0 + x < image_.width && y0 + y < image_.height)
                    blendPixel(picture.at(x, y), image_.at(x0 + x, y0 + y), constantAlpha);
    }

private:
    void blendPixel(uint32_t source, uint32_t& pixel, int c) const {
        const int alpha = channel(source, 24);
        const int a5 = c / 8 == 31 ? alpha / 8 : alpha * c / 2048; // on 16 bits, where 31 means all
        const int a8 = alpha * c / 256;                            // on 32 bits, where 255 never comes up
        if ((depth_ == 16 ? c < 8 || a5 == 0 : a8 == 0))
            return;
        uint32_t result = 0;
        for (const auto& [shift, lost] : {std::pair{16, 3}, {8, 2}, {0, 3}}) {
            const int s = channel(source, shift), d = channel(pixel, shift);
            const int value = depth_ != 16 ? mixed(s, d, a8, 8)
                              : a5 == 31   ? s >> lost << lost
                                           : mixed(s >> lost, d >> lost, a5, 5) << lost;
            result |= static_cast<uint32_t>(value) << shift;
        }
        pixel = result;
    }

    int depth_;
    Image image_;
};

/// A line of text as SDL_ttf draws it.
Image rendered(const std::string& text, const char* font, int points, SDL_Color colour) {
    static const int ready = TTF_Init();
    EXPECT_EQ(ready, 0);
    TTF_Font* opened = TTF_OpenFont((volume() + "/fonts/" + font).c_str(), points);
    SDL_Surface* surface = TTF_RenderText_Blended(opened, text.c_str(), colour);
    Image image{surface->w, surface->h, {}};
    for (int y = 0; y < surface->h; ++y) {
        const auto* row = reinterpret_cast<const uint32_t*>(static_cast<const Uint8*>(surface->pixels) +
                                                            y * surface->pitch);
        for (int x = 0; x < surface->w; ++x) {
            Uint8 r, g, b, a;
            SDL_GetRGBA(row[x], surface->format, &r, &g, &b, &a);
            image.pixels.push_back(uint32_t{a} << 24 | uint32_t{r} << 16 | uint32_t{g} << 8 | b);
        }
    }
    SDL_FreeSurface(surface);
    TTF_CloseFont(opened);
    return image;
}

const Image& background() {
    static const Image image = Image::load(volume() + "/pictures/blue.png");
    return image;
}
const Image& alphaPicture() {
    static const Image image = Image::load(volume() + "/pictures/alpha.png");
    return image;
}

constexpr SDL_Color White{255, 255, 255, 0}, Black{0, 0, 0, 0};

/// The native mode's frame but for its two timing lines.
Frame nativeFrame(int x, int y, int alpha, bool withText) {
    Frame frame(16, background());
    frame.blend(alphaPicture(), x, y, alpha);
    if (!withText)
        return frame;
    const std::string value = std::to_string(alpha);
    frame.blend(rendered("Alpha: " + value + ", " + std::to_string(x) + "x" + std::to_string(y),
                         "FreeSans.ttf", 18, White),
                3, 3, 255);
    const std::string stars(60, '*');
    int top = 38;
    for (const std::string& line :
         {stars, "Surface 'AlphaSurface': depth = 32, bpp = 4, blend = ON value = " + value,
          std::string("Shift: a[      24] r[      16] g[       8] b[       0]"),
          std::string("Mask:  a[ff000000] r[00ff0000] g[0000ff00] b[000000ff]"),
          std::string("Loss:  a[       0] r[       0] g[       0] b[       0]"), stars}) {
        frame.blend(rendered(line, "FreeMono.ttf", 12, Black), 4, top + 1, 255);
        frame.blend(rendered(line, "FreeMono.ttf", 12, White), 3, top, 255);
        top += 13;
    }
    return frame;
}

bool isTiming(int y) {
    return (y >= 25 && y < 43) || y >= 580;
}

/// Waits until the user sees this frame.
testing::AssertionResult sees(x11::User& user, Korvalen& korvalen, const Frame& frame,
                              bool skipTimings = false) {
    Image shown;
    std::string difference;
    const auto matches = [&] {
        shown = user.look();
        for (int y = 0; y < shown.height; ++y)
            for (int x = 0; x < shown.width && !(skipTimings && isTiming(y)); ++x)
                if ((shown.at(x, y) ^ frame.image().at(x, y)) & frame.significant()) {
                    std::ostringstream text;
                    text << std::hex << shown.at(x, y) << " instead of " << frame.image().at(x, y) << std::dec
                         << " at " << x << ", " << y;
                    difference = text.str();
                    return false;
                }
        return true;
    };
    // A frame that is wrong stays wrong; half the patience leaves time for the other tests.
    if (x11::waitFor([&] { return matches() || korvalen.ended(); }, x11::Patience / 2) && !korvalen.ended())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << difference << "\n" << korvalen.err();
}

testing::AssertionResult findsWindow(x11::User& user, Korvalen& korvalen) {
    bool found = false;
    x11::waitFor([&] { return (found = user.find(800, 600)) || korvalen.ended(); });
    return found ? testing::AssertionSuccess()
                 : testing::AssertionFailure() << "no window\n"
                                               << korvalen.err();
}

// ---------------------------------------------------------------------------------------------------------
// What the program must say

Words split(const std::string& text) {
    Words lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/// The line on a blit of so many bytes, with the time that `line` itself states.
std::string timing(const std::string& line, double bytes) {
    int milliseconds = -1;
    std::sscanf(line.c_str(), "%d ms", &milliseconds);
    const double fps = 1.0 / milliseconds * 1000.0, megabytes = bytes / 1024 / 1024;
    char text[128];
    std::snprintf(text, sizeof text, "%d ms, %.3g frames per sec, %4.04g MB/sec (%.4g MB)", milliseconds, fps,
                  megabytes * fps, megabytes);
    return text;
}

constexpr double BackgroundBytes = 800 * 600 * 4, AlphaBytes = 300 * 300 * 4;

/// All of the SDL mode's standard error, with timings as in `said`.
Words sdlReport(int depth, const Words& said) {
    const bool bigEndian = SDL_BYTEORDER == SDL_BIG_ENDIAN;
    const std::string stars(60, '*'), dashes(60, '-');
    const std::string alphaShift = "Shift: a[      24] r[      16] g[       8] b[       0]\n";
    const std::string alphaMask = "Mask:  a[ff000000] r[00ff0000] g[0000ff00] b[000000ff]\n";
    const std::string noLoss = "Loss:  a[       0] r[       0] g[       0] b[       0]\n";
    std::string text =
        stars + "\nSurface 'alpha' before convert: depth = 32, bpp = 4, blend = ON value = 255\n";
    text += bigEndian ? "Shift: a[       0] r[      24] g[      16] b[       8]\n"
                        "Mask:  a[000000ff] r[ff000000] g[00ff0000] b[0000ff00]\n"
                      : "Shift: a[      24] r[       0] g[       8] b[      16]\n"
                        "Mask:  a[ff000000] r[000000ff] g[0000ff00] b[00ff0000]\n";
    text += noLoss + stars + "\n" + stars;
    text += "\nSurface 'alpha' after convert: depth = 32, bpp = 4, blend = ON value = 255\n";
    text += alphaShift + alphaMask + noLoss + stars + "\n";
    text += "Running korvalen - SDL version\n" + dashes + "\nKorvalen SDL_image version\nBACKGROUND\n";
    const std::string format = " Format: " + std::to_string(depth) + "\n";
    text += "Screen" + format + dashes + "\n";
    text += depth == 16 ? "Screen Shift: a[       0] r[      11] g[       5] b[       0]\n"
                          "Screen Mask:  a[00000000] r[0000f800] g[000007e0] b[0000001f]\n"
                          "Screen Loss:  a[       0] r[       3] g[       2] b[       3]\n"
                        : "Screen Shift: a[       0] r[      16] g[       8] b[       0]\n"
                          "Screen Mask:  a[00000000] r[00ff0000] g[0000ff00] b[000000ff]\n"
                          "Screen Loss:  a[       8] r[       0] g[       0] b[       0]\n";
    text += dashes + "\nAlpha" + format + dashes + "\nAlpha " + alphaShift + "Blue " + alphaMask + "Blue " +
            noLoss;
    text += dashes + "\nBlue Flags: RLE: NO, ALPHA: YES \nALPHA\n";

    Words lines = split(text);
    const std::string blitting = "Blitting Image to a SDL_Surface ... ";
    for (size_t i = 0; i < std::min(lines.size(), said.size()); ++i)
        if (lines[i] == "BACKGROUND" || lines[i] == "ALPHA")
            lines[i] = blitting + timing(said[i].substr(std::min(blitting.size(), said[i].size())),
                                         lines[i] == "ALPHA" ? AlphaBytes : BackgroundBytes);
    return lines;
}

// ---------------------------------------------------------------------------------------------------------

class SdlMode : public testing::TestWithParam<int> {};

TEST_P(SdlMode, ShowsBothPicturesReportsAndEndsWithEsc) {
    const int depth = GetParam();
    Korvalen korvalen({"--sdl", "--depth", std::to_string(depth)});
    x11::User user(server().name());
    ASSERT_TRUE(findsWindow(user, korvalen));
    Frame frame(depth, background());
    frame.blend(alphaPicture(), 0, 0, 255);
    ASSERT_TRUE(sees(user, korvalen, frame));
    user.type(XK_a);
    user.type(XK_Left);
    ASSERT_TRUE(sees(user, korvalen, frame));
    EXPECT_FALSE(korvalen.ended());
    user.type(XK_Escape);
    EXPECT_EQ(korvalen.exitCode(), 0) << korvalen.err();
    const Words said = split(korvalen.err()), printed = split(korvalen.out());
    EXPECT_EQ(said, sdlReport(depth, said));
    ASSERT_EQ(printed.size(), 2u) << korvalen.out();
    EXPECT_EQ(printed[0], timing(printed[0], BackgroundBytes));
    EXPECT_EQ(printed[1], timing(printed[1], AlphaBytes));
}

INSTANTIATE_TEST_SUITE_P(Depths, SdlMode, testing::Values(16, 32));

TEST(Options, DepthAndModeAreReadInOrder) {
    const struct {
        Words arguments;
        const char* says;
    } cases[] = {
        {{"--sdl"}, "Screen Format: 16\n"},
        {{"-s", "-d", "32"}, "Screen Format: 32\n"},
        {{"--depth", "24", "-s"}, "Screen Format: 32\n"},
        {{"-s", "--depth", "8"}, "Screen Format: 16\n"},
        {{"-d", "32", "-s", "-d", "8"}, "Screen Format: 32\n"},
        {{"-s", "-d", "32", "--depth", "16"}, "Screen Format: 16\n"},
        {{"-s", "-d", "32bit"}, "Screen Format: 32\n"},
        {{"-s", "-d", "word"}, "Screen Format: 16\n"},
        {{"-s", "unknown", "--SDL", "--depth=32"}, "Screen Format: 16\n"},
        {{"-s", "--depth"}, "Screen Format: 16\n"},
        {{"--depth", "-s", "--sdl"}, "Screen Format: 16\n"},
        {{"-s", "-d", "-d", "32"}, "Screen Format: 16\n"},
        {{"--depth", "--sdl"}, "Destintion is in sys\n"}, // the native mode
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.arguments));
        Korvalen korvalen(test.arguments, {.driver = "dummy"});
        EXPECT_TRUE(korvalen.says(test.says)) << korvalen.err();
        korvalen.signal(SIGINT);
        EXPECT_EQ(korvalen.exitCode(), 0) << korvalen.err();
    }
}

TEST(Failures, HaveTheirMessageAndExitCode) {
    const VolumeWithout noBlue({"blue.png"}), noAlpha({"alpha.png"});
    const std::string noDriver =
        "Running korvalen - SDL version\nCouldn't initialize SDL: No available video device\n";
    const Setting noDisplay{.driver = "none"};
    const struct {
        Words arguments;
        Setting setting;
        int code;
        const char* out;
        std::string errorEnd;
    } cases[] = {
        {{}, {.folder = noBlue.path()}, 20, "Could not load 'blue.png'\n", ""},
        {{"--sdl"}, {.folder = noAlpha.path()}, 20, "Could not load 'alpha.png'\n", ""},
        {{"-s"}, {.folder = "/nowhere"}, 20, "Could not load 'blue.png'\n", ""},
        {{"-s", "-w"}, noDisplay, 1, "", noDriver},
        {{"-f", "-w"}, noDisplay, 0, nullptr, "OpenWindow failed!\n"},
        {{"-w", "--fullscreen"}, noDisplay, 0, nullptr, "OpenScreen failed!\n"},
        {{"-f", "--window"}, noDisplay, 0, nullptr, "OpenWindow failed!\n"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.arguments) + " -> " + std::to_string(test.code));
        Korvalen korvalen(test.arguments, test.setting);
        EXPECT_EQ(korvalen.exitCode(), test.code);
        const std::string dashes(51, '-');
        EXPECT_EQ(korvalen.out(),
                  test.out ? test.out
                           : dashes + "\nRunning korvalen - Amiga native version\n" + dashes + "\n");
        EXPECT_TRUE(korvalen.err().ends_with(test.errorEnd)) << korvalen.err();
        EXPECT_EQ(korvalen.err().empty(), test.errorEnd.empty()) << korvalen.err();
    }
}

// ---------------------------------------------------------------------------------------------------------

struct NativeCase {
    const char* name;
    Words arguments;
    const char* workbenchDepth;
    bool fonts;
    friend std::ostream& operator<<(std::ostream& out, const NativeCase& how) { return out << how.name; }
};

class NativeMode : public testing::TestWithParam<NativeCase> {};

TEST_P(NativeMode, ThePictureFollowsTheUser) {
    const NativeCase& how = GetParam();
    const VolumeWithout noFonts({"FreeSans.ttf", "FreeMono.ttf"});
    Setting setting{.workbenchDepth = how.workbenchDepth};
    if (!how.fonts)
        setting.folder = noFonts.path();
    Korvalen korvalen(how.arguments, setting);
    x11::User user(server().name());
    ASSERT_TRUE(findsWindow(user, korvalen));
    user.focus();

    const struct {
        const char* name;
        std::function<void()> act;
        int x, y, alpha;
    } steps[] = {
        {"the first message draws the frame", [&] { user.moveTo(30, 40); }, 250, 150, 255},
        {"cursor left and up", [&] { user.type(XK_Left, 3), user.type(XK_Up, 2); }, 247, 148, 255},
        {"cursor right and down", [&] { user.type(XK_Right, 2), user.type(XK_Down, 5); }, 249, 153, 255},
        {"keypad minus", [&] { user.type(XK_KP_Subtract, 9); }, 249, 153, 246},
        {"keypad plus ends at 255", [&] { user.type(XK_KP_Add, 12); }, 249, 153, 255},
        {"wheel away from the user", [&] { user.click(4, 9); }, 249, 153, 183},
        {"left button centres the picture", [&] { user.moveTo(500, 350), user.button(1, true); }, 350, 200,
         183},
        {"and drags it", [&] { user.moveTo(90, 470); }, -60, 320, 183},
        {"until it is released", [&] { user.button(1, false), user.moveTo(300, 300), user.type(XK_Up); }, -60,
         319, 183},
        {"other buttons do not drag",
         [&] { user.button(3, true), user.moveTo(420, 320), user.button(3, false), user.type(XK_Up); }, -60,
         318, 183},
        {"wheel to the end", [&] { user.click(4, 24); }, -60, 318, 0},
        {"nothing below 0", [&] { user.type(XK_KP_Subtract, 2), user.type(XK_KP_Add, 9); }, -60, 318, 9},
        {"wheel towards the user ends at 255", [&] { user.click(5, 40); }, -60, 318, 255},
        {"out of the frame", [&] { user.drag(100, 100, 799, 599), user.click(4, 16); }, 649, 449, 127},
        {"unknown keys draw nothing that stays", [&] { user.type(XK_a), user.type(XK_Down); }, 649, 450, 127},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.name);
        step.act();
        // Without fonts there are no timing lines either.
        ASSERT_TRUE(sees(user, korvalen, nativeFrame(step.x, step.y, step.alpha, how.fonts), how.fonts));
    }
    user.type(XK_Escape);
    EXPECT_EQ(korvalen.exitCode(), 0) << korvalen.err();

    const std::string said = korvalen.err();
    const std::string dashes = std::string(51, '-') + "\n";
    EXPECT_NE(said.find(dashes + "Running korvalen - Amiga native version\n" + dashes +
                        "Destintion is in sys\n" + dashes),
              std::string::npos)
        << said;
    const std::string noFont =
        "Could not open '/fonts/FreeSans.ttf' font! Could not open '/fonts/FreeMono.ttf' font! ";
    EXPECT_EQ(said.find(noFont) == std::string::npos, how.fonts) << said;
    // Pressed and released, and the release of a key that is known when it is pressed.
    EXPECT_NE(said.find("Rawkey-Code 32\nRawkey-Code 160\nRawkey-Code 205\n"), std::string::npos) << said;
    EXPECT_EQ(said.find("Rawkey-Code 77\n"), std::string::npos) << said;
}

INSTANTIATE_TEST_SUITE_P(Displays, NativeMode,
                         testing::Values(NativeCase{"Window16", {"--depth", "16"}, "16", true},
                                         NativeCase{"Window32", {"--depth", "32"}, "32", true},
                                         NativeCase{"WindowWithoutFonts", {"-w"}, "32", false},
                                         NativeCase{"Fullscreen16", {"--fullscreen"}, "32", true},
                                         NativeCase{"Fullscreen32", {"-f", "-d", "32"}, "16", true}),
                         [](const auto& chosen) { return chosen.param.name; });

TEST(NativeModeEnds, WithCloseButtonEscAndCtrlC) {
    const std::pair<const char*, void (*)(x11::User&, Korvalen&)> ways[] = {
        {"close button", [](x11::User& user, Korvalen&) { user.closeWindow(); }},
        {"Esc", [](x11::User& user, Korvalen&) { user.type(XK_Escape); }},
        {"Ctrl-C", [](x11::User&, Korvalen& korvalen) { korvalen.signal(SIGINT); }},
    };
    for (const auto& [name, end] : ways) {
        SCOPED_TRACE(name);
        Korvalen korvalen({});
        x11::User user(server().name());
        ASSERT_TRUE(findsWindow(user, korvalen));
        user.focus();
        user.moveTo(10, 10);
        ASSERT_TRUE(sees(user, korvalen, nativeFrame(250, 150, 255, true), true));
        end(user, korvalen);
        EXPECT_EQ(korvalen.exitCode(), 0) << korvalen.err();
    }
}

} // namespace
