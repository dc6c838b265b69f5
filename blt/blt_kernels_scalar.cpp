// SPDX-License-Identifier: Zlib
//
// The scalar kernels: every routine in plain C++, pixel by pixel in the routines' own order. They are what
// runs where there are no vectors, wherever the order of single pixels shows (one image as source and
// destination), and on the pixels of a row that fill no vector; and they are what the vector kernels are
// compared with.
#include "blt_kernels.h"

#include <cstring>

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

template <int SrcBytes, int DstBytes, bool Masked>
void genericRows(const Block& b) {
    const GenericRule rule(b);
    for (size_t y = 0; y < b.height; ++y) {
        const auto row = static_cast<ptrdiff_t>(y);
        const uint8_t* src = b.src + row * b.srcPitch;
        uint8_t* dst = b.dst + row * b.dstPitch;
        const uint8_t* mask = Masked ? b.mask + row * b.maskPitch : nullptr;
        for (size_t x = 0; x < b.width; ++x, src += SrcBytes, dst += DstBytes) {
            const uint32_t s = loadPixel<SrcBytes>(src);
            const GenericRule::Alpha alpha = Masked ? rule.alphaOfMask(mask[x]) : rule.alphaOfPixel(s);
            if (alpha.effective == 0)
                continue;
            const uint32_t d = alpha.effective == 255 ? 0 : loadOld<DstBytes>(dst);
            storePixel<DstBytes>(dst, rule.mix(s, d, alpha));
        }
    }
}

template <bool Masked>
constexpr Kernel kGenericRows[3][3] = {
    {genericRows<2, 2, Masked>, genericRows<2, 3, Masked>, genericRows<2, 4, Masked>},
    {genericRows<3, 2, Masked>, genericRows<3, 3, Masked>, genericRows<3, 4, Masked>},
    {genericRows<4, 2, Masked>, genericRows<4, 3, Masked>, genericRows<4, 4, Masked>},
};

void generic(const Block& b) {
    (b.mask ? kGenericRows<true> : kGenericRows<false>)[b.srcBytes - 2][b.dstBytes - 2](b);
}

} // namespace

const Kernels kScalarKernels = {
    "scalar",
    {everyRow<alphaRowToRgb16<Argb32>>, everyRow<alphaRowToRgb16<Abgr32>>, everyRow<alphaRowToRgb16<Rgba32>>,
     everyRow<alphaRowToRgb16<Bgra32>>},
    {everyRow<alphaRowToArgb32<Argb32>>, everyRow<alphaRowToArgb32<Abgr32>>,
     everyRow<alphaRowToArgb32<Rgba32>>, everyRow<alphaRowToArgb32<Bgra32>>},
    everyRow<mixRowOfRgb16>,
    {everyRow<convertRowToRgb16<Rgb24>>, everyRow<convertRowToRgb16<Bgr24>>},
    {everyRow<mixRowToRgb16<Rgb24>>, everyRow<mixRowToRgb16<Bgr24>>},
    copyRows,
    generic,
};

} // namespace ormsel
