// SPDX-License-Identifier: Zlib
//
// ormsel_BlitSurface, ormsel_LowerBlit and ormsel_FillRect beside SDL's own: every triple of source,
// destination and weight, every value converted between every pair of formats, and random pairs of surfaces
// of every kind that SDL can make. Checksums carry what was seen there to processors and libraries on which
// SDL draws by other code.
#include <algorithm>
#include <bit>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <map>
#include <span>
#include <sstream>

#include <gtest/gtest.h>

#include <ormsel/ormsel_sdl.h>

#include "tests/images.h"

namespace {

// With AltiVec SDL's library draws some blits with vector code that rounds in its own way.
bool sdlIsPlainC() {
    return !SDL_HasAltiVec();
}

// From this patch level on SDL 1.2 is a layer over SDL 2, which makes and draws surfaces by rules of its own.
bool sdlIsSdl2() {
    constexpr Uint8 kFirstOnSdl2 = 50;
    return SDL_Linked_Version()->patch >= kFirstOnSdl2;
}

// SDL reads pixels at odd places as whole words, which not every processor can.
#if defined(__x86_64__) || defined(__i386__) || defined(__aarch64__)
constexpr bool kSdlTakesOddPitches = true;
#else
constexpr bool kSdlTakesOddPitches = false;
#endif

// For 80386 SDL converts by assembly, which gives other pixels than its plain C code.
#ifdef __i386__
constexpr bool kSdlConvertsByAssembly = true;
#else
constexpr bool kSdlConvertsByAssembly = false;
#endif

struct SdlKind {
    int bits;
    uint32_t r, g, b, a;
};

const SdlKind kSdlKinds[] = {
    {32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000},
    {32, 0xFF, 0xFF00, 0xFF0000, 0xFF000000},
    {32, 0xFF000000, 0xFF0000, 0xFF00, 0xFF},
    {32, 0xFF00, 0xFF0000, 0xFF000000, 0xFF},
    {32, 0xFF00, 0xFF0000, 0xFF, 0xFF000000},
    {32, 0xFF000000, 0xFF, 0xFF00, 0xFF0000},
    {32, 0xFF0000, 0xFF00, 0xFF, 0},
    {32, 0xFF, 0xFF00, 0xFF0000, 0},
    {32, 0xFF000000, 0xFF0000, 0xFF00, 0},
    {32, 0xFF00, 0xFF0000, 0xFF000000, 0},
    {24, 0xFF0000, 0xFF00, 0xFF, 0},
    {24, 0xFF, 0xFF00, 0xFF0000, 0},
    {24, 0xFF00, 0xFF0000, 0xFF, 0},
    {16, 0xF800, 0x07E0, 0x1F, 0},
    {16, 0x1F, 0x07E0, 0xF800, 0},
    {15, 0x7C00, 0x03E0, 0x1F, 0},
    {15, 0x1F, 0x03E0, 0x7C00, 0},
    {16, 0x7C00, 0x03E0, 0x1F, 0},
    {16, 0x7C00, 0x03E0, 0x1F, 0x8000},
    {16, 0x0F00, 0xF0, 0x0F, 0xF000},
    {8, 0, 0, 0, 0},
    // SDL's own, and those of programs that mistyped a mask.
    {16, 0, 0, 0, 0},
    {16, 0xF800, 0x1F, 0x07E0, 0},
    {16, 0xF800, 0x07E0, 0x1F, 0xFF000000},
};
constexpr size_t kUsualKinds = std::size(kSdlKinds) - 3;

struct FreeSurface {
    void operator()(SDL_Surface* s) const {
        while (s->locked)
            SDL_UnlockSurface(s);
        SDL_FreeSurface(s);
    }
};
using Surface = std::unique_ptr<SDL_Surface, FreeSurface>;

Surface makeSurface(const SdlKind& k, int width, int height) {
    return Surface(SDL_CreateRGBSurface(SDL_SWSURFACE, width, height, k.bits, k.r, k.g, k.b, k.a));
}

uint8_t* pixelAt(const SDL_Surface& surface, int x, int y) {
    return static_cast<uint8_t*>(surface.pixels) + y * surface.pitch + x * surface.format->BytesPerPixel;
}

// Pixels as the numbers that SDL takes them for.
uint32_t load(const SDL_Surface& surface, int x, int y) {
    const uint8_t *at = pixelAt(surface, x, y), bytes = surface.format->BytesPerPixel;
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value |= uint32_t{at[i]} << 8 * (SDL_BYTEORDER == SDL_LIL_ENDIAN ? i : bytes - 1 - i);
    return value;
}

void store(SDL_Surface& surface, int x, int y, uint32_t value) {
    uint8_t* at = pixelAt(surface, x, y);
    const int bytes = surface.format->BytesPerPixel;
    for (int i = 0; i < bytes; ++i)
        at[i] = static_cast<uint8_t>(value >> 8 * (SDL_BYTEORDER == SDL_LIL_ENDIAN ? i : bytes - 1 - i));
}

// --- Every triple -------------------------------------------------------------------------------------

// Two kinds with all 256 x 256 pairs of channel values, each in all three channels: the column gives the
// destination's, the row the source's. Other bits of the destination are everything.
class Pairs {
public:
    Pairs(const SdlKind& from, const SdlKind& to)
        : from_(from), to_(to), sources_(makeSurface(from, 256, 256)), old_(makeSurface(to, 256, 256)) {
        const uint32_t spare = ~(to.r | to.g | to.b);
        for (int s = 0; s < 256; ++s)
            for (int d = 0; d < 256; ++d) {
                const auto noise =
                    static_cast<uint32_t>(s) * 0x01010101 ^ static_cast<uint32_t>(d) * 0x9E3779B1;
                store(*sources_, d, s, grey(from, s));
                store(*old_, d, s, grey(to, d) | (noise & spare));
            }
    }

