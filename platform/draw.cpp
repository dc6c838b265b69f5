// SPDX-License-Identifier: Zlib
// graphics: copies and fills, on bitmaps and through layers.
#include <algorithm>
#include <cstring>

#include <proto/graphics.h>
#include <proto/utility.h>

#include "bitmap.h"
#include "layers.h"

namespace host {

namespace {

// Cuts [at, at + size) to [0, limit) and moves `other` along with the lower end.
void clipSpan(long& at, long& other, long& size, long limit) {
    const long before = std::max(0L, -at);
    at += before;
    other += before;
    size = std::min(size - before, limit - at);
}

void convertRow(const PixelFormat& from, const uint8* src, const PixelFormat& to, uint8* dst, long width) {
    for (long i = 0; i < width; ++i, src += from.bytes, dst += to.bytes)
        storePixel(to, dst, fromColor(to, toColor(from, loadPixel(from, src))));
}

} // namespace

bool copyPixels(BitMapRecord& src, long srcX, long srcY, BitMapRecord& dst, long dstX, long dstY, long width,
                long height) {
    clipSpan(srcX, dstX, width, static_cast<long>(src.width));
    clipSpan(srcY, dstY, height, static_cast<long>(src.height));
    clipSpan(dstX, srcX, width, static_cast<long>(dst.width));
    clipSpan(dstY, srcY, height, static_cast<long>(dst.height));
    const bool same = src.code == dst.code;
    if (width <= 0 || height <= 0 || !(same || (src.format->isRgb() && dst.format->isRgb())))
        return false;
    // Within one bitmap a copy downwards goes from the last row up, so that no row is read after it was
    // written.
    const bool upwards = src.pixels == dst.pixels && srcY < dstY;
    for (long i = 0; i < height; ++i) {
        const long row = upwards ? height - 1 - i : i;
        const uint8* const from = src.at(srcX, srcY + row);
        uint8* const to = dst.at(dstX, dstY + row);
        if (same)
            std::memmove(to, from, static_cast<std::size_t>(width) * src.format->bytes);
        else
            convertRow(*src.format, from, *dst.format, to, width);
    }
    dst.touch();
    return true;
}

void fillPixels(BitMapRecord& bitmap, const Box& area, uint32 value) {
    const Box box = area & bitmap.box();
    if (!box)
        return;
    uint8* const first = bitmap.at(box.x0, box.y0);
    for (long i = 0; i < box.width(); ++i)
        storePixel(*bitmap.format, first + i * bitmap.format->bytes, value);
    for (long i = 1; i < box.height(); ++i)
        std::memcpy(first + i * bitmap.pitch, first,
                    static_cast<std::size_t>(box.width()) * bitmap.format->bytes);
    bitmap.touch();
}

} // namespace host

using namespace host;

namespace {
constexpr uint32 kPlainCopy = 0xC0;
}

int32 BltBitMap(BitMap* src, int32 srcX, int32 srcY, BitMap* dst, int32 dstX, int32 dstY, int32 width,
                int32 height, uint32 minterm, uint32, APTR) noexcept {
    return minterm == kPlainCopy &&
           copyPixels(record(src), srcX, srcY, record(dst), dstX, dstY, width, height);
}

void BltBitMapRastPort(BitMap* src, int32 srcX, int32 srcY, RastPort* rp, int32 dstX, int32 dstY, int32 width,
                       int32 height, uint32 minterm) noexcept {
    if (minterm != kPlainCopy)
        return;
    drawThrough(*rp, Box::sized(dstX, dstY, width, height),
                [&](BitMapRecord& target, const Box& area, long dx, long dy) {
                    copyPixels(record(src), srcX + dx, srcY + dy, target, area.x0, area.y0, area.width(),
                               area.height());
                });
}

void RectFill(RastPort* rp, int32 minX, int32 minY, int32 maxX, int32 maxY) noexcept {
    drawThrough(*rp, {minX, minY, maxX + 1L, maxY + 1L},
                [&](BitMapRecord& target, const Box& area, long, long) {
                    fillPixels(target, area, fromColor(*target.format, rp->FgColor));
                });
}

void SetRPAttrsA(RastPort* rp, const TagItem* tags) noexcept {
    rp->FgColor = static_cast<uint32>(GetTagData(RPTAG_APenColor, rp->FgColor, tags));
    rp->DrawMode = static_cast<uint8>(GetTagData(RPTAG_DrMd, rp->DrawMode, tags));
}
