// SPDX-License-Identifier: Zlib
//
// What was drawn, by kind, and the report of it. Programs draw from any thread, fork, and end in handlers of
// signals: nothing here waits for anything.
#pragma once

#include <atomic>
#include <cstdint>

#include <SDL.h>

namespace dropin {

enum class Mode { kServe, kStats, kCompare };
Mode mode(); // as ORMSEL_RUN says

enum class Server : uint32_t {
    kOrmsel,
    kUncompared, // the same, in a comparison that found no memory for it
    kSmall,      // served in general, but SDL is sooner done with so few pixels
    kReaching,   // likewise, but the images share memory, or the rectangle reaches outside
    kSdl
};

// What tells kinds apart.
struct Format {
    uint32_t bits, r, g, b, a;
};
struct Kind {
    Format from, to; // a fill has bits of 0 in `from`
    uint32_t flags;  // of the source, without those that say nothing about blits
    uint32_t alpha;  // 0, 128, 255, or 1 for all others
    Server server;
};
Kind blitKind(const SDL_Surface& src, const SDL_Surface& dst, Server server);
Kind fillKind(const SDL_Surface& dst, Server server);

using Number = std::atomic<uint64_t>;
struct Count {
    Number blits, pixels, ours, sdls; // times in nanoseconds
    Number compared;
    // Pixels whose channels differ, and by how much at most; and those where only bits of no channel do.
    Number differing, mostDifference, spareDiffering;
};
// The row of a kind.
Count& countOf(const Kind& kind);

uint64_t now();
uint64_t since(uint64_t start); // without what asking for the time takes

// Writes the report, if it goes to a file and the last one is a second old.
void reportEverySecond();

} // namespace dropin