    // What comes out under one weight, by the pixels' alpha or by the surface's.
    template <class Blit>
    Surface drawn(uint32_t alpha, bool keyed, uint32_t request, const Blit& blit) const {
        Surface src = makeSurface(from_, 256, 256), dst = makeSurface(to_, 256, 256);
        std::memcpy(dst->pixels, old_->pixels, static_cast<size_t>(old_->pitch) * 256);
        std::memcpy(src->pixels, sources_->pixels, static_cast<size_t>(sources_->pitch) * 256);
        if (from_.a)
            for (int i = 0; i < 0x10000; ++i)
                static_cast<uint32_t*>(src->pixels)[i] |= alpha << std::countr_zero(from_.a);
        if (keyed)
            SDL_SetColorKey(src.get(), SDL_SRCCOLORKEY, grey(from_, 0x55));
        SDL_SetAlpha(src.get(), SDL_SRCALPHA | request, static_cast<Uint8>(from_.a ? 77 : alpha));
        blit(src.get(), dst.get());
        return dst;
    }

private:
    static uint32_t grey(const SdlKind& k, int value) {
        uint32_t pixel = 0;
        for (const uint32_t mask : {k.r, k.g, k.b})
            pixel |= static_cast<uint32_t>(value) >> (8 - std::popcount(mask)) << std::countr_zero(mask);
        return pixel;
    }

