// SPDX-License-Identifier: Zlib
#include "blt_target.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include <proto/exec.h>

#include "blt_kernels.h"
#include "blt_simd.h"

namespace ormsel {

namespace {

constexpr size_t kMostTargets = 8;

// The targets of this processor, best first. Filled once.
struct Available {
    const Kernels* kernels[kMostTargets];
    const char* names[kMostTargets + 1] = {};
    size_t count;

    Available() : count(simdKernels(kernels, kMostTargets - 1)) {
        kernels[count++] = &kScalarKernels;
        for (size_t i = 0; i < count; ++i)
            names[i] = kernels[i]->name;
    }
    const Kernels* find(const char* name) const {
        for (size_t i = 0; i < count; ++i)
            if (std::strcmp(names[i], name) == 0)
                return kernels[i];
        return nullptr;
    }
};

const Available& available() {
    static const Available targets;
    return targets;
}

const Kernels* choose() {
    const char* wanted = std::getenv("ORMSEL_TARGET");
    if (wanted && *wanted) {
        if (const Kernels* found = available().find(wanted))
            return found;
        DebugPrintF("ORMSEL_TARGET: '%s' is not available here, using '%s'.\n", wanted, available().names[0]);
    }
    return available().kernels[0];
}

std::atomic<const Kernels*> current{nullptr};

const Kernels& best() {
    const Kernels* kernels = current.load(std::memory_order_relaxed);
    if (!kernels) [[unlikely]] {
        kernels = choose();
        current.store(kernels, std::memory_order_relaxed);
    }
    return *kernels;
}

// The bytes that a block's rows span, from the lowest address to behind the highest.
struct Span {
    uintptr_t begin, end;

    Span(const uint8_t* first, ptrdiff_t pitch, size_t rows, size_t rowBytes) {
        const auto start = reinterpret_cast<uintptr_t>(first);
        const auto drop = static_cast<uintptr_t>(pitch * static_cast<ptrdiff_t>(rows - 1));
        begin = pitch < 0 ? start + drop : start;
        end = (pitch < 0 ? start : start + drop) + rowBytes;
    }
    bool meets(const Span& other) const { return begin < other.end && other.begin < end; }
};

// Whether rows of two sides that walk one image with one pitch stay in columns of their own.
bool columnsApart(uintptr_t src, size_t srcRow, uintptr_t dst, size_t dstRow, size_t pitch) {
    const size_t right = (dst - src) % pitch; // wraps as the addresses do where dst lies below src
    return dst >= src ? right >= srcRow && right + dstRow <= pitch
                      : columnsApart(dst, dstRow, src, srcRow, pitch);
}

} // namespace

bool orderIsFree(const Block& b, size_t srcPixel, size_t dstPixel) {
    const size_t srcRow = b.width * srcPixel, dstRow = b.width * dstPixel;
    // Four bytes more than a row's pixels: a 24-bit destination's store writes behind its pixel.
    const Span dst(b.dst, b.dstPitch, b.height, dstRow + 4);
    if (b.mask && Span(b.mask, b.maskPitch, b.height, b.width).meets(dst))
        return false;
    if (!Span(b.src, b.srcPitch, b.height, srcRow).meets(dst))
        return true;
    if (b.srcPitch != b.dstPitch || b.dstPitch <= 0)
        return false;
    const auto s = reinterpret_cast<uintptr_t>(b.src), d = reinterpret_cast<uintptr_t>(b.dst);
    // Pixels that move down in memory, or stay, are read before anything is written over them, in any
    // grouping.
    return (d <= s && srcPixel == dstPixel) ||
           columnsApart(s, srcRow, d, dstRow + 4, static_cast<size_t>(b.dstPitch));
}

const Kernels& kernelsFor(const Block& block, size_t srcPixel, size_t dstPixel) {
    const Kernels& kernels = best();
    return &kernels == &kScalarKernels || orderIsFree(block, srcPixel, dstPixel) ? kernels : kScalarKernels;
}

Block blockOf(const BltContext& ctx) {
    const auto at = [](uint8_t* pixels, ptrdiff_t pitch, ptrdiff_t x, ptrdiff_t y, uint32_t bytes) {
        return pixels + y * pitch + x * static_cast<ptrdiff_t>(bytes);
    };
    Block b;
    b.srcPitch = ctx.src.pitch;
    b.src = at(ctx.src.pixels, b.srcPitch, ctx.srcX, ctx.srcY, ctx.src.bytesPerPixel);
    b.dstPitch = b.oldPitch = ctx.dst.pitch;
    b.old = b.dst = at(ctx.dst.pixels, b.dstPitch, ctx.dstX, ctx.dstY, ctx.dst.bytesPerPixel);
    b.maskPitch = ctx.maskPitch;
    b.mask = ctx.maskPixels ? at(ctx.maskPixels, b.maskPitch, ctx.srcX, ctx.srcY, 1) : nullptr;
    b.width = static_cast<size_t>(ctx.width);
    b.height = static_cast<size_t>(ctx.height);
    b.alpha = ctx.alpha;
    return b;
}

} // namespace ormsel

const char* BLT_TargetName() {
    return ormsel::best().name;
}

bool BLT_ForceTarget(const char* name) {
    const ormsel::Kernels* kernels = name ? ormsel::available().find(name) : ormsel::available().kernels[0];
    if (kernels)
        ormsel::current.store(kernels, std::memory_order_relaxed);
    return kernels != nullptr;
}

const char* const* BLT_Targets() {
    return ormsel::available().names;
}
