// SPDX-License-Identifier: Zlib
//
// libFuzzer target: a sequence of blits through any entry point between images of any format, which may
// share memory. Each block of memory is an allocation of its own, and after each blit it is compared with
// the model.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "tests/entries.h"

namespace {

class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), left_(size) {}
    bool empty() const { return left_ == 0; }
    long byte() { return left_ ? (--left_, *data_++) : 0; }
    long upTo(long last) { return byte() % (last + 1); }
    // Mostly near the images, sometimes anything.
    long coordinate() {
        const long value = byte();
        return value < 240 ? value % 40 - 12 : (value << 12 ^ byte()) % 32768 * (value & 1 ? 1 : -1);
    }
    long extent() {
        const long value = byte();
        return value < 240 ? value % 40 : (value << 12 ^ byte()) % 65536;
    }

private:
    const uint8_t* data_;
    size_t left_;
};

constexpr size_t blockCount = 4;

struct Blocks {
    std::array<std::unique_ptr<uint8_t[]>, blockCount> bytes;
    std::array<long, blockCount> size{}, offset{};
    model::Memory memory;

    explicit Blocks(Input& input) {
        Random random(static_cast<uint64_t>(input.byte()));
        for (size_t i = 0; i < blockCount; ++i) {
            size[i] = 4 * input.byte() + input.upTo(3);
            bytes[i] = std::make_unique<uint8_t[]>(static_cast<size_t>(size[i]));
            random.fill(bytes[i].get(), static_cast<size_t>(size[i]));
            offset[i] = static_cast<long>(memory.bytes.size());
            memory.bytes.insert(memory.bytes.end(), bytes[i].get(), bytes[i].get() + size[i]);
        }
        memory.written.resize(memory.bytes.size());
    }

    bool equalTheModel() const {
        for (size_t i = 0; i < blockCount; ++i)
            if (!std::equal(bytes[i].get(), bytes[i].get() + size[i], memory.bytes.begin() + offset[i]))
                return false;
        return true;
    }
};

// An image somewhere in a block, most often flush against one of its ends.
struct View {
    uint8_t* pixels;
    long first, width, height, pitch;

    View(Input& input, Blocks& blocks, long bytesPerPixel) {
        const auto block = static_cast<size_t>(input.upTo(blockCount - 1));
        const long space = blocks.size[block];
        width = input.upTo(input.upTo(3) == 0 ? 90 : 12);
        pitch = std::max(0L, width * bytesPerPixel + input.upTo(20) - 2);
        height = input.upTo(9);
        pitch = std::min(pitch, space);
        while (height > 0 && pitch * height > space)
            --height;
        const long room = space - pitch * height, choice = input.upTo(3);
        const long at = choice == 0 ? 0 : choice == 1 ? std::min(room, input.byte()) : room;
        pixels = blocks.bytes[block].get() + at;
        first = blocks.offset[block] + at;
    }
};

Picture anyPicture(Input& input, Blocks& blocks, bool surface, bool fourBytes, long& first,
                   uint8_t*& pixels) {
    const long choice = input.byte();
    if (surface) {
        const SurfaceFormat& format =
            fourBytes ? surfaceFormats[static_cast<size_t>(14 + choice % 4)]
                      : surfaceFormats[static_cast<size_t>(choice) % surfaceFormats.size()];
        const View view(input, blocks, (format.depth + 7) / 8);
        first = view.first;
        pixels = view.pixels;
        return Picture::surface(format, view.pixels, view.width, view.height, view.pitch);
    }
    const uint32_t code = bitmapCodes[static_cast<size_t>(choice) % bitmapCodes.size()];
    const View view(input, blocks, model::bitmapFormat(code)->bytes);
    first = view.first;
    pixels = view.pixels;
    return Picture::bitmap(code, view.pixels, view.width, view.height, view.pitch, choice & 64);
}

void blitOnce(Input& input, Blocks& blocks) {
    const Entry entry = static_cast<Entry>(input.upTo(entryCount - 1));
    model::Blit blit{};
    long first = 0;
    uint8_t *sourcePixels = nullptr, *pixels = nullptr;
    Picture src =
        anyPicture(input, blocks, sourceIsSurface(entry), entry == Entry::Array, first, sourcePixels);
    blit.src = src.image(first);
    const Picture dst = anyPicture(input, blocks, destinationIsSurface(entry), false, first, pixels);
    blit.dst = dst.image(first);
    std::unique_ptr<Picture> mask;
    if (takesMask(entry) && input.upTo(7) != 0) {
        const View view(input, blocks, 1);
        mask =
            std::make_unique<Picture>((sourceIsSurface(entry) ? Picture::surfaceMask : Picture::bitmapMask)(
                view.pixels, view.width, view.height, view.pitch));
        blit.masked = true;
        blit.mask = mask->image(view.first);
    }
    blit.srcX = input.coordinate();
    blit.srcY = input.coordinate();
    blit.dstX = input.coordinate();
    blit.dstY = input.coordinate();
    blit.width = input.extent();
    blit.height = input.extent();
    blit.alpha = input.upTo(3) == 0 ? static_cast<uint32_t>(input.byte()) : 255;
    blit.flags = static_cast<uint32_t>(input.byte());
    if (!takesAlpha(entry))
        src.setAlpha(true, blit.alpha);
    conform(entry, blit);

    const std::string what = describe(blit);
    callEntry(entry, blit, src, dst, mask.get(), sourcePixels, 0);
    if (model::clip(blit))
        model::draw(blocks.memory, blit);
    if (!blocks.equalTheModel()) {
        std::fprintf(stderr, "entry %d differs from the model: %s\n", static_cast<int>(entry), what.c_str());
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    Blocks blocks(input);
    for (int i = 0; i < 32 && !input.empty(); ++i)
        blitOnce(input, blocks);
    return 0;
}
