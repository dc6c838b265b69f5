// SPDX-License-Identifier: Zlib
//
// Random blits through every public entry point, compared byte by byte with the model. Images lie against
// inaccessible pages. A failure names its case; ORMSEL_CASE=<number> runs that one alone.
#include <array>
#include <cstring>
#include <optional>

#include <gtest/gtest.h>
#include <host/testing.h>

#include "tests/entries.h"

namespace {

constexpr long margin = 32; // bytes on either side of an image that are compared, too

// Where one image's bytes are: in guarded memory for the library, in the model's memory for the model.
struct Window {
    uint8_t* host = nullptr; // what is compared: the image, any image that shares its memory, the margins
    size_t size = 0;
    long offset = 0; // of `host` in the model's memory

    long modelOffset(const uint8_t* at) const { return offset + (at - host); }
};

struct Geometry {
    long width, height, pitch;
    long bytes() const { return pitch * height; }
};

// One random blit, drawn by the library and by the model.
class Case {
public:
    Case(uint64_t seed, long number) : random_(seed, static_cast<uint64_t>(number)) {}

    // An empty text, or what is wrong.
    std::string run(const std::array<Pages, 3>& pages, model::Memory& memory, DebugOutput& output) {
        chooseImages(pages, memory);
        chooseRequest();
        const bool allocates = random_.oneIn(20);
        const long allowed = allocates ? random_.upTo(1) : 0; // one allocation must do for a whole blit
        blit_.noMemory = allocates && allowed == 0;
        const std::string before = describe(blit_);
        model::Blit clipped = blit_;
        if (model::clip(clipped))
            model::draw(memory, clipped);
        if (allocates)
            HOST_FailAllocations(allowed, 1000000);
        const unsigned long result = callEntry(entry_, blit_, *sourcePicture_, target(),
                                               blit_.masked ? &*maskPicture_ : nullptr, sourceFirst_, carry_);
        if (allocates)
            HOST_FailAllocations(0, 0);
        return check(before, memory, result, output.take());
    }

private:
    long length(bool wide) {
        if (!wide)
            return random_.upTo(12);
        return random_.oneIn(8) ? random_.between(780, 820) : random_.upTo(100);
    }

    // Rows are padded, tight, or (surfaces) longer than 32767 bytes or shorter than their pixels.
    Geometry geometry(uint32_t bytes, bool surface) {
        const bool wide = random_.oneIn(16);
        Geometry g{length(wide), random_.upTo(wide ? 4 : 7), 0};
        const long row = g.width * static_cast<long>(bytes);
        g.pitch = row + (random_.oneIn(3) ? 0 : random_.upTo(9));
        if (surface && random_.oneIn(1500))
            g.pitch = random_.between(32760, 65535);
        else if (surface && random_.oneIn(100))
            g.pitch = random_.upTo(row);
        return g;
    }

    Picture picture(bool surface, const SurfaceFormat& format, uint32_t code, uint8_t* pixels,
                    const Geometry& g) {
        return surface ? Picture::surface(format, pixels, g.width, g.height, g.pitch)
                       : Picture::bitmap(code, pixels, g.width, g.height, g.pitch, random_.oneIn(2));
    }

    // A place for `bytes` bytes: most often flush against one of the two guards.
    Window place(const Pages& pages, long bytes, uint8_t*& first) {
        const long room = static_cast<long>(pages.size()) - bytes;
        const long at = random_.oneIn(3) ? room : random_.oneIn(2) ? 0 : random_.upTo(std::min(room, 64L));
        first = pages.begin() + at;
        uint8_t* from = pages.begin() + std::max(0L, at - margin);
        uint8_t* to = pages.begin() + std::min(static_cast<long>(pages.size()), at + bytes + margin);
        return {from, static_cast<size_t>(to - from), 0};
    }

