// SPDX-License-Identifier: Zlib
//
// The routines and dispatchers with bare contexts, where nothing keeps them inside an image: results and
// write sets against the model.
#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>
#include <host/testing.h>
#include <sys/mman.h>

#include "blt/blt_fallback.h"
#include "blt/blt_routines.h"
#include "tests/images.h"

namespace {

struct Routine {
    const char* name;
    BltRoutine run;
    uint32_t from, onto; // format codes
};
constexpr Routine routines[] = {
    {"A8R8G8B8_R5G6B5", BLT_A8R8G8B8_R5G6B5, 6, 10},    {"A8B8G8R8_R5G6B5", BLT_A8B8G8R8_R5G6B5, 7, 10},
    {"R8G8B8A8_R5G6B5", BLT_R8G8B8A8_R5G6B5, 8, 10},    {"B8G8R8A8_R5G6B5", BLT_B8G8R8A8_R5G6B5, 9, 10},
    {"R5G6B5_R5G6B5", BLT_R5G6B5_R5G6B5, 10, 10},       {"R8G8B8_R5G6B5", BLT_R8G8B8_R5G6B5, 2, 10},
    {"B8G8R8_R5G6B5", BLT_B8G8R8_R5G6B5, 3, 10},        {"A8R8G8B8_A8R8G8B8", BLT_A8R8G8B8_A8R8G8B8, 6, 6},
    {"A8B8G8R8_A8R8G8B8", BLT_A8B8G8R8_A8R8G8B8, 7, 6}, {"R8G8B8A8_A8R8G8B8", BLT_R8G8B8A8_A8R8G8B8, 8, 6},
    {"B8G8R8A8_A8R8G8B8", BLT_B8G8R8A8_A8R8G8B8, 9, 6},
};

using GenericRoutine = unsigned long (*)(const BltContext*, unsigned char);
struct GenericInstance {
    GenericRoutine run;
    bool narrowSource, narrowDestination, masked;
};
constexpr GenericInstance generics[] = {
    {BLT_FallbackBltT<uint16_t, uint16_t>, true, true, false},
    {BLT_FallbackBltT<uint32_t, uint16_t>, false, true, false},
    {BLT_FallbackBltT<uint32_t, uint32_t>, false, false, false},
    {BLT_FallbackBltMaskT<uint32_t, uint16_t>, false, true, true},
    {BLT_FallbackBltMaskT<uint32_t, uint32_t>, false, false, true},
};

constexpr long area = 24 * 1024; // bytes for each of source, destination and mask
enum class Kind { Routine, Dispatch, Generic };

// A random call of a routine, dispatcher or generic instance. Source, destination and mask lie anywhere in
// one memory, at any alignment, running up or down.
struct Bare {
    Random random;
    Kind kind = Kind::Routine;
    const Routine* routine = nullptr;
    const GenericInstance* generic = nullptr;
    unsigned char alphaFill = 0;
    model::Blit blit{};
    uint16_t onBoard = 0;

    Bare(uint64_t seed, long number) : random(seed, static_cast<uint64_t>(number)) {}

    model::Format anyFormat() {
        if (random.oneIn(2))
            return *model::bitmapFormat(random.of(bitmapCodes));
        uint8_t pixel[4] = {};
        return Picture::surface(random.of(surfaceFormats), pixel, 1, 1, 4).image(0).format;
    }

    model::Format formatOfWord(bool narrow) {
        for (;;)
            if (const model::Format format = anyFormat(); (format.bytes == 2) == narrow)
                return format;
    }