    SdlKind from_, to_;
    Surface sources_, old_;
};

TEST(SdlRules, EveryTriple) {
    if (sdlIsSdl2() || !sdlIsPlainC())
        GTEST_SKIP() << "SDL draws by other rules here";
    // Every rule onto every layout that it has.
    const size_t kinds[][2] = {{0, 6},  {0, 1},   {0, 10},  {0, 13}, {1, 13}, {0, 15},
                               {0, 14}, {0, 18},  {6, 0},   {6, 7},  {6, 10}, {6, 13},
                               {6, 15}, {13, 13}, {15, 15}, {13, 6}, {10, 11}};
    long served = 0, asked = 0;
    const auto ours = [&](SDL_Surface* src, SDL_Surface* dst) {
        ++asked;
        served += ormsel_Serves(src, dst);
        ormsel_BlitSurface(src, nullptr, dst, nullptr);
    };
    const auto sdls = [](SDL_Surface* src, SDL_Surface* dst) { SDL_UpperBlit(src, nullptr, dst, nullptr); };
    for (const auto& [i, j] : kinds) {
        const Pairs pairs(kSdlKinds[i], kSdlKinds[j]);
        for (uint32_t alpha = 0; alpha < 256; alpha += stride())
            for (const bool other : {false, true}) { // encoded by runs, or else with a key
                const bool keyed = other && !kSdlKinds[i].a;
                const uint32_t request = other && kSdlKinds[i].a ? SDL_RLEACCEL : 0;
                const Surface found = pairs.drawn(alpha, keyed, request, ours);
                const Surface expected = pairs.drawn(alpha, keyed, request, sdls);
                for (int s = 0; s < 256; ++s)
                    for (int d = 0;
                         std::memcmp(pixelAt(*found, 0, s), pixelAt(*expected, 0, s),
                                     static_cast<size_t>(256 * found->format->BytesPerPixel)) != 0 &&
                         d < 256;
                         ++d)
                        ASSERT_EQ(load(*found, d, s), load(*expected, d, s))
                            << s << " onto " << d << " under " << alpha << (other ? ", keyed or encoded" : "")
                            << ", kind " << i << " onto " << j;
            }
    }
    EXPECT_GT(served, asked / 4 * 3);
}

// --- Conversions --------------------------------------------------------------------------------------

// All 65,536 words, or pixels with all pairs of values in neighbouring channels.
void fillWithEveryValue(SDL_Surface& surface) {
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            const auto row = static_cast<uint32_t>(y), column = static_cast<uint32_t>(x);
            const uint32_t value = row << 8 | column;
            store(surface, x, y,
                  surface.format->BytesPerPixel == 2 ? value : value << 16 | (row ^ column) << 8 | row);
        }
}

TEST(SdlRules, EveryValueConverted) {
    if (sdlIsSdl2() || !sdlIsPlainC() || kSdlConvertsByAssembly)
        GTEST_SKIP() << "SDL converts by other rules here";
    for (const SdlKind& from : kSdlKinds)
        for (const SdlKind& to : kSdlKinds)
            for (const bool keyed : {false, true}) {
                const Surface src = makeSurface(from, 256, 256), ours = makeSurface(to, 256, 256),
                              sdls = makeSurface(to, 256, 256);
                SDL_SetAlpha(src.get(), 0, 0); // which each surface with alpha has from the beginning
                fillWithEveryValue(*src);
                if (keyed)
                    SDL_SetColorKey(src.get(), SDL_SRCCOLORKEY, load(*src, 0x55, 0x55));
                // Of a key within one format, some are. And SDL has tables for R5G6B5.
                const SDL_PixelFormat &f = *src->format, &t = *ours->format;
                const bool isKeyedCopy = keyed && f.BitsPerPixel == t.BitsPerPixel && f.Rmask == t.Rmask;
                const bool hasTable = !keyed && f.Gmask == 0x07E0 && f.Rmask == 0xF800 && t.Amask;
                EXPECT_TRUE(ormsel_Serves(src.get(), ours.get()) || f.palette || t.palette || isKeyedCopy ||
                            hasTable)
                    << from.bits << ":" << from.r << " onto " << to.bits << ":" << to.r;
                SDL_Rect all{0, 0, 256, 256};
                ormsel_LowerBlit(src.get(), &all, ours.get(), &all);
                SDL_LowerBlit(src.get(), &all, sdls.get(), &all);
                if (std::memcmp(ours->pixels, sdls->pixels, static_cast<size_t>(ours->pitch) * 256) == 0)
                    continue;
                for (int i = 0; i < 0x10000; ++i)
                    ASSERT_EQ(load(*ours, i % 256, i / 256), load(*sdls, i % 256, i / 256))
                        << std::hex << load(*src, i % 256, i / 256) << " of " << from.bits << ":" << from.r
                        << "/" << from.a << " onto " << to.bits << ":" << to.r << "/" << to.a
                        << (keyed ? ", keyed" : "");
            }
}

