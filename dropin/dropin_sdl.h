// SPDX-License-Identifier: Zlib
//
// The SDL that the program would have without this library.
#pragma once

#include "sdl/sdl_contract.h"

namespace dropin {

// A function of the program's SDL, looked up when it is first called.
void* sdlFunction(const char* name);

template <class Function>
Function* sdlFunction(const char* name) {
    return reinterpret_cast<Function*>(sdlFunction(name));
}

// Whether the program's surfaces are those of SDL 1.2; if they are of another library, standard error is told
// so once. While no library has SDL's functions the answer is no, and can change.
bool isSdl12();

// The program's own functions of these names, of whatever library. A call of one that there is nowhere fails.
int upperBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect);
int lowerBlit(SDL_Surface* src, SDL_Rect* srcrect, SDL_Surface* dst, SDL_Rect* dstrect);
int fillRect(SDL_Surface* dst, SDL_Rect* dstrect, Uint32 color);

// The same for the library's contract. This thread's calls through them are noticed.
extern const ormsel::SdlFunctions kSdlsOwn;
[[gnu::tls_model("initial-exec")]] extern constinit thread_local bool wasLeftToSdl;

// Writes a line to standard error, with the command's name in front.
[[gnu::format(printf, 1, 2)]] void say(const char* format, ...);

} // namespace dropin
