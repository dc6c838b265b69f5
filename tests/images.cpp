// SPDX-License-Identifier: Zlib
#include "images.h"

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <sys/mman.h>
#include <unistd.h>

#include <host/bitmap.h>
#include <host/debug.h>
#include <proto/graphics.h>

// --- Random numbers -----------------------------------------------------------------------------------

Random::Random(uint64_t seed, uint64_t number) : state_(seed * 0x9E3779B97F4A7C15U + number) {
    next();
}

Random::Random(const uint8_t* input, size_t size) : state_(size), input_(input), left_(size) {}

uint64_t Random::next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

long Random::upTo(long last) {
    uint64_t value = left_ ? 0 : next();
    for (long range = last; left_ && range > 0; range >>= 8, --left_)
        value = value << 8 | *input_++;
    return static_cast<long>(value % (static_cast<uint64_t>(last) + 1));
}

uint32_t Random::alpha() {
    return oneIn(3) ? static_cast<uint32_t>(upTo(255)) : oneIn(2) ? 255 : of(constantAlphas);
}

uint32_t Random::flags() {
    static constexpr uint32_t words[] = {0, 0, 1, 3, 4, 4, 5, 0xFFFFFFFB, 0xFFFFFFFF};
    return of(words);
}

void Random::fill(uint8_t* bytes, long count) {
    while (count > 0) {
        const uint64_t noise = next();
        uint64_t word = next();
        const long length = std::min(count, noise % 4 == 0 ? 1 + static_cast<long>((noise >> 2) % 8) : 8);
        if (noise >> 8 & 1)
            word = (noise >> 9 & 1) ? 0 : ~uint64_t{0};
        std::memcpy(bytes, &word, static_cast<size_t>(length));
        bytes += length;
        count -= length;
    }
}

// --- Memory -------------------------------------------------------------------------------------------

long Arena::page() {
    static const long size = sysconf(_SC_PAGESIZE);
    return size;
}

