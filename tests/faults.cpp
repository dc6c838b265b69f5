// SPDX-License-Identifier: Zlib
#include "tests/faults.h"

#include <atomic>

#include <proto/Picasso96API.h>
#include <proto/exec.h>

#include "platform/memory.h"

namespace {

// Fails calls from the (skip+1)-th on, count of them.
class Fault {
public:
    void arm(long skip, long count) {
        skip_ = skip;
        count_ = count;
    }
    // Counts a call; true when it has to fail.
    bool strikes() { return count_ > 0 && skip_.fetch_sub(1) <= 0 && count_.fetch_sub(1) > 0; }

private:
    std::atomic<long> skip_{0}, count_{0};
};

Fault allocationFault, lockFault;
std::atomic<long> allocations{0}, locks{0};

template <typename Allocate>
void* allocateUnlessFault(Allocate allocate) {
    void* const memory = allocationFault.strikes() ? nullptr : allocate();
    if (memory)
        ++allocations;
    return memory;
}

} // namespace

// What the linker calls them: the provider's own, and what everyone gets instead.
#define REAL(name) __asm__("__real_ormsel_host_" #name)
#define WRAP(name) __asm__("__wrap_ormsel_host_" #name)

extern "C" {
void* realAllocVec(uint32 size, uint32 attributes) REAL(AllocVec);
void realFreeVec(void* memory) REAL(FreeVec);
void* realAllocPixels(std::size_t bytes) REAL(AllocPixels);
void realFreePixels(void* pixels) REAL(FreePixels);
int32 realLock(BitMap* bitmap, uint8* buffer, uint32 size) REAL(p96LockBitMap);
void realUnlock(BitMap* bitmap, int32 lock) REAL(p96UnlockBitMap);

void* wrapAllocVec(uint32 size, uint32 attributes) WRAP(AllocVec);
void wrapFreeVec(void* memory) WRAP(FreeVec);
void* wrapAllocPixels(std::size_t bytes) WRAP(AllocPixels);
void wrapFreePixels(void* pixels) WRAP(FreePixels);
int32 wrapLock(BitMap* bitmap, uint8* buffer, uint32 size) WRAP(p96LockBitMap);
void wrapUnlock(BitMap* bitmap, int32 lock) WRAP(p96UnlockBitMap);
}

void* wrapAllocVec(uint32 size, uint32 attributes) {
    return allocateUnlessFault([=] { return realAllocVec(size, attributes); });
}

void wrapFreeVec(void* memory) {
    allocations -= memory != nullptr;
    realFreeVec(memory);
}

void* wrapAllocPixels(std::size_t bytes) {
    return allocateUnlessFault([=] { return realAllocPixels(bytes); });
}

void wrapFreePixels(void* pixels) {
    allocations -= pixels != nullptr;
    realFreePixels(pixels);
}

int32 wrapLock(BitMap* bitmap, uint8* buffer, uint32 size) {
    const int32 lock = lockFault.strikes() ? 0 : realLock(bitmap, buffer, size);
    locks += lock != 0;
    return lock;
}

void wrapUnlock(BitMap* bitmap, int32 lock) {
    locks -= lock != 0;
    realUnlock(bitmap, lock);
}

void failAllocations(long skip, long count) {
    allocationFault.arm(skip, count);
}

void failLocks(long skip, long count) {
    lockFault.arm(skip, count);
}

long heldBitMapLocks() {
    return locks;
}

long liveAllocations() {
    return allocations;
}