// --- Random surfaces ----------------------------------------------------------------------------------

SDL_Rect randomRect(Random& random, int width, int height) {
    SDL_Rect r;
    if (random.oneIn(40)) {
        const uint64_t bits = random.next();
        std::memcpy(&r, &bits, sizeof r);
        return r;
    }
    r.x = static_cast<Sint16>(random.oneIn(30) ? random.oneIn(2) ? 32767 : -32768
                                               : random.between(-width, width + 3));
    r.y = static_cast<Sint16>(random.oneIn(30) ? -32760 : random.between(-height, height + 3));
    r.w = static_cast<Uint16>(random.oneIn(20) ? 0 : random.upTo(width + 20));
    r.h = static_cast<Uint16>(random.oneIn(20) ? 65535 : random.upTo(height + 5));
    return r;
}

enum class Call { kUpper, kLower, kFill };

struct Calls {
    decltype(&SDL_UpperBlit) upper, lower;
    decltype(&SDL_FillRect) fill;
};

// A blit or a fill as numbers, of which any number of equal sets of surfaces can be made.
class Plan {
public:
    explicit Plan(Random& random)
        : from_(random.of(kSdlKinds)), to_(random.of(kSdlKinds)),
          width_(random.between(1, random.oneIn(4) ? 90 : 24)), height_(random.between(1, 8)),
          dstWidth_(random.between(1, 60)), dstHeight_(random.between(1, 9)),
          alpha_(random.oneIn(4)   ? 128
                 : random.oneIn(4) ? 255
                                   : static_cast<uint32_t>(random.upTo(255))),
          alphaFlags_(random.oneIn(3) ? 0 : SDL_SRCALPHA), keyed_(random.oneIn(2)),
          request_(random.oneIn(5) ? SDL_RLEACCEL : 0), keyAt_(random.next()), lock_(random.upTo(60)),
          clipped_(random.oneIn(3)), clip_(randomRect(random, 60, 5)), hasSrcRect_(!random.oneIn(3)),
          hasDstRect_(!random.oneIn(4)), oneRect_(random.oneIn(20)), clipIsRect_(random.oneIn(20)),
          one_(random.oneIn(30)), view_(random.oneIn(30)), viewAt_(random.upTo(3)),
          call_(static_cast<Call>(random.upTo(2))), color_(random.next()),
          srcRect_(randomRect(random, 60, 4)), dstRect_(randomRect(random, 60, 5)) {
        for (SdlKind* kind : {&from_, &to_}) // SDL goes by bytes, but for encoding by runs
            if (kind->bits == 32 && random.oneIn(20))
                kind->bits = static_cast<int>(random.between(25, 31));
        for (int& bytes : oddPitch_)
            bytes = random.oneIn(30) && kSdlTakesOddPitches ? static_cast<int>(random.between(1, 3)) : 0;
        clipIsRect_ = clipIsRect_ && !one_ && !view_;
        if (clipIsRect_) { // which SDL moves out of the surface otherwise, and draws there
            const long w = dstWidth_ / 2, h = (dstHeight_ - 1) / 2;
            clipped_ = true;
            clip_ = {0, 0, static_cast<Uint16>(w), static_cast<Uint16>(h)};
            srcRect_.x = static_cast<Sint16>(random.between(-w, w));
            srcRect_.y = static_cast<Sint16>(random.between(-h, h));
        }
        if (one_ || view_) // encoding takes a surface's pixels away, and SDL doesn't look
            request_ = 0;
        srcBytes_.resize(static_cast<size_t>(width_ * height_ * 4 + 8));
        random.fill(srcBytes_.data(), static_cast<long>(srcBytes_.size()));
        dstBytes_.resize(static_cast<size_t>(dstWidth_ * dstHeight_ * 4 + 8));
        random.fill(dstBytes_.data(), static_cast<long>(dstBytes_.size()));
    }

