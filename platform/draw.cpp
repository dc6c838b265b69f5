// SPDX-License-Identifier: Zlib
// graphics: copies and fills, on bitmaps and through layers.
#include <proto/graphics.h>

#include <algorithm>
#include <cstring>

#include "bitmap.h"

namespace host {

namespace {

/** Cuts [at, at + size) to [0, limit) and moves `other` along with the lower end. */
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
    if (width <= 0 || height <= 0 || src.lost || dst.lost ||
        !(same || (src.format->isRgb() && dst.format->isRgb())))
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
    ++dst.changes;
    return true;
}

void fillPixels(BitMapRecord& bitmap, Area area, uint32 value) {
    long unused = 0;
    clipSpan(area.x, unused, area.width, static_cast<long>(bitmap.width));
    clipSpan(area.y, unused, area.height, static_cast<long>(bitmap.height));
    if (area.width <= 0 || area.height <= 0 || bitmap.lost)
        return;
    uint8* const first = bitmap.at(area.x, area.y);
    const std::size_t rowBytes = static_cast<std::size_t>(area.width) * bitmap.format->bytes;
    for (long i = 0; i < area.width; ++i)
        storePixel(*bitmap.format, first + i * bitmap.format->bytes, value);
    for (long i = 1; i < area.height; ++i)
        std::memcpy(first + i * bitmap.pitch, first, rowBytes);
    ++bitmap.changes;
}

} // namespace host

using namespace host;

namespace {
constexpr uint32 plainCopy = 0xC0;
}

int32 BltBitMap(BitMap* src, int32 srcX, int32 srcY, BitMap* dst, int32 dstX, int32 dstY, int32 width,
                int32 height, uint32 minterm, uint32, APTR) {
    return minterm == plainCopy &&
           copyPixels(record(src), srcX, srcY, record(dst), dstX, dstY, width, height);
}
