// SPDX-License-Identifier: Zlib
//
// What the routines of all routes share: the choice by constant alpha and flags, the row copy and the raw
// copies. A family's file names its formats; everything else is here, once.
#pragma once

#include <algorithm>
#include <cstring>

#include <proto/exec.h>

#include "blt_kernels.h"
#include "blt_routines.h"
#include "blt_rules.h"

namespace ormsel {

// --- The row copy -------------------------------------------------------------------------------------

// A buffer of main memory for a row of old destination pixels.
class RowCopy {
public:
    // 0 bytes: none is needed.
    explicit RowCopy(size_t bytes)
        : bytes_(bytes ? static_cast<uint8_t*>(AllocVec(static_cast<uint32>(bytes), 0)) : nullptr),
          isMissing_(bytes && !bytes_) {}
    ~RowCopy() {
        if (bytes_)
            FreeVec(bytes_);
    }
    RowCopy(const RowCopy&) = delete;
    RowCopy& operator=(const RowCopy&) = delete;

    bool isThere() const { return bytes_ != nullptr; }
    bool isMissing() const { return isMissing_; }

    // Fills the buffer with the pixels of the block's first row, and has old pixels read there. Bytes that
    // the image doesn't have count as 0.
    void take(Block& row) const {
        const size_t bytes = row.width * row.dstBytes;
        size_t inside = bytes;
        if (row.bounds)
            inside =
                std::min(bytes, static_cast<size_t>(std::max<ptrdiff_t>(row.bounds->dstEnd - row.dst, 0)));
        std::memcpy(bytes_, row.dst, inside);
        std::memset(bytes_ + inside, 0, bytes - inside);
        row.old = bytes_;
    }

private:
    uint8_t* bytes_;
    bool isMissing_;
};

// What a rule draws of a context, in pieces: the whole rectangle; or, where old pixels come from a row copy,
// one row after the other. Reading single pixels back from a graphics card is slow, so that its rows are
// fetched as a whole.
//
// A destination in main memory is read where it is, with the same result: a kernel reads an old pixel before
// it stores that pixel, and stores none twice in a row. The buffer is allocated all the same: whether that
// succeeds decides whether anything is drawn.
template <class Rule>
class Pieces {
public:
    Pieces(const BltContext& ctx, const Bounds* bounds)
        : block_(blockOf(ctx, bounds, Rule::Source::kBytes, Rule::Destination::kBytes, Rule::kUnit)),
          kernel_(kernelsFor(block_).routes[kIndex](block_)),
          copy_(Rule::rowCopyBytes(block_.width, Rule::fades(ctx.alpha), ctx.dst.onBoard != 0)),
          byRow_(ctx.dst.onBoard && copy_.isThere()), left_(copy_.isMissing() ? 0
                                                            : byRow_          ? block_.height
                                                                              : 1) {
        if (byRow_)
            block_.height = 1;
    }

    Kernel kernel() const { return kernel_; }

    // The next piece, or nullptr behind the last one.
    const Block* next() {
        if (left_ == 0)
            return nullptr;
        --left_;
        if (byRow_) {
            if (block_.old != block_.dst) { // a row was drawn before
                block_.src += block_.srcPitch;
                block_.dst += block_.dstPitch;
            }
            copy_.take(block_);
        }
        return &block_;
    }

private:
    static constexpr size_t kIndex = kRouteIndex<typename Rule::Source, typename Rule::Destination>;

    Block block_;
    Kernel kernel_;
    RowCopy copy_;
    bool byRow_;
    size_t left_;
};

// --- Raw copies ---------------------------------------------------------------------------------------

// Copies the rows of a block in units of 64 bits, each read whole before it is stored, and single pixels
// behind them.
template <size_t PixelBytes>
void copyRowsInUnits(const Block& b) {
    const size_t rowBytes = b.width * PixelBytes;
    const uint8_t* src = b.src;
    uint8_t* dst = b.dst;
    for (size_t rows = b.height; rows; --rows, src += b.srcPitch, dst += b.dstPitch) {
        size_t i = 0;
        for (; i + 8 <= rowBytes; i += 8)
            storeWord(dst + i, loadWord<uint64_t>(src + i));
        for (; i < rowBytes; i += PixelBytes)
            storePixel<PixelBytes>(dst + i, loadPixel<PixelBytes>(src + i));
    }
}

template <size_t PixelBytes>
void copyBlock(const Block& block) {
    const Kernel kernel = orderIsFree(block) ? kernelsInUse().copy : copyRowsInUnits<PixelBytes>;
    block.bounds ? runInside(block, kernel) : kernel(block);
}

// Copies a rectangle word by word, whatever the words mean, in units of two words and then one more word
// where the width is odd: an odd width takes the two words to the right of each row with it, where both
// images have them.
//
// Each file that includes this has a copy of its own.
[[maybe_unused]] static inline unsigned long CPY_32to32(const BltContext* ctx,
                                                        const Bounds* bounds = nullptr) {
    if (isEmpty(*ctx))
        return 0;
    Block block = blockOf(*ctx, bounds, 4, 4, 2);
    block.optional = block.width % 2 * 2;
    block.width += block.optional;
    copyBlock<4>(block);
    return 0;
}

// --- Routines -----------------------------------------------------------------------------------------

template <class Src, class Dst>
unsigned long runRoute(const BltContext& ctx, const Bounds* bounds) {
    using Rule = typename RuleOfRoute<Src, Dst, true>::Type;
    if constexpr (Rule::kHasRawCopy)
        if (ctx.flags & ORMSEL_BLIT_COPY) // stands above the constant alpha
            return CPY_32to32(&ctx, bounds);
    if (!Rule::draws(ctx.alpha) || isEmpty(ctx))
        return 0;
    Pieces<Rule> pieces(ctx, bounds);
    while (const Block* piece = pieces.next())
        bounds ? runInside(*piece, pieces.kernel()) : pieces.kernel()(*piece);
    return 0;
}

} // namespace ormsel

// Defines the routine of a route.
#define ORMSEL_ROUTINE(Src, Dst)                                                                             \
    unsigned long BLT_##Src##_##Dst(const BltContext* ctx) {                                                 \
        return ormsel::runRoute<ormsel::Src, ormsel::Dst>(*ctx, nullptr);                                    \
    }                                                                                                        \
    template unsigned long ormsel::runRoute<ormsel::Src, ormsel::Dst>(const BltContext&, const Bounds*);