    class Scene;

private:
    SdlKind from_, to_;
    long width_, height_, dstWidth_, dstHeight_;
    uint32_t alpha_, alphaFlags_;
    bool keyed_;
    uint32_t request_;
    uint64_t keyAt_;
    long lock_;
    bool clipped_;
    SDL_Rect clip_;
    bool hasSrcRect_, hasDstRect_, oneRect_, clipIsRect_, one_, view_;
    long viewAt_;
    int oddPitch_[2];
    Call call_;
    uint64_t color_;
    SDL_Rect srcRect_, dstRect_;
    std::vector<uint8_t> srcBytes_, dstBytes_;
};

class Plan::Scene {
public:
    explicit Scene(const Plan& p)
        : lock_(p.lock_), hasSrcRect_(p.hasSrcRect_), hasDstRect_(p.hasDstRect_), oneRect_(p.oneRect_),
          clipIsRect_(p.clipIsRect_), call_(p.call_), color_(static_cast<uint32_t>(p.color_)),
          srcRect_(p.srcRect_), dstRect_(p.dstRect_) {
        src_ = makeSurface(p.from_, static_cast<int>(p.width_), static_cast<int>(p.height_));
        fill(*src_, p.srcBytes_);
        if (p.view_) { // pixels of another surface, be it some columns further on
            const int at = static_cast<int>(std::min(p.viewAt_, p.width_ - 1));
            dst_.reset(SDL_CreateRGBSurfaceFrom(pixelAt(*src_, at, 0), src_->w - at, src_->h, p.from_.bits,
                                                src_->pitch, p.from_.r, p.from_.g, p.from_.b, p.from_.a));
        } else if (!p.one_) {
            dst_ = makeSurface(p.to_, static_cast<int>(p.dstWidth_), static_cast<int>(p.dstHeight_));
            fill(*dst_, p.dstBytes_);
            widenRows(*src_, p.oddPitch_[0]);
            widenRows(*dst_, p.oddPitch_[1]);
        }
        if (p.keyed_) {
            const auto at = static_cast<int>(p.keyAt_ % static_cast<uint64_t>(src_->w * src_->h));
            SDL_SetColorKey(src_.get(), SDL_SRCCOLORKEY | p.request_,
                            src_->format->BytesPerPixel == 1 ? static_cast<uint8_t>(p.keyAt_)
                                                             : load(*src_, at % src_->w, at / src_->w));
        }
        SDL_SetAlpha(src_.get(), p.alphaFlags_ | (p.alphaFlags_ ? p.request_ : 0),
                     static_cast<Uint8>(p.alpha_));
        if (p.clipped_)
            SDL_SetClipRect(dst(), &p.clip_);
        if (lock_ == 0)
            SDL_LockSurface(src_.get());
        if (lock_ == 1)
            SDL_LockSurface(dst());
    }
    SDL_Surface* src() const { return lock_ == 2 ? nullptr : src_.get(); }
    SDL_Surface* dst() const { return lock_ == 3 ? nullptr : dst_ ? dst_.get() : src_.get(); }
    SDL_Rect* srcRect() { return hasSrcRect_ ? &srcRect_ : nullptr; }
    SDL_Rect* dstRect() {
        return clipIsRect_ && dst() ? &dst()->clip_rect
               : oneRect_           ? srcRect()
               : hasDstRect_        ? &dstRect_
                                    : nullptr;
    }

