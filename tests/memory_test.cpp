// SPDX-License-Identifier: Zlib
// Memory runs out, and locks fail: every call of the library, the provider, the utilities and both of
// Korvalen's modes, with the n-th one failing, for every n until a run needs no more. Each run is a process
// of its own: nothing may crash, throw, stay locked or leak.
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <host/bitmap.h>
#include <host/debug.h>
#include <libraries/Picasso96.h>
#include <proto/exec.h>
#include <proto/graphics.h>
#include <proto/intuition.h>
#include <proto/timer.h>
#include <proto/utility.h>

#include "demo/demo_modes.h"
#include "demo/demo_reports.h"
#include "demo/demo_volume.h"
#include "ormsel/ormsel_utils.h"
#include "tests/faults.h"

namespace {

// What a child process tells by its exit code. Korvalen's own are small, a sanitizer's is 99.
enum Outcome : int { kSanitizer = 99, kDone, kSurvived, kWrong, kCrashed, kOthersCrashed };

constexpr long kAtOnce = 32; // They mostly wait for the display.

// Shared with the children: what is wrong with each.
char* complaint(long child) {
    static char* const all = static_cast<char*>(
        mmap(nullptr, 128 * kAtOnce, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    return all + 128 * child;
}
// Which of them this process is.
long self = 0;

void require(bool holds, const char* what) {
    if (holds)
        return;
    std::snprintf(complaint(self), 128, "%s", what);
    _exit(kWrong);
}

// Crashes that are no fault of this project. SDL 1.2.15: its dummy driver, on its way out, frees what it
// failed to get, and SDL_DisplayFormatAlpha() looks into the format that it failed to make. FreeType 2.12.1
// reads glyphs that it failed to load. SDL 2, and the layer that offers SDL 1.2 on top of it, crash in many
// places when memory is short. No other crash counts as theirs.
bool isOthers(const Dl_info& place) {
    for (const char* library : {"/sdl12-compat/", "/libSDL2-"})
        if (place.dli_fname && std::strstr(place.dli_fname, library))
            return true;
    for (const char* known : {"SDL_VideoQuit", "SDL_DisplayFormatAlpha", "FT_Load_Glyph"})
        if (place.dli_sname && !std::strcmp(place.dli_sname, known))
            return true;
    return false;
}

void onCrash(int signal) {
    void* frames[16];
    const int count = backtrace(frames, 16);
    for (int i = 0; i < count; ++i) {
        Dl_info symbol;
        if (dladdr(frames[i], &symbol) && isOthers(symbol))
            _exit(kOthersCrashed);
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void bitmapsAndPorts() {
    uint8 pixels[64] = {};
    BitMap* const wrapped = HOST_WrapBitMap(pixels, 4, 4, 8, RGBFB_R5G6B5, FALSE);
    BitMap* const own = AllocBitMap(4, 4, 32, 0, wrapped);
    if (wrapped && own) {
        BltBitMap(wrapped, 0, 0, own, 0, 0, 4, 4, 0xC0, 0xFF, nullptr);
        RastPort rp = {nullptr, own, 0, JAM1};
        SetRPAttrs(&rp, RPTAG_APenColor, 0xFFFFFFFF, TAG_DONE);
        RectFill(&rp, 0, 0, 3, 3);
        BltBitMapRastPort(wrapped, 0, 0, &rp, 0, 0, 4, 4, 0xC0);
    }
    FreeBitMap(wrapped);
    FreeBitMap(own);
    MsgPort* const ports[] = {CreateMsgPort(), CreateMsgPort()};
    if (ports[0] && ports[1]) {
        Message message = {{}, ports[1], sizeof message};
        PutMsg(ports[0], &message);
        Wait(1U << ports[0]->mp_SigBit);
        ReplyMsg(GetMsg(ports[0]));
        require(GetMsg(ports[1]) == &message, "a message is lost");
    }
    for (MsgPort* port : ports)
        DeleteMsgPort(port);
    DebugPrintF("%2000s\n", "a text");
    TimeVal time;
    GetSysTime(&time);
}

void push(Uint8 type, SDLKey key = SDLK_UNKNOWN) {
    SDL_Event event{};
    event.type = type;
    event.key.keysym.sym = key;
    SDL_PushEvent(&event);
}

void display() {
    for (const unsigned long fullscreen : {0UL, 1UL}) {
        ORU_VideoInfo* const video = ORU_InitVideo(64, 48, 16, fullscreen);
        if (!video)
            continue;
        Window* const other = OpenWindowTags(nullptr, WA_Title, "other", WA_Left, 3, WA_Width, 30, WA_Height,
                                             30, WA_CustomScreen, video->screen, WA_IDCMP, ~0U, TAG_DONE);
        if (other) {
            WindowToBack(other);
            MoveWindow(other, 9, 9);
            WindowToFront(other);
            RectFill(other->RPort, 0, 0, 20, 20);
        }
        for (int n = 0; n < 4; ++n)
            push(SDL_KEYDOWN, SDLK_ESCAPE);
        push(SDL_VIDEOEXPOSE);
        while (Message* const message = GetMsg(video->window->UserPort))
            ReplyMsg(message);
        require(CloseScreen(video->screen) == FALSE, "a screen with windows closed");
        if (other)
            CloseWindow(other);
        ORU_CloseVideo(video);
    }
}

SDL_Surface* picture() {
    return SDL_CreateRGBSurface(0, 300, 300, 32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000);
}

// Esc, as soon as a mode has said all that it says before it waits; several times, as one may get lost.
void leaveAfter(const char* text) {
    HOST_SetDebugSink(
        [](const char* said, void* awaited) {
            if (std::strncmp(said, static_cast<const char*>(awaited), std::strlen(said) / 2) == 0)
                for (int n = 0; n < 9; ++n)
                    push(SDL_KEYDOWN, n % 2 ? SDLK_ESCAPE : SDLK_LEFT);
        },
        const_cast<char*>(text));
}

template <bool Fullscreen>
void nativeMode() {
    if (SDL_Surface* const alpha = picture()) {
        leaveAfter("Destintion is in sys\n");
        const bool text = TTF_Init() == 0;
        // Esc itself can get lost for want of memory; the user tries again.
        std::signal(SIGALRM, [](int) { std::raise(SIGINT); });
        ualarm(400000, 0);
        runNativeMode(alpha, alpha, 16, Fullscreen);
        alarm(0);
        if (text)
            TTF_Quit();
        SDL_FreeSurface(alpha);
    }
}

void sdlMode() {
    SDL_Surface* background = picture();
    SDL_Surface* const alpha = picture();
    if (background && alpha) {
        leaveAfter("Blue Flags: RLE: NO, ALPHA: NO \n");
        runSdlMode(background, alpha, 16);
        SDL_Quit();
    }
    SDL_FreeSurface(background);
    SDL_FreeSurface(alpha);
}

struct Case {
    const char* name;
    void (*run)();
    // Nothing but the project's own code allocates, so that what is left over is a leak.
    bool own;
};

void PrintTo(const Case& c, std::ostream* to) {
    *to << c.name;
}

// What fails: the n-th call alone, or all that follow, too.
struct Failing {
    const char* what;
    Fault* fault;
    long count;
};
const Failing kFailing[] = {{"memory", &heapFault, 1},
                            {"memory and all that follows", &heapFault, LONG_MAX},
                            {"memory of the provider's", &allocationFault, 1},
                            {"lock", &lockFault, 1}};

// In a process of its own.
[[noreturn]] void runChild(const Case& c, const Failing& failing, long n, long number, bool warm) {
    self = number;
    const int nowhere = open("/dev/null", O_WRONLY);
    if (!std::getenv("ORMSEL_MEMORY_TALK"))
        dup2(nowhere, STDERR_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    alarm(60);
    // On a stack of its own: SDL 2 can't store a message without memory, which it reports by a message, and
    // so on.
    static char space[1 << 16];
    const stack_t stack = {space, 0, sizeof space};
    sigaltstack(&stack, nullptr);
    struct sigaction crash = {};
    crash.sa_handler = onCrash;
    crash.sa_flags = SA_ONSTACK;
    sigaction(SIGSEGV, &crash, nullptr);
    sigaction(SIGABRT, &crash, nullptr);
    std::set_terminate([] { require(false, "an exception got out"); });
    if (warm)
        c.run();
    // A mode may leave by exit(), and what counts coverage writes then, and can't without memory.
    std::atexit([] {
        for (const Failing& each : kFailing)
            each.fault->disarm();
    });
    const long blocks = liveBlocks, provider = liveAllocations;
    failing.fault->arm(n, failing.count);
    c.run();
    failing.fault->disarm();
    HOST_SetDebugSink(nullptr, nullptr);
    require(heldBitMapLocks == 0, "a bitmap is locked");
    require(liveAllocations == provider, "the provider leaks");
    require(!c.own || !warm || liveBlocks == blocks, "a leak");
    _exit(failing.fault->struck() ? kSurvived : kDone);
}

class Memory : public testing::TestWithParam<Case> {
protected:
    // Runs with the n-th call failing, for every n.
    void runAll(const Failing& failing, bool warm) {
        bool done = false;
        for (long first = 0; !done; first += kAtOnce) {
            std::fflush(nullptr);
            pid_t children[kAtOnce];
            for (long i = 0; i < kAtOnce; ++i) {
                complaint(i)[0] = '\0';
                children[i] = fork();
                if (children[i] == 0)
                    runChild(GetParam(), failing, first + i, i, warm);
            }
            for (long i = 0; i < kAtOnce; ++i) {
                int status = 0;
                waitpid(children[i], &status, 0);
                ++runs;
                const int code = WIFEXITED(status) ? WEXITSTATUS(status) : kCrashed;
                othersCrashes += code == kOthersCrashed;
                done = done || code == kDone;
                if (code == kCrashed || code == kWrong || code == kSanitizer)
                    ADD_FAILURE() << failing.what << " " << first + i
                                  << (warm ? ", second run: " : ", first run: ") << complaint(i)
                                  << " (status " << status << ")";
            }
        }
    }

    long runs = 0, othersCrashes = 0;
};

TEST_P(Memory, RunsOutAtEachAllocation) {
    constexpr Uint8 kFirstOnSdl2 = 50;
    if (!GetParam().own && SDL_Linked_Version()->patch >= kFirstOnSdl2)
        GTEST_SKIP() << "SDL 2 hangs or crashes in most runs, which show nothing of this project's then";
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    // Loads what it needs.
    void* frame[1];
    backtrace(frame, 1);
    for (const Failing& failing : kFailing) {
        runAll(failing, false);
        // Only the project's own calls are known to leave nothing behind that they need again.
        if (GetParam().own)
            runAll(failing, true);
    }
    std::printf("%s: %ld runs; other libraries crashed in %ld of them\n", GetParam().name, runs,
                othersCrashes);
}

INSTANTIATE_TEST_SUITE_P(Calls, Memory,
                         testing::Values(Case{"bitmaps and ports", bitmapsAndPorts, true},
                                         Case{"display", display, false},
                                         Case{"native mode", nativeMode<false>, false},
                                         Case{"native mode, full screen", nativeMode<true>, false},
                                         Case{"SDL mode", sdlMode, false}));

} // namespace
