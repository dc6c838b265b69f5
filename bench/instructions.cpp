// SPDX-License-Identifier: Zlib
//
// instructions ROW CONTENT COUNT: draws one row of the list COUNT times, 64 x 64 pixels. Two runs of
// different COUNT under an emulator that counts instructions tell what a pixel costs. Without arguments:
// prints the rows and their contents.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <ormsel/ormsel.h>
#include <ormsel/ormsel_formats.h>

namespace {

constexpr int kSide = 64;

struct Format {
    const char* stem;
    int bytes;
    uint32_t r, g, b, a;
};
enum Name {
#define FORMAT(name, ...) k##name,
    ORMSEL_FORMATS(FORMAT)
#undef FORMAT
};
constexpr Format kFormats[] = {
#define FORMAT(name, stem, code, bytes, r, g, b, a, shift) {#stem, bytes, r, g, b, a},
    ORMSEL_FORMATS(FORMAT)
#undef FORMAT
};

struct Row {
    std::string name;
    Name src, dst;
    int alpha;   // the constant one
    Uint32 flag; // of the operation; 0: a blend
};

std::vector<Row> allRows() {
    std::vector<Row> rows;
    const auto add = [&rows](const char* prefix, Name src, Name dst, Uint32 flag = 0) {
        std::string name = std::string(prefix) + kFormats[src].stem;
        if (src != dst)
            name += std::string("_") + kFormats[dst].stem;
        rows.push_back({name, src, dst, 255, flag});
        rows.push_back({name + "@100", src, dst, 100, flag});
    };
#define OPERATION(name, flag, prefix)                                                                        \
    const auto add##name = [add](Name src, Name dst) { add(prefix, src, dst, flag); };
    ORMSEL_OPERATIONS(OPERATION)
#undef OPERATION
#define ROUTE(operation, src, dst, rule) add##operation(k##src, k##dst);
    ORMSEL_ROUTES(ROUTE)
#undef ROUTE
    add("fallback_", kA8R8G8B8, kR5G5B5);
    add("fallback_", kA8R8G8B8, kR8G8B8);
    add("fallback_", kR5G6B5, kA8R8G8B8);
    add("fallback_", kR8G8B8, kA8R8G8B8);
    return rows;
}

bool hasAlpha(Name format) {
    return kFormats[format].bytes == 4;
}

// Alphas of a sprite come in runs of 16 pixels: two transparent, two opaque, and an edge. Others are random.
std::vector<uint8_t> pixels(Name name, bool sprite) {
    const Format& f = kFormats[name];
    std::vector<uint8_t> bytes(static_cast<size_t>(kSide * kSide * f.bytes));
    uint32_t seed = 1;
    for (auto& byte : bytes)
        byte = static_cast<uint8_t>((seed = seed * 1664525 + 1013904223) >> 24);
    if (sprite && hasAlpha(name))
        for (int i = 0; i < kSide * kSide; ++i) {
            const int run = i / 16 % 5;
            const auto alpha = static_cast<uint32_t>(run < 2 ? 0 : run < 4 ? 255 : i % 16 * 16);
            auto& pixel = reinterpret_cast<uint32_t*>(bytes.data())[i];
            pixel = (pixel & ~f.a) | (f.a / 255 * alpha);
        }
    return bytes;
}

SDL_Surface* surface(Name name, std::vector<uint8_t>& bytes) {
    const Format& f = kFormats[name];
    return SDL_CreateRGBSurfaceFrom(bytes.data(), kSide, kSide, name == kR5G5B5 ? 15 : 8 * f.bytes,
                                    kSide * f.bytes, f.r, f.g, f.b, hasAlpha(name) ? f.a : 0);
}

} // namespace

int main(int argc, char** argv) {
    for (const Row& row : allRows()) {
        if (argc < 4) {
            std::printf("%s random\n", row.name.c_str());
            if (hasAlpha(row.src))
                std::printf("%s sprite\n", row.name.c_str());
        } else if (row.name == argv[1]) {
            std::vector<uint8_t> from = pixels(row.src, argv[2][0] == 's'), onto = pixels(row.dst, false);
            SDL_Surface *src = surface(row.src, from), *dst = surface(row.dst, onto);
            SDL_SetAlpha(src, SDL_SRCALPHA, static_cast<Uint8>(row.alpha));
            for (int i = 0; i < std::atoi(argv[3]); ++i)
                if (row.flag)
                    SDL_BlitSurfaceAlphaMask(src, 0, 0, dst, 0, 0, kSide, kSide, nullptr,
                                             static_cast<unsigned char>(row.alpha), row.flag);
                else
                    SDL_BlitAlphaSurface(src, nullptr, dst, nullptr);
        }
    }
}
