// SPDX-License-Identifier: Zlib
//
// One checksum per family of routines over a fixed stream of blits. tests/golden.txt holds the numbers;
// every processor, byte order and instruction set must give them.
//
// Images enter and leave as pixel values, so the host's byte order does not show. Only a 24-bit destination
// is taken as bytes: what its stores and blends do to the neighbouring byte is defined in memory.
//
// ORMSEL_GOLDEN_OUT=<file> also writes the numbers found, in the file's form.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include "ormsel/ormsel.h"
#include "tests/images.h"

namespace {

constexpr long kScenesPerFamily = 5000, kBlitsPerScene = 16;
constexpr bool kBigEndian = SDL_BYTEORDER == SDL_BIG_ENDIAN;

// A layout of a surface, or the code of a bitmap when `code` is not 0.
struct Kind {
    SurfaceFormat layout;
    uint32_t code;

    bool isSurface() const { return code == 0; }
    uint32_t bytes() const {
        return isSurface() ? static_cast<uint32_t>(layout.depth + 7) / 8 : ofCode().bytes;
    }
    uint32_t red() const { return isSurface() ? layout.r : ofCode().r.mask; }
    const model::Format& ofCode() const { return *model::bitmapFormat(code); }
};

struct Pairing {
    Kind src, dst;
    bool masked;
};

// Kept apart from the layouts of the other tests: another line here means other numbers.
constexpr SurfaceFormat layouts[] = {
    {16, 0xF800, 0x7E0, 0x1F, 0},
    {15, 0x7C00, 0x3E0, 0x1F, 0},
    {16, 0x7C00, 0x3E0, 0x1F, 0x8000},
    {16, 0xF800, 0x7C0, 0x3E, 1},
    {16, 0xF000, 0xF00, 0xF0, 0xF},
    {16, 0xF00, 0xF0, 0xF, 0xF000},
    {16, 0xF, 0xF0, 0xF00, 0xF000},
    {15, 0x3E0, 0x7C00, 0x1F, 0},
    {16, 0x5000, 0xE0, 7, 0x300},
    {24, 0xFF0000, 0xFF00, 0xFF, 0},
    {24, 0xFF, 0xFF00, 0xFF0000, 0},
    {24, 0xFF00, 0xFF, 0xFF0000, 0},
    {24, 0xFC0000, 0x3F000, 0xFC0, 0x3F},
    {24, 0x3F, 0x3F000, 0xFC0, 0},
    {32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000},
    {32, 0xFF, 0xFF00, 0xFF0000, 0xFF000000},
    {32, 0xFF000000, 0xFF0000, 0xFF00, 0xFF},
    {32, 0xFF00, 0xFF0000, 0xFF000000, 0xFF},
    {32, 0xFF0000, 0xFF00, 0xFF, 0},
    {32, 0xFF, 0xFF00, 0xFF0000, 0},
    {32, 0xFF000000, 0xFF0000, 0xFF00, 0},
    {32, 0xFF00, 0xFF0000, 0xFF000000, 0},
    {32, 0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000},
    {32, 0xFFC00000, 0x3FF000, 0xFFC, 3},
    {32, 0xF80000, 0xFC00, 0xF8, 0xFF000000},
    {32, 0xFFFF0000, 0xFF00, 0xFF, 0},
    {32, 0xFF00000, 0xFF000, 0xFF0, 0xF},
    {32, 0xFF0000, 0xFF, 0xFF000000, 0xF00},
    {32, 0xFF00, 0xFF00, 0xFF, 0xFF000000},
    {32, 0xFF, 0xFF00, 0xFF000000, 0xFF000000},
    {24, 0xFF, 0xFF, 0xFF, 0},
    {16, 0x7E0, 0x7E0, 0x1F, 0xF800},
};
constexpr uint32_t codes[] = {2, 3, 6, 7, 8, 9, 10, 11};

const char* colourOrder(const Kind& kind) {
    const uint32_t red = kind.red();
    switch (kind.bytes()) {
    case 2:
        return red == 0xF800 ? "rgb16" : nullptr;
    case 3:
        return red == 0xFF0000 ? "rgb24" : "bgr24";
    default:
        return red == 0xFF0000     ? "argb32"
               : red == 0xFF       ? "abgr32"
               : red == 0xFF000000 ? "rgba32"
               : red == 0xFF00     ? "bgra32"
                                   : nullptr;
    }
}

// The name of the routines that serve a pairing: by the orders of colours where such a routine exists, else
// by the depths. Empty when nothing serves it.
std::string familyOf(const Pairing& p) {
    const char *src = colourOrder(p.src), *dst = colourOrder(p.dst);
    if (!p.masked && src && dst && std::string(dst) == "rgb16")
        return src == std::string("rgb16") ? src : std::string(src) + "_" + dst;
    if (!p.masked && src && p.src.bytes() == 4 && dst && std::string(dst) == "argb32")
        return src == std::string("argb32") ? src : std::string(src) + "_" + dst;
    if (p.src.bytes() == 3 && p.dst.bytes() == 3)
        return {};
    return (p.masked ? "mask_" : "generic_") + std::to_string(8 * p.src.bytes()) + "_" +
           std::to_string(8 * p.dst.bytes());
}

// What has its channels in these places of a 24-bit value has them mirrored on the other byte order, if the
// bytes in memory are to be the same.
Kind sameBytesOnAnyHost(Kind kind) {
    if (!kBigEndian || kind.bytes() != 3)
        return kind;
    const auto mirror = [](uint32_t m) { return (m & 0xFF) << 16 | (m & 0xFF00) | m >> 16; };
    kind.layout = {24, mirror(kind.layout.r), mirror(kind.layout.g), mirror(kind.layout.b), 0};
    kind.code = kind.isSurface() ? 0 : kind.code ^ 1; // RGBFB_R8G8B8 and RGBFB_B8G8R8
    return kind;
}

bool hasWholeBytes(const Kind& kind) {
    const auto whole = [](uint32_t m) { return m == 0xFF || m == 0xFF00 || m == 0xFF0000; };
    return !kind.isSurface() || (whole(kind.layout.r) && whole(kind.layout.g) && whole(kind.layout.b));
}

std::map<std::string, std::vector<Pairing>> families() {
    std::vector<Kind> kinds;
    for (const SurfaceFormat& layout : layouts)
        kinds.push_back({layout, 0});
    for (const uint32_t code : codes)
        kinds.push_back({{}, code});
    std::map<std::string, std::vector<Pairing>> result;
    for (const Kind& src : kinds)
        for (const Kind& dst : kinds)
            for (const bool masked : {false, true}) {
                const bool callable = !masked || src.isSurface() == dst.isSurface();
                const std::string family = familyOf({src, dst, masked});
                if (callable && !family.empty() && (dst.bytes() != 3 || hasWholeBytes(dst)))
                    result[family].push_back({src, sameBytesOnAnyHost(dst), masked});
            }
    return result;
}

// An image whose rows are filled to their pitch with whole pixels.
class Canvas {
public:
    Canvas(const Kind& kind, bool asBytes, Random& random)
        : bytes_(kind.bytes()), littleFirst_(asBytes || !kBigEndian) {
        width = random.between(1, 80);
        height = random.between(1, 3);
        columns_ = width + random.upTo(3);
        memory_.resize(static_cast<size_t>(columns_ * height) * bytes_);
        const bool onBoard = random.oneIn(2);
        const long pitch = columns_ * static_cast<long>(bytes_);
        picture = kind.isSurface()
                      ? Picture::surface(kind.layout, memory_.data(), width, height, pitch)
                      : Picture::bitmap(kind.code, memory_.data(), width, height, pitch, onBoard);
    }

