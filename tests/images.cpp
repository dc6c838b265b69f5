// SPDX-License-Identifier: Zlib
#include "images.h"

#include <algorithm>
#include <bit>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <sys/mman.h>
#include <unistd.h>

#include <host/bitmap.h>
#include <host/debug.h>
#include <ormsel/ormsel_formats.h>
#include <proto/graphics.h>

// --- Random numbers -----------------------------------------------------------------------------------

Random::Random(uint64_t seed, uint64_t number) : state_(seed * 0x9E3779B97F4A7C15U + number) {
    next();
}

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
    before_.resize(memory.bytes.size());
    void* all = mmap(nullptr, memory.bytes.size(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED)
        std::abort();
    base_ = static_cast<uint8_t*>(all);
    for (long area = 0; area < areas; ++area)
        protect({begin(area), begin(area) + size_}, PROT_READ | PROT_WRITE);
}

Arena::~Arena() {
    munmap(base_, memory.bytes.size());
}

void Arena::protect(Range pages, int protection) const {
    if (mprotect(at(pages.from), static_cast<size_t>(pages.to - pages.from), protection) != 0)
        std::abort();
}

void Arena::share(Range window) {
    std::copy(at(window.from), at(window.to), memory.bytes.begin() + window.from);
    std::copy(at(window.from), at(window.to), before_.begin() + window.from);
    std::fill(memory.written.begin() + window.from, memory.written.begin() + window.to, uint8_t{0});
}

bool Arena::writes(Range window) const {
    const auto written = memory.written.begin();
    return std::find(written + window.from, written + window.to, 1) != written + window.to;
}

static std::ostream& operator<<(std::ostream& out, const model::Image& image) {
    const model::Format& f = image.format;
    return out << "format '" << model::nameOf(f.code) << "', " << f.bytes << " bytes, masks " << std::hex
               << f.r.mask << " " << f.g.mask << " " << f.b.mask << " " << f.a.mask << std::dec << ", "
               << image.width << "x" << image.height << ", pitch " << image.pitch
               << (image.onBoard ? ", on board\n" : "\n");
}

std::string describe(const model::Blit& b) {
    std::ostringstream out;
    out << b.width << "x" << b.height << " pixels from (" << b.srcX << ", " << b.srcY << ") to (" << b.dstX
        << ", " << b.dstY << "), constant alpha " << b.alpha << ", flags " << b.flags
        << (b.noMemory ? ", without memory" : "") << "\nsource " << b.src << "destination " << b.dst;
    if (b.masked)
        out << "mask " << b.mask;
    return out.str();
}

std::string Arena::difference(Range window, const model::Blit& b) const {
    const auto model = memory.bytes.begin() + window.from;
    if (std::memcmp(at(window.from), &*model, static_cast<size_t>(window.to - window.from)) == 0)
        return {};
    const long from = std::mismatch(at(window.from), at(window.to), model).first - at(b.dst.first);
    // Rows from the first one's memory on, be it upwards.
    const long row = std::max(1L, std::abs(b.dst.pitch)), below = from - (from % row + row) % row;
    const long y = below / (b.dst.pitch ? b.dst.pitch : 1), x = (from - below) / b.dst.format.bytes;
    const long sx = x - b.dstX + b.srcX, sy = y - b.dstY + b.srcY;
    std::ostringstream out;
    out << "row " << y - b.dstY << " of the blit, pixel (" << x << ", " << y << ") of the destination: got "
        << std::hex << std::showbase << model::load(base_, b.dst, x, y) << ", expected "
        << model::load(memory.bytes.data(), b.dst, x, y) << ", old value "
        << model::load(before_.data(), b.dst, x, y) << ", source value "
        << model::load(before_.data(), b.src, sx, sy);
    if (b.masked)
        out << ", mask " << model::load(before_.data(), b.mask, sx, sy);
    out << "\n";
    return out.str();
}

// --- Images -------------------------------------------------------------------------------------------

