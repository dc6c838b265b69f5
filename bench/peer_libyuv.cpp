// SPDX-License-Identifier: Zlib
//
// libyuv blends A8R8G8B8 only. For other layouts its operations are chained, line by line through two short
// buffers, so that the intermediate pixels stay in the first-level cache.
#include <libyuv.h>

#include "bench/peers.h"

namespace bench {

namespace {

using Convert = int (*)(const uint8_t* src, int srcPitch, uint8_t* dst, int dstPitch, int width, int height);

// From a layout to A8R8G8B8; nullptr for A8R8G8B8 itself.
Convert toArgb(Layout layout) {
    switch (layout) {
    case kArgb32:
        return nullptr;
    case kAbgr32:
        return libyuv::ABGRToARGB;
    case kRgba32:
        return libyuv::RGBAToARGB;
    case kBgra32:
        return libyuv::BGRAToARGB;
    case kRgb24:
        return libyuv::RGB24ToARGB;
    case kBgr24:
        return libyuv::RAWToARGB;
    case kRgb16:
        return libyuv::RGB565ToARGB;
    case kRgb15:
        return libyuv::ARGB1555ToARGB;
    }
    return nullptr;
}

Convert fromArgb(Layout layout) {
    switch (layout) {
    case kRgb24:
        return libyuv::ARGBToRGB24;
    case kRgb16:
        return libyuv::ARGBToRGB565;
    case kRgb15:
        return libyuv::ARGBToARGB1555;
    default:
        return nullptr;
    }
}

// One row's chain of operations over the lines of an image.
class Chain {
public:
    Chain(const Case& c, bool straight)
        : row_(c.row), width_(c.size.width), height_(c.size.height), srcPitch_(c.pitch(c.row.src)),
          dstPitch_(c.pitch(c.row.dst)), straight_(straight), load_(toArgb(c.row.src)),
          loadOld_(toArgb(c.row.dst)), store_(fromArgb(c.row.dst)), source_(static_cast<size_t>(width_) * 4),
          old_(source_.size()) {}

    void operator()(const ImageSet& set) {
        const uint8_t* src = row_.rule == kPixelAlpha && !straight_ ? set.premultiplied : set.src;
        if (whole(src, set.dst))
            return;
        for (int y = 0; y < height_; ++y)
            line(src + y * srcPitch_, set.dst + y * dstPitch_, set.mask ? set.mask + y * width_ : nullptr);
    }

private:
    // What libyuv does to a whole image in one call.
    bool whole(const uint8_t* src, uint8_t* dst) const {
        if (!row_.readsDestination() && row_.src == row_.dst) {
            libyuv::CopyPlane(src, srcPitch_, dst, dstPitch_, srcPitch_, height_);
            return true;
        }
        if (!row_.readsDestination() && !store_) {
            load_(src, srcPitch_, dst, dstPitch_, width_, height_);
            return true;
        }
        if (row_.rule == kPixelAlpha && !straight_ && row_.alpha == 255 && !load_ && !store_) {
            libyuv::ARGBBlend(src, srcPitch_, dst, dstPitch_, dst, dstPitch_, width_, height_);
            return true;
        }
        return false;
    }

    void line(const uint8_t* src, uint8_t* dst, const uint8_t* mask) {
        const uint8_t* s = sourceLine(src, mask);
        if (!row_.readsDestination()) {
            store_(s, 0, dst, 0, width_, 1);
            return;
        }
        uint8_t* d = dst;
        if (loadOld_) {
            d = old_.data();
            loadOld_(dst, 0, d, 0, width_, 1);
        }
        if (row_.rule == kOpaque)
            libyuv::ARGBInterpolate(d, 0, s, 0, d, 0, width_, 1, row_.alpha);
        else
            libyuv::ARGBBlend(s, 0, d, 0, d, 0, width_, 1);
        if (store_)
            store_(d, 0, dst, 0, width_, 1);
    }

    // A line of the source in A8R8G8B8, premultiplied, with mask and constant alpha taken in.
    const uint8_t* sourceLine(const uint8_t* src, const uint8_t* mask) {
        uint8_t* buffer = source_.data();
        const uint8_t* s = src;
        if (load_) {
            load_(src, 0, buffer, 0, width_, 1);
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

    Row row_;
    int width_, height_, srcPitch_, dstPitch_;
    bool straight_;
    Convert load_, loadOld_, store_;
    std::vector<uint8_t> source_, old_;
};

} // namespace

void addLibyuv(std::vector<Participant>& list, const Case& c) {
    if (c.row.rule == kPixelAlpha) {
        list.push_back({"libyuv", Kind::kPremultiplied, "source premultiplied for nothing",
                        inTurn(c.sets, Chain(c, false))});
        list.push_back({"libyuv straight", Kind::kStraight, nullptr, inTurn(c.sets, Chain(c, true))});
    } else {
        list.push_back({"libyuv", Kind::kStraight, nullptr, inTurn(c.sets, Chain(c, true))});
    }
}

} // namespace bench