    // Whether pixels may go into another format without being blended by their own alpha.
    bool converts() const {
        if (call_ == Call::kFill || !src() || !dst())
            return false;
        const SDL_PixelFormat &from = *src()->format, &to = *dst()->format;
        const bool isSame = from.BitsPerPixel == to.BitsPerPixel && from.Rmask == to.Rmask &&
                            from.Gmask == to.Gmask && from.Bmask == to.Bmask && from.Amask == to.Amask;
        return !isSame && !(src()->flags & SDL_SRCALPHA && from.Amask);
    }
    // Whether it is drawn by the library.
    bool isServed() const {
        return call_ == Call::kFill ? dst() && lock_ != 0 && lock_ != 1 : ormsel_Serves(src(), dst());
    }
    void draw(const Calls& calls) {
        SDL_ClearError();
        // Into an empty clip rectangle, SDL fills 16 bits until it hits the end of memory.
        const bool fills = call_ == Call::kFill && dst() && (dstRect() || dst()->clip_rect.w);
        // And SDL_LowerBlit would encode a locked surface.
        const bool encodesLocked = src() && src()->locked && src()->flags & SDL_RLEACCELOK;
        if (call_ == Call::kUpper || (call_ == Call::kFill && !fills) || encodesLocked) {
            result_ = calls.upper(src(), srcRect(), dst(), dstRect());
        } else if (call_ == Call::kFill) {
            result_ = calls.fill(dst(), dstRect(), color_);
        } else if (src() && dst()) { // which look at nothing
            placeInside(srcRect_, *src(), *dst());
            placeInside(dstRect_, *dst(), *src());
            result_ = calls.lower(src(), &srcRect_, dst(), &dstRect_);
        }
        error_ = SDL_GetError();
    }
    std::string difference(const Scene& other) const {
        std::ostringstream out;
        const auto same = [](const SDL_Rect& a, const SDL_Rect& b) {
            return std::memcmp(&a, &b, sizeof a) == 0;
        };
        if (result_ != other.result_ || error_ != other.error_)
            out << "result " << result_ << " '" << error_ << "', not " << other.result_ << " '"
                << other.error_ << "'\n";
        if (!same(srcRect_, other.srcRect_) || !same(dstRect_, other.dstRect_) ||
            (dst() && !same(dst()->clip_rect, other.dst()->clip_rect)))
            out << "rectangle " << dstRect_.x << " " << dstRect_.y << " " << dstRect_.w << " " << dstRect_.h
                << ", not " << other.dstRect_.x << " " << other.dstRect_.y << " " << other.dstRect_.w << " "
                << other.dstRect_.h << "\n";
        if (src_->locked != other.src_->locked || (dst_ && dst_->locked != other.dst_->locked))
            out << "locks differ\n";
        const SDL_Surface &mine = drawnOn(), &theirs = other.drawnOn();
        if (!mine.pixels || !theirs.pixels) // encoded by runs, as the source of a blit onto itself
            return out.str();
        const auto bytes = static_cast<long>(mine.pitch) * mine.h;
        const auto *a = static_cast<const uint8_t*>(mine.pixels),
                   *b = static_cast<const uint8_t*>(theirs.pixels);
        for (long i = 0; i < bytes; ++i)
            if (a[i] != b[i]) {
                out << "byte " << i % mine.pitch << " of row " << i / mine.pitch << " is " << int{a[i]}
                    << ", not " << int{b[i]} << "; " << std::hex << "source "
                    << int{src_->format->BitsPerPixel} << ":" << src_->format->Rmask << "/"
                    << src_->format->Amask << ", flags " << src_->flags << ", onto "
                    << int{mine.format->BitsPerPixel} << ":" << mine.format->Rmask << "\n";
                break;
            }
        return out.str();
    }

private:
    // The surface that owns the pixels drawn on.
    const SDL_Surface& drawnOn() const { return dst_ && !(dst_->flags & SDL_PREALLOC) ? *dst_ : *src_; }

