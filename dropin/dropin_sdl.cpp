// SPDX-License-Identifier: Zlib
#include "dropin_sdl.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>
#include <unistd.h>

namespace dropin {

void say(const char* format, ...) {
    char line[1024] = "ormsel-run: ";
    const size_t start = std::strlen(line);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line + start, sizeof line - start - 1, format, arguments);
    va_end(arguments);
    const size_t length = std::strlen(line);
    line[length] = '\n';
    if (write(STDERR_FILENO, line, length + 1) < 0)
        return; // there is nobody else to tell
}

void* sdlFunction(const char* name) {
    void* found = dlsym(RTLD_NEXT, name);
    if (!found) // a program that loaded SDL itself, for its own eyes only
        if (void* sdl = dlopen("libSDL-1.2.so.0", RTLD_LAZY | RTLD_NOLOAD))
            found = dlsym(sdl, name);
    return found;
}

namespace {

enum class Sdl { kUnknown, kSdl12, kOther };
std::atomic<Sdl> sdl{Sdl::kUnknown};

// SDL 2 has functions of the same names, but no SDL_SetAlpha; and a program can have its own.
Sdl find() {
    void *upper = sdlFunction("SDL_UpperBlit"), *setAlpha = sdlFunction("SDL_SetAlpha");
    if (!upper)
        return Sdl::kUnknown;
    Dl_info ofUpper, ofSetAlpha;
    const bool known = dladdr(upper, &ofUpper);
    const bool is12 =
        known && setAlpha && dladdr(setAlpha, &ofSetAlpha) && ofUpper.dli_fbase == ofSetAlpha.dli_fbase;
    const Sdl found = is12 ? Sdl::kSdl12 : Sdl::kOther;
    Sdl expected = Sdl::kUnknown;
    if (sdl.compare_exchange_strong(expected, found) && !is12)
        say("%s draws with %s, which is not SDL 1.2: it runs as it is", program_invocation_short_name,
            known ? ofUpper.dli_fname : "another library");
    return found;
}

template <class Function>
class Lookup {
public:
    constexpr explicit Lookup(const char* name) : name_(name) {}

    Function* get() {
        Function* function = function_.load(std::memory_order_relaxed);
        if (!function) {
            function = sdlFunction<Function>(name_);
            function_.store(function, std::memory_order_relaxed);
            if (!function)
                say("%s has no %s", program_invocation_short_name, name_);
        }
        return function;
    }

private:
    const char* name_;
    std::atomic<Function*> function_{nullptr};
};
constinit Lookup<decltype(SDL_UpperBlit)> sdlUpperBlit{"SDL_UpperBlit"};
constinit Lookup<decltype(SDL_LowerBlit)> sdlLowerBlit{"SDL_LowerBlit"};
constinit Lookup<decltype(SDL_FillRect)> sdlFillRect{"SDL_FillRect"};
constinit Lookup<decltype(SDL_LockSurface)> sdlLock{"SDL_LockSurface"};
constinit Lookup<decltype(SDL_UnlockSurface)> sdlUnlock{"SDL_UnlockSurface"};

// Tells of programs that this library can't serve when they start: they may never call it.
struct Start {
    Start() {
        Dl_info first, here;
        void* upper = dlsym(RTLD_DEFAULT, "SDL_UpperBlit");
        if (upper && dladdr(upper, &first) && dladdr(&sdl, &here) && first.dli_fbase != here.dli_fbase) {
            say("%s has an SDL_UpperBlit of its own: it runs as it is", program_invocation_short_name);
            sdl = Sdl::kOther;
        } else {
            find();
        }
    }
} start;

} // namespace

bool isSdl12() {
    const Sdl found = sdl.load(std::memory_order_relaxed);
    return (found == Sdl::kUnknown ? find() : found) == Sdl::kSdl12;
}

int upperBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    const auto function = sdlUpperBlit.get();
    return function ? function(src, srcrect, dst, dstrect) : -1;
}

int lowerBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
    const auto function = sdlLowerBlit.get();
    return function ? function(src, srcrect, dst, dstrect) : -1;
}

int fillRect(SDL_Surface* dst, SDL_Rect* dstrect, Uint32 color) {
    const auto function = sdlFillRect.get();
    return function ? function(dst, dstrect, color) : -1;
}

constinit thread_local bool wasLeftToSdl = false;

const ormsel::SdlFunctions kSdlsOwn = {
    [](SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
        wasLeftToSdl = true;
        return upperBlit(src, srcrect, dst, dstrect);
    },
    [](SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect) {
        wasLeftToSdl = true;
        return lowerBlit(src, srcrect, dst, dstrect);
    },
    [](SDL_Surface* dst, SDL_Rect* dstrect, Uint32 color) {
        wasLeftToSdl = true;
        return fillRect(dst, dstrect, color);
    },
    [](SDL_Surface* surface) {
        const auto function = sdlLock.get();
        return function ? function(surface) : -1;
    },
    [](SDL_Surface* surface) {
        if (const auto function = sdlUnlock.get())
            function(surface);
    }};

} // namespace dropin
