// SPDX-License-Identifier: Zlib
//
// One checksum per family of routines over a fixed stream of blits. tests/golden.txt holds the numbers;
// every processor, byte order and instruction set must give them.
//
// Images enter and leave as pixel values, so the host's byte order does not show. Only a 24-bit destination
// is taken as bytes: what its stores and blends do to the neighbouring byte is defined in memory.
//
// ORMSEL_GOLDEN_OUT=<file> also writes the numbers found, in the file's form.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>
#include <string_view>
#include <tuple>

#include <gtest/gtest.h>

#include <ormsel/ormsel.h>
#include <ormsel/ormsel_formats.h>

#include "tests/blits.h"

namespace {

constexpr long kScenesPerFamily = 5000, kBlitsPerScene = 16;
constexpr bool kBigEndian = SDL_BYTEORDER == SDL_BIG_ENDIAN;

struct Operation {
    std::string_view name;
    uint32_t flag;
    std::string prefix;
};
#define OPERATION(name, flag, prefix) {#name, flag, prefix},
const Operation kOperations[] = {ORMSEL_OPERATIONS(OPERATION)};

struct Pairing {
    Kind src, dst;
    bool masked;
    const Operation* operation;
};

#define STEM(name, stem, ...) {RGBFB_##name, #stem},
#define ROUTE(operation, source, destination, rule) {#operation, RGBFB_##source, RGBFB_##destination},

// The name of the routines that serve a pairing: by the stems of the formats where such a routine exists,
// else by the depths. Empty when nothing serves it.
std::string familyOf(const Pairing& p) {
    static const std::map<uint32_t, std::string> stems = {ORMSEL_FORMATS(STEM)};
    using Route = std::tuple<std::string_view, uint32_t, uint32_t>;
    static const Route routes[] = {ORMSEL_ROUTES(ROUTE)};
    const uint32_t from = p.src.recognised(), onto = p.dst.recognised();
    if (!p.masked && std::ranges::count(routes, Route{p.operation->name, from, onto}))
        return p.operation->prefix + stems.at(from) + (from == onto ? "" : "_" + stems.at(onto));
    if (p.operation != kOperations || (p.src.bytes() == 3 && p.dst.bytes() == 3))
        return {};
    return (p.masked ? "mask_" : "generic_") + std::to_string(8 * p.src.bytes()) + "_" +
           std::to_string(8 * p.dst.bytes());
}

// What has its channels in these places of a 24-bit value has them mirrored on the other byte order, if the
// bytes in memory are to be the same.
Kind sameBytesOnAnyHost(const Kind& kind) {
    if (!kBigEndian || kind.bytes() != 3)
        return kind;
    const auto mirror = [](uint32_t m) { return (m & 0xFF) << 16 | (m & 0xFF00) | m >> 16; };
    return {24,
            mirror(kind.r),
            mirror(kind.g),
            mirror(kind.b),
            0,
            kind.code ? kind.code ^ RGBFB_R8G8B8 ^ RGBFB_B8G8R8 : 0U};
}

std::map<std::string, std::vector<Pairing>> families() {
    std::vector<Kind> kinds = kSurfaceKinds;
    kinds.insert(kinds.end(), kBitmapKinds.begin(), kBitmapKinds.end());
    const auto whole = [](uint32_t m) { return m == 0xFF || m == 0xFF00 || m == 0xFF0000; };
    std::map<std::string, std::vector<Pairing>> result;
    for (const Kind& src : kinds)
        for (const Kind& dst : kinds)
            for (const bool masked : {false, true})
                for (const Operation& operation : kOperations) {
                    const bool callable = !masked || (src.code == 0) == (dst.code == 0);
                    const std::string family = familyOf({src, dst, masked, &operation});
                    if (callable && !family.empty() &&
                        (dst.bytes() != 3 || (whole(dst.r) && whole(dst.g) && whole(dst.b))))
                        result[family].push_back({src, sameBytesOnAnyHost(dst), masked, &operation});
                }
    return result;
}

// An image whose rows are filled to their pitch with whole pixels.
class Canvas {
public:
    Canvas(const Kind& kind, bool asBytes, Random& random)
        : bytes_(static_cast<size_t>(kind.bytes())), littleFirst_(asBytes || !kBigEndian) {
        const long width = random.between(1, 80), height = random.between(1, 3);
        const long pitch = (width + random.upTo(3)) * kind.bytes();
        memory_.resize(static_cast<size_t>(pitch * height));
        picture = Picture(kind, memory_.data(), width, height, pitch, random.oneIn(2));
    }

    // Much of it wholly transparent, opaque, black or white in one layout or another.
    void fill(Random& random) {
        for (size_t at = 0; at < memory_.size(); at += bytes_) {
            const uint64_t noise = random.next();
            auto value = static_cast<uint32_t>(noise);
            static constexpr uint32_t kExtremes[] = {0xFF, 0xFF000000, 0xFFFFFFFF, 0x8001};
            const uint32_t extreme = kExtremes[noise >> 32 & 3];
            const uint64_t choice = noise >> 34 & 3;
            value = choice == 0 ? value & ~extreme : choice == 1 ? value | extreme : value;
            for (size_t byte = 0; byte < bytes_; ++byte)
                memory_[at + byte] = static_cast<uint8_t>(value >> shiftOf(byte));
        }
    }

    const std::vector<uint8_t>& bytes() const { return memory_; }

    uint64_t fold(uint64_t sum) const {
        for (size_t at = 0; at < memory_.size(); at += bytes_) {
            uint32_t value = 0;
            for (size_t byte = 0; byte < bytes_; ++byte)
                value |= uint32_t{memory_[at + byte]} << shiftOf(byte);
            sum = (sum ^ value) * 0x9FB21C651E98DF25U;
        }
        return sum ^ sum >> 32;
    }

