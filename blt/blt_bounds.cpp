// SPDX-License-Identifier: Zlib
#include "blt_bounds.h"

#include <algorithm>
#include <cstring>

#include <ormsel/ormsel.h>

namespace {

// Whether the raw copy of 32-bit words may serve a context, which works in units of two pixels.
bool copiesWords(const BltContext& ctx) {
    return ctx.flags & ORMSEL_BLIT_COPY && ctx.srcBpp == 32 && ctx.dst.format == RGBFB_A8R8G8B8;
}

// The bytes that a routine touches behind the last pixel of each row of a piece: the raw copy takes two more
// words with it when the width is odd, and a store of a 24-bit pixel writes a fourth byte (a blend reads it).
size_t reachOfSource(const BltContext& ctx, size_t width) {
    return copiesWords(ctx) && width % 2 ? 8 : 0;
}

size_t reachOfDestination(const BltContext& ctx, size_t width) {
    return ctx.dstBpp == 24 ? 1 : reachOfSource(ctx, width);
}

// One image as a piece sees it: its memory, and where the rectangle's rows and pixels stand in it.
class Side {
public:
    Side(uint8_t* pixels, int16_t pitch, long rows, int32_t x, int32_t y, size_t bytesPerPixel)
        : base_(pixels), pitch_(static_cast<uint16_t>(pitch)),
          size_(pitch_ * static_cast<size_t>(std::max(rows, 0L))), bytesPerPixel_(bytesPerPixel),
          first_(pitch_ * static_cast<size_t>(y) + bytesPerPixel * static_cast<size_t>(x)) {}

    size_t bytesPerPixel() const { return bytesPerPixel_; }
    bool fitsSignedPitch() const { return pitch_ <= INT16_MAX; }
    size_t offset(size_t row, size_t column) const { return first_ + row * pitch_ + column * bytesPerPixel_; }
    uint8_t* at(size_t row, size_t column) const { return base_ + offset(row, column); }
    size_t inside(size_t from) const { return from < size_ ? size_ - from : 0; }

    // How many of the rectangle's rows lie inside as a whole, counted from its first one.
    size_t wholeRows(size_t width, size_t height, size_t reach) const {
        const size_t rowBytes = width * bytesPerPixel_ + reach;
        if (inside(first_) < rowBytes)
            return 0;
        return pitch_ ? std::min(height, (inside(first_) - rowBytes) / pitch_ + 1) : height;
    }

    // How many pixels of a row lie inside, counted from its first one, when `reach` bytes follow them.
    size_t wholePixels(size_t row, size_t width, size_t reach) const {
        const size_t left = inside(offset(row, 0));
        return left < reach ? 0 : std::min(width, (left - reach) / bytesPerPixel_);
    }

private:
    uint8_t* base_;
    size_t pitch_, size_, bytesPerPixel_, first_;
};

// A few pixels of one image on the stack, with zeros for the bytes that the image does not have.
class Scratch {
public:
    Scratch(const Side& side, size_t row, size_t column, size_t length)
        : home_(side.at(row, column)), inside_(std::min(length, side.inside(side.offset(row, column)))) {
        std::memcpy(bytes_, home_, inside_);
    }
    uint8_t* bytes() { return bytes_; }
    void writeBack() const { std::memcpy(home_, bytes_, inside_); }

private:
    uint8_t* home_;
    size_t inside_;
    alignas(8) uint8_t bytes_[16] = {}; // two 32-bit pixels, or one and the two words behind it
};

class PieceRunner {
public:
    PieceRunner(const BltContext& ctx, BltRoutine routine, const BltRows& rows)
        : ctx_(ctx), routine_(routine),
          src_(ctx.src.pixels, ctx.src.pitch, rows.src, ctx.srcX, ctx.srcY, ctx.src.bytesPerPixel),
          dst_(ctx.dst.pixels, ctx.dst.pitch, rows.dst, ctx.dstX, ctx.dstY, ctx.dst.bytesPerPixel),
          mask_(ctx.maskPixels, ctx.maskPitch, rows.mask, ctx.srcX, ctx.srcY, 1),
          masked_(ctx.maskPixels != nullptr), width_(static_cast<size_t>(ctx.width)),
          height_(static_cast<size_t>(ctx.height)) {}

