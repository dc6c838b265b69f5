// SPDX-License-Identifier: Zlib
//
// Every (source, destination, alpha) triple of every channel width, and every pair of pixel alpha and
// constant alpha, through the real routines.
#include <algorithm>
#include <bit>
#include <cstring>

#include <gtest/gtest.h>

#include "blt/blt_routines.h"
#include "tests/images.h"

namespace {

using model::Channel;
using model::Format;

const Format unknown32 = {0, 4, {0xFF000, 12, 0}, {0xFF00000, 20, 0}, {0xFF0, 4, 0}, {0xF, 0, 4}};
const Format unknown16 = {0, 2, {0xF00, 8, 4}, {0xF0, 4, 4}, {0xF, 0, 4}, {0xF000, 12, 4}};

const Format& code(uint32_t c) {
    return *model::bitmapFormat(c);
}

// What carries the alpha of a triple: the source pixel, the mask, or the constant alpha alone.
enum class Alpha { Pixel, Mask, Constant };

struct Pair {
    const char* name;
    Format from, onto;
    Alpha alpha;
    bool onBoard = false;
};

const Pair rgb16Pairs[] = {
    {"A8R8G8B8_R5G6B5", code(6), code(10), Alpha::Pixel},
    {"A8B8G8R8_R5G6B5", code(7), code(10), Alpha::Pixel},
    {"R8G8B8A8_R5G6B5", code(8), code(10), Alpha::Pixel},
    {"B8G8R8A8_R5G6B5", code(9), code(10), Alpha::Pixel},
    {"A8R8G8B8_R5G6B5 on board", code(6), code(10), Alpha::Pixel, true},
    {"R8G8B8A8_R5G6B5 on board", code(8), code(10), Alpha::Pixel, true},
    {"R5G6B5_R5G6B5", code(10), code(10), Alpha::Constant},
    {"R8G8B8_R5G6B5", code(2), code(10), Alpha::Constant},
    {"B8G8R8_R5G6B5", code(3), code(10), Alpha::Constant},
};

const Pair argb32Pairs[] = {
    {"A8R8G8B8_A8R8G8B8", code(6), code(6), Alpha::Pixel},
    {"A8B8G8R8_A8R8G8B8", code(7), code(6), Alpha::Pixel},
    {"R8G8B8A8_A8R8G8B8", code(8), code(6), Alpha::Pixel},
    {"B8G8R8A8_A8R8G8B8", code(9), code(6), Alpha::Pixel},
};

const Pair genericPairs[] = {
    {"generic 32 onto 32", code(6), code(8), Alpha::Pixel},
    {"generic 32 onto 24", code(8), code(2), Alpha::Pixel},
    {"generic 32 onto R5G5B5", code(6), code(11), Alpha::Pixel},
    {"generic 32 onto 4 bits", code(9), unknown16, Alpha::Pixel},
    {"generic unknown 32 onto R5G6B5", unknown32, code(10), Alpha::Pixel},
    {"generic 16 onto 32", code(10), code(6), Alpha::Constant},
    {"generic R5G5B5 onto 24", code(11), code(3), Alpha::Constant},
    {"generic 4 bits onto 32", unknown16, code(9), Alpha::Constant},
    {"generic 24 onto 32", code(3), code(6), Alpha::Constant},
    {"generic 24 onto R5G5B5", code(2), code(11), Alpha::Constant},
    {"masked 32 onto 32", code(6), code(6), Alpha::Mask},
    {"masked 32 onto 16", code(7), code(10), Alpha::Mask},
    {"masked 24 onto 16", code(2), code(10), Alpha::Mask},
    {"masked 16 onto 24", code(10), code(2), Alpha::Mask},
};

// One image of pixels of each kind, compared after a blit.
class Bench {
public:
    explicit Bench(const Pair& pair) : pair_(pair) {}

    // Source channels (s, ~s, s ^ 5A...) on destination channels that pair up in every way with them.
    void add(uint32_t s, uint32_t d, uint32_t alpha) {
        push(source_, pair_.from, pixel(pair_.from, s, 255 - s, s ^ 0x5A, alpha));
        push(destination_, pair_.onto, pixel(pair_.onto, d, d ^ 0x33, 255 - d, d));
        mask_.push_back(static_cast<uint8_t>(alpha));
    }