    // Much of it wholly transparent, opaque, black or white in one layout or another.
    void fill(Random& random) {
        for (size_t at = 0; at < memory_.size(); at += bytes_) {
            const uint64_t noise = random.next();
            const auto value = static_cast<uint32_t>(noise);
            static constexpr uint32_t extremes[] = {0xFF, 0xFF000000, 0xFFFFFFFF, 0x8001};
            const uint32_t extreme = extremes[noise >> 32 & 3];
            const uint64_t choice = noise >> 34 & 3;
            store(at, choice == 0 ? value & ~extreme : choice == 1 ? value | extreme : value);
        }
    }

    uint64_t fold(uint64_t sum) const {
        for (size_t at = 0; at < memory_.size(); at += bytes_)
            sum = (sum ^ load(at)) * 0x9FB21C651E98DF25U;
        return sum ^ sum >> 32;
    }

    SDL_Surface* sdl() const { return picture.sdl(); }
    BitMap* native() const { return picture.native(); }

    long width = 0, height = 0;
    Picture picture;

private:
    size_t shiftOf(size_t byte) const { return 8 * (littleFirst_ ? byte : bytes_ - 1 - byte); }
    uint32_t load(size_t at) const {
        uint32_t value = 0;
        if (bytes_ == 4)
            std::memcpy(&value, &memory_[at], 4);
        else
            for (size_t byte = 0; byte < bytes_; ++byte)
                value |= uint32_t{memory_[at + byte]} << shiftOf(byte);
        return value;
    }
    void store(size_t at, uint32_t value) {
        for (size_t byte = 0; byte < bytes_; ++byte)
            memory_[at + byte] = static_cast<uint8_t>(value >> shiftOf(byte));
    }