    unsigned long run() {
        const size_t whole = wholeRows();
        if (src_.fitsSignedPitch() && dst_.fitsSignedPitch() && (!masked_ || mask_.fitsSignedPitch()))
            runDirectly(0, 0, width_, whole);
        else
            for (size_t row = 0; row < whole; ++row)
                runDirectly(row, 0, width_, 1);
        for (size_t row = whole; row < height_ && drawsIn(row); ++row)
            runEdgeRow(row);
        return result_;
    }

private:
    size_t wholeRows() const {
        const size_t rows = std::min(src_.wholeRows(width_, height_, reachOfSource(ctx_, width_)),
                                     dst_.wholeRows(width_, height_, reachOfDestination(ctx_, width_)));
        return masked_ ? std::min(rows, mask_.wholeRows(width_, height_, 0)) : rows;
    }

    // Whether any pixel of a row can be drawn; if not, none of the later rows has one either.
    bool drawsIn(size_t row) const {
        return dst_.inside(dst_.offset(row, 0)) && (!masked_ || mask_.inside(mask_.offset(row, 0)));
    }

    // The pixels that stay inside run in place; the few behind them go through the stack, one at a time in
    // the routine's own order (two at a time where it moves two as one unit).
    void runEdgeRow(size_t row) {
        const size_t unit = copiesWords(ctx_) ? 2 : 1;
        size_t column = std::min(src_.wholePixels(row, width_, 0),
                                 dst_.wholePixels(row, width_, reachOfDestination(ctx_, unit)));
        if (masked_)
            column = std::min(column, mask_.wholePixels(row, width_, 0));
        column -= column % unit;
        runDirectly(row, 0, column, 1);
        for (; column < width_; column += unit)
            runOnStack(row, column, std::min(unit, width_ - column));
    }

    void runDirectly(size_t row, size_t column, size_t width, size_t height) {
        if (width && height)
            call(src_.at(row, column), dst_.at(row, column), masked_ ? mask_.at(row, column) : nullptr, width,
                 height);
    }

    void runOnStack(size_t row, size_t column, size_t width) {
        Scratch src(src_, row, column, width * src_.bytesPerPixel() + reachOfSource(ctx_, width));
        Scratch dst(dst_, row, column, width * dst_.bytesPerPixel() + reachOfDestination(ctx_, width));
        if (masked_) {
            Scratch mask(mask_, row, column, width);
            call(src.bytes(), dst.bytes(), mask.bytes(), width, 1);
        } else {
            call(src.bytes(), dst.bytes(), nullptr, width, 1);
        }
        dst.writeBack();
    }

    void call(uint8_t* src, uint8_t* dst, uint8_t* mask, size_t width, size_t height) {
        BltContext piece = ctx_;
        piece.src.pixels = src;
        piece.dst.pixels = dst;
        piece.maskPixels = mask;
        piece.srcX = piece.srcY = piece.dstX = piece.dstY = 0;
        piece.width = static_cast<int32_t>(width);
        piece.height = static_cast<int32_t>(height);
        result_ += routine_(&piece);
    }

    const BltContext& ctx_;
    BltRoutine routine_;
    Side src_, dst_, mask_;
    bool masked_;
    size_t width_, height_;
    unsigned long result_ = 0;
};

bool rowsEndInTime(int16_t pitch, int32_t x, int32_t width, uint32_t bytesPerPixel, size_t reach) {
    return pitch >= 0 && (static_cast<size_t>(x) + static_cast<size_t>(width)) * bytesPerPixel + reach <=
                             static_cast<size_t>(pitch);
}

} // namespace

bool BLT_StaysInside(const BltContext& ctx, long maskRows) {
    const auto width = static_cast<size_t>(ctx.width);
    return rowsEndInTime(ctx.src.pitch, ctx.srcX, ctx.width, ctx.src.bytesPerPixel,
                         reachOfSource(ctx, width)) &&
           rowsEndInTime(ctx.dst.pitch, ctx.dstX, ctx.width, ctx.dst.bytesPerPixel,
                         reachOfDestination(ctx, width)) &&
           (!ctx.maskPixels || (rowsEndInTime(ctx.maskPitch, ctx.srcX, ctx.width, 1, 0) &&
                                ctx.srcY + static_cast<long>(ctx.height) <= maskRows));
}

unsigned long BLT_RunInside(const BltContext& ctx, BltRoutine routine, const BltRows& rows) {
    return PieceRunner(ctx, routine, rows).run();
}
