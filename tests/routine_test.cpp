// SPDX-License-Identifier: Zlib
//
// The routines and dispatchers with bare contexts, where nothing keeps them inside an image: results and
// write sets against the model.
#include <algorithm>
#include <span>
#include <utility>

#include <gtest/gtest.h>
#include <sys/mman.h>

#include "blt/blt_fallback.h"
#include "blt/blt_routines.h"
#include "tests/faults.h"
#include "tests/images.h"

namespace {

struct Routine {
    BltRoutine run;
    uint32_t from, onto; // format codes
};
constexpr Routine routines[] = {Routine{BLT_A8R8G8B8_R5G6B5, 6, 10},  Routine{BLT_A8B8G8R8_R5G6B5, 7, 10},
                                Routine{BLT_R8G8B8A8_R5G6B5, 8, 10},  Routine{BLT_B8G8R8A8_R5G6B5, 9, 10},
                                Routine{BLT_R5G6B5_R5G6B5, 10, 10},   Routine{BLT_R8G8B8_R5G6B5, 2, 10},
                                Routine{BLT_B8G8R8_R5G6B5, 3, 10},    Routine{BLT_A8R8G8B8_A8R8G8B8, 6, 6},
                                Routine{BLT_A8B8G8R8_A8R8G8B8, 7, 6}, Routine{BLT_R8G8B8A8_A8R8G8B8, 8, 6},
                                Routine{BLT_B8G8R8A8_A8R8G8B8, 9, 6}};

struct Generic {
    unsigned long (*run)(const BltContext*, unsigned char alphaFill);
    bool narrowSource, narrowDestination, masked;
};
constexpr Generic generics[] = {Generic{BLT_FallbackBltT<unsigned short, unsigned short>, true, true, false},
                                Generic{BLT_FallbackBltT<unsigned long, unsigned short>, false, true, false},
                                Generic{BLT_FallbackBltT<unsigned long, unsigned long>, false, false, false},
                                Generic{BLT_FallbackBltMaskT<unsigned long, unsigned short>, false, true, true},
                                Generic{BLT_FallbackBltMaskT<unsigned long, unsigned long>, false, false, true}};

// A call of a routine, a generic instance or, with neither, a dispatcher. Source, destination and mask lie
// anywhere in one arena of three parts, at any alignment, running up or down.
struct Bare {
    const Routine* routine = nullptr;
    const Generic* generic = nullptr;
    unsigned char alphaFill = 0;
    model::Blit blit{};

    Bare() { blit.src.end = blit.dst.end = blit.mask.end = 1 << 30; }

    // A random one; `width` and `height` limit the rectangle, and a part has `part` bytes.
    void choose(Random& random, long width, long height, long part) {
        const long kind = random.upTo(2);
        if (kind == 0) {
            routine = &random.of(routines);
            blit.src.format = *model::bitmapFormat(routine->from);
            blit.dst.format = *model::bitmapFormat(routine->onto);
        } else if (kind == 1) {
            generic = &random.of(generics);
            do {
                blit.src.format = anyFormat(random);
                blit.dst.format = anyFormat(random);
            } while ((blit.src.format.bytes == 2) != generic->narrowSource ||
                     (blit.dst.format.bytes == 2) != generic->narrowDestination ||
                     (blit.src.format.bytes == 3 && blit.dst.format.bytes == 3)); // served by no instance
            blit.masked = generic->masked;
            static constexpr unsigned char fills[] = {0, 255, 255, 0x5A};
            alphaFill = random.of(fills);
        } else {
            blit.src.format = oddFormat(random, false);
            blit.dst.format = oddFormat(random, true);
            blit.masked = random.oneIn(3);
        }
        blit.width = random.oneIn(40) ? 0 : random.upTo(width);
        blit.height = random.oneIn(40) ? 0 : random.upTo(height);
        blit.dst.onBoard = random.oneIn(2);
        blit.alpha = random.alpha();
        blit.flags = random.flags();
        blit.noMemory = random.oneIn(16);
        blit.mask.format.bytes = 1;
        placeSide(random, blit.src, blit.srcX, blit.srcY, Arena::page(), part);
        placeSide(random, blit.dst, blit.dstX, blit.dstY, Arena::page() + part, part);
        if (random.oneIn(6)) { // over the source
            const long top = Arena::page() + std::max(0L, -blit.dst.pitch * (blit.height - 1));
            moveDestination(std::max(start(blit.src, blit.srcX, blit.srcY) + random.between(-40, 40), top));
        }
        long x = blit.srcX, y = blit.srcY;
        placeSide(random, blit.mask, x, y, Arena::page() + 2 * part, part);
        blit.mask.first += start(blit.mask, x, y) - start(blit.mask, blit.srcX, blit.srcY);
    }