    // `width` and `height` limit the rectangle.
    void choose(long width, long height) {
        kind = random.oneIn(2) ? Kind::Routine : random.oneIn(2) ? Kind::Dispatch : Kind::Generic;
        if (kind == Kind::Routine) {
            routine = &random.of(routines);
            blit.src.format = *model::bitmapFormat(routine->from);
            blit.dst.format = *model::bitmapFormat(routine->onto);
        } else if (kind == Kind::Generic) {
            generic = &random.of(generics);
            blit.src.format = formatOfWord(generic->narrowSource);
            do
                blit.dst.format = formatOfWord(generic->narrowDestination);
            while (blit.src.format.bytes == 3 && blit.dst.format.bytes == 3); // served by no instance
            blit.masked = generic->masked;
            static constexpr unsigned char fills[] = {0, 255, 255, 0x5A};
            alphaFill = random.of(fills);
        } else {
            blit.src.format = anyFormat();
            blit.dst.format = anyFormat();
            blit.masked = random.oneIn(3);
            overrideCodes();
        }
        blit.width = random.oneIn(40) ? 0 : random.upTo(width);
        blit.height = random.oneIn(40) ? 0 : random.upTo(height);
        static constexpr uint16_t boards[] = {0, 0, 1, 256, 0x8000, 0xFFFF};
        onBoard = random.of(boards);
        blit.dst.onBoard = onBoard != 0;
        blit.alpha = random.oneIn(3)   ? static_cast<uint32_t>(random.upTo(255))
                     : random.oneIn(2) ? 255
                                       : random.of(constantAlphas);
        static constexpr uint32_t flagWords[] = {0, 0, 4, 1, 3, 0xFFFFFFFB, 0xFFFFFFFF};
        blit.flags = random.of(flagWords);
        blit.noMemory = random.oneIn(16);
        placeSide(blit.src, blit.srcX, blit.srcY, 0);
        placeSide(blit.dst, blit.dstX, blit.dstY, area);
        if (random.oneIn(6)) { // over the source
            const long upwards = std::max(0L, -blit.dst.pitch * (blit.height - 1));
            moveTo(blit.dst, blit.dstX, blit.dstY,
                   std::max(start(blit.src, blit.srcX, blit.srcY) + random.between(-40, 40), upwards));
        }
        blit.mask.format.bytes = 1;
        long x = blit.srcX, y = blit.srcY;
        placeSide(blit.mask, x, y, 2 * area);
        moveTo(blit.mask, blit.srcX, blit.srcY, start(blit.mask, x, y));
    }

    // Codes that no routine knows leave the choice to the depths, and a depth of 8 bits draws nothing.
    void overrideCodes() {
        static constexpr uint32_t unknown[] = {0, 1, 4, 5, 11, 12, 15, 20, 21, 0x80000002};
        if (random.oneIn(4))
            blit.src.format.code = random.of(unknown);
        if (random.oneIn(4) && blit.dst.format.code != 10)
            blit.dst.format.code = random.of(unknown);
        if (random.oneIn(20))
            blit.src.format = {1, 1, {}, {}, {}, {}};
        if (random.oneIn(20) && blit.dst.format.code != 10)
            blit.dst.format = {1, 1, {}, {}, {}, {}};
    }

    static long start(const model::Image& image, long x, long y) {
        return image.first + y * image.pitch + x * static_cast<long>(image.format.bytes);
    }
    static void moveTo(model::Image& image, long x, long y, long at) {
        image.first += at - start(image, x, y);
    }

    void placeSide(model::Image& image, long& x, long& y, long base) {
        const long row = blit.width * static_cast<long>(image.format.bytes);
        image.pitch = row + random.upTo(12);
        x = random.between(-3, 9);
        y = random.between(-3, 9);
        image.begin = 0;
        image.end = 3 * area;
        long at = base + 64 + random.upTo(area - 128 - row - std::max(0L, blit.height - 1) * image.pitch);
        if (random.oneIn(4)) { // bottom up
            at += std::max(0L, blit.height - 1) * image.pitch;
            image.pitch = -image.pitch;
        }
        moveTo(image, x, y, at);
    }

    // Calls the library with `base` as the place of the model's memory.
    unsigned long callLibrary(uint8_t* base) {
        const auto at = [base](const model::Image& image) { return base + image.first; };
        BltContext ctx = contextFor(blit, at(blit.src), at(blit.dst), at(blit.mask));
        ctx.dst.onBoard = onBoard;
        if (kind == Kind::Generic)
            return generic->run(&ctx, alphaFill);
        return kind == Kind::Routine
                   ? routine->run(&ctx)
                   : (blit.masked ? BLT_FallbackBltMaskContext : BLT_FallbackBltContext)(&ctx);
    }

    void callModel(model::Memory& memory) {
        if (kind == Kind::Generic)
            model::drawGeneric(memory, blit, alphaFill);
        else
            model::draw(memory, blit);
    }

    bool allocates() const {
        return blit.dst.format.code == 10 && !blit.masked && kind != Kind::Generic &&
               (blit.dst.onBoard || blit.src.format.bytes < 4);
    }