    // Makes a rectangle one of this surface that fits into the other one, too.
    static void placeInside(SDL_Rect& r, const SDL_Surface& s, const SDL_Surface& other) {
        r.w = static_cast<Uint16>(std::min(s.w, other.w));
        r.h = static_cast<Uint16>(std::min(s.h, other.h));
        r.x = static_cast<Sint16>(static_cast<Uint16>(r.x) % (s.w - r.w + 1));
        r.y = static_cast<Sint16>(static_cast<Uint16>(r.y) % (s.h - r.h + 1));
    }
    static void fill(const SDL_Surface& s, const std::vector<uint8_t>& bytes) {
        auto* to = static_cast<uint8_t*>(s.pixels);
        for (size_t i = 0; i < static_cast<size_t>(s.pitch) * static_cast<size_t>(s.h); ++i)
            to[i] = bytes[i % bytes.size()];
    }
    // Makes rows longer by so many bytes, at the cost of one row.
    static void widenRows(SDL_Surface& s, int bytes) {
        if (bytes == 0 || s.h < 2 || bytes * s.h > s.pitch)
            return;
        s.pitch = static_cast<Uint16>(s.pitch + bytes);
        --s.h;
        SDL_SetClipRect(&s, nullptr);
    }

    long lock_;
    bool hasSrcRect_, hasDstRect_, oneRect_, clipIsRect_;
    Call call_;
    uint32_t color_;
    SDL_Rect srcRect_, dstRect_;
    Surface src_, dst_;
    int result_ = 0;
    std::string error_;
};

TEST(SdlBlit, RandomSurfacesEqualSdl) {
    if (sdlIsSdl2())
        GTEST_SKIP() << "SDL 2 makes and draws surfaces by rules of its own";
    long served = 0, cases = 0;
    const auto body = [&](Random& random) -> std::string {
        const Plan plan(random);
        Plan::Scene ours(plan), sdls(plan);
        const bool serves = ours.isServed();
        ++cases;
        served += serves;
        ours.draw({ormsel_BlitSurface, ormsel_LowerBlit, ormsel_FillRect});
        sdls.draw({SDL_UpperBlit, SDL_LowerBlit, SDL_FillRect});
        const bool isPlain = sdlIsPlainC() && !(kSdlConvertsByAssembly && ours.converts());
        return serves && !isPlain ? "" : ours.difference(sdls);
    };
    EXPECT_EQ(forCases(1000000, body), "");
    EXPECT_GE(served, cases / 2);
}

// --- Checksums ----------------------------------------------------------------------------------------