    void moveDestination(long at) { blit.dst.first += at - start(blit.dst, blit.dstX, blit.dstY); }

    unsigned long draw(const Arena& arena) const {
        const BltContext ctx = contextFor(blit, arena.at(0));
        if (generic)
            return generic->run(&ctx, alphaFill);
        return routine       ? routine->run(&ctx)
               : blit.masked ? BLT_FallbackBltMaskContext(&ctx)
                             : BLT_FallbackBltContext(&ctx);
    }

    void draw(model::Memory& memory) const {
        if (generic)
            model::drawGeneric(memory, blit, alphaFill);
        else
            model::draw(memory, blit);
    }

    std::string text() const {
        return (routine ? "routine\n" : generic ? "generic instance\n" : "dispatcher\n") + describe(blit);
    }

private:
    static model::Format anyFormat(Random& random) {
        uint8_t pixel[4] = {};
        model::Format format =
            Picture(random.of(random.oneIn(2) ? bitmapKinds : surfaceKinds), pixel, 1, 1, 4).image(0).format;
        if (random.oneIn(8)) { // a program wrote the record itself
            model::Channel* const colours[] = {&format.r, &format.g, &format.b};
            model::Channel& channel = *random.of(colours);
            channel.shift = static_cast<uint32_t>(random.upTo(15));
            channel.loss = static_cast<uint32_t>(random.upTo(8));
        }
        return format;
    }

    // Codes that no routine knows leave the choice to the depths, and a depth of 8 bits draws nothing.
    static model::Format oddFormat(Random& random, bool keepRgb16) {
        model::Format format = anyFormat(random);
        static constexpr uint32_t unknown[] = {0, 1, 4, 5, 11, 12, 15, 20, 21, 0x80000002};
        if (keepRgb16 && format.code == 10)
            return format;
        if (random.oneIn(4))
            format.code = random.of(unknown);
        return random.oneIn(20) ? model::Format{1, 1, {}, {}, {}, {}} : format;
    }

    static long start(const model::Image& image, long x, long y) {
        return image.first + y * image.pitch + x * static_cast<long>(image.format.bytes);
    }

    void placeSide(Random& random, model::Image& image, long& x, long& y, long base, long part) const {
        const long row = blit.width * static_cast<long>(image.format.bytes);
        const long gaps = std::max(0L, blit.height - 1);
        image.pitch = row + random.upTo(12);
        long at = base + 64 + random.upTo(part - 128 - row - gaps * image.pitch);
        if (random.oneIn(4)) { // bottom up
            at += gaps * image.pitch;
            image.pitch = -image.pitch;
        }
        x = random.between(-3, 9);
        y = random.between(-3, 9);
        image.first += at - start(image, x, y);
    }
};

TEST(Routine, RandomContextsEqualTheModel) {
    Arena arena(1, 3 * 24 * 1024);
    const auto body = [&](Random& random, long number) -> std::string {
        const bool wide = number % 8 == 0;
        const long part = wide ? 24 * 1024 : 2 * 1024, begin = arena.begin(), end = begin + 3 * part;
        Bare bare;
        bare.choose(random, wide ? (number % 64 == 0 ? 820 : 100) : 14, wide ? 3 : 7, part);
        random.fill(arena.at(begin), 3 * part);
        arena.share(begin, end);
        bare.draw(arena.memory);
        failAllocations(0, bare.blit.noMemory ? 1000 : 0);
        const unsigned long result = bare.draw(arena);
        failAllocations(0, 0);
        const std::string wrong = (result ? "result is not 0\n" : "") + arena.difference(begin, end);
        return wrong.empty() ? wrong : wrong + bare.text();
    };
    EXPECT_EQ(forCases(150000, body), "");
    EXPECT_EQ(liveAllocations(), 0);
}

// A page boundary runs through the destination, and the pages on one side of it are read-only: the call must
// fault exactly when the model writes there, be it an old value.
class WriteSets : public testing::Test {
protected:
    const long part = 8 * 1024;
    Arena arena{1, std::max(3 * part, 4 * Arena::page())};
    const long begin = arena.begin(), end = begin + arena.size();
    const long boundary = (begin + part + part / 2) / Arena::page() * Arena::page() + Arena::page();
    long seen[2] = {};