    std::string describe() const {
        return std::string(kind == Kind::Routine   ? routine->name
                           : kind == Kind::Generic ? "generic instance, fill " + std::to_string(alphaFill)
                                                   : "dispatcher") +
               "\n" + ::describe(blit);
    }
};

// Runs body(seed, number) for all cases; it returns what is wrong.
template <class Body>
void forCases(long normal, Body body) {
    const uint64_t seed = caseSeed();
    const long first = std::max(0L, singleCase());
    const long last = singleCase() >= 0 ? first : caseCount(normal) - 1;
    int failures = 0;
    for (long number = first; number <= last && failures < 5; ++number) {
        if (const std::string wrong = body(seed, number); !wrong.empty()) {
            ++failures;
            ADD_FAILURE() << "ORMSEL_SEED=" << seed << " ORMSEL_CASE=" << number << "\n" << wrong;
        }
    }
}

TEST(Routine, RandomContextsEqualTheModel) {
    const Pages pages(3 * area);
    Random noise(caseSeed());
    noise.fill(pages.begin(), pages.size());
    model::Memory memory(pages.size());
    forCases(150000, [&](uint64_t seed, long number) -> std::string {
        Bare bare(seed, number);
        const bool wide = number % 8 == 0;
        bare.choose(wide ? (number % 64 == 0 ? 820 : 100) : 14, wide ? 3 : 7);
        if (number % 1000 == 0)
            noise.fill(pages.begin(), pages.size());
        const long rows = bare.blit.height * std::abs(bare.blit.src.pitch) + 64;
        bare.random.fill(pages.begin() +
                             std::clamp(Bare::start(bare.blit.src, bare.blit.srcX, bare.blit.srcY), 0L,
                                        static_cast<long>(pages.size()) - rows),
                         static_cast<size_t>(rows));
        std::memcpy(memory.bytes.data(), pages.begin(), pages.size());
        bare.callModel(memory);
        if (bare.blit.noMemory)
            HOST_FailAllocations(0, 1000);
        const unsigned long result = bare.callLibrary(pages.begin());
        HOST_FailAllocations(0, 0);
        if (result != 0)
            return "result is not 0\n" + bare.describe();
        if (std::memcmp(memory.bytes.data(), pages.begin(), pages.size()) == 0)
            return {};
        const auto [host, expected] =
            std::mismatch(pages.begin(), pages.begin() + pages.size(), memory.bytes.begin());
        const std::string wrong = "byte " + std::to_string(host - pages.begin()) + " is " +
                                  std::to_string(*host) + ", the model has " + std::to_string(*expected);
        return wrong + "\n" + bare.describe();
    });
    EXPECT_EQ(HOST_LiveAllocations(), 0);
}

// A page boundary runs through the destination, and the pages on one side of it are read-only: the call must
// fault exactly when the model writes there, be it an old value.
TEST(Routine, WritesExactlyTheBytesThatTheModelWrites) {
    const Pages pages(3 * area);
    const long page = static_cast<long>(Pages::pageSize());
    const long boundary = (area / page + 1) * page;
    model::Memory memory(pages.size());
    long written = 0, spared = 0;
    forCases(40000, [&](uint64_t seed, long number) -> std::string {
        Bare bare(seed, number);
        bare.choose(number % 4 == 0 ? 80 : 14, 2);
        model::Blit& blit = bare.blit;
        if (blit.dst.pitch < 0)
            return {};
        const long row = blit.width * static_cast<long>(blit.dst.format.bytes) + 4;
        Bare::moveTo(blit.dst, blit.dstX, blit.dstY, boundary - bare.random.upTo(row));
        blit.noMemory = false;
        // Alphas of 0 in many combinations
        for (uint8_t* at = pages.begin(); at < pages.begin() + area; at += 64)
            bare.random.fill(at, 16 + static_cast<size_t>(bare.random.upTo(3)) * 16);
        std::memcpy(memory.bytes.data(), pages.begin(), pages.size());
        std::fill(memory.written.begin(), memory.written.end(), uint8_t{0});
        bare.callModel(memory);
        const bool before = bare.random.oneIn(2);
        const long from = before ? 0 : boundary, to = before ? boundary : 3 * area;
        const bool expected = std::count(memory.written.begin() + from, memory.written.begin() + to, 1) != 0;
        if (expected && bare.allocates())
            return {}; // a fault would leave the row copy allocated
        ++(expected ? written : spared);
        pages.protect(pages.begin() + from, static_cast<size_t>(to - from), PROT_READ);
        const bool fault = faults([&] { bare.callLibrary(pages.begin()); });
        pages.protect(pages.begin(), pages.size(), PROT_READ | PROT_WRITE);
        if (fault == expected)
            return {};
        return (fault ? "writes behind the boundary " : "leaves out bytes to write behind the boundary ") +
               std::to_string(boundary) + (before ? ", lower side\n" : ", upper side\n") + bare.describe();
    });
    if (singleCase() < 0) {
        EXPECT_GT(written, caseCount(40000) / 20);
        EXPECT_GT(spared, caseCount(40000) / 20);
    }
}

// All sets of transparent pixels in one group of four, alone and in each place of a longer row, with the
// page boundary between the group's two words.
TEST(Routine, GroupsOfFourStoreTheRightWords) {
    const Pages pages(3 * area);
    const long page = static_cast<long>(Pages::pageSize());
    const long boundary = (area / page + 1) * page;
    for (const Routine& routine : routines) {
        if (routine.onto != 10 || model::bitmapFormat(routine.from)->bytes != 4)
            continue;
        for (unsigned transparent = 0; transparent < 16; ++transparent)
            for (long group = 0; group < 12; ++group)
                for (int readOnly = 0; readOnly < 2; ++readOnly) {
                    model::Blit blit{};
                    const long width = 4 * group + 4 + transparent % 4;
                    blit.src = {0, 0, area, 4 * width, width, 1, *model::bitmapFormat(routine.from), false};
                    blit.dst = {boundary - 4 - 8 * group, 0,    3 * area, 0, width, 1,
                                *model::bitmapFormat(10), false};
                    blit.width = width;
                    blit.height = 1;
                    blit.alpha = 255;
                    std::fill_n(pages.begin(), 4 * width, uint8_t{0});
                    for (unsigned i = 0; i < 4; ++i) // only the group under test has visible pixels
                        if (!(transparent >> i & 1))
                            std::fill_n(pages.begin() + 4 * (4 * group + i), 4, uint8_t{0x90});
                    model::Memory memory(pages.size());
                    std::memcpy(memory.bytes.data(), pages.begin(), pages.size());
                    model::draw(memory, blit);
                    const long from = readOnly ? boundary : 0, to = readOnly ? 3 * area : boundary;
                    const bool expected =
                        std::count(memory.written.begin() + from, memory.written.begin() + to, 1) != 0;
                    const BltContext ctx =
                        contextFor(blit, pages.begin(), pages.begin() + blit.dst.first, nullptr);
                    pages.protect(pages.begin() + from, static_cast<size_t>(to - from), PROT_READ);
                    const bool fault = faults([&] { routine.run(&ctx); });
                    pages.protect(pages.begin(), pages.size(), PROT_READ | PROT_WRITE);
                    EXPECT_EQ(fault, expected) << routine.name << ", transparent set " << transparent
                                               << ", group " << group << ", word " << readOnly;
                }
    }
}

// What a blit that draws nothing must not even read: the destination of a wholly transparent row, and
// source, destination and mask under a constant alpha too small to show.
TEST(Routine, TransparentRowsAreNotTouched) {
    const long page = static_cast<long>(Pages::pageSize());
    if (page > INT16_MAX)
        GTEST_SKIP() << "a page is longer than the longest row";
    const Pages source(static_cast<size_t>(4 * page)), target(static_cast<size_t>(4 * page)),
        mask(static_cast<size_t>(4 * page));
    forCases(3000, [&](uint64_t seed, long number) -> std::string {
        Bare bare(seed, number);
        bare.choose(100, 4);
        model::Blit& blit = bare.blit;
        bare.onBoard = 0;
        blit.dst.onBoard = false;
        blit.noMemory = false;
        blit.flags &= ~4U;
        bare.alphaFill = 0;
        const bool opaque = !blit.masked && blit.src.format.bytes < 4;
        const uint32_t hidden = bare.kind == Kind::Routine && bare.routine->onto == 10 ? 7 : 0;
        const bool nothing = opaque || bare.random.oneIn(8);
        if (nothing)
            blit.alpha = static_cast<uint32_t>(bare.random.upTo(hidden));
        for (model::Image* image : {&blit.src, &blit.dst, &blit.mask})
            image->pitch = page, image->first = 0;
        blit.srcX = blit.srcY = blit.dstX = blit.dstY = 0;
        bare.random.fill(source.begin(), source.size());
        bare.random.fill(mask.begin(), mask.size());
        const auto hiddenRow = [&](long y) { return nothing || (number >> y & 1) != 0; };
        for (long y = 0; y < 4; ++y)
            if (hiddenRow(y)) {
                std::memset((blit.masked ? mask : source).begin() + y * page, 0, static_cast<size_t>(page));
                target.protect(target.begin() + y * page, static_cast<size_t>(page), PROT_NONE);
            }
        if (nothing)
            source.protect(source.begin(), source.size(), PROT_NONE);
        BltContext ctx = contextFor(blit, source.begin(), target.begin(), mask.begin());
        const bool fault = faults([&] {
            if (bare.kind == Kind::Routine)
                bare.routine->run(&ctx);
            else if (bare.kind == Kind::Generic)
                bare.generic->run(&ctx, 0);
            else
                (blit.masked ? BLT_FallbackBltMaskContext : BLT_FallbackBltContext)(&ctx);
        });
        target.protect(target.begin(), target.size(), PROT_READ | PROT_WRITE);
        source.protect(source.begin(), source.size(), PROT_READ | PROT_WRITE);
        return fault ? "touches hidden rows\n" + bare.describe() : std::string();
    });
}

} // namespace