    void chooseImages(const std::array<Pages, 3>& pages, model::Memory& memory) {
        entry_ = static_cast<Entry>(random_.upTo(entryCount - 1));
        const bool pairThatCounts = random_.oneIn(2); // one with a routine of its own
        static constexpr uint32_t counting[] = {2, 3, 6, 7, 8, 9, 10};
        uint32_t sourceCode = random_.of(bitmapCodes), destinationCode = random_.of(bitmapCodes);
        const SurfaceFormat* source = &random_.of(surfaceFormats);
        const SurfaceFormat* destination = &random_.of(surfaceFormats);
        if (pairThatCounts) {
            sourceCode = random_.of(counting);
            destinationCode = sourceCode < 4 || sourceCode == 10 || random_.oneIn(2) ? 10 : 6;
            source = &surfaceFormats[sourceCode == 10  ? 0
                                     : sourceCode == 2 ? 9
                                     : sourceCode == 3 ? 10
                                                       : 8 + sourceCode];
            destination = &surfaceFormats[destinationCode == 10 ? 0 : 14];
        }
        if (entry_ == Entry::Array)
            source = &surfaceFormats[static_cast<size_t>(random_.between(14, 17))];

        const auto bytesOf = [](bool surface, const SurfaceFormat& format, uint32_t code) {
            return surface ? static_cast<uint32_t>(format.depth + 7) / 8 : model::bitmapFormat(code)->bytes;
        };
        Geometry s = geometry(bytesOf(sourceIsSurface(entry_), *source, sourceCode), sourceIsSurface(entry_));
        Geometry d = geometry(bytesOf(destinationIsSurface(entry_), *destination, destinationCode),
                              destinationIsSurface(entry_));
        const bool shared = random_.oneIn(5);
        same_ = shared && random_.oneIn(2) && sourceIsSurface(entry_) == destinationIsSurface(entry_) &&
                entry_ != Entry::Array;
        if (same_) {
            destination = source;
            destinationCode = sourceCode;
            d = s;
        }
        const long shift = same_ || !shared ? 0 : random_.upTo(s.bytes());
        uint8_t* sourcePixels = nullptr;
        uint8_t* destinationPixels = nullptr;
        source_ = place(pages[0], shared ? std::max(s.bytes(), shift + d.bytes()) : s.bytes(), sourcePixels);
        destination_ = source_;
        destinationPixels = sourcePixels + shift;
        if (!shared)
            destination_ = place(pages[1], d.bytes(), destinationPixels);
        blit_.masked = takesMask(entry_) && !random_.oneIn(8);
        if (blit_.masked) {
            Geometry m =
                random_.oneIn(3) ? geometry(1, sourceIsSurface(entry_)) : Geometry{s.width, s.height, 0};
            m.pitch = std::max(m.pitch, m.width);
            uint8_t* maskPixels = nullptr;
            mask_ = place(pages[2], m.bytes(), maskPixels);
            if (random_.oneIn(20) && m.bytes() <= d.bytes()) { // the blit draws over its own mask
                mask_ = destination_;
                maskPixels = destinationPixels;
            }
            maskPicture_ = sourceIsSurface(entry_)
                               ? Picture::surfaceMask(maskPixels, m.width, m.height, m.pitch)
                               : Picture::bitmapMask(maskPixels, m.width, m.height, m.pitch);
            maskFirst_ = maskPixels;
        }
        collect(memory);
        sourcePicture_ = picture(sourceIsSurface(entry_), *source, sourceCode, sourcePixels, s);
        blit_.src = sourcePicture_->image(source_.modelOffset(sourcePixels));
        sourceFirst_ = sourcePixels;
        if (!same_)
            destinationPicture_ =
                picture(destinationIsSurface(entry_), *destination, destinationCode, destinationPixels, d);
        blit_.dst = target().image(destination_.modelOffset(destinationPixels));
        if (blit_.masked)
            blit_.mask = maskPicture_->image(mask_.modelOffset(maskFirst_));
    }

    Picture& target() { return same_ ? *sourcePicture_ : *destinationPicture_; }

    // Fills all windows with random bytes and gives the model a copy of them.
    void collect(model::Memory& memory) {
        memory.bytes.clear();
        Window* windows[] = {&source_, &destination_, &mask_};
        for (Window* window : windows) {
            for (Window* other : windows)
                if (other < window && other->host == window->host)
                    window->offset = other->offset;
            if (window->host == nullptr || (window == &destination_ && window->host == source_.host) ||
                (window == &mask_ && window->host == destination_.host))
                continue;
            window->offset = static_cast<long>(memory.bytes.size());
            random_.fill(window->host, window->size);
            memory.bytes.insert(memory.bytes.end(), window->host, window->host + window->size);
        }
        memory.written.assign(memory.bytes.size(), 0);
    }