    // Draws in rows of `width` pixels, which must divide what was added.
    void check(uint32_t constantAlpha, long width) {
        const long rows = static_cast<long>(mask_.size()) / width;
        // Room for the byte that a 24-bit pixel takes with it
        source_.resize(source_.size() + 4);
        destination_.resize(destination_.size() + 4);
        model::Blit blit{};
        const auto image = [&](const Format& f, long first, size_t bytes) {
            return model::Image{first,
                                first,
                                first + static_cast<long>(bytes),
                                width * static_cast<long>(f.bytes),
                                width,
                                rows,
                                f,
                                pair_.onBoard};
        };
        const long to = static_cast<long>(source_.size());
        blit.src = image(pair_.from, 0, source_.size());
        blit.dst = image(pair_.onto, to, destination_.size());
        blit.masked = pair_.alpha == Alpha::Mask;
        blit.mask = image({0, 1, {}, {}, {}, {}}, to + static_cast<long>(destination_.size()), mask_.size());
        blit.width = width;
        blit.height = rows;
        blit.alpha = constantAlpha;
        memory_.bytes = source_;
        memory_.bytes.insert(memory_.bytes.end(), destination_.begin(), destination_.end());
        memory_.bytes.insert(memory_.bytes.end(), mask_.begin(), mask_.end());
        memory_.written.resize(memory_.bytes.size());
        const BltContext ctx = contextFor(blit, source_.data(), destination_.data(), mask_.data());
        (blit.masked ? BLT_FallbackBltMaskContext : BLT_FallbackBltContext)(&ctx);
        model::draw(memory_, blit);
        const uint8_t* expected = memory_.bytes.data() + to;
        if (std::memcmp(expected, destination_.data(), destination_.size()) != 0) {
            const auto at = std::mismatch(destination_.begin(), destination_.end(), expected).first -
                            destination_.begin();
            ADD_FAILURE() << pair_.name << ", constant alpha " << constantAlpha << ", pixel "
                          << at / pair_.onto.bytes << " of " << mask_.size();
        }
        source_.clear();
        destination_.clear();
        mask_.clear();
    }

private:
    static uint32_t pixel(const Format& f, uint32_t r, uint32_t g, uint32_t b, uint32_t a) {
        const auto field = [](uint32_t value, const Channel& c) {
            return c.loss > 7 ? 0 : (value & 255U >> c.loss) << c.shift & c.mask;
        };
        // Alphas of fewer bits keep the upper ones.
        return field(r, f.r) | field(g, f.g) | field(b, f.b) | field(a >> f.a.loss % 8, f.a);
    }
    static void push(std::vector<uint8_t>& to, const Format& f, uint32_t pixel) {
        if (std::endian::native == std::endian::big)
            pixel <<= 8 * (4 - f.bytes);
        uint8_t bytes[4];
        std::memcpy(bytes, &pixel, 4);
        to.insert(to.end(), bytes, bytes + f.bytes);
    }

    const Pair& pair_;
    std::vector<uint8_t> source_, destination_, mask_;
    model::Memory memory_;
};

uint32_t values(const Format& f) { // of the widest channel; R5G6B5 has 64
    return 256U >> std::min({f.r.loss, f.g.loss, f.b.loss});
}

// All triples, the alpha being the pixel's, the mask's or the constant one.
void everyTriple(const Pair& pair) {
    SCOPED_TRACE(pair.name);
    const uint32_t sources = values(pair.from), destinations = values(pair.onto);
    for (uint32_t alpha = 0; alpha < 256; alpha += static_cast<uint32_t>(stride())) {
        Bench bench(pair);
        for (uint32_t s = 0; s < sources; ++s)
            for (uint32_t d = 0; d < destinations; ++d)
                bench.add(s, d, alpha);
        bench.check(pair.alpha == Alpha::Constant ? alpha : 255, static_cast<long>(destinations));
    }
}

// All pairs of alphas on a sample of colours that holds the extremes.
void everyConstantAlpha(const Pair& pair) {
    SCOPED_TRACE(pair.name);
    static constexpr uint32_t sample[] = {0, 255, 1, 254, 127, 8, 200};
    Random random(7);
    for (uint32_t c = 0; c < 256; c += static_cast<uint32_t>(stride())) {
        Bench bench(pair);
        for (uint32_t alpha = 0; alpha < 256; ++alpha) {
            for (uint32_t s : sample)
                for (uint32_t d : sample)
                    bench.add(s, d, alpha);
            for (int i = 0; i < 15; ++i)
                bench.add(static_cast<uint32_t>(random.upTo(255)), static_cast<uint32_t>(random.upTo(255)),
                          alpha);
        }
        bench.check(c, 128);
    }
}

TEST(Arithmetic, Rgb16EveryTriple) {
    for (const Pair& pair : rgb16Pairs)
        everyTriple(pair);
}

TEST(Arithmetic, Argb32EveryTriple) {
    for (const Pair& pair : argb32Pairs)
        everyTriple(pair);
}

TEST(Arithmetic, GenericEveryTriple) {
    for (const Pair& pair : genericPairs)
        everyTriple(pair);
}

TEST(Arithmetic, EveryConstantAlpha) {
    for (const auto& pairs : {std::vector<Pair>(std::begin(rgb16Pairs), std::end(rgb16Pairs)),
                              std::vector<Pair>(std::begin(argb32Pairs), std::end(argb32Pairs)),
                              std::vector<Pair>(std::begin(genericPairs), std::end(genericPairs))})
        for (const Pair& pair : pairs)
            if (pair.alpha != Alpha::Constant)
                everyConstantAlpha(pair);
}

} // namespace
