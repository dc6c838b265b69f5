// SPDX-License-Identifier: Zlib
//
// libyuv blends A8R8G8B8 only. For other formats its operations are chained, line by line through two short
// buffers, so that the intermediate pixels stay in the first-level cache.
#include <libyuv.h>

#include "bench/peers.h"
#include <ormsel/ormsel_target.h>

namespace bench {

namespace {

using Convert = int (*)(const uint8_t* src, int srcPitch, uint8_t* dst, int dstPitch, int width, int height);

struct Converters {
    Format format;
    Convert toArgb, fromArgb; // nullptr: none is needed
};
constexpr Converters kConverters[] = {
    {kR8G8B8, libyuv::RGB24ToARGB, libyuv::ARGBToRGB24},
    {kB8G8R8, libyuv::RAWToARGB, libyuv::ARGBToRAW},
    {kA8R8G8B8, nullptr, nullptr},
    {kA8B8G8R8, libyuv::ABGRToARGB, libyuv::ARGBToABGR},
    {kR8G8B8A8, libyuv::RGBAToARGB, libyuv::ARGBToRGBA},
    {kB8G8R8A8, libyuv::BGRAToARGB, libyuv::ARGBToBGRA},
    {kR5G6B5, libyuv::RGB565ToARGB, libyuv::ARGBToRGB565},
    {kR5G5B5, libyuv::ARGB1555ToARGB, libyuv::ARGBToARGB1555},
};

const Converters* convertersOf(Format format) {
    for (const Converters& each : kConverters)
        if (each.format == format)
            return &each;
    return nullptr;
}

// One row's chain of operations over the lines of an image.
class Chain {
public:
    Chain(const Case& c, bool straight)
        : c_(c), row_(c.row), width_(c.size.width), straight_(straight),
          load_(convertersOf(c.row.src)->toArgb), loadOld_(convertersOf(c.row.dst)->toArgb),
          store_(convertersOf(c.row.dst)->fromArgb), source_(static_cast<size_t>(width_) * 4),
          old_(source_.size()) {}

    void operator()(const Blit& b) {
        const ImageSet& set = c_.sets[b.set];
        const int srcPitch = c_.srcPitch(), dstPitch = c_.dstPitch(), height = c_.size.height;
        const uint8_t* src = row_.rule == kPixelAlpha && !straight_ ? set.premultiplied : set.src;
        src += b.srcY * srcPitch + b.srcX * info(row_.src).bytes;
        uint8_t* dst = set.dst + b.dstY * dstPitch + b.dstX * info(row_.dst).bytes;
        // What libyuv does to a whole image in one call.
        if (!row_.readsDestination() && row_.src == row_.dst)
            libyuv::CopyPlane(src, srcPitch, dst, dstPitch, width_ * info(row_.src).bytes, height);
        else if (!row_.readsDestination() && !store_)
            load_(src, srcPitch, dst, dstPitch, width_, height);
        else if (row_.rule == kPixelAlpha && !straight_ && row_.alpha == 255 && !load_ && !store_)
            libyuv::ARGBBlend(src, srcPitch, dst, dstPitch, dst, dstPitch, width_, height);
        else
            for (int y = 0; y < height; ++y)
                line(src + y * srcPitch, dst + y * dstPitch, set.mask ? set.mask + y * width_ : nullptr);
    }

private:
    void line(const uint8_t* src, uint8_t* dst, const uint8_t* mask) {
        const uint8_t* s = sourceLine(src, mask);
        if (!row_.readsDestination()) {
            store_(s, 0, dst, 0, width_, 1);
            return;
        }
        uint8_t* d = loadOld_ ? old_.data() : dst;
        if (loadOld_)
            loadOld_(dst, 0, d, 0, width_, 1);
        if (row_.rule == kOpaque)
            libyuv::ARGBInterpolate(d, 0, s, 0, d, 0, width_, 1, row_.alpha);
        else
            libyuv::ARGBBlend(s, 0, d, 0, d, 0, width_, 1);
        if (store_)
            store_(d, 0, dst, 0, width_, 1);
    }

    // A line of the source in A8R8G8B8, premultiplied, with mask and constant alpha taken in.
    const uint8_t* sourceLine(const uint8_t* s, const uint8_t* mask) {
        uint8_t* const buffer = source_.data();
        if (load_) {
            load_(s, 0, buffer, 0, width_, 1);
            s = buffer;
        }
        if (mask) {
            libyuv::ARGBCopy(s, 0, buffer, 0, width_, 1);
            libyuv::ARGBCopyYToAlpha(mask, 0, buffer, 0, width_, 1);
            s = buffer;
        }
        if (mask || (straight_ && row_.rule == kPixelAlpha)) {
            libyuv::ARGBAttenuate(s, 0, buffer, 0, width_, 1);
            s = buffer;
        }
        if (row_.rule == kPixelAlpha && row_.alpha != 255) {
            libyuv::ARGBShade(s, 0, buffer, 0, width_, 1, row_.alpha * 0x01010101U);
            s = buffer;
        }
        return s;
    }

    const Case& c_;
    const Row& row_;
    int width_;
    bool straight_;
    Convert load_, loadOld_, store_;
    std::vector<uint8_t> source_, old_;
};

// What libyuv may use beside each target that is not the processor's best.
constexpr int kSse4 = libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 | libyuv::kCpuHasSSE41 |
                      libyuv::kCpuHasSSE42;
constexpr int kAvx2 = kSse4 | libyuv::kCpuHasAVX | libyuv::kCpuHasAVX2 | libyuv::kCpuHasERMS |
                      libyuv::kCpuHasFMA3 | libyuv::kCpuHasF16C;
constexpr std::pair<const char*, int> kInstructions[] = {{"avx2", kAvx2}, {"sse4", kSse4}, {"scalar", 0}};

} // namespace

void addLibyuv(std::vector<Participant>& list, const Case& c) {
    static const int all = libyuv::InitCpuFlags();
    const auto add = [&](const std::string& suffix, int flags) {
        const auto prepare = [flags] { libyuv::SetCpuFlags(flags | libyuv::kCpuInitialized); };
        const bool alpha = c.row.rule == kPixelAlpha;
        if (alpha)
            list.push_back({"libyuv" + suffix, kPremultiplied, inTurn(c, Chain(c, false)), prepare});
        list.push_back(
            {(alpha ? "libyuv straight" : "libyuv") + suffix, kStraight, inTurn(c, Chain(c, true)), prepare});
    };
    if (!convertersOf(c.row.src) || !convertersOf(c.row.dst))
        return;
    add("", all);
    for (const char* const* target = ormsel_Targets() + 1; c.size.limitsPeers && *target; ++target)
        for (const auto& [name, flags] : kInstructions)
            if (std::string(name) == *target)
                add(std::string(" ") + name, all & flags);
}

} // namespace bench
