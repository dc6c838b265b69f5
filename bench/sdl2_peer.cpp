// SPDX-License-Identifier: Zlib
//
// Blits with SDL 2 on behalf of ormsel-bench, which can't be linked with it: SDL 1.2 has the same symbols.
// Usage: ormsel-bench-sdl2 DESCRIPTOR BYTES, with requests on standard input and answers on standard output.
#include "sdl2_peer.h"

#include <cstdlib>
#include <ctime>
#include <memory>
#include <vector>

#include <SDL.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

struct SurfaceDeleter {
    void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
};
using Surface = std::unique_ptr<SDL_Surface, SurfaceDeleter>;

Surface surfaceOf(const bench::Sdl2Image& i, uint8_t* memory) {
    return Surface(
        SDL_CreateRGBSurfaceFrom(memory + i.offset, i.width, i.height, i.depth, i.pitch, i.r, i.g, i.b, i.a));
}

double processorTime() {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

struct Pair {
    Surface src, dst;
};

std::vector<Pair> load(const bench::Sdl2Request& r, uint8_t* memory) {
    std::vector<Pair> pairs;
    for (uint32_t i = 0; i < r.sets; ++i) {
        pairs.push_back({surfaceOf(r.src[i], memory), surfaceOf(r.dst[i], memory)});
        SDL_Surface* src = pairs.back().src.get();
        SDL_SetSurfaceBlendMode(src, r.blend ? SDL_BLENDMODE_BLEND : SDL_BLENDMODE_NONE);
        SDL_SetSurfaceAlphaMod(src, static_cast<Uint8>(r.alpha));
    }
    return pairs;
}

template <class T>
bool send(const T& value) {
    return write(STDOUT_FILENO, &value, sizeof value) == sizeof value;
}

bool receive(bench::Sdl2Request& request) {
    return read(STDIN_FILENO, &request, sizeof request) == sizeof request;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return EXIT_FAILURE;
    const size_t bytes = std::strtoull(argv[2], nullptr, 10);
    void* mapped = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, std::atoi(argv[1]), 0);
    if (mapped == MAP_FAILED)
        return EXIT_FAILURE;

    SDL_version version;
    SDL_GetVersion(&version);
    std::vector<Pair> pairs;
    size_t next = 0;
    bool alive = send(version);
    for (bench::Sdl2Request request; alive && receive(request);) {
        const double begin = processorTime();
        if (request.kind == bench::Sdl2Request::kLoad) {
            pairs = load(request, static_cast<uint8_t*>(mapped));
            next = 0;
        } else {
            for (uint64_t n = request.blits; n; --n) {
                SDL_BlitSurface(pairs[next].src.get(), nullptr, pairs[next].dst.get(), nullptr);
                if (++next == pairs.size())
                    next = 0;
            }
        }
        alive = send(processorTime() - begin);
    }
    return EXIT_SUCCESS;
}
