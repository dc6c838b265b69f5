// SPDX-License-Identifier: Zlib
#include "block.h"

#include <algorithm>
#include <cstring>

#include <proto/exec.h>

namespace ormsel {

// --- One memory for several images --------------------------------------------------------------------

namespace {

// Whether rows that two sides walk with one pitch in one memory stay in columns of their own.
bool columnsApart(uintptr_t low, size_t lowBytes, uintptr_t high, size_t highBytes, size_t pitch) {
    const size_t right = (high - low) % pitch;
    return right >= lowBytes && right + highBytes <= pitch;
}

} // namespace

bool isOrderIndependentInOneMemory(const Block& b) {
    const size_t srcRow = b.width * b.srcBytes, dstRow = b.width * b.dstBytes + (b.dstBytes == 3);
    const Span dst(b.dst, b.dstPitch, b.height, dstRow);
    if (b.mask && Span(b.mask, b.maskPitch, b.height, b.width).meets(dst))
        return false;
    if (!Span(b.src, b.srcPitch, b.height, srcRow).meets(dst))
        return true;
    const auto pitch = static_cast<size_t>(b.dstPitch);
    if (b.srcPitch != b.dstPitch || b.dstPitch <= 0 || pitch < dstRow)
        return false;
    const auto s = reinterpret_cast<uintptr_t>(b.src), d = reinterpret_cast<uintptr_t>(b.dst);
    if (d > s)
        return columnsApart(s, srcRow, d, dstRow, pitch);
    // Pixels that move down in memory, or stay, are read before anything is written over them.
    return b.srcBytes == b.dstBytes || columnsApart(d, dstRow, s, srcRow, pitch);
}

// --- Staying inside -----------------------------------------------------------------------------------

namespace {

// One image as a block sees it, in bytes counted from the rectangle's first pixel.
class Side {
public:
    Side(const uint8_t* first, size_t bytes, const Memory& memory, size_t reach = 0)
        : pitch_(memory.pitch), begin_(memory.begin - first), end_(memory.end - first), bytes_(bytes),
          reach_(reach) {}

    ptrdiff_t offset(size_t row, size_t column) const {
        return static_cast<ptrdiff_t>(row) * pitch_ + static_cast<ptrdiff_t>(column * bytes_);
    }
    size_t bytesOf(size_t pixels) const { return pixels * bytes_ + reach_; }

    // How many bytes lie inside from a pixel on.
    size_t left(size_t row, size_t column) const {
        const ptrdiff_t from = offset(row, column);
        return from >= begin_ && from < end_ ? static_cast<size_t>(end_ - from) : 0;
    }

    // Whether any of a row's pixels may lie inside.
    bool meets(size_t row, size_t width) const {
        return offset(row, 0) < end_ && offset(row, width) > begin_;
    }

    // How many of `height` rows lie inside as a whole, counted from this one.
    size_t wholeRows(size_t row, size_t width, size_t height) const {
        if (left(row, 0) < bytesOf(width))
            return 0;
        if (pitch_ == 0)
            return height;
        const ptrdiff_t from = offset(row, 0), room = static_cast<ptrdiff_t>(left(row, 0) - bytesOf(width));
        return std::min(height,
                        static_cast<size_t>(pitch_ > 0 ? room / pitch_ : (begin_ - from) / pitch_) + 1);
    }

    // How many pixels of a row lie inside as a whole, counted from the first.
    size_t wholePixels(size_t row, size_t width) const {
        const size_t bytes = left(row, 0);
        return bytes < reach_ ? 0 : std::min(width, (bytes - reach_) / bytes_);
    }

private:
    ptrdiff_t pitch_, begin_, end_;
    size_t bytes_, reach_;
};

// A few pixels of one image on the stack, with zeros for the bytes that the image doesn't have.
class Scratch {
public:
    Scratch(const uint8_t* home, size_t inside) : inside_(std::min(inside, sizeof bytes_)) {
        if (inside_) // home is null where there is no mask
            std::memcpy(bytes_, home, inside_);
    }
    uint8_t* bytes() { return bytes_; }

    // Only what changed: a pixel that the kernel skipped may lie in memory that must not be written.
    void writeBack(uint8_t* home) const {
        for (size_t i = 0; i < inside_; ++i)
            if (bytes_[i] != home[i])
                home[i] = bytes_[i];
    }

private:
    size_t inside_;
    alignas(8) uint8_t bytes_[16] = {}; // a unit of four pixels of 32 bits; or one of 24 bits and a byte
};

class PieceRunner {
public:
    PieceRunner(const Block& block, KernelChoice choose)
        : block_(block), choose_(choose), src_(block.src, block.srcBytes, block.bounds->src),
          dst_(block.dst, block.dstBytes, block.bounds->dst, block.dstBytes == 3),
          mask_(block.mask, 1, block.bounds->mask) {}

