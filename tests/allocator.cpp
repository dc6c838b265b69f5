// SPDX-License-Identifier: Zlib
// The program's allocator, replaced, and with it operator new, for everything in the process, libraries
// included: heapFault strikes it, liveBlocks counts it. glibc only.
#include <cerrno>
#include <cstddef>

#include "tests/faults.h"

extern "C" {
// glibc's own.
void* ownMalloc(std::size_t size) __asm__("__libc_malloc");
void* ownCalloc(std::size_t count, std::size_t size) __asm__("__libc_calloc");
void* ownRealloc(void* old, std::size_t size) __asm__("__libc_realloc");
void* ownMemalign(std::size_t alignment, std::size_t size) __asm__("__libc_memalign");
void ownFree(void* memory) __asm__("__libc_free");

void* malloc(std::size_t size) {
    void* const memory = heapFault.strikes() ? nullptr : ownMalloc(size);
    liveBlocks += memory != nullptr;
    return memory;
}

void* calloc(std::size_t count, std::size_t size) {
    void* const memory = heapFault.strikes() ? nullptr : ownCalloc(count, size);
    liveBlocks += memory != nullptr;
    return memory;
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = heapFault.strikes() ? nullptr : ownMemalign(alignment, size);
    liveBlocks += *memory != nullptr;
    return *memory ? 0 : ENOMEM;
}

void free(void* memory) {
    liveBlocks -= memory != nullptr;
    ownFree(memory);
}

void* realloc(void* old, std::size_t size) {
    if (!old)
        return malloc(size);
    if (size > 0)
        return heapFault.strikes() ? nullptr : ownRealloc(old, size);
    free(old);
    return nullptr;
}
}