    long coordinate(long extent) {
        if (random_.oneIn(50))
            return random_.between(-32768, 32767);
        return random_.oneIn(2) ? random_.upTo(extent) : random_.between(-extent - 2, 2 * extent + 2);
    }

    long size(long extent) {
        if (random_.oneIn(50))
            return random_.upTo(65535);
        return random_.oneIn(2) ? extent : random_.upTo(extent + 2);
    }

    void chooseRequest() {
        blit_.srcX = random_.oneIn(3) ? 0 : coordinate(blit_.src.width / 2);
        blit_.srcY = random_.oneIn(3) ? 0 : coordinate(blit_.src.height / 2);
        blit_.dstX = coordinate(blit_.dst.width / 2);
        blit_.dstY = coordinate(blit_.dst.height / 2);
        blit_.width = size(blit_.src.width);
        blit_.height = size(blit_.src.height);
        blit_.alpha = random_.oneIn(3)   ? static_cast<uint32_t>(random_.upTo(255))
                      : random_.oneIn(2) ? 255
                                         : random_.of(constantAlphas);
        static constexpr uint32_t flagWords[] = {0, 1, 4, 4, 5, 7, 0xFFFFFFFB, 0xFFFFFFFF};
        blit_.flags = random_.of(flagWords);
        if (!takesAlpha(entry_)) {
            const bool use = !random_.oneIn(8);
            sourcePicture_->setAlpha(use, blit_.alpha);
            blit_.alpha = use ? blit_.alpha : 255;
        }
        conform(entry_, blit_);
        carry_ = random_.oneIn(16) ? 65536 * random_.between(-2, 2) : 0;
    }

    std::string check(const std::string& what, const model::Memory& memory, unsigned long result,
                      const std::string& messages) {
        std::string wrong;
        if (result != 0)
            wrong += "result " + std::to_string(result) + "\n";
        if (!messages.empty())
            wrong += "printed: " + messages;
        for (const Picture* p : {&*sourcePicture_, &target()})
            if (p->sdl() && p->sdl()->locked != 0)
                wrong += "a surface is still locked\n";
        for (const Window* window : {&source_, &destination_, &mask_}) {
            const uint8_t* expected = memory.bytes.data() + window->offset;
            if (window->host == nullptr || std::memcmp(window->host, expected, window->size) == 0)
                continue;
            size_t at = 0;
            while (window->host[at] == expected[at])
                ++at;
            wrong += "byte " + std::to_string(window->offset + static_cast<long>(at)) + " is " +
                     std::to_string(window->host[at]) + ", the model has " + std::to_string(expected[at]) +
                     "\n";
            break;
        }
        return wrong.empty() ? wrong
                             : wrong + "entry " + std::to_string(static_cast<int>(entry_)) + ", " + what;
    }

    Random random_;
    Entry entry_{};
    model::Blit blit_{};
    Window source_, destination_, mask_;
    std::optional<Picture> sourcePicture_, destinationPicture_, maskPicture_;
    uint8_t* maskFirst_ = nullptr;
    uint8_t* sourceFirst_ = nullptr;
    bool same_ = false;
    long carry_ = 0;
};

TEST(Blit, RandomBlitsEqualTheModel) {
    const std::array<Pages, 3> pages = {Pages(1 << 20), Pages(1 << 20), Pages(1 << 20)};
    model::Memory memory;
    DebugOutput output;
    const uint64_t seed = caseSeed();
    const bool single = singleCase() >= 0;
    const long first = single ? singleCase() : 0;
    const long last = single ? first : caseCount(700000) - 1;
    long failures = 0;
    for (long number = first; number <= last && failures < 5; ++number) {
        const std::string wrong = Case(seed, number).run(pages, memory, output);
        if (!wrong.empty()) {
            ++failures;
            ADD_FAILURE() << "ORMSEL_SEED=" << seed << " ORMSEL_CASE=" << number << "\n" << wrong;
        }
    }
    EXPECT_EQ(HOST_HeldBitMapLocks(), 0);
    EXPECT_EQ(HOST_LiveAllocations(), 0);
}

} // namespace
