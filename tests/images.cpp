// SPDX-License-Identifier: Zlib
#include "images.h"

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

#include <host/testing.h>
#include <proto/graphics.h>

uint64_t Random::next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

void Random::fill(uint8_t* bytes, size_t count) {
    while (count > 0) {
        const uint64_t noise = next();
        uint64_t word = next();
        const size_t length = std::min<size_t>(count, noise % 4 == 0 ? 1 + (noise >> 2) % 8 : 8);
        if (noise >> 8 & 1)
            word = (noise >> 9 & 1) ? 0 : ~uint64_t{0};
        std::memcpy(bytes, &word, length);
        bytes += length;
        count -= length;
    }
}

size_t Pages::pageSize() {
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

Pages::Pages(size_t bytes) : size_((bytes + pageSize() - 1) / pageSize() * pageSize()) {
    void* all = mmap(nullptr, size_ + 2 * pageSize(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED)
        std::abort();
    first_ = static_cast<uint8_t*>(all) + pageSize();
    protect(first_, size_, PROT_READ | PROT_WRITE);
}

Pages::~Pages() {
    munmap(first_ - pageSize(), size_ + 2 * pageSize());
}

void Pages::protect(uint8_t* from, size_t bytes, int protection) const {
    if (mprotect(from, bytes, protection) != 0)
        std::abort();
}

const std::vector<SurfaceFormat> surfaceFormats = {
    // 16 bits: both recognised layouts, also with alpha and with the other channels elsewhere
    {16, 0xF800, 0x7E0, 0x1F, 0},
    {15, 0x7C00, 0x3E0, 0x1F, 0},
    {16, 0x7C00, 0x3E0, 0x1F, 0x8000},
    {16, 0xF800, 0x7C0, 0x3E, 1},
    {16, 0xF000, 0xF00, 0xF0, 0xF},
    {16, 0xF00, 0xF0, 0xF, 0xF000},
    {16, 0xF, 0xF0, 0xF00, 0xF000},
    {15, 0x3E0, 0x7C00, 0x1F, 0},
    {16, 0x5000, 0xE0, 7, 0x300},
    // 24 bits: either order, another one, and channels that are not whole bytes
    {24, 0xFF0000, 0xFF00, 0xFF, 0},
    {24, 0xFF, 0xFF00, 0xFF0000, 0},
    {24, 0xFF00, 0xFF, 0xFF0000, 0},
    {24, 0xFC0000, 0x3F000, 0xFC0, 0x3F},
    {24, 0x3F, 0x3F000, 0xFC0, 0},
    // 32 bits: the four recognised layouts with and without alpha
    {32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000},
    {32, 0xFF, 0xFF00, 0xFF0000, 0xFF000000},
    {32, 0xFF000000, 0xFF0000, 0xFF00, 0xFF},
    {32, 0xFF00, 0xFF0000, 0xFF000000, 0xFF},
    {32, 0xFF0000, 0xFF00, 0xFF, 0},
    {32, 0xFF, 0xFF00, 0xFF0000, 0},
    {32, 0xFF000000, 0xFF0000, 0xFF00, 0},
    {32, 0xFF00, 0xFF0000, 0xFF000000, 0},
    // 32 bits: 10-bit channels, narrow channels, 16-bit channels, a recognised red among other channels
    {32, 0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000},
    {32, 0xFFC00000, 0x3FF000, 0xFFC, 3},
    {32, 0xF80000, 0xFC00, 0xF8, 0xFF000000},
    {32, 0xFFFF0000, 0xFF00, 0xFF, 0},
    {32, 0xFF00000, 0xFF000, 0xFF0, 0xF},
    {32, 0xFF0000, 0xFF, 0xFF000000, 0xF00},
    // channels that share their bits
    {32, 0xFF00, 0xFF00, 0xFF, 0xFF000000},
    {32, 0xFF, 0xFF00, 0xFF000000, 0xFF000000},
    {24, 0xFF, 0xFF, 0xFF, 0},
    {16, 0x7E0, 0x7E0, 0x1F, 0xF800},
};

const std::vector<uint32_t> bitmapCodes = {2, 3, 6, 7, 8, 9, 10, 11};

const std::vector<unsigned> constantAlphas = {0, 1, 7, 8, 15, 16, 31, 100, 127, 128, 200, 247, 248, 254, 255};

void Picture::SurfaceDeleter::operator()(SDL_Surface* surface) const {
    SDL_FreeSurface(surface);
}
void Picture::BitmapDeleter::operator()(BitMap* bitmap) const {
    FreeBitMap(bitmap);
}

// The code for a surface's layout: only depth and red mask count.
static uint32_t surfaceCode(int depth, uint32_t red) {
    if (depth == 24)
        return red == 0xFF0000 ? 2 : 3;
    if (depth <= 16)
        return red == 0xF800 ? 10 : red == 0x7C00 ? 11 : 0;
    return red == 0xFF0000 ? 6 : red == 0xFF ? 7 : red == 0xFF000000 ? 8 : red == 0xFF00 ? 9 : 0;
}

Picture Picture::surface(const SurfaceFormat& f, uint8_t* pixels, long width, long height, long pitch) {
    Picture p;
    p.surface_.reset(SDL_CreateRGBSurfaceFrom(pixels, static_cast<int>(width), static_cast<int>(height),
                                              f.depth, static_cast<int>(pitch), f.r, f.g, f.b, f.a));
    const SDL_PixelFormat& s = *p.surface_->format;
    p.image_ = {0,
                0,
                pitch * height,
                pitch,
                width,
                height,
                {surfaceCode(f.depth, f.r),
                 s.BytesPerPixel,
                 {s.Rmask, s.Rshift, s.Rloss},
                 {s.Gmask, s.Gshift, s.Gloss},
                 {s.Bmask, s.Bshift, s.Bloss},
                 {s.Amask, s.Ashift, s.Aloss}},
                false};
    return p;
}

Picture Picture::bitmap(uint32_t code, uint8_t* pixels, long width, long height, long pitch, bool onBoard) {
    Picture p;
    p.bitmap_.reset(HOST_WrapBitMap(pixels, static_cast<uint32_t>(width), static_cast<uint32_t>(height),
                                    static_cast<int32_t>(pitch), code, onBoard));
    p.image_ = {0, 0, pitch * height, pitch, width, height, {}, onBoard};
    if (const model::Format* format = model::bitmapFormat(code))
        p.image_.format = *format;
    return p;
}

Picture Picture::surfaceMask(uint8_t* pixels, long width, long height, long pitch) {
    Picture p;
    p.surface_.reset(SDL_CreateRGBSurfaceFrom(pixels, static_cast<int>(width), static_cast<int>(height), 8,
                                              static_cast<int>(pitch), 0, 0, 0, 0));
    p.image_ = {0, 0, pitch * height, pitch, width, height, {}, false};
    return p;
}

Picture Picture::bitmapMask(uint8_t* pixels, long width, long height, long pitch) {
    return bitmap(1, pixels, width, height, pitch, false);
}

void Picture::setAlpha(bool use, unsigned alpha) {
    surface_->flags = (surface_->flags & ~static_cast<Uint32>(SDL_SRCALPHA)) | (use ? SDL_SRCALPHA : 0);
    surface_->format->alpha = static_cast<Uint8>(alpha);
}

model::Image Picture::image(long first) const {
    model::Image image = image_;
    image.first += first;
    image.begin += first;
    image.end += first;
    return image;
}

static std::ostream& operator<<(std::ostream& out, const model::Image& image) {
    const model::Format& f = image.format;
    return out << image.width << "x" << image.height << " pitch " << image.pitch << " first " << image.first
               << " [" << image.begin << "," << image.end << ") code " << f.code << " bytes " << f.bytes
               << std::hex << " masks " << f.r.mask << "," << f.g.mask << "," << f.b.mask << "," << f.a.mask
               << std::dec << (image.onBoard ? " on board" : "");
}

std::string Picture::describe() const {
    std::ostringstream out;
    out << (surface_ ? "surface " : "bitmap ") << image_;
    return out.str();
}

std::string describe(const model::Blit& b) {
    std::ostringstream out;
    out << "source " << b.src << "\ndestination " << b.dst;
    if (b.masked)
        out << "\nmask " << b.mask;
    out << "\nfrom " << b.srcX << "," << b.srcY << " to " << b.dstX << "," << b.dstY << " size " << b.width
        << "x" << b.height << " alpha " << b.alpha << " flags " << b.flags
        << (b.noMemory ? ", allocations fail" : "");
    return out.str();
}

BltContext contextFor(const model::Blit& blit, uint8_t* src, uint8_t* dst, uint8_t* mask) {
    BltContext ctx{};
    const auto side = [](BltRenderFmt& to, const model::Image& from, uint8_t* pixels) {
        const model::Format& f = from.format;
        to.pixels = pixels;
        to.pitch = static_cast<int16_t>(from.pitch);
        to.format = f.code;
        to.bytesPerPixel = f.bytes;
        to.rMask = f.r.mask, to.rShift = f.r.shift, to.rLoss = f.r.loss;
        to.gMask = f.g.mask, to.gShift = f.g.shift, to.gLoss = f.g.loss;
        to.bMask = f.b.mask, to.bShift = f.b.shift, to.bLoss = f.b.loss;
        to.aMask = f.a.mask, to.aShift = f.a.shift, to.aLoss = f.a.loss;
        to.onBoard = from.onBoard;
        to.lock = 1;
    };
    ctx.size = static_cast<uint32_t>(sizeof ctx);
    side(ctx.src, blit.src, src);
    side(ctx.dst, blit.dst, dst);
    ctx.srcBpp = static_cast<uint16_t>(8 * blit.src.format.bytes);
    ctx.dstBpp = static_cast<uint16_t>(8 * blit.dst.format.bytes);
    ctx.srcX = static_cast<int32_t>(blit.srcX), ctx.srcY = static_cast<int32_t>(blit.srcY);
    ctx.dstX = static_cast<int32_t>(blit.dstX), ctx.dstY = static_cast<int32_t>(blit.dstY);
    ctx.width = static_cast<int32_t>(blit.width), ctx.height = static_cast<int32_t>(blit.height);
    ctx.alpha = static_cast<uint8_t>(blit.alpha);
    ctx.flags = blit.flags;
    if (blit.masked) {
        ctx.maskPixels = mask;
        ctx.maskPitch = static_cast<int16_t>(blit.mask.pitch);
        ctx.maskLock = 1;
    }
    return ctx;
}

static sigjmp_buf beforeFault;

bool faults(const std::function<void()>& work) {
    struct sigaction action = {}, oldSegv = {}, oldBus = {};
    action.sa_handler = [](int) { siglongjmp(beforeFault, 1); };
    sigaction(SIGSEGV, &action, &oldSegv);
    sigaction(SIGBUS, &action, &oldBus);
    const bool fault = sigsetjmp(beforeFault, 1) != 0;
    if (!fault)
        work();
    sigaction(SIGSEGV, &oldSegv, nullptr);
    sigaction(SIGBUS, &oldBus, nullptr);
    return fault;
}

DebugOutput::DebugOutput() {
    HOST_SetDebugSink([](const char* text, void* user) { *static_cast<std::string*>(user) += text; }, &text_);
}

DebugOutput::~DebugOutput() {
    HOST_SetDebugSink(nullptr, nullptr);
}

std::string DebugOutput::take() {
    return std::exchange(text_, {});
}

static long fromEnvironment(const char* name, long otherwise) {
    const char* text = std::getenv(name);
    return text && *text ? std::strtol(text, nullptr, 0) : otherwise;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
static constexpr long slowness = 20;
#elif defined(__has_feature)
#    if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
static constexpr long slowness = 20;
#    else
static constexpr long slowness = 1;
#    endif
#else
static constexpr long slowness = 1;
#endif

long caseCount(long normal) {
    return fromEnvironment("ORMSEL_CASES", normal / slowness);
}
long stride() {
    return fromEnvironment("ORMSEL_STRIDE", slowness == 1 ? 1 : 15);
}
uint64_t caseSeed() {
    return static_cast<uint64_t>(fromEnvironment("ORMSEL_SEED", 1));
}
long singleCase() {
    return fromEnvironment("ORMSEL_CASE", -1);
}
