// SPDX-License-Identifier: Zlib
//
// Every (source, destination, alpha) triple of every channel width, and every pair of pixel alpha and
// constant alpha, through the real routines.
#include <algorithm>
#include <array>
#include <utility>

#include <gtest/gtest.h>

#include <ormsel/ormsel_formats.h>

#include "blt/blt_routines.h"
#include "tests/images.h"

namespace {

using model::Channel;
using model::Format;

// What carries the alpha of a triple: the source pixel or, where it has none, the constant alpha; or a mask.
struct Pair {
    std::string from, onto;
    bool masked = false;
    uint32_t flags = 0;
    std::string prefix = {};

    std::string name() const { return prefix + from + "_" + onto + (masked ? "_masked" : ""); }
};
#define OPERATION(name, flag, prefix)                                                                        \
    Pair by##name(std::string from, std::string onto) {                                                      \
        return {std::move(from), std::move(onto), false, flag, prefix};                                      \
    }
ORMSEL_OPERATIONS(OPERATION)
#define ROUTE(operation, source, destination, rule) by##operation(#source, #destination),
const Pair kRoutes[] = {ORMSEL_ROUTES(ROUTE)};
const Pair kOthers[] = {
    {"A8R8G8B8", "R8G8B8A8"},   {"R8G8B8A8", "R8G8B8"},         {"A8R8G8B8", "R5G5B5"},
    {"B8G8R8A8", "A4R4G4B4"},   {"G8R8B8A4", "R5G6B5"},         {"R5G6B5", "A8R8G8B8"},
    {"R5G5B5", "B8G8R8"},       {"A4R4G4B4", "B8G8R8A8"},       {"B8G8R8", "A8R8G8B8"},
    {"R8G8B8", "R5G5B5"},       {"A8R8G8B8", "A8R8G8B8", true}, {"A8B8G8R8", "R5G6B5", true},
    {"R8G8B8", "R5G6B5", true}, {"R5G6B5", "R8G8B8", true}};

class Arithmetic : public testing::TestWithParam<Pair> {
protected:
    Arithmetic() {
        blit_.src = image(model::formatNamed(GetParam().from), arena_.begin());
        blit_.dst = image(model::formatNamed(GetParam().onto), arena_.begin() + kMost * 4 + 4);
        blit_.mask = image({0, 1, {}, {}, {}, {}}, blit_.dst.first + kMost * 4 + 4);
        blit_.masked = GetParam().masked;
        blit_.flags = GetParam().flags;
        blit_.width = 64;
    }

    // Adds a pixel to the blit: source channels s, ~s, s ^ 5A on destination channels that pair up in every
    // way with them.
    void add(uint32_t s, uint32_t d, uint32_t alpha) {
        store(blit_.src, pixel(blit_.src.format, s, 255 - s, s ^ 0x5A, alpha));
        store(blit_.dst, pixel(blit_.dst.format, d, d ^ 0x33, 255 - d, d));
        store(blit_.mask, alpha);
        triples_.push_back({s, d, alpha});
    }

    // Draws all that was added, in rows of 64 pixels.
    void check(uint32_t constantAlpha) {
        blit_.height = added() / 64;
        blit_.alpha = constantAlpha;
        const Range all = {arena_.begin(), arena_.begin() + arena_.size()};
        arena_.share(all);
        const BltContext ctx = contextFor(blit_, arena_.at(0));
        (blit_.masked ? BLT_FallbackBltMaskContext : BLT_FallbackBltContext)(&ctx);
        model::draw(arena_.memory, blit_);
        const std::string wrong = arena_.difference(all, blit_);
        for (long i = 0; !wrong.empty() && i < added(); ++i)
            if (valueOf(arena_.at(0), i) != valueOf(arena_.memory.bytes.data(), i)) {
                const auto [s, d, alpha] = triples_[static_cast<size_t>(i)];
                FAIL() << "source channel " << s << ", destination channel " << d << ", alpha " << alpha
                       << "\n"
                       << wrong << describe(blit_);
            }
        EXPECT_EQ(wrong, "");
        triples_.clear();
    }

private:
    static constexpr long kMost = 256 * 256;

    static model::Image image(const Format& f, long first) {
        return {first, first, first + kMost * 4 + 4, static_cast<long>(64 * f.bytes), 64, kMost / 64,
                f,     false};
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
        uint8_t* to = arena_.at(image.first + added() * bytes);
        for (long i = 0; i < bytes; ++i)
            to[SDL_BYTEORDER == SDL_LIL_ENDIAN ? i : bytes - 1 - i] = static_cast<uint8_t>(pixel >> 8 * i);
    }
    long added() const { return static_cast<long>(triples_.size()); }
    uint32_t valueOf(const uint8_t* memory, long i) const {
        return model::load(memory, blit_.dst, i % 64, i / 64);
    }

    Arena arena_{1, kMost * 9 + 8};
    model::Blit blit_{};
    std::vector<std::array<uint32_t, 3>> triples_;
};

TEST_P(Arithmetic, EveryTriple) {
    const Format from = model::formatNamed(GetParam().from), onto = model::formatNamed(GetParam().onto);
    const bool constant = from.bytes != 4 && !GetParam().masked;
    // as many as the widest channel has; R5G6B5 has 64
    const auto values = [](const Format& f) { return 256U >> std::min({f.r.loss, f.g.loss, f.b.loss}); };
    for (uint32_t alpha = 0; alpha < 256 && !HasFatalFailure(); alpha += stride()) {
        for (uint32_t s = 0; s < values(from); ++s)
            for (uint32_t d = 0; d < values(onto); ++d)
                add(s, d, alpha);
        check(constant ? alpha : 255);
    }
    // All pairs of alphas on a sample of colours that holds the extremes.
    for (uint32_t c = 0; c < 256 && !constant && !HasFatalFailure(); c += stride()) {
        for (uint32_t alpha = 0; alpha < 256; ++alpha)
            for (uint32_t s : {0U, 255U, 1U, 254U, 127U, 8U, 200U, 77U})
                for (uint32_t d : {0U, 255U, 1U, 254U, 127U, 8U, 200U, 77U})
                    add(s, d, alpha);
        check(c);
    }
}

std::string nameOf(const testing::TestParamInfo<Pair>& pair) {
    return pair.param.name();
}
INSTANTIATE_TEST_SUITE_P(Routes, Arithmetic, testing::ValuesIn(kRoutes), nameOf);
INSTANTIATE_TEST_SUITE_P(Others, Arithmetic, testing::ValuesIn(kOthers), nameOf);

} // namespace