    std::string check(const Bare& bare, bool lowerSide) {
        const long from = lowerSide ? begin : boundary, to = lowerSide ? boundary : end;
        const model::Blit& blit = bare.blit;
        arena.share(begin, end);
        std::fill(arena.memory.written.begin(), arena.memory.written.end(), uint8_t{0});
        bare.draw(arena.memory);
        const auto written = arena.memory.written.begin();
        const bool expected = std::find(written + from, written + to, 1) != written + to;
        const bool copiesRows = blit.dst.format.code == 10 && !blit.masked && !bare.generic &&
                                (blit.dst.onBoard || blit.src.format.bytes < 4);
        if (expected && copiesRows)
            return {}; // a fault would leave the row copy allocated
        ++seen[expected];
        arena.protect(from, to, PROT_READ);
        const bool fault = faults([&] { bare.draw(arena); });
        arena.protect(begin, end, PROT_READ | PROT_WRITE);
        if (fault == expected)
            return {};
        return (fault ? "writes too much " : "leaves out bytes to write ") +
               std::string(lowerSide ? "below" : "above") + " the boundary\n" + bare.text();
    }
};

TEST_F(WriteSets, OfRandomContexts) {
    const auto body = [&](Random& random, long number) {
        Bare bare;
        bare.choose(random, number % 4 == 0 ? 80 : 14, 2, part);
        model::Blit& blit = bare.blit;
        blit.dst.pitch = std::abs(blit.dst.pitch);
        const long row = blit.width * static_cast<long>(blit.dst.format.bytes) + 4;
        bare.moveDestination(boundary - random.upTo(row));
        blit.noMemory = false;
        for (long at = begin; at < begin + 3 * part; at += 64) // alphas of 0 in many combinations
            random.fill(arena.at(at), 16 + 16 * random.upTo(3));
        return check(bare, random.oneIn(2));
    };
    EXPECT_EQ(forCases(40000, body), "");
    const auto [fewer, more] = std::minmax(seen[0], seen[1]);
    EXPECT_TRUE(more == 1 || fewer > more / 20);
}

// All sets of transparent pixels in one group of four, alone and in each place of a longer row, with the
// page boundary between the group's two words.
TEST_F(WriteSets, OfGroupsOfFour) {
    for (const Routine& routine : std::span(routines).first(4)) // those with alpha
        for (unsigned transparent = 0; transparent < 16; ++transparent)
            for (long group = 0; group < 12; ++group) {
                Bare bare;
                bare.routine = &routine;
                model::Blit& blit = bare.blit;
                blit.src.format = *model::bitmapFormat(routine.from);
                blit.dst.format = *model::bitmapFormat(routine.onto);
                blit.src.first = begin;
                blit.dst.first = boundary - 4 - 8 * group;
                blit.width = 4 * group + 4 + transparent % 4;
                blit.height = 1;
                blit.alpha = 255;
                std::fill_n(arena.at(begin), 4 * blit.width, uint8_t{0});
                for (unsigned i = 0; i < 4; ++i) // only the group under test has visible pixels
                    if (!(transparent >> i & 1))
                        std::fill_n(arena.at(begin + 4 * (4 * group + i)), 4, uint8_t{0x90});
                EXPECT_EQ(check(bare, false) + check(bare, true), "")
                    << "transparent set " << transparent << ", group " << group;
            }
}

// What a blit that draws nothing must not even read: the destination of a wholly transparent row, and
// source, destination and mask under a constant alpha too small to show.
TEST(Routine, TransparentRowsAreNotTouched) {
    const long page = Arena::page();
    if (page > INT16_MAX)
        GTEST_SKIP() << "a page is longer than the longest row";
    Arena arena(1, 12 * page);
    const auto forbid = [&](long from, long rows) { arena.protect(from, from + rows * page, PROT_NONE); };
    const auto body = [&](Random& random, long number) {
        Bare bare;
        bare.choose(random, 100, 4, 4096);
        model::Blit& blit = bare.blit;
        blit.dst.onBoard = blit.noMemory = false;
        blit.flags &= ~4U;
        bare.alphaFill = 0;
        blit.srcX = blit.srcY = blit.dstX = blit.dstY = 0;
        long first = arena.begin();
        for (model::Image* image : {&blit.src, &blit.mask, &blit.dst})
            image->pitch = page, image->first = std::exchange(first, first + 4 * page);
        const bool nothing = (!blit.masked && blit.src.format.bytes < 4) || random.oneIn(8);
        if (nothing)
            blit.alpha = static_cast<uint32_t>(random.upTo(bare.routine && bare.routine->onto == 10 ? 7 : 0));
        random.fill(arena.at(arena.begin()), 8 * page);
        for (long y = 0; y < 4; ++y)
            if (nothing || (number >> y & 1) != 0) {
                const model::Image& deciding = blit.masked ? blit.mask : blit.src;
                std::fill_n(arena.at(deciding.first + y * page), page, uint8_t{0});
                forbid(blit.dst.first + y * page, 1);
            }
        if (nothing)
            forbid(arena.begin(), 8);
        const bool fault = faults([&] { bare.draw(arena); });
        arena.protect(arena.begin(), arena.begin() + arena.size(), PROT_READ | PROT_WRITE);
        return fault ? "touches hidden rows\n" + bare.text() : std::string();
    };
    EXPECT_EQ(forCases(3000, body), "");
}

} // namespace
