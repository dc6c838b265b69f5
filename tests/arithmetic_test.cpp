// SPDX-License-Identifier: Zlib
//
// Every (source, destination, alpha) triple of every channel width, and every pair of pixel alpha and
// constant alpha, through the real routines.
#include <algorithm>

#include <gtest/gtest.h>

#include "blt/blt_routines.h"
#include "tests/images.h"

namespace {

using model::Channel;
using model::Format;

constexpr uint32_t unknown32 = 132, unknown16 = 116; // codes of formats that have none

Format formatOf(uint32_t code) {
    if (code == unknown32)
        return {0, 4, {0xFF000, 12, 0}, {0xFF00000, 20, 0}, {0xFF0, 4, 0}, {0xF, 0, 4}};
    if (code == unknown16)
        return {0, 2, {0xF00, 8, 4}, {0xF0, 4, 4}, {0xF, 0, 4}, {0xF000, 12, 4}};
    return *model::bitmapFormat(code);
}

// What carries the alpha of a triple: the source pixel, the mask, or the constant alpha alone.
enum Alpha { OfPixel, OfMask, Constant };

struct Pair {
    uint32_t from, onto;
    Alpha alpha;
    bool onBoard = false;
};
const std::vector<Pair> ontoRgb16 = {Pair{6, 10, OfPixel}, Pair{7, 10, OfPixel},   Pair{8, 10, OfPixel, true},
                                     Pair{9, 10, OfPixel}, Pair{10, 10, Constant}, Pair{2, 10, Constant},
                                     Pair{3, 10, Constant}};
const std::vector<Pair> ontoArgb32 = {Pair{6, 6, OfPixel}, Pair{7, 6, OfPixel}, Pair{8, 6, OfPixel},
                                      Pair{9, 6, OfPixel}};
const std::vector<Pair> generic = {
    Pair{6, 8, OfPixel},          Pair{8, 2, OfPixel},   Pair{6, 11, OfPixel},  Pair{9, unknown16, OfPixel},
    Pair{unknown32, 10, OfPixel}, Pair{10, 6, Constant}, Pair{11, 3, Constant}, Pair{unknown16, 9, Constant},
    Pair{3, 6, Constant},         Pair{2, 11, Constant}, Pair{6, 6, OfMask},    Pair{7, 10, OfMask},
    Pair{2, 10, OfMask},          Pair{10, 2, OfMask}};

// A blit of all that was added, in rows of 64 pixels.
class Bench {
public:
    explicit Bench(const Pair& pair) : onBoard_(pair.onBoard) {
        blit_.src = image(formatOf(pair.from), arena_.begin());
        blit_.dst = image(formatOf(pair.onto), arena_.begin() + most * 4 + 4);
        blit_.mask = image({0, 1, {}, {}, {}, {}}, blit_.dst.first + most * 4 + 4);
        blit_.masked = pair.alpha == OfMask;
        blit_.width = 64;
    }

    // Source channels s, ~s, s ^ 5A on destination channels that pair up in every way with them.
    void add(uint32_t s, uint32_t d, uint32_t alpha) {
        store(blit_.src, pixel(blit_.src.format, s, 255 - s, s ^ 0x5A, alpha));
        store(blit_.dst, pixel(blit_.dst.format, d, d ^ 0x33, 255 - d, d));
        store(blit_.mask, alpha);
        ++added_;
    }

    void check(uint32_t constantAlpha) {
        blit_.height = added_ / 64;
        blit_.alpha = constantAlpha;
        arena_.share(arena_.begin(), arena_.begin() + arena_.size());
        const BltContext ctx = contextFor(blit_, arena_.at(0));
        (blit_.masked ? BLT_FallbackBltMaskContext : BLT_FallbackBltContext)(&ctx);
        model::draw(arena_.memory, blit_);
        EXPECT_EQ(arena_.difference(arena_.begin(), arena_.begin() + arena_.size()), "")
            << "constant alpha " << constantAlpha << "\n"
            << describe(blit_);
        added_ = 0;
    }

private:
    static constexpr long most = 256 * 256;

    model::Image image(const Format& f, long first) const {
        return {first, first,   first + most * 4 + 4, static_cast<long>(64 * f.bytes), 64, most / 64,
                f,     onBoard_};
    }
    static uint32_t pixel(const Format& f, uint32_t r, uint32_t g, uint32_t b, uint32_t a) {
        const auto field = [](uint32_t value, const Channel& c) {
            return c.loss > 7 ? 0 : (value & 255U >> c.loss) << c.shift & c.mask;
        };
        // Alphas of fewer bits keep the upper ones.
        return field(r, f.r) | field(g, f.g) | field(b, f.b) | field(a >> f.a.loss % 8, f.a);
    }
    void store(const model::Image& image, uint32_t pixel) const {
        const long bytes = image.format.bytes;
        uint8_t* to = arena_.at(image.first + added_ * bytes);
        for (long i = 0; i < bytes; ++i)
            to[SDL_BYTEORDER == SDL_LIL_ENDIAN ? i : bytes - 1 - i] = static_cast<uint8_t>(pixel >> 8 * i);
    }

    bool onBoard_;
    Arena arena_{1, most * 9 + 8};
    model::Blit blit_{};
    long added_ = 0;
};

// All triples, the alpha being the pixel's, the mask's or the constant one.
void everyTriple(const std::vector<Pair>& pairs) {
    for (const Pair& pair : pairs) {
        // as many as the widest channel has; R5G6B5 has 64
        const auto values = [](const Format& f) { return 256U >> std::min({f.r.loss, f.g.loss, f.b.loss}); };
        Bench bench(pair);
        for (uint32_t alpha = 0; alpha < 256; alpha += stride()) {
            for (uint32_t s = 0; s < values(formatOf(pair.from)); ++s)
                for (uint32_t d = 0; d < values(formatOf(pair.onto)); ++d)
                    bench.add(s, d, alpha);
            bench.check(pair.alpha == Constant ? alpha : 255);
        }
    }
}

// All pairs of alphas on a sample of colours that holds the extremes.
void everyConstantAlpha(const std::vector<Pair>& pairs) {
    for (const Pair& pair : pairs) {
        Bench bench(pair);
        for (uint32_t c = 0; c < 256 && pair.alpha != Constant; c += stride()) {
            for (uint32_t alpha = 0; alpha < 256; ++alpha)
                for (uint32_t s : {0U, 255U, 1U, 254U, 127U, 8U, 200U, 77U})
                    for (uint32_t d : {0U, 255U, 1U, 254U, 127U, 8U, 200U, 77U})
                        bench.add(s, d, alpha);
            bench.check(c);
        }
    }
}

TEST(Arithmetic, Rgb16EveryTriple) {
    everyTriple(ontoRgb16);
}
TEST(Arithmetic, Argb32EveryTriple) {
    everyTriple(ontoArgb32);
}
TEST(Arithmetic, GenericEveryTriple) {
    everyTriple(generic);
}
TEST(Arithmetic, EveryConstantAlpha) {
    for (const auto* pairs : {&ontoRgb16, &ontoArgb32, &generic})
        everyConstantAlpha(*pairs);
}

} // namespace
