// SPDX-License-Identifier: Zlib
// The provider's record of a bitmap.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>

#include <graphics/gfx.h>
#include <proto/exec.h>

#include "formats.h"
#include "geometry.h"

namespace host {

struct BitMapRecord : BitMap {
    uint8* pixels = nullptr;
    uint32 width = 0, height = 0;
    std::ptrdiff_t pitch = 0;
    RGBFTYPE code = RGBFB_NONE;
    const PixelFormat* format = nullptr;
    // The pixels are a wrapped bitmap's caller's.
    bool wrapped = false;
    // Lies in "graphics-card memory": the bitmap of a screen.
    bool onBoard = false;
    // Grows whenever the pixels may have changed, so that a screen knows when to look at them.
    std::atomic<uint32> changes{0};

    uint8* at(long x, long y) { return pixels + y * pitch + x * format->bytes; }
    Box box() const { return Box::sized(0, 0, static_cast<long>(width), static_cast<long>(height)); }
    // The pixels may have changed.
    void touch() noexcept;
    ~BitMapRecord();

    static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
        return AllocVec(static_cast<uint32>(bytes), MEMF_ANY);
    }
    static void operator delete(void* record) { FreeVec(record); }
};
static_assert(alignof(BitMapRecord) <= alignof(std::max_align_t), "AllocVec() aligns for any type");

using BitMapPtr = std::unique_ptr<BitMapRecord>;

inline BitMapRecord& record(BitMap* bitmap) {
    return *static_cast<BitMapRecord*>(bitmap);
}

// A new bitmap; empty when it cannot be made.
BitMapPtr makeBitMap(uint32 width, uint32 height, RGBFTYPE code, bool clear, uint32 alignment = 16) noexcept;

// Copies between bitmaps, clipped against both; formats are converted.
// @return whether anything was copied
bool copyPixels(BitMapRecord& src, long srcX, long srcY, BitMapRecord& dst, long dstX, long dstY, long width,
                long height);

// Fills with a pixel value of the bitmap's own format, clipped.
void fillPixels(BitMapRecord& bitmap, const Box& area, uint32 value);

} // namespace host
