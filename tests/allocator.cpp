// SPDX-License-Identifier: Zlib
#include "tests/allocator.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

// glibc's own.
extern "C" {
void* ownMalloc(std::size_t size) __asm__("__libc_malloc");
void* ownCalloc(std::size_t count, std::size_t size) __asm__("__libc_calloc");
void* ownRealloc(void* old, std::size_t size) __asm__("__libc_realloc");
void* ownMemalign(std::size_t alignment, std::size_t size) __asm__("__libc_memalign");
void ownFree(void* memory) __asm__("__libc_free");
}

namespace {

std::atomic<long> toSkip{0}, toFail{0}, failed{0}, blocks{0};

bool strikes() {
    if (toFail <= 0 || toSkip.fetch_sub(1) > 0 || toFail.fetch_sub(1) <= 0)
        return false;
    ++failed;
    errno = ENOMEM;
    return true;
}

template <typename Allocate>
void* allocate(Allocate how) {
    void* const memory = strikes() ? nullptr : how();
    blocks += memory != nullptr;
    return memory;
}

} // namespace

extern "C" {

void* malloc(std::size_t size) {
    return allocate([=] { return ownMalloc(size); });
}

void* calloc(std::size_t count, std::size_t size) {
    return allocate([=] { return ownCalloc(count, size); });
}

void* realloc(void* old, std::size_t size) {
    if (old == nullptr)
        return malloc(size);
    if (size == 0) {
        free(old);
        return nullptr;
    }
    return strikes() ? nullptr : ownRealloc(old, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    return allocate([=] { return ownMemalign(alignment, size); });
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = memalign(alignment, size);
    return *memory ? 0 : ENOMEM;
}

void free(void* memory) {
    blocks -= memory != nullptr;
    ownFree(memory);
}
}

void allocator::fail(long skip, long count) {
    failed = 0;
    toSkip = skip;
    toFail = count;
}

void allocator::stop() {
    toFail = 0;
}

long allocator::failures() {
    return failed;
}

long allocator::live() {
    return blocks;
}
