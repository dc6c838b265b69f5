// SPDX-License-Identifier: Zlib
//
// What the benchmark and its SDL 2 process say to each other, as records over a pair of pipes.
#pragma once

#include <cstdint>

namespace bench {

struct Sdl2Image {
    uint64_t offset; // in the shared memory
    int32_t width, height, pitch, depth;
    uint32_t r, g, b, a;
};

inline constexpr uint32_t kSdl2MostSets = 16;

struct Sdl2Request {
    enum Kind : uint32_t { kLoad, kBlit } kind;
    uint64_t blits; // kBlit
    // kLoad:
    uint32_t sets, alpha, blend;
    Sdl2Image src[kSdl2MostSets], dst[kSdl2MostSets];
};

// The answer to either request is a double: the processor time in seconds. Before the first request comes the
// version of SDL: three bytes.

} // namespace bench