// Pixels enter and leave as the numbers that SDL takes them for, so that the host's byte order doesn't show.
// With `wrong`, also what the first pixel is that SDL draws otherwise here.
uint64_t checksum(int srcBytes, int dstBytes, bool copies, long& served, std::string* wrong = nullptr) {
    std::vector<SdlKind> sources, targets;
    for (const SdlKind& kind : std::span(kSdlKinds).first(copies ? std::size(kSdlKinds) : kUsualKinds)) {
        if ((kind.bits + 7) / 8 == srcBytes)
            sources.push_back(kind);
        if ((kind.bits + 7) / 8 == dstBytes)
            targets.push_back(kind);
    }
    const auto everyPixel = [](SDL_Surface& surface, const auto& work) {
        for (int y = 0; y < surface.h; ++y)
            for (int x = 0; x < surface.w; ++x)
                work(x, y);
    };
    uint64_t sum = static_cast<uint64_t>(srcBytes) * 10 + static_cast<uint64_t>(dstBytes);
    Random random(sum);
    for (int scene = 0; scene < 12000; ++scene) {
        const auto side = [&] { return static_cast<int>(random.between(1, 50)); };
        const auto size = [&] { return static_cast<int>(random.between(1, 3)); };
        const SdlKind &from = random.of(sources), &to = random.of(targets);
        const int width = side(), height = size(), dstWidth = side(), dstHeight = size();
        const Surface src = makeSurface(from, width, height), dst = makeSurface(to, dstWidth, dstHeight);
        for (SDL_Surface* surface : {src.get(), dst.get()})
            everyPixel(*surface, [&](int x, int y) {
                const auto noise = static_cast<uint32_t>(random.next());
                static constexpr uint32_t kExtremes[] = {0, 0xFF, 0xFF000000, 0x00FFFFFF};
                store(*surface, x, y, noise & 1 ? noise : noise | random.of(kExtremes));
            });
        const auto request = static_cast<uint32_t>(random.oneIn(4) ? SDL_RLEACCEL : 0);
        if (!from.a && random.oneIn(2))
            SDL_SetColorKey(src.get(), SDL_SRCCOLORKEY, load(*src, width / 2, height / 2));
        const auto alpha = static_cast<Uint8>(random.upTo(255));
        SDL_SetAlpha(src.get(), copies ? 0 : SDL_SRCALPHA | request, alpha);
        const bool keepsOrder = from.r == to.r && from.b == to.b && srcBytes == dstBytes;
        const bool blends =
            from.a || alpha != 255 || (src->flags & SDL_SRCCOLORKEY && keepsOrder && !request);
        if (!(copies || blends) || !ormsel_Serves(src.get(), dst.get()))
            continue;
        ++served;
        const auto position = [&](int most) { return static_cast<Sint16>(random.between(-3, most)); };
        const Sint16 x = position(dstWidth), y = position(dstHeight);
        SDL_Rect at{x, y, 0, 0}, again = at;
        const Surface sdls = makeSurface(to, dstWidth, dstHeight);
        if (wrong)
            std::memcpy(sdls->pixels, dst->pixels,
                        static_cast<size_t>(dst->pitch) * static_cast<size_t>(dst->h));
        ormsel_BlitSurface(src.get(), nullptr, dst.get(), &at);
        if (wrong && SDL_UpperBlit(src.get(), nullptr, sdls.get(), &again) == 0)
            everyPixel(*dst, [&](int column, int row) {
                const uint32_t found = load(*dst, column, row), expected = load(*sdls, column, row);
                std::ostringstream out;
                out << "pixel (" << column << ", " << row << ") of scene " << scene << " is " << std::hex
                    << found << ", not " << expected << " as SDL's, by alpha " << int{src->format->alpha}
                    << ", flags " << src->flags << ", " << from.r << "/" << from.a << " onto " << to.r << "/"
                    << to.a;
                if (found != expected && wrong->empty())
                    *wrong = out.str();
            });
        everyPixel(*dst,
                   [&](int column, int row) { sum = (sum ^ load(*dst, column, row)) * 0x9FB21C651E98DF25U; });
        sum ^= sum >> 32;
    }
    return sum;
}

TEST(SdlBlit, EveryPairOfDepthsGivesItsNumber) {
    if (sdlIsSdl2())
        GTEST_SKIP() << "SDL 2 makes and draws surfaces by rules of its own";
    std::ifstream file(ORMSEL_SDL_GOLDEN_FILE);
    std::map<std::string, std::string> expected;
    for (std::string name, number; file >> name >> number;)
        expected[name] = number;
    long served = 0;
    for (const int from : {2, 3, 4})
        for (const int to : {2, 3, 4})
            for (const bool copies : {false, true}) {
                const std::string family =
                    (copies ? "sdl_copy_" : "sdl_") + std::to_string(8 * from) + "_" + std::to_string(8 * to);
                std::ostringstream number;
                number << std::hex << std::setw(16) << std::setfill('0')
                       << checksum(from, to, copies, served);
                if (number.str() == expected[family])
                    continue;
                std::string pixel;
                checksum(from, to, copies, served, &pixel);
                ADD_FAILURE() << family << " gives " << number.str() << ", not " << expected[family] << "; "
                              << (pixel.empty() ? "every pixel is SDL's" : pixel);
            }
    EXPECT_EQ(expected.size(), 18U);
    EXPECT_GE(served, 150000);
}

} // namespace
