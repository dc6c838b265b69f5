// SPDX-License-Identifier: Zlib
//
// The scalar kernels: every routine in plain C++, pixel by pixel in the routines' own order. They are what
// runs where there are no vectors, wherever the order of single pixels shows (one image as source and
// destination), and on the pixels of a row that fill no vector; and they are what the vector kernels are
// compared with.
#include "blt_kernels.h"

#include <cstring>
#include <iterator>
#include <utility>

#include "blt_arith.h"
#include "blt_generic.h"
#include "blt_layouts.h"
#include "blt_rows_scalar.h"

namespace ormsel {

namespace {

// Walks the rows of a block with a row function (see blt_rows_scalar.h).
template <void (*Row)(const RowOf&)>
void everyRow(const Block& b) {
    RowOf row = {b.src, b.dst, b.old, b.width, b.alpha};
    for (size_t y = 0; y < b.height; ++y) {
        Row(row);
        row.src += b.srcPitch;
        row.dst += b.dstPitch;
        row.old += b.oldPitch;
    }
}

// The same with the first of three row functions in rows of less than a unit, with the third where the order
// is free: the shorter a row, the sooner its function has to be at work.
template <size_t Unit, void (*Pixels)(const RowOf&), void (*InOrder)(const RowOf&),
          void (*Free)(const RowOf&)>
void everyRow(const Block& b) {
    if (b.width < Unit)
        everyRow<Pixels>(b);
    else if (kHasSteps && b.width >= kPixelsInShortStep && orderIsFree(b))
        everyRow<Free>(b);
    else
        everyRow<InOrder>(b);
}

template <class L>
constexpr Kernel alphaToRgb16 =
    everyRow<4, alphaPixelsToRgb16<L>, alphaRowToRgb16<L>, alphaRowToRgb16<L, true>>;

template <class L>
constexpr Kernel alphaToArgb32 =
    everyRow<2, alphaPixelToArgb32<L>, alphaRowToArgb32<L>, alphaRowToArgb32<L, true>>;

// All rows as one where neither side has gaps.
void copyRows(const Block& b) {
    const size_t rowBytes = b.width * b.dstBytes;
    const auto gapless = static_cast<ptrdiff_t>(rowBytes);
    const bool one = b.srcPitch == gapless && b.dstPitch == gapless;
    const uint8_t* src = b.src;
    uint8_t* dst = b.dst;
    for (size_t rows = one ? 1 : b.height; rows; --rows, src += b.srcPitch, dst += b.dstPitch)
        std::memmove(dst, src, one ? rowBytes * b.height : rowBytes);
}

// --- The generic rule ---------------------------------------------------------------------------------

// A pixel of 2, 3 or 4 bytes in memory.
template <int Bytes>
uint32_t loadPixel(const uint8_t* p) {
    return Bytes == 2 ? load16(p) : Bytes == 3 ? load24(p) : load32(p);
}

template <int Bytes>
uint32_t loadOld(const uint8_t* p) {
    return Bytes == 3 ? loadFollowing24(p) : loadPixel<Bytes>(p);
}

template <int Bytes>
void storePixel(uint8_t* p, uint32_t v) {
    if constexpr (Bytes == 2)
        store16(p, v);
    else if constexpr (Bytes == 3)
        store24AndZero(p, v);
    else
        store32(p, v);
}

// What a generic blit does with alpha.
enum class Alpha { kOpaque, kOfPixel, kOfMask };

// The rule is a copy, which no store to the destination can change: compilers keep it in registers.
template <class Rule, int SrcBytes, int DstBytes, Alpha By>
void genericRow(const Rule rule, const uint8_t* src, uint8_t* dst, const uint8_t* mask, size_t width) {
    for (size_t x = 0; x < width; ++x, src += SrcBytes, dst += DstBytes) {
        const uint32_t s = loadPixel<SrcBytes>(src);
        if constexpr (By == Alpha::kOpaque) {
            storePixel<DstBytes>(dst, rule.opaque(s));
        } else {
            const auto alpha = By == Alpha::kOfMask ? rule.alphaOfMask(mask[x]) : rule.alphaOfPixel(s);
            if (alpha.effective == 255)
                storePixel<DstBytes>(dst, rule.convert(s, alpha.field));
            else if (alpha.effective != 0)
                storePixel<DstBytes>(dst, rule.mix(s, loadOld<DstBytes>(dst), alpha));
        }
    }
}

template <class Rule, int SrcBytes, int DstBytes, Alpha By>
void genericRows(const Block& b) {
    const Rule rule(b);
    const uint8_t* src = b.src;
    const uint8_t* mask = b.mask;
    uint8_t* dst = b.dst;
    for (size_t rows = b.height; rows; --rows, src += b.srcPitch, dst += b.dstPitch) {
        genericRow<Rule, SrcBytes, DstBytes, By>(rule, src, dst, mask, b.width);
        if (By == Alpha::kOfMask)
            mask += b.maskPitch;
    }
}

template <Alpha By>
constexpr Kernel kGenericRows[3][3] = {
    {genericRows<GenericRule, 2, 2, By>, genericRows<GenericRule, 2, 3, By>,
     genericRows<GenericRule, 2, 4, By>},
    {genericRows<GenericRule, 3, 2, By>, genericRows<GenericRule, 3, 3, By>,
     genericRows<GenericRule, 3, 4, By>},
    {genericRows<GenericRule, 4, 2, By>, genericRows<GenericRule, 4, 3, By>,
     genericRows<GenericRule, 4, 4, By>},
};

// Calls f with each known format.
template <class F>
void everyKnownFormat(const F& f) {
    [&]<size_t... I>(std::index_sequence<I...>) {
        (f(KnownFormat<kBitmapFormats[I].code>()), ...);
    }
    (std::make_index_sequence<std::size(kBitmapFormats)>());
}

// Sources of 32 bits that are blended, and others that are converted; nullptr for the rest.
template <class Src, class Dst, bool Scaled>
Kernel knownRows(Alpha by) {
    constexpr int kFrom = Src::kBytes, kOnto = Dst::kBytes;
    using Rule = KnownRule<Src, Dst, Scaled>;
    if constexpr (kFrom == 4) {
        if (by != Alpha::kOpaque)
            return by == Alpha::kOfMask ? genericRows<Rule, kFrom, kOnto, Alpha::kOfMask>
                                        : genericRows<Rule, kFrom, kOnto, Alpha::kOfPixel>;
    } else if constexpr (!Scaled) {
        if (by == Alpha::kOpaque)
            return genericRows<Rule, kFrom, kOnto, Alpha::kOpaque>;
    }
    return nullptr;
}

Kernel knownKernelFor(const Block& b, Alpha by) {
    Kernel kernel = nullptr;
    if (by == Alpha::kOfPixel && (b.alphaFill || !b.srcFormat->aMask))
        return kernel;
    everyKnownFormat([&]<class Src>(Src) {
        if (!Src::is(*b.srcFormat))
            return;
        everyKnownFormat([&]<class Dst>(Dst) {
            if (Dst::is(*b.dstFormat))
                kernel = b.alpha == 255 ? knownRows<Src, Dst, false>(by) : knownRows<Src, Dst, true>(by);
        });
    });
    return kernel;
}

void generic(const Block& b) {
    scalarGenericKernel(b)(b);
}

} // namespace

Kernel scalarGenericKernel(const Block& b) {
    const bool opaque = b.alphaFill == 255 && b.alpha == 255;
    const Alpha by = b.mask ? Alpha::kOfMask : opaque ? Alpha::kOpaque : Alpha::kOfPixel;
    if (const Kernel kernel = knownKernelFor(b, by))
        return kernel;
    const auto& rows = by == Alpha::kOfMask   ? kGenericRows<Alpha::kOfMask>
                       : by == Alpha::kOpaque ? kGenericRows<Alpha::kOpaque>
                                              : kGenericRows<Alpha::kOfPixel>;
    return rows[b.srcBytes - 2][b.dstBytes - 2];
}

const Kernels kScalarKernels = {
    "scalar",
    {alphaToRgb16<Argb32>, alphaToRgb16<Abgr32>, alphaToRgb16<Rgba32>, alphaToRgb16<Bgra32>},
    {alphaToArgb32<Argb32>, alphaToArgb32<Abgr32>, alphaToArgb32<Rgba32>, alphaToArgb32<Bgra32>},
    everyRow<mixRowOfRgb16>,
    {everyRow<convertRowToRgb16<Rgb24>>, everyRow<convertRowToRgb16<Bgr24>>},
    {everyRow<mixRowToRgb16<Rgb24>>, everyRow<mixRowToRgb16<Bgr24>>},
    copyRows,
    generic,
    sdlScalarKernel,
};

} // namespace ormsel