// The checksums of golden_test go by the order of these lists.
const std::vector<Kind> kSurfaceKinds = {
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

// With the channels that the model reads from a format's name.
#define KIND(name, stem, code, ...) kindOf(model::formatNamed(#name)),
static Kind kindOf(const model::Format& f) {
    return {static_cast<int>(8 * f.bytes), f.r.mask, f.g.mask, f.b.mask, f.a.mask, f.code};
}
const std::vector<Kind> kBitmapKinds = {ORMSEL_FORMATS(KIND)};

const Kind& bitmapKind(uint32_t code) {
    return *std::find_if(kBitmapKinds.begin(), kBitmapKinds.end(),
                         [&](const Kind& k) { return k.code == code; });
}

Kind surfaceKind(uint32_t code) {
    Kind kind = bitmapKind(code);
    kind.code = RGBFB_NONE;
    return kind;
}

const std::vector<unsigned> kConstantAlphas = {0,   1,   7,   8,   15,  16,  31, 100,
                                               127, 128, 200, 247, 248, 254, 255};

uint32_t Kind::recognised() const {
    if (code != RGBFB_NONE || depth == 8)
        return code;
    for (const Kind& known : kBitmapKinds)
        if (known.bytes() == bytes() && known.r == r)
            return known.code;
    return depth == 24 ? RGBFB_B8G8R8 : RGBFB_NONE;
}

long memoryOf(const Kind& kind, long width, long height, long pitch) {
    const long step = std::abs(pitch);
    return width && height ? step * (height - 1) + std::min(step, width * kind.bytes()) : 0;
}

// A surface with what SDL finds in these masks. An empty one is made and filled in: where SDL is a layer over
// SDL 2 it refuses layouts that SDL 2 has no name for, or takes others for them, and refuses rows that are
// shorter than their pixels or lead upwards.
static std::shared_ptr<SDL_Surface> surfaceOver(const Kind& kind, uint8_t* pixels, int width, int height,
                                                int pitch) {
    std::shared_ptr<SDL_Surface> surface(
        SDL_CreateRGBSurfaceFrom(pixels, 0, height, kind.depth, std::abs(pitch), 0, 0, 0, 0),
        SDL_FreeSurface);
    if (!surface)
        std::abort();
    surface->w = width;
    surface->pitch = static_cast<Uint16>(pitch);
    surface->flags |= kind.a ? SDL_SRCALPHA : 0;
    const auto set = [](uint32_t from, Uint32& mask, Uint8& shift, Uint8& loss) {
        mask = from;
        shift = static_cast<Uint8>(from ? std::countr_zero(from) : 0);
        loss = static_cast<Uint8>(8 - std::countr_one(from >> shift));
    };
    SDL_PixelFormat& f = *surface->format;
    set(kind.r, f.Rmask, f.Rshift, f.Rloss), set(kind.g, f.Gmask, f.Gshift, f.Gloss);
    set(kind.b, f.Bmask, f.Bshift, f.Bloss), set(kind.a, f.Amask, f.Ashift, f.Aloss);
    return surface;
}

Picture::Picture(const Kind& kind, uint8_t* pixels, long width, long height, long pitch, bool onBoard)
    : image_{0,      0,  memoryOf(kind, width, height, pitch), pitch, width,
             height, {}, onBoard && kind.code != RGBFB_NONE} {
    const int w = static_cast<int>(width), h = static_cast<int>(height), step = static_cast<int>(pitch);
    image_.format.bytes = static_cast<uint32_t>(kind.bytes()), image_.format.code = kind.code;
    if (kind.code != RGBFB_NONE) {
        bitmap_.reset(HOST_WrapBitMap(pixels, static_cast<uint32_t>(w), static_cast<uint32_t>(h), step,
                                      kind.code, onBoard),
                      FreeBitMap);
        if (!model::nameOf(kind.code).empty())
            image_.format = model::formatOf(kind.code);
        return;
    }
    surface_ = surfaceOver(kind, pixels, w, h, step);
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
    image.first = first;
    image.begin = first + std::min(0L, image.pitch * std::max(0L, image.height - 1));
    image.end += image.begin;
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

static sigjmp_buf beforeFault;
static volatile sig_atomic_t awaitsFault = 0;

bool faults(const std::function<void()>& work) {
    [[maybe_unused]] static const auto before = std::signal(SIGSEGV, [](int) {
        if (awaitsFault)
            siglongjmp(beforeFault, 1);
        std::signal(SIGSEGV, SIG_DFL); // a crash of its own, which happens again now
    });
    awaitsFault = 1;
    const bool fault = sigsetjmp(beforeFault, 1) != 0;
    if (!fault)
        work();
    awaitsFault = 0;
    return fault;
}

std::string printedBy(const std::function<void()>& work) {
    std::string text;
    HOST_SetDebugSink([](const char* line, void* user) { *static_cast<std::string*>(user) += line; }, &text);
    work();
    HOST_SetDebugSink(nullptr, nullptr);
    return text;
}
