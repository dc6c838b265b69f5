// SPDX-License-Identifier: Zlib
// The program's allocator, replaced, and with it operator new, for everything in the process, libraries
// included: heapFault strikes it, liveBlocks counts it. glibc only.
#include <cerrno>
#include <cstddef>

#include "tests/faults.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) {
    void* const memory = heapFault.strikes() ? nullptr : __libc_malloc(size);
    liveBlocks += memory != nullptr;
    return memory;
}

void* calloc(std::size_t count, std::size_t size) {
    void* const memory = heapFault.strikes() ? nullptr : __libc_calloc(count, size);
    liveBlocks += memory != nullptr;
    return memory;
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = heapFault.strikes() ? nullptr : __libc_memalign(alignment, size);
    liveBlocks += *memory != nullptr;
    return *memory ? 0 : ENOMEM;
}

void free(void* memory) {
    liveBlocks -= memory != nullptr;
    __libc_free(memory);
}

void* realloc(void* old, std::size_t size) {
    if (!old)
        return malloc(size);
    if (size > 0)
        return heapFault.strikes() ? nullptr : __libc_realloc(old, size);
    free(old);
    return nullptr;
}
}
