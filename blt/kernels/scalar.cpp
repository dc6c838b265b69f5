// SPDX-License-Identifier: Zlib
//
// The scalar kernels: every rule in plain C++, pixel by pixel in the rules' own order. They are what runs
// where there are no vectors and wherever the order of single pixels shows (one image as source and
// destination); and they are what the vector kernels are compared with.
#include "kernels.h"

#include <cstring>
#include <iterator>
#include <utility>

#include "generic.h"
#include "scalar_steps.h"

namespace ormsel {

namespace {

// --- Rules of routes ----------------------------------------------------------------------------------

// How many pixels the steps have where their order is free: the loops over them are vector loops then, for
// which every 64-bit processor has instructions. Instructions on x86-64 with ORMSEL_TARGET=scalar:
// argb32_rgb16 random 18.45 with steps, 39.58 without; argb32 random 18.22 and 29.39.
constexpr size_t kLongStep = 32, kStep = 16, kShortStep = 8;
constexpr bool kHasSteps = sizeof(size_t) == 8;

// The rows of a block, in steps of so many pixels, the largest first.
template <class Rule, size_t... Steps>
void drawRows(const Block& b) {
    const Rule rule(b.constantAlpha);
    for (size_t y = 0; y < b.height; ++y) {
        const auto row = static_cast<ptrdiff_t>(y);
        const uint8_t* src = b.src + row * b.srcPitch;
        const uint8_t* old = b.old + row * b.oldPitch;
        uint8_t* dst = b.dst + row * b.dstPitch;
        size_t pixels = b.width;
        ((pixels = drawSteps<Rule, Steps>(rule, src, dst, old, pixels)), ...);
    }
}

// The shorter a row, the sooner its steps have to be at work.
template <class Rule>
Kernel rowsOf(const Block& b) {
    if (b.width < Rule::kUnit)
        return drawRows<Rule, 1>;
    if constexpr (kHasSteps && Rule::Source::kBytes != 3) { // no vector loads three bytes
        // The shortest steps pay where units are large: each unit is stored by a branch of its own.
        constexpr bool kShort = Rule::kUnit == 4;
        if (b.width >= (kShort ? kShortStep : kStep) && isOrderIndependent(b)) {
            if constexpr (kShort)
                return drawRows<Rule, kLongStep, kStep, kShortStep, Rule::kUnit, 1>;
            else
                return drawRows<Rule, kLongStep, kStep, Rule::kUnit, 1>;
        }
    }
    return drawRows<Rule, Rule::kUnit, 1>;
}

template <class Route>
Kernel routeKernel(const Block& b) {
    if (Route::Faded::fades(b.constantAlpha))
        return rowsOf<typename Route::Faded>(b);
    return rowsOf<typename Route::Full>(b);
}

// --- The generic rule ---------------------------------------------------------------------------------

template <class Rule, size_t SrcBytes, size_t DstBytes, AlphaSource By>
void drawGenericRows(const Block& b) {
    constexpr bool kMasked = By == AlphaSource::kOfMask;
    const Rule rule(b);
    const GenericAlpha one = rule.oneAlpha();
    if (By == AlphaSource::kOneAlpha && one.weight == 0)
        return;
    everyPixel<SrcBytes, DstBytes, kMasked>(b, [&](const uint8_t* src, uint8_t* dst, const uint8_t* mask) {
        const uint32_t s = loadPixel<SrcBytes>(src);
        if constexpr (By == AlphaSource::kOpaque) {
            storePixel<DstBytes>(dst, rule.opaque(s));
        } else if constexpr (By == AlphaSource::kOneAlpha) {
            storePixel<DstBytes>(dst, rule.mix(s, loadOldPixel<DstBytes>(dst), one));
        } else {
            const GenericAlpha alpha = kMasked ? rule.alphaOfMask(*mask) : rule.alphaOfPixel(s);
            if (alpha.weight == 255)
                storePixel<DstBytes>(dst, rule.convert(s, alpha.field));
            else if (alpha.weight != 0)
                storePixel<DstBytes>(dst, rule.mix(s, loadOldPixel<DstBytes>(dst), alpha));
        }
    });
}

template <AlphaSource By>
constexpr Kernel kGenericRows[3][3] = {
    {drawGenericRows<GenericRule, 2, 2, By>, drawGenericRows<GenericRule, 2, 3, By>,
     drawGenericRows<GenericRule, 2, 4, By>},
    {drawGenericRows<GenericRule, 3, 2, By>, drawGenericRows<GenericRule, 3, 3, By>,
     drawGenericRows<GenericRule, 3, 4, By>},
    {drawGenericRows<GenericRule, 4, 2, By>, drawGenericRows<GenericRule, 4, 3, By>,
     drawGenericRows<GenericRule, 4, 4, By>},
};

// Sources of 32 bits by their own alpha or a mask, others as they are or by one alpha; nullptr for the rest.
template <class Src, class Dst, bool Faded>
Kernel knownRows(AlphaSource by) {
    constexpr size_t kFrom = Src::kBytes, kOnto = Dst::kBytes;
    using Rule = KnownRule<Src, Dst, Faded>;
    if constexpr (kFrom == 4) {
        if (by == AlphaSource::kOfMask)
            return drawGenericRows<Rule, kFrom, kOnto, AlphaSource::kOfMask>;
        if (by == AlphaSource::kOfPixel)
            return drawGenericRows<Rule, kFrom, kOnto, AlphaSource::kOfPixel>;
    } else {
        constexpr AlphaSource kAll = Faded ? AlphaSource::kOneAlpha : AlphaSource::kOpaque;
        if (by == kAll)
            return drawGenericRows<Rule, kFrom, kOnto, kAll>;
    }
    return nullptr;
}

template <class Src>
Kernel knownRowsFrom(const Block& b, AlphaSource by) {
#define ONTO(name, ...)                                                                                      \
    if (Known<name>::is(*b.dstFormat))                                                                       \
        return b.constantAlpha == 255 ? knownRows<Src, name, false>(by) : knownRows<Src, name, true>(by);
    ORMSEL_FORMATS(ONTO)
#undef ONTO
    return nullptr;
}

Kernel knownRowsFor(const Block& b, AlphaSource by) {
    if (by == AlphaSource::kOfPixel && (b.alphaFill || !b.srcFormat->aMask))
        return nullptr;
#define FROM(name, ...)                                                                                      \
    if (Known<name>::is(*b.srcFormat))                                                                       \
        return knownRowsFrom<name>(b, by);
    ORMSEL_FORMATS(FROM)
#undef FROM
    return nullptr;
}

Kernel genericKernel(const Block& b) {
    const AlphaSource by = alphaSourceOf(b);
    if (const Kernel known = knownRowsFor(b, by))
        return known;
    const auto& rows = by == AlphaSource::kOfMask     ? kGenericRows<AlphaSource::kOfMask>
                       : by == AlphaSource::kOpaque   ? kGenericRows<AlphaSource::kOpaque>
                       : by == AlphaSource::kOneAlpha ? kGenericRows<AlphaSource::kOneAlpha>
                                                      : kGenericRows<AlphaSource::kOfPixel>;
    return rows[b.srcBytes - 2][b.dstBytes - 2];
}

} // namespace

constexpr Kernels kScalarKernels = {
    .name = "scalar",
// NOLINTNEXTLINE(bugprone-macro-parentheses): types
#define ROW(operation, Src, Dst, Rule) routeKernel<Route<Operation::k##operation, Src, Dst>>,
    .routes = {ORMSEL_ROUTES(ROW)},
#undef ROW
    .generic = genericKernel,
    .sdl = sdlScalarKernel,
};

} // namespace ormsel
