// SPDX-License-Identifier: Zlib
#include "bench/images.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include <sys/mman.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr size_t kMemory = size_t{512} << 20; // only what is touched is taken

class Random {
public:
    explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U + 1) {}
    uint32_t next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<uint32_t>(state_ >> 32);
    }

private:
    uint64_t state_;
};

struct Colour {
    uint32_t r, g, b, a; // 0 to 255
};

uint32_t field(uint32_t value, uint32_t mask) {
    if (!mask)
        return 0;
    return (value >> (8 - std::popcount(mask))) << std::countr_zero(mask);
}

uint32_t pack(const LayoutInfo& l, const Colour& c) {
    return field(c.r, l.r) | field(c.g, l.g) | field(c.b, l.b) | field(c.a, l.a);
}

// A channel of a pixel as 0 to 255, exactly.
double channel(uint32_t pixel, uint32_t mask) {
    return (pixel & mask) * 255.0 / mask;
}

constexpr bool kLittle = std::endian::native == std::endian::little;

void store(uint8_t* at, size_t bytes, uint32_t pixel) {
    for (size_t i = 0; i < bytes; ++i)
        at[kLittle ? i : bytes - 1 - i] = static_cast<uint8_t>(pixel >> (8 * i));
}

uint32_t load(const uint8_t* at, size_t bytes) {
    uint32_t pixel = 0;
    for (size_t i = 0; i < bytes; ++i)
        pixel |= uint32_t{at[kLittle ? i : bytes - 1 - i]} << (8 * i);
    return pixel;
}

// Discs of slightly different positions in cells of 32 pixels: opaque inside, with an anti-aliased edge.
// Their radii give 40 % opaque and 20 % edge.
uint32_t discAlpha(int x, int y, uint64_t seed) {
    constexpr int kCell = 32;
    constexpr double kInner = 11.4, kOuter = 14.0;
    Random random(seed * 7919 + static_cast<uint64_t>(y / kCell) * 1009 + static_cast<uint64_t>(x / kCell));
    random.next();
    const double cx = 14 + random.next() % 401 / 100.0, cy = 14 + random.next() % 401 / 100.0;
    const double d = std::hypot(x % kCell + 0.5 - cx, y % kCell + 0.5 - cy);
    return static_cast<uint32_t>(std::clamp((kOuter - d) / (kOuter - kInner), 0.0, 1.0) * 255);
}

} // namespace

SharedMemory::SharedMemory() : descriptor_(memfd_create("ormsel-bench", 0)) {
    if (descriptor_ < 0 || ftruncate(descriptor_, kMemory) != 0)
        throw std::runtime_error("no shared memory");
    void* p = mmap(nullptr, kMemory, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
    if (p == MAP_FAILED)
        throw std::runtime_error("can't map shared memory");
    begin_ = static_cast<uint8_t*>(p);
}

SharedMemory::~SharedMemory() {
    munmap(begin_, kMemory);
    close(descriptor_);
}

size_t SharedMemory::size() const {
    return kMemory;
}

uint8_t* SharedMemory::allocate(size_t bytes) {
    // Images at equal offsets in their pages make loads wait for unrelated stores; seventeen lines keep the
    // images of a set apart.
    uint8_t* p = begin_ + used_;
    used_ += (bytes + 64 * 18) / 64 * 64;
    if (used_ > kMemory)
        throw std::runtime_error("images too large");
    return p;
}

Case::Case(const Row& r, const Size& s, Content c, SharedMemory& memory) : row(r), size(s), content(c) {
    const LayoutInfo &src = info(row.src), &dst = info(row.dst);
    const bool alpha = src.a != 0, mask = row.rule == kMasked;
    memory.clear();
    for (size_t n = 0; n < size.sets; ++n) {
        ImageSet set;
        set.src = memory.allocate(size.pixels() * src.bytes());
        set.premultiplied = alpha ? memory.allocate(size.pixels() * src.bytes()) : set.src;
        set.dst = memory.allocate(size.pixels() * dst.bytes());
        set.mask = mask ? memory.allocate(size.pixels()) : nullptr;
        Random random(n + 1);
        for (size_t i = 0; i < size.pixels(); ++i) {
            const int x = static_cast<int>(i) % size.width, y = static_cast<int>(i) / size.width;
            const uint32_t colours = random.next(), old = random.next();
            // Small images show different parts of a disc.
            const int shift = static_cast<int>(5 * n);
            const uint32_t a = content == kSprite ? discAlpha(x + shift, y + shift, n) : colours >> 24;
            const Colour pixel = {colours & 255, colours >> 8 & 255, colours >> 16 & 255, a};
            const auto times = [a](uint32_t v) { return (v * a + 127) / 255; };
            store(set.src + i * src.bytes(), src.bytes(), pack(src, pixel));
            if (alpha)
                store(set.premultiplied + i * src.bytes(), src.bytes(),
                      pack(src, {times(pixel.r), times(pixel.g), times(pixel.b), a}));
            if (mask)
                set.mask[i] = static_cast<uint8_t>(a);
            store(set.dst + i * dst.bytes(), dst.bytes(),
                  pack(dst, {old & 255, old >> 8 & 255, old >> 16 & 255, 255}));
        }
        sets.push_back(set);
    }
    original_.assign(sets[0].dst, sets[0].dst + size.pixels() * dst.bytes());
}

void Case::resetDestination() {
    std::memcpy(sets[0].dst, original_.data(), original_.size());
}

size_t Case::checkedPixels() const {
    return std::min<size_t>(size.pixels(), 65536);
}

Error Case::error() const {
    const LayoutInfo &src = info(row.src), &dst = info(row.dst);
    const ImageSet& set = sets[0];
    Error error;
    for (size_t i = 0; i < checkedPixels(); ++i) {
        const uint32_t s = load(set.src + i * src.bytes(), src.bytes());
        const uint32_t d = load(original_.data() + i * dst.bytes(), dst.bytes());
        const uint32_t result = load(set.dst + i * dst.bytes(), dst.bytes());
        const double a = (row.rule == kMasked       ? set.mask[i] / 255.0
                          : row.rule == kPixelAlpha ? channel(s, src.a) / 255
                                                    : 1) *
                         row.alpha / 255;
        const auto compare = [&](uint32_t from, uint32_t to) {
            const double exact = channel(d, to) + (channel(s, from) - channel(d, to)) * a;
            const double off = std::abs(channel(result, to) - exact);
            error.max = std::max(error.max, off);
            error.mean += off;
        };
        compare(src.r, dst.r);
        compare(src.g, dst.g);
        compare(src.b, dst.b);
    }
    error.mean /= 3.0 * static_cast<double>(checkedPixels());
    return error;
}

} // namespace bench