    void run() const {
        for (size_t row = 0; row < block_.height;) {
            const size_t whole = wholeRows(row);
            runInPlace(row, block_.width, whole);
            row += whole;
            if (row < block_.height && drawsIn(row))
                runEdgeRow(row);
            ++row;
        }
    }

private:
    // How many rows lie inside as a whole, in every image, counted from this one.
    size_t wholeRows(size_t row) const {
        const size_t rows = block_.height - row;
        const size_t whole =
            std::min(src_.wholeRows(row, block_.width, rows), dst_.wholeRows(row, block_.width, rows));
        return block_.mask ? std::min(whole, mask_.wholeRows(row, block_.width, rows)) : whole;
    }

    // Whether any pixel of a row can be drawn.
    bool drawsIn(size_t row) const {
        return dst_.meets(row, block_.width) && (!block_.mask || mask_.meets(row, block_.width));
    }

    void runEdgeRow(size_t row) const {
        const size_t whole =
            std::min(src_.wholePixels(row, block_.width), dst_.wholePixels(row, block_.width));
        const size_t width = std::max(block_.width - block_.optional, whole);
        const size_t inUnits = width - width % block_.unit;
        size_t column = whole;
        if (block_.mask)
            column = std::min(column, mask_.wholePixels(row, width));
        if (column < inUnits)
            column -= column % block_.unit;
        runInPlace(row, column, 1);
        while (column < width) {
            const size_t pixels = column < inUnits ? block_.unit : 1;
            runOnStack(row, column, pixels);
            column += pixels;
        }
    }

    Block piece(size_t row, size_t column, size_t width, size_t height) const {
        Block b = block_;
        b.src += src_.offset(row, column);
        b.dst += dst_.offset(row, column);
        b.old += static_cast<ptrdiff_t>(row) * b.oldPitch + static_cast<ptrdiff_t>(column * b.dstBytes);
        b.mask = b.mask ? b.mask + mask_.offset(row, column) : nullptr;
        b.width = width;
        b.height = height;
        return b;
    }

    void runInPlace(size_t row, size_t width, size_t height) const {
        if (width && height)
            draw(piece(row, 0, width, height));
    }

    void runOnStack(size_t row, size_t column, size_t width) const {
        Block b = piece(row, column, width, 1);
        uint8_t* home = b.dst;
        Scratch src(b.src, std::min(src_.bytesOf(width), src_.left(row, column)));
        Scratch dst(home, std::min(dst_.bytesOf(width), dst_.left(row, column)));
        Scratch mask(b.mask, b.mask ? std::min(width, mask_.left(row, column)) : 0);
        b.src = src.bytes();
        b.dst = dst.bytes();
        b.old = block_.old == block_.dst ? dst.bytes() : b.old;
        b.mask = b.mask ? mask.bytes() : nullptr;
        draw(b);
        dst.writeBack(home);
    }

    void draw(const Block& b) const { choose_(b)(b); }

    const Block& block_;
    KernelChoice choose_;
    Side src_, dst_, mask_;
};

} // namespace

void drawInPieces(const Block& block, KernelChoice choose) {
    PieceRunner(block, choose).run();
}

// --- The row copy -------------------------------------------------------------------------------------

namespace {

// Fills the row copy with the pixels of a block's first row. Bytes that the image doesn't have count as 0.
void takeRow(uint8_t* copy, const Block& row) {
    const size_t bytes = row.width * row.dstBytes;
    size_t inside = bytes;
    if (row.bounds)
        inside = std::min(bytes, static_cast<size_t>(std::max<ptrdiff_t>(row.bounds->dst.end - row.dst, 0)));
    std::memcpy(copy, row.dst, inside);
    std::memset(copy + inside, 0, bytes - inside);
}

void draw(const Block& block, KernelChoice choose) {
    block.bounds ? drawInPieces(block, choose) : choose(block)(block);
}

} // namespace

void drawWithRowCopy(const Block& block, KernelChoice choose, size_t bytes, bool onBoard) {
    auto* const copy = static_cast<uint8_t*>(AllocVec(static_cast<uint32>(bytes), 0));
    if (!copy)
        return;
    if (onBoard) {
        Block row = block;
        row.height = 1;
        row.old = copy;
        for (size_t rows = block.height; rows; --rows, row.src += row.srcPitch, row.dst += row.dstPitch) {
            takeRow(copy, row);
            draw(row, choose);
        }
    } else {
        draw(block, choose);
    }
    FreeVec(copy);
}

} // namespace ormsel