    Picture picture;

private:
    size_t shiftOf(size_t byte) const { return 8 * (littleFirst_ ? byte : bytes_ - 1 - byte); }

    size_t bytes_;
    bool littleFirst_;
    std::vector<uint8_t> memory_;
};

model::Blit chooseBlit(const Picture& src, const Picture& dst, Random& random) {
    model::Blit b{};
    const long width = src.image(0).width;
    b.srcX = random.oneIn(2) ? 0 : random.between(-2, width);
    b.srcY = random.oneIn(2) ? 0 : 1;
    b.dstX = random.between(-2, dst.image(0).width / 2);
    b.dstY = random.upTo(dst.image(0).height - 1);
    b.width = random.oneIn(2) ? width : random.between(1, width);
    b.height = src.image(0).height;
    const auto any = static_cast<unsigned>(random.upTo(255));
    b.alpha = random.oneIn(3) ? 255 : random.oneIn(2) ? random.of(kConstantAlphas) : any;
    b.flags = random.oneIn(4) ? ORMSEL_BLIT_COPY : static_cast<uint32_t>(random.upTo(3));
    return b;
}

void draw(const model::Blit& b, const Picture& src, const Picture& dst, const Picture& mask) {
    if (src.sdl())
        src.setAlpha(true, b.alpha);
    const Entry& entry = src.sdl() && dst.sdl() ? kSurfaceMasked
                         : src.sdl()            ? kSurfaceToBitmap
                         : dst.sdl()            ? kBitmapToSurface
                                                : kBitmapMasked;
    entry.call({b, src, dst, b.masked ? mask : Picture()});
}

// Draws, and tells the first pixel that the model has otherwise; empty: none.
std::string compare(model::Blit b, const Canvas& src, const Canvas& dst, const Picture& mask,
                    const std::vector<uint8_t>& coverage) {
    model::Memory expected;
    for (const auto* part : {&src.bytes(), &dst.bytes(), &coverage})
        expected.bytes.insert(expected.bytes.end(), part->begin(), part->end());
    expected.written.resize(expected.bytes.size());
    const long dstAt = std::ssize(src.bytes());
    b.src = src.picture.image(0), b.dst = dst.picture.image(dstAt);
    b.mask = mask.image(dstAt + std::ssize(dst.bytes()));
    draw(b, src.picture, dst.picture, mask);
    if (model::clip(b))
        model::draw(expected, b);
    for (long y = 0; y < b.dst.height; ++y)
        for (long x = 0; x < b.dst.width; ++x) {
            const uint32_t found = model::load(dst.bytes().data() - dstAt, b.dst, x, y),
                           right = model::load(expected.bytes.data(), b.dst, x, y);
            std::ostringstream out;
            out << "pixel (" << x << ", " << y << ") is " << std::hex << found << ", not " << right << ": ";
            if (found != right)
                return out.str() + describe(b);
        }
    return {};
}

// With `wrong`, also what the first pixel is that isn't the model's.
std::string checksum(const std::string& family, const std::vector<Pairing>& pairings,
                     std::string* wrong = nullptr) {
    uint64_t sum = 0;
    for (const char c : family)
        sum = sum * 31 + static_cast<uint8_t>(c);
    Random random(sum);
    for (long scene = 0; scene < kScenesPerFamily; ++scene) {
        const Pairing& p = random.of(pairings);
        Canvas src(p.src, false, random), dst(p.dst, p.dst.bytes() == 3, random);
        src.fill(random);
        dst.fill(random);
        const long width = src.picture.image(0).width, height = src.picture.image(0).height;
        std::vector<uint8_t> coverage(static_cast<size_t>(width * height));
        for (uint8_t& byte : coverage) {
            const uint64_t noise = random.next();
            byte = noise >> 8 & 1 ? static_cast<uint8_t>(noise) : noise >> 9 & 1 ? 255 : 0;
        }
        const Picture mask(p.src.code ? kBitmapMask : kSurfaceMask, coverage.data(), width, height, width);
        for (long i = 0; i < kBlitsPerScene; ++i) {
            model::Blit b = chooseBlit(src.picture, dst.picture, random);
            b.masked = p.masked;
            b.flags |= p.operation->flag;
            if (wrong && wrong->empty())
                *wrong = compare(b, src, dst, mask, coverage);
            else
                draw(b, src.picture, dst.picture, mask);
            sum = dst.fold(sum);
        }
    }
    std::ostringstream number;
    number << std::hex << std::setw(16) << std::setfill('0') << sum;
    return number.str();
}

TEST(Golden, EveryFamilyGivesItsNumber) {
    std::ifstream file(ORMSEL_GOLDEN_FILE);
    std::map<std::string, std::string> expected, found;
    for (std::string name, number; file >> name >> number;)
        expected[name] = number;
    for (const auto& [family, pairings] : families())
        if ((found[family] = checksum(family, pairings)) != expected[family]) {
            std::string pixel;
            checksum(family, pairings, &pixel);
            ADD_FAILURE() << family << " gives " << found[family] << ", not " << expected[family] << "; "
                          << (pixel.empty() ? "every pixel is the model's" : pixel);
        }
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_GE(static_cast<long>(found.size()) * kScenesPerFamily * kBlitsPerScene, 2000000);
    if (const char* path = std::getenv("ORMSEL_GOLDEN_OUT")) {
        std::ofstream out(path);
        for (const auto& [family, number] : found)
            out << family << " " << number << "\n";
    }
}

} // namespace