Arena::Arena(long areas, long bytesOfArea) : size_((bytesOfArea + page() - 1) / page() * page()) {
    memory.bytes.resize(static_cast<size_t>(begin(areas)));
    memory.written.resize(memory.bytes.size());
    void* all = mmap(nullptr, memory.bytes.size(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED)
        std::abort();
    base_ = static_cast<uint8_t*>(all);
    for (long area = 0; area < areas; ++area)
        protect(begin(area), begin(area) + size_, PROT_READ | PROT_WRITE);
}

Arena::~Arena() {
    munmap(base_, memory.bytes.size());
}

void Arena::protect(long from, long to, int protection) const {
    if (mprotect(at(from), static_cast<size_t>(to - from), protection) != 0)
        std::abort();
}

void Arena::share(long from, long to) {
    std::copy(at(from), at(to), memory.bytes.begin() + from);
}

std::string Arena::difference(long from, long to) const {
    const auto model = memory.bytes.begin() + from;
    if (std::memcmp(at(from), &*model, static_cast<size_t>(to - from)) == 0)
        return {};
    const auto [host, expected] = std::mismatch(at(from), at(to), model);
    return "byte " + std::to_string(host - base_) + " is " + std::to_string(*host) + ", the model has " +
           std::to_string(*expected) + "\n";
}

// --- Images -------------------------------------------------------------------------------------------

// The checksums of golden_test go by the order of these lists.
const std::vector<Kind> surfaceKinds = {
    // 16 bits: both recognised layouts, also with alpha and with the other channels elsewhere
    Kind{16, 0xF800, 0x7E0, 0x1F, 0}, Kind{15, 0x7C00, 0x3E0, 0x1F, 0}, Kind{16, 0x7C00, 0x3E0, 0x1F, 0x8000},
    Kind{16, 0xF800, 0x7C0, 0x3E, 1}, Kind{16, 0xF000, 0xF00, 0xF0, 0xF}, Kind{16, 0xF00, 0xF0, 0xF, 0xF000},
    Kind{16, 0xF, 0xF0, 0xF00, 0xF000}, Kind{15, 0x3E0, 0x7C00, 0x1F, 0}, Kind{16, 0x5000, 0xE0, 7, 0x300},
    // 24 bits: either order, another one, and channels that are not whole bytes
    Kind{24, 0xFF0000, 0xFF00, 0xFF, 0}, Kind{24, 0xFF, 0xFF00, 0xFF0000, 0},
    Kind{24, 0xFF00, 0xFF, 0xFF0000, 0}, Kind{24, 0xFC0000, 0x3F000, 0xFC0, 0x3F},
    Kind{24, 0x3F, 0x3F000, 0xFC0, 0},
    // 32 bits: the four recognised layouts with and without alpha
    Kind{32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000}, Kind{32, 0xFF, 0xFF00, 0xFF0000, 0xFF000000},
    Kind{32, 0xFF000000, 0xFF0000, 0xFF00, 0xFF}, Kind{32, 0xFF00, 0xFF0000, 0xFF000000, 0xFF},
    Kind{32, 0xFF0000, 0xFF00, 0xFF, 0}, Kind{32, 0xFF, 0xFF00, 0xFF0000, 0},
    Kind{32, 0xFF000000, 0xFF0000, 0xFF00, 0}, Kind{32, 0xFF00, 0xFF0000, 0xFF000000, 0},
    // 32 bits: 10-bit channels, narrow channels, 16-bit channels, a recognised red among other channels
    Kind{32, 0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000}, Kind{32, 0xFFC00000, 0x3FF000, 0xFFC, 3},
    Kind{32, 0xF80000, 0xFC00, 0xF8, 0xFF000000}, Kind{32, 0xFFFF0000, 0xFF00, 0xFF, 0},
    Kind{32, 0xFF00000, 0xFF000, 0xFF0, 0xF}, Kind{32, 0xFF0000, 0xFF, 0xFF000000, 0xF00},
    // channels that share their bits
    Kind{32, 0xFF00, 0xFF00, 0xFF, 0xFF000000}, Kind{32, 0xFF, 0xFF00, 0xFF000000, 0xFF000000},
    Kind{24, 0xFF, 0xFF, 0xFF, 0}, Kind{16, 0x7E0, 0x7E0, 0x1F, 0xF800}};

const std::vector<Kind> bitmapKinds = {Kind{24, 0xFF0000, 0xFF00, 0xFF, 0, 2},
                                       Kind{24, 0xFF, 0xFF00, 0xFF0000, 0, 3},
                                       Kind{32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000, 6},
                                       Kind{32, 0xFF, 0xFF00, 0xFF0000, 0xFF000000, 7},
                                       Kind{32, 0xFF000000, 0xFF0000, 0xFF00, 0xFF, 8},
                                       Kind{32, 0xFF00, 0xFF0000, 0xFF000000, 0xFF, 9},
                                       Kind{16, 0xF800, 0x7E0, 0x1F, 0, 10},
                                       Kind{16, 0x7C00, 0x3E0, 0x1F, 0x8000, 11}};

const std::vector<unsigned> constantAlphas = {0, 1, 7, 8, 15, 16, 31, 100, 127, 128, 200, 247, 248, 254, 255};

uint32_t Kind::recognised() const {
    if (code != 0 || depth == 8)
        return code;
    if (depth == 24)
        return r == 0xFF0000 ? 2 : 3;
    if (depth <= 16)
        return r == 0xF800 ? 10 : r == 0x7C00 ? 11 : 0;
    return r == 0xFF0000 ? 6 : r == 0xFF ? 7 : r == 0xFF000000 ? 8 : r == 0xFF00 ? 9 : 0;
}

Picture::Picture(const Kind& kind, uint8_t* pixels, long width, long height, long pitch, bool onBoard)
    : image_{0, 0, pitch * height, pitch, width, height, {}, onBoard && kind.code != 0} {
    const int w = static_cast<int>(width), h = static_cast<int>(height), step = static_cast<int>(pitch);
    image_.format.bytes = static_cast<uint32_t>(kind.bytes()), image_.format.code = kind.code;
    if (kind.code != 0) {
        bitmap_.reset(HOST_WrapBitMap(pixels, static_cast<uint32_t>(w), static_cast<uint32_t>(h), step,
                                      kind.code, onBoard),
                      FreeBitMap);
        if (const model::Format* known = model::bitmapFormat(kind.code))
            image_.format = *known;
        return;
    }
    surface_.reset(SDL_CreateRGBSurfaceFrom(pixels, w, h, kind.depth, step, kind.r, kind.g, kind.b, kind.a),
                   SDL_FreeSurface);
    const SDL_PixelFormat& f = *surface_->format; // shifts and losses are SDL's findings
    using model::Channel;
    image_.format = {kind.recognised(),
                     f.BytesPerPixel,
                     Channel{f.Rmask, f.Rshift, f.Rloss},
                     Channel{f.Gmask, f.Gshift, f.Gloss},
                     Channel{f.Bmask, f.Bshift, f.Bloss},
                     Channel{f.Amask, f.Ashift, f.Aloss}};
}

void Picture::setAlpha(bool use, unsigned alpha) const {
    surface_->flags = (surface_->flags & ~static_cast<Uint32>(SDL_SRCALPHA)) | (use ? SDL_SRCALPHA : 0);
    surface_->format->alpha = static_cast<Uint8>(alpha);
}

model::Image Picture::image(long first) const {
    model::Image image = image_;
    image.first = image.begin = first;
    image.end += first;
    return image;
}

// --- Blits --------------------------------------------------------------------------------------------

BltContext contextFor(const model::Blit& blit, uint8_t* base) {
    const auto side = [base](BltRenderFmt& to, const model::Image& from) {
        const auto& [code, bytes, r, g, b, a] = from.format;
        to.pixels = base + from.first;
        to.pitch = static_cast<int16_t>(from.pitch);
        to.format = code, to.bytesPerPixel = bytes;
        to.rMask = r.mask, to.gMask = g.mask, to.bMask = b.mask, to.aMask = a.mask;
        to.rShift = r.shift, to.gShift = g.shift, to.bShift = b.shift, to.aShift = a.shift;
        to.rLoss = r.loss, to.gLoss = g.loss, to.bLoss = b.loss, to.aLoss = a.loss;
        to.onBoard = from.onBoard;
        to.lock = 1;
        return static_cast<uint16_t>(8 * bytes);
    };
    const auto narrow = [](long value) { return static_cast<int32_t>(value); };
    BltContext ctx;
    std::memset(&ctx, 0, sizeof ctx);
    ctx.size = sizeof ctx;
    ctx.srcBpp = side(ctx.src, blit.src), ctx.dstBpp = side(ctx.dst, blit.dst);
    ctx.srcX = narrow(blit.srcX), ctx.srcY = narrow(blit.srcY);
    ctx.dstX = narrow(blit.dstX), ctx.dstY = narrow(blit.dstY);
    ctx.width = narrow(blit.width), ctx.height = narrow(blit.height);
    ctx.alpha = static_cast<uint8_t>(blit.alpha), ctx.flags = blit.flags;
    if (blit.masked) {
        ctx.maskPixels = base + blit.mask.first;
        ctx.maskPitch = static_cast<int16_t>(blit.mask.pitch);
        ctx.maskFormat = blit.mask.format.code;
        ctx.maskLock = 1;
    }
    return ctx;
}

std::string describe(const model::Blit& b) {
    std::ostringstream out;
    for (const model::Image* i : {&b.src, &b.dst, &b.mask})
        out << i->width << "x" << i->height << " pitch " << i->pitch << " first " << i->first << " code "
            << i->format.code << " bytes " << i->format.bytes << " red mask " << i->format.r.mask
            << (i->onBoard ? " on board\n" : "\n");
    out << "from " << b.srcX << "," << b.srcY << " to " << b.dstX << "," << b.dstY << " size " << b.width
        << "x" << b.height << " alpha " << b.alpha << " flags " << b.flags << (b.masked ? ", masked" : "")
        << (b.noMemory ? ", no memory" : "") << "\n";
    return out.str();
}

static sigjmp_buf beforeFault;

bool faults(const std::function<void()>& work) {
    const auto before = std::signal(SIGSEGV, [](int) { siglongjmp(beforeFault, 1); });
    const bool fault = sigsetjmp(beforeFault, 1) != 0;
    if (!fault)
        work();
    std::signal(SIGSEGV, before);
    return fault;
}

std::string printedBy(const std::function<void()>& work) {
    std::string text;
    HOST_SetDebugSink([](const char* line, void* user) { *static_cast<std::string*>(user) += line; }, &text);
    work();
    HOST_SetDebugSink(nullptr, nullptr);
    return text;
}

// --- Cases --------------------------------------------------------------------------------------------

#ifndef __has_feature
#    define __has_feature(name) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(address_sanitizer) ||     \
    __has_feature(thread_sanitizer)
static constexpr bool slow = true;
#else
static constexpr bool slow = false;
#endif

static long fromEnvironment(const char* name, long otherwise) {
    const char* text = std::getenv(name);
    return text && *text ? std::strtol(text, nullptr, 0) : otherwise;
}

long caseCount(long normal) {
    return fromEnvironment("ORMSEL_CASES", slow ? normal / 20 : normal);
}

uint32_t stride() {
    return static_cast<uint32_t>(fromEnvironment("ORMSEL_STRIDE", slow ? 15 : 1));
}

std::string forCases(long normal, const std::function<std::string(Random&, long)>& body) {
    const long seed = fromEnvironment("ORMSEL_SEED", 1), single = fromEnvironment("ORMSEL_CASE", -1);
    const long last = single >= 0 ? single : caseCount(normal) - 1;
    for (long number = std::max(0L, single); number <= last; ++number) {
        Random random(static_cast<uint64_t>(seed), static_cast<uint64_t>(number));
        if (const std::string wrong = body(random, number); !wrong.empty())
            return "ORMSEL_SEED=" + std::to_string(seed) + " ORMSEL_CASE=" + std::to_string(number) + "\n" +
                   wrong;
    }
    return {};
}
