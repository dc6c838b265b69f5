// SPDX-License-Identifier: Zlib
//
// libyuv blends A8R8G8B8 only. For other formats its operations are chained, line by line through two short
// buffers, so that the intermediate pixels stay in the first-level cache.
#include <algorithm>

#include <libyuv.h>

#include "bench/peers.h"

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
    const auto* const found = std::ranges::find(kConverters, format, &Converters::format);
    return found == std::end(kConverters) ? nullptr : found;
}

// One row's chain of operations over the lines of an image.
struct Chain {
    const Case& c;
    const bool straight;
    const Convert load = convertersOf(c.row.src)->toArgb, loadOld = convertersOf(c.row.dst)->toArgb,
                  store = convertersOf(c.row.dst)->fromArgb;
    const int width = c.size.width;
    std::vector<uint8_t> source = std::vector<uint8_t>(static_cast<size_t>(width) * 4), old = source;

    void operator()(const ImageSet& set, const Blit& b) {
        const int srcPitch = c.srcPitch(), dstPitch = c.dstPitch(), height = c.size.height;
        const uint8_t* src = c.row.rule == kPixelAlpha && !straight ? set.premultiplied : set.src;
        src += b.srcY * srcPitch + b.srcX * info(c.row.src).bytes;
        uint8_t* dst = set.dst + b.dstY * dstPitch + b.dstX * info(c.row.dst).bytes;
        // What libyuv does to a whole image in one call.
        if (!c.row.readsDestination() && c.row.src == c.row.dst)
            libyuv::CopyPlane(src, srcPitch, dst, dstPitch, width * info(c.row.src).bytes, height);
        else if (!c.row.readsDestination() && !store)
            load(src, srcPitch, dst, dstPitch, width, height);
        else if (c.row.rule == kPixelAlpha && !straight && c.row.alpha == 255 && !load && !store)
            libyuv::ARGBBlend(src, srcPitch, dst, dstPitch, dst, dstPitch, width, height);
        else
            for (int y = 0; y < height; ++y)
                line(src + y * srcPitch, dst + y * dstPitch, set.mask ? set.mask + y * width : nullptr);
    }

    void line(const uint8_t* src, uint8_t* dst, const uint8_t* mask) {
        const uint8_t* s = sourceLine(src, mask);
        if (!c.row.readsDestination()) {
            store(s, 0, dst, 0, width, 1);
            return;
        }
        uint8_t* d = loadOld ? old.data() : dst;
        if (loadOld)
            loadOld(dst, 0, d, 0, width, 1);
        if (c.row.rule == kOpaque)
            libyuv::ARGBInterpolate(d, 0, s, 0, d, 0, width, 1, c.row.alpha);
        else
            libyuv::ARGBBlend(s, 0, d, 0, d, 0, width, 1);
        if (store)
            store(d, 0, dst, 0, width, 1);
    }

    // A line of the source in A8R8G8B8, premultiplied, with mask and constant alpha taken in.
    const uint8_t* sourceLine(const uint8_t* s, const uint8_t* mask) {
        uint8_t* const buffer = source.data();
        const bool attenuates = mask || (straight && c.row.rule == kPixelAlpha);
        const bool shades = c.row.rule == kPixelAlpha && c.row.alpha != 255;
        if (load)
            load(s, 0, buffer, 0, width, 1);
        const uint8_t* from = load ? buffer : s;
        if (mask) {
            libyuv::ARGBCopy(from, 0, buffer, 0, width, 1);
            libyuv::ARGBCopyYToAlpha(mask, 0, buffer, 0, width, 1);
        }
        if (attenuates)
            libyuv::ARGBAttenuate(mask ? buffer : from, 0, buffer, 0, width, 1);
        if (shades)
            libyuv::ARGBShade(attenuates ? buffer : from, 0, buffer, 0, width, 1, c.row.alpha * 0x01010101U);
        return load || attenuates || shades ? buffer : s;
    }
};

// What libyuv may use beside each target that is not the processor's best. Its flags stand by age.
constexpr std::pair<const char*, int> kInstructions[] = {
    {"avx2", libyuv::kCpuHasAVX512BW - 1}, {"sse4", libyuv::kCpuHasAVX - 1}, {"scalar", 0}};

} // namespace

void addLibyuv(Participants& list, const Case& c) {
    static const int all = libyuv::InitCpuFlags();
    const bool alpha = c.row.rule == kPixelAlpha;
    const auto add = [&](const std::string& target, int flags) {
        const auto prepare = [flags] { libyuv::SetCpuFlags(flags | libyuv::kCpuInitialized); };
        const std::string suffix = target.empty() ? "" : " " + target;
        const std::string straight = alpha ? "libyuv straight" : "libyuv";
        if (alpha)
            list.push_back(
                {"libyuv" + suffix, target, kPremultiplied, inTurn(c, c.sets, Chain{c, false}), prepare});
        list.push_back({straight + suffix, target, kStraight, inTurn(c, c.sets, Chain{c, true}), prepare});
    };
    if (!convertersOf(c.row.src) || !convertersOf(c.row.dst))
        return;
    add("", all);
    for (const auto& [target, flags] : kInstructions)
        if (c.size.limitsPeers && target != ourTargets().front() && std::ranges::count(ourTargets(), target))
            add(target, all & flags);
}

} // namespace bench
