// SPDX-License-Identifier: Zlib
// exec: memory. Needs no C++ runtime.
#include "memory.h"

#include <cstdlib>

#include <proto/exec.h>

APTR AllocVec(uint32 size, uint32 attributes) noexcept {
    if (size == 0)
        return nullptr;
    return (attributes & MEMF_CLEAR) ? std::calloc(1, size) : std::malloc(size);
}

void FreeVec(APTR memory) noexcept {
    std::free(memory);
}

void* ormsel_host_AllocPixels(std::size_t bytes) noexcept {
    void* memory = nullptr;
    return posix_memalign(&memory, host::kPixelAlignment, bytes) == 0 ? memory : nullptr;
}

void ormsel_host_FreePixels(void* pixels) noexcept {
    std::free(pixels);
}
