// SPDX-License-Identifier: Zlib
// Bitmaps: allocation, locking, attributes.
#include "bitmap.h"

#include <bit>
#include <cstring>

#include <host/bitmap.h>
#include <proto/Picasso96API.h>
#include <proto/graphics.h>
#include <proto/utility.h>

#include "memory.h"
#include "view.h"

namespace host {

namespace {

constexpr uint32 kMaxSide = 32767;
// What RenderInfo.BytesPerRow can tell: 16 bits with a sign, of which a negative one leads upwards.
constexpr int32 kMaxPitch = 32767;
// Also the value of a lock handle, which is merely not 0.
constexpr int32 kLockHandle = 1;

// A record without pixels, or nothing when memory is short.
BitMapPtr makeRecord(uint32 width, uint32 height, std::ptrdiff_t pitch, RGBFTYPE code) {
    BitMapPtr bm(new (std::nothrow) BitMapRecord);
    if (!bm)
        return nullptr;
    bm->width = width;
    bm->height = height;
    bm->pitch = pitch;
    bm->code = code;
    bm->format = findFormat(code);
    bm->BytesPerRow = static_cast<uint16>(pitch);
    bm->Rows = static_cast<uint16>(height);
    bm->Flags = 0;
    bm->Depth = bm->format->depth;
    return bm;
}

} // namespace

BitMapRecord::~BitMapRecord() {
    if (!wrapped)
        ormsel_host_FreePixels(pixels);
}

void BitMapRecord::touch() noexcept {
    ++changes;
    if (onBoard)
        wakeDisplay();
}

BitMapPtr makeBitMap(uint32 width, uint32 height, RGBFTYPE code, bool clear, uint32 alignment) noexcept {
    const PixelFormat* const format = findFormat(code);
    if (!format || code == RGBFB_NONE || width == 0 || height == 0 || width > kMaxSide || height > kMaxSide)
        return nullptr;
    // At least one byte of padding: programs that take rows for contiguous are found out here.
    const uint32 pitch = (width * format->bytes / alignment + 1) * alignment;
    if (pitch > uint32{kMaxPitch})
        return nullptr;
    BitMapPtr bm = makeRecord(width, height, static_cast<std::ptrdiff_t>(pitch), code);
    if (!bm)
        return nullptr;
    const std::size_t bytes = std::size_t{pitch} * height;
    bm->pixels = static_cast<uint8*>(ormsel_host_AllocPixels(bytes));
    if (!bm->pixels)
        return nullptr;
    if (clear)
        std::memset(bm->pixels, 0, bytes);
    return bm;
}

} // namespace host

using namespace host;

BitMap* AllocBitMap(uint32 width, uint32 height, uint32 depth, uint32 flags,
                    const void* friendOrTags) noexcept {
    uint32 code = RGBFB_NONE;
    uint32 alignment = 16;
    bool clear = flags & BMF_CLEAR;
    if ((flags & BMF_CHECKVALUE) == BMF_CHECKVALUE) {
        const auto* const tags = static_cast<const TagItem*>(friendOrTags);
        code = static_cast<uint32>(GetTagData(BMATags_RGBFormat, RGBFB_NONE, tags));
        depth = static_cast<uint32>(GetTagData(BMATags_Depth, depth, tags));
        clear = clear || GetTagData(BMATags_Clear, 0, tags);
        const auto wanted = static_cast<uint32>(GetTagData(BMATags_Alignment, alignment, tags));
        if (wanted > alignment && wanted <= kPixelAlignment && std::has_single_bit(wanted))
            alignment = wanted;
    } else if (friendOrTags) {
        code = static_cast<const BitMapRecord*>(static_cast<const BitMap*>(friendOrTags))->code;
    }
    if (code == RGBFB_NONE)
        code = formatForDepth(depth);
    if (code >= RGBFB_MaxFormats)
        return nullptr;
    return makeBitMap(width, height, static_cast<RGBFTYPE>(code), clear, alignment).release();
}

void FreeBitMap(BitMap* bitmap) noexcept {
    if (bitmap)
        delete &record(bitmap);
}

BitMap* HOST_WrapBitMap(void* pixels, uint32 width, uint32 height, int32 pitch, uint32 format,
                        BOOL onBoard) noexcept {
    if (!findFormat(format) || pitch > kMaxPitch || pitch < -kMaxPitch - 1)
        return nullptr;
    BitMapPtr bm = makeRecord(width, height, pitch, static_cast<RGBFTYPE>(format));
    if (!bm)
        return nullptr;
    bm->pixels = static_cast<uint8*>(pixels);
    bm->wrapped = true;
    bm->onBoard = onBoard != FALSE;
    return bm.release();
}

int32 p96LockBitMap(BitMap* bitmap, uint8* buffer, uint32 size) noexcept {
    BitMapRecord& bm = record(bitmap);
    if (size < sizeof(RenderInfo))
        return 0;
    const RenderInfo info = {bm.pixels, static_cast<int16>(bm.BytesPerRow), 0, static_cast<uint32>(bm.code)};
    std::memcpy(buffer, &info, sizeof info);
    return kLockHandle;
}

void p96UnlockBitMap(BitMap* bitmap, int32 lock) noexcept {
    if (lock == kLockHandle)
        record(bitmap).touch();
}

uint32 p96GetBitMapAttr(BitMap* bitmap, uint32 attribute) noexcept {
    const BitMapRecord& bm = record(bitmap);
    switch (attribute) {
    case P96BMA_WIDTH:
        return bm.width;
    case P96BMA_HEIGHT:
        return bm.height;
    case P96BMA_DEPTH:
        return bm.format->depth;
    case P96BMA_ISONBOARD:
        return bm.onBoard;
    default:
        return 0;
    }
}