    size_t bytes_;
    bool littleFirst_;
    long columns_ = 0;
    std::vector<uint8_t> memory_;
};

void blit(const Pairing& p, Canvas& src, const Canvas& dst, const Picture& mask, Random& random) {
    const long srcX = random.oneIn(2) ? 0 : random.between(-2, src.width), srcY = random.oneIn(2) ? 0 : 1;
    const long dstX = random.between(-2, dst.width / 2), dstY = random.upTo(dst.height - 1);
    const auto width = static_cast<unsigned long>(random.oneIn(2) ? src.width : random.between(1, src.width));
    const auto height = static_cast<unsigned long>(src.height);
    const auto any = static_cast<unsigned>(random.upTo(255));
    static constexpr unsigned limits[] = {0, 1, 7, 8, 15, 16, 31, 100, 127, 128, 200, 247, 248, 254, 255};
    const auto alpha = static_cast<uint8_t>(random.oneIn(3)   ? 255
                                            : random.oneIn(2) ? random.of(limits)
                                                              : any);
    const uint32_t flags = random.oneIn(4) ? ORMSEL_BLIT_COPY : static_cast<uint32_t>(random.upTo(3));
    if (p.src.isSurface() && p.dst.isSurface()) {
        SDL_BlitSurfaceAlphaMask(src.sdl(), srcX, srcY, dst.sdl(), dstX, dstY, width, height,
                                 p.masked ? mask.sdl() : nullptr, alpha, flags);
    } else if (p.src.isSurface()) {
        src.picture.setAlpha(true, alpha);
        SDL_BlitAlphaSurfaceBitMap(src.sdl(), srcX, srcY, dst.native(), dstX, dstY, width, height, flags);
    } else if (p.dst.isSurface()) {
        SDL_BlitAlphaBitMapSurface(src.native(), srcX, srcY, dst.sdl(), dstX, dstY, width, height, alpha,
                                   flags);
    } else {
        BltBitMapAlphaMask(src.native(), srcX, srcY, dst.native(), dstX, dstY, width, height,
                           p.masked ? mask.native() : nullptr, alpha, flags);
    }
}

uint64_t checksum(const std::string& family, const std::vector<Pairing>& pairings) {
    uint64_t sum = 0;
    for (const char c : family)
        sum = sum * 31 + static_cast<uint8_t>(c);
    Random random(sum);
    for (long scene = 0; scene < kScenesPerFamily; ++scene) {
        const Pairing& p = random.of(pairings);
        Canvas src(p.src, false, random), dst(p.dst, p.dst.bytes() == 3, random);
        src.fill(random);
        dst.fill(random);
        std::vector<uint8_t> coverage(static_cast<size_t>(src.width * src.height));
        for (uint8_t& byte : coverage) {
            const uint64_t noise = random.next();
            byte = noise >> 8 & 1 ? static_cast<uint8_t>(noise) : noise >> 9 & 1 ? 255 : 0;
        }
        const Picture mask = p.src.isSurface()
                                 ? Picture::surfaceMask(coverage.data(), src.width, src.height, src.width)
                                 : Picture::bitmapMask(coverage.data(), src.width, src.height, src.width);
        for (long i = 0; i < kBlitsPerScene; ++i) {
            blit(p, src, dst, mask, random);
            sum = dst.fold(sum);
        }
    }
    return sum;
}

std::map<std::string, std::string> recorded() {
    std::ifstream file(ORMSEL_GOLDEN_FILE);
    std::map<std::string, std::string> result;
    for (std::string name, number; file >> name >> number;)
        result[name] = number;
    return result;
}

TEST(Golden, EveryFamilyGivesItsNumber) {
    const std::map<std::string, std::string> expected = recorded();
    const auto all = families();
    std::ostringstream found;
    for (const auto& [family, pairings] : all) {
        std::ostringstream number;
        number << std::hex << std::setw(16) << std::setfill('0') << checksum(family, pairings);
        found << family << " " << number.str() << "\n";
        const auto line = expected.find(family);
        EXPECT_EQ(number.str(), line == expected.end() ? "nothing" : line->second) << family;
    }
    EXPECT_EQ(all.size(), expected.size());
    EXPECT_GE(static_cast<long>(all.size()) * kScenesPerFamily * kBlitsPerScene, 2000000);
    if (const char* path = std::getenv("ORMSEL_GOLDEN_OUT"))
        std::ofstream(path) << found.str();
}

} // namespace
